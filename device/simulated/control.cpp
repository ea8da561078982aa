// Functions of armcontrol.h: check, then act on the arm under its lock.
#include <cmath>

#include "boundary.h"
#include "rig.h"

namespace armcontrol {
namespace {

using arm::Arm;
using arm::rig;

constexpr double kFarthest = 1000.0;      // mm that a hand reaches in any direction
constexpr double kFastest = 5000.0;       // mm/s
constexpr double kLargestAngle = 6.2832;  // rad
constexpr double kFastestTurn = 50.0;     // rad/s

bool within(double value, double low, double high) { return value >= low && value <= high; }

template <typename Array>
bool allWithin(const Array& values, double most) {
    for (double value : values)
        if (!within(value, -most, most))
            return false;
    return true;
}

/// Runs `f` on the arm once it has a line to stand on; "" or the reason why there is none.
template <typename F>
std::string onArm(F f) {
    rig().ensureArm();
    return rig().withArm([&](Arm& a) -> std::string {
        if (!a.line)
            return "there is no device in the fleet";
        return f(a);
    });
}

arm::Vector3 vector(const Vec3& v) { return {v[0], v[1], v[2]}; }

template <typename From>
Vec3 three(const From& v) {
    return {v[0], v[1], v[2]};
}

template <typename From>
Vec6 six(const From& v) {
    return {v[0], v[1], v[2], v[3], v[4], v[5]};
}

void copyDevice(const Arm& a, State& s) {
    s.name = a.device.name;
    s.model = a.line->modelString;
    s.serial = a.device.serial;
    s.modelType = a.line->modelType;
    s.cardType = a.device.cardType;
    s.grip = a.device.grip;
    s.gimbal = a.device.gimbal;
    s.highForce = a.line->highForce;
    s.warmLimit = a.line->heat.warmLimit;
    s.calibrationStatus = a.calibrationStatus();
}

void copyMotion(const Arm& a, State& s) {
    s.joints = six(a.motion.angle);
    for (int i = 0; i < arm::kAxes; ++i) {
        const auto place = static_cast<std::size_t>(i);
        s.encoders[place] = static_cast<double>(a.encoder(i));
        s.jointMin[place] = a.wear.low[i];
        s.jointMax[place] = a.wear.high[i];
    }
    s.position = three(arm::endpoint(*a.line, a.motion.angle));
    s.velocity = three(arm::Vector3(arm::baseJacobian(*a.line, a.motion.angle) * a.motion.speed.head<3>() * 1000.0));
    s.force = three(a.motorForce());
    s.handTarget = three(a.hand.target(*a.line));
}

}  // namespace

std::string handMove(const Vec3& position) {
    if (!allWithin(position, kFarthest))
        return "position: each coordinate must lie within 1000 mm";
    return onArm([&](Arm& a) {
        a.hand.point(vector(position), vector(position), 0.0, a.motion);
        return "";
    });
}

std::string handDrag(const Vec3& position, double speed) {
    if (!allWithin(position, kFarthest))
        return "position: each coordinate must lie within 1000 mm";
    if (!(speed > 0.0 && speed <= kFastest))
        return "speed: must be above 0 and at most 5000 mm/s";
    return onArm([&](Arm& a) {
        a.hand.point(vector(position), arm::endpoint(*a.line, a.motion.angle), speed, a.motion);
        return "";
    });
}

std::string handJoints(const Vec6& angles, double speed) {
    if (!allWithin(angles, kLargestAngle))
        return "angles: each must lie within a full turn, in rad";
    if (!(speed > 0.0 && speed <= kFastestTurn))
        return "speed: must be above 0 and at most 50 rad/s";
    return onArm([&](Arm& a) {
        arm::Vector6 goal;
        for (std::size_t i = 0; i < angles.size(); ++i)
            goal[static_cast<int>(i)] = angles[i];
        a.hand.joints(goal, speed, a.motion);
        return "";
    });
}

std::string handSweep(int axis, double speed) {
    if (axis < 0 || axis >= arm::kAxes)
        return "axis: must lie between 0 and 5";
    if (!(speed > 0.0 && speed <= kFastestTurn))
        return "speed: must be above 0 and at most 50 rad/s";
    return onArm([&](Arm& a) {
        a.hand.sweep(axis, speed, a.motion);
        return "";
    });
}

std::string handGimbal(const Vec3& angles) {
    if (!allWithin(angles, kLargestAngle))
        return "angles: each must lie within a full turn, in rad";
    return onArm([&](Arm& a) {
        a.hand.gimbal(vector(angles), a.motion);
        return "";
    });
}

std::string handRelease() {
    return onArm([](Arm& a) {
        a.hand.release();
        return "";
    });
}

std::string handDock() {
    return onArm([](Arm& a) {
        if (a.line->calibration != arm::CalibrationStyle::InkWell)
            return "this device has no ink well";
        a.hand.dock(*a.line, a.motion);
        return "";
    });
}

std::string handUndock() {
    return onArm([](Arm& a) {
        a.hand.undock(*a.line, a.motion);
        return "";
    });
}

std::string handReset() {
    return onArm([](Arm& a) {
        arm::Vector6 goal;
        for (int i = 0; i < arm::kAxes; ++i)
            goal[i] = a.line->resetPose[i];
        a.hand.joints(goal, 1.5, a.motion);
        return "";
    });
}

std::string handStrength(double newtons) {
    if (!within(newtons, 0.1, 200.0))
        return "newtons: must lie between 0.1 and 200";
    rig().withArm([&](Arm& a) { a.hand.strength = newtons; });
    return "";
}

std::string handSwitch(int button, bool pressed) {
    if (button != 0 && button != 1)
        return "button: must be 0 or 1";
    rig().withArm([&](Arm& a) { a.pressSwitch(button, pressed); });
    return "";
}

std::string handPresence(bool present) {
    rig().withArm([&](Arm& a) { a.presenceSet = present; });
    return "";
}

std::string handPinch(double closed) {
    if (!within(closed, 0.0, 1.0))
        return "closed: must lie between 0 and 1";
    rig().withArm([&](Arm& a) { a.pinch = closed; });
    return "";
}

std::vector<std::string> fleetNames() {
    std::vector<std::string> names;
    for (const arm::FleetDevice& device : rig().fleet().devices)
        names.push_back(device.name);
    return names;
}

std::string fleetSource() { return rig().fleet().source; }

std::string setFault(const std::string& name, bool on, int axis, double amount) {
    return rig().switchFault(name, on, axis, &amount);
}

std::string clearFaults() {
    rig().withArm([](Arm& a) { a.faults.clear(); });
    return "";
}

std::vector<std::string> faultNames() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < static_cast<std::size_t>(arm::Fault::Count); ++i)
        names.emplace_back(arm::faultFigures(static_cast<arm::Fault>(i)).name);
    return names;
}

std::vector<std::string> mannerNames() {
    std::vector<std::string> names;
    for (const std::string& name : faultNames())
        if (arm::isManner(arm::faultNamed(name)))
            names.push_back(name);
    return names;
}

std::string heatSet(int motor, double winding, double stator) {
    if (motor < -1 || motor >= arm::kAxes)
        return "motor: must lie between -1 and 5";
    if (!within(winding, -40.0, 400.0))
        return "winding: must lie between -40 and 400 degrees Celsius";
    if (!within(stator, -40.0, 400.0))
        return "stator: must lie between -40 and 400 degrees Celsius";
    return onArm([&](Arm& a) {
        for (int i = 0; i < arm::kAxes; ++i) {
            if (motor >= 0 && motor != i)
                continue;
            a.heat.winding[i] = winding;
            a.heat.stator[i] = stator;
        }
        return "";
    });
}

std::string heatPace(double factor) {
    if (!within(factor, 1.0, 10000.0))
        return "factor: must lie between 1 and 10000";
    rig().withArm([&](Arm& a) { a.heatPace = factor; });
    return "";
}

std::string loopStepped(bool stepped) { return rig().setStepped(stepped); }

long step(long ticks) { return rig().loop.step(ticks); }

std::vector<std::uint64_t> loopLateness() { return rig().loop.lateness(); }

void loopClearLateness() { rig().loop.clearLateness(); }

double armTime() {
    return rig().withArm([](Arm& a) { return a.time; });
}

std::int64_t armMilliseconds() { return std::llround(armTime() * 1000.0); }

State state() {
    State s;
    const arm::Loop& loop = rig().loop;
    s.loopRunning = loop.running();
    s.rate = loop.rate();
    s.measuredRate = loop.measuredRate();
    s.ticks = loop.ticks();
    s.lateTicks = loop.lateTicks();
    s.realTime = loop.realTime();
    rig().withArm([&s](Arm& a) {
        s.open = rig().openId() >= 0;
        if (s.open)
            copyDevice(a, s);
        if (a.line)
            copyMotion(a, s);
        s.dac = six(a.dac());
        s.amplifiers = a.amplifiersPowered();
        s.holding = a.hand.holding();
        s.docked = a.hand.docked();
        s.presence = a.presence();
        s.handForce = a.hand.force();
        s.switches = {a.switchPressed(0), a.switchPressed(1)};
        s.pinch = a.pinch;
        s.strength = a.hand.strength;
        s.winding = six(a.heat.winding);
        s.stator = six(a.heat.stator);
        s.faults = a.faults.names();
    });
    return s;
}

void resetArm() {
    if (!arm::Loop::onServoThread())
        rig().reset();
}

}  // namespace armcontrol
