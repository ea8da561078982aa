// The built-in fleet, fleet files, and what is refused of them.
#include <set>
#include <tuple>

#include "device/simulated/model/lines.h"
#include "simarm.h"

using armcontrol::state;
using armcontrol::step;
using namespace simarm;

namespace {

QByteArray device(const QByteArray& name, const QByteArray& serial, const QByteArray& more = QByteArray()) {
    return R"({"name":")" + name + R"(","model":"Orda","serial":")" + serial + "\"" + more + "}";
}

QByteArray fleetOf(int number) {
    QByteArrayList list;
    for (int i = 0; i < number; ++i)
        list << device("arm " + QByteArray::number(i), "S" + QByteArray::number(i));
    return R"({"devices":[)" + list.join(',') + "]}";
}

/// All that can be read of the open device once it is warm and fast, and of the loop and the hand beside it.
QStringList readings(int id) {
    armcontrol::heatSet(-1, 60, 40);
    armcontrol::setFault("overspeed", true);
    step(400);
    QStringList lines = QString::fromStdString(armcontrol::command(R"({"command":"state"})")).split(",\"");
    lines << about(update_tharlen(id), is_pinch_calibrated(id), unfiltered_device_fault(id));
    for (const int kind : {kShutdownTemperature, kCooldownTemperature}) {
        float limits[6];
        get_tharlen_temp_advance(id, kind, limits);
        lines << about(limits[0], limits[5]);
    }
    CTHARLeNAutoCalibration* calibration = get_calibration_data(id);
    for (int i = 0; i < 3; ++i)
        lines << about(calibration->GetAxisSensorData()[i].nFlags, calibration->GetEncoderOffsets(i),
                       calibration->GetEncoderOffsetsCalc(i));
    armcontrol::clearFaults();
    return lines;
}

/// Of these, the device's.
QStringList ofDevice(const QStringList& readings) {
    return readings.filter(QRegularExpression("^(?!ticks|lateTicks|measuredRate|rate|handTarget)"));
}

/// Leaves a device calibrated otherwise, hot, tripped, pushed, slipped and drifted, with limits of its own.
void spoil(const char* name) {
    const int id = init_tharlen(name);
    calibrate(id);
    const float limits[6] = {300, 300, 300, 300, 300, 300};
    set_tharlen_temp_advance(id, kShutdownTemperature, limits);
    set_tharlen_temp_advance(id, kCooldownTemperature, limits);
    set_pinch_limits(id, 1, 2);
    enable_tharlen_velocity_check(id, 0);
    armcontrol::setFault("slipping-capstan", true, 0);
    armcontrol::setFault("drifting-encoder", true, 1, 6000);
    armcontrol::setFault("dead-encoder", true, 2);
    enable_tharlen_forces(id);
    const long dac[6] = {20000, 100, 200, 300, 400, 500};
    command_motor_dac_values(id, dac);
    armcontrol::handJoints({0.3, 0.5, 0.4, 0.3, 0.2, 0.1}, 2);
    step(500);
    armcontrol::heatSet(-1, 350, 350);
    step(2);
    enable_tharlen_forces(id);
}

}  // namespace

class TestArmFleet : public QObject {
    Q_OBJECT

private slots:
    // One of every line, card, revision class and grip, each one opens and says what its record says.
    void builtIn() {
        Bench bench;
        Records records;
        std::set<unsigned long> cards, grips;
        std::set<QByteArray> texts;
        std::set<int> revisions;
        bool bare = false, high = false;
        QCOMPARE(QByteArray(records.devices[0]->m_szName), QByteArray("Default Device"));
        QVERIFY(records.devices[0]->m_nModelType == 5 && records.devices[0]->m_nCardType == 7);
        for (int i = 0; i < records.number; ++i) {
            CTHARLeNDevice& d = *records.devices[i];
            QVERIFY(d.Read() && d.m_nIndex == i);
            const int id = init_tharlen(d.m_szName);
            QVERIFY2(id >= 0, d.m_szName);
            cards.insert(d.m_nCardType);
            grips.insert(d.m_nExtra6DOFOption);
            texts.insert(get_tharlen_model_type(id));
            bare |= d.m_nGimbal == 0;
            high |= d.m_nHighForce == 1;
            if (d.m_nModelType == 3)
                revisions.insert(get_hardware_rev(id));
            QCOMPARE(tharlen_check_for_gimbal(id) != 0, d.m_nGimbal == 1);
            QCOMPARE(tharlen_which_pinch(id), static_cast<int>(d.m_nExtra6DOFOption));
            QCOMPARE(QByteArray(get_hardware_serial_number(id)), QByteArray(d.m_nDeviceSerialNumber));
            const arm::LineFigures& line =
                *arm::findLine(QByteArray(d.m_szName).contains("6DOF")
                                   ? "Stelmar 1.5 6DOF"
                                   : QByteArray(get_tharlen_model_type(id)).replace("THARLEN ", "").constData(),
                               static_cast<int>(d.m_nCardType), d.m_nHighForce == 1);
            const auto record =
                std::make_tuple(d.m_dL1, d.m_dL2, d.m_dWorkspaceOffset1, d.m_dWorkspaceOffset2, d.m_dR1, d.m_dR2,
                                d.m_dR3, d.m_dR4, d.m_dR5, d.m_dR6, d.m_dNominalMaxStiffness, d.m_dNominalMaxDamping,
                                d.m_dNominalMaxForce, d.m_dNominalMaxContinuousForce, d.m_dNominalMaxTorqueStiffness,
                                d.m_dNominalMaxTorqueForce, d.m_dNominalMaxTorqueContinuousForce);
            const auto figures = std::make_tuple(
                line.upperArm, line.forearm, line.originY, line.originZ, line.base[0].reduction, line.base[1].reduction,
                line.base[2].reduction, line.gimbal[0].reduction, line.gimbal[1].reduction, line.gimbal[2].reduction,
                line.maxStiffness, line.maxDamping, line.maxForce, line.continuousForce, line.maxTorqueStiffness,
                line.maxTorque, line.continuousTorque);
            QVERIFY2(record == figures, d.m_szName);
            QVERIFY(d.m_dResetAngle0 == 0 && d.m_dResetAngle1 == 0 && d.m_dResetAngle5 == 0);
            QCOMPARE(*d.m_szTharlenHost != 0, d.m_nCardType == kCardLan);
            QCOMPARE(get_tharlen_nominal_max_force(id), static_cast<float>(line.maxForce));
            QCOMPARE(get_tharlen_nominal_max_continuous_force(id), static_cast<float>(line.continuousForce));
            QCOMPARE(get_tharlen_nominal_max_stiffness(id), static_cast<float>(line.maxStiffness));
            const armcontrol::Vec3 origin = state().position;
            QVERIFY(std::hypot(origin[0], origin[1], origin[2]) < 2.5);  // where a fresh arm stands
            step(20);
            QCOMPARE(update_tharlen(id), 0);
        }
        QVERIFY(cards.size() == 5 && texts.size() == 7);
        QVERIFY(revisions == std::set<int>({1, 5, 9}) && grips.size() == 3 && bare && high);
    }

    void goodFiles() {
        Bench bench;
        const QByteArray longest(126, 'n');  // beside a letter that is one character and two bytes
        bench.write(
            "devices.json",
            R"({"devices":[)" + device("Gerät é", "A1") + ","
                + device(longest + "ö", "A2", R"(,"card":6,"revision":15)")
                + R"(,{"name":"x y","model":"Stelmar 1.5","serial":"A3","card":3,"highForce":true,"grip":2,"gimbal":false}]})");
        {
            Records records;
            QCOMPARE(records.number, 3);
            QCOMPARE(QByteArray(records.devices[0]->m_szName), QByteArray("Ger\xe4t \xe9"));
            QCOMPARE(armcontrol::fleetNames()[0], std::string("Gerät é"));
            QCOMPARE(QByteArray(records.devices[1]->m_szName), longest + '\xf6');
            const CTHARLeNDevice& last = *records.devices[2];
            QVERIFY(last.m_nHighForce == 1 && last.m_nExtra6DOFOption == 2 && last.m_nGimbal == 0);
            QVERIFY(init_tharlen("Ger\xe4t \xe9") >= 0 && init_tharlen("Default Device") < 0);
            QCOMPARE(armcontrol::fleetSource(), bench.config("devices.json").toStdString());
        }
        QFile::remove(bench.config("devices.json"));
        restart();
        QCOMPARE(armcontrol::fleetNames()[0], std::string("Default Device"));
        for (const int number : {20, 0}) {
            bench.write("devices.json", fleetOf(number));
            QCOMPARE(Records().number, number);
        }
        QVERIFY(init_tharlen("x") < 0 && !armcontrol::handRelease().empty());
    }

    // One line that names the file, the place and the reason, and the built-in fleet.
    void badFiles() {
        const auto one = [](const QByteArray& d) { return QByteArray(R"({"devices":[)") + d + "]}"; };
        const struct {
            QByteArray content;
            const char* says;
        } rows[] = {
            {"devices: none", "line 1, column 1"},
            {R"({"devices":[],"more":1})", "\"devices\""},
            {fleetOf(21), "more than 20"},
            {one("5"), "devices[0]"},
            {one(R"({"name":5,"model":"Orda","serial":"A"})"), "devices[0].name"},
            {one(device(QByteArray(128, 'n'), "A")), "127"},
            {one(device("a/b", "A")), "devices[0].name"},
            {one(device("\xe2\x82\xac", "A")), "Latin-1"},
            {one(device("\xc2\x80", "A")), "devices[0].name"},
            {one(device(" a", "A")), "devices[0].name"},
            {one(device("a\xc2\xa0", "A")), "devices[0].name"},
            {one(device("a", "A", R"(,"card":6,"highForce":true)")), "high force"},
            {one(device("a", "A", R"(,"card":6.5)")), "devices[0].card"},
            {one(device("a", "A", R"(,"highForce":1)")), "devices[0].highForce"},
            {one(device("a", "A", R"(,"grip":1)")), "devices[0].grip"},
            {one(R"({"name":"a","model":"Stelmar 1.5 6DOF","serial":"A","gimbal":false})"), "devices[0].gimbal"},
            {one(device("a", "A", R"(,"revision":16)")), "devices[0].revision"},
            {one(device("a", "\xc3\xa9")), "devices[0].serial"},
            {one(device("a", "A") + "," + device("a", "B")), "devices[1].name"},
            {one(device("a", "A") + "," + device("b", "A")), "devices[1].serial"},
            {one(device("a", "A", R"(,"serial":"C")")), "devices[0].serial: is there twice"},
            {one(device("a", "A", ",\"" + QByteArray(900000, 'x') + "\":1")), "xxx...xxx"},
            {QByteArray(2000000, ' '), "1 MiB"},
            {"|", "is not a regular file"},
            {"@devices.json", "cannot be read"}};
        for (const auto& row : rows) {
            Bench bench;
            bench.place("devices.json", row.content);
            const QByteArray said = complaints([] { QVERIFY(Records().number > 10); });
            QVERIFY2(said.endsWith('\n') && isShort(said.chopped(1)), said);
            QVERIFY2(said.contains(bench.config("devices.json").toUtf8()) && said.contains(row.says), row.says + said);
            QCOMPARE(armcontrol::fleetSource(), std::string("built in"));
        }
    }

    // Whatever was done to one device, nothing of it is seen on the next; and of no device after a reset of the arm.
    void eachDeviceStartsFresh() {
        Bench bench;
        const QStringList fresh = readings(init_tharlen("Corvale LAN"));
        restart();
        for (const char* name : {"Corvale 1394", "Stelmar 6DOF Scissor"}) {
            spoil(name);
            armcontrol::clearFaults();
            QCOMPARE(ofDevice(readings(init_tharlen("Corvale LAN"))), ofDevice(fresh));
        }
        // A hand at a point stays there, as the arm is the same one that stays where it was, as warm.
        Gestures().hold({20, 10, 0}, 500);
        init_tharlen("Corvale LAN");
        QVERIFY(state().holding && state().position[0] > 19 && state().winding[0] > 50);
        init_tharlen("Default Device");
        QVERIFY(state().holding && state().position[0] < 3 && state().winding[0] == 25);

        spoil("Corvale LAN");
        setServoLoopRate(2000);
        armcontrol::heatPace(100);
        armcontrol::handStrength(7);
        armcontrol::handPinch(0.7);
        armcontrol::handPresence(true);
        Gestures().press(true);
        QVERIFY(QFile::remove(bench.config("THARLeN Calibration (Corvale LAN)")));
        restart();
        QVERIFY(startServoLoop([](void*) { return 0; }, nullptr) < 0);
        QCOMPARE(readings(init_tharlen("Corvale LAN")), fresh);
    }
};

QTEST_APPLESS_MAIN(TestArmFleet)
#include "tst_armfleet.moc"
