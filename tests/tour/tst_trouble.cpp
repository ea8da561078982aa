// A few seconds of trouble with fixed seeds, and that what it demands can be found missing.
#include <signal.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <functional>

#include "device/simulated/armcontrol.h"
#include "trouble.h"

using Act = std::function<void(TroubleBench&, Diary&)>;

class TestTrouble : public QObject {
    Q_OBJECT

    /// What is found; the last actions too, so that it can be repeated.
    QString trouble(const Act& act) {
        Diary diary;
        const QTemporaryDir home;  // calibrations are kept there
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QDir(home.path()).mkpath("config");
        QDir(home.path()).mkpath("logs");
        try {
            TroubleBench bench(diary, NOLVA_TOUR_WORD);
            act(bench, diary);
        } catch (const std::exception& error) {
            return QString("%1 The last actions:\n%2").arg(error.what(), diary.last());
        }
        return {};
    }

private slots:
    void initTestCase() { qputenv("NOLVA_ARM_SOCKET", "off"); }

    // Every fault meets two tests, and every test a fault.
    void faults() {
        const int faults = static_cast<int>(armcontrol::faultNames().size());
        const int tests = troubleRound() / faults;
        const QString found = trouble([&](TroubleBench& bench, Diary& diary) {
            for (int fault = 0; fault < faults; ++fault)
                troubleFaults(bench, diary, 7, fault * tests + fault % (tests - 1), 2);
        });
        QVERIFY2(found.isEmpty(), qPrintable(found));
    }

    // The same seed does the same; another one does something else.
    void operators() {
        std::vector<unsigned> digests;
        for (const unsigned seed : {11u, 11u, 12u}) {
            const QString found = trouble([&](TroubleBench& bench, Diary& diary) {
                troubleOperator(bench, diary, seed, 0, 400);
                digests.push_back(diary.digest);
            });
            QVERIFY2(found.isEmpty(), qPrintable(found));
        }
        QCOMPARE(digests[0], digests[1]);
        QVERIFY(digests[0] != digests[2]);
    }

    // The last lines, each once and in their order.
    void diary() {
        Diary diary;
        for (int i = 0; i < 1000; ++i)
            diary.note(QString("line %1").arg(i));
        const QStringList lines = diary.last().split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() > 10 && lines.size() < 1000);
        for (int i = 0; i < lines.size(); ++i)
            QVERIFY2(lines[i].endsWith(QString(" line %1").arg(1000 - lines.size() + i)), qPrintable(lines[i]));
    }

    // A window that does not do what is demanded.
    void demands() {
        const struct {
            const char* sentence;
            void (*act)(TroubleBench&);
        } rows[] = {{"The forces are on after the change to \"Read Encoder\"",
                     [](TroubleBench& bench) {
                         QTabWidget* tabs = bench.window().ui.tabWidget;
                         connect(tabs, &QTabWidget::currentChanged,
                                 [&] { enable_tharlen_forces(bench.window().csTharlenID); });
                         bench.go("Read Encoder");
                     }},
                    {"\"Communication Error: Check the Device connection\" does not appear within 1050 ms",
                     [](TroubleBench& bench) {
                         bench.window().errorDisplayTimer->stop();
                         Dice dice(1, 1);
                         bench.breakArm("unplugged", dice);
                     }},
                    {"No whole report",
                     [](TroubleBench& bench) {
                         qputenv("KNDD_HOME", "/nowhere");
                         bench.checkReport();
                     }},
                    {"The amplifiers are on after the window has gone",
                     [](TroubleBench& bench) {
                         connect(&bench.window(), &QObject::destroyed,
                                 [] { enable_tharlen_forces(init_tharlen("Default Device")); });
                         bench.openWindow();
                     }},
                    {"does not open again", [](TroubleBench& bench) {
                         armcontrol::setFault("init-fails", true);
                         bench.select(3);
                     }}};
        for (const auto& row : rows) {
            const QString found = trouble([&](TroubleBench& bench, Diary&) {
                bench.choose(Mode::Manufacturing);
                row.act(bench);
            });
            QVERIFY2(found.contains(row.sentence), qPrintable(found));
        }
    }

    // A block that crashes fails the run, whatever comes behind it; a number is played with its whole block.
    void blocks() {
        QProcess run;
        run.start(TROUBLE, {"faults", "--from", "1", "--runs", "251"});
        QVERIFY(run.waitForStarted());
        QFile children(QString("/proc/%1/task/%1/children").arg(run.processId()));
        QVERIFY(children.open(QIODevice::ReadOnly));
        int block = 0;
        while (block == 0 && !run.waitForFinished(1) && children.seek(0))
            block = children.readAll().trimmed().toInt();
        QVERIFY(block > 0 && kill(block, SIGKILL) == 0);
        QVERIFY(run.waitForFinished(60000));
        const QByteArray said = run.readAllStandardError();
        for (const char* part : {"it crashed: Killed", "251 done", "1 blocks failed"})
            QVERIFY2(said.contains(part), said);
        QCOMPARE(run.exitCode(), 1);
    }
};

QTEST_MAIN(TestTrouble)
#include "tst_trouble.moc"
