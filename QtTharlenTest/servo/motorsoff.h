// What ends motor activity, and starts and stops the loop, from the graphical thread: no tick under way turns the
// amplifiers on again.
#pragma once

#include "qttharlentest.h"

/// Ends all that drives motors: flags, commands, the machines behind them, and what is typed or slid. Amplifiers are
/// left to the caller.
void endMotorActivity(qtTharlenTest& window);
/// Ends it, turns the forces off and tells what the library threw; the window goes on.
void surviveException(qtTharlenTest& window, const QString& text);
void forcesOff(qtTharlenTest& window);
void forcesOffNoWait(qtTharlenTest& window);
/// The amplifier test, without its pending switches.
void endCyclingAmps(qtTharlenTest& window);
/// A pending switch of the amplifier test, made during that opening of a device.
void shootAmplifiers(qtTharlenTest& window, int opening, bool on);

/// 0, or the library's status.
int startLoop(qtTharlenTest& window);
void restartLoop(qtTharlenTest& window);
void stopLoop(qtTharlenTest& window);
/// Four looks a second: says once that the loop stands still, or goes on, and what no motor was given.
void watchLoop(qtTharlenTest& window);
/// Flags down, forces off, loop stopped, forces off once more, device closed.
void shutDownDevice(qtTharlenTest& window) noexcept;
/// A loop without a device: no tick may reach a window that is gone.
void stopStrayLoop(qtTharlenTest& window) noexcept;
