#include "standin.h"

#include <cstring>
#include <stdexcept>

namespace standin {

static Device theDevice;

Device& device() { return theDevice; }

void reset() { theDevice = Device(); }

CTHARLeNDevice record(const std::string& name, unsigned long modelType, unsigned long cardType,
                      unsigned long highForce) {
    CTHARLeNDevice device;
    std::strncpy(device.m_szName, name.c_str(), sizeof device.m_szName - 1);
    device.m_nModelType = modelType;
    device.m_nCardType = cardType;
    device.m_nHighForce = highForce;
    return device;
}

std::vector<Call> Device::of(const std::set<std::string>& names) const {
    std::vector<Call> found;
    for (const Call& call : calls) {
        if (names.count(call.name))
            found.push_back(call);
    }
    return found;
}

std::vector<std::string> Device::namesOf(const std::set<std::string>& names) const {
    std::vector<std::string> found;
    for (const Call& call : of(names))
        found.push_back(call.name);
    return found;
}

int Device::count(const std::string& name) const { return static_cast<int>(of({name}).size()); }

namespace {

void append(std::vector<double>& values, double value) { values.push_back(value); }

template <class T>
struct Array {
    const T* data;
    int size;
};
template <class T>
void append(std::vector<double>& values, Array<T> array) {
    values.insert(values.end(), array.data, array.data + array.size);
}

/// Records a call and gives its scripted result.
template <class... Values>
int note(const char* name, Values... numbers) {
    Call call{name, {}, {}};
    (append(call.values, numbers), ...);
    theDevice.calls.push_back(call);
    if (theDevice.onCall)
        theDevice.onCall(call);
    const auto scripted = theDevice.result.find(name);
    return scripted == theDevice.result.end() ? 0 : scripted->second;
}

/// Records a call that reads so many numbers, and gives them.
template <class T, std::size_t size, class... Values>
int give(T* out, const T (&from)[size], const char* name, Values... numbers) {
    std::copy(from, from + size, out);
    return note(name, numbers...);
}

int setForces(const char* name, int id, bool on) {
    const int status = note(name, id);
    if (status == 0)
        theDevice.forcesEnabled = on;
    return status;
}

}  // namespace
}  // namespace standin

using standin::Array;
using standin::give;
using standin::note;
using standin::theDevice;

CTHARLeNDevice::CTHARLeNDevice() { std::memset(static_cast<void*>(this), 0, sizeof *this); }
CTHARLeNDevice::~CTHARLeNDevice() = default;
BOOLEAN CTHARLeNDevice::Read() { return theDevice.unreadable.count(m_nIndex) ? 0 : 1; }
BOOLEAN CTHARLeNDevice::Write() { return 1; }

CTHARLeNMgr::CTHARLeNMgr() : m_nDeviceCount(0), pEtharlen_mdns(nullptr) {}
CTHARLeNMgr::~CTHARLeNMgr() = default;
int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** apDevices) {
    const int scripted = note("EnumerateTHARLeNs");
    m_nDeviceCount = scripted != 0 ? scripted : static_cast<int>(theDevice.fleet.size());
    for (int i = 0; i < static_cast<int>(theDevice.fleet.size()); ++i) {
        apDevices[i] = new CTHARLeNDevice(theDevice.fleet[i]);
        apDevices[i]->m_nIndex = i;
    }
    return m_nDeviceCount;
}

extern "C" {

int init_tharlen(const char* name) {
    const bool scripted = theDevice.result.count("init_tharlen") > 0;
    const int status = note(__func__);
    theDevice.calls.back().text = name;
    if (!theDevice.initThrows.empty())
        throw std::runtime_error(theDevice.initThrows);
    return scripted ? status : theDevice.count("init_tharlen");
}
int disable_tharlen(int id) { return note(__func__, id); }
int createServoLoop() {
    theDevice.loopCreated = true;
    return note(__func__);
}
int setServoLoopRate(int rate) { return note(__func__, rate); }
int startServoLoop(ServoCallback callback, void* pUserData) {
    const int status =
        theDevice.result.count("startServoLoop") ? note(__func__) : (note(__func__), theDevice.loopCreated ? 0 : -1);
    if (status >= 0) {
        theDevice.loopRunning = true;
        theDevice.callback = callback;
        theDevice.userData = pUserData;
    }
    return status;
}
int stopServoLoop() {
    theDevice.loopRunning = false;
    return note(__func__);
}
bool isServoLoopRunning() { return note(__func__), theDevice.loopRunning; }
int update_tharlen(int id) { return note(__func__, id); }
float get_tharlen_inst_rate(int id) { return note(__func__, id), theDevice.rate; }
const char* get_library_version() { return "stand-in 1.0"; }

int enable_tharlen_forces(int id) { return standin::setForces(__func__, id, true); }
int enable_tharlen_forces_no_wait(int id) { return standin::setForces(__func__, id, true); }
int disable_tharlen_forces(int id) { return standin::setForces(__func__, id, false); }
int disable_tharlen_forces_no_wait(int id) { return standin::setForces(__func__, id, false); }
int is_tharlen_forces_enabled(int id) { return note(__func__, id), theDevice.forcesEnabled; }
int send_tharlen_force(int id, const float force[6]) { return note(__func__, id, Array<float>{force, 6}); }
int send_tharlen_force_6dof(int id, const float force[6]) { return note(__func__, id, Array<float>{force, 6}); }
int command_motor_voltages(int id, const float volts[6], float sent[6]) {
    std::copy(volts, volts + 6, sent);
    return note(__func__, id, Array<float>{volts, 6});
}
int command_motor_dac_values(int id, const long dac[6]) { return note(__func__, id, Array<long>{dac, 6}); }
int get_last_motor_dac_values(int id, long dac[6]) { return give(dac, theDevice.lastDac, __func__, id); }
int enable_tharlen_velocity_check(int id, int on) { return note(__func__, id, on); }
int unfiltered_device_fault(int id) { return note(__func__, id); }

int get_encoder_values(int id, long encoders[6]) { return give(encoders, theDevice.encoders, __func__, id); }
int get_tharlen_encoders(int id, float angles[3]) { return give(angles, theDevice.baseAngles, __func__, id); }
int get_gimbal_encoders(int id, float angles[3]) { return give(angles, theDevice.gimbalAngles, __func__, id); }
int get_tharlen_joint_angles(int id, float angles[6]) {
    std::copy_n(theDevice.gimbalAngles, 3, angles + 3);
    return give(angles, theDevice.baseAngles, __func__, id);
}
int get_tharlen_joint_vel(int id, float velocities[6]) {
    return give(velocities, theDevice.jointVelocities, __func__, id);
}
int get_tharlen_pos(int id, float position[3]) { return give(position, theDevice.position, __func__, id); }
int get_tharlen_vel(int id, float velocity[3]) { return give(velocity, theDevice.velocity, __func__, id); }
int get_tharlen_jacobian(int id, double jacobian[6][6]) {
    std::memset(jacobian, 0, 36 * sizeof(double));
    for (int i = 0; i < 6; ++i)
        jacobian[i][i] = theDevice.singularJacobian ? 0 : 1;
    return note(__func__, id);
}
int get_stylus_matrix(int id, float matrix[4][4]) {
    std::memcpy(matrix, theDevice.stylus, sizeof theDevice.stylus);
    return note(__func__, id);
}
int get_stylus_switch(int id, int button) { return note(__func__, id, button), theDevice.switches[button]; }
int get_stylus_presence(int id) { return note(__func__, id); }
int get_inkwell_switch(int id) { return note(__func__, id); }
double get_pinch_value(int id) { return note(__func__, id), theDevice.pinch; }
int get_tharlen_temp(int id, float celsius[6]) { return give(celsius, theDevice.celsius, __func__, id); }
int get_tharlen_temp_6dof(int id, float celsius[6]) { return give(celsius, theDevice.celsius, __func__, id); }
int get_tharlen_temp_normalized_6dof(int id, float scale[6]) {
    return give(scale, theDevice.normalizedTemperature, __func__, id);
}
int get_tharlen_temp_advance(int id, int kind, float celsius[6]) {
    return give(celsius, theDevice.temperatures[kind], __func__, id, kind);
}
int set_tharlen_temp_advance(int id, int kind, const float celsius[6]) {
    return note(__func__, id, kind, Array<float>{celsius, 6});
}

const char* get_tharlen_model_type(int) { return theDevice.model.c_str(); }
int get_hardware_rev(int id) { return note(__func__, id); }
const char* get_hardware_serial_number(int) { return theDevice.serial.c_str(); }
float get_tharlen_nominal_max_force(int) { return theDevice.maxForce; }
float get_tharlen_nominal_max_continuous_force(int) { return theDevice.maxContinuousForce; }
float get_tharlen_nominal_max_stiffness(int) { return theDevice.maxStiffness; }
int tharlen_check_for_gimbal(int id) { return note(__func__, id); }
int tharlen_check_for_pinch(int id) { return note(__func__, id); }
int tharlen_which_pinch(int id) { return note(__func__, id); }

int get_calibration_status(int id, int* status) {
    *status = theDevice.calibrationStatus;
    return note(__func__, id);
}
int update_calibration(int id) { return note(__func__, id); }
int is_calibration_supported(int id) { return note(__func__, id); }
int is_tharlen_reset_supported(int id) { return note(__func__, id); }
int tharlen_reset(int id) { return note(__func__, id); }
int is_pinch_calibrated(int id) { return note(__func__, id); }
int set_pinch_limits(int id, int minimum, int maximum) { return note(__func__, id, minimum, maximum); }
CIOConnection* get_connection_data(int id) { return note(__func__, id), &theDevice.connection; }
CTHARLeNAutoCalibration* get_calibration_data(int id) { return note(__func__, id), &theDevice.calibration; }

}  // extern "C"
