#include "windowtest.h"

#include "servostate.h"

void resetSharedState() {
    for (Shared<bool>* flag : {&startPinchCalibration, &startBoxTest, &startPassivityTest, &startCalibTest,
                               &startFiltersTest, &startFrictionTest, &startCapstanTest, &verifyCapstanTest,
                               &startServoTest, &startEncoderTest, &startPerformanceForceTest,
                               &bFrictionPerformance, &sendForceChecked})
        *flag = false;
    passivityTestForce.fill(0);
    encoderTestEncoders.fill(0);
    cForce.fill(0);
    dac_values.fill(0);
    friction_dac_values.fill(0);
    jointVelocity.fill(0);
    jointVelocityIndex = -1;
    dacFloat = 0.0f;
    rateCounter = 0;
    totalRateSamples = 0.0f;
    prevTharlenID = -1;
    servoUpdateTicks = 0;
    startPlotCounter = 0;
    testClock = &monotonicMilliseconds;
    encoderTestTime.clear();
    testPointTimer.clear();
    seekingTestPoint = false;
    totalLoops = 0;
    nextTempWarning = 75.0f;
    runMotorTempTest = false;
    timerCounter = 0;
}

QStringList tabTexts(const qtTharlenTest& window) {
    QStringList texts;
    for (int i = 0; i < window.ui.tabWidget->count(); ++i)
        texts << window.ui.tabWidget->tabText(i);
    return texts;
}

bool goToTab(qtTharlenTest& window, const QString& text) {
    const int index = tabTexts(window).indexOf(text);
    if (index < 0)
        return false;
    window.ui.tabWidget->setCurrentIndex(index);
    return true;
}

std::unique_ptr<qtTharlenTest> openWindow() {
    auto window = std::make_unique<qtTharlenTest>();
    goToTab(*window, "Select");
    return window;
}
