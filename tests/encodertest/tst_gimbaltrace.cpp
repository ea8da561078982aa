// The gimbal's recorder, which no person reaches: its file's name and lines, and an open that fails.
#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "standinwindow.h"

using standin::device;

class TestGimbalTrace : public StandinWindow {
    Q_OBJECT

private slots:
    void cleanup() { window.reset(); }

    // The file lies in the folder itself, under a name with a backslash; a second run has its own lines. Nothing is
    // recorded but in a run.
    void recordsLines() {
        const QTemporaryDir home;
        openFleet();
        auto& ui = window->ui;
        window->runGimbalEncoderTest();
        for (const char* folder : {"", "/nonexistent"}) {
            *folder ? qputenv("KNDD_HOME", folder) : qunsetenv("KNDD_HOME");
            ui.runGimbalEncoderTest_button->click();
            QVERIFY(ui.encoderTest_debug->toPlainText().endsWith("Error creating trace file !"));
            QVERIFY(!window->gimbEncTestTimer->isActive() && !ui.runGimbalEncoderTest_button->isEnabled());
            window->runGimbalEncoderTest();
            window->stopGimbalEncoderTest();
        }
        QCOMPARE(device().count("get_tharlen_joint_angles"), 0);
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        const long encoders[6] = {1, 2, 3, -1995, 945, 0};
        std::copy(encoders, encoders + 6, device().encoders);
        device().gimbalAngles[0] = -2.5f;
        device().gimbalAngles[1] = 0.0625f;
        for (int run = 1; run <= 2; ++run) {
            ui.runGimbalEncoderTest_button->click();
            QVERIFY(window->gimbEncTestTimer->isActive() && ui.stopGimbalEncoderTest_button->isEnabled());
            window->gimbEncTestTimer->setInterval(1000000);
            for (int i = 0; i < run; ++i)
                window->runGimbalEncoderTest();
            ui.stopGimbalEncoderTest_button->click();
            QVERIFY(!window->gimbEncTestTimer->isActive() && ui.runGimbalEncoderTest_button->isEnabled());
            QFile file(window->traceGimbOutFile->fileName());
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("YAW\tPITCH\tROLL\tANGLE1\tANGLE2\tANGLE3\n")
                                         + QByteArray("-1995\t945\t0\t-2.5\t0.0625\t0\n").repeated(run));
        }
        const QRegularExpression name(R"(^logs\\TraceGimbalEncoder_\w+-\d\d-\d{4}  \d\d-\d\d-\d\d-[AP]M\.txt$)");
        const QStringList files = QDir(home.path()).entryList(QDir::Files);
        QVERIFY2(!files.isEmpty() && name.match(files[0]).hasMatch(), qPrintable(files.join('|')));
    }
};

QTEST_MAIN(TestGimbalTrace)
#include "tst_gimbaltrace.moc"
