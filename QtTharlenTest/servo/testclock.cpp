#include "testclock.h"

#include <ctime>

Shared<TestClock> testClock = &monotonicMilliseconds;

std::int64_t monotonicMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1000} + now.tv_nsec / 1000000;
}
