// The servo side of the closed-loop encoder test: position control along a route, test points that push the arm
// to its stops, and the faults that end the motion. All of it runs on the servo thread; what it has to say goes
// to the window as events.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "modellines.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tick.h"

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

void encoderTestBranch(qtTharlenTest& window, int id) {
    long encoders[6] = {};
    get_encoder_values(id, encoders);
    encoderTestEncoders.store(encoders);
    command_motor_dac_values(id, window.runEncoderTest(encoders));
}

static void pushAxes(qtTharlenTest& window) {
    const EncoderTestLine* line = window.modelLine().endurance;
    if (!line)
        return;
    for (int axis = 0; axis < 3; ++axis) {
        if (window.m_lDACvalues[axis] < window.m_fPosMaxDAC / line->pushPart[axis])
            window.m_lDACvalues[axis] = window.m_lDACvalues[axis] + line->pushStep[axis];
    }
}

static bool tellWindow(qtTharlenTest& window, EncoderTestEvent::Kind kind, int axis, double first, double second = 0,
                       double third = 0) {
    EncoderTestEvent event;
    event.kind = kind;
    event.axis = axis;
    event.time = std::time(nullptr);
    event.values[0] = first;
    event.values[1] = second;
    event.values[2] = third;
    return window.m_encoderTestEvents.push(event);
}

static void logTestPoint(qtTharlenTest& window, const long* encoders) {
    if (encoderTestDegrees) {
        float angles[6] = {};
        get_tharlen_joint_angles(window.csTharlenID, angles);
        tellWindow(window, EncoderTestEvent::TestPointAngles, 0, angles[0], angles[1], angles[2]);
    } else {
        tellWindow(window, EncoderTestEvent::TestPointCounts, 0, encoders[0], encoders[1], encoders[2]);
    }
}

static void watchSettling(qtTharlenTest& window, const long* encoders) {
    for (int axis = 0; axis < 3; ++axis) {
        if (std::labs(encoders[axis] - window.m_lDestination[axis]) > window.m_SettleTolerance)
            window.m_iReachDestination[axis] = kSettleTicks;
        else if (window.m_iReachDestination[axis] > 0)
            window.m_iReachDestination[axis] = window.m_iReachDestination[axis] - 1;
    }
}

// Neither route nor faults nor filters run meanwhile. Where the push leaves the arm shows a drift of its
// encoders from one line of the log to the next.
static void runTestPoint(qtTharlenTest& window, long* encoders) {
    pushAxes(window);
    if (testPointTimer.elapsed() < kTestPoint)
        return;
    logTestPoint(window, encoders);
    seekingTestPoint = false;
    window.m_iButtonStep = 0;
    totalLoops = totalLoops + 1;
    window.UpdateDestinations(encoders);
    watchSettling(window, encoders);
}

static void startTestPoint() {
    seekingTestPoint = true;
    testPointTimer.restart();
}

// Only later ticks see it: this one runs to its end. After an abort the arm is not pushed any more.
static void checkTimeLimit(qtTharlenTest& window, std::int64_t elapsed) {
    if (encoderTestForever || elapsed < encoderTestMaxTime)
        return;
    if (window.m_iButtonStep == 2) {
        if (tellWindow(window, EncoderTestEvent::Stop, 0, 0))
            startEncoderTest = false;
    } else if (window.m_iButtonStep == 0 && window.m_bServoControl) {
        startTestPoint();
    }
}

// Only an edge that comes alone and on the way of its own step is noted.
static void noteHomeSensors(qtTharlenTest& window, const long* encoders, const float* temperatures) {
    const CIOConnection* connection = get_connection_data(window.csTharlenID);
    if (!connection)
        return;
    const unsigned current = loadRelaxed(connection->m_portInput.ucMiscIn) & kHomeSensorMask;
    const unsigned diff = window.m_lastsensor ^ current;
    window.m_lastsensor = current;
    for (int axis = 0; axis < 3; ++axis) {
        if (diff != kHomeSensors[axis].bit || window.m_iButtonStep != kHomeSensors[axis].step)
            continue;
        const bool on = (current & diff) != 0;
        (on ? window.ZsensorOn : window.ZsensorOff)[axis] = encoders[axis];
        if (std::isfinite(temperatures[axis]))
            (on ? window.TemperatureOn : window.TemperatureOff)[axis] = static_cast<long>(temperatures[axis] * 1000.0);
        tellWindow(window, EncoderTestEvent::SensorEdge, axis, encoders[axis], temperatures[axis], on);
    }
}

// Meant: one counter for all axes and both faults, and one axis inside the band fills it again. An axis that lags
// alone never ends the run.
static bool withinReach(qtTharlenTest& window, int axis, float error) {
    if (error > -kMotionBand && error < kMotionBand) {
        window.m_MotionToleranceTimeCounter = kMotionTolerance;
        return true;
    }
    window.m_MotionToleranceTimeCounter = window.m_MotionToleranceTimeCounter - 1;
    if (window.m_MotionToleranceTimeCounter >= 1)
        return true;
    window.m_MotionToleranceTimeCounter = kMotionTolerance;
    tellWindow(window, EncoderTestEvent::PositionError, axis, error);
    return false;
}

static bool coolEnough(qtTharlenTest& window, int axis, float temperature) {
    if (!(temperature < encoderTestAbortTemp)) {  // nor what is no number
        tellWindow(window, EncoderTestEvent::TemperatureError, axis, temperature);
        return false;
    }
    if (temperature >= nextTempWarning) {
        tellWindow(window, EncoderTestEvent::TemperatureWarning, axis, temperature);
        nextTempWarning = nextTempWarning + kWarningStep;
    }
    return true;
}

// Here the counter stays where it ran out.
static bool withinLimits(qtTharlenTest& window, int axis, int command) {
    if (command >= window.m_fNegMaxDAC && command <= window.m_fPosMaxDAC)
        return true;
    window.m_MotionToleranceTimeCounter = window.m_MotionToleranceTimeCounter - 1;
    if (window.m_MotionToleranceTimeCounter >= 1)
        return true;
    tellWindow(window, EncoderTestEvent::DacError, axis, command);
    return false;
}

static bool controlAxis(qtTharlenTest& window, int axis, long encoder, float temperature) {
    if (std::labs(window.m_lDesirePos[axis] - window.m_lDestination[axis]) <= std::labs(window.m_lDeltaPos[axis]))
        window.m_lDesirePos[axis] = window.m_lDestination[axis].load();
    else
        window.m_lDesirePos[axis] = window.m_lDesirePos[axis] + window.m_lDeltaPos[axis];

    const auto error = static_cast<float>(encoder - window.m_lDesirePos[axis]);
    if (!withinReach(window, axis, error) || !coolEnough(window, axis, temperature))
        return false;
    const float wanted = (window.m_fOffset[axis] + filterStep(window.m_iir_data[axis], error)) * window.m_fParity[axis];
    const auto command = static_cast<int>(std::clamp(wanted, -kIntegerRange, kIntegerRange));
    if (!withinLimits(window, axis, command))
        return false;
    window.m_lDACvalues[axis] = std::clamp<int>(command, window.m_fNegMaxDAC, window.m_fPosMaxDAC);
    return true;
}

/// Once in a process, after the first loop of its first run.
static void triggerConnectionError(qtTharlenTest& window) {
    if (window.b_TriggerEPPError)
        return;
    if (CIOConnection* connection = get_connection_data(window.csTharlenID))
        connection->m_bErrorTrigger = true;
    window.b_TriggerEPPError = true;
}

static void nextStep(qtTharlenTest& window, long* encoders) {
    const int next = window.m_iButtonStep + 1;
    window.m_iButtonStep = next == kRouteRows ? 1 : next;
    if (next == kRouteRows) {
        totalLoops = totalLoops + 1;
        const int every = encoderTestLoops;
        if (every > 0 && totalLoops % every == 0 && encoderTestPeriodic)
            startTestPoint();
        triggerConnectionError(window);
    }
    window.m_bReached = false;
    window.m_MotionToleranceTimeCounter = kMotionTolerance;
    window.UpdateDestinations(encoders);
}

// A step has arrived when all axes have stayed at its destination together; the run's first one, at row 0, is
// a test point.
static void followRoute(qtTharlenTest& window, long* encoders) {
    if (!window.m_bReached)
        return;
    const auto left = window.m_iReachDestination.copy();
    if (std::all_of(left.begin(), left.end(), [](int ticks) { return ticks < 1; })) {
        if (totalLoops == 0 && window.m_iButtonStep == 0) {
            startTestPoint();
            return;
        }
        nextStep(window, encoders);
    }
    watchSettling(window, encoders);
}

long* qtTharlenTest::runEncoderTest(long*) {
    long encoders[6] = {};
    get_encoder_values(csTharlenID, encoders);
    const std::int64_t elapsed = encoderTestTime.elapsed();
    if (elapsed < kQuiet)
        return encoderTestCommands(*this);
    if (elapsed < kTakeUp)
        m_lDesirePos.store(encoders);
    if (seekingTestPoint) {
        runTestPoint(*this, encoders);
        return encoderTestCommands(*this);
    }
    checkTimeLimit(*this, elapsed);
    float temperatures[6] = {};
    get_tharlen_temp(csTharlenID, temperatures);
    if (modelLine().calibration == Calibration::HomeSensors)
        noteHomeSensors(*this, encoders, temperatures);
    if (m_bServoControl) {
        for (int axis = 0; axis < 3; ++axis) {
            if (controlAxis(*this, axis, encoders[axis], temperatures[axis]))
                continue;
            seekingTestPoint = false;  // one that this tick's time limit started would push the aborted arm
            return abortMotion(csTharlenID);
        }
    }
    followRoute(*this, encoders);
    return encoderTestCommands(*this);
}

/// A plain copy for the device.
long* encoderTestCommands(qtTharlenTest& window) {
    for (int i = 0; i < 6; ++i)
        window.m_encoderTestDac[i] = window.m_lDACvalues[i];
    return window.m_encoderTestDac;
}

// --- Test points -----------------------------------------------------------------------------------

// --- Home sensors ----------------------------------------------------------------------------------

// --- Control and its faults ------------------------------------------------------------------------

// --- The route -------------------------------------------------------------------------------------
