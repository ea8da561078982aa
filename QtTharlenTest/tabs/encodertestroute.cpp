// What the closed-loop encoder test needs of each line, gains and route, and the ways into and out of a step.
#include "qttharlentest.h"

#include "servostate.h"

namespace {

constexpr int kFilterOrder = 2;
constexpr int kSettleStart = 500;  ///< ticks

// Axes, limit, step of the set point, settle tolerance; growth and part of the limit at test points; route.
// clang-format off
constexpr EncoderTestLine kOrda = {
    {{15.0f, 0.2f, 500.0f, 1.0f, 150.0f},
     {32.0f, 0.4f, 1500.0f, 1.0f, 255.0f},
     {15.5f, 0.35f, 1000.0f, -1.0f, 120.0f}},
    15000, 8, 2,
    {5, 2, 10}, {10, 5, 5},
    {{0, 0, 0},
     {0, -500, 0},
     {2243, -500, 0},
     {-2355, -500, 0},
     {0, -500, 0},
     {0, -3755, 2500},
     {0, -95, 500},
     {0, -200, 2205},
     {0, -200, -455}}};

constexpr AxisGains kCorvaleAxis{10.0f, 0.08f, 75.0f, 1.0f, 0.0f};
constexpr EncoderTestLine kCorvale = {
    {kCorvaleAxis, kCorvaleAxis, kCorvaleAxis},
    7000, 4, 1,
    {2, 1, 4}, {5, 2, 2},
    {{0, 0, 0},
     {0, 0, 0},
     {-8000, -15000, -7000},
     {8000, -3000, -6000},
     {8000, -11000, -8000},
     {-8000, -3000, 2000},
     {8000, -15000, -5000},
     {-8000, -3000, -6000},
     {-8000, -11000, -8000}}};

// The USB card counts the third axis the other way round.
constexpr EncoderTestLine kCorvaleUsb = {
    {{5.0f, 0.04f, 30.0f, 1.0f, 0.0f}, {5.0f, 0.04f, 30.0f, 1.0f, 0.0f}, {5.0f, 0.04f, 30.0f, -1.0f, 0.0f}},
    8500, 4, 1,
    {4, 4, 4}, {1, 1, 1},
    {{0, 0, 0},
     {0, 0, 0},
     {-8000, -15000, 7000},
     {8000, -3000, 6000},
     {8000, -11000, 8000},
     {-8000, -3000, -2000},
     {8000, -15000, 5000},
     {-8000, -3000, 6000},
     {-8000, -11000, 8000}}};
// clang-format on

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

const EncoderTestLine* qtTharlenTest::encoderTestLine() const {
    const CTHARLeNDevice* device = selectedDevice();
    if (!device)
        return nullptr;
    if (isOrda())
        return &kOrda;
    if (!isCorvale())
        return nullptr;
    return device->m_nCardType == kCardUsb ? &kCorvaleUsb : &kCorvale;
}

void qtTharlenTest::initEncoderTestPars() {
    for (iir_structure& filter : m_iir_data)
        clearFilter(filter);
    setupPIDGains();
    m_bServoControl = false;
    m_iButtonStep = 0;
    m_SettleTolerance = 2;  // for every line, whatever its own
    m_MotionToleranceTimeCounter = kMotionTolerance;
    if (!isCorvale())
        return;
    const auto abort = static_cast<float>(ui.encoderTestTempSpinBox->value());
    const float shutdown[6] = {abort, abort, abort, 0, 0, 0};
    set_tharlen_temp_advance(csTharlenID, kShutdownTemperature, shutdown);
}

// A model without a row keeps the limits, signs and route of the last one: with filters of zero nothing
// follows them, and the test is not meant for it.
void qtTharlenTest::setupPIDGains() {
    m_lDACvalues.fill(0);
    m_bServoControl = false;
    m_bReached = false;
    m_iReachDestination.fill(kSettleStart);
    m_MotionToleranceTimeCounter = kMotionTolerance;
    Destination[0].fill(0);
    const EncoderTestLine* line = encoderTestLine();
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

void qtTharlenTest::UpdateDestinations(long* CurrentEncoders) {
    seekDestination(Destination[m_iButtonStep].copy().data(), CurrentEncoders);
}

void qtTharlenTest::seekCenterDestination(long* CurrentEncoders) {
    constexpr long kCenter[3] = {0, 0, 0};
    seekDestination(kCenter, CurrentEncoders);
}

void qtTharlenTest::seekDestination(const long* destination, const long* encoders) {
    const long step = m_lStepSize;
    m_lDestination.store(destination);
    m_lDesirePos.store(encoders);
    for (int axis = 0; axis < 3; ++axis)
        m_lDeltaPos[axis] = encoders[axis] > destination[axis] ? -step : step;
    m_bReached = true;
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
    return encoderTestCommands();
}
