// The moving arm: kinematics, friction, stops, motors, the hand and the box it presses into.
#include <cmath>

#include "device/simulated/model/kinematics.h"
#include "simarm.h"

using simarm::Bench;
using simarm::Callback;

class TestArmMotion : public QObject {
    Q_OBJECT

private slots:
    void jacobianIsDerivative();
    void operationsAgree();
    void sticking();
    void stopsAndSweep();
    void stopsThrowBackHalf();
    void pressIntoBox();
    void amplifiersAndLimits();
    void sixForces();
    void handMovements();
};

// The Jacobian against differences of position and of stylus orientation, at poses all over the range.
void TestArmMotion::jacobianIsDerivative() {
    for (int row = 0; row < arm::lineCount(); ++row) {
        const arm::LineFigures& line = arm::lineAt(row);
        for (int pose = 0; pose < 20; ++pose) {
            arm::Vector6 q;
            for (int i = 0; i < 6; ++i) {
                const double share = 0.5 + 0.45 * std::sin(1.7 * pose + 2.3 * i);
                q[i] = line.angleLow(i) + share * (line.angleHigh(i) - line.angleLow(i));
            }
            const arm::Matrix6 j = arm::jacobian(line, q);
            const double h = 1e-5;
            for (int i = 0; i < 6; ++i) {
                arm::Vector6 above = q, below = q;
                above[i] += h;
                below[i] -= h;
                const arm::Vector3 moved = (arm::endpoint(line, above) - arm::endpoint(line, below)) / (2 * h);
                QVERIFY((moved - j.row(i).head<3>().transpose()).norm() < 1e-3);
                const arm::Matrix3 turning = (arm::stylusRotation(above) - arm::stylusRotation(below)) / (2 * h)
                                             * arm::stylusRotation(q).transpose();
                const arm::Vector3 axis(turning(2, 1), turning(0, 2), turning(1, 0));
                QVERIFY((axis - j.row(i).tail<3>().transpose()).norm() < 1e-3);
            }
        }
    }
}

// Position, matrix, angles, encoders and registers of a calibrated device tell of one and the same pose.
void TestArmMotion::operationsAgree() {
    Bench bench;
    for (const char* name : {"Default Device", "Corvale LAN", "Stelmar 3.0", "Stelmar 6DOF Scissor"}) {
        const int id = init_tharlen(name);
        QVERIFY(simarm::calibrate(id));
        armcontrol::handGimbal({0.3, -0.2, 0.5});
        armcontrol::handMove({20, -15, 30});
        armcontrol::handSwitch(1, true);
        armcontrol::step(1500);
        const armcontrol::State s = armcontrol::state();
        float position[3], matrix[4][4], angles[6], base[3];
        get_tharlen_pos(id, position);
        get_stylus_matrix(id, matrix);
        get_tharlen_joint_angles(id, angles);
        get_tharlen_encoders(id, base);
        for (std::size_t i = 0; i < 3; ++i) {
            const double target[3] = {20, -15, 30};
            QVERIFY(std::abs(position[i] - target[i]) < 2.5);
            QVERIFY(std::abs(position[i] - s.position[i]) < 1.5);
            QCOMPARE(matrix[3][i], position[i]);
            arm::Vector6 q;
            q << angles[0], angles[1], angles[2], angles[3], angles[4], angles[5];
            for (std::size_t row = 0; row < 3; ++row)
                QVERIFY(std::abs(matrix[i][row] - arm::stylusRotation(q)(int(row), int(i))) < 1e-5);
            QCOMPARE(base[i], angles[i]);
        }
        const double gimbal[3] = {0.3, -0.2, 0.5};
        for (std::size_t i = 3; i < 6; ++i)
            QVERIFY(std::abs(angles[i] - gimbal[i - 3]) < 0.02);
        for (std::size_t i = 0; i < 6; ++i)
            QVERIFY(std::abs(angles[i] - s.joints[i]) < 0.01);
        long counts[6];
        get_encoder_values(id, counts);
        const PORT_INPUT& image = get_connection_data(id)->m_portInput;
        const USHORT registers[] = {image.usQuad0, image.usQuad1, image.usQuad2};
        for (int i = 0; i < 3; ++i)
            QCOMPARE(registers[i], static_cast<USHORT>(counts[i] - get_calibration_data(id)->GetEncoderOffsets(i)));
        const int second = QByteArray(name) == "Default Device" ? 1 : 0;  // a button that other lines do not have
        QCOMPARE(get_stylus_switch(id, 1), second);
        QVERIFY(image.usSwitch1 == 0 && image.usSwitch2 == second && get_stylus_switch(id, 2) == 0);
        const UCHAR timer = image.ucTimerCnt, watchdog = image.ucWatchdogCntrIn;
        armcontrol::step(3);
        QVERIFY(UCHAR(image.ucTimerCnt - timer) == 3 && UCHAR(image.ucWatchdogCntrIn - watchdog) == 3);
        disable_tharlen(id);
    }
    // What is not fitted reads nothing.
    const int bare = init_tharlen("Stelmar 1.0 Thimble");
    armcontrol::handGimbal({0.3, -0.2, 0.5});
    armcontrol::handSwitch(0, true);
    armcontrol::step(1000);
    long counts[6];
    get_encoder_values(bare, counts);
    QVERIFY(counts[3] == 0 && counts[4] == 0 && counts[5] == 0 && get_stylus_switch(bare, 0) == 0);
    armcontrol::handSwitch(0, false);
}

// An axis under a command that rises to below its dry friction gives way by a few counts and stands exactly still
// for seconds; it springs back when let go, and a little more than the friction moves it.
void TestArmMotion::sticking() {
    Bench bench;
    for (const char* name : {"Default Device", "Corvale USB", "Nolva USB", "Stelmar 1.5"}) {
        const int id = init_tharlen(name);
        const arm::LineFigures* line = arm::findLine(QByteArray(name) == "Default Device" ? "Orda"
                                                     : QByteArray(name) == "Corvale USB"  ? "Corvale"
                                                     : QByteArray(name) == "Nolva USB"    ? "Nolva"
                                                                                          : "Stelmar 1.5",
                                                     7, false);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            long dac[6] = {};
            Gestures().letGoAt({}, 800, 500);
            enable_tharlen_forces(id);
            const double before = armcontrol::state().joints[axis], count = 1.0 / line->base[axis].countsPerRad;
            for (int percent = 1; percent <= 90; ++percent) {
                dac[axis] = static_cast<long>(0.01 * percent * line->base[axis].dryFriction);
                command_motor_dac_values(id, dac);
                armcontrol::step(5);
            }
            armcontrol::step(5000);
            const double held = armcontrol::state().joints[axis];
            const double gave = std::abs(held - before) / count;
            QVERIFY2(gave > 3 && gave < 7, qPrintable(QString("%1 axis %2: %3 counts").arg(name).arg(axis).arg(gave)));
            armcontrol::step(2000);
            QCOMPARE(armcontrol::state().joints[axis], held);
            disable_tharlen_forces(id);
            armcontrol::step(500);
            QVERIFY(std::abs(armcontrol::state().joints[axis] - held) > count);
            enable_tharlen_forces(id);
            dac[axis] = static_cast<long>(1.2 * line->base[axis].dryFriction);
            command_motor_dac_values(id, dac);
            armcontrol::step(300);
            QVERIFY(std::abs(armcontrol::state().joints[axis] - before) > 0.01);
            disable_tharlen_forces(id);
        }
        disable_tharlen(id);
    }
}

// A sweep passes the whole travel and comes back; a motor at full command does not get through a stop.
void TestArmMotion::stopsAndSweep() {
    Bench bench;
    const int id = init_tharlen("Corvale LAN");
    QVERIFY(simarm::calibrate(id));
    const long wanted[6] = {18000, 15900, 11200, 3800, 1800, 3800};
    for (int axis = 0; axis < 6; ++axis) {
        long low = LONG_MAX, high = LONG_MIN, counts[6];
        const double before = armcontrol::state().joints[static_cast<std::size_t>(axis)];
        armcontrol::handSweep(axis, 1.0);
        for (int i = 0; i < 1200; ++i) {
            armcontrol::step(10);
            get_encoder_values(id, counts);
            low = std::min(low, counts[axis]);
            high = std::max(high, counts[axis]);
        }
        QVERIFY2(high - low >= wanted[axis] && high - low < 1.08 * wanted[axis],
                 qPrintable(QString("axis %1 travelled %2").arg(axis).arg(high - low)));
        QVERIFY(std::abs(armcontrol::state().joints[static_cast<std::size_t>(axis)] - before) < 0.01);
    }
    armcontrol::handJoints({0, 0.6, 0.6, 5, 0, -5}, 5);
    armcontrol::step(2000);
    QVERIFY(armcontrol::state().joints[3] < armcontrol::state().jointMax[3] + 0.01);
    QVERIFY(armcontrol::state().joints[5] > armcontrol::state().jointMin[5] - 0.01);
    armcontrol::handRelease();
    enable_tharlen_velocity_check(id, 0);
    enable_tharlen_forces(id);
    const long push[6] = {32767, 0, 0, 0, 0, 0};
    for (int i = 0; i < 1000; ++i) {
        command_motor_dac_values(id, push);
        armcontrol::step(1);
        QVERIFY(armcontrol::state().joints[0] < armcontrol::state().jointMax[0] + 0.1);
    }
    QVERIFY(std::abs(armcontrol::state().joints[0] - armcontrol::state().jointMax[0]) < 0.02);
}

// A stop takes about half of the speed of what runs into it with its motor off: it damps the way in and never pulls.
void TestArmMotion::stopsThrowBackHalf() {
    Bench bench;
    const int id = init_tharlen("Stelmar 3.0");
    enable_tharlen_velocity_check(id, 0);
    enable_tharlen_forces(id);
    const long push[6] = {-20000, 0, 0, 0, 0, 0};
    command_motor_dac_values(id, push);
    while (armcontrol::state().joints[0] > armcontrol::state().jointMin[0] + 0.3)
        armcontrol::step(1);
    disable_tharlen_forces(id);
    float velocity[6], into = 0, back = 0;
    for (int i = 0; i < 1000; ++i) {
        armcontrol::step(1);
        get_tharlen_joint_vel(id, velocity);
        into = std::min(into, velocity[0]);
        back = std::max(back, velocity[0]);
    }
    QVERIFY2(into < -2 && back > -0.3f * into && back < -0.65f * into,
             qPrintable(QString("%1, %2").arg(into).arg(back)));
}

// The hand presses past the force limit through a wall of a 20 mm box, either way of each axis, rests against it below
// the limit, and let go there the arm comes to rest.
void TestArmMotion::pressIntoBox() {
    for (const std::string& name : armcontrol::fleetNames()) {
        Bench bench;
        const int id = init_tharlen(name.c_str());
        QVERIFY(simarm::calibrate(id));
        const bool orda = QByteArray(get_tharlen_model_type(id)).contains("Orda");
        const double most = get_tharlen_nominal_max_force(id);
        const double gain = get_tharlen_nominal_max_stiffness(id) * (orda ? 0.5 : name == "Nolva USB" ? 0.8 : 1.0);
        const double depth = 0.5 * most / gain;
        bool beyond = false;
        Callback box([&] {
            float position[3], force[6] = {};
            get_tharlen_pos(id, position);
            for (int i = 0; i < 3; ++i)
                force[i] = static_cast<float>((std::min(20.0f, std::max(-20.0f, position[i])) - position[i]) * gain);
            enable_tharlen_forces(id);
            beyond |= send_tharlen_force(id, force) == kMaxForceExceeded;
        });
        const auto swing = [](std::size_t axis) {
            double fastest = 0;
            for (int i = 0; i < 300; ++i) {
                armcontrol::step(1);
                fastest = std::max(fastest, std::abs(armcontrol::state().velocity[axis]));
            }
            return fastest;
        };
        for (int wall = 0; wall < 6; ++wall) {
            const std::size_t axis = kBoxWalls[wall].axis;
            armcontrol::handMove(towards(wall, 20 + depth));
            armcontrol::step(1500);
            beyond = false;
            const double fastest = swing(axis);
            QVERIFY2(fastest < 1 && !beyond, qPrintable(QString("%1: %2 mm/s").arg(name.c_str()).arg(fastest)));
            QVERIFY(std::abs(armcontrol::state().position[axis]) > 20 + 0.4 * depth);
            // So far past the wall that the hand's spring gives more than the nominal force there.
            armcontrol::handMove(towards(wall, 20 + 2.4 * depth + most / 1.5));
            armcontrol::step(700);
            QVERIFY2(beyond, name.c_str());
        }
        armcontrol::handMove({0, 20 + depth, 0});
        armcontrol::step(1000);
        armcontrol::handRelease();
        armcontrol::step(4000);
        QVERIFY2(swing(1) < 1, name.c_str());
    }
}

void TestArmMotion::amplifiersAndLimits() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    QCOMPARE(is_tharlen_forces_enabled(id), 0);
    QCOMPARE(enable_tharlen_forces_no_wait(id), 0);
    armcontrol::step(2);
    QVERIFY(!armcontrol::state().amplifiers);
    armcontrol::step(1);
    QVERIFY(armcontrol::state().amplifiers);
    QCOMPARE(disable_tharlen_forces(id), 0);
    QVERIFY(!armcontrol::state().amplifiers);
    enable_tharlen_forces(id);

    // Past the nominal force it is scaled down, direction kept, and told.
    float force[6] = {0, 30, 40, 0, 0, 0};
    armcontrol::handMove({0, 0, 0});
    QCOMPARE(send_tharlen_force(id, force), kMaxForceExceeded);
    armcontrol::step(5);
    const armcontrol::Vec3 real = armcontrol::state().force;
    const double most = get_tharlen_nominal_max_force(id);
    QVERIFY(std::abs(std::hypot(real[1], real[2]) - most) < 0.15 * most);
    QVERIFY(std::abs(real[2] / real[1] - 4.0 / 3.0) < 0.3);
    force[1] = static_cast<float>(0.9 * most);
    force[2] = 0;
    QCOMPARE(send_tharlen_force(id, force), 0);
    long last[6];
    get_last_motor_dac_values(id, last);
    QVERIFY(last[1] != 0 && last[2] != 0);
    force[0] = std::nanf("");
    QCOMPARE(send_tharlen_force(id, force), kMaxForceExceeded);
    get_last_motor_dac_values(id, last);
    QVERIFY(last[0] == 0 && last[1] == 0 && last[2] == 0);

    const struct {
        long command;
        int status;
        long sent;
    } rows[] = {{32767, 0, 32767},
                {-32768, 0, -32767},
                {32768, kMaxForceExceeded, 32767},
                {LONG_MIN, kMaxForceExceeded, -32767}};
    for (const auto& row : rows) {
        const long dac[6] = {100, 0, row.command, 99999, 0, 0};
        QCOMPARE(command_motor_dac_values(id, dac), row.status);
        get_last_motor_dac_values(id, last);
        QVERIFY(last[0] == 100 && last[2] == row.sent && last[3] == 0);
    }
    // Off, nothing pushes, whatever the command.
    armcontrol::handRelease();
    disable_tharlen_forces(id);
    const armcontrol::Vec6 before = armcontrol::state().joints;
    armcontrol::step(200);
    QVERIFY(std::abs(armcontrol::state().joints[2] - before[2]) < 0.01);
    QCOMPARE(armcontrol::state().force, (armcontrol::Vec3{}));
}

// Forces and torques reach the motors by the Jacobian, each kind within its own limit; volts do as counts do.
void TestArmMotion::sixForces() {
    for (const char* name : {"Stelmar 6DOF Scissor", "Stelmar 1.5"}) {
        Bench bench;
        const int id = init_tharlen(name);
        const bool six = get_tharlen_nominal_max_force(id) < 9 && QByteArray(name).contains("6DOF");
        const arm::LineFigures& line = *arm::findLine(six ? "Stelmar 1.5 6DOF" : "Stelmar 1.5", kCard1394, false);
        const struct {
            float force, torque;
            int status;
        } rows[] = {{1.5f, 30, 0},
                    {8.5f, 188, 0},
                    {8.6f, 0, kMaxForceExceeded},
                    {0, 189, six ? kMaxForceExceeded : 0},
                    {20, 900, kMaxForceExceeded}};
        double jacobian[6][6];
        get_tharlen_jacobian(id, jacobian);
        for (const auto& row : rows) {
            const float sent[6] = {0.6f * row.force, 0, -0.8f * row.force, 0, 0.8f * row.torque, 0.6f * row.torque};
            QCOMPARE(send_tharlen_force_6dof(id, sent), row.status);
            const double force = std::min(1.0, line.maxForce / row.force),
                         torque = six ? std::min(1.0, 188.0 / row.torque) : 0;
            long dac[6];
            get_last_motor_dac_values(id, dac);
            for (int i = 0; i < 6; ++i) {
                double newtons = 0;
                for (int k = 0; k < 6; ++k)
                    newtons += jacobian[i][k] * sent[k] * (k < 3 ? force : torque) / 1000;
                const double wanted = i < line.motors() ? line.motorSign(i) * newtons / line.torquePerDac(i) : 0;
                QVERIFY2(std::abs(static_cast<double>(dac[i]) - wanted) < 2,
                         qPrintable(QString("%1 axis %2: %3 %4").arg(name).arg(i).arg(dac[i]).arg(wanted)));
            }
        }
        const float volts[6] = {0.1f, -0.2f, 0.3f, 0.4f, 0.5f, -0.6f};
        float given[6];
        long dac[6];
        QCOMPARE(command_motor_voltages(id, volts, given), 0);
        get_last_motor_dac_values(id, dac);
        for (int i = 0; i < 6; ++i) {
            QVERIFY(std::abs(given[i] - (i < line.motors() ? volts[i] : 0)) < 1e-5f);
            QVERIFY(std::abs(static_cast<float>(dac[i]) - given[i] * kDacPerVolt) < 1.5f);
        }
    }
}

// Straight drags at their speed, sweeps that rest on each stop, a docked stylus taken out to the origin, a lighter
// hand.
void TestArmMotion::handMovements() {
    Bench bench;
    int id = init_tharlen("Corvale LAN");
    armcontrol::handMove({-30, 0, 0});
    armcontrol::step(600);
    armcontrol::handRelease();
    armcontrol::handDrag({30, 20, 0}, 100);
    armcontrol::step(300);
    const armcontrol::Vec3 half = armcontrol::state().position, speed = armcontrol::state().velocity;
    float shown[3];
    get_tharlen_vel(id, shown);
    QVERIFY(std::abs(std::hypot(speed[0], speed[1], speed[2]) - 100) < 3
            && std::abs(std::hypot(shown[0], shown[1], shown[2]) - 100) < 5);
    QVERIFY(!armcontrol::handDock().empty());  // no well
    armcontrol::setFault("unplugged", true);   // what is not read any more does not move
    armcontrol::step(1);
    get_tharlen_vel(id, shown);
    QCOMPARE(std::hypot(shown[0], shown[1], shown[2]), 0.0f);
    armcontrol::clearFaults();
    QVERIFY2(std::abs(half[0] + 4) < 1 && std::abs(half[1] - 8.7) < 1, qPrintable(QString::number(half[0])));
    armcontrol::step(600);
    QVERIFY(std::abs(armcontrol::state().position[0] - 30) < 1);
    const double before = armcontrol::state().joints[1];
    int low = 0, high = 0;
    armcontrol::handSweep(1, 2);
    for (int i = 0; i < 3000; ++i) {
        armcontrol::step(1);
        low += armcontrol::state().joints[1] < armcontrol::state().jointMin[1] ? 1 : 0;
        high += armcontrol::state().joints[1] > armcontrol::state().jointMax[1] ? 1 : 0;
    }
    QVERIFY2(low > 90 && low < 130 && high > 90 && high < 130, qPrintable(QString("%1 %2").arg(low).arg(high)));
    QVERIFY(std::abs(armcontrol::state().joints[1] - before) < 0.005);
    // Half as strong, a hand gives way twice as far.
    double way[2];
    const float force[6] = {0, 0, 4, 0, 0, 0};
    for (const double strength : {25.0, 12.5}) {
        armcontrol::handStrength(strength);
        armcontrol::handMove({0, 0, 0});
        armcontrol::step(800);
        enable_tharlen_forces(id);
        send_tharlen_force(id, force);
        armcontrol::step(400);
        way[strength < 20] = armcontrol::state().position[2];
        QVERIFY(std::abs(armcontrol::state().handForce - 4) < 0.2);
        disable_tharlen_forces(id);
    }
    QVERIFY2(std::abs(way[0] - 4 / 1.5) < 0.2 && std::abs(way[1] - 8 / 1.5) < 0.3,
             qPrintable(QString("%1 %2").arg(way[0]).arg(way[1])));
    // Weaker than the motors, it gives way for good.
    armcontrol::handStrength(5);
    enable_tharlen_forces(id);
    for (int i = 0; i < 300; ++i) {
        const float most[6] = {0, 0, 7.9f, 0, 0, 0};
        send_tharlen_force(id, most);
        armcontrol::step(1);
    }
    QVERIFY(armcontrol::state().position[2] > 40);
    id = init_tharlen("Default Device");
    armcontrol::handStrength(25);
    for (int i = 0; i < 2; ++i) {  // in the well already, it stays there
        armcontrol::handDock();
        armcontrol::step(i == 0 ? 2500 : 0);
        QVERIFY(armcontrol::state().docked);
    }
    armcontrol::handUndock();
    armcontrol::step(2500);
    QCOMPARE(armcontrol::state().handTarget, (armcontrol::Vec3{0, 0, 0}));
    QVERIFY(armcontrol::state().holding && std::abs(armcontrol::state().position[1]) < 1);
}

QTEST_APPLESS_MAIN(TestArmMotion)
#include "tst_armmotion.moc"
