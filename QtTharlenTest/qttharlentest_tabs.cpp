// What each tab starts on entry and stops on any other tab. The leaving actions run at every change of tab,
// whether or not their test was on. Meant: tab numbers are literal, and fall on
// another tab where an optional one is absent.
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

void stopIfActive(QTimer* timer) {
    if (timer->isActive())
        timer->stop();
}

}  // namespace

// --- Mode and Select -------------------------------------------------------------------------------

void qtTharlenTest::enterMode() {
    if (isServoLoopRunning())
        stopLoop();
    ui.glDrawWidget1->hide();
    disableTestTabs();
}

void qtTharlenTest::enterSelect() {
    if (manufMode)
        ui.tabWidget->setTabEnabled(0, false);
    if (isServoLoopRunning()) {
        // Choosing a mode takes the tabs of a device that was open before the window was shown.
        if (csTharlenID >= 0 && ui.tabWidget->indexOf(ui.tab_2) < 0)
            enableTestTabs();
    } else if (reopenDevice() >= 0) {
        selectionTimer->start(30);
        enableTestTabs();
    } else {
        disableTestTabs();
        ui.error_browser->append("Selected Device cannot be initialized !");
    }
    tellSurplusDevices();
}

/// An exception waits until the tabs before have been left.
int qtTharlenTest::reopenDevice() {
    try {
        return OnSelChangeTHARLeN();
    } catch (...) {
        m_failedEntry = std::current_exception();
        return -1;
    }
}

void qtTharlenTest::leaveSelect() { stopIfActive(selectionTimer); }

// --- Calibration -----------------------------------------------------------------------------------

void qtTharlenTest::enterCalibrate() {
    if (manufMode)
        ui.tabWidget->setTabEnabled(1, false);
    ui.calibrate_textbrowser1->clear();
    ui.calibrate_textbrowser2->clear();
    if (csTharlenID < 0)
        return;
    enable_tharlen_velocity_check(csTharlenID, 0);
    onCalibrationTab();
    checkCalibTimer->start(20);
}

void qtTharlenTest::leaveCalibrate() {
    if (csTharlenID >= 0)
        enable_tharlen_velocity_check(csTharlenID, 1);
    startCalibTest = false;
    stopIfActive(checkCalibTimer);
}

void qtTharlenTest::enterCalibrationDetails() {
    if (csTharlenID >= 0)
        onCalibrationDetailTab();
}

// The widths are judged once, at leaving, from the last state of the sensors.
void qtTharlenTest::leaveCalibrationDetails() {
    if (!calibDetailTimer->isActive())
        return;
    verifyFlagGapWidth();
    calibDetailTimer->stop();
}

// --- Encoders --------------------------------------------------------------------------------------

void qtTharlenTest::enterReadEncoder() {
    if (csTharlenID < 0)
        return;
    PrepareOutputString3();
    ui.encoderStatus_select->setVisible(manufMode);
    ui.gimbalStatus_select->setVisible(manufMode);
    ui.switchStatus_select->setVisible(manufMode);
    if (manufMode) {
        ui.tabWidget->setTabEnabled(2, false);
        if (encoderTestMode)
            placeTab(5, ui.tab_5, "", "Encoder Test");
    }
    onEncoderTab();
}

void qtTharlenTest::leaveReadEncoder() { stopIfActive(encoderGuiUpdateTimer); }

// Meant: the group of the gimbal's recorder is hidden here and nothing shows it again.
void qtTharlenTest::enterEncoderTest() {
    if (csTharlenID < 0)
        return;
    ui.runEncoderTest_button->setEnabled(true);
    ui.runGimbalEncoderTest_button->setEnabled(true);
    ui.stopEncoderTest_button->setEnabled(false);
    ui.stopGimbalEncoderTest_button->setEnabled(false);
    ui.groupBox_22->hide();
    initEncoderTestPars();
}

// Buttons and lines of a run stay as they are until the next entry. A stop that came in this moment is not clicked:
// it would turn off the forces of the next tab.
void qtTharlenTest::leaveEncoderTest() {
    startEncoderTest = false;
    m_encoderWatch.end();
    takeEncoderTestEvents();
}

// --- Motors ----------------------------------------------------------------------------------------

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

void qtTharlenTest::enterTestForces() {
    if (manufMode)
        ui.tabWidget->setTabEnabled(4, false);
    if (csTharlenID < 0)
        return;
    ui.forceTest_userSelect->setVisible(manufMode);
    ui.forceTest_browser->hide();
    m_form.putBack({ui.forces_textBox, ui.temp_X, ui.temp_Y, ui.temp_Z, ui.temp_TX, ui.temp_TY, ui.temp_TZ});
    onTestForcesTab();
}

void qtTharlenTest::leaveTestForces() {
    onClickResetForces();
    if (tempGuiUpdateTimer->isActive()) {
        forcesOff();
        tempGuiUpdateTimer->stop();
    }
    stopIfActive(forceCheckTimer);
    closeInkwellWarning();
}

// --- Mechanics -------------------------------------------------------------------------------------

// Neither tab has a leaving action: a run that was started ends by itself.
void qtTharlenTest::enterTestFriction() {
    if (csTharlenID < 0)
        return;
    m_form.putBack({ui.x_voltage, ui.y_voltage, ui.z_voltage});
    initFrictionTest();
}

void qtTharlenTest::enterTestCapstan() {
    if (csTharlenID >= 0)
        initCapstanRefTest();
}

// --- Box -------------------------------------------------------------------------------------------

QString qtTharlenTest::boxTestInstruction() const {
    if (!manufMode)
        return "Slowly move the cursor and feel all the faces and edges of the box using the Device .";
    if (isCorvale())
        return "To tension cables: break out 3 times from bottom face, then 3 times from right face, then 3 times "
               "from inner face.";
    return "Breakout through each wall 3 times to pass the test. including the hidden front wall. ";
}

// The first forceProgressUpdate enables the next button again, within 5 ms.
void qtTharlenTest::enterBoxTest() {
    if (manufMode) {
        ui.tabWidget->setTabEnabled(5, false);
        ui.next_button->setEnabled(false);
    }
    if (csTharlenID < 0)
        return;
    hapticBoxRenderer->changeTharlenInstance(csTharlenID, 0);
    ui.textBrowser_8->clear();
    ui.textBrowser_8->append(boxTestInstruction());
    ui.boxTest_status->setVisible(manufMode);
    startBoxTest = true;
    hapticBoxRenderer->startTest(manufMode);
    forceProgressTimer->start(5);
}

void qtTharlenTest::leaveBoxTest() {
    startBoxTest = false;
    for (float& force : m_forceToSend)
        force = 0;
    if (csTharlenID >= 0)
        forcesOff();
    stopIfActive(forceProgressTimer);
    if (hapticBoxRenderer->graphicTimer->isActive())
        hapticBoxRenderer->stopTest();
}

// --- Servo rate, summary, performance --------------------------------------------------------------

void qtTharlenTest::enterServoloop() {
    if (manufMode)
        ui.tabWidget->setTabEnabled(6, false);
    if (csTharlenID < 0)
        return;
    ui.servoLoopUpdate_box->setText(
        "Press 'START' to begin performance checking of Haptic Update Rate running @ 1000 Hz on this PC");
    startServoTest = false;
}

void qtTharlenTest::leaveServoloop() {
    stopServoLoopRateTest();
    startServoTest = false;
}

void qtTharlenTest::enterSummary() {
    if (manufMode) {
        ui.tabWidget->setTabEnabled(6, false);
        ui.tabWidget->setTabEnabled(7, false);
    }
    if (csTharlenID < 0)
        return;
    createTestReport();
    for (int i = 0; i < ui.tabWidget->currentIndex(); ++i)
        ui.tabWidget->setTabEnabled(i, false);
    ui.next_button->setEnabled(false);
    ui.back_button->setEnabled(false);
}

/// Of the list, which may have no current row: the page that was shown then stays.
QString qtTharlenTest::shownPage() const {
    const QListWidgetItem* item = ui.listWidget->item(ui.stackedWidget->currentIndex());
    return item ? item->text() : QString();
}

// A scene that was ended as the tab was left goes on.
void qtTharlenTest::enterPerformanceTesting() {
    if (csTharlenID < 0)
        return;
    ui.gain_slider->setValue(0);
    if (m_sceneLeft)
        shownPage() == "Passivity Test" ? enterPassivityPage() : enterFiltersPage();
    m_sceneLeft = false;
}

void qtTharlenTest::leavePerformanceTesting() {
    endPages();
    ui.gain_slider->setValue(0);
    if (csTharlenID >= 0)
        forcesOff();
}

/// What the pages drive ends with their tab, though it goes on from page to page.
void qtTharlenTest::endPages() {
    endTypedCommand();
    if (bFrictionPerformance)
        stopFrictionPerformanceTest();
    m_sceneLeft = m_sceneLeft || startPassivityTest || startFiltersTest;
    if (startPassivityTest)
        leavePassivityPage();
    if (startFiltersTest)
        leaveFiltersPage();
}
