// Every fault does what it says, where it is set and only while it is on; protection, codes and refusals.
#include <stdexcept>

#include "simarm.h"

using armcontrol::setFault;
using armcontrol::State;
using armcontrol::state;
using armcontrol::step;
using armcontrol::Vec6;
using namespace simarm;

namespace {

constexpr char kSixDof[] = "Stelmar 6DOF Scissor";

/// What six motors and their axes do in 20 ms from rest, each with a command of its own size.
struct Push {
    std::array<double, 6> moved;  // counts
    State state;
};
Push push(const char* fault = nullptr, double amount = 1, int axis = -1) {
    Bench bench;
    const int id = init_tharlen(kSixDof);
    enable_tharlen_velocity_check(id, 0);
    if (fault)
        setOnly(fault, amount, axis);
    enable_tharlen_forces(id);
    const Counts before = encoders(id);
    const long dac[6] = {14000, -15000, 15500, 4000, 4500, 5000};
    command_motor_dac_values(id, dac);
    step(20);
    const Counts after = encoders(id);
    Push result{{}, state()};
    for (std::size_t i = 0; i < 6; ++i)
        result.moved[i] = static_cast<double>(after[i] - before[i]);
    return result;
}

int nothing(void*) { return 0; }

}  // namespace

class TestArmFaults : public QObject {
    Q_OBJECT

private slots:
    void status() {
        const struct {
            const char *device, *fault;
            double amount;
            int code;
            bool amplifiers;
        } rows[] = {{"Default Device", "unplugged", 1, -28, false}, {"Orda LAN", "unplugged", 1, -31, false},
                    {"Corvale 1394", "unplugged", 1, -5, false},    {"Default Device", "amplifier", 1, -4, false},
                    {"Default Device", "status", -32, -32, true},   {"Default Device", "overspeed", 1, -13, false}};
        for (const auto& row : rows) {
            Bench bench;
            const int id = init_tharlen(row.device);
            QCOMPARE(enable_tharlen_forces(id), 0);
            setOnly(row.fault, row.amount);
            const PORT_INPUT& image = get_connection_data(id)->m_portInput;
            const UCHAR watchdog = image.ucWatchdogCntrIn;
            step(5);
            QCOMPARE(update_tharlen(id), row.code);
            QVERIFY(state().amplifiers == row.amplifiers && (is_tharlen_forces_enabled(id) != 0) == row.amplifiers);
            const bool unplugged = QByteArray(row.fault) == "unplugged", refuses = row.code == -4 || unplugged;
            int calibration = 9;
            QVERIFY((enable_tharlen_forces(id) != 0) == refuses && (unfiltered_device_fault(id) != 0) == refuses);
            QCOMPARE(get_calibration_status(id, &calibration) < 0, unplugged);
            QCOMPARE((image.ucMiscIn & kOvercurrent) != 0, row.code == -4);
            QCOMPARE(UCHAR(image.ucWatchdogCntrIn - watchdog), UCHAR(unplugged ? 0 : 5));  // what is off does not count
            armcontrol::clearFaults();
            step(2);
            QCOMPARE(update_tharlen(id), 0);
            QCOMPARE(enable_tharlen_forces(id), 0);
        }
    }

    // Each on each of its axes: that axis alone is another one, by the right amount.
    void axisFaults() {
        const struct {
            QByteArray fault;
            double amount;
            int axes;
            double low, high;  // of the healthy way
            double counts;     // besides
        } rows[] = {{"weak-motor", 0.75, 6, 0.6, 0.8, 0},
                    {"reversed-motor", 1, 6, -1.2, -0.8, 0},
                    {"sticky-bearing", 8, 6, 0.1, 0.97, 0},
                    {"dead-encoder", 1, 6, 0, 0, 0},
                    {"drifting-encoder", 60000, 6, 1, 1, 20},
                    {"slipping-capstan", 3000, 3, 1, 1, 60},
                    {"hot", 95, 6, 1, 1, 0},
                    {"short-travel", 0.2, 6, 1, 1, 0}};
        const Push healthy = push();
        for (const auto& row : rows) {
            for (int axis = 0; axis < row.axes; ++axis) {
                const Push broken = push(row.fault, row.amount, axis);
                for (std::size_t i = 0; i < 6; ++i) {
                    const State &is = broken.state, &was = healthy.state;
                    const bool here = static_cast<int>(i) == axis;
                    const double part =
                        here && row.fault == "short-travel" ? 0.1 * (was.jointMax[i] - was.jointMin[i]) : 0;
                    const double counts = here ? row.counts : 0, ratio = broken.moved[i] / healthy.moved[i];
                    const double more = std::abs(broken.moved[i] - healthy.moved[i]);
                    const bool moves = here && row.low != 1 ? ratio >= row.low && ratio <= row.high
                                                            : std::abs(more - counts) <= (counts > 0 ? 1 : 0);
                    const bool stops = std::abs(is.jointMin[i] - was.jointMin[i] - part) < 1e-6
                                       && std::abs(was.jointMax[i] - is.jointMax[i] - part) < 1e-6;
                    const bool warms = is.winding[i] == (here && row.fault == "hot" ? 95 : was.winding[i]);
                    QVERIFY2(std::abs(healthy.moved[i]) > 30 && moves && stops && warms,
                             about(row.fault, axis, ": axis", i, "moves", ratio, "times the healthy way"));
                }
            }
        }
    }

    void otherFaults() {
        Bench bench;
        int id = init_tharlen("Default Device");
        setOnly("no-amplifier-follow");
        QCOMPARE(enable_tharlen_forces(id), -4);
        QCOMPARE(enable_tharlen_forces_no_wait(id), 0);
        step(10);
        QCOMPARE(is_tharlen_forces_enabled(id), 0);

        Gestures hand;
        hand.hold({}, 10);
        QVERIFY(state().presence);
        hand.letGo(10);
        QVERIFY(!state().presence);
        for (const int stuck : {0, 1}) {
            setOnly("stuck-switch", stuck, 0);
            for (const int pressed : {1, 0}) {
                hand.press(pressed);
                QVERIFY(get_stylus_switch(id, 0) == stuck && get_stylus_switch(id, 1) == pressed);
            }
        }
        step(100);
        setOnly("bouncing-switch", 40, 1);
        int early = 0, late = 0;  // ms that it reads released
        for (int i = 1; i <= 100; ++i) {
            hand.press(true);  // to hold it down is no new press
            step(1);
            QCOMPARE(get_stylus_switch(id, 0), 1);
            (i <= 42 ? early : late) += 1 - get_stylus_switch(id, 1);
        }
        QVERIFY2(early > 5 && early < 37 && late == 0, about(early, late));

        id = init_tharlen("Stelmar 1.0");
        setOnly("refused-reset");
        armcontrol::handReset();
        step(1500);
        QVERIFY(tharlen_reset(id) != 0);
        armcontrol::clearFaults();
        QCOMPARE(tharlen_reset(id), 0);
    }

    void loopFaults() {
        Bench bench;
        const int id = init_tharlen("Default Device");
        int calls = 0;
        float lowest = 0, highest = 0;
        Callback callback([&] {
            ++calls;
            lowest = std::min(lowest, get_tharlen_inst_rate(id));
            highest = std::max(highest, get_tharlen_inst_rate(id));
        });
        step(2);
        const auto run = [&](const char* fault, double amount) {
            setOnly(fault, amount);
            step(1);
            calls = 0;
            lowest = 1e9f;
            highest = 0;
            step(1000);
        };
        run("no-loop", 1);  // of a loop that runs already: nothing
        QVERIFY(calls == 1000 && std::abs(lowest - 1000) < 1 && std::abs(highest - 1000) < 1);
        QVERIFY(std::abs(state().measuredRate - 1000) < 0.01);
        run("jitter", 500);
        QVERIFY(calls == 1000 && lowest < 970 && highest > 1030 && lowest > 600);
        run("dropped-ticks", 20);
        QVERIFY(calls > 720 && calls < 880 && lowest < 600);
        const double before = armcontrol::armTime();
        const std::uint64_t late = state().lateTicks;
        run("stall", 100);
        QVERIFY(std::abs(armcontrol::armTime() - before - 1.101) < 0.002 && state().lateTicks - late == 100);
        QVERIFY(lowest < 11 && state().faults.empty());
        step(1000);  // the rate that is measured is that of the last half second
        QVERIFY(std::abs(state().measuredRate - 1000) < 0.01);
    }

    void opening() {
        Bench bench;
        Records records;
        setOnly("read-fails", 1, 1);
        QVERIFY(records.devices[0]->Read() && !records.devices[1]->Read());
        armcontrol::clearFaults();
        QVERIFY(records.devices[1]->Read());
        for (const int index : {-1, records.number}) {
            records.devices[0]->m_nIndex = index;
            QVERIFY(!records.devices[0]->Read());
        }
        setOnly("init-fails");
        QVERIFY(init_tharlen("Default Device") < 0);
        setOnly("init-throws");
        QVERIFY_EXCEPTION_THROWN(init_tharlen("Default Device"), std::runtime_error);
        setOnly("unplugged");
        QCOMPARE(init_tharlen("Orda LAN"), -31);
        armcontrol::clearFaults();
        for (const char* wrong : {static_cast<const char*>(nullptr), "", "default device"})
            QVERIFY(init_tharlen(wrong) < 0);
        // Opening closes what was open, unless that is what fails.
        const int first = init_tharlen("Default Device");
        enable_tharlen_forces(first);
        const int second = init_tharlen("Corvale USB");
        QVERIFY(first >= 0 && second >= 0 && first != second && !state().amplifiers);
        setOnly("one-opening");
        QVERIFY(init_tharlen("Default Device") < 0);
        QCOMPARE(get_tharlen_model_type(second) + QByteArray(get_tharlen_model_type(first)), "THARLEN Corvale");
        enable_tharlen_forces(second);
        disable_tharlen(second);
        QVERIFY(!state().amplifiers && !state().open);
        QVERIFY(init_tharlen("Default Device") >= 0);
        setOnly("no-loop");
        QVERIFY(startServoLoop(&nothing, nullptr) < 0);
        armcontrol::clearFaults();
        QCOMPARE(startServoLoop(&nothing, nullptr), 0);
    }

    void badFaults() {
        const struct {
            const char* fault;
            int axis;
            double amount;
            const char* names;  // what is refused, or nothing
        } rows[] = {{"plague", -1, 1, "name"},
                    {"dead-encoder", 6, 1, "axis"},
                    {"missing-flag", 3, 1, "axis"},
                    {"stuck-switch", 2, 1, "axis"},
                    {"hot", -2, 90, "axis"},
                    {"unplugged", 6, 1, "axis"},
                    {"read-fails", 20, 1, "axis"},
                    {"hot", 0, 24.9, "amount"},
                    {"hot", 0, 300, ""},
                    {"hot", 0, 300.1, "amount"},
                    {"status", -1, -1.5, "amount"},
                    {"weak-motor", 0, std::nan(""), "amount"},
                    {"dead-encoder", 0, HUGE_VAL, "amount"}};
        Bench bench;
        for (const auto& row : rows) {
            armcontrol::clearFaults();
            const std::string why = setFault(row.fault, true, row.axis, row.amount);
            QVERIFY2(why.rfind(row.names, 0) == 0 && why.empty() == !*row.names, about(row.fault, why.c_str()));
            QCOMPARE(state().faults.empty(), !why.empty());
        }
    }

    // The loss goes with the square of the current, either way, and leaves by the stator; a motor warms itself alone.
    void heatOfEachMotor() {
        Bench bench;
        const int id = init_tharlen("Default Device");
        const float never[6] = {};
        set_tharlen_temp_advance(id, kShutdownTemperature, never);
        enable_tharlen_velocity_check(id, 0);
        enable_tharlen_forces(id);
        const long dac[6] = {32767, -16384, 0, 0, 0, 0};
        command_motor_dac_values(id, dac);
        armcontrol::heatPace(60);
        step(1000);
        QVERIFY2(state().winding[0] > 60 && state().winding[0] < 80, about(state().winding[0], "after a minute"));
        armcontrol::heatPace(10000);
        step(1000);
        // 25 W at 3 and 4 K/W.
        const State warm = state();
        const Vec6 winding{200, 68.75, 25, 25, 25, 25}, stator{125, 50, 25, 25, 25, 25};
        float four[6] = {9, 9, 9, 9, 9, 9}, windings[6], stators[6];
        get_tharlen_temp(id, four);
        get_tharlen_temp_advance(id, kWindingTemperature, windings);
        get_tharlen_temp_advance(id, kStatorTemperature, stators);
        for (std::size_t i = 0; i < 6; ++i) {
            QVERIFY2(std::abs(warm.winding[i] - winding[i]) < 0.1, about(i, warm.winding[i]));
            QVERIFY2(std::abs(warm.stator[i] - stator[i]) < 0.1, about(i, warm.stator[i]));
            QCOMPARE(four[i], i < 3 ? float(warm.winding[i]) : 9.0f);
            QVERIFY(windings[i] == float(warm.winding[i]) && stators[i] == float(warm.stator[i]));
        }
        disable_tharlen_forces(id);  // the command stands
        step(1000);
        QVERIFY(std::abs(state().winding[0] - 25) < 0.1 && std::abs(state().stator[0] - 25) < 0.1);
    }

    // The warning at the warm limit, the trip at the shutdown and the return below the cooldown, by any motor that is
    // there.
    void protectsEachMotor() {
        Bench bench;
        for (const char* name : {kSixDof, "Default Device"}) {
            const bool six = name == kSixDof;
            const double warm = six ? 90 : 85, shutdown = six ? 120 : 110, cooldown = six ? 75 : 70;
            const struct {
                double celsius;
                int status;
                bool amplifiers, mayComeOn;
            } rows[] = {{warm - 0.2, 0, true, true},
                        {warm + 0.2, kMotorsWarm, true, true},
                        {shutdown - 0.2, kMotorsWarm, true, true},
                        {shutdown + 0.2, kMotorsWarm, false, false},
                        {cooldown + 0.2, kMotorsWarm, false, false},
                        {cooldown - 0.2, 0, false, true}};
            int id = init_tharlen(name);
            for (int motor = 0; motor < 6; ++motor) {
                const bool there = six || motor < 3;
                armcontrol::heatSet(-1, 25, 25);
                step(1);
                enable_tharlen_forces(id);
                for (const auto& row : rows) {
                    armcontrol::heatSet(motor, row.celsius, row.celsius);
                    step(2);
                    QCOMPARE(update_tharlen(id), there ? row.status : 0);
                    float scale[6];
                    get_tharlen_temp_normalized_6dof(id, scale);
                    QVERIFY(std::abs(scale[motor] - (there ? row.celsius / state().warmLimit : 0)) < 0.001);
                    QCOMPARE(state().amplifiers, row.amplifiers || !there);
                    QCOMPARE(unfiltered_device_fault(id) == 0, row.mayComeOn || !there);
                    if (!state().amplifiers)
                        QCOMPARE(enable_tharlen_forces(id), row.mayComeOn ? 0 : kDeviceFault);
                    if (there && row.celsius > shutdown)
                        id = init_tharlen(name);  // which cools nothing down
                }
            }
            // Limits of its own; none at all where they are 0.
            const float own[6] = {201, 202, 203, 204, 205, 206}, lower[6] = {201, 201, 201, 201, 201, 207},
                        none[6] = {};
            QCOMPARE(set_tharlen_temp_advance(id, kShutdownTemperature, own), 0);
            QCOMPARE(set_tharlen_temp_advance(id, kCooldownTemperature, lower), 0);
            QVERIFY(set_tharlen_temp_advance(id, kWindingTemperature, own) != 0);
            for (const float wrong : {std::nanf(""), -1.0f, 1001.0f}) {
                const float bad[6] = {0, 0, 0, 0, 0, wrong};
                QVERIFY(set_tharlen_temp_advance(id, kShutdownTemperature, bad) != 0);
            }
            float reads[6], readLower[6];
            QVERIFY(get_tharlen_temp_advance(id, kCooldownTemperature + 1, reads) != 0);
            get_tharlen_temp_advance(id, kShutdownTemperature, reads);
            get_tharlen_temp_advance(id, kCooldownTemperature, readLower);
            QVERIFY(std::equal(own, own + 6, reads) && std::equal(lower, lower + 6, readLower));
            for (const double celsius : {200, 390}) {
                armcontrol::heatSet(-1, celsius, celsius);
                step(2);
                QVERIFY(state().amplifiers);
                set_tharlen_temp_advance(id, kShutdownTemperature, none);
            }
        }
    }

    // Each tick the bits of the axes are what their speeds say, and any of them, or the endpoint's speed, trips.
    void speedCheck() {
        Bench bench;
        for (std::size_t run = 0; run < 12; ++run) {
            const std::size_t axis = run / 4;
            const bool check = run / 2 % 2 == 0;
            restart();
            const int id = init_tharlen("Corvale USB");
            enable_tharlen_velocity_check(id, check ? 1 : 0);
            enable_tharlen_forces(id);
            bool fast = false, slow = false, axisFast = false;
            for (int i = 0; i < 60; ++i) {
                drive(id, axis, (run % 2 == 0 ? -1 : 1) * (i < 8 ? 600 : 32000));
                step(1);
                float joints[6], velocity[3];
                get_tharlen_joint_vel(id, joints);
                get_tharlen_vel(id, velocity);
                int bits = 0;
                for (int k = 0; k < 3; ++k)
                    bits |= std::abs(joints[k]) > 40 ? kOverspeed[k] : 0;
                QCOMPARE(get_connection_data(id)->m_portInput.ucSpeedErrs & kOverspeedMask, bits);
                const bool over = bits != 0 || std::hypot(velocity[0], velocity[1], velocity[2]) > 3000;
                QCOMPARE(update_tharlen(id), over && check ? kMaxVelocityExceeded : 0);
                QCOMPARE(state().amplifiers, !(check && (over || fast)));
                fast |= over;
                slow |= !over;
                axisFast |= bits != 0;
            }
            QVERIFY(fast && slow && (check || axisFast));
        }
    }
};

QTEST_APPLESS_MAIN(TestArmFaults)
#include "tst_armfaults.moc"
