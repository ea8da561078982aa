// Every fault does what it says, and only while it is on; codes and refusals of the operations.
#include <cmath>
#include <set>
#include <stdexcept>

#include "simarm.h"

using simarm::Bench;
using simarm::Callback;

class TestArmFaults : public QObject {
    Q_OBJECT

private slots:
    void status_data();
    void status();
    void effects();
    void loopFaults();
    void opening();
    void badFaults_data();
    void badFaults();
    void closedHandles();

private:
    std::set<std::string> seen_;
};

void TestArmFaults::status_data() {
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("fault");
    QTest::addColumn<double>("amount");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("amplifiers");
    QTest::newRow("unplugged, USB") << "Default Device"
                                    << "unplugged" << 1.0 << -28 << false;
    QTest::newRow("unplugged, LAN") << "Orda LAN"
                                    << "unplugged" << 1.0 << -31 << false;
    QTest::newRow("unplugged, parallel port") << "Stelmar 1.0"
                                              << "unplugged" << 1.0 << -5 << false;
    QTest::newRow("unplugged, 1394") << "Corvale 1394"
                                     << "unplugged" << 1.0 << -5 << false;
    QTest::newRow("amplifier") << "Default Device"
                               << "amplifier" << 1.0 << -4 << false;
    for (int code : {-32, -31, -30, -29, -28, -13, -5, -4, -2, -1})
        QTest::newRow(qPrintable(QString("status %1").arg(code))) << "Default Device"
                                                                  << "status" << double(code) << code << true;
    QTest::newRow("overspeed") << "Default Device"
                               << "overspeed" << 1.0 << -13 << false;
    QTest::newRow("hot") << "Default Device"
                         << "hot" << 90.0 << -1 << true;
    QTest::newRow("too hot") << "Default Device"
                             << "hot" << 115.0 << -1 << false;
}

void TestArmFaults::status() {
    QFETCH(QString, device);
    QFETCH(QString, fault);
    QFETCH(double, amount);
    QFETCH(int, code);
    QFETCH(bool, amplifiers);
    Bench bench;
    const int id = init_tharlen(qPrintable(device));
    QCOMPARE(enable_tharlen_forces(id), 0);
    armcontrol::step(5);
    QCOMPARE(update_tharlen(id), 0);
    QCOMPARE(armcontrol::setFault(fault.toStdString(), true, -1, amount), std::string());
    seen_.insert(fault.toStdString());
    armcontrol::step(5);
    QCOMPARE(update_tharlen(id), code);
    QCOMPARE(armcontrol::state().amplifiers, amplifiers);
    QCOMPARE(is_tharlen_forces_enabled(id) != 0, amplifiers);
    if (fault == "unplugged" || fault == "amplifier") {
        QVERIFY(enable_tharlen_forces(id) != 0);
        QVERIFY(unfiltered_device_fault(id) != 0);
    }
    if (fault == "overspeed") {
        // Only while speed is checked at all.
        enable_tharlen_velocity_check(id, 0);
        armcontrol::step(2);
        QCOMPARE(update_tharlen(id), 0);
        QCOMPARE(get_connection_data(id)->m_portInput.ucSpeedErrs & 0xF0, 0x70);
    }
    armcontrol::clearFaults();
    armcontrol::heatSet(-1, 25, 25);
    armcontrol::step(2);
    QCOMPARE(update_tharlen(id), 0);
    QCOMPARE(enable_tharlen_forces(id), 0);
}

void TestArmFaults::effects() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    QVERIFY(simarm::calibrate(id));
    long before[6], after[6], dac[6] = {4000, 0, 0, 0, 0, 0};
    const auto set = [this](const char* name, int axis, double amount) {
        armcontrol::clearFaults();
        QCOMPARE(armcontrol::setFault(name, true, axis, amount), std::string());
        seen_.insert(name);
    };
    /// Counts that 4000 DAC counts move axis 0 in 60 ms, from the origin.
    const auto pushed = [&] {
        Gestures().letGoAt({}, 1000, 200);
        enable_tharlen_forces(id);
        get_encoder_values(id, before);
        command_motor_dac_values(id, dac);
        armcontrol::step(60);
        get_encoder_values(id, after);
        disable_tharlen_forces(id);
        return after[0] - before[0];
    };
    const long healthy = pushed();
    QVERIFY(healthy < -100);
    set("weak-motor", 0, 0.5);
    const long weak = pushed();
    QVERIFY(weak < -10 && weak > 0.6 * healthy);
    set("reversed-motor", 0, 1);
    QVERIFY(pushed() > 100);
    set("sticky-bearing", 0, 8);
    QVERIFY(std::labs(pushed()) < 12);  // it gives way a little and stands
    set("no-amplifier-follow", -1, 1);
    QCOMPARE(pushed(), 0L);
    QCOMPARE(enable_tharlen_forces(id), -4);
    QCOMPARE(enable_tharlen_forces_no_wait(id), 0);
    armcontrol::step(10);
    QCOMPARE(is_tharlen_forces_enabled(id), 0);
    disable_tharlen_forces(id);
    set("dead-encoder", 0, 1);
    QCOMPARE(pushed(), 0L);
    set("drifting-encoder", 4, 6000);
    armcontrol::handMove({0, 0, 0});
    armcontrol::step(500);
    get_encoder_values(id, before);
    armcontrol::step(1000);
    get_encoder_values(id, after);
    QVERIFY(std::labs(after[4] - before[4] - 100) <= 2);
    QVERIFY(std::labs(after[3] - before[3]) <= 1);

    set("short-travel", 1, 0.12);
    armcontrol::step(1);
    const armcontrol::State s = armcontrol::state();
    QVERIFY(s.jointMax[1] - s.jointMin[1] < 4250.0 / 2430.0);
    QVERIFY(s.jointMax[2] - s.jointMin[2] > 3500.0 / 2035.0);

    set("stuck-switch", 0, 1);
    armcontrol::handSwitch(0, false);
    QCOMPARE(get_stylus_switch(id, 0), 1);
    QCOMPARE(get_stylus_switch(id, 1), 0);
    set("bouncing-switch", 1, 40);
    int changes = 0, last = get_stylus_switch(id, 1);
    armcontrol::handSwitch(1, true);
    for (int i = 0; i < 100; ++i) {
        armcontrol::step(1);
        changes += get_stylus_switch(id, 1) != last ? 1 : 0;
        last = get_stylus_switch(id, 1);
    }
    QVERIFY(changes > 4 && last == 1);
    armcontrol::handSwitch(1, false);

    disable_tharlen(id);
    const int other = init_tharlen("Stelmar 1.0");
    set("refused-reset", -1, 1);
    armcontrol::handReset();
    armcontrol::step(1500);
    QVERIFY(tharlen_reset(other) != 0);
    armcontrol::clearFaults();
    QCOMPARE(tharlen_reset(other), 0);
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
        if (fault)
            seen_.insert(fault);
        armcontrol::step(1);
        calls = 0;
        lowest = 1e9f;
        highest = 0;
        armcontrol::step(1000);
    };
    run(nullptr, 0);
    QCOMPARE(calls, 1000);
    QVERIFY(std::abs(lowest - 1000) < 1 && std::abs(highest - 1000) < 1);
    run("jitter", 500);
    QVERIFY(calls == 1000 && lowest < 970 && highest > 1030);
    run("dropped-ticks", 20);
    QVERIFY(calls > 720 && calls < 880 && lowest < 600);
    const double before = armcontrol::armTime();
    run("stall", 100);
    QVERIFY(std::abs(armcontrol::armTime() - before - 1.101) < 0.002);
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
    const int second = init_tharlen("Corvale USB");
    QVERIFY(first >= 0 && second >= 0 && first != second);
    QCOMPARE(QByteArray(get_tharlen_model_type(second)), QByteArray("THARLEN Corvale"));
    QCOMPARE(QByteArray(get_tharlen_model_type(first)), QByteArray());
    // The one that is open stays so.
    armcontrol::setFault("one-opening", true);
    QVERIFY(init_tharlen("Default Device") < 0);
    QCOMPARE(QByteArray(get_tharlen_model_type(second)), QByteArray("THARLEN Corvale"));
    disable_tharlen(second);
    QVERIFY(init_tharlen("Default Device") >= 0);
    armcontrol::clearFaults();
    armcontrol::setFault("no-loop", true);
    QVERIFY(startServoLoop([](void*) { return 0; }, nullptr) < 0);
    armcontrol::clearFaults();
    QCOMPARE(startServoLoop([](void*) { return 0; }, nullptr), 0);
    for (const char* name :
         {"read-fails", "init-fails", "init-throws", "no-loop", "missing-flag", "wide-flag", "narrow-gap",
          "slipping-capstan", "one-opening", "late-stop", "eager-loop", "hanging-reads", "slow-ticks"})
        seen_.insert(name);
    for (CTHARLeNDevice* device : devices)
        delete device;
    // Every fault of the list is tried by a test of this folder.
    for (const std::string& name : armcontrol::faultNames())
        QVERIFY2(seen_.count(name), name.c_str());
}

void TestArmFaults::badFaults_data() {
    QTest::addColumn<QString>("fault");
    QTest::addColumn<int>("axis");
    QTest::addColumn<double>("amount");
    QTest::addColumn<QString>("names");
    QTest::newRow("unknown") << "plague" << -1 << 1.0 << "name";
    QTest::newRow("empty") << "" << -1 << 1.0 << "name";
    QTest::newRow("axis too high") << "dead-encoder" << 6 << 1.0 << "axis";
    QTest::newRow("base axis only") << "missing-flag" << 3 << 1.0 << "axis";
    QTest::newRow("button") << "stuck-switch" << 2 << 1.0 << "axis";
    QTest::newRow("axis too low") << "hot" << -2 << 90.0 << "axis";
    QTest::newRow("too cold") << "hot" << 0 << 1.0 << "amount";
    QTest::newRow("status of no failure") << "status" << -1 << 0.0 << "amount";
    QTest::newRow("status in part") << "status" << -1 << -1.5 << "amount";
    QTest::newRow("not a number") << "weak-motor" << 0 << std::nan("") << "amount";
    QTest::newRow("ticks in part") << "late-stop" << -1 << 2.5 << "amount";
    QTest::newRow("infinite") << "drifting-encoder" << 0 << HUGE_VAL << "amount";
}

void TestArmFaults::badFaults() {
    QFETCH(QString, fault);
    QFETCH(int, axis);
    QFETCH(double, amount);
    QFETCH(QString, names);
    Bench bench;
    const std::string why = armcontrol::setFault(fault.toStdString(), true, axis, amount);
    QVERIFY2(why.rfind(names.toStdString(), 0) == 0, why.c_str());
    QVERIFY(armcontrol::state().faults.empty());
}

// A handle that is not open fails or gives zeros, and no device is no error of a tick.
void TestArmFaults::closedHandles() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    disable_tharlen(id);
    for (int handle : {id, -1, 77, INT_MIN}) {
        long counts[6] = {9, 9, 9, 9, 9, 9};
        float values[6] = {9, 9, 9, 9, 9, 9}, matrix[4][4];
        int status = 9;
        QCOMPARE(update_tharlen(handle), 0);
        QVERIFY(get_encoder_values(handle, counts) < 0 && counts[5] == 0);
        QVERIFY(get_tharlen_temp_6dof(handle, values) < 0 && values[5] == 0);
        QVERIFY(get_stylus_matrix(handle, matrix) < 0 && matrix[3][3] == 0);
        QVERIFY(get_calibration_status(handle, &status) < 0);
        QVERIFY(enable_tharlen_forces(handle) != 0 && update_calibration(handle) != 0 && disable_tharlen(handle) != 0);
        QVERIFY(command_motor_dac_values(handle, counts) < 0 && is_tharlen_forces_enabled(handle) == 0);
        QVERIFY(!get_connection_data(handle) && !get_calibration_data(handle));
        QCOMPARE(QByteArray(get_hardware_serial_number(handle)), QByteArray());
    }
    QVERIFY(init_tharlen(nullptr) < 0 && init_tharlen("") < 0 && init_tharlen("default device") < 0);
}

QTEST_APPLESS_MAIN(TestArmFaults)
#include "tst_armfaults.moc"
