// The control interface: JSON commands with good and bad input, and the socket that carries them.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QProcess>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "simarm.h"

using nlohmann::json;
using simarm::Records;

namespace {

json ask(const std::string& line) { return json::parse(armcontrol::command(line)); }

sockaddr_un addressOf(const QByteArray& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
    return address;
}

/// A command whose `id` makes it nested so many levels deep.
QByteArray nested(int levels) {
    return R"({"command":"fleet.list","id":)" + QByteArray(levels - 1, '[') + QByteArray(levels - 1, ']') + "}";
}

/// A socket bound to this path, for others to find there; -1 where it cannot be.
int occupy(const QByteArray& path) {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = addressOf(path);
    return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? descriptor : -1;
}

int modeOf(const QByteArray& path) {
    struct stat s {};
    return ::stat(path.constData(), &s) == 0 ? static_cast<int>(s.st_mode & 0777) : -1;
}

/// A client of the socket that may send in pieces.
class Client {
public:
    explicit Client(const QByteArray& path) : descriptor_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        const sockaddr_un address = addressOf(path);
        connected = ::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        const timeval wait{2, 0};
        ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    }
    ~Client() { ::close(descriptor_); }

    void send(const std::string& text) { ::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL); }
    json answer() {
        std::string line;
        char buffer[4096];
        for (ssize_t got; (got = ::recv(descriptor_, buffer, sizeof buffer, MSG_PEEK)) > 0;) {
            const char* end = std::find(buffer, buffer + got, '\n');
            const std::size_t taken = static_cast<std::size_t>(end - buffer) + (end < buffer + got ? 1 : 0);
            line.append(buffer, static_cast<std::size_t>(::recv(descriptor_, buffer, taken, 0)));
            if (line.back() == '\n')
                return json::parse(line);
        }
        return {{"nothing", true}};
    }
    json ask(const std::string& line) {
        send(line + "\n");
        return answer();
    }
    bool silent() {
        char byte;
        return ::recv(descriptor_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0;
    }

    bool connected = false;

private:
    int descriptor_;
};

constexpr char kList[] = R"({"command":"fleet.list"})";

/// What this program says, run anew to list its devices with these variables; and where its socket is then.
QByteArray listWith(const QString& socket, const QString& runtime = QString(), QByteArray* path = nullptr) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("KNDD_HOME");
    environment.insert("NOLVA_ARM_SOCKET", socket);
    environment.insert("XDG_RUNTIME_DIR", runtime);
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationFilePath(), {"list"});
    process.waitForFinished();
    if (path)
        *path = process.readAllStandardOutput().trimmed();
    const bool ended = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return (ended ? "" : "failed: ") + process.readAllStandardError();
}

}  // namespace

class TestArmControl : public QObject {
    Q_OBJECT

    QTemporaryDir home_;
    QByteArray path_;

private slots:
    void initTestCase() {
        path_ = home_.path().toUtf8() + "/arm.sock";
        qputenv("NOLVA_ARM_SOCKET", path_);
        qputenv("KNDD_HOME", home_.path().toUtf8());
        // A file that a process left behind does not stand in the way.
        ::close(occupy(path_));
        QVERIFY(Records().number > 0);
        QCOMPARE(modeOf(path_), 0600);
        simarm::restart();
        QCOMPARE(armcontrol::handRelease(), std::string());  // by the first device of the fleet
        QCOMPARE(init_tharlen("Default Device"), 0);
    }
    void cleanupTestCase() { armcontrol::resetArm(); }

    void good() {
        QCOMPARE(ask(R"({"command":"hand.move","position":[10,5,-5],"id":"a"})"), json({{"ok", true}, {"id", "a"}}));
        QCOMPARE(ask(R"({"command":"loop.step","ticks":800,"id":7})"), json({{"ok", true}, {"id", 7}, {"ticks", 800}}));
        const json state = ask(R"({"command":"state"})")["state"];
        QVERIFY(std::abs(state["position"][0].get<double>() - 10) < 0.5);
        QCOMPARE(state["name"], json("Default Device"));
        QVERIFY(state["holding"] == true && state["jointMin"].size() == 6 && state["faults"].empty());
        // Every field of the C++ state is there under its name.
        QCOMPARE(state.size(), std::size_t(41));
        QVERIFY(state["motors"] == 3 && state["buttons"] == 2 && state["inkWell"] == true && state["heatPace"] == 1);
        QCOMPARE(ask(R"({"command":"fault.set","name":"hot","on":true,"axis":2,"amount":80})")["ok"], json(true));
        QCOMPARE(ask(R"({"command":"fault.set","name":"jitter","on":true})")["ok"], json(true));
        const json faults = ask(R"({"command":"fault.list"})")["faults"];
        std::map<std::string, json> named;
        for (const json& fault : faults)
            named[fault["name"]] = fault;
        named["hot"].erase("text");
        const json hot{{"name", "hot"}, {"on", true}, {"axis", 2}, {"amount", 80.0}, {"unit", "degrees C"}};
        QVERIFY2(named["hot"] == hot && named["jitter"]["amount"] == 300, named["hot"].dump().c_str());
        QCOMPARE(faults.back().value("manner", false), true);
        QCOMPARE(ask(R"({"command":"fault.clear"})")["ok"], json(true));
        QCOMPARE(ask(nested(64).toStdString())["ok"], json(true));
        const std::string brackets = std::string(70, '[') + "\"\\";
        QCOMPARE(ask(json({{"command", "fleet.list"}, {"id", brackets}}).dump())["id"], json(brackets));
        const json fleet = ask(R"({"command":"fleet.list"})");
        QVERIFY(fleet["devices"][0] == "Default Device" && fleet["source"] == "built in");
        for (const char* line :
             {R"({"command":"hand.drag","position":[0,0,0],"speed":100})",
              R"({"command":"hand.gimbal","angles":[0.1,0,0]})",
              R"({"command":"hand.joints","angles":[0,0.6,0.6,0,0,0],"speed":1})",
              R"({"command":"hand.sweep","axis":4,"speed":2})", R"({"command":"hand.dock"})",
              R"({"command":"hand.undock"})", R"({"command":"hand.reset"})",
              R"({"command":"hand.strength","newtons":30})", R"({"command":"hand.switch","button":1,"pressed":true})",
              R"({"command":"hand.presence","present":true})", R"({"command":"hand.pinch","closed":0.5})",
              R"({"command":"heat.set","motor":4,"winding":40,"stator":30})", R"({"command":"heat.pace","factor":2})",
              R"({"command":"hand.release"})"})
            QVERIFY2(ask(line)["ok"] == true, line);
        const armcontrol::State s = armcontrol::state();
        QVERIFY(s.strength == 30 && s.switches[1] && !s.switches[0] && s.presence && s.pinch == 0.5 && !s.holding);
        QVERIFY(s.winding[4] == 40 && s.stator[4] == 30 && s.winding[3] == 25 && s.stator[5] == 25);
    }

    // An error that names the field, and not a bit of the state is another one.
    void bad() {
        const struct {
            QByteArray line, names;
        } rows[] = {{"", "not JSON"},
                    {"{\"command\":\"state\"} x", "not JSON"},
                    {"\xff\xfe", "not JSON"},
                    {"[1]", "object"},
                    {R"({"command":"a\u202eb\u0085"})", "\"a?b?\""},
                    {R"({"command":"hand.dock","speed":1})", "speed: this command"},
                    {R"({"command":"hand.move"})", "position"},
                    {R"({"command":"hand.move","position":[1,2,"3"]})", "position"},
                    {R"({"command":"hand.move","position":[1,2,1000.1]})", "position"},
                    {R"({"command":"hand.drag","position":[0,0,0],"speed":0})", "speed"},
                    {R"({"command":"hand.drag","position":[0,0,0],"speed":5001})", "speed"},
                    {R"({"command":"hand.joints","angles":[0,0,0,0,0,6.2833],"speed":1})", "angles"},
                    {R"({"command":"hand.gimbal","angles":[0,-6.2833,0]})", "angles"},
                    {R"({"command":"hand.sweep","axis":18446744073709551615,"speed":1})", "axis"},
                    {R"({"command":"hand.release","id":{"a":[0,{"b":1,"b":1}]}})", "id.a[1].b: is there twice"},
                    {R"({"command":"hand.strength","newtons":200.1})", "newtons"},
                    {R"({"command":"hand.switch","button":2,"pressed":true})", "button"},
                    {R"({"command":"hand.pinch","closed":1.01})", "closed"},
                    {"{\"command\":\"fault.set\",\"name\":\"a\\u001b[2J\\u0000b\",\"on\":true}", "\"a?[2J?b\""},
                    {R"({"command":"heat.set","motor":6,"winding":30,"stator":30})", "motor"},
                    {R"({"command":"heat.set","motor":0,"winding":401,"stator":30})", "winding"},
                    {R"({"command":"heat.set","motor":0,"winding":30,"stator":-41})", "stator"},
                    {R"({"command":"heat.pace","factor":0.9})", "factor"},
                    {R"({"command":"loop.step","ticks":1000001})", "ticks"},
                    {nested(65), "nested deeper than 64 levels"},
                    {"{\"command\":\"state\",\"" + QByteArray(60000, 'x') + "\":1}", "xxx...xxx"}};
        const std::string before = armcontrol::command(R"({"command":"state"})");
        for (const auto& row : rows) {
            const json answer = ask(row.line.toStdString());
            QVERIFY2(answer["ok"] == false, row.line.left(200));
            const QByteArray error = QByteArray::fromStdString(answer["error"].get<std::string>());
            QVERIFY2(error.contains(row.names) && simarm::isShort(error), error + " for " + row.line.left(200));
            QCOMPARE(armcontrol::command(R"({"command":"state"})"), before);
        }
        // What JSON cannot say but a program can.
        const double bad = std::nan("");
        QVERIFY(!armcontrol::handMove({0, bad, 0}).empty() && !armcontrol::handJoints({0, 0, 0, 0, 0, bad}, 1).empty());
        QVERIFY(!armcontrol::handSweep(0, bad).empty() && !armcontrol::handSweep(-1, 1).empty());
        QVERIFY(!armcontrol::heatSet(0, bad, 20).empty() && !armcontrol::handSwitch(-1, true).empty());
        QCOMPARE(armcontrol::command(R"({"command":"state"})"), before);
    }

    void clients() {
        Client one(path_), two(path_);
        QVERIFY(one.connected && two.connected);
        one.send("{\"command\":\"fleet.list\",\"id\":1}\n{\"command\":\"nonsense\",\"id\":2}\n\n");
        QCOMPARE(two.ask("{\"command\":\"state\",\"id\":\"zwei\"}\r")["id"], json("zwei"));
        const json first = one.answer(), second = one.answer();
        QVERIFY(first["id"] == 1 && first["ok"] == true && second["id"] == 2 && second["ok"] == false);
        QVERIFY(one.silent());
        Client(path_).send("{\"command\":\"hand.release\"}\n{\"comm");
        // One that asks and asks before it reads gets every answer, in order, and holds nobody else up.
        std::thread sender([&one] {
            for (int i = 0; i < 3000; ++i)
                one.send("{\"command\":\"state\",\"id\":" + std::to_string(i) + "}\n");
        });
        const bool other = two.ask(kList)["ok"] == true;
        int right = 0;
        while (one.answer().value("id", -1) == right && ++right < 3000) {
        }
        sender.join();
        QVERIFY2(other && right == 3000, simarm::about(right));

        // One more than sixteen is told so and let go; the others go on, and one that leaves makes room.
        std::vector<std::unique_ptr<Client>> many;
        for (int i = 3; i <= 16; ++i) {
            many.push_back(std::make_unique<Client>(path_));
            QCOMPARE(many.back()->ask(kList)["ok"], json(true));
        }
        Client surplus(path_);
        const json refused = surplus.ask(R"({"command":"fault.set","name":"jitter","on":true})");
        QVERIFY2(refused.contains("error") && !refused.value("ok", true), refused.dump().c_str());
        QVERIFY(surplus.answer().contains("nothing"));
        many.pop_back();
        for (int round = 0; round < 2; ++round)  // what came before the first is read before the second
            QCOMPARE(one.ask(kList)["ok"], json(true));
        QVERIFY(armcontrol::state().faults.empty());
        QCOMPARE(Client(path_).ask(kList)["ok"], json(true));
    }

    void longAndHalfLines() {
        Client one(path_), two(path_);
        one.send("{\"command\":\"sta");
        QCOMPARE(two.ask(kList)["ok"], json(true));
        QVERIFY(one.silent());
        QCOMPARE(one.ask("te\"}")["ok"], json(true));
        // Too long by one byte, and by a lot: one error for each, the rest of the line is gone, the next one counts.
        const std::string padding = "{\"command\":\"state\",\"id\":\"";
        const std::string fits = padding + std::string(64 * 1024 - padding.size() - 2, 'x') + "\"}";
        QCOMPARE(one.ask(fits)["ok"], json(true));
        for (const std::size_t more : {1, 900000}) {
            const json error = one.ask(fits + std::string(more, ' ') + "\n" + R"({"command":"fleet.list","id":9})");
            QVERIFY(error["ok"] == false && error["error"].get<std::string>().find("64 KiB") != std::string::npos);
            QCOMPARE(one.answer()["id"], json(9));
        }
        QVERIFY(one.silent());
    }

    // Off, at a path that is named, or in a folder of this user alone; what cannot be had is told in a line.
    void paths() {
        QCOMPARE(listWith("off"), QByteArray());
        // One socket is in use by this very process, one by an owner that stands still with its queue full.
        const QByteArray still = home_.path().toUtf8() + "/still.sock";
        const int owner = occupy(still);
        QCOMPARE(::listen(owner, 0), 0);
        Client waiting(still);
        QVERIFY(waiting.connected);
        const QByteArray wrong[] = {"/nonexistent/arm.sock", QByteArray(200, 'x'), home_.path().toUtf8(), path_, still};
        for (const QByteArray& path : wrong)
            QVERIFY2(listWith(path).startsWith("libTharlenIOLib42: no control socket: " + path.left(60)), path);
        QVERIFY(Client(path_).connected);
        ::close(owner);

        QTemporaryDir runtime;
        const QByteArray folder = runtime.path().toUtf8() + "/nolva-diagnostic";
        QByteArray used;
        QCOMPARE(listWith("", runtime.path(), &used), QByteArray());
        QVERIFY2(used.startsWith(folder + "/arm-") && !QFile::exists(used), used);
        QCOMPARE(modeOf(folder), 0700);
        // What an ended process left is swept, other files are not.
        const QByteArray stale = folder + "/arm-2147483000.sock", other = folder + "/arm-x.sock";
        const QByteArray ours = folder + "/arm-" + QByteArray::number(::getpid()) + ".sock";
        for (const QByteArray& path : {stale, other, ours})
            ::close(occupy(path));
        QCOMPARE(listWith("", runtime.path()), QByteArray());
        QVERIFY(!QFile::exists(stale) && QFile::exists(ours) && QFile::exists(other));
        // A folder that others may enter is not used.
        ::chmod(folder, 0755);
        QVERIFY(listWith("", runtime.path()).contains("of this user alone"));
    }
};

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc == 2 && QByteArray(argv[1]) == "list") {
        armcontrol::loopStepped(true);
        const int listed = Records().number;
        const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR") + "/nolva-diagnostic";
        const QString path = folder + QString("/arm-%1.sock").arg(application.applicationPid());
        if (QFile::exists(path))
            puts(qPrintable(path));
        return listed > 0 ? 0 : 1;
    }
    TestArmControl test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_armcontrol.moc"
