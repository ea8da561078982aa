// Figures of the hand: stiff enough to hold a pose within a count or two against an axis's friction, and
// damped well above what a wall of 1 N/mm needs at 1 kHz (stiffness times period over two, 0.5 N s/m).
#include "hand.h"

#include <algorithm>
#include <cmath>

namespace arm {
namespace {

constexpr double kMass = 0.15;            // kg of the hand that moves with the stylus
constexpr double kStiffness = 1500.0;     // N/m
constexpr double kDamping = 40.0;         // N s/m
constexpr double kFirmGrip = 25.0;        // N of strength that has these three figures; less has them in proportion
constexpr double kJointStiffness = 60.0;  // N m/rad
constexpr double kGimbalStiffness = 0.5;  // N m/rad
constexpr double kGimbalInertia = 2e-4;   // kg m^2
constexpr double kGimbalTorque = 0.012;   // N m of a wrist for each newton of the hand's strength
constexpr double kGimbalSpeed = 3.0;      // rad/s
constexpr double kUsualSpeed = 1.5;       // rad/s
constexpr double kPress = 0.01;           // rad past a stop that a sweep goes on pressing
constexpr double kGimbalPress = 0.05;
constexpr double kDwell = 0.1;       // s that a sweep rests on a stop
constexpr double kArrived = 0.004;   // rad
constexpr double kWellForce = 6.0;   // N that the ink well holds
constexpr double kWellDepth = 0.05;  // rad: farther off, the stylus is out of the well

Vector6 withGimbal(const double (&base)[kBase], const Vector6& gimbal) {
    Vector6 pose = gimbal;
    for (int i = 0; i < kBase; ++i)
        pose[i] = base[i];
    return pose;
}

double baseError(const Vector6& a, const Vector6& b) { return (a - b).head<3>().cwiseAbs().maxCoeff(); }

}  // namespace

void Hand::point(const Vector3& target, const Vector3& from, double speed, const Motion& motion) {
    if (mode_ == Mode::Away || mode_ == Mode::Docked)
        jointGoal_.tail<3>() = jointWanted_.tail<3>() = motion.angle.tail<3>();
    mode_ = Mode::Point;
    pointGoal_ = target;
    pointWanted_ = speed > 0.0 ? from : target;
    pointSpeed_ = speed;
}

void Hand::beginJoints(Mode mode, const Vector6& goal, double speed, const Motion& motion) {
    if (mode_ == Mode::Away || mode_ == Mode::Point || mode_ == Mode::Docked)
        jointWanted_ = motion.angle;
    mode_ = mode;
    jointGoal_ = goal;
    jointSpeed_ = speed;
    dwell_ = 0.0;
}

void Hand::joints(const Vector6& goal, double speed, const Motion& motion) {
    beginJoints(Mode::Joints, goal, speed, motion);
}

void Hand::sweep(int axis, double speed, const Motion& motion) {
    beginJoints(Mode::Sweep, motion.angle, speed, motion);
    jointWanted_ = motion.angle;
    sweepAxis_ = axis;
    sweepStage_ = 0;
    sweepBack_ = motion.angle[axis];
}

void Hand::dock(const LineFigures& line, const Motion& motion) {
    if (mode_ == Mode::Docked)
        return;
    beginJoints(Mode::Docking, withGimbal(line.dockPose, motion.angle), kUsualSpeed, motion);
}

void Hand::undock(const LineFigures& line, const Motion& motion) {
    beginJoints(Mode::Undocking, withGimbal(line.restPose, motion.angle), kUsualSpeed, motion);
}

void Hand::gimbal(const Vector3& angles, const Motion& motion) {
    if (mode_ == Mode::Away)
        joints(motion.angle, kUsualSpeed, motion);
    jointGoal_.tail<3>() = angles;
}

Vector3 Hand::target(const LineFigures& line) const {
    return mode_ == Mode::Point ? pointWanted_ : endpoint(line, jointWanted_);
}

void Hand::nextOfSweep(const Wear& wear, double seconds) {
    const double press = sweepAxis_ < kBase ? kPress : kGimbalPress;
    const double goals[3] = {wear.low[sweepAxis_] - press, wear.high[sweepAxis_] + press, sweepBack_};
    jointGoal_[sweepAxis_] = goals[sweepStage_];
    if (jointWanted_[sweepAxis_] != jointGoal_[sweepAxis_])
        return;
    dwell_ += seconds;
    if (dwell_ < kDwell)
        return;
    dwell_ = 0.0;
    if (++sweepStage_ == 3)
        mode_ = Mode::Joints;
}

void Hand::advance(const Wear& wear, const Motion& motion, double seconds) {
    if (mode_ == Mode::Away)
        return;
    if (mode_ == Mode::Docked && baseError(motion.angle, jointGoal_) > kWellDepth) {
        mode_ = Mode::Away;
        return;
    }
    if (mode_ == Mode::Sweep)
        nextOfSweep(wear, seconds);
    if (mode_ == Mode::Point) {
        const Vector3 way = pointGoal_ - pointWanted_;
        const double step = pointSpeed_ * seconds;
        pointWanted_ =
            pointSpeed_ <= 0.0 || way.norm() <= step ? pointGoal_ : Vector3(pointWanted_ + way.normalized() * step);
    }
    const bool allJoints = mode_ == Mode::Joints || mode_ == Mode::Sweep;
    for (int i = mode_ == Mode::Point || mode_ == Mode::Docked ? kBase : 0; i < kAxes; ++i) {
        const double speed = i < kBase || allJoints ? jointSpeed_ : kGimbalSpeed;
        const double way = jointGoal_[i] - jointWanted_[i];
        jointWanted_[i] =
            std::abs(way) <= speed * seconds ? jointGoal_[i] : jointWanted_[i] + std::copysign(speed * seconds, way);
    }
    const bool arrived = baseError(jointWanted_, jointGoal_) == 0.0 && baseError(motion.angle, jointGoal_) < kArrived;
    if (mode_ == Mode::Docking && arrived)
        mode_ = Mode::Docked;
    else if (mode_ == Mode::Undocking && arrived)
        point(Vector3::Zero(), Vector3::Zero(), 0.0, motion);
}

void Hand::pullPoint(const LineFigures& line, const Motion& motion, Pull& pull) {
    const Vector3 velocity = baseJacobian(line, motion.angle) * motion.speed.head<3>();
    const double grip = std::min(1.0, strength / kFirmGrip);
    const Vector3 spring = (pointWanted_ - endpoint(line, motion.angle)) * (grip * kStiffness / 1000.0);
    pull.mass = grip * kMass;
    pull.damping = std::min(grip * kDamping, strength / std::max(velocity.norm(), 1e-6));
    const double size = spring.norm();
    if (size > strength) {
        pull.force = spring * (strength / size);
    } else {
        pull.force = spring;
        pull.stiffness = grip * kStiffness;
    }
    force_ = std::min((pull.force - pull.damping * velocity).norm(), strength);
}

void Hand::pullJoints(const LineFigures& line, const Motion& motion, int first, Pull& pull) {
    const double lever = line.upperArm / 1000.0;
    const double newtons = mode_ == Mode::Docked ? kWellForce : strength;
    for (int i = first; i < kAxes; ++i) {
        const bool base = i < kBase;
        const double stiffness = base ? kJointStiffness : kGimbalStiffness;
        const double limit = newtons * (base ? lever : kGimbalTorque);
        pull.jointInertia[i] = base ? kMass * lever * lever : kGimbalInertia;
        pull.jointDamping[i] = 1.6 * std::sqrt(stiffness * pull.jointInertia[i]);
        const double spring = stiffness * (jointWanted_[i] - motion.angle[i]);
        pull.torque[i] = std::clamp(spring, -limit, limit);
        if (pull.torque[i] == spring)
            pull.jointStiffness[i] = stiffness;
        if (base)
            force_ = std::max(force_, std::abs(pull.torque[i]) / lever);
    }
}

Pull Hand::pull(const LineFigures& line, const Motion& motion) {
    Pull pull;
    force_ = 0.0;
    if (mode_ == Mode::Away)
        return pull;
    if (mode_ == Mode::Point)
        pullPoint(line, motion, pull);
    pullJoints(line, motion, mode_ == Mode::Point ? kBase : 0, pull);
    return pull;
}

}  // namespace arm
