// The servo loop: starting, stopping, its thread and its rate, beside what the machine gives to a thread of ours.
#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <complex>
#include <random>
#include <set>
#include <thread>

#include "bench.h"

namespace librarycheck {
namespace {

constexpr int kStops = 1000;
constexpr double kStopSeconds = 45;  ///< for them: how long a start takes is the library's
constexpr double kRateSeconds = 0.7;
constexpr int kRateTries = 3;
constexpr double kMostLost = 0.03;  ///< of the periods, on a machine that loses none itself
constexpr double kBusy = 0.1;       ///< of the periods lost by the machine itself: it tells nothing of a library
constexpr int kStatusCodes[] = {0,
                                kMotorsWarm,
                                kMaxForceExceeded,
                                kDeviceFault,
                                kCommunicationError,
                                kMaxVelocityExceeded,
                                kCommunicationErrorUsb,
                                kParallelPortSetup,
                                kAdapterSetup,
                                kCommunicationErrorLan,
                                kDriverSetup};

std::string startsEarly(Bench& bench) {
    RunningLoop loop(bench.lib, -1);
    int status = 0;
    try {
        loop.start(0);
    } catch (const Broken&) {
        status = -1;
    }
    sleepFor(30);
    loop.stop();
    demand(status < 0, "it started before createServoLoop, and ticked %llu times",
           static_cast<unsigned long long>(loop.ticks()));
    demand(loop.lateCalls() == 0, "the start was refused, and the loop called back all the same");
    return "refused";
}

std::string stopsIdle(Bench& bench) {
    bench.lib.stopServoLoop();
    demand(!bench.lib.isServoLoopRunning(), "isServoLoopRunning is true where nothing runs");
    bench.lib.createServoLoop();
    bench.lib.stopServoLoop();
    demand(!bench.lib.isServoLoopRunning(), "isServoLoopRunning is true where nothing runs");
    return "before and after createServoLoop";
}

std::string callsBack(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id, [] {});
    for (int run = 0; run < 3; ++run) {
        sleepFor(10);  // what a library does after a stop is another promise's
        loop.start(30);
        demand(bench.lib.isServoLoopRunning(), "isServoLoopRunning is false while the loop ticks");
        loop.stop();
        demand(!bench.lib.isServoLoopRunning(), "isServoLoopRunning is true after the stop");
        demand(!loop.strangeData(), "a callback did not get the pUserData that startServoLoop was given");
        demand(!loop.onCaller(), "a tick ran on the thread that had started the loop");
        demand(loop.oneThread(), "ticks of one run came on several threads");
        demand(!loop.overlapped(), "two ticks were under way at once");
        demand(loop.saidRunning(), "isServoLoopRunning is false inside a tick");
    }
    return "three runs";
}

std::string stops(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    std::minstd_rand dice(1);
    std::uniform_real_distribution<double> moment(0.0, 1000.0 / bench.options.rate);
    int late = 0, tried = 0;
    double longest = 0.0;
    const std::int64_t until = nanoseconds() + static_cast<std::int64_t>(kStopSeconds * 1e9);
    for (; tried < kStops && nanoseconds() < until; ++tried) {
        loop.start();
        sleepFor(moment(dice));  // anywhere in a period
        const std::uint64_t before = loop.lateCalls();
        const std::int64_t asked = nanoseconds();
        loop.stop();
        longest = std::max(longest, static_cast<double>(nanoseconds() - asked) / 1e6);
        sleepFor(1300.0 / bench.options.rate);
        late += loop.lateCalls() != before ? 1 : 0;
    }
    demand(late == 0, "%d of %d stops were followed by a callback", late, tried);
    return text("%d stops%s, the longest took %.1f ms", tried, tried < kStops ? ", there was no time for more" : "",
                longest);
}

// --- Rates -----------------------------------------------------------------------------------------

struct Regularity {
    double rate = 0.0;  ///< Hz, of the ticks that came
    int ticks = 0;
    int lost = 0;           ///< periods without a tick
    double lateness = 0.0;  ///< us, median, from an even grid
};

/// The mean of the ticks' phases on a grid of this rate: its length, 0 to 1, tells how well they lie on it.
std::complex<double> meanPhase(const std::vector<std::int64_t>& times, double rate) {
    std::complex<double> sum = 0.0;
    for (const std::int64_t time : times)
        sum += std::polar(1.0, 2.0 * M_PI * rate * 1e-9 * static_cast<double>(time - times.front()));
    return sum / static_cast<double>(times.size());
}

constexpr std::size_t kFewestTicks = 10;  ///< that a rate is told of

/// The peak of the ticks' periodogram around the rate that was asked for, which late and lost ticks leave where it is;
/// where there is none, ticks by time. Hz.
double rateOfTicks(const std::vector<std::int64_t>& times, double wanted) {
    constexpr double kAround = 0.08, kStepHertz = 0.4, kFlat = 0.25;
    if (times.size() < kFewestTicks)
        return 0.0;
    double best = 0.0, found = 0.0;
    for (double rate = wanted * (1 - kAround); rate < wanted * (1 + kAround); rate += kStepHertz) {
        const double here = std::abs(meanPhase(times, rate));
        if (here > best) {
            best = here;
            found = rate;
        }
    }
    const double seconds = 1e-9 * static_cast<double>(times.back() - times.front());
    return best < kFlat ? static_cast<double>(times.size() - 1) / seconds : found;
}

/// How the ticks lie on the even grid of this rate that fits them best.
Regularity regularityOf(const std::vector<std::int64_t>& times, double rate) {
    Regularity r;
    r.rate = rate;
    r.ticks = static_cast<int>(times.size());
    if (times.size() < kFewestTicks)
        return r;
    const double anchor = std::arg(meanPhase(times, r.rate)) / (2.0 * M_PI);
    std::vector<double> late;
    std::set<long> periods;
    for (const std::int64_t time : times) {
        const double at = 1e-9 * static_cast<double>(time - times.front()) * r.rate - anchor;
        periods.insert(std::lround(at));
        late.push_back(std::abs(at - std::lround(at)) / r.rate * 1e6);
    }
    r.lost = static_cast<int>(*periods.rbegin() - *periods.begin()) + 1 - static_cast<int>(periods.size());
    r.lateness = medianOf(late);
    return r;
}

/// What this machine gives to a thread that wakes at the same rate, with the scheduling that it gets.
class MachineClock {
public:
    explicit MachineClock(int rate) : period_(1000000000LL / rate), thread_([this] { run(); }) {}
    ~MachineClock() {
        quit_ = true;
        thread_.join();
    }
    std::vector<std::int64_t> end() {
        quit_ = true;
        thread_.join();
        thread_ = std::thread([] {});
        ended_ = nanoseconds();
        return times_;
    }
    /// Of the periods from the start to the end, 0 to 1.
    double lostShare() const {
        const double periods = static_cast<double>(ended_ - started_) / static_cast<double>(period_);
        return std::max(0.0, 1.0 - static_cast<double>(times_.size()) / periods);
    }

private:
    void run() {
        sched_param parameter{};
        parameter.sched_priority = 10;
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter);
        std::int64_t next = nanoseconds() + period_;
        while (!quit_) {
            const timespec t{static_cast<time_t>(next / 1000000000LL), static_cast<long>(next % 1000000000LL)};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr);
            const std::int64_t now = nanoseconds();
            times_.push_back(now);
            next += period_ * (1 + std::max<std::int64_t>(0, now - next) / period_);
        }
    }

    const std::int64_t period_, started_ = nanoseconds();
    std::int64_t ended_ = 0;
    std::atomic<bool> quit_{false};
    std::vector<std::int64_t> times_;
    std::thread thread_;
};

struct MachineBusy : NotTried {
    explicit MachineBusy(const std::string& seen) : NotTried("the machine was too busy to tell: " + seen) {}
};

/// Broken where the ticks are not of this rate, or more are lost than beside what the machine gave meanwhile.
std::string judged(Bench& bench, const std::vector<std::int64_t>& times, MachineClock& machine, int rate) {
    const Regularity given = regularityOf(machine.end(), rate);
    const std::int64_t begun = nanoseconds();
    const Regularity r = regularityOf(times, rateOfTicks(times, rate));
    bench.longer(static_cast<double>(nanoseconds() - begun) / 1e6);  // the limit is for the library's time
    const std::string seen =
        text("%.1f Hz, %d ticks and %d lost, %.0f us off the grid; this machine: %d ticks and %d lost, %.0f us", r.rate,
             r.ticks, r.lost, r.lateness, given.ticks, given.lost, given.lateness);
    const double lost = static_cast<double>(r.lost) / std::max(1, r.ticks + r.lost);
    const double usual = machine.lostShare();
    const bool kept = std::abs(r.rate / rate - 1.0) < 0.01 && lost < kMostLost + 3.0 * usual;
    if (usual > kBusy && (!kept || lost >= kMostLost))
        throw MachineBusy(seen);
    demand(kept, "%s", seen.c_str());
    return seen;
}

/// A busy machine may take the processor from the one and not from the other, or from both, but hardly each time.
template <typename Measure>
std::string tried(Measure measure) {
    for (int left = kRateTries - 1; left > 0; --left) {
        try {
            return measure();
        } catch (const Broken&) {
        } catch (const MachineBusy&) {
        }
    }
    return measure();
}

std::string rateOf(Bench& bench, const OpenDevice& device, int rate) {
    return tried([&] {
        bench.lib.setServoLoopRate(rate);
        RunningLoop loop(bench.lib, device.id);
        loop.start(10);
        MachineClock machine(rate);
        sleepFor(1000.0 * kRateSeconds);
        return judged(bench, loop.times(), machine, rate);
    });
}

std::string rates(Bench& bench) {
    const OpenDevice device(bench);
    speakOf(bench, "loop.rate1000", [&] { return rateOf(bench, device, 1000); });
    speakOf(bench, "loop.rate2000", [&] { return rateOf(bench, device, 2000); });
    speakOf(bench, "loop.rate3000", [&] { return rateOf(bench, device, 3000); });
    speakOf(bench, "loop.rate4000", [&] { return rateOf(bench, device, 4000); });
    return "";
}

std::string rateChanges(Bench& bench) {
    const OpenDevice device(bench);
    return tried([&] {
        bench.lib.setServoLoopRate(1000);
        RunningLoop loop(bench.lib, device.id);
        loop.start(50);
        bench.lib.setServoLoopRate(2000);
        sleepFor(100);
        const auto before = static_cast<std::ptrdiff_t>(loop.times().size());
        MachineClock machine(2000);
        sleepFor(400);
        const std::size_t given = machine.end().size();
        const std::vector<std::int64_t> times = loop.times();
        const std::vector<std::int64_t> after(times.begin() + before, times.end());
        const double hertz = rateOfTicks(after, 2000);
        const std::string seen =
            text("from 1000 to 2000 Hz: %.1f Hz, %zu ticks where this machine gives %zu", hertz, after.size(), given);
        // Ticks of the old rate lie on the grid of the new one as well. How even they are is another promise's.
        const bool enough = static_cast<double>(after.size()) > 0.75 * static_cast<double>(given);
        if (machine.lostShare() > kBusy)
            throw MachineBusy(seen);
        demand(enough && std::abs(hertz / 2000.0 - 1.0) < 0.05, "%s", seen.c_str());
        return seen;
    });
}

std::string instantRate(Bench& bench) {
    const OpenDevice device(bench);
    std::vector<double> values;
    values.reserve(2000);
    RunningLoop loop(bench.lib, device.id, [&] {
        if (values.size() < values.capacity())
            values.push_back(bench.lib.get_tharlen_inst_rate(device.id));
    });
    loop.start(300);
    loop.stop();
    const double rate = medianOf(values);
    demand(std::abs(rate / bench.options.rate - 1.0) < 0.1, "its median is %g Hz on a loop of %d Hz", rate,
           bench.options.rate);
    return text("median %.1f Hz", rate);
}

std::string statuses(Bench& bench) {
    const OpenDevice device(bench);
    std::vector<int> values;
    values.reserve(400);
    RunningLoop loop(bench.lib, device.id);
    loop.start();
    while (values.size() < 300) {
        loop.wait(1);
        values.push_back(loop.status());
    }
    loop.stop();
    int unusual = 0;
    for (const int status : values) {
        demand(std::find(std::begin(kStatusCodes), std::end(kStatusCodes), status) != std::end(kStatusCodes),
               "it gave %d, which the application shows nothing of", status);
        unusual = status != 0 ? status : unusual;
    }
    return unusual ? text("also %d", unusual) : "0";
}

}  // namespace

std::vector<Check> loopChecks() {
    return {
        single("loop.early", Check::Nothing, startsEarly),
        single("loop.idle", Check::Nothing, stopsIdle),
        single("loop.calls", Check::OneArm, callsBack),
        single("loop.stops", Check::OneArm, stops, 60),
        {"loop.rates", {"loop.rate1000", "loop.rate2000", "loop.rate3000", "loop.rate4000"}, Check::OneArm, 30, rates},
        single("loop.change", Check::OneArm, rateChanges),
        single("loop.instant", Check::OneArm, instantRate),
        single("loop.status", Check::EachArm, statuses),
    };
}

}  // namespace librarycheck
