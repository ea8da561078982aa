#include "operator.h"

#include <cmath>

#include "device/simulated/armcontrol.h"
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"

using armcontrol::Vec3;

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
    armcontrol::handMove({});
    m_time.spend(500);
    return m_window.csTharlenID >= 0 ? QString() : QString("\"%1\" could not be opened.").arg(device);
}

void Operator::choose(std::initializer_list<QRadioButton*> buttons) {
    for (QRadioButton* button : buttons)
        button->setChecked(true);
}

// --- Calibration -----------------------------------------------------------------------------------

QString Operator::calibrate() {
    if (m_window.isCorvale()) {
        for (int axis = 0; axis < 3; ++axis) {
            armcontrol::handSweep(axis, 1.0);
            m_time.spend(8000);
        }
    } else if (m_window.hasInkwell()) {
        armcontrol::handDock();
        m_time.spend(3000);
        armcontrol::handUndock();
        m_time.spend(500);
    } else {
        armcontrol::handReset();
        m_time.spend(3000);
        m_window.ui.calibrate_button->click();
    }
    return m_window.repData->bCalibrationPass ? QString() : QString("The device is not calibrated.");
}

// --- Encoders and switches -------------------------------------------------------------------------

QString Operator::workEncodersAndSwitches() {
    for (int axis = 0; axis < 6; ++axis) {
        if (axis >= 3 && !armcontrol::state().gimbal)
            continue;
        const std::string refused = armcontrol::handSweep(axis, axis < 3 ? 1.0 : 2.5);
        if (!refused.empty())
            return QString::fromStdString(refused);
        m_time.spend(axis < 3 ? 8000 : 5000);
    }
    workSwitches();
    return {};
}

void Operator::workSwitches() {
    for (int times = 0; times < 5; ++times) {
        for (const bool on : {true, false}) {
            armcontrol::handSwitch(0, on);
            armcontrol::handSwitch(1, on);
            if (m_window.hasInkwell())
                on ? armcontrol::handDock() : armcontrol::handUndock();
            m_time.spend(m_window.hasInkwell() ? 1500 : 60);
        }
        armcontrol::handRelease();
        m_time.spend(60);
        armcontrol::handMove({});
        m_time.spend(60);
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
    for (int i = 0; i < 140; ++i) {
        if (m_window.ui.cycleAmps_textBox->toPlainText().contains("The device amplifiers are OK"))
            return {};
        m_time.spend(100);
    }
    return "The amplifiers were not found to be OK.";
}

QString Operator::driveMotors() {
    armcontrol::handMove({});
    m_time.spend(1000);
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

namespace {

const struct {
    const char* name;
    int axis;
    double side;
} kWalls[6] = {{"right", 0, 1}, {"left", 0, -1}, {"upper", 1, 1}, {"lower", 1, -1}, {"near", 2, 1}, {"inner", 2, -1}};

}  // namespace

QString Operator::feelTheBox() {
    for (const auto& wall : kWalls) {
        const std::size_t axis = static_cast<std::size_t>(wall.axis);
        Vec3 target{};
        target[axis] = wall.side * 30;
        armcontrol::handMove(target);
        m_time.spend(700);
        const double cursor = m_window.hapticBoxRenderer->pPos[axis];
        double force = 0;
        for (int i = 0; i < 50; ++i) {
            m_time.spend(2);
            force += armcontrol::state().force[axis] / 50;
        }
        if (std::fabs(cursor) < 19.9 || force * wall.side >= 0)
            return QString("The %1 wall does not push back: cursor at %2 mm, force %3 N.")
                .arg(wall.name)
                .arg(cursor)
                .arg(force);
        armcontrol::handMove({});
        m_time.spend(400);
    }
    return {};
}

/// A Stelmar holds along one axis alone, so the hand leans on a second wall.
QString Operator::pushThrough(int wall) {
    qtTharlenHapticRenderer& box = *m_window.hapticBoxRenderer;
    const std::size_t axis = static_cast<std::size_t>(wall) / 2;
    const auto count = [&] { return int(box.m_nWallTransitions[static_cast<std::size_t>(wall)]); };
    const int before = count();
    Vec3 place{};
    place[axis] = kWalls[wall].side * 45;
    if (m_window.isAnyStelmar() && !m_window.isCNolvaDevice())
        place[(axis + 1) % 3] = 26;
    armcontrol::handMove(place);
    for (int i = 0; i < 60 && count() == before; ++i)
        m_time.spend(50);
    m_time.spend(200);
    armcontrol::handMove({});
    for (int i = 0; i < 60 && box.m_bBrokeOutOfBox; ++i)
        m_time.spend(50);
    m_time.spend(300);
    return count() > before ? QString() : QString("The %1 wall does not yield.").arg(kWalls[wall].name);
}

QString Operator::breakOutOfTheBox() {
    armcontrol::handMove({});
    m_time.spend(1500);
    for (int round = 0; round < 3; ++round) {
        for (int wall = 0; wall < 6; ++wall) {
            const QString error = pushThrough(wall);
            if (!error.isEmpty())
                return error;
        }
    }
    // The scene's own timer takes the verdict as it paints.
    m_window.hapticBoxRenderer->graphicsCallback();
    m_time.spend(50);
    return m_window.repData->bBoxPass ? QString() : QString("The box test did not pass.");
}

// --- Servo rate ------------------------------------------------------------------------------------

QString Operator::runServoRate() {
    m_window.ui.hapticRate_startButton->click();
    for (int i = 0; i < 120; ++i) {
        m_time.spend(100);
        if (m_window.ui.hapticRate_startButton->isEnabled())
            return m_window.ui.servoLoopUpdate_box->toPlainText().contains("Sample:10  ")
                       ? QString()
                       : QString("The servo rate test ended early.");
    }
    return "The servo rate test did not end.";
}

// --- Mechanics -------------------------------------------------------------------------------------

void Operator::letGoAtTheCenter() {
    armcontrol::handMove({});
    m_time.spend(1500);
    armcontrol::handRelease();
    m_time.spend(300);
}

QString Operator::measureFriction() {
    letGoAtTheCenter();
    m_window.ui.startFrictionTest_button->click();
    for (int i = 0; i < 600 && m_window.frictionTestTimer->isActive(); ++i)
        m_time.spend(100);
    for (const bool pass : m_window.repData->bFrictionPass) {
        if (!pass)
            return "An axis failed the friction test.";
    }
    return {};
}

QString Operator::measureCapstan() {
    letGoAtTheCenter();
    m_window.ui.startCapstanTest_button->click();
    for (int i = 0; i < 600 && m_window.capstanTestRefTimer->isActive(); ++i)
        m_time.spend(100);
    letGoAtTheCenter();
    m_window.ui.verifyCapstanTest_button->click();
    for (int i = 0; i < 600 && m_window.capstanTestTimer->isActive(); ++i)
        m_time.spend(100);
    for (const bool pass : m_window.repData->bCapstanPass) {
        if (!pass)
            return "An axis failed the capstan test.";
    }
    return {};
}
