// Start-up, closing and teardown of the window.
#include <QCloseEvent>
#include <QGraphicsLineItem>
#include <QMessageBox>
#include <limits>

#include "qttharlendraw.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

class TestShell : public QObject {
    Q_OBJECT

private slots:
    void init() {
        standin::reset();
        resetSharedState();
        device().fleet = {record("Arm", 5)};
    }

    void aWindowWithoutDevicesIsWhole() {
        device().fleet.clear();
        qtTharlenTest window;
        QCOMPARE(window.windowTitle(), QString("Nolva Diagnostic"));
        QCOMPARE(tabTexts(window), (QStringList{"Mode", "Select"}));
        QVERIFY(window.dateTimeTimer->isActive() && window.dateTimeTimer->interval() == 1000);
        QVERIFY(window.errorDisplayTimer->isActive() && window.errorDisplayTimer->interval() == 500);
        QVERIFY(device().loopCreated && !device().loopRunning);
        QCOMPARE(device().of({"setServoLoopRate"})[0].values, (std::vector<double>{1000}));
        QVERIFY(window.ui.frame11->isHidden());
        QCOMPARE(window.m_lMinEncoderVal[3], std::numeric_limits<long>::max());
        QCOMPARE(window.m_lMaxEncoderVal[3], std::numeric_limits<long>::min());
        QCOMPARE(window.m_lMinForceVal[0], 200.0f);
        QCOMPARE(window.m_lMaxForceVal[0], -200.0f);
        QCOMPARE(window.m_nUnit, ~0UL);
        QVERIFY(window.cycleAmpsTimer && !window.histoGramTimer && window.repData);
        const QList<QGraphicsItem*> mark = window.histogramScene->items();
        QCOMPARE(mark.size(), 2);
    }

    // The slots that act already, by what firing it does to the window or the device.
    void builtTimersReachTheirSlots() {
        const auto window = openWindow();
        const auto fires = [&](QTimer* timer, const auto& seen) {
            device().calls.clear();
            timer->start(0);
            const bool reached = QTest::qWaitFor(seen, 2000);
            timer->stop();
            return reached;
        };
        window->numAccumErrors = 2000;
        QVERIFY(fires(window->errorDisplayTimer, [&] { return window->numAccumErrors == 0; }));
        window->csTharlenID = -1;
        QVERIFY(fires(window->dateTimeTimer, [&] { return window->numAccumErrors > 0; }));
        window->csTharlenID = 1;
        QVERIFY(fires(window->selectionTimer, [&] { return window->tharlenRenderer->cs_DeviceID == 1; }));
        window->lastDacValue[1] = 40.0f;
        QVERIFY(fires(window->forceProgressTimer, [&] { return window->ui.yForceBar->value() == 40; }));
    }

    void closingAsksInManufacturingBeforeTheSummary_data() {
        QTest::addColumn<bool>("manufacturing");
        QTest::addColumn<QString>("tab");
        QTest::addColumn<int>("answer");  // -1: no question
        QTest::addColumn<bool>("closes");
        QTest::newRow("user") << false << "Box Test" << -1 << true;
        QTest::newRow("no") << true << "Calibrate" << int(QMessageBox::No) << false;
        QTest::newRow("yes") << true << "Calibrate" << int(QMessageBox::Yes) << true;
        QTest::newRow("summary") << true << "Summary" << -1 << true;
    }
    void closingAsksInManufacturingBeforeTheSummary() {
        QFETCH(bool, manufacturing);
        QFETCH(QString, tab);
        QFETCH(int, answer);
        QFETCH(bool, closes);
        const auto window = openWindow();
        window->manufMode = manufacturing;
        window->ui.tabWidget->addTab(window->ui.tab_12, "Summary");
        QVERIFY(goToTab(*window, tab));
        bool asked = false;
        QTimer::singleShot(0, window.get(), [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            asked = box->windowTitle() == "Testing Interrupted"
                    && box->text() == "Are you sure ? Closing the app now will not save the Test Reports.\nPress YES "
                                      "to close and NO to continue testing. ";
            if (answer == QMessageBox::No)
                QTest::keyClick(box, Qt::Key_Return);  // the answer that loses nothing
            else
                box->button(QMessageBox::StandardButton(answer))->click();
        });
        QCloseEvent event;
        event.ignore();
        QCoreApplication::sendEvent(window.get(), &event);
        QCoreApplication::processEvents();
        QCOMPARE(asked, answer >= 0);
        QCOMPARE(event.isAccepted(), closes);
        QVERIFY(window->errorDisplayTimer->isActive() && window->dateTimeTimer->isActive());
    }

    void summaryLocksTheWay() {
        const auto window = openWindow();
        window->ui.tabWidget->addTab(window->ui.tab_12, "Summary");
        window->ui.tabWidget->addTab(window->ui.tab_13, "Download");  // neither last nor in manufacturing
        goToTab(*window, "Summary");
        for (int i = 0; i < window->ui.tabWidget->currentIndex(); ++i)
            QVERIFY(!window->ui.tabWidget->isTabEnabled(i));
        QVERIFY(!window->ui.next_button->isEnabled() && !window->ui.back_button->isEnabled());
    }

    // Forces off, loop stopped, device closed, in this order; and nothing of it without a device.
    void teardownOrder() {
        const std::set<std::string> ending{"disable_tharlen_forces_no_wait", "stopServoLoop", "disable_tharlen"};
        auto window = openWindow();
        device().calls.clear();
        window.reset();
        QCOMPARE(device().namesOf(ending),
                 (std::vector<std::string>{"disable_tharlen_forces_no_wait", "stopServoLoop", "disable_tharlen"}));

        // A library may finish one more tick after it was asked to stop.
        for (Shared<bool>* flag : {&startBoxTest, &startPerformanceForceTest}) {
            resetSharedState();
            window = openWindow();
            *flag = true;
            device().forcesEnabled = true;
            bool onAtClosing = true;
            device().onCall = [&](const standin::Call& call) {
                if (call.name == "stopServoLoop")
                    ServoLoopCallBack(window.get());
                if (call.name == "disable_tharlen")
                    onAtClosing = device().forcesEnabled;
            };
            window.reset();
            device().onCall = nullptr;
            QVERIFY(!onAtClosing && !device().forcesEnabled);
        }

        // A loop that would not stop leaves the device enabled.
        resetSharedState();
        window = openWindow();
        device().onCall = [](const standin::Call& call) {
            if (call.name == "stopServoLoop")
                device().loopRunning = true;
        };
        device().calls.clear();
        window.reset();
        QCOMPARE(device().count("disable_tharlen"), 0);

        standin::reset();
        resetSharedState();
        window = std::make_unique<qtTharlenTest>();
        device().calls.clear();
        window.reset();
        QVERIFY(device().of(ending).empty());
    }

    void rateButtonsSetTheRate() {
        qtTharlenTest window;
        const std::pair<QRadioButton*, double> rates[] = {{window.ui.servo2000, 2000},
                                                          {window.ui.servo4000, 4000},
                                                          {window.ui.servo3000, 3000},
                                                          {window.ui.servo1000, 1000}};
        for (const auto& [button, rate] : rates) {
            button->setChecked(true);
            window.ui.setServoLoopRate->click();
            QCOMPARE(device().of({"setServoLoopRate"}).back().values, (std::vector<double>{rate}));
            QCOMPARE(double(window.servoRate), rate);
        }
    }
};

QTEST_MAIN(TestShell)
#include "tst_shell.moc"
