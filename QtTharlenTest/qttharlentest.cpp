// The main window's construction, start-up order, teardown and closing.
#include "qttharlentest.h"

#include <QCloseEvent>
#include <QFont>
#include <QGraphicsTextItem>
#include <QMessageBox>
#include <QPen>
#include <QShortcut>
#include <limits>

#include "qttharlendraw.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"

bool checkForProcess(char*) { return false; }

/// The window is linked as a library, whose resources register themselves only when asked. To be called outside
/// any namespace.
static void registerResources() { Q_INIT_RESOURCE(qttharlentest); }

qtTharlenTest::qtTharlenTest(QWidget* parent, Qt::WindowFlags flags) : QMainWindow(parent, flags) {
    registerResources();
    ui.setupUi(this);
    rememberForm();
    connectServoOptions();
    auto* pinchKey = new QShortcut(QKeySequence("Alt+P"), this);
    pinchKey->setAutoRepeat(false);  // a key held would take both ends of the grip at once
    connect(pinchKey, &QShortcut::activated, this, &qtTharlenTest::pressPinchByKey);
    ui.frame11->hide();
    numAccumErrors = 0;
    csTharlenID = -1;
    dateTimeTimer = newTimer(&qtTharlenTest::displayDateTime);
    dateTimeTimer->start(1000);
    servoRate = 0;
    try {
        onInitTharlenTest();
    } catch (...) {
        // Opening the first device may throw, and then no destructor runs.
        csTharlenID >= 0 ? shutDownDevice() : stopStrayLoop();
        releaseOwned();
        throw;
    }
}

/// What the form says before anything changes it. Records that a run leaves behind are kept until they are cleared by
/// hand.
void qtTharlenTest::rememberForm() {
    for (int i = 0; i < ui.tabWidget->count(); ++i)
        m_tabToolTips[ui.tabWidget->widget(i)] = ui.tabWidget->tabToolTip(i);
    for (const QWidget* page : {ui.tab_2, ui.tab_3, ui.tab_4, ui.tab_5, ui.tab_6, ui.tab_7, ui.tab_8, ui.tab_9,
                                ui.tab_10, ui.tab_11, ui.tab_12, ui.tab_15})
        m_form.remember(page, {ui.encoderTest_debug, ui.textBrowser_2});
}

/// Hands the options that the servo thread needs over to it, as they change. The record follows the combo
/// box by the signal that comes before the one that opens the device.
void qtTharlenTest::connectServoOptions() {
    connect(ui.m_cmbTHARLeN, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &qtTharlenTest::selectRecord);
    const auto handOver = [this] {
        sendForceChecked = ui.sendForce_checkBox->isChecked() || ui.sendForce_checkBox_2->isChecked();
    };
    connect(ui.sendForce_checkBox, &QCheckBox::toggled, this, handOver);
    connect(ui.sendForce_checkBox_2, &QCheckBox::toggled, this, handOver);
    handOver();
    connectEncoderTestOptions();
}

QTimer* qtTharlenTest::newTimer(void (qtTharlenTest::*slot)()) {
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, slot);
    return timer;
}

// The order matters: the first device is opened while the combo box is filled, before the servo loop object
// and the scenes exist.
bool qtTharlenTest::onInitTharlenTest() {
    setModes(false, false, false);
    onInitWidgetItems();
    onTestModeSelection();
    m_nDevices = 0;
    m_nCounter = 0;
    calibCounter = 0;
    m_bIsUSBDevice = m_bIs6DOF = m_bIsBlockDevice = m_bIs1394Device = false;
    m_bIsLodrin = m_bIsPirka = m_bIsCorvale = false;
    m_nUnit = ~0UL;
    m_bDoAutoTests = false;
    m_pCalibration = nullptr;
    m_pConnection = nullptr;
    setApplicationCredentials();
    LoadConfigurations();
    createServoLoop();
    updateServoLoopRate();
    tharlenRenderer = new qtTharlenDraw(-1, ui.glDrawWidget1);
    tharlenRenderer->changeTharlenInstance(csTharlenID);  // open already where the loop started at once
    ui.error_browser->clear();
    tellSurplusDevices();
    clearTestState();
    createTimersAndScenes();
    createPlots();
    sample.fill(0.0f);
    initReportData();
    traceEncOutFile = nullptr;
    traceGimbOutFile = nullptr;
    return true;
}

void qtTharlenTest::clearTestState() {
    clearAxisState();
    force_dac_values.fill(0);
    passivityTestForce.fill(0);
    jointVelocity.fill(0);
    m_iReachDestination.fill(500);
    clearSwitchCounters();
    passivityGain = 0.0f;
}

/// What each device starts from, axis by axis. The extremes start so that the first sample replaces both.
void qtTharlenTest::clearAxisState() {
    for (int i = 0; i < 6; ++i) {
        m_forceToSend[i] = 0;
        m_torqueToSend[i] = 0;
        m_lMinEncoderVal[i] = std::numeric_limits<long>::max();
        m_lMaxEncoderVal[i] = std::numeric_limits<long>::min();
        m_lMinForceVal[i] = 200.0f;
        m_lMaxForceVal[i] = -200.0f;
        for (float* temperatures : {motorTemperature, prevMotorATemperature, windingTemperature, prevWindingTemperature,
                                    statorTemperature, prevStatorTemperature, shutdownTemperature,
                                    prevShutdownTemperature, cooldownTemperature, prevCooldownTemperature})
            temperatures[i] = 0;
    }
    encoderTestEncoders.fill(0);
}

void qtTharlenTest::clearSwitchCounters() {
    stylusSwitchCounterOn = presenceSwitchCounterOn = extraSwitchCounterOn = inkwellSwitchCounterOn = 0;
    stylusSwitchCounterOff = presenceSwitchCounterOff = extraSwitchCounterOff = inkwellSwitchCounterOff = 0;
}

void qtTharlenTest::createTimersAndScenes() {
    selectionTimer = newTimer(&qtTharlenTest::updateTharlenGraphic);
    connect(ui.tabWidget, &QTabWidget::currentChanged, this, &qtTharlenTest::onTabChange);
    hapticBoxRenderer = new qtTharlenHapticRenderer(csTharlenID, ui.boxTest_glWin);
    passivityBoxRenderer = new qtTharlenHapticRenderer(csTharlenID, ui.passivity_widget);
    filtersRenderer = new qtTharlenHapticRenderer(csTharlenID, ui.filters_render);
    connect(passivityBoxRenderer->graphicTimer, &QTimer::timeout, this, &qtTharlenTest::showPassivityGain);
    forceProgressTimer = newTimer(&qtTharlenTest::forceProgressUpdate);
    checkCalibTimer = newTimer(&qtTharlenTest::updateOrdaCorvaleCalib);
    encoderGuiUpdateTimer = newTimer(&qtTharlenTest::updateReadEncoderTab);
    tempGuiUpdateTimer = newTimer(&qtTharlenTest::monitorTemperature);
    connect(tempGuiUpdateTimer, &QTimer::timeout, this, &qtTharlenTest::updateForceDisplay);
    tempGuiUpdateTimer->setInterval(1000);  // the encoder test starts it as it stands
    forceCheckTimer = newTimer(&qtTharlenTest::checkForcePass);
    ampsGuiUpdateTimer = newTimer(&qtTharlenTest::onCycleAmpsTab);
    cycleAmpsTimer = new QTimer(this);
    calibDetailTimer = newTimer(&qtTharlenTest::updateCalibrationData);
    frictionTestTimer = new QTimer(this);
    connect(frictionTestTimer, &QTimer::timeout, this, &qtTharlenTest::runFrictionTest);
    capstanTestRefTimer = new QTimer(this);
    connect(capstanTestRefTimer, &QTimer::timeout, this, &qtTharlenTest::runCapstanTest_ref);
    capstanTestTimer = new QTimer(this);
    connect(capstanTestTimer, &QTimer::timeout, this, &qtTharlenTest::runCapstanTest_verify);
    servoRateGraphicTimer = newTimer(&qtTharlenTest::updateServoLoopRateProgress);
    servoRateGraphicTimer->setTimerType(Qt::PreciseTimer);  // a period's samples are counted; coarse is 5 % off
    errorDisplayTimer = newTimer(&qtTharlenTest::displayError);
    errorDisplayTimer->start(500);
    motorTempTimer = newTimer(&qtTharlenTest::getMotorTemperature);
    gimbEncTestTimer = newTimer(&qtTharlenTest::runGimbalEncoderTest);
    m_loopWatchTimer = newTimer(&qtTharlenTest::watchLoop);
    m_loopWatchTimer->start(250);  // ms: four looks a second tell within one that the loop stands still
    m_encoderTestTimer = newTimer(&qtTharlenTest::showEncoderTestEvents);
    connect(ui.listWidget, &QListWidget::currentItemChanged, this, &qtTharlenTest::changePage);
}

void qtTharlenTest::createPlots() {
    linePlotScene = new QGraphicsScene(0, 0, 600, 300, this);
    linePlotScene->setSceneRect(ui.graphicsView_3->rect());
    for (QLineF** line : {&motor1_linePlot, &motor2_linePlot, &motor3_linePlot, &motor1_windingPlot, &motor1_statorPlot,
                          &motor2_windingPlot, &motor2_statorPlot, &motor3_windingPlot, &motor3_statorPlot})
        *line = new QLineF;
    frictionPlotScene = new QGraphicsScene(0, 0, 5000, 300, this);
    frictionPlotScene->setSceneRect(ui.friction_plot->rect());
    velocityLine = new QLineF;
    histogramScene = new QGraphicsScene(-120, -60, 5000, 120, this);
    histogramScene->setSceneRect(ui.graphicsView->rect());
    histogramRect = new QRectF;

    drawHistogramMark();
    QGraphicsView* view = ui.graphicsView;
    view->setScene(histogramScene);
    view->setRenderHint(QPainter::Antialiasing);
    view->setViewportUpdateMode(QGraphicsView::BoundingRectViewportUpdate);
    view->setBackgroundBrush(QBrush(Qt::black, Qt::SolidPattern));
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->show();
}

void qtTharlenTest::onInitWidgetItems() {
    ui.tabWidget->setCurrentIndex(0);
    for (int i = ui.tabWidget->count(); i >= 1; --i)
        ui.tabWidget->removeTab(i);
    ui.back_button->setEnabled(false);
    ui.user_radioButton->setChecked(true);
    ui.manuf_password->setEnabled(false);
    ui.passText->setEnabled(false);
    currentTabIndex = 0;
    ui.tabWidget->setCurrentIndex(currentTabIndex);
    onInitTabItems();
    disableTestTabs();
}

void qtTharlenTest::closeEvent(QCloseEvent* event) {
    const bool onSummary = ui.tabWidget->tabText(ui.tabWidget->currentIndex()) == "Summary";
    if (!manufMode || onSummary) {
        event->accept();
        return;
    }
    const auto answer = QMessageBox::question(
        this, "Testing Interrupted",
        "Are you sure ? Closing the app now will not save the Test Reports.\nPress YES to close and NO to continue "
        "testing. ",
        QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    if (answer == QMessageBox::Yes)
        event->accept();
    else
        event->ignore();
}

// Servo traffic stops before anything that ServoLoopCallBack reaches is destroyed.
qtTharlenTest::~qtTharlenTest() {
    if (csTharlenID >= 0) {
        shutDownDevice();
        deleteDeviceRecords(m_nDevices);
        delete tharlenRenderer;
        delete hapticBoxRenderer;
        delete passivityBoxRenderer;
        delete filtersRenderer;
        for (QTimer* timer : {servoRateGraphicTimer, forceProgressTimer, checkCalibTimer, encoderGuiUpdateTimer,
                              calibDetailTimer, ampsGuiUpdateTimer, cycleAmpsTimer, tempGuiUpdateTimer,
                              frictionTestTimer, capstanTestRefTimer, capstanTestTimer, gimbEncTestTimer,
                              errorDisplayTimer, motorTempTimer, dateTimeTimer, selectionTimer, forceCheckTimer})
            delete timer;
    } else {
        stopStrayLoop();
    }
    releaseOwned();
}

/// What the window owns beside its children.
void qtTharlenTest::releaseOwned() {
    deleteDeviceRecords(20);
    freeMemoryLoad();
    for (QLineF* line : {motor1_linePlot, motor2_linePlot, motor3_linePlot, motor1_windingPlot, motor1_statorPlot,
                         motor2_windingPlot, motor2_statorPlot, motor3_windingPlot, motor3_statorPlot, velocityLine})
        delete line;
    delete histogramRect;
    delete repData;
    delete testReportFile;
}
