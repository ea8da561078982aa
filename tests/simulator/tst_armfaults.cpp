// Every fault does what it says, where it is set and only while it is on; protection, codes and refusals.
#include <cmath>
#include <stdexcept>

#include "simarm.h"

using armcontrol::State;
using armcontrol::Vec6;
using simarm::Bench;
using simarm::Callback;

namespace {

constexpr char kSixDof[] = "Stelmar 6DOF Scissor";

Vec6 counts(int id) {
    long values[6];
    get_encoder_values(id, values);
    return {double(values[0]), double(values[1]), double(values[2]),
            double(values[3]), double(values[4]), double(values[5])};
}

/// A fault on one axis, or none.
struct Broken {
    const char* name = nullptr;
    double amount = 1;
    int axis = -1;
};

/// What six motors and their axes do in 20 ms from rest, each with a command of its own size.
struct Push {
    Vec6 moved{};  // counts
    State state;
};
Push push(const Broken& fault, double sign = 1) {
    Bench bench;
    const int id = init_tharlen(kSixDof);
    enable_tharlen_velocity_check(id, 0);
    if (fault.name)
        armcontrol::setFault(fault.name, true, fault.axis, fault.amount);
    enable_tharlen_forces(id);
    long dac[6];
    for (int i = 0; i < 6; ++i)
        dac[i] = std::lround(sign * (i < 3 ? 14500 + 500 * i : 2500 + 500 * i));
    Push result;
    const Vec6 before = counts(id);
    command_motor_dac_values(id, dac);
    armcontrol::step(20);
    const Vec6 after = counts(id);
    for (std::size_t i = 0; i < 6; ++i)
        result.moved[i] = after[i] - before[i];
    result.state = armcontrol::state();
    return result;
}

}  // namespace

class TestArmFaults : public QObject {
    Q_OBJECT

private slots:
    void status();
    void axisFaults();
    void otherFaults();
    void slipsAboveItsLimit();
    void loopFaults();
    void opening();
    void badFaults();
    void heatOfEachMotor();
    void protectsEachMotor();
    void speedCheck();
};

void TestArmFaults::status() {
    struct Row {
        const char *device, *fault;
        double amount;
        int code;
        bool amplifiers;
    };
    std::vector<Row> rows{
        {"Default Device", "unplugged", 1, -28, false}, {"Orda LAN", "unplugged", 1, -31, false},
        {"Stelmar 1.0", "unplugged", 1, -5, false},     {"Corvale 1394", "unplugged", 1, -5, false},
        {"Default Device", "amplifier", 1, -4, false},  {"Default Device", "status", -32, -32, true},
        {"Default Device", "status", -2, -2, true},     {"Default Device", "overspeed", 1, -13, false}};
    for (const Row& row : rows) {
        Bench bench;
        const int id = init_tharlen(row.device);
        QCOMPARE(enable_tharlen_forces(id), 0);
        armcontrol::step(5);
        QCOMPARE(update_tharlen(id), 0);
        QCOMPARE(armcontrol::setFault(row.fault, true, -1, row.amount), std::string());
        armcontrol::step(5);
        QCOMPARE(update_tharlen(id), row.code);
        QCOMPARE(armcontrol::state().amplifiers, row.amplifiers);
        QCOMPARE(is_tharlen_forces_enabled(id) != 0, row.amplifiers);
        const bool refuses = row.code == -4 || QByteArray(row.fault) == "unplugged";
        int calibration = 9;
        QCOMPARE(enable_tharlen_forces(id) != 0, refuses);
        QCOMPARE(unfiltered_device_fault(id) != 0, refuses);
        QCOMPARE(get_calibration_status(id, &calibration) < 0, QByteArray(row.fault) == "unplugged");
        QCOMPARE((get_connection_data(id)->m_portInput.ucMiscIn & kOvercurrent) != 0, row.code == -4);
        armcontrol::clearFaults();
        armcontrol::step(2);
        QCOMPARE(update_tharlen(id), 0);
        QCOMPARE(enable_tharlen_forces(id), 0);
    }
}

// Each on each of its axes: that axis alone is another one, by the right amount.
void TestArmFaults::axisFaults() {
    const struct {
        const char* fault;
        double amount;
        int axes;
        double low, high;  // of the healthy way
        double counts;     // besides
    } rows[] = {{"weak-motor", 0.5, 6, 0.3, 0.55, 0},
                {"reversed-motor", 1, 6, -1.2, -0.8, 0},
                {"sticky-bearing", 8, 6, 0.1, 0.97, 0},
                {"dead-encoder", 1, 6, 0, 0, 0},
                {"drifting-encoder", 60000, 6, 1, 1, 20},
                {"slipping-capstan", 3000, 3, 1, 1, 60},
                {"hot", 95, 6, 1, 1, 0},
                {"short-travel", 0.2, 6, 1, 1, 0}};
    const Push healthy = push({});
    for (const double moved : healthy.moved)
        QVERIFY(std::abs(moved) > 30);
    for (const auto& row : rows) {
        const QByteArray fault = row.fault;
        for (int axis = 0; axis < row.axes; ++axis) {
            const Push broken = push({row.fault, row.amount, axis});
            for (std::size_t i = 0; i < 6; ++i) {
                const State &is = broken.state, &was = healthy.state;
                const bool here = static_cast<int>(i) == axis;
                const double part = here && fault == "short-travel" ? 0.1 * (was.jointMax[i] - was.jointMin[i]) : 0.0;
                const double counts = here ? row.counts : 0, ratio = broken.moved[i] / healthy.moved[i];
                const double more = std::abs(broken.moved[i] - healthy.moved[i]);
                const bool good = (here && row.low != 1 ? ratio >= row.low && ratio <= row.high
                                                        : std::abs(more - counts) <= (counts > 0 ? 1 : 0))
                                  && std::abs(is.jointMin[i] - was.jointMin[i] - part) < 1e-6
                                  && std::abs(was.jointMax[i] - is.jointMax[i] - part) < 1e-6
                                  && is.winding[i] == (here && fault == "hot" ? 95 : was.winding[i]);
                QVERIFY2(good, qPrintable(QString("%1 on %2: axis %3 moves %4 times the healthy way")
                                              .arg(row.fault)
                                              .arg(axis)
                                              .arg(i)
                                              .arg(ratio)));
            }
        }
    }
}

void TestArmFaults::otherFaults() {
    Bench bench;
    const auto set = [](const char* name, int axis, double amount) {
        armcontrol::clearFaults();
        QCOMPARE(armcontrol::setFault(name, true, axis, amount), std::string());
    };
    int id = init_tharlen("Default Device");
    set("no-amplifier-follow", -1, 1);
    QCOMPARE(enable_tharlen_forces(id), -4);
    QCOMPARE(enable_tharlen_forces_no_wait(id), 0);
    armcontrol::step(10);
    QCOMPARE(is_tharlen_forces_enabled(id), 0);
    disable_tharlen_forces(id);

    for (const double stuck : {0.0, 1.0}) {
        set("stuck-switch", 0, stuck);
        for (const bool pressed : {true, false}) {
            armcontrol::handSwitch(0, pressed);
            armcontrol::handSwitch(1, pressed);
            QCOMPARE(get_stylus_switch(id, 0), static_cast<int>(stuck));
            QCOMPARE(get_stylus_switch(id, 1), pressed ? 1 : 0);
        }
    }
    armcontrol::step(100);
    set("bouncing-switch", 1, 40);
    int changes = 0, lastChange = 0, last = get_stylus_switch(id, 1);
    armcontrol::handSwitch(0, true);
    armcontrol::handSwitch(1, true);
    for (int i = 1; i <= 100; ++i) {
        armcontrol::step(1);
        QCOMPARE(get_stylus_switch(id, 0), 1);
        if (get_stylus_switch(id, 1) != last) {
            last = 1 - last;
            lastChange = i;
            ++changes;
        }
    }
    QVERIFY(changes > 4 && last == 1 && lastChange > 30 && lastChange <= 42);
    disable_tharlen(id);
    id = init_tharlen("Stelmar 1.0");
    set("refused-reset", -1, 1);
    armcontrol::handReset();
    armcontrol::step(1500);
    QVERIFY(tharlen_reset(id) != 0);
    armcontrol::clearFaults();
    QCOMPARE(tharlen_reset(id), 0);
}

// A cable slips either way, from 0.42 of the full command on and with the amplifiers on.
void TestArmFaults::slipsAboveItsLimit() {
    const struct {
        long command;
        bool on;
        double slip;
    } rows[] = {{13700, true, 0}, {13800, true, -100}, {-13800, true, 100}, {30000, false, 0}};
    for (const auto& row : rows) {
        double moved[2];
        for (const bool slipping : {false, true}) {
            Bench bench;
            const int id = init_tharlen(kSixDof);
            armcontrol::setFault("slipping-capstan", slipping, 1, 5000);
            if (row.on)
                enable_tharlen_forces(id);
            const double before = counts(id)[1];
            const long dac[6] = {0, row.command, 0, 0, 0, 0};
            command_motor_dac_values(id, dac);
            armcontrol::step(20);
            moved[slipping] = counts(id)[1] - before;
        }
        QVERIFY2(std::abs(moved[1] - moved[0] - row.slip) <= 1, qPrintable(QString::number(row.command)));
    }
}

void TestArmFaults::loopFaults() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    int calls = 0;
    float lowest = 1e9f, highest = 0;
    Callback callback([&] {
        ++calls;
        lowest = std::min(lowest, get_tharlen_inst_rate(id));
        highest = std::max(highest, get_tharlen_inst_rate(id));
    });
    armcontrol::step(2);
    const auto run = [&](const char* fault, double amount) {
        armcontrol::clearFaults();
        if (fault)
            QCOMPARE(armcontrol::setFault(fault, true, -1, amount), std::string());
        armcontrol::step(1);
        calls = 0;
        lowest = 1e9f;
        highest = 0;
        armcontrol::step(1000);
    };
    run(nullptr, 0);
    QCOMPARE(calls, 1000);
    QVERIFY(std::abs(lowest - 1000) < 1 && std::abs(highest - 1000) < 1);
    QVERIFY(std::abs(armcontrol::state().measuredRate - 1000) < 0.01);
    run("jitter", 500);
    QVERIFY(calls == 1000 && lowest < 970 && highest > 1030 && lowest > 600);
    run("dropped-ticks", 20);
    QVERIFY(calls > 720 && calls < 880 && lowest < 600);
    const double before = armcontrol::armTime();
    const std::uint64_t late = armcontrol::state().lateTicks;
    run("stall", 100);
    QVERIFY(std::abs(armcontrol::armTime() - before - 1.101) < 0.002);
    QCOMPARE(armcontrol::state().lateTicks - late, std::uint64_t(100));
    QVERIFY(lowest < 11);
    QVERIFY(armcontrol::state().faults.empty());
}

void TestArmFaults::opening() {
    Bench bench;
    CTHARLeNDevice* devices[20] = {};
    CTHARLeNMgr manager;
    const int number = manager.EnumerateTHARLeNs(devices);
    QVERIFY(number > 2 && number <= 20);
    armcontrol::setFault("read-fails", true, 1);
    QVERIFY(devices[0]->Read() && !devices[1]->Read());
    for (const int index : {-1, number, 20}) {
        devices[0]->m_nIndex = index;
        QVERIFY(!devices[0]->Read());
    }
    armcontrol::setFault("init-fails", true);
    QVERIFY(init_tharlen("Default Device") < 0);
    armcontrol::clearFaults();
    QVERIFY(devices[1]->Read());
    armcontrol::setFault("init-throws", true);
    QVERIFY_EXCEPTION_THROWN(init_tharlen("Default Device"), std::runtime_error);
    armcontrol::clearFaults();
    armcontrol::setFault("unplugged", true);
    QCOMPARE(init_tharlen("Orda LAN"), -31);
    armcontrol::clearFaults();
    const int first = init_tharlen("Default Device");
    enable_tharlen_forces(first);
    const int second = init_tharlen("Corvale USB");
    QVERIFY(first >= 0 && second >= 0 && first != second);
    QVERIFY(!armcontrol::state().amplifiers);
    QCOMPARE(QByteArray(get_tharlen_model_type(second)), QByteArray("THARLEN Corvale"));
    QCOMPARE(QByteArray(get_tharlen_model_type(first)), QByteArray());
    // The one that is open stays so.
    armcontrol::setFault("one-opening", true);
    QVERIFY(init_tharlen("Default Device") < 0);
    QCOMPARE(QByteArray(get_tharlen_model_type(second)), QByteArray("THARLEN Corvale"));
    enable_tharlen_forces(second);
    disable_tharlen(second);
    QVERIFY(!armcontrol::state().amplifiers && !armcontrol::state().open);
    QVERIFY(init_tharlen("Default Device") >= 0);
    armcontrol::clearFaults();
    armcontrol::setFault("no-loop", true);
    QVERIFY(startServoLoop([](void*) { return 0; }, nullptr) < 0);
    armcontrol::clearFaults();
    QCOMPARE(startServoLoop([](void*) { return 0; }, nullptr), 0);
    for (CTHARLeNDevice* device : devices)
        delete device;
    QVERIFY(init_tharlen(nullptr) < 0 && init_tharlen("") < 0 && init_tharlen("default device") < 0);
}

void TestArmFaults::badFaults() {
    const struct {
        const char* fault;
        int axis;
        double amount;
        const char* names;  // what is refused, or nothing
    } rows[] = {{"plague", -1, 1, "name"},
                {"", -1, 1, "name"},
                {"dead-encoder", 6, 1, "axis"},
                {"dead-encoder", 5, 1, ""},
                {"missing-flag", 3, 1, "axis"},
                {"stuck-switch", 2, 1, "axis"},
                {"hot", -2, 90, "axis"},
                {"unplugged", 6, 1, "axis"},
                {"read-fails", 19, 1, ""},
                {"read-fails", 20, 1, "axis"},
                {"hot", 0, 24.9, "amount"},
                {"hot", 0, 300, ""},
                {"hot", 0, 300.1, "amount"},
                {"status", -1, 0, "amount"},
                {"status", -1, -1.5, "amount"},
                {"weak-motor", 0, std::nan(""), "amount"},
                {"late-stop", -1, 2.5, "amount"},
                {"drifting-encoder", 0, HUGE_VAL, "amount"},
                {"dead-encoder", 0, std::nan(""), "amount"}};
    for (const auto& row : rows) {
        Bench bench;
        const std::string why = armcontrol::setFault(row.fault, true, row.axis, row.amount);
        QVERIFY2(why.rfind(row.names, 0) == 0 && why.empty() == !*row.names, (row.fault + (": " + why)).c_str());
        QCOMPARE(armcontrol::state().faults.empty(), !why.empty());
    }
}

// The loss goes with the square of the current, either way, and leaves by the stator; a motor warms itself alone.
void TestArmFaults::heatOfEachMotor() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    const float never[6] = {};
    set_tharlen_temp_advance(id, kShutdownTemperature, never);
    enable_tharlen_velocity_check(id, 0);
    armcontrol::heatPace(10000);
    enable_tharlen_forces(id);
    const long dac[6] = {32767, -16384, 0, 0, 0, 0};
    command_motor_dac_values(id, dac);
    armcontrol::step(1000);
    // 25 W at 3 and 4 K/W.
    const State warm = armcontrol::state();
    const Vec6 winding{200, 68.75, 25, 25, 25, 25}, stator{125, 50, 25, 25, 25, 25};
    for (std::size_t i = 0; i < 6; ++i) {
        QVERIFY2(std::abs(warm.winding[i] - winding[i]) < 0.1, qPrintable(QString::number(warm.winding[i])));
        QVERIFY2(std::abs(warm.stator[i] - stator[i]) < 0.1, qPrintable(QString::number(warm.stator[i])));
    }
    float scale[6], four[6] = {9, 9, 9, 9, 9, 9}, kind[6];
    get_tharlen_temp_normalized_6dof(id, scale);
    get_tharlen_temp(id, four);
    for (int i = 0; i < 6; ++i) {
        QVERIFY(std::abs(scale[i] - (i < 3 ? warm.winding[std::size_t(i)] / warm.warmLimit : 0.0)) < 1e-5);
        QCOMPARE(four[i], i < 3 ? static_cast<float>(warm.winding[std::size_t(i)]) : 9.0f);
    }
    for (const auto& [which, of] :
         {std::make_pair(kWindingTemperature, warm.winding), {kStatorTemperature, warm.stator}}) {
        get_tharlen_temp_advance(id, which, kind);
        for (std::size_t i = 0; i < 6; ++i)
            QCOMPARE(kind[i], static_cast<float>(of[i]));
    }
    disable_tharlen_forces(id);  // the command stands
    armcontrol::step(1000);
    for (std::size_t i = 0; i < 6; ++i)
        QVERIFY(std::abs(armcontrol::state().winding[i] - 25) < 0.1
                && std::abs(armcontrol::state().stator[i] - 25) < 0.1);
    // A minute's warming in a second, as far as a minute goes.
    double reached[2];
    for (const int pace : {1, 60}) {
        armcontrol::heatSet(-1, 25, 25);
        armcontrol::heatPace(pace);
        enable_tharlen_forces(id);
        command_motor_dac_values(id, dac);
        armcontrol::step(60000 / pace);
        reached[pace == 1 ? 0 : 1] = armcontrol::state().winding[0];
        disable_tharlen_forces(id);
    }
    QVERIFY(reached[0] > 60 && reached[0] < 80 && std::abs(reached[0] - reached[1]) < 0.5);
}

// The warning at the warm limit, the trip at the shutdown and the return below the cooldown, by any motor that is
// there.
void TestArmFaults::protectsEachMotor() {
    for (const char* name : {kSixDof, "Default Device"}) {
        const bool six = name == kSixDof;
        for (int motor = 0; motor < 6; ++motor) {
            Bench bench;
            const int id = init_tharlen(name);
            const bool there = six || motor < 3;
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
            enable_tharlen_forces(id);
            for (const auto& row : rows) {
                armcontrol::heatSet(motor, row.celsius, row.celsius);
                armcontrol::step(2);
                QCOMPARE(update_tharlen(id), there ? row.status : 0);
                QCOMPARE(armcontrol::state().amplifiers, row.amplifiers || !there);
                QCOMPARE(unfiltered_device_fault(id) == 0, row.mayComeOn || !there);
                if (!armcontrol::state().amplifiers)
                    QCOMPARE(enable_tharlen_forces(id), row.mayComeOn ? 0 : kDeviceFault);
            }
            // Limits of its own; none at all where they are 0.
            float limits[6] = {201, 202, 203, 204, 205, 206}, read[6];
            for (const int kind : {kCooldownTemperature, kShutdownTemperature}) {
                limits[0] += 1;
                QCOMPARE(set_tharlen_temp_advance(id, kind, limits), 0);
            }
            get_tharlen_temp_advance(id, kShutdownTemperature, read);
            QVERIFY(std::equal(limits, limits + 6, read));
            get_tharlen_temp_advance(id, kCooldownTemperature, read);
            QVERIFY(read[0] == limits[0] - 1 && read[5] == limits[5]);
            armcontrol::heatSet(motor, 200, 200);
            armcontrol::step(2);
            QVERIFY(armcontrol::state().amplifiers);
            std::fill(limits, limits + 6, 0.0f);
            set_tharlen_temp_advance(id, kShutdownTemperature, limits);
            armcontrol::heatSet(-1, 390, 390);
            armcontrol::step(2);
            QVERIFY(armcontrol::state().amplifiers);
            for (const float bad : {std::nanf(""), -1.0f, 1001.0f}) {
                limits[motor] = bad;
                QVERIFY(set_tharlen_temp_advance(id, kShutdownTemperature, limits) != 0);
            }
            QVERIFY(set_tharlen_temp_advance(id, kWindingTemperature, read) != 0);
        }
    }
}

// Each tick the bits of the axes are what their speeds say, and any of them, or the endpoint's speed, trips.
void TestArmFaults::speedCheck() {
    for (int axis = 0; axis < 3; ++axis) {
        for (const bool check : {true, false}) {
            for (const long way : {-1L, 1L}) {
                Bench bench;
                const int id = init_tharlen("Corvale USB");
                enable_tharlen_velocity_check(id, check ? 1 : 0);
                enable_tharlen_forces(id);
                bool fast = false, slow = false, axisFast = false;
                for (int i = 0; i < 60; ++i) {
                    long dac[6] = {};
                    dac[axis] = way * (i < 8 ? 600 : 32000);
                    command_motor_dac_values(id, dac);
                    armcontrol::step(1);
                    float joints[6], velocity[3];
                    get_tharlen_joint_vel(id, joints);
                    get_tharlen_vel(id, velocity);
                    int bits = 0;
                    for (int k = 0; k < 3; ++k)
                        bits |= std::abs(joints[k]) > 40 ? kOverspeed[k] : 0;
                    QCOMPARE(get_connection_data(id)->m_portInput.ucSpeedErrs & kOverspeedMask, bits);
                    const bool over = bits != 0 || std::hypot(velocity[0], velocity[1], velocity[2]) > 3000;
                    QCOMPARE(update_tharlen(id), over && check ? kMaxVelocityExceeded : 0);
                    QVERIFY(armcontrol::state().amplifiers == !(check && (over || fast)));
                    fast |= over;
                    slow |= !over;
                    axisFast |= bits != 0;
                }
                QVERIFY(fast && slow && (check || axisFast));
            }
        }
    }
    // The fault trips at any speed, told by its own bit.
    Bench bench;
    const int id = init_tharlen("Corvale USB");
    for (int axis = 0; axis < 3; ++axis) {
        armcontrol::setFault("overspeed", true, axis);
        armcontrol::step(1);
        QCOMPARE(update_tharlen(id), kMaxVelocityExceeded);
        QCOMPARE(get_connection_data(id)->m_portInput.ucSpeedErrs & kOverspeedMask, int(kOverspeed[axis]));
    }
}

QTEST_APPLESS_MAIN(TestArmFaults)
#include "tst_armfaults.moc"
