// Every file-scope value of the main window: the test flags, the buffers that the servo thread and the
// graphical thread share, and what outlives one window. Nothing here is a widget.
#pragma once

#include <QMutex>
#include <QPointer>
#include <QTimer>

#include "handover.h"
#include "testclock.h"

// --- Test flags, in the order of the dispatch chain ----------------------------------------------
// Raised and cleared on the graphical thread, read once a tick; all false at start. The end of its time clears
// startEncoderTest on the servo thread.

extern Shared<bool> startPinchCalibration;  ///< read the pinch value; a side step, not in the chain
extern Shared<bool> startBoxTest;
extern Shared<bool> startPassivityTest;
extern Shared<bool> startCalibTest;  ///< holds the loop idle while calibration runs
extern Shared<bool> startFiltersTest;
extern Shared<bool> startFrictionTest;
extern Shared<bool> startCapstanTest;
extern Shared<bool> verifyCapstanTest;
extern Shared<bool> startServoTest;
extern Shared<bool> startEncoderTest;
extern Shared<bool> startPerformanceForceTest;
extern Shared<bool> bFrictionPerformance;

// --- Buffers shared with the servo thread ---------------------------------------------------------

extern SharedArray<float, 6> passivityTestForce;   ///< last force sent by the passivity branch, N
extern SharedArray<long, 6> encoderTestEncoders;   ///< counts
extern SharedArray<float, 6> cForce;               ///< force of the performance branch, N
extern SharedArray<long, 6> dac_values;            ///< command of the performance branch, DAC counts
extern SharedArray<long, 6> friction_dac_values;   ///< ramp of the friction branch, DAC counts
extern SharedArray<float, 15000> jointVelocity;    ///< third joint, rad/s, one sample a tick
extern Shared<int> jointVelocityIndex;             ///< next sample; starts at -1, never reset
extern Shared<float> dacFloat;                     ///< growth of the ramp, DAC counts a tick
extern Shared<bool> sendForceChecked;              ///< sendForce_checkBox or sendForce_checkBox_2 is checked
extern Shared<bool> updateServoLoopText;           ///< declared with the flags; nothing uses it

// --- Closed-loop encoder test ----------------------------------------------------------------------

extern TestTimer encoderTestTime;      ///< since the run started or ended; 0 until one ran
extern TestTimer testPointTimer;       ///< since the test point started; 0 until one ran
extern Shared<bool> seekingTestPoint;  ///< a test point is under way; a stop leaves it set
extern Shared<int> totalLoops;         ///< completed loops and test points of the run
extern Shared<float> nextTempWarning;  ///< degrees Celsius; rises by 5 with each warning, never falls

// The tab's options, kept current by the window and read on each tick.
extern Shared<bool> encoderTestForever;  ///< no time limit
extern Shared<int> encoderTestMaxTime;   ///< time limit, ms
extern Shared<int> encoderTestAbortTemp; ///< degrees Celsius
extern Shared<bool> encoderTestPeriodic; ///< a test point every so many loops
extern Shared<int> encoderTestLoops;     ///< that many; 0 for none
extern Shared<bool> encoderTestDegrees;  ///< test points log degrees instead of counts

// --- Samples of the servo rate ---------------------------------------------------------------------

constexpr int kRateSamples = 2000;
extern SharedArray<float, kRateSamples> sample;  ///< Hz; what a period holds beyond this is not kept
extern Shared<int> rateCounter;                  ///< samples kept in this period
extern Shared<float> totalRateSamples;           ///< their sum, Hz

// --- Graphical thread only -------------------------------------------------------------------------

extern bool bCalibMsgDispOnce;  ///< cleared on entry to "Calibrate"; nothing reads it
extern bool bResetCalib;        ///< discarding a calibration found the servo loop running
extern int prevTharlenID;  ///< the handle that was last opened with success, -1 at start
extern int servoUpdateTicks;
extern int startPlotCounter;

// Motor temperatures, degrees Celsius, and their values of a second before.
extern float motorTemperature[6], prevMotorATemperature[6];
extern float windingTemperature[6], prevWindingTemperature[6];
extern float statorTemperature[6], prevStatorTemperature[6];
extern float shutdownTemperature[6], prevShutdownTemperature[6];
extern float cooldownTemperature[6], prevCooldownTemperature[6];

// Performance pages. A timer is null until its first start, and each start makes a new one.
extern QPointer<QTimer> resolutionTestTimer;
extern QPointer<QTimer> posRecordTimer;
extern QPointer<QTimer> loadTimer[500];  ///< of the last processor load
extern bool runMotorTempTest;     ///< the temperature page is set up; typed commands are taken from it
extern int timerCounter;          ///< s plotted, the x of the temperature plot
extern int bStep;                 ///< cleared with the friction run; read by nothing
extern float frictionForce[6];    ///< N; cleared with the friction run, read by nothing
extern long positionOfDev[6];     ///< counts at the start of the friction run

/// Puts every value of this page back to its start, as a new process has it: for programs that open one window after
/// another. No window and no loop may be alive. testClock stays.
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
