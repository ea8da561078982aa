// Two-node heat network of a motor; copper loss goes with the square of the current.
#include "heat.h"

namespace arm {

void Heat::cool() {
    winding.setConstant(kAmbient);
    stator.setConstant(kAmbient);
}

void Heat::advance(const HeatFigures& f, const Vector6& dac, int motors, double seconds) {
    // Backward Euler: the pace of heat can make one tick longer than either time constant.
    const double toStator = seconds / f.windingToStator;
    const double toAir = seconds / f.statorToAir;
    const double a = f.windingCapacity + toStator;
    const double d = f.statorCapacity + toStator + toAir;
    const double determinant = a * d - toStator * toStator;
    for (int i = 0; i < motors; ++i) {
        const double share = dac[i] / kFullDac;
        const double r0 = f.windingCapacity * winding[i] + seconds * f.fullPower * share * share;
        const double r1 = f.statorCapacity * stator[i] + toAir * kAmbient;
        winding[i] = (r0 * d + toStator * r1) / determinant;
        stator[i] = (r1 * a + toStator * r0) / determinant;
    }
}

double normalisedTemperature(const HeatFigures& figures, double celsius) { return celsius / figures.warmLimit; }

}  // namespace arm
