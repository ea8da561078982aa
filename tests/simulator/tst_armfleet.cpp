// The built-in fleet, fleet files, and what is refused of them.
#include <set>

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
    void badFiles_data();
    void badFiles();
    void shutPlaces();
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
        QCOMPARE(get_tharlen_nominal_max_force(id), static_cast<float>(d.m_dNominalMaxForce));
        QVERIFY(d.m_dR1 > 0 && d.m_dR2 > 0 && d.m_dR3 > 0 && d.m_dL1 > 0);
        armcontrol::handMove({10, 10, 10});
        armcontrol::step(20);
        QCOMPARE(update_tharlen(id), 0);
    }
    for (unsigned long model : {3, 4, 5, 9})
        QVERIFY(models.count(model));
    for (unsigned long card : {1, 2, 3, 6, 7})
        QVERIFY(cards.count(card));
    for (const char* text : {"THARLEN Orda", "THARLEN Corvale", "Nolva", "THARLEN Stelmar 1.0", "THARLEN Stelmar 1.5",
                             "THARLEN Stelmar 3.0"})
        QVERIFY2(texts.count(text), text);
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
    bench.write("devices.json", fleetOf(20));
    QCOMPARE(Records().number, 20);
    bench.write("devices.json", fleetOf(0));
    QCOMPARE(Records().number, 0);
    QVERIFY(!armcontrol::handMove({0, 0, 0}).empty() || init_tharlen("x") < 0);
}

void TestArmFleet::badFiles_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("says");
    const auto one = [](const QByteArray& d) { return QByteArray(R"({"devices":[)") + d + "]}"; };
    QTest::newRow("empty") << QByteArray() << QByteArray("is not JSON");
    QTest::newRow("text") << QByteArray("devices: none") << QByteArray("line 1, column 1");
    QTest::newRow("half") << fleetOf(3).left(60) << QByteArray("is not JSON");
    QTest::newRow("binary") << QByteArray("{\"devices\":[{\"name\":\"\xff\xfe\"}]}") << QByteArray("is not JSON");
    QTest::newRow("array") << QByteArray("[]") << QByteArray("\"devices\"");
    QTest::newRow("wrong root") << QByteArray(R"({"arms":[]})") << QByteArray("\"devices\"");
    QTest::newRow("object") << QByteArray(R"({"devices":{}})") << QByteArray("\"devices\"");
    QTest::newRow("21 devices") << fleetOf(21) << QByteArray("more than 20");
    QTest::newRow("no object") << one("5") << QByteArray("devices[0]");
    QTest::newRow("no name") << one(R"({"model":"Orda","serial":"A"})") << QByteArray("\"name\"");
    QTest::newRow("name of a number") << one(R"({"name":5,"model":"Orda","serial":"A"})")
                                      << QByteArray("devices[0].name");
    QTest::newRow("name of nothing") << one(device("", "A")) << QByteArray("devices[0].name");
    QTest::newRow("name too long") << one(device(QByteArray(128, 'n'), "A")) << QByteArray("127");
    QTest::newRow("name with a slash") << one(device("a/b", "A")) << QByteArray("devices[0].name");
    QTest::newRow("name outside Latin-1") << one(device("\xe2\x82\xac", "A")) << QByteArray("Latin-1");
    QTest::newRow("name with a line end") << one(device("a\\nb", "A")) << QByteArray("devices[0].name");
    QTest::newRow("name after a blank") << one(device(" a", "A")) << QByteArray("devices[0].name");
    QTest::newRow("name before a blank") << one(device("a ", "A")) << QByteArray("devices[0].name");
    QTest::newRow("name before another blank") << one(device("a\xc2\xa0", "A")) << QByteArray("devices[0].name");
    QTest::newRow("unknown model") << one(R"({"name":"a","model":"Excavator","serial":"A"})")
                                   << QByteArray("Excavator");
    QTest::newRow("no such high force") << one(device("a", "A", R"(,"card":6,"highForce":true)"))
                                        << QByteArray("high force");
    QTest::newRow("card") << one(device("a", "A", R"(,"card":4)")) << QByteArray("devices[0].card");
    QTest::newRow("card in part") << one(device("a", "A", R"(,"card":6.5)")) << QByteArray("devices[0].card");
    QTest::newRow("flag of a number") << one(device("a", "A", R"(,"highForce":1)"))
                                      << QByteArray("devices[0].highForce");
    QTest::newRow("grip") << one(device("a", "A", R"(,"grip":1)")) << QByteArray("devices[0].grip");
    QTest::newRow("revision") << one(device("a", "A", R"(,"revision":16)")) << QByteArray("devices[0].revision");
    QTest::newRow("no serial") << one(R"({"name":"a","model":"Orda"})") << QByteArray("\"serial\"");
    QTest::newRow("serial too long") << one(device("a", QByteArray(65, 's'))) << QByteArray("devices[0].serial");
    QTest::newRow("same name") << one(device("a", "A") + "," + device("a", "B")) << QByteArray("devices[1].name");
    QTest::newRow("same serial") << one(device("a", "A") + "," + device("b", "A")) << QByteArray("devices[1].serial");
    QTest::newRow("unknown field") << one(device("a", "A", R"(,"colour":"red")")) << QByteArray("colour");
    QTest::newRow("field twice") << one(device("a", "A") + "," + device("b", "B", R"(,"serial":"C")"))
                                 << QByteArray("devices[1].serial: is there twice");
    QTest::newRow("deep") << QByteArray(65, '[') + QByteArray(65, ']') << QByteArray("nested deeper than 64 levels");
    QTest::newRow("field of control characters")
        << one(device("a", "A", R"(,"x\u0000y\u001b":1)")) << QByteArray("\"x?y?\"");
    QTest::newRow("long field") << one(device("a", "A", ",\"" + QByteArray(900000, 'x') + "\":1"))
                                << QByteArray("xxx...xxx");
    QTest::newRow("long word") << "[\"" + QByteArray(900000, 'x') << QByteArray("is not JSON");
    QTest::newRow("huge") << QByteArray(2000000, ' ') << QByteArray("1 MiB");
    QTest::newRow("a folder") << QByteArray("/") << QByteArray("is not a regular file");
    QTest::newRow("a FIFO") << QByteArray("|") << QByteArray("is not a regular file");
    QTest::newRow("a device") << QByteArray("@/dev/zero") << QByteArray("is not a regular file");
    QTest::newRow("a link to nothing") << QByteArray("@nothing") << QByteArray("is a link to nothing");
    QTest::newRow("a link to itself") << QByteArray("@devices.json") << QByteArray("cannot be read");
}

// One line that names the file, the place and the reason, and the built-in fleet.
void TestArmFleet::badFiles() {
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, says);
    Bench bench;
    bench.place("devices.json", content);
    const QByteArray said = simarm::complaints([] { QVERIFY(Records().number > 10); });
    QVERIFY2(said.endsWith('\n') && simarm::isShort(said.chopped(1)), said);
    QVERIFY2(said.contains(bench.config("devices.json").toUtf8()) && said.contains(says), said);
    QCOMPARE(armcontrol::fleetSource(), std::string("built in"));
}

// One line, too, where it cannot be told whether there is a file; none where there is none.
void TestArmFleet::shutPlaces() {
    Bench bench;
    const auto list = [] { QVERIFY(Records().number > 10); };
    QCOMPARE(simarm::complaints(list), QByteArray());
    bench.write("devices.json", fleetOf(3));
    QCOMPARE(::chmod(bench.home.path().toUtf8(), 0755), 0);
    const uid_t user = ::geteuid();
    for (const QString& shut : {bench.config("devices.json"), bench.config("")}) {
        QCOMPARE(::chmod(shut.toUtf8(), 0), 0);
        const QByteArray said = simarm::complaints([&] {
            // Nothing is shut to the superuser.
            const uid_t nobody = 65534;
            QVERIFY(user != 0 || ::seteuid(nobody) == 0);
            list();
            QVERIFY(user != 0 || ::seteuid(user) == 0);
        });
        QVERIFY2(said.contains("devices.json: cannot be read: Permission denied") && said.count('\n') == 1, said);
    }
    QCOMPARE(::chmod(bench.config("").toUtf8(), 0700), 0);
}

QTEST_APPLESS_MAIN(TestArmFleet)
#include "tst_armfleet.moc"
