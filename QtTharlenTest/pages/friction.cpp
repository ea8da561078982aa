// The "Friction Test" page: the velocity of the third joint under a growing command. The servo tick ramps and
// stores (frictionPerformanceBranch); stopping plots. Meant: no control reaches these slots.
#include <QPen>

#include "motorsoff.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kVelocitySamples = static_cast<int>(jointVelocity.size());
constexpr double kBaseLine = 300.0;            ///< y of velocity 0
constexpr double kPixelsPerVelocity = 1000.0;  ///< y for 1 rad/s

}  // namespace

void qtTharlenTest::startFrictionPerformanceTest() {
    bFrictionPerformance = true;
    friction_dac_values.fill(0);
    for (float& force : frictionForce)
        force = 0;
    get_encoder_values(csTharlenID, positionOfDev);
    enable_tharlen_forces(csTharlenID);
    for (QLabel* label : {ui.label_88, ui.label_89, ui.label_90, ui.label_97, ui.label_98, ui.label_99})
        label->setText("");
}

// Meant: every third sample is joined to the one after next, backwards in x, so that the curve has uneven steps. The
// scene is never cleared, so that a second run is drawn over the first.
static void plotJointVelocity(qtTharlenTest& window) {
    showPlot(window.ui.friction_plot, window.frictionPlotScene);
    const QPen pen(Qt::magenta, 0.5);
    const auto height = [](int i) { return kBaseLine - kPixelsPerVelocity * static_cast<double>(jointVelocity[i]); };
    for (int i = 0; i < kVelocitySamples; i += 3) {
        window.velocityLine->setLine(i + 2, height(i + 2), i + 1, height(i));
        window.frictionPlotScene->addLine(*window.velocityLine, pen);
    }
}

void qtTharlenTest::stopFrictionPerformanceTest() {
    bFrictionPerformance = false;
    forcesOff(*this);
    for (int i = 0; i < 3; ++i)
        positionOfDev[i] = 0;
    friction_dac_values.fill(0);
    for (float& force : frictionForce)
        force = 0;
    forcesOff(*this);
    dacFloat = 0.0f;
    bStep = 0;
    plotJointVelocity(*this);
}
