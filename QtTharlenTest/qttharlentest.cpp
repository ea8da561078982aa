// The main window's construction, start-up order, teardown and closing.
#include "qttharlentest.h"
#include "calibrate.h"
#include "looks.h"
#include "motorsoff.h"
#include "pages/pages.h"
#include "tabs.h"

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

/// What the form says before anything changes it. Records that a run leaves behind are kept until they are cleared by
/// hand.
static void rememberForm(qtTharlenTest& window) {
    auto& ui = window.ui;
    for (int i = 0; i < ui.tabWidget->count(); ++i)
        window.m_tabToolTips[ui.tabWidget->widget(i)] = ui.tabWidget->tabToolTip(i);
    for (const QWidget* page : {ui.tab_2, ui.tab_3, ui.tab_4, ui.tab_5, ui.tab_6, ui.tab_7, ui.tab_8, ui.tab_9,
                                ui.tab_10, ui.tab_11, ui.tab_12, ui.tab_15})
        window.m_form.remember(page, {ui.encoderTest_debug, ui.textBrowser_2});
}

/// Hands the options that the servo thread needs over to it, as they change. The record follows the combo
/// box by the signal that comes before the one that opens the device.
static void connectServoOptions(qtTharlenTest& window) {
    QObject::connect(window.ui.m_cmbTHARLeN, QOverload<int>::of(&QComboBox::currentIndexChanged), &window,
                     &qtTharlenTest::selectRecord);
    const auto handOver = [&window] {
        sendForceChecked = window.ui.sendForce_checkBox->isChecked() || window.ui.sendForce_checkBox_2->isChecked();
    };
    QObject::connect(window.ui.sendForce_checkBox, &QCheckBox::toggled, &window, handOver);
    QObject::connect(window.ui.sendForce_checkBox_2, &QCheckBox::toggled, &window, handOver);
    handOver();
    connectEncoderTestOptions(window);
}

/// What the window owns beside its children.
static void releaseOwned(qtTharlenTest& window) {
    window.deleteDeviceRecords(20);
    freeMemoryLoad(window);
    for (QLineF* line :
         {window.motor1_linePlot, window.motor2_linePlot, window.motor3_linePlot, window.motor1_windingPlot,
          window.motor1_statorPlot, window.motor2_windingPlot, window.motor2_statorPlot, window.motor3_windingPlot,
          window.motor3_statorPlot, window.velocityLine})
        delete line;
    delete window.histogramRect;
    delete window.repData;
    delete window.testReportFile;
}

qtTharlenTest::qtTharlenTest(QWidget* parent, Qt::WindowFlags flags) : QMainWindow(parent, flags) {
    registerResources();
    makeForm(*this);
    rememberForm(*this);
    connectServoOptions(*this);
    auto* pinchKey = new QShortcut(QKeySequence("Alt+P"), this);
    pinchKey->setAutoRepeat(false);  // a key held would take both ends of the grip at once
    connect(pinchKey, &QShortcut::activated, this, [this] { pressPinchByKey(*this); });
    ui.frame11->hide();
    narrowTabs(*ui.tabWidget);
    settleTabs(*ui.tabWidget);
    frameFocus(*ui.back_button);
    frameFocus(*ui.next_button);
    numAccumErrors = 0;
    csTharlenID = -1;
    dateTimeTimer = newTimer(&qtTharlenTest::displayDateTime);
    dateTimeTimer->start(1000);
    servoRate = 0;
    try {
        onInitTharlenTest();
    } catch (...) {
        // Opening the first device may throw, and then no destructor runs.
        csTharlenID >= 0 ? shutDownDevice(*this) : stopStrayLoop(*this);
        releaseOwned(*this);
        throw;
    }
}

QTimer* qtTharlenTest::newTimer(void (qtTharlenTest::*slot)()) {
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, slot);
    return timer;
}

static void clearTestState(qtTharlenTest& window) {
    window.clearAxisState();
    window.force_dac_values.fill(0);
    passivityTestForce.fill(0);
    jointVelocity.fill(0);
    window.m_iReachDestination.fill(500);
    window.clearSwitchCounters();
    window.passivityGain = 0.0f;
}

static void createTimersAndScenes(qtTharlenTest& window) {
    auto& ui = window.ui;
    window.selectionTimer = window.newTimer(&qtTharlenTest::updateTharlenGraphic);
    QObject::connect(ui.tabWidget, &QTabWidget::currentChanged, &window, &qtTharlenTest::onTabChange);
    window.hapticBoxRenderer = new qtTharlenHapticRenderer(window.csTharlenID, ui.boxTest_glWin);
    window.passivityBoxRenderer = new qtTharlenHapticRenderer(window.csTharlenID, ui.passivity_widget);
    window.filtersRenderer = new qtTharlenHapticRenderer(window.csTharlenID, ui.filters_render);
    QObject::connect(window.passivityBoxRenderer->graphicTimer, &QTimer::timeout, &window,
                     [&window] { showPassivityGain(window); });
    window.forceProgressTimer = window.newTimer(&qtTharlenTest::forceProgressUpdate);
    window.checkCalibTimer = window.newTimer(&qtTharlenTest::updateOrdaCorvaleCalib);
    window.encoderGuiUpdateTimer = window.newTimer(&qtTharlenTest::updateReadEncoderTab);
    window.tempGuiUpdateTimer = window.newTimer(&qtTharlenTest::monitorTemperature);
    QObject::connect(window.tempGuiUpdateTimer, &QTimer::timeout, &window, &qtTharlenTest::updateForceDisplay);
    window.tempGuiUpdateTimer->setInterval(1000);  // the encoder test starts it as it stands
    window.forceCheckTimer = window.newTimer(&qtTharlenTest::checkForcePass);
    window.ampsGuiUpdateTimer = window.newTimer(&qtTharlenTest::onCycleAmpsTab);
    window.cycleAmpsTimer = new QTimer(&window);
    window.calibDetailTimer = window.newTimer(&qtTharlenTest::updateCalibrationData);
    window.frictionTestTimer = new QTimer(&window);
    QObject::connect(window.frictionTestTimer, &QTimer::timeout, &window, &qtTharlenTest::runFrictionTest);
    window.capstanTestRefTimer = new QTimer(&window);
    QObject::connect(window.capstanTestRefTimer, &QTimer::timeout, &window, &qtTharlenTest::runCapstanTest_ref);
    window.capstanTestTimer = new QTimer(&window);
    QObject::connect(window.capstanTestTimer, &QTimer::timeout, &window, &qtTharlenTest::runCapstanTest_verify);
    window.servoRateGraphicTimer = window.newTimer(&qtTharlenTest::updateServoLoopRateProgress);
    window.servoRateGraphicTimer->setTimerType(Qt::PreciseTimer);  // a period's samples are counted; coarse is 5 % off
    window.errorDisplayTimer = window.newTimer(&qtTharlenTest::displayError);
    window.errorDisplayTimer->start(500);
    window.motorTempTimer = window.newTimer(&qtTharlenTest::getMotorTemperature);
    window.gimbEncTestTimer = window.newTimer(&qtTharlenTest::runGimbalEncoderTest);
    window.m_loopWatchTimer = new QTimer(&window);
    QObject::connect(window.m_loopWatchTimer, &QTimer::timeout, &window, [&window] { watchLoop(window); });
    window.m_loopWatchTimer->start(250);  // ms: four looks a second tell within one that the loop stands still
    window.m_encoderTestTimer = window.newTimer(&qtTharlenTest::showEncoderTestEvents);
    QObject::connect(ui.listWidget, &QListWidget::currentItemChanged, &window, &qtTharlenTest::changePage);
}

static void createPlots(qtTharlenTest& window) {
    auto& ui = window.ui;
    window.linePlotScene = new QGraphicsScene(0, 0, 600, 300, &window);
    window.linePlotScene->setSceneRect(ui.graphicsView_3->rect());
    for (QLineF** line : {&window.motor1_linePlot, &window.motor2_linePlot, &window.motor3_linePlot,
                          &window.motor1_windingPlot, &window.motor1_statorPlot, &window.motor2_windingPlot,
                          &window.motor2_statorPlot, &window.motor3_windingPlot, &window.motor3_statorPlot})
        *line = new QLineF;
    window.frictionPlotScene = new QGraphicsScene(0, 0, 5000, 300, &window);
    window.frictionPlotScene->setSceneRect(ui.friction_plot->rect());
    window.velocityLine = new QLineF;
    window.histogramScene = new QGraphicsScene(-120, -60, 5000, 120, &window);
    window.histogramScene->setSceneRect(ui.graphicsView->rect());
    window.histogramRect = new QRectF;

    window.drawHistogramMark();
    QGraphicsView* view = ui.graphicsView;
    view->setScene(window.histogramScene);
    view->setRenderHint(QPainter::Antialiasing);
    view->setViewportUpdateMode(QGraphicsView::BoundingRectViewportUpdate);
    view->setBackgroundBrush(QBrush(Qt::black, Qt::SolidPattern));
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->show();
}

// The order matters: the first device is opened while the combo box is filled, before the servo loop object
// and the scenes exist.
bool qtTharlenTest::onInitTharlenTest() {
    setModes(*this, false, false, false);
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
    clearTestState(*this);
    createTimersAndScenes(*this);
    createPlots(*this);
    sample.fill(0.0f);
    initReportData();
    traceEncOutFile = nullptr;
    traceGimbOutFile = nullptr;
    return true;
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
        shutDownDevice(*this);
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
        stopStrayLoop(*this);
    }
    releaseOwned(*this);
}
