// Waking, catching up without bursts, and handing ticks to the callback.
#include "loop.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "say.h"

namespace arm {
namespace {

constexpr int kPriority = 60;               // of SCHED_FIFO: below the kernel's own threads
constexpr std::int64_t kLongestMove = 100;  // periods that the arm moves in one tick, after a stall
constexpr double kHalfSecond = 0.5e9;       // ns

thread_local bool insideCallback = false;

std::int64_t clockNow() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000000000LL + t.tv_nsec;
}

void sleepUntil(std::int64_t when) {
    const timespec t{static_cast<time_t>(when / 1000000000LL), static_cast<long>(when % 1000000000LL)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr) == EINTR) {
    }
}

/// Locks memory where that cannot make later allocations fail. Pages are locked as they are touched.
void lockMemory() {
    rlimit limit{};
    if (geteuid() == 0 || (getrlimit(RLIMIT_MEMLOCK, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY))
        mlockall(MCL_CURRENT | MCL_FUTURE | MCL_ONFAULT);
}

/// Keeps the processor out of deep sleep for as long as it lives, where the system permits: waking from there costs
/// more than a tick's work. See the kernel's PM QoS interface, /dev/cpu_dma_latency.
class AwakeProcessor {
public:
    AwakeProcessor() : file_(open("/dev/cpu_dma_latency", O_WRONLY | O_CLOEXEC)) {
        const std::int32_t microseconds = 0;
        if (file_ >= 0 && write(file_, &microseconds, sizeof microseconds) != sizeof microseconds) {
            close(file_);
            file_ = -1;
        }
    }
    ~AwakeProcessor() {
        if (file_ >= 0)
            close(file_);
    }
    AwakeProcessor(const AwakeProcessor&) = delete;
    AwakeProcessor& operator=(const AwakeProcessor&) = delete;

private:
    int file_;
};

}  // namespace

bool Loop::onServoThread() { return insideCallback; }

int Loop::setRate(int rate) {
    if (rate != 1000 && rate != 2000 && rate != 3000 && rate != 4000)
        return -1;
    rate_ = rate;
    return 0;
}

int Loop::start(ServoCallback callback, void* userData, int ticksBefore) {
    if (ticksBefore > 0)
        create();
    if (!created_ || !callback)
        return -1;
    {
        const std::lock_guard<std::mutex> lock(callMutex_);
        callback_ = callback;
        userData_ = userData;
        running_ = true;
    }
    ensureThread();
    awaitCallbacks(ticksBefore);
    return 0;
}

int Loop::stop(int ticksAfter) {
    awaitCallbacks(ticksAfter);
    std::unique_lock<std::mutex> lock(callMutex_);
    callback_ = nullptr;
    running_ = false;
    called_.notify_all();
    if (!insideCallback)
        called_.wait(lock, [this] { return !calling_; });
    return 0;
}

// The one that is under way does not count.
void Loop::awaitCallbacks(int calls) {
    if (calls <= 0 || insideCallback)
        return;
    std::unique_lock<std::mutex> lock(callMutex_);
    awaited_ = calls + (calling_ ? 1 : 0);
    const auto ended = [this] { return awaited_ == 0 || !callback_; };
    if (!stepped_)
        called_.wait(lock, ended);
    while (!ended()) {
        lock.unlock();
        step(1);
        lock.lock();
    }
}

void Loop::callBack() {
    ServoCallback callback = nullptr;
    void* userData = nullptr;
    {
        const std::lock_guard<std::mutex> lock(callMutex_);
        if (!callback_)
            return;
        callback = callback_;
        userData = userData_;
        calling_ = true;
    }
    struct Ended {
        Loop& loop;
        ~Ended() {
            insideCallback = false;
            {
                const std::lock_guard<std::mutex> lock(loop.callMutex_);
                loop.calling_ = false;
                loop.awaited_ = std::max(0, loop.awaited_ - 1);
            }
            loop.called_.notify_all();
        }
    } ended{*this};
    insideCallback = true;
    callback(userData);
}

double Loop::chance() {
    random_ ^= random_ << 13;
    random_ ^= random_ >> 17;
    random_ ^= random_ << 5;
    return random_ / 4294967296.0;
}

void Loop::stamp(Nanoseconds now) {
    const std::lock_guard<LendingMutex> lock(stampMutex_);
    if (stampCount_ > 0) {
        const Nanoseconds since = now - stamps_[(stampCount_ - 1) % stamps_.size()];
        if (since > 0)
            instantRate_ = static_cast<float>(1e9 / static_cast<double>(since));
    }
    stamps_[stampCount_++ % stamps_.size()] = now;
}

double Loop::measuredRate() const {
    const std::lock_guard<LendingMutex> lock(stampMutex_);
    if (stampCount_ < 2)
        return 0.0;
    const Nanoseconds last = stamps_[(stampCount_ - 1) % stamps_.size()];
    Nanoseconds first = last;
    std::size_t intervals = 0;
    while (intervals + 1 < std::min(stampCount_, stamps_.size())) {
        const Nanoseconds earlier = stamps_[(stampCount_ - 2 - intervals) % stamps_.size()];
        if (static_cast<double>(last - earlier) > kHalfSecond)
            break;
        first = earlier;
        ++intervals;
    }
    return last > first ? 1e9 * static_cast<double>(intervals) / static_cast<double>(last - first) : 0.0;
}

std::vector<std::uint64_t> Loop::lateness() const {
    return std::vector<std::uint64_t>(lateness_.begin(), lateness_.end());
}

void Loop::clearLateness() {
    for (std::atomic<std::uint64_t>& place : lateness_)
        place = 0;
}

Disturbance Loop::tick(Nanoseconds now, std::int64_t periods) {
    const double seconds = 1e-9 * static_cast<double>(period() * std::min(periods, kLongestMove));
    const Disturbance disturbance = moveArm_(seconds);
    lateTicks_ += static_cast<std::uint64_t>(periods - 1);
    if (disturbance.dropped > 0.0 && chance() < disturbance.dropped)
        return disturbance;
    stamp(now);
    ++ticks_;
    callBack();
    return disturbance;
}

void Loop::askForRealTime() {
    sched_param parameter{};
    parameter.sched_priority = kPriority;
    realTime_ = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
    if (realTime_) {
        lockMemory();
        return;
    }
    prctl(PR_SET_TIMERSLACK, 1UL);
    static std::atomic<bool> said{false};
    if (!said.exchange(true))
        complain(
            "the servo loop has ordinary scheduling; a line \"@realtime - rtprio 80\" in /etc/security/limits.d and "
            "membership of that group permit real-time scheduling");
}

void Loop::run() {
    pthread_setname_np(pthread_self(), "servo");
    // Signals belong to the application's own threads.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    askForRealTime();
    const AwakeProcessor awake;
    Nanoseconds next = clockNow() + period();
    std::int64_t owed = 0;  // periods that passed while a tick was under way
    double jitter = 0.0;
    while (!quit_) {
        sleepUntil(next + static_cast<Nanoseconds>(1e9 * jitter * chance()));
        const Nanoseconds length = period();
        const Nanoseconds woken = clockNow();
        const Nanoseconds late = std::max<Nanoseconds>(0, woken - next);
        const std::int64_t periods = 1 + late / length;
        ++lateness_[std::min<std::size_t>(static_cast<std::size_t>(late / 1000), kLatenessPlaces - 1)];
        const Disturbance disturbance = tick(woken, periods + owed);
        jitter = disturbance.jitter;
        next += periods * length;
        if (disturbance.stall > 0.0)
            sleepUntil(clockNow() + static_cast<Nanoseconds>(1e9 * disturbance.stall));
        // A deadline that went by meanwhile is lost: no two ticks in one period.
        owed = std::max<Nanoseconds>(0, clockNow() - next + length) / length;
        next += owed * length;
    }
}

void Loop::ensureThread() {
    const std::lock_guard<std::mutex> lock(threadMutex_);
    if (stepped_ || thread_.joinable())
        return;
    quit_ = false;
    thread_ = std::thread([this] { run(); });
}

void Loop::stopThread() {
    const std::lock_guard<std::mutex> lock(threadMutex_);
    quit_ = true;
    if (!thread_.joinable())
        return;
    if (thread_.get_id() == std::this_thread::get_id())
        thread_.detach();
    else
        thread_.join();
    thread_ = std::thread();
}

void Loop::setStepped(bool stepped) {
    if (stepped == stepped_)
        return;
    stop();
    stopThread();
    stepped_ = stepped;
    const std::lock_guard<LendingMutex> lock(stampMutex_);
    stampCount_ = 0;
}

long Loop::step(long ticks) {
    if (!stepped_ || insideCallback)
        return 0;
    const std::lock_guard<std::mutex> lock(stepMutex_);
    long done = 0;
    for (; done < ticks && stepped_; ++done) {
        virtualNow_ += period();
        const Disturbance disturbance = tick(virtualNow_, 1);
        // Lateness shows in the time of the tick alone; a stall is time without ticks.
        const std::int64_t stalled = static_cast<std::int64_t>(disturbance.stall * 1e9) / period();
        for (std::int64_t i = 0; i < stalled; ++i)
            moveArm_(1e-9 * static_cast<double>(period()));
        lateTicks_ += static_cast<std::uint64_t>(stalled);
        virtualNow_ += stalled * period() + static_cast<Nanoseconds>(0.2e9 * disturbance.jitter * (chance() - 0.5));
    }
    return done;
}

void Loop::reset() {
    stop();
    setStepped(false);
    stopThread();
    created_ = false;
    rate_ = 1000;
    ticks_ = 0;
    lateTicks_ = 0;
    instantRate_ = 0.0f;
    random_ = kFirstRandom;
    clearLateness();
    const std::lock_guard<LendingMutex> lock(stampMutex_);
    stampCount_ = 0;
}

}  // namespace arm
