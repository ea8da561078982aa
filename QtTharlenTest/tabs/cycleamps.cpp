// The "Cycle Amps" tab: the amplifiers are switched off and on again and again, and the device's raw fault line
// decides. Nothing is commanded: no servo flag is set and no force is sent.
//
//   tick, every 2000 ms    schedules the pair of switches, reads the fault line, decides
//   +500 ms, +1000 ms      off, on
#include "motorsoff.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "tabs.h"
#include "windowstate.h"

namespace {

constexpr int kTickPeriod = 2000;   ///< ms
constexpr int kOffDelay = 500;      ///< ms after the tick
constexpr int kOnDelay = 1000;      ///< ms after the tick
constexpr int kSwitchesToPass = 4;  ///< each way, whatever the model

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

// The lamp starts without a colour and reads "NULL" until the first switch. Meant: what is set before that is
// overruled. The fault lamp keeps what an earlier run left.
static void startCyclingAmps(qtTharlenTest& window) {
    auto& ui = window.ui;
    ui.cycleAmps_textBox->clear();
    ui.amp_status_button->setText("OFF");
    ui.amp_status_button->setStyleSheet(kFailStyle);
    ui.amp_status_button->setText("NULL");
    ui.amp_status_button->setStyleSheet(QString());
    cycleAmpsState = cycleAmpsCounterOn = cycleAmpsCounterOff = 0;
    ampsOK = false;
    window.m_ampsWatch.start();
    window.ampsGuiUpdateTimer->start(kTickPeriod);
}

void enterCycleAmps(qtTharlenTest& window) {
    if (window.manufMode)
        window.ui.tabWidget->setTabEnabled(3, false);
    if (window.csTharlenID >= 0)
        startCyclingAmps(window);
}

// Meant: twice where the test was on.
void leaveCycleAmps(qtTharlenTest& window) {
    window.m_ampsWatch.end();
    if (window.csTharlenID >= 0)
        forcesOff(window);
    if (!window.ampsGuiUpdateTimer->isActive())
        return;
    forcesOff(window);
    window.ampsGuiUpdateTimer->stop();
}

static void openTestForces(qtTharlenTest& window) {
    placeTab(window, "Test Forces");
    window.ui.next_button->setEnabled(true);
}

// A fault does not hold the operator back: the failure is recorded and the run may go on. Meant: the text box ends
// empty, the lamp tells.
static void noteAmplifierFault(qtTharlenTest& window) {
    auto& ui = window.ui;
    ui.cycleAmps_textBox->append("Device Fault detected..");
    ui.cycleAmps_textBox->clear();
    showText(ui.device_fault_button, "YES");
    showStyle(ui.device_fault_button, kFailStyle);
    ampsOK = false;
    if (!window.manufMode)
        return;
    window.repData->bAmplifierPass = false;
    openTestForces(window);
}

// A later tick without a fault passes again: the verdict is that of the last tick that changed it. The fault line
// of amplifiers that never came on, or of a device that does not answer, may be clean too.
static void noteNoAmplifierFault(qtTharlenTest& window) {
    auto& ui = window.ui;
    showText(ui.device_fault_button, "NO");
    showStyle(ui.device_fault_button, kPassStyle);
    if (cycleAmpsCounterOn < kSwitchesToPass || cycleAmpsCounterOff < kSwitchesToPass || ampsOK)
        return;
    ui.cycleAmps_textBox->clear();
    ui.cycleAmps_textBox->append("The device amplifiers are OK");
    ampsOK = true;
    if (window.manufMode) {
        window.repData->bAmplifierPass = true;
        ui.cycleAmps_textBox->append("PASS");
        openTestForces(window);
    }
    const RunSeen seen = window.m_ampsWatch.seen();
    if (seen.wasSilent())
        ui.cycleAmps_textBox->append("Note: the device did not answer while its amplifiers were to be cycled.");
    else if (seen.neverOn())
        ui.cycleAmps_textBox->append("Note: the amplifiers never came on while they were to be cycled.");
}

// The shots are not cancelled when the tab is left: one that is pending then still switches, unless a device has been
// opened since.
void qtTharlenTest::onCycleAmpsTab() {
    const int opening = m_deviceOpening;
    QTimer::singleShot(kOffDelay, this, [this, opening] { shootAmplifiers(*this, opening, false); });
    QTimer::singleShot(kOnDelay, this, [this, opening] { shootAmplifiers(*this, opening, true); });
    if (unfiltered_device_fault(csTharlenID) != 0)
        noteAmplifierFault(*this);
    else
        noteNoAmplifierFault(*this);
}

/// Out of its order: no switch is to come, and the lamp tells what is so.
void endCyclingAmps(qtTharlenTest& window) {
    window.ampsGuiUpdateTimer->stop();
    window.m_ampsWatch.end();
    ++window.m_deviceOpening;
    if (cycleAmpsState == 0)
        return;
    cycleAmpsState = 0;
    window.ui.amp_status_button->setText("OFF");
    window.ui.amp_status_button->setStyleSheet(kFailStyle);
}

void shootAmplifiers(qtTharlenTest& window, int opening, bool on) {
    if (opening == window.m_deviceOpening)
        on ? window.enableAmplifiers() : window.disableAmplifiers();
}

void qtTharlenTest::enableAmplifiers() {
    if (cycleAmpsState != 0)
        return;
    enable_tharlen_forces_no_wait(csTharlenID);
    ui.amp_status_button->setText("ON");
    ui.amp_status_button->setStyleSheet(kPassStyle);
    ++cycleAmpsCounterOn;
    cycleAmpsState = 1;
}

void qtTharlenTest::disableAmplifiers() {
    if (cycleAmpsState == 0)
        return;
    forcesOffNoWait(*this);
    ui.amp_status_button->setText("OFF");
    ui.amp_status_button->setStyleSheet(kFailStyle);
    ++cycleAmpsCounterOff;
    cycleAmpsState = 0;
}
