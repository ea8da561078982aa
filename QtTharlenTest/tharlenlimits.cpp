// The limits of each model line, chosen for the simulated arm of that line (device/simulated): its travel,
// its flags and its dry friction. A real line's figures belong to its own documentation.
//
// Read are: nWallTransitions (box test), the friction and capstan fields of m_cdLodrin, both ranges of
// m_cdCorvale and of m_cdLodrin, and the width limits of m_cdCorvale. The ...CanFail flags are read by nothing.
#include "tharlenDefines.h"

namespace {

constexpr CONFIG_DATA_COMMON kCorvale = {
    // Base and stylus ranges, counts from the calibrated zero: what a sweep has to reach.
    {{-9000, 9000}, {-15600, 300}, {-8600, 2600}},
    {{-1900, 1900}, {-900, 900}, {-1900, 1900}},
    4, 4, true,   // switch and presence transitions
    4, true,      // amplifier transitions
    {{-0.2f, 0.2f}, {-0.2f, 0.2f}, {-0.2f, 0.2f}}, true,   // forces, V
    {{0.05f, 0.05f, 0.05f}},                               // friction: highest voltage, V
    {{20, 0.0001f, 0.02f}, {20, 0.0001f, 0.02f}, {20, 0.0001f, 0.02f}}, true,
    {{0.3f, 0.3f, 0.3f}},                                  // capstan: highest voltage, V
    {{8, 0.0f, 0.0005f}, {8, 0.0f, 0.0005f}, {8, 0.0f, 0.0005f}}, 2000, true,
    {0.7f, 0.7f, 0.7f}, 3, 3, true,                        // box: stiffness, break-outs, ticks
};

constexpr CONFIG_DATA_COMMON kPirka = {
    {{-2300, 2300}, {-3800, 100}, {-800, 2600}},
    {{-1700, 1700}, {-700, 700}, {-1500, 1500}},
    4, 4, true,
    4, true,
    {{-0.6f, 0.6f}, {-0.6f, 0.6f}, {-0.6f, 0.6f}}, true,
    {{0.2f, 0.2f, 0.2f}},
    {{20, 0.0001f, 0.08f}, {20, 0.0001f, 0.08f}, {20, 0.0001f, 0.08f}}, true,
    {{0.5f, 0.5f, 0.5f}},
    {{8, 0.0f, 0.0005f}, {8, 0.0f, 0.0005f}, {8, 0.0f, 0.0005f}}, 2000, true,
    {1.0f, 1.0f, 1.0f}, 3, 3, true,
};

constexpr CONFIG_DATA_COMMON kLodrin = {
    {{-2250, 2250}, {-3750, 100}, {-800, 2700}},
    {{-1775, 1775}, {-750, 750}, {-1500, 1500}},
    4, 4, true,
    4, true,
    {{-0.6f, 0.6f}, {-0.6f, 0.6f}, {-0.6f, 0.6f}}, true,
    // Friction: a healthy axis breaks loose at 0.025 V; from 1.6 times that it fails, up to 16 times it is still
    // measured. An axis creeps by some counts before it breaks loose and runs on by some until it is seen to move:
    // at 7 counts, and at 6 of the heavier links, the two keep the figure within 5 % of the friction. Both are above
    // the 5 that count as still.
    {{0.4f, 0.4f, 0.4f}},
    {{7, 0.0001f, 0.04f}, {6, 0.0001f, 0.04f}, {6, 0.0001f, 0.04f}}, true,
    // Capstan: the push is stronger than the drive to the stops (0.2 to 0.35 V) and than what a slack cable holds
    // (0.42 V). The stops are met again within a count, so that 8 counts, 0.2 degrees, are slip.
    {{0.5f, 0.5f, 0.5f}},
    {{8, 0.0f, 0.0005f}, {8, 0.0f, 0.0005f}, {8, 0.0f, 0.0005f}}, 2000, true,
    {0.5f, 0.5f, 0.5f}, 3, 3, true,
};

/// Widths of the home flags and gaps of a Corvale, counts: three flags and two gaps on X and Y, one flag on Z.
constexpr AXIS_SENSOR_WIDTH_LIMITS kCorvaleWidths[3] = {
    {{{300, 500}, {500, 700}, {300, 500}}, {{300, 500}, {300, 500}}},
    {{{300, 500}, {500, 700}, {300, 500}}, {{300, 500}, {300, 500}}},
    {{{400, 800}, {400, 800}, {400, 800}}, {{300, 500}, {300, 500}}},
};

}  // namespace

CONFIG_DATA_CORVALE corvaleLimits() {
    return {kCorvale, {kCorvaleWidths[0], kCorvaleWidths[1], kCorvaleWidths[2]}};
}

CONFIG_DATA_PIRKA pirkaLimits() { return {kPirka}; }

CONFIG_DATA_LODRIN lodrinLimits() { return {kLodrin, false}; }
