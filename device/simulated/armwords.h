// The words of the simulated arm's control, for both ends of its socket: the fields of its state and of the hand's
// commands, and what they may be. Data alone: nothing in here has to be linked. No Qt.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace armcontrol {

using Vec3 = std::array<double, 3>;
using Vec6 = std::array<double, 6>;

// --- State -------------------------------------------------------------------------------------

/// One picture of the arm.
struct State {
    bool open = false;                ///< a device is open
    std::string name, model, serial;  ///< of the open device
    int modelType = 0, cardType = 0, grip = 0;
    bool gimbal = false, highForce = false;
    int motors = 0;        ///< 3, or 6 where the gimbal is driven too
    int buttons = 0;       ///< of the stylus: 0 to 2
    bool inkWell = false;  ///< there is one to dock the stylus in

    bool loopRunning = false;  ///< the servo callback is being called
    int rate = 1000;           ///< hertz, as set
    double measuredRate = 0;   ///< hertz, mean of the last half second
    std::uint64_t ticks = 0, lateTicks = 0;
    bool realTime = false;  ///< the loop's thread has real-time scheduling

    Vec6 joints{};                ///< rad
    Vec6 encoders{};              ///< counts, as the device reports them
    Vec3 position{};              ///< true endpoint, mm
    Vec3 velocity{};              ///< mm/s
    Vec6 dac{};                   ///< last command, DAC counts
    Vec3 force{};                 ///< force at the endpoint by the motors, N
    Vec6 jointMin{}, jointMax{};  ///< stops, rad
    bool amplifiers = false;
    int calibrationStatus = 0;  ///< as get_calibration_status

    bool holding = false, docked = false, presence = false;
    Vec3 handTarget{};     ///< mm
    double handForce = 0;  ///< N, now
    std::array<bool, 2> switches{};
    double pinch = 0;     ///< 0 open, 1 closed
    double strength = 0;  ///< N

    Vec6 winding{}, stator{};         ///< degrees Celsius
    double warmLimit = 0;             ///< winding temperature at which the warm warning starts; 0 with none open
    double heatPace = 1;              ///< how much faster than in life heat runs
    std::vector<std::string> faults;  ///< those that are on
};

}  // namespace armcontrol

namespace armwords {

/// Past these a figure is none of any arm; what is shown of one fits the integers and pixels that it becomes.
constexpr double kMost = 1e6;
constexpr double kMostAngle = 1e3;   // rad
constexpr double kMostCounts = 1e9;  // of an encoder, DAC counts
constexpr double kMostTicks = 1e15;

/// The one list of the fields by their names in JSON: f(name, field) or f(name, field, most) for each.
template <typename S, typename F>
void eachField(S& s, F f) {
    f("open", s.open);
    f("name", s.name);
    f("model", s.model);
    f("serial", s.serial);
    f("modelType", s.modelType);
    f("cardType", s.cardType);
    f("grip", s.grip);
    f("gimbal", s.gimbal);
    f("highForce", s.highForce);
    f("motors", s.motors);
    f("buttons", s.buttons);
    f("inkWell", s.inkWell);

    f("loopRunning", s.loopRunning);
    f("rate", s.rate);
    f("measuredRate", s.measuredRate);
    f("ticks", s.ticks, kMostTicks);
    f("lateTicks", s.lateTicks, kMostTicks);
    f("realTime", s.realTime);

    f("joints", s.joints, kMostAngle);
    f("encoders", s.encoders, kMostCounts);
    f("position", s.position);
    f("velocity", s.velocity);
    f("dac", s.dac, kMostCounts);
    f("force", s.force);
    f("jointMin", s.jointMin, kMostAngle);
    f("jointMax", s.jointMax, kMostAngle);
    f("amplifiers", s.amplifiers);
    f("calibrationStatus", s.calibrationStatus);

    f("holding", s.holding);
    f("docked", s.docked);
    f("presence", s.presence);
    f("handTarget", s.handTarget);
    f("handForce", s.handForce);
    f("switches", s.switches);
    f("pinch", s.pinch);
    f("strength", s.strength);

    f("winding", s.winding);
    f("stator", s.stator);
    f("warmLimit", s.warmLimit);
    f("heatPace", s.heatPace);
    f("faults", s.faults);
}

// --- Commands ----------------------------------------------------------------------------------

/// A field of a command, and the figures that it takes.
struct Field {
    enum class Kind { Number, Positive, Whole, Truth, Numbers };  // Positive: above `low`
    const char* name = nullptr;
    Kind kind = Kind::Number;
    double low = 0, high = 0;
    std::size_t count = 1;  ///< of Numbers
};

constexpr double kTurn = 6.2832;                                              // rad
constexpr Field kPosition{"position", Field::Kind::Numbers, -1000, 1000, 3};  // mm
constexpr Field kDragSpeed{"speed", Field::Kind::Positive, 0, 5000};          // mm/s
constexpr Field kJointAngles{"angles", Field::Kind::Numbers, -kTurn, kTurn, 6};
constexpr Field kGimbalAngles{"angles", Field::Kind::Numbers, -kTurn, kTurn, 3};
constexpr Field kAxis{"axis", Field::Kind::Whole, 0, 5};
constexpr Field kTurnSpeed{"speed", Field::Kind::Positive, 0, 50};  // rad/s
constexpr Field kStrength{"newtons", Field::Kind::Number, 0.1, 200};
constexpr Field kButton{"button", Field::Kind::Whole, 0, 1};
constexpr Field kPressed{"pressed", Field::Kind::Truth};
constexpr Field kPresent{"present", Field::Kind::Truth};
constexpr Field kClosed{"closed", Field::Kind::Number, 0, 1};
constexpr Field kMotor{"motor", Field::Kind::Whole, -1, 5};
constexpr Field kWinding{"winding", Field::Kind::Number, -40, 400};  // degrees Celsius
constexpr Field kStator{"stator", Field::Kind::Number, -40, 400};
constexpr Field kHeatPace{"factor", Field::Kind::Number, 1, 10000};
constexpr Field kStepTicks{"ticks", Field::Kind::Whole, 1, 1000000};

/// What a hand can be told, which is also what a script of it may hold.
struct HandCommand {
    const char* name;
    std::array<Field, 2> fields;  ///< those without a name are none
};

constexpr HandCommand kHandCommands[] = {
    {"hand.move", {kPosition}},
    {"hand.drag", {kPosition, kDragSpeed}},
    {"hand.joints", {kJointAngles, kTurnSpeed}},
    {"hand.sweep", {kAxis, kTurnSpeed}},
    {"hand.gimbal", {kGimbalAngles}},
    {"hand.release", {}},
    {"hand.dock", {}},
    {"hand.undock", {}},
    {"hand.reset", {}},
    {"hand.strength", {kStrength}},
    {"hand.switch", {kButton, kPressed}},
    {"hand.presence", {kPresent}},
    {"hand.pinch", {kClosed}},
};

/// Devices that a fleet may have.
constexpr int kFleetSize = 20;

}  // namespace armwords
