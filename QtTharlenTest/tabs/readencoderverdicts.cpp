// Verdicts of the "Read Encoder" tab: travel of each axis, transitions of each switch, and the operator's choices.
#include <QButtonGroup>

#include "modellines.h"
#include "qttharlentest.h"
#include "restyle.h"

namespace {

constexpr int kSwitchTransitions = 3;  ///< a switch passes above this, each way

/// Whether the operator has chosen one of the two; a group for the moment leaves their marks as they are.
bool chosen(const char* name, QAbstractButton* pass, QAbstractButton* fail) {
    QButtonGroup group;
    group.setObjectName(QLatin1String(name));
    group.addButton(pass);
    group.addButton(fail);
    return group.checkedButton() != nullptr;
}

/// One step of counting: a level that differs from the state is a transition. True on the rise.
bool countTransition(bool level, int& state, int& on, int& off) {
    if (state == 1 && !level) {
        ++off;
        state = 0;
    } else if (state == 0 && level) {
        ++on;
        state = 1;
        return true;
    }
    return false;
}

bool enoughTransitions(int on, int off) { return on > kSwitchTransitions && off > kSwitchTransitions; }

}  // namespace

// --- Encoders --------------------------------------------------------------------------------------

/// A verdict once reached holds: it is never cleared here. Both arrays have six elements, counts.
static void judgeEncoders(qtTharlenTest& window, const long* travel, const long* least) {
    auto& ui = window.ui;
    QLabel* const labels[6] = {ui.encoder_X, ui.encoder_Y, ui.encoder_Z, ui.gimbal_X, ui.gimbal_Y, ui.gimbal_Z};
    for (int i = 0; i < 6; ++i) {
        window.repData->lMaxEncoderVal[i] = window.m_lMaxEncoderVal[i];
        window.repData->lMinEncoderVal[i] = window.m_lMinEncoderVal[i];
        if (travel[i] >= least[i])
            window.repData->bEncoderPass[i] = true;
        showStyle(labels[i], window.repData->bEncoderPass[i] ? kPassStyle : kNotYetStyle);
    }
}

// Meant: a base axis keeps its last choice where none is marked; a gimbal axis counts as failed then.
static int takeEncoderChoices(qtTharlenTest& window) {
    auto& ui = window.ui;
    const struct {
        const char* group;
        QRadioButton *pass, *fail;
    } axes[6] = {{"XEncgroup", ui.RB_X_P, ui.RB_X_F},   {"YEncgroup", ui.RB_Y_P, ui.RB_Y_F},
                 {"ZEncgroup", ui.RB_Z_P, ui.RB_Z_F},   {"XGimgroup", ui.RB_GX_P, ui.RB_GX_F},
                 {"YGimgroup", ui.RB_GY_P, ui.RB_GY_F}, {"ZGimgroup", ui.RB_GZ_P, ui.RB_GZ_F}};
    bool all = true;
    for (int i = 0; i < 6; ++i) {
        if (i >= 3 || axes[i].pass->isChecked() || axes[i].fail->isChecked())
            window.repData->bManualEncoderPass[i] = axes[i].pass->isChecked();
        all = chosen(axes[i].group, axes[i].pass, axes[i].fail) && all;
    }
    return all ? 1 : 0;
}

int qtTharlenTest::checkEncoderPass() {
    const ModelLine& line = modelLine();
    if (line.leastTravel || isCorvale()) {
        const AxisCounts least = isCorvale() ? leastTravel(m_cdCorvale) : *line.leastTravel;
        AxisCounts travel;
        for (int i = 0; i < 6; ++i)
            travel[static_cast<std::size_t>(i)] = line.travelOf(i, m_lMinEncoderVal[i], m_lMaxEncoderVal[i]);
        judgeEncoders(*this, travel.data(), least.data());
    }
    return takeEncoderChoices(*this);
}

// --- Switches --------------------------------------------------------------------------------------

static void countSwitches(qtTharlenTest& window) {
    const int id = window.csTharlenID;
    countTransition(get_stylus_switch(id, 0) != 0, window.stylusSwitchState, window.stylusSwitchCounterOn,
                    window.stylusSwitchCounterOff);
    if (window.modelLine().presenceSwitch)
        countTransition(get_stylus_presence(id) != 0, window.presenceSwitchState, window.presenceSwitchCounterOn,
                        window.presenceSwitchCounterOff);
    if (!window.hasInkwell())
        return;
    if (countTransition(get_inkwell_switch(id) != 0, window.inkwellSwitchState, window.inkwellSwitchCounterOn,
                        window.inkwellSwitchCounterOff))
        window.resetForceSliders();
    countTransition(get_stylus_switch(id, 1) != 0, window.extraSwitchState, window.extraSwitchCounterOn,
                    window.extraSwitchCounterOff);
}

// The raw readings are counted: on a Nolva device the ink well's sense is the opposite of what is displayed. An
// operator's fail completes the tab as a pass does.
int qtTharlenTest::checkSwitchPass() {
    const ModelLine& line = modelLine();
    countSwitches(*this);
    repData->bSwitchPass = enoughTransitions(stylusSwitchCounterOn, stylusSwitchCounterOff);
    showStyle(ui.stylusButton_1, repData->bSwitchPass ? kPassStyle : kNotYetStyle);
    if (line.presenceSwitch) {
        repData->bPresencePass = enoughTransitions(presenceSwitchCounterOn, presenceSwitchCounterOff);
        showStyle(ui.safetySwitch, repData->bPresencePass ? kPassStyle : kNotYetStyle);
    }
    repData->bManualSwitchPass = ui.RB_STYLUS_P->isChecked();
    bool all = chosen("SStylusgroup", ui.RB_STYLUS_P, ui.RB_STYLUS_F);
    if (line.judgesInkwell) {
        repData->bInkwellPass = enoughTransitions(inkwellSwitchCounterOn, inkwellSwitchCounterOff);
        showStyle(ui.inkwellSwitch, repData->bInkwellPass ? kPassStyle : kNotYetStyle);
        repData->bExtraSwitchPass = enoughTransitions(extraSwitchCounterOn, extraSwitchCounterOff);
        showStyle(ui.stylusButton_2, repData->bExtraSwitchPass ? kPassStyle : kNotYetStyle);
        repData->bManualExtraSwitchPass = ui.RB_EXTRA_P->isChecked();
        repData->bManualInkwellPass = ui.RB_INKWELL_P->isChecked();
        all = chosen("SExtragroup", ui.RB_EXTRA_P, ui.RB_EXTRA_F) && all;
        all = chosen("SInkgroup", ui.RB_INKWELL_P, ui.RB_INKWELL_F) && all;
    }
    return all ? 1 : 0;
}
