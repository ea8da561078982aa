#include "operator.h"

#include <cmath>

#include "device/simulated/armcontrol.h"
#include "modellines.h"
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"

Operator::Operator(qtTharlenTest& window, FlowTime& time, Manner& manner)
    : hand([&time](int milliseconds) { time.spend(milliseconds); }, manner),
      m_window(window),
      m_time(time),
      m_manner(manner) {}

// --- Wizard ----------------------------------------------------------------------------------------

// The choice of the mode is hidden from the operator; whoever knows the word comes here by the widgets all the same.
QString Operator::enterAdvancedMode(const QString& word) {
    m_window.ui.manuf_radioButton->setChecked(true);
    m_window.ui.manuf_password->setText(word);
    m_window.onTestModeSelection();
    return m_window.manufMode ? QString() : QString("The gate of the advanced modes did not open.");
}

QString Operator::currentTab() const { return m_window.ui.tabWidget->tabText(m_window.ui.tabWidget->currentIndex()); }

bool Operator::canGoOn() const { return m_window.ui.next_button->isEnabled(); }

QString Operator::next(const QString& expectedTab) {
    m_window.ui.next_button->click();
    m_time.spend(400);
    if (currentTab() == expectedTab)
        return {};
    return QString("\"%1\" was expected after Next, but \"%2\" is shown.").arg(expectedTab, currentTab());
}

QString Operator::goTo(const QString& tab) {
    QTabWidget* tabs = m_window.ui.tabWidget;
    for (int i = 0; i < tabs->count(); ++i) {
        if (tabs->tabText(i) == tab && tabs->isTabEnabled(i)) {
            tabs->setCurrentIndex(i);
            m_time.spend(400);
            return {};
        }
    }
    return QString("There is no tab \"%1\" to go to.").arg(tab);
}

QString Operator::select(const QString& device) {
    const QString error = next("Select");
    if (!error.isEmpty())
        return error;
    const int index = m_window.ui.m_cmbTHARLeN->findText(device);
    if (index < 0)
        return QString("There is no device \"%1\".").arg(device);
    m_window.ui.m_cmbTHARLeN->setCurrentIndex(index);
    m_window.ui.lineEdit_name->setText("A. Operator");
    hand.hold({}, 500);
    return m_window.csTharlenID >= 0 ? QString() : QString("\"%1\" could not be opened.").arg(device);
}

void Operator::choose(std::initializer_list<QRadioButton*> buttons) {
    for (QRadioButton* button : buttons)
        button->setChecked(true);
}

// --- Calibration -----------------------------------------------------------------------------------

CalibrationStyle Operator::calibrationStyle() const {
    const Calibration calibration = m_window.modelLine().calibration;
    return calibration == Calibration::HomeSensors ? CalibrationStyle::Sweeps
           : calibration == Calibration::InkWell   ? CalibrationStyle::InkWell
                                                   : CalibrationStyle::ResetPose;
}

QString Operator::calibrate(Pace sweeps) {
    const CalibrationStyle style = calibrationStyle();
    hand.calibrate(
        style,
        [&] {
            if (style == CalibrationStyle::ResetPose)  // the tab looks after the others by itself
                m_window.ui.calibrate_button->click();
        },
        sweeps);
    return m_window.repData->bCalibrationPass ? QString() : QString("The device is not calibrated.");
}

// --- Encoders and switches -------------------------------------------------------------------------

QString Operator::workEncodersAndSwitches() {
    std::string refused = hand.sweepAxes(0, 3, kUnhurried);
    if (refused.empty() && armcontrol::state().gimbal)
        refused = hand.sweepAxes(3, 3, {2.5, 5000});
    if (refused.empty())
        workSwitches();
    return QString::fromStdString(refused);
}

void Operator::workSwitches() {
    for (int times = 0; times < 5; ++times) {
        for (const bool on : {true, false}) {
            hand.press(on);
            if (!m_window.hasInkwell())
                m_time.spend(60);
            else if (on)
                hand.dock(1500);
            else
                hand.undock(1500);
        }
        hand.letGo(60);
        hand.hold({}, 60);
    }
}

void Operator::chooseEncoders(bool pass) {
    auto& ui = m_window.ui;
    if (pass)
        choose({ui.RB_X_P, ui.RB_Y_P, ui.RB_Z_P, ui.RB_GX_P, ui.RB_GY_P, ui.RB_GZ_P});
    else
        choose({ui.RB_X_F, ui.RB_Y_F, ui.RB_Z_F, ui.RB_GX_F, ui.RB_GY_F, ui.RB_GZ_F});
}

void Operator::chooseSwitches(bool pass) {
    auto& ui = m_window.ui;
    if (pass)
        choose({ui.RB_STYLUS_P, ui.RB_EXTRA_P, ui.RB_INKWELL_P});
    else
        choose({ui.RB_STYLUS_F, ui.RB_EXTRA_F, ui.RB_INKWELL_F});
}

// --- Motors ----------------------------------------------------------------------------------------

QString Operator::cycleAmplifiers() {
    const auto found = [this] {
        return m_window.ui.cycleAmps_textBox->toPlainText().contains("The device amplifiers are OK");
    };
    return hand.waitUntil(found, 14000, 100) ? QString() : QString("The amplifiers were not found to be OK.");
}

QString Operator::driveMotors() {
    hand.hold({}, 1000);
    const bool sixDof = armcontrol::state().gimbal && m_window.is6dof();
    QSlider* const sliders[6] = {m_window.ui.slider_X,  m_window.ui.slider_Y,  m_window.ui.slider_Z,
                                 m_window.ui.slider_TX, m_window.ui.slider_TY, m_window.ui.slider_TZ};
    for (int axis = 0; axis < (sixDof ? 6 : 3); ++axis) {
        for (const int value : {40, -40, 0}) {
            sliders[axis]->setValue(value);
            m_time.spend(1200);
            const double command = std::fabs(armcontrol::state().dac[static_cast<std::size_t>(axis)]);
            if ((command > 0) != (value != 0))
                return QString("Motor %1 is commanded with %2 counts at slider %3.")
                    .arg(axis + 1)
                    .arg(command)
                    .arg(value);
        }
    }
    return {};
}

void Operator::chooseForces(bool pass) {
    auto& ui = m_window.ui;
    if (pass)
        choose({ui.RB_FX_P, ui.RB_FY_P, ui.RB_FZ_P, ui.RB_FGX_P, ui.RB_FGY_P, ui.RB_FGZ_P});
    else
        choose({ui.RB_FX_F, ui.RB_FY_F, ui.RB_FZ_F, ui.RB_FGX_F, ui.RB_FGY_F, ui.RB_FGZ_F});
}

// --- Box -------------------------------------------------------------------------------------------

QString Operator::feelTheBox() {
    for (int i = 0; i < kWalls; ++i) {
        const Wall& wall = kBoxWalls[i];
        hand.hold(towards(i, 30), 700);
        const double cursor = m_window.hapticBoxRenderer->pPos[wall.axis];
        const double force = hand.mean(50, 2, [&] { return armcontrol::state().force[wall.axis]; });
        if (std::fabs(cursor) < 19.9 || force * wall.side >= 0)
            return QString("The %1 wall does not push back: cursor at %2 mm, force %3 N.")
                .arg(wall.name)
                .arg(cursor)
                .arg(force);
        hand.hold({}, 400);
    }
    return {};
}

bool Operator::pushThrough(int wall) {
    const qtTharlenHapticRenderer& box = *m_window.hapticBoxRenderer;
    const int before = box.m_nWallTransitions[wall];
    return hand.pushThrough(
        wall, m_window.modelLine().box.holdsAlongOneAxis(), [&] { return box.m_nWallTransitions[wall] > before; },
        [&] { return bool(box.m_bBrokeOutOfBox); });
}

const Wall* Operator::pushThroughEachWall() {
    for (int round = 0; round < 3; ++round) {
        for (const int wall : m_manner.order(kWalls)) {
            if (!pushThrough(wall))
                return &kBoxWalls[wall];
        }
    }
    return nullptr;
}

QString Operator::breakOutOfTheBox() {
    hand.hold({}, 1500);
    if (const Wall* firm = pushThroughEachWall())
        return QString("The %1 wall does not yield.").arg(firm->name);
    // The scene's own timer takes the verdict as it paints.
    m_window.hapticBoxRenderer->graphicsCallback();
    m_time.spend(50);
    return m_window.repData->bBoxPass ? QString() : QString("The box test did not pass.");
}

// --- Servo rate ------------------------------------------------------------------------------------

QString Operator::runServoRate() {
    auto& ui = m_window.ui;
    ui.hapticRate_startButton->click();
    m_time.spend(100);
    if (!hand.waitUntil([&ui] { return ui.hapticRate_startButton->isEnabled(); }, 12000, 100))
        return "The servo rate test did not end.";
    return ui.servoLoopUpdate_box->toPlainText().contains("Sample:10  ") ? QString()
                                                                         : QString("The servo rate test ended early.");
}

// --- Mechanics -------------------------------------------------------------------------------------

QString Operator::measureFriction() {
    hand.letGoAt({}, 1500, 300);
    m_window.ui.startFrictionTest_button->click();
    hand.waitUntil([this] { return !m_window.frictionTestTimer->isActive(); }, 60000, 100);
    for (const bool pass : m_window.repData->bFrictionPass) {
        if (!pass)
            return "An axis failed the friction test.";
    }
    return {};
}

QString Operator::measureCapstan() {
    hand.letGoAt({}, 1500, 300);
    m_window.ui.startCapstanTest_button->click();
    hand.waitUntil([this] { return !m_window.capstanTestRefTimer->isActive(); }, 60000, 100);
    hand.letGoAt({}, 1500, 300);
    m_window.ui.verifyCapstanTest_button->click();
    hand.waitUntil([this] { return !m_window.capstanTestTimer->isActive(); }, 60000, 100);
    for (const bool pass : m_window.repData->bCapstanPass) {
        if (!pass)
            return "An axis failed the capstan test.";
    }
    return {};
}
