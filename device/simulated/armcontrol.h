// Control of the simulated arm, for programs in the same process. Programs beside it send the same
// commands as JSON lines over a Unix socket (docs/arm-control.md).
//
// The words: hand (a person at the stylus), fleet (the configured devices), fault (what is broken),
// heat (motor temperatures), loop (the servo loop). One arm is open at a time; what is set here holds
// for the arm that is open and for the next one, until resetArm().
//
// What each may be told is in armwords.h. Every function may be called on any thread. Those that return a
// string return an empty one when the command was taken, else a sentence that says why not, and then
// nothing was changed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "armwords.h"

namespace armcontrol {

// --- Hand --------------------------------------------------------------------------------------

/// Grips the stylus and pulls the endpoint to `position` (mm) with a spring and damper of limited
/// force. The gimbal keeps the angles of handGimbal().
std::string handMove(const Vec3& position);
/// The same along a straight line, at `speed` mm/s, from where the endpoint is now.
std::string handDrag(const Vec3& position, double speed);
/// Grips and holds joint angles (rad), each pulled there at `speed` rad/s. Angles past a stop press on it.
std::string handJoints(const Vec6& angles, double speed);
/// Moves one joint (0 to 5) from stop to stop and back to where it was, `speed` rad/s, once.
std::string handSweep(int axis, double speed);
/// Turns the gimbal to these angles (rad).
std::string handGimbal(const Vec3& angles);
/// Lets go of the stylus.
std::string handRelease();
/// Puts the stylus into the ink well and leaves it there; handUndock() takes it out to the origin.
std::string handDock();
std::string handUndock();
/// Holds the arm in its reset pose.
std::string handReset();
/// Greatest force of the hand, N. Below 25 N, the usual one, a hand at a point is also softer, damps less
/// and is lighter, in proportion: a light touch.
std::string handStrength(double newtons);
/// Presses or releases stylus button 0 or 1.
std::string handSwitch(int button, bool pressed);
/// A hand on the presence sensor or none; holding the stylus sets it too.
std::string handPresence(bool present);
/// Closes the grip: 0 open, 1 closed.
std::string handPinch(double closed);

// --- Fleet -------------------------------------------------------------------------------------

/// Names of the configured devices, in order; where they came from ("built in" or a file's path).
std::vector<std::string> fleetNames();
std::string fleetSource();

// --- Fault -------------------------------------------------------------------------------------

/// What can be wrong. `axis` is 0 to 5, or -1 for all; `amount` is in the unit of the table in
/// docs/arm-control.md, 1 by default. Names are those of faultNames(), as "unplugged".
std::string setFault(const std::string& name, bool on, int axis = -1, double amount = 1.0);
std::string clearFaults();
std::vector<std::string> faultNames();
/// Those of them that are manners of the library: what any library may do, and no defect.
std::vector<std::string> mannerNames();

// --- Heat --------------------------------------------------------------------------------------

/// Sets winding and stator temperature (degrees Celsius) of a motor (0 to 5, -1 for all).
std::string heatSet(int motor, double winding, double stator);
/// Heat runs this many times faster than time.
std::string heatPace(double factor);

// --- Loop --------------------------------------------------------------------------------------

/// Stepped: no thread, the loop moves by step() alone. To be set while no loop runs and no device is
/// open; a fresh process runs on a thread.
std::string loopStepped(bool stepped);
/// Runs `ticks` ticks of the stepped loop on the calling thread; callbacks only while the servo loop
/// has been started, physics always. Returns the ticks run.
long step(long ticks);
/// Ticks of the threaded loop by wake-up lateness since loopClearLateness(): place i counts those that came i to
/// i + 1 microseconds late, the last place all that were later.
std::vector<std::uint64_t> loopLateness();
void loopClearLateness();
/// Simulated time since the library was loaded, s.
double armTime();
/// The same in whole milliseconds, rounded: a clock for who steps the loop.
std::int64_t armMilliseconds();

// --- State -------------------------------------------------------------------------------------

/// One consistent picture of the arm.
State state();

/// Back to a fresh library: device closed, loop destroyed, hand away, no faults, cold, on a thread.
void resetArm();

/// One JSON command (as over the socket), its JSON answer.
std::string command(const std::string& line);

}  // namespace armcontrol
