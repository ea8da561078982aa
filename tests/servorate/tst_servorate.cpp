// The "Servoloop" tab period by period: exact lines, the bars and their colours, the strip, and the run's end.
#include <QGraphicsRectItem>
#include <QScrollBar>

#include "standinwindow.h"

class TestServoRate : public StandinWindow {
    Q_OBJECT

    QString text() const { return ui().servoLoopUpdate_box->toPlainText(); }
    void start() {
        ui().hapticRate_startButton->click();
        window->servoRateGraphicTimer->setInterval(1000000);
    }
    void period(int samples) {
        rateCounter = samples;
        window->updateServoLoopRateProgress();
    }
    /// The bars, in the order in which they were drawn; the mark under them is two more items.
    QList<QGraphicsRectItem*> strip() const {
        QList<QGraphicsRectItem*> found;
        for (QGraphicsItem* item : window->histogramScene->items(Qt::AscendingOrder).mid(2))
            found << qgraphicsitem_cast<QGraphicsRectItem*>(item);
        return found;
    }

private slots:
    void init() {
        openFleet();
        go("Servoloop");
    }

    // Each period stands alone; one without samples has no figures but the extremes of the last.
    void lines() {
        start();
        const std::pair<std::vector<float>, QString> periods[] = {
            {{}, "N:     0  Min:  0.00  Max:  0.00  Mean:  nan  Var:  nan  SD:  nan"},
            {{1000, 990, 1010}, "N:     3  Min:  990.00  Max:  1010.00  Mean:  1000.00  Var:  66.67  SD:  8.16"},
            {{998.5f}, "N:     1  Min:  998.50  Max:  998.50  Mean:  998.50  Var:  0.00  SD:  0.00"},
            {{}, "N:     0  Min:  998.50  Max:  998.50  Mean:  nan  Var:  nan  SD:  nan"}};
        for (int i = 0; i < 4; ++i) {
            for (const float rate : periods[i].first) {
                device().rate = rate;
                device().callback(device().userData);
            }
            window->updateServoLoopRateProgress();
            QCOMPARE(text().section('\n', -1), QString("Sample: %1  ").arg(i) + periods[i].second);
        }
    }

    void bars() {
        const std::tuple<int, Qt::GlobalColor, int> expected[] = {
            {0, Qt::red, 0},       {949, Qt::red, 94},   {950, Qt::green, 95},   {993, Qt::green, 99},
            {994, Qt::yellow, 99}, {995, Qt::green, 99}, {1000, Qt::green, 100}, {2000, Qt::green, 200}};
        start();
        for (const auto& [samples, colour, height] : expected) {
            const double left = 40 * strip().size();
            period(samples);
            QCOMPARE(strip().last()->rect(), QRectF(left, 151 - height, 40, height));
            QCOMPARE(strip().last()->brush(), QBrush(colour));
        }
    }

    // Eleven lines, and the run has ended; the next one starts anew, in strip and numbers.
    void aRunEndsByItself() {
        for (int run = 0; run < 2; ++run) {
            start();
            QVERIFY(strip().isEmpty());
            for (int i = 0; i <= 10; ++i) {
                QVERIFY(startServoTest && !ui().clearHistoButton->isEnabled());
                QVERIFY(window->servoRateGraphicTimer->isActive());
                period(1000);
            }
            QVERIFY(!startServoTest && !ui().hapticRate_stoptButton->isEnabled());
            QVERIFY(!window->servoRateGraphicTimer->isActive());
            QVERIFY(text().startsWith("Start: \n\nSample: 0  ") && text().endsWith("\nStop: \n"));
            QCOMPARE(text().count("Sample:"), 11);
        }
        ui().clearHistoButton->click();
        QVERIFY(strip().isEmpty() && text().isEmpty());
        window->servoRate = 4000;  // Hz, and also the period in ms
        ui().hapticRate_startButton->click();
        QCOMPARE(window->servoRateGraphicTimer->interval(), 4000);
        ui().hapticRate_stoptButton->click();
        QVERIFY(!startServoTest && !window->servoRateGraphicTimer->isActive());
    }

    // Runs of the performance page go on in one strip until it is full. The view shows it in all its height and follows
    // its newest bar, unless somebody has scrolled back; the mark lies on the tops of its bars.
    void fullStripStartsAnew() {
        window->show();
        start();
        window->performanceTestMode = true;
        for (int i = 0; i < 29; ++i) {
            period(1000);
            QCOMPARE(strip().last()->rect(), QRectF(40 * i, 51, 40, 100));
            const QGraphicsView& view = *ui().graphicsView;
            QCOMPARE(view.mapFromScene(0, 0).y(), 0);
            QCOMPARE(view.viewport()->rect().contains(view.mapFromScene(40 * i + 39, 100)), i < 20);
            if (i == 19)
                view.horizontalScrollBar()->setValue(0);
        }
        QCOMPARE(ui().graphicsView->viewport()->height(), 151);
        const auto* mark = qgraphicsitem_cast<QGraphicsLineItem*>(window->histogramScene->items().last());
        QCOMPARE(mark->line(), QLineF(0, 51, 740, 51));
        period(1000);
        QCOMPARE(ui().graphicsView->mapFromScene(0, 0), QPoint(0, 0));
        QCOMPARE(strip().size(), 1);
        QCOMPARE(ui().servoloopText->toPlainText().count("Sample:"), 30);
        QCOMPARE(text(), QString("Start: \n\nStop: \n\nStop: \n"));
    }
};

QTEST_MAIN(TestServoRate)
#include "tst_servorate.moc"
