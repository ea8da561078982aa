// The moving arm: kinematics, friction, stops, motors and the hand.
#include <climits>

#include "device/simulated/model/kinematics.h"
#include "simarm.h"

using armcontrol::state;
using armcontrol::step;
using armcontrol::Vec3;
using namespace simarm;

namespace {

Counts lastDac(int id) {
    Counts dac;
    get_last_motor_dac_values(id, dac.data());
    return dac;
}

double size(const Vec3& v) { return std::hypot(v[0], v[1], v[2]); }

}  // namespace

class TestArmMotion : public QObject {
    Q_OBJECT

private slots:
    // The Jacobian against differences of position and of stylus orientation, at poses all over the range.
    void jacobianIsDerivative() {
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
                    const arm::Matrix3 turning = (arm::stylusRotation(above) - arm::stylusRotation(below)) / (2 * h)
                                                 * arm::stylusRotation(q).transpose();
                    const arm::Vector3 axis(turning(2, 1), turning(0, 2), turning(1, 0));
                    QVERIFY((moved - j.row(i).head<3>().transpose()).norm() < 1e-3);
                    QVERIFY((axis - j.row(i).tail<3>().transpose()).norm() < 1e-3);
                }
            }
        }
    }

    // Position, matrix, angles, encoders and registers of a calibrated device tell of one and the same pose.
    void operationsAgree() {
        Bench bench;
        const double wanted[6] = {20, -15, 30, 0.3, -0.2, 0.5};
        armcontrol::handSwitch(1, true);
        for (const char* name : {"Default Device", "Corvale LAN", "Stelmar 3.0", "Stelmar 6DOF Scissor"}) {
            const int id = init_tharlen(name);
            QVERIFY(calibrate(id));
            armcontrol::handGimbal({wanted[3], wanted[4], wanted[5]});
            Gestures().hold({wanted[0], wanted[1], wanted[2]}, 1500);
            const armcontrol::State s = state();
            float position[3], matrix[4][4], angles[6], base[3];
            get_tharlen_pos(id, position);
            get_stylus_matrix(id, matrix);
            get_tharlen_joint_angles(id, angles);
            get_tharlen_encoders(id, base);
            arm::Vector6 q;
            q << angles[0], angles[1], angles[2], angles[3], angles[4], angles[5];
            const arm::Matrix3 rotation = arm::stylusRotation(q);
            const PORT_INPUT& image = get_connection_data(id)->m_portInput;
            const USHORT registers[] = {image.usQuad0, image.usQuad1, image.usQuad2};
            for (std::size_t i = 0; i < 3; ++i) {
                const int axis = static_cast<int>(i);
                QVERIFY(std::abs(position[i] - wanted[i]) < 2.5 && std::abs(position[i] - s.position[i]) < 1.5);
                QVERIFY(matrix[3][i] == position[i] && base[i] == angles[i] && get_stylus_presence(id) == 1);
                for (int row = 0; row < 3; ++row)
                    QVERIFY(std::abs(matrix[i][row] - rotation(row, axis)) < 1e-5);
                QVERIFY(std::abs(angles[i + 3] - wanted[i + 3]) < 0.02);
                QVERIFY(std::abs(angles[i] - s.joints[i]) < 0.01 && std::abs(angles[i + 3] - s.joints[i + 3]) < 0.01);
                const long counted = encoders(id)[i] - get_calibration_data(id)->GetEncoderOffsets(axis);
                QCOMPARE(registers[i], static_cast<USHORT>(counted));
            }
            const int second = QByteArray(name) == "Default Device" ? 1 : 0;  // a button that other lines do not have
            QCOMPARE(get_stylus_switch(id, 1), second);
            QVERIFY(image.usSwitch1 == 0 && image.usSwitch2 == second && get_stylus_switch(id, 2) == 0);
            const UCHAR timer = image.ucTimerCnt, watchdog = image.ucWatchdogCntrIn;
            step(3);
            QVERIFY(UCHAR(image.ucTimerCnt - timer) == 3 && UCHAR(image.ucWatchdogCntrIn - watchdog) == 3);
            disable_tharlen(id);
        }
        // What is not fitted reads nothing.
        const int bare = init_tharlen("Stelmar 1.0 Thimble");
        armcontrol::handGimbal({0.3, -0.2, 0.5});
        armcontrol::handSwitch(0, true);
        step(1000);
        const Counts counts = encoders(bare);
        QVERIFY(counts[3] == 0 && counts[4] == 0 && counts[5] == 0 && get_stylus_switch(bare, 0) == 0);
    }

    // An axis under a command that rises to just below its dry friction, which differs by direction, gives way by a few
    // counts and stands exactly still for seconds; it springs back when let go, and a little more than the friction
    // moves it.
    void sticking() {
        Bench bench;
        for (const char* name : {"Default Device", "Corvale USB", "Nolva USB", "Stelmar 1.5"}) {
            const int id = init_tharlen(name);
            const QByteArray word = QByteArray(get_tharlen_model_type(id)).replace("THARLEN ", "");
            const arm::LineFigures& line = *arm::findLine(word.toStdString(), kCardUsb, false);
            for (std::size_t turn = 0; turn < 6; ++turn) {
                const std::size_t axis = turn / 2;
                const auto joint = [axis] { return state().joints[axis]; };
                const arm::AxisFigures& figures = line.base[axis];
                const double friction = figures.dryFriction * (turn % 2 == 0 ? 1 : -figures.backFriction);
                const double count = 1.0 / figures.countsPerRad;
                Gestures().letGoAt({}, 800, 500);
                enable_tharlen_forces(id);
                const double before = joint();
                for (int percent = 1; percent <= 98; ++percent) {
                    drive(id, axis, std::lround(0.01 * percent * friction));
                    step(5);
                }
                step(5000);
                const double held = joint(), gave = std::abs(held - before) / count;
                QVERIFY2(gave > 6 && gave < 14, about(name, axis, friction, gave));
                step(2000);
                QCOMPARE(joint(), held);
                disable_tharlen_forces(id);
                step(500);
                QVERIFY(std::abs(joint() - held) > count);
                enable_tharlen_forces(id);
                drive(id, axis, std::lround(1.03 * friction));
                step(800);
                QVERIFY2(std::abs(joint() - before) > 0.01, about(name, axis, friction, joint() - before));
                disable_tharlen_forces(id);
            }
            disable_tharlen(id);
        }
    }

    // A sweep passes the whole travel, rests on each stop and comes back; a hand does not get through a stop.
    void stopsAndSweep() {
        Bench bench;
        const int id = init_tharlen("Corvale LAN");
        QVERIFY(calibrate(id));
        const long wanted[6] = {18000, 15900, 11200, 3800, 1800, 3800};
        for (std::size_t axis = 0; axis < 6; ++axis) {
            long low = LONG_MAX, high = LONG_MIN;
            int onLow = 0, onHigh = 0;
            const double before = state().joints[axis];
            armcontrol::handSweep(static_cast<int>(axis), 1.0);
            for (int i = 0; i < 12000; ++i) {
                step(1);
                const armcontrol::State s = state();
                low = std::min(low, encoders(id)[axis]);
                high = std::max(high, encoders(id)[axis]);
                onLow += s.joints[axis] < s.jointMin[axis] ? 1 : 0;
                onHigh += s.joints[axis] > s.jointMax[axis] ? 1 : 0;
            }
            QVERIFY2(high - low >= wanted[axis] && high - low < 1.08 * wanted[axis], about(axis, high - low));
            QVERIFY2(onLow > 90 && onLow < 230 && onHigh > 90 && onHigh < 230, about(axis, onLow, onHigh));
            QVERIFY2(std::abs(state().joints[axis] - before) < 0.005, about(axis, before, state().joints[axis]));
        }
        armcontrol::handJoints({0, 0.6, 0.6, 5, 0, -5}, 5);
        step(2000);
        QVERIFY(state().joints[3] < state().jointMax[3] + 0.01 && state().joints[5] > state().jointMin[5] - 0.01);
    }

    // A stop takes about half of the speed of what runs into it with its motor off: it damps the way in and never
    // pulls. A motor at full command does not get through.
    void stopsThrowBackHalf() {
        Bench bench;
        const int id = init_tharlen("Stelmar 3.0");
        enable_tharlen_velocity_check(id, 0);
        enable_tharlen_forces(id);
        drive(id, 0, -20000);
        while (state().joints[0] > state().jointMin[0] + 0.3)
            step(1);
        disable_tharlen_forces(id);
        float velocity[6], into = 0, back = 0;
        for (int i = 0; i < 1000; ++i) {
            step(1);
            get_tharlen_joint_vel(id, velocity);
            into = std::min(into, velocity[0]);
            back = std::max(back, velocity[0]);
        }
        QVERIFY2(into < -2 && back > -0.3f * into && back < -0.65f * into, about(into, back));
        enable_tharlen_forces(id);
        drive(id, 0, 32767);
        for (int i = 0; i < 1000; ++i) {
            step(1);
            QVERIFY(state().joints[0] < state().jointMax[0] + 0.1);
        }
        QVERIFY(std::abs(state().joints[0] - state().jointMax[0]) < 0.02);
    }

    // Forces and torques reach the motors by the Jacobian, each kind within its own limit; volts do as counts do, and
    // past full command is full command.
    void forcesAndLimits() {
        for (const bool six : {true, false}) {
            Bench bench;
            const int id = init_tharlen(six ? "Stelmar 6DOF Scissor" : "Stelmar 1.5");
            const arm::LineFigures& line = *arm::findLine(six ? "Stelmar 1.5 6DOF" : "Stelmar 1.5", kCard1394, false);
            QVERIFY(calibrate(id));
            QCOMPARE(enable_tharlen_forces_no_wait(id), 0);
            step(2);
            QVERIFY(!state().amplifiers);
            step(1);
            const struct {
                float force, torque;
                int status;
            } rows[] = {{8.5f, 188, 0},
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
                for (std::size_t i = 0; i < 6; ++i) {
                    const int axis = static_cast<int>(i);
                    double newtons = 0;
                    for (int k = 0; k < 6; ++k)
                        newtons += jacobian[i][k] * sent[k] * (k < 3 ? force : torque) / 1000;
                    const double wanted =
                        axis < line.motors() ? line.motorSign(axis) * newtons / line.torquePerDac(axis) : 0;
                    QVERIFY2(std::abs(static_cast<double>(lastDac(id)[i]) - wanted) < 2, about(six, i, wanted));
                    if (!six && i < 3)
                        QVERIFY(std::abs(state().force[i] - sent[i] * force) < 0.15);
                }
            }
            const float volts[6] = {0.1f, -0.2f, 0.3f, 0.4f, 0.5f, -0.6f};
            float given[6];
            QCOMPARE(command_motor_voltages(id, volts, given), 0);
            for (std::size_t i = 0; i < 6; ++i) {
                QVERIFY(std::abs(given[i] - (static_cast<int>(i) < line.motors() ? volts[i] : 0)) < 1e-5f);
                QVERIFY(std::abs(static_cast<float>(lastDac(id)[i]) - given[i] * kDacPerVolt) < 1.5f);
            }
            const float wrong[6] = {1, 1, std::nanf(""), 0, 0, 0};
            QCOMPARE(send_tharlen_force(id, wrong), kMaxForceExceeded);
            QCOMPARE(lastDac(id), Counts{});
            QCOMPARE(command_motor_voltages(id, wrong, given), int(kMaxForceExceeded));
            const long beyond[6] = {100, LONG_MIN, -32768, 0, 0, 0};
            QCOMPARE(command_motor_dac_values(id, beyond), int(kMaxForceExceeded));
            QCOMPARE(lastDac(id), (Counts{100, -32767, -32767, 0, 0, 0}));
            disable_tharlen_forces(id);
            QCOMPARE(state().force, (Vec3{}));
        }
    }

    // Straight drags at their speed; a lighter hand gives way farther, and a weak one for good.
    void handAtPoints() {
        Bench bench;
        const int id = init_tharlen("Corvale LAN");
        Gestures hand;
        hand.letGoAt({-30, 0, 0}, 600, 0);
        armcontrol::handDrag({30, 20, 0}, 100);
        step(300);
        const Vec3 half = state().position;
        float shown[3];
        get_tharlen_vel(id, shown);
        QVERIFY(std::abs(size(state().velocity) - 100) < 3
                && std::abs(std::hypot(shown[0], shown[1], shown[2]) - 100) < 5);
        QVERIFY2(std::abs(half[0] + 4) < 1 && std::abs(half[1] - 8.7) < 1, about(half[0], half[1]));
        QVERIFY(std::abs(state().handTarget[0] - half[0]) < 4);  // the hand is a little ahead, and no more
        armcontrol::setFault("unplugged", true);                 // what is not read any more does not move
        step(1);
        get_tharlen_vel(id, shown);
        QCOMPARE(std::hypot(shown[0], shown[1], shown[2]), 0.0f);
        armcontrol::clearFaults();
        step(600);
        armcontrol::handJoints(state().joints, 1.5);  // held by its angles it stays
        step(100);
        QVERIFY(std::abs(state().position[0] - 30) < 1);

        enable_tharlen_forces(id);
        const struct {
            double strength;
            float pull;
            double low, high;  // mm that the hand gives way
        } rows[] = {{25, 4, 2.4, 2.9}, {12.5, 4, 5, 5.7}, {5, 7.9f, 40, 400}};
        for (const auto& row : rows) {
            disable_tharlen_forces(id);
            armcontrol::handStrength(row.strength);
            hand.hold({0, 0, 0}, 800);
            enable_tharlen_forces(id);
            for (int i = 0; i < 400; ++i) {
                const float force[6] = {0, 0, row.pull, 0, 0, 0};
                send_tharlen_force(id, force);
                step(1);
            }
            const double way = state().position[2];
            QVERIFY2(way > row.low && way < row.high, about(row.strength, way));
            QVERIFY(std::abs(state().handForce - std::min<double>(row.pull, row.strength)) < 0.2);
        }
    }
};

QTEST_APPLESS_MAIN(TestArmMotion)
#include "tst_armmotion.moc"
