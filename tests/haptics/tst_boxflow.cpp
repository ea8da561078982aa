// The box test played to its end on the simulated arm, by a hand that presses: every device, both modes.
#include <cmath>

#include "gestures.h"
#include "modellines.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "windowtest.h"

class TestBoxFlow : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;
    Gestures hand;

    double position(std::size_t axis) const {
        float where[3] = {};
        get_tharlen_pos(window->csTharlenID, where);
        return where[axis];
    }
    int count(int wall) const { return window->hapticBoxRenderer->m_nWallTransitions[wall]; }

    void open(int device, bool manufacturing) {
        armcontrol::resetArm();
        QCOMPARE(armcontrol::loopStepped(true), std::string());
        resetSharedState();
        window = std::make_unique<qtTharlenTest>();
        goToTab(*window, "Select");
        window->ui.m_cmbTHARLeN->setCurrentIndex(device);
        QVERIFY(window->csTharlenID >= 0);
        QCOMPARE(hand.calibrate(window->csTharlenID), std::string());
        window->manufMode = manufacturing;
        goToTab(*window, "Box Test");
        hand.hold({}, 1500);
        QVERIFY(std::fabs(position(0)) < 5 && std::fabs(position(1)) < 5 && std::fabs(position(2)) < 5);
    }

    bool pushThrough(int wall) {
        const int before = count(wall);
        const auto outside = [this] { return bool(window->hapticBoxRenderer->m_bBrokeOutOfBox); };
        hand.pushThrough(
            wall, window->modelLine().box.holdsAlongOneAxis(), [&] { return count(wall) > before; }, outside);
        return count(wall) == before + 1 && !outside();
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
        for (int wall = 0; wall < kWalls; ++wall) {
            const std::size_t axis = kBoxWalls[wall].axis;
            const double side = kBoxWalls[wall].side;
            hand.hold(towards(wall, 30), 800);
            QVERIFY2(side * position(axis) > 20.2, "the hand does not get past the wall");
            QCOMPARE(double(window->hapticBoxRenderer->pPos[axis]), side * 20.0);
            const double pushed = hand.mean(100, 1, [=] { return armcontrol::state().force[axis] * -side; });
            QVERIFY2(pushed > 0.1, qPrintable(QString("wall %1 pushes with %2 N").arg(wall).arg(pushed)));
            hand.hold({}, 500);
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
            if (!window->modelLine().box.holdsAlongOneAxis())
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
        armcontrol::handMove(towards(0, kPushDistance));
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
