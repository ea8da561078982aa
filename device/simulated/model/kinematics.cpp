// The linkage: yaw, an upper arm, and a forearm whose angle the parallel links hold against the base.
#include "kinematics.h"

#include <Eigen/Geometry>
#include <cmath>

namespace arm {
namespace {

Matrix3 turn(double angle, const Vector3& axis) { return Eigen::AngleAxisd(angle, axis).toRotationMatrix(); }

Matrix3 forearmRotation(const Vector6& q) { return turn(-q[0], Vector3::UnitY()) * turn(-q[2], Vector3::UnitX()); }

}  // namespace

Vector3 endpoint(const LineFigures& line, const Vector6& q) {
    const double reach = line.upperArm * std::cos(q[1]) + line.forearm * std::sin(q[2]);
    const double height = line.upperArm * std::sin(q[1]) - line.forearm * std::cos(q[2]);
    return {-reach * std::sin(q[0]), height - line.originY, reach * std::cos(q[0]) - line.originZ};
}

Matrix3 baseJacobian(const LineFigures& line, const Vector6& q) {
    const double s1 = std::sin(q[0]), c1 = std::cos(q[0]);
    const double s2 = std::sin(q[1]), c2 = std::cos(q[1]);
    const double s3 = std::sin(q[2]), c3 = std::cos(q[2]);
    const double l1 = line.upperArm / 1000.0, l2 = line.forearm / 1000.0;
    const double reach = l1 * c2 + l2 * s3;
    Matrix3 j;
    // clang-format off
    j << -reach * c1, l1 * s2 * s1, -l2 * c3 * s1,
         0.0, l1 * c2, l2 * s3,
         -reach * s1, -l1 * s2 * c1, l2 * c3 * c1;
    // clang-format on
    return j;
}

Matrix6 jacobian(const LineFigures& line, const Vector6& q) {
    Matrix6 j = Matrix6::Zero();
    j.block<3, 3>(0, 0) = baseJacobian(line, q).transpose() * 1000.0;
    const Matrix3 yaw = turn(-q[0], Vector3::UnitY());
    const Matrix3 fore = forearmRotation(q);
    const Matrix3 first = fore * turn(q[3], Vector3::UnitY());
    const Matrix3 second = first * turn(-q[4], Vector3::UnitX());
    // The upper arm alone turns nothing at the endpoint: the links keep the forearm's direction.
    j.block<1, 3>(0, 3) = -Vector3::UnitY().transpose();
    j.block<1, 3>(2, 3) = -yaw.col(0).transpose();
    j.block<1, 3>(3, 3) = fore.col(1).transpose();
    j.block<1, 3>(4, 3) = -first.col(0).transpose();
    j.block<1, 3>(5, 3) = -second.col(2).transpose();
    return j;
}

Matrix3 stylusRotation(const Vector6& q) {
    return forearmRotation(q) * turn(q[3], Vector3::UnitY()) * turn(-q[4], Vector3::UnitX())
           * turn(-q[5], Vector3::UnitZ());
}

}  // namespace arm
