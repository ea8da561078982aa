#include "gestures.h"

#include <algorithm>
#include <cmath>

#include "device/tharlenio.h"

using armcontrol::Vec3;

namespace {

constexpr double kUsualStrength = 25;  // N
constexpr double kHandStiffness = 60;  // N/m for each newton of the hand's strength

}  // namespace

Manner& usualManner() {
    static Manner usual(0);
    return usual;
}

Vec3 towards(int wall, double distance, double lean) {
    const Wall& to = kBoxWalls[wall];
    Vec3 place{};
    place[to.axis] = to.side * distance;
    place[(to.axis + 1) % 3] = lean;
    return place;
}

CalibrationStyle calibrationStyle(int id) { return static_cast<CalibrationStyle>(is_calibration_supported(id)); }

void takeCalibration(int id, CalibrationStyle style) {
    if (style == CalibrationStyle::ResetPose)
        tharlen_reset(id);
    else
        update_calibration(id);
}

void stepArm(int milliseconds) { armcontrol::step(long(milliseconds) * armcontrol::state().rate / 1000); }

Gestures::Gestures(Spend spend, Manner& manner) : m_spend(std::move(spend)), m_manner(manner) {}

// --- Holding and letting go --------------------------------------------------------------------------

Vec3 Gestures::center() { return {m_manner.between(-6, 6), m_manner.between(-6, 6), m_manner.between(-6, 6)}; }

std::string Gestures::hold(const Vec3& place, int milliseconds) {
    const std::string refused = armcontrol::handMove(place);
    m_spend(milliseconds);
    return refused;
}

void Gestures::letGo(int milliseconds) {
    armcontrol::handRelease();
    m_spend(milliseconds);
}

void Gestures::letGoAt(const Vec3& place, int held, int free) {
    hold(place, held);
    letGo(free);
}

double Gestures::drag(const Vec3& from, const Vec3& to, double speed) {
    hold(from, 400);
    const double way = std::hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]);
    armcontrol::handDrag(to, speed);
    m_spend(static_cast<int>(0.15 * way / speed * 1000));
    return mean(static_cast<int>(0.8 * way / speed * 100), 10, [] { return armcontrol::state().handForce; });
}

// --- Joints, ink well, buttons -----------------------------------------------------------------------

std::string Gestures::sweep(int axis, Pace pace) {
    const double speed = pace.speed * m_manner.between(0.85, 1.15);
    const armcontrol::State state = armcontrol::state();
    const double travel = state.jointMax[std::size_t(axis)] - state.jointMin[std::size_t(axis)];
    const std::string refused = armcontrol::handSweep(axis, speed);
    m_spend(pace.milliseconds > 0 ? pace.milliseconds
                                  : static_cast<int>(2000.0 * (travel + 0.2) / speed) + m_manner.wait(500, 800));
    return refused;
}

std::string Gestures::sweepAxes(int first, int count, Pace pace) {
    std::string refused;
    for (const int axis : m_manner.order(count)) {
        refused = sweep(first + axis, pace);
        if (!refused.empty())
            break;
    }
    return refused;
}

std::string Gestures::dock(int milliseconds) {
    const std::string refused = armcontrol::handDock();
    m_spend(milliseconds);
    return refused;
}

void Gestures::undock(int milliseconds) {
    armcontrol::handUndock();
    m_spend(milliseconds);
}

void Gestures::press(bool on) {
    armcontrol::handSwitch(0, on);
    armcontrol::handSwitch(1, on);
}

// --- Calibration -------------------------------------------------------------------------------------

std::string Gestures::calibrate(CalibrationStyle style, const std::function<void()>& take, Pace sweeps) {
    std::string refused;
    switch (style) {
        case CalibrationStyle::Sweeps:
            refused = sweepAxes(0, 3, sweeps);
            take();
            break;
        case CalibrationStyle::InkWell:
            refused = dock(m_manner.wait(2700, 3300));
            take();
            undock(m_manner.wait(400, 600));
            break;
        case CalibrationStyle::ResetPose:
            refused = armcontrol::handReset();
            m_spend(m_manner.wait(2500, 3500));
            take();
            break;
    }
    return refused;
}

std::string Gestures::calibrate(int id, Pace sweeps) {
    const CalibrationStyle style = calibrationStyle(id);
    const std::string refused = calibrate(
        style, [=] { takeCalibration(id, style); }, sweeps);
    int status = -1;
    if (refused.empty() && (get_calibration_status(id, &status) != 0 || status != 0))
        return "the calibration's status is " + std::to_string(status);
    return refused;
}

// --- Walls -------------------------------------------------------------------------------------------

bool Gestures::pushThrough(int wall, bool overEdge, const std::function<bool()>& yielded,
                           const std::function<bool()>& outside) {
    armcontrol::handMove(towards(wall, kPushDistance, overEdge ? kLeanDistance : 0));
    const bool through = waitUntil(yielded, 3000, 50);
    m_spend(m_manner.wait(150, 250));
    armcontrol::handMove({});
    waitUntil([&] { return !outside(); }, 3000, 50);
    m_spend(m_manner.wait(250, 350));
    return through;
}

Unrest Gestures::leanOn(double wall, double strength, double press, double speed, const std::function<void()>& ahead) {
    armcontrol::handStrength(kUsualStrength);
    hold({wall - 3, 0, 0}, 400);
    ahead();
    armcontrol::handStrength(strength);
    armcontrol::handDrag({wall + 1000 * press / (kHandStiffness * strength), 0, 0}, speed);
    m_spend(1300);
    double sum = 0, low = 1e9, high = -1e9;
    const int samples = 400 * armcontrol::state().rate / 1000;
    for (int i = 0; i < samples; ++i) {
        armcontrol::step(1);
        const armcontrol::State state = armcontrol::state();
        sum += state.velocity[0] * state.velocity[0];
        low = std::min(low, state.position[0]);
        high = std::max(high, state.position[0]);
    }
    return {std::sqrt(sum / samples), high - low};
}
