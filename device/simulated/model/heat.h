// Motor temperatures: two thermal nodes a motor, winding and stator, heated by the current that flows.
#pragma once

#include "kinematics.h"

namespace arm {

class Heat {
public:
    /// All motors at the temperature of the air.
    void cool();
    /// `dac` is the command that really drives each motor (counts, amplifiers on), `seconds` the time, any
    /// length. `motors` is 3 or 6.
    void advance(const HeatFigures& figures, const Vector6& dac, int motors, double seconds);

    Vector6 winding = Vector6::Constant(kAmbient);  ///< degrees Celsius
    Vector6 stator = Vector6::Constant(kAmbient);
};

/// Temperature in parts of the warm limit: exactly 1 there.
double normalisedTemperature(const HeatFigures& figures, double celsius);

}  // namespace arm
