// The engineering pages of the last tab: what each starts on entry and stops on any other page.
#include <QListWidget>

#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"
#include "servostate.h"

void qtTharlenTest::changePage(QListWidgetItem* current, QListWidgetItem* previous) {
    const QListWidgetItem* item = current ? current : previous;
    if (!item)
        return;
    ui.stackedWidget->setCurrentIndex(ui.listWidget->row(item));
    const QString page = item->text();
    page == "Passivity Test" ? enterPassivityPage() : leavePassivityPage();
    if (page == "Force Test")
        tempGuiUpdateTimer->start(1000);
    else if (tempGuiUpdateTimer->isActive())
        tempGuiUpdateTimer->stop();
    page == "Filters Test" ? enterFiltersPage() : leaveFiltersPage();
}

void qtTharlenTest::enterPassivityPage() {
    passivityBoxRenderer->changeTharlenInstance(csTharlenID, 0);
    passivityBoxRenderer->startTest(false);
    startPassivityTest = true;
}

void qtTharlenTest::leavePassivityPage() {
    startPassivityTest = false;
    for (float& force : m_forceToSend)
        force = 0;
    disable_tharlen_forces(csTharlenID);
    ui.gain_slider->setValue(0);
    if (passivityBoxRenderer->graphicTimer->isActive())
        passivityBoxRenderer->stopTest();
}

void qtTharlenTest::enterFiltersPage() {
    filtersRenderer->changeTharlenInstance(csTharlenID, 1);
    filtersRenderer->startTest(false);
    startFiltersTest = true;
    forceProgressTimer->start(5);
}

void qtTharlenTest::leaveFiltersPage() {
    startFiltersTest = false;
    disable_tharlen_forces(csTharlenID);
    if (!filtersRenderer->graphicTimer->isActive())
        return;
    filtersRenderer->stopTest();
    forceProgressTimer->stop();
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

// Declared slots that nothing connects: the gain slider stays without effect.
void qtTharlenTest::onPassivitySliderChange(int value) { passivityGain = static_cast<float>(value * 10 / 100.0); }
