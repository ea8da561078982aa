// The servo tick: one function, called by the device library on its servo thread, and the activities it
// chooses from. No widget is read or written here and nothing waits, but for errorMessageSync.
#include "qttharlentest.h"
#include "servostate.h"

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
        window->boxBranch(id);
    else if (startPassivityTest)
        window->passivityBranch(id);
    else if (startCalibTest)
        window->m_forceGate.endTick();  // nothing goes to the device while it calibrates
    else if (startFiltersTest)
        window->filterNrender(id);
    else if (startFrictionTest)
        window->voltageBranch(id);
    else if (startCapstanTest)
        window->voltageBranch(id);
    else if (verifyCapstanTest)
        window->voltageBranch(id);
    else if (startServoTest)
        window->servoRateBranch(id);
    else if (startEncoderTest)
        window->encoderTestBranch(id);
    else if (startPerformanceForceTest)
        window->performanceForceBranch(id);
    else if (bFrictionPerformance)
        window->frictionPerformanceBranch(id);
    else
        window->defaultBranch(id);

    window->watchRuns(id, status);
    if (window->m_forceGate.endTick())
        window->dropForces(id);
    return 0;
}

/// Turns the amplifiers on, unless the window has switched off since the tick began. 0, or an error code. [S]
int qtTharlenTest::tickEnablesForces(int id) { return m_forceGate.shut() ? 0 : enable_tharlen_forces(id); }

/// The window has switched off in the middle of a tick: what this one may have turned on or sent since does not
/// stay. [S]
void qtTharlenTest::dropForces(int id) {
    const long none[6] = {};
    command_motor_dac_values(id, none);
    disable_tharlen_forces_no_wait(id);
}

void qtTharlenTest::watchRuns(int id, int status) {
    for (RunWatch* watch : {&m_ampsWatch, &m_frictionWatch, &m_capstanWatch, &m_encoderWatch})
        watch->note(id, status);
}

// -2, the maximum force exceeded, turns the forces off here and on again in the passivity and default
// branches. Meant: the three differ. Where the limit of a Corvale has just switched off, the next tick asks anew.
void qtTharlenTest::boxBranch(int id) {
    float devPos[3] = {};
    long lastDac[6] = {};
    long plastDac[6] = {};
    get_tharlen_pos(id, devPos);
    get_last_motor_dac_values(id, lastDac);
    for (int i = 0; i < 3; ++i)
        plastDac[i] = lastDac[i];

    const float* devForce = m_boxForce;
    m_limitSwitchedOff = false;
    if (isServoLoopRunning())
        devForce = calcForce(id, devPos, plastDac);
    const float sentForce[6] = {devForce[0], devForce[1], devForce[2], 0, 0, 0};
    const int status = send_tharlen_force(id, sentForce);

    if (is_tharlen_forces_enabled(id) == 0 && !m_limitSwitchedOff) {
        const int error = tickEnablesForces(id);
        if (error != 0)
            accumulateErrors(error);
    }
    if (status == kMaxForceExceeded)
        disable_tharlen_forces_no_wait(id);
}

void qtTharlenTest::passivityBranch(int id) {
    float position[3] = {};
    get_tharlen_pos(id, position);
    const float* devForce = calcCustomForce(id, position);
    const float force[6] = {devForce[0], devForce[1], devForce[2], 0, 0, 0};
    passivityTestForce.store(force);
    if (send_tharlen_force_6dof(id, force) == kMaxForceExceeded)
        tickEnablesForces(id);
}

// Friction, capstan and verify share it: three flags, so that the window can tell the runs apart.
void qtTharlenTest::voltageBranch(int id) {
    const auto volts = m_fVoltsToSend.copy();
    float sent[6] = {};
    accumulateErrors(command_motor_voltages(id, volts.data(), sent));
    m_fVoltsSent.store(sent);
}

void qtTharlenTest::servoRateBranch(int id) {
    instHapticUpdateRate = get_tharlen_inst_rate(id);
    sampleHapticUpdateRate();
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

void qtTharlenTest::performanceForceBranch(int id) {
    if (!m_forceGate.shut())
        enable_tharlen_forces_no_wait(id);
    if (sendForceChecked)
        send_tharlen_force_6dof(id, cForce.copy().data());
    else
        command_motor_dac_values(id, dac_values.copy().data());
}

// The command of the third axis climbs along a parabola in ticks. The first sample has the index -1, and
// samples ahead of the array or past its end are not stored, while the counter goes on.
void qtTharlenTest::frictionPerformanceBranch(int id) {
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

void qtTharlenTest::defaultBranch(int id) {
    if (command_motor_dac_values(id, force_dac_values.copy().data()) == kMaxForceExceeded)
        tickEnablesForces(id);
}
