// The verdict record of all tests, and its reset.
#include <QAbstractButton>
#include <cstring>

#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"

_REPORTDATA::~_REPORTDATA() {
    if (bOwnsSensorMemory) {
        for (AXIS_SENSOR_DATA& axis : asdData) {
            for (SENSOR_DATA* flag : axis.psdFlagData)
                delete flag;
            for (SENSOR_DATA* gap : axis.psdGapData)
                delete gap;
        }
    }
    // Not assigned: stores to an object that ends here are nothing that an optimiser has to keep.
    explicit_bzero(static_cast<REPORTFIELDS*>(this), sizeof(REPORTFIELDS));
}

namespace {

void clearVerdicts(REPORTDATA& record) {
    record.bAmplifierPass = record.bBoxPass = record.bCalibrationPass = false;
    for (int i = 0; i < 3; ++i)
        record.bFrictionPass[i] = record.bCapstanPass[i] = false;
    for (int i = 0; i < 6; ++i) {
        record.bEncoderPass[i] = record.bManualEncoderPass[i] = false;
        record.bForcesPass[i] = record.bManualForcesPass[i] = false;
    }
    record.bOwnsSensorMemory = false;
    record.bSwitchPass = record.bPresencePass = record.bInkwellPass = record.bExtraSwitchPass = false;
    record.bManualSwitchPass = record.bManualPresencePass = false;
    record.bManualInkwellPass = record.bManualExtraSwitchPass = false;
}

}  // namespace

// --- The tab ---------------------------------------------------------------------------------------

void enterSummary(qtTharlenTest& window) {
    auto& ui = window.ui;
    if (window.manufMode) {
        ui.tabWidget->setTabEnabled(6, false);
        ui.tabWidget->setTabEnabled(7, false);
    }
    if (window.csTharlenID < 0)
        return;
    window.createTestReport();
    for (int i = 0; i < ui.tabWidget->currentIndex(); ++i)
        ui.tabWidget->setTabEnabled(i, false);
    ui.next_button->setEnabled(false);
    ui.back_button->setEnabled(false);
}

void qtTharlenTest::initReportData() {
    repData = new REPORTDATA;
    clearVerdicts(*repData);
}

void qtTharlenTest::resetReportData() {
    clearVerdicts(*repData);
    repData->bManualPinchPass = false;
    // An exclusive radio button loses its mark only this way.
    for (QAbstractButton* button :
         {ui.RB_X_P,      ui.RB_X_F,      ui.RB_Y_P,       ui.RB_Y_F,       ui.RB_Z_P,     ui.RB_Z_F,
          ui.RB_GX_P,     ui.RB_GX_F,     ui.RB_GY_P,      ui.RB_GY_F,      ui.RB_GZ_P,    ui.RB_GZ_F,
          ui.RB_SAFETY_P, ui.RB_SAFETY_F, ui.RB_INKWELL_P, ui.RB_INKWELL_F, ui.RB_EXTRA_P, ui.RB_EXTRA_F,
          ui.RB_STYLUS_P, ui.RB_STYLUS_F, ui.RB_FX_P,      ui.RB_FX_F,      ui.RB_FY_P,    ui.RB_FY_F,
          ui.RB_FZ_P,     ui.RB_FZ_F,     ui.RB_FGX_P,     ui.RB_FGX_F,     ui.RB_FGY_P,   ui.RB_FGY_F,
          ui.RB_FGZ_P,    ui.RB_FGZ_F}) {
        button->setCheckable(false);
        button->setCheckable(true);
    }
    clearAxisState();
    for (std::size_t wall = 0; wall < hapticBoxRenderer->m_nWallTransitions.size(); ++wall)
        hapticBoxRenderer->m_nWallTransitions[wall] = 0;
    clearSwitchCounters();
}
