// How the closed-loop encoder test takes over the gains and route of the line, and the ways into and out of a step.
#include "modellines.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr int kFilterOrder = 2;
constexpr int kSettleStart = 500;  ///< ticks

void clearFilter(iir_structure& filter) {
    filter.order = kFilterOrder;
    filter.numerator.fill(0.0f);
    filter.denominator.fill(0.0f);
    filter.zbuffer.fill(0.0f);
}

/// Proportional, integral and differential control as one filter whose pole lies at 1.
void setGains(iir_structure& filter, const AxisGains& gains) {
    constexpr float r = 1.0f;
    filter.numerator[0] = gains.p + gains.i + gains.d;
    filter.numerator[1] = -2.0f * r * gains.d - r * gains.p;
    filter.numerator[2] = r * r * gains.d;
    filter.denominator[0] = 1.0f;
    filter.denominator[1] = -r;
    filter.denominator[2] = 0.0f;
}

}  // namespace

void qtTharlenTest::initEncoderTestPars() {
    for (iir_structure& filter : m_iir_data)
        clearFilter(filter);
    setupPIDGains();
    m_bServoControl = false;
    m_iButtonStep = 0;
    m_SettleTolerance = 2;  // for every line, whatever its own
    m_MotionToleranceTimeCounter = kMotionTolerance;
    if (!modelLine().setsShutdown)
        return;
    const auto abort = static_cast<float>(ui.encoderTestTempSpinBox->value());
    const float shutdown[6] = {abort, abort, abort, 0, 0, 0};
    set_tharlen_temp_advance(csTharlenID, kShutdownTemperature, shutdown);
}

// A line without gains keeps the limits, signs and route of the last one: with filters of zero nothing
// follows them, and the test is not meant for it.
void qtTharlenTest::setupPIDGains() {
    m_lDACvalues.fill(0);
    m_bServoControl = false;
    m_bReached = false;
    m_iReachDestination.fill(kSettleStart);
    m_MotionToleranceTimeCounter = kMotionTolerance;
    Destination[0].fill(0);
    const EncoderTestLine* line = modelLine().endurance;
    if (!line)
        return;
    constexpr long kStart[3] = {0, -500, 0};
    m_lDestination.store(kStart);
    m_SettleTolerance = line->settleTolerance;
    m_lStepSize = line->stepSize;
    m_fPosMaxDAC = line->maxDac;
    m_fNegMaxDAC = -line->maxDac;
    for (int axis = 0; axis < 3; ++axis) {
        setGains(m_iir_data[axis], line->axes[axis]);
        m_fParity[axis] = line->axes[axis].parity;
        m_fOffset[axis] = line->axes[axis].offset;
    }
    for (int row = 0; row < kRouteRows; ++row)
        Destination[row].store(line->route[row]);
}

static void seekDestination(qtTharlenTest& window, const long* destination, const long* encoders) {
    const long step = window.m_lStepSize;
    window.m_lDestination.store(destination);
    window.m_lDesirePos.store(encoders);
    for (int axis = 0; axis < 3; ++axis)
        window.m_lDeltaPos[axis] = encoders[axis] > destination[axis] ? -step : step;
    window.m_bReached = true;
}

void qtTharlenTest::UpdateDestinations(long* CurrentEncoders) {
    seekDestination(*this, Destination[m_iButtonStep].copy().data(), CurrentEncoders);
}

void qtTharlenTest::seekCenterDestination(long* CurrentEncoders) {
    constexpr long kCenter[3] = {0, 0, 0};
    seekDestination(*this, kCenter, CurrentEncoders);
}

// startEncoderTest stays raised: the ticks go on and send zero until the operator presses stop.
long* qtTharlenTest::abortMotion(int) {
    m_bServoControl = false;
    m_lDACvalues.fill(0);
    m_bReached = false;
    m_iReachDestination.fill(kSettleStart);
    for (iir_structure& filter : m_iir_data) {
        for (int i = 0; i <= filter.order; ++i)
            filter.zbuffer[i] = 0.0f;
    }
    return encoderTestCommands(*this);
}
