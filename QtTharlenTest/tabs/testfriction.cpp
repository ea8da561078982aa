// The "Test Friction" tab: how much voltage makes each axis of an Orda start to move. One axis after the other is
// left to rest and then ramped until its encoder has moved or the limit is reached.
#include "mechanicalmove.h"
#include "modellines.h"
#include "motorsoff.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"
#include "tabs.h"

namespace {

enum Stage { Start, AwaitRest, Ramp, Finish };

constexpr double kRampStep = 0.0001;  ///< V a step, whatever the limits' increment says

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

// Neither this tab nor "Test Capstan" has a leaving action: a run that was started ends by itself.
void enterTestFriction(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.csTharlenID < 0)
        return;
    window.m_form.putBack({ui.x_voltage, ui.y_voltage, ui.z_voltage});
    window.initFrictionTest();
}

// --- Preparing and starting ------------------------------------------------------------------------

void qtTharlenTest::initFrictionTest() {
    clearMove(*this);
    m_pvMoveResult = {};
    m_vvMoveResult = {};
    for (QPushButton* result : {ui.x_friction_result, ui.y_friction_result, ui.z_friction_result})
        showNoVerdict(result);
    const bool available = modelLine().mechanicalTests;
    ui.startFrictionTest_button->setEnabled(available);
    ui.frictionTestGroupBox_2->setEnabled(available);
    if (!available) {
        ui.friction_textBox->clear();
        ui.friction_textBox->append(
            "Friction test not available for this model..\n Please click next to go to next test");
        return;
    }
    // Meant: the second text replaces the first.
    ui.friction_textBox->setText("FRICTION AT NOMINAL POSITION : \n");
    ui.friction_textBox->setText(
        "The Device arm must be free to move for the friction tests to take place.  This Test will move the arm "
        "automatically for the next few moments. Please ensure the moving arm is free of any physical constraints "
        "across its entire range of motion in all three directions.\n");
    ui.friction_textBox->append(
        "Now please move the arm to the center of the workspace. When you are ready to proceed, press the 'START'  "
        "button. Please allow some time for the tests to complete...");
    m_vvMaxVoltage = m_cdLodrin.vvFrictionMaxVoltage;
    for (int axis = 0; axis < 3; ++axis) {
        const AXIS_FRICTION_LIMITS& limits = m_cdLodrin.axtlFriction[axis];
        m_pvEncoderChange.anCoords[axis] = limits.nEncoderChange;
        m_vvVoltageIncr.afVoltages[axis] = limits.fVoltageIncr;
        m_vvVoltageChange.afVoltages[axis] = limits.fVoltageChange;
    }
    enable_tharlen_forces(csTharlenID);
}

void qtTharlenTest::onClickStartFrictionTest() {
    enable_tharlen_forces(csTharlenID);
    frictionTestTimer->start(1);
    startFrictionTest = true;
}

// --- The machine -----------------------------------------------------------------------------------

/// The count of still steps stays, so that the next axis starts after a single one where the arm rests already.
static void endFrictionAxis(qtTharlenTest& window, const long* encoders) {
    float& ramp = window.m_vvMoveIncr.afVoltages[window.m_nAxis];
    window.m_pvMoveResult.anCoords[window.m_nAxis] =
        static_cast<int>(window.m_anLastEncoders[window.m_nAxis] - encoders[window.m_nAxis]);
    window.m_vvMoveResult.afVoltages[window.m_nAxis] = ramp;
    ramp = 0;
    if (++window.m_nAxis >= 3) {
        window.m_nStage = Finish;
        return;
    }
    for (int i = 0; i < 3; ++i)
        window.m_anLastEncoders[i] = encoders[i];
    window.m_nStage = AwaitRest;
}

static int rampFriction(qtTharlenTest& window) {
    const int status = window.SendVoltages(window.csTharlenID, window.m_vvMoveIncr.afVoltages);
    if (status != 0)
        return status;
    long encoders[6] = {};
    get_encoder_values(window.csTharlenID, encoders);
    float& ramp = window.m_vvMoveIncr.afVoltages[window.m_nAxis];
    const long moved = qAbs(window.m_anLastEncoders[window.m_nAxis] - encoders[window.m_nAxis]);
    if (moved >= window.m_pvEncoderChange.anCoords[window.m_nAxis]
        || ramp >= window.m_vvMaxVoltage.afVoltages[window.m_nAxis])
        endFrictionAxis(window, encoders);
    else
        ramp = static_cast<float>(static_cast<double>(ramp) + kRampStep);
    return 0;
}

static void finishFrictionTest(qtTharlenTest& window) {
    auto& ui = window.ui;
    const RunSeen seen = window.m_frictionWatch.end();
    forcesOff(window);
    startFrictionTest = false;
    window.frictionTestTimer->stop();
    window.updateFrictionTestResults();
    ui.startFrictionTest_button->setEnabled(false);
    ui.friction_textBox->append("Friction Test Complete..\n Click 'Next'to continue testing..");
    bool unmoved[3];
    for (int i = 0; i < 3; ++i)
        unmoved[i] = qAbs(window.m_pvMoveResult.anCoords[i]) < window.m_pvEncoderChange.anCoords[i];
    appendNote(ui.friction_textBox, seen, unmoved, "What is shown there is the highest voltage, not the friction.");
    window.m_nStage = Start;
}

int qtTharlenTest::runFrictionTest() {
    switch (m_nStage) {
        case Start:
            m_nAxis = 0;
            m_nSameEncoderCnt = 0;
            m_vvMoveMaxVoltage = m_vvMaxVoltage;
            m_frictionWatch.start();
            m_nStage = AwaitRest;
            break;
        case AwaitRest: {
            // Nothing is sent here: the last axis keeps its voltage until the next ramp starts.
            long encoders[6] = {};
            get_encoder_values(csTharlenID, encoders);
            if (isArmStill(*this, encoders))
                m_nStage = Ramp;
            break;
        }
        case Ramp:
            return rampFriction(*this);
        case Finish:
            finishFrictionTest(*this);
            break;
        default:
            break;
    }
    return 0;
}

// --- Verdicts --------------------------------------------------------------------------------------

// A figure of 0 V is no measurement and fails.
void qtTharlenTest::updateFrictionTestResults() {
    bool axisHasPassed[3] = {};
    for (int i = 0; i < 3 && modelLine().mechanicalTests; ++i) {
        const float voltage = m_vvMoveResult.afVoltages[i];
        repData->nFrictionChange[i] = m_pvMoveResult.anCoords[i];
        repData->fFrictionVoltage[i] = voltage;
        axisHasPassed[i] = voltage != 0.0f && m_vvVoltageChange.afVoltages[i] >= voltage;
        repData->bFrictionPass[i] = axisHasPassed[i];
    }
    QLabel* const values[3] = {ui.x_voltage, ui.y_voltage, ui.z_voltage};
    QPushButton* const results[3] = {ui.x_friction_result, ui.y_friction_result, ui.z_friction_result};
    for (int i = 0; i < 3; ++i) {
        values[i]->setNum(static_cast<double>(kDacPerVolt * repData->fFrictionVoltage[i]) / kOrdaDacPerMilliNm);
        showVerdict(results[i], axisHasPassed[i]);
    }
}
