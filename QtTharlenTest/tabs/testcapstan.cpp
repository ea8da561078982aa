// The "Test Capstan" tab: whether an Orda's cables slip on their capstans. A reference run notes the encoders at
// the stops and then pushes as hard as the limits allow; a verify run notes them again. What differs is slip.
#include <cmath>

#include "modellines.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"

namespace {

enum Stage { Start, SeekStops, Push, ReferenceDone };
constexpr int kVerifyDone = 2;  ///< the verify run does not push, and stays here

constexpr VOLTAGE_VECTOR kDrive = {{0.2f, 0.35f, 0.3f}};  ///< towards the stops, V
/// V per mm/s of the endpoint. Meant: X has the other sign and a fifth of the size.
constexpr double kDamping[3] = {0.0001, -0.0005, -0.0005};

constexpr long kLeastWay = 20;  ///< counts; an axis that is driven to its stop goes further

constexpr char kNotAvailable[] = "Capstan test not available for this model..\n Please click next to go to next test";

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void qtTharlenTest::enterTestCapstan() {
    if (csTharlenID >= 0)
        initCapstanRefTest();
}

// --- Preparing and starting ------------------------------------------------------------------------

void qtTharlenTest::initCapstanRefTest() {
    clearMove();
    m_pvMoveResult = m_pvMoveResult1 = {};
    m_vvMoveResult = {};
    for (QPushButton* result : {ui.x_capstan_result, ui.y_capstan_result, ui.z_capstan_result})
        showNoVerdict(result);
    for (QLabel* value : {ui.x_capstan_volt, ui.y_capstan_volt, ui.z_capstan_volt})
        value->hide();
    const bool available = modelLine().mechanicalTests;
    ui.startCapstanTest_button->setEnabled(available);
    ui.verifyCapstanTest_button->setEnabled(false);
    ui.capstanTestGroupBox->setEnabled(available);
    if (available) {
        ui.capstan_textBox->setText("Move the Device to the center of the workspace.\n");
        ui.capstan_textBox->append(
            "Warning: Please ensure that the arm is free of any physical constraints across its entire range of "
            "motion in all three directions. \n");
        ui.capstan_textBox->append("When you are ready to proceed, press the 'RUN REFERENCE' button.");
        loadCapstanLimits();
    } else {
        ui.capstan_textBox->clear();
        ui.capstan_textBox->append(kNotAvailable);
    }
    m_vvVoltageIncr = kDrive;
}

/// The reference stays: the verdict needs it, and a verify run may be repeated against it.
void qtTharlenTest::initCapstanVerifyTest() {
    clearMove();
    m_vvDamping = {};
    if (modelLine().mechanicalTests) {
        ui.capstanTestGroupBox->setEnabled(true);
        loadCapstanLimits();
    } else {
        ui.startCapstanTest_button->setEnabled(false);
        ui.verifyCapstanTest_button->setEnabled(false);
        ui.capstanTestGroupBox->setEnabled(false);
        ui.capstan_textBox->append(kNotAvailable);
    }
    m_vvVoltageIncr = kDrive;
}

void qtTharlenTest::loadCapstanLimits() {
    m_vvMaxVoltage = m_cdLodrin.vvCapstanMaxVoltage;
    m_nTimeAtMax = m_cdLodrin.nCapstanTimeAtMax;
    for (int axis = 0; axis < 3; ++axis) {
        m_pvEncoderChange.anCoords[axis] = m_cdLodrin.axclCapstan[axis].nEncoderChange;
        m_vvDamping.afVoltages[axis] = m_cdLodrin.axclCapstan[axis].fDamping;
    }
}

void qtTharlenTest::onClickStartCapstanTest() {
    enable_tharlen_forces(csTharlenID);
    startCapstanTest = true;
    capstanTestRefTimer->start(1);
}

void qtTharlenTest::onClickVerifyCapstanTest() {
    initCapstanVerifyTest();
    enable_tharlen_forces(csTharlenID);
    verifyCapstanTest = true;
    capstanTestTimer->start(1);
}

// --- The machines ----------------------------------------------------------------------------------

int qtTharlenTest::runCapstanTest_ref() {
    switch (m_nStage) {
        case Start:
            startSeek(m_pvMoveResult1);
            break;
        case SeekStops:
            if (seekStops(m_pvMoveResult1)) {
                m_nTicksPushingOnStops = 0;
                m_nStage = Push;
            }
            break;
        case Push:
            pushOnStops();
            break;
        case ReferenceDone:
            finishCapstanReference();
            break;
        default:
            break;
    }
    return 0;
}

int qtTharlenTest::runCapstanTest_verify() {
    switch (m_nStage) {
        case Start:
            startSeek(m_pvMoveResult2);
            break;
        case SeekStops:
            if (seekStops(m_pvMoveResult2))
                m_nStage = kVerifyDone;
            break;
        case kVerifyDone:
            finishCapstanVerify();
            break;
        default:
            break;
    }
    return 0;
}

void qtTharlenTest::startSeek(POS_VECTOR& stops) {
    for (long& encoder : m_anLastEncoders)
        encoder = 0;
    m_nSameEncoderCnt = 0;
    stops = {};
    m_vvMoveMaxVoltage = m_vvMaxVoltage;
    m_seekStart.reset();
    m_capstanWatch.start();
    m_nStage = SeekStops;
}

bool qtTharlenTest::seekStops(POS_VECTOR& stops) {
    long encoders[6] = {};
    get_encoder_values(csTharlenID, encoders);
    if (!m_seekStart)
        m_seekStart = {encoders[0], encoders[1], encoders[2]};
    const bool still = isArmStill(encoders);
    for (int i = 0; i < 3 && still; ++i)
        stops.anCoords[i] = static_cast<int>(encoders[i]);
    float velocity[3] = {};
    get_tharlen_vel(csTharlenID, velocity);
    float volts[3];
    for (int i = 0; i < 3; ++i)
        volts[i] = static_cast<float>(static_cast<double>(m_vvVoltageIncr.afVoltages[i])
                                      + static_cast<double>(velocity[i]) * kDamping[i]);
    for (float& volt : volts)
        if (!std::isfinite(volt))
            volt = 0;  // a velocity that is no number drives nothing
    SendVoltages(csTharlenID, volts);
    return still;
}

void qtTharlenTest::pushOnStops() {
    if (++m_nTicksPushingOnStops > m_nTimeAtMax) {
        m_nStage = ReferenceDone;
        return;
    }
    VOLTAGE_VECTOR most = m_vvMoveMaxVoltage;
    SendVoltages(csTharlenID, most.afVoltages);
}

// Meant: startCapstanTest stays raised, and the last voltages go on being sent, with the forces off, until the verify
// run has ended.
void qtTharlenTest::finishCapstanReference() {
    const RunSeen seen = m_capstanWatch.end();
    forcesOff();
    verifyCapstanTest = false;
    capstanTestRefTimer->stop();
    ui.startCapstanTest_button->setEnabled(false);
    ui.capstan_textBox->append("Reference complete. Now, press the 'RUN VERIFY' button.");
    bool unmoved[3] = {};
    for (std::size_t i = 0; i < 3 && m_seekStart; ++i)
        unmoved[i] = qAbs(m_pvMoveResult1.anCoords[i] - (*m_seekStart)[i]) <= kLeastWay;
    appendNote(ui.capstan_textBox, seen, unmoved,
               "If such an axis was not at its stop when the run began, its verdict says nothing about its cable.");
    ui.verifyCapstanTest_button->setEnabled(true);
    m_nStage = Start;
}

// This run began at the stops: that no axis moved is as it should be.
void qtTharlenTest::finishCapstanVerify() {
    const RunSeen seen = m_capstanWatch.end();
    updateCapstanTestResults();
    forcesOff();
    startCapstanTest = false;
    verifyCapstanTest = false;
    capstanTestTimer->stop();
    ui.capstan_textBox->append("\nCapstan Test complete..\n Please press the next button to proceed.");
    appendNote(ui.capstan_textBox, seen, {}, "");
}

// --- Verdicts --------------------------------------------------------------------------------------

void qtTharlenTest::updateCapstanTestResults() {
    QPushButton* const results[3] = {ui.x_capstan_result, ui.y_capstan_result, ui.z_capstan_result};
    for (int i = 0; i < 3; ++i) {
        const int delta = qAbs(m_pvMoveResult2.anCoords[i] - m_pvMoveResult1.anCoords[i]);
        repData->nCapstanChange[i] = delta;
        bool axisHasPassed = false;
        if (modelLine().mechanicalTests) {
            axisHasPassed = delta <= m_pvEncoderChange.anCoords[i];
            repData->bCapstanPass[i] = axisHasPassed;
        }
        showVerdict(results[i], axisHasPassed);
    }
}
