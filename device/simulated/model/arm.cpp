// Placing a device, and one tick of it: hand, joints, encoders, heat, protection.
#include "arm.h"

#include <algorithm>
#include <cmath>

namespace arm {

Arm::Arm() {
    calibration.discard = [this] { discardCalibration(); };
}

void Arm::place(const FleetDevice& next, const Offsets* filed, bool bad) {
    const bool same = line && device.serial == next.serial && line == next.line;
    device = next;
    line = next.line;
    if (!same)
        stand();
    applyWear();
    slipped_.setZero();
    drifted_.setZero();
    dead_ = {};
    speed_.setZero();
    dac_.setZero();
    hot_ = same && hot_;  // opening cools nothing down
    wanted_ = powered_ = tooFast_ = false;
    velocityCheck_ = true;
    resting_ = 0.0;
    fileDue_ = false;

    Memory& kept = memory();
    if (filed) {
        kept.calibrated = true;
        kept.offsets = *filed;
    } else if (bad) {
        kept.calibrated = false;
    }
    powerUp();
    for (int i = 0; i < kBase; ++i)
        home_[i].configure(homeFlags(*line, device.revision, i));
    readEncoders(0.0);
    speed_.setZero();
    refreshImage();
}

void Arm::stand() {
    motion = Motion();
    for (int i = 0; i < kBase; ++i)
        motion.angle[i] = line->restPose[i];
    heat.cool();
    shutdown.setConstant(line->heat.shutdown);
    cooldown.setConstant(line->heat.cooldown);
    // A hand that stays pulls from where the new arm stands.
    if (hand.mode() != Hand::Mode::Point)
        hand.release();
}

void Arm::reset() {
    memories_.clear();
    hand = Hand();
    faults.clear();
    heatPace = 1.0;
    presenceSet = false;
    pinch = 0.0;
    pressed_ = {};
    device = FleetDevice();
    line = nullptr;
    motion = Motion();
    heat.cool();
    wanted_ = powered_ = hot_ = tooFast_ = fileDue_ = false;
    dac_ = Vector6::Zero();
    time = 0.0;
    changedAt_ = {-1e9, -1e9};
    calibrated_ = false;
}

void Arm::tick(double seconds) {
    time += seconds;
    if (!line)
        return;
    applyWear();
    hand.advance(wear, motion, seconds);
    const Vector6 torque = motorTorques();
    const int substeps = std::max(1, static_cast<int>(std::ceil(seconds / kSubstep - 1e-9)));
    for (int i = 0; i < substeps; ++i)
        substep(seconds / substeps, torque);
    readEncoders(seconds);
    restInWell(seconds);
    warm(seconds);
    followAmplifiers(seconds);
    protect();
    refreshImage();
}

void Arm::applyWear() {
    const double sticky = faults.amount(Fault::StickyBearing);
    const double lost = faults.amount(Fault::ShortTravel);
    for (int i = 0; i < kAxes; ++i) {
        wear.frictionFactor[i] = faults.on(Fault::StickyBearing, i) ? sticky : 1.0;
        const double low = line->angleLow(i), high = line->angleHigh(i);
        const double margin = faults.on(Fault::ShortTravel, i) ? 0.5 * lost * (high - low) : 0.0;
        wear.low[i] = low + margin;
        wear.high[i] = high - margin;
    }
    for (int i = 0; i < kBase; ++i)
        home_[i].bend(faults.on(Fault::WideFlag, i) ? faults.amount(Fault::WideFlag) : 0.0,
                      faults.on(Fault::NarrowGap, i) ? faults.amount(Fault::NarrowGap) : 0.0);
}

void Arm::substep(double h, const Vector6& torque) {
    const Pull pull = hand.pull(*line, motion);
    advance(*line, wear, torque, pull, h, motion);
    for (int i = 0; i < kBase; ++i)
        slipped_[i] += slippingCounts(i, h);
    watchHome(h);
}

void Arm::warm(double seconds) {
    const Vector6 flowing = powered_ ? dac_ : Vector6(Vector6::Zero());
    heat.advance(line->heat, flowing, line->motors(), seconds * heatPace);
    for (int i = 0; i < line->motors(); ++i)
        if (faults.on(Fault::Hot, i))
            heat.winding[i] = faults.amount(Fault::Hot);
}

void Arm::protect() {
    bool over = false, cool = true;
    for (int i = 0; i < line->motors(); ++i) {
        if (shutdown[i] <= 0.0)
            continue;
        over |= heat.winding[i] >= shutdown[i];
        cool &= heat.winding[i] < std::min(shutdown[i], cooldown[i]);
    }
    hot_ = over || (hot_ && !cool);

    bool fast = velocity().norm() > kSpeedLimit;
    for (int i = 0; i < kBase; ++i) {
        axisTooFast_[i] = std::abs(speed_[i]) > kAxisSpeedLimit || faults.on(Fault::Overspeed, i);
        fast |= axisTooFast_[i];
    }
    tooFast_ = fast && velocityCheck_;
    if (hot_ || tooFast_ || faults.on(Fault::Amplifier) || faults.on(Fault::Unplugged))
        trip();
}

int Arm::status() const {
    if (faults.on(Fault::Unplugged))
        return device.noAnswer();
    if (faults.on(Fault::Status))
        return static_cast<int>(faults.amount(Fault::Status));
    if (faults.on(Fault::Amplifier))
        return kDeviceFault;
    if (tooFast_)
        return kMaxVelocityExceeded;
    const double warmest = heat.winding.head(line->motors()).maxCoeff();
    return hot_ || normalisedTemperature(line->heat, warmest) >= 1.0 ? kMotorsWarm : 0;
}

}  // namespace arm
