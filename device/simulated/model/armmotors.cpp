// Motors and amplifiers of the arm.
#include <Eigen/LU>
#include <algorithm>
#include <cmath>

#include "arm.h"

namespace arm {
namespace {

constexpr double kFollow = 0.0025;            // s until the amplifiers have followed
constexpr double kOverdue = 0.020;            // s after which they will not
constexpr double kSlipDac = 0.42 * kFullDac;  // counts above which a slipping cable gives way

/// What a motor gives of its command, by its faults.
double motorShare(const FaultSet& faults, int axis) {
    double share = faults.on(Fault::ReversedMotor, axis) ? -1.0 : 1.0;
    if (faults.on(Fault::WeakMotor, axis))
        share *= faults.amount(Fault::WeakMotor);
    return share;
}

}  // namespace

int Arm::deviceFault() const { return faults.on(Fault::Amplifier) || hot_ || faults.on(Fault::Unplugged) ? 1 : 0; }

int Arm::switchAmplifiers(bool on) {
    if (faults.on(Fault::Unplugged))
        return device.noAnswer();
    if (on && deviceFault())
        return kDeviceFault;
    if (wanted_ != on)
        followIn_ = kFollow;
    wanted_ = on;
    return 0;
}

bool Arm::amplifiersEnabled() const { return wanted_ && (powered_ || !faults.on(Fault::NoAmplifierFollow)); }

void Arm::followAmplifiers(double seconds) {
    if (wanted_ == powered_)
        return;
    followIn_ -= seconds;
    if (followIn_ <= 0.0)
        amplifiersFollowAtOnce();
}

bool Arm::amplifiersOverdue() const { return wanted_ && !powered_ && followIn_ < kFollow - kOverdue; }

void Arm::amplifiersFollowAtOnce() {
    if (!wanted_ || !faults.on(Fault::NoAmplifierFollow))
        powered_ = wanted_;
}

void Arm::trip() { wanted_ = powered_ = false; }

int Arm::commandDac(const Vector6& dac) {
    bool beyond = false;
    for (int i = 0; i < kAxes; ++i) {
        double count = std::isfinite(dac[i]) ? dac[i] : 0.0;
        beyond |= !std::isfinite(dac[i]);
        if (i < line->motors())
            beyond |= count > kFullDac || count < kDacLeast;
        else
            count = 0.0;
        dac_[i] = std::clamp(count, -kFullDac, kFullDac);
    }
    return beyond ? kMaxForceExceeded : 0;
}

int Arm::commandForce(const Vector6& wanted) {
    if (!wanted.allFinite()) {
        dac_.setZero();
        return kMaxForceExceeded;
    }
    Vector6 force = wanted;
    if (!line->sixDof)
        force.tail<3>().setZero();
    bool beyond = false;
    const auto limit = [&beyond](auto part, double most) {
        const double size = part.norm();
        // A force that was set to the limit in single precision is within it.
        if (size > most * (1.0 + 1e-6)) {
            part *= most / size;
            beyond = true;
        }
    };
    limit(force.head<3>(), line->maxForce);
    limit(force.tail<3>(), line->maxTorque);
    const Vector6 torque = jacobian(*line, angles()) * force / 1000.0;  // N m
    Vector6 dac = Vector6::Zero();
    for (int i = 0; i < line->motors(); ++i)
        dac[i] = line->motorSign(i) * torque[i] / line->torquePerDac(i);
    const int status = commandDac(dac);
    return beyond ? kMaxForceExceeded : status;
}

Vector6 Arm::motorTorques() const {
    Vector6 torque = Vector6::Zero();
    if (!powered_)
        return torque;
    for (int i = 0; i < kAxes; ++i)
        torque[i] = dac_[i] * line->torquePerDac(i) * line->motorSign(i) * motorShare(faults, i);
    return torque;
}

double Arm::slippingCounts(int axis, double seconds) const {
    if (!powered_ || std::abs(dac_[axis]) <= kSlipDac || !faults.on(Fault::SlippingCapstan, axis))
        return 0.0;
    // The encoder sits on the motor and goes on the way the command drives it.
    const double way = -line->axis(axis).parity * std::copysign(1.0, dac_[axis]);
    return way * faults.amount(Fault::SlippingCapstan) * seconds;
}

int Arm::setThreshold(int kind, const float celsius[kAxes]) {
    if (kind != kShutdownTemperature && kind != kCooldownTemperature)
        return -1;
    for (int i = 0; i < kAxes; ++i)
        if (!(celsius[i] >= 0.0f && celsius[i] <= 1000.0f))
            return -1;
    for (int i = 0; i < kAxes; ++i)
        (kind == kShutdownTemperature ? shutdown : cooldown)[i] = celsius[i];
    return 0;
}

Vector3 Arm::motorForce() const {
    const Matrix3 j = baseJacobian(*line, motion.angle).transpose();
    Matrix3 inverse;
    bool invertible = false;
    j.computeInverseWithCheck(inverse, invertible, 1e-7);
    return invertible ? Vector3(inverse * motorTorques().head<3>()) : Vector3(Vector3::Zero());
}

}  // namespace arm
