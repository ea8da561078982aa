// Calibration of every style, what the home sensors find, and the calibration file.
#include <cmath>

#include "simarm.h"

using simarm::Bench;

namespace {

int status(int id) {
    int value = -1;
    return get_calibration_status(id, &value) == 0 ? value : -1;
}

/// Largest distance between the base encoders and the true angles, in degrees.
double worstError(int id) {
    float angles[6];
    get_tharlen_joint_angles(id, angles);
    const armcontrol::State s = armcontrol::state();
    double worst = 0;
    for (std::size_t i = 0; i < 3; ++i)
        worst = std::max(worst, std::abs(angles[i] - s.joints[i]));
    return worst * 180 / M_PI;
}

}  // namespace

class TestArmCalibration : public QObject {
    Q_OBJECT

private slots:
    void styles_data();
    void styles();
    void homeSensors_data();
    void homeSensors();
    void inkWellBySelf();
    void file_data();
    void file();
    void unwritable_data();
    void unwritable();
    void pinchLimits();
};

void TestArmCalibration::styles_data() {
    QTest::addColumn<QString>("device");
    QTest::addColumn<int>("supported");
    QTest::newRow("ink well") << "Default Device" << 2;
    QTest::newRow("ink well, other sense") << "Nolva USB" << 2;
    QTest::newRow("home sensors") << "Corvale USB" << 1;
    QTest::newRow("reset pose") << "Stelmar 1.5" << 0;
}

// Off by a few degrees until calibrated; refused in the wrong place; right afterwards, also after closing and
// opening, and wrong again once the calibration is discarded.
void TestArmCalibration::styles() {
    QFETCH(QString, device);
    QFETCH(int, supported);
    Bench bench;
    int id = init_tharlen(qPrintable(device));
    QCOMPARE(is_calibration_supported(id), supported);
    QCOMPARE(is_tharlen_reset_supported(id), supported == 0 ? 1 : 0);
    QCOMPARE(status(id), 0x70);
    QVERIFY(worstError(id) > 0.5 && worstError(id) < 2.0);

    // Nothing of it works at the origin.
    armcontrol::handMove({0, 0, 0});
    armcontrol::step(500);
    QVERIFY(update_calibration(id) != 0);
    QVERIFY(tharlen_reset(id) != 0);
    QCOMPARE(status(id), 0x70);

    QVERIFY(simarm::calibrate(id));
    QVERIFY2(worstError(id) < 0.2, qPrintable(QString("off by %1 degrees").arg(worstError(id))));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(get_calibration_data(id)->IsEncoderOffsetsIncorrect(i), UCHAR(0));
    disable_tharlen(id);
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    id = init_tharlen(qPrintable(device));
    QCOMPARE(status(id), 0);
    QVERIFY(worstError(id) < 0.2);

    get_calibration_data(id)->DiscardCalibration();
    QCOMPARE(status(id), 0x70);
    QVERIFY(worstError(id) > 0.5);
    long before[6], after[6];
    get_encoder_values(id, before);
    get_calibration_data(id)->DiscardCalibration();
    get_encoder_values(id, after);
    QVERIFY(before[0] != after[0]);
}

void TestArmCalibration::homeSensors_data() {
    QTest::addColumn<QString>("device");
    QTest::addColumn<int>("flags");
    QTest::addColumn<int>("gaps");
    QTest::newRow("revision 1") << "Corvale 1394" << 1 << 0;
    QTest::newRow("revision 5") << "Corvale LAN" << 3 << 2;
    QTest::newRow("revision 9") << "Corvale USB" << 1 << 0;
}

// Flags and gaps by revision and in their places; the registers show the sensor; half a passage is none; a flag
// too wide and a gap too narrow are seen so; a missing flag keeps the axis from being found.
void TestArmCalibration::homeSensors() {
    QFETCH(QString, device);
    QFETCH(int, flags);
    QFETCH(int, gaps);
    Bench bench;
    const int id = init_tharlen(qPrintable(device));
    AXIS_SENSOR_DATA* axes = get_calibration_data(id)->GetAxisSensorData();
    CIOConnection* connection = get_connection_data(id);
    QCOMPARE(connection->m_portInput.ucSpeedErrs & 0x0F, get_hardware_rev(id));

    // Into the middle flag of X and back out the same way.
    const double edge = 400.0 / 10830.0;
    armcontrol::handJoints({edge, 0.6, 0.6, 0, 0, 0}, 0.5);
    armcontrol::step(2000);
    QVERIFY(!(connection->m_portInput.ucMiscIn & 0x10));
    armcontrol::handJoints({0, 0.6, 0.6, 0, 0, 0}, 0.5);
    armcontrol::step(1000);
    QVERIFY(connection->m_portInput.ucMiscIn & 0x10);
    armcontrol::handJoints({edge, 0.6, 0.6, 0, 0, 0}, 0.5);
    armcontrol::step(1000);
    QCOMPARE(axes[0].nFlags, 0);

    armcontrol::setFault("wide-flag", true, 0, 240);
    armcontrol::setFault("narrow-gap", true, 0, 150);
    armcontrol::handSweep(0, 0.5);
    armcontrol::step(14000);
    QVERIFY(std::labs(axes[0].psdFlagData[1]->lWidth - 840) < 12);
    if (gaps > 0) {
        QVERIFY(std::labs(axes[0].psdFlagData[0]->lWidth - 400) < 12);
        QVERIFY(std::labs(axes[0].psdGapData[0]->lWidth - 130) < 12);
        QVERIFY(std::labs(axes[0].psdGapData[1]->lWidth - 280) < 12);
    }
    armcontrol::clearFaults();

    armcontrol::setFault("missing-flag", true, 1);
    for (int axis = 0; axis < 3; ++axis) {
        armcontrol::handSweep(axis, 0.5);
        armcontrol::step(14000);
    }
    QCOMPARE(axes[1].nFlags, 0);
    QCOMPARE(status(id), 0x70);
    QVERIFY(update_calibration(id) != 0);
    armcontrol::clearFaults();
    armcontrol::handSweep(1, 0.5);
    armcontrol::step(14000);
    QCOMPARE(status(id), kCalibrationNeeded);

    for (int axis = 0; axis < 2; ++axis) {
        QCOMPARE(axes[axis].nFlags, flags);
        QCOMPARE(axes[axis].nGaps, gaps);
        const int first = flags == 1 ? 1 : 0;
        for (int i = first; i < first + flags; ++i) {
            const SENSOR_DATA* seen = axes[axis].psdFlagData[i];
            QVERIFY(seen);
            QVERIFY(std::labs(seen->lWidth - (i == 1 ? 600 : 400)) < 12);
            QCOMPARE(seen->lWidth, std::labs(seen->lStop - seen->lStart));
            QCOMPARE(seen->lMidPoint, (seen->lStop + seen->lStart) / 2);
            QVERIFY(std::labs(std::labs(seen->lVelocity) - (axis == 0 ? 5415 : 4795)) < 400);
        }
    }
    QCOMPARE(axes[2].nFlags, 1);
    QVERIFY(axes[2].psdFlagData[0]);
    QCOMPARE(update_calibration(id), 0);
    QCOMPARE(status(id), 0);
    QVERIFY(worstError(id) < 0.2);

    // A calibrated axis that the sensors contradict is told.
    armcontrol::setFault("drifting-encoder", true, 0, 60000);
    armcontrol::step(500);
    armcontrol::clearFaults();
    armcontrol::handSweep(0, 0.5);
    armcontrol::step(14000);
    QCOMPARE(status(id), 0x10);
}

// An arm that rests in the ink well takes its zero by itself, and the next look at it files that.
void TestArmCalibration::inkWellBySelf() {
    Bench bench;
    for (const char* name : {"Default Device", "Nolva USB"}) {
        // Where the file is written before it gets its name, what is there already is not waited for.
        bench.place(QString("THARLeN Calibration (%1).new").arg(name), "|");
        const int id = init_tharlen(name);
        const int docked = QByteArray(name) == "Nolva USB" ? 1 : 0;
        QCOMPARE(get_inkwell_switch(id), 1 - docked);
        armcontrol::handDock();
        while (!armcontrol::state().docked)
            armcontrol::step(1);
        QCOMPARE(get_inkwell_switch(id), docked);
        QCOMPARE(status(id), kCalibrationNeeded);
        armcontrol::step(80);
        QVERIFY(!QFile::exists(bench.config(QString("THARLeN Calibration (%1)").arg(name))));
        QCOMPARE(get_inkwell_switch(id), docked);
        QVERIFY(QFile::exists(bench.config(QString("THARLeN Calibration (%1)").arg(name))));
        QCOMPARE(status(id), 0);
        QVERIFY(worstError(id) < 0.2);
        armcontrol::handUndock();
        armcontrol::step(20);
        QCOMPARE(get_inkwell_switch(id), 1 - docked);
        disable_tharlen(id);
    }
}

void TestArmCalibration::file_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("wanted");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("good") << QByteArray(R"({"device":"Default Device","serial":"SIM-50701","offsets":[10,-20,30]})")
                          << 0 << QByteArray();
    QTest::newRow("missing") << QByteArray("-") << 0x70 << QByteArray("is not there");
    QTest::newRow("a folder") << QByteArray("/") << 0x70 << QByteArray("is not a regular file");
    QTest::newRow("a FIFO") << QByteArray("|") << 0x70 << QByteArray("is not a regular file");
    QTest::newRow("a device") << QByteArray("@/dev/zero") << 0x70 << QByteArray("is not a regular file");
    QTest::newRow("a link to nothing") << QByteArray("@nothing") << 0x70 << QByteArray("is a link to nothing");
    QTest::newRow("deep") << R"({"device":)" + QByteArray(64, '[') + QByteArray(64, ']') + "}" << 0x70
                          << QByteArray("nested deeper than 64 levels");
    QTest::newRow("field twice") << QByteArray(
        R"({"device":"Default Device","serial":"SIM-50701","offsets":[1,2,3],"offsets":[4,5,6]})")
                                 << 0x70 << QByteArray("offsets: is there twice");
    QTest::newRow("empty") << QByteArray() << 0x70 << QByteArray("is not a calibration");
    QTest::newRow("half") << QByteArray(R"({"device":"Default Device","serial":"SIM-5)") << 0x70
                          << QByteArray("is not a calibration");
    QTest::newRow("array") << QByteArray("[1,2,3]") << 0x70 << QByteArray("is not a calibration");
    QTest::newRow("binary") << QByteArray(300, '\xff') << 0x70 << QByteArray("is not a calibration");
    QTest::newRow("too large") << QByteArray(100000, ' ') << 0x70 << QByteArray("is not a calibration");
    QTest::newRow("other name") << QByteArray(R"({"device":"Orda LAN","serial":"SIM-50701","offsets":[1,2,3]})") << 0x70
                                << QByteArray("another device");
    QTest::newRow("other serial") << QByteArray(R"({"device":"Default Device","serial":"X","offsets":[1,2,3]})") << 0x70
                                  << QByteArray("another device");
    QTest::newRow("two offsets") << QByteArray(R"({"device":"Default Device","serial":"SIM-50701","offsets":[1,2]})")
                                 << 0x70 << QByteArray("is not a calibration");
    QTest::newRow("fraction") << QByteArray(R"({"device":"Default Device","serial":"SIM-50701","offsets":[1,2.5,3]})")
                              << 0x70 << QByteArray("offset 1");
    QTest::newRow("huge") << QByteArray(
        R"({"device":"Default Device","serial":"SIM-50701","offsets":[1,2,99999999999]})")
                          << 0x70 << QByteArray("offset 2");
    QTest::newRow("beyond all") << QByteArray(
        R"({"device":"Default Device","serial":"SIM-50701","offsets":[18446744073709551615,2,3]})")
                                << 0x70 << QByteArray("offset 0");
}

void TestArmCalibration::file() {
    QFETCH(QByteArray, content);
    QFETCH(int, wanted);
    QFETCH(QByteArray, says);
    Bench bench;
    bench.place("THARLeN Calibration (Default Device)", content);
    int id = -1;
    const QByteArray said = simarm::complaints([&id] { id = init_tharlen("Default Device"); });
    QVERIFY(id >= 0);
    QCOMPARE(status(id), wanted);
    QCOMPARE(said.count('\n'), says.isEmpty() ? 0 : 1);
    QVERIFY2(said.contains(says), said);
    if (wanted == 0)
        QCOMPARE(get_calibration_data(id)->GetEncoderOffsets(1), -20L);
}

void TestArmCalibration::unwritable_data() {
    QTest::addColumn<QString>("folder");
    QTest::newRow("not set") << QString();
    QTest::newRow("not there") << "/nonexistent/place";
    QTest::newRow("a file") << "/dev/null";
    QTest::newRow("not writable") << "/proc";
}

// Without a folder the calibration holds in memory, and one line says so.
void TestArmCalibration::unwritable() {
    QFETCH(QString, folder);
    Bench bench;
    if (folder.isNull())
        qunsetenv("KNDD_HOME");
    else
        qputenv("KNDD_HOME", folder.toUtf8());
    int id = init_tharlen("Stelmar 1.0");
    armcontrol::handReset();
    armcontrol::step(1500);
    int result = -1;
    const QByteArray said = simarm::complaints([&] { result = tharlen_reset(id); });
    QCOMPARE(result, 0);
    QCOMPARE(said.count('\n'), 1);
    QCOMPARE(status(id), 0);
    disable_tharlen(id);
    id = init_tharlen("Stelmar 1.0");
    QCOMPARE(status(id), 0);
    QVERIFY(worstError(id) < 0.2);
}

void TestArmCalibration::pinchLimits() {
    Bench bench;
    for (const char* name : {"Stelmar 6DOF Thumbpad", "Stelmar 6DOF Scissor", "Default Device"}) {
        const int id = init_tharlen(name);
        const int grip = tharlen_which_pinch(id);
        QCOMPARE(tharlen_check_for_pinch(id) > 0, grip > 0);
        armcontrol::handPinch(0);
        const double open = get_pinch_value(id);
        armcontrol::handPinch(1);
        const double closed = get_pinch_value(id);
        QVERIFY(grip == 1 ? closed > open + 100 : grip == 2 ? closed < open - 100 : closed == open);
        QCOMPARE(is_pinch_calibrated(id), 0);
        QVERIFY(set_pinch_limits(id, 500, 500) != 0);
        QCOMPARE(
            set_pinch_limits(id, static_cast<int>(std::min(open, closed)), static_cast<int>(std::max(open, closed)))
                == 0,
            grip > 0);
        QCOMPARE(is_pinch_calibrated(id), grip > 0 ? 1 : 0);
        disable_tharlen(id);
    }
}

QTEST_APPLESS_MAIN(TestArmCalibration)
#include "tst_armcalibration.moc"
