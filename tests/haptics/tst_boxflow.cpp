// The box test played to its end on the simulated arm, by a hand that presses: every device, both modes.
#include <cmath>

#include "device/simulated/armcontrol.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "windowtest.h"

using armcontrol::Vec3;

class TestBoxFlow : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    void move(const Vec3& place, long ticks) {
        QCOMPARE(armcontrol::handMove(place), std::string());
        armcontrol::step(ticks);
    }
    double position(int axis) const {
        float where[3] = {};
        get_tharlen_pos(window->csTharlenID, where);
        return where[axis];
    }
    int count(int wall) const { return window->hapticBoxRenderer->m_nWallTransitions[wall]; }

    /// Calibrates as the device's style asks, so that positions are true.
    void calibrate() {
        const int id = window->csTharlenID;
        switch (is_calibration_supported(id)) {
            case 0:
                armcontrol::handReset();
                armcontrol::step(3000);
                QCOMPARE(tharlen_reset(id), 0);
                break;
            case 1:
                for (int axis = 0; axis < 3; ++axis) {
                    QCOMPARE(armcontrol::handSweep(axis, 1.0), std::string());
                    armcontrol::step(8000);
                }
                QCOMPARE(update_calibration(id), 0);
                break;
            default:
                armcontrol::handDock();
                armcontrol::step(3000);
                QCOMPARE(update_calibration(id), 0);
                armcontrol::handUndock();
                armcontrol::step(1000);
        }
    }

    void open(int device, bool manufacturing) {
        armcontrol::resetArm();
        QCOMPARE(armcontrol::loopStepped(true), std::string());
        resetSharedState();
        window = std::make_unique<qtTharlenTest>();
        goToTab(*window, "Select");
        window->ui.m_cmbTHARLeN->setCurrentIndex(device);
        QVERIFY(window->csTharlenID >= 0);
        calibrate();
        window->manufMode = manufacturing;
        goToTab(*window, "Box Test");
        move({}, 1500);
        QVERIFY(std::fabs(position(0)) < 5 && std::fabs(position(1)) < 5 && std::fabs(position(2)) < 5);
    }

    /// Presses past a wall until it yields, then comes back inside. A Stelmar holds along one axis alone, so
    /// its hand leans on a second wall.
    bool pushThrough(int wall) {
        const int before = count(wall);
        Vec3 place{};
        place[wall / 2] = wall % 2 ? -45 : 45;
        if (window->isAnyStelmar() && !window->isCNolvaDevice())
            place[(wall / 2 + 1) % 3] = 26;
        armcontrol::handMove(place);
        for (int i = 0; i < 60 && count(wall) == before; ++i)
            armcontrol::step(50);
        const int after = count(wall);
        armcontrol::step(200);
        const bool once = after == before + 1 && count(wall) == after;
        armcontrol::handMove({});
        for (int i = 0; i < 60 && window->hapticBoxRenderer->m_bBrokeOutOfBox; ++i)
            armcontrol::step(50);
        armcontrol::step(300);
        return once && !window->hapticBoxRenderer->m_bBrokeOutOfBox;
    }

    void paint() {
        window->hapticBoxRenderer->graphicsCallback();
        window->forceProgressUpdate();
    }

private slots:
    void initTestCase() {
        qunsetenv("KNDD_HOME");
        qputenv("NOLVA_ARM_SOCKET", "off");
    }
    void cleanup() {
        window.reset();
        armcontrol::resetArm();
    }

    void devices() {
        QTest::addColumn<int>("device");
        const auto names = armcontrol::fleetNames();
        for (std::size_t i = 0; i < names.size(); ++i)
            QTest::newRow(names[i].c_str()) << int(i);
    }

    // User mode: each wall pushes back, holds the cursor, stays below the limit and never yields.
    void wallsAreFelt_data() { devices(); }
    void wallsAreFelt() {
        QFETCH(int, device);
        open(device, false);
        for (int wall = 0; wall < 6; ++wall) {
            const int axis = wall / 2;
            const double side = wall % 2 ? -1 : 1;
            Vec3 place{};
            place[axis] = side * 30;
            move(place, 800);
            QVERIFY2(side * position(axis) > 20.2, "the hand does not get past the wall");
            QCOMPARE(double(window->hapticBoxRenderer->pPos[axis]), side * 20.0);
            double pushed = 0;
            for (int tick = 0; tick < 100; ++tick) {
                armcontrol::step(1);
                pushed += armcontrol::state().force[axis] * -side / 100;
            }
            QVERIFY2(pushed > 0.1, qPrintable(QString("wall %1 pushes with %2 N").arg(wall).arg(pushed)));
            move({}, 500);
            QCOMPARE(count(wall), 0);
        }
        paint();
        QVERIFY(!window->hapticBoxRenderer->m_bPassTest && !window->repData->bBoxPass);
    }

    // Manufacturing: three pop-throughs a wall pass the test, two do not, and leaving forgets them.
    void wallsYieldThreeTimes_data() { devices(); }
    void wallsYieldThreeTimes() {
        QFETCH(int, device);
        open(device, true);
        for (int round = 1; round <= 3; ++round) {
            for (int wall = 0; wall < 6; ++wall)
                QVERIFY2(pushThrough(wall), qPrintable(QString("wall %1, round %2").arg(wall).arg(round)));
            paint();
            if (!window->isAnyStelmar() || window->isCNolvaDevice())
                QCOMPARE(bool(window->hapticBoxRenderer->m_bPassTest), round == 3);
        }
        paint();
        QVERIFY(window->hapticBoxRenderer->m_bPassTest && window->repData->bBoxPass);
        QCOMPARE(window->ui.boxTest_status->text(), QString("PASS"));
        QVERIFY(tabTexts(*window).contains("Summary"));
        goToTab(*window, "Servoloop");
        QCOMPARE(count(0), 0);
        armcontrol::step(20);
        QVERIFY(!armcontrol::state().amplifiers);
    }

    // Amplifiers that tripped on too much force come back by the next ticks.
    void forcesComeBackAfterTooMuch() {
        open(0, true);
        armcontrol::handMove({45, 0, 0});
        bool tripped = false;
        for (int tick = 0; tick < 2000 && !tripped; ++tick) {
            armcontrol::step(1);
            tripped = is_tharlen_forces_enabled(window->csTharlenID) == 0;
        }
        QVERIFY(tripped && count(0) <= 1);
        armcontrol::step(50);
        QVERIFY(is_tharlen_forces_enabled(window->csTharlenID));
    }

    void unpluggedShowsItselfAndComesBack() {
        open(0, false);
        QCOMPARE(armcontrol::setFault("unplugged", true), std::string());
        armcontrol::step(5);
        QVERIFY(window->errorMessage.contains("Communication Error"));
        window->clearErrorBrowser();
        QCOMPARE(armcontrol::setFault("unplugged", false), std::string());
        armcontrol::step(5);
        QVERIFY(window->errorMessage.isEmpty());
    }
};

QTEST_MAIN(TestBoxFlow)
#include "tst_boxflow.moc"
