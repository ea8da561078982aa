#include "bench.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cstring>

namespace librarycheck {
namespace {

volatile sig_atomic_t stopAsked = 0;

}  // namespace

std::int64_t nanoseconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000000000LL + t.tv_nsec;
}

void sleepFor(double milliseconds) {
    const std::int64_t until = nanoseconds() + static_cast<std::int64_t>(milliseconds * 1e6);
    const timespec t{static_cast<time_t>(until / 1000000000LL), static_cast<long>(until % 1000000000LL)};
    while (!stopAsked && clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr) != 0) {
    }
    if (stopAsked)
        throw NotTried("it was interrupted");
}

void onInterrupt(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    for (const int number : {SIGINT, SIGTERM, SIGQUIT})
        sigaction(number, &action, nullptr);
    struct sigaction before {};
    if (sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)  // as by nohup
        sigaction(SIGHUP, &action, nullptr);
}

void stopAtInterrupt() {
    onInterrupt([](int) { stopAsked = 1; });
    signal(SIGTSTP, SIG_IGN);  // a check that stood still would leave its command standing
}

double medianOf(std::vector<double> values) {
    if (values.empty())
        return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

int firstUnprintable(const std::string& latin1) {
    const auto bad = std::find_if(latin1.begin(), latin1.end(), [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return code < 0x20 || (code >= 0x7F && code < 0xA0);
    });
    return bad == latin1.end() ? -1 : static_cast<int>(bad - latin1.begin());
}

// --- Store -----------------------------------------------------------------------------------------

Devices::Devices(Library& lib) : lib_(lib) {
    lib_.makeManager(manager_);
    count_ = lib_.enumerate(manager_, records_);
    counted_ = reinterpret_cast<CTHARLeNMgr*>(manager_)->m_nDeviceCount;
    if (count_ < 0 || count_ > 20)
        throw NoList(text("the list has %d devices", count_));
    for (int i = 0; i < count_; ++i)
        if (!records_[i])
            throw NoList(text("record %d of %d is null", i, count_));
}

Devices::~Devices() {
    if (!lib_.endDevice.trusted() || !lib_.endManager.trusted())
        return;
    for (int i = 0; i < count_; ++i) {
        lib_.endDevice(records_[i]);
        ::operator delete(records_[i]);
    }
    lib_.endManager(manager_);
}

std::string Devices::name(int i) const {
    return std::string(at(i).m_szName, strnlen(at(i).m_szName, sizeof at(i).m_szName));
}

// --- Device ----------------------------------------------------------------------------------------

int openByName(Library& lib, const std::string& latin1, std::string& why) {
    if (!lib.init_tharlen.trusted())
        lib.init_tharlen(latin1.c_str());  // says why
    const Inside inside("init_tharlen");
    try {
        const int id = lib.init_tharlen.raw()(latin1.c_str());
        if (id < 0)
            why = text("refused with %d", id);
        return id;
    } catch (const std::exception& error) {
        why = std::string("refused by an exception: ") + error.what();
    } catch (...) {
        throw Threw("init_tharlen", "none of std::exception");
    }
    return -1;
}

int openAt(Bench& bench, std::string& why) {
    const std::int64_t begin = nanoseconds();
    const int id = openByName(bench.lib, bench.device, why);
    bench.longer(static_cast<double>(nanoseconds() - begin) / 1e6);
    return id;
}

OpenDevice::OpenDevice(Bench& bench) : lib_(bench.lib) {
    lib_.get_library_version();
    try {
        const Devices list(lib_);
    } catch (const NotTried&) {  // a list that is of no use does not hinder an opening
    }
    std::string why;
    id = openAt(bench, why);
    demand(id >= 0, "the opening was %s", why.c_str());
    lib_.createServoLoop();
    lib_.setServoLoopRate(bench.options.rate);
}

OpenDevice::~OpenDevice() {
    try {
        close();
    } catch (...) {
    }
}

void OpenDevice::close() {
    if (id < 0)
        return;
    const int open = id;
    id = -1;
    switchOff(lib_, open);
}

void switchOff(Library& lib, int id) {
    try {
        lib.disable_tharlen_forces(id);
    } catch (const std::exception&) {
    }
    lib.disable_tharlen(id);
}

// --- Loop ------------------------------------------------------------------------------------------

RunningLoop::RunningLoop(Library& lib, int id, std::function<void()> work) : state_(*new State(lib, id)) {
    state_.work = std::move(work);
}

RunningLoop::~RunningLoop() {
    try {
        stop();
    } catch (...) {
    }
}

std::atomic<RunningLoop::State*> RunningLoop::State::newest{nullptr};

int RunningLoop::callback(void* data) {
    State* state = State::newest;
    while (state && state != data)
        state = state->older;
    if (!state) {
        state = State::newest;
        state->strangeData = true;
    }
    onServoThread = true;
    state->tick();
    onServoThread = false;
    return 0;
}

void RunningLoop::State::tick() {
    if (stopped) {
        ++lateCalls;
        return;
    }
    const std::int64_t now = nanoseconds();
    if (inside++ != 0)
        overlapped = true;
    const unsigned long self = pthread_self();
    if (self == caller)
        onCaller = true;
    unsigned long none = 0;
    if (!thread.compare_exchange_strong(none, self) && none != self)
        oneThread = false;
    {
        // One that comes behind the stop finds that the work and the times have been let go.
        const std::lock_guard<std::mutex> lock(working);
        if (!stopped) {
            if (timed < kMost)
                times[timed++] = now;
            if (!failed)
                doWork();
        }
    }
    onceDue = false;
    ++ticks;
    --inside;
}

void RunningLoop::State::doWork() {
    try {
        if (id >= 0)
            status = lib.update_tharlen(id);
        if (ticks == 0)
            saidRunning = lib.isServoLoopRunning();
        if (work)
            work();
        if (onceDue)
            once();
    } catch (...) {
        failure = std::current_exception();
        failed = true;
    }
}

void RunningLoop::start(int ticks) {
    state_.caller = pthread_self();
    state_.thread = 0;
    state_.ticks = 0;
    state_.timed = 0;
    state_.stopped = false;
    const int status = state_.lib.startServoLoop(&callback, &state_);
    if (status < 0)
        state_.stopped = true;
    demand(status >= 0, "startServoLoop gave %d", status);
    wait(ticks);
}

void RunningLoop::stop() {
    if (state_.stopped)
        return;
    state_.lib.stopServoLoop();
    const std::lock_guard<std::mutex> lock(state_.working);
    state_.stopped = true;
}

void RunningLoop::wait(int ticks) {
    const std::uint64_t until = state_.ticks + static_cast<std::uint64_t>(ticks);
    const std::int64_t limit = nanoseconds() + 2000000000LL;
    while (state_.ticks < until) {
        demand(nanoseconds() < limit, "the loop did not tick %d times within two seconds", ticks);
        sleepFor(0.1);
    }
    if (state_.failed)
        std::rethrow_exception(state_.failure);
}

void RunningLoop::inTick(std::function<void()> work) {
    state_.once = std::move(work);
    state_.onceDue = true;
    while (state_.onceDue)
        wait(1);
    wait(0);
}

std::vector<std::int64_t> RunningLoop::times() const {
    return {state_.times.begin(), state_.times.begin() + static_cast<std::ptrdiff_t>(state_.timed)};
}

void needAmplifiersOff(Library& lib, RunningLoop& loop, int id) {
    lib.disable_tharlen_forces(id);
    bool on = true;
    loop.inTick([&] { on = lib.is_tharlen_forces_enabled(id) != 0; });
    if (on)
        throw NotTried("the amplifiers are on, and could not be switched off");
}

Check single(const char* promise, Check::Needs needs, std::function<std::string(Bench&)> run, int limit) {
    return {promise, {promise}, needs, limit, std::move(run)};
}

}  // namespace librarycheck
