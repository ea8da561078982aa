#include "runwatch.h"

#include <algorithm>
#include <iterator>

#include "device/tharlenio.h"

namespace {

/// Communication and set-up errors: what the library then gives as counts is not the arm's.
bool isNoAnswer(int status) {
    constexpr int kCodes[] = {kCommunicationError, kCommunicationErrorUsb, kParallelPortSetup,
                              kAdapterSetup,       kCommunicationErrorLan, kDriverSetup};
    return std::find(std::begin(kCodes), std::end(kCodes), status) != std::end(kCodes);
}

}  // namespace

// --- Counting --------------------------------------------------------------------------------------

// The amplifiers are asked of on the servo thread, where that question belongs. A look holds for the ticks up to
// the next one; the first ones of a run, in which amplifiers come on, are not looked at.
void RunWatch::count(int id, int status) {
    const int run = m_run;
    if (m_counted != run) {
        for (Shared<std::int64_t>* counter : {&m_ticks, &m_silent, &m_silentRow, &m_off, &m_offRow})
            *counter = 0;
        m_amplifiersOff = false;
        m_counted = run;
    }
    const std::int64_t tick = m_ticks + 1;
    if (tick % RunSeen::kLookEvery == 0)
        m_amplifiersOff = id < 0 || is_tharlen_forces_enabled(id) == 0;
    const auto add = [](bool so, Shared<std::int64_t>& all, Shared<std::int64_t>& row) {
        all = all + so;
        row = so ? row + 1 : 0;
    };
    add(id < 0 || isNoAnswer(status), m_silent, m_silentRow);
    add(m_amplifiersOff, m_off, m_offRow);
    m_ticks = tick;
}

RunSeen RunWatch::seen() const {
    RunSeen seen;
    if (m_counted != m_run)
        return seen;
    seen.ticks = m_ticks;
    seen.silent = m_silent;
    seen.silentRow = m_silentRow;
    seen.off = m_off;
    seen.offRow = m_offRow;
    return seen;
}

// --- Words -----------------------------------------------------------------------------------------

QString RunSeen::during(std::int64_t all) const {
    return throughout(all) ? "during this run" : "during a part of this run";
}

// A device that does not answer has its amplifiers off too: the cause alone is named.
QString RunSeen::note() const {
    const QString consequence = ". What it shows says nothing about the arm.";
    if (wasSilent())
        return "Note: the device did not answer " + during(silent) + consequence;
    if (wasOff())
        return "Note: the amplifiers were not on " + during(off) + consequence;
    return {};
}
