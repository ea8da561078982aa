// What several checks do: opening the device, letting the loop run with work in its ticks, waiting.
#pragma once

#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "checks.h"

namespace librarycheck {

/// Text as by printf.
template <typename... A>
std::string text(const char* format, A... arguments) {
    char line[400];
    std::snprintf(line, sizeof line, format, arguments...);
    return line;
}

inline std::string text(const char* words) { return words; }

/// Throws Broken with the words where `held` is false.
template <typename... A>
void demand(bool held, const char* format, A... arguments) {
    if (!held)
        throw Broken(text(format, arguments...));
}

/// For a check of several promises: says of one what `look` returns or throws.
template <typename Look>
void speakOf(Bench& bench, const char* promise, Look look) {
    try {
        bench.kept(promise, look());
    } catch (const NotTried& why) {
        bench.notTried(promise, why.what());
    } catch (const Threw&) {
        throw;  // the operation is not to be called again
    } catch (const Broken& seen) {
        bench.broken(promise, seen.what());
    }
}

std::int64_t nanoseconds();  ///< of the monotonic clock
/// NotTried where the check was asked to end meanwhile, or before.
void sleepFor(double milliseconds);
/// For all that ends the program early, as a terminal that is closed.
void onInterrupt(void (*handler)(int));
/// From here on such an interrupt ends the next sleepFor(), so that what is open is switched off on the way out.
void stopAtInterrupt();
double medianOf(std::vector<double> values);  ///< 0 of none

/// The first entry of Latin-1 text that is no printable character, or -1.
int firstUnprintable(const std::string& latin1);

/// One promise speaks of such a list, others cannot be tried on it.
struct NoList : NotTried {
    using NotTried::NotTried;
};

/// The records of the store. They are destroyed as the application does it.
class Devices {
public:
    /// NoList where there are more than 20, or ones that are null.
    explicit Devices(Library& lib);
    ~Devices();
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;

    int count() const { return count_; }
    int counted() const { return counted_; }  ///< by the manager itself
    const CTHARLeNDevice& at(int i) const { return *records_[i]; }
    CTHARLeNDevice& at(int i) { return *records_[i]; }
    std::string name(int i) const;

private:
    Library& lib_;
    alignas(16) unsigned char manager_[sizeof(CTHARLeNMgr)];
    CTHARLeNDevice* records_[64]{};
    int count_ = 0, counted_ = 0;
};

/// An open device, which is switched off and closed at the end, whatever happens meanwhile.
class OpenDevice {
public:
    /// In the order of the application: version, list, opening, creation of the loop. Broken where it is refused.
    explicit OpenDevice(Bench& bench);
    ~OpenDevice();
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;

    void close();
    int id = -1;

private:
    Library& lib_;
};

/// init_tharlen() with its exceptions: a handle, or negative with the reason.
int openByName(Library& lib, const std::string& latin1, std::string& why);
/// That of the bench's device, whose time is not the check's.
int openAt(Bench& bench, std::string& why);

/// Closes the device whatever becomes of switching it off before.
void switchOff(Library& lib, int id);

/// The servo loop with work in its ticks. The work is done on the servo thread and must not wait.
class RunningLoop {
public:
    /// A tick refreshes device `id` first, where it is one.
    RunningLoop(Library& lib, int id, std::function<void()> work = {});
    ~RunningLoop();
    RunningLoop(const RunningLoop&) = delete;
    RunningLoop& operator=(const RunningLoop&) = delete;

    /// Broken where the loop does not start, or ticks no `ticks` times within two seconds.
    void start(int ticks = 1);
    void stop();
    /// Broken where the loop does not tick that often within two seconds; or with what was thrown in a tick.
    void wait(int ticks);
    /// `work` once, in the next tick, and its end.
    void inTick(std::function<void()> work);

    std::uint64_t ticks() const { return state_.ticks; }
    int status() const { return state_.status; }                  ///< of the last refresh
    std::uint64_t lateCalls() const { return state_.lateCalls; }  ///< after a stop had returned
    bool overlapped() const { return state_.overlapped; }
    bool oneThread() const { return state_.oneThread; }
    bool onCaller() const { return state_.onCaller; }        ///< a tick ran on the thread that started the loop
    bool strangeData() const { return state_.strangeData; }  ///< a callback had not what was given to the start
    bool saidRunning() const { return state_.saidRunning; }
    /// Times of the ticks since the start, ns, at most kMost.
    std::vector<std::int64_t> times() const;

    static constexpr std::size_t kMost = 20000;

private:
    /// What a tick knows. It outlives the loop, for a library that calls back late.
    struct State {
        State(Library& library, int handle) : lib(library), id(handle), older(newest), times(kMost) { newest = this; }
        void tick();
        void doWork();

        static std::atomic<State*> newest;  ///< made on the graphical thread only

        Library& lib;
        const int id;
        State* const older;
        std::function<void()> work, once;
        std::mutex working;  ///< held for `times`, `work` and `once`, and as `stopped` is set
        std::atomic<bool> onceDue{false};
        std::atomic<std::uint64_t> ticks{0}, lateCalls{0};
        std::atomic<int> status{0}, inside{0};
        std::atomic<bool> stopped{true}, overlapped{false}, oneThread{true}, onCaller{false}, saidRunning{true};
        std::atomic<bool> strangeData{false};
        std::atomic<unsigned long> thread{0};
        std::atomic<unsigned long> caller{0};
        std::vector<std::int64_t> times;
        std::atomic<std::size_t> timed{0};  ///< times kept, at most kMost
        std::atomic<bool> failed{false};
        std::exception_ptr failure;  ///< of the first tick that threw, once `failed` is set
    };
    static int callback(void* state);

    State& state_;
};

/// Before a command that is not zero is given with nobody at the arm. NotTried where the amplifiers are on.
void needAmplifiersOff(Library& lib, RunningLoop& loop, int id);

/// A check of one promise, by its name.
Check single(const char* promise, Check::Needs needs, std::function<std::string(Bench&)> run, int limit = 20);

}  // namespace librarycheck
