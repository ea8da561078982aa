// bareloop PERIOD SECONDS: a thread with ordinary scheduling that sleeps to absolute times and does nothing else, as
// the simulated arm's loop asks the system for it. Prints a line for each microsecond of lateness that came: the
// microseconds, and how often.
#include <fcntl.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>

static std::int64_t now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000000000LL + t.tv_nsec;
}

int main(int argc, char** argv) {
    const std::int64_t period = argc == 3 ? 1000LL * std::atoi(argv[1]) : 0;  // ns
    const std::int64_t seconds = argc == 3 ? std::atoi(argv[2]) : 0;
    if (period <= 0 || seconds <= 0) {
        std::fprintf(stderr, "Usage: bareloop PERIOD SECONDS, the period in microseconds\n");
        return 2;
    }
    prctl(PR_SET_TIMERSLACK, 1UL);
    const std::int32_t awake = 0;  // kept out of deep sleep for as long as the file is open, where that is permitted
    const int file = open("/dev/cpu_dma_latency", O_WRONLY | O_CLOEXEC);
    if (file >= 0 && write(file, &awake, sizeof awake) != sizeof awake)
        close(file);

    std::map<std::int64_t, std::uint64_t> late;
    std::int64_t next = now() + period;
    const std::int64_t end = next + 1000000000LL * seconds;
    while (next < end) {
        const timespec until{static_cast<time_t>(next / 1000000000LL), static_cast<long>(next % 1000000000LL)};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
        }
        const std::int64_t lateness = now() - next;
        ++late[lateness / 1000];
        next += period * (1 + lateness / period);
    }
    for (const auto& [microseconds, count] : late)
        std::printf("%06lld %06llu\n", static_cast<long long>(microseconds), static_cast<unsigned long long>(count));
}
