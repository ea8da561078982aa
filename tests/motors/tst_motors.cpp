// The "Cycle Amps" and "Test Forces" tabs tick by tick.
#include <QMessageBox>
#include <limits>

#include "motorsoff.h"
#include "restyle.h"
#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

class TestMotors : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    void open(unsigned long type, bool manufacturing, const char* tab, const char* model = "THARLEN Orda") {
        window.reset();
        standin::reset();
        resetSharedState();
        CTHARLeNDevice arm = record("Arm", type, 7);
        arm.m_dR1 = arm.m_dR2 = arm.m_dR3 = arm.m_dR4 = 10;
        device().fleet = {arm};
        device().model = model;
        window = openWindow();
        window->manufMode = manufacturing;
        QWidget* const page = QString(tab) == "Cycle Amps" ? window->ui.tab_6 : window->ui.tab_7;
        if (!tabTexts(*window).contains(tab))
            window->ui.tabWidget->addTab(page, tab);
        goToTab(*window, tab);
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
    void setSliders(int value) {
        for (QSlider* slider : {window->ui.slider_X, window->ui.slider_Y, window->ui.slider_Z, window->ui.slider_TX,
                                window->ui.slider_TY, window->ui.slider_TZ})
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
    }

    // --- Forces ------------------------------------------------------------------------------------

    void slidersCommandTheMotors() {
        const struct {
            unsigned long type;
            const char* model;
            long counts;
        } rows[] = {{5, "THARLEN Orda", 20000},
                    {9, "Nolva", 20000},
                    {3, "THARLEN Corvale", 4000},
                    {1, "THARLEN Stelmar 1.0", 4000},
                    {4, "THARLEN Stelmar 1.5 6DOF", 4000}};
        for (const auto& row : rows) {
            open(row.type, false, "Test Forces", row.model);
            QVERIFY(!window->forceCheckTimer->isActive());
            QCOMPARE(window->ui.slider_TX->isHidden(), row.type != 4);
            setSliders(100);
            QCOMPARE(device().count("enable_tharlen_forces"), 6);
            for (int axis = 0; axis < 6; ++axis)
                QCOMPARE(long(window->force_dac_values[axis]), axis == 0 ? -row.counts : row.counts);
            device().singularJacobian = true;
            window->updateForceDisplay();
            QCOMPARE(window->ui.force_y->text(), QString::number(row.counts));
            QCOMPARE(window->m_forceSentStr[1], QString("0.00"));
            device().singularJacobian = false;
            goToTab(*window, "Select");
            for (int axis = 0; axis < 6; ++axis)
                QCOMPARE(long(window->force_dac_values[axis]), 0L);
            device().calls.clear();
            window->onClickResetForces();
            QVERIFY(device().calls.empty());
        }
    }

    // With the identity as Jacobian the force is the joint torque: counts / constant / reduction.
    void forceFollowsFromTheModel() {
        const struct {
            unsigned long type;
            const char* model;
            double constant;
            bool fourth;
        } rows[] = {{5, "THARLEN Orda", 10 * 513.708, false},
                    {3, "THARLEN Corvale", 2 * 340.0, true},
                    {1, "THARLEN Stelmar 1.0", 2 * 114.3565, false},
                    {2, "THARLEN Stelmar 1.5", 2 * 114.3565, false},
                    {6, "THARLEN Stelmar 3.0", 2 * 41.610157, false},
                    {9, "Nolva", 0, false},
                    {1, "THARLEN Stelmar 2.0", 0, false}};
        for (const auto& row : rows) {
            open(row.type, false, "Test Forces", row.model);
            setSliders(50);
            window->updateForceDisplay();
            const double multiplier = row.type == 5 ? 10 : 2;
            const double force = row.constant > 0 ? 20 * 50 * multiplier * multiplier / row.constant / 10 : 0;
            QCOMPARE(window->m_forceSentStr[1], QString::number(float(force), 'f', 2));
            QCOMPARE(window->m_forceSentStr[3], QString::number(row.fourth ? float(force) : 0.0f, 'f', 2));
        }
    }

    // One notch either way passes a base axis, the gimbal axes of a six-degree-of-freedom device need five and
    // three; the verdict stays when the slider comes back. Answers alone open the way, whatever they are.
    void verdicts() {
        open(4, true, "Test Forces", "THARLEN Stelmar 1.5 6DOF");
        const auto verdict = [this] {
            QString text;
            for (const bool pass : window->repData->bForcesPass)
                text += pass ? 'P' : 'f';
            return text;
        };
        drive(1);
        QCOMPARE(verdict(), QString("ffffff"));
        drive(-1);
        QCOMPARE(verdict(), QString("PPPfff"));
        drive(3), drive(-3);
        QCOMPARE(verdict(), QString("PPPffP"));
        drive(4), drive(-4);
        QCOMPARE(verdict(), QString("PPPffP"));
        drive(5), drive(-5), drive(0);
        QCOMPARE(verdict(), QString("PPPPPP"));
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
        QVERIFY(opened("Box Test") && !window->repData->bForcesPass[3] && window->repData->bForcesPass[2]);
    }

    void temperatures() {
        open(5, false, "Test Forces");
        const float celsius[6] = {59.94f, 60.0f, 99.96f, 30.0f, 0, 101.25f};
        const float scale[6] = {0.5f, 1.0f, 0.999f, 0.3f, 0, 1.2f};
        std::copy(celsius, celsius + 6, device().celsius);
        std::copy(scale, scale + 6, device().normalizedTemperature);
        window->ui.temp_TY->setText("kept");
        window->ui.forces_textBox->clear();
        startEncoderTest = true;
        window->monitorTemperature();
        startEncoderTest = false;
        QCOMPARE(window->ui.temp_X->text(), QString("59.9"));
        QCOMPARE(window->ui.temp_TZ->text(), QString("101"));
        QCOMPARE(window->ui.temp_TY->text(), QString("kept"));
        const QString hot = "Motors are hot..Please wait until they cool down";
        QCOMPARE(window->ui.forces_textBox->toPlainText(), hot + "\n" + hot);
        const auto colour = [](QLCDNumber* display) { return display->palette().color(QPalette::WindowText); };
        QCOMPARE(colour(window->ui.EncoderTestLCD_X), QColor(0, 255, 0));
        QCOMPARE(colour(window->ui.EncoderTestLCD_Y), QColor(255, 255, 0));
        QCOMPARE(window->ui.EncoderTestLCD_Z->value(), 100.0);
        QCOMPARE(colour(window->ui.EncoderTestLCD_Z), QColor(255, 255, 0));
        // What is no number counts as too hot and is shown as such.
        device().celsius[0] = device().normalizedTemperature[1] = std::numeric_limits<float>::quiet_NaN();
        device().normalizedTemperature[5] = 0;
        window->ui.forces_textBox->clear();
        startEncoderTest = true;
        window->monitorTemperature();
        startEncoderTest = false;
        QCOMPARE(window->ui.temp_X->text(), QString("nan"));
        QCOMPARE(window->ui.forces_textBox->toPlainText(), hot + "\n" + hot);
        QCOMPARE(colour(window->ui.EncoderTestLCD_X), QColor(255, 0, 0));
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

    // What was shown at the last visit is not judged at the next.
    void labelsStartAsTheCommandsAre() {
        open(5, true, "Test Forces");
        setSliders(100);
        window->updateForceDisplay();
        goToTab(*window, "Select");
        goToTab(*window, "Test Forces");
        window->checkForcePass();
        QCOMPARE(window->repData->fMaxForceVal[1], 0.0f);
    }
};

QTEST_MAIN(TestMotors)
#include "tst_motors.moc"
