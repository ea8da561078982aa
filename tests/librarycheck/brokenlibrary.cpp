// The simulated arm's library with one promise broken, which one by a macro of the build. What is not defined here is
// the simulated library's own, behind this one in the search.
#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <thread>

#include "device/tharlenio.h"

namespace {

/// The simulated library's operation of this name.
template <typename F>
[[maybe_unused]] F* healthy(F*, const char* symbol) {
    return reinterpret_cast<F*>(dlsym(RTLD_NEXT, symbol));
}
#define HEALTHY(name) healthy(&name, #name)

/// A handle that the simulated library gives, and not one that was made up.
[[maybe_unused]] bool isOpen(int id) { return id >= 0 && id < 1000; }

[[maybe_unused]] int healthyList(CTHARLeNMgr* manager, CTHARLeNDevice** apDevices) {
    using Enumerate = int (*)(CTHARLeNMgr*, CTHARLeNDevice**);
    return reinterpret_cast<Enumerate>(dlsym(RTLD_NEXT, "_ZN11CTHARLeNMgr17EnumerateTHARLeNsEPP14CTHARLeNDevice"))(
        manager, apDevices);
}

[[maybe_unused]] void pause(double milliseconds) {
    const timespec t{0, static_cast<long>(milliseconds * 1e6)};
    nanosleep(&t, nullptr);
}

}  // namespace

#if defined(LATE_CALLBACK)
namespace {
ServoCallback lastCallback;  // the graphical thread's own
void* lastData;
}  // namespace
int startServoLoop(ServoCallback callback, void* pUserData) {
    lastCallback = callback;
    lastData = pUserData;
    return HEALTHY(startServoLoop)(callback, pUserData);
}
int stopServoLoop() {
    const int result = HEALTHY(stopServoLoop)();
    if (lastCallback)
        std::thread([callback = lastCallback, data = lastData] {
            pause(0.4);
            callback(data);
        }).detach();
    return result;
}

#elif defined(BURSTS) || defined(OTHER_DATA)
namespace {
ServoCallback ofUser;
void* dataOfUser;
int asBroken(void*) {
#ifdef BURSTS
    static int count = 0;
    for (int i = 0; i < 8 && count % 8 == 0; ++i)
        ofUser(dataOfUser);
    ++count;
#else
    ofUser(nullptr);
#endif
    return 0;
}
}  // namespace
int startServoLoop(ServoCallback callback, void* pUserData) {
    ofUser = callback;
    dataOfUser = pUserData;
    return HEALTHY(startServoLoop)(&asBroken, nullptr);
}

#elif defined(RATE_STAYS)
int setServoLoopRate(int rate) { return HEALTHY(isServoLoopRunning)() ? 0 : HEALTHY(setServoLoopRate)(rate); }

#elif defined(DEAD_HANDLE)
int init_tharlen(const char* name) {
    static int openings = 0;
    const int id = HEALTHY(init_tharlen)(name);
    return id >= 0 && openings++ == 1 ? id + 100 : id;
}

#elif defined(OPENS_ON)
int init_tharlen(const char* name) {
    static int last = -1;
    const bool on = HEALTHY(is_tharlen_forces_enabled)(last);
    const int id = HEALTHY(init_tharlen)(name);
    if (on)
        HEALTHY(enable_tharlen_forces)(id);
    return last = id;
}

#elif defined(SWITCH_WAITS)
int enable_tharlen_forces_no_wait(int id) {
    if (isOpen(id))
        pause(3);
    return HEALTHY(enable_tharlen_forces_no_wait)(id);
}

#elif defined(TICK_HANGS)
int get_tharlen_joint_vel(int id, float velocities[6]) {
    while (isOpen(id))
        pause(100);
    return HEALTHY(get_tharlen_joint_vel)(id, velocities);
}

#elif defined(WRONG_SIGN)
// A motor that is wired the wrong way round: forces do not know of it, nor does what reads a command back.
namespace {
std::atomic<bool> byCounts{false};
}
int command_motor_dac_values(int id, const long dac[6]) {
    byCounts = true;
    const long turned[6] = {dac[0], -dac[1], dac[2], dac[3], dac[4], dac[5]};
    return HEALTHY(command_motor_dac_values)(id, turned);
}
int send_tharlen_force(int id, const float force[6]) {
    byCounts = false;
    return HEALTHY(send_tharlen_force)(id, force);
}
int get_last_motor_dac_values(int id, long dac[6]) {
    const int result = HEALTHY(get_last_motor_dac_values)(id, dac);
    if (byCounts)
        dac[1] = -dac[1];
    return result;
}

#elif defined(UNENDED_NAME)
int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** apDevices) {
    const int count = healthyList(this, apDevices);
    std::memset(apDevices[1]->m_szName, 'A', sizeof apDevices[1]->m_szName);
    return count;
}

#elif defined(LONG_LIST)
int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** apDevices) {
    for (int i = healthyList(this, apDevices); i < 21; ++i) {
        apDevices[i] = new CTHARLeNDevice;
        apDevices[i]->m_nIndex = i;
    }
    return m_nDeviceCount = 21;
}

#elif defined(LONGER_RECORD)
int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** apDevices) {
    const int count = healthyList(this, apDevices);
    for (int i = 0; i < count; ++i) {
        void* const longer = ::operator new(sizeof(CTHARLeNDevice) + 64);
        std::memcpy(longer, static_cast<void*>(apDevices[i]), sizeof(CTHARLeNDevice));
        delete apDevices[i];
        apDevices[i] = static_cast<CTHARLeNDevice*>(longer);
    }
    return count;
}

#elif defined(THROWS)
int get_tharlen_pos(int id, float position[3]) {
    if (isOpen(id))
        throw std::runtime_error("no position today");
    return HEALTHY(get_tharlen_pos)(id, position);
}

#elif defined(HANGS)
// It says so where it is asked to, for the test that interrupts it.
int get_stylus_presence(int id) {
    if (const char* const sign = isOpen(id) ? std::getenv("HANGING_SIGN") : nullptr)
        std::fclose(std::fopen(sign, "w"));
    while (isOpen(id))
        pause(100);
    return 0;
}

#elif defined(CRASHES)
CTHARLeNAutoCalibration* get_calibration_data(int id) {
    if (isOpen(id))
        std::abort();
    return nullptr;
}

#elif defined(STAYS_ON)
int disable_tharlen(int id) { return HEALTHY(is_tharlen_forces_enabled)(id) ? 0 : HEALTHY(disable_tharlen)(id); }

#elif defined(FAST_RATE)
namespace {
std::atomic<bool> wanted{false};
std::atomic<int> hertz{1000};
std::thread ticker;
thread_local bool ticking = false;
}  // namespace
// The simulated library knows its own servo thread only, where it does not wait.
int enable_tharlen_forces(int id) {
    return ticking ? enable_tharlen_forces_no_wait(id) : HEALTHY(enable_tharlen_forces)(id);
}
int disable_tharlen_forces(int id) {
    return ticking ? disable_tharlen_forces_no_wait(id) : HEALTHY(disable_tharlen_forces)(id);
}
int setServoLoopRate(int rate) {
    hertz = rate;
    return HEALTHY(setServoLoopRate)(rate);
}
// The early start is the simulated library's, and a loop of ours takes over where that one runs.
int startServoLoop(ServoCallback callback, void* pUserData) {
    static std::atomic<int> silent{0};
    const int status = HEALTHY(startServoLoop)([](void*) { return ++silent, 0; }, nullptr);
    if (status < 0 || wanted.exchange(true))
        return status;
    ticker = std::thread([=] {
        ticking = true;
        timespec t{};
        clock_gettime(CLOCK_MONOTONIC, &t);
        sched_param priority{};
        priority.sched_priority = 60;
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
        while (wanted) {
            t.tv_nsec += static_cast<long>(1e9 / (1.02 * hertz));
            if (t.tv_nsec >= 1000000000L) {
                t.tv_nsec -= 1000000000L;
                ++t.tv_sec;
            }
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr);
            if (wanted)
                callback(pUserData);
        }
    });
    return status;
}
int stopServoLoop() {
    wanted = false;
    if (ticker.joinable())
        ticker.join();
    return HEALTHY(stopServoLoop)();
}

#elif defined(NOT_A_NUMBER)
int get_tharlen_temp_6dof(int id, float celsius[6]) {
    const int result = HEALTHY(get_tharlen_temp_6dof)(id, celsius);
    if (isOpen(id))
        celsius[4] = std::numeric_limits<float>::quiet_NaN();
    return result;
}

#elif defined(WRONG_JACOBIAN)
int get_tharlen_jacobian(int id, double jacobian[6][6]) {
    const int result = HEALTHY(get_tharlen_jacobian)(id, jacobian);
    for (int row = 0; row < 6; ++row)
        for (int column = row + 1; column < 6; ++column)
            std::swap(jacobian[row][column], jacobian[column][row]);
    return result;
}

#elif defined(STRANGE_STATUS)
int update_tharlen(int id) { return isOpen(id) ? 7 : HEALTHY(update_tharlen)(id); }

#elif defined(EMPTY)
// No operation at all, and nothing behind it.
extern "C" const char* nothing() { return ""; }

#endif
