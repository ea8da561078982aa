// The "Cycle Amps" and "Test Forces" tabs tick by tick.
#include <QMessageBox>
#include <array>
#include <limits>

#include "motorsoff.h"
#include "restyle.h"
#include "servostate.h"
#include "standinwindow.h"

using standin::device;
using standin::record;

class TestMotors : public StandinWindow {
    Q_OBJECT

    void open(unsigned long type, bool manufacturing, const char* tab, const char* model = "THARLEN Orda") {
        CTHARLeNDevice arm = record("Arm", type, 7);
        arm.m_dR1 = arm.m_dR2 = arm.m_dR3 = arm.m_dR4 = 10;
        openFleet({arm}, [=] { device().model = model; });
        window->manufMode = manufacturing;
        enter(QString(tab) == "Cycle Amps" ? window->ui.tab_6 : window->ui.tab_7, tab);
        device().calls.clear();
        window->ui.next_button->setEnabled(false);
    }
    /// A tick of the amplifier test with its pair of switches.
    void cycle(int fault = 0) {
        device().result["unfiltered_device_fault"] = fault;
        window->onCycleAmpsTab();
        window->disableAmplifiers();
        window->enableAmplifiers();
    }
    QString box() const { return window->ui.cycleAmps_textBox->toPlainText(); }
    bool opened(const char* tab) const {
        return window->ui.next_button->isEnabled() && tabTexts(*window).contains(tab);
    }
    std::array<QSlider*, 6> allSliders() const {
        const auto& ui = window->ui;
        return {ui.slider_X, ui.slider_Y, ui.slider_Z, ui.slider_TX, ui.slider_TY, ui.slider_TZ};
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

private slots:
    void cleanup() { window.reset(); }

    // --- Amplifiers --------------------------------------------------------------------------------

    // Five switches on and four off come before the sixth tick passes; cycling goes on and says nothing more.
    void passComesWithTheSixthTick() {
        for (const bool manufacturing : {false, true}) {
            open(5, manufacturing, "Cycle Amps");
            QCOMPARE(window->ampsGuiUpdateTimer->interval(), 2000);
            QCOMPARE(window->ui.amp_status_button->text(), QString("NULL"));
            QVERIFY(window->ui.amp_status_button->styleSheet().isEmpty());
            for (int tick = 1; tick <= 5; ++tick) {
                cycle();
                QCOMPARE(window->ui.device_fault_button->text(), QString("NO"));
                QCOMPARE(box(), QString());
            }
            QVERIFY(!window->repData->bAmplifierPass);
            cycle();
            QCOMPARE(box(),
                     QString(manufacturing ? "The device amplifiers are OK\nPASS" : "The device amplifiers are OK"));
            QCOMPARE(window->repData->bAmplifierPass, manufacturing);
            QCOMPARE(window->ui.next_button->isEnabled(), manufacturing);
            const QString text = box();
            cycle();
            QCOMPARE(box(), text);
            QCOMPARE(device().count("enable_tharlen_forces_no_wait"), 7);
            QCOMPARE(device().count("disable_tharlen_forces_no_wait"), 6);
            QCOMPARE(window->ui.amp_status_button->styleSheet(), QString(kPassStyle));
        }
    }

    // The fault line of amplifiers that stay off, or of a device that does not answer, may be clean: the verdict
    // comes, and a line beside it.
    void passOnNothing() {
        const struct {
            int answer, enabling;
            const char* note;
        } rows[] = {{0, 0, ""},
                    {0, -4, "\nNote: the amplifiers never came on while they were to be cycled."},
                    {-5, 0, "\nNote: the device did not answer while its amplifiers were to be cycled."}};
        for (const auto& row : rows) {
            open(5, true, "Cycle Amps");
            device().result["enable_tharlen_forces_no_wait"] = row.enabling;
            device().result["update_tharlen"] = row.answer;
            for (int tick = 1; tick <= 6; ++tick) {
                cycle();
                for (int i = 0; i < 100; ++i)
                    ServoLoopCallBack(window.get());
            }
            QCOMPARE(box(), QString("The device amplifiers are OK\nPASS") + row.note);
        }
    }

    // A fault fails at once and opens the way; a clean tick after enough cycles takes it back.
    void faultsComeAndGo() {
        open(5, true, "Cycle Amps");
        cycle(1);
        QVERIFY(opened("Test Forces") && !window->repData->bAmplifierPass);
        QCOMPARE(window->ui.device_fault_button->text(), QString("YES"));
        QCOMPARE(window->ui.device_fault_button->styleSheet(), QString(kFailStyle));
        for (int tick = 0; tick < 5; ++tick)
            cycle();
        QVERIFY(window->repData->bAmplifierPass);
        cycle(-4);
        QVERIFY(!window->repData->bAmplifierPass && box().isEmpty());
        cycle();
        QVERIFY(window->repData->bAmplifierPass && box().endsWith("PASS"));
    }

    // Leaving disables twice and cancels no pending shot; coming back counts from nothing.
    void leavingAndComingBack() {
        open(5, false, "Cycle Amps");
        for (int tick = 0; tick < 5; ++tick)
            cycle();
        device().calls.clear();
        goToTab(*window, "Select");
        const int leaving = device().count("disable_tharlen_forces");
        QVERIFY(!window->ampsGuiUpdateTimer->isActive());
        device().calls.clear();
        goToTab(*window, "Read Encoder");
        QCOMPARE(leaving, device().count("disable_tharlen_forces") + 1);
        goToTab(*window, "Cycle Amps");
        device().calls.clear();
        window->enableAmplifiers();
        QCOMPARE(device().count("enable_tharlen_forces_no_wait"), 1);
        cycle();
        QCOMPARE(box(), QString());
        goToTab(*window, "Read Encoder");
        window->csTharlenID = -1;
        goToTab(*window, "Cycle Amps");
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

    // --- Forces ------------------------------------------------------------------------------------

    void slidersCommandTheMotors() {
        const struct {
            unsigned long type;
            const char* model;
            long notch;  ///< counts
        } rows[] = {{5, "THARLEN Orda", 200},
                    {9, "Nolva", 200},
                    {3, "THARLEN Corvale", 40},
                    {1, "THARLEN Stelmar 1.0", 40},
                    {4, "THARLEN Stelmar 1.5 6DOF", 40}};
        for (const auto& row : rows) {
            open(row.type, false, "Test Forces", row.model);
            QVERIFY(!window->forceCheckTimer->isActive());
            QCOMPARE(window->ui.slider_TX->isHidden(), row.type != 4);
            const auto sliders = allSliders();
            for (int axis = 0; axis < 6; ++axis)
                sliders[axis]->setValue(100 - 10 * axis);
            QCOMPARE(device().count("enable_tharlen_forces"), 6);
            device().result["get_inkwell_switch"] = row.type == 5;  // not docked
            for (int i = 0; i < 3; ++i) {
                device().encoders[i] = 11 * (i + 1);
                device().position[i] = 0.5f - float(i);
            }
            device().singularJacobian = true;
            window->updateForceDisplay();
            const auto& ui = window->ui;
            QLabel* const commands[6] = {ui.force_x, ui.force_y, ui.force_z, ui.force_gx, ui.force_gy, ui.force_gz};
            for (int axis = 0; axis < 6; ++axis) {
                const long counts = row.notch * (axis == 0 ? -100 : 100 - 10 * axis);
                QCOMPARE(long(window->force_dac_values[axis]), counts);
                QCOMPARE(commands[axis]->text(), QString::number(counts));
            }
            QCOMPARE(ui.label_103->text() + ' ' + ui.label_104->text() + ' ' + ui.label_105->text(),
                     QString("11 22 33"));
            QCOMPARE(ui.label_106->text() + ' ' + ui.label_107->text() + ' ' + ui.label_108->text(),
                     QString("0.5 -0.5 -1.5"));
            QCOMPARE(window->m_forceSentStr[1], QString("0.00"));
            device().singularJacobian = false;
            window->ui.pushButton_16->click();
            for (int axis = 0; axis < 6; ++axis)
                QCOMPARE(long(window->force_dac_values[axis]), 0L);
            device().calls.clear();
            window->ui.pushButton_16->click();
            QVERIFY(device().calls.empty());
        }
    }

    // With the identity as Jacobian the force is the joint torque: counts / constant / reduction.
    void forceFollowsFromTheModel() {
        const std::tuple<unsigned long, const char*, double> rows[] = {{5, "THARLEN Orda", 10 * 513.708},
                                                                       {3, "THARLEN Corvale", 2 * 340.0},
                                                                       {6, "THARLEN Stelmar 3.0", 2 * 41.610157}};
        for (const auto& [type, model, constant] : rows) {
            open(type, false, "Test Forces", model);
            setSliders(50);
            window->updateForceDisplay();
            const double multiplier = type == 5 ? 10 : 2;
            const auto force = QString::number(20 * 50 * multiplier * multiplier / constant / 10, 'f', 2);
            QCOMPARE(window->m_forceSentStr[1], force);
            QCOMPARE(window->m_forceSentStr[3], type == 3 ? force : QString("0.00"));
        }
    }

    // One notch either way passes a base axis, the gimbal axes of a six-degree-of-freedom device need five and
    // three; the verdict stays when the slider comes back. Answers alone open the way, whatever they are.
    void verdicts() {
        open(4, true, "Test Forces", "THARLEN Stelmar 1.5 6DOF");
        const std::tuple<int, int, const char*> drives[] = {{1, 1, "ffffff"},  {1, -1, "PPPfff"}, {2, -3, "PPPfff"},
                                                            {3, -3, "PPPffP"}, {4, -5, "PPPffP"}, {5, 0, "PPPPPP"}};
        for (const auto& [high, low, verdicts] : drives) {
            drive(high), drive(low);
            QString found;
            for (const bool pass : window->repData->bForcesPass)
                found += pass ? 'P' : 'f';
            QCOMPARE(found, QString(verdicts));
        }
        QCOMPARE(window->repData->fMinForceVal[3], -200.0f);
        QCOMPARE(window->repData->fMaxForceVal[1], 200.0f);
        QCOMPARE(window->ui.slider_TZ->styleSheet(), QString(kPassStyle));
        QVERIFY(!opened("Box Test"));
        for (QRadioButton* fail :
             {window->ui.RB_FX_F, window->ui.RB_FY_F, window->ui.RB_FZ_F, window->ui.RB_FGX_F, window->ui.RB_FGY_F})
            fail->setChecked(true);
        window->checkForcePass();
        QVERIFY(!opened("Box Test"));
        window->ui.RB_FGZ_P->setChecked(true);
        window->checkForcePass();
        QVERIFY(opened("Box Test") && window->repData->bManualForcesPass[5] && !window->repData->bManualForcesPass[0]);
    }

    void threeAnswersAreEnoughForThreeAxes() {
        open(3, true, "Test Forces", "THARLEN Corvale");
        QCOMPARE(window->forceCheckTimer->interval(), 100);
        for (QRadioButton* answer : {window->ui.RB_FX_P, window->ui.RB_FY_F, window->ui.RB_FZ_P})
            answer->setChecked(true);
        drive(5), drive(-5);
        // What was shown at the last visit is not judged at the next.
        goToTab(*window, "Select");
        goToTab(*window, "Test Forces");
        window->m_lMinForceVal[1] = 0;
        window->checkForcePass();
        QCOMPARE(window->m_lMinForceVal[1], 0.0f);
        QVERIFY(opened("Box Test") && !window->repData->bForcesPass[3] && window->repData->bForcesPass[2]);
    }

    void temperatures() {
        open(5, false, "Test Forces");
        const float nan = std::numeric_limits<float>::quiet_NaN();
        const QString hot = "Motors are hot..Please wait until they cool down";
        QLCDNumber* const displays[3] = {window->ui.EncoderTestLCD_X, window->ui.EncoderTestLCD_Y,
                                         window->ui.EncoderTestLCD_Z};
        const auto looks = [&](std::array<float, 6> celsius, std::array<float, 6> scale, const QString& colours) {
            std::copy(celsius.begin(), celsius.end(), device().celsius);
            std::copy(scale.begin(), scale.end(), device().normalizedTemperature);
            window->ui.forces_textBox->clear();
            startEncoderTest = true;
            window->monitorTemperature();
            startEncoderTest = false;
            QCOMPARE(window->ui.forces_textBox->toPlainText(), hot + "\n" + hot);
            for (int i = 0; i < 3; ++i) {
                const QColor seen = displays[i]->palette().color(QPalette::WindowText);
                QCOMPARE(seen, QColor(colours[i] == 'g' ? 0 : 255, colours[i] == 'r' ? 0 : 255, 0));
            }
        };
        window->ui.temp_TY->setText("kept");
        looks({59.94f, 60.0f, 99.96f, 30.0f, 0, 101.25f}, {0.5f, 1.0f, 0.999f, 0.3f, 0, 1.2f}, "gyy");
        QCOMPARE(displays[2]->value(), 100.0);
        QCOMPARE(window->ui.temp_X->text() + ' ' + window->ui.temp_Y->text(), QString("59.9 60"));
        QCOMPARE(window->ui.temp_TY->text() + ' ' + window->ui.temp_TZ->text(), QString("kept 101"));
        // What is no number counts as too hot and is shown as such.
        looks({nan, 60.0f, 100.0f, 30.0f, 0, 20}, {0.5f, nan, 0.999f, 0.3f, 0, 0}, "ryr");
        QCOMPARE(window->ui.temp_X->text(), QString("nan"));
        window->performanceTestMode = true;
        window->monitorTemperature();
        QCOMPARE(window->ui.label_66->text(), QString("60"));
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
            QCOMPARE(window->ui.slider_X->value(), 0);
            setSliders(30);
            window->updateForceDisplay();
            QCOMPARE(window->ui.slider_X->value(), 30);
            QMessageBox* warning = window->findChild<QMessageBox*>();
            QCOMPARE(warning != nullptr, orda);
            if (!orda)
                continue;
            QVERIFY(warning->isVisible() && warning->isModal());
            warning->accept();
            window->updateForceDisplay();
            QVERIFY(warning->isVisible());
            goToTab(*window, "Select");
            QVERIFY(!warning->isVisible());
            // Beside motors that another tab drives it blocks nothing.
            window->ui.tabWidget->addTab(window->ui.tab_5, "Encoder Test");
            goToTab(*window, "Encoder Test");
            window->initEncoderTest();
            window->updateForceDisplay();
            QVERIFY(warning->isVisible() && !warning->isModal());
        }
    }
};

QTEST_MAIN(TestMotors)
#include "tst_motors.moc"
