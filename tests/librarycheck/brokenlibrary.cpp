// The simulated arm's library with promises broken, which ones by their names in the environment variable BROKEN. What
// is not defined here is the simulated library's own, behind this one in the search.
#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "device/tharlenio.h"

namespace {

bool breaks(const char* promise) {
    static const std::string all = ' ' + std::string(std::getenv("BROKEN") ? std::getenv("BROKEN") : "") + ' ';
    return all.find(' ' + std::string(promise) + ' ') != std::string::npos;
}

/// The simulated library's operation of this name.
template <typename F>
F* healthy(F*, const char* symbol) {
    return reinterpret_cast<F*>(dlsym(RTLD_NEXT, symbol));
}
#define HEALTHY(name) healthy(&name, #name)

/// A handle that the simulated library gives, and not one that was made up.
bool isOpen(int id) { return id >= 0 && id < 1000; }
bool breaks(const char* promise, int id) { return isOpen(id) && breaks(promise); }

/// What an operation returned, and what it filled spoiled where it breaks this promise.
template <typename Spoil>
int spoiled(const char* promise, int id, int result, Spoil spoil) {
    if (breaks(promise, id))
        spoil();
    return result;
}

void pause(double milliseconds) {
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(milliseconds));
}

bool onServoThread() {
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return std::strcmp(name, "servo") == 0;
}

}  // namespace

// --- Store -------------------------------------------------------------------------------------

int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** list) {
    static int listings = 0;
    using Enumerate = int (*)(CTHARLeNMgr*, CTHARLeNDevice**);
    int count = reinterpret_cast<Enumerate>(dlsym(RTLD_NEXT, "_ZN11CTHARLeNMgr17EnumerateTHARLeNsEPP14CTHARLeNDevice"))(
        this, list);
    if (breaks("unended_name"))
        std::memset(list[1]->m_szName, 'A', sizeof list[1]->m_szName);
    if (breaks("blank_at_end"))
        std::strcat(list[1]->m_szName, " ");
    if (breaks("name_twice"))
        std::strcpy(list[1]->m_szName, list[0]->m_szName);
    if (breaks("odd_card"))
        list[0]->m_nCardType = 99;
    for (int i = 0; i < count && breaks("longer_record"); ++i) {
        void* const longer = ::operator new(sizeof(CTHARLeNDevice) + 64);
        std::memcpy(longer, static_cast<void*>(list[i]), sizeof(CTHARLeNDevice));
        delete list[i];
        list[i] = static_cast<CTHARLeNDevice*>(longer);
    }
    for (; count < 21 && breaks("long_list"); ++count) {
        list[count] = new CTHARLeNDevice;
        list[count]->m_nIndex = count;
    }
    if (breaks("other_list") && listings++ > 0)
        delete list[--count];
    m_nDeviceCount = count + (breaks("other_count") ? 1 : 0);
    return count;
}

BOOLEAN CTHARLeNDevice::Read() {
    using Reader = BOOLEAN (*)(CTHARLeNDevice*);
    const BOOLEAN read = reinterpret_cast<Reader>(dlsym(RTLD_NEXT, "_ZN14CTHARLeNDevice4ReadEv"))(this);
    return breaks("reads_anything") ? 1 : read;
}

// --- Opening and closing -----------------------------------------------------------------------

int init_tharlen(const char* name) {
    static int openings = 0, last = -1;
    const bool on = HEALTHY(is_tharlen_forces_enabled)(last) != 0;
    int id = HEALTHY(init_tharlen)(name);
    if (id < 0 && *name && breaks("opens_anything"))
        id = HEALTHY(init_tharlen)("Default Device");
    if (on && breaks("opens_on"))
        HEALTHY(enable_tharlen_forces)(id);
    last = id;
    return id >= 0 && openings++ == 1 && breaks("dead_handle") ? id + 100 : id;
}
int disable_tharlen(int id) {
    return breaks("stays_on") && HEALTHY(is_tharlen_forces_enabled)(id) ? 0 : HEALTHY(disable_tharlen)(id);
}
const char* get_library_version() { return breaks("no_version") ? "" : HEALTHY(get_library_version)(); }

// --- Loop --------------------------------------------------------------------------------------

namespace {

ServoCallback ofUser;
void* dataOfUser;

int asBroken(void*) {
    static int count = 0;
    for (int i = 0; i < 8 && count % 8 == 0 && breaks("bursts"); ++i)
        ofUser(dataOfUser);
    ++count;
    if (breaks("other_data"))
        ofUser(nullptr);
    return 0;
}

// A loop of ours that is 2 % too fast, while the simulated library's ticks in silence.
std::atomic<bool> wanted{false};
std::atomic<int> hertz{1000};
std::thread ticker;
thread_local bool ticking = false;

void tickTooFast() {
    ticking = true;
    const sched_param priority{60};
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
    for (auto next = std::chrono::steady_clock::now(); wanted; std::this_thread::sleep_until(next)) {
        ofUser(dataOfUser);
        next += std::chrono::nanoseconds(static_cast<long>(1e9 / (1.02 * hertz)));
    }
}

}  // namespace

int setServoLoopRate(int rate) {
    hertz = rate;
    return breaks("rate_stays") && HEALTHY(isServoLoopRunning)() ? 0 : HEALTHY(setServoLoopRate)(rate);
}

int startServoLoop(ServoCallback callback, void* pUserData) {
    ofUser = callback;
    dataOfUser = pUserData;
    if (breaks("starts_early"))
        HEALTHY(createServoLoop)();
    if (breaks("bursts") || breaks("other_data"))
        return HEALTHY(startServoLoop)(&asBroken, nullptr);
    if (!breaks("fast_rate"))
        return HEALTHY(startServoLoop)(callback, pUserData);
    const int status = HEALTHY(startServoLoop)([](void*) { return 0; }, nullptr);
    if (status >= 0 && !wanted.exchange(true))
        ticker = std::thread(&tickTooFast);
    return status;
}

int stopServoLoop() {
    wanted = false;
    if (ticker.joinable())
        ticker.join();
    const int result = HEALTHY(stopServoLoop)();
    if (breaks("late_callback") && ofUser)
        std::thread([callback = ofUser, data = dataOfUser] {
            pause(0.4);
            callback(data);
        }).detach();
    return result;
}

bool isServoLoopRunning() { return breaks("says_running") || HEALTHY(isServoLoopRunning)(); }
int update_tharlen(int id) { return breaks("strange_status", id) ? 7 : HEALTHY(update_tharlen)(id); }
float get_tharlen_inst_rate(int id) { return HEALTHY(get_tharlen_inst_rate)(id) * (breaks("half_rate") ? 0.5f : 1.0f); }

// --- Motors ------------------------------------------------------------------------------------

int enable_tharlen_forces_no_wait(int id) {
    if (!isOpen(id) && breaks("enables_nothing"))
        return 0;
    if (breaks("switch_waits", id))
        pause(3);
    return HEALTHY(enable_tharlen_forces_no_wait)(id);
}
// The simulated library knows its own servo thread only, where it does not wait.
int enable_tharlen_forces(int id) {
    const int status = ticking ? HEALTHY(enable_tharlen_forces_no_wait)(id) : HEALTHY(enable_tharlen_forces)(id);
    return breaks("closed_enables", id) ? 0 : status;
}
int disable_tharlen_forces(int id) {
    static bool asked = false;
    if (breaks("off_at_second", id) && !std::exchange(asked, true))
        return 0;
    return ticking ? HEALTHY(disable_tharlen_forces_no_wait)(id) : HEALTHY(disable_tharlen_forces)(id);
}
int unfiltered_device_fault(int id) {
    const bool lies = breaks("fault_while_on") && HEALTHY(is_tharlen_forces_enabled)(id);
    return lies ? 1 : HEALTHY(unfiltered_device_fault)(id);
}

// A motor that is wired the wrong way round: forces do not know of it, nor does what reads a command back.
namespace {
std::atomic<bool> byCounts{false};
std::atomic<bool> commanded{false};  // by counts, not all zero
thread_local bool withTorques = false;
}  // namespace
int command_motor_dac_values(int id, const long dac[6]) {
    byCounts = true;
    commanded = std::any_of(dac, dac + 6, [](long counts) { return counts != 0; });
    if (breaks("crashes_driven", id) && dac[0] != 0 && HEALTHY(is_tharlen_forces_enabled)(id))
        std::abort();
    const long turned[6] = {dac[0], breaks("wrong_sign") ? -dac[1] : dac[1], dac[2], dac[3], dac[4], dac[5]};
    return HEALTHY(command_motor_dac_values)(id, turned);
}
int send_tharlen_force(int id, const float force[6]) {
    byCounts = false;
    const int status = HEALTHY(send_tharlen_force)(id, force);
    return status == kMaxForceExceeded && !withTorques && breaks("no_limit") ? 0 : status;
}
int send_tharlen_force_6dof(int id, const float force[6]) {
    withTorques = true;  // the simulated library's own comes by the other one
    const int status = HEALTHY(send_tharlen_force_6dof)(id, force);
    withTorques = false;
    return status;
}
/// Once it takes two seconds while a command stands; a command that still does then ends the process.
int get_encoder_values(int id, long encoders[6]) {
    static std::atomic<bool> slow{true};
    if (breaks("hangs_driven", id) && !onServoThread() && commanded && slow.exchange(false)) {
        pause(2000);
        if (commanded)
            std::abort();
    }
    return HEALTHY(get_encoder_values)(id, encoders);
}
int get_last_motor_dac_values(int id, long dac[6]) {
    const int result = HEALTHY(get_last_motor_dac_values)(id, dac);
    if (byCounts && breaks("wrong_sign"))
        dac[1] = -dac[1];
    return spoiled("last_of_one", id, result, [&] { dac[1] = 0; });
}
int get_tharlen_temp_advance(int id, int kind, float celsius[6]) {
    static float more = 0;
    return spoiled("limits_run", id, HEALTHY(get_tharlen_temp_advance)(id, kind, celsius),
                   [&] { celsius[0] += kind == kShutdownTemperature ? ++more : 0; });
}

// --- Sensors and identity ----------------------------------------------------------------------

int get_tharlen_joint_vel(int id, float velocities[6]) {
    while (breaks("tick_hangs", id))
        pause(100);
    return spoiled("twice_as_fast", id, HEALTHY(get_tharlen_joint_vel)(id, velocities), [&] {
        for (int i = 0; i < 6; ++i)
            velocities[i] *= 2;
    });
}
int get_tharlen_pos(int id, float position[3]) {
    if (breaks("throws", id))
        throw std::runtime_error("no position today");
    const int result = HEALTHY(get_tharlen_pos)(id, position);
    if (isOpen(id) ? breaks("other_thread") && onServoThread() : breaks("speaks_unasked"))
        position[0] += 5;
    return spoiled("other_way", id, result, [&] { position[1] = -position[1]; });
}
int get_tharlen_vel(int id, float velocity[3]) {
    const int result = HEALTHY(get_tharlen_vel)(id, velocity);
    if (breaks("throws_moving", id) && std::abs(velocity[0]) > 40)
        throw std::runtime_error("no velocity on the way");
    return spoiled("creeps", id, result, [&] { velocity[0] -= 40; });
}
double get_pinch_value(int id) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(35);
    while (breaks("takes_35_us", id) && std::chrono::steady_clock::now() < until) {
    }
    return HEALTHY(get_pinch_value)(id);
}
// It says so where it is asked to, for the test that interrupts it.
int get_stylus_presence(int id) {
    const bool hangs = breaks("hangs", id);
    if (const char* const sign = hangs ? std::getenv("HANGING_SIGN") : nullptr)
        std::fclose(std::fopen(sign, "w"));
    while (hangs)
        pause(100);
    return HEALTHY(get_stylus_presence)(id);
}
CTHARLeNAutoCalibration* get_calibration_data(int id) {
    return breaks("crashes", id) ? (std::abort(), nullptr) : HEALTHY(get_calibration_data)(id);
}
CIOConnection* get_connection_data(int id) {
    static CIOConnection still;
    CIOConnection* const real = HEALTHY(get_connection_data)(id);
    return real && breaks("still_registers") ? &still : real;
}
int get_stylus_switch(int id, int button) {
    static int looks = 0;
    return breaks("flickers", id) ? ++looks % 2 : HEALTHY(get_stylus_switch)(id, button);
}
int get_tharlen_encoders(int id, float angles[3]) {
    const int result = HEALTHY(get_tharlen_encoders)(id, angles);
    if (breaks("fills_more"))
        angles[3] = 0;
    return spoiled("other_angles", id, result, [&] { angles[1] += 0.1f; });
}
int get_stylus_matrix(int id, float matrix[4][4]) {
    return spoiled("mirrors", id, HEALTHY(get_stylus_matrix)(id, matrix), [&] {
        for (int i = 0; i < 3; ++i)
            matrix[0][i] = -matrix[0][i];
    });
}
int get_tharlen_jacobian(int id, double jacobian[6][6]) {
    return spoiled("wrong_jacobian", id, HEALTHY(get_tharlen_jacobian)(id, jacobian), [&] {
        for (int i = 0; i < 36; ++i)
            if (i % 6 > i / 6)
                std::swap(jacobian[i / 6][i % 6], jacobian[i % 6][i / 6]);
    });
}
int get_tharlen_temp(int id, float celsius[6]) {
    return spoiled("warm_base", id, HEALTHY(get_tharlen_temp)(id, celsius), [&] { celsius[1] += 10; });
}
int get_tharlen_temp_6dof(int id, float celsius[6]) {
    return spoiled("not_a_number", id, HEALTHY(get_tharlen_temp_6dof)(id, celsius), [&] { celsius[4] = NAN; });
}
const char* get_hardware_serial_number(int id) {
    return breaks("odd_serial", id) ? "A\a7" : HEALTHY(get_hardware_serial_number)(id);
}
float get_tharlen_nominal_max_continuous_force(int id) {
    return HEALTHY(get_tharlen_nominal_max_continuous_force)(id) * (breaks("great_force") ? 20.0f : 1.0f);
}
int tharlen_check_for_pinch(int id) { return breaks("odd_grip", id) ? 1 : HEALTHY(tharlen_check_for_pinch)(id); }
int get_calibration_status(int id, int* status) {
    const int result = HEALTHY(get_calibration_status)(id, status);
    return breaks("odd_status", id) ? -1 : result;
}
int is_calibration_supported(int id) {
    return breaks("no_calibration", id) ? 0 : HEALTHY(is_calibration_supported)(id);
}
