// The wizard: tabs of each mode, the gate, the buttons, and what every change of tab starts and stops.
#include "qttharlenhapticrenderer.h"
#include "standinwindow.h"
#include "tabs.h"

namespace {

const QStringList kUserTabs{"Mode",       "Select",      "Calibrate", "Read Encoder",
                            "Cycle Amps", "Test Forces", "Box Test",  "Servoloop"};

}  // namespace

class TestWizard : public StandinWindow {
    Q_OBJECT

    void enterMode(const QString& word, bool manufacturing, bool encoderCheck) {
        qunsetenv("MVI_MANUFACTURING");
        qunsetenv("MVI_ENCODER_CHECK");
        if (manufacturing)
            qputenv("MVI_MANUFACTURING", "1");
        if (encoderCheck)
            qputenv("MVI_ENCODER_CHECK", "1");
        ui().manuf_radioButton->setChecked(true);
        ui().manuf_password->setText(word);
        ui().manuf_password->setEnabled(true);
        QTest::keyClick(ui().manuf_password, Qt::Key_Return);
    }

private slots:
    void init() {
        fresh({record("Arm", 5), record("Stelmar", 1), record("X", 3, 6), record("N", 9)});
        window = std::make_unique<qtTharlenTest>();
    }

    // What the gate lets in by its letter, and the tabs that remain before and after a device is selected.
    void modes() {
        const QStringList manufacturing{"Mode", "Select", "Calibrate"};
        const std::tuple<const char*, bool, bool, QString, const char*, QStringList> rows[] = {
            {NOLVA_ADVANCED_WORD, true, true, "me-", "Manufacturing & Encoder test mode ", manufacturing},
            {NOLVA_ADVANCED_WORD, true, false, "m--", "Manufacturing mode ", manufacturing},
            {NOLVA_ADVANCED_WORD, false, false, "m-p",
             "Performance mode: ", manufacturing + QStringList("Performance Testing")},
            {"calibrate ", true, true, "---", "Wrong password.", kUserTabs},
            {"", true, true, "---", "Enter the password ", kUserTabs}};
        for (const auto& [word, entered, encoderCheck, modes, status, tabs] : rows) {
            enterMode(word, entered, encoderCheck);
            QCOMPARE(bool(window->manufMode), modes.contains('m'));
            QCOMPARE(window->encoderTestMode, modes.contains('e'));
            QCOMPARE(window->performanceTestMode, modes.contains('p'));
            QVERIFY(ui().mode_status->toPlainText().startsWith(status));
            QCOMPARE(ui().next_button->isEnabled(), modes.contains('m'));
            QVERIFY(ui().manuf_radioButton->isHidden() && ui().manuf_password->isHidden());
            QCOMPARE(ui().servolooprateGroup->isHidden(), !modes.contains('p'));
            go("Select");
            QCOMPARE(tabTexts(*window), tabs);
            ui().m_cmbTHARLeN->setCurrentIndex(2);  // a Corvale has the encoder mode's tab
            QCOMPARE(tabTexts(*window).contains("Encoder Test"), modes.contains('e'));
            ui().m_cmbTHARLeN->setCurrentIndex(0);
            // The way back: the user mode again.
            go("Mode");
            ui().tabWidget->setTabEnabled(0, true);
            ui().user_radioButton->click();
            QVERIFY(!window->manufMode && !window->encoderTestMode && !window->performanceTestMode);
            QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
            QVERIFY(ui().next_button->isEnabled());
        }
    }

    void buttonsWalkTheUserFlow() {
        QVERIFY(!ui().back_button->isEnabled());
        for (int i = 1; i < kUserTabs.size(); ++i) {
            QVERIFY(ui().next_button->isEnabled());
            ui().next_button->click();
            QCOMPARE(ui().tabWidget->tabText(ui().tabWidget->currentIndex()), kUserTabs[i]);
            QVERIFY(!ui().tabWidget->tabToolTip(i).isEmpty());
            QCOMPARE(window->focusProxy(), ui().tabWidget->currentWidget());
            QVERIFY(ui().back_button->isEnabled());
        }
        QVERIFY(!ui().next_button->isEnabled());
        for (int i = kUserTabs.size() - 2; i >= 0; --i) {
            ui().back_button->click();
            QCOMPARE(ui().tabWidget->currentIndex(), i);
        }
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
    }

    // Each entry disables a tab by its literal number, the one before it where no optional tab is missing.
    void manufacturingGoesForwardOnly() {
        enterMode(NOLVA_ADVANCED_WORD, true, false);
        go("Select");
        QTabWidget& tabs = *ui().tabWidget;
        QVERIFY(!tabs.isTabEnabled(0) && !ui().back_button->isEnabled());
        for (const char* title : {"Read Encoder", "Cycle Amps", "Test Forces", "Box Test", "Servoloop", "Summary"})
            placeTab(*window, title);
        for (int tab = 2; tab < tabs.count() - 1; ++tab) {
            tabs.setTabEnabled(tab - 2, true);
            tabs.setCurrentIndex(tab);
            for (int i = 0; i < tabs.count(); ++i)
                QVERIFY2(tabs.isTabEnabled(i) == (i != tab - 1), qPrintable(tabs.tabText(tab)));
            QVERIFY(!ui().back_button->isEnabled());
        }
    }

    // Every change of tab ends what any other had going.
    void eachTabStopsAllOthers() {
        for (const QString tab : {"Calibrate", "Read Encoder", "Cycle Amps", "Test Forces", "Box Test", "Servoloop"}) {
            go("Select");
            startCalibTest = startEncoderTest = startServoTest = true;
            ui().slider_TZ->setValue(4);
            window->m_forceToSend[5] = 1;
            ui().gain_slider->setValue(30);
            const std::pair<QTimer*, QString> timers[] = {{window->selectionTimer, "Select"},
                                                          {window->checkCalibTimer, "Calibrate"},
                                                          {window->calibDetailTimer, "Calibration Details"},
                                                          {window->encoderGuiUpdateTimer, "Read Encoder"},
                                                          {window->ampsGuiUpdateTimer, "Cycle Amps"},
                                                          {window->tempGuiUpdateTimer, "Test Forces"},
                                                          {window->forceCheckTimer, "Test Forces"},
                                                          {window->forceProgressTimer, "Box Test"},
                                                          {window->servoRateGraphicTimer, "Servoloop"}};
            for (const auto& timer : timers)
                timer.first->start(100000);
            device().forcesEnabled = true;
            go(tab);
            QVERIFY(!device().forcesEnabled);
            QCOMPARE(device().of({"enable_tharlen_velocity_check"}).back().values[1], double(tab != "Calibrate"));
            QVERIFY(!startCalibTest || tab == "Calibrate");
            QVERIFY(!startEncoderTest && !startServoTest && startBoxTest == (tab == "Box Test"));
            for (const auto& [timer, of] : timers)
                QVERIFY2(timer->isActive() == (tab == of), qPrintable(of));
            QCOMPARE(ui().gain_slider->value(), 0);
            QVERIFY(tab == "Test Forces" || (ui().slider_TZ->value() == 0 && window->m_forceToSend[5] == 0.0f));
        }
    }

    // The space key resets on "Calibrate" where the line has that, though Next was clicked last; else it presses Next.
    void spaceKey() {
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        go("Select");
        for (const int index : {1, 3, 0, 2}) {  // a Stelmar, a Nolva, an Orda, a Corvale
            const bool resets = index % 2;
            ui().m_cmbTHARLeN->setCurrentIndex(index);
            device().calls.clear();
            QTest::mouseClick(ui().next_button, Qt::LeftButton);
            QTest::keyClick(window.get(), Qt::Key_Return);
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
            QCOMPARE(tabTexts(*window)[ui().tabWidget->currentIndex()], QString(resets ? "Calibrate" : "Read Encoder"));
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            QVERIFY(!resets || ui().tab_2->isAncestorOf(QApplication::focusWidget()));
            go(resets ? "Read Encoder" : "Calibrate");
            window->setFocusProxy(nullptr);
            QTest::keyClick(window.get(), Qt::Key_Space);
            QCOMPARE(device().count("tharlen_reset"), resets ? 1 : 0);
            go("Select");
        }
    }

    void pagesStartAndStopTheirScenes() {
        enterMode(NOLVA_ADVANCED_WORD, false, false);
        go("Select", "Performance Testing");
        const auto page = [this](const char* text) { QVERIFY(goToPage(*window, text)); };
        page("Passivity Test");
        QVERIFY(startPassivityTest && !startFiltersTest);
        QVERIFY(window->passivityBoxRenderer->graphicTimer->isActive());
        QCOMPARE(ui().stackedWidget->currentIndex(), 4);
        page("Filters Test");
        QVERIFY(!startPassivityTest && startFiltersTest);
        QVERIFY(window->forceProgressTimer->isActive() && window->forceProgressTimer->interval() == 5);
        page("Resolution Test");
        QVERIFY(!startFiltersTest && !window->forceProgressTimer->isActive());
        page("Force Test");
        QVERIFY(window->tempGuiUpdateTimer->isActive() && window->tempGuiUpdateTimer->interval() == 1000);
        device().calls.clear();
        page("Workspace Test");
        QVERIFY(!window->tempGuiUpdateTimer->isActive());
        QCOMPARE(device().count("disable_tharlen_forces"), 2);
        window->changePage(nullptr, ui().listWidget->item(4));
        QVERIFY(startPassivityTest);
    }
};

QTEST_MAIN(TestWizard)
#include "tst_wizard.moc"
