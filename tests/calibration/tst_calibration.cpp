// The calibration tabs on the stand-in: styles, counters, flags, details and the calibration file.
#include <sys/wait.h>
#include <unistd.h>
#include <QTemporaryDir>
#include <csignal>

#include "restyle.h"
#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

class TestCalibration : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::unique_ptr<qtTharlenTest> window;

    void open(unsigned long type, unsigned long card, int supported, int grip = 0) {
        window.reset();
        standin::reset();
        resetSharedState();
        CTHARLeNDevice arm = record("Arm", type, card);
        arm.m_nExtra6DOFOption = grip;
        device().fleet = {arm, record("<b>Odd</b>", 2)};
        device().fleet[1].m_nExtra6DOFOption = 2;
        device().result["is_calibration_supported"] = supported;
        device().result["is_tharlen_reset_supported"] = supported == 0;
        device().result["tharlen_check_for_pinch"] = grip;
        device().result["tharlen_which_pinch"] = grip;
        device().result["get_inkwell_switch"] = type == 9 ? 0 : 1;  // not docked
        window = openWindow();
        goToTab(*window, "Calibrate");
        window->checkCalibTimer->setInterval(1000000);
    }
    void choose(int index) {
        goToTab(*window, "Select");
        window->ui.m_cmbTHARLeN->setCurrentIndex(index);
        goToTab(*window, "Calibrate");
    }
    void ticks(int count) {
        for (int i = 0; i < count; ++i)
            window->updateOrdaCorvaleCalib();
    }
    QString prompts() const { return window->ui.calibrate_textbrowser2->toPlainText(); }
    void flags(int axis, int nFlags, int nGaps) {
        device().calibration.GetAxisSensorData()[axis].nFlags = nFlags;
        device().calibration.GetAxisSensorData()[axis].nGaps = nGaps;
    }

private slots:
    void init() {
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QDir(home.path()).mkpath("config");
    }
    void cleanup() { window.reset(); }

    void eachStyleHasItsScreen_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("card");
        QTest::addColumn<int>("supported");
        QTest::addColumn<QString>("picture");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<bool>("homes");
        const QString well =
            "This Device model INKWELL calibrates when the heel of the moving arm is placed in the "
            "receptacle at the base of the unit  (the 'ink well').";
        QTest::newRow("auto") << 3 << 7 << 1 << "corvale_calibration_illustration.png"
                              << "&CALIBRATE "
                              << "Please slowly move the arm from left to right" << true;
        QTest::newRow("Orda USB") << 5 << 7 << 2 << "nolva2_calibration_illustration.png"
                                  << "CALIBRATE ?" << well << false;
        QTest::newRow("Orda LAN") << 5 << 6 << 2 << "nolva_calirbration_illustration.png"
                                  << "CALIBRATE ?" << well << false;
        QTest::newRow("Nolva") << 9 << 7 << 2 << "Nolva_calibration_Illustration.png"
                               << "CALIBRATE ?" << well + " Calibration may take up to a second" << false;
        QTest::newRow("reset") << 2 << 1 << 0 << ""
                               << "&CALIBRATE "
                               << "This Tharlen model undergoes RESET type calibration.\nPlease Hold" << false;
    }
    void eachStyleHasItsScreen() {
        QFETCH(int, type);
        QFETCH(int, card);
        QFETCH(int, supported);
        QFETCH(QString, picture);
        QFETCH(QString, prompt);
        QFETCH(bool, homes);
        open(type, card, supported);
        QCOMPARE(window->ui.frame11->isHidden(), picture.isEmpty());
        if (!picture.isEmpty())
            QCOMPARE(window->ui.frame11->styleSheet(),
                     QString("* { border-image: url(:/qtTharlenTest/Resources/%1); }").arg(picture));
        QTEST(window->ui.calibrate_button->text(), "button");
        QCOMPARE(window->ui.calibrate_button->isEnabled(), type != 3);
        QVERIFY2(prompts().contains(prompt), qPrintable(prompts()));
        QCOMPARE(window->ui.X_HOME->isHidden(), !homes);
        QCOMPARE(bool(startCalibTest), supported != 0);
        QCOMPARE(device().calibration.discards, 1);
        QVERIFY(bResetCalib && window->checkCalibTimer->isActive());
        goToTab(*window, "Read Encoder");
        QVERIFY(!startCalibTest && !window->checkCalibTimer->isActive());
        // What the button says of one calibration does not outlive it.
        window->ui.calibrate_button->setText("CALIBRATION DONE");
        goToTab(*window, "Calibrate");
        QTEST(window->ui.calibrate_button->text(), "button");
    }

    // The ticks in the well add up, over visits to it and to the tab.
    void inkwellCountsInTotal_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("docked");
        QTest::addColumn<int>("needed");
        QTest::newRow("Orda") << 5 << 0 << 50;
        QTest::newRow("Nolva") << 9 << 1 << 5;
    }
    void inkwellCountsInTotal() {
        QFETCH(int, type);
        QFETCH(int, docked);
        QFETCH(int, needed);
        open(type, 7, 2);
        window->manufMode = true;
        device().result["get_inkwell_switch"] = docked;
        ticks(needed - 2);
        device().result["get_inkwell_switch"] = !docked;
        ticks(100);
        goToTab(*window, "Select");
        goToTab(*window, "Calibrate");
        device().result["get_inkwell_switch"] = docked;
        ticks(1);
        QVERIFY(!window->repData->bCalibrationPass);
        ticks(1);
        QVERIFY(window->repData->bCalibrationPass && !window->checkCalibTimer->isActive());
        QCOMPARE(window->ui.calibrate_button->text(), QString("CALIBRATION DONE !"));
        QVERIFY(prompts().endsWith("Nolva calibration successfully updated."));
        QVERIFY(tabTexts(*window).contains("Read Encoder") && window->ui.next_button->isEnabled());
        QCOMPARE(bool(startCalibTest), type == 5);
    }

    // Which axes are found by flags and gaps, for each hardware revision.
    void homeFlags_data() {
        QTest::addColumn<int>("revision");
        QTest::addColumn<int>("flagsX");
        QTest::addColumn<int>("gapsX");
        QTest::addColumn<int>("flagsZ");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("foundX");
        QTest::addColumn<bool>("pass");
        QTest::newRow("revision 1") << 1 << 1 << 0 << 1 << 0 << true << true;
        QTest::newRow("revision 8") << 8 << 1 << 0 << 2 << 0 << true << true;
        QTest::newRow("no flag") << 8 << 0 << 2 << 1 << 0 << false << false;
        QTest::newRow("revision 2") << 2 << 3 << 2 << 1 << 0 << true << true;
        QTest::newRow("one gap") << 7 << 3 << 1 << 1 << 0 << false << false;
        QTest::newRow("two flags on Z") << 7 << 3 << 2 << 2 << 0 << true << false;
        QTest::newRow("bit of the mask") << 2 << 3 << 2 << 1 << 0x10 << true << false;
        QTest::newRow("low bits") << 2 << 3 << 2 << 1 << 0x0F << true << true;
    }
    void homeFlags() {
        QFETCH(int, revision);
        QFETCH(int, flagsX);
        QFETCH(int, gapsX);
        QFETCH(int, flagsZ);
        QFETCH(int, status);
        QFETCH(bool, foundX);
        QFETCH(bool, pass);
        open(3, 7, 1);
        device().result["get_hardware_rev"] = revision;
        device().calibrationStatus = status;
        flags(0, flagsX, gapsX);
        flags(1, 3, 2);
        flags(2, flagsZ, 0);
        ticks(1);
        QCOMPARE(window->ui.X_HOME->text(), QString(foundX ? "X HOME FOUND" : "SEARCHING.."));
        QCOMPARE(window->repData->bCalibrationPass, pass);
        QCOMPARE(window->checkCalibTimer->isActive(), !pass);
        QCOMPARE(device().count("update_calibration"), 0);
        device().calibrationStatus = kCalibrationNeeded;
        ticks(1);
        QCOMPARE(device().count("update_calibration"), 1);
    }

    void calibrateButton_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("supported");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("pass");
        QTest::newRow("Orda") << 5 << 2 << -1 << "Forced the Calibration update for Orda.." << true;
        QTest::newRow("Nolva") << 9 << 2 << -1 << "Forced the Calibration update for Nolva.." << true;
        QTest::newRow("reset") << 2 << 0 << 0 << "Tharlen successfully underwent RESET calibration.\n" << true;
        QTest::newRow("refused") << 2 << 0 << -1 << "Error encountered during RESET calibration procedure.\n " << false;
        QTest::newRow("Corvale") << 3 << 1 << 0 << "" << false;
    }
    void calibrateButton() {
        QFETCH(int, type);
        QFETCH(int, supported);
        QFETCH(int, status);
        QFETCH(QString, text);
        QFETCH(bool, pass);
        open(type, 7, supported);
        window->onClickCalibrateButton();
        device().result["tharlen_reset"] = device().result["update_calibration"] = status;
        window->ui.calibrate_textbrowser2->clear();
        window->onClickCalibrateButton();
        QCOMPARE(prompts(), text);
        QCOMPARE(window->repData->bCalibrationPass, pass);
        const bool green = supported == 0 && pass;
        QCOMPARE(window->ui.calibrate_button->styleSheet(), QString(green ? kPassStyle : kNotYetStyle));
    }

    void nothingHappensWithoutAHandle() {
        open(9, 7, 2);
        window->csTharlenID = -1;
        device().calls.clear();
        device().result["get_inkwell_switch"] = 1;
        ticks(5);
        for (const char* slot : {"onClickCalibrateButton", "onClickCalibrate", "onClickCalibratePinch",
                                 "onClickLoseCalibration", "onClickUpdateCalibration"})
            QVERIFY(QMetaObject::invokeMethod(window.get(), slot));
        QTest::keyClick(window.get(), Qt::Key_Space);
        QCOMPARE(device().namesOf({"update_calibration", "tharlen_reset", "get_inkwell_switch", "set_pinch_limits",
                                   "get_connection_data", "stopServoLoop"}),
                 std::vector<std::string>());
        QVERIFY(!window->repData->bCalibrationPass);
    }

    // A device of no known style shows the button alone, whatever was calibrated before it.
    void nothingOfTheDeviceBefore_data() {
        QTest::addColumn<int>("supported");
        QTest::newRow("no known model") << 1;
        QTest::newRow("neither style") << 0;
    }
    void nothingOfTheDeviceBefore() {
        QFETCH(int, supported);
        open(3, 7, 1, 1);
        for (int axis = 0; axis < 3; ++axis)
            flags(axis, 1, 0);
        device().result["is_pinch_calibrated"] = 1;
        choose(0);
        ticks(1);
        auto& ui = window->ui;
        QCOMPARE(ui.calibrate_button->styleSheet(), QString(kPassStyle));
        QCOMPARE(ui.pinch_calibrate_button->styleSheet(), QString(kPassStyle));
        device().result["is_calibration_supported"] = supported;
        device().result["is_pinch_calibrated"] = 0;
        device().model = "<i>M";
        choose(1);
        for (const QWidget* hidden : std::initializer_list<QWidget*>{ui.frame11, ui.X_HOME, ui.Y_HOME, ui.Z_HOME})
            QVERIFY(hidden->isHidden());
        QVERIFY(ui.calibrate_button->isEnabled());
        QCOMPARE(ui.calibrate_button->text(), QString("&CALIBRATE "));
        QCOMPARE(ui.calibrate_button->styleSheet(), QString(kNotYetStyle));
        QCOMPARE(ui.pinch_calibrate_button->styleSheet(), QString());
        QCOMPARE(ui.calibrate_textbrowser1->toPlainText(),
                 QString("You have chosen the following device profile for testing: <b>Odd</b>\nDevice model type: "
                         "<i>M"));
    }

    // Two presses by name: kind 1 reads high when closed, any other low.
    void pinchLimits() {
        for (const int kind : {1, 2}) {
            open(4, 7, 0, kind);
            QVERIFY(startPinchCalibration);
            QCOMPARE(window->ui.pinch_calibrate_button->text(),
                     QString(kind == 1 ? "CLOSE THUMBPAD AND CLICK" : "CLOSE SCISSOR AND CLICK"));
            for (const double reading : {kind == 1 ? 900.7 : 100.2, kind == 1 ? 100.2 : 900.7}) {
                window->m_pinchValue = reading;
                QVERIFY(QMetaObject::invokeMethod(window.get(), "onClickCalibratePinch"));
            }
            const double id = window->csTharlenID;
            QCOMPARE(device().of({"set_pinch_limits"}).at(0).values, (std::vector<double>{id, 100, 900}));
            QVERIFY(
                prompts().endsWith(kind == 1 ? "Thumbpad successfully calibrated" : "Scissor successfully calibrated"));
        }
    }

    // The key of the prompts: where a grip waits for it, and another device's grip from its first end on.
    void altP() {
        open(4, 7, 0, 1);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        const QPushButton& button = *window->ui.pinch_calibrate_button;
        const auto press = [this] { QTest::keyClick(window.get(), Qt::Key_P, Qt::AltModifier); };
        press();
        QKeyEvent held(QEvent::KeyPress, Qt::Key_P, Qt::AltModifier, "p", true);
        QCoreApplication::sendEvent(window.get(), &held);
        QCOMPARE(button.text(), QString("OPEN THUMBPAD AND CLICK"));
        goToTab(*window, "Read Encoder");
        press();
        choose(1);
        press();
        QCOMPARE(button.text(), QString("OPEN SCISSOR AND CLICK"));
        QCOMPARE(device().count("set_pinch_limits"), 0);
        press();
        device().result["is_pinch_calibrated"] = 1;
        press();
        QCOMPARE(button.text(), QString("SCISSOR IS CALIBRATED"));
        QCOMPARE(device().count("set_pinch_limits"), 1);
    }

    // The file goes where it is there; the stored calibration is discarded in either case.
    void losingTheCalibration() {
        open(5, 7, 2);
        const QString path = home.filePath("config/THARLeN Calibration (Arm)");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        window->onClickLoseCalibration();
        QVERIFY(!QFile::exists(path));
        QCOMPARE(window->ui.calibFileStatus->text(), QString("Successfully deleted file :"));
        window->onClickLoseCalibration();
        QCOMPARE(window->ui.calibFileStatus->text(), QString("Could not delete calibration file :"));
        qunsetenv("KNDD_HOME");
        window->ui.calibFileStatus->clear();
        device().loopRunning = false;
        window->onClickLoseCalibration();
        QCOMPARE(window->ui.calibFileStatus->text(), QString());
        QVERIFY(!bResetCalib && device().loopRunning);
        QCOMPARE(device().calibration.discards, 4);
    }

    void updateButtonReadsItsResultTheOtherWay() {
        open(3, 7, 1);
        window->onClickUpdateCalibration();
        QCOMPARE(window->ui.calibFileStatus->text(), QString("Error encountered when updating calibration for Arm"));
        device().result["update_calibration"] = 1;
        window->onClickUpdateCalibration();
        QCOMPARE(window->ui.calibFileStatus->text(), QString("Updated the calibration."));
        QVERIFY(device().loopRunning);
    }

    // The details of one tick, to the byte, and the verdicts taken at leaving.
    void details() {
        open(3, 7, 1);
        window->manufMode = true;
        device().result["get_hardware_rev"] = 5;
        device().calibrationStatus = 0x1F0;
        for (int axis = 0; axis < 3; ++axis)
            device().calibration.set(axis, 10 + axis, -20 - axis, axis == 1);
        const SENSOR_WIDTH_LIMIT limit = window->m_cdCorvale.axswlWidthLimits[0].aswlFlagLimits[0];
        SENSOR_DATA flag{100, 100 + limit.lMinWidth, limit.lMinWidth, 250, -7};
        SENSOR_DATA gap{0, 9999, 9999, 4999, 3};
        AXIS_SENSOR_DATA* axes = device().calibration.GetAxisSensorData();
        axes[0] = {3, 2, {&flag, nullptr, nullptr}, {nullptr, &gap, nullptr}};
        device().connection.m_portInput.ucMiscIn = 0x10 | 0x40;
        device().connection.m_portInput.usQuad0 = 77;
        device().connection.m_portInput.ucSpeedErrs = 0x25;
        window->ui.tabWidget->addTab(window->ui.tab_4, "Calibration Details");
        goToTab(*window, "Calibration Details");
        window->calibDetailTimer->setInterval(1000000);
        window->updateCalibrationData();
        const QString first = window->ui.calibDetails_textBox1->toPlainText();
        const QString expected = QString(
                                     "Counter:\t\t0.02 seconds\nKnown calibration:\t10\t11\t12\t\n"
                                     "New calibration:\t\t-20\t-21\t-22\t\nIncorrect offsets:\tNo\tYes\tNo\t\n"
                                     "Calibration status:\t0xF0\n\nX axis\nFound 3 flag(s)\n"
                                     "    Flag 1: start 100, stop %1, width %2, mid. 250, vel. -7 (valid)\n"
                                     "Found 2 gap(s)\n"
                                     "    Gap 2: start 0, stop 9999, width 9999, mid. 4999, vel. 3 (invalid)\n\n"
                                     "Y axis\nFound 0 flag(s)\nFound 0 gap(s)\n\nZ axis\nFound 0 flag(s)\n")
                                     .arg(100 + limit.lMinWidth)
                                     .arg(limit.lMinWidth);
        QCOMPARE(first, expected);
        const QString second = window->ui.calibDetails_textBox2->toPlainText();
        QVERIFY(second.startsWith("X axis home sensor: ON 77\nY axis home sensor: OFF 0\n"));
        QVERIFY(
            second.contains("Speed errors: 0x20\n      X axis overspeed: OK\n      Y axis overspeed: OK\n"
                            "      Z axis overspeed: ERR\n      Overcurrent: OK\nWatchdog jumper: Not in place\n"
                            "Watchdog: OK\n\nHardware revision: 0x05\n"));
        QVERIFY(window->m_rd.asdData[0].psdFlagData[0]->lWidth == limit.lMinWidth);
        goToTab(*window, "Select");
        QVERIFY(window->bFlagPassRev7[0] && !window->bFlagPassRev7[1] && !window->bGapPass[1]);
        QCOMPARE(window->rev7FlagDataString[1],
                 QString::fromLatin1("    \xc2\xb7     Flag 1 not detected               "));
        QVERIFY(!window->calibDetailTimer->isActive());
    }

    void detailsOfOtherModels() {
        open(5, 7, 2);
        window->manufMode = true;
        window->ui.tabWidget->addTab(window->ui.tab_4, "Calibration Details");
        goToTab(*window, "Calibration Details");
        for (const char* slot : {"PrepareOutputString1", "PrepareOutputString2", "PrepareOutputString3",
                                 "verifyFlagGapWidth", "onCalibrationDetailTab"})
            QVERIFY(QMetaObject::invokeMethod(window.get(), slot));
        QCOMPARE(window->ui.calibDetails_textBox1->toPlainText(),
                 QString("This test is not valid for the device selected.\nPlease move on to the next test."));
        QVERIFY(!window->ui.loseCalib_button->isEnabled() && !window->calibDetailTimer->isActive());
    }

    // In every build: a release has no Q_ASSERT.
    void anAxisThatIsNoneStopsTheProcess() {
        open(3, 7, 1);
        for (const int axis : {-1, 3}) {
            const pid_t child = fork();
            if (child == 0) {
                std::signal(SIGABRT, SIG_DFL);
                qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
                window->isFlagGapValid(device().calibration.GetAxisSensorData(), axis, 0, SENSOR_TOKEN(7));
                _exit(0);
            }
            int status = 0;
            QCOMPARE(waitpid(child, &status, 0), child);
            QVERIFY(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
        }
    }
};

QTEST_MAIN(TestCalibration)
#include "tst_calibration.moc"
