// Start-up, closing and teardown of the window; what an exception of the device library and a signal do.
#include <signal.h>

#include <QMessageBox>

#include "application.h"
#include "motorsoff.h"
#include "qttharlendraw.h"
#include "qttharlenhapticrenderer.h"
#include "standinwindow.h"

class TestShell : public StandinWindow {
    Q_OBJECT

    /// An exception that unwinds through the toolkit comes from an event, as a person makes it.
    static void byEvent(QWidget* receiver, const std::function<void()>& act) {
        QTimer::singleShot(0, receiver, act);
        QCoreApplication::processEvents();
    }

private slots:
    void init() { openFleet(); }

    void aWindowWithoutDevicesIsWhole() {
        openFleet({});
        QCOMPARE(window->windowTitle(), QString("Nolva Diagnostic"));
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
        QVERIFY(window->dateTimeTimer->isActive() && window->dateTimeTimer->interval() == 1000);
        QVERIFY(window->errorDisplayTimer->isActive() && window->errorDisplayTimer->interval() == 500);
        QVERIFY(device().loopCreated && !device().loopRunning && ui().frame11->isHidden());
    }

    // Those of the window itself; the others are fired in the flows.
    void builtTimersReachTheirSlots() {
        window->numAccumErrors = 2000;
        window->errorDisplayTimer->start(0);
        QTRY_COMPARE(window->numAccumErrors, 0);
        window->errorDisplayTimer->stop();
        window->csTharlenID = -1;
        window->dateTimeTimer->start(0);
        QTRY_VERIFY(window->numAccumErrors > 0);
        window->csTharlenID = 1;
        QTRY_COMPARE(window->tharlenRenderer->cs_DeviceID, 1);
    }

    // By the button; the frame's own way out asks the same.
    void closingAsksInManufacturingBeforeTheSummary() {
        const std::tuple<bool, const char*, int, bool> rows[] = {{false, "Box Test", -1, true},
                                                                 {true, "Calibrate", QMessageBox::No, false},
                                                                 {true, "Calibrate", QMessageBox::Yes, true},
                                                                 {true, "Summary", -1, true}};
        for (const auto& [manufacturing, tab, answer, closes] : rows) {  // -1 where there is no question
            openFleet();
            window->manufMode = manufacturing;
            ui().tabWidget->addTab(ui().tab_12, "Summary");
            QVERIFY(goToTab(*window, tab));
            window->show();
            bool asked = false;
            QTimer::singleShot(0, window.get(), [&, answer = answer] {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                if (!box)
                    return;
                asked = box->text().contains("will not save the Test Reports");
                if (answer == QMessageBox::No)
                    QTest::keyClick(box, Qt::Key_Return);  // the answer that loses nothing
                else
                    box->button(QMessageBox::StandardButton(answer))->click();
            });
            ui().pushButton->click();
            QCoreApplication::processEvents();
            QCOMPARE(asked, answer >= 0);
            QCOMPARE(window->isHidden(), closes);
            QVERIFY(window->errorDisplayTimer->isActive() && window->dateTimeTimer->isActive());
        }
    }

    void summaryLocksTheWay() {
        ui().tabWidget->addTab(ui().tab_12, "Summary");
        ui().tabWidget->addTab(ui().tab_13, "Download");  // neither last nor in manufacturing
        go("Summary");
        for (int i = 0; i < ui().tabWidget->currentIndex(); ++i)
            QVERIFY(!ui().tabWidget->isTabEnabled(i));
        QVERIFY(!ui().next_button->isEnabled() && !ui().back_button->isEnabled());
    }

    // In this order; and nothing of it without a device. A library may finish one more tick after it was asked to stop:
    // no amplifiers are on as it is closed. A loop that would not stop leaves the device enabled.
    void teardownOrder() {
        const std::set<std::string> ending{"disable_tharlen_forces_no_wait", "stopServoLoop", "disable_tharlen"};
        device().calls.clear();
        window.reset();
        QCOMPARE(device().namesOf(ending),
                 (std::vector<std::string>{"disable_tharlen_forces_no_wait", "stopServoLoop", "disable_tharlen"}));
        for (Shared<bool>* flag : {&startBoxTest, &startPerformanceForceTest}) {
            openFleet();
            *flag = true;
            device().forcesEnabled = true;
            bool onAtStop = true, onAtClosing = true;
            device().onCall = [&](const standin::Call& call) {
                if (call.name == "stopServoLoop") {
                    onAtStop = device().forcesEnabled;
                    tick();
                    device().forcesEnabled = true;  // by a tick that had been under way
                }
                if (call.name == "disable_tharlen")
                    onAtClosing = device().forcesEnabled;
            };
            window.reset();
            QVERIFY(!onAtStop && !onAtClosing && !device().forcesEnabled);
        }
        openFleet();
        device().onCall = [](const standin::Call& call) { device().loopRunning |= call.name == "stopServoLoop"; };
        device().calls.clear();
        window.reset();
        QCOMPARE(device().count("disable_tharlen"), 0);
        openFleet({});
        device().calls.clear();
        window.reset();
        QVERIFY(device().of(ending).empty());
    }

    void rateButtonsSetTheRate() {
        for (const double rate : {2000, 4000, 3000, 1000}) {
            window->findChild<QRadioButton*>(QString("servo%1").arg(rate))->setChecked(true);
            ui().setServoLoopRate->click();
            QCOMPARE(device().of({"setServoLoopRate"}).back().values, (std::vector<double>{rate}));
            QCOMPARE(double(window->servoRate), rate);
        }
    }

    // Opening for the first time throws: the text is told, and the window is good for another try.
    void openingThrowsAndIsTriedAgain() {
        openFleet({record("Arm", 5)}, [] { device().result["init_tharlen"] = -7; });
        go("Mode");
        device().result.clear();
        device().initThrows = "no such port";
        byEvent(window.get(), [&] { goToTab(*window, "Select"); });
        QVERIFY(ui().error_browser->toPlainText().contains("no such port"));
        QCOMPARE(window->csTharlenID.load(), -1);
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
        device().initThrows.clear();
        go("Mode", "Select");
        QVERIFY(window->csTharlenID >= 0);
    }

    // Any call of the graphical thread throws, while a motor is driven: forces off, and the window goes on. Switches
    // that are pending, and a ramp that was under way, end with it.
    void anyCallThrowsBesideADrivenMotor() {
        const int pending = window->m_deviceOpening;
        window->m_vvMoveIncr.afVoltages[0] = 0.4f;
        go("Test Forces");
        ui().slider_Y->setValue(60);
        QVERIFY(device().forcesEnabled);
        device().onCall = [](const standin::Call& call) {
            if (call.name == "get_tharlen_temp_6dof")
                throw 7;
        };
        byEvent(window.get(), [&] { window->monitorTemperature(); });
        device().onCall = nullptr;
        QVERIFY(!device().forcesEnabled && window->force_dac_values[1] == 0 && ui().slider_Y->value() == 0);
        QVERIFY(ui().error_browser->toPlainText().contains("an exception without a text"));
        QCOMPARE(window->m_vvMoveIncr.afVoltages[0], 0.0f);
        go("Cycle Amps");
        window->enableAmplifiers();
        surviveException(*window, "");
        QCOMPARE(ui().amp_status_button->text(), QString("OFF"));
        shootAmplifiers(*window, pending, true);
        QVERIFY(!device().forcesEnabled && !window->ampsGuiUpdateTimer->isActive());
    }

    // A library that throws at every call of the window's end does not keep the others from being made.
    void theEndIsWholeWhateverThrows() {
        for (const bool withDevice : {true, false}) {
            openFleet();
            window->csTharlenID = withDevice ? window->csTharlenID.load() : -1;
            device().onCall = [](const standin::Call& call) {
                if (call.name != "isServoLoopRunning")
                    throw std::runtime_error(call.name);
            };
            device().calls.clear();
            window.reset();
            QCOMPARE(device().count("stopServoLoop"), 1);
            QCOMPARE(device().count("disable_tharlen"), withDevice ? 1 : 0);
        }
    }

    // One that was ignored at start stays so, as for who outlasts a terminal.
    void signalsCloseWithoutAQuestion() {
        signal(SIGHUP, SIG_IGN);
        {
            const QuitOnSignals ending;
            struct sigaction now {};
            QVERIFY(sigaction(SIGHUP, nullptr, &now) == 0 && now.sa_handler == SIG_IGN);
        }
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
            signal(number, SIG_DFL);  // whatever who started the test ignores
            const QuitOnSignals ending;
            openFleet();
            window->manufMode = true;
            QTimer::singleShot(0, window.get(), [number] { raise(number); });
            QTimer tooLong;
            tooLong.setSingleShot(true);
            tooLong.start(20000);
            connect(&tooLong, &QTimer::timeout, [] { QCoreApplication::exit(9); });
            QCOMPARE(QCoreApplication::exec(), 0);
        }
    }
};

int main(int argc, char** argv) {
    DiagnosticApplication application(argc, argv);
    TestShell test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_shell.moc"
