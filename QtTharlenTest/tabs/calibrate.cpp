// The "Calibrate" tab: four styles of calibration, chosen by what the device supports and by its model.
//
//   AUTO      three axes find their home flags while the arm is moved through its range
//   INKWELL   the arm rests in the ink well for a number of ticks
//   RESET     the operator holds the reset pose and triggers it
#include "calibrate.h"
#include "modellines.h"
#include "plaintext.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"
#include "tabs.h"

namespace {

constexpr int kCheckPeriod = 20;  ///< ms

constexpr char kInkwellText[] =
    "This Device model INKWELL calibrates when the heel of the moving arm is placed in the receptacle at the base "
    "of the unit  (the 'ink well').";
constexpr char kMoveText[] =
    "Please slowly move the arm from left to right, up and down, and towards and away from the unit.";

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void enterCalibrate(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.manufMode)
        ui.tabWidget->setTabEnabled(1, false);
    ui.calibrate_textbrowser1->clear();
    ui.calibrate_textbrowser2->clear();
    if (window.csTharlenID < 0)
        return;
    enable_tharlen_velocity_check(window.csTharlenID, 0);
    window.onCalibrationTab();
    window.checkCalibTimer->start(20);
}

void leaveCalibrate(qtTharlenTest& window) {
    if (window.csTharlenID >= 0)
        enable_tharlen_velocity_check(window.csTharlenID, 1);
    startCalibTest = false;
    window.checkCalibTimer->stop();
}

// --- Preparing the tab -----------------------------------------------------------------------------

static void hideHomeIndicators(qtTharlenTest& window) {
    auto& ui = window.ui;
    ui.X_HOME->hide();
    ui.Y_HOME->hide();
    ui.Z_HOME->hide();
}

static void showCalibrationIllustration(qtTharlenTest& window, const char* file) {
    window.ui.frame11->setStyleSheet(
        QString("* { border-image: url(:/qtTharlenTest/Resources/%1); }").arg(QLatin1String(file)));
}

static void prepareAutoCalibration(qtTharlenTest& window) {
    auto& ui = window.ui;
    ui.frame11->show();
    showCalibrationIllustration(window, window.modelLine().illustration);
    bCalibMsgDispOnce = false;
    window.checkCalibTimer->start(kCheckPeriod);
    ui.calibrate_button->setEnabled(false);
    ui.calibrate_button->setStyleSheet(kNotYetStyle);
    ui.calibTimerLabel->setEnabled(true);
    ui.calibrate_textbrowser2->append(
        "This Device model AUTO calibrates when the moving arm has been put through its entire range of motion in all "
        "three directions.");
    ui.calibrate_textbrowser2->append(kMoveText);
    for (QLabel* home : {ui.X_HOME, ui.Y_HOME, ui.Z_HOME}) {
        home->show();
        home->setText("SEARCHING..");
        home->setStyleSheet(kNotYetStyle);
    }
}

static void prepareInkwellCalibration(qtTharlenTest& window, const char* illustration, const QString& text) {
    auto& ui = window.ui;
    ui.frame11->show();
    showCalibrationIllustration(window, illustration);
    bCalibMsgDispOnce = false;
    window.checkCalibTimer->start(kCheckPeriod);
    ui.calibrate_button->setEnabled(true);
    ui.calibrate_button->setText("CALIBRATE ?");
    ui.calibTimerLabel->setEnabled(false);
    ui.calibrate_textbrowser2->append(text);
}

static void prepareCalibrationStyle(qtTharlenTest& window) {
    startCalibTest = true;
    const ModelLine& line = window.modelLine();
    if (line.calibration == Calibration::HomeSensors)
        prepareAutoCalibration(window);
    else if (line.calibration == Calibration::InkWell)
        prepareInkwellCalibration(window, line.illustration, QString(kInkwellText) + line.calibrationNote);
}

// Meant: the illustration is set and stays unseen.
static void prepareResetCalibration(qtTharlenTest& window) {
    auto& ui = window.ui;
    showCalibrationIllustration(window, "Tharlen1.5_calibration.png");
    if (is_tharlen_reset_supported(window.csTharlenID) != 0) {
        ui.calibrate_button->setEnabled(true);
        ui.calibrate_textbrowser2->append("This Tharlen model undergoes RESET type calibration.");
        ui.calibrate_textbrowser2->append(
            "Please Hold the THARLEN in the reset position and press ALT+C or click calibrate to reset.");
        ui.calibrate_textbrowser2->append(
            "At the RESET position, the links from the 4-bar linkage system of the Tharlen must be orthogonal to each "
            "other to form a rectangle. ");
    }
}

// Each entry discards the stored calibration: the device is always calibrated from nothing here. What the styles show
// goes first, since a device of no known style would keep what another one left.
void qtTharlenTest::onCalibrationTab() {
    const int id = csTharlenID;
    const QString model = shownModelName(QString::fromLatin1(get_tharlen_model_type(id)));
    appendPlain(ui.calibrate_textbrowser1, "You have chosen the following device profile for testing: "
                                               + ui.m_cmbTHARLeN->currentText() + "\nDevice model type: " + model);
    validCalibType = is_calibration_supported(id);
    m_form.putBack({ui.calibrate_button, ui.calibTimerLabel, ui.pinch_calibrate_button});
    ui.calibrate_button->setStyleSheet(kNotYetStyle);
    ui.calibrate_button->setEnabled(true);
    ui.calibTimerLabel->setEnabled(true);
    ui.frame11->hide();
    hideHomeIndicators(*this);
    bResetCalib = false;
    onClickLoseCalibration();
    if (validCalibType != 0)
        prepareCalibrationStyle(*this);
    else
        prepareResetCalibration(*this);
    preparePinchCalibration(*this);
}

// --- Completion ------------------------------------------------------------------------------------

/// The record, and in manufacturing the way on.
static void passCalibration(qtTharlenTest& window) {
    window.repData->bCalibrationPass = true;
    window.checkCalibTimer->stop();
    if (!window.manufMode)
        return;
    placeTab(window, "Read Encoder");
    window.ui.next_button->setEnabled(true);
}

static void finishInkwellCalibration(qtTharlenTest& window) {
    auto& ui = window.ui;
    ui.calibrate_textbrowser2->append("Nolva calibration successfully updated.");
    ui.calibrate_button->setText("CALIBRATION DONE !");
    ui.calibrate_button->setStyleSheet(kPassStyle);
    passCalibration(window);
}

static void showHomeFound(qtTharlenTest& window, int axis) {
    auto& ui = window.ui;
    QLabel* const indicators[3] = {ui.X_HOME, ui.Y_HOME, ui.Z_HOME};
    const char* const texts[3] = {"X HOME FOUND", "Y HOME FOUND", "Z HOME FOUND"};
    showText(indicators[axis], texts[axis]);
    showStyle(indicators[axis], kPassStyle);
}

// The status is read on success and without it: this is what turns the flags that were found into a calibration.
static void updateAutoCalibration(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.isCorvaleCalibrated(window.csTharlenID)) {
        ui.calibrate_textbrowser2->append("Calibration updated for Nolva X..");
        ui.calibrate_button->setStyleSheet(kPassStyle);
        ui.calibrate_button->setEnabled(true);
        ui.calibrate_button->setText("CALIBRATION DONE");
        for (int axis = 0; axis < 3; ++axis)
            showHomeFound(window, axis);
        passCalibration(window);
    }
    int status = 0;
    if (get_calibration_status(window.csTharlenID, &status) >= 0 && status == kCalibrationNeeded)
        update_calibration(window.csTharlenID);
}

// The ticks in the ink well add up over visits to it and to the tab.
void qtTharlenTest::updateOrdaCorvaleCalib() {
    calibCounter += 1.0f;
    if (csTharlenID < 0)
        return;
    const ModelLine& line = modelLine();
    if (line.calibration == Calibration::InkWell) {
        int& ticks = dockedTicks[line.dockedReading];
        if (line.docked(get_inkwell_switch(csTharlenID)) && ++ticks == line.dockedTicks) {
            finishInkwellCalibration(*this);
            ticks = 0;
            if (isCNolvaDevice())
                startCalibTest = false;
        }
        ui.calibTimerLabel->setText(QString());
    } else if (line.calibration == Calibration::HomeSensors) {
        updateAutoCalibration(*this);
    }
}

// Hardware revisions 2 to 7 have three flags and two gaps on X and Y and one flag on Z; on others one flag an
// axis is enough. An axis turns green on its own.
bool qtTharlenTest::isCorvaleCalibrated(int id) {
    m_pCalibration = get_calibration_data(id);
    if (!m_pCalibration)
        return false;
    mpSensorData = m_pCalibration->GetAxisSensorData();
    const int firmRev = get_hardware_rev(id);
    const bool manyFlags = hasManyFlags(firmRev);
    bool all = true;
    for (int axis = 0; axis < 3; ++axis) {
        const int flags = loadRelaxed(mpSensorData[axis].nFlags);
        const int gaps = loadRelaxed(mpSensorData[axis].nGaps);
        const bool found = !manyFlags ? flags > 0 : axis == 2 ? flags == 1 : flags == 3 && gaps == 2;
        if (found)
            showHomeFound(*this, axis);
        all = all && found;
    }
    return all && isInkwellCalibrated(id);
}

/// Whether the calibration in force is acceptable, whatever its style.
bool qtTharlenTest::isInkwellCalibrated(int id) {
    int status = 0;
    return get_calibration_status(id, &status) >= 0 && (status & kCalibrationIncorrect) == 0;
}

// --- Buttons ---------------------------------------------------------------------------------------

// The forced update does not look at the ink well; on a Corvale the button has no effect.
void qtTharlenTest::onClickCalibrateButton() {
    const int id = csTharlenID;
    if (id < 0)
        return;
    const ModelLine& line = modelLine();
    if (line.calibration == Calibration::InkWell) {
        update_calibration(id);
        ui.calibrate_textbrowser2->append(QString("Forced the Calibration update for %1..").arg(line.name));
        repData->bCalibrationPass = true;
    } else if (line.calibration == Calibration::ResetPose && is_tharlen_reset_supported(id) != 0) {
        repData->bCalibrationPass = resetCalibration(*this);
        ui.calibrate_button->setStyleSheet(repData->bCalibrationPass ? kPassStyle : kNotYetStyle);
    }
}

bool resetCalibration(qtTharlenTest& window) {
    const bool good = tharlen_reset(window.csTharlenID) == 0;
    window.ui.calibrate_textbrowser2->append(good ? "Tharlen successfully underwent RESET calibration.\n"
                                                  : "Error encountered during RESET calibration procedure.\n ");
    return good;
}

void qtTharlenTest::onClickCalibrate() {
    if (csTharlenID < 0 || validCalibType == 0 || (!isCorvale() && !isOrda()))
        return;
    QTextBrowser* text = ui.calibrate_textbrowser2;
    if (isOrda()) {
        text->append(kInkwellText);
        text->append(kMoveText);
    }
    if (update_calibration(csTharlenID) != 0) {
        text->append(isOrda() ? "There was an error in INKWELL calibrating the Tharlen"
                              : "There was an error in AUTO calibrating the Device");
        return;
    }
    text->append(isOrda() ? "This Device has successfully INKWELL calibrated.."
                          : "This Device has successfully AUTO calibrated..");
    text->append("Please press next to proceed.");
}
