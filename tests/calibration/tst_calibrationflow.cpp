// Every device calibrated through the tab, by a hand that does what the screen asks.
#include <QTemporaryDir>
#include <cmath>

#include "gestures.h"
#include "servostate.h"
#include "windowtest.h"

class TestCalibrationFlow : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::unique_ptr<qtTharlenTest> window;

    /// The tab's timer looks every 20 ms.
    Gestures hand{[this](int milliseconds) {
        for (int i = 0; i < milliseconds / 20; ++i) {
            armcontrol::step(20);
            if (window->checkCalibTimer->isActive())
                window->updateOrdaCorvaleCalib();
        }
    }};

private slots:
    void initTestCase() { qputenv("NOLVA_ARM_SOCKET", "off"); }
    void cleanup() {
        window.reset();
        armcontrol::resetArm();
    }

    void everyDevice_data() {
        QTest::addColumn<int>("device");
        const auto names = armcontrol::fleetNames();
        for (std::size_t i = 0; i < names.size(); ++i)
            QTest::newRow(names[i].c_str()) << int(i);
    }
    void everyDevice() {
        QFETCH(int, device);
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QDir(home.path()).mkpath("config");
        armcontrol::resetArm();
        QCOMPARE(armcontrol::loopStepped(true), std::string());
        resetSharedState();
        window = std::make_unique<qtTharlenTest>();
        goToTab(*window, "Select");
        window->ui.m_cmbTHARLeN->setCurrentIndex(device);
        goToTab(*window, "Calibrate");
        window->checkCalibTimer->setInterval(1000000);
        hand.hold({}, 1200);
        QVERIFY(!window->repData->bCalibrationPass);
        QVERIFY(armcontrol::state().calibrationStatus & kCalibrationIncorrect);
        const auto style = calibrationStyle(window->csTharlenID);
        const auto click = [&] {
            if (style == CalibrationStyle::ResetPose)
                window->onClickCalibrateButton();
        };
        QCOMPARE(hand.calibrate(style, click), std::string());
        QVERIFY(window->repData->bCalibrationPass);
        QVERIFY(window->ui.calibrate_button->styleSheet().contains("rgb(0,200,0)"));
        goToTab(*window, "Read Encoder");
        hand.hold({10, -5, 5}, 1500);
        float reported[3] = {};
        get_tharlen_pos(window->csTharlenID, reported);
        const auto real = armcontrol::state().position;
        for (int i = 0; i < 3; ++i)
            QVERIFY(std::fabs(reported[i] - real[i]) < 0.5);
        // Coming to the tab again discards the calibration: it starts from nothing.
        goToTab(*window, "Calibrate");
        QVERIFY(armcontrol::state().calibrationStatus & kCalibrationIncorrect);
    }
};

QTEST_MAIN(TestCalibrationFlow)
#include "tst_calibrationflow.moc"
