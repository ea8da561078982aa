// What branches of a tick share. [servo thread]
#pragma once

#include "qttharlentest.h"

/// Turns the amplifiers on, unless the window has switched off since the tick began. 0, or an error code.
int tickEnablesForces(qtTharlenTest& window, int id);
/// Leaves three forces as they are, or makes them zero where one of them or the limit is no finite number: false.
bool dropUnlessFinite(qtTharlenTest& window, float* force, float limit);
/// The closed-loop encoder test.
void encoderTestBranch(qtTharlenTest& window, int id);
