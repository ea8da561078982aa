// The program that checks device libraries: on the simulated arm it finds nothing, on a library with broken promises
// those promises and nothing else. All runs are started at once, a few at a time, as most of each is waiting.
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

const QString kBroken = brokenLibrary("promises");

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
    Run(const QString& library, const QStringList& options, const QString& folder, const QString& name,
        const QString& broken)
        : m_json(folder + "/" + name + ".json"),
          m_socket(folder + "/" + name + ".sock"),
          m_arguments(QStringList{library} + options + QStringList{"--json", m_json}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KNDD_HOME", folder);
        environment.insert("BROKEN", broken);
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
    /// The promises that are found broken, and a part of what is seen of the first; none where nothing is.
    const char* promises;
    const char* seen;
    int kept;            ///< promises that are kept, at least
    const char* broken;  ///< what the library is to break
};

const Case kCases[] = {
    // Those with a person take longest, and come first.
    {"a person at the simulated arm", SIMULATED_LIBRARY, kPerson, "", "", 60, ""},
    {"a wrong sign", kBroken, kPerson, "motors.torque", "commands axis 1", 55, "wrong_sign"},
    {"wrong figures of a motion", kBroken, kPerson,
     "sensors.jacobian sensors.velocities sensors.counters sensors.registers", "% off", 50,
     "wrong_jacobian twice_as_fast still_registers"},
    {"the simulated arm",
     SIMULATED_LIBRARY,
     {"--device", "Corvale LAN", "--device", "Stelmar 6DOF Scissor"},
     "",
     "",
     48,
     ""},
    {"the example", EXAMPLE_LIBRARY, {}, "", "", 15, ""},
    {"the example's arm", EXAMPLE_LIBRARY, {"--device", "Example arm"}, "", "", 45, ""},
    {"the store", kBroken, kDevice, "store.names store.device store.count store.read store.again store.fields",
     "record 1 has no end", 38, "unended_name longer_record other_count reads_anything other_list odd_card"},
    {"21 devices", kBroken, kDevice, "store.count", "the list has 21 devices", 40, "long_list"},
    {"the loop", kBroken, kDevice, "loop.stops loop.calls loop.status loop.early loop.instant", "of 1000 stops", 38,
     "late_callback other_data strange_status starts_early half_rate"},
    {"a loop that always runs, at one rate", kBroken, kDevice, "loop.change loop.idle loop.calls",
     "ticks where this machine", 42, "rate_stays says_running"},
    {"ticks in bursts", kBroken, kDevice, "loop.rate1000 loop.rate2000 loop.rate3000 loop.rate4000", "1000.", 40,
     "bursts"},
    {"a rate off by 2 %", kBroken, kDevice, "loop.rate1000 loop.rate2000 loop.rate3000 loop.rate4000", "1020.", 40,
     "fast_rate"},
    {"the motors", kBroken, kDevice,
     "motors.opening motors.servo motors.last motors.limit motors.thresholds motors.fault", "the amplifiers are on", 38,
     "opens_on switch_waits last_of_one no_limit limits_run fault_while_on"},
    {"the sensors", kBroken, kDevice,
     "motors.closing sensors.pose sensors.angles sensors.registers sensors.range sensors.threads sensors.rest",
     "stayed on", 38, "stays_on mirrors other_angles still_registers not_a_number other_thread flickers"},
    {"the identity", kBroken, kDevice,
     "life.version life.nohandle life.unknown life.closing identity.texts identity.limits identity.grip "
     "calibration.status calibration.kinds sensors.temperatures",
     "it is", 30,
     "no_version speaks_unasked opens_anything closed_enables odd_serial great_force odd_grip odd_status "
     "no_calibration warm_base"},
    {"a dead second handle", kBroken, kDevice, "life.again life.operations life.nohandle", "as one that is not open",
     40, "dead_handle fills_more"},
    {"an exception", kBroken, kDevice, "life.operations", "get_tharlen_pos threw", 40, "throws"},
    {"a hang", kBroken, kDevice, "life.operations", "in get_stylus_presence", 40, "hangs"},
    {"a hang in a tick", kBroken, kDevice, "life.operations", "on the servo thread in get_tharlen_joint_vel", 45,
     "tick_hangs"},
    {"a crash", kBroken, kDevice, "life.operations", "in get_calibration_data", 40, "crashes"},
    {"a missing operation", brokenLibrary("missing"), kDevice, "file.operations", "missing: get_tharlen_vel", 40, ""},
    {"no SONAME", brokenLibrary("nosoname"), kDevice, "file.soname", "it has none", 45, ""},
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
                                                   "run" + QString::number(i), kCases[i].broken));
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

    void libraries() {
        int wrong = 0;
        for (std::size_t i = 0; i < std::size(kCases); ++i) {
            const Case& expected = kCases[i];
            const Run& run = *m_runs[i];
            const auto broken = run.promises("broken");
            QStringList names, wanted = QString(expected.promises).split(' ', Qt::SkipEmptyParts);
            for (const auto& [promise, seen] : broken)
                names << promise;
            const QString first = wanted.value(0);
            wanted.sort();
            const bool kept = static_cast<int>(run.promises("kept").size()) >= expected.kept;
            const bool seen = first.isEmpty() || (broken.count(first) && broken.at(first).contains(expected.seen));
            const bool ended = run.m_process.exitStatus() == QProcess::NormalExit
                               && run.m_process.exitCode() == (wanted.isEmpty() ? 0 : 1);
            if (names == wanted && kept && seen && ended)
                continue;
            ++wrong;
            qWarning("%s: %zu kept; broken:\n%s\nnot tried:\n%s", expected.name, run.promises("kept").size(),
                     qPrintable(lines(broken).join("\n")), qPrintable(lines(run.promises("not tried")).join("\n")));
        }
        QCOMPARE(wrong, 0);
    }

    /// By a terminal that is closed, though a read of the library hangs.
    void interrupted() {
        Run run(kBroken, kDevice, m_folder.path(), "interrupted", "hangs");
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
        Run empty(brokenLibrary("empty"), {}, m_folder.path(), "empty", "");
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

    void calls() {
        const QString library = SIMULATED_LIBRARY, nowhere = m_folder.path() + "/nowhere/findings.json";
        const struct {
            QStringList arguments;
            int status;
            const char* said;
        } rows[] = {{{}, 2, "which library?"},
                    {{"/no/such/file.so"}, 2, "cannot be read"},
                    {{LIBRARYCHECK}, 1, "broken"},
                    {{library, "--rate", "1500"}, 2, "--rate takes"},
                    {{library, "--device"}, 2, "needs a value"},
                    {{library, "--devices"}, 2, "no option --devices"},
                    {{library, library}, 2, "one library"},
                    {{library, "--person"}, 2, "--person needs"},
                    {{library, "--json", nowhere}, 2, "cannot be written"},
                    {{library, "--device", "Nobody"}, 1, "the opening was refused"}};
        for (const auto& row : rows) {
            QProcess process;
            process.setProcessChannelMode(QProcess::MergedChannels);
            process.start(LIBRARYCHECK, row.arguments);
            QVERIFY(process.waitForFinished(60000));
            const QByteArray output = process.readAll();
            QVERIFY2(output.contains(row.said) && process.exitCode() == row.status, output);
        }
    }

private:
    QTemporaryDir m_folder;
    std::vector<std::unique_ptr<Run>> m_runs;
};

QTEST_GUILESS_MAIN(TestLibraryCheck)
#include "tst_librarycheck.moc"
