// The "Servo Loop Test" page: the servo rate while the machine is loaded on purpose. All of the load runs on the
// graphical thread; its cost is the point of it.
#include <new>

#include "pages/pages.h"
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
    ui.pushButton_9->setEnabled(false);
    ui.pushButton_10->setEnabled(true);
    QGraphicsView* view = ui.graphicsView_2;
    histogramScene->setSceneRect(view->rect());
    showPlot(view, histogramScene);
    view->setViewportUpdateMode(QGraphicsView::BoundingRectViewportUpdate);
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

void qtTharlenTest::stopServoLoopPerformance() {
    startServoTest = false;
    servoRateGraphicTimer->stop();
    ui.servoloopText->append("Stop: \n");
    ui.pushButton_9->setEnabled(true);
    ui.pushButton_10->setEnabled(false);
}

// --- Processor -------------------------------------------------------------------------------------

// Timers without an interval fire whenever the event loop is free. Each load makes new ones; those before stay,
// stopped, until the window goes.
void qtTharlenTest::loadProcessor() {
    ui.pushButton_7->setEnabled(false);
    ui.pushButton_11->setEnabled(true);
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
    ui.pushButton_11->setEnabled(false);
    ui.pushButton_7->setEnabled(true);
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
    const int bytes = ui.lineEdit_6->text().toInt(nullptr, 10);
    freeMemoryLoad(*this);
    const bool loaded = bytes / kBytesPerDouble / kLoadBlocks >= 0 && allocateMemoryLoad(*this, bytes);
    if (!loaded)
        ui.servoloopText->append(QString("Load Memory: %1 bytes cannot be allocated.\n").arg(bytes));
    ui.pushButton_8->setEnabled(!loaded);
    ui.pushButton_12->setEnabled(loaded);
}

void qtTharlenTest::releaseMemory() {
    freeMemoryLoad(*this);
    ui.pushButton_12->setEnabled(false);
    ui.pushButton_8->setEnabled(true);
}

void freeMemoryLoad(qtTharlenTest& window) {
    for (double*& block : window.memoryLoadInt) {
        delete[] block;
        block = nullptr;
    }
}
