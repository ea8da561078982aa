// The haptic boxes: wall forces and pop-through on the servo thread, bars and verdict on the graphical one.
//
// The box has walls at plus and minus 20 mm on each axis. A wall is a spring without damping.
#include <cmath>

#include "modellines.h"
#include "motorsoff.h"
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"
#include "tabs.h"
#include "tick.h"
#include "wall.h"

namespace {

constexpr double kBoxWall = 20.0;     ///< mm
constexpr double kFullDac = 32768.0;  ///< DAC counts of 100 %; Meant: one more than the most
constexpr int kMaxBrokeTicks = 3;     ///< ticks over the limit that make a pop-through

float sumOfSquares(const float* force) { return force[0] * force[0] + force[1] * force[1] + force[2] * force[2]; }

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

static QString boxTestInstruction(const qtTharlenTest& window) {
    if (!window.manufMode)
        return "Slowly move the cursor and feel all the faces and edges of the box using the Device .";
    if (window.isCorvale())
        return "To tension cables: break out 3 times from bottom face, then 3 times from right face, then 3 times "
               "from inner face.";
    return "Breakout through each wall 3 times to pass the test. including the hidden front wall. ";
}

// The first forceProgressUpdate enables the next button again, within 5 ms.
void enterBoxTest(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.manufMode) {
        ui.tabWidget->setTabEnabled(5, false);
        ui.next_button->setEnabled(false);
    }
    if (window.csTharlenID < 0)
        return;
    window.hapticBoxRenderer->changeTharlenInstance(window.csTharlenID, 0);
    ui.textBrowser_8->clear();
    ui.textBrowser_8->append(boxTestInstruction(window));
    ui.boxTest_status->setVisible(window.manufMode);
    startBoxTest = true;
    window.hapticBoxRenderer->startTest(window.manufMode);
    window.forceProgressTimer->start(5);
}

void leaveBoxTest(qtTharlenTest& window) {
    startBoxTest = false;
    for (float& force : window.m_forceToSend)
        force = 0;
    if (window.csTharlenID >= 0)
        forcesOff(window);
    window.forceProgressTimer->stop();
    if (window.hapticBoxRenderer->graphicTimer->isActive())
        window.hapticBoxRenderer->stopTest();
}

/// The nominal limit of the device's forces in the box, N. [S]
static float boxForceLimit(const qtTharlenTest& window, int id) {
    const double share = window.modelLine().box.continuous;
    if (share == 0.0)
        return get_tharlen_nominal_max_force(id);
    const float continuous = get_tharlen_nominal_max_continuous_force(id);
    return window.isHighForceDevice() ? continuous : static_cast<float>(continuous * share);
}

/// Stiffness factor of the walls. [S]
static float boxStiffness(const qtTharlenTest& window, float maxGain) {
    const BoxRule& box = window.modelLine().box;
    const float factor = window.manufMode ? box.manufacturing : box.user;
    return factor != 0.0f ? factor : maxGain;
}

static void enableForcesOutsideBox(qtTharlenTest& window, int id) {
    for (int i = 0; i < 3; ++i) {
        if (is_tharlen_forces_enabled(id) != 0)
            continue;
        const double position = window.hapticBoxRenderer->pPos[i];
        if (position < -kBoxWall || position > kBoxWall)
            tickEnablesForces(window, id);
    }
}

static void feelWalls(qtTharlenTest& window, float gain) {
    for (int i = 0; i < 3; ++i)
        window.m_boxForce[i] = holdAtWall(kBoxWall, gain, window.hapticBoxRenderer->pPos[i]);
}

/// User mode. Forces are switched off, or limited. Meant: of the chain only
/// the first test that holds acts, so that one axis is limited a tick, the positive side first. [S]
static void limitUserForce(qtTharlenTest& window, int id, float limit) {
    if (window.modelLine().box.userSwitchesOff) {
        window.m_limitSwitchedOff = sumOfSquares(window.m_boxForce) > limit * limit;
        if (window.m_limitSwitchedOff)
            disable_tharlen_forces(id);
        else
            tickEnablesForces(window, id);
        return;
    }
    for (const float sign : {1.0f, -1.0f}) {
        const float side = sign * limit;
        for (int i = 0; i < 3; ++i) {
            if (!(sign * window.m_boxForce[i] > limit))
                continue;
            window.m_boxForce[i] = side;
            window.forceProgress[i] = side;
            return;
        }
    }
    window.forceProgress.store(window.m_boxForce);
}

/// Each axis on its own, so the direction of the force is not kept. [S]
static void limitStelmarForce(qtTharlenTest& window, float limit) {
    const float resultantForce = std::sqrt(sumOfSquares(window.m_boxForce));
    if (!(resultantForce > limit))
        return;
    for (float& force : window.m_boxForce) {
        if (force > limit)
            force = limit;
        if (force < -limit)
            force = -limit;
    }
}

// The device's velocity takes no part: the walls have no damping.
float* qtTharlenTest::calcForce(int tharlen_id, float* pPos, long* plastDac) {
    const float maxGain = get_tharlen_nominal_max_stiffness(tharlen_id);
    for (float& force : m_boxForce)
        force = 0;
    if (tharlen_id < 0)
        return m_boxForce;
    const float nominalMaxForce = boxForceLimit(*this, tharlen_id);
    float velo[3] = {};
    get_tharlen_vel(tharlen_id, velo);
    hapticBoxRenderer->pPos.store(pPos);
    hapticBoxRenderer->m_afBoxStiffness = boxStiffness(*this, maxGain);
    enableForcesOutsideBox(*this, tharlen_id);
    if (manufMode)
        hapticBoxRenderer->m_PopThruRequirement = isCorvale() ? m_cdCorvale.nWallTransitions
                                                  : isOrda()  ? m_cdLodrin.nWallTransitions
                                                              : 3;
    feelWalls(*this, hapticBoxRenderer->m_afBoxStiffness * maxGain);
    for (int i = 0; i < 3; ++i)
        lastDacValue[i] = static_cast<float>(std::fabs(static_cast<double>(plastDac[i]) * 100.0 / kFullDac));
    if (!dropUnlessFinite(*this, m_boxForce, nominalMaxForce))
        return m_boxForce;
    if (!manufMode)
        limitUserForce(*this, tharlen_id, nominalMaxForce);
    if (modelLine().box.limitsEachAxis)
        limitStelmarForce(*this, nominalMaxForce);
    if (manufMode)
        checkBoxTest(tharlen_id, m_boxForce);
    return m_boxForce;
}

// A position or limit of the device that is no finite number would reach powered motors as a force. The window says so
// once a device.
bool dropUnlessFinite(qtTharlenTest& window, float* force, float limit) {
    if (std::isfinite(limit) && std::isfinite(force[0]) && std::isfinite(force[1]) && std::isfinite(force[2]))
        return true;
    for (int i = 0; i < 3; ++i)
        force[i] = 0;
    window.m_forceNotFinite = true;
    return false;
}

// The ticks over the limit need not be consecutive: they are counted within one excursion, until the force is
// zero again. A corner counts for each of its walls.
void qtTharlenTest::checkBoxTest(int tharlen_id, float* devForce) {
    const auto nominalMaxForce = static_cast<float>(boxForceLimit(*this, tharlen_id) / modelLine().box.popThrough);
    float cPos[3] = {};
    get_tharlen_pos(tharlen_id, cPos);

    qtTharlenHapticRenderer& box = *hapticBoxRenderer;
    if (devForce[0] == 0 && devForce[1] == 0 && devForce[2] == 0) {
        box.m_bBrokeOutOfBox = false;
        box.m_nBrokeBoxTicks = 0;
    }
    if (box.m_bBrokeOutOfBox) {
        for (int i = 0; i < 3; ++i)
            devForce[i] = 0;
    } else {
        forceProgress.store(devForce);
    }
    if (!manufMode || !(sumOfSquares(devForce) > nominalMaxForce * nominalMaxForce))
        return;

    box.m_nBrokeBoxTicks = box.m_nBrokeBoxTicks + 1;
    if (box.m_nBrokeBoxTicks < kMaxBrokeTicks || m_forceGate.shut())  // nothing counts into the next visit
        return;
    box.m_bBrokeOutOfBox = true;
    for (int i = 0; i < 3; ++i) {
        if (cPos[i] > kBoxWall)
            box.m_nWallTransitions[2 * i] = box.m_nWallTransitions[2 * i] + 1;
        else if (cPos[i] < -kBoxWall)
            box.m_nWallTransitions[2 * i + 1] = box.m_nWallTransitions[2 * i + 1] + 1;
    }
}

void qtTharlenTest::forceProgressUpdate() {
    const float nMaxForce = get_tharlen_nominal_max_force(csTharlenID);
    QProgressBar* const bars[3] = {ui.xForceBar, ui.yForceBar, ui.zForceBar};
    QLabel* const labels[3] = {ui.x_force, ui.y_force, ui.z_force};
    for (int i = 0; i < 3; ++i) {
        const float percent = lastDacValue[i];
        bars[i]->setValue(static_cast<int>(percent));
        showText(labels[i], QString::number(nMaxForce * (kFullDac * percent / 100.0) / kFullDac, 'g', 2));
    }
    if (!manufMode)
        return;
    const bool passed = hapticBoxRenderer->m_bPassTest;
    showText(ui.boxTest_status, passed ? "PASS" : "");
    showStyle(ui.boxTest_status, passed ? kPassStyle : kNotYetStyle);
    repData->bBoxPass = passed;
    if (passed)
        openLastTests(*this);
    // The operator can always go on: the report carries the failure. The timer is another page's too, which is no way
    // on.
    if (ui.tabWidget->tabText(ui.tabWidget->currentIndex()) == "Box Test")
        ui.next_button->setEnabled(true);
}

/// In manufacturing: as the box is passed, or as the operator goes on without.
void openLastTests(qtTharlenTest& window) {
    placeTab(window, "Servoloop");
    placeTab(window, "Summary");
}
