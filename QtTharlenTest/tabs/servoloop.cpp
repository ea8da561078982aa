// The "Servoloop" tab: once a period the samples of the servo rate become a line of statistics and a bar of the
// strip. No verdict: the operator judges by the colours.
#include <QFont>
#include <QGraphicsTextItem>
#include <QPen>
#include <cmath>
#include <limits>

#include "follownewest.h"
#include "handon.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"

namespace {

constexpr int kLastReport = 10;  ///< a run's reports count from 0
constexpr int kBarsOfStrip = 29;
constexpr int kBarWidth = 40;  ///< scene units, which are pixels
constexpr int kBarFoot = 151;  ///< y of the line that bars stand on
constexpr int kSamplesAPixel = 10;

/// Meant: the legend promises yellow from 950; the bars give it at 994 alone and green in between.
Qt::GlobalColor barColour(int samples) {
    if (samples < 950)
        return Qt::red;
    return samples == 994 ? Qt::yellow : Qt::green;
}

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void enterServoloop(qtTharlenTest& window) {
    if (window.manufMode)
        window.ui.tabWidget->setTabEnabled(6, false);
    if (window.csTharlenID < 0)
        return;
    window.ui.servoLoopUpdate_box->setText(
        "Press 'START' to begin performance checking of Haptic Update Rate running @ 1000 Hz on this PC");
    startServoTest = false;
}

void leaveServoloop(qtTharlenTest& window) {
    window.stopServoLoopRateTest();
    startServoTest = false;
}

// --- A run -----------------------------------------------------------------------------------------

// The rate in Hz is also the period in ms. Samples of a run that was stopped within a period stay counted.
void qtTharlenTest::startServoLoopRateTest() {
    startServoTest = true;
    servoRateGraphicTimer->start(static_cast<int>(servoRate));
    ui.servoLoopUpdate_box->clear();
    ui.servoLoopUpdate_box->setText("Start: \n");
    handOn(ui.hapticRate_startButton, ui.hapticRate_stoptButton);
    ui.clearHistoButton->setEnabled(false);
    histogramScene->setSceneRect(ui.graphicsView->rect());
    clearHistogram();
}

void qtTharlenTest::stopServoLoopRateTest() {
    startServoTest = false;
    servoRateGraphicTimer->stop();
    ui.servoLoopUpdate_box->append("Stop: \n");
    ui.clearHistoButton->setEnabled(true);
    handOn(ui.hapticRate_stoptButton, ui.hapticRate_startButton);
    servoUpdateTicks = 0;
    endLoadedRun(*this);
}

// The next tick opens a new period. Sum and extremes are taken before it can; a sample that falls in between is lost or
// counts twice: the figures are for inspection.
static void takeRateStatistics(qtTharlenTest& window) {
    window.varUpdateRate = window.meanUpdateRate = window.stdDevUpdateRate = 0;
    const float total = totalRateSamples;
    window.m_reportedMin = window.minUpdateRate;
    window.m_reportedMax = window.maxUpdateRate;
    const int rateCounterApp = rateCounter.exchange(0);
    window.numSamplesUpdateRate = rateCounterApp;
    if (rateCounterApp == 0) {
        window.varUpdateRate = window.meanUpdateRate = window.stdDevUpdateRate =
            std::numeric_limits<float>::quiet_NaN();
        return;
    }
    window.meanUpdateRate = total / rateCounterApp;
    for (int i = 0; i < rateCounterApp; ++i) {
        const float difference = sample[i] - window.meanUpdateRate;
        window.varUpdateRate += difference * difference;
    }
    window.varUpdateRate /= rateCounterApp;
    window.stdDevUpdateRate = std::sqrt(window.varUpdateRate);
}

static QString rateReportLine(const qtTharlenTest& window) {
    return QString::asprintf("Sample:%2d  N:  %4d  Min:  %0.2f  Max:  %0.2f  Mean:  %0.2f  Var:  %0.2f  SD:  %0.2f",
                             servoUpdateTicks, window.numSamplesUpdateRate, double(window.m_reportedMin),
                             double(window.m_reportedMax), double(window.meanUpdateRate), double(window.varUpdateRate),
                             double(window.stdDevUpdateRate));
}

void qtTharlenTest::updateServoLoopRateProgress() {
    takeRateStatistics(*this);
    const QString line = rateReportLine(*this);
    if (performanceTestMode)
        ui.servoloopText->append(line);
    else
        ui.servoLoopUpdate_box->append(line);
    if (numSamplesUpdateRate == 0)
        sayError("No sample of the servo rate came in a whole period. Is a device open, and does its loop run?");
    updateHistogram();
    if (servoUpdateTicks++ == kLastReport)
        stopServoLoopRateTest();
}

// --- The strip -------------------------------------------------------------------------------------

/// Both views show the same strip, which may be wider than they are.
static void showNewestBar(qtTharlenTest& window, int left) {
    for (QGraphicsView* view : {window.ui.graphicsView, window.ui.graphicsView_2}) {
        QRectF strip = window.histogramScene->sceneRect();
        strip.setRight(qMax(strip.right(), double(left + kBarWidth)));
        view->setSceneRect(strip);
        followNewest(view, left, left + kBarWidth);
    }
}

void qtTharlenTest::updateHistogram() {
    if (startPlotCounter >= kBarsOfStrip)
        clearHistogram();
    const int height = numSamplesUpdateRate / kSamplesAPixel;
    const QPen pen(Qt::black, 3.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    histogramScene->addRect(startPlotCounter * kBarWidth, kBarFoot - height, kBarWidth, height, pen,
                            QBrush(barColour(numSamplesUpdateRate)));
    showNewestBar(*this, startPlotCounter * kBarWidth);
    ++startPlotCounter;
}

void qtTharlenTest::clearHistogram() {
    histogramScene->clear();
    drawHistogramMark();
    startPlotCounter = 0;
    for (QGraphicsView* view : {ui.graphicsView, ui.graphicsView_2}) {
        view->setSceneRect(QRectF());  // the scene's own
        view->horizontalScrollBar()->setValue(view->horizontalScrollBar()->minimum());
    }
}

/// The line and text that a bar of 1000 samples meets.
void qtTharlenTest::drawHistogramMark() {
    const int width = ui.graphicsView->width();
    const int height = ui.graphicsView->height();
    const QPen pen(Qt::green, 1.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    histogramScene->addLine(0.0, height - 100, 740.0, height - 100, pen);
    QGraphicsTextItem* text = histogramScene->addText("1000 Hz", QFont("Arial", 16));
    text->setDefaultTextColor(Qt::green);
    const int middle = width / 2;
    text->setPos(middle, height - 130);
}
