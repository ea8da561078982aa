#include "servostate.h"

#if defined(__SANITIZE_THREAD__)
// The toolkit is not built with the sanitizer, so its mutex is told to it here, in this one place.
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#else
static void __tsan_acquire(void*) {}
static void __tsan_release(void*) {}
#endif

Shared<bool> startPinchCalibration;
Shared<bool> startBoxTest;
Shared<bool> startPassivityTest;
Shared<bool> startCalibTest;
Shared<bool> startFiltersTest;
Shared<bool> startFrictionTest;
Shared<bool> startCapstanTest;
Shared<bool> verifyCapstanTest;
Shared<bool> startServoTest;
Shared<bool> startEncoderTest;
Shared<bool> startPerformanceForceTest;
Shared<bool> bFrictionPerformance;

SharedArray<float, 6> passivityTestForce;
SharedArray<long, 6> encoderTestEncoders;
SharedArray<float, 6> cForce;
SharedArray<long, 6> dac_values;
SharedArray<long, 6> friction_dac_values;
SharedArray<float, 15000> jointVelocity;
Shared<int> jointVelocityIndex = -1;
Shared<float> dacFloat;
Shared<bool> sendForceChecked;
Shared<bool> updateServoLoopText;

TestTimer encoderTestTime;
TestTimer testPointTimer;
Shared<bool> seekingTestPoint;
Shared<int> totalLoops;
Shared<float> nextTempWarning = 75.0f;

Shared<bool> encoderTestForever;
Shared<int> encoderTestMaxTime;
Shared<int> encoderTestAbortTemp;
Shared<bool> encoderTestPeriodic;
Shared<int> encoderTestLoops;
Shared<bool> encoderTestDegrees;

SharedArray<float, kRateSamples> sample;
Shared<int> rateCounter;
Shared<float> totalRateSamples;

bool bCalibMsgDispOnce = false;
bool bResetCalib = false;
int prevTharlenID = -1;
int servoUpdateTicks = 0;
int startPlotCounter = 0;

float motorTemperature[6], prevMotorATemperature[6];
float windingTemperature[6], prevWindingTemperature[6];
float statorTemperature[6], prevStatorTemperature[6];
float shutdownTemperature[6], prevShutdownTemperature[6];
float cooldownTemperature[6], prevCooldownTemperature[6];

QPointer<QTimer> resolutionTestTimer;
QPointer<QTimer> posRecordTimer;
QPointer<QTimer> loadTimer[500];
bool runMotorTempTest = false;
int timerCounter = 0;
int bStep = 0;
float frictionForce[6];
long positionOfDev[6];

void resetProcessState() {
    for (Shared<bool>* flag : {&startPinchCalibration, &startBoxTest, &startPassivityTest, &startCalibTest,
                               &startFiltersTest, &startFrictionTest, &startCapstanTest, &verifyCapstanTest,
                               &startServoTest, &startEncoderTest, &startPerformanceForceTest,
                               &bFrictionPerformance, &sendForceChecked, &seekingTestPoint})
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
    totalLoops = 0;
    encoderTestTime.clear();
    testPointTimer.clear();
    nextTempWarning = 75.0f;
    prevTharlenID = -1;
    servoUpdateTicks = startPlotCounter = timerCounter = 0;
    runMotorTempTest = false;
}

QMutex errorMessageSync(QMutex::Recursive);

ErrorMessageLock::ErrorMessageLock() {
    errorMessageSync.lock();
    __tsan_acquire(&errorMessageSync);
}

ErrorMessageLock::~ErrorMessageLock() {
    __tsan_release(&errorMessageSync);
    errorMessageSync.unlock();
}
