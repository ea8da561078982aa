// Backward Euler on the joint speeds. Dry friction is that of rolling contacts: F u, whose strain u follows
//   du/dt = (v - |v| u) / g
// over the travel g by which they give way. Slow loads below F strain it elastically, and the joint stands still;
// none above F is held. Taken at the end of the substep it grows with v, so that each substep has one solution,
// found by solving one joint after the other. The links are taken as balanced, so that gravity has no part.
#include "dynamics.h"

#include <algorithm>
#include <cmath>

namespace arm {
namespace {

constexpr int kSweeps = 60;        // of the three coupled base joints; they end early when nothing moves
constexpr double kSettled = 1e-9;  // rad/s
constexpr double kStill = 1e-8;    // rad/s; the torque that it hides is a millionth of the friction

/// Adds the end stop of one joint to its diagonal and right-hand side. A stop pushes and never pulls.
void addStop(double angle, double speed, double low, double high, double stiffness, double mass, double h,
             double& diagonal, double& right) {
    const double depth = angle < low ? angle - low : angle > high ? angle - high : 0.0;
    if (depth == 0.0)
        return;
    diagonal += h * h * stiffness;
    right -= h * stiffness * depth;
    if (depth * speed > 0.0)
        diagonal += h * 1.4 * std::sqrt(stiffness * mass);
}

/// Dry friction of a joint in one substep.
struct Friction {
    double impulse;  ///< N m s at full strain
    double strain;   ///< at the start
    double give;     ///< rad
};

Friction frictionOf(const LineFigures& line, const Wear& wear, const Motion& motion, int joint, double h) {
    const double strain = motion.strain[joint];
    const double way = strain != 0.0 ? strain : motion.speed[joint];
    return {h * line.frictionTorque(joint, way) * wear.frictionFactor[joint], strain,
            line.give / line.axis(joint).countsPerRad};
}

/// Damping of contacts that have not broken loose, N m s/rad: a load that comes at once hardly swings the joint.
double contactDamping(const Friction& f, double mass, double h) {
    const double loose = std::abs(f.strain);
    return 0.6 * std::sqrt(mass * f.impulse / (h * f.give)) * (1.0 - loose) * (1.0 - loose);
}

/// Speed v with diagonal v + impulse u(v) = balance, u(v) = (strain give + h v) / (give + h |v|): the root of a
/// quadratic on the side to which the balance pulls. A speed that hardly shows in a day is none.
double slide(double balance, const Friction& f, double diagonal, double h) {
    const double pull = balance - f.impulse * f.strain;
    const double way = pull < 0.0 ? -1.0 : 1.0, size = balance * way;
    const double a = diagonal * h, b = diagonal * f.give - size * h + f.impulse * h, c = std::abs(pull) * f.give;
    const double root = std::sqrt(b * b + 4.0 * a * c);
    const double speed = b > 0.0 ? 2.0 * c / (b + root) : (root - b) / (2.0 * a);
    return speed < kStill ? 0.0 : way * speed;
}

}  // namespace

void advance(const LineFigures& line, const Wear& wear, const Vector6& motorTorque, const Pull& pull, double h,
             Motion& motion) {
    Vector6 diagonal, right;
    Friction friction[kAxes];
    for (int i = 0; i < kAxes; ++i) {
        const AxisFigures& a = line.axis(i);
        const double mass = a.inertia + pull.jointInertia[i];
        const double viscous = line.viscosity(i, motion.speed[i]);
        diagonal[i] = mass + h * (viscous + pull.jointDamping[i]) + h * h * pull.jointStiffness[i];
        right[i] = mass * motion.speed[i] + h * (motorTorque[i] + pull.torque[i]);
        friction[i] = frictionOf(line, wear, motion, i, h);
        diagonal[i] += h * contactDamping(friction[i], mass, h);
        const double stop = a.reduction > 0.0 ? kFullDac * line.torquePerDac(i) / kStopGive : kStopStiffness;
        addStop(motion.angle[i], motion.speed[i], wear.low[i], wear.high[i], stop, mass, h, diagonal[i], right[i]);
    }
    for (int i = kBase; i < kAxes; ++i)
        motion.speed[i] = slide(right[i], friction[i], diagonal[i], h);

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
                const double speed = slide(balance, friction[i], a(i, i), h);
                change = std::max(change, std::abs(speed - motion.speed[i]));
                motion.speed[i] = speed;
            }
            if (change < kSettled)
                break;
        }
    } else {
        for (int i = 0; i < kBase; ++i)
            motion.speed[i] = slide(right[i], friction[i], diagonal[i], h);
    }
    motion.angle += h * motion.speed;
    for (int i = 0; i < kAxes; ++i) {
        const double travel = h * motion.speed[i];
        motion.strain[i] = (friction[i].strain * friction[i].give + travel) / (friction[i].give + std::abs(travel));
    }
}

}  // namespace arm
