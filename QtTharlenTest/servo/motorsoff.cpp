// What ends motor activity, whoever started it: a change of tab, page or device, an exception, the window's end. And
// the watch on the loop, without which nothing is driven and nothing is measured.
#include <QSignalBlocker>

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

void qtTharlenTest::forcesOff() {
    m_forceGate.close();
    disable_tharlen_forces(csTharlenID);
}

void qtTharlenTest::forcesOffNoWait() {
    m_forceGate.close();
    disable_tharlen_forces_no_wait(csTharlenID);
}

// --- All of it -------------------------------------------------------------------------------------

// A machine of the mechanical tests whose device goes would judge the next one. Sliders and fields go back without
// their signals, which turn amplifiers on.
void qtTharlenTest::endMotorActivity() {
    for (Shared<bool>* flag :
         {&startBoxTest, &startPassivityTest, &startFiltersTest, &startFrictionTest, &startCapstanTest,
          &verifyCapstanTest, &startEncoderTest, &startPerformanceForceTest, &bFrictionPerformance})
        *flag = false;
    m_forceGate.close();
    m_bServoControl = false;
    for (SharedArray<long, 6>* counts : {&force_dac_values, &dac_values, &friction_dac_values, &m_lDACvalues})
        counts->fill(0);
    cForce.fill(0);
    m_fVoltsToSend.fill(0);
    for (float& force : m_forceToSend)
        force = 0;
    for (QTimer* machine : {frictionTestTimer, capstanTestRefTimer, capstanTestTimer})
        if (machine)
            machine->stop();
    m_nStage = 0;
    m_vvMoveIncr = {};
    for (RunWatch* watch : {&m_frictionWatch, &m_capstanWatch, &m_encoderWatch})
        watch->end();
    for (QSlider* slider : {ui.slider_X, ui.slider_Y, ui.slider_Z, ui.slider_TX, ui.slider_TY, ui.slider_TZ}) {
        const QSignalBlocker silent(slider);
        slider->setValue(0);
    }
    for (QLineEdit* field : {ui.cforce_1, ui.cforce_2, ui.cforce_3})
        field->setText("0.0");
    for (QLineEdit* field : {ui.motor_dac_1, ui.motor_dac_2, ui.motor_dac_3})
        field->setText("0");
}

// Whatever is under way ends, with its own last line where it has a log.
void qtTharlenTest::surviveException(const QString& text) {
    if (startEncoderTest)
        shielded([this] { stopEncoderTest(); });
    endCyclingAmps();
    endMotorActivity();
    if (csTharlenID >= 0)
        shielded([this] { forcesOff(); });
    keepError("An error that was not expected, so the motors were switched off: " + text);
}

// Flags first, so that a tick which a library still finishes after it was asked to stop finds nothing to drive. What it
// was in the middle of is taken back once the loop has stopped. Servo traffic ends before the device is closed.
void qtTharlenTest::shutDownDevice() noexcept {
    endMotorActivity();
    shielded([this] { forcesOffNoWait(); });
    shielded([this] {
        if (!isServoLoopRunning())
            return;
        stopLoop();
        forcesOff();
    });
    shielded([this] {
        if (!isServoLoopRunning())
            disable_tharlen(csTharlenID);
    });
}

// A loop runs without a device where opening one threw; no tick may reach a window that is gone.
void qtTharlenTest::stopStrayLoop() noexcept {
    shielded([this] {
        if (isServoLoopRunning())
            stopLoop();
    });
}

// --- The loop --------------------------------------------------------------------------------------

int qtTharlenTest::startLoop() {
    const int status = startServoLoop(ServoLoopCallBack, this);
    m_loopWatch.expect(status >= 0);
    return status;
}

void qtTharlenTest::restartLoop() {
    if (startLoop() < 0)
        keepError("The servo loop could not be started again: go back to Mode and on to Select.");
}

void qtTharlenTest::stopLoop() {
    m_loopWatch.expect(false);
    stopServoLoop();
}

void qtTharlenTest::watchLoop() {
    switch (m_loopWatch.look()) {
        case LoopWatch::Change::StandsStill:
            keepError("The servo loop has stopped answering: what the tests show from here on is not measured.");
            break;
        case LoopWatch::Change::GoesOn:
            forgetError("The servo loop has stopped");
            sayError("The servo loop answers again.");
            break;
        case LoopWatch::Change::None:
            break;
    }
    tellForceNotFinite();
    watchWindow();
}

// A window that waits, as for a read that hangs, cannot say so meanwhile. It says so afterwards, long enough to be
// read, and takes no other line's place.
void qtTharlenTest::watchWindow() {
    const std::int64_t now = testClock.load()();
    const std::int64_t gap = m_lastLook < 0 ? 0 : now - m_lastLook;
    m_lastLook = now;
    if (gap > kLongestGap) {
        const QString line = QString("%1 for %2 s: the device library, or this PC, was slow to answer.")
                                 .arg(kStoodStill)
                                 .arg(static_cast<double>(gap) / 1000, 0, 'f', 1);
        bool free;
        {
            const ErrorMessageLock lock;
            free = errorMessage.isEmpty() || errorMessage.contains(kStoodStill);
        }
        free ? keepError(line) : sayError(line);
        m_stoodStillAt = now;
    } else if (m_stoodStillAt >= 0 && now - m_stoodStillAt > kStillToldFor) {
        forgetError(kStoodStill);
        m_stoodStillAt = -1;
    }
}

/// Ends the repetition of what is over.
void qtTharlenTest::forgetError(const char* text) {
    const ErrorMessageLock lock;
    if (errorMessage.contains(QLatin1String(text)))
        errorMessage.clear();
}

void qtTharlenTest::tellForceNotFinite() {
    if (!m_forceNotFinite || m_toldNotFinite)
        return;
    m_toldNotFinite = true;
    sayError("The device gave a position or a limit that is no number: the force was set to zero.");
}
