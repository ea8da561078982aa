// Device errors from a tick to the browser.
#include <QDateTime>
#include <QLocale>
#include <QProcess>

#include "datetext.h"
#include "motorsoff.h"
#include "standinwindow.h"

class TestErrors : public StandinWindow {
    Q_OBJECT

    QString browser() const { return ui().error_browser->toPlainText(); }

private slots:
    void init() {
        openFleet();
        window->errorDisplayTimer->stop();
        window->dateTimeTimer->stop();
        window->clearErrorBrowser();
    }

    void eachCodeHasItsText() {
        const std::pair<int, const char*> codes[] = {{-32, "Setup Error: Try unplugging"},
                                                     {-31, "Communication Error: "},
                                                     {-30, "Setup Error: Check the base address"},
                                                     {-29, "Setup Error: Check the Parallel Port"},
                                                     {-28, "Communication Error: "},
                                                     {-13, "Device Warning: Device exceeded max velocity."},
                                                     {-5, "Communication Error: "},
                                                     {-4, "Device Fault: "},
                                                     {-2, "Device Warning: Maximum force exceeded"},
                                                     {-1, "Device Warning: One or more of the Device motors are warm."},
                                                     {-3, ""},
                                                     {4, ""}};
        for (const auto& [code, text] : codes) {
            window->numAccumErrors = 0;
            window->clearErrorBrowser();
            device().result["update_tharlen"] = code;
            tick();
            window->displayError();
            QCOMPARE(window->numAccumErrors, *text ? 1 : 0);
            QVERIFY(*text ? browser().section(" : ", 1).startsWith(text) : !browser().contains(" : "));
        }
    }

    // The line's date is the toolkit's own text, at every hour and across months.
    void dateTextIsTheToolkits() {
        const QDateTime start(QDate(2024, 2, 28), QTime(0, 0, 59));
        for (int step = 0; step < 20000; ++step) {
            // Runs of seconds, then jumps, some of them back.
            const QDateTime when = start.addSecs(step / 100 % 2 ? step * 3601LL : 40000LL - step * 1LL);
            char text[kDateTextSize];
            const std::size_t length = dateText(when.toSecsSinceEpoch(), text);
            QCOMPARE(QString::fromUtf8(text, int(length)), when.toString("MMMM-dd-yyyy  hh-mm-ss-AP"));
        }
    }

    // A locale is read once, as a process starts: one with other digits, one with other words.
    void dateTextInOtherLocales() {
        for (const char* locale : {"ar_EG.UTF-8", "my_MM.UTF-8", "ja_JP.UTF-8"}) {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("LC_ALL", locale);
            process.setProcessEnvironment(environment);
            process.start(QCoreApplication::applicationFilePath(), {"dateTextIsTheToolkits"});
            QVERIFY(process.waitForFinished(120000));
            QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, process.readAll());
        }
    }

    // The last error stands and is repeated.
    void laterErrorReplaces() {
        window->accumulateErrors(-13);
        window->accumulateErrors(-4);
        window->accumulateErrors(0);
        const QString line = window->errorMessage;
        window->displayError();
        window->displayError();
        QVERIFY(line.contains("Device Fault") && window->numAccumErrors == 2);
        QCOMPARE(browser(), line + "\n" + line);
    }

    // The button empties the browser and keeps the count; while there is no error an empty line is shown. Emptied at
    // the 1001st new error, not at the thousandth, and then shows nothing.
    void clearing() {
        window->accumulateErrors(-5);
        window->displayError();
        ui().pushButton_3->click();
        QVERIFY(browser().isEmpty() && window->errorMessage.isEmpty() && window->numAccumErrors == 1);
        ui().error_browser->append("Selected Device cannot be initialized !");
        window->displayError();
        window->displayError();
        QCOMPARE(browser(), QString("Selected Device cannot be initialized !\n\n"));
        for (int i = 1; i < 1000; ++i)
            window->accumulateErrors(-5);
        window->displayError();
        QVERIFY(browser().contains("Communication Error"));
        window->accumulateErrors(-5);
        window->displayError();
        QVERIFY(browser().isEmpty() && window->numAccumErrors == 0);
    }

    // A loop that stands still is told within a second, once; and that it goes on again. One that was stopped is not.
    void aLoopThatStandsStillIsTold() {
        const auto look = [this](int looks) {
            window->clearErrorBrowser();
            for (int i = 0; i < looks; ++i)
                watchLoop(*window);
            return browser();
        };
        ServoLoopCallBack(window.get());
        QVERIFY(look(2).isEmpty());
        QVERIFY(look(1).contains("stopped answering"));
        QVERIFY(look(9).isEmpty());
        ServoLoopCallBack(window.get());
        QVERIFY(look(2).contains("answers again"));
        QVERIFY(look(3).contains("stopped answering"));
        ServoLoopCallBack(window.get());
        watchLoop(*window);
        QVERIFY(window->errorMessage.isEmpty());  // nor is it repeated once the loop is back
        go("Mode");
        QVERIFY(look(9).isEmpty());
    }

    // A window that could not look is told once it looks again, for ten seconds, and beside a line that stays.
    void aWindowThatStandsStillIsTold() {
        static std::int64_t now = 0;
        testClock = [] { return now; };
        const auto look = [this](int milliseconds) {
            now += milliseconds;
            watchLoop(*window);
            window->displayError();
            return browser().count("The window stood still for 2.5 s");
        };
        goToTab(*window, "Mode");  // no loop to watch
        QCOMPARE(look(250) + look(950), 0);
        QCOMPARE(look(2500), 2);
        for (int i = 0; i < 20; ++i)
            look(950);
        const int over = look(950);
        QVERIFY(over > 10 && look(950) == over);
        window->clearErrorBrowser();
        window->keepError("what stays");
        QCOMPARE(look(2500), 1);
        look(250);
        QVERIFY(browser().endsWith("what stays"));
        // An arm may take its time to open, what is read of it then may not.
        device().onCall = [](const standin::Call& call) {
            now += call.name == "init_tharlen" ? 9000 : call.name == "get_hardware_rev" ? 2700 : 0;
        };
        go("Select");
        look(0);
        QVERIFY(browser().contains("The window stood still for 2.7 s"));
    }

    // A foreign text is one line of plain text, and is not said again at once.
    void whatIsSaidIsOneLine() {
        for (int i = 0; i < 3; ++i)
            window->sayError("<b>bold</b>\n\x01" + QString(5000, 'x'));
        QVERIFY(browser().contains(" : <b>bold</b>  xx"));
        QVERIFY(browser().size() < 260 && !browser().contains('\n'));
    }

    // With each second, past the first tab.
    void missingDeviceIsReported() {
        window->csTharlenID = -1;
        for (int second = 0; second < 3; ++second)
            window->displayDateTime();
        QVERIFY(window->numAccumErrors == 3 && window->errorMessage.contains("Communication Error"));
        go("Mode");
        window->displayDateTime();
        QVERIFY(window->numAccumErrors == 3 && window->errorMessage.isEmpty());
    }

    void passivityFiguresAreShown() {
        passivityTestForce[1] = -1.5f;
        window->passivityGain = 0.25f;
        window->displayDateTime();
        QCOMPARE(ui().passivityTest_browser->toPlainText(),
                 QString("0.000000  \n-1.500000  \n0.000000  \n0.000000  \n0.000000  \n0.000000  \n0.250000  \n"));
    }
};

QTEST_MAIN(TestErrors)
#include "tst_errors.moc"
