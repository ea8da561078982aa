// The "Test Friction" tab: how much voltage makes each axis of an Orda start to move. One axis after the other is
// left to rest and then ramped until its encoder has moved or the limit is reached.
#include "modellines.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"

namespace {

enum Stage { Start, AwaitRest, Ramp, Finish };

constexpr double kRampStep = 0.0001;  ///< V a step, whatever the limits' increment says

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

// Neither this tab nor "Test Capstan" has a leaving action: a run that was started ends by itself.
void qtTharlenTest::enterTestFriction() {
    if (csTharlenID < 0)
        return;
    m_form.putBack({ui.x_voltage, ui.y_voltage, ui.z_voltage});
    initFrictionTest();
}

// --- Preparing and starting ------------------------------------------------------------------------

void qtTharlenTest::initFrictionTest() {
    clearMove();
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
            if (isArmStill(encoders))
                m_nStage = Ramp;
            break;
        }
        case Ramp:
            return rampFriction();
        case Finish:
            finishFrictionTest();
            break;
        default:
            break;
    }
    return 0;
}

int qtTharlenTest::rampFriction() {
    const int status = SendVoltages(csTharlenID, m_vvMoveIncr.afVoltages);
    if (status != 0)
        return status;
    long encoders[6] = {};
    get_encoder_values(csTharlenID, encoders);
    float& ramp = m_vvMoveIncr.afVoltages[m_nAxis];
    const long moved = qAbs(m_anLastEncoders[m_nAxis] - encoders[m_nAxis]);
    if (moved >= m_pvEncoderChange.anCoords[m_nAxis] || ramp >= m_vvMaxVoltage.afVoltages[m_nAxis])
        endFrictionAxis(encoders);
    else
        ramp = static_cast<float>(static_cast<double>(ramp) + kRampStep);
    return 0;
}

/// The count of still steps stays, so that the next axis starts after a single one where the arm rests already.
void qtTharlenTest::endFrictionAxis(const long* encoders) {
    float& ramp = m_vvMoveIncr.afVoltages[m_nAxis];
    m_pvMoveResult.anCoords[m_nAxis] = static_cast<int>(m_anLastEncoders[m_nAxis] - encoders[m_nAxis]);
    m_vvMoveResult.afVoltages[m_nAxis] = ramp;
    ramp = 0;
    if (++m_nAxis >= 3) {
        m_nStage = Finish;
        return;
    }
    for (int i = 0; i < 3; ++i)
        m_anLastEncoders[i] = encoders[i];
    m_nStage = AwaitRest;
}

void qtTharlenTest::finishFrictionTest() {
    const RunSeen seen = m_frictionWatch.end();
    forcesOff();
    startFrictionTest = false;
    frictionTestTimer->stop();
    updateFrictionTestResults();
    ui.startFrictionTest_button->setEnabled(false);
    ui.friction_textBox->append("Friction Test Complete..\n Click 'Next'to continue testing..");
    bool unmoved[3];
    for (int i = 0; i < 3; ++i)
        unmoved[i] = qAbs(m_pvMoveResult.anCoords[i]) < m_pvEncoderChange.anCoords[i];
    appendNote(ui.friction_textBox, seen, unmoved, "What is shown there is the highest voltage, not the friction.");
    m_nStage = Start;
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
