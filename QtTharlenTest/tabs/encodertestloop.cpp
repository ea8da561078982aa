// The servo side of the closed-loop encoder test: position control along a route, test points that push the arm
// to its stops, and the faults that end the motion. All of it runs on the servo thread; what it has to say goes
// to the window as events.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "modellines.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

constexpr std::int64_t kQuiet = 500;       ///< ms in which zero commands go out
constexpr std::int64_t kTakeUp = 750;      ///< ms until which the set point follows the arm
constexpr std::int64_t kTestPoint = 5000;  ///< ms
constexpr float kMotionBand = 150.0f;      ///< counts of error, exclusive
constexpr int kSettleTicks = 100;
constexpr float kWarningStep = 5.0f;   ///< degrees Celsius
constexpr float kIntegerRange = 1e9f;  ///< far beyond every limit, and still an int

/// One tick of a filter: the direct form, all in float. A filter that was never set gives zero.
float filterStep(iir_structure& filter, float input) {
    const int order = filter.order;
    const float normaliser = filter.denominator[0];
    const float h = normaliser != 0.0f ? 1.0f / normaliser : 0.0f;
    float t = h * input;
    for (int j = 1; j <= order; ++j)
        t -= filter.zbuffer[j] * h * filter.denominator[j];
    float r = filter.numerator[0] * t;
    for (int j = 1; j <= order; ++j)
        r += filter.numerator[j] * filter.zbuffer[j];
    for (int j = order; j >= 2; --j)
        filter.zbuffer[j] = filter.zbuffer[j - 1].load();
    filter.zbuffer[1] = t;
    return r;
}

/// The home sensor of each axis, and the step on whose way it is passed.
struct HomeSensorStep {
    UCHAR bit;
    int step;
};
constexpr HomeSensorStep kHomeSensors[3] = {{kHomeSensor[0], 3}, {kHomeSensor[1], 4}, {kHomeSensor[2], 5}};

}  // namespace

void qtTharlenTest::encoderTestBranch(int id) {
    long encoders[6] = {};
    get_encoder_values(id, encoders);
    encoderTestEncoders.store(encoders);
    command_motor_dac_values(id, runEncoderTest(encoders));
}

long* qtTharlenTest::runEncoderTest(long*) {
    long encoders[6] = {};
    get_encoder_values(csTharlenID, encoders);
    const std::int64_t elapsed = encoderTestTime.elapsed();
    if (elapsed < kQuiet)
        return encoderTestCommands();
    if (elapsed < kTakeUp)
        m_lDesirePos.store(encoders);
    if (seekingTestPoint) {
        runTestPoint(encoders);
        return encoderTestCommands();
    }
    checkTimeLimit(elapsed);
    float temperatures[6] = {};
    get_tharlen_temp(csTharlenID, temperatures);
    if (modelLine().calibration == Calibration::HomeSensors)
        noteHomeSensors(encoders, temperatures);
    if (m_bServoControl) {
        for (int axis = 0; axis < 3; ++axis) {
            if (controlAxis(axis, encoders[axis], temperatures[axis]))
                continue;
            seekingTestPoint = false;  // one that this tick's time limit started would push the aborted arm
            return abortMotion(csTharlenID);
        }
    }
    followRoute(encoders);
    return encoderTestCommands();
}

/// A plain copy for the device.
long* qtTharlenTest::encoderTestCommands() {
    for (int i = 0; i < 6; ++i)
        m_encoderTestDac[i] = m_lDACvalues[i];
    return m_encoderTestDac;
}

bool qtTharlenTest::tellWindow(EncoderTestEvent::Kind kind, int axis, double first, double second, double third) {
    EncoderTestEvent event;
    event.kind = kind;
    event.axis = axis;
    event.time = std::time(nullptr);
    event.values[0] = first;
    event.values[1] = second;
    event.values[2] = third;
    return m_encoderTestEvents.push(event);
}

// Only later ticks see it: this one runs to its end. After an abort the arm is not pushed any more.
void qtTharlenTest::checkTimeLimit(std::int64_t elapsed) {
    if (encoderTestForever || elapsed < encoderTestMaxTime)
        return;
    if (m_iButtonStep == 2) {
        if (tellWindow(EncoderTestEvent::Stop, 0, 0))
            startEncoderTest = false;
    } else if (m_iButtonStep == 0 && m_bServoControl) {
        startTestPoint();
    }
}

// --- Test points -----------------------------------------------------------------------------------

void qtTharlenTest::startTestPoint() {
    seekingTestPoint = true;
    testPointTimer.restart();
}

// Neither route nor faults nor filters run meanwhile. Where the push leaves the arm shows a drift of its
// encoders from one line of the log to the next.
void qtTharlenTest::runTestPoint(long* encoders) {
    pushAxes();
    if (testPointTimer.elapsed() < kTestPoint)
        return;
    logTestPoint(encoders);
    seekingTestPoint = false;
    m_iButtonStep = 0;
    totalLoops = totalLoops + 1;
    UpdateDestinations(encoders);
    watchSettling(encoders);
}

void qtTharlenTest::pushAxes() {
    const EncoderTestLine* line = encoderTestLine();
    if (!line)
        return;
    for (int axis = 0; axis < 3; ++axis) {
        if (m_lDACvalues[axis] < m_fPosMaxDAC / line->pushPart[axis])
            m_lDACvalues[axis] = m_lDACvalues[axis] + line->pushStep[axis];
    }
}

void qtTharlenTest::logTestPoint(const long* encoders) {
    if (encoderTestDegrees) {
        float angles[6] = {};
        get_tharlen_joint_angles(csTharlenID, angles);
        tellWindow(EncoderTestEvent::TestPointAngles, 0, angles[0], angles[1], angles[2]);
    } else {
        tellWindow(EncoderTestEvent::TestPointCounts, 0, encoders[0], encoders[1], encoders[2]);
    }
}

// --- Home sensors ----------------------------------------------------------------------------------

// Only an edge that comes alone and on the way of its own step is noted.
void qtTharlenTest::noteHomeSensors(const long* encoders, const float* temperatures) {
    const CIOConnection* connection = get_connection_data(csTharlenID);
    if (!connection)
        return;
    const unsigned current = loadRelaxed(connection->m_portInput.ucMiscIn) & kHomeSensorMask;
    const unsigned diff = m_lastsensor ^ current;
    m_lastsensor = current;
    for (int axis = 0; axis < 3; ++axis) {
        if (diff != kHomeSensors[axis].bit || m_iButtonStep != kHomeSensors[axis].step)
            continue;
        const bool on = (current & diff) != 0;
        (on ? ZsensorOn : ZsensorOff)[axis] = encoders[axis];
        if (std::isfinite(temperatures[axis]))
            (on ? TemperatureOn : TemperatureOff)[axis] = static_cast<long>(temperatures[axis] * 1000.0);
        tellWindow(EncoderTestEvent::SensorEdge, axis, encoders[axis], temperatures[axis], on);
    }
}

// --- Control and its faults ------------------------------------------------------------------------

bool qtTharlenTest::controlAxis(int axis, long encoder, float temperature) {
    if (std::labs(m_lDesirePos[axis] - m_lDestination[axis]) <= std::labs(m_lDeltaPos[axis]))
        m_lDesirePos[axis] = m_lDestination[axis].load();
    else
        m_lDesirePos[axis] = m_lDesirePos[axis] + m_lDeltaPos[axis];

    const auto error = static_cast<float>(encoder - m_lDesirePos[axis]);
    if (!withinReach(axis, error) || !coolEnough(axis, temperature))
        return false;
    const float wanted = (m_fOffset[axis] + filterStep(m_iir_data[axis], error)) * m_fParity[axis];
    const auto command = static_cast<int>(std::clamp(wanted, -kIntegerRange, kIntegerRange));
    if (!withinLimits(axis, command))
        return false;
    m_lDACvalues[axis] = std::clamp<int>(command, m_fNegMaxDAC, m_fPosMaxDAC);
    return true;
}

// Meant: one counter for all axes and both faults, and one axis inside the band fills it again. An axis that lags
// alone never ends the run.
bool qtTharlenTest::withinReach(int axis, float error) {
    if (error > -kMotionBand && error < kMotionBand) {
        m_MotionToleranceTimeCounter = kMotionTolerance;
        return true;
    }
    m_MotionToleranceTimeCounter = m_MotionToleranceTimeCounter - 1;
    if (m_MotionToleranceTimeCounter >= 1)
        return true;
    m_MotionToleranceTimeCounter = kMotionTolerance;
    tellWindow(EncoderTestEvent::PositionError, axis, error);
    return false;
}

bool qtTharlenTest::coolEnough(int axis, float temperature) {
    if (!(temperature < encoderTestAbortTemp)) {  // nor what is no number
        tellWindow(EncoderTestEvent::TemperatureError, axis, temperature);
        return false;
    }
    if (temperature >= nextTempWarning) {
        tellWindow(EncoderTestEvent::TemperatureWarning, axis, temperature);
        nextTempWarning = nextTempWarning + kWarningStep;
    }
    return true;
}

// Here the counter stays where it ran out.
bool qtTharlenTest::withinLimits(int axis, int command) {
    if (command >= m_fNegMaxDAC && command <= m_fPosMaxDAC)
        return true;
    m_MotionToleranceTimeCounter = m_MotionToleranceTimeCounter - 1;
    if (m_MotionToleranceTimeCounter >= 1)
        return true;
    tellWindow(EncoderTestEvent::DacError, axis, command);
    return false;
}

// --- The route -------------------------------------------------------------------------------------

// A step has arrived when all axes have stayed at its destination together; the run's first one, at row 0, is
// a test point.
void qtTharlenTest::followRoute(long* encoders) {
    if (!m_bReached)
        return;
    const auto left = m_iReachDestination.copy();
    if (std::all_of(left.begin(), left.end(), [](int ticks) { return ticks < 1; })) {
        if (totalLoops == 0 && m_iButtonStep == 0) {
            startTestPoint();
            return;
        }
        nextStep(encoders);
    }
    watchSettling(encoders);
}

void qtTharlenTest::nextStep(long* encoders) {
    const int next = m_iButtonStep + 1;
    m_iButtonStep = next == kRouteRows ? 1 : next;
    if (next == kRouteRows) {
        totalLoops = totalLoops + 1;
        const int every = encoderTestLoops;
        if (every > 0 && totalLoops % every == 0 && encoderTestPeriodic)
            startTestPoint();
        triggerConnectionError();
    }
    m_bReached = false;
    m_MotionToleranceTimeCounter = kMotionTolerance;
    UpdateDestinations(encoders);
}

/// Once in a process, after the first loop of its first run.
void qtTharlenTest::triggerConnectionError() {
    if (b_TriggerEPPError)
        return;
    if (CIOConnection* connection = get_connection_data(csTharlenID))
        connection->m_bErrorTrigger = true;
    b_TriggerEPPError = true;
}

void qtTharlenTest::watchSettling(const long* encoders) {
    for (int axis = 0; axis < 3; ++axis) {
        if (std::labs(encoders[axis] - m_lDestination[axis]) > m_SettleTolerance)
            m_iReachDestination[axis] = kSettleTicks;
        else if (m_iReachDestination[axis] > 0)
            m_iReachDestination[axis] = m_iReachDestination[axis] - 1;
    }
}
