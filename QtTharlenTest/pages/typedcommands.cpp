// Typed motor commands, of the "Force Test" and the "Motor Temp. Test" page: DAC counts or newtons, sent by the
// servo loop on each tick until they are cleared. Meant: leaving the page clears nothing.
#include <cmath>

#include "motorsoff.h"
#include "pages/pages.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "testforces.h"

namespace {

constexpr int kMonitorPeriod = 1000;  ///< ms

/// What does not parse is 0: no number, one too large for its type, or none that a motor could follow.
long typedCounts(const QLineEdit* field) { return field->text().toLong(nullptr, 10); }

float typedNewtons(const QLineEdit* field) {
    bool parsed = false;
    const float value = field->text().toFloat(&parsed);
    return parsed && std::isfinite(value) ? value : 0.0f;
}

/// The first three elements from the fields, the rest 0.
template <class Command, class Parse>
void take(QLineEdit* const (&fields)[3], Command& command, Parse parse) {
    for (std::size_t i = 0; i < command.size(); ++i)
        command[i] = i < 3 ? parse(fields[i]) : 0;
}

}  // namespace

// The flag goes up ahead of the values: the first tick may still send what was there before.
void qtTharlenTest::command_motor_dac() {
    QLineEdit* const temperaturePage[3] = {ui.motor_dac_1, ui.motor_dac_2, ui.motor_dac_3};
    QLineEdit* const forcePage[3] = {ui.cforce_1, ui.cforce_2, ui.cforce_3};
    const auto& fields = runMotorTempTest ? temperaturePage : forcePage;
    const QCheckBox* const asForce = runMotorTempTest ? ui.sendForce_checkBox : ui.sendForce_checkBox_2;
    if (csTharlenID < 0)
        sayError("No device is open: the command goes to no motor.");
    startPerformanceForceTest = true;
    if (asForce->isChecked())
        take(fields, cForce, typedNewtons);
    else
        take(fields, dac_values, typedCounts);
    enable_tharlen_forces_no_wait(csTharlenID);
}

void qtTharlenTest::clear_dac_value() {
    dac_values.fill(0);
    cForce.fill(0);
    startPerformanceForceTest = false;  // a tick in between would turn the amplifiers on again
    forcesOffNoWait(*this);
    for (QLineEdit* field : {ui.motor_dac_1, ui.motor_dac_2, ui.motor_dac_3})
        field->setText("0");
}

void qtTharlenTest::clearForces() {
    cForce.fill(0);
    for (QLineEdit* field : {ui.cforce_1, ui.cforce_2, ui.cforce_3})
        field->setText("0.0");
    startPerformanceForceTest = false;
    forcesOff(*this);
}

void endTypedCommand(qtTharlenTest& window) {
    if (!startPerformanceForceTest)
        return;
    window.clear_dac_value();
    window.clearForces();
}

void qtTharlenTest::commandForces() {
    take({ui.cforce_1, ui.cforce_2, ui.cforce_3}, cForce, typedNewtons);
    enable_tharlen_forces(csTharlenID);
    startPerformanceForceTest = true;
}

// --- The page --------------------------------------------------------------------------------------

// A stylus that is in its ink well by the page's first look counts as put back.
void enterForcePage(qtTharlenTest& window) {
    window.inkwellSwitchState = 0;
    window.tempGuiUpdateTimer->start(kMonitorPeriod);
}

void leaveForcePage(qtTharlenTest& window) {
    window.tempGuiUpdateTimer->stop();
    closeInkwellWarning(window);
}

/// On entering the force page, whose timer runs by then, and not on leaving it.
void clearCommandsOnForcePage(qtTharlenTest& window) {
    if (!window.tempGuiUpdateTimer->isActive())
        return;
    window.clear_dac_value();
    window.clearForces();
}
