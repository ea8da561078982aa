// The "Encoder Test" tab: start and stop of the endurance run, its options on their way to the servo thread, and
// its log, which is its whole result.
#include <QDateTime>
#include <array>

#include "handon.h"
#include "modellines.h"
#include "motorsoff.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"
#include "testforces.h"

namespace {

constexpr int kEventPeriod = 20;     ///< ms
constexpr int kUndrivenTicks = 200;  ///< in a row; an answer or the amplifiers missing no longer is no news
constexpr double kDegreesPerRadian = 57.2957795;

QString timeText(const QDateTime& time) { return time.time().toString(" [ h:mm:ssa ] "); }
QString timeText() { return timeText(QDateTime::currentDateTime()); }

/// The line of an event; `time` is the tick's own.
QString lineOf(const EncoderTestEvent& event) {
    const double* v = event.values;
    const QString time = timeText(QDateTime::fromSecsSinceEpoch(event.time));
    switch (event.kind) {
        case EncoderTestEvent::PositionError:  // Meant: alone without a time
            return QString::asprintf("Position Error (%.3f) detected at axis %d\n", v[0], event.axis);
        case EncoderTestEvent::TemperatureError:
            return time + QString::asprintf("Temperature Error (%.3f) detected at axis %d\n", v[0], event.axis);
        case EncoderTestEvent::TemperatureWarning:
            return time + QString::asprintf("Temprature Warning (%.3f) estimated on axis %d\n", v[0], event.axis);
        case EncoderTestEvent::DacError:
            return time + QString::asprintf("DAC Error (%d) detected at axis %d\n", static_cast<int>(v[0]), event.axis);
        case EncoderTestEvent::TestPointAngles:
            return time
                   + QString::asprintf("Encoder Angles :  %.2f, %.2f, %.2f", v[0] * kDegreesPerRadian,
                                       v[1] * kDegreesPerRadian, v[2] * kDegreesPerRadian);
        case EncoderTestEvent::TestPointCounts:
            return time
                   + QString::asprintf("Encoder Values :  %d, %d, %d", static_cast<int>(v[0]), static_cast<int>(v[1]),
                                       static_cast<int>(v[2]));
        case EncoderTestEvent::SensorEdge:
        case EncoderTestEvent::Stop:
            break;
    }
    return {};
}

/// The hours in milliseconds, as a 32-bit product: above 596 hours it wraps around.
int hoursInMilliseconds(int hours) { return static_cast<int>(static_cast<unsigned>(hours) * 3600000u); }

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

// Meant: the group of the gimbal's recorder is hidden here and nothing shows it again.
void enterEncoderTest(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.csTharlenID < 0)
        return;
    ui.runEncoderTest_button->setEnabled(true);
    ui.runGimbalEncoderTest_button->setEnabled(true);
    ui.stopEncoderTest_button->setEnabled(false);
    ui.stopGimbalEncoderTest_button->setEnabled(false);
    ui.groupBox_22->hide();
    window.initEncoderTestPars();
}

// No file is opened for these lines: without a device they are not written.
static void traceHomeSensor(qtTharlenTest& window, const EncoderTestEvent& event) {
    if (!window.traceEncStream.device() && !window.traceEncStream.string())
        return;
    window.traceEncStream << "XYZ"[event.axis] << (event.values[2] != 0 ? " Sensor ON at " : " Sensor OFF at ")
                          << static_cast<long>(event.values[0]) << " at Temperature "
                          << static_cast<float>(event.values[1]) << "\n";
}

/// Appends what has come to the log. True when the time was up.
static bool takeEncoderTestEvents(qtTharlenTest& window) {
    bool stop = false;
    EncoderTestEvent event;
    while (window.m_encoderTestEvents.pop(event)) {
        if (event.kind == EncoderTestEvent::Stop)
            stop = true;
        else if (event.kind == EncoderTestEvent::SensorEdge)
            traceHomeSensor(window, event);
        else
            window.ui.encoderTest_debug->append(lineOf(event));
    }
    return stop;
}

// Buttons and lines of a run stay as they are until the next entry. A stop that came in this moment is not clicked:
// it would turn off the forces of the next tab.
void leaveEncoderTest(qtTharlenTest& window) {
    startEncoderTest = false;
    window.m_encoderWatch.end();
    takeEncoderTestEvents(window);
}

// --- Options ---------------------------------------------------------------------------------------

// The limit is stored before the choice that brings it into force, so that no tick sees half of a change.
static void handOverEncoderTestOptions(qtTharlenTest& window) {
    auto& ui = window.ui;
    const bool unlimited = ui.testRadio4eva->isChecked();
    if (!unlimited)
        encoderTestMaxTime = ui.testRadio1->isChecked()   ? 600000
                             : ui.testRadio2->isChecked() ? 2400000
                             : ui.testRadio3->isChecked() ? hoursInMilliseconds(ui.SpinBoxTest->value())
                                                          : 10000;
    encoderTestForever = unlimited;
    encoderTestAbortTemp = ui.encoderTestTempSpinBox->value();
    encoderTestPeriodic = ui.encoderTestPeriodicCheck->isChecked();
    encoderTestLoops = ui.encoderTestLoopsSpinBox->value();
    encoderTestDegrees = ui.checkTestDegrees->isChecked();
}

/// A number that is being typed is no option yet: the "1" of "170" would abort a run.
static std::array<QSpinBox*, 3> typedOptions(const qtTharlenTest& window) {
    return {window.ui.SpinBoxTest, window.ui.encoderTestTempSpinBox, window.ui.encoderTestLoopsSpinBox};
}

void connectEncoderTestOptions(qtTharlenTest& window) {
    const auto handOver = [&window] { handOverEncoderTestOptions(window); };
    for (QAbstractButton* button : std::initializer_list<QAbstractButton*>{
             window.ui.testRadio1, window.ui.testRadio2, window.ui.testRadio3, window.ui.testRadio4eva,
             window.ui.encoderTestPeriodicCheck, window.ui.checkTestDegrees})
        QObject::connect(button, &QAbstractButton::toggled, &window, handOver);
    for (QSpinBox* box : typedOptions(window)) {
        box->setKeyboardTracking(false);
        QObject::connect(box, QOverload<int>::of(&QSpinBox::valueChanged), &window, handOver);
    }
    handOver();
}

// --- Start and stop --------------------------------------------------------------------------------

// A stop in the middle of a test point leaves seekingTestPoint set: this run then begins with one, which is
// meant.
void qtTharlenTest::initEncoderTest() {
    const int id = csTharlenID;
    if (id < 0)
        return;
    takeEncoderTestEvents(*this);
    for (QSpinBox* box : typedOptions(*this))
        box->interpretText();
    initEncoderTestPars();
    tempGuiUpdateTimer->start();
    encoderTestTime.start();
    m_pConnection = get_connection_data(id);
    m_lastsensor = m_pConnection ? loadRelaxed(m_pConnection->m_portInput.ucMiscIn) & kHomeSensorMask : 0u;
    enable_tharlen_forces(id);
    m_encoderWatch.start();
    m_undrivenNoted = false;
    if (!m_bServoControl) {
        long encoders[6] = {};
        get_encoder_values(id, encoders);
        UpdateDestinations(encoders);
        totalLoops = 0;
        CntGimbalRs = 0;
        m_bServoControl = true;
        startEncoderTest = true;
    } else {
        abortMotion(id);
    }
    handOn(ui.runEncoderTest_button, ui.stopEncoderTest_button);
    ui.encoderTest_debug->append(timeText() + "Starting Encoder Test\n");
    m_encoderTestTimer->start(kEventPeriod);
}

void qtTharlenTest::stopEncoderTest() {
    const int id = csTharlenID;
    startEncoderTest = false;
    m_bServoControl = false;
    m_iButtonStep = 0;
    m_encoderWatch.end();
    forcesOff(*this);
    takeEncoderTestEvents(*this);
    handOn(ui.stopEncoderTest_button, ui.runEncoderTest_button);
    ui.encoderTest_debug->append(timeText() + "Ending Encoder Test");
    encoderTestTime.restart();
    tempGuiUpdateTimer->stop();
    closeInkwellWarning(*this);
    if (!modelLine().setsShutdown)
        return;
    // The library replaces the figures by its own, which are then written back.
    float shutdown[6] = {85.0f, 85.0f, 85.0f, 0, 0, 0};
    get_tharlen_temp_advance(id, kShutdownTemperature, shutdown);
    set_tharlen_temp_advance(id, kShutdownTemperature, shutdown);
}

// --- Events of the servo thread --------------------------------------------------------------------

// Once a run, as it begins: the log goes on as if the arm were under way.
static void noteUndrivenArm(qtTharlenTest& window) {
    const RunSeen seen = window.m_encoderWatch.seen();
    const bool silent = seen.silentRow >= kUndrivenTicks;
    if (!startEncoderTest || window.m_undrivenNoted || (!silent && seen.offRow < kUndrivenTicks))
        return;
    window.m_undrivenNoted = true;
    window.ui.encoderTest_debug->append(
        timeText()
        + (silent ? "Note: the device does not answer. What follows says nothing about the arm."
                  : "Note: the amplifiers are not on. The arm is not driven."));
}

// Looks once more after the flag has gone down, for the tick that was then under way.
void qtTharlenTest::showEncoderTestEvents() {
    const bool running = startEncoderTest;
    if (!running && !m_encoderTestRan)
        m_encoderTestTimer->stop();
    m_encoderTestRan = running;
    noteUndrivenArm(*this);
    if (takeEncoderTestEvents(*this))
        ui.stopEncoderTest_button->click();
}
