// The servo rate of the simulated arm, stepped for a whole period at every rate.
#include <QTemporaryDir>

#include "device/simulated/armcontrol.h"
#include "servostate.h"
#include "windowtest.h"

class TestServoRateFlow : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { armcontrol::resetArm(); }

    // Twice the rate in a period twice as long: four times the samples, of which the buffer keeps its 2000.
    void everyRate() {
        QTemporaryDir home;
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        qputenv("NOLVA_ARM_SOCKET", "off");
        for (const int rate : {1000, 2000, 3000, 4000}) {
            armcontrol::resetArm();
            QCOMPARE(armcontrol::loopStepped(true), std::string());
            resetSharedState();
            qtTharlenTest window;
            QRadioButton* const rates[] = {window.ui.servo1000, window.ui.servo2000, window.ui.servo3000,
                                           window.ui.servo4000};
            rates[rate / 1000 - 1]->setChecked(true);
            window.updateServoLoopRate();
            goToTab(window, "Select");
            armcontrol::step(2);  // so that a first interval has been measured
            goToTab(window, "Servoloop");
            window.startServoLoopRateTest();
            armcontrol::step(long(rate) * window.servoRateGraphicTimer->interval() / 1000);
            window.updateServoLoopRateProgress();
            QCOMPARE(window.numSamplesUpdateRate, std::min(rate, 2000));
            QVERIFY(std::abs(window.meanUpdateRate - rate) < 0.01 && window.stdDevUpdateRate < 0.01);
            // A loop that is disturbed shows it in the spread.
            armcontrol::setFault("jitter", true, -1, 100);
            armcontrol::step(940);
            window.updateServoLoopRateProgress();
            QCOMPARE(window.numSamplesUpdateRate, 940);
            QVERIFY(window.minUpdateRate < rate && window.maxUpdateRate > rate && window.stdDevUpdateRate > 1);
        }
    }
};

QTEST_MAIN(TestServoRateFlow)
#include "tst_servorateflow.moc"
