// The "Motor Temp. Test" page: winding temperatures of three motors over time, once a second. One unit of x is a
// second, 3 units of y are a degree Celsius; 0 to 100 degrees fill the height.
#include <QFont>
#include <QGraphicsTextItem>
#include <QPen>
#include <algorithm>
#include <cmath>

#include "follownewest.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kPlotPeriod = 1000;  ///< ms
constexpr int kPlotHeight = 300;   ///< y of 0 degrees
constexpr int kUnitsPerDegree = 3;
constexpr int kGridEnd = 7200;  ///< s
constexpr int kGridStep = 30;   ///< units of either axis

double plotHeight(float celsius) { return kPlotHeight - kUnitsPerDegree * static_cast<double>(celsius); }

void addText(QGraphicsScene* scene, const QString& text, Qt::GlobalColor colour, int x, int y) {
    QGraphicsTextItem* item = scene->addText(text, QFont("Arial", 10));
    item->setDefaultTextColor(colour);
    item->setPos(x, y);
}

}  // namespace

static void drawTemperatureGrid(qtTharlenTest& window) {
    QGraphicsScene* const scene = window.linePlotScene;
    for (int y = 0; y < kPlotHeight; y += kGridStep) {
        scene->addLine(0, y, kGridEnd, y, QPen(Qt::cyan, 0.5));
        addText(scene, QString::number((kPlotHeight - y) / kUnitsPerDegree), Qt::white, 5, y);
    }
    for (int x = 0; x < kGridEnd; x += kGridStep) {
        scene->addLine(x, 0, x, kPlotHeight, QPen(Qt::magenta, 0.5));
        addText(scene, QString::number(x), Qt::white, x, 280);
    }
    addText(scene, "Time in seconds", Qt::magenta, 60, 260);
    addText(scene, "Temp. in Celcius", Qt::cyan, 30, 30);
}

// The scene's rectangle is what can be scrolled to, and what its index of items divides.
void qtTharlenTest::startMotorTempTest() {
    showPlot(ui.graphicsView_3, linePlotScene);
    ui.graphicsView_3->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    ui.graphicsView_3->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    linePlotScene->clear();
    linePlotScene->setSceneRect(0, 0, kGridEnd, kPlotHeight);
    drawTemperatureGrid(*this);
    runMotorTempTest = true;
}

/// The count of seconds stays: it is stopLinePlot() that returns it to 0.
void leaveMotorTempPage(qtTharlenTest& window) {
    window.motorTempTimer->stop();
    runMotorTempTest = false;
    window.linePlotScene->clear();
}

void qtTharlenTest::startLinePlot() {
    motorTempTimer->start(kPlotPeriod);
    if (timerCounter == 0)
        ui.graphicsView_3->horizontalScrollBar()->setValue(0);
}

// The plot stays: the next one starts over it.
void qtTharlenTest::stopLinePlot() {
    motorTempTimer->stop();
    timerCounter = 0;
}

// Both ends of a line have the same x: a curve is a row of upright ticks, a steady temperature a row of dots.
static void plotWindings(qtTharlenTest& window) {
    const struct {
        QLineF* line;
        Qt::GlobalColor colour;
    } motors[] = {{window.motor1_windingPlot, Qt::red},
                  {window.motor2_windingPlot, Qt::green},
                  {window.motor3_windingPlot, Qt::cyan}};
    for (int i = 0; i < 3; ++i) {
        if (!std::isfinite(prevWindingTemperature[i]) || !std::isfinite(windingTemperature[i]))
            continue;  // the text has it as "nan"
        motors[i].line->setLine(timerCounter, plotHeight(prevWindingTemperature[i]), timerCounter,
                                plotHeight(windingTemperature[i]));
        window.linePlotScene->addLine(*motors[i].line, QPen(motors[i].colour, 2.0));
    }
}

void qtTharlenTest::getMotorTemperature() {
    const int id = csTharlenID;
    get_tharlen_temp_6dof(id, motorTemperature);
    get_tharlen_temp_advance(id, kWindingTemperature, windingTemperature);
    get_tharlen_temp_advance(id, kStatorTemperature, statorTemperature);
    get_tharlen_temp_advance(id, kShutdownTemperature, shutdownTemperature);
    get_tharlen_temp_advance(id, kCooldownTemperature, cooldownTemperature);
    ++timerCounter;
    if (timerCounter > linePlotScene->width())
        linePlotScene->setSceneRect(0, 0, timerCounter + kGridEnd, kPlotHeight);
    plotWindings(*this);
    followNewest(ui.graphicsView_3, timerCounter - 1, timerCounter);

    const struct {
        const float* now;
        float* before;
    } histories[] = {{motorTemperature, prevMotorATemperature},
                     {windingTemperature, prevWindingTemperature},
                     {statorTemperature, prevStatorTemperature},
                     {shutdownTemperature, prevShutdownTemperature},
                     {cooldownTemperature, prevCooldownTemperature}};
    for (const auto& history : histories)
        std::copy(history.now, history.now + 6, history.before);

    QString line;
    for (const float* temperatures : {windingTemperature, statorTemperature})
        for (int i = 0; i < 3; ++i)
            line += QString::asprintf("%3.1f  ", static_cast<double>(temperatures[i]));
    ui.textBrowser_5->append(line);
}
