// What the files of "Test Forces" and others share of it. [graphical thread]
#pragma once

#include "qttharlentest.h"

void showCommands(qtTharlenTest& window);
/// Ends the forces and warns while the stylus is in the ink well.
void watchInkwell(qtTharlenTest& window);
void closeInkwellWarning(qtTharlenTest& window);
