// The engineering pages of the last tab: what each starts on entry and stops on any other page.
#include <QGraphicsView>
#include <QListWidget>

#include "motorsoff.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"

// --- The tab ---------------------------------------------------------------------------------------

static QString shownPage(const qtTharlenTest& window) {
    const QListWidgetItem* item = window.ui.listWidget->item(window.ui.stackedWidget->currentIndex());
    return item ? item->text() : QString();
}

/// A list without a current row would take its first one as the keyboard comes to it, and change the page.
static void markShownPage(qtTharlenTest& window) {
    const QSignalBlocker unchanged(window.ui.listWidget);
    window.ui.listWidget->setCurrentRow(window.ui.stackedWidget->currentIndex());
}

/// As choosing it would, with what leaving the tab has ended. A plot of temperatures goes on as it is.
static void setUpShownPage(qtTharlenTest& window) {
    const QString page = shownPage(window);
    if (page == "Passivity Test")
        enterPassivityPage(window);
    else if (page == "Force Test")
        enterForcePage(window);
    else if (page == "Motor Temp. Test" && !runMotorTempTest)
        window.startMotorTempTest();
    else if (page == "Filters Test")
        enterFiltersPage(window);
}

void enterPerformanceTesting(qtTharlenTest& window) {
    markShownPage(window);
    if (window.csTharlenID < 0)
        return;
    window.ui.gain_slider->setValue(0);
    setUpShownPage(window);
}

/// What the pages drive ends with their tab, though it goes on from page to page.
static void endPages(qtTharlenTest& window) {
    endTypedCommand(window);
    if (bFrictionPerformance)
        window.stopFrictionPerformanceTest();
    if (startPassivityTest)
        leavePassivityPage(window);
    if (startFiltersTest)
        leaveFiltersPage(window);
}

void leavePerformanceTesting(qtTharlenTest& window) {
    endPages(window);
    window.ui.gain_slider->setValue(0);
    if (window.csTharlenID >= 0)
        forcesOff(window);
}

void qtTharlenTest::changePage(QListWidgetItem* current, QListWidgetItem* previous) {
    const QListWidgetItem* item = current ? current : previous;
    if (!item)
        return;
    ui.stackedWidget->setCurrentIndex(ui.listWidget->row(item));
    const QString page = item->text();
    page == "Passivity Test" ? enterPassivityPage(*this) : leavePassivityPage(*this);
    page == "Force Test" ? enterForcePage(*this) : leaveForcePage(*this);
    page == "Motor Temp. Test" ? startMotorTempTest() : leaveMotorTempPage(*this);
    clearCommandsOnForcePage(*this);
    leaveResolutionPage(*this);
    page == "Filters Test" ? enterFiltersPage(*this) : leaveFiltersPage(*this);
}

// The timer before it stays, stopped, until the window goes.
void startNewTimer(qtTharlenTest& window, QPointer<QTimer>& timer, void (qtTharlenTest::*slot)(), int milliseconds) {
    if (timer)
        timer->stop();
    timer = window.newTimer(slot);
    timer->start(milliseconds);
}

void showPlot(QGraphicsView* view, QGraphicsScene* scene) {
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
