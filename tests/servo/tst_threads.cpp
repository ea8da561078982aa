// The window and the servo thread at work together: real loop, real event loop, every tab and page, so that a
// sanitizer sees what they share; and the hand-over types alone. Counts ticks; judges no timing.
#include <QThread>

#include <functional>
#include <thread>

#include "device/simulated/armcontrol.h"
#include "handover.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "windowtest.h"

class TestThreads : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        qunsetenv("KNDD_HOME");
        qputenv("NOLVA_ARM_SOCKET", "off");
    }
    void init() {
        armcontrol::resetArm();
        resetSharedState();
    }
    void cleanup() {
        QVERIFY(!isServoLoopRunning());  // the window has gone, while its loop was running as a rule
        armcontrol::resetArm();
    }

    void everyTabBesideTheRunningLoop() {
        qtTharlenTest window;
        window.show();
        goToTab(window, "Select");
        QVERIFY(window.csTharlenID >= 0);
        QTRY_VERIFY(armcontrol::state().ticks > 100);
        armcontrol::handMove({26, 0, 0});
        for (const bool manufacturing : {false, true}) {
            window.manufMode = manufacturing;
            for (const QString& tab : tabTexts(window).mid(2)) {
                QVERIFY(goToTab(window, tab));
                QTest::qWait(tab == "Box Test" ? 600 : 60);
            }
        }
        goToTab(window, "Box Test");
        QTRY_COMPARE(double(window.hapticBoxRenderer->pPos[0]), 20.0);
        window.accumulateErrors(-4);
        window.displayError();
        goToTab(window, "Servoloop");
        window.startServoLoopRateTest();
        QTRY_VERIFY(rateCounter > 20);
        window.updateServoLoopRateProgress();

        window.ui.tabWidget->addTab(window.ui.tab_15, "Performance Testing");
        goToTab(window, "Performance Testing");
        for (int page = 0; page < window.ui.listWidget->count(); ++page) {
            window.ui.listWidget->setCurrentRow(page);
            window.onPassivitySliderChange(page);
            window.ui.sendForce_checkBox->toggle();
            QTest::qWait(40);
        }
        // Devices change while the loop runs; each change stops it, closes, opens and starts it again.
        goToTab(window, "Select");
        for (int device = 0; device < window.ui.m_cmbTHARLeN->count(); device += 3) {
            const auto before = armcontrol::state().ticks;
            window.ui.m_cmbTHARLeN->setCurrentIndex(device);
            QVERIFY(window.csTharlenID >= 0);
            QTRY_VERIFY(armcontrol::state().ticks > before + 20);
        }
        goToTab(window, "Mode");
        QVERIFY(!isServoLoopRunning());
    }

    // Every slot that shares the lock of the error line with the ticks, held in the middle of what it shows: the loop
    // goes on.
    void ticksWhileTheWindowIsHeld() {
        qtTharlenTest window;
        goToTab(window, "Select");
        QString slot;
        QStringList held, stood;
        connect(window.ui.error_browser, &QTextEdit::textChanged, [&] {
            held << slot;
            const auto before = armcontrol::state().ticks;
            QElapsedTimer time;
            time.start();
            while (armcontrol::state().ticks < before + 200 && !time.hasExpired(10000))
                QThread::msleep(1);
            if (armcontrol::state().ticks < before + 200)
                stood << slot;
        });
        const struct {
            const char* slot;
            std::function<void()> run;
        } rows[] = {{"displayError", [&] { window.displayError(); }},
                    {"displayError, emptied", [&] { window.displayError(); }},
                    {"keepError", [&] { window.keepError("held"); }},
                    {"clearErrorBrowser", [&] { window.clearErrorBrowser(); }}};
        for (const auto& row : rows) {
            slot = row.slot;
            for (int i = 0; i <= (slot.contains("emptied") ? 1000 : 0); ++i)
                window.accumulateErrors(kDeviceFault);
            row.run();
            QVERIFY2(held.contains(slot) && stood.isEmpty(), row.slot);
        }
    }

    // The encoder test's options, lines and ends beside its ticks: past the quiet start, an abort, two runs at once
    // after one another, and the tab left in the middle.
    void encoderTestBesideItsTicks() {
        qtTharlenTest window;
        goToTab(window, "Select");
        window.ui.m_cmbTHARLeN->setCurrentText("Corvale USB");
        window.manufMode = window.encoderTestMode = true;
        window.ui.tabWidget->addTab(window.ui.tab_5, "Encoder Test");
        goToTab(window, "Encoder Test");
        window.ui.runEncoderTest_button->click();
        QTRY_VERIFY(window.m_lDACvalues[0] != 0 || window.m_lDACvalues[1] != 0);
        window.ui.encoderTestLoopsSpinBox->setValue(1);
        window.ui.testRadio1->setChecked(true);
        QCOMPARE(armcontrol::setFault("hot", true, 1, 180), std::string());
        QTRY_VERIFY(window.ui.encoderTest_debug->toPlainText().contains("Temperature Error"));
        armcontrol::clearFaults();
        for (int i = 0; i < 20; ++i) {
            window.ui.stopEncoderTest_button->click();
            window.ui.runEncoderTest_button->click();
        }
        goToTab(window, "Select");
        goToTab(window, "Encoder Test");
    }

    // A library that begins at once, takes its time for a tick and is late to stop: what is left stays off.
    void leavingInTheMiddleOfASlowTick() {
        for (const auto& [name, amount] : {std::pair{"eager-loop", 1}, {"slow-ticks", 60}, {"late-stop", 2}})
            QCOMPARE(armcontrol::setFault(name, true, -1, amount), std::string());
        qtTharlenTest window;
        goToTab(window, "Select");
        QVERIFY(window.csTharlenID >= 0);
        armcontrol::handMove({26, 0, 0});
        for (const char* next : {"Read Encoder", "Cycle Amps", "Mode", "Select", "Servoloop", "Calibrate"}) {
            goToTab(window, "Select");
            goToTab(window, "Box Test");
            QTRY_VERIFY(armcontrol::state().amplifiers);
            if (QLatin1String(next) == "Select")
                window.OnSelChangeTHARLeN();
            else
                goToTab(window, next);
            QTest::qWait(150);  // two ticks
            QVERIFY2(!armcontrol::state().amplifiers, next);
        }
    }

    // Every pushed item arrives once and in order; a refused one is offered again.
    void queueKeepsOrderBetweenThreads() {
        BoundedQueue<int, 8> queue;
        constexpr int kItems = 20000;
        std::thread writer([&queue] {
            for (int i = 0; i < kItems; ++i) {
                while (!queue.push(i))
                    std::this_thread::yield();
            }
        });
        int item = -1;
        bool ordered = true;
        for (int expected = 0; expected < kItems;) {
            if (queue.pop(item))
                ordered = ordered && item == expected++;
            else
                std::this_thread::yield();
        }
        writer.join();
        QVERIFY(ordered);
        QVERIFY(!queue.pop(item));
    }

    // What was written before a flag was raised is there for the thread that sees the flag; of the orders weaker
    // than that it is the thread sanitizer that tells on this machine.
    void flagPublishesWhatCameBefore() {
        for (int round = 0; round < 1000; ++round) {
            int plain = 0;
            Shared<bool> raised;
            std::thread writer([&] {
                plain = 42;
                raised = true;
            });
            while (!raised)
                std::this_thread::yield();
            const int seen = plain;
            writer.join();
            QCOMPARE(seen, 42);
        }
    }
};

QTEST_MAIN(TestThreads)
#include "tst_threads.moc"
