// Calibration of every style, what the home sensors find, and the calibration file.
#include "simarm.h"

using armcontrol::setFault;
using armcontrol::state;
using armcontrol::step;
using armcontrol::Vec6;
using namespace simarm;

namespace {

int status(int id) {
    int value = -1;
    return get_calibration_status(id, &value) == 0 ? value : -1;
}

/// Largest distance between the base encoders and the true angles, in degrees.
double worstError(int id) {
    float angles[6];
    get_tharlen_joint_angles(id, angles);
    double worst = 0;
    for (std::size_t i = 0; i < 3; ++i)
        worst = std::max(worst, std::abs(angles[i] - state().joints[i]));
    return worst * 180 / M_PI;
}

QString fileOf(const char* device) { return QString("THARLeN Calibration (%1)").arg(device); }

/// Joint angles, held till they are reached.
void hold(const Vec6& angles, int milliseconds, double speed = 2) {
    armcontrol::handJoints(angles, speed);
    step(milliseconds);
}

/// Turns base axes from stop to stop, all at once; the others stay where they are at home.
void sweep(const std::vector<std::size_t>& axes, double yaw = 0) {
    Vec6 low{yaw, 0.6, 0.6, 0, 0, 0}, high = low;
    for (const std::size_t axis : axes) {
        low[axis] = state().jointMin[axis];
        high[axis] = state().jointMax[axis];
    }
    hold(low, 1600);
    hold(high, 5000, 0.5);
}

}  // namespace

class TestArmCalibration : public QObject {
    Q_OBJECT

private slots:
    // Off by about a degree until calibrated; refused in the wrong place; right afterwards, also after closing and
    // opening, and wrong again once the calibration is discarded or its file is a bad one.
    void styles() {
        const struct {
            const char* device;
            int supported;
        } rows[] = {{"Default Device", 2}, {"Nolva USB", 2}, {"Corvale USB", 1}, {"Stelmar 1.5", 0}};
        for (const auto& row : rows) {
            Bench bench;
            int id = init_tharlen(row.device);
            QCOMPARE(is_calibration_supported(id), row.supported);
            QCOMPARE(is_tharlen_reset_supported(id), row.supported == 0 ? 1 : 0);
            QCOMPARE(status(id), 0x70);
            QVERIFY(worstError(id) > 0.5 && worstError(id) < 2.0);
            Gestures().hold({0, 0, 0}, 500);
            QVERIFY(update_calibration(id) != 0 && tharlen_reset(id) != 0);

            QCOMPARE(armcontrol::handDock().empty(), row.supported == 2);  // only where there is a well
            QVERIFY(calibrate(id));
            QVERIFY(state().holding && state().handTarget == armcontrol::Vec3{});
            QVERIFY2(worstError(id) < 0.2, about(row.device, "is off by", worstError(id)));
            for (int i = 0; i < 3; ++i)
                QCOMPARE(get_calibration_data(id)->IsEncoderOffsetsIncorrect(i), UCHAR(0));
            // Zero is where the arm knows it, and another style's way leads nowhere.
            QVERIFY(row.supported == 0 ? update_calibration(id) != 0 : tharlen_reset(id) != 0);
            disable_tharlen(id);
            restart();
            id = init_tharlen(row.device);
            QVERIFY(status(id) == 0 && worstError(id) < 0.2);

            get_calibration_data(id)->DiscardCalibration();
            QVERIFY(status(id) == 0x70 && worstError(id) > 0.5);
            const Counts before = encoders(id);
            get_calibration_data(id)->DiscardCalibration();
            for (std::size_t i = 0; i < 3; ++i)
                QVERIFY(encoders(id)[i] != before[i]);
            id = init_tharlen(row.device);
            QCOMPARE(status(id), 0);
            // The arm's own memory is not believed then, nor where the file cannot be read.
            QVERIFY(QFile::remove(bench.config(fileOf(row.device))));
            bench.place(fileOf(row.device), row.supported == 1 ? "/" : "[1]");
            id = init_tharlen(row.device);
            QCOMPARE(status(id), 0x70);
        }
    }

    // Into the middle flag of X and back out the same way, and through it, but powered up anew within: no flag is
    // passed. The registers show the sensor of each axis.
    void passages() {
        Bench bench;
        const int id = init_tharlen("Corvale LAN");
        const double edge = 400.0 / 10830.0;
        const struct {
            double x, y, z;
            int seen;
            bool powersUp;
        } rows[] = {{edge, 0.6, 0.6, 0, false},
                    {edge, 0.7195, 0.6, kHomeSensor[1], false},
                    {edge, 0.6, 0.468, kHomeSensor[2], false},
                    {edge, 0.6, 0.6, 0, false},
                    {0, 0.6, 0.6, kHomeSensor[0], false},
                    {edge, 0.6, 0.6, 0, false},
                    {0, 0.6, 0.6, kHomeSensor[0], true},
                    {-edge, 0.6, 0.6, 0, false}};
        const PORT_INPUT& image = get_connection_data(id)->m_portInput;
        QCOMPARE(image.ucSpeedErrs & kRevisionMask, get_hardware_rev(id));
        for (const auto& row : rows) {
            hold({row.x, row.y, row.z, 0, 0, 0}, 1000);
            QVERIFY2((image.ucMiscIn & kHomeSensorMask) == row.seen, about(row.x, row.y, row.z, image.ucMiscIn));
            QCOMPARE(get_calibration_data(id)->GetAxisSensorData()[0].nFlags, 0);
            if (row.powersUp)
                get_calibration_data(id)->DiscardCalibration();
        }
    }

    // Flags and gaps by revision and in their places; a flag too wide and a gap too narrow are seen so; a calibrated
    // axis that the sensors contradict is told.
    void homeSensors() {
        for (const bool comb : {false, true}) {
            Bench bench;
            const int id = init_tharlen(comb ? "Corvale LAN" : "Corvale 1394");
            CTHARLeNAutoCalibration* calibration = get_calibration_data(id);
            AXIS_SENSOR_DATA* axes = calibration->GetAxisSensorData();
            setFault("wide-flag", true, 0, 240);
            setFault("narrow-gap", true, 0, 150);
            setFault("missing-flag", true, 2);
            sweep({0, 1, 2});
            for (int axis = 0; axis < 2; ++axis) {
                const auto width = [](const SENSOR_DATA* part) { return part ? part->lWidth : 0; };
                const long widths[] = {width(axes[axis].psdFlagData[1]), width(axes[axis].psdFlagData[0]),
                                       width(axes[axis].psdGapData[0]), width(axes[axis].psdGapData[1])};
                const long bent[] = {840, comb ? 400 : 0, comb ? 130 : 0, comb ? 280 : 0};
                for (int i = 0; i < 4; ++i)
                    QVERIFY2((std::labs(widths[i] - bent[i]) < 12) == (axis == 0 || (i != 0 && (i == 1 || !comb))),
                             about("axis", axis, ":", widths[i]));
            }
            QCOMPARE(axes[2].nFlags, 0);
            armcontrol::clearFaults();

            sweep({0, 1, 2});
            QCOMPARE(status(id), kCalibrationNeeded);
            const double halfRadian[] = {5415, 4795, 3205};  // which is the speed
            for (int axis = 0; axis < 3; ++axis) {
                const bool many = comb && axis < 2;
                QVERIFY(axes[axis].nFlags == (many ? 3 : 1) && axes[axis].nGaps == (many ? 2 : 0));
                for (int i = 0; i < 3; ++i) {
                    const SENSOR_DATA* seen = axes[axis].psdFlagData[i];
                    QCOMPARE(seen != nullptr, many || i == (axis < 2 ? 1 : 0));
                    if (!seen)
                        continue;
                    QVERIFY(std::labs(seen->lWidth - (many && i != 1 ? 400 : 600)) < 12);
                    QCOMPARE(seen->lWidth, std::labs(seen->lStop - seen->lStart));
                    QCOMPARE(seen->lMidPoint, (seen->lStop + seen->lStart) / 2);
                    QVERIFY(std::abs(std::labs(seen->lVelocity) / halfRadian[axis] - 1) < 0.1);
                    QVERIFY((seen->lVelocity > 0) == (seen->lStop > seen->lStart));
                }
            }
            QCOMPARE(update_calibration(id), 0);
            QVERIFY(status(id) == 0 && worstError(id) < 0.1);

            // By more than 40 counts.
            for (const auto& [counts, told] : {std::make_pair(25, 0), {35, 0x20}}) {
                setOnly("drifting-encoder", 60 * counts, 1);
                step(1000);
                armcontrol::clearFaults();
                sweep({1});
                QCOMPARE(status(id), told);
                for (int i = 0; i < 3; ++i)
                    QCOMPARE(calibration->IsEncoderOffsetsIncorrect(i), UCHAR(told && i == 1));
            }
            calibration->DiscardCalibration();
            QVERIFY(axes[0].nFlags == 0 && axes[1].nGaps == 0 && !axes[0].psdFlagData[1] && !axes[1].psdGapData[0]);
            QCOMPARE(status(id), 0x70);
        }
    }

    // Two axes of three do not make a calibration, nor do all flags of a comb without each gap.
    void homeNeedsAll() {
        Bench bench;
        const int id = init_tharlen("Corvale LAN");
        for (std::size_t missing = 0; missing < 3; ++missing) {
            get_calibration_data(id)->DiscardCalibration();
            sweep({(missing + 1) % 3, (missing + 2) % 3});
            QVERIFY(status(id) == 0x70 && update_calibration(id) != 0);
            sweep({missing});
            QCOMPARE(status(id), kCalibrationNeeded);
        }
        // From the middle of the first flag on: all but that one are passed.
        hold({900 / 10830.0, 0.6, 0.6, 0, 0, 0}, 2000);
        get_calibration_data(id)->DiscardCalibration();
        hold({-0.5, 0.6, 0.6, 0, 0, 0}, 2000);
        const AXIS_SENSOR_DATA& x = get_calibration_data(id)->GetAxisSensorData()[0];
        QVERIFY(x.nFlags == 2 && x.nGaps == 2);
        sweep({1, 2}, -0.5);
        QVERIFY(status(id) == 0x70 && update_calibration(id) != 0);
    }

    // An arm that rests in the ink well takes its zero by itself; the next look at it, the closing or the next
    // opening files that once.
    void inkWellBySelf() {
        const std::pair<const char*, std::function<void(int)>> rows[] = {
            {"Default Device", [](int id) { get_inkwell_switch(id); }},
            {"Nolva USB", [](int id) { disable_tharlen(id); }},
            {"Nolva USB", [](int) { init_tharlen("Nolva USB"); }}};
        for (const auto& [name, files] : rows) {
            Bench bench;
            // Where the file is written before it gets its name, what is there already is not waited for.
            bench.place(fileOf(name) + ".new", "|");
            const int id = init_tharlen(name);
            const int docked = QByteArray(name) == "Nolva USB" ? 1 : 0;
            const PORT_INPUT& image = get_connection_data(id)->m_portInput;
            QCOMPARE(get_inkwell_switch(id), 1 - docked);
            armcontrol::handDock();
            while (!state().docked)
                step(1);
            armcontrol::handDock();
            QVERIFY(state().docked && !state().holding);
            QVERIFY(get_inkwell_switch(id) == docked && image.usCalibSwitch == docked);
            QCOMPARE(status(id), kCalibrationNeeded);
            // One that the motors shake does not rest, and begins anew.
            step(35);
            enable_tharlen_forces(id);
            for (const long shake : {9000, -9000, 9000, -9000, 9000, -9000, 0}) {
                drive(id, 1, shake);
                step(10);
                QCOMPARE(status(id), kCalibrationNeeded);
            }
            disable_tharlen_forces(id);
            step(30);
            QCOMPARE(status(id), kCalibrationNeeded);
            step(50);
            QVERIFY(!QFile::exists(bench.config(fileOf(name))));
            files(id);
            QVERIFY(QFile::remove(bench.config(fileOf(name))));
            if (docked)
                continue;
            get_inkwell_switch(id);
            QVERIFY(!QFile::exists(bench.config(fileOf(name))));
            QVERIFY(status(id) == 0 && worstError(id) < 0.2);
            // The well holds 6 N and no more.
            enable_tharlen_forces(id);
            drive(id, 0, 32767);
            step(1500);
            QVERIFY(!state().docked && !state().holding);
            QCOMPARE(get_inkwell_switch(id), 1 - docked);
            QVERIFY(update_calibration(id) != 0);
            disable_tharlen(id);
        }
    }

    // Each joint within 0.05 rad of the pose, either way.
    void resetPose() {
        Bench bench;
        const int id = init_tharlen("Stelmar 1.5");
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (const double off : {-0.06, -0.04, 0.04, 0.06}) {
                Vec6 pose{};
                pose[axis] = off;
                hold(pose, 1000);
                QVERIFY2((tharlen_reset(id) == 0) == (std::abs(off) < 0.05), about(axis, off));
            }
        }
        const int other = init_tharlen("Corvale USB");
        hold({}, 1000);
        QVERIFY(tharlen_reset(other) != 0);
    }

    void file() {
        const QByteArray device = R"({"device":"Default Device",)",
                         start = device + R"("serial":"SIM-50701","offsets":)";
        const struct {
            QByteArray content;
            const char* says;  // nothing where it is taken
        } rows[] = {{start + "[1000000,-20,-1000000]}", ""},
                    {"-", "is not there"},
                    {"/", "is not a regular file"},
                    {start + R"([1,2,3],"offsets":[4,5,6]})", "offsets: is there twice"},
                    {start + "[1,2]}", "is not a calibration"},
                    {start + "[1,2,3,4]}", "is not a calibration"},
                    {start + "[1,2,3]}" + QByteArray(64 * 1024, ' '), "is not a calibration"},
                    {R"({"device":"Orda LAN","serial":"SIM-50701","offsets":[1,2,3]})", "another device"},
                    {device + R"("serial":"X","offsets":[1,2,3]})", "another device"},
                    {start + "[1,2.5,3]}", "offset 1"},
                    {start + "[1,2,1000001]}", "offset 2"},
                    {start + "[1,2,-1000001]}", "offset 2"},
                    {start + "[18446744073709551615,2,3]}", "offset 0"}};
        for (const auto& row : rows) {
            Bench bench;
            bench.place(fileOf("Default Device"), row.content);
            int id = -1;
            const QByteArray said = complaints([&id] { id = init_tharlen("Default Device"); });
            const bool good = !*row.says;
            QVERIFY2(id >= 0 && (status(id) == 0) == good, row.content.left(200));
            QVERIFY2(said.contains(row.says) && said.count('\n') == (good ? 0 : 1), said);
            const CTHARLeNAutoCalibration* calibration = get_calibration_data(id);
            QVERIFY(!good
                    || (calibration->GetEncoderOffsets(1) == -20 && calibration->GetEncoderOffsets(2) == -1000000));
        }
    }

    // Without a folder the calibration holds in memory, and one line says so; what was begun beside a name that cannot
    // be had does not stay.
    void unwritable() {
        for (const char* folder : {"", "/nonexistent/place", "in the way"}) {
            Bench bench;
            const bool inTheWay = *folder == 'i';
            if (inTheWay)
                bench.place(fileOf("Stelmar 1.0"), "/");
            else
                *folder ? void(qputenv("KNDD_HOME", folder)) : void(qunsetenv("KNDD_HOME"));
            int id = init_tharlen("Stelmar 1.0");
            armcontrol::handReset();
            step(1500);
            const QByteArray said = complaints([id] { tharlen_reset(id); });
            QVERIFY2(said.count('\n') == 1 && said.contains("holds until the program ends"), said);
            QVERIFY(!QFile::exists(bench.config(fileOf("Stelmar 1.0") + ".new")));
            const auto offset = [&id] { return get_calibration_data(id)->GetEncoderOffsets(1); };
            const long known = offset();
            disable_tharlen(id);
            id = init_tharlen("Stelmar 1.0");
            QVERIFY(inTheWay || (status(id) == 0 && worstError(id) < 0.2 && offset() == known));
        }
    }

    void pinchLimits() {
        Bench bench;
        for (const char* name : {"Stelmar 6DOF Thumbpad", "Stelmar 6DOF Scissor", "Default Device"}) {
            const int id = init_tharlen(name), grip = tharlen_which_pinch(id);
            QCOMPARE(tharlen_check_for_pinch(id) > 0, grip > 0);
            for (const double closed : {0.0, 0.25, 1.0}) {
                armcontrol::handPinch(closed);
                step(1);
                const double wanted = grip == 0 ? 0 : 120 + 780 * (grip == 1 ? closed : 1 - closed);
                QCOMPARE(get_pinch_value(id), wanted);
                QCOMPARE(int(get_connection_data(id)->m_portInput.usPot0), int(std::lround(wanted)));
            }
            QVERIFY(set_pinch_limits(id, 500, 500) != 0 && is_pinch_calibrated(id) == 0);
            QCOMPARE(set_pinch_limits(id, 500, 501) == 0, grip > 0);
            QCOMPARE(is_pinch_calibrated(id), grip > 0 ? 1 : 0);
        }
    }
};

QTEST_APPLESS_MAIN(TestArmCalibration)
#include "tst_armcalibration.moc"
