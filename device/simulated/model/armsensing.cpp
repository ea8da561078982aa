// Encoders, switches and the register image of the arm.
#include <algorithm>
#include <cmath>

#include "arm.h"

namespace arm {
namespace {

constexpr double kSpeedFilter = 0.003;   // s, of the speeds by the encoders
constexpr double kBouncePeriod = 0.006;  // s

template <typename T, typename V>
void store(T& field, V value) {
    __atomic_store_n(&field, static_cast<T>(value), __ATOMIC_RELAXED);
}

}  // namespace

double Arm::reading(int axis) const {
    const AxisFigures& a = line->axis(axis);
    if (axis >= kBase && !device.gimbal)
        return 0.0;
    return a.encoderSign * a.countsPerRad * motion.angle[axis] + slipped_[axis] + drifted_[axis];
}

void Arm::readEncoders(double seconds) {
    if (faults.on(Fault::Unplugged)) {
        speed_.setZero();
        return;
    }
    for (int i = 0; i < kAxes; ++i) {
        if (faults.on(Fault::DriftingEncoder, i))
            drifted_[i] += faults.amount(Fault::DriftingEncoder) * seconds / 60.0;
        dead_[i] = faults.on(Fault::DeadEncoder, i);
        const double before = counted_[i];
        if (!dead_[i] || seconds == 0.0)
            counted_[i] = reading(i);
        if (seconds == 0.0)
            continue;
        const AxisFigures& a = line->axis(i);
        const double speed = (counted_[i] - before) / (a.encoderSign * a.countsPerRad * seconds);
        speed_[i] += (speed - speed_[i]) * seconds / (kSpeedFilter + seconds);
    }
}

long Arm::encoder(int axis) const { return counter(axis) + (axis < kBase ? offsets_[axis] : 0); }

Vector6 Arm::angles() const {
    Vector6 angles;
    for (int i = 0; i < kAxes; ++i)
        angles[i] = encoder(i) / (line->axis(i).encoderSign * line->axis(i).countsPerRad);
    return angles;
}

Vector6 Arm::speeds() const { return speed_; }

Vector3 Arm::position() const { return endpoint(*line, angles()); }

Vector3 Arm::velocity() const { return baseJacobian(*line, angles()) * speed_.head<3>() * 1000.0; }

int Arm::stylusSwitch(int button) const {
    if (button < 0 || button > line->secondSwitch || !device.gimbal)
        return 0;
    if (faults.on(Fault::StuckSwitch, button))
        return faults.amount(Fault::StuckSwitch) != 0.0 ? 1 : 0;
    const double since = time - changedAt_[button];
    const bool bounces =
        faults.on(Fault::BouncingSwitch, button) && since < faults.amount(Fault::BouncingSwitch) / 1000.0;
    const bool turned = bounces && std::fmod(since, kBouncePeriod) >= kBouncePeriod / 2;
    return pressed_[button] != turned ? 1 : 0;
}

void Arm::pressSwitch(int button, bool pressed) {
    if (pressed_[button] != pressed)
        changedAt_[button] = time;
    pressed_[button] = pressed;
}

int Arm::inkwellSwitch() const {
    if (line->calibration != CalibrationStyle::InkWell)
        return 0;
    return hand.docked() ? line->dockedReading : 1 - line->dockedReading;
}

double Arm::pinchReading() const {
    if (device.grip == 0)
        return 0.0;
    // A thumbpad reads high when closed, a scissor low.
    const double closed = device.grip == 1 ? pinch : 1.0 - pinch;
    return 120.0 + 780.0 * closed;
}

void Arm::refreshImage() {
    if (faults.on(Fault::Unplugged))
        return;
    PORT_INPUT& image = connection.m_portInput;
    store(image.usQuad0, counter(0));
    store(image.usQuad1, counter(1));
    store(image.usQuad2, counter(2));
    store(image.usPot0, std::lround(pinchReading()));
    store(image.usPot1, 0);
    store(image.usPot2, 0);
    store(image.ucTimerCnt, ++timer_);
    store(image.ucWatchdogCntrIn, ++watchdog_);
    unsigned misc = kWatchdogJumper | kWatchdogGood;
    unsigned errors = static_cast<unsigned>(device.revision) & kRevisionMask;
    for (int i = 0; i < kBase; ++i) {
        if (home_[i].active() && !faults.on(Fault::MissingFlag, i))
            misc |= kHomeSensor[i];
        if (axisTooFast_[i])
            errors |= kOverspeed[i];
    }
    if (faults.on(Fault::Amplifier))
        misc |= kOvercurrent;
    store(image.ucMiscIn, misc);
    store(image.ucSpeedErrs, errors);
    store(image.usSwitch1, stylusSwitch(0));
    store(image.usSwitch2, stylusSwitch(1));
    store(image.usCalibSwitch, inkwellSwitch());
}

}  // namespace arm
