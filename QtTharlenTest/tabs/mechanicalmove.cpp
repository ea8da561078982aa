// What the friction and the capstan test share: the state of their machines, the check for stillness, and the
// voltages that the servo tick sends. One step of a machine is one event of a 1 ms timer.
#include "mechanicalmove.h"
#include "qttharlentest.h"

namespace {

constexpr long kStillCounts = 5;  ///< an axis that moves no further in a step is still
constexpr int kStillSteps = 500;  ///< so many still steps in a row make an arm at rest

}  // namespace

/// All that both tests start from. What a test still needs of an earlier run is not cleared here.
void clearMove(qtTharlenTest& window) {
    window.m_vvMaxVoltage = window.m_vvVoltageIncr = window.m_vvVoltageChange = window.m_vvMoveMaxVoltage =
        window.m_vvMoveIncr = {};
    window.m_pvEncoderChange = {};
    window.m_nStage = 0;
    window.m_nAxis = 0;
    window.m_nSameEncoderCnt = 0;
    for (int i = 0; i < 3; ++i) {
        window.m_anLastEncoders[i] = 0;
        window.m_abRamping[i] = 0;
    }
    window.m_fVoltsToSend.fill(0);
    window.m_fVoltsSent.fill(0);
}

bool isArmStill(qtTharlenTest& window, const long* encoders) {
    bool still = true;
    for (int i = 0; i < 3; ++i) {
        still &= qAbs(encoders[i] - window.m_anLastEncoders[i]) <= kStillCounts;
        window.m_anLastEncoders[i] = encoders[i];
    }
    window.m_nSameEncoderCnt = still ? window.m_nSameEncoderCnt + 1 : 0;
    return window.m_nSameEncoderCnt >= kStillSteps;
}

int qtTharlenTest::SendVoltages(int nTHARLeNID, float* fVolts) {
    long encoders[6] = {};
    get_encoder_values(nTHARLeNID, encoders);
    for (int i = 0; i < 3; ++i) {
        const float limit = m_vvMoveMaxVoltage.afVoltages[i];
        m_fVoltsToSend[i] = fVolts[i] < limit ? fVolts[i] : limit;
        m_fVoltsToSend[i + 3] = 0;
    }
    return 0;
}

// Fewer ticks than a run takes say nothing of the arm: the figures are then what they are.
void appendNote(QTextBrowser* box, const RunSeen& seen, const bool (&unmoved)[3], const char* consequence) {
    QString note = seen.note();
    QStringList axes;
    for (int i = 0; i < 3; ++i) {
        if (unmoved[i])
            axes << QString("XYZ"[i]);
    }
    if (note.isEmpty() && seen.enough() && !axes.isEmpty())
        note = "Note: no movement was seen of " + axes.join(", ") + ". " + consequence;
    if (!note.isEmpty())
        box->append(note);
}
