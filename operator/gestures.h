// What a hand does at the simulated arm, each gesture once: what it does, and how long that takes. It knows no window;
// how time passes meanwhile is its user's. Hands differ by their manner, and by arguments where a place or a strength
// is what matters.
#pragma once

#include <functional>
#include <string>

#include "device/simulated/armcontrol.h"
#include "manner.h"

/// The walls of the box, in its order.
struct Wall {
    const char* name;
    std::size_t axis;
    double side;
};
constexpr int kWalls = 6;
constexpr Wall kBoxWalls[kWalls] = {{"right", 0, 1},  {"left", 0, -1}, {"upper", 1, 1},
                                    {"lower", 1, -1}, {"near", 2, 1},  {"inner", 2, -1}};
/// This far (mm) from the center towards a wall, and towards the next axis' wall as far as `lean`.
armcontrol::Vec3 towards(int wall, double distance, double lean = 0);
// mm; the walls lie at 20. A push over an edge leans on the next wall too, for a line that holds along one axis alone.
constexpr double kPushDistance = 45;
constexpr double kLeanDistance = 26;

/// What a device asks of a hand that calibrates it, numbered as is_calibration_supported does.
enum class CalibrationStyle { ResetPose, Sweeps, InkWell };
CalibrationStyle calibrationStyle(int id);
/// By the library's own operation for this style, where no window does it.
void takeCalibration(int id, CalibrationStyle style);

/// How fast a joint is moved from stop to stop, rad/s, and for how long that is waited.
struct Pace {
    double speed;
    int milliseconds = 0;  ///< 0: until the hand is done
};
constexpr Pace kUnhurried{1.0, 8000};

/// How what was held or moved went about.
struct Unrest {
    double speed = 0;  ///< mm/s along x, root mean square
    double width = 0;  ///< mm along x
};

/// Steps the arm, for whoever has nothing beside it that goes on with time.
void stepArm(int milliseconds);

/// Gestures last until they are done, in milliseconds of `spend`. Those that return a string return why the arm
/// refused, empty when it did not. On the thread of `spend`.
class Gestures {
public:
    using Spend = std::function<void(int milliseconds)>;
    explicit Gestures(Spend spend = &stepArm, Manner& manner = usualManner());

    /// Looks every `step` until the condition holds; false when it took longer than `most`.
    template <class Condition>
    bool waitUntil(Condition holds, int most, int step = 20) {
        for (int spent = 0; !holds(); spent += step) {
            if (spent >= most)
                return false;
            m_spend(step);
        }
        return true;
    }
    /// Of what is seen every so many milliseconds.
    template <class Sample>
    double mean(int samples, int every, Sample sample) {
        double sum = 0;
        for (int i = 0; i < samples; ++i) {
            m_spend(every);
            sum += sample() / samples;
        }
        return sum;
    }

    /// Near the center of the workspace.
    armcontrol::Vec3 center();
    std::string hold(const armcontrol::Vec3& place, int milliseconds);
    void letGo(int milliseconds);
    /// Brings the arm to rest there, and leaves it.
    void letGoAt(const armcontrol::Vec3& place, int held, int free);
    /// Mean force of the hand on the arm along a slow straight way, N.
    double drag(const armcontrol::Vec3& from, const armcontrol::Vec3& to, double speed);

    /// One joint from stop to stop and back.
    std::string sweep(int axis, Pace pace);
    /// So many joints from this one on.
    std::string sweepAxes(int first, int count, Pace pace);
    std::string dock(int milliseconds);
    void undock(int milliseconds);
    /// Presses or releases both buttons.
    void press(bool on);

    /// Does what the style asks; `take` is called where the arm knows enough to take its calibration.
    std::string calibrate(CalibrationStyle style, const std::function<void()>& take, Pace sweeps = kUnhurried);
    /// The same by the library alone. Why the device is not calibrated.
    std::string calibrate(int id, Pace sweeps = kUnhurried);

    /// Out through a wall that yields and back inside: whether it yielded.
    bool pushThrough(int wall, bool overEdge, const std::function<bool()>& yielded,
                     const std::function<bool()>& outside);
    /// Moves the stylus at `speed` (mm/s) along x onto a wall at `wall` (mm), with a hand of `strength` (N) that then
    /// presses with `press` (N), and looks a second later, on the stepped arm tick by tick. `ahead` is called just
    /// before the wall.
    Unrest leanOn(double wall, double strength, double press, double speed, const std::function<void()>& ahead);

private:
    Spend m_spend;
    Manner& m_manner;
};
