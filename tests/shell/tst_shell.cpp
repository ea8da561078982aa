// Start-up, closing and teardown of the window.
#include <QMessageBox>
#include <limits>

#include "qttharlendraw.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "standinwindow.h"

using standin::device;
using standin::record;

class TestShell : public StandinWindow {
    Q_OBJECT

private slots:
    void init() { openFleet(); }

    void aWindowWithoutDevicesIsWhole() {
        openFleet({});
        QCOMPARE(window->windowTitle(), QString("Nolva Diagnostic"));
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
        QVERIFY(window->dateTimeTimer->isActive() && window->dateTimeTimer->interval() == 1000);
        QVERIFY(window->errorDisplayTimer->isActive() && window->errorDisplayTimer->interval() == 500);
        QVERIFY(device().loopCreated && !device().loopRunning && window->ui.frame11->isHidden());
        QVERIFY(window->m_lMinEncoderVal[3] == std::numeric_limits<long>::max() && window->m_lMinForceVal[0] == 200.0f);
        QVERIFY(window->m_lMaxEncoderVal[3] == std::numeric_limits<long>::min()
                && window->m_lMaxForceVal[0] == -200.0f);
        QVERIFY(window->m_nUnit == ~0UL && window->cycleAmpsTimer && !window->histoGramTimer && window->repData);
        QCOMPARE(window->histogramScene->items().size(), 2);
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
        const struct {
            bool manufacturing;
            const char* tab;
            int answer;  ///< -1: no question
            bool closes;
        } rows[] = {{false, "Box Test", -1, true},
                    {true, "Calibrate", QMessageBox::No, false},
                    {true, "Calibrate", QMessageBox::Yes, true},
                    {true, "Summary", -1, true}};
        for (const auto& row : rows) {
            openFleet();
            window->manufMode = row.manufacturing;
            window->ui.tabWidget->addTab(window->ui.tab_12, "Summary");
            QVERIFY(goToTab(*window, row.tab));
            window->show();
            bool asked = false;
            QTimer::singleShot(0, window.get(), [&] {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                if (!box)
                    return;
                asked = box->windowTitle() == "Testing Interrupted"
                        && box->text() == "Are you sure ? Closing the app now will not save the Test Reports.\nPress "
                                          "YES to close and NO to continue testing. ";
                if (row.answer == QMessageBox::No)
                    QTest::keyClick(box, Qt::Key_Return);  // the answer that loses nothing
                else
                    box->button(QMessageBox::StandardButton(row.answer))->click();
            });
            window->ui.pushButton->click();
            QCoreApplication::processEvents();
            QCOMPARE(asked, row.answer >= 0);
            QCOMPARE(window->isHidden(), row.closes);
            QVERIFY(window->errorDisplayTimer->isActive() && window->dateTimeTimer->isActive());
        }
    }

    void summaryLocksTheWay() {
        window->ui.tabWidget->addTab(window->ui.tab_12, "Summary");
        window->ui.tabWidget->addTab(window->ui.tab_13, "Download");  // neither last nor in manufacturing
        goToTab(*window, "Summary");
        for (int i = 0; i < window->ui.tabWidget->currentIndex(); ++i)
            QVERIFY(!window->ui.tabWidget->isTabEnabled(i));
        QVERIFY(!window->ui.next_button->isEnabled() && !window->ui.back_button->isEnabled());
    }

    // Forces off, loop stopped, device closed, in this order; and nothing of it without a device. A library may finish
    // one more tick after it was asked to stop: no amplifiers are on as it is closed. A loop that would not stop leaves
    // the device enabled.
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
            device().onCall = nullptr;
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
        auto& ui = window->ui;
        const std::pair<QRadioButton*, double> rates[] = {
            {ui.servo2000, 2000}, {ui.servo4000, 4000}, {ui.servo3000, 3000}, {ui.servo1000, 1000}};
        for (const auto& [button, rate] : rates) {
            button->setChecked(true);
            ui.setServoLoopRate->click();
            QCOMPARE(device().of({"setServoLoopRate"}).back().values, (std::vector<double>{rate}));
            QCOMPARE(double(window->servoRate), rate);
        }
    }
};

QTEST_MAIN(TestShell)
#include "tst_shell.moc"
