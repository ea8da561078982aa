// Figures of every model line. They are chosen for this simulation so that the tests of a line fit
// together; tests/simulator/tst_armfigures.cpp names each tie. Inertia follows from the wanted acceleration
// per DAC count b (counts/tick^2 at 1 kHz): inertia = countsPerRad * torquePerDac * 1e-6 / b.
#include "lines.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace arm {
namespace {

using Style = CalibrationStyle;

// Angle and count zero coincide: upper arm level and towards the operator, forearm straight down.
// Joint 1 (yaw) turns towards the operator's left, joint 2 lifts the upper arm, joint 3 swings the forearm
// towards the operator; both are measured against the base, as the linkage drives them from there.

constexpr HeatFigures kSmallMotor = {25.0, 30.0, 200.0, 3.0, 4.0, 85.0, 110.0, 70.0};
constexpr HeatFigures kLargeMotor = {40.0, 60.0, 400.0, 2.0, 2.5, 90.0, 120.0, 75.0};

// Passive gimbal joints: the last column is N m.
constexpr AxisFigures passive(double countsPerRad, int halfTravel) {
    return {countsPerRad, 1, -halfTravel, halfTravel, 1, 0.0, 2e-5, 4e-5, 4e-4};
}
// Gimbal joints with motors: the last column is DAC counts.
constexpr AxisFigures driven(int halfTravel) { return {1600.0, 1, -halfTravel, halfTravel, 1, 4.0, 6e-5, 4e-4, 220.0}; }

// Revisions 2 to 7 carry a comb of three flags on X and Y. Those of Y lie where the routes of the endurance run, which
// move two axes at one speed, pass no edge of two axes at once. The forearm's flag mirrors with its encoder.
constexpr AxisFlags kCombX = {3, 0, {{-1100, -700}, {-300, 300}, {700, 1100}}};
constexpr AxisFlags kCombY = {3, 0, {{-8000, -7600}, {-7200, -6600}, {-6200, -5800}}};
constexpr AxisFlags kSingleX = {1, 1, {{-300, 300}}};
constexpr AxisFlags kSingleY = {1, 1, {{-7200, -6600}}};
constexpr AxisFlags kForearm = {1, 0, {{-3300, -2700}}};
constexpr AxisFlags kForearmMirrored = {1, 0, {{2700, 3300}}};
constexpr HomeFlags kFlags = {{kSingleX, kSingleY, kForearm}, {kCombX, kCombY, kForearm}};
constexpr HomeFlags kFlagsMirrored = {{kSingleX, kSingleY, kForearmMirrored}, {kCombX, kCombY, kForearmMirrored}};

// A row: word, model string, model type, card (0: any other), high force, six degrees of freedom, second
// switch, calibration, ink-well reading when docked, home flags; links, origin up and out in mm, DAC counts per mN m of
// motor torque, give in counts; base axes; gimbal axes; nominal stiffness N/mm, damping N s/mm, greatest and continuous
// force N, and the four of the torques (N mm/rad, N mm s/rad, N mm, N mm); rest, ink-well and reset pose in rad; heat
// of a motor.
// Axis columns: counts/rad, encoder sign, stop low, stop high, parity, reduction, inertia kg m^2,
// viscous N m s/rad, dry friction in DAC counts, and the shares of the two that a negative command meets, if not 1.
// clang-format off
constexpr LineFigures kLines[] = {
    {"Orda", "THARLEN Orda", kModelOrda, kCardUsb, false, false, 1, Style::InkWell, 0, nullptr,
     135.0, 135.0, -33.0, 187.9, 513.708, 1.65,
     {{2760.0, -1, -2450, 2380, 1, 14.0, 2.01e-4, 5.1e-3, 820.0, 0.97, 0.96},
      {2430.0, -1, -3900, 560, 1, 10.5, 5.59e-4, 2.7e-3, 820.0, 1.04, 1.05},
      {2035.0, 1, -1000, 2730, -1, 10.5, 4.29e-4, 2.7e-3, 820.0, 1.04, 1.05}},
     {passive(810.0, 2047), passive(810.0, 919), passive(810.0, 2047)},
     0.5, 0.002, 3.3, 0.9, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kSmallMotor},

    {"Orda", "THARLEN Orda", kModelOrda, 0, false, false, 1, Style::InkWell, 0, nullptr,
     135.0, 135.0, -33.0, 187.9, 513.708, 1.65,
     {{2760.0, -1, -2450, 2380, 1, 14.0, 2.01e-4, 5.1e-3, 820.0, 0.97, 0.96},
      {2430.0, -1, -3850, 200, 1, 10.5, 5.59e-4, 2.7e-3, 820.0, 1.04, 1.05},
      {2035.0, 1, -1000, 2730, -1, 10.5, 4.29e-4, 2.7e-3, 820.0, 1.04, 1.05}},
     {passive(740.0, 1865), passive(694.0, 788), passive(625.0, 1575)},
     0.5, 0.002, 3.3, 0.9, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kSmallMotor},

    {"Orda", "THARLEN Orda", kModelOrda, kCardUsb, true, false, 1, Style::InkWell, 0, nullptr,
     135.0, 135.0, -33.0, 187.9, 513.708, 1.65,
     {{2760.0, -1, -2450, 2380, 1, 26.0, 3.73e-4, 9.3e-3, 820.0, 0.97, 0.96},
      {2430.0, -1, -3900, 560, 1, 20.0, 1.064e-3, 5.0e-3, 820.0, 1.04, 1.05},
      {2035.0, 1, -1000, 2730, -1, 20.0, 8.18e-4, 5.0e-3, 820.0, 1.04, 1.05}},
     {passive(810.0, 2047), passive(810.0, 919), passive(810.0, 2047)},
     0.9, 0.003, 6.2, 1.75, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kSmallMotor},

    {"Corvale", "THARLEN Corvale", kModelCorvale, kCardUsb, false, false, 0, Style::HomeSensors, 0, &kFlagsMirrored,
     140.0, 140.0, -34.5, 194.9, 340.0, 1.85,
     {{10830.0, -1, -9450, 9450, 1, 28.0, 3.64e-5, 1.4e-2, 130.0},
      {9590.0, -1, -15900, 800, 1, 28.0, 3.22e-5, 7.2e-3, 130.0},
      {6410.0, 1, -2850, 8950, -1, 28.0, 2.16e-5, 7.2e-3, 130.0}},
     {passive(780.0, 1995), passive(810.0, 945), passive(780.0, 1995)},
     0.8, 0.003, 8.0, 2.4, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kSmallMotor},

    {"Corvale", "THARLEN Corvale", kModelCorvale, 0, false, false, 0, Style::HomeSensors, 0, &kFlags,
     140.0, 140.0, -34.5, 194.9, 340.0, 1.85,
     {{10830.0, -1, -9450, 9450, 1, 28.0, 1.138e-4, 1.4e-2, 150.0},
      {9590.0, -1, -15900, 800, 1, 28.0, 1.007e-4, 7.2e-3, 150.0},
      {6410.0, -1, -8950, 2850, 1, 28.0, 6.73e-5, 7.2e-3, 150.0}},
     {passive(780.0, 1995), passive(810.0, 945), passive(780.0, 1995)},
     0.8, 0.003, 8.0, 2.4, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kSmallMotor},

    {"Nolva", "Nolva", kModelNolva, 0, false, false, 1, Style::InkWell, 1, nullptr,
     140.0, 140.0, -34.5, 194.9, 513.708, 1.85,
     {{3036.0, -1, -2650, 2650, 1, 18.0, 3.0e-4, 1.1e-2, 900.0},
      {1400.0, -1, -2300, 450, 1, 14.0, 6.0e-4, 5.6e-3, 900.0},
      {1800.0, 1, -100, 2450, -1, 14.0, 5.0e-4, 5.6e-3, 900.0}},
     {passive(726.0, 1840), passive(1040.0, 1180), passive(726.0, 1840)},
     0.6, 0.002, 4.0, 1.1, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kSmallMotor},

    {"Stelmar 1.0", "THARLEN Stelmar 1.0", 1, 0, false, false, 0, Style::ResetPose, 0, nullptr,
     170.0, 170.0, -41.9, 236.7, 114.3565, 1.85,
     {{8000.0, -1, -8500, 8500, 1, 9.5, 2.4e-3, 3.0e-2, 260.0},
      {7000.0, -1, -11000, 2000, 1, 9.5, 1.9e-3, 1.6e-2, 260.0},
      {7000.0, 1, -2500, 9500, -1, 9.5, 1.7e-3, 1.6e-2, 260.0}},
     {passive(780.0, 1900), passive(780.0, 900), passive(780.0, 1900)},
     0.8, 0.004, 8.5, 1.6, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kLargeMotor},

    {"Stelmar 1.5", "THARLEN Stelmar 1.5", 2, 0, false, false, 0, Style::ResetPose, 0, nullptr,
     215.0, 215.0, -53.0, 299.4, 114.3565, 1.85,
     {{8000.0, -1, -8500, 8500, 1, 12.0, 4.5e-3, 4.2e-2, 260.0},
      {7000.0, -1, -11000, 2000, 1, 12.0, 3.2e-3, 2.2e-2, 260.0},
      {7000.0, 1, -2500, 9500, -1, 12.0, 2.9e-3, 2.2e-2, 260.0}},
     {passive(780.0, 1900), passive(780.0, 900), passive(780.0, 1900)},
     0.7, 0.004, 8.5, 1.5, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kLargeMotor},

    {"Stelmar 1.5", "THARLEN Stelmar 1.5", 2, 0, true, false, 0, Style::ResetPose, 0, nullptr,
     215.0, 215.0, -53.0, 299.4, 114.3565, 1.85,
     {{8000.0, -1, -8500, 8500, 1, 28.0, 1.2e-2, 4.8e-2, 260.0},
      {7000.0, -1, -11000, 2000, 1, 28.0, 9.0e-3, 2.5e-2, 260.0},
      {7000.0, 1, -2500, 9500, -1, 28.0, 8.0e-3, 2.5e-2, 260.0}},
     {passive(780.0, 1900), passive(780.0, 900), passive(780.0, 1900)},
     0.8, 0.004, 20.0, 6.2, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kLargeMotor},

    {"Stelmar 3.0", "THARLEN Stelmar 3.0", 6, 0, false, false, 0, Style::ResetPose, 0, nullptr,
     340.0, 330.0, -75.7, 467.7, 41.610157, 1.85,
     {{12000.0, -1, -12500, 12500, 1, 16.0, 2.6e-2, 1.3e-1, 240.0},
      {10000.0, -1, -15500, 2800, 1, 16.0, 2.0e-2, 7.5e-2, 240.0},
      {10000.0, 1, -3500, 13500, -1, 16.0, 1.8e-2, 7.5e-2, 240.0}},
     {passive(780.0, 1900), passive(780.0, 900), passive(780.0, 1900)},
     1.0, 0.005, 22.0, 3.0, 0, 0, 0, 0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kLargeMotor},

    {"Stelmar 1.5 6DOF", "THARLEN Stelmar 1.5 6DOF", kModelSixDof, 0, false, true, 0, Style::ResetPose, 0, nullptr,
     215.0, 215.0, -53.0, 299.4, 114.3565, 1.85,
     {{8000.0, -1, -8500, 8500, 1, 12.0, 4.5e-3, 4.2e-2, 260.0},
      {7000.0, -1, -11000, 2000, 1, 12.0, 3.2e-3, 2.2e-2, 260.0},
      {7000.0, 1, -2500, 9500, -1, 12.0, 2.9e-3, 2.2e-2, 260.0}},
     {driven(3900), driven(1850), driven(3900)},
     0.7, 0.004, 8.5, 1.5, 1000.0, 4.0, 188.0, 48.0,
     {0.0, 0.61, 0.61}, {0.0, 1.22, 0.17}, {0, 0, 0, 0, 0, 0}, kLargeMotor},
};
// clang-format on

}  // namespace

double LineFigures::angleLow(int i) const {
    const AxisFigures& a = axis(i);
    return (a.encoderSign > 0 ? a.stopLow : -a.stopHigh) / a.countsPerRad;
}

double LineFigures::angleHigh(int i) const {
    const AxisFigures& a = axis(i);
    return (a.encoderSign > 0 ? a.stopHigh : -a.stopLow) / a.countsPerRad;
}

double LineFigures::frictionTorque(int i, double way) const {
    const AxisFigures& a = axis(i);
    const double forwards = a.reduction > 0.0 ? a.dryFriction * torquePerDac(i) : a.dryFriction;
    return forward(i, way) ? forwards : forwards * a.backFriction;
}

AxisFlags homeFlags(const LineFigures& line, int hardwareRevision, int axis) {
    if (!line.flags)
        return {};
    return hasManyFlags(hardwareRevision) ? line.flags->comb[axis] : line.flags->usual[axis];
}

int lineCount() { return static_cast<int>(std::size(kLines)); }

const LineFigures& lineAt(int index) { return kLines[index]; }

const LineFigures* findLine(const std::string& word, int cardType, bool highForce) {
    const LineFigures* any = nullptr;
    for (const LineFigures& line : kLines) {
        if (word != line.word || line.highForce != highForce)
            continue;
        if (line.cardType == cardType)
            return &line;
        if (line.cardType == 0)
            any = &line;
    }
    return any;
}

}  // namespace arm
