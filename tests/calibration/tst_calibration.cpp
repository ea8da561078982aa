// The calibration tabs on the stand-in: styles, counters, flags, details and the calibration file.
#include <QTemporaryDir>

#include "restyle.h"
#include "standinwindow.h"

class TestCalibration : public StandinWindow {
    Q_OBJECT

    QTemporaryDir home;

    void open(unsigned long type, unsigned long card, int supported, int grip = 0) {
        CTHARLeNDevice arm = record("Arm", type, card), odd = record("<b>Odd</b>", 2);
        arm.m_nExtra6DOFOption = grip;
        odd.m_nExtra6DOFOption = 2;
        openFleet({arm, odd}, [=] {
            device().result = {{"is_calibration_supported", supported},
                               {"is_tharlen_reset_supported", supported == 0},
                               {"tharlen_check_for_pinch", grip},
                               {"tharlen_which_pinch", grip},
                               {"get_inkwell_switch", type == 9 ? 0 : 1}};  // not docked
        });
        go("Calibrate");
        window->checkCalibTimer->setInterval(1000000);
    }
    void choose(int index) {
        go("Select");
        ui().m_cmbTHARLeN->setCurrentIndex(index);
        go("Calibrate");
    }
    void ticks(int count) {
        for (int i = 0; i < count; ++i)
            window->updateOrdaCorvaleCalib();
    }
    QString prompts() const { return ui().calibrate_textbrowser2->toPlainText(); }
    void flags(int axis, int nFlags, int nGaps) {
        device().calibration.GetAxisSensorData()[axis].nFlags = nFlags;
        device().calibration.GetAxisSensorData()[axis].nGaps = nGaps;
    }

private slots:
    void init() {
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QDir(home.path()).mkpath("config");
    }

    void eachStyleHasItsScreen() {
        const std::tuple<unsigned long, unsigned long, int, const char*, const char*, const char*> rows[] = {
            {3, 7, 1, "/corvale_calibration_illustration.png", "&CALIBRATE ", "arm from left to right"},
            {5, 7, 2, "/nolva2_calibration_illustration.png", "CALIBRATE ?", "INKWELL calibrates when the heel"},
            {5, 6, 2, "/nolva_calirbration_illustration.png", "CALIBRATE ?", "INKWELL calibrates when the heel"},
            {9, 7, 2, "/Nolva_calibration_Illustration.png", "CALIBRATE ?", "may take up to a second"},
            {2, 1, 0, "", "&CALIBRATE ", "RESET type calibration.\nPlease Hold"}};
        for (const auto& [type, card, supported, picture, button, prompt] : rows) {
            open(type, card, supported);
            QCOMPARE(ui().frame11->isHidden(), supported == 0);
            QVERIFY(supported == 0 || ui().frame11->styleSheet().contains(picture));
            QCOMPARE(ui().calibrate_button->text(), QString(button));
            QCOMPARE(ui().calibrate_button->isEnabled(), type != 3);
            QVERIFY2(prompts().contains(prompt), qPrintable(prompts()));
            QCOMPARE(ui().X_HOME->isHidden(), type != 3);
            QVERIFY(startCalibTest == (supported != 0) && bResetCalib && window->checkCalibTimer->isActive());
            QCOMPARE(device().calibration.discards, 1);
            go("Read Encoder");
            QVERIFY(!startCalibTest && !window->checkCalibTimer->isActive());
            // What the button says of one calibration does not outlive it.
            ui().calibrate_button->setText("CALIBRATION DONE");
            go("Calibrate");
            QCOMPARE(ui().calibrate_button->text(), QString(button));
        }
    }

    // The ticks in the well add up, over visits to it and to the tab, and begin anew once they have made a calibration.
    void inkwellCountsInTotal() {
        for (const auto& [type, docked, needed] : {std::tuple{5UL, 0, 50}, {9UL, 1, 5}}) {
            open(type, 7, 2);
            window->manufMode = true;
            for (int calibration = 0; calibration < 2; ++calibration) {
                window->repData->bCalibrationPass = false;
                device().result["get_inkwell_switch"] = docked;
                ticks(needed - 2);
                device().result["get_inkwell_switch"] = !docked;
                ticks(100);
                choose(0);
                device().result["get_inkwell_switch"] = docked;
                ticks(1);
                QVERIFY(!window->repData->bCalibrationPass);
                ticks(1);
                QVERIFY(window->repData->bCalibrationPass && !window->checkCalibTimer->isActive());
                QCOMPARE(ui().calibrate_button->text(), QString("CALIBRATION DONE !"));
                QVERIFY(prompts().endsWith("Nolva calibration successfully updated."));
                QVERIFY(tabTexts(*window).contains("Read Encoder") && ui().next_button->isEnabled());
                QCOMPARE(bool(startCalibTest), type == 5);
            }
        }
    }

    // Which axes are found by flags and gaps, for each hardware revision.
    void homeFlags() {
        const std::tuple<int, int, int, int, int, bool, bool> rows[] = {
            {1, 1, 0, 1, 0, true, true},  {8, 1, 0, 2, 0, true, true},   {8, 0, 2, 1, 0, false, true},
            {7, 3, 1, 1, 0, false, true}, {7, 2, 2, 1, 0, false, true},  {2, 3, 2, 1, 0x0F, true, true},
            {7, 3, 2, 2, 0, true, false}, {2, 3, 2, 1, 0x10, true, true}};
        for (const auto& [revision, flagsX, gapsX, flagsZ, status, foundX, foundZ] : rows) {
            const bool pass = foundX && foundZ && status != 0x10;
            open(3, 7, 1);
            device().result["get_hardware_rev"] = revision;
            device().calibrationStatus = status;
            flags(0, flagsX, gapsX);
            flags(1, 3, 2);
            flags(2, flagsZ, 0);
            ticks(1);
            QCOMPARE(ui().X_HOME->text(), QString(foundX ? "X HOME FOUND" : "SEARCHING.."));
            QCOMPARE(ui().Y_HOME->text(), QString("Y HOME FOUND"));
            QCOMPARE(ui().Z_HOME->text(), QString(foundZ ? "Z HOME FOUND" : "SEARCHING.."));
            QCOMPARE(window->repData->bCalibrationPass, pass);
            QCOMPARE(ui().calibrate_button->text(), QString(pass ? "CALIBRATION DONE" : "&CALIBRATE "));
            QCOMPARE(window->checkCalibTimer->isActive(), !pass);
            QCOMPARE(device().count("update_calibration"), 0);
            device().calibrationStatus = kCalibrationNeeded;
            ticks(1);
            QCOMPARE(device().count("update_calibration"), 1);
        }
    }

    void calibrateButton() {
        const std::tuple<unsigned long, int, int, const char*, bool> rows[] = {
            {5, 2, -1, "Forced the Calibration update for Orda..", true},
            {9, 2, -1, "Forced the Calibration update for Nolva..", true},
            {2, 0, 0, "Tharlen successfully underwent RESET calibration.\n", true},
            {2, 0, -1, "Error encountered during RESET calibration procedure.\n ", false},
            {3, 1, 0, "", false}};
        for (const auto& [type, supported, status, text, pass] : rows) {
            open(type, 7, supported);
            window->onClickCalibrateButton();
            device().result["tharlen_reset"] = device().result["update_calibration"] = status;
            ui().calibrate_textbrowser2->clear();
            ui().calibrate_button->setEnabled(true);
            ui().calibrate_button->click();
            QCOMPARE(prompts(), QString(text));
            QCOMPARE(window->repData->bCalibrationPass, pass);
            const bool green = supported == 0 && pass;
            QCOMPARE(ui().calibrate_button->styleSheet(), QString(green ? kPassStyle : kNotYetStyle));
        }
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
        QVERIFY(device().calls.empty() && !window->repData->bCalibrationPass);
    }

    // A device of no known style shows the button alone, whatever was calibrated before it.
    void nothingOfTheDeviceBefore() {
        for (const int supported : {1, 0}) {
            open(3, 7, 1, 1);
            const QPushButton &button = *ui().calibrate_button, &grip = *ui().pinch_calibrate_button;
            for (int axis = 0; axis < 3; ++axis)
                flags(axis, 1, 0);
            device().result["is_pinch_calibrated"] = 1;
            choose(0);
            ticks(1);
            QVERIFY(button.styleSheet() == kPassStyle && grip.styleSheet() == kPassStyle);
            device().result["is_calibration_supported"] = supported;
            device().result["is_pinch_calibrated"] = 0;
            device().model = "<i>M";
            choose(1);
            for (const char* part : {"frame11", "X_HOME", "Y_HOME", "Z_HOME"})
                QVERIFY(window->findChild<QWidget*>(part)->isHidden());
            QVERIFY(button.isEnabled() && looks(&button) == QString("&CALIBRATE ") + kNotYetStyle);
            QVERIFY(grip.styleSheet().isEmpty());
            QVERIFY(ui().calibrate_textbrowser1->toPlainText().endsWith("<b>Odd</b>\nDevice model type: <i>M"));
        }
    }

    // Two presses of the key of the prompts: kind 1 reads high when closed, any other low. Where a grip waits for it,
    // and another device's grip from its first end on.
    void grips() {
        open(4, 7, 0, 1);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        const QPushButton& button = *ui().pinch_calibrate_button;
        const auto press = [this](double reading) {
            window->m_pinchValue = reading;
            QTest::keyClick(window.get(), Qt::Key_P, Qt::AltModifier);
        };
        QVERIFY(startPinchCalibration && button.text() == "CLOSE THUMBPAD AND CLICK");
        press(900.7);
        QKeyEvent held(QEvent::KeyPress, Qt::Key_P, Qt::AltModifier, "p", true);
        QCoreApplication::sendEvent(window.get(), &held);
        QCOMPARE(button.text(), QString("OPEN THUMBPAD AND CLICK"));
        go("Read Encoder");
        press(0);
        device().result["tharlen_which_pinch"] = 2;
        choose(1);
        QCOMPARE(button.text(), QString("CLOSE SCISSOR AND CLICK"));
        for (int attempt = 0; attempt < 2; ++attempt) {  // the device did not take the first one
            press(100.2);
            QCOMPARE(button.text(), QString("OPEN SCISSOR AND CLICK"));
            press(900.7);
            QVERIFY(prompts().endsWith("Scissor successfully calibrated"));
        }
        device().result["is_pinch_calibrated"] = 1;
        press(0);
        QCOMPARE(button.text(), QString("SCISSOR IS CALIBRATED"));
        device().result["is_pinch_calibrated"] = 0;
        device().result["tharlen_which_pinch"] = 1;
        choose(0);
        press(900.7);
        press(100.2);
        QVERIFY(prompts().endsWith("Thumbpad successfully calibrated"));
        const auto set = device().of({"set_pinch_limits"});
        QCOMPARE(set.size(), std::size_t(3));
        for (const standin::Call& limits : set)
            QVERIFY(limits.values[1] == 100 && limits.values[2] == 900);
    }

    // The file goes where it is there; the stored calibration is discarded in either case.
    void losingTheCalibration() {
        open(5, 7, 2);
        QFile file(home.filePath("config/THARLeN Calibration (Arm)"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        ui().loseCalib_button->click();
        QVERIFY(!file.exists());
        QCOMPARE(ui().calibFileStatus->text(), QString("Successfully deleted file :"));
        window->onClickLoseCalibration();
        QCOMPARE(ui().calibFileStatus->text(), QString("Could not delete calibration file :"));
        qunsetenv("KNDD_HOME");
        ui().calibFileStatus->clear();
        device().loopRunning = false;
        window->onClickLoseCalibration();
        QVERIFY(ui().calibFileStatus->text().isEmpty() && !bResetCalib && device().loopRunning);
        QCOMPARE(device().calibration.discards, 4);
        // The other button reads its result the other way round.
        ui().updateCalib_button->click();
        QCOMPARE(ui().calibFileStatus->text(), QString("Error encountered when updating calibration for Arm"));
        device().result["update_calibration"] = 1;
        ui().updateCalib_button->click();
        QCOMPARE(ui().calibFileStatus->text(), QString("Updated the calibration."));
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
        window->m_cdCorvale.axswlWidthLimits[0].aswlFlagLimits[0] = {40, 60};
        SENSOR_DATA flag{100, 140, 40, 250, -7}, wide{0, 61, 61, 9, 9};
        SENSOR_DATA gap{0, 9999, 9999, 4999, 3};
        AXIS_SENSOR_DATA* axes = device().calibration.GetAxisSensorData();
        axes[0] = {3, 2, {&flag, nullptr, &wide}, {nullptr, &gap, nullptr}};
        auto& port = device().connection.m_portInput;
        port.ucMiscIn = 0x10 | 0x40;
        port.usQuad0 = 77;
        port.usQuad1 = 88;
        port.usQuad2 = 99;
        port.ucSpeedErrs = 0x25;
        enter(ui().tab_4, "Calibration Details");
        window->calibDetailTimer->setInterval(1000000);
        window->updateCalibrationData();
        const QString expected =
            "Counter:\t\t0.02 seconds\nKnown calibration:\t10\t11\t12\t\n"
            "New calibration:\t\t-20\t-21\t-22\t\nIncorrect offsets:\tNo\tYes\tNo\t\n"
            "Calibration status:\t0xF0\n\nX axis\nFound 3 flag(s)\n"
            "    Flag 1: start 100, stop 140, width 40, mid. 250, vel. -7 (valid)\n"
            "    Flag 3: start 0, stop 61, width 61, mid. 9, vel. 9 (invalid)\n"
            "Found 2 gap(s)\n"
            "    Gap 2: start 0, stop 9999, width 9999, mid. 4999, vel. 3 (invalid)\n\n"
            "Y axis\nFound 0 flag(s)\nFound 0 gap(s)\n\nZ axis\nFound 0 flag(s)\n";
        QCOMPARE(ui().calibDetails_textBox1->toPlainText(), expected);
        const QString second = ui().calibDetails_textBox2->toPlainText();
        for (const char* part :
             {"X axis home sensor: ON 77\nY axis home sensor: OFF 88\nZ axis home sensor: OFF 99\n",
              "Speed errors: 0x20\n      X axis overspeed: OK\n", "      Z axis overspeed: ERR\n",
              "Overcurrent: OK\nWatchdog jumper: Not in place\nWatchdog: OK\n\nHardware revision: 0x05\n"})
            QVERIFY2(second.contains(part), part);
        QVERIFY(window->m_rd.asdData[0].psdFlagData[0]->lWidth == 40);
        go("Select");
        QVERIFY(window->bFlagPassRev7[0] && !window->bFlagPassRev7[1] && !window->bFlagPassRev7[2]);
        QVERIFY(!window->bGapPass[1] && !window->calibDetailTimer->isActive());
        QVERIFY(window->rev7FlagDataString[1].endsWith("     Flag 1 not detected               "));
        // Other revisions have one flag, the second of X and Y and the first of Z.
        device().result["get_hardware_rev"] = 8;
        SENSOR_DATA good{0, 0, window->m_cdCorvale.axswlWidthLimits[1].aswlFlagLimits[1].lMaxWidth, 0, 0};
        for (int axis = 0; axis < 3; ++axis) {
            axes[axis].psdFlagData[0] = axis == 0 ? &gap : &good;
            axes[axis].psdFlagData[1] = axis == 0 ? &good : &gap;
        }
        window->verifyFlagGapWidth();
        QVERIFY(window->bFlagPass[0] && !window->bFlagPass[1] && window->bFlagPass[2]);
        // Other models have none.
        open(5, 7, 2);
        window->manufMode = true;
        enter(ui().tab_4, "Calibration Details");
        QCOMPARE(ui().calibDetails_textBox1->toPlainText(),
                 QString("This test is not valid for the device selected.\nPlease move on to the next test."));
        QVERIFY(!ui().loseCalib_button->isEnabled() && !window->calibDetailTimer->isActive());
    }
};

QTEST_MAIN(TestCalibration)
#include "tst_calibration.moc"
