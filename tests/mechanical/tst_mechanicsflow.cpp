// The friction and capstan tests on the simulated arm: what they find is what the arm was given.
#include <cmath>

#include "mechanicalbench.h"
#include "windowtest.h"

class TestMechanicsFlow : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        qunsetenv("KNDD_HOME");
        qputenv("NOLVA_ARM_SOCKET", "off");
        resetSharedState();
    }

    // A healthy axis breaks loose at 820 counts.
    void frictionIsWhatTheArmHas_data() {
        QTest::addColumn<int>("sticky");
        QTest::addColumn<double>("factor");
        QTest::addColumn<int>("repeats");
        QTest::newRow("healthy") << -1 << 1.0 << 10;
        for (int axis = 0; axis < 3; ++axis)
            for (double factor : {2.0, 8.0})
                QTest::newRow(qPrintable(QString("axis %1 times %2").arg(axis).arg(factor))) << axis << factor << 2;
    }
    void frictionIsWhatTheArmHas() {
        QFETCH(int, sticky);
        QFETCH(double, factor);
        QFETCH(int, repeats);
        MechanicalBench bench;
        if (sticky >= 0)
            QCOMPARE(armcontrol::setFault("sticky-bearing", true, sticky, factor), std::string());
        const REPORTDATA& data = *bench.window->repData;
        float least[3] = {1, 1, 1}, most[3] = {};
        for (int i = 0; i < repeats; ++i) {
            bench.prepare("Test Friction", 1000 + 37 * i);
            QVERIFY(bench.runFriction());
            for (int axis = 0; axis < 3; ++axis) {
                const double given = 820.0 / 32767.0 * (axis == sticky ? factor : 1.0);
                const float found = data.fFrictionVoltage[axis];
                QVERIFY2(std::fabs(found / given - 1) < 0.05,
                         qPrintable(QString("axis %1: %2 V").arg(axis).arg(double(found))));
                QCOMPARE(data.bFrictionPass[axis], axis != sticky);
                least[axis] = qMin(least[axis], found);
                most[axis] = qMax(most[axis], found);
            }
            QVERIFY(data.nFrictionChange[0] > 0 && data.nFrictionChange[2] < 0);
        }
        for (int axis = 0; axis < 3; ++axis)
            QVERIFY(most[axis] - least[axis] <= 0.03f * least[axis]);
        QVERIFY(!armcontrol::state().amplifiers);
    }

    // A cable slips while the motor pushes on the stop, here for two seconds.
    void slipIsFound_data() {
        QTest::addColumn<int>("axis");
        QTest::addColumn<int>("slip");
        QTest::newRow("healthy") << 1 << 0;
        for (int axis = 0; axis < 3; ++axis) {
            QTest::newRow(qPrintable(QString("axis %1 at the limit").arg(axis))) << axis << 8;
            QTest::newRow(qPrintable(QString("axis %1 above it").arg(axis))) << axis << 9;
        }
    }
    void slipIsFound() {
        QFETCH(int, axis);
        QFETCH(int, slip);
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

    // Beside the verdicts of an arm that was not measured stands why. What lies at its stops in the verify run does
    // not move and is nothing to note.
    void notes_data() {
        QTest::addColumn<int>("axis");
        QTest::addColumn<double>("amount");
        QTest::addColumn<QString>("first");  ///< friction and reference run
        QTest::addColumn<QString>("verify");
        const QString silent = "Note: the device did not answer during this run.";
        const QString off = "Note: the amplifiers were not on during this run.";
        const QString still = "Note: no movement was seen of ";
        const auto row = [](const char* fault, int axis, double amount, const QString& first, const QString& verify) {
            QTest::newRow(fault) << axis << amount << first << verify;
        };
        row("healthy", -1, 0, "", "");
        row("unplugged", -1, 1, silent, silent);
        row("amplifier", -1, 1, off, off);
        row("no-amplifier-follow", -1, 1, off, off);
        row("dead-encoder", 1, 1, still + "Y.", "");
        row("weak-motor", 2, 0, still + "Z.", "");
    }
    void notes() {
        QFETCH(int, axis);
        QFETCH(double, amount);
        QFETCH(QString, first);
        QFETCH(QString, verify);
        MechanicalBench bench;
        if (amount > 0 || axis >= 0)
            QCOMPARE(armcontrol::setFault(QTest::currentDataTag(), true, axis, amount), std::string());
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
