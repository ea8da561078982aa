// What an exception of the device library and a signal do to the application.
#include <signal.h>

#include "application.h"
#include "motorsoff.h"
#include "servostate.h"
#include "standinwindow.h"

using standin::device;

class TestApplication : public StandinWindow {
    Q_OBJECT

    /// An exception that unwinds through the toolkit comes from an event, as a person makes it.
    static void byEvent(QWidget* receiver, const std::function<void()>& act) {
        QTimer::singleShot(0, receiver, act);
        QCoreApplication::processEvents();
    }

private slots:
    void init() { openFleet(); }

    // Opening for the first time throws: the text is told, and the window is good for another try.
    void openingThrowsAndIsTriedAgain() {
        openFleet({standin::record("Arm", 5)}, [] { device().result["init_tharlen"] = -7; });
        goToTab(*window, "Mode");
        device().result.clear();
        device().initThrows = "no such port";
        byEvent(window.get(), [&] { goToTab(*window, "Select"); });
        QVERIFY(window->ui.error_browser->toPlainText().contains("no such port"));
        QCOMPARE(window->csTharlenID.load(), -1);
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
        device().initThrows.clear();
        goToTab(*window, "Mode");
        goToTab(*window, "Select");
        QVERIFY(window->csTharlenID >= 0);
    }

    // Any call of the graphical thread throws, while a motor is driven: forces off, and the window goes on. Switches
    // that are pending, and a ramp that was under way, end with it.
    void anyCallThrowsBesideADrivenMotor() {
        const int pending = window->m_deviceOpening;
        window->m_vvMoveIncr.afVoltages[0] = 0.4f;
        goToTab(*window, "Test Forces");
        window->ui.slider_Y->setValue(60);
        QVERIFY(device().forcesEnabled);
        device().onCall = [](const standin::Call& call) {
            if (call.name == "get_tharlen_temp_6dof")
                throw 7;
        };
        byEvent(window.get(), [&] { window->monitorTemperature(); });
        device().onCall = nullptr;
        QVERIFY(!device().forcesEnabled);
        QCOMPARE(window->force_dac_values[1].load(), 0L);
        QCOMPARE(window->ui.slider_Y->value(), 0);
        QVERIFY(window->ui.error_browser->toPlainText().contains("an exception without a text"));
        QCOMPARE(window->m_vvMoveIncr.afVoltages[0], 0.0f);
        goToTab(*window, "Cycle Amps");
        window->enableAmplifiers();
        surviveException(*window, "");
        QCOMPARE(window->ui.amp_status_button->text(), QString("OFF"));
        shootAmplifiers(*window, pending, true);
        QVERIFY(!device().forcesEnabled && !window->ampsGuiUpdateTimer->isActive());
    }

    // A library that throws at every call of the window's end does not keep the others from being made.
    void theEndIsWholeWhateverThrows() {
        device().onCall = [](const standin::Call& call) {
            if (call.name != "isServoLoopRunning")
                throw std::runtime_error(call.name);
        };
        device().calls.clear();
        window.reset();
        device().onCall = nullptr;
        QCOMPARE(device().count("stopServoLoop"), 1);
        QCOMPARE(device().count("disable_tharlen"), 1);
        // The same of a loop that runs without a device.
        openFleet();
        window->csTharlenID = -1;
        device().onCall = [](const standin::Call& call) {
            if (call.name == "stopServoLoop")
                throw std::runtime_error(call.name);
        };
        window.reset();
        device().onCall = nullptr;
    }

    void signalsCloseWithoutAQuestion() {
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
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
    TestApplication test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_application.moc"
