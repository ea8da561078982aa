// The simulated arm's library with promises broken, which ones by their names in the environment variable BROKEN. What
// is not defined here is the simulated library's own, behind this one in the search.
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
#include <string>
#include <thread>

#include "device/tharlenio.h"

namespace {

bool breaks(const char* promise) {
    static const std::string all = ' ' + std::string(std::getenv("BROKEN") ? std::getenv("BROKEN") : "") + ' ';
    const std::size_t length = std::strlen(promise);
    for (std::size_t at = all.find(promise); at != std::string::npos; at = all.find(promise, at + 1))
        if (all[at - 1] == ' ' && all[at + length] == ' ')
            return true;
    return false;
}

/// The simulated library's operation of this name.
template <typename F>
F* healthy(F*, const char* symbol) {
    return reinterpret_cast<F*>(dlsym(RTLD_NEXT, symbol));
}
#define HEALTHY(name) healthy(&name, #name)

/// A handle that the simulated library gives, and not one that was made up.
bool isOpen(int id) { return id >= 0 && id < 1000; }

void pause(double milliseconds) {
    const timespec t{0, static_cast<long>(milliseconds * 1e6)};
    nanosleep(&t, nullptr);
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
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    sched_param priority{};
    priority.sched_priority = 60;
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
    while (wanted) {
        t.tv_nsec += static_cast<long>(1e9 / (1.02 * hertz));
        t.tv_sec += t.tv_nsec / 1000000000L;
        t.tv_nsec %= 1000000000L;
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr);
        if (wanted)
            ofUser(dataOfUser);
    }
}

}  // namespace

int setServoLoopRate(int rate) {
    hertz = rate;
    return breaks("rate_stays") && HEALTHY(isServoLoopRunning)() ? 0 : HEALTHY(setServoLoopRate)(rate);
}

int startServoLoop(ServoCallback callback, void* pUserData) {
    static std::atomic<int> silent{0};
    ofUser = callback;
    dataOfUser = pUserData;
    if (breaks("starts_early"))
        HEALTHY(createServoLoop)();
    if (breaks("bursts") || breaks("other_data"))
        return HEALTHY(startServoLoop)(&asBroken, nullptr);
    if (!breaks("fast_rate"))
        return HEALTHY(startServoLoop)(callback, pUserData);
    const int status = HEALTHY(startServoLoop)([](void*) { return ++silent, 0; }, nullptr);
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
int update_tharlen(int id) { return breaks("strange_status") && isOpen(id) ? 7 : HEALTHY(update_tharlen)(id); }
float get_tharlen_inst_rate(int id) { return HEALTHY(get_tharlen_inst_rate)(id) * (breaks("half_rate") ? 0.5f : 1.0f); }

// --- Motors ------------------------------------------------------------------------------------

int enable_tharlen_forces_no_wait(int id) {
    if (breaks("switch_waits") && isOpen(id))
        pause(3);
    return HEALTHY(enable_tharlen_forces_no_wait)(id);
}
// The simulated library knows its own servo thread only, where it does not wait.
int enable_tharlen_forces(int id) {
    const int status = ticking ? HEALTHY(enable_tharlen_forces_no_wait)(id) : HEALTHY(enable_tharlen_forces)(id);
    return breaks("closed_enables") && isOpen(id) ? 0 : status;
}
int disable_tharlen_forces(int id) {
    return ticking ? HEALTHY(disable_tharlen_forces_no_wait)(id) : HEALTHY(disable_tharlen_forces)(id);
}
int unfiltered_device_fault(int id) {
    return breaks("fault_while_on") && HEALTHY(is_tharlen_forces_enabled)(id) ? 1
                                                                              : HEALTHY(unfiltered_device_fault)(id);
}

// A motor that is wired the wrong way round: forces do not know of it, nor does what reads a command back.
namespace {
std::atomic<bool> byCounts{false};
thread_local bool withTorques = false;
}  // namespace
int command_motor_dac_values(int id, const long dac[6]) {
    byCounts = true;
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
int get_last_motor_dac_values(int id, long dac[6]) {
    const int result = HEALTHY(get_last_motor_dac_values)(id, dac);
    if (byCounts && breaks("wrong_sign"))
        dac[1] = -dac[1];
    if (breaks("last_of_one"))
        dac[1] = 0;
    return result;
}
int get_tharlen_temp_advance(int id, int kind, float celsius[6]) {
    static float more = 0;
    const int result = HEALTHY(get_tharlen_temp_advance)(id, kind, celsius);
    if (breaks("limits_run") && kind == kShutdownTemperature && isOpen(id))
        celsius[0] += ++more;
    return result;
}

// --- Sensors and identity ----------------------------------------------------------------------

int get_tharlen_joint_vel(int id, float velocities[6]) {
    while (breaks("tick_hangs") && isOpen(id))
        pause(100);
    const int result = HEALTHY(get_tharlen_joint_vel)(id, velocities);
    for (int i = 0; i < 6 && breaks("twice_as_fast"); ++i)
        velocities[i] *= 2;
    return result;
}
int get_tharlen_pos(int id, float position[3]) {
    if (breaks("throws") && isOpen(id))
        throw std::runtime_error("no position today");
    const int result = HEALTHY(get_tharlen_pos)(id, position);
    if (isOpen(id) ? breaks("other_thread") && onServoThread() : breaks("speaks_unasked"))
        position[0] += 5;
    return result;
}
// It says so where it is asked to, for the test that interrupts it.
int get_stylus_presence(int id) {
    const bool hangs = breaks("hangs") && isOpen(id);
    if (const char* const sign = hangs ? std::getenv("HANGING_SIGN") : nullptr)
        std::fclose(std::fopen(sign, "w"));
    while (hangs)
        pause(100);
    return HEALTHY(get_stylus_presence)(id);
}
CTHARLeNAutoCalibration* get_calibration_data(int id) {
    if (breaks("crashes") && isOpen(id))
        std::abort();
    return HEALTHY(get_calibration_data)(id);
}
CIOConnection* get_connection_data(int id) {
    static CIOConnection still;
    CIOConnection* const real = HEALTHY(get_connection_data)(id);
    return real && breaks("still_registers") ? &still : real;
}
int get_stylus_switch(int id, int button) {
    static int looks = 0;
    return isOpen(id) && breaks("flickers") ? ++looks % 2 : HEALTHY(get_stylus_switch)(id, button);
}
int get_tharlen_encoders(int id, float angles[3]) {
    const int result = HEALTHY(get_tharlen_encoders)(id, angles);
    angles[1] += isOpen(id) && breaks("other_angles") ? 0.1f : 0.0f;
    if (breaks("fills_more"))
        angles[3] = 0;
    return result;
}
int get_stylus_matrix(int id, float matrix[4][4]) {
    const int result = HEALTHY(get_stylus_matrix)(id, matrix);
    for (int i = 0; i < 3 && breaks("mirrors"); ++i)
        matrix[0][i] = -matrix[0][i];
    return result;
}
int get_tharlen_jacobian(int id, double jacobian[6][6]) {
    const int result = HEALTHY(get_tharlen_jacobian)(id, jacobian);
    for (int row = 0; row < 6 && breaks("wrong_jacobian"); ++row)
        for (int column = row + 1; column < 6; ++column)
            std::swap(jacobian[row][column], jacobian[column][row]);
    return result;
}
int get_tharlen_temp(int id, float celsius[6]) {
    const int result = HEALTHY(get_tharlen_temp)(id, celsius);
    celsius[1] += isOpen(id) && breaks("warm_base") ? 10.0f : 0.0f;
    return result;
}
int get_tharlen_temp_6dof(int id, float celsius[6]) {
    const int result = HEALTHY(get_tharlen_temp_6dof)(id, celsius);
    if (breaks("not_a_number") && isOpen(id))
        celsius[4] = std::numeric_limits<float>::quiet_NaN();
    return result;
}
const char* get_hardware_serial_number(int id) {
    return isOpen(id) && breaks("odd_serial") ? "A\a7" : HEALTHY(get_hardware_serial_number)(id);
}
float get_tharlen_nominal_max_continuous_force(int id) {
    return HEALTHY(get_tharlen_nominal_max_continuous_force)(id) * (breaks("great_force") ? 20.0f : 1.0f);
}
int tharlen_check_for_pinch(int id) {
    return breaks("odd_grip") && isOpen(id) ? 1 : HEALTHY(tharlen_check_for_pinch)(id);
}
int get_calibration_status(int id, int* status) {
    const int result = HEALTHY(get_calibration_status)(id, status);
    return isOpen(id) && breaks("odd_status") ? -1 : result;
}
int is_calibration_supported(int id) {
    return isOpen(id) && breaks("no_calibration") ? 0 : HEALTHY(is_calibration_supported)(id);
}
