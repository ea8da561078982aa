// Calibration of a pinch grip: two presses capture the two ends of its travel.
#include "calibrate.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "servostate.h"

namespace {

enum GripOption { kThumbpad = 1, kScissor = 2 };

struct GripTexts {
    const char *calibrated, *alreadyCalibrated, *prompt, *close, *openPrompt, *open, *done;
};

constexpr GripTexts kThumbpadTexts = {
    "THUMBPAD IS CALIBRATED",
    "THUMBPAD is already calibrated",
    "To Calibrate Thumbpad: Close the THUMBPAD and click button below",
    "CLOSE THUMBPAD AND CLICK",
    "Open Thumbpad and press ALT+P.",
    "OPEN THUMBPAD AND CLICK",
    "Thumbpad successfully calibrated",
};
constexpr GripTexts kScissorTexts = {
    "SCISSOR IS CALIBRATED",
    "SCISSOR is already calibrated",
    "To Calibrate Scissor: Close the SCISSOR and click button below",
    "CLOSE SCISSOR AND CLICK",
    "Open Scissor and press ALT+P.",
    "OPEN SCISSOR AND CLICK",
    "Scissor successfully calibrated",
};

/// Null for a grip of neither kind, which gets no text.
const GripTexts* textsOf(unsigned long option) {
    return option == kThumbpad ? &kThumbpadTexts : option == kScissor ? &kScissorTexts : nullptr;
}

}  // namespace

void preparePinchCalibration(qtTharlenTest& window) {
    auto& ui = window.ui;
    const int id = window.csTharlenID;
    if (tharlen_check_for_pinch(id) == 0) {
        ui.pinch_calibrate_button->hide();
        return;
    }
    ui.pinch_calibrate_button->show();
    const GripTexts* texts = textsOf(window.selectedDevice()->m_nExtra6DOFOption);
    if (is_pinch_calibrated(id) != 0) {
        ui.pinch_calibrate_button->setEnabled(false);
        if (!texts)
            return;
        startPinchCalibration = false;
        ui.pinch_calibrate_button->setText(texts->calibrated);
        ui.pinch_calibrate_button->setStyleSheet(kPassStyle);
        ui.calibrate_textbrowser2->append(texts->alreadyCalibrated);
        return;
    }
    startPinchCalibration = true;
    ui.pinch_calibrate_button->setEnabled(true);
    if (!texts)
        return;
    ui.calibrate_textbrowser2->append(texts->prompt);
    ui.pinch_calibrate_button->setText(texts->close);
}

/// Alt+P, which the prompts speak of. Nothing where no grip waits to be calibrated.
void pressPinchByKey(qtTharlenTest& window) {
    const bool onTab = window.ui.tabWidget->tabText(window.ui.tabWidget->currentIndex()) == "Calibrate";
    if (window.csTharlenID >= 0 && onTab && startPinchCalibration && is_pinch_calibrated(window.csTharlenID) == 0)
        window.onClickCalibratePinch();
}

/// Another device's grip has both of its ends before it.
void forgetPinchPresses() {
    pinchPresses = 0;
    startPinchCalibration = false;
}

// A grip of kind 1 reads high when closed, any other reads low. The servo thread keeps m_pinchValue current.
int qtTharlenTest::onClickCalibratePinch() {
    if (csTharlenID < 0)
        return 0;
    const GripTexts* texts = selectedDevice() ? textsOf(selectedDevice()->m_nExtra6DOFOption) : nullptr;
    const bool firstKind = tharlen_which_pinch(csTharlenID) == 1;
    switch (++pinchPresses) {
        case 1:
            (firstKind ? maxPinchValue : minPinchValue) = m_pinchValue;
            if (texts) {
                ui.calibrate_textbrowser2->append(texts->openPrompt);
                ui.pinch_calibrate_button->setText(texts->open);
            }
            return 1;
        case 2:
            (firstKind ? minPinchValue : maxPinchValue) = m_pinchValue;
            set_pinch_limits(csTharlenID, static_cast<int>(minPinchValue), static_cast<int>(maxPinchValue));
            if (texts) {
                ui.calibrate_textbrowser2->append(texts->done);
                ui.pinch_calibrate_button->setText(texts->calibrated);
                ui.pinch_calibrate_button->setStyleSheet(kPassStyle);
            }
            pinchPresses = 0;
            return 1;
        default:
            return 0;
    }
}
