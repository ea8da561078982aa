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
#include "tour.h"
#include "workers.h"

namespace {

/// Where each fault sits, a letter a case: - no axis, b base axes, g gimbal, m gimbal with motors, 1 and 2 buttons, f
/// home flags, x those of X and Y, c combs of flags, r reset pose, p place in the fleet.
const std::map<std::string, const char*> kPlaces{{"unplugged", "-"},
                                                 {"amplifier", "-"},
                                                 {"no-amplifier-follow", "-"},
                                                 {"status", "-"},
                                                 {"overspeed", "b"},
                                                 {"hot", "bbm"},
                                                 {"dead-encoder", "bg"},
                                                 {"drifting-encoder", "bbg"},
                                                 {"short-travel", "bbg"},
                                                 {"sticky-bearing", "bbg"},
                                                 {"slipping-capstan", "bb"},
                                                 {"weak-motor", "bbbm"},
                                                 {"reversed-motor", "bm"},
                                                 {"stuck-switch", "112"},
                                                 {"bouncing-switch", "11"},
                                                 {"missing-flag", "f"},
                                                 {"wide-flag", "fx"},
                                                 {"narrow-gap", "cc"},
                                                 {"refused-reset", "r"},
                                                 {"jitter", "--"},
                                                 {"stall", "--"},
                                                 {"dropped-ticks", "--"},
                                                 {"init-fails", "-"},
                                                 {"init-throws", "-"},
                                                 {"no-loop", "-"},
                                                 {"read-fails", "p"}};

/// The axes of a letter on a device, as the arm itself tells what it has.
std::vector<int> axesOf(char letter, int id, int place) {
    const bool gimbal = tharlen_check_for_gimbal(id) != 0, flags = is_calibration_supported(id) == 1;
    const QByteArray model = get_tharlen_model_type(id);
    const std::vector<int> base{0, 1, 2}, outer{3, 4, 5}, none;
    switch (letter) {
        case 'b':
            return base;
        case 'g':
            return gimbal ? outer : none;
        case 'm':
            return model.contains("6DOF") ? outer : none;
        case '1':
            return gimbal ? std::vector<int>{0} : none;
        case '2':
            return model.contains("Orda") || model == "Nolva" ? std::vector<int>{1} : none;
        case 'f':
            return flags ? base : none;
        case 'x':
            return flags ? std::vector<int>{0, 1} : none;
        case 'c':
            return flags && hasManyFlags(get_hardware_rev(id)) ? std::vector<int>{0, 1} : none;
        case 'r':
            return is_calibration_supported(id) == 0 ? std::vector<int>{-1} : none;
        case 'p':
            return {place};
        default:
            return {-1};
    }
}

/// The handle of the one device that is open.
int handleOf() {
    int id = 0;
    while (!get_connection_data(id))
        ++id;
    return id;
}

}  // namespace

class TestDetection : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::vector<Subject> all;

    Cell cell(const QString& device, const QString& test, const QString& fault, int axis, unsigned seed = 3) {
        Cell made{all.front(), testNamed(test), nullptr, axis, seed};
        for (const Subject& subject : all)
            made.subject = device == subject.name ? subject : made.subject;
        for (const FaultCase& faultCase : faultCases())
            made.faultCase = faultCase.name() == fault ? &faultCase : made.faultCase;
        return made;
    }
    static CellResult result(const QStringList& program = {}, const QStringList& person = {}) {
        CellResult made;
        made.played = true;
        made.program = program;
        made.person = person;
        return made;
    }
    QByteArray written(const QString& name) const {
        QFile page(home.filePath(name));
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
            const QString fault = each.faultCase ? each.faultCase->fault : "healthy";
            ++planned[key(each.subject.name, each.test, fault, each.axis)];
            QVERIFY(seeds[key(each.subject.name, each.test, each.faultCase ? "any" : "healthy", 0)]
                        .insert(each.seed)
                        .second);
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
                for (const auto& [fault, letters] : kPlaces)
                    for (const char* letter = letters; *letter; ++letter)
                        for (const int axis : axesOf(*letter, id, static_cast<int>(place)))
                            ++wanted[key(all[place].name, test, QString::fromStdString(fault), axis)];
            }
        }
        for (const auto& [name, count] : wanted)
            QVERIFY2(planned[name] == count,
                     qPrintable(QString("%1: %2 of %3").arg(name).arg(planned[name]).arg(count)));
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
        int meant = 0, toFind = 0, blind = 0;
        for (const Subject& subject : all) {
            for (const FaultCase& faultCase : faultCases()) {
                int found = 0;
                for (int i = 0; i < kTests; ++i) {
                    if (!faultCase.exists(subject) || !(subject.tests() & bit(static_cast<Test>(i))))
                        continue;
                    const Expectation expected = expectation(faultCase, subject, static_cast<Test>(i));
                    QVERIFY2(!(expected.meant && expected.reason), qPrintable(faultCase.name()));
                    found += !expected.reason;
                    ++(expected.meant ? meant : expected.reason ? blind : toFind);
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
        QVERIFY2(meant > 700 && toFind > 400 && blind < 3 * (meant + toFind),
                 qPrintable(QString("%1 %2 %3").arg(meant).arg(toFind).arg(blind)));
    }

    // Whose finding it is, and that another play of the same cell comes to the same.
    void cells() {
        const struct {
            const char *device, *test, *fault;
            int axis;
            Outcome expected;
            const char *program, *person;
        } rows[] = {
            {"Default Device", "Select", "init-fails", -1, Outcome::FoundAsMeant, "initialization", ""},
            {"Corvale LAN", "Calibrate", "missing-flag", 1, Outcome::FoundAsMeant, "not done", ""},
            {"Corvale LAN", "Calibration Details", "narrow-gap 110 counts", 0, Outcome::FoundAsMeant, "gap 1", ""},
            {"Orda LAN", "Read Encoder", "stuck-switch 0 released", 0, Outcome::FoundAsMeant, "button", "shows OFF"},
            {"Orda LAN", "Read Encoder", "short-travel 0.12 of travel", 1, Outcome::FoundAsMeant,
             "travel of Y does not pass", "stop to stop of Y"},
            {"Corvale USB", "Read Encoder", "dead-encoder, gimbal", 4, Outcome::FoundAsMeant, "",
             "gimbal Y does not move"},
            {"Stelmar 1.0", "Read Encoder", "drifting-encoder 60 /min", 1, Outcome::FoundAsMeant, "", "Y runs on"},
            {"Stelmar 1.5", "Cycle Amps", "no-amplifier-follow", -1, Outcome::FoundAsMeant, "never came on", ""},
            {"Stelmar 3.0", "Test Forces", "reversed-motor", 2, Outcome::FoundAsMeant, "", "push of Z"},
            {"Corvale USB", "Test Forces", "weak-motor 0.5 left", 1, Outcome::FoundAsMeant, "", "push of Y"},
            {"Default Device", "Test Friction", "sticky-bearing 1.8 times", 1, Outcome::FoundAsMeant, "friction of Y",
             ""},
            {"Default Device", "Test Capstan", "slipping-capstan 300 counts/s", 2, Outcome::FoundAsMeant,
             "capstan of Z", ""},
            {"Default Device", "Box Test", "reversed-motor", 1, Outcome::FoundByAnother, "", "wall"},
            {"Corvale LAN", "Box Test", "weak-motor 0 left", 1, Outcome::FoundByAnother, "", "wall"},
            {"Nolva USB", "Servoloop", "amplifier", -1, Outcome::FoundByAnother, "Device Fault", ""},
            {"Nolva USB", "Servoloop", "jitter 100 \u00b5s", -1, Outcome::FoundAsMeant, "", "spread"},
            {"Nolva USB", "Servoloop", "stall 5 ms", -1, Outcome::FoundAsMeant, "", "Hz"},
            {"Corvale LAN", "Gimbal Trace", "dead-encoder, gimbal", 3, Outcome::FoundAsMeant, "", "gimbal X stands"},
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
            QCOMPARE(toJson(fromJson(toJson(found))), toJson(found));
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
        CellResult crashed = result({"said \"so\""}), low = result({"x"}), high = result({}, {"y"}),
                   slipped = result({"z"});
        crashed.broken = "the worker ended";
        low.figures = {{"friction of X, V", 0.025 * 8 * 0.94}, {"friction of Y, V", 0.025}};
        high.figures["friction of Y, V"] = 0.025 * 1.06;
        slipped.figures = {{"slip of Z, counts", 600 * 1.04}, {"slip of X, counts", 5}};
        CellResult slippedMore = slipped;
        slippedMore.figures["slip of Z, counts"] = 300;
        const struct {
            Cell cell;
            CellResult result;
            Outcome outcome;
        } rows[] = {{meant, result(), Outcome::Missed},
                    {meant, result({"a"}, {"b"}), Outcome::FoundAsMeant},
                    {blind, result(), Outcome::NotVisible},
                    {blind, result({}, {"c"}), Outcome::FoundByAnother},
                    {healthy, result({"d"}), Outcome::FalseAlarm},
                    {healthy, crashed, Outcome::Crashed},
                    {healthy, CellResult(), Outcome::NotPlayed},
                    {meant, low, Outcome::FoundAsMeant},
                    {words, result({"does not pass"}), Outcome::Missed},
                    {words, result({"Note: the amplifiers "}), Outcome::FoundAsMeant},
                    {meant, high, Outcome::FoundAsMeant},
                    {slip, slipped, Outcome::FoundAsMeant},
                    {slip, slippedMore, Outcome::FoundAsMeant}};
        std::vector<Cell> played;
        std::vector<CellResult> results;
        for (const auto& row : rows) {
            QCOMPARE(outcome(row.cell, row.result), row.outcome);
            played.push_back(row.cell);
            results.push_back(row.result);
        }
        const MatrixReport report(played, results, 1);
        const QStringList starts{
            "missed: ", "false alarm: ", "crashed: ", "wrong figure: ", "missed: ", "wrong figure: ", "wrong figure: "};
        QCOMPARE(report.findings().size(), starts.size());
        for (int i = 0; i < starts.size(); ++i)
            QVERIFY2(report.findings()[i].startsWith(starts[i]), qPrintable(report.findings()[i]));
        QCOMPARE(report.surprises().size(), 1);
        QVERIFY2(
            report.totals().startsWith("13 cells: 6 found by the test meant for it, 1 found by another, 1 not visible "
                                       "by design, 2 missed, 0 healthy, 1 false alarm, 1 crashed, 1 not played. Of "
                                       "what was found, the program alone found 4, the operator alone 2, both 1."),
            qPrintable(report.totals()));
        QVERIFY(report.write(home.path()));
        const QString text = QString::fromUtf8(written("matrix.txt")), html = QString::fromUtf8(written("index.html"));
        QVERIFY2(text.contains(QRegularExpression("healthy +F +–")), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression("sticky-bearing 8 times +M +– +o 1/2")), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression("Orda LAN\\n(.*\\n){4} +slipping-capstan 300 counts/s +P")),
                 qPrintable(text));
        // Of all devices together, and each by itself.
        QCOMPARE(html.count("<td class=\"meant\" title=\"axis 2: program: z\naxis 2: program: z\">P</td>"), 1);
        QCOMPARE(html.count(">P</td>"), 2);
        QVERIFY(written("matrix.csv").contains("\"crashed\",\"said \"\"so\"\"\"") && html.contains("broken off"));
        const QJsonObject json = QJsonDocument::fromJson(written("matrix.json")).object();
        QStringList outcomes;
        for (const QJsonValue& each : json["cells"].toArray())
            outcomes << each["outcome"].toString();
        QVERIFY(outcomes.size() == 13 && outcomes[0] == "missed" && outcomes[2] == "not visible by design"
                && outcomes[6] == "not played");
        QCOMPARE(json["cells"].toArray().at(2)["reason"].toString(),
                 QString("ticks are counted; the arm itself has no part in it"));
        QVERIFY(!report.good() && MatrixReport({healthy}, {result()}, 1).good());
        QVERIFY(!MatrixReport({healthy}, {CellResult()}, 1).good());
        for (const char* name : {"matrix.txt", "matrix.csv", "matrix.json", "index.html"}) {
            QTemporaryDir folder;
            QVERIFY(QDir(folder.path()).mkdir(name));
            QVERIFY2(!report.write(folder.path()), name);
        }
        // Open by design is what no test of the device's sees, once all were played.
        const Cell still = cell("Stelmar 1.5", "Select", "sticky-bearing 1.8 times", 0);
        Cell rate = still, forces = still;
        rate.test = Test::Servoloop;
        forces.test = Test::TestForces;
        QCOMPARE(MatrixReport({still, rate, forces}, {result(), result(), result()}, 1).unseen().size(), 1);
        QCOMPARE(MatrixReport({still, rate, forces}, {result(), result(), result({"f"})}, 1).unseen().size(), 0);
        QCOMPARE(MatrixReport({still, forces}, {result(), result()}, 1).unseen().size(), 0);
    }

    // Whatever a worker does, each cell gets its own result.
    void workers() {
        const std::vector<Cell> some{cell("Default Device", "Select", "", -1), cell("Default Device", "Select", "", -1),
                                     cell("Orda LAN", "Select", "", -1), cell("Orda LAN", "Box Test", "", -1),
                                     cell("Orda LAN", "Box Test", "", -1)};
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
                if (*row.said)
                    QVERIFY2(results[i].played && results[i].broken.contains(row.said), qPrintable(results[i].broken));
                else
                    QCOMPARE(results[i].program + QStringList(results[i].broken),
                             QStringList({QString("of %1").arg(i), ""}));
            }
        }
    }

    // An operator at a broken arm says so, in the step that meets it, and nothing at a good one.
    void operatorTells() {
        const struct {
            const char *device, *test, *fault;
            int axis;
            std::function<QString(Operator&)> step;
            const char* says;
        } rows[] = {
            {"Orda LAN", "Calibrate", "", -1, [](Operator& o) { return o.select("Nobody"); },
             "\"Select\" was expected"},
            {"Orda LAN", "Calibrate", "", -1, [](Operator& o) { return o.goTo("Nowhere"); }, "no tab \"Nowhere\""},
            {"Corvale LAN", "Calibrate", "missing-flag", 1, [](Operator& o) { return o.calibrate(); },
             "not calibrated"},
            {"Corvale LAN", "Read Encoder", "missing-flag", 2,
             [](Operator& o) {
                 get_calibration_data(handleOf())->DiscardCalibration();
                 return QString::fromStdString(o.hand.calibrate(handleOf()));
             },
             "status is 112"},
            {"Orda LAN", "Cycle Amps", "amplifier", -1, [](Operator& o) { return o.cycleAmplifiers(); },
             "not found to be OK"},
            {"Orda LAN", "Test Forces", "", -1, [](Operator& o) { return o.driveMotors(); }, ""},
            {"Orda LAN", "Calibrate", "", -1, [](Operator& o) { return o.driveMotors(); },
             "Motor 1 is commanded with 0"},
            {"Orda LAN", "Box Test", "", -1, [](Operator& o) { return o.feelTheBox(); }, ""},
            {"Orda LAN", "Box Test", "reversed-motor", 0, [](Operator& o) { return o.feelTheBox(); }, "force"}};
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
        const auto page = [&] {
            QFile file(folder.filePath("index.html"));
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        };
        qunsetenv("MVI_MANUFACTURING");
        QCOMPARE(Tour({"user", {"Nobody", "Stelmar 1.0 Thimble"}, true, folder.path()}).run(), 1);
        QVERIFY(page().contains("1 not as expected") && page().contains("There is no device &quot;Nobody&quot;"));
        QCOMPARE(page().section("<h2>Stelmar 1.0 Thimble", 1).count("as expected"), 14);
        QVERIFY(QDir(folder.path()).entryList({"*stelmar-1.0-thimble-servo-rate.png"}).size() == 1);
        qputenv("MVI_MANUFACTURING", "1");
        QCOMPARE(Tour({"manufacturing", {"Orda LAN", "Corvale USB"}, true, folder.path()}).run(), 0);
        QVERIFY(page().contains("all as expected"));
        for (const char* device : {"Orda LAN", "Corvale USB"}) {
            const QString part = page().section(QString("<h2>") + device, 1).section("<h2>", 0, 0);
            QCOMPARE(part.count("<summary>Report"), 1);
            QVERIFY(part.section("<summary>Report", 1)
                        .contains(device == QByteArray("Orda LAN") ? "SIM-50602" : "SIM-30704"));
        }
        qunsetenv("MVI_MANUFACTURING");
        QCOMPARE(Tour({"user", {}, true, "/nowhere"}).run(), -1);
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
