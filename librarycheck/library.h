// A device library as it was loaded from its file: every operation of device/tharlenio.h by its name, with the type
// that the header gives it. A call goes through an Operation, which knows which operations are not to be called any
// more.
#pragma once

#include <atomic>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "device/tharlenio.h"

namespace librarycheck {

/// A promise that was not kept, in the words of the report.
struct Broken : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// Why a promise could not be tried.
struct NotTried : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// An operation let an exception out. Not for init_tharlen(), which may.
struct Threw : Broken {
    Threw(const char* operation, const std::string& what)
        : Broken(std::string(operation) + " threw an exception: " + what), name(operation) {}
    const char* name;
};

/// What a child process is inside of, for the one who waits for it: it lies in memory of both. Two threads call.
struct Underway {
    std::atomic<const char*> graphical{nullptr};
    std::atomic<const char*> servo{nullptr};
};
extern Underway* underway;
extern thread_local bool onServoThread;

/// Notes for its lifetime that this thread is inside an operation.
class Inside {
public:
    explicit Inside(const char* name) : place_(onServoThread ? underway->servo : underway->graphical) { place_ = name; }
    ~Inside() { place_ = nullptr; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    std::atomic<const char*>& place_;
};

template <typename F>
class Operation;

template <typename R, typename... A>
class Operation<R (*)(A...)> {
public:
    explicit Operation(const char* name) : name_(name) {}

    /// NotTried where it is distrusted, Threw where it throws. [any thread]
    R operator()(A... arguments) const {
        if (!distrust_.empty())
            throw NotTried(std::string(name_) + " " + distrust_);
        const Inside inside(name_);
        try {
            return function_(arguments...);
        } catch (const std::exception& error) {
            throw Threw(name_, error.what());
        } catch (...) {
            throw Threw(name_, "none of std::exception");
        }
    }

    R (*raw() const)(A...) { return function_; }
    const char* name() const { return name_; }
    void bind(void* symbol) { function_ = reinterpret_cast<R (*)(A...)>(symbol); }
    bool trusted() const { return distrust_.empty(); }
    void distrust(const std::string& why) { distrust_ = why; }

private:
    const char* name_;
    R (*function_)(A...) = nullptr;
    std::string distrust_;
};

// The operations with C linkage, in the order of the header.
// clang-format off
#define LIBRARYCHECK_OPERATIONS(X)                                                                                   \
    X(init_tharlen) X(disable_tharlen) X(createServoLoop) X(setServoLoopRate) X(startServoLoop) X(stopServoLoop)     \
    X(isServoLoopRunning) X(update_tharlen) X(get_tharlen_inst_rate) X(get_library_version)                          \
    X(enable_tharlen_forces) X(enable_tharlen_forces_no_wait) X(disable_tharlen_forces)                              \
    X(disable_tharlen_forces_no_wait) X(is_tharlen_forces_enabled) X(send_tharlen_force) X(send_tharlen_force_6dof)  \
    X(command_motor_voltages) X(command_motor_dac_values) X(get_last_motor_dac_values)                               \
    X(enable_tharlen_velocity_check) X(unfiltered_device_fault)                                                      \
    X(get_encoder_values) X(get_tharlen_encoders) X(get_gimbal_encoders) X(get_tharlen_joint_angles)                 \
    X(get_tharlen_joint_vel) X(get_tharlen_pos) X(get_tharlen_vel) X(get_tharlen_jacobian) X(get_stylus_matrix)      \
    X(get_stylus_switch) X(get_stylus_presence) X(get_inkwell_switch) X(get_pinch_value) X(get_tharlen_temp)         \
    X(get_tharlen_temp_6dof) X(get_tharlen_temp_normalized_6dof) X(get_tharlen_temp_advance)                         \
    X(set_tharlen_temp_advance)                                                                                      \
    X(get_tharlen_model_type) X(get_hardware_rev) X(get_hardware_serial_number) X(get_tharlen_nominal_max_force)     \
    X(get_tharlen_nominal_max_continuous_force) X(get_tharlen_nominal_max_stiffness) X(tharlen_check_for_gimbal)     \
    X(tharlen_check_for_pinch) X(tharlen_which_pinch)                                                                \
    X(get_calibration_status) X(update_calibration) X(is_calibration_supported) X(is_tharlen_reset_supported)        \
    X(tharlen_reset) X(is_pinch_calibrated) X(set_pinch_limits) X(get_connection_data) X(get_calibration_data)
// clang-format on

// The members of the two classes of the store: name, type as a plain function whose first argument is the object, and
// the name that the compiler gives it (Itanium C++ ABI, 5.1).
#define LIBRARYCHECK_MEMBERS(X)                                                                              \
    X(makeDevice, void (*)(void*), "_ZN14CTHARLeNDeviceC1Ev", "CTHARLeNDevice::CTHARLeNDevice")              \
    X(endDevice, void (*)(void*), "_ZN14CTHARLeNDeviceD1Ev", "CTHARLeNDevice::~CTHARLeNDevice")              \
    X(readDevice, BOOLEAN (*)(void*), "_ZN14CTHARLeNDevice4ReadEv", "CTHARLeNDevice::Read")                  \
    X(writeDevice, BOOLEAN (*)(void*), "_ZN14CTHARLeNDevice5WriteEv", "CTHARLeNDevice::Write")               \
    X(makeManager, void (*)(void*), "_ZN11CTHARLeNMgrC1Ev", "CTHARLeNMgr::CTHARLeNMgr")                      \
    X(endManager, void (*)(void*), "_ZN11CTHARLeNMgrD1Ev", "CTHARLeNMgr::~CTHARLeNMgr")                      \
    X(enumerate, int (*)(void*, CTHARLeNDevice**), "_ZN11CTHARLeNMgr17EnumerateTHARLeNsEPP14CTHARLeNDevice", \
      "CTHARLeNMgr::EnumerateTHARLeNs")

/// One library in this process. Not copied: the operations of two would share their static state.
class Library {
public:
    Library() = default;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// Loads the file as the application does, every symbol bound at once. Broken with the linker's own words.
    void load(const std::string& file);
    /// Operations that the file does not have, by the names of the header.
    std::vector<std::string> missing() const { return missing_; }
    /// DT_SONAME of the file, empty where it has none.
    std::string soname() const { return soname_; }

    /// From here on a call of this operation throws NotTried with the reason. Nothing for a name that is none.
    void distrust(const std::string& operation, const std::string& why);

#define X(op) Operation<decltype(&::op)> op{#op};
    LIBRARYCHECK_OPERATIONS(X)
#undef X
#define X(op, type, symbol, shown) Operation<type> op{shown};
    LIBRARYCHECK_MEMBERS(X)
#undef X

private:
    std::vector<std::string> missing_;
    std::string soname_;
};

}  // namespace librarycheck
