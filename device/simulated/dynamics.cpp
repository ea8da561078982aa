// Backward Euler on the joint speeds. Dry friction makes each substep the minimum of a convex function,
//   1/2 v'Av - r'v + h sum F_i |v_i|,
// found by descending one joint after the other: a joint whose balance stays below its friction has exactly
// zero speed, which is true sticking. The links are taken as balanced, so that gravity has no part.
#include "dynamics.h"

#include <algorithm>
#include <cmath>

namespace arm {
namespace {

constexpr int kSweeps = 60;        // of the three coupled base joints; they end early when nothing moves
constexpr double kSettled = 1e-9;  // rad/s

/// Adds the end stop of one joint to its diagonal and right-hand side. A stop pushes and never pulls.
void addStop(double angle, double speed, double low, double high, double mass, double h, double& diagonal,
             double& right) {
    const double depth = angle < low ? angle - low : angle > high ? angle - high : 0.0;
    if (depth == 0.0)
        return;
    diagonal += h * h * kStopStiffness;
    right -= h * kStopStiffness * depth;
    if (depth * speed > 0.0)
        diagonal += h * 1.4 * std::sqrt(kStopStiffness * mass);
}

double stickOrSlide(double balance, double friction, double diagonal) {
    if (std::abs(balance) <= friction)
        return 0.0;
    return (balance - std::copysign(friction, balance)) / diagonal;
}

}  // namespace

void advance(const LineFigures& line, const Wear& wear, const Vector6& motorTorque, const Pull& pull, double h,
             Motion& motion) {
    Vector6 diagonal, right, friction;
    for (int i = 0; i < kAxes; ++i) {
        const AxisFigures& a = line.axis(i);
        const double mass = a.inertia + pull.jointInertia[i];
        diagonal[i] = mass + h * (a.viscous + pull.jointDamping[i]) + h * h * pull.jointStiffness[i];
        right[i] = mass * motion.speed[i] + h * (motorTorque[i] + pull.torque[i]);
        friction[i] = h * line.frictionTorque(i) * wear.frictionFactor[i];
        addStop(motion.angle[i], motion.speed[i], wear.low[i], wear.high[i], mass, h, diagonal[i], right[i]);
    }
    for (int i = kBase; i < kAxes; ++i)
        motion.speed[i] = stickOrSlide(right[i], friction[i], diagonal[i]);

    if (pull.mass > 0.0) {
        const Matrix3 j = baseJacobian(line, motion.angle);
        const Matrix3 shared = j.transpose() * j;
        Matrix3 a = shared * (pull.mass + h * pull.damping + h * h * pull.stiffness);
        a.diagonal() += diagonal.head<3>();
        const Vector3 r =
            right.head<3>() + pull.mass * (shared * motion.speed.head<3>()) + h * (j.transpose() * pull.force);
        for (int sweep = 0; sweep < kSweeps; ++sweep) {
            double change = 0.0;
            for (int i = 0; i < kBase; ++i) {
                const double balance = r[i] - a.row(i).dot(motion.speed.head<3>()) + a(i, i) * motion.speed[i];
                const double speed = stickOrSlide(balance, friction[i], a(i, i));
                change = std::max(change, std::abs(speed - motion.speed[i]));
                motion.speed[i] = speed;
            }
            if (change < kSettled)
                break;
        }
    } else {
        for (int i = 0; i < kBase; ++i)
            motion.speed[i] = stickOrSlide(right[i], friction[i], diagonal[i]);
    }
    motion.angle += h * motion.speed;
}

}  // namespace arm
