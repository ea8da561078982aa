// The "Cycle Amps" tab: the amplifiers are switched off and on again and again, and the device's raw fault line
// decides. Nothing is commanded: no servo flag is set and no force is sent.
//
//   tick, every 2000 ms    schedules the pair of switches, reads the fault line, decides
//   +500 ms, +1000 ms      off, on
#include "qttharlentest.h"
#include "restyle.h"
#include "windowstate.h"

namespace {

constexpr int kTickPeriod = 2000;   ///< ms
constexpr int kOffDelay = 500;      ///< ms after the tick
constexpr int kOnDelay = 1000;      ///< ms after the tick
constexpr int kSwitchesToPass = 4;  ///< each way, whatever the model

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void qtTharlenTest::enterCycleAmps() {
    if (manufMode)
        ui.tabWidget->setTabEnabled(3, false);
    if (csTharlenID >= 0)
        startCyclingAmps();
}

// Meant: twice where the test was on.
void qtTharlenTest::leaveCycleAmps() {
    m_ampsWatch.end();
    if (csTharlenID >= 0)
        forcesOff();
    if (!ampsGuiUpdateTimer->isActive())
        return;
    forcesOff();
    ampsGuiUpdateTimer->stop();
}

// The lamp starts without a colour and reads "NULL" until the first switch. Meant: what is set before that is
// overruled. The fault lamp keeps what an earlier run left.
void qtTharlenTest::startCyclingAmps() {
    ui.cycleAmps_textBox->clear();
    ui.amp_status_button->setText("OFF");
    ui.amp_status_button->setStyleSheet(kFailStyle);
    ui.amp_status_button->setText("NULL");
    ui.amp_status_button->setStyleSheet(QString());
    cycleAmpsState = cycleAmpsCounterOn = cycleAmpsCounterOff = 0;
    ampsOK = false;
    m_ampsWatch.start();
    ampsGuiUpdateTimer->start(kTickPeriod);
}

// The shots are not cancelled when the tab is left: one that is pending then still switches, unless a device has been
// opened since.
void qtTharlenTest::onCycleAmpsTab() {
    const int opening = m_deviceOpening;
    QTimer::singleShot(kOffDelay, this, [this, opening] { shootAmplifiers(opening, false); });
    QTimer::singleShot(kOnDelay, this, [this, opening] { shootAmplifiers(opening, true); });
    if (unfiltered_device_fault(csTharlenID) != 0)
        noteAmplifierFault();
    else
        noteNoAmplifierFault();
}

// A fault does not hold the operator back: the failure is recorded and the run may go on. Meant: the text box ends
// empty, the lamp tells.
void qtTharlenTest::noteAmplifierFault() {
    ui.cycleAmps_textBox->append("Device Fault detected..");
    ui.cycleAmps_textBox->clear();
    showText(ui.device_fault_button, "YES");
    showStyle(ui.device_fault_button, kFailStyle);
    ampsOK = false;
    if (!manufMode)
        return;
    repData->bAmplifierPass = false;
    openTestForces();
}

// A later tick without a fault passes again: the verdict is that of the last tick that changed it. The fault line
// of amplifiers that never came on, or of a device that does not answer, may be clean too.
void qtTharlenTest::noteNoAmplifierFault() {
    showText(ui.device_fault_button, "NO");
    showStyle(ui.device_fault_button, kPassStyle);
    if (cycleAmpsCounterOn < kSwitchesToPass || cycleAmpsCounterOff < kSwitchesToPass || ampsOK)
        return;
    ui.cycleAmps_textBox->clear();
    ui.cycleAmps_textBox->append("The device amplifiers are OK");
    ampsOK = true;
    if (manufMode) {
        repData->bAmplifierPass = true;
        ui.cycleAmps_textBox->append("PASS");
        openTestForces();
    }
    const RunSeen seen = m_ampsWatch.seen();
    if (seen.wasSilent())
        ui.cycleAmps_textBox->append("Note: the device did not answer while its amplifiers were to be cycled.");
    else if (seen.neverOn())
        ui.cycleAmps_textBox->append("Note: the amplifiers never came on while they were to be cycled.");
}

void qtTharlenTest::openTestForces() {
    placeTab("Test Forces");
    ui.next_button->setEnabled(true);
}

/// Out of its order: no switch is to come, and the lamp tells what is so.
void qtTharlenTest::endCyclingAmps() {
    ampsGuiUpdateTimer->stop();
    m_ampsWatch.end();
    ++m_deviceOpening;
    if (cycleAmpsState == 0)
        return;
    cycleAmpsState = 0;
    ui.amp_status_button->setText("OFF");
    ui.amp_status_button->setStyleSheet(kFailStyle);
}

void qtTharlenTest::shootAmplifiers(int opening, bool on) {
    if (opening == m_deviceOpening)
        on ? enableAmplifiers() : disableAmplifiers();
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
    forcesOffNoWait();
    ui.amp_status_button->setText("OFF");
    ui.amp_status_button->setStyleSheet(kFailStyle);
    ++cycleAmpsCounterOff;
    cycleAmpsState = 0;
}
