// The "Read Encoder" tab: live encoders, positions and switches.
#include <initializer_list>

#include "modellines.h"
#include "qttharlentest.h"
#include "restyle.h"
#include "tabs.h"

namespace {

constexpr int kUpdatePeriod = 20;  ///< ms
constexpr float kDegreesPerRadian = 57.2957795f;

QString shortNumber(float value) { return QString::number(static_cast<double>(value), 'g', 4); }

QString rangesText(const AxisCounts& ranges) {
    QString text = "This Device should have the following minimum encoder range:\r\n\r\n";
    for (std::size_t axis = 0; axis < 6; ++axis) {
        if (axis == 3)
            text += "\r\n";
        text += QString::asprintf("%s %c axis total counts: %ld \r\n", axis < 3 ? "Base" : "Gimbal", "XYZ"[axis % 3],
                                  ranges[axis]);
    }
    return text;
}

/// The level as text and, where no verdict colours the button on the same tick, as colour.
void showSwitch(QPushButton* button, bool on, bool judged) {
    showText(button, on ? "ON" : "OFF");
    if (!judged)
        showStyle(button, on ? kPassStyle : kNotYetStyle);
}

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void enterReadEncoder(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.csTharlenID < 0)
        return;
    window.PrepareOutputString3();
    ui.encoderStatus_select->setVisible(window.manufMode);
    ui.gimbalStatus_select->setVisible(window.manufMode);
    ui.switchStatus_select->setVisible(window.manufMode);
    if (window.manufMode) {
        ui.tabWidget->setTabEnabled(2, false);
        if (window.encoderTestMode)
            placeTab(window, "Encoder Test");
    }
    window.onEncoderTab();
}

void leaveReadEncoder(qtTharlenTest& window) { window.encoderGuiUpdateTimer->stop(); }

// --- Preparing the tab -----------------------------------------------------------------------------

static void showPinch(qtTharlenTest& window, bool fitted) {
    auto& ui = window.ui;
    ui.pinch_label->setVisible(fitted);
    ui.pinch_value->setVisible(fitted);
    if (!fitted)
        return;
    const int kind = tharlen_which_pinch(window.csTharlenID);
    if (kind == 1)
        ui.pinch_label->setText("Thumbpad:");
    else if (kind == 2)
        ui.pinch_label->setText("Scissor:");
}

// The counters stay: a switch held on at a second visit counts one more on.
void qtTharlenTest::onEncoderTab() {
    if (manufMode)
        stylusSwitchState = presenceSwitchState = extraSwitchState = inkwellSwitchState = 0;
    const ModelLine& line = modelLine();
    const bool judged = manufMode && line.judgesEncoders;
    for (QLabel* label : {ui.encoder_X, ui.encoder_Y, ui.encoder_Z, ui.gimbal_X, ui.gimbal_Y, ui.gimbal_Z})
        showStyle(label, judged ? kNotYetStyle : "");
    encoderGuiUpdateTimer->start(kUpdatePeriod);

    const bool inkwell = hasInkwell();
    const bool other = !line.automaticInspections;
    const bool gimbal = tharlen_check_for_gimbal(csTharlenID) != 0;
    const bool stylus = !other || gimbal;
    for (QWidget* widget : std::initializer_list<QWidget*>{ui.stylusButton_2_label, ui.stylusButton_2,
                                                           ui.inkwellSwitch_Label, ui.inkwellSwitch})
        widget->setVisible(inkwell);
    ui.safetySwitch_label->hide();
    ui.safetySwitch->hide();
    ui.label_15->setVisible(stylus);
    ui.stylusButton_1->setVisible(stylus);
    ui.encoderStatus_help_textBox->setVisible(!other);
    ui.groupBox_3->setVisible(stylus);
    ui.groupBox_4->setVisible(stylus);
    showPinch(*this, other && tharlen_check_for_pinch(csTharlenID) > 0);
    if (manufMode) {
        for (QWidget* widget :
             std::initializer_list<QWidget*>{ui.RB_EXTRA_P, ui.RB_EXTRA_F, ui.RB_INKWELL_P, ui.RB_INKWELL_F})
            widget->setVisible(inkwell);
        ui.RB_SAFETY_P->hide();
        ui.RB_SAFETY_F->hide();
        ui.RB_STYLUS_P->setVisible(stylus);
        ui.RB_STYLUS_F->setVisible(stylus);
    }
    if (!other)
        return;
    ui.encoderStatus_select->setVisible(manufMode);
    ui.gimbalStatus_select->setVisible(manufMode && gimbal);
    ui.switchStatus_select->setVisible(manufMode && gimbal);
}

void qtTharlenTest::PrepareOutputString3() {
    const ModelLine& line = modelLine();
    if (!line.automaticInspections)
        return;
    ui.encoderStatus_help_textBox->setText(isCorvale()       ? rangesText(leastTravel(m_cdCorvale))
                                           : line.toldTravel ? rangesText(*line.toldTravel)
                                                             : QString());
}

// --- The tick --------------------------------------------------------------------------------------

static void showEncoders(qtTharlenTest& window, const long* encoders) {
    auto& ui = window.ui;
    float jAngle[6] = {};
    get_tharlen_joint_angles(window.csTharlenID, jAngle);
    QLabel* const labels[6] = {ui.encoder_X, ui.encoder_Y, ui.encoder_Z, ui.gimbal_X, ui.gimbal_Y, ui.gimbal_Z};
    const Qt::CheckState degrees = ui.showDeg_check->checkState();
    for (int i = 0; i < 6; ++i) {
        if (degrees == Qt::Checked)
            showText(labels[i], shortNumber(jAngle[i] * kDegreesPerRadian));
        else if (degrees == Qt::Unchecked)
            showText(labels[i], QString::number(static_cast<int>(encoders[i])));
    }
}

static void showPositionsAndSwitches(qtTharlenTest& window) {
    auto& ui = window.ui;
    const int id = window.csTharlenID;
    float endPosition[3] = {};
    get_tharlen_pos(id, endPosition);
    showText(ui.position_X, shortNumber(endPosition[0]));
    showText(ui.position_Y, shortNumber(endPosition[1]));
    showText(ui.position_Z, shortNumber(endPosition[2]));
    const ModelLine& line = window.modelLine();
    const bool inkwellJudged = window.manufMode && line.judgesInkwell;
    showSwitch(ui.stylusButton_1, get_stylus_switch(id, 0) != 0, window.manufMode);
    showSwitch(ui.stylusButton_2, get_stylus_switch(id, 1) != 0, inkwellJudged);
    showSwitch(ui.inkwellSwitch, line.docked(get_inkwell_switch(id)), inkwellJudged);
    showSwitch(ui.safetySwitch, get_stylus_presence(id) != 0, window.manufMode && line.presenceSwitch);
    if (line.sixDof && tharlen_check_for_pinch(id) > 0)
        showText(ui.pinch_value, QString::number(get_pinch_value(id), 'g', 4));
}

void qtTharlenTest::updateReadEncoderTab() {
    const int id = csTharlenID;
    long mEncoder[6] = {};
    get_encoder_values(id, mEncoder);
    showEncoders(*this, mEncoder);
    showPositionsAndSwitches(*this);
    if (!manufMode)
        return;
    for (int i = 0; i < 6; ++i) {
        m_lMaxEncoderVal[i] = qMax(m_lMaxEncoderVal[i], mEncoder[i]);
        m_lMinEncoderVal[i] = qMin(m_lMinEncoderVal[i], mEncoder[i]);
    }
    // Meant: a Nolva device and all other models never complete the encoder part here.
    const bool encTestCompleted = modelLine().judgesEncoders && checkEncoderPass() != 0;
    const bool swiTestCompleted = checkSwitchPass() != 0;
    if (!encTestCompleted || !swiTestCompleted)
        return;
    placeTab(*this, "Cycle Amps");
    ui.next_button->setEnabled(true);
}
