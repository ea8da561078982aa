// The "Test Forces" tab: a slider a motor. No servo flag is set: the commands reach the device by the default branch
// of the servo loop, which sends force_dac_values. In manufacturing the extremes give a verdict an axis.
#include <QButtonGroup>
#include <QMessageBox>
#include <array>

#include "modellines.h"
#include "motorsoff.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "tabs.h"
#include "testforces.h"

namespace {

constexpr int kDisplayPeriod = 1000;  ///< ms
constexpr int kCheckPeriod = 100;     ///< ms

// What an axis must have been commanded, DAC counts, beyond either limit: one notch of a slider on a base axis.
constexpr double kBaseLimit = 1.98;
constexpr float kGimbalLimit[3] = {199.0f, 199.0f, 99.0f};

std::array<QSlider*, 6> forceSliders(const Ui::qtTharlenTestClass& ui) {
    return {ui.slider_X, ui.slider_Y, ui.slider_Z, ui.slider_TX, ui.slider_TY, ui.slider_TZ};
}

std::array<QLabel*, 6> forceLabels(const Ui::qtTharlenTestClass& ui) {
    return {ui.force_x, ui.force_y, ui.force_z, ui.force_gx, ui.force_gy, ui.force_gz};
}

struct Choice {
    const char* group;
    QRadioButton *pass, *fail;
};

std::array<Choice, 6> forceChoices(const Ui::qtTharlenTestClass& ui) {
    return {{{"XMotgroup", ui.RB_FX_P, ui.RB_FX_F},
             {"YMotgroup", ui.RB_FY_P, ui.RB_FY_F},
             {"ZMotgroup", ui.RB_FZ_P, ui.RB_FZ_F},
             {"GXMotgroup", ui.RB_FGX_P, ui.RB_FGX_F},
             {"GYMotgroup", ui.RB_FGY_P, ui.RB_FGY_F},
             {"GZMotgroup", ui.RB_FGZ_P, ui.RB_FGZ_F}}};
}

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void enterTestForces(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.manufMode)
        ui.tabWidget->setTabEnabled(4, false);
    if (window.csTharlenID < 0)
        return;
    ui.forceTest_userSelect->setVisible(window.manufMode);
    ui.forceTest_browser->hide();
    window.m_form.putBack({ui.forces_textBox, ui.temp_X, ui.temp_Y, ui.temp_Z, ui.temp_TX, ui.temp_TY, ui.temp_TZ});
    window.onTestForcesTab();
}

void leaveTestForces(qtTharlenTest& window) {
    window.onClickResetForces();
    if (window.tempGuiUpdateTimer->isActive()) {
        forcesOff(window);
        window.tempGuiUpdateTimer->stop();
    }
    window.forceCheckTimer->stop();
    closeInkwellWarning(window);
}

// --- Preparing the tab -----------------------------------------------------------------------------

static void showGimbalForces(qtTharlenTest& window, bool shown) {
    auto& ui = window.ui;
    for (QWidget* widget : std::initializer_list<QWidget*>{
             ui.slider_TX, ui.slider_TY, ui.slider_TZ, ui.label_Tx, ui.label_Ty, ui.label_Tz, ui.force_gx,
             ui.force_gy,  ui.force_gz,  ui.temp_TX,   ui.temp_TY,  ui.temp_TZ,  ui.label_51, ui.label_52,
             ui.label_53,  ui.RB_FGX_P,  ui.RB_FGX_F,  ui.RB_FGY_P, ui.RB_FGY_F, ui.RB_FGZ_P, ui.RB_FGZ_F})
        widget->setVisible(shown);
}

// Later blocks of the same change of tab turn the forces off again: a moved slider turns them on.
void qtTharlenTest::onTestForcesTab() {
    for (int i = 0; i < 6; ++i)
        m_forceToSend[i] = motorTemp[i] = 0;
    enable_tharlen_forces(csTharlenID);
    tempGuiUpdateTimer->start(kDisplayPeriod);
    if (manufMode)
        forceCheckTimer->start(kCheckPeriod);
    showGimbalForces(*this, modelLine().sixDof);
    showCommands(*this);  // what stands there of a former visit would be judged
}

// --- Sliders ---------------------------------------------------------------------------------------

// Meant: the sign of X alone is turned.
void qtTharlenTest::onForceSlidersChange() {
    enable_tharlen_forces(csTharlenID);
    static int multiplier;
    multiplier = modelLine().sliderStep;
    const auto sliders = forceSliders(ui);
    force_dac_values[0] = multiplier * (-20 * sliders[0]->value());
    for (int i = 1; i < 6; ++i)
        force_dac_values[i] = multiplier * 20 * sliders[i]->value();
}

void qtTharlenTest::onClickResetForces() { resetForceSliders(); }

// It runs at every change of tab, so that no slider's force persists while another test runs. The commands go back
// to zero by the sliders' own signal.
void qtTharlenTest::resetForceSliders() {
    for (float& force : m_forceToSend)
        force = 0;
    for (QSlider* slider : forceSliders(ui)) {
        if (slider->value() != 0)
            slider->setValue(0);
    }
}

// --- Ink well --------------------------------------------------------------------------------------

// Modal to the window on its own tab, where the forces dropped as the stylus came in. The ticks that bring it run on
// others too, beside motors that are driven: there it blocks nothing and lies clear of what stops them. It has no event
// loop of its own: temperatures, errors and the loop go on behind it. It comes back each second while the stylus stays,
// a full one after it was answered, and goes with the tab.
static void warnOfInkwell(qtTharlenTest& window) {
    if (!window.inkwellWarning) {
        window.inkwellWarning =
            new QMessageBox(QMessageBox::Warning, "Warning",
                            "Please remove the stylus from inkwell and hold the stylus to run the Force Test!",
                            QMessageBox::Ok, &window);
        QObject::connect(window.inkwellWarning, &QDialog::finished, &window, [&window] {
            if (window.tempGuiUpdateTimer->isActive())
                window.tempGuiUpdateTimer->start();
        });
    }
    if (window.inkwellWarning->isVisible())
        return;
    const bool ownTab = window.ui.tabWidget->currentWidget() == window.ui.tab_7;
    window.inkwellWarning->setWindowModality(ownTab ? Qt::WindowModal : Qt::NonModal);
    window.inkwellWarning->setAttribute(Qt::WA_ShowWithoutActivating, !ownTab);
    window.inkwellWarning->show();
    if (!ownTab)
        window.inkwellWarning->move(window.ui.frame1->mapToGlobal(QPoint(0, 0)));
}

// Putting the stylus back drops all forces, once.
void watchInkwell(qtTharlenTest& window) {
    if (!window.hasInkwell())
        return;
    const int reading = get_inkwell_switch(window.csTharlenID);
    if (window.isOrda() && reading == 0)
        warnOfInkwell(window);
    const bool inkwell = (reading == 1) == (window.modelLine().dockedReading == 1);
    if (window.inkwellSwitchState && !inkwell) {
        window.inkwellSwitchState = 0;
    } else if (!window.inkwellSwitchState && inkwell) {
        window.inkwellSwitchState = 1;
        window.resetForceSliders();
        endTypedCommand(window);
    }
}

void closeInkwellWarning(qtTharlenTest& window) {
    if (window.inkwellWarning)
        window.inkwellWarning->close();
}

// --- Verdicts --------------------------------------------------------------------------------------

static void noteForceExtremes(qtTharlenTest& window) {
    const auto labels = forceLabels(window.ui);
    for (int i = 0; i < 6; ++i) {
        const float forceFromLabel = labels[i]->text().toFloat();
        window.m_lMaxForceVal[i] = qMax(window.m_lMaxForceVal[i], forceFromLabel);
        window.m_lMinForceVal[i] = qMin(window.m_lMinForceVal[i], forceFromLabel);
    }
}

static void judgeForce(qtTharlenTest& window, int axis) {
    const float low = window.m_lMinForceVal[axis], high = window.m_lMaxForceVal[axis];
    window.repData->fMinForceVal[axis] = low;
    window.repData->fMaxForceVal[axis] = high;
    const bool bPassNeg = axis < 3 ? static_cast<double>(low) < -kBaseLimit : low < -kGimbalLimit[axis - 3];
    const bool bPassPos = axis < 3 ? static_cast<double>(high) > kBaseLimit : high > kGimbalLimit[axis - 3];
    window.repData->bForcesPass[axis] = bPassNeg && bPassPos;
    showStyle(forceSliders(window.ui)[static_cast<std::size_t>(axis)],
              window.repData->bForcesPass[axis] ? kPassStyle : kNotYetStyle);
}

// What is judged are the labels, which change once a second: a slider that is held for less may be missed. The way
// on depends on the operator's having answered, not on the verdicts.
void qtTharlenTest::checkForcePass() {
    const int axes = modelLine().sixDof ? 6 : 3;
    noteForceExtremes(*this);
    bool autoForceTestPass = true, manuForceTestPass = true, testCompleted = true;
    const auto choices = forceChoices(ui);
    for (int i = 0; i < axes; ++i) {
        judgeForce(*this, i);
        repData->bManualForcesPass[i] = choices[i].pass->isChecked();
        autoForceTestPass = autoForceTestPass && repData->bForcesPass[i];
        manuForceTestPass = manuForceTestPass && repData->bManualForcesPass[i];
        QButtonGroup group;
        group.setObjectName(QLatin1String(choices[i].group));
        group.addButton(choices[i].pass);
        group.addButton(choices[i].fail);
        testCompleted = testCompleted && group.checkedButton() != nullptr;
    }
    Q_UNUSED(autoForceTestPass)  // no decision depends on these two
    Q_UNUSED(manuForceTestPass)
    if (!testCompleted)
        return;
    placeTab(*this, "Box Test");
    ui.next_button->setEnabled(true);
}
