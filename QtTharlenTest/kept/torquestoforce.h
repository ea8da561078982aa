// From what the joints carry to what the stylus feels.
#pragma once

#include "matrix.h"

/// The force (N) and torque (N mm) at the endpoint that six joint torques (N mm) hold up, 6 by 1. `currentJacobian`
/// is as get_tharlen_jacobian gives it (mm/rad), narrowed to float; `currentTorques` are six. Throws
/// math::matrix_error where the Jacobian is singular. Any thread.
math::matrix<float> transformTorquesToForce(const double currentJacobian[6][6], const float* currentTorques);
