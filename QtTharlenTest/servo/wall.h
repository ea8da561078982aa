// The spring of a haptic wall, shared by the box and the passivity cube. [S]
#pragma once

#include "handover.h"

/// Spring force on one axis, N, of walls at plus and minus `wall` (mm) with `gain` N/mm and no damping; `position`
/// (mm) is held at the wall it is past. Exactly at a wall there is no force. The difference and the product are
/// taken in double and stored as float.
inline float holdAtWall(double wall, double gain, Shared<float>& position) {
    const double where = position;
    if (where > wall) {
        position = static_cast<float>(wall);
        return static_cast<float>((wall - where) * gain);
    }
    if (where < -wall) {
        position = static_cast<float>(-wall);
        return static_cast<float>((-wall - where) * gain);
    }
    return 0.0f;
}
