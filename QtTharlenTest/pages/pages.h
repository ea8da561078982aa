// What the pages of "Performance Testing" do as one of them is shown, and on any other. [graphical thread]
#pragma once

#include "qttharlentest.h"

void enterPassivityPage(qtTharlenTest& window);
void leavePassivityPage(qtTharlenTest& window);
void showPassivityGain(qtTharlenTest& window);
void enterForcePage(qtTharlenTest& window);
void leaveForcePage(qtTharlenTest& window);
void clearCommandsOnForcePage(qtTharlenTest& window);
/// Ends what "Force Test" or "Motor Temp. Test" sends.
void endTypedCommand(qtTharlenTest& window);
void leaveMotorTempPage(qtTharlenTest& window);
void leaveResolutionPage(qtTharlenTest& window);
void enterFiltersPage(qtTharlenTest& window);
void leaveFiltersPage(qtTharlenTest& window);
void freeMemoryLoad(qtTharlenTest& window);
/// Says on "Servo Loop Test" that a run of the rate has ended, where one was on.
void endLoadedRun(qtTharlenTest& window);

/// Replaces the timer by a new one of the window that runs `slot` every so many milliseconds.
void startNewTimer(qtTharlenTest& window, QPointer<QTimer>& timer, void (qtTharlenTest::*slot)(), int milliseconds);
/// Antialiased, on black, with the smart update of the viewport.
void showPlot(QGraphicsView* view, QGraphicsScene* scene);
