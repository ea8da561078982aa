// Where the endpoint and the stylus are for given joint angles, and how they move with them.
#pragma once

#include <Eigen/Core>

#include "lines.h"

namespace arm {

using Vector3 = Eigen::Vector3d;
using Vector6 = Eigen::Matrix<double, 6, 1>;
using Matrix3 = Eigen::Matrix3d;
using Matrix6 = Eigen::Matrix<double, 6, 6>;

/// Endpoint from the origin of positions, mm: x right, y up, z towards the operator. Angles in rad.
Vector3 endpoint(const LineFigures& line, const Vector6& joints);

/// Row i is joint i: columns x, y, z of the endpoint (mm/rad), then rotations about x, y, z (rad/rad).
Matrix6 jacobian(const LineFigures& line, const Vector6& joints);

/// Translation rows of the same for the base joints, endpoint axis by joint, m/rad.
Matrix3 baseJacobian(const LineFigures& line, const Vector6& joints);

/// Orientation of the stylus: at angle zero of all joints x is right, y up, and z, from its tip to its
/// back, towards the operator.
Matrix3 stylusRotation(const Vector6& joints);

}  // namespace arm
