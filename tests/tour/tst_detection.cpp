// The detection matrix: which cells there are, a handful of them played, how results are judged, workers that die or
// hang; and the operator and the tour, who say so where something is wrong.
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <map>
#include <set>

#include "device/simulated/armcontrol.h"
#include "matrixreport.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tour.h"
#include "workers.h"

namespace {

constexpr Outcome kMeant = Outcome::FoundAsMeant, kOther = Outcome::FoundByAnother;

/// Axes of a device, and the faults that sit on each of them, once for each case; as the arm itself tells what it has.
std::vector<std::pair<std::vector<int>, QString>> sitesOf(int id, int place) {
    const std::vector<int> none, whole{-1}, first{0}, second{1}, both{0, 1}, base{0, 1, 2}, outer{3, 4, 5};
    const QByteArray model = get_tharlen_model_type(id);
    const bool gimbal = tharlen_check_for_gimbal(id) != 0, flags = is_calibration_supported(id) == 1;
    return {{whole,
             "unplugged amplifier no-amplifier-follow status jitter jitter stall stall dropped-ticks dropped-ticks "
             "init-fails init-throws no-loop"},
            {base,
             "overspeed hot hot dead-encoder drifting-encoder drifting-encoder short-travel short-travel "
             "sticky-bearing sticky-bearing slipping-capstan slipping-capstan weak-motor weak-motor weak-motor "
             "reversed-motor"},
            {gimbal ? outer : none, "dead-encoder drifting-encoder short-travel sticky-bearing"},
            {model.contains("6DOF") ? outer : none, "hot weak-motor reversed-motor"},
            {gimbal ? first : none, "stuck-switch stuck-switch bouncing-switch bouncing-switch"},
            {model.contains("Orda") || model == "Nolva" ? second : none, "stuck-switch"},
            {flags ? base : none, "missing-flag wide-flag"},
            {flags ? both : none, "wide-flag"},
            {flags && hasManyFlags(get_hardware_rev(id)) ? both : none, "narrow-gap narrow-gap"},
            {is_calibration_supported(id) == 0 ? whole : none, "refused-reset"},
            {{place}, "read-fails"}};
}

}  // namespace

class TestDetection : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::vector<Subject> all;
    std::function<void(qtTharlenTest&)> atStep;  ///< of a tour, as it begins one; its window's title tells which

    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* const window = qobject_cast<qtTharlenTest*>(watched);
        if (window && event->type() == QEvent::WindowTitleChange)
            atStep(*window);
        return false;
    }
    Cell cell(const QString& device, const QString& test, const QString& fault, int axis) {
        Cell made{all.front(), testNamed(test), nullptr, axis, 3};
        for (const Subject& subject : all)
            made.subject = device == subject.name ? subject : made.subject;
        for (const FaultCase& faultCase : faultCases())
            made.faultCase = faultCase.name() == fault ? &faultCase : made.faultCase;
        return made;
    }
    static CellResult result(const QStringList& program, const QStringList& person = {}, const Readings& figures = {}) {
        return {true, program, person, figures, 0, {}};
    }
    static QByteArray written(const QString& folder, const QString& name = "index.html") {
        QFile page(folder + "/" + name);
        return page.open(QIODevice::ReadOnly) ? page.readAll() : QByteArray();
    }

private slots:
    void initTestCase() {
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        qputenv("NOLVA_ARM_SOCKET", "off");
        QDir(home.path()).mkpath("config");
        QDir(home.path()).mkpath("logs");
        QString why;
        all = subjects(why);
        QVERIFY2(!all.empty(), qPrintable(why));
        QCOMPARE(faultsWithoutCase(), QStringList());
    }

    // Every test that a line has, on every device, meets every fault on every axis that there is.
    void leavesNothingOut() {
        QString why;
        const std::vector<Cell> cells = MatrixPlan{"", "", "", 4}.cells(why);
        std::map<QString, int> planned, wanted;
        std::map<QString, std::set<unsigned>> seeds;
        const auto key = [](const char* device, Test test, const QString& fault, int axis) {
            return QString("%1/%2/%3/%4").arg(device, testName(test), fault).arg(axis);
        };
        for (const Cell& each : cells) {
            const char* const device = each.subject.name;
            ++planned[key(device, each.test, each.faultCase ? each.faultCase->fault : "healthy", each.axis)];
            QVERIFY(seeds[key(device, each.test, each.faultCase ? "any" : "healthy", 0)].insert(each.seed).second);
        }
        armcontrol::resetArm();
        for (std::size_t place = 0; place < all.size(); ++place) {
            const int id = init_tharlen(armcontrol::fleetNames()[place].c_str());
            const QByteArray model = get_tharlen_model_type(id);
            const bool orda = model.contains("Orda"), corvale = model.contains("Corvale");
            for (int i = 0; i < kTests; ++i) {
                const Test test = static_cast<Test>(i);
                const bool mechanics = test == Test::TestFriction || test == Test::TestCapstan;
                const bool loops = test == Test::EncoderTest || test == Test::GimbalTrace;
                if ((mechanics && !orda) || (test == Test::CalibrationDetails && !corvale)
                    || (loops && !orda && !corvale))
                    continue;
                wanted[key(all[place].name, test, "healthy", -1)] = 4;
                for (const auto& [axes, faults] : sitesOf(id, static_cast<int>(place)))
                    for (const QString& fault : faults.split(' '))
                        for (const int axis : axes)
                            ++wanted[key(all[place].name, test, fault, axis)];
            }
        }
        for (const auto& [name, count] : wanted)
            QVERIFY2(planned[name] == count, qPrintable(name));
        QCOMPARE(planned.size(), wanted.size());
        for (const MatrixPlan& one :
             {MatrixPlan{"orda lan", "", "box test", 1}, {"Orda LAN", "weak-motor", "Box Test", 0}}) {
            const std::vector<Cell> some = one.cells(why);
            QCOMPARE(some.size(), std::size_t(one.seeds ? 80 : 9));
            QVERIFY(std::all_of(some.begin(), some.end(), [](const Cell& c) {
                return QByteArray(c.subject.name) == "Orda LAN" && c.test == Test::BoxTest;
            }));
        }
        for (const MatrixPlan& none : {MatrixPlan{"Nobody", "", "", 1}, {"", "plague", "", 1}})
            QVERIFY(none.cells(why).empty());
        QVERIFY(why.contains("Devices: Default Device"));
    }

    // "Not visible by design" is an answer for some places, and for all of a device's only where the tests leave a
    // fault open. A test that is meant to find a fault does not call it invisible.
    void callsFewFaultsInvisible() {
        QStringList open;
        for (const Subject& subject : all) {
            for (const FaultCase& faultCase : faultCases()) {
                int found = 0;
                for (int i = 0; i < kTests; ++i) {
                    if (!faultCase.exists(subject) || !(subject.tests() & bit(static_cast<Test>(i))))
                        continue;
                    const Expectation expected = expectation(faultCase, subject, static_cast<Test>(i));
                    QVERIFY2(!(expected.meant && expected.reason), qPrintable(faultCase.name()));
                    found += !expected.reason;
                }
                const QString line = subject.line == kOrda ? "Orda" : subject.line == kCorvale ? "Corvale" : "others";
                if (found == 0 && faultCase.exists(subject) && !open.contains(line + ": " + faultCase.name()))
                    open << line + ": " + faultCase.name();
            }
        }
        open.sort();
        QCOMPARE(
            open.join("; "),
            QString(
                "Corvale: bouncing-switch 10 ms; Corvale: slipping-capstan 300 counts/s; Corvale: slipping-capstan 5 "
                "counts/s; Corvale: sticky-bearing 1.8 times; Corvale: sticky-bearing 8 times, gimbal; Orda: "
                "bouncing-switch 10 ms; Orda: sticky-bearing 8 times, gimbal; others: bouncing-switch 10 ms; others: "
                "drifting-encoder 15 /min; others: slipping-capstan 300 counts/s; others: slipping-capstan 5 counts/s; "
                "others: sticky-bearing 1.8 times; others: sticky-bearing 8 times, gimbal"));
    }

    // Whose finding it is, and that another play of the same cell comes to the same.
    void cells() {
        const struct {
            const char *device, *test, *fault;
            int axis;
            Outcome expected;
            const char *program, *person;
        } rows[] = {{"Default Device", "Select", "init-fails", -1, kMeant, "initialization", ""},
                    {"Corvale LAN", "Calibrate", "missing-flag", 1, kMeant, "not done", ""},
                    {"Corvale LAN", "Calibration Details", "narrow-gap 110 counts", 0, kMeant, "gap 1", ""},
                    {"Orda LAN", "Read Encoder", "stuck-switch 0 released", 0, kMeant, "button", "shows OFF"},
                    {"Orda LAN", "Read Encoder", "short-travel 0.13 of travel", 1, kMeant, "travel of Y does not pass",
                     "stop to stop of Y"},
                    {"Corvale USB", "Read Encoder", "dead-encoder, gimbal", 4, kMeant, "", "gimbal Y does not move"},
                    {"Stelmar 1.0", "Read Encoder", "drifting-encoder 60 /min", 1, kMeant, "", "Y runs on"},
                    {"Stelmar 1.5", "Cycle Amps", "no-amplifier-follow", -1, kMeant, "never came on", ""},
                    {"Stelmar 3.0", "Test Forces", "reversed-motor", 2, kMeant, "", "push of Z"},
                    {"Corvale USB", "Test Forces", "weak-motor 0.5 left", 1, kMeant, "", "push of Y"},
                    {"Default Device", "Test Friction", "sticky-bearing 1.8 times", 1, kMeant, "friction of Y", ""},
                    {"Default Device", "Test Capstan", "slipping-capstan 300 counts/s", 2, kMeant, "capstan of Z", ""},
                    {"Default Device", "Box Test", "reversed-motor", 1, kOther, "", "wall"},
                    {"Corvale LAN", "Box Test", "weak-motor 0 left", 1, kOther, "", "wall"},
                    {"Nolva USB", "Servoloop", "amplifier", -1, kOther, "Device Fault", ""},
                    {"Nolva USB", "Servoloop", "jitter 100 \u00b5s", -1, kMeant, "", "spread"},
                    {"Nolva USB", "Servoloop", "stall 5 ms", -1, kMeant, "", "Hz"},
                    {"Corvale LAN", "Gimbal Trace", "dead-encoder, gimbal", 3, kMeant, "", "gimbal X stands"},
                    {"Stelmar 1.5", "Servoloop", "weak-motor 0 left", 0, Outcome::NotVisible, "", ""},
                    {"Orda LAN", "Test Capstan", "healthy", -1, Outcome::Healthy, "", ""},
                    {"Stelmar 1.0 Thimble", "Box Test", "healthy", -1, Outcome::Healthy, "", ""}};
        for (const auto& row : rows) {
            const Cell made = cell(row.device, row.test, row.fault, row.axis);
            QCOMPARE(made.faultCase == nullptr, QByteArray(row.fault) == "healthy");
            const CellResult found = examine(made);
            const QByteArray said = QByteArray(row.test) + ", " + row.fault + ": "
                                    + (found.program.join('|') + "; " + found.person.join('|') + found.broken).toUtf8();
            QVERIFY2(found.broken.isEmpty() && outcome(made, found) == row.expected, said);
            QVERIFY2(found.program.join('|').contains(row.program) && found.person.join('|').contains(row.person),
                     said);
            QCOMPARE(wrongFigures(made, found), QStringList());
            CellResult told = found;
            told.broken = "so";
            QCOMPARE(toJson(fromJson(toJson(told))), toJson(told));
            if (row.axis < 1 && made.test != Test::Servoloop)  // where ticks come by chance
                QCOMPARE(toJson(examine(made)), toJson(found));
        }
    }

    // What a hand takes for usual: both ends of the tolerance, of figures on either side of zero.
    void tolerances() {
        const Readings usual{{"up", 10}, {"down", -10}, {"none", 0}};
        const struct {
            const char* name;
            double value;
            bool odd;
        } rows[] = {{"up", 7.4, true},    {"up", 7.6, false},    {"up", 13.4, false},          {"up", 13.6, true},
                    {"down", -7.4, true}, {"down", -7.6, false}, {"down", -13.4, false},       {"down", -13.6, true},
                    {"none", 0.4, false}, {"none", -0.6, true},  {"none", std::nan(""), true}, {"unknown", 99, false}};
        for (const auto& row : rows) {
            Findings findings(&usual);
            findings.read(row.name, row.value, {0.8, 1.3, 0.5});
            QVERIFY2(findings.any() == row.odd, row.name);
            QVERIFY(findings.readings().contains(row.name));
        }
        Findings many(nullptr);
        for (const char* what : {"a", "b", "b", "c", "d", "e"})
            many.said(what);
        QCOMPARE(many.program(), QStringList({"a", "b", "c", "d"}));
    }

    // A miss, an alarm, a crash and a wrong figure are each a finding in words, and the pictures show them.
    void judging() {
        const Cell meant = cell("Default Device", "Test Friction", "sticky-bearing 8 times", 0);
        const Cell words = cell("Default Device", "Test Capstan", "no-amplifier-follow", -1);
        const Cell blind = cell("Default Device", "Servoloop", "sticky-bearing 8 times", 0);
        const Cell slip = cell("Orda LAN", "Test Capstan", "slipping-capstan 300 counts/s", 2);
        const Cell healthy = cell("Default Device", "Test Friction", "", -1);
        CellResult crashed = result({"said \"so\""});
        crashed.broken = "the worker ended";
        const struct {
            Cell cell;
            CellResult result;
            Outcome outcome;
        } rows[] = {
            {meant, result({}), Outcome::Missed},
            {meant, result({"a"}, {"b"}), kMeant},
            {blind, result({}), Outcome::NotVisible},
            {blind, result({}, {"c"}), kOther},
            {healthy, result({"d"}), Outcome::FalseAlarm},
            {healthy, crashed, Outcome::Crashed},
            {healthy, CellResult(), Outcome::NotPlayed},
            {meant, result({"x"}, {}, {{"friction of X, V", 0.025 * 8 * 0.94}, {"friction of Y, V", 0.025}}), kMeant},
            {words, result({"does not pass"}), Outcome::Missed},
            {words, result({"Note: the amplifiers "}), kMeant},
            {meant, result({}, {"y"}, {{"friction of Y, V", 0.025 * 1.06}}), kMeant},
            {slip, result({"z"}, {}, {{"slip of Z, counts", 600 * 1.04}, {"slip of X, counts", 5}}), kMeant},
            {slip, result({"z"}, {}, {{"slip of Z, counts", 300}}), kMeant}};
        std::vector<Cell> played;
        std::vector<CellResult> results;
        for (const auto& row : rows) {
            QCOMPARE(outcome(row.cell, row.result), row.outcome);
            played.push_back(row.cell);
            results.push_back(row.result);
        }
        const MatrixReport report(played, results, 1);
        QStringList kinds;
        for (const QString& finding : report.findings())
            kinds << finding.section(": ", 0, 0);
        QCOMPARE(kinds.join(", "),
                 QString("missed, false alarm, crashed, wrong figure, missed, wrong figure, wrong figure"));
        QCOMPARE(report.surprises().size(), 1);
        QVERIFY2(
            report.totals().startsWith("13 cells: 6 found by the test meant for it, 1 found by another, 1 not visible "
                                       "by design, 2 missed, 0 healthy, 1 false alarm, 1 crashed, 1 not played. Of "
                                       "what was found, the program alone found 4, the operator alone 2, both 1."),
            qPrintable(report.totals()));
        QVERIFY(report.write(home.path()));
        const QString text = QString::fromUtf8(written(home.path(), "matrix.txt")),
                      html = QString::fromUtf8(written(home.path()));
        QVERIFY2(text.contains(QRegularExpression("healthy +F +–")), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression("sticky-bearing 8 times +M +– +o 1/2")), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression("Orda LAN\\n(.*\\n){4} +slipping-capstan 300 counts/s +P")),
                 qPrintable(text));
        // Of all devices together, and each by itself.
        QCOMPARE(html.count("<td class=\"meant\" title=\"axis 2: program: z\naxis 2: program: z\">P</td>"), 1);
        QCOMPARE(html.count(">P</td>"), 2);
        QVERIFY(written(home.path(), "matrix.csv").contains("\"crashed\",\"said \"\"so\"\"\"")
                && html.contains("broken off")
                && html.contains(QRegularExpression("title=\"[^\"]*said &quot;so&quot;")));
        const QJsonDocument json = QJsonDocument::fromJson(written(home.path(), "matrix.json"));
        const QJsonArray each = json["cells"].toArray();
        QVERIFY(each.size() == 13 && each[0]["outcome"] == "missed" && each[6]["outcome"] == "not played");
        QVERIFY(each[2]["outcome"] == "not visible by design"
                && each[2]["reason"] == "ticks are counted; the arm itself has no part in it");
        QVERIFY(!report.good() && MatrixReport({healthy}, {result({})}, 1).good());
        QVERIFY(!MatrixReport({healthy}, {CellResult()}, 1).good());
        for (const char* name : {"matrix.txt", "matrix.csv", "matrix.json", "index.html"}) {
            const QTemporaryDir folder;
            QVERIFY2(QDir(folder.path()).mkdir(name) && !report.write(folder.path()), name);
        }
        // Open by design is what no test of the device's sees, once all were played.
        std::vector<Cell> tests;
        for (const char* test : {"Select", "Servoloop", "Test Forces"})
            tests.push_back(cell("Stelmar 1.5", test, "sticky-bearing 1.8 times", 0));
        QCOMPARE(MatrixReport(tests, {result({}), result({}), result({})}, 1).unseen().size(), 1);
        QCOMPARE(MatrixReport(tests, {result({}), result({}), result({"f"})}, 1).unseen().size(), 0);
        tests.erase(tests.begin() + 1);
        QCOMPARE(MatrixReport(tests, {result({}), result({})}, 1).unseen().size(), 0);
    }

    // Whatever a worker does, each cell gets its own result.
    void workers() {
        const Cell first = cell("Default Device", "Select", "", -1), second = cell("Orda LAN", "Select", "", -1),
                   third = cell("Orda LAN", "Box Test", "", -1);
        const std::vector<Cell> some{first, first, second, third, third};
        const struct {
            const char *program, *script, *said;
        } rows[] = {{"/bin/sh", R"(while read n; do echo '{"cell":'$n',"program":["of '$n'"]}'; done)", ""},
                    {"/bin/sh", R"(while read n; do echo '{"cell":7}'; done)", "the worker ended, by signal 9"},
                    {"/bin/sh", "read n; echo tired >&2; exit 3", "the worker ended, with code 3: tired"},
                    {"/bin/sh", "sleep 60", "no end within 1 s"},
                    {"/bin/no-such-program", "", "could not be started"}};
        for (const auto& row : rows) {
            std::vector<CellResult> results;
            std::multiset<std::size_t> heard;
            Workers workers(row.program, {"-c", row.script}, 3, 1);
            QVERIFY(workers.play(some, results, [&heard](std::size_t i) { heard.insert(i); }));
            QVERIFY(heard == std::multiset<std::size_t>({0, 1, 2, 3, 4}));
            for (std::size_t i = 0; i < some.size(); ++i) {
                const QString said = results[i].program.join("") + results[i].broken;
                QVERIFY2(results[i].played && said.contains(*row.said ? row.said : qPrintable(QString("of %1").arg(i))),
                         qPrintable(said));
                QCOMPARE(results[i].broken.isEmpty(), !*row.said);
            }
        }
        // A worker that ends after one that hung has not hung.
        const QTemporaryDir folder;
        const QString script = QString("mkdir %1/hung && sleep 60; read n; exit 3").arg(folder.path());
        std::vector<CellResult> results;
        QVERIFY(Workers("/bin/sh", {"-c", script}, 1, 1).play({first, first}, results, [](std::size_t) {}));
        QCOMPARE(results[0].broken, QString("no end within 1 s"));
        QVERIFY2(results[1].broken.contains("with code 3"), qPrintable(results[1].broken));
    }

    // An operator at a broken arm says so, in the step that meets it, and nothing at a good one.
    void operatorTells() {
        const auto calibrateByHand = [](Operator& person) {
            int id = 0;
            while (!get_connection_data(id))
                ++id;
            get_calibration_data(id)->DiscardCalibration();
            return QString::fromStdString(person.hand.calibrate(id));
        };
        const struct {
            const char *device, *test, *fault;
            int axis;
            std::function<QString(Operator&)> step;
            const char* says;
        } rows[] = {
            {"Orda LAN", "Calibrate", "", -1, [](Operator& o) { return o.select("Nobody"); },
             "\"Select\" was expected"},
            {"Orda LAN", "Select", "init-fails", -1,
             [](Operator& o) { return o.goTo("Mode").isEmpty() ? o.select("Orda LAN") : "no \"Mode\""; },
             "could not be opened"},
            {"Orda LAN", "Calibrate", "", -1,
             [](Operator& o) { return o.calibrate().isEmpty() && armcontrol::state().docked ? "docked" : ""; }, ""},
            {"Orda LAN", "Calibrate", "", -1, [](Operator& o) { return o.goTo("Nowhere"); }, "no tab \"Nowhere\""},
            {"Corvale LAN", "Calibrate", "missing-flag", 1, [](Operator& o) { return o.calibrate(); },
             "not calibrated"},
            {"Corvale LAN", "Read Encoder", "missing-flag", 2, calibrateByHand, "status is 112"},
            {"Orda LAN", "Cycle Amps", "amplifier", -1, &Operator::cycleAmplifiers, "not found to be OK"},
            {"Orda LAN", "Test Forces", "", -1, &Operator::driveMotors, ""},
            {"Orda LAN", "Calibrate", "", -1, &Operator::driveMotors, "Motor 1 is commanded with 0"},
            {"Orda LAN", "Box Test", "", -1, &Operator::feelTheBox, ""},
            {"Orda LAN", "Box Test", "reversed-motor", 0, &Operator::feelTheBox, "force"}};
        for (const auto& row : rows) {
            Findings findings(nullptr);
            const Cell made = cell(row.device, row.test, "", -1);
            Bench bench(made, findings);
            QCOMPARE(bench.open(), QString());
            bench.enter();
            if (*row.fault)
                armcontrol::setFault(row.fault, true, row.axis);
            const QString said = row.step(*bench.person);
            QVERIFY2(*row.says ? said.contains(row.says) : said.isEmpty(), qPrintable(QString(row.test) + ": " + said));
        }
    }

    // A tour tells what went as expected, device by device, each with its own report.
    void tour() {
        QTemporaryDir folder;
        const auto page = [&] { return QString::fromUtf8(written(folder.path())); };
        qunsetenv("MVI_MANUFACTURING");
        QCOMPARE(Tour({"user", {"Nobody", "Stelmar 1.0 Thimble"}, true, folder.path()}).run(), 1);
        QVERIFY(page().contains("1 not as expected") && page().contains("There is no device &quot;Nobody&quot;"));
        QCOMPARE(page().section("<h2>Stelmar 1.0 Thimble", 1).count("as expected"), 14);
        QVERIFY(QDir(folder.path()).entryList({"*stelmar-1.0-thimble-servo-rate.png"}).size() == 1);
        qputenv("MVI_MANUFACTURING", "1");
        QCOMPARE(
            Tour({"manufacturing", {"Orda LAN", "Corvale USB", "Nolva USB", "Stelmar 1.0"}, true, folder.path()}).run(),
            0);
        QVERIFY(page().contains("all as expected"));
        for (const auto& [device, serial] : {std::make_pair("Orda LAN", "SIM-50602"), {"Corvale USB", "SIM-30704"}}) {
            const QString part = page().section(QString("<h2>") + device, 1).section("<h2>", 0, 0);
            QVERIFY(part.count("<summary>Report") == 1 && part.section("<summary>Report", 1).contains(serial));
            // A step's time is its own; the report's file has the report's bytes.
            const QString last = part.section("<td>Summary", 1).section("class=\"time\">", 1);
            QVERIFY2(last.section(' ', 0, 0).toDouble() < 5, qPrintable(last.left(20)));
            const QString file = QString("report-%1.txt").arg(QString(device).toLower().replace(' ', '-'));
            QVERIFY(written(folder.path(), file).contains("\u00c2\u00b7 Axis 1:"));
        }
        qApp->installEventFilter(this);
        atStep = [](qtTharlenTest& window) {
            if (window.windowTitle().endsWith("Choices"))
                window.encoderGuiUpdateTimer->stop();  // nobody takes them
        };
        QCOMPARE(Tour({"manufacturing", {"Orda LAN"}, true, folder.path()}).run(), 1);
        QVERIFY(page().contains("The flow ends here, and nobody says so."));
        qunsetenv("MVI_MANUFACTURING");
        // No page is left with a command on a motor.
        bool commanded = false;
        atStep = [&commanded](qtTharlenTest&) { commanded |= startPerformanceForceTest; };
        QCOMPARE(Tour({"pages", {"Orda LAN"}, true, folder.path()}).run(), 0);
        QVERIFY(!commanded);
        qApp->removeEventFilter(this);
        QCOMPARE(Tour({"user", {}, true, "/nowhere"}).run(), -1);
        QVERIFY(QDir(home.path()).mkdir("001-nobody-mode.png"));  // a picture is to go there
        QCOMPARE(Tour({"user", {"Nobody"}, true, home.path()}).run(), -1);
    }

    // The last: what was broken off stays so in this process.
    void brokenOff() {
        const Cell one = cell("Default Device", "Select", "", -1);
        std::vector<CellResult> results;
        QTimer::singleShot(300, &FlowTime::cancel);
        QVERIFY(!Workers("/bin/sh", {"-c", "read n; sleep 60"}, 1, 60).play({one, one}, results, [](std::size_t) {}));
        QVERIFY(!results[0].played && !results[1].played);
    }
};

QTEST_MAIN(TestDetection)
#include "tst_detection.moc"
