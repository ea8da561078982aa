// A device library to begin with: one configured arm, which stands still, and a servo loop on a thread of its own. Copy
// it, and fill the places marked with FILL with what talks to your hardware. Everything that crosses the boundary, with
// units, threads and results, is stated in device/tharlenio.h.
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <mutex>
#include <thread>

#include "device/tharlenio.h"

namespace {

constexpr char kName[] = "Example arm", kModel[] = "Example model", kSerial[] = "EX-0001";
constexpr float kMaxForce = 3.0f, kContinuousForce = 1.0f, kMaxStiffness = 0.5f;  // N, N, N/mm
constexpr long kFullDac = 32767;
constexpr float kFullVolt = 32767.0f;          // counts a volt
constexpr float kRoom = 25.0f, kWarm = 85.0f;  // degrees Celsius

thread_local bool inCallback = false;

/// Who holds it has the priority of who waits for it: the servo thread waits for a copy, never for a busy machine.
struct Lock {
    Lock() {
        pthread_mutexattr_t kind;
        pthread_mutexattr_init(&kind);
        pthread_mutexattr_setprotocol(&kind, PTHREAD_PRIO_INHERIT);
        pthread_mutex_init(&mutex, &kind);
    }
    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }
    pthread_mutex_t mutex;
};

/// What the servo thread refreshes and others read. Talk to the hardware outside of the lock.
struct Arm {
    Lock lock;
    int open = -1;  ///< handle, or -1
    int next = 0;
    bool amplifiers = false;
    long dac[6] = {};
    float shutdown[6] = {100, 100, 100, 100, 100, 100}, cooldown[6] = {70, 70, 70, 70, 70, 70};
    CIOConnection connection;
} arm;

class Calibration : public CTHARLeNAutoCalibration {
    void DiscardCalibration() override {}  // FILL: the device counts as not calibrated from here on
} calibration;

/// Runs `f` for the open device; `otherwise` for any other handle.
template <typename T, typename F>
T with(int id, T otherwise, F f) {
    const std::lock_guard<Lock> hold(arm.lock);
    return id >= 0 && id == arm.open ? f() : otherwise;
}

/// Fills `out` with zeros, and for the open device with `values` after that.
template <typename T>
int fill(int id, T* out, int count, const T* values = nullptr) {
    std::fill(out, out + count, T{});
    return with(id, -1, [&] { return std::copy(values, values + (values ? count : 0), out), 0; });
}

int amplifiers(int id, bool on) {
    // FILL: tell the arm, also while the loop stands; where it needs time, wait, but never while inCallback is true.
    return with(id, -5, [on] { return arm.amplifiers = on, 0; });
}

void forgetCommands() {
    arm.amplifiers = false;
    std::fill(arm.dac, arm.dac + 6, 0L);
}

/// Calls back at an even rate; a deadline that went by is lost, never made up for.
class ServoLoop {
public:
    ~ServoLoop() { stop(); }

    bool created = false;
    std::atomic<int> rate{1000};          // Hz
    std::atomic<float> instant{1000.0f};  // Hz

    bool running() const { return running_; }
    int start(ServoCallback callback, void* data) {
        if (!created || !callback || running_)
            return -1;
        running_ = true;
        thread_ = std::thread([=] { run(callback, data); });
        return 0;
    }
    /// Once this has returned no callback runs; from inside of one it can only ask for the end.
    void stop() {
        running_ = false;
        if (!inCallback && thread_.joinable())
            thread_.join();
    }

private:
    static std::int64_t now() {
        timespec t{};
        clock_gettime(CLOCK_MONOTONIC, &t);
        return t.tv_sec * 1000000000LL + t.tv_nsec;
    }
    void run(ServoCallback callback, void* data) {
        const sched_param priority{60};
        pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);  // without the permission it stays as it is
        std::int64_t next = now(), last = 0;
        while (running_) {
            const std::int64_t period = 1000000000LL / rate;
            next += period;
            const timespec t{static_cast<time_t>(next / 1000000000LL), static_cast<long>(next % 1000000000LL)};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr);
            const std::int64_t woken = now();
            next += std::max<std::int64_t>(0, woken - next) / period * period;
            if (last > 0 && woken > last)
                instant = 1e9f / static_cast<float>(woken - last);
            last = woken;
            if (!running_)
                break;
            inCallback = true;
            callback(data);
            inCallback = false;
        }
    }

    std::atomic<bool> running_{false};
    std::thread thread_;
} servo;

}  // namespace

// --- Store -----------------------------------------------------------------------------------------

CTHARLeNDevice::CTHARLeNDevice() { std::memset(static_cast<void*>(this), 0, sizeof *this); }
CTHARLeNDevice::~CTHARLeNDevice() = default;

BOOLEAN CTHARLeNDevice::Read() {
    if (m_nIndex != 0)
        return 0;  // FILL: the records of your store, by their index
    std::strcpy(m_szName, kName);
    m_nModelType = 5;
    m_nCardType = 7;
    m_nGimbal = 1;
    m_dL1 = m_dL2 = 140.0;
    m_dNominalMaxForce = static_cast<double>(kMaxForce);
    m_dNominalMaxContinuousForce = static_cast<double>(kContinuousForce);
    m_dNominalMaxStiffness = static_cast<double>(kMaxStiffness);
    std::strcpy(m_nDeviceSerialNumber, kSerial);
    return 1;
}
BOOLEAN CTHARLeNDevice::Write() { return 0; }
CTHARLeNMgr::CTHARLeNMgr() : m_nDeviceCount(0), pEtharlen_mdns(nullptr) {}
CTHARLeNMgr::~CTHARLeNMgr() = default;
int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** apDevices) {
    apDevices[0] = new CTHARLeNDevice;
    apDevices[0]->Read();
    return m_nDeviceCount = 1;
}

// --- Life cycle and servo loop ---------------------------------------------------------------------

int init_tharlen(const char* name) {  // FILL: connect, ahead of the lock
    if (!name || std::strcmp(name, kName) != 0)
        return -1;
    const std::lock_guard<Lock> hold(arm.lock);  // what was open is closed by this
    forgetCommands();
    return arm.open = arm.next++;
}
int disable_tharlen(int id) {  // FILL: the amplifiers off, also while the loop stands; disconnect
    return with(id, -1, [] {
        forgetCommands();
        arm.open = -1;
        return 0;
    });
}
int createServoLoop() { return servo.created = true, 0; }
int setServoLoopRate(int rate) {
    if (rate != 1000 && rate != 2000 && rate != 3000 && rate != 4000)
        return -1;
    return servo.rate = rate, 0;
}
int startServoLoop(ServoCallback callback, void* pUserData) { return servo.start(callback, pUserData); }
int stopServoLoop() { return servo.stop(), 0; }
bool isServoLoopRunning() { return servo.running(); }
int update_tharlen(int id) {  // FILL: exchange commands and readings with the arm, ahead of the lock
    return with(id, 0, [] {
        PORT_INPUT& image = arm.connection.m_portInput;
        __atomic_store_n(&image.ucTimerCnt, static_cast<UCHAR>(image.ucTimerCnt + 1), __ATOMIC_RELAXED);
        return 0;
    });
}
float get_tharlen_inst_rate(int) { return servo.instant; }
const char* get_library_version() { return "example"; }

// clang-format off
// --- Forces and motors -----------------------------------------------------------------------------

int enable_tharlen_forces(int id) { return amplifiers(id, true); }
int enable_tharlen_forces_no_wait(int id) { return amplifiers(id, true); }
int disable_tharlen_forces(int id) { return amplifiers(id, false); }
int disable_tharlen_forces_no_wait(int id) { return amplifiers(id, false); }
int is_tharlen_forces_enabled(int id) { return with(id, 0, [] { return arm.amplifiers ? 1 : 0; }); }
int send_tharlen_force(int id, const float force[6]) {
    return with(id, -1, [force] {
        const float size = std::sqrt(force[0] * force[0] + force[1] * force[1] + force[2] * force[2]);
        return size <= kMaxForce ? 0 : kMaxForceExceeded;  // FILL: torques by the Jacobian, then motor commands
    });
}
int send_tharlen_force_6dof(int id, const float force[6]) { return send_tharlen_force(id, force); }
int command_motor_dac_values(int id, const long dac[6]) {
    return with(id, -1, [dac] {
        bool beyond = false;
        for (int i = 0; i < 6; ++i) {
            beyond |= dac[i] > kFullDac || dac[i] < -kFullDac - 1;
            arm.dac[i] = std::clamp(dac[i], -kFullDac - 1, kFullDac);
        }
        return beyond ? kMaxForceExceeded : 0;
    });
}
int command_motor_voltages(int id, const float volts[6], float sent[6]) {
    long dac[6];
    for (int i = 0; i < 6; ++i)
        dac[i] = std::isfinite(volts[i]) ? std::lround(std::clamp(volts[i], -2.0f, 2.0f) * kFullVolt) : 0;
    std::fill(sent, sent + 6, 0.0f);
    const int status = command_motor_dac_values(id, dac);
    return with(id, -1, [=] {
        for (int i = 0; i < 6; ++i)
            sent[i] = static_cast<float>(arm.dac[i]) / kFullVolt;
        return status;
    });
}
int get_last_motor_dac_values(int id, long dac[6]) { return fill(id, dac, 6, arm.dac); }
int enable_tharlen_velocity_check(int id, int) { return with(id, -1, [] { return 0; }); }
int unfiltered_device_fault(int id) { return with(id, 1, [] { return 0; }); }

// --- Sensors: the arm stands still at its origin ---------------------------------------------------

int get_encoder_values(int id, long encoders[6]) { return fill(id, encoders, 6); }
int get_tharlen_encoders(int id, float angles[3]) { return fill(id, angles, 3); }
int get_gimbal_encoders(int id, float angles[3]) { return fill(id, angles, 3); }
int get_tharlen_joint_angles(int id, float angles[6]) { return fill(id, angles, 6); }
int get_tharlen_joint_vel(int id, float velocities[6]) { return fill(id, velocities, 6); }
int get_tharlen_pos(int id, float position[3]) { return fill(id, position, 3); }
int get_tharlen_vel(int id, float velocity[3]) { return fill(id, velocity, 3); }
int get_tharlen_jacobian(int id, double jacobian[6][6]) { return fill(id, &jacobian[0][0], 36); }
int get_stylus_matrix(int id, float matrix[4][4]) {
    const float still[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    return fill(id, &matrix[0][0], 16, still);
}
int get_stylus_switch(int, int) { return 0; }
int get_stylus_presence(int) { return 0; }
int get_inkwell_switch(int id) { return with(id, 0, [] { return 1; }); }  // type 5: not docked
double get_pinch_value(int) { return 0.0; }
int get_tharlen_temp_advance(int id, int kind, float celsius[6]) {
    const float room[6] = {kRoom, kRoom, kRoom, kRoom, kRoom, kRoom};
    const float* const known[] = {room, room, arm.shutdown, arm.cooldown};
    return kind < 0 || kind > kCooldownTemperature ? -1 : fill(id, celsius, 6, known[kind]);
}
int get_tharlen_temp_6dof(int id, float temps[6]) { return get_tharlen_temp_advance(id, kWindingTemperature, temps); }
int get_tharlen_temp(int id, float celsius[6]) { return get_tharlen_temp_6dof(id, celsius); }
int get_tharlen_temp_normalized_6dof(int id, float scale[6]) {
    const float cool[6] = {kRoom / kWarm, kRoom / kWarm, kRoom / kWarm, kRoom / kWarm, kRoom / kWarm, kRoom / kWarm};
    return fill(id, scale, 6, cool);
}
int set_tharlen_temp_advance(int id, int kind, const float celsius[6]) {
    if (kind != kShutdownTemperature && kind != kCooldownTemperature)
        return -1;
    return with(id, -1, [=] {
        std::copy(celsius, celsius + 6, kind == kShutdownTemperature ? arm.shutdown : arm.cooldown);
        return 0;
    });
}

// --- Identity and calibration ----------------------------------------------------------------------

const char* get_tharlen_model_type(int id) { return with(id, "", [] { return +kModel; }); }
int get_hardware_rev(int id) { return with(id, 0, [] { return 1; }); }
const char* get_hardware_serial_number(int id) { return with(id, "", [] { return +kSerial; }); }
float get_tharlen_nominal_max_force(int id) { return with(id, 0.0f, [] { return kMaxForce; }); }
float get_tharlen_nominal_max_continuous_force(int id) { return with(id, 0.0f, [] { return kContinuousForce; }); }
float get_tharlen_nominal_max_stiffness(int id) { return with(id, 0.0f, [] { return kMaxStiffness; }); }
int tharlen_check_for_gimbal(int id) { return with(id, 0, [] { return 1; }); }
int tharlen_check_for_pinch(int) { return 0; }
int tharlen_which_pinch(int) { return 0; }
int get_calibration_status(int id, int* status) { return fill(id, status, 1); }
int update_calibration(int id) { return with(id, -1, [] { return 0; }); }
int is_calibration_supported(int id) { return with(id, 0, [] { return 2; }); }
int is_tharlen_reset_supported(int) { return 0; }
int tharlen_reset(int) { return -1; }
int is_pinch_calibrated(int) { return 0; }
int set_pinch_limits(int, int, int) { return -1; }
CIOConnection* get_connection_data(int id) { return with<CIOConnection*>(id, nullptr, [] { return &arm.connection; }); }
CTHARLeNAutoCalibration* get_calibration_data(int id) {
    return with<CTHARLeNAutoCalibration*>(id, nullptr, [] { return &calibration; });
}
