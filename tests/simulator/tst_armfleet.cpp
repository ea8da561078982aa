// The built-in fleet, fleet files, and what is refused of them.
#include <cmath>
#include <set>

#include "device/simulated/model/lines.h"
#include "simarm.h"

using simarm::Bench;

namespace {

struct Records {
    Records() { number = manager.EnumerateTHARLeNs(devices); }
    ~Records() {
        for (CTHARLeNDevice* device : devices)
            delete device;
    }
    CTHARLeNMgr manager;
    CTHARLeNDevice* devices[20] = {};
    int number = 0;
};

QByteArray device(const QByteArray& name, const QByteArray& serial, const QByteArray& more = QByteArray()) {
    return R"({"name":")" + name + R"(","model":"Orda","serial":")" + serial + "\"" + more + "}";
}

QByteArray fleetOf(int number) {
    QByteArrayList list;
    for (int i = 0; i < number; ++i)
        list << device("arm " + QByteArray::number(i), "S" + QByteArray::number(i));
    return R"({"devices":[)" + list.join(',') + "]}";
}

}  // namespace

class TestArmFleet : public QObject {
    Q_OBJECT

private slots:
    void builtIn();
    void goodFiles();
    void badFiles();
    void eachDeviceStartsFresh();
};

// One of every line, card, revision class and grip, each one opens and says what its record says.
void TestArmFleet::builtIn() {
    Bench bench;
    Records records;
    std::set<unsigned long> models, cards, grips;
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
        models.insert(d.m_nModelType);
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
        const QVector<double> record = QVector<double>()
                                       << d.m_dL1 << d.m_dL2 << d.m_dWorkspaceOffset1 << d.m_dWorkspaceOffset2
                                       << d.m_dR1 << d.m_dR2 << d.m_dR3 << d.m_dR4 << d.m_dR5 << d.m_dR6
                                       << d.m_dNominalMaxStiffness << d.m_dNominalMaxDamping << d.m_dNominalMaxForce
                                       << d.m_dNominalMaxContinuousForce << d.m_dNominalMaxTorqueStiffness
                                       << d.m_dNominalMaxTorqueForce << d.m_dNominalMaxTorqueContinuousForce;
        const QVector<double> figures =
            QVector<double>() << line.upperArm << line.forearm << line.originY << line.originZ << line.base[0].reduction
                              << line.base[1].reduction << line.base[2].reduction << line.gimbal[0].reduction
                              << line.gimbal[1].reduction << line.gimbal[2].reduction << line.maxStiffness
                              << line.maxDamping << line.maxForce << line.continuousForce << line.maxTorqueStiffness
                              << line.maxTorque << line.continuousTorque;
        QVERIFY2(record == figures, d.m_szName);
        QVERIFY(d.m_dResetAngle0 == 0 && d.m_dResetAngle1 == 0 && d.m_dResetAngle5 == 0);
        QCOMPARE(*d.m_szTharlenHost != 0, d.m_nCardType == kCardLan);
        QVERIFY(get_tharlen_nominal_max_force(id) == static_cast<float>(line.maxForce)
                && get_tharlen_nominal_max_continuous_force(id) == static_cast<float>(line.continuousForce)
                && get_tharlen_nominal_max_stiffness(id) == static_cast<float>(line.maxStiffness));
        const armcontrol::Vec3 origin = armcontrol::state().position;
        QVERIFY(std::hypot(origin[0], origin[1], origin[2]) < 2.5);  // where a fresh arm stands
        armcontrol::step(20);
        QCOMPARE(update_tharlen(id), 0);
    }
    for (unsigned long model : {3, 4, 5, 9})
        QVERIFY(models.count(model));
    QVERIFY(cards.size() == 5 && texts.size() == 7);
    QVERIFY(revisions == std::set<int>({1, 5, 9}) && grips.size() == 3 && bare && high);
}

void TestArmFleet::goodFiles() {
    Bench bench;
    const QByteArray longest(127, 'n');
    bench.write(
        "devices.json",
        R"({"devices":[)" + device("Gerät é", "A1") + "," + device(longest, "A2", R"(,"card":6,"revision":15)")
            + R"(,{"name":"x y","model":"Stelmar 1.5","serial":"A3","card":3,"highForce":true,"grip":2,"gimbal":false}]})");
    {
        Records records;
        QCOMPARE(records.number, 3);
        QCOMPARE(QByteArray(records.devices[0]->m_szName), QByteArray("Ger\xe4t \xe9"));
        QCOMPARE(armcontrol::fleetNames()[0], std::string("Gerät é"));
        QCOMPARE(QByteArray(records.devices[1]->m_szName), longest);
        QVERIFY(records.devices[2]->m_nHighForce == 1 && records.devices[2]->m_nExtra6DOFOption == 2
                && records.devices[2]->m_nGimbal == 0);
        QVERIFY(init_tharlen("Ger\xe4t \xe9") >= 0 && init_tharlen("x y") >= 0 && init_tharlen("Default Device") < 0);
        QCOMPARE(armcontrol::fleetSource(), bench.config("devices.json").toStdString());
    }
    QFile::remove(bench.config("devices.json"));
    armcontrol::resetArm();
    QCOMPARE(armcontrol::fleetNames()[0], std::string("Default Device"));
    armcontrol::loopStepped(true);
    bench.write("devices.json", fleetOf(20));
    QCOMPARE(Records().number, 20);
    bench.write("devices.json", fleetOf(0));
    QCOMPARE(Records().number, 0);
    QVERIFY(!armcontrol::handMove({0, 0, 0}).empty() || init_tharlen("x") < 0);
}

// One line that names the file, the place and the reason, and the built-in fleet.
void TestArmFleet::badFiles() {
    const auto one = [](const QByteArray& d) { return QByteArray(R"({"devices":[)") + d + "]}"; };
    const struct {
        QByteArray content;
        const char* says;
    } rows[] = {
        {"", "is not JSON"},
        {"devices: none", "line 1, column 1"},
        {"{\"devices\":[{\"name\":\"\xff\xfe\"}]}", "is not JSON"},
        {R"({"devices":{}})", "\"devices\""},
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
        {one(R"({"name":"a","model":"Excavator","serial":"A"})"), "Excavator"},
        {one(device("a", "A", R"(,"card":6,"highForce":true)")), "high force"},
        {one(device("a", "A", R"(,"card":6.5)")), "devices[0].card"},
        {one(device("a", "A", R"(,"highForce":1)")), "devices[0].highForce"},
        {one(device("a", "A", R"(,"grip":1)")), "devices[0].grip"},
        {one(R"({"name":"a","model":"Stelmar 1.5 6DOF","serial":"A","gimbal":false})"), "devices[0].gimbal"},
        {one(device("a", "A", R"(,"revision":16)")), "devices[0].revision"},
        {one(device("a", "\xc3\xa9")), "devices[0].serial"},
        {one(device("a", "A") + "," + device("a", "B")), "devices[1].name"},
        {one(device("a", "A") + "," + device("b", "A")), "devices[1].serial"},
        {one(device("a", "A") + "," + device("b", "B", R"(,"serial":"C")")), "devices[1].serial: is there twice"},
        {QByteArray(65, '[') + QByteArray(65, ']'), "nested deeper than 64 levels"},
        {one(device("a", "A", R"(,"x\u0000y\u001b":1)")), "\"x?y?\""},
        {one(device("a", "A", ",\"" + QByteArray(900000, 'x') + "\":1")), "xxx...xxx"},
        {QByteArray(2000000, ' '), "1 MiB"},
        {"|", "is not a regular file"},
        {"@devices.json", "cannot be read"}};
    for (const auto& row : rows) {
        Bench bench;
        bench.place("devices.json", row.content);
        const QByteArray said = simarm::complaints([] { QVERIFY(Records().number > 10); });
        QVERIFY2(said.endsWith('\n') && simarm::isShort(said.chopped(1)), said);
        QVERIFY2(said.contains(bench.config("devices.json").toUtf8()) && said.contains(row.says),
                 said + row.content.left(80));
        QCOMPARE(armcontrol::fleetSource(), std::string("built in"));
    }
}

// Whatever was done to one device, nothing of it is seen on the next; and of no device after a reset of the arm.
void TestArmFleet::eachDeviceStartsFresh() {
    const auto readings = [](int id, bool ofAll) {
        armcontrol::heatSet(-1, 60, 40);
        armcontrol::setFault("overspeed", true);
        armcontrol::step(400);
        QStringList lines = QString::fromStdString(armcontrol::command(R"({"command":"state"})")).split(",\"");
        lines << QString::number(update_tharlen(id)) << QString::number(is_pinch_calibrated(id))
              << QString::number(unfiltered_device_fault(id));
        for (int kind = kShutdownTemperature; kind <= kCooldownTemperature; ++kind) {
            float limits[6];
            get_tharlen_temp_advance(id, kind, limits);
            for (const float limit : limits)
                lines << QString::number(limit);
        }
        const AXIS_SENSOR_DATA* axes = get_calibration_data(id)->GetAxisSensorData();
        for (int i = 0; i < 3; ++i)
            lines << QString("%1 %2 %3")
                         .arg(axes[i].nFlags)
                         .arg(get_calibration_data(id)->GetEncoderOffsets(i))
                         .arg(get_calibration_data(id)->GetEncoderOffsetsCalc(i));
        armcontrol::clearFaults();
        // The loop and the hand are not the device's.
        return ofAll ? lines : lines.filter(QRegularExpression("^(?!ticks|lateTicks|measuredRate|rate|handTarget)"));
    };
    const auto spoil = [](const char* name) {
        const int id = init_tharlen(name);
        simarm::calibrate(id);
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
        armcontrol::step(500);
        armcontrol::heatSet(-1, 350, 350);
        armcontrol::step(2);
        enable_tharlen_forces(id);
    };
    Bench bench;
    const QStringList fresh = readings(init_tharlen("Corvale LAN"), true);
    const QStringList ofDevice = fresh.filter(QRegularExpression("^(?!ticks|lateTicks|measuredRate|rate|handTarget)"));
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    for (const char* name : {"Corvale 1394", "Stelmar 6DOF Scissor"}) {
        spoil(name);
        armcontrol::clearFaults();
        QCOMPARE(readings(init_tharlen("Corvale LAN"), false), ofDevice);
    }
    // A hand at a point stays there, as the arm is the same one that stays where it was, as warm.
    armcontrol::handMove({20, 10, 0});
    armcontrol::step(500);
    const int id = init_tharlen("Corvale LAN");
    QVERIFY(armcontrol::state().holding && armcontrol::state().position[0] > 19 && armcontrol::state().winding[0] > 50
            && id >= 0);
    init_tharlen("Default Device");
    QVERIFY(armcontrol::state().holding && armcontrol::state().position[0] < 3 && armcontrol::state().winding[0] == 25);

    spoil("Corvale LAN");
    setServoLoopRate(2000);
    armcontrol::heatPace(100);
    armcontrol::handStrength(7);
    armcontrol::handPinch(0.7);
    armcontrol::handPresence(true);
    armcontrol::handSwitch(0, true);
    armcontrol::handSwitch(1, true);
    QVERIFY(QFile::remove(bench.config("THARLeN Calibration (Corvale LAN)")));
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    QVERIFY(startServoLoop([](void*) { return 0; }, nullptr) < 0);
    QCOMPARE(readings(init_tharlen("Corvale LAN"), true), fresh);
}

QTEST_APPLESS_MAIN(TestArmFleet)
#include "tst_armfleet.moc"
