// Steps that the friction and the capstan test share. [graphical thread]
#pragma once

#include "qttharlentest.h"

/// Clears all that both tests start from.
void clearMove(qtTharlenTest& window);
/// Counts the step as still where each of `encoders` (3) is within 5 counts of the last, and keeps them. True
/// once 500 steps in a row were still.
bool isArmStill(qtTharlenTest& window, const long* encoders);
/// Appends what there is to say beside the verdicts of a run: what was seen of the device, else the axes (of 3)
/// that did not move and what follows from it.
void appendNote(QTextBrowser* box, const RunSeen& seen, const bool (&unmoved)[3], const char* consequence);
