// The servo loop: a thread woken on absolute times that moves the arm and calls the servo callback, or the
// same by hand, step by step. The arm moves whether or not a callback is attached.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device/tharlenio.h"
#include "lendingmutex.h"

namespace arm {

/// What faults do to the loop at one tick.
struct Disturbance {
    double jitter = 0.0;   ///< s, the most that the next tick comes late
    double stall = 0.0;    ///< s to stand still after this tick
    double dropped = 0.0;  ///< part of the ticks that never come
};

/// Moves the arm by so many seconds; on the loop's thread or that of step(), never during a callback.
using MoveArm = Disturbance (*)(double seconds);

class Loop {
public:
    explicit Loop(MoveArm moveArm) : moveArm_(moveArm) {}
    ~Loop() { stopThread(); }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    void create() { created_ = true; }
    /// 0, or -1 when the rate is none of 1000, 2000, 3000, 4000.
    int setRate(int rate);
    /// Attaches the callback. -1 without one, and before create() unless ticks are waited for.
    int start(ServoCallback callback, void* userData, int ticksBefore = 0);
    /// Detaches it, `ticksAfter` ticks later, and waits till a callback under way has ended; inside a callback neither.
    int stop(int ticksAfter = 0);
    bool running() const { return running_; }

    /// Starts the thread if the loop is not stepped and has none.
    void ensureThread();
    void stopThread();
    void setStepped(bool stepped);
    bool stepped() const { return stepped_; }
    long step(long ticks);
    /// No callback, no thread, 1000 Hz, not stepped.
    void reset();

    int rate() const { return rate_; }
    float instantRate() const { return instantRate_; }  ///< Hz, between the last two ticks
    double measuredRate() const;                        ///< Hz, mean of the last half second
    std::uint64_t ticks() const { return ticks_; }
    std::uint64_t lateTicks() const { return lateTicks_; }
    bool realTime() const { return realTime_; }
    /// Ticks by their wake-up lateness, a microsecond a place; the last place holds all that were later.
    std::vector<std::uint64_t> lateness() const;
    void clearLateness();

    /// True inside a servo callback.
    static bool onServoThread();

private:
    using Nanoseconds = std::int64_t;

    Nanoseconds period() const { return 1000000000 / rate_; }
    void run();
    void askForRealTime();
    /// One tick at time `now`; the rest of the periods that went by since the last one were lost.
    Disturbance tick(Nanoseconds now, std::int64_t periods);
    void stamp(Nanoseconds now);
    void callBack();
    /// Till so many more callbacks have ended; a stepped loop makes the ticks itself. Not inside a callback.
    void awaitCallbacks(int calls);
    double chance();

    static constexpr std::size_t kLatenessPlaces = 10000;

    const MoveArm moveArm_;
    std::array<std::atomic<std::uint64_t>, kLatenessPlaces> lateness_{};
    std::atomic<bool> created_{false}, running_{false}, stepped_{false}, quit_{false}, realTime_{false};
    std::atomic<int> rate_{1000};
    std::atomic<float> instantRate_{0.0f};
    std::atomic<std::uint64_t> ticks_{0}, lateTicks_{0};

    std::mutex threadMutex_;  // starting and ending the thread
    std::thread thread_;

    std::mutex callMutex_;  // what follows; never held during a callback
    std::condition_variable called_;
    ServoCallback callback_ = nullptr;
    void* userData_ = nullptr;
    bool calling_ = false;
    int awaited_ = 0;  // callbacks that somebody waits for

    std::mutex stepMutex_;  // one stepper at a time
    Nanoseconds virtualNow_ = 0;

    mutable LendingMutex stampMutex_;
    std::array<Nanoseconds, 2048> stamps_{};  // half a second at 4000 Hz
    std::size_t stampCount_ = 0;
    static constexpr std::uint32_t kFirstRandom = 2463534242u;
    std::uint32_t random_ = kFirstRandom;  // of the thread that ticks
};

}  // namespace arm
