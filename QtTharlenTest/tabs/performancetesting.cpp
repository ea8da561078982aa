// The engineering pages of the last tab: what each starts on entry and stops on any other page.
#include <QGraphicsView>
#include <QListWidget>

#include "qttharlentest.h"
#include "servostate.h"

// --- The tab ---------------------------------------------------------------------------------------

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

void qtTharlenTest::changePage(QListWidgetItem* current, QListWidgetItem* previous) {
    const QListWidgetItem* item = current ? current : previous;
    if (!item)
        return;
    ui.stackedWidget->setCurrentIndex(ui.listWidget->row(item));
    const QString page = item->text();
    page == "Passivity Test" ? enterPassivityPage() : leavePassivityPage();
    page == "Force Test" ? enterForcePage() : leaveForcePage();
    page == "Motor Temp. Test" ? startMotorTempTest() : leaveMotorTempPage();
    clearCommandsOnForcePage();
    leaveResolutionPage();
    page == "Filters Test" ? enterFiltersPage() : leaveFiltersPage();
}

// The timer before it stays, stopped, until the window goes.
void qtTharlenTest::startNewTimer(QPointer<QTimer>& timer, void (qtTharlenTest::*slot)(), int milliseconds) {
    if (timer)
        timer->stop();
    timer = newTimer(slot);
    timer->start(milliseconds);
}

void qtTharlenTest::showPlot(QGraphicsView* view, QGraphicsScene* scene) {
    view->setScene(scene);
    view->setRenderHint(QPainter::Antialiasing);
    view->setViewportUpdateMode(QGraphicsView::SmartViewportUpdate);
    view->setBackgroundBrush(Qt::black);
    view->show();
}

// The first checked of the four rates; 1000 Hz where none is.
void qtTharlenTest::updateServoLoopRate() {
    const struct {
        const QRadioButton* button;
        int rate;
    } rates[] = {{ui.servo1000, 1000}, {ui.servo2000, 2000}, {ui.servo3000, 3000}, {ui.servo4000, 4000}};
    servoRate = 1000;
    for (const auto& choice : rates) {
        if (choice.button->isChecked()) {
            servoRate = choice.rate;
            break;
        }
    }
    setServoLoopRate(static_cast<int>(servoRate));
}
