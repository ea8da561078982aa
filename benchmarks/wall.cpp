// wall: at which gains the stepped arm, held against the wall of the passivity page, begins to buzz and to swing,
// beside what the two conditions for a passive wall allow. One is of sampling, b > K T / 2: K is the gain in N/m, T the
// period, b the damping in N s/m that bearings and hand have along the push. The other is of resolution, f > K d / 2: f
// is the dry friction in N, d one encoder count in m. Each gives the gain that is safe with any hand; a hand that
// damps, and friction where sampling is concerned, bear more. A buzz is any unrest; a swing is wider than one count, so
// that it is not of the resolution.
#include <Eigen/LU>
#include <QApplication>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "device/simulated/model/hand.h"
#include "device/simulated/model/kinematics.h"
#include "gestures.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr double kWall = 40.0;   // mm
constexpr int kMostGain = 1000;  // slider steps of 0.1 N/mm
constexpr double kAtRest = 0.3;  // mm/s root mean square

/// What meets the wall along x where the stylus touches it.
struct Touch {
    double damping = 0.0;   // N s/m
    double friction = 0.0;  // N
    double count = 0.0;     // m
};

const arm::LineFigures& figuresOf(const std::string& model) {
    int i = 0;
    while (i + 1 < arm::lineCount() && model != arm::lineAt(i).modelString)
        ++i;
    return arm::lineAt(i);
}

/// Of the motion that a push along x makes in this pose, with a hand of this strength (N).
Touch touchAt(const arm::LineFigures& line, const armcontrol::Vec6& joints, double strength) {
    arm::Motion motion;
    std::copy(joints.begin(), joints.end(), motion.angle.data());
    const arm::Vector3 place = arm::endpoint(line, motion.angle);
    arm::Hand hand;
    hand.strength = strength;
    hand.point(place, place, 0.0, motion);
    const arm::Pull pull = hand.pull(line, motion);

    arm::Vector3 inertia, viscous, dry;
    for (int i = 0; i < arm::kBase; ++i) {
        inertia[i] = line.axis(i).inertia;
        viscous[i] = line.axis(i).viscous;
        dry[i] = std::min(line.frictionTorque(i, 1.0), line.frictionTorque(i, -1.0));
    }
    const arm::Matrix3 one = arm::Matrix3::Identity();
    const arm::Matrix3 forward = arm::baseJacobian(line, motion.angle), back = forward.inverse();
    const arm::Matrix3 mass = back.transpose() * inertia.asDiagonal() * back + pull.mass * one;
    const arm::Matrix3 damping = back.transpose() * viscous.asDiagonal() * back + pull.damping * one;
    arm::Vector3 way = mass.inverse().col(0);
    way /= way[0];

    Touch touch;
    touch.damping = way.dot(damping * way);
    touch.friction = (back * way).cwiseAbs().dot(dry);
    for (int i = 0; i < arm::kBase; ++i)
        touch.count = std::max(touch.count, std::abs(forward(0, i)) / line.axis(i).countsPerRad);
    return touch;
}

/// The least gains, N/mm, at which one of several touches buzzes and swings; 0 where none that was tried does.
struct Onset {
    double buzz = 0.0, swing = 0.0;
};

Onset onset(qtTharlenTest& window, double strength, double count) {
    Onset found;
    for (int slider = kMostGain; slider > 1; slider = std::min(slider - 1, slider * 10 / 11)) {
        for (const double press : {0.3, 0.8}) {
            for (const double speed : {40.0, 150.0}) {
                if (press > strength)
                    continue;
                window.onPassivitySliderChange(0);
                const Unrest seen =
                    Gestures().leanOn(kWall, strength, press, speed, [&] { window.onPassivitySliderChange(slider); });
                if (seen.speed > kAtRest)
                    found.buzz = slider / 10.0;
                if (seen.width > count)
                    found.swing = slider / 10.0;
            }
        }
    }
    return found;
}

std::string text(double gain) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%.1f", gain);
    return gain > 0 ? digits : "-";
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("NOLVA_ARM_SOCKET", "off");
    QApplication application(argc, argv);
    armcontrol::loopStepped(true);
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    Gestures hand;
    hand.calibrate(window.csTharlenID);
    startPassivityTest = true;

    hand.hold({kWall, 0, 0}, 1000);
    const armcontrol::State state = armcontrol::state();
    const arm::LineFigures& line = figuresOf(state.model);

    std::printf("%s, wall at x = 40 mm; gains in N/mm, tried up to %g\n\n", state.model.c_str(), kMostGain / 10.0);
    std::printf("%6s %8s %9s %9s %9s %9s %9s\n", "Hz", "hand N", "b N s/m", "2 b / T", "2 f / d", "buzz", "swing");
    for (const int rate : {1000, 2000, 3000, 4000}) {
        setServoLoopRate(rate);
        for (const double strength : {0.5, 2.0, 25.0}) {
            const Touch touch = touchAt(line, state.joints, strength);
            const Onset found = onset(window, strength, 1000 * touch.count);
            std::printf("%6d %8.1f %9.2f %9.1f %9.1f %9s %9s\n", rate, strength, touch.damping,
                        2 * touch.damping * rate / 1000, 2 * touch.friction / touch.count / 1000,
                        text(found.buzz).c_str(), text(found.swing).c_str());
            std::fflush(stdout);
        }
    }
    return 0;
}
