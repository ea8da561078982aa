// The program that checks device libraries: on the simulated arm it finds nothing, on a library with broken promises
// those promises and nothing else. All runs are started at once, a few at a time, as most of each is waiting.
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <signal.h>

#include <map>
#include <memory>

namespace {

constexpr int kAtOnce = 10;
constexpr int kLongest = 600000;  ///< ms of all runs
const QStringList kDevice = {"--device", "Default Device"};
const QStringList kPerson = kDevice + QStringList{"--person"};

QString brokenLibrary(const char* name) { return QString("%1/%2/libTharlenIOLib42.so").arg(BROKEN_LIBRARIES, name); }

const QString kBroken = brokenLibrary("promises");

QString moveTo(const char* place) { return QString(R"({"command":"hand.move","position":[%1]})").arg(place); }

const QString kRelease = R"({"command":"hand.release"})";

/// What the program asks a person for, and the hand's commands that do it.
const struct Deed {
    const char* asked;
    QStringList commands;
    int wait;             ///< ms after each
    bool goesOn = false;  ///< moves about from then on
} kDeeds[] = {{"Move the stylus slowly about", {moveTo("0,0,0")}, 100, true},
              {"to the middle of its workspace, and hold it still", {moveTo("0,0,0")}, 700},
              {"centimetres to your right", {moveTo("30,0,0")}, 700},
              {"centimetres upwards", {moveTo("0,30,0")}, 700},
              {"centimetres towards yourself", {moveTo("0,0,30")}, 700},
              {"Hold the stylus loosely", {moveTo("0,0,0"), kRelease}, 700},
              {"The motors will hum", {moveTo("0,0,0")}, 700},
              {"Switch the amplifiers off", {R"({"command":"fault.set","name":"amplifier","on":true})"}, 50},
              {"Switch them on again", {R"({"command":"fault.set","name":"amplifier","on":false})"}, 50},
              {"Let go of the arm", {kRelease}, 500},
              {"Pull the arm's data cable", {R"({"command":"fault.set","name":"unplugged","on":true})"}, 50},
              {"Plug it in again", {R"({"command":"fault.set","name":"unplugged","on":false})"}, 50}};

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
    /// With what the shell does to its standard input and outputs.
    void start(const char* descriptors = "") {
        m_process.start("sh",
                        QStringList{"-c", QString("exec \"$0\" \"$@\"") + descriptors, LIBRARYCHECK} + m_arguments);
    }
    /// Promises with this verdict and what was seen, each once.
    std::map<QString, QString> promises(const char* verdict) const {
        QFile file(m_json);
        const QByteArray json = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        std::map<QString, QString> found;
        for (const QJsonValue value : QJsonDocument::fromJson(json)["findings"].toArray())
            if (value["verdict"].toString() == verdict)
                found[value["promise"].toString()] = value["seen"].toString() + " on " + value["device"].toString();
        return found;
    }

    QProcess m_process;
    QString output;

private:
    void listen() {
        output += QString::fromUtf8(m_process.readAll());
        if (!output.endsWith("Then press Enter. "))
            return;
        if (!QFile::exists(m_socket))
            return m_process.closeWriteChannel();  // nobody is there
        const QString asked = output.mid(output.lastIndexOf("\n  ", output.lastIndexOf("\n  Then") - 1));
        m_mover.stop();
        for (const Deed& deed : kDeeds) {
            if (!asked.contains(deed.asked))
                continue;
            for (const QString& line : deed.commands) {
                command(line);
                QTest::qWait(deed.wait);
            }
            if (deed.goesOn)
                m_mover.start();
            m_process.write("\n");
            return;
        }
        m_process.closeWriteChannel();  // nobody knows what is meant
    }
    void moveAbout() {
        static const QStringList places{"40,0,0", "0,40,20", "-40,0,0", "0,-30,-20", "20,20,30", "0,0,0"};
        command(QString(R"({"command":"hand.drag","position":[%1],"speed":130})").arg(places[m_moves++ % 6]));
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

const struct {
    const char *name, *broken;  ///< what the library is to break
    /// The promises that are found broken, and a part of what is seen of the first; none where nothing is.
    const char *promises, *seen;
    int kept;  ///< promises that are kept, at least
    QString library = kBroken;
    QStringList options = kDevice;
    const char* shown = "";  ///< of its text
} kCases[] = {
    // Those with a person take longest, and come first.
    {"a person at the simulated arm", "", "", "", 60, SIMULATED_LIBRARY, kPerson},
    {"a wrong sign, an exception on the way", "wrong_sign throws_moving", "motors.torque sensors.encoders",
     "commands axis 1", 51, kBroken, kPerson},
    {"wrong figures of a motion, a crash of the motors",
     "wrong_jacobian twice_as_fast still_registers other_way crashes_driven",
     "sensors.jacobian sensors.velocities sensors.counters sensors.registers sensors.directions motors.directions",
     "% off", 48, kBroken, kPerson},
    {"a read that hangs while a command stands", "hangs_driven", "", "", 55, kBroken, kPerson, "was taken back"},
    {"the simulated arm", "", "", "", 48, SIMULATED_LIBRARY,
     kDevice + QStringList{"--device", "Corvale LAN", "--device", "Stelmar 6DOF Scissor"}},
    {"the example", "", "", "", 15, EXAMPLE_LIBRARY, {}},
    {"the example's arm, nobody at it", "", "", "", 45, EXAMPLE_LIBRARY, {"--device", "Example arm", "--person"}},
    {"the store", "unended_name longer_record other_count reads_anything other_list odd_card",
     "store.names store.device store.count store.read store.again store.fields", "record 1 has no end", 38},
    {"21 devices", "long_list", "store.count", "the list has 21 devices", 40},
    {"the loop", "late_callback other_data strange_status starts_early half_rate blank_at_end",
     "loop.stops loop.calls loop.status loop.early loop.instant store.names", "of 1000 stops", 37},
    {"a loop that always runs, at one rate", "rate_stays says_running", "loop.change loop.idle loop.calls",
     "ticks where this machine", 42},
    {"ticks in bursts", "bursts", "loop.rate1000 loop.rate2000 loop.rate3000 loop.rate4000", "1000.", 40},
    {"a rate off by 2 %", "fast_rate", "loop.rate1000 loop.rate2000 loop.rate3000 loop.rate4000", "1020.", 40},
    {"the motors",
     "opens_on switch_waits last_of_one no_limit limits_run fault_while_on off_at_second creeps name_twice",
     "motors.opening motors.servo motors.last motors.limit motors.thresholds motors.fault motors.switch sensors.rest "
     "store.names",
     "the amplifiers are on", 35},
    {"the sensors", "stays_on mirrors other_angles still_registers not_a_number other_thread flickers enables_nothing",
     "motors.closing sensors.pose sensors.angles sensors.registers sensors.range sensors.threads sensors.rest "
     "life.nohandle",
     "stayed on", 37},
    {"the identity",
     "no_version speaks_unasked opens_anything closed_enables odd_serial great_force odd_grip odd_status "
     "no_calibration warm_base",
     "life.version life.nohandle life.unknown life.closing identity.texts identity.limits identity.grip "
     "calibration.status calibration.kinds sensors.temperatures",
     "it is", 30},
    {"a dead second handle", "dead_handle fills_more", "life.again life.operations life.nohandle",
     "as one that is not open", 40},
    {"an exception", "throws", "life.operations", "get_tharlen_pos threw", 40},
    {"a hang", "hangs", "life.operations", "in get_stylus_presence", 40},
    {"a hang in a tick", "tick_hangs", "life.operations", "on the servo thread in get_tharlen_joint_vel", 45},
    {"a crash, a slow read", "crashes takes_35_us", "life.operations", "in get_calibration_data", 40, kBroken,
     kDevice + QStringList{"--rate", "2000"}, "get_pinch_value +servo .*could eat a tick"},
    {"a missing operation, a missing device", "", "life.opens file.operations",
     "the opening was refused with -1 on N\u00f6body", 32, brokenLibrary("missing"),
     QStringList{"--device", "N\u00f6body"} + kDevice},
    {"no SONAME", "", "file.soname", "it has none", 45, brokenLibrary("nosoname")}};

}  // namespace

class TestLibraryCheck : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(m_folder.isValid());
        QVERIFY(QDir(m_folder.path()).mkpath("config"));
        for (const auto& one : kCases)
            m_runs.push_back(std::make_unique<Run>(one.library, one.options, m_folder.path(), one.name, one.broken));
        const auto running = [this] {
            return std::count_if(m_runs.begin(), m_runs.end(),
                                 [](const auto& run) { return run->m_process.state() != QProcess::NotRunning; });
        };
        std::size_t next = 0;
        QElapsedTimer time;
        time.start();
        while (time.elapsed() < kLongest && (next < m_runs.size() || running() > 0)) {
            while (next < m_runs.size() && running() < kAtOnce)
                m_runs[next++]->start();
            QTest::qWait(20);
        }
        for (auto& run : m_runs)
            run->m_process.kill();
    }

    void libraries() {
        QStringList wrong;
        for (std::size_t i = 0; i < m_runs.size(); ++i) {
            const auto& expected = kCases[i];
            const auto broken = m_runs[i]->promises("broken");
            int kept = static_cast<int>(m_runs[i]->promises("kept").size());
            QStringList said, names, wanted = QString(expected.promises).split(' ', Qt::SkipEmptyParts);
            const QString first = wanted.value(0);
            // Where this machine was too busy to tell, it says so; but not of all that is wanted.
            for (const auto& [promise, why] : m_runs[i]->promises("not tried"))
                if (why.contains("too busy to tell"))
                    kept += wanted.removeAll(promise) == 0 ? 1 : 0;
            for (const auto& [promise, seen] : broken) {
                names << promise;
                said << promise + ": " + seen;
            }
            const bool seen = wanted.contains(first) ? said.filter(first).join("").contains(expected.seen)
                                                     : first.isEmpty() || !wanted.isEmpty();
            wanted.sort();
            const QProcess& process = m_runs[i]->m_process;
            const bool ended = process.exitStatus() == QProcess::NormalExit && process.exitCode() == !wanted.isEmpty();
            const bool shown = m_runs[i]->output.contains(QRegularExpression(expected.shown));
            if (names != wanted || kept < expected.kept || !seen || !shown || !ended)
                wrong << QString("%1: %2 kept; broken:\n%3").arg(expected.name).arg(kept).arg(said.join("\n"));
        }
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join("\n")));
    }

    /// By a terminal that is closed, though a read of the library hangs.
    void interrupted() {
        signal(SIGHUP, SIG_DFL);  // it may be ignored, as by nohup, and is inherited
        Run run(kBroken, kDevice, m_folder.path(), "interrupted", "hangs");
        run.start();
        QVERIFY(run.m_process.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_folder.filePath("interrupted.hangs")), 60000);
        kill(static_cast<pid_t>(run.m_process.processId()), SIGHUP);
        QVERIFY(run.m_process.waitForFinished(30000));
        QCOMPARE(run.m_process.exitCode(), 130);
        QVERIFY2(run.promises("broken")["life.operations"].contains("interrupted"), qPrintable(run.output));
    }

    /// Every operation that the simulated library exports is one of those that are looked for.
    void listIsWhole() {
        QProcess symbols;
        symbols.start("nm", {"-D", "--defined-only", SIMULATED_LIBRARY});
        QVERIFY(symbols.waitForFinished());
        QStringList operations = QString::fromLatin1(symbols.readAll()).split('\n');
        operations = operations.filter(QRegularExpression(" T [^_]")).replaceInStrings(QRegularExpression("^.* "), "");
        Run empty(brokenLibrary("empty"), {}, m_folder.path(), "empty", "");
        empty.start(" <&- >&- 2>&-");
        QVERIFY(empty.m_process.waitForFinished(60000));
        auto broken = empty.promises("broken");
        QCOMPARE(static_cast<int>(broken.size()), 1);
        QStringList missing = broken["file.operations"].remove("missing: ").split(", ");
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
                    {{library, "--json", nowhere}, 2, "cannot be written"}};
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
