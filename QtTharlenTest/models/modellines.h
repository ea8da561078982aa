// The model lines: what the window asks of a device's line, a row a line and, where its figures differ by it, a card.
// Texts and rules that are one line's alone and odd ask the window's predicates instead.
#pragma once

#include <QString>
#include <array>

#include "device/tharlenio.h"
#include "endurance.h"

struct CONFIG_DATA_COMMON;

/// How a line is calibrated where the device supports it.
enum class Calibration {
    None,
    ResetPose,    ///< held in a pose and reset
    HomeSensors,  ///< moved through its range
    InkWell       ///< resting in the ink well for a number of ticks
};

/// What the travel of an axis is, of its least and its greatest count.
enum class Travel {
    Sum,        ///< of the magnitudes
    Span,       ///< between the two
    Difference  ///< of the magnitudes
};

using AxisCounts = std::array<long, 6>;  ///< base X, Y, Z, gimbal X, Y, Z

/// The haptic box. A wall's gain is its stiffness factor times the nominal maximum stiffness.
struct BoxRule {
    /// Force limit as a multiple of the nominal continuous force, but once that on a high-force device; 0: the nominal
    /// maximum force.
    double continuous = 4.0;
    /// Stiffness factors by mode; 0: the nominal maximum stiffness. Meant: the gain then is its square.
    float user = 0.0f, manufacturing = 0.0f;
    double popThrough = 1.0;       ///< a wall gives way at the limit divided by this
    bool limitsEachAxis = false;   ///< in either mode, each axis on its own
    bool userSwitchesOff = false;  ///< in user mode too much force switches off; else one axis a tick is limited

    /// A wall alone never gives way: the force along one axis stays within the limit.
    bool holdsAlongOneAxis() const { return limitsEachAxis && popThrough <= 1.0; }
};

/// What a row leaves out is as without a device.
struct ModelLine {
    int modelType = 0;   ///< of the record; 0 in the row of all other types
    ULONG cardType = 0;  ///< the one card the row is for; 0 for all others
    const char* name = "";
    const char* modelText = nullptr;  ///< the library's text that an operator is not shown
    const char* shownName = nullptr;  ///< what is shown instead of it

    // "Calibrate"
    Calibration calibration = Calibration::None;
    const char* illustration = nullptr;
    const char* calibrationNote = "";  ///< follows the text about the ink well
    int dockedReading = 0;             ///< 0 or 1: the ink well's switch with the stylus in it
    int dockedTicks = 0;               ///< in the ink well, in total, until it is calibrated

    // "Read Encoder" and the report
    bool automaticInspections = false;  ///< the report has them; the tab shows all that belongs to them
    bool judgesEncoders = false;        ///< their verdicts are coloured, and open the next tab
    bool judgesInkwell = false;         ///< the same of the ink well's switch and the second one of the stylus
    bool presenceSwitch = false;        ///< the stylus feels the hand
    std::array<Travel, 6> travel = {Travel::Sum, Travel::Sum, Travel::Sum, Travel::Span, Travel::Span, Travel::Span};
    const AxisCounts* leastTravel = nullptr;  ///< that passes; a Corvale's is in its limit record
    const AxisCounts* toldTravel = nullptr;   ///< that the operator is told of

    // Forces
    bool sixDof = false;           ///< the gimbal has motors
    int sliderStep = 2;            ///< 20 DAC counts, a notch of "Test Forces"
    float dacPerMilliNm = 0.0f;    ///< DAC counts for a mN m of motor torque; 0: see kStelmarSizes
    bool mechanicalTests = false;  ///< friction and capstan
    BoxRule box;

    // Closed-loop encoder test
    const EncoderTestLine* endurance = nullptr;
    bool setsShutdown = false;  ///< it sets the temperature at which the amplifiers trip

    bool docked(int reading) const { return (reading != 0) == (dockedReading != 0); }
    /// Travel of an axis (0 to 5), counts.
    long travelOf(int axis, long least, long greatest) const;
};

/// DAC counts for a mN m of an Orda's motor.
constexpr double kOrdaDacPerMilliNm = 513.708;

/// DAC counts for a mN m by size. The size is in the open device's model string, so any device may have one.
struct StelmarSize {
    const char* text;
    float dacPerMilliNm;
};
constexpr StelmarSize kStelmarSizes[] = {{"1.0", 114.3565f}, {"1.5", 114.3565f}, {"3.0", 41.610157f}};

/// The row of a type and card: the low 32 bits of a record's type, and all of its card. [any thread]
const ModelLine& findModelLine(int modelType, ULONG cardType);
/// What the window asks without a record.
extern const ModelLine kNoModelLine;

/// What a limit record asks for at least, counts.
AxisCounts leastTravel(const CONFIG_DATA_COMMON& limits);

/// The name by which the operator knows a model: "Nolva", "Nolva X", or the library's own text.
QString shownModelName(const QString& model);
