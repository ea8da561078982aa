// Joint dynamics: inertia, viscous and dry friction with true sticking, soft end stops, and the pull of a
// hand, integrated with backward Euler so that no figure of a line can make it unstable.
#pragma once

#include <array>

#include "kinematics.h"

namespace arm {

constexpr double kSubstep = 0.00025;       // s, the longest
constexpr double kStopGive = 1.0 / 700.0;  // rad by which full command of its motor presses into an end stop
constexpr double kStopStiffness = 400.0;   // N m/rad of an end stop of a joint without a motor

/// Angles (rad) and speeds (rad/s) of the six joints, and the share (-1 to 1) of its dry friction that each exerts.
struct Motion {
    Vector6 angle = Vector6::Zero();
    Vector6 speed = Vector6::Zero();
    Vector6 strain = Vector6::Zero();
};

/// What wear and faults have made of the line's figures.
struct Wear {
    std::array<double, kAxes> frictionFactor{1, 1, 1, 1, 1, 1};
    Vector6 low = Vector6::Zero();  ///< stops, rad
    Vector6 high = Vector6::Zero();
};

/// Pull of a hand on the endpoint and on the joints, for one substep. All of it is linear in the motion,
/// so that the integration can take it implicitly.
struct Pull {
    double mass = 0.0;                         ///< kg moving with the endpoint
    double damping = 0.0;                      ///< N s/m at the endpoint
    double stiffness = 0.0;                    ///< N/m at the endpoint; 0 while the force is at its limit
    Vector3 force = Vector3::Zero();           ///< N at the endpoint, of the spring
    Vector6 jointInertia = Vector6::Zero();    ///< kg m^2
    Vector6 jointDamping = Vector6::Zero();    ///< N m s/rad
    Vector6 jointStiffness = Vector6::Zero();  ///< N m/rad
    Vector6 torque = Vector6::Zero();          ///< N m, of the joint springs
};

/// Moves the joints by `h` seconds (at most kSubstep) under motor torques (N m) and a pull.
void advance(const LineFigures& line, const Wear& wear, const Vector6& motorTorque, const Pull& pull, double h,
             Motion& motion);

}  // namespace arm
