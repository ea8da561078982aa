#include "troublebench.h"

#include <unistd.h>

#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <cmath>
#include <cstdio>

#include "device/simulated/armcontrol.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "tabs.h"

// --- Diary -----------------------------------------------------------------------------------------

void Diary::note(const QString& line) {
    const QByteArray text = QString("%1  %2").arg(at.load()).arg(line).toUtf8();
    qstrncpy(m_lines[m_count % kLines], text.constData(), kLength);
    m_count = m_count + 1;
    unsigned value = digest;
    for (const char c : text)
        value = (value ^ static_cast<unsigned char>(c)) * 16777619u;
    digest = value;
    if (tell)
        std::fprintf(stderr, "%s\n", text.constData());
    if (limit > 0)
        alarm(limit);
}

QString Diary::last() const {
    QString text;
    for (long i = qMax(0l, m_count - kLines); i < m_count; ++i)
        text += QString("    %1\n").arg(QString::fromUtf8(m_lines[i % kLines]));
    return text;
}

// --- Stillness -------------------------------------------------------------------------------------

Stillness::Stillness() { qApp->installEventFilter(this); }

bool Stillness::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Timer)
        return qobject_cast<QTimer*>(watched) || watched->inherits("QSingleShotTimer");
    auto* box = event->type() == QEvent::Show ? qobject_cast<QMessageBox*>(watched) : nullptr;
    if (box && box->windowTitle() == "Testing Interrupted")
        QMetaObject::invokeMethod(box->button(sure ? QMessageBox::Yes : QMessageBox::No), "click",
                                  Qt::QueuedConnection);
    return false;
}

// --- Window ----------------------------------------------------------------------------------------

namespace {

constexpr int kFollow = 5;        ///< ms in which amplifiers have followed
constexpr int kErrorLine = 1050;  ///< ms from an error to its line: two looks, and what a count above 1000 clears

/// The page behind a tab's text, whether or not a list shows it.
QWidget* pageOf(const Ui::qtTharlenTestClass& ui, const QString& tab) {
    const Tab* row = findTab(tab);
    return row ? ui.*row->page : ui.tab_0;
}

}  // namespace

TroubleBench::TroubleBench(Diary& diary, const QString& advancedWord) : m_diary(diary), m_word(advancedWord) {
    qApp->setQuitOnLastWindowClosed(false);
    freshArm();
}

TroubleBench::~TroubleBench() {
    m_window.reset();
    armcontrol::resetArm();
    testClock = &monotonicMilliseconds;
    resetProcessState();
}

void TroubleBench::freshArm(const QString& manner, double amount) {
    m_window.reset();
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    if (!manner.isEmpty())
        armcontrol::setFault(manner.toStdString(), true, -1, amount);
    testClock = &armcontrol::armMilliseconds;
    openWindow();
}

void TroubleBench::openWindow() {
    m_person.reset();
    m_time.reset();
    m_window.reset();
    if (armcontrol::state().amplifiers)
        throw TroubleFound("The amplifiers are on after the window has gone.");
    resetProcessState();
    m_window = std::make_unique<qtTharlenTest>();
    m_time = std::make_unique<SteppedTime>(*m_window);
    m_person = std::make_unique<Operator>(*m_window, *this);
    m_window->setAttribute(Qt::WA_ShowWithoutActivating);
    m_window->show();
}

void TroubleBench::choose(Mode mode) {
    auto& ui = m_window->ui;
    for (int i = 0; i < ui.tabWidget->count(); ++i)
        ui.tabWidget->setTabEnabled(i, true);
    go("Mode");
    mode == Mode::User || mode == Mode::Performance ? qunsetenv("MVI_MANUFACTURING")
                                                    : qputenv("MVI_MANUFACTURING", "1");
    mode == Mode::EncoderTest ? qputenv("MVI_ENCODER_CHECK", "1") : qunsetenv("MVI_ENCODER_CHECK");
    if (mode == Mode::User) {
        ui.user_radioButton->click();
    } else {
        const QString refused = m_person->enterAdvancedMode(m_word);
        if (!refused.isEmpty())
            throw TroubleFound(refused);
    }
    go("Select");
}

void TroubleBench::showAllPages() {
    auto& tabs = *m_window->ui.tabWidget;
    for (const char* text : {"Read Encoder", "Calibration Details", "Cycle Amps", "Test Forces", "Test Friction",
                             "Test Capstan", "Box Test", "Servoloop", "Summary"}) {
        QWidget* page = pageOf(m_window->ui, text);
        if (tabs.indexOf(page) < 0)
            tabs.addTab(page, text);
    }
}

void TroubleBench::select(int device) {
    m_window->ui.m_cmbTHARLeN->setCurrentIndex(device);
    recover();
}

// "Select" opens the device when the loop does not run, and "Mode" stops the loop.
void TroubleBench::recover() {
    if (m_window->csTharlenID >= 0 && isServoLoopRunning())
        return;
    go("Mode");
    go("Select");
    if (m_window->csTharlenID < 0 || !isServoLoopRunning())
        throw TroubleFound("A sound device does not open again.");
}

// --- Moving and waiting ----------------------------------------------------------------------------

QString TroubleBench::tab() const { return m_person->currentTab(); }

void TroubleBench::go(const QString& text) {
    auto& tabs = *m_window->ui.tabWidget;
    if (tab() == text)
        return;
    note("tab " + text);
    QWidget* page = pageOf(m_window->ui, text);
    if (tabs.indexOf(page) < 0)
        tabs.addTab(page, text);
    tabs.setCurrentWidget(page);
    checkForces();
}

void TroubleBench::spend(int milliseconds) {
    m_time->spend(milliseconds);
    for (qtTharlenHapticRenderer* scene :
         {m_window->hapticBoxRenderer, m_window->passivityBoxRenderer, m_window->filtersRenderer}) {
        if (!scene->graphicTimer->isActive())
            continue;
        QMetaObject::invokeMethod(scene->graphicTimer, "timeout", Qt::DirectConnection);
        scene->graphicsCallback();
    }
    if (loadTimer[0] && loadTimer[0]->isActive())
        m_window->loadCPU();
}

void TroubleBench::paint() {
    note("paint");
    QCoreApplication::processEvents();
    m_window->grab();
}

// --- Faults ----------------------------------------------------------------------------------------

namespace {

struct Amount {
    const char* fault;
    double low, high;
};
constexpr Amount kAmounts[] = {{"hot", 60, 180},
                               {"drifting-encoder", -5000, 5000},
                               {"short-travel", 0.02, 0.8},
                               {"sticky-bearing", 1.2, 60},
                               {"slipping-capstan", 5, 20000},
                               {"weak-motor", 0, 0.9},
                               {"bouncing-switch", 2, 200},
                               {"wide-flag", 5, 590},
                               {"narrow-gap", 5, 380},
                               {"jitter", 5, 4500},
                               {"stall", 2, 1500},
                               {"dropped-ticks", 2, 90},
                               {"hanging-reads", 50, 4000}};
// No line has the last two.
constexpr int kCodes[] = {kDriverSetup,
                          kCommunicationErrorLan,
                          kAdapterSetup,
                          kParallelPortSetup,
                          kMotorsWarm,
                          kCommunicationErrorUsb,
                          kMaxVelocityExceeded,
                          kCommunicationError,
                          kMaxForceExceeded,
                          kDeviceFault,
                          -3,
                          -60};

/// The beginning of the line of a status; none for a status without one.
QString lineOf(int code) {
    switch (code) {
        case kDriverSetup:
            return "Setup Error: Try unplugging";
        case kCommunicationErrorLan:
        case kCommunicationErrorUsb:
        case kCommunicationError:
            return "Communication Error: Check the Device connection";
        case kAdapterSetup:
            return "Setup Error: Check the base address";
        case kParallelPortSetup:
            return "Setup Error: Check the Parallel Port";
        case kMaxVelocityExceeded:
            return "Device Warning: Device exceeded max velocity";
        case kDeviceFault:
            return "Device Fault: Check that the remote switch";
        case kMaxForceExceeded:
            return "Device Warning: Maximum force exceeded";
        case kMotorsWarm:
            return "Device Warning: One or more of the Device motors are warm";
        default:
            return {};
    }
}

}  // namespace

// The velocity is not checked on "Calibrate".
QString TroubleBench::expectedLine(const QString& fault, int axis, double amount) const {
    const armcontrol::State arm = armcontrol::state();
    if (m_window->csTharlenID < 0 || !arm.loopRunning || m_window->ui.tabWidget->currentIndex() < 1)
        return {};
    if (fault == "unplugged")
        return lineOf(kCommunicationError);
    if (fault == "amplifier")
        return lineOf(kDeviceFault);
    if (fault == "status")
        return lineOf(static_cast<int>(amount));
    if (fault == "overspeed")
        return tab() == "Calibrate" ? QString() : lineOf(kMaxVelocityExceeded);
    if (fault == "hot" && amount >= arm.warmLimit && (axis < 3 || m_window->is6dof()))
        return lineOf(kMotorsWarm);
    // The timer of that tab reads again and again.
    if (fault == "hanging-reads" && amount > 1900 && tab() == "Read Encoder")
        return "The window stood still for";
    return {};
}

double TroubleBench::drawAmount(const QString& fault, Dice& dice) {
    for (const Amount& row : kAmounts)
        if (fault == row.fault)
            return dice.real(row.low, row.high);
    if (fault == "status")
        return dice.of(kCodes);
    if (fault == "stuck-switch")
        return dice.below(2);
    return fault == "late-stop" ? dice.between(1, 100) : 1;
}

void TroubleBench::breakArm(const QString& fault, Dice& dice) {
    const double amount = drawAmount(fault, dice);
    const bool sound = armcontrol::state().faults.empty();
    int axis = dice.between(-1, 5);
    if (!armcontrol::setFault(fault.toStdString(), true, axis, amount).empty())
        axis = dice.between(-1, 1);
    m_window->ui.pushButton_3->click();
    note(QString("fault %1, axis %2, amount %3, on %4").arg(fault).arg(axis).arg(amount).arg(tab()));
    const std::string refused = armcontrol::setFault(fault.toStdString(), true, axis, amount);
    if (!refused.empty())
        throw TroubleFound("The arm refuses a fault: " + QString::fromStdString(refused));
    const QString line = sound ? expectedLine(fault, axis, amount) : QString();
    if (!line.isEmpty())
        awaitLine(line, kErrorLine);
}

void TroubleBench::mendArm() {
    note("no faults");
    armcontrol::clearFaults();
}

// In the box a tick that cannot turn the amplifiers on, as while a motor is hot, says so after the device's own
// status, and the later line stands.
void TroubleBench::awaitLine(const QString& line, int milliseconds) {
    for (int waited = 0; waited <= milliseconds; waited += 25) {
        const QString shown = m_window->ui.error_browser->toPlainText();
        const bool replaced = startBoxTest && unfiltered_device_fault(m_window->csTharlenID) != 0;
        if (shown.contains(line) || (replaced && shown.contains(lineOf(kDeviceFault))))
            return;
        spend(25);
    }
    throw TroubleFound(
        QString("\"%1\" does not appear within %2 ms on \"%3\".").arg(line).arg(milliseconds).arg(tab()));
}

// --- Demands ---------------------------------------------------------------------------------------

// The box turns its forces on by each tick; so does a page of the last tab whose flag outlasts the tab, and a
// switch of the amplifier test that is still to come.
void TroubleBench::checkForces() {
    const bool shots = m_time->shotsPending();
    spend(kFollow);
    const bool byOwnMeans =
        tab() == "Performance Testing" || startBoxTest || startPassivityTest || shots || startPerformanceForceTest;
    if (!byOwnMeans && armcontrol::state().amplifiers)
        throw TroubleFound(QString("The forces are on after the change to \"%1\".").arg(tab()));
}

void TroubleBench::checkAlive() {
    const armcontrol::State before = armcontrol::state();
    spend(10);
    const armcontrol::State after = armcontrol::state();
    const bool ticking = before.loopRunning && after.loopRunning && after.faults.empty();  // ticks may be dropped
    if (ticking && after.ticks == before.ticks)
        throw TroubleFound("The loop stands still.");
    for (std::size_t i = 0; i < 6; ++i)
        if (!std::isfinite(after.joints[i]) || !std::isfinite(after.winding[i]))
            throw TroubleFound(QString("Joint or motor %1 has no number.").arg(i + 1));
    note(QString("at %1 ms: encoders %2 %3 %4")
             .arg(m_time->now())
             .arg(after.encoders[0])
             .arg(after.encoders[1])
             .arg(after.encoders[2]));
}

void TroubleBench::checkReport() {
    recover();
    const QString path = qEnvironmentVariable("KNDD_HOME") + "/logs/Test_Reports";
    QFile::remove(path);
    if (tab() == "Summary")
        go("Select");
    go("Summary");
    QFile report(path);
    const bool whole = report.open(QIODevice::ReadOnly) && report.readAll().endsWith("comments below\n");
    if (!whole)
        throw TroubleFound("No whole report was written.");
    if (m_window->ui.test_result_status->text() == "NULL")
        throw TroubleFound("The summary shows no verdict.");
}
