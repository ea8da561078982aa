// The clock of the rules that count milliseconds: one seam, so that a test that steps the loop steps it too.
#pragma once

#include <cstdint>

#include "handover.h"

/// Milliseconds from a fixed point, never going back. [any thread]
using TestClock = std::int64_t (*)();

/// The clock in use: the system's monotonic one, unless a test puts its own in its place before it starts a
/// run. A change of the wall clock ends no run.
extern Shared<TestClock> testClock;

/// The system's monotonic clock, ms.
std::int64_t monotonicMilliseconds();

/// Milliseconds since it was started, by testClock. One thread may start it while another reads. Any thread.
class TestTimer {
public:
    void start() { m_start = testClock.load()(); }
    void restart() { start(); }
    /// 0 until it was started. Goes on past a day.
    std::int64_t elapsed() const {
        const std::int64_t start = m_start;
        return start < 0 ? 0 : testClock.load()() - start;
    }
    /// As if never started.
    void clear() { m_start = -1; }

private:
    Shared<std::int64_t> m_start{-1};
};
