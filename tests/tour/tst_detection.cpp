// The detection matrix: a handful of its cells played, how results are judged, and workers that die or hang.
#include <QTemporaryDir>
#include <QTest>

#include "matrixreport.h"
#include "workers.h"

class TestDetection : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::vector<Subject> all;

    Cell cell(const QString& device, const QString& test, const QString& fault, int axis, unsigned seed = 3) {
        Cell made{all.front(), testNamed(test), nullptr, axis, seed};
        for (const Subject& subject : all) {
            if (device == subject.name)
                made.subject = subject;
        }
        for (const FaultCase& faultCase : faultCases()) {
            if (faultCase.name() == fault)
                made.faultCase = &faultCase;
        }
        return made;
    }
    static CellResult result(const QStringList& program = {}, const QStringList& person = {}) {
        CellResult made;
        made.played = true;
        made.program = program;
        made.person = person;
        return made;
    }

private slots:
    void initTestCase() {
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        qputenv("NOLVA_ARM_SOCKET", "off");
        QDir(home.path()).mkpath("config");
        QString why;
        all = subjects(why);
        QVERIFY2(!all.empty(), qPrintable(why));
        QCOMPARE(faultsWithoutCase(), QStringList());
    }

    // Whose finding it is, and that another play of the same cell comes to the same.
    void cells_data() {
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("test");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("axis");
        QTest::addColumn<int>("expected");
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("person");
        const auto row = [](const char* device, const char* test, const char* fault, int axis, Outcome expected,
                            const char* program, const char* person) {
            QTest::newRow(qPrintable(QString("%1, %2, %3").arg(device, test, fault)))
                << device << test << fault << axis << static_cast<int>(expected) << program << person;
        };
        row("Default Device", "Test Friction", "sticky-bearing 1.8 times", 1, Outcome::FoundAsMeant, "friction of Y",
            "");
        row("Corvale LAN", "Calibration Details", "narrow-gap 110 counts", 0, Outcome::FoundAsMeant, "gap 1", "");
        row("Stelmar 3.0", "Test Forces", "reversed-motor", 2, Outcome::FoundAsMeant, "", "push of Z");
        row("Nolva USB", "Servoloop", "amplifier", -1, Outcome::FoundByAnother, "Device Fault", "");
        row("Stelmar 1.5", "Cycle Amps", "no-amplifier-follow", -1, Outcome::FoundAsMeant, "never came on", "");
        row("Stelmar 1.5", "Servoloop", "weak-motor 0 left", 0, Outcome::NotVisible, "", "");
        row("Orda LAN", "Test Capstan", "healthy", -1, Outcome::Healthy, "", "");
        row("Stelmar 1.0 Thimble", "Box Test", "healthy", -1, Outcome::Healthy, "", "");
    }
    void cells() {
        QFETCH(QString, program);
        QFETCH(QString, person);
        QFETCH(QString, device);
        QFETCH(QString, test);
        QFETCH(QString, fault);
        QFETCH(int, axis);
        const Cell made = cell(device, test, fault, axis);
        const CellResult found = examine(made);
        QVERIFY2(found.broken.isEmpty(), qPrintable(found.broken));
        QTEST(static_cast<int>(outcome(made, found)), "expected");
        QVERIFY2(found.program.join('|').contains(program), qPrintable(found.program.join('|')));
        QVERIFY2(found.person.join('|').contains(person), qPrintable(found.person.join('|')));
        QCOMPARE(wrongFigures(made, found), QStringList());
        QCOMPARE(toJson(examine(made)), toJson(found));
        QCOMPARE(toJson(fromJson(toJson(found))), toJson(found));
    }

    // A miss, an alarm, a crash and a wrong figure are each a finding in words, and the picture shows them.
    void judging() {
        const Cell meant = cell("Default Device", "Test Friction", "sticky-bearing 8 times", 0);
        const Cell words = cell("Default Device", "Test Capstan", "no-amplifier-follow", -1);
        const Cell blind = cell("Default Device", "Servoloop", "sticky-bearing 8 times", 0);
        const Cell healthy = cell("Default Device", "Test Friction", "", -1);
        CellResult crashed = result(), wrong = result({"x"});
        crashed.broken = "the worker ended";
        wrong.figures["friction of X, V"] = 0.025 * 8 * 0.94;
        const std::vector<Cell> played{meant, meant, blind, blind, healthy, healthy, healthy, meant, words, words};
        const std::vector<CellResult> results{
            result(), result({"a"}, {"b"}), result(), result({}, {"c"}),         result({"d"}),
            crashed,  CellResult(),         wrong,    result({"does not pass"}), result({"Note: the amplifiers "})};
        const Outcome expected[] = {Outcome::Missed,         Outcome::FoundAsMeant, Outcome::NotVisible,
                                    Outcome::FoundByAnother, Outcome::FalseAlarm,   Outcome::Crashed,
                                    Outcome::NotPlayed,      Outcome::FoundAsMeant, Outcome::Missed,
                                    Outcome::FoundAsMeant};
        for (std::size_t i = 0; i < played.size(); ++i)
            QCOMPARE(outcome(played[i], results[i]), expected[i]);
        const MatrixReport report(played, results, 1);
        QCOMPARE(report.findings().size(), 5);
        QCOMPARE(report.surprises().size(), 1);
        QVERIFY(report.write(home.path()));
        QFile page(home.filePath("matrix.txt"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(page.readAll());
        QVERIFY2(text.contains(QRegularExpression("healthy +F +–")), qPrintable(text));
        QVERIFY2(text.contains(QRegularExpression("sticky-bearing 8 times +M +– +o 1/2")), qPrintable(text));
        QVERIFY(!report.good() && MatrixReport({healthy}, {result()}, 1).good());
        QVERIFY(!MatrixReport({healthy}, {CellResult()}, 1).good());
        QVERIFY(!report.write(home.filePath("not there")));
    }

    // Whatever a worker does, each cell gets its result.
    void deadWorkers_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("said");
        QTest::newRow("dies") << "/bin/false"
                              << "the worker ended";
        QTest::newRow("hangs") << "/bin/sleep"
                               << "no end within 1 s";
        QTest::newRow("babbles") << "/bin/cat"
                                 << "the worker ended";
        QTest::newRow("is not there") << "/bin/no-such-program"
                                      << "could not be started";
    }
    void deadWorkers() {
        QFETCH(QString, program);
        QFETCH(QString, said);
        const Cell one = cell("Default Device", "Select", "", -1);
        std::vector<CellResult> results;
        int heard = 0;
        Workers workers(program, program.endsWith("sleep") ? QStringList("60") : QStringList(), 2, 1);
        QVERIFY(workers.play({one, one, one}, results, [&heard](std::size_t) { ++heard; }));
        QCOMPARE(heard, 3);
        for (const CellResult& each : results)
            QVERIFY2(each.broken.contains(said), qPrintable(each.broken));
    }
};

QTEST_MAIN(TestDetection)
#include "tst_detection.moc"
