// The servo rate strip: its mark, and the end of a run.
#include <QFont>
#include <QGraphicsTextItem>
#include <QPen>

#include "qttharlentest.h"
#include "servostate.h"

/// The line and text that a bar of 1000 samples meets.
void qtTharlenTest::drawHistogramMark() {
    const int width = ui.graphicsView->width();
    const int height = ui.graphicsView->height();
    const QPen pen(Qt::green, 1.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    histogramScene->addLine(0.0, height - 100, 740.0, height - 100, pen);
    QGraphicsTextItem* text = histogramScene->addText("1000 Hz", QFont("Arial", 16));
    text->setDefaultTextColor(Qt::green);
    text->setPos(width / 2, height - 130);
}

void qtTharlenTest::stopServoLoopRateTest() {
    startServoTest = false;
    servoRateGraphicTimer->stop();
    ui.servoLoopUpdate_box->append("Stop: \n");
    ui.clearHistoButton->setEnabled(true);
    ui.hapticRate_startButton->setEnabled(true);
    ui.hapticRate_stoptButton->setEnabled(false);
    servoUpdateTicks = 0;
}
