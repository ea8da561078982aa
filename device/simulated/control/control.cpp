// Functions of armcontrol.h: check, then act on the arm under its lock.
#include <cmath>
#include <sstream>

#include "boundary.h"
#include "device/simulated/rig.h"

namespace armcontrol {
namespace {

using arm::Arm;
using arm::rig;

/// Why a figure is none that the field takes, or empty. `unit` follows the greatest.
std::string refusal(const armwords::Field& field, double value, const char* unit = "") {
    const bool above = field.kind == armwords::Field::Kind::Positive;
    if (value >= field.low && value <= field.high && !(above && value == field.low))
        return "";
    std::ostringstream text;  // which, unlike printf, writes a number the same in any locale
    text << field.name << (above ? ": must be above " : ": must lie between ") << field.low
         << (above ? " and at most " : " and ") << field.high << unit;
    return text.str();
}

/// The same for several, of which any may be wrong; `sentence` says what each has to be.
template <typename Array>
std::string refusal(const armwords::Field& field, const Array& values, const std::string& sentence) {
    for (const double value : values)
        if (!refusal(field, value).empty())
            return std::string(field.name) + ": " + sentence;
    return "";
}

std::string farOff(const Vec3& position) {
    std::ostringstream sentence;
    sentence << "each coordinate must lie within " << armwords::kPosition.high << " mm";
    return refusal(armwords::kPosition, position, sentence.str());
}

constexpr char kFullTurn[] = "each must lie within a full turn, in rad";

/// The first reason of several.
std::string either(const std::string& one, const std::string& other) { return one.empty() ? other : one; }

/// Runs `f` on the arm once it has a line to stand on, unless `why` tells against it; "" or the reason why not.
template <typename F>
std::string onArm(const std::string& why, F f) {
    if (!why.empty())
        return why;
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
    s.motors = a.line->motors();
    s.buttons = a.device.gimbal ? 1 + a.line->secondSwitch : 0;
    s.inkWell = a.line->calibration == arm::CalibrationStyle::InkWell;
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
    return onArm(farOff(position), [&](Arm& a) {
        a.hand.point(vector(position), vector(position), 0.0, a.motion);
        return "";
    });
}

std::string handDrag(const Vec3& position, double speed) {
    return onArm(either(farOff(position), refusal(armwords::kDragSpeed, speed, " mm/s")), [&](Arm& a) {
        a.hand.point(vector(position), arm::endpoint(*a.line, a.motion.angle), speed, a.motion);
        return "";
    });
}

std::string handJoints(const Vec6& angles, double speed) {
    const std::string why =
        either(refusal(armwords::kJointAngles, angles, kFullTurn), refusal(armwords::kTurnSpeed, speed, " rad/s"));
    return onArm(why, [&](Arm& a) {
        arm::Vector6 goal;
        for (std::size_t i = 0; i < angles.size(); ++i)
            goal[static_cast<int>(i)] = angles[i];
        a.hand.joints(goal, speed, a.motion);
        return "";
    });
}

std::string handSweep(int axis, double speed) {
    return onArm(either(refusal(armwords::kAxis, axis), refusal(armwords::kTurnSpeed, speed, " rad/s")), [&](Arm& a) {
        a.hand.sweep(axis, speed, a.motion);
        return "";
    });
}

std::string handGimbal(const Vec3& angles) {
    return onArm(refusal(armwords::kGimbalAngles, angles, kFullTurn), [&](Arm& a) {
        a.hand.gimbal(vector(angles), a.motion);
        return "";
    });
}

std::string handRelease() {
    return onArm("", [](Arm& a) {
        a.hand.release();
        return "";
    });
}

std::string handDock() {
    return onArm("", [](Arm& a) {
        if (a.line->calibration != arm::CalibrationStyle::InkWell)
            return "this device has no ink well";
        a.hand.dock(*a.line, a.motion);
        return "";
    });
}

std::string handUndock() {
    return onArm("", [](Arm& a) {
        a.hand.undock(*a.line, a.motion);
        return "";
    });
}

std::string handReset() {
    return onArm("", [](Arm& a) {
        arm::Vector6 goal;
        for (int i = 0; i < arm::kAxes; ++i)
            goal[i] = a.line->resetPose[i];
        a.hand.joints(goal, 1.5, a.motion);
        return "";
    });
}

std::string handStrength(double newtons) {
    const std::string why = refusal(armwords::kStrength, newtons);
    if (why.empty())
        rig().withArm([&](Arm& a) { a.hand.strength = newtons; });
    return why;
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
    const std::string why = refusal(armwords::kClosed, closed);
    if (why.empty())
        rig().withArm([&](Arm& a) { a.pinch = closed; });
    return why;
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
    constexpr char kCelsius[] = " degrees Celsius";
    const std::string why =
        either(refusal(armwords::kMotor, motor),
               either(refusal(armwords::kWinding, winding, kCelsius), refusal(armwords::kStator, stator, kCelsius)));
    return onArm(why, [&](Arm& a) {
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
    const std::string why = refusal(armwords::kHeatPace, factor);
    if (why.empty())
        rig().withArm([&](Arm& a) { a.heatPace = factor; });
    return why;
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
        s.heatPace = a.heatPace;
        s.faults = a.faults.names();
    });
    return s;
}

void resetArm() {
    if (!arm::Loop::onServoThread())
        rig().reset();
}

}  // namespace armcontrol
