// The wizard: which tabs each mode has, and the one chain that starts and stops every tab's activity.
#include <QCryptographicHash>
#include <QFileInfo>
#include <QIcon>
#include <QKeyEvent>
#include <utility>

#include "calibrate.h"
#include "motorsoff.h"
#include "servostate.h"
#include "tabs.h"

// --- Modes -----------------------------------------------------------------------------------------

void setModes(qtTharlenTest& window, bool manufacturing, bool encoderTest, bool performance) {
    window.manufMode = manufacturing;
    window.encoderTestMode = encoderTest;
    window.performanceTestMode = performance;
}

/// The build holds a salted digest of the word, never the word. A wrong word leaves the user mode.
static void passAdvancedModeGate(qtTharlenTest& window) {
    auto& ui = window.ui;
    const QByteArray word = ui.manuf_password->text().toUtf8();
    const QByteArray digest =
        QCryptographicHash::hash(QByteArray(NOLVA_ADVANCED_SALT) + word, QCryptographicHash::Sha256).toHex();
    const bool right = digest == NOLVA_ADVANCED_DIGEST;
    ui.next_button->setEnabled(right);
    if (!right) {
        setModes(window, false, false, false);
        ui.mode_status->append(word.isEmpty() ? "Enter the password for advanced mode and press Return."
                                              : "Wrong password. Advanced mode was not entered.");
        return;
    }
    const bool manufacturing = qEnvironmentVariableIsSet("MVI_MANUFACTURING");
    const bool encoderCheck = qEnvironmentVariableIsSet("MVI_ENCODER_CHECK");
    if (manufacturing && encoderCheck) {
        setModes(window, true, true, false);
        ui.mode_status->append("Manufacturing & Encoder test mode initialized");
    } else if (manufacturing) {
        setModes(window, true, false, false);
        ui.mode_status->append("Manufacturing mode initialized");
        ui.mode_status->append("Entering Manufacturing mode!");
    } else {
        setModes(window, true, false, true);
        ui.mode_status->append("Performance mode: commands on these pages go to the motors unchecked.");
    }
}

void qtTharlenTest::onTestModeSelection() {
    if (!ui.manuf_radioButton->isChecked()) {
        ui.manuf_password->clear();
        ui.manuf_password->setEnabled(false);
        ui.passText->setEnabled(false);
        ui.next_button->setEnabled(true);
        ui.mode_status->append("Press 'next' to continue in user mode.");
        setModes(*this, false, false, false);
    } else {
        ui.manuf_password->setEnabled(true);
        ui.passText->setEnabled(true);
        ui.mode_status->clear();
        passAdvancedModeGate(*this);
    }
    onInitTabItems();
    disableTestTabs();
}

static unsigned modeBits(const qtTharlenTest& window) {
    if (!window.manufMode)
        return Tab::kUser;
    return window.encoderTestMode ? Tab::kManufacturing | Tab::kEncoderCheck : Tab::kManufacturing;
}

void enterMode(qtTharlenTest& window) {
    if (isServoLoopRunning())
        stopLoop(window);
    window.ui.glDrawWidget1->hide();
    window.disableTestTabs();
}

// --- Tabs ------------------------------------------------------------------------------------------

void qtTharlenTest::onInitTabItems() {
    for (int i = ui.tabWidget->count(); i >= 1; --i)
        ui.tabWidget->removeTab(i);
    const bool performance = performanceTestMode;
    const unsigned modes = performance ? Tab::kPerformance : modeBits(*this);
    for (const Tab& tab : Tab::all)
        if (tab.modes & modes)
            placeTab(*this, tab.title, !performance);
    ui.servolooprateGroup->setVisible(performance);
    // The operator is offered the user mode alone; the other modes wait behind this.
    ui.manuf_password->hide();
    ui.manuf_radioButton->hide();
    ui.passText->hide();
}

void qtTharlenTest::disableTestTabs() {
    if (performanceTestMode)
        return;
    for (int i = ui.tabWidget->count(); i >= 2; --i)
        ui.tabWidget->removeTab(i);
}

// In manufacturing each further tab is added by the test before it, as it ends.
void qtTharlenTest::enableTestTabs() {
    if (performanceTestMode)
        return;
    placeTab(*this, "Calibrate");
    if (!manufMode) {
        for (const Tab& tab : Tab::all)
            if (tab.modes & Tab::kUser)
                placeTab(*this, tab.title);
    } else if (isCorvale() && encoderTestMode) {
        placeTab(*this, "Encoder Test");
    }
    ui.servolooprateGroup->hide();
}

QIcon Tab::picture() const {
    if (!*icon || QFileInfo::exists(icon))
        return QIcon(icon);
    const QString name = QFileInfo(icon).fileName();
    const QString compiledIn = ":/qtTharlenTest/Resources/" + name;
    return QIcon(QFileInfo::exists(compiledIn) ? compiledIn : ":/tabs/" + name);
}

void placeTab(qtTharlenTest& window, const char* title, bool withIcon) {
    const Tab* const found = findTab(title);
    if (!found)
        qFatal("no tab is called \"%s\"", title);
    const Tab& row = *found;
    QWidget* const page = window.ui.*row.page;
    QTabWidget& tabs = *window.ui.tabWidget;
    int at = tabs.indexOf(page);
    if (at < 0) {
        at = tabs.insertTab(row.index, page, withIcon ? row.picture() : QIcon(), row.title);
        tabs.setTabToolTip(at, window.m_tabToolTips.value(page));
    }
    tabs.setTabEnabled(at, true);
}

// --- Moving ----------------------------------------------------------------------------------------

static bool spaceResets(const qtTharlenTest& window) {
    return window.csTharlenID >= 0 && window.isAnyStelmar()
           && window.ui.tabWidget->tabText(window.ui.tabWidget->currentIndex()) == "Calibrate";
}

/// The button that was clicked to get here would take the space key for itself. Elsewhere it keeps the keyboard, for
/// who goes on by it. The name is what a screen reader says of the page as it gets the keyboard.
static void focusWhereSpaceResets(qtTharlenTest& window) {
    window.ui.tab_2->setAccessibleName(spaceResets(window) ? "Calibrate. Space resets the arm." : QString());
    if (spaceResets(window))
        window.ui.tabWidget->currentWidget()->setFocus();
}

void qtTharlenTest::gotoPrevTab() {
    ui.tabWidget->setCurrentIndex(ui.tabWidget->currentIndex() - 1);
    focusWhereSpaceResets(*this);
}

// In manufacturing the box opens the next tabs as it is passed. An operator who goes on without has them opened here.
void qtTharlenTest::gotoNextTab() {
    if (manufMode && ui.tabWidget->currentWidget() == ui.tab_10)
        openLastTests(*this);
    ui.tabWidget->setCurrentIndex(ui.tabWidget->currentIndex() + 1);
    setFocusProxy(ui.tabWidget->currentWidget());
    focusWhereSpaceResets(*this);
}

void qtTharlenTest::closeTestApplication() { close(); }

void qtTharlenTest::onClickTestAnotherDevice() {
    ui.tabWidget->setTabEnabled(10, false);
    ui.tabWidget->setTabEnabled(1, true);
    ui.tabWidget->setCurrentIndex(1);
    currentTabIndex = 1;
    ui.next_button->setEnabled(true);
    resetReportData();
}

// The event goes no further, whatever the key.
void qtTharlenTest::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Space && spaceResets(*this))
        resetCalibration(*this);
}

static void updateWizardButtons(qtTharlenTest& window, int index) {
    auto& ui = window.ui;
    ui.next_button->setEnabled(index <= ui.tabWidget->count() - 2 || index < 2);
    ui.back_button->setEnabled(index > 0 && !window.manufMode);
}

// --- The chain -------------------------------------------------------------------------------------

static void rethrowFailedEntry(qtTharlenTest& window) {
    if (window.m_failedEntry)
        std::rethrow_exception(std::exchange(window.m_failedEntry, nullptr));
}

// The whole chain runs at every change, so the leaving actions of all other tabs do too. Tabs are known by
// their exact text.
void qtTharlenTest::onTabChange(int index) {
    updateWizardButtons(*this, index);
    const QString tab = ui.tabWidget->tabText(ui.tabWidget->currentIndex());
    // What the next tab reads on entry may take its time, ahead of the calls that switch off: ticks do it meanwhile.
    // "Select" reads only once it has closed the device.
    const ForceGate::Hold hold(m_forceGate, csTharlenID >= 0 && tab != "Select");
    for (const Tab& row : Tab::all) {
        if (tab == row.title && (row.needs == 0 || (row.needs & modeBits(*this)) != 0))
            row.enter(*this);
        else if (row.leave)
            row.leave(*this);
    }
    rethrowFailedEntry(*this);
}
