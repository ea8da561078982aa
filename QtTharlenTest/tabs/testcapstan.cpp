// The "Test Capstan" tab: whether an Orda's cables slip on their capstans. A reference run notes the encoders at
// the stops and then pushes as hard as the limits allow; a verify run notes them again. What differs is slip.
#include <cmath>

#include "mechanicalmove.h"
#include "modellines.h"
#include "motorsoff.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"
#include "tabs.h"

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

void enterTestCapstan(qtTharlenTest& window) {
    if (window.csTharlenID >= 0)
        window.initCapstanRefTest();
}

// --- Preparing and starting ------------------------------------------------------------------------

static void loadCapstanLimits(qtTharlenTest& window) {
    window.m_vvMaxVoltage = window.m_cdLodrin.vvCapstanMaxVoltage;
    window.m_nTimeAtMax = window.m_cdLodrin.nCapstanTimeAtMax;
    for (int axis = 0; axis < 3; ++axis) {
        window.m_pvEncoderChange.anCoords[axis] = window.m_cdLodrin.axclCapstan[axis].nEncoderChange;
        window.m_vvDamping.afVoltages[axis] = window.m_cdLodrin.axclCapstan[axis].fDamping;
    }
}

void qtTharlenTest::initCapstanRefTest() {
    clearMove(*this);
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
        loadCapstanLimits(*this);
    } else {
        ui.capstan_textBox->clear();
        ui.capstan_textBox->append(kNotAvailable);
    }
    m_vvVoltageIncr = kDrive;
}

/// The reference stays: the verdict needs it, and a verify run may be repeated against it.
void qtTharlenTest::initCapstanVerifyTest() {
    clearMove(*this);
    m_vvDamping = {};
    if (modelLine().mechanicalTests) {
        ui.capstanTestGroupBox->setEnabled(true);
        loadCapstanLimits(*this);
    } else {
        ui.startCapstanTest_button->setEnabled(false);
        ui.verifyCapstanTest_button->setEnabled(false);
        ui.capstanTestGroupBox->setEnabled(false);
        ui.capstan_textBox->append(kNotAvailable);
    }
    m_vvVoltageIncr = kDrive;
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

static void startSeek(qtTharlenTest& window, POS_VECTOR& stops) {
    for (long& encoder : window.m_anLastEncoders)
        encoder = 0;
    window.m_nSameEncoderCnt = 0;
    stops = {};
    window.m_vvMoveMaxVoltage = window.m_vvMaxVoltage;
    window.m_seekStart.reset();
    window.m_capstanWatch.start();
    window.m_nStage = SeekStops;
}

static bool seekStops(qtTharlenTest& window, POS_VECTOR& stops) {
    long encoders[6] = {};
    get_encoder_values(window.csTharlenID, encoders);
    if (!window.m_seekStart)
        window.m_seekStart = {encoders[0], encoders[1], encoders[2]};
    const bool still = isArmStill(window, encoders);
    for (int i = 0; i < 3 && still; ++i)
        stops.anCoords[i] = static_cast<int>(encoders[i]);
    float velocity[3] = {};
    get_tharlen_vel(window.csTharlenID, velocity);
    float volts[3];
    for (int i = 0; i < 3; ++i)
        volts[i] = static_cast<float>(static_cast<double>(window.m_vvVoltageIncr.afVoltages[i])
                                      + static_cast<double>(velocity[i]) * kDamping[i]);
    for (float& volt : volts)
        if (!std::isfinite(volt))
            volt = 0;  // a velocity that is no number drives nothing
    window.SendVoltages(window.csTharlenID, volts);
    return still;
}

static void pushOnStops(qtTharlenTest& window) {
    if (++window.m_nTicksPushingOnStops > window.m_nTimeAtMax) {
        window.m_nStage = ReferenceDone;
        return;
    }
    VOLTAGE_VECTOR most = window.m_vvMoveMaxVoltage;
    window.SendVoltages(window.csTharlenID, most.afVoltages);
}

// Meant: startCapstanTest stays raised, and the last voltages go on being sent, with the forces off, until the verify
// run has ended.
static void finishCapstanReference(qtTharlenTest& window) {
    auto& ui = window.ui;
    const RunSeen seen = window.m_capstanWatch.end();
    forcesOff(window);
    verifyCapstanTest = false;
    window.capstanTestRefTimer->stop();
    ui.startCapstanTest_button->setEnabled(false);
    ui.capstan_textBox->append("Reference complete. Now, press the 'RUN VERIFY' button.");
    bool unmoved[3] = {};
    for (std::size_t i = 0; i < 3 && window.m_seekStart; ++i)
        unmoved[i] = qAbs(window.m_pvMoveResult1.anCoords[i] - (*window.m_seekStart)[i]) <= kLeastWay;
    appendNote(ui.capstan_textBox, seen, unmoved,
               "If such an axis was not at its stop when the run began, its verdict says nothing about its cable.");
    ui.verifyCapstanTest_button->setEnabled(true);
    window.m_nStage = Start;
}

int qtTharlenTest::runCapstanTest_ref() {
    switch (m_nStage) {
        case Start:
            startSeek(*this, m_pvMoveResult1);
            break;
        case SeekStops:
            if (seekStops(*this, m_pvMoveResult1)) {
                m_nTicksPushingOnStops = 0;
                m_nStage = Push;
            }
            break;
        case Push:
            pushOnStops(*this);
            break;
        case ReferenceDone:
            finishCapstanReference(*this);
            break;
        default:
            break;
    }
    return 0;
}

// This run began at the stops: that no axis moved is as it should be.
static void finishCapstanVerify(qtTharlenTest& window) {
    const RunSeen seen = window.m_capstanWatch.end();
    window.updateCapstanTestResults();
    forcesOff(window);
    startCapstanTest = false;
    verifyCapstanTest = false;
    window.capstanTestTimer->stop();
    window.ui.capstan_textBox->append("\nCapstan Test complete..\n Please press the next button to proceed.");
    appendNote(window.ui.capstan_textBox, seen, {}, "");
}

int qtTharlenTest::runCapstanTest_verify() {
    switch (m_nStage) {
        case Start:
            startSeek(*this, m_pvMoveResult2);
            break;
        case SeekStops:
            if (seekStops(*this, m_pvMoveResult2))
                m_nStage = kVerifyDone;
            break;
        case kVerifyDone:
            finishCapstanVerify(*this);
            break;
        default:
            break;
    }
    return 0;
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
