// What the limit records hold that is read, chosen for the simulated arm of the line (device/simulated): its travel,
// its flags and its dry friction. A real line's figures belong to its own documentation. Every other field is read by
// nothing and stays zero: to move another verdict, change the constants of its test.
#include <cstdlib>

#include "QtTharlenTest/tharlenDefines.h"
#include "modellines.h"

CONFIG_DATA_CORVALE corvaleLimits() {
    CONFIG_DATA_CORVALE limits{};
    // "Read Encoder": what a sweep has to reach, counts from the calibrated zero.
    limits.axrlBaseRanges[0] = {-9000, 9000};
    limits.axrlBaseRanges[1] = {-15600, 300};
    limits.axrlBaseRanges[2] = {-8600, 2600};
    limits.axrlStylusRanges[0] = {-1900, 1900};
    limits.axrlStylusRanges[1] = {-900, 900};
    limits.axrlStylusRanges[2] = {-1900, 1900};
    // "Calibration Details": widths, counts. Three flags and two gaps on X and Y, one flag on Z.
    limits.axswlWidthLimits[0] =
        limits.axswlWidthLimits[1] = {{{300, 500}, {500, 700}, {300, 500}}, {{300, 500}, {300, 500}}};
    limits.axswlWidthLimits[2] = {{{400, 800}, {400, 800}, {400, 800}}, {{300, 500}, {300, 500}}};
    limits.nWallTransitions = 3;  // goes to the scene's m_PopThruRequirement, which decides nothing
    return limits;
}

CONFIG_DATA_PIRKA pirkaLimits() { return {}; }

CONFIG_DATA_LODRIN lodrinLimits() {
    CONFIG_DATA_LODRIN limits{};
    // "Test Friction", an Orda: a healthy axis breaks loose at 0.025 V; from 1.6 times that it fails, up to 16 times it
    // is still measured. An axis creeps by some counts before it breaks loose and runs on by some until it is seen to
    // move: at 7 counts, and at 6 of the heavier links, the two keep the figure within 5 % of the friction. Both are
    // above the 5 that count as still.
    limits.vvFrictionMaxVoltage = {{0.4f, 0.4f, 0.4f}};
    limits.axtlFriction[0] = {7, 0.0001f, 0.04f};
    limits.axtlFriction[1] = limits.axtlFriction[2] = {6, 0.0001f, 0.04f};
    // "Test Capstan", an Orda: the push is stronger than the drive to the stops (0.2 to 0.35 V) and than what a slack
    // cable holds (0.42 V). The stops are met again within a count, so that 8 counts, 0.2 degrees, are slip.
    limits.vvCapstanMaxVoltage = {{0.5f, 0.5f, 0.5f}};
    limits.nCapstanTimeAtMax = 2000;
    for (AXIS_CAPSTAN_LIMITS& axis : limits.axclCapstan) {
        axis.nEncoderChange = 8;
        axis.fDamping = 0.0005f;
    }
    limits.nWallTransitions = 3;  // as above
    return limits;
}

AxisCounts leastTravel(const CONFIG_DATA_COMMON& limits) {
    AxisCounts least{};
    for (std::size_t i = 0; i < 3; ++i) {
        least[i] = std::labs(limits.axrlBaseRanges[i].lStart) + std::labs(limits.axrlBaseRanges[i].lEnd);
        least[i + 3] = limits.axrlStylusRanges[i].lEnd - limits.axrlStylusRanges[i].lStart;
    }
    return least;
}
