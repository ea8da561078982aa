// Every file-scope value of the main window: the test flags and the buffers that the servo thread and the graphical
// thread share, in one struct, and the names by which they are used. Nothing here is a widget.
#pragma once

#include <QMutex>

#include "handover.h"
#include "testclock.h"
#include "windowstate.h"

constexpr int kRateSamples = 2000;

struct ServoState {
    // --- Test flags, in the order of the dispatch chain ------------------------------------------
    // Raised and cleared on the graphical thread, read once a tick. The end of its time clears startEncoderTest on the
    // servo thread.

    Shared<bool> startPinchCalibration{false};  ///< read the pinch value; a side step, not in the chain
    Shared<bool> startBoxTest{false};
    Shared<bool> startPassivityTest{false};
    Shared<bool> startCalibTest{false};  ///< holds the loop idle while calibration runs
    Shared<bool> startFiltersTest{false};
    Shared<bool> startFrictionTest{false};
    Shared<bool> startCapstanTest{false};
    Shared<bool> verifyCapstanTest{false};
    Shared<bool> startServoTest{false};
    Shared<bool> startEncoderTest{false};
    Shared<bool> startPerformanceForceTest{false};
    Shared<bool> bFrictionPerformance{false};

    // --- Buffers ---------------------------------------------------------------------------------

    SharedArray<float, 6> passivityTestForce{};  ///< last force sent by the passivity branch, N
    SharedArray<long, 6> encoderTestEncoders{};  ///< counts
    SharedArray<float, 6> cForce{};              ///< force of the performance branch, N
    SharedArray<long, 6> dac_values{};           ///< command of the performance branch, DAC counts
    SharedArray<long, 6> friction_dac_values{};  ///< ramp of the friction branch, DAC counts
    SharedArray<float, 15000> jointVelocity{};   ///< third joint, rad/s, one sample a tick
    Shared<int> jointVelocityIndex{-1};          ///< next sample; starts at -1, never reset
    Shared<float> dacFloat{0.0f};                ///< growth of the ramp, DAC counts a tick
    Shared<bool> sendForceChecked{false};        ///< sendForce_checkBox or sendForce_checkBox_2 is checked
    Shared<bool> updateServoLoopText{false};     ///< declared with the flags; nothing uses it

    // --- Closed-loop encoder test ----------------------------------------------------------------

    TestTimer encoderTestTime;             ///< since the run started or ended; 0 until one ran
    TestTimer testPointTimer;              ///< since the test point started; 0 until one ran
    Shared<bool> seekingTestPoint{false};  ///< a test point is under way; a stop leaves it set
    Shared<int> totalLoops{0};             ///< completed loops and test points of the run
    Shared<float> nextTempWarning{75.0f};  ///< degrees Celsius; rises by 5 with each warning, never falls

    // The tab's options, kept current by the window and read on each tick.
    Shared<bool> encoderTestForever{false};   ///< no time limit
    Shared<int> encoderTestMaxTime{0};        ///< time limit, ms
    Shared<int> encoderTestAbortTemp{0};      ///< degrees Celsius
    Shared<bool> encoderTestPeriodic{false};  ///< a test point every so many loops
    Shared<int> encoderTestLoops{0};          ///< that many; 0 for none
    Shared<bool> encoderTestDegrees{false};   ///< test points log degrees instead of counts

    // --- Samples of the servo rate ---------------------------------------------------------------

    SharedArray<float, kRateSamples> sample{};  ///< Hz; what a period holds beyond this is not kept
    Shared<int> rateCounter{0};                 ///< samples kept in this period
    Shared<float> totalRateSamples{0.0f};       ///< their sum, Hz
};

extern ServoState servoState;

inline constexpr auto& startPinchCalibration = servoState.startPinchCalibration;
inline constexpr auto& startBoxTest = servoState.startBoxTest;
inline constexpr auto& startPassivityTest = servoState.startPassivityTest;
inline constexpr auto& startCalibTest = servoState.startCalibTest;
inline constexpr auto& startFiltersTest = servoState.startFiltersTest;
inline constexpr auto& startFrictionTest = servoState.startFrictionTest;
inline constexpr auto& startCapstanTest = servoState.startCapstanTest;
inline constexpr auto& verifyCapstanTest = servoState.verifyCapstanTest;
inline constexpr auto& startServoTest = servoState.startServoTest;
inline constexpr auto& startEncoderTest = servoState.startEncoderTest;
inline constexpr auto& startPerformanceForceTest = servoState.startPerformanceForceTest;
inline constexpr auto& bFrictionPerformance = servoState.bFrictionPerformance;
inline constexpr auto& passivityTestForce = servoState.passivityTestForce;
inline constexpr auto& encoderTestEncoders = servoState.encoderTestEncoders;
inline constexpr auto& cForce = servoState.cForce;
inline constexpr auto& dac_values = servoState.dac_values;
inline constexpr auto& friction_dac_values = servoState.friction_dac_values;
inline constexpr auto& jointVelocity = servoState.jointVelocity;
inline constexpr auto& jointVelocityIndex = servoState.jointVelocityIndex;
inline constexpr auto& dacFloat = servoState.dacFloat;
inline constexpr auto& sendForceChecked = servoState.sendForceChecked;
inline constexpr auto& updateServoLoopText = servoState.updateServoLoopText;
inline constexpr auto& encoderTestTime = servoState.encoderTestTime;
inline constexpr auto& testPointTimer = servoState.testPointTimer;
inline constexpr auto& seekingTestPoint = servoState.seekingTestPoint;
inline constexpr auto& totalLoops = servoState.totalLoops;
inline constexpr auto& nextTempWarning = servoState.nextTempWarning;
inline constexpr auto& encoderTestForever = servoState.encoderTestForever;
inline constexpr auto& encoderTestMaxTime = servoState.encoderTestMaxTime;
inline constexpr auto& encoderTestAbortTemp = servoState.encoderTestAbortTemp;
inline constexpr auto& encoderTestPeriodic = servoState.encoderTestPeriodic;
inline constexpr auto& encoderTestLoops = servoState.encoderTestLoops;
inline constexpr auto& encoderTestDegrees = servoState.encoderTestDegrees;
inline constexpr auto& sample = servoState.sample;
inline constexpr auto& rateCounter = servoState.rateCounter;
inline constexpr auto& totalRateSamples = servoState.totalRateSamples;

/// Builds servoState and windowState anew, so that every value of both is as a new process has it: for programs that
/// open one window after another. No window and no loop may be alive. testClock stays.
void resetProcessState();

/// The one lock: around errorMessage and numAccumErrors. Recursive, since displayError() clears the
/// browser with the lock held.
extern QMutex errorMessageSync;

/// Takes errorMessageSync for a scope. Any thread; the servo thread waits here and nowhere else.
class ErrorMessageLock {
public:
    ErrorMessageLock();
    ~ErrorMessageLock();
    ErrorMessageLock(const ErrorMessageLock&) = delete;
    ErrorMessageLock& operator=(const ErrorMessageLock&) = delete;
};
