// The "Servo Loop Test" page: the servo rate while the machine is loaded on purpose. All of the load runs on the
// graphical thread; its cost is the point of it.
#include <limits>
#include <new>

#include "handon.h"
#include "pages/pages.h"
#include "plaintext.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kReportPeriod = 1000;  ///< ms
constexpr int kLoadBlocks = 10;
constexpr std::size_t kProcessorBlock = 40000;  ///< bytes
constexpr int kBytesPerDouble = sizeof(double);

}  // namespace

// --- Rate ------------------------------------------------------------------------------------------

void qtTharlenTest::startServoLoopPerformance() {
    startServoTest = true;
    servoRateGraphicTimer->start(kReportPeriod);
    ui.servoloopText->clear();
    ui.servoloopText->setText("Start: \n");
    handOn(ui.pushButton_9, ui.pushButton_10);
    QGraphicsView* view = ui.graphicsView_2;
    histogramScene->setSceneRect(view->rect());
    showPlot(view, histogramScene);
    view->setViewportUpdateMode(QGraphicsView::BoundingRectViewportUpdate);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

static void sayLoadedRunEnded(qtTharlenTest& window) {
    window.ui.servoloopText->append("Stop: \n");
    handOn(window.ui.pushButton_10, window.ui.pushButton_9);
}

void qtTharlenTest::stopServoLoopPerformance() {
    startServoTest = false;
    servoRateGraphicTimer->stop();
    servoUpdateTicks = 0;
    sayLoadedRunEnded(*this);
}

void endLoadedRun(qtTharlenTest& window) {
    if (window.ui.pushButton_10->isEnabled())
        sayLoadedRunEnded(window);
}

// --- Processor -------------------------------------------------------------------------------------

// Timers without an interval fire whenever the event loop is free. Each load makes new ones; those before stay,
// stopped, until the window goes.
void qtTharlenTest::loadProcessor() {
    handOn(ui.pushButton_7, ui.pushButton_11);
    for (QPointer<QTimer>& timer : loadTimer) {
        m_loadTimers.push_back(std::make_unique<QTimer>());
        timer = m_loadTimers.back().get();
        connect(timer, &QTimer::timeout, this, &qtTharlenTest::loadCPU);
        timer->start();
    }
}

// The work is the allocation itself, on blocks of its own: those of a memory load stay as they are. These calls
// are no new-expressions, which a compiler might leave out. What is refused is no block less to release.
void qtTharlenTest::loadCPU() {
    void* blocks[kLoadBlocks];
    for (void*& block : blocks)
        block = ::operator new(kProcessorBlock, std::nothrow);
    for (void* block : blocks)
        ::operator delete(block);
}

void qtTharlenTest::releaseProcessor() {
    handOn(ui.pushButton_11, ui.pushButton_7);
    for (const auto& timer : m_loadTimers)
        timer->stop();
}

// --- Memory ----------------------------------------------------------------------------------------

/// Ten blocks of a tenth each, in whole doubles; all of them or none.
static bool allocateMemoryLoad(qtTharlenTest& window, int bytes) {
    const auto doubles = static_cast<std::size_t>(bytes / kBytesPerDouble / kLoadBlocks);
    for (double*& block : window.memoryLoadInt) {
        block = new (std::nothrow) double[doubles];
        if (!block) {
            freeMemoryLoad(window);
            return false;
        }
    }
    return true;
}

// The blocks are not written to. What does not parse is 0 bytes, ten empty blocks.
void qtTharlenTest::loadMemory() {
    bool parsed = false;
    const int bytes = ui.lineEdit_6->text().toInt(&parsed, 10);
    freeMemoryLoad(*this);
    const bool loaded = bytes / kBytesPerDouble / kLoadBlocks >= 0 && allocateMemoryLoad(*this, bytes);
    if (!parsed)
        appendPlain(ui.servoloopText,
                    QString("Load Memory: \"%1\" is no number of bytes up to %2; nothing is loaded.\n")
                        .arg(oneLine(ui.lineEdit_6->text()))
                        .arg(std::numeric_limits<int>::max()));
    else if (!loaded)
        ui.servoloopText->append(QString("Load Memory: %1 bytes cannot be allocated.\n").arg(bytes));
    if (loaded)
        handOn(ui.pushButton_8, ui.pushButton_12);
    else
        handOn(ui.pushButton_12, ui.pushButton_8);
}

void qtTharlenTest::releaseMemory() {
    freeMemoryLoad(*this);
    handOn(ui.pushButton_12, ui.pushButton_8);
}

void freeMemoryLoad(qtTharlenTest& window) {
    for (double*& block : window.memoryLoadInt) {
        delete[] block;
        block = nullptr;
    }
}
