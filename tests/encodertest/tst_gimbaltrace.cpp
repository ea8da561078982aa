// The gimbal's recorder: its file's name and lines, an open that fails, and a disk that fills up.
#include <sys/resource.h>
#include <QDir>
#include <QTemporaryDir>
#include <csignal>

#include "standin.h"
#include "windowtest.h"

using standin::device;

class TestGimbalTrace : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> home;
    std::unique_ptr<qtTharlenTest> window;

    QByteArray content() const {
        QFile file(window->traceGimbOutFile->fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }
    void record(int lines) {
        window->gimbEncTestTimer->setInterval(1000000);
        for (int i = 0; i < lines; ++i)
            window->runGimbalEncoderTest();
    }

private slots:
    void init() {
        home = std::make_unique<QTemporaryDir>();
        qputenv("KNDD_HOME", home->path().toLocal8Bit());
        standin::reset();
        resetSharedState();
        device().fleet = {standin::record("Arm", 5)};
        window = openWindow();
    }
    void cleanup() { window.reset(); }

    // The file lies in the folder itself, under a name with a backslash; a second run has its own lines.
    void recordsLines() {
        const long encoders[6] = {1, 2, 3, -1995, 945, 0};
        std::copy(encoders, encoders + 6, device().encoders);
        device().gimbalAngles[0] = -2.5f;
        device().gimbalAngles[1] = 0.0625f;
        auto& ui = window->ui;
        for (int run = 0; run < 2; ++run) {
            ui.runGimbalEncoderTest_button->click();
            QVERIFY(window->gimbEncTestTimer->isActive() && ui.stopGimbalEncoderTest_button->isEnabled());
            record(1 + run);
            ui.stopGimbalEncoderTest_button->click();
            QVERIFY(!window->gimbEncTestTimer->isActive() && ui.runGimbalEncoderTest_button->isEnabled());
            QCOMPARE(content(), QByteArray("YAW\tPITCH\tROLL\tANGLE1\tANGLE2\tANGLE3\n")
                                    + QByteArray("-1995\t945\t0\t-2.5\t0.0625\t0\n").repeated(1 + run));
        }
        const QRegularExpression name(R"(^logs\\TraceGimbalEncoder_\w+-\d\d-\d{4}  \d\d-\d\d-\d\d-[AP]M\.txt$)");
        const QStringList files = QDir(home->path()).entryList(QDir::Files);
        QVERIFY2(!files.isEmpty() && name.match(files[0]).hasMatch(), qPrintable(files.join('|')));
        QCOMPARE(ui.encoderTest_debug->toPlainText().count("until you hit the stops."), 2);
    }

    void openFails() {
        for (const bool set : {true, false}) {
            set ? qputenv("KNDD_HOME", "/nonexistent") : qunsetenv("KNDD_HOME");
            window->initGimbalEncoderTest();
            QVERIFY(window->ui.encoderTest_debug->toPlainText().endsWith("Error creating trace file !"));
            QVERIFY(!window->gimbEncTestTimer->isActive());
            QVERIFY(!window->ui.runGimbalEncoderTest_button->isEnabled());
            window->stopGimbalEncoderTest();
            QVERIFY(window->ui.runGimbalEncoderTest_button->isEnabled());
        }
    }

    // Nothing is recorded before the first run, nor after an open that failed or a stop.
    void noFileNoLine() {
        record(1);
        openFails();
        record(1);
        qputenv("KNDD_HOME", home->path().toLocal8Bit());
        window->initGimbalEncoderTest();
        window->stopGimbalEncoderTest();
        record(1);
        QCOMPARE(device().count("get_tharlen_joint_angles"), 0);
    }

    // What did not fit is cut to whole lines, and stays so when there is room again; a folder that vanishes harms
    // nothing.
    void diskFull() {
        window->initGimbalEncoderTest();
        record(3);
        const QByteArray before = content();
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        rlimit full = limit;
        full.rlim_cur = static_cast<rlim_t>(before.size() + 15);
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &full);
        record(5);
        setrlimit(RLIMIT_FSIZE, &limit);
        record(2);
        window->stopGimbalEncoderTest();
        QCOMPARE(content(), before + before.mid(before.lastIndexOf('\n', -2) + 1));
        window->initGimbalEncoderTest();
        QVERIFY(content().startsWith("YAW"));
        QVERIFY(QDir(home->path()).removeRecursively());
        record(5);
        window->stopGimbalEncoderTest();
    }
};

QTEST_MAIN(TestGimbalTrace)
#include "tst_gimbaltrace.moc"
