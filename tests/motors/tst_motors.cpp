// The "Cycle Amps" and "Test Forces" tabs tick by tick.
#include <QMessageBox>
#include <array>
#include <limits>

#include "motorsoff.h"
#include "restyle.h"
#include "standinwindow.h"

class TestMotors : public StandinWindow {
    Q_OBJECT

    void open(unsigned long type, bool manufacturing, const char* tab, const char* model = "THARLEN Orda") {
        CTHARLeNDevice arm = record("Arm", type, 7);
        arm.m_dR1 = arm.m_dR2 = arm.m_dR3 = arm.m_dR4 = 10;
        openFleet({arm}, [=] { device().model = model; });
        window->manufMode = manufacturing;
        enter(QString(tab) == "Cycle Amps" ? ui().tab_6 : ui().tab_7, tab);
        device().calls.clear();
        ui().next_button->setEnabled(false);
    }
    /// A tick of the amplifier test with its pair of switches.
    void cycle(int fault = 0) {
        device().result["unfiltered_device_fault"] = fault;
        window->onCycleAmpsTab();
        window->disableAmplifiers();
        window->enableAmplifiers();
    }
    QString box() const { return ui().cycleAmps_textBox->toPlainText(); }
    bool opened(const char* tab) const { return ui().next_button->isEnabled() && tabTexts(*window).contains(tab); }
    std::array<QSlider*, 6> allSliders() const {
        return {ui().slider_X, ui().slider_Y, ui().slider_Z, ui().slider_TX, ui().slider_TY, ui().slider_TZ};
    }
    void setSliders(int value) {
        for (QSlider* slider : allSliders())
            slider->setValue(value);
    }
    /// Holds the sliders there until the labels showed it and the check has seen it.
    void drive(int value) {
        setSliders(value);
        window->updateForceDisplay();
        window->checkForcePass();
    }
    void answer(std::initializer_list<QRadioButton*> buttons) {
        for (QRadioButton* button : buttons)
            button->setChecked(true);
        window->checkForcePass();
    }

private slots:
    // Cycling goes on after the pass and says nothing more. The fault line of amplifiers that stay off, or of a device
    // that does not answer, may be clean: then a line stands beside it.
    void passComesWithTheSixthTick() {
        const std::tuple<bool, int, int, const char*> rows[] = {
            {false, 0, 0, ""},
            {true, 0, 0, "\nPASS"},
            {true, 0, -4, "\nPASS\nNote: the amplifiers never came on while they were to be cycled."},
            {true, -5, 0, "\nPASS\nNote: the device did not answer while its amplifiers were to be cycled."}};
        for (const auto& [manufacturing, answer, enabling, text] : rows) {
            open(5, manufacturing, "Cycle Amps");
            device().result["enable_tharlen_forces_no_wait"] = enabling;
            device().result["update_tharlen"] = answer;
            QCOMPARE(window->ampsGuiUpdateTimer->interval(), 2000);
            QCOMPARE(looks(ui().amp_status_button), QString("NULL"));
            for (int pair = 1; pair <= 7; ++pair) {
                QVERIFY(pair == 7 || (box().isEmpty() && !window->repData->bAmplifierPass));
                cycle();
                for (int i = 0; i < 100; ++i)
                    tick();
            }
            QCOMPARE(box(), QString("The device amplifiers are OK") + text);
            QCOMPARE(ui().device_fault_button->text(), QString("NO"));
            QVERIFY(window->repData->bAmplifierPass == manufacturing && ui().next_button->isEnabled() == manufacturing);
            QCOMPARE(device().count("enable_tharlen_forces_no_wait"), 7);
            QCOMPARE(device().count("disable_tharlen_forces_no_wait"), 6);
            QCOMPARE(ui().amp_status_button->styleSheet(), QString(kPassStyle));
        }
    }

    // A fault fails at once and opens the way; a clean tick after enough cycles takes it back.
    void faultsComeAndGo() {
        open(5, true, "Cycle Amps");
        cycle(1);
        QVERIFY(opened("Test Forces") && !window->repData->bAmplifierPass);
        QCOMPARE(looks(ui().device_fault_button), QString("YES") + kFailStyle);
        for (int pair = 0; pair < 5; ++pair)
            cycle();
        QVERIFY(window->repData->bAmplifierPass);
        cycle(-4);
        QVERIFY(!window->repData->bAmplifierPass && box().isEmpty());
        cycle();
        QVERIFY(window->repData->bAmplifierPass && box().endsWith("PASS"));
    }

    // Coming back counts from nothing.
    void leavingAndComingBack() {
        open(5, false, "Cycle Amps");
        for (int pair = 0; pair < 5; ++pair)
            cycle();
        go("Select");
        QVERIFY(!window->ampsGuiUpdateTimer->isActive());
        go("Cycle Amps");
        cycle();
        QCOMPARE(box(), QString());
        go("Read Encoder");
        window->csTharlenID = -1;
        go("Cycle Amps");
        QVERIFY(!window->ampsGuiUpdateTimer->isActive());
    }

    // A switch that is pending as another device is opened acts on neither.
    void aPendingSwitchIsForItsDevice() {
        open(5, false, "Cycle Amps");
        const int opening = window->m_deviceOpening;
        window->OnSelChangeTHARLeN();
        device().calls.clear();
        shootAmplifiers(*window, opening, true);
        QVERIFY(device().calls.empty());
        shootAmplifiers(*window, window->m_deviceOpening, true);
        QVERIFY(device().forcesEnabled);
        window->disableAmplifiers();
        window->onCycleAmpsTab();  // the switches of a tick come by themselves: off, then on
        QTRY_VERIFY(device().forcesEnabled);
    }

    // With the identity as Jacobian the force is the joint torque: counts / constant / reduction.
    void slidersCommandTheMotors() {
        // Counts a twentieth of a notch, and counts a N mm.
        const std::tuple<int, const char*, double, double> rows[] = {{5, "THARLEN Orda", 10, 10 * 513.708},
                                                                     {9, "Nolva", 10, 0},
                                                                     {3, "THARLEN Corvale", 2, 2 * 340.0},
                                                                     {6, "THARLEN Stelmar 3.0", 2, 2 * 41.610157},
                                                                     {4, "THARLEN Stelmar 1.5 6DOF", 2, 0}};
        for (const auto& [type, model, multiplier, constant] : rows) {
            open(type, false, "Test Forces", model);
            QVERIFY(!window->forceCheckTimer->isActive() && ui().slider_TX->isHidden() == (type != 4));
            for (int axis = 0; axis < 6; ++axis)
                allSliders()[axis]->setValue(100 - 10 * axis);
            QCOMPARE(device().count("enable_tharlen_forces"), 6);
            device().result["get_inkwell_switch"] = type == 5;  // not docked
            for (int i = 0; i < 3; ++i) {
                device().encoders[i] = 11 * (i + 1);
                device().position[i] = 0.5f - float(i);
            }
            window->updateForceDisplay();
            QLabel* const commands[6] = {ui().force_x,  ui().force_y,  ui().force_z,
                                         ui().force_gx, ui().force_gy, ui().force_gz};
            for (int axis = 0; axis < 6; ++axis) {
                const long counts = long(20 * multiplier) * (axis == 0 ? -100 : 100 - 10 * axis);
                QCOMPARE(long(window->force_dac_values[axis]), counts);
                QCOMPARE(commands[axis]->text(), QString::number(counts));
            }
            QString shown;
            for (int label = 103; label <= 108; ++label)
                shown += window->findChild<QLabel*>(QString("label_%1").arg(label))->text() + ' ';
            QCOMPARE(shown, QString("11 22 33 0.5 -0.5 -1.5 "));
            const double percent = 2 * multiplier * multiplier / constant;  // N of a notch
            const auto force = [percent](int notches) { return QString::number(notches * percent, 'f', 2); };
            QVERIFY(constant == 0 || window->m_forceSentStr[1] == force(90));
            QVERIFY(constant == 0 || window->m_forceSentStr[3] == (type == 3 ? force(70) : QString("0.00")));
            device().singularJacobian = true;
            window->updateForceDisplay();
            QCOMPARE(window->m_forceSentStr[1], QString("0.00"));
            ui().pushButton_16->click();
            QVERIFY(window->force_dac_values.copy() == (std::array<long, 6>{}));
            device().calls.clear();
            ui().pushButton_16->click();
            QVERIFY(device().calls.empty());
        }
    }

    // One notch either way passes a base axis, the gimbal axes of a six-degree-of-freedom device need five and
    // three; the verdict stays when the slider comes back. Answers alone open the way, whatever they are.
    void verdicts() {
        open(4, true, "Test Forces", "THARLEN Stelmar 1.5 6DOF");
        const std::tuple<int, int, const char*> drives[] = {{1, 1, "ffffff"},  {1, -1, "PPPfff"}, {2, -3, "PPPfff"},
                                                            {3, -3, "PPPffP"}, {4, -5, "PPPffP"}, {5, 0, "PPPPPP"}};
        const REPORTDATA& data = *window->repData;
        for (const auto& [high, low, verdicts] : drives) {
            drive(high), drive(low);
            QString found;
            for (const bool pass : data.bForcesPass)
                found += pass ? 'P' : 'f';
            QCOMPARE(found, QString(verdicts));
        }
        QVERIFY(data.fMinForceVal[3] == -200.0f && data.fMaxForceVal[1] == 200.0f);
        QCOMPARE(ui().slider_TZ->styleSheet(), QString(kPassStyle));
        answer({ui().RB_FX_F, ui().RB_FY_F, ui().RB_FZ_F, ui().RB_FGX_F, ui().RB_FGY_F});
        QVERIFY(!opened("Box Test") && !data.bManualForcesPass[5]);
        answer({ui().RB_FGZ_P});
        QVERIFY(opened("Box Test") && data.bManualForcesPass[5] && !data.bManualForcesPass[0]);
    }

    // Three answers are enough for three axes. What was shown at the last visit is not judged at the next.
    void threeAxes() {
        open(3, true, "Test Forces", "THARLEN Corvale");
        answer({ui().RB_FX_P, ui().RB_FY_F, ui().RB_FZ_P});
        drive(5), drive(-5);
        go("Select", "Test Forces");
        window->m_lMinForceVal[1] = 0;
        window->checkForcePass();
        QVERIFY(window->m_lMinForceVal[1] == 0.0f && window->forceCheckTimer->interval() == 100);
        QVERIFY(opened("Box Test") && !window->repData->bForcesPass[3] && window->repData->bForcesPass[2]);
    }

    void temperatures() {
        open(5, false, "Test Forces");
        const float nan = std::numeric_limits<float>::quiet_NaN();
        const QString hot = "Motors are hot..Please wait until they cool down";
        QLCDNumber* const displays[3] = {ui().EncoderTestLCD_X, ui().EncoderTestLCD_Y, ui().EncoderTestLCD_Z};
        const auto looks = [&](std::array<float, 6> celsius, std::array<float, 6> scale, const QString& colours) {
            std::copy(celsius.begin(), celsius.end(), device().celsius);
            std::copy(scale.begin(), scale.end(), device().normalizedTemperature);
            ui().forces_textBox->clear();
            startEncoderTest = true;
            window->monitorTemperature();
            startEncoderTest = false;
            QCOMPARE(ui().forces_textBox->toPlainText(), hot + "\n" + hot);
            for (int i = 0; i < 3; ++i) {
                const QColor seen = displays[i]->palette().color(QPalette::WindowText);
                QCOMPARE(seen, QColor(colours[i] == 'g' ? 0 : 255, colours[i] == 'r' ? 0 : 255, 0));
            }
        };
        const QColor plain = displays[1]->palette().color(QPalette::WindowText);
        ui().temp_TY->setText("kept");
        looks({59.94f, 60.0f, 99.96f, 30.0f, 0, 101.25f}, {0.5f, 1.0f, 0.999f, 0.3f, 0, 1.2f}, "gyy");
        QCOMPARE(displays[2]->value(), 100.0);
        QCOMPARE(ui().temp_X->text() + ' ' + ui().temp_Y->text(), QString("59.9 60"));
        QCOMPARE(ui().temp_TY->text() + ' ' + ui().temp_TZ->text(), QString("kept 101"));
        // What is no number counts as too hot and is shown as such.
        looks({nan, 60.0f, 100.0f, 30.0f, 0, 20}, {0.5f, nan, 0.999f, 0.3f, 0, 0}, "ryr");
        QCOMPARE(ui().temp_X->text(), QString("nan"));
        window->performanceTestMode = true;
        window->monitorTemperature();
        QCOMPARE(ui().label_66->text(), QString("60"));
        window->m_shownDevice = nullptr;  // another device begins as the form does
        window->OnSelChangeTHARLeN();
        QCOMPARE(displays[1]->palette().color(QPalette::WindowText), plain);
        QVERIFY(displays[2]->value() == 0 && ui().temp_X->text() != "nan");
    }

    // Putting the stylus back drops all forces once; the warning comes back each second on the line that has it,
    // blocks nothing and goes with the tab.
    void inkwellRule() {
        for (const bool orda : {true, false}) {
            open(orda ? 5 : 9, false, "Test Forces", orda ? "THARLEN Orda" : "Nolva");
            const int docked = orda ? 0 : 1;
            device().result["get_inkwell_switch"] = 1 - docked;
            window->updateForceDisplay();
            QVERIFY(!window->findChild<QMessageBox*>());
            setSliders(30);
            device().result["get_inkwell_switch"] = docked;
            window->updateForceDisplay();
            QCOMPARE(ui().slider_X->value(), 0);
            setSliders(30);
            window->updateForceDisplay();
            QCOMPARE(ui().slider_X->value(), 30);
            QMessageBox* warning = window->findChild<QMessageBox*>();
            QCOMPARE(warning != nullptr, orda);
            if (!orda)
                continue;
            QVERIFY(warning->isVisible() && warning->isModal());
            warning->accept();
            window->updateForceDisplay();
            QVERIFY(warning->isVisible());
            go("Select");
            QVERIFY(!warning->isVisible());
            // Beside motors that another tab drives it blocks nothing.
            ui().tabWidget->addTab(ui().tab_5, "Encoder Test");
            go("Encoder Test");
            window->initEncoderTest();
            window->updateForceDisplay();
            QVERIFY(warning->isVisible() && !warning->isModal());
        }
    }
};

QTEST_MAIN(TestMotors)
#include "tst_motors.moc"
