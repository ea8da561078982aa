#include "torquestoforce.h"

math::matrix<float> transformTorquesToForce(const double currentJacobian[6][6], const float* currentTorques) {
    math::matrix<float> mTorques(6, 1);
    for (int i = 0; i < 6; ++i)
        mTorques(i, 0) = currentTorques[i];

    // Not transposed, in spite of the name, and meant: a row of the device's Jacobian is a joint, so it already
    // turns a force at the endpoint into joint torques.
    float transposeJacobian[6][6];
    for (int i = 0; i < 6; ++i) {
        for (int j = 0; j < 6; ++j)
            transposeJacobian[i][j] = static_cast<float>(currentJacobian[i][j]);
    }

    math::matrix<float> mJacobian(6, 6);
    for (int i = 0; i < 6; ++i) {
        for (int j = 0; j < 6; ++j)
            mJacobian(i, j) = transposeJacobian[i][j];
    }
    math::matrix<float> mForces = mJacobian.Inv() * mTorques;
    return mForces;
}
