// What ends motor activity, whoever started it: a change of tab, page or device, an exception, the window's end. And
// the watch on the loop, without which nothing is driven and nothing is measured.
#include <QSignalBlocker>

#include "motorsoff.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kLongestGap = 1800;     ///< ms between two looks; a loaded PC takes a second at times
constexpr int kStillToldFor = 10000;  ///< ms
constexpr char kStoodStill[] = "The window stood still";

/// Runs a call of the library that may not keep the next one from being made.
template <class Call>
void shielded(Call call) noexcept {
    try {
        call();
    } catch (...) {
    }
}

}  // namespace

// --- Amplifiers ------------------------------------------------------------------------------------

void forcesOff(qtTharlenTest& window) {
    window.m_forceGate.close();
    disable_tharlen_forces(window.csTharlenID);
}

void forcesOffNoWait(qtTharlenTest& window) {
    window.m_forceGate.close();
    disable_tharlen_forces_no_wait(window.csTharlenID);
}

// --- All of it -------------------------------------------------------------------------------------

// A machine of the mechanical tests whose device goes would judge the next one. Sliders and fields go back without
// their signals, which turn amplifiers on.
void endMotorActivity(qtTharlenTest& window) {
    for (Shared<bool>* flag :
         {&startBoxTest, &startPassivityTest, &startFiltersTest, &startFrictionTest, &startCapstanTest,
          &verifyCapstanTest, &startEncoderTest, &startPerformanceForceTest, &bFrictionPerformance})
        *flag = false;
    window.m_forceGate.close();
    window.m_bServoControl = false;
    for (SharedArray<long, 6>* counts :
         {&window.force_dac_values, &dac_values, &friction_dac_values, &window.m_lDACvalues})
        counts->fill(0);
    cForce.fill(0);
    window.m_fVoltsToSend.fill(0);
    for (float& force : window.m_forceToSend)
        force = 0;
    for (QTimer* machine : {window.frictionTestTimer, window.capstanTestRefTimer, window.capstanTestTimer})
        if (machine)
            machine->stop();
    window.m_nStage = 0;
    window.m_vvMoveIncr = {};
    for (RunWatch* watch : {&window.m_frictionWatch, &window.m_capstanWatch, &window.m_encoderWatch})
        watch->end();
    for (QSlider* slider : {window.ui.slider_X, window.ui.slider_Y, window.ui.slider_Z, window.ui.slider_TX,
                            window.ui.slider_TY, window.ui.slider_TZ}) {
        const QSignalBlocker silent(slider);
        slider->setValue(0);
    }
    for (QLineEdit* field : {window.ui.cforce_1, window.ui.cforce_2, window.ui.cforce_3})
        field->setText("0.0");
    for (QLineEdit* field : {window.ui.motor_dac_1, window.ui.motor_dac_2, window.ui.motor_dac_3})
        field->setText("0");
}

// Whatever is under way ends, with its own last line where it has a log.
void surviveException(qtTharlenTest& window, const QString& text) {
    if (startEncoderTest)
        shielded([&window] { window.stopEncoderTest(); });
    endCyclingAmps(window);
    endMotorActivity(window);
    if (window.csTharlenID >= 0)
        shielded([&window] { forcesOff(window); });
    window.keepError("An error that was not expected, so the motors were switched off: " + text);
}

// Flags first, so that a tick which a library still finishes after it was asked to stop finds nothing to drive. What it
// was in the middle of is taken back once the loop has stopped. Servo traffic ends before the device is closed.
void shutDownDevice(qtTharlenTest& window) noexcept {
    endMotorActivity(window);
    shielded([&window] { forcesOffNoWait(window); });
    shielded([&window] {
        if (!isServoLoopRunning())
            return;
        stopLoop(window);
        forcesOff(window);
    });
    shielded([&window] {
        if (!isServoLoopRunning())
            disable_tharlen(window.csTharlenID);
    });
}

// A loop runs without a device where opening one threw; no tick may reach a window that is gone.
void stopStrayLoop(qtTharlenTest& window) noexcept {
    shielded([&window] {
        if (isServoLoopRunning())
            stopLoop(window);
    });
}

// --- The loop --------------------------------------------------------------------------------------

int startLoop(qtTharlenTest& window) {
    const int status = startServoLoop(ServoLoopCallBack, &window);
    window.m_loopWatch.expect(status >= 0);
    return status;
}

void restartLoop(qtTharlenTest& window) {
    if (startLoop(window) < 0)
        window.keepError("The servo loop could not be started again: go back to Mode and on to Select.");
}

void stopLoop(qtTharlenTest& window) {
    window.m_loopWatch.expect(false);
    stopServoLoop();
}

/// Ends the repetition of what is over.
static void forgetError(qtTharlenTest& window, const char* text) {
    const ErrorMessageLock lock;
    if (window.errorMessage.contains(QLatin1String(text)))
        window.errorMessage.clear();
}

static void tellForceNotFinite(qtTharlenTest& window) {
    if (!window.m_forceNotFinite || window.m_toldNotFinite)
        return;
    window.m_toldNotFinite = true;
    window.sayError("The device gave a position or a limit that is no number: the force was set to zero.");
}

// A window that waits, as for a read that hangs, cannot say so meanwhile. It says so afterwards, long enough to be
// read, and takes no other line's place.
static void watchWindow(qtTharlenTest& window) {
    const std::int64_t now = testClock.load()();
    const std::int64_t gap = window.m_lastLook < 0 ? 0 : now - window.m_lastLook;
    window.m_lastLook = now;
    if (gap > kLongestGap) {
        const QString line = QString("%1 for %2 s: the device library, or this PC, was slow to answer.")
                                 .arg(kStoodStill)
                                 .arg(static_cast<double>(gap) / 1000, 0, 'f', 1);
        bool free;
        {
            const ErrorMessageLock lock;
            free = window.errorMessage.isEmpty() || window.errorMessage.contains(kStoodStill);
        }
        free ? window.keepError(line) : window.sayError(line);
        window.m_stoodStillAt = now;
    } else if (window.m_stoodStillAt >= 0 && now - window.m_stoodStillAt > kStillToldFor) {
        forgetError(window, kStoodStill);
        window.m_stoodStillAt = -1;
    }
}

void watchLoop(qtTharlenTest& window) {
    switch (window.m_loopWatch.look()) {
        case LoopWatch::Change::StandsStill:
            window.keepError("The servo loop has stopped answering: what the tests show from here on is not measured.");
            break;
        case LoopWatch::Change::GoesOn:
            forgetError(window, "The servo loop has stopped");
            window.sayError("The servo loop answers again.");
            break;
        case LoopWatch::Change::None:
            break;
    }
    tellForceNotFinite(window);
    watchWindow(window);
}
