// The servo tick: one function, called by the device library on its servo thread, and the activities it
// chooses from. No widget is read or written here and nothing waits, but for errorMessageSync.
#include "tick.h"
#include "qttharlentest.h"
#include "servostate.h"

// -2, the maximum force exceeded, turns the forces off here and on again in the passivity and default
// branches. Meant: the three differ. Where the limit of a Corvale has just switched off, the next tick asks anew.
static void boxBranch(qtTharlenTest& window, int id) {
    float devPos[3] = {};
    long lastDac[6] = {};
    long plastDac[6] = {};
    get_tharlen_pos(id, devPos);
    get_last_motor_dac_values(id, lastDac);
    for (int i = 0; i < 3; ++i)
        plastDac[i] = lastDac[i];

    const float* devForce = window.m_boxForce;
    window.m_limitSwitchedOff = false;
    if (isServoLoopRunning())
        devForce = window.calcForce(id, devPos, plastDac);
    const float sentForce[6] = {devForce[0], devForce[1], devForce[2], 0, 0, 0};
    const int status = send_tharlen_force(id, sentForce);

    if (is_tharlen_forces_enabled(id) == 0 && !window.m_limitSwitchedOff) {
        const int error = tickEnablesForces(window, id);
        if (error != 0)
            window.accumulateErrors(error);
    }
    if (status == kMaxForceExceeded)
        disable_tharlen_forces_no_wait(id);
}

static void passivityBranch(qtTharlenTest& window, int id) {
    float position[3] = {};
    get_tharlen_pos(id, position);
    const float* devForce = window.calcCustomForce(id, position);
    const float force[6] = {devForce[0], devForce[1], devForce[2], 0, 0, 0};
    passivityTestForce.store(force);
    if (send_tharlen_force_6dof(id, force) == kMaxForceExceeded)
        tickEnablesForces(window, id);
}

// Friction, capstan and verify share it: three flags, so that the window can tell the runs apart.
static void voltageBranch(qtTharlenTest& window, int id) {
    const auto volts = window.m_fVoltsToSend.copy();
    float sent[6] = {};
    window.accumulateErrors(command_motor_voltages(id, volts.data(), sent));
    window.m_fVoltsSent.store(sent);
}

static void servoRateBranch(qtTharlenTest& window, int id) {
    window.instHapticUpdateRate = get_tharlen_inst_rate(id);
    window.sampleHapticUpdateRate();
}

static void performanceForceBranch(qtTharlenTest& window, int id) {
    if (!window.m_forceGate.shut())
        enable_tharlen_forces_no_wait(id);
    if (sendForceChecked)
        send_tharlen_force_6dof(id, cForce.copy().data());
    else
        command_motor_dac_values(id, dac_values.copy().data());
}

// The command of the third axis climbs along a parabola in ticks. The first sample has the index -1, and
// samples ahead of the array or past its end are not stored, while the counter goes on.
static void frictionPerformanceBranch(int id) {
    long currentPosition[6] = {};
    float currentAngle[6] = {};
    float currentJVel[6] = {};
    get_encoder_values(id, currentPosition);
    get_tharlen_joint_angles(id, currentAngle);
    get_tharlen_joint_vel(id, currentJVel);

    const int index = jointVelocityIndex;
    if (index >= 0 && index < static_cast<int>(jointVelocity.size()))
        jointVelocity[index] = currentJVel[2];
    jointVelocityIndex = index + 1;
    dacFloat = static_cast<float>(static_cast<double>(dacFloat) + 0.1);
    friction_dac_values[0] = 0;
    friction_dac_values[2] = friction_dac_values[2] + static_cast<long>(static_cast<float>(dacFloat));
    command_motor_dac_values(id, friction_dac_values.copy().data());
}

static void defaultBranch(qtTharlenTest& window, int id) {
    if (command_motor_dac_values(id, window.force_dac_values.copy().data()) == kMaxForceExceeded)
        tickEnablesForces(window, id);
}

static void watchRuns(qtTharlenTest& window, int id, int status) {
    for (RunWatch* watch :
         {&window.m_ampsWatch, &window.m_frictionWatch, &window.m_capstanWatch, &window.m_encoderWatch})
        watch->note(id, status);
}

/// The window has switched off in the middle of a tick: what this one may have turned on or sent since does not
/// stay. [S]
static void dropForces(int id) {
    const long none[6] = {};
    command_motor_dac_values(id, none);
    disable_tharlen_forces_no_wait(id);
}

int ServoLoopCallBack(void* pUserData) {
    auto* window = static_cast<qtTharlenTest*>(pUserData);
    const int id = window ? window->csTharlenID.load() : -1;
    const int status = update_tharlen(id);
    if (!window)
        return 0;
    window->m_loopWatch.tick();
    window->m_forceGate.beginTick();
    window->accumulateErrors(status);

    if (startPinchCalibration)
        window->m_pinchValue = get_pinch_value(id);

    if (startBoxTest)
        boxBranch(*window, id);
    else if (startPassivityTest)
        passivityBranch(*window, id);
    else if (startCalibTest)
        window->m_forceGate.endTick();  // nothing goes to the device while it calibrates
    else if (startFiltersTest)
        window->filterNrender(id);
    else if (startFrictionTest)
        voltageBranch(*window, id);
    else if (startCapstanTest)
        voltageBranch(*window, id);
    else if (verifyCapstanTest)
        voltageBranch(*window, id);
    else if (startServoTest)
        servoRateBranch(*window, id);
    else if (startEncoderTest)
        encoderTestBranch(*window, id);
    else if (startPerformanceForceTest)
        performanceForceBranch(*window, id);
    else if (bFrictionPerformance)
        frictionPerformanceBranch(id);
    else
        defaultBranch(*window, id);

    watchRuns(*window, id, status);
    if (window->m_forceGate.endTick())
        dropForces(id);
    return 0;
}

int tickEnablesForces(qtTharlenTest& window, int id) {
    return window.m_forceGate.shut() ? 0 : enable_tharlen_forces(id);
}

// What a period holds beyond the buffer is neither stored nor summed, so that its statistics stay those of
// the stored samples.
int qtTharlenTest::sampleHapticUpdateRate() {
    const float rate = instHapticUpdateRate;
    const int index = rateCounter;
    if (index >= kRateSamples)
        return 1;
    if (index == 0) {
        totalRateSamples = 0.0f;
        minUpdateRate = rate;
        maxUpdateRate = rate;
        sample[0] = 0.0f;
    }
    if (rate > maxUpdateRate)
        maxUpdateRate = rate;
    if (rate < minUpdateRate)
        minUpdateRate = rate;
    totalRateSamples = totalRateSamples + rate;
    sample[index] = rate;
    rateCounter.replace(index, index + 1);  // a period that was closed meanwhile stays closed
    return 1;
}
