// qtTharlenTest: the one main window. It owns all test state, the form, every timer and the scenes.
//
// Everything runs on the graphical thread unless marked [S]: those functions run on the servo thread, and
// what they touch is a Shared value (servo/handover.h). What a tab or a page does is in the file by its title, under
// tabs/ and pages/; its steps are functions of that file, which take the window. So all but the device that is selected
// is open to the files of this program.
#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QGraphicsScene>
#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <QTextStream>
#include <QTimer>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "device/tharlenio.h"
#include "encodertest.h"
#include "formstate.h"
#include "handover.h"
#include "runwatch.h"
#include "tharlenDefines.h"
#include "ui_qttharlentest.h"

class QMessageBox;
class qtTharlenDraw;
class qtTharlenHapticRenderer;
struct ModelLine;

/// Runs once a servo tick, on the servo thread, with the main window as user data. Always returns 0.
int ServoLoopCallBack(void* pUserData);

/// Left from a check for a running copy; returns false at once and nothing calls it.
bool checkForProcess(char* pProcName);

class qtTharlenTest : public QMainWindow {
    Q_OBJECT

public:
    explicit qtTharlenTest(QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~qtTharlenTest() override;

    // --- Device and command buffers ---
    Shared<int> csTharlenID{-1};            ///< handle of the open device, -1 when none
    float m_forceToSend[6]{};               ///< N
    SharedArray<long, 6> force_dac_values;  ///< the default servo branch sends these, DAC counts
    float m_torqueToSend[6]{};              ///< N mm
    SharedArray<float, 3> forceProgress;    ///< box force as limited, N; no display reads it
    SharedArray<float, 3> lastDacValue;     ///< last motor command, percent of 32768
    Ui::qtTharlenTestClass ui;
    SharedArray<float, 6> m_fVoltsToSend;  ///< V
    SharedArray<float, 6> m_fVoltsSent;    ///< V, as the library sent them
    float hapticUpdateRate = 0;            ///< Hz
    Shared<float> instHapticUpdateRate;    ///< Hz, of the last tick

    // --- Errors ---
    QTimer* errorDisplayTimer = nullptr;
    QString errorMessage;    ///< the latest error line; under errorMessageSync
    int numAccumErrors = 0;  ///< errors since the last clearing; under errorMessageSync

    // --- Plots ---
    QGraphicsScene *linePlotScene = nullptr, *frictionPlotScene = nullptr;
    QLineF *motor1_linePlot = nullptr, *motor2_linePlot = nullptr, *motor3_linePlot = nullptr;
    QLineF *motor1_windingPlot = nullptr, *motor2_windingPlot = nullptr, *motor3_windingPlot = nullptr;
    QLineF *motor1_statorPlot = nullptr, *motor2_statorPlot = nullptr, *motor3_statorPlot = nullptr;
    QLineF* velocityLine = nullptr;

    // --- Mode and selection ---
    Shared<bool> manufMode;  ///< read by the box test on the servo thread
    bool encoderTestMode = false, performanceTestMode = false;
    long servoRate = 0;           ///< Hz
    Shared<double> m_pinchValue;  ///< raw reading, taken on the servo thread
    int currentTabIndex = 0;      ///< written at start-up, read for no decision
    CTHARLeNMgr m_mgr;
    CTHARLeNDevice* m_aDevices[20] = {};
    qtTharlenDraw* tharlenRenderer = nullptr;
    qtTharlenHapticRenderer *hapticBoxRenderer = nullptr, *passivityBoxRenderer = nullptr, *filtersRenderer = nullptr;
    int m_nDevices = 0;
    bool m_bDoAutoTests = false;

    // --- Limits ---
    CONFIG_DATA_CORVALE m_cdCorvale = corvaleLimits();
    CONFIG_DATA_PIRKA m_cdPirka = pirkaLimits();
    CONFIG_DATA_LODRIN m_cdLodrin = lodrinLimits();

    // --- Report ---
    REPORTDATA* repData = nullptr;
    QFile* testReportFile = nullptr;
    QTextStream resultStream;
    QTimer* dateTimeTimer = nullptr;
    unsigned long m_nUnit = 0;
    int prevIndex = 0;
    QString hardwareRev, hardwareSerial;
    char m_szNumber[12] = {};
    QString m_acsCredentials[4];  ///< the second element is the device chosen at start-up

    // --- Calibration ---
    QTimer *selectionTimer = nullptr, *checkCalibTimer = nullptr;
    int validCalibType = 0;
    float calibCounter = 0;                    ///< ticks of checkCalibTimer
    AXIS_SENSOR_DATA* mpSensorData = nullptr;  ///< three axes, the library's
    SENSOR_DATA* repFlagData[3] = {};
    bool bFlagPass[3] = {}, bGapPass[4] = {}, bFlagPassRev7[7] = {};
    QString flagDataString[3], rev7FlagDataString[7], GapDataString[4];

    // --- Encoders and switches ---
    QTimer* encoderGuiUpdateTimer = nullptr;
    long m_lMinEncoderVal[6] = {}, m_lMaxEncoderVal[6] = {};  ///< counts
    int stylusSwitchState = 0, stylusSwitchCounterOn = 0, stylusSwitchCounterOff = 0;
    int presenceSwitchState = 0, presenceSwitchCounterOn = 0, presenceSwitchCounterOff = 0;
    int extraSwitchState = 0, extraSwitchCounterOn = 0, extraSwitchCounterOff = 0;
    int inkwellSwitchState = 0, inkwellSwitchCounterOn = 0, inkwellSwitchCounterOff = 0;
    QTimer* calibDetailTimer = nullptr;
    CIOConnection* m_pConnection = nullptr;
    CTHARLeNAutoCalibration* m_pCalibration = nullptr;
    REPORTDATA m_rd;  ///< a second record, of which only asdData is used

    // --- Closed-loop encoder test ---
    float m_nCounter = 0;  ///< ticks of calibDetailTimer
    int n_axis = 0;
    SharedArray<long, 3> m_lDestination;               ///< target of the current step, counts
    SharedArray<long, 3> m_lDesirePos;                 ///< the moving set point, counts
    SharedArray<long, 3> m_lDeltaPos;                  ///< its change, plus or minus m_lStepSize
    Shared<long> m_lStepSize;                          ///< counts/tick
    SharedArray<long, 3> Destination[kRouteRows];      ///< the route, counts; row 0 is all zero
    Shared<long> m_SettleTolerance = 2;                ///< counts
    Shared<long> m_MotionToleranceTimeCounter = 1000;  ///< down-counter that all axes and both faults share
    SharedArray<int, 3> m_iReachDestination;           ///< ticks that each axis still has to stay at its destination
    Shared<bool> m_bReached;                           ///< in spite of its name: a step's arrival is being watched
    Shared<bool> m_bServoControl;                      ///< position control is on
    SharedArray<long, 6> m_lDACvalues;                 ///< the commands, DAC counts; only three are written
    Shared<int> m_fPosMaxDAC, m_fNegMaxDAC;            ///< DAC counts
    iir_structure m_iir_data[3];
    SharedArray<float, 3> m_fParity;                     ///< sign of each motor
    SharedArray<float, 3> m_fOffset;                     ///< constant command, DAC counts, before the sign
    Shared<int> m_iButtonStep;                           ///< row of Destination
    Shared<unsigned> m_lastsensor;                       ///< home sensor bits of the tick before
    SharedArray<long, 3> ZsensorOn, ZsensorOff;          ///< counts at the last edges of each axis's home sensor
    SharedArray<long, 3> TemperatureOn, TemperatureOff;  ///< thousandths of a degree Celsius at the same edges
    int iGimbalR1 = 0, iGimbalR2 = 0, iGimbalR3 = 0, CntGimbalRs = 0, CntGimbalOverFlow = 0;
    int iTemperature = 0, CntTemperature = 0, CntTemperatureOverFlow = 0;
    bool CollectControl = false, b_PositionControl = false;
    Shared<bool> b_TriggerEPPError;  ///< the connection's bool has been set, once in a process
    QFile *traceEncOutFile = nullptr, *traceGimbOutFile = nullptr;
    QTextStream traceEncStream, traceGimbEncStream;
    QTimer* gimbEncTestTimer = nullptr;

    // --- Amplifiers and forces ---
    QTimer* ampsGuiUpdateTimer = nullptr;
    QTimer* cycleAmpsTimer = nullptr;  ///< made, but never connected or started
    float motorTemp[6] = {};           ///< normalised, 1.0 is the limit
    float motorTempinDegrees[6] = {};  ///< degrees Celsius
    QTimer *tempGuiUpdateTimer = nullptr, *forceCheckTimer = nullptr;
    float m_lMinForceVal[6] = {}, m_lMaxForceVal[6] = {};  ///< DAC counts, in spite of the name
    QString m_forceSentStr[6];                             ///< N; no read-out shows it
    QString m_motorDACStr[6];                              ///< DAC counts
    QString csText;                                        ///< the force as a line; no read-out shows it

    // --- Friction and capstan: one machine's state, which both tests share and their initialisers clear ---
    VOLTAGE_VECTOR m_vvMaxVoltage{};  ///< highest voltage of each axis, V
    int m_nStage = 0;
    int m_nAxis = 0;                      ///< axis under test, 0 to 2
    long m_anLastEncoders[3] = {};        ///< at the last check for stillness; then where the move starts
    int m_nSameEncoderCnt = 0;            ///< steps without movement, one after the other
    POS_VECTOR m_pvEncoderChange{};       ///< counts that mean "moved", or the greatest slip that passes
    VOLTAGE_VECTOR m_vvVoltageIncr{};     ///< capstan: drive towards the stops, V; friction does not read it
    VOLTAGE_VECTOR m_vvVoltageChange{};   ///< friction: highest voltage that passes, V
    POS_VECTOR m_pvMoveResult{};          ///< friction: start less end of each axis's move, counts
    VOLTAGE_VECTOR m_vvMoveResult{};      ///< friction: voltage when the axis ended, V
    VOLTAGE_VECTOR m_vvMoveMaxVoltage{};  ///< the limit that SendVoltages uses, V
    VOLTAGE_VECTOR m_vvMoveIncr{};        ///< friction: the ramp, V
    BOOL m_abRamping[3] = {};             ///< cleared, not otherwise used
    QTimer* frictionTestTimer = nullptr;
    int m_nTicksPushingOnStops = 0;  ///< steps at maximum voltage
    POS_VECTOR m_pvMoveResult1{},
        m_pvMoveResult2{};         ///< encoders at the stops in the reference and the verify run, counts
    VOLTAGE_VECTOR m_vvDamping{};  ///< loaded, not read: the damping is fixed
    int m_nTimeAtMax = 0;          ///< steps to push
    QTimer *capstanTestTimer = nullptr, *capstanTestRefTimer = nullptr;

    // --- Box and servo rate ---
    QTimer *forceProgressTimer = nullptr, *servoRateGraphicTimer = nullptr;
    QTimer* histoGramTimer = nullptr;                ///< declared; no timer is ever made for it
    Shared<float> minUpdateRate, maxUpdateRate;      ///< Hz
    float updateRateStdDev = 0, varUpdateRate = 0;   ///< the latter in Hz squared
    float meanUpdateRate = 0, stdDevUpdateRate = 0;  ///< Hz
    int numSamplesUpdateRate = 0;
    QGraphicsScene* histogramScene = nullptr;
    QRectF* histogramRect = nullptr;

    // --- Performance pages ---
    double* memoryLoadInt[10] = {};  ///< of the memory load alone, null without one
    bool releaseProcess = false;
    QTimer* motorTempTimer = nullptr;
    Shared<float> passivityGain;  ///< N/mm

    // --- Start-up and wizard ---
    bool onInitTharlenTest();
    void onInitWidgetItems();
    void onInitTabItems();
    void enableTestTabs();
    void disableTestTabs();

    // --- Device selection ---
    bool LoadConfigurations();
    void DumpConfigurations();
    void setApplicationCredentials();
    // Asked of the selected device's record at each call. A type 9 device is a Nolva and counts as a
    // Stelmar too, and so does type 4: the callers depend on the combination. [any thread]
    bool isCorvale() const;
    bool is6dof() const;
    bool isOrda() const;
    bool isCNolvaDevice() const;
    bool isAnyStelmar() const;
    bool isHighForceDevice() const;
    bool hasInkwell() const;
    /// What is asked of the selected device's line (models/modellines.h). [any thread]
    const ModelLine& modelLine() const;
    const CTHARLeNDevice* selectedDevice() const { return m_selectedDevice; }

    // --- Servo thread ---
    /// Turns a library status into a dated line; see the table in servo/errors.cpp. Any thread.
    void accumulateErrors(int nErr);
    /// What may drive motors from a tick: closed whenever the window switches off.
    ForceGate m_forceGate;
    LoopWatch m_loopWatch;
    /// Wall forces of the box test for a position (mm) and the last motor commands (DAC counts): three
    /// forces, N, valid until the next call. All zero for a negative handle. [S]
    float* calcForce(int tharlen_id, float* pPos, long* plastDac);
    /// Counts pop-throughs and drops the force after one; edits `devForce` (3, N) in place. [S]
    void checkBoxTest(int tharlen_id, float* devForce);
    /// Wall forces of the passivity cube: three, N, valid until the next call. The position is read
    /// here; `pPos` is not used. [S]
    float* calcCustomForce(int tharlen_id, float* pPos);
    /// Copies the position into the filters scene. [S]
    void filterNrender(int tharlen_id);
    /// Adds one sample to the period. Returns 1. [S]
    int sampleHapticUpdateRate();

    // --- What is said and shown ---
    /// A dated line in the error browser, once. `text` may be foreign: it is shown as it is, on one line.
    void sayError(const QString& text);
    /// The same, shown again twice a second as the device's own errors are, until something clears or replaces it.
    void keepError(const QString& text);
    /// Adds a bar of the period's samples to the strip, a tenth of a pixel a sample. A full strip starts anew.
    void updateHistogram();

    // --- Closed-loop encoder test ---
    /// Filters, gains and route of the selected model; control off, at step 0.
    void initEncoderTestPars();
    void setupPIDGains();
    /// One tick of the test. Reads the encoders itself and does not use its argument; six commands, DAC counts,
    /// valid until the next call. [S]
    long* runEncoderTest(long* encoders);
    /// Loads the step of m_iButtonStep, with the set point at the given counts (3). [any thread]
    void UpdateDestinations(long* CurrentEncoders);
    /// Control off and commands zero; the ticks go on. Returns the six commands. [S]
    long* abortMotion(int tharlenID);

    // --- Report ---
    void initReportData();
    /// Clears the record and all per-device test state.
    void resetReportData();
    /// Writes $KNDD_HOME/logs/Test_Reports and shows the overall verdict. 1, or 0 where not all of it could be written:
    /// then an earlier report is still there, the page stays as it was and the error browser says why.
    int createTestReport();
    /// "    P" or "  * F *".
    QString addPassFail(bool pass);

    // --- Calibration, encoders and switches ---
    void onCalibrationTab();
    void onEncoderTab();
    bool isCorvaleCalibrated(int id);
    bool isInkwellCalibrated(int id);
    /// Whether flag or gap `nToken` (0 to 2) of axis `nAxis` (0 to 2) is as wide as the limits ask, both ends
    /// inclusive. `pvSensorData` is that axis's AXIS_SENSOR_DATA, whose pointer must not be null.
    BOOL isFlagGapValid(void* pvSensorData, int nAxis, int nToken, SENSOR_TOKEN type);

    // --- Friction and capstan ---
    void initFrictionTest();
    void updateFrictionTestResults();
    void initCapstanRefTest();
    void initCapstanVerifyTest();
    void updateCapstanTestResults();
    /// Hands `fVolts` (3, V) to the voltage branch of the servo tick, at most m_vvMoveMaxVoltage each; a motor of the
    /// gimbal gets none. Meant: there is no lower limit. Always 0.
    int SendVoltages(int nTHARLeNID, float* fVolts);

    // --- Shared by the files of the window -------------------------------------------------------------

    // Construction
    QTimer* newTimer(void (qtTharlenTest::*slot)());
    void drawHistogramMark();
    void clearAxisState();
    void clearSwitchCounters();
    FormState m_form;                              ///< of the test tabs' read-outs
    QHash<const QWidget*, QString> m_tabToolTips;  ///< of the form, which a tab loses with its place

    // Motors off (servo/motorsoff.h)
    QTimer* m_loopWatchTimer = nullptr;
    std::int64_t m_lastLook = -1;      ///< ms, of the watch on the loop
    std::int64_t m_stoodStillAt = -1;  ///< ms, where the line about it is still in the error browser
    QString m_lastSaid;                ///< in the error browser
    QElapsedTimer m_sinceLastSaid;

    // Device selection
    void selectRecord(int comboIndex);
    void tellSurplusDevices();
    void deleteDeviceRecords(int count);
    int m_surplusDevices = 0;                       ///< configured beyond what m_aDevices holds
    int m_deviceOpening = 0;                        ///< openings so far, and what else voids a pending switch
    int m_unstarted = -1;                           ///< handle of a device whose loop has not been started yet
    const CTHARLeNDevice* m_shownDevice = nullptr;  ///< whose read-outs the tabs show

    // Wizard
    std::exception_ptr m_failedEntry;  ///< what entering a tab threw, until the change of tab is whole

    // Forces of a tick (servo/tick.h) [S]
    float m_boxForce[3]{}, m_passivityForce[3]{};  ///< what calcForce and calcCustomForce return, N
    bool m_limitSwitchedOff = false;               ///< in this tick, for the force limit
    Shared<bool> m_forceNotFinite;                 ///< since the device was opened
    bool m_toldNotFinite = false;                  ///< [graphical thread]

    // What tabs keep from one call to the next
    RunWatch m_ampsWatch;  ///< from entering the tab until it is left
    RunWatch m_encoderWatch, m_frictionWatch, m_capstanWatch;
    BoundedQueue<EncoderTestEvent, kEncoderTestEvents> m_encoderTestEvents;
    QTimer* m_encoderTestTimer = nullptr;                 ///< looks for events while a test runs
    bool m_encoderTestRan = false;                        ///< at its last look
    bool m_undrivenNoted = false;                         ///< in this run
    long m_encoderTestDac[6]{};                           ///< what runEncoderTest returns [S]
    qint64 m_gimbalTraceEnd = 0;                          ///< bytes of the whole lines in the trace file
    std::optional<std::array<long, 3>> m_seekStart;       ///< counts where the drive to the stops began
    SENSOR_DATA m_keptFlags[3][3]{}, m_keptGaps[3][3]{};  ///< what m_rd.asdData points to
    float m_reportedMin = 0, m_reportedMax = 0;           ///< Hz, of the period that is being reported
    QMessageBox* inkwellWarning = nullptr;
    std::vector<std::unique_ptr<QTimer>> m_loadTimers;  ///< of every processor load so far

    // --- Kept for their names alone --------------------------------------------------------------------

    bool m_bIsCorvale = false, m_bIsPirka = false, m_bIsLodrin = false, m_bIsVeska = false, m_bIsVeska3Button = false;
    bool m_bIs1394Device = false, m_bIsBlockDevice = false, m_bIs6DOF = false, m_bIs2DOF = false,
         m_bIsUSBDevice = false;
    bool m_bHandlingError = false, m_bFatalError = false;
    char m_szErrorText[2048] = {};
    /// The number after the first "=", up to a second one; 0 where there is none.
    float splitNreturnFloat(QString text);
    int splitNreturnInt(QString text);
    void seekCenterDestination(long* CurrentEncoders);  ///< as UpdateDestinations, to 0, 0, 0 [any thread]
    // Without implementation, from a time of limit files.
    bool ReadCorvaleConfigurationFile(QString fileName);
    bool WriteCorvaleConfigurationFile(QString fileName);
    bool ReadLodrinConfigurationFile(QString fileName);
    bool WriteLodrinConfigurationFile(QString fileName);
    void ReadFlagAndGapWidths(QString fileName);
    int readOrdaConfigurationFile(QString fileName);
    QString GetBoardSerialNumber();
    QString getAppVersion();

public slots:
    // Wizard
    void onTabChange(int index);
    void gotoPrevTab();
    void gotoNextTab();
    void onTestModeSelection();
    void closeTestApplication();
    void changePage(QListWidgetItem* current, QListWidgetItem* previous);
    void onClickTestAnotherDevice();  ///< connected to nothing
    void updateServoLoopRate();

    // Device selection
    int OnSelChangeTHARLeN();
    void updateName();
    void updateSerial(int id);
    void updateTharlenGraphic();

    // Errors
    void displayError();
    void clearErrorBrowser();
    void displayDateTime();

    // Box test
    void forceProgressUpdate();

    // Calibration
    void onClickCalibrateButton();
    void onClickCalibrate();      ///< connected to nothing
    int onClickCalibratePinch();  ///< Alt+P while a grip waits for it; no button is connected
    void updateOrdaCorvaleCalib();
    void onCalibrationDetailTab();
    void updateCalibrationData();
    void PrepareOutputString1();
    void PrepareOutputString2();
    void PrepareOutputString3();
    void verifyFlagGapWidth();
    void onClickLoseCalibration();
    void onClickUpdateCalibration();

    // Encoders
    void updateReadEncoderTab();
    int checkEncoderPass();  ///< 1 when the operator has chosen for every axis
    int checkSwitchPass();   ///< 1 when the operator has chosen for every switch that the model has
    void initEncoderTest();
    void stopEncoderTest();
    /// Brings lines and the end of a run from the servo thread to the tab.
    void showEncoderTestEvents();
    void initGimbalEncoderTest();
    void stopGimbalEncoderTest();
    void runGimbalEncoderTest();

    // Amplifiers and forces
    void onCycleAmpsTab();
    void enableAmplifiers();
    void disableAmplifiers();
    void onTestForcesTab();
    void onForceSlidersChange();
    void onClickResetForces();
    void resetForceSliders();
    void monitorTemperature();
    void updateForceDisplay();
    void checkForcePass();

    // Friction and capstan. A run goes on where its tab was left, with the forces off, and ends by itself.
    void onClickStartFrictionTest();
    /// One step, each millisecond. 0, or what SendVoltages returned.
    int runFrictionTest();
    void onClickStartCapstanTest();
    void onClickVerifyCapstanTest();
    int runCapstanTest_ref();
    int runCapstanTest_verify();

    // Servo rate
    void startServoLoopRateTest();
    void stopServoLoopRateTest();
    void updateServoLoopRateProgress();  ///< once a period: a line, a bar; the eleventh ends the run
    void clearHistogram();

    // Performance pages
    void startServoLoopPerformance();
    void stopServoLoopPerformance();
    void loadProcessor();
    void loadCPU();  ///< of each of the 500 load timers
    void releaseProcessor();
    void loadMemory();
    void releaseMemory();
    void startResolutionTest();
    void updatePositionForResolutionTest();
    void stopResolutionTest();
    /// Takes the typed command of the page that is set up: DAC counts, or N where its box is checked. What does not
    /// parse is 0.
    void command_motor_dac();
    void clear_dac_value();
    void clearForces();
    void commandForces();  ///< connected to nothing
    void startWorkspaceRecord();
    void recordWorkspace();
    void stopWorkspaceRecord();
    void startMotorTempTest();
    void startLinePlot();
    void stopLinePlot();
    void getMotorTemperature();
    void startFrictionPerformanceTest();      ///< connected to nothing
    void stopFrictionPerformanceTest();       ///< connected to nothing
    void onPassivitySliderChange(int value);  ///< connected to nothing

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    /// The record behind the combo box's index, for both threads; null when there is none.
    Shared<const CTHARLeNDevice*> m_selectedDevice{nullptr};
};
