// What the graphical thread alone keeps at file scope, beyond one window's life and in one struct, and the names by
// which it is used. [G]
#pragma once

#include <QPointer>
#include <QTimer>

struct WindowState {
    bool bCalibMsgDispOnce = false;  ///< cleared on entry to "Calibrate"; nothing reads it
    bool bResetCalib = false;        ///< discarding a calibration found the servo loop running
    int prevTharlenID = -1;          ///< the handle that was last opened with success
    int servoUpdateTicks = 0;
    int startPlotCounter = 0;

    /// Ticks in the ink well, by what it reads then; they outlive the tab and are cleared on success only.
    int dockedTicks[2] = {};

    // Pinch: presses of the button since it last started over, and what two of them read.
    int pinchPresses = 0;
    double minPinchValue = 0;
    double maxPinchValue = 0;

    // Amplifiers.
    int cycleAmpsState = 0;      ///< 1 while they are believed to be on
    int cycleAmpsCounterOn = 0;  ///< switches since the tab was entered
    int cycleAmpsCounterOff = 0;
    bool ampsOK = false;  ///< the pass message was given and no fault came after it

    // Motor temperatures, degrees Celsius, and their values of a second before.
    float motorTemperature[6] = {}, prevMotorATemperature[6] = {};
    float windingTemperature[6] = {}, prevWindingTemperature[6] = {};
    float statorTemperature[6] = {}, prevStatorTemperature[6] = {};
    float shutdownTemperature[6] = {}, prevShutdownTemperature[6] = {};
    float cooldownTemperature[6] = {}, prevCooldownTemperature[6] = {};

    // Performance pages. A timer is null until its first start, and each start makes a new one.
    QPointer<QTimer> resolutionTestTimer;
    QPointer<QTimer> posRecordTimer;
    QPointer<QTimer> loadTimer[500];  ///< of the last processor load
    bool runMotorTempTest = false;    ///< the temperature page is set up; typed commands are taken from it
    int timerCounter = 0;             ///< s plotted, the x of the temperature plot
    int bStep = 0;                    ///< cleared with the friction run; read by nothing
    float frictionForce[6] = {};      ///< N; cleared with the friction run, read by nothing
    long positionOfDev[6] = {};       ///< counts at the start of the friction run
};

extern WindowState windowState;

inline constexpr auto& bCalibMsgDispOnce = windowState.bCalibMsgDispOnce;
inline constexpr auto& bResetCalib = windowState.bResetCalib;
inline constexpr auto& prevTharlenID = windowState.prevTharlenID;
inline constexpr auto& servoUpdateTicks = windowState.servoUpdateTicks;
inline constexpr auto& startPlotCounter = windowState.startPlotCounter;
inline constexpr auto& dockedTicks = windowState.dockedTicks;
inline constexpr auto& pinchPresses = windowState.pinchPresses;
inline constexpr auto& minPinchValue = windowState.minPinchValue;
inline constexpr auto& maxPinchValue = windowState.maxPinchValue;
inline constexpr auto& cycleAmpsState = windowState.cycleAmpsState;
inline constexpr auto& cycleAmpsCounterOn = windowState.cycleAmpsCounterOn;
inline constexpr auto& cycleAmpsCounterOff = windowState.cycleAmpsCounterOff;
inline constexpr auto& ampsOK = windowState.ampsOK;
inline constexpr auto& motorTemperature = windowState.motorTemperature;
inline constexpr auto& prevMotorATemperature = windowState.prevMotorATemperature;
inline constexpr auto& windingTemperature = windowState.windingTemperature;
inline constexpr auto& prevWindingTemperature = windowState.prevWindingTemperature;
inline constexpr auto& statorTemperature = windowState.statorTemperature;
inline constexpr auto& prevStatorTemperature = windowState.prevStatorTemperature;
inline constexpr auto& shutdownTemperature = windowState.shutdownTemperature;
inline constexpr auto& prevShutdownTemperature = windowState.prevShutdownTemperature;
inline constexpr auto& cooldownTemperature = windowState.cooldownTemperature;
inline constexpr auto& prevCooldownTemperature = windowState.prevCooldownTemperature;
inline constexpr auto& resolutionTestTimer = windowState.resolutionTestTimer;
inline constexpr auto& posRecordTimer = windowState.posRecordTimer;
inline constexpr auto& loadTimer = windowState.loadTimer;
inline constexpr auto& runMotorTempTest = windowState.runMotorTempTest;
inline constexpr auto& timerCounter = windowState.timerCounter;
inline constexpr auto& bStep = windowState.bStep;
inline constexpr auto& frictionForce = windowState.frictionForce;
inline constexpr auto& positionOfDev = windowState.positionOfDev;
