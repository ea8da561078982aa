// The program that checks device libraries: on the simulated arm it finds nothing, on a library with one broken promise
// that promise and nothing else. All runs are started at once, a few at a time, as most of each is waiting.
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <signal.h>

#include <map>
#include <memory>
#include <utility>

namespace {

constexpr int kAtOnce = 6;
constexpr int kLongest = 600000;  ///< ms of all runs
const QStringList kDevice = {"--device", "Default Device"};
const QStringList kPerson = kDevice + QStringList{"--person"};

QString brokenLibrary(const char* name) { return QString("%1/%2/libTharlenIOLib42.so").arg(BROKEN_LIBRARIES, name); }

/// What the program asks a person for, and the hand's commands that do it.
struct Deed {
    const char* asked;
    QStringList commands;
    int wait;  ///< ms until it is done
};

QString moveTo(int x, int y, int z) {
    return QString(R"({"command":"hand.move","position":[%1,%2,%3]})").arg(x).arg(y).arg(z);
}

QString fault(const char* name, bool on) {
    return QString(R"({"command":"fault.set","name":"%1","on":%2})").arg(name, on ? "true" : "false");
}

const Deed kDeeds[] = {
    {"to the middle of its workspace, and hold it still", {moveTo(0, 0, 0)}, 700},
    {"centimetres to your right", {moveTo(30, 0, 0)}, 700},
    {"centimetres upwards", {moveTo(0, 30, 0)}, 700},
    {"centimetres towards yourself", {moveTo(0, 0, 30)}, 700},
    {"Hold the stylus loosely", {moveTo(0, 0, 0), R"({"command":"hand.release"})"}, 700},
    {"The motors will hum", {moveTo(0, 0, 0)}, 700},
    {"Switch the amplifiers off", {fault("amplifier", true)}, 50},
    {"Switch them on again", {fault("amplifier", false)}, 50},
    {"Let go of the arm", {R"({"command":"hand.release"})"}, 500},
    {"Pull the arm's data cable", {fault("unplugged", true)}, 50},
    {"Plug it in again", {fault("unplugged", false)}, 50},
};

constexpr char kMotion[] = "Move the stylus slowly about";

/// One run of the program, with a person at the simulated arm where it asks for one.
class Run : public QObject {
public:
    Run(const QString& library, const QStringList& options, const QString& folder, const QString& name)
        : m_json(folder + "/" + name + ".json"),
          m_socket(folder + "/" + name + ".sock"),
          m_arguments(QStringList{library} + options + QStringList{"--json", m_json}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KNDD_HOME", folder);
        environment.insert("HANGING_SIGN", folder + "/" + name + ".hangs");
        environment.insert("NOLVA_ARM_SOCKET", options.contains("--person") ? m_socket : "off");
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        connect(&m_process, &QProcess::readyRead, this, [this] { listen(); });
        m_mover.setInterval(400);
        connect(&m_mover, &QTimer::timeout, this, [this] { moveAbout(); });
    }
    void start() { m_process.start(LIBRARYCHECK, m_arguments); }
    /// Without standard input and outputs.
    void startAlone() {
        m_process.start("sh", QStringList{"-c", "exec \"$0\" \"$@\" <&- >&- 2>&-", LIBRARYCHECK} + m_arguments);
    }
    bool running() const { return m_process.state() != QProcess::NotRunning; }
    void end() { m_process.kill(); }

    QProcess m_process;
    QByteArray output;
    QJsonObject result() const {
        QFile file(m_json);
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
    }
    /// Promises with this verdict and what was seen, each once.
    std::map<QString, QString> promises(const char* verdict) const {
        std::map<QString, QString> found;
        for (const QJsonValue& value : result()["findings"].toArray())
            if (value["verdict"].toString() == verdict)
                found[value["promise"].toString()] = value["seen"].toString();
        return found;
    }
    QString seen(const char* verdict, const char* promise) const {
        const auto found = promises(verdict);
        const auto at = found.find(promise);
        return at == found.end() ? QString() : at->second;
    }

private:
    void listen() {
        output += m_process.readAll();
        if (!output.endsWith("Then press Enter. "))
            return;
        const int question = output.lastIndexOf("\n  ", output.lastIndexOf("\n  Then") - 1);
        const QByteArray asked = output.mid(question);
        m_mover.stop();
        if (asked.contains(kMotion)) {
            command(moveTo(0, 0, 0));
            m_mover.start();
            answerIn(100);
            return;
        }
        for (const Deed& deed : kDeeds) {
            if (!asked.contains(deed.asked))
                continue;
            for (const QString& line : deed.commands) {
                command(line);
                if (deed.commands.size() > 1)
                    QTest::qWait(700);
            }
            answerIn(deed.wait);
            return;
        }
        m_process.closeWriteChannel();  // nobody knows what is meant
    }
    void answerIn(int milliseconds) {
        QTimer::singleShot(milliseconds, this, [this] { m_process.write("\n"); });
    }
    void moveAbout() {
        static const int places[][3] = {{40, 0, 0}, {0, 40, 20}, {-40, 0, 0}, {0, -30, -20}, {20, 20, 30}, {0, 0, 0}};
        const auto& place = places[m_moves++ % 6];
        command(QString(R"({"command":"hand.drag","position":[%1,%2,%3],"speed":130})")
                    .arg(place[0])
                    .arg(place[1])
                    .arg(place[2]));
        command(QString(R"({"command":"hand.gimbal","angles":[%1,%2,%1]})")
                    .arg(m_moves % 2 ? 0.4 : -0.4)
                    .arg(m_moves % 3 ? 0.3 : -0.3));
    }
    void command(const QString& line) {
        QLocalSocket socket;
        socket.connectToServer(m_socket);
        if (!socket.waitForConnected(2000))
            return;
        socket.write(line.toUtf8() + '\n');
        socket.waitForReadyRead(2000);
    }

    QString m_json, m_socket;
    QStringList m_arguments;
    QTimer m_mover;
    int m_moves = 0;
};

QStringList lines(const std::map<QString, QString>& promises) {
    QStringList lines;
    for (const auto& [promise, seen] : promises)
        lines << promise + ": " + seen;
    return lines;
}

struct Case {
    const char* name;
    QString library;
    QStringList options;
    /// The promise that is found broken, and a part of what is seen; none where nothing is.
    const char* promise;
    const char* seen;
    int kept;  ///< promises that are kept, at least
};

const Case kCases[] = {
    // Those with a person take longest, and come first.
    {"a person at the simulated arm", SIMULATED_LIBRARY, kPerson, "", "", 60},
    {"a wrong sign", brokenLibrary("wrong_sign"), kPerson, "motors.torque", "commands axis 1", 55},
    {"a wrong Jacobian", brokenLibrary("wrong_jacobian"), kPerson, "sensors.jacobian", "% off", 55},
    {"the simulated arm",
     SIMULATED_LIBRARY,
     {"--device", "Corvale LAN", "--device", "Stelmar 6DOF Scissor"},
     "",
     "",
     48},
    {"the example", EXAMPLE_LIBRARY, {}, "", "", 15},
    {"the example's arm", EXAMPLE_LIBRARY, {"--device", "Example arm"}, "", "", 45},
    {"a callback after the stop", brokenLibrary("late_callback"), kDevice, "loop.stops", "of 1000 stops", 40},
    {"a name without an end", brokenLibrary("unended_name"), kDevice, "store.names", "record 1 has no end", 45},
    {"a record of another size", brokenLibrary("longer_record"), kDevice, "store.device", "record 0 was made with", 45},
    {"an exception", brokenLibrary("throws"), kDevice, "life.operations", "get_tharlen_pos threw", 40},
    {"a hang", brokenLibrary("hangs"), kDevice, "life.operations", "in get_stylus_presence", 40},
    {"a hang in a tick", brokenLibrary("tick_hangs"), kDevice, "life.operations",
     "on the servo thread in get_tharlen_joint_vel", 45},
    {"ticks in bursts", brokenLibrary("bursts"), kDevice, "loop.rate1000 loop.rate2000 loop.rate3000 loop.rate4000",
     "1000.", 40},
    {"a rate that stays", brokenLibrary("rate_stays"), kDevice, "loop.change", "ticks where this machine", 45},
    {"data of another", brokenLibrary("other_data"), kDevice, "loop.calls", "did not get the pUserData", 45},
    {"a dead second handle", brokenLibrary("dead_handle"), kDevice, "life.again", "as one that is not open", 40},
    {"amplifiers on after an opening", brokenLibrary("opens_on"), kDevice, "motors.opening", "the amplifiers are on",
     45},
    {"a switch that waits in a tick", brokenLibrary("switch_waits"), kDevice, "motors.servo", "_no_wait took 3", 45},
    {"21 devices", brokenLibrary("long_list"), kDevice, "store.count", "the list has 21 devices", 40},
    {"a crash", brokenLibrary("crashes"), kDevice, "life.operations", "in get_calibration_data", 40},
    {"amplifiers on after a close", brokenLibrary("stays_on"), kDevice, "motors.closing", "stayed on", 45},
    {"a rate off by 2 %", brokenLibrary("fast_rate"), kDevice,
     "loop.rate1000 loop.rate2000 loop.rate3000 loop.rate4000", "1020.", 40},
    {"no number", brokenLibrary("not_a_number"), kDevice, "sensors.range", "get_tharlen_temp_6dof gives nan at place 4",
     45},
    {"a status outside the table", brokenLibrary("strange_status"), kDevice, "loop.status", "it gave 7", 40},
    {"a missing operation", brokenLibrary("missing"), kDevice, "file.operations", "missing: get_tharlen_vel", 40},
    {"no SONAME", brokenLibrary("nosoname"), kDevice, "file.soname", "it has none", 45},
};

}  // namespace

class TestLibraryCheck : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(m_folder.isValid());
        QVERIFY(QDir(m_folder.path()).mkpath("config"));
        std::size_t next = 0;
        QElapsedTimer time;
        time.start();
        for (std::size_t i = 0; i < std::size(kCases); ++i)
            m_runs.push_back(std::make_unique<Run>(kCases[i].library, kCases[i].options, m_folder.path(),
                                                   "run" + QString::number(i)));
        const auto running = [this] {
            return std::count_if(m_runs.begin(), m_runs.end(), [](const auto& run) { return run->running(); });
        };
        while (time.elapsed() < kLongest && (next < m_runs.size() || running() > 0)) {
            while (next < m_runs.size() && running() < kAtOnce)
                m_runs[next++]->start();
            QTest::qWait(20);
        }
        for (auto& run : m_runs)
            run->end();
    }

    void libraries_data() {
        QTest::addColumn<int>("index");
        for (std::size_t i = 0; i < std::size(kCases); ++i)
            QTest::newRow(kCases[i].name) << static_cast<int>(i);
    }

    void libraries() {
        QFETCH(int, index);
        const Case& expected = kCases[index];
        const Run& run = *m_runs[static_cast<std::size_t>(index)];
        const auto broken = run.promises("broken");
        const QStringList names = lines(broken);
        const QStringList wanted = QString(expected.promise).split(' ', Qt::SkipEmptyParts);
        QVERIFY2(static_cast<int>(broken.size()) == wanted.size(), names.join("\n").toLocal8Bit());
        for (const QString& promise : wanted)
            QVERIFY2(broken.count(promise) == 1, names.join("\n").toLocal8Bit());
        if (!wanted.isEmpty())
            QVERIFY2(broken.at(wanted[0]).contains(expected.seen), names.join("\n").toLocal8Bit());
        const auto kept = static_cast<int>(run.promises("kept").size());
        QVERIFY2(kept >= expected.kept, lines(run.promises("not tried")).join("\n").toLocal8Bit());
        QCOMPARE(run.m_process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(run.m_process.exitCode(), wanted.isEmpty() ? 0 : 1);
    }

    /// By a terminal that is closed, though a read of the library hangs.
    void interrupted() {
        Run run(brokenLibrary("hangs"), kDevice, m_folder.path(), "interrupted");
        run.start();
        QVERIFY(run.m_process.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_folder.filePath("interrupted.hangs")), 60000);
        kill(static_cast<pid_t>(run.m_process.processId()), SIGHUP);
        QVERIFY(run.m_process.waitForFinished(30000));
        QCOMPARE(run.m_process.exitCode(), 130);
        QVERIFY2(run.seen("broken", "life.operations").contains("interrupted"), run.output);
    }

    /// Every operation that the simulated library exports is one of those that are looked for.
    void listIsWhole() {
        QProcess symbols;
        symbols.start("nm", {"-D", "--defined-only", SIMULATED_LIBRARY});
        QVERIFY(symbols.waitForFinished());
        QStringList operations;
        for (const QString& line : QString::fromLatin1(symbols.readAll()).split('\n'))
            if (line.contains(" T ") && !line.contains(" T _"))
                operations << line.section(" T ", 1);
        Run empty(brokenLibrary("empty"), {}, m_folder.path(), "empty");
        empty.startAlone();
        QVERIFY(empty.m_process.waitForFinished(60000));
        const auto broken = empty.promises("broken");
        QCOMPARE(static_cast<int>(broken.size()), 1);
        QStringList missing = empty.seen("broken", "file.operations").mid(int(strlen("missing: "))).split(", ");
        missing = missing.filter(QRegularExpression("^[^:]*$"));  // the members' names have colons
        missing.sort();
        operations.sort();
        QCOMPARE(missing, operations);
    }

    void calls_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("said");
        const QString library = SIMULATED_LIBRARY, nowhere = m_folder.path() + "/nowhere/findings.json";
        QTest::newRow("no library") << QStringList{} << 2 << "which library?";
        QTest::newRow("no file") << QStringList{"/no/such/file.so"} << 2 << "cannot be read";
        QTest::newRow("no library in the file") << QStringList{LIBRARYCHECK} << 1 << "broken";
        QTest::newRow("rate") << QStringList{library, "--rate", "1500"} << 2 << "--rate takes";
        QTest::newRow("value") << QStringList{library, "--device"} << 2 << "needs a value";
        QTest::newRow("option") << QStringList{library, "--devices"} << 2 << "no option --devices";
        QTest::newRow("two libraries") << QStringList{library, library} << 2 << "one library";
        QTest::newRow("person without an arm") << QStringList{library, "--person"} << 2 << "--person needs";
        QTest::newRow("findings to nowhere") << QStringList{library, "--json", nowhere} << 2 << "cannot be written";
        QTest::newRow("no such device") << QStringList{library, "--device", "Nobody"} << 1 << "the opening was refused";
    }

    void calls() {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, said);
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(LIBRARYCHECK, arguments);
        QVERIFY(process.waitForFinished(60000));
        const QString output = QString::fromUtf8(process.readAll());
        QVERIFY2(output.contains(said), qPrintable(output));
        QCOMPARE(process.exitCode(), status);
    }

private:
    QTemporaryDir m_folder;
    std::vector<std::unique_ptr<Run>> m_runs;
};

QTEST_GUILESS_MAIN(TestLibraryCheck)
#include "tst_librarycheck.moc"
