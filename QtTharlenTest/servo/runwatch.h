// What the servo thread saw of the device while a test ran. The verdicts of some tests come out of encoder counts
// or the fault line alone, which look the same on an arm that does not answer or is not driven: beside such a
// verdict the window says so.
#pragma once

#include <QString>
#include <cstdint>

#include "handover.h"

/// What a watch saw up to a moment. All in ticks.
struct RunSeen {
    /// From one look at the amplifiers to the next. They hardly change faster, and a tick stays as short as it was.
    static constexpr int kLookEvery = 10;

    std::int64_t ticks = 0;
    std::int64_t silent = 0;     ///< on which the device did not answer
    std::int64_t silentRow = 0;  ///< of these, the last ones without a break
    std::int64_t off = 0;        ///< on which the amplifiers were off
    std::int64_t offRow = 0;

    /// A run of fewer ticks is not judged: it was stepped without a loop, or the loop stands still, which the
    /// window tells in another place.
    bool enough() const { return ticks >= 100; }
    /// For more than a tenth of the run or at its end, when the verdict is formed. Less is a moment that the
    /// figures get over: amplifiers take some milliseconds to come on.
    bool wasSilent() const { return enough() && lasted(silent, silentRow); }
    bool wasOff() const { return enough() && lasted(off, offRow); }
    bool neverOn() const { return enough() && throughout(off); }
    /// What there is to say beside the verdicts of a run that drives the arm; empty for nothing.
    QString note() const;

private:
    bool lasted(std::int64_t all, std::int64_t row) const { return all * 10 > ticks || row >= 20; }
    bool throughout(std::int64_t all) const { return all + kLookEvery > ticks; }  // but before the first look
    QString during(std::int64_t all) const;
};

/// Watches the runs of one test. The servo thread alone counts, and starts from zero with the first tick of a run,
/// so that no tick of the run before is left in it. A tick outside of a watched run asks the device nothing for it.
class RunWatch {
public:
    /// A new run. [graphical thread]
    void start() {
        m_run = m_run + 1;
        m_on = true;
    }
    /// Ends the run; what was seen of it. To be asked before the forces are switched off. [graphical thread]
    RunSeen end() {
        m_on = false;
        return seen();
    }
    RunSeen seen() const;
    /// A tick with the status of its refresh. [servo thread]
    void note(int id, int status) {
        if (m_on)
            count(id, status);
    }

private:
    void count(int id, int status);

    Shared<bool> m_on;
    Shared<int> m_run;
    Shared<int> m_counted;  ///< the run that the counts below are of
    Shared<std::int64_t> m_ticks, m_silent, m_silentRow, m_off, m_offRow;
    bool m_amplifiersOff = false;  ///< at the last look; the servo thread's own
};
