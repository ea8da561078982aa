// The friction and capstan tests on the simulated arm: what they find is what the arm was given.
#include <cmath>

#include "mechanicalbench.h"
#include "windowtest.h"

class TestMechanicsFlow : public QObject {
    Q_OBJECT

    void friction(int sticky, double factor, int repeats) {
        MechanicalBench bench;
        if (sticky >= 0)
            QCOMPARE(armcontrol::setFault("sticky-bearing", true, sticky, factor), std::string());
        const REPORTDATA& data = *bench.window->repData;
        for (int i = 0; i < repeats; ++i) {
            bench.prepare("Test Friction", 1000 + 37 * i);
            QVERIFY(bench.runFriction());
            for (int axis = 0; axis < 3; ++axis) {
                const double given = 820.0 / 32767.0 * (axis == sticky ? factor : 1.0);
                const float found = data.fFrictionVoltage[axis];
                QVERIFY2(std::fabs(found / given - 1) < 0.05,
                         qPrintable(QString("axis %1: %2 V").arg(axis).arg(double(found))));
                QCOMPARE(data.bFrictionPass[axis], axis != sticky);
            }
            QVERIFY(data.nFrictionChange[0] > 0 && data.nFrictionChange[2] < 0);
        }
        QVERIFY(!armcontrol::state().amplifiers);
    }
    void capstan(int axis, int slip) {
        MechanicalBench bench;
        const qtTharlenTest& window = *bench.window;
        QCOMPARE(window.m_cdLodrin.nCapstanTimeAtMax, 2000);
        if (slip > 0)
            QCOMPARE(armcontrol::setFault("slipping-capstan", true, axis, slip / 2.0), std::string());
        for (int i = 0; i < 3; ++i) {
            bench.prepare("Test Capstan", 1000 + 53 * i);
            QVERIFY(bench.runReference() && bench.runVerify());
            for (int k = 0; k < 3; ++k) {
                const int found = window.repData->nCapstanChange[k];
                QVERIFY2(k == axis ? found == slip : found <= 1, qPrintable(QString("axis %1: %2").arg(k).arg(found)));
                QCOMPARE(window.repData->bCapstanPass[k], k != axis || slip <= 8);
            }
        }
    }

private slots:
    void initTestCase() {
        qunsetenv("KNDD_HOME");
        qputenv("NOLVA_ARM_SOCKET", "off");
        resetSharedState();
    }

    // A healthy axis breaks loose at 820 counts.
    void frictionIsWhatTheArmHas() {
        friction(-1, 1.0, 5);
        for (int axis = 0; axis < 3; ++axis) {
            friction(axis, 2.0, 2);
            friction(axis, 8.0, 1);
        }
    }

    // A cable slips while the motor pushes on the stop, here for two seconds: at the limit and above it.
    void slipIsFound() {
        for (int axis = 0; axis < 3; ++axis) {
            capstan(axis, 8);
            capstan(axis, 9);
        }
        capstan(1, 0);
    }

    // Beside the verdicts of an arm that was not measured stands why, after the friction and the reference run. What
    // lies at its stops in the verify run does not move and is nothing to note.
    void notes() {
        const QString silent = "Note: the device did not answer during this run.";
        const QString off = "Note: the amplifiers were not on during this run.";
        const QString still = "Note: no movement was seen of ";
        const std::tuple<const char*, int, double, QString, QString> rows[] = {{"", -1, 0, "", ""},
                                                                               {"unplugged", -1, 1, silent, silent},
                                                                               {"no-amplifier-follow", -1, 1, off, off},
                                                                               {"dead-encoder", 1, 1, still + "Y.", ""},
                                                                               {"weak-motor", 2, 0, still + "Z.", ""}};
        for (const auto& [fault, axis, amount, first, verify] : rows) {
            MechanicalBench bench;
            if (*fault)
                QCOMPARE(armcontrol::setFault(fault, true, axis, amount), std::string());
            const auto says = [](QTextBrowser* box, const QString& note) {
                const QString text = box->toPlainText();
                box->clear();
                return text.count("Note: ") == (note.isEmpty() ? 0 : 1) && text.contains(note);
            };
            QTextBrowser* const box = bench.window->ui.capstan_textBox;
            bench.prepare("Test Friction");
            QVERIFY(bench.runFriction() && says(bench.window->ui.friction_textBox, first));
            bench.prepare("Test Capstan");
            QVERIFY(bench.runReference() && says(box, first));
            QVERIFY(bench.runVerify() && says(box, verify));
        }
    }

    // The forces go off with the tab: the run ends with the arm not driven, and fails it.
    void leavingTheTab() {
        MechanicalBench bench;
        bench.prepare("Test Friction");
        bench.window->onClickStartFrictionTest();
        bench.show("Select");
        QVERIFY(!armcontrol::state().amplifiers && bench.window->frictionTestTimer->isActive());
        for (int i = 0; i < 20000 && bench.window->frictionTestTimer->isActive(); ++i) {
            armcontrol::step(1);
            bench.window->runFrictionTest();
        }
        QVERIFY(!startFrictionTest && !bench.window->frictionTestTimer->isActive());
        for (int axis = 0; axis < 3; ++axis) {
            QVERIFY(!bench.window->repData->bFrictionPass[axis]);
            QVERIFY(bench.window->repData->fFrictionVoltage[axis] >= 0.4f);
        }
        QVERIFY(bench.window->ui.friction_textBox->toPlainText().contains("Note: the amplifiers were not on"));
    }
};

QTEST_MAIN(TestMechanicsFlow)
#include "tst_mechanicsflow.moc"
