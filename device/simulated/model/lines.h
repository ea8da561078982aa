// The model lines of the simulated arm: one table of plain figures, with their units.
#pragma once

#include <string>

#include "device/tharlenio.h"

namespace arm {

constexpr int kBase = 3;               // base joints: yaw, upper arm, forearm
constexpr int kAxes = 6;               // base joints, then gimbal joints
constexpr double kFullDac = kDacMost;  // counts of a full command; also 1 V

/// One joint with its encoder, its motor (if any) and its friction.
struct AxisFigures {
    double countsPerRad;  ///< encoder counts per radian of the joint
    int encoderSign;      ///< +1 when the counts rise with the angle, else -1
    int stopLow;          ///< counts at the lower stop, from the calibrated zero
    int stopHigh;         ///< counts at the upper stop
    int parity;           ///< +1 when a positive command lowers the encoder, -1 when it raises it
    double reduction;     ///< motor turns per joint turn; 0 without a motor
    double inertia;       ///< kg m^2 at the joint, the motor's share included
    double viscous;       ///< N m s/rad at the joint
    double dryFriction;   ///< DAC counts that just move the axis; N m where there is no motor
    /// Share of viscous and dry friction that a negative command meets.
    double backViscous = 1.0, backFriction = 1.0;
};

/// How a line is calibrated; the numbers are those of is_calibration_supported().
enum class CalibrationStyle { ResetPose = 0, HomeSensors = 1, InkWell = 2 };

/// A home flag of one axis, counts from the calibrated zero.
struct FlagFigures {
    int start, stop;
};

/// The home flags of an axis, in rising counts; the gaps lie between them. `firstIndex` is the place of
/// the first one in AXIS_SENSOR_DATA.
struct AxisFlags {
    int number;
    int firstIndex;
    FlagFigures flags[3];
};

/// Those of the base axes, by hardware revision.
struct HomeFlags {
    AxisFlags usual[kBase];
    AxisFlags comb[kBase];  ///< where hasManyFlags()
};

/// Two thermal nodes of one motor.
struct HeatFigures {
    double fullPower;        ///< W lost in the winding at full command
    double windingCapacity;  ///< J/K
    double statorCapacity;   ///< J/K
    double windingToStator;  ///< K/W
    double statorToAir;      ///< K/W
    double warmLimit;        ///< degrees Celsius of the winding at which the warning starts
    double shutdown;         ///< degrees Celsius at which the amplifiers trip, as delivered
    double cooldown;         ///< degrees Celsius below which they may be turned on again, as delivered
};

struct LineFigures {
    const char* word;         ///< name in a fleet file
    const char* modelString;  ///< what get_tharlen_model_type returns
    int modelType;
    int cardType;  ///< the one card these figures are for; 0 for all others
    bool highForce;
    bool sixDof;       ///< the gimbal joints have motors
    int secondSwitch;  ///< 1 when the stylus has two buttons
    CalibrationStyle calibration;
    int dockedReading;       ///< 1 or 0: what an ink-well sensor reads with the stylus in it; else the other
    const HomeFlags* flags;  ///< null without home sensors

    double upperArm, forearm;  ///< link lengths, mm
    double originY, originZ;   ///< origin of positions from the shoulder, mm up and towards the operator
    double dacPerMilliNm;      ///< DAC counts per mN m of motor torque
    /// Encoder counts over which bearing and cable give way before an axis breaks loose: a load of half the dry
    /// friction moves it by 0.7 of this, and it springs back. The same at any friction, as contacts stiffen with load.
    double give;
    AxisFigures base[kBase];
    AxisFigures gimbal[kBase];

    double maxStiffness;        ///< nominal, N/mm
    double maxDamping;          ///< nominal, N s/mm
    double maxForce;            ///< nominal, N
    double continuousForce;     ///< nominal, N
    double maxTorqueStiffness;  ///< nominal, N mm/rad; torques on six-degree-of-freedom lines only
    double maxTorqueDamping;    ///< nominal, N mm s/rad
    double maxTorque;           ///< nominal, N mm
    double continuousTorque;    ///< nominal, N mm

    double restPose[kBase];   ///< rad: the pose of the origin, where a fresh arm stands
    double dockPose[kBase];   ///< rad: in the ink well
    double resetPose[kAxes];  ///< rad
    HeatFigures heat;

    const AxisFigures& axis(int i) const { return i < kBase ? base[i] : gimbal[i - kBase]; }
    int motors() const { return sixDof ? kAxes : kBase; }
    /// Stops of joint `i`, rad.
    double angleLow(int i) const;
    double angleHigh(int i) const;
    /// +1 when a positive command turns the joint to greater angles, else -1.
    int motorSign(int i) const { return -axis(i).parity * axis(i).encoderSign; }
    /// N m at joint `i` for one DAC count; 0 without a motor.
    double torquePerDac(int i) const { return axis(i).reduction / (dacPerMilliNm * 1000.0); }
    /// Whether a positive command, or the want of a motor, turns joint `i` towards `way` (its sign).
    bool forward(int i, double way) const { return axis(i).reduction <= 0.0 || way * motorSign(i) > 0.0; }
    /// Dry friction of joint `i`, rested, against turning towards `way` (its sign), N m.
    double frictionTorque(int i, double way) const;
    /// Viscous friction of joint `i` as it turns towards `way` (its sign), N m s/rad.
    double viscosity(int i, double way) const {
        return axis(i).viscous * (forward(i, way) ? 1.0 : axis(i).backViscous);
    }
};

/// Flags of base axis `axis` on a device of this line and hardware revision; none without home sensors.
AxisFlags homeFlags(const LineFigures& line, int hardwareRevision, int axis);

/// Number of rows of the table, and its rows.
int lineCount();
const LineFigures& lineAt(int index);

/// The row for a fleet word, card and force class; null when there is none.
const LineFigures* findLine(const std::string& word, int cardType, bool highForce);

/// Endpoint speed above which the velocity check trips the amplifiers, mm/s.
constexpr double kSpeedLimit = 3000.0;
/// Joint speed above which an axis's overspeed bit is set, rad/s.
constexpr double kAxisSpeedLimit = 40.0;
/// Air around the arm, degrees Celsius.
constexpr double kAmbient = 25.0;

}  // namespace arm
