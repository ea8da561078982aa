// The box test played to its end on the simulated arm, by a hand that presses: every model line, both modes.
#include <cmath>

#include "device/simulated/armcontrol.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "windowtest.h"

class TestBoxFlow : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    /// Moves the hand there and lets the arm follow, at 1000 Hz.
    void press(const armcontrol::Vec3& place, long ticks = 500) {
        QCOMPARE(armcontrol::handMove(place), std::string());
        armcontrol::step(ticks);
    }
    /// A wall's place, or a little of a second axis for those whose one axis never passes its limit.
    armcontrol::Vec3 beyond(int wall, double depth) const {
        armcontrol::Vec3 place{};
        const double side = wall % 2 ? -1 : 1;
        place[wall / 2] = side * (20 + depth);
        return place;
    }
    void paint() {
        window->hapticBoxRenderer->graphicsCallback();
        window->forceProgressUpdate();
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
        window->ui.tabWidget->addTab(window->ui.tab_10, "Box Test");
        goToTab(*window, "Box Test");
        press({}, 1000);
    }
    void calibrate();

private slots:
    void initTestCase() {
        qunsetenv("KNDD_HOME");
        qputenv("NOLVA_ARM_SOCKET", "off");
    }
    void cleanup() {
        window.reset();
        armcontrol::resetArm();
    }

    void everyLine_data() {
        QTest::addColumn<int>("device");
        const auto names = armcontrol::fleetNames();
        for (std::size_t i = 0; i < names.size(); ++i)
            QTest::newRow(names[i].c_str()) << int(i);
    }
    void everyLine();
};

QTEST_MAIN(TestBoxFlow)
#include "tst_boxflow.moc"
