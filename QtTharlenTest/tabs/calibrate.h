// What the files of "Calibrate" and others share of it. [graphical thread]
#pragma once

#include "qttharlentest.h"

/// Resets the device in its reset pose and tells the operator how it went. True when it went well.
bool resetCalibration(qtTharlenTest& window);
void preparePinchCalibration(qtTharlenTest& window);
/// Alt+P: takes an end of a grip's travel, where a grip waits for it.
void pressPinchByKey(qtTharlenTest& window);
/// The next press takes the first end again.
void forgetPinchPresses();
