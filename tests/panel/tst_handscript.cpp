// Scripts of the hand as files: a line is good exactly where the arm takes it, and a bad one is named.
#include <sys/stat.h>

#include "device/simulated/armcontrol.h"
#include "scriptedarm.h"
#include "scriptfile.h"

namespace {

/// Values about the ends of every range, and of every kind.
QJsonArray candidates(int count) {
    QJsonArray out{QJsonValue(), "1", true, QJsonObject()};
    for (const double value : {-1000.1, -1000.0, -6.3, -6.2, -1.0, 0.0,   0.05,  0.1,    0.5,    1.0,    2.0,   5.0,
                               6.0,     6.2,     6.3,  50.0, 50.1, 200.0, 200.1, 1000.0, 1000.1, 5000.0, 5000.1}) {
        out << value;
        for (int size = count - 1; size <= count + 1; ++size) {
            QJsonArray array;
            for (int i = 0; i < size; ++i)
                array << value;
            out << array;
        }
    }
    return out << QJsonArray{1, "2", 3} << QJsonArray{1, QJsonValue(), 3, 4, 5, 6};
}

}  // namespace

class TestHandScript : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        qputenv("NOLVA_ARM_SOCKET", "off");
        qputenv("KNDD_HOME", "");
        QCOMPARE(armcontrol::loopStepped(true), std::string());
    }
    void cleanupTestCase() { armcontrol::resetArm(); }

    void agreesWithTheArm() {
        const QJsonDocument commands = QJsonDocument::fromJson(R"([
            {"command":"hand.move","position":[1,2,3]}, {"command":"hand.drag","position":[1,2,3],"speed":9},
            {"command":"hand.joints","angles":[0,0,0,0,0,0],"speed":1}, {"command":"hand.sweep","axis":5,"speed":1},
            {"command":"hand.gimbal","angles":[0,0,0]}, {"command":"hand.strength","newtons":25},
            {"command":"hand.switch","button":1,"pressed":true}, {"command":"hand.presence","present":false},
            {"command":"hand.pinch","closed":0.5}, {"command":"hand.release"}, {"command":"hand.dock"},
            {"command":"hand.undock"}, {"command":"hand.reset"}])");
        int good = 0, bad = 0;
        const auto compare = [&](const QJsonObject& tried) {
            const std::string answer = armcontrol::command(line(tried).toStdString());
            const bool taken = object(answer.c_str())["ok"].toBool();
            const QString error = readScript(line(tried)).error;
            ++(taken ? good : bad);
            QVERIFY2(taken == error.isEmpty(), qPrintable(line(tried) + "  " + error + "  " + answer.c_str()));
        };
        for (const QJsonValue command : commands.array()) {
            QJsonObject object = command.toObject();
            compare(object);
            for (const QString& name : object.keys()) {
                QJsonObject other = object;
                other.remove(name);
                compare(other);
                for (const QJsonValue value : candidates(object[name].toArray().size())) {
                    other[name] = value;
                    compare(other);
                }
            }
            object["id"] = "mine";
            compare(object);
            object["more"] = 1;
            compare(object);
            QVERIFY(!QTest::currentTestFailed());
        }
        QVERIFY(good > 100 && bad > 100);
    }

    void namesWhatIsBad() {
        const QByteArray dock = "{\"command\":\"hand.dock\"}\n";
        const struct {
            QByteArray text;
            QString error;  // its beginning
        } rows[] = {{"\n \n", "line 1: there is no command"},
                    {dock + "\n{\"command\":}", "line 3: not JSON at column "},
                    {dock + "[1]", "line 2: a line is one JSON object"},
                    {dock + "{\"command\":\"fault.clear\"}", "line 2: command: \"fault.clear\" is none"},
                    {dock + "{\"command\":\"hand.move\",\"position\":[1,2]}",
                     "line 2: position: must be an array of 3 numbers between -1000 and 1000"},
                    {"{\"command\":\"hand.dock\",\"speed\":1}", "line 1: speed: "},
                    {"{\"wait\":-1}", "line 1: wait: must be"},
                    {"{\"wait\":1,\"command\":\"hand.dock\"}", "line 1: wait: stands"},
                    {dock + "{\"wait\":3600000}\n{\"wait\":1}", "line 3: wait: the waits"},
                    {dock + "{\"wait\":1,\"wait\":2}", "line 2: a field is there twice"},
                    {dock + "{\"command\":\"hand.dock\",\"id\":" + QByteArray(64, '[') + QByteArray(64, ']') + "}",
                     "line 2: nested deeper than 64 levels"},
                    {"{\"command\":\"hand.dock\",\"" + QByteArray(60000, 'x') + "\":1}",
                     "line 1: " + QString(120, 'x') + "..." + QString(77, 'x') + ": "},
                    {dock + "{\"wait\":" + QByteArray(70000, '1') + "}", "line 2: the line"}};
        for (const auto& row : rows) {
            const ReadScript read = readScript(row.text);
            QVERIFY2(read.error.startsWith(row.error), qPrintable(read.error));
            QVERIFY(read.script.isEmpty());
        }
    }

    void readsWhatItWrites() {
        const QByteArray text =
            "{\"wait\":40}\n{\"command\":\"hand.dock\"}\n{\"command\":\"hand.switch\","
            "\"button\":1,\"pressed\":true}\n{\"wait\":1500}\n{\"command\":\"hand.move\","
            "\"position\":[0.1,-2.25,1e-07]}\n{\"wait\":7}\n";
        const ReadScript read = readScript(text);
        QCOMPARE(read.error, QString());
        QCOMPARE(lengthOf(read.script), qint64(1547));
        QCOMPARE(writeScript(readScript(writeScript(read.script)).script), writeScript(read.script));
        QCOMPARE(writeScript(read.script).split('\n').size(), text.split('\n').size());
        QVERIFY(writeScript(read.script).contains("[0.1,-2.25,1e-07]"));
        const ReadScript loose =
            readScript("\r\n{ \"wait\" : 10.4 }\r\n{\"wait\":5}\n\n{\"command\":\"hand.dock\",\"id\":3}");
        QCOMPARE(loose.script.size(), 2);
        QCOMPARE(loose.script[0].waitMs, 15);
        QVERIFY(loose.script[1].fields.isEmpty());
        QTemporaryDir folder;
        const QByteArray fifo = folder.filePath("fifo").toLocal8Bit();
        QCOMPARE(::mkfifo(fifo, 0600), 0);
        for (const char* path : {fifo.constData(), "/dev/zero", "/tmp"})
            QCOMPARE(readScriptFile(path).error, QString("is not a regular file"));
        QVERIFY(!readScriptFile("/nowhere/script.jsonl").error.isEmpty());
        QVERIFY(!writeScriptFile("/nowhere/script.jsonl", read.script).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestHandScript)
#include "tst_handscript.moc"
