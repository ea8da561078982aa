// The "Passivity Test" and "Filters Test" pages: the stylus in a scene, against a wall whose gain grows until the
// device is no longer stable, or as a shape that follows the raw position.
#include "motorsoff.h"
#include "pages/pages.h"
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"
#include "tick.h"
#include "wall.h"

namespace {

constexpr double kPassivityWall = 40.0;  ///< mm. Meant: the box that the scene draws is half as wide
constexpr int kProgressPeriod = 5;       ///< ms

}  // namespace

// --- Passivity -------------------------------------------------------------------------------------

void enterPassivityPage(qtTharlenTest& window) {
    window.passivityBoxRenderer->changeTharlenInstance(window.csTharlenID, 0);
    window.passivityBoxRenderer->startTest(false);
    startPassivityTest = true;
}

void leavePassivityPage(qtTharlenTest& window) {
    startPassivityTest = false;
    for (float& force : window.m_forceToSend)
        force = 0;
    forcesOff(window);
    window.ui.gain_slider->setValue(0);
    if (window.passivityBoxRenderer->graphicTimer->isActive())
        window.passivityBoxRenderer->stopTest();
}

// Meant: nothing connects the slider to it, the gain stays 0 and no force arises.
void qtTharlenTest::onPassivitySliderChange(int value) { passivityGain = static_cast<float>(value * 10 / 100.0); }

/// The servo tick has no label to write to: its gain is shown with each frame of the scene.
void showPassivityGain(qtTharlenTest& window) { showText(window.ui.gain_label, QString::number(window.passivityGain)); }

// Forces come on when the stylus first crosses a wall, whatever the gain. There is no limit and no pop-through.
// Neither the nominal force nor the velocity takes part.
float* qtTharlenTest::calcCustomForce(int tharlen_id, float*) {
    const float gain = passivityGain;
    get_tharlen_nominal_max_force(tharlen_id);
    float velo[3] = {};
    get_tharlen_vel(tharlen_id, velo);
    float position[3] = {};
    get_tharlen_pos(tharlen_id, position);
    qtTharlenHapticRenderer& scene = *passivityBoxRenderer;
    scene.pPos.store(position);
    scene.m_afBoxStiffness = 1.0f;
    for (int i = 0; i < 3; ++i) {
        const bool outside = position[i] < -kPassivityWall || position[i] > kPassivityWall;
        if (is_tharlen_forces_enabled(tharlen_id) == 0 && outside)
            tickEnablesForces(*this, tharlen_id);
    }
    for (int i = 0; i < 3; ++i)
        m_passivityForce[i] = holdAtWall(kPassivityWall, gain * scene.m_afBoxStiffness, scene.pPos[i]);
    dropUnlessFinite(*this, m_passivityForce, 0.0f);
    return m_passivityForce;
}

// --- Filters ---------------------------------------------------------------------------------------

void enterFiltersPage(qtTharlenTest& window) {
    window.filtersRenderer->changeTharlenInstance(window.csTharlenID, 1);
    window.filtersRenderer->startTest(false);
    startFiltersTest = true;
    window.forceProgressTimer->start(kProgressPeriod);
}

void leaveFiltersPage(qtTharlenTest& window) {
    startFiltersTest = false;
    forcesOff(window);
    if (!window.filtersRenderer->graphicTimer->isActive())
        return;
    window.filtersRenderer->stopTest();
    window.forceProgressTimer->stop();
}

// There is no filter: whatever the page's controls show, the shape follows the raw position.
void qtTharlenTest::filterNrender(int tharlen_id) {
    float position[3] = {};
    get_tharlen_pos(tharlen_id, position);
    filtersRenderer->pPos.store(position);
}
