// Device selection: finding the configured devices, opening the chosen one and starting the servo loop on it,
// and the questions about its model.
#include <exception>
#include <iostream>

#include "calibrate.h"
#include "modellines.h"
#include "motorsoff.h"
#include "plaintext.h"
#include "qttharlendraw.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"

// --- Predicates: the low 32 bits of the record's fields -------------------------------------------

namespace {

bool hasModelType(const CTHARLeNDevice* device, ModelType type) {
    return device && static_cast<int>(device->m_nModelType) == static_cast<int>(type);
}

/// The name ends at its field, with a zero or without one.
QString nameOf(const CTHARLeNDevice& device) {
    return QString::fromLatin1(device.m_szName, static_cast<int>(qstrnlen(device.m_szName, sizeof device.m_szName)));
}

constexpr int kMostDevices = 20;

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

/// An exception waits until the tabs before have been left.
static int reopenDevice(qtTharlenTest& window) {
    try {
        return window.OnSelChangeTHARLeN();
    } catch (...) {
        window.m_failedEntry = std::current_exception();
        return -1;
    }
}

void enterSelect(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.manufMode)
        ui.tabWidget->setTabEnabled(0, false);
    if (isServoLoopRunning()) {
        // Choosing a mode takes the tabs of a device that was open before the window was shown.
        if (window.csTharlenID >= 0 && ui.tabWidget->indexOf(ui.tab_2) < 0)
            window.enableTestTabs();
    } else if (reopenDevice(window) >= 0) {
        window.selectionTimer->start(30);
        window.enableTestTabs();
    } else {
        window.disableTestTabs();
        ui.error_browser->append("Selected Device cannot be initialized !");
    }
    window.tellSurplusDevices();
}

void leaveSelect(qtTharlenTest& window) { window.selectionTimer->stop(); }

bool qtTharlenTest::isCorvale() const { return hasModelType(selectedDevice(), kModelCorvale); }
bool qtTharlenTest::is6dof() const { return hasModelType(selectedDevice(), kModelSixDof); }
bool qtTharlenTest::isOrda() const { return hasModelType(selectedDevice(), kModelOrda); }
bool qtTharlenTest::isCNolvaDevice() const { return hasModelType(selectedDevice(), kModelNolva); }
bool qtTharlenTest::isAnyStelmar() const { return selectedDevice() && !isOrda() && !isCorvale(); }
bool qtTharlenTest::isHighForceDevice() const {
    return selectedDevice() && static_cast<int>(selectedDevice()->m_nHighForce) == 1;
}
bool qtTharlenTest::hasInkwell() const { return modelLine().calibration == Calibration::InkWell; }

const ModelLine& qtTharlenTest::modelLine() const {
    const CTHARLeNDevice* const device = selectedDevice();
    return device ? findModelLine(static_cast<int>(device->m_nModelType), device->m_nCardType) : kNoModelLine;
}

/// Follows the combo box: both threads ask the record that is selected here.
void qtTharlenTest::selectRecord(int comboIndex) {
    m_selectedDevice = comboIndex >= 0 && comboIndex < kMostDevices ? m_aDevices[comboIndex] : nullptr;
}

// --- Configured devices ----------------------------------------------------------------------------

void qtTharlenTest::setApplicationCredentials() { ui.version_label->setText(get_library_version()); }

// A device that cannot be read gets no item; from there on the combo box and m_aDevices differ in their
// indices, and nothing corrects for that. The first item opens its device at once (OnSelChangeTHARLeN).
bool qtTharlenTest::LoadConfigurations() {
    const int configured = m_mgr.EnumerateTHARLeNs(m_aDevices);
    m_nDevices = qBound(0, configured, kMostDevices);
    m_surplusDevices = qMax(0, configured - kMostDevices);
    if (m_nDevices == 0)
        return false;
    if (MANUFACTURING_LODRIN) {
        m_acsCredentials[1] = "Default Device";
        return true;
    }
    for (int i = 0; i < m_nDevices; ++i) {
        if (m_aDevices[i] && m_aDevices[i]->Read())
            ui.m_cmbTHARLeN->addItem(nameOf(*m_aDevices[i]), QVariant());
    }
    ui.m_cmbTHARLeN->setCurrentIndex(0);
    m_acsCredentials[1] = ui.m_cmbTHARLeN->currentText();
    updateName();
    return true;
}

/// Where the list is shown, since the browser is emptied as a device opens. Once, where it was not.
void qtTharlenTest::tellSurplusDevices() {
    const QString line = QString("%1 devices are configured. The list holds %2; the others are left out.")
                             .arg(m_nDevices + static_cast<long>(m_surplusDevices))
                             .arg(m_nDevices);
    if (m_surplusDevices > 0 && !ui.error_browser->toPlainText().contains(line))
        appendPlain(ui.error_browser, line);
}

void qtTharlenTest::DumpConfigurations() { deleteDeviceRecords(kMostDevices); }

void qtTharlenTest::deleteDeviceRecords(int count) {
    m_selectedDevice = m_shownDevice = nullptr;
    for (int i = 0; i < count; ++i) {
        delete m_aDevices[i];
        m_aDevices[i] = nullptr;
    }
}

// --- Opening ---------------------------------------------------------------------------------------

/// The test tabs show nothing of the device before. The fault lamp and what a run has listed outlive a reopening of the
/// same one.
static void clearReadOuts(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.selectedDevice() == window.m_shownDevice) {
        window.m_form.putBackAllBut(
            {ui.device_fault_button, ui.servoLoopUpdate_box, ui.servoloopText, ui.textBrowser_5});
        return;
    }
    window.m_form.putBackAllBut({});
    if (window.histogramScene)
        window.clearHistogram();
    window.m_shownDevice = window.selectedDevice();
    forgetPinchPresses();
}

// No callback runs on a closed handle: the loop stops first. After a failed open this closes the last good
// handle a second time.
static void closePreviousDevice(qtTharlenTest& window) {
    window.ui.textBrowser->append("Changing selected Device now...");
    stopLoop(window);
    disable_tharlen(prevTharlenID);
    window.ui.textBrowser->clear();
}

static int reportOpenFailure(qtTharlenTest& window, int status) {
    auto& ui = window.ui;
    ui.glDrawWidget1->hide();
    ui.textBrowser->append("Device initialization problem...");
    ui.textBrowser->append("Please check the Device connections..");
    ui.textBrowser->append("Also check if your Device Setup is correct");
    window.csTharlenID = -1;
    return status;
}

/// False where there is none.
static bool closeUnstarted(qtTharlenTest& window) {
    if (window.m_unstarted < 0)
        return false;
    disable_tharlen(window.m_unstarted);
    window.m_unstarted = -1;
    return true;
}

/// Of a device whose loop did not start nobody may have the handle. A library that opens another one only where none is
/// open would then open none ever again, and one that opens nothing at all may have left its amplifiers on: it is
/// closed where an opening gives nothing, and the opening is tried once more.
static int openDevice(qtTharlenTest& window, const QString& name) {
    const QByteArray latin1 = name.toLatin1();
    int handle = -1;
    try {
        handle = init_tharlen(latin1.constData());
        if (handle < 0 && closeUnstarted(window))
            handle = init_tharlen(latin1.constData());
    } catch (...) {
        closeUnstarted(window);
        throw;
    }
    window.m_unstarted = handle;
    if (window.m_lastLook >= 0)  // an arm takes its time to open, and the page says what is done
        window.m_lastLook = testClock.load()();
    return handle;
}

static void showOpenDevice(qtTharlenTest& window, int handle) {
    window.ui.glDrawWidget1->show();
    if (window.tharlenRenderer)
        window.tharlenRenderer->changeTharlenInstance(window.csTharlenID);
    window.hardwareRev = QString::number(get_hardware_rev(handle));
    window.ui.hardwareRev_label->setText(window.hardwareRev);
    window.updateSerial(handle);
    // Where opening threw there is no handle: the last good one stays, and the next change closes it again.
    if (handle >= 0)
        prevTharlenID = handle;
    window.m_unstarted = -1;
}

/// A device was open. An exception of init_tharlen ends here: its text goes to standard error and the flow
/// goes on with no handle.
static int changeDevice(qtTharlenTest& window, const QString& name) {
    auto& ui = window.ui;
    int handle = -1;
    int status = 0;
    try {
        status = handle = openDevice(window, name);
    } catch (const std::exception& error) {
        std::cerr << error.what() << std::endl;
        status = -status;
    }
    if (status < 0)
        return reportOpenFailure(window, status);
    ui.glDrawWidget1->show();
    ui.textBrowser->append("Device initialization OK...");
    window.csTharlenID = handle;
    status = startLoop(window);
    if (status < 0) {
        ui.textBrowser->append("Error starting ServoLoop\n");
        return status;
    }
    showOpenDevice(window, handle);
    return 0;
}

/// No device was open. An exception of init_tharlen passes on. The first ticks can run with handle -1.
static int openFirstDevice(qtTharlenTest& window, const QString& name) {
    auto& ui = window.ui;
    const int handle = openDevice(window, name);
    if (handle < 0)
        return reportOpenFailure(window, handle);
    ui.glDrawWidget1->show();
    ui.textBrowser->append("Device initialization OK...");
    const int status = startLoop(window);
    if (status < 0) {
        ui.textBrowser->append("Error starting ServoLoop\n");
        return status;
    }
    ui.textBrowser->append("Servo Loop started...");
    window.csTharlenID = handle;
    showOpenDevice(window, handle);
    ui.hardwareRev_label->update();
    return 0;
}

int qtTharlenTest::OnSelChangeTHARLeN() {
    const QString name = ui.m_cmbTHARLeN->currentText().trimmed();
    ui.textBrowser->clear();
    ui.hardwareSerial_lineedit->clear();
    ui.hardwareSerial_label->clear();
    ui.hardwareRev_label->clear();
    ui.tharlenModel_lineedit->clear();
    disableTestTabs();
    csTharlenID = -1;
    endMotorActivity(*this);
    ++m_deviceOpening;
    clearReadOuts(*this);

    const bool change = prevTharlenID >= 0;
    if (change)
        closePreviousDevice(*this);
    m_forceNotFinite = m_toldNotFinite = false;
    if (!selectedDevice())
        return reportOpenFailure(*this, -1);
    // The name is compared as it stands: one with blanks at its ends never matches the trimmed text, and is
    // then not opened.
    const bool matches = name == nameOf(*selectedDevice());
    if (matches && (change || prevTharlenID == -1)) {
        const int status = change ? changeDevice(*this, name) : openFirstDevice(*this, name);
        if (status < 0)
            return status;
    }
    enableTestTabs();
    clearErrorBrowser();
    return 0;
}

// --- Identity --------------------------------------------------------------------------------------

void qtTharlenTest::updateName() { ui.lineEdit_name->update(); }

// The suffix comes first, so that a high-force device shows its raw model string.
void qtTharlenTest::updateSerial(int id) {
    hardwareSerial = QString::fromLatin1(get_hardware_serial_number(id));
    ui.hardwareSerial_lineedit->setText(hardwareSerial);
    ui.hardwareSerial_label->setText(hardwareSerial);
    QString model = QString::fromLatin1(get_tharlen_model_type(id));
    if (isHighForceDevice())
        model += " (High Force Model)";
    ui.tharlenModel_lineedit->setText(shownModelName(model));
}

void qtTharlenTest::updateTharlenGraphic() { tharlenRenderer->changeTharlenInstance(csTharlenID); }
