// The "Test Forces" tab: a slider a motor. No servo flag is set: the commands reach the device by the default branch
// of the servo loop, which sends force_dac_values. In manufacturing the extremes give a verdict an axis.
#include <QButtonGroup>
#include <QMessageBox>
#include <array>

#include "modellines.h"
#include "qttharlentest.h"
#include "restyle.h"

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

void qtTharlenTest::enterTestForces() {
    if (manufMode)
        ui.tabWidget->setTabEnabled(4, false);
    if (csTharlenID < 0)
        return;
    ui.forceTest_userSelect->setVisible(manufMode);
    ui.forceTest_browser->hide();
    m_form.putBack({ui.forces_textBox, ui.temp_X, ui.temp_Y, ui.temp_Z, ui.temp_TX, ui.temp_TY, ui.temp_TZ});
    onTestForcesTab();
}

void qtTharlenTest::leaveTestForces() {
    onClickResetForces();
    if (tempGuiUpdateTimer->isActive()) {
        forcesOff();
        tempGuiUpdateTimer->stop();
    }
    forceCheckTimer->stop();
    closeInkwellWarning();
}

// --- Preparing the tab -----------------------------------------------------------------------------

// Later blocks of the same change of tab turn the forces off again: a moved slider turns them on.
void qtTharlenTest::onTestForcesTab() {
    for (int i = 0; i < 6; ++i)
        m_forceToSend[i] = motorTemp[i] = 0;
    enable_tharlen_forces(csTharlenID);
    tempGuiUpdateTimer->start(kDisplayPeriod);
    if (manufMode)
        forceCheckTimer->start(kCheckPeriod);
    showGimbalForces(modelLine().sixDof);
    showCommands();  // what stands there of a former visit would be judged
}

void qtTharlenTest::showGimbalForces(bool shown) {
    for (QWidget* widget : std::initializer_list<QWidget*>{
             ui.slider_TX, ui.slider_TY, ui.slider_TZ, ui.label_Tx, ui.label_Ty, ui.label_Tz, ui.force_gx,
             ui.force_gy,  ui.force_gz,  ui.temp_TX,   ui.temp_TY,  ui.temp_TZ,  ui.label_51, ui.label_52,
             ui.label_53,  ui.RB_FGX_P,  ui.RB_FGX_F,  ui.RB_FGY_P, ui.RB_FGY_F, ui.RB_FGZ_P, ui.RB_FGZ_F})
        widget->setVisible(shown);
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

// Putting the stylus back drops all forces, once.
void qtTharlenTest::watchInkwell() {
    if (!hasInkwell())
        return;
    const int reading = get_inkwell_switch(csTharlenID);
    if (isOrda() && reading == 0)
        warnOfInkwell();
    const bool inkwell = (reading == 1) == (modelLine().dockedReading == 1);
    if (inkwellSwitchState && !inkwell) {
        inkwellSwitchState = 0;
    } else if (!inkwellSwitchState && inkwell) {
        inkwellSwitchState = 1;
        resetForceSliders();
        endTypedCommand();
    }
}

// Modal to the window on its own tab, where the forces dropped as the stylus came in. The ticks that bring it run on
// others too, beside motors that are driven: there it blocks nothing and lies clear of what stops them. It has no event
// loop of its own: temperatures, errors and the loop go on behind it. It comes back each second while the stylus stays,
// a full one after it was answered, and goes with the tab.
void qtTharlenTest::warnOfInkwell() {
    if (!inkwellWarning) {
        inkwellWarning = new QMessageBox(
            QMessageBox::Warning, "Warning",
            "Please remove the stylus from inkwell and hold the stylus to run the Force Test!", QMessageBox::Ok, this);
        connect(inkwellWarning, &QDialog::finished, this, [this] {
            if (tempGuiUpdateTimer->isActive())
                tempGuiUpdateTimer->start();
        });
    }
    if (inkwellWarning->isVisible())
        return;
    const bool ownTab = ui.tabWidget->currentWidget() == ui.tab_7;
    inkwellWarning->setWindowModality(ownTab ? Qt::WindowModal : Qt::NonModal);
    inkwellWarning->setAttribute(Qt::WA_ShowWithoutActivating, !ownTab);
    inkwellWarning->show();
    if (!ownTab)
        inkwellWarning->move(ui.frame1->mapToGlobal(QPoint(0, 0)));
}

void qtTharlenTest::closeInkwellWarning() {
    if (inkwellWarning)
        inkwellWarning->close();
}

// --- Verdicts --------------------------------------------------------------------------------------

// What is judged are the labels, which change once a second: a slider that is held for less may be missed. The way
// on depends on the operator's having answered, not on the verdicts.
void qtTharlenTest::checkForcePass() {
    const int axes = modelLine().sixDof ? 6 : 3;
    noteForceExtremes();
    bool autoForceTestPass = true, manuForceTestPass = true, testCompleted = true;
    const auto choices = forceChoices(ui);
    for (int i = 0; i < axes; ++i) {
        judgeForce(i);
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
    placeTab("Box Test");
    ui.next_button->setEnabled(true);
}

void qtTharlenTest::noteForceExtremes() {
    const auto labels = forceLabels(ui);
    for (int i = 0; i < 6; ++i) {
        const float forceFromLabel = labels[i]->text().toFloat();
        m_lMaxForceVal[i] = qMax(m_lMaxForceVal[i], forceFromLabel);
        m_lMinForceVal[i] = qMin(m_lMinForceVal[i], forceFromLabel);
    }
}

void qtTharlenTest::judgeForce(int axis) {
    const float low = m_lMinForceVal[axis], high = m_lMaxForceVal[axis];
    repData->fMinForceVal[axis] = low;
    repData->fMaxForceVal[axis] = high;
    const bool bPassNeg = axis < 3 ? static_cast<double>(low) < -kBaseLimit : low < -kGimbalLimit[axis - 3];
    const bool bPassPos = axis < 3 ? static_cast<double>(high) > kBaseLimit : high > kGimbalLimit[axis - 3];
    repData->bForcesPass[axis] = bPassNeg && bPassPos;
    showStyle(forceSliders(ui)[static_cast<std::size_t>(axis)], repData->bForcesPass[axis] ? kPassStyle : kNotYetStyle);
}
