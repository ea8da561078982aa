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

template <class T>
void fill(T* out, const T* from, int size) {
    std::copy(from, from + size, out);
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
    const int status = note("init_tharlen");
    theDevice.calls.back().text = name;
    if (!theDevice.initThrows.empty())
        throw std::runtime_error(theDevice.initThrows);
    return scripted ? status : theDevice.count("init_tharlen");
}
int disable_tharlen(int id) { return note("disable_tharlen", id); }
int createServoLoop() {
    theDevice.loopCreated = true;
    return note("createServoLoop");
}
int setServoLoopRate(int rate) { return note("setServoLoopRate", rate); }
int startServoLoop(ServoCallback callback, void* pUserData) {
    const int status = theDevice.result.count("startServoLoop")
                           ? note("startServoLoop")
                           : (note("startServoLoop"), theDevice.loopCreated ? 0 : -1);
    if (status >= 0) {
        theDevice.loopRunning = true;
        theDevice.callback = callback;
        theDevice.userData = pUserData;
    }
    return status;
}
int stopServoLoop() {
    theDevice.loopRunning = false;
    return note("stopServoLoop");
}
bool isServoLoopRunning() {
    note("isServoLoopRunning");
    return theDevice.loopRunning;
}
int update_tharlen(int id) { return note("update_tharlen", id); }
float get_tharlen_inst_rate(int id) {
    note("get_tharlen_inst_rate", id);
    return theDevice.rate;
}
const char* get_library_version() { return "stand-in 1.0"; }

int enable_tharlen_forces(int id) { return standin::setForces("enable_tharlen_forces", id, true); }
int enable_tharlen_forces_no_wait(int id) { return standin::setForces("enable_tharlen_forces_no_wait", id, true); }
int disable_tharlen_forces(int id) { return standin::setForces("disable_tharlen_forces", id, false); }
int disable_tharlen_forces_no_wait(int id) { return standin::setForces("disable_tharlen_forces_no_wait", id, false); }
int is_tharlen_forces_enabled(int id) {
    note("is_tharlen_forces_enabled", id);
    return theDevice.forcesEnabled;
}
int send_tharlen_force(int id, const float force[6]) { return note("send_tharlen_force", id, Array<float>{force, 6}); }
int send_tharlen_force_6dof(int id, const float force[6]) {
    return note("send_tharlen_force_6dof", id, Array<float>{force, 6});
}
int command_motor_voltages(int id, const float volts[6], float sent[6]) {
    standin::fill(sent, volts, 6);
    return note("command_motor_voltages", id, Array<float>{volts, 6});
}
int command_motor_dac_values(int id, const long dac[6]) {
    return note("command_motor_dac_values", id, Array<long>{dac, 6});
}
int get_last_motor_dac_values(int id, long dac[6]) {
    standin::fill(dac, theDevice.lastDac, 6);
    return note("get_last_motor_dac_values", id);
}
int enable_tharlen_velocity_check(int id, int on) { return note("enable_tharlen_velocity_check", id, on); }
int unfiltered_device_fault(int id) { return note("unfiltered_device_fault", id); }

int get_encoder_values(int id, long encoders[6]) {
    standin::fill(encoders, theDevice.encoders, 6);
    return note("get_encoder_values", id);
}
int get_tharlen_encoders(int id, float angles[3]) {
    standin::fill(angles, theDevice.baseAngles, 3);
    return note("get_tharlen_encoders", id);
}
int get_gimbal_encoders(int id, float angles[3]) {
    standin::fill(angles, theDevice.gimbalAngles, 3);
    return note("get_gimbal_encoders", id);
}
int get_tharlen_joint_angles(int id, float angles[6]) {
    standin::fill(angles, theDevice.baseAngles, 3);
    standin::fill(angles + 3, theDevice.gimbalAngles, 3);
    return note("get_tharlen_joint_angles", id);
}
int get_tharlen_joint_vel(int id, float velocities[6]) {
    standin::fill(velocities, theDevice.jointVelocities, 6);
    return note("get_tharlen_joint_vel", id);
}
int get_tharlen_pos(int id, float position[3]) {
    standin::fill(position, theDevice.position, 3);
    return note("get_tharlen_pos", id);
}
int get_tharlen_vel(int id, float velocity[3]) {
    standin::fill(velocity, theDevice.velocity, 3);
    return note("get_tharlen_vel", id);
}
int get_tharlen_jacobian(int id, double jacobian[6][6]) {
    std::memset(jacobian, 0, 36 * sizeof(double));
    for (int i = 0; i < 6; ++i)
        jacobian[i][i] = theDevice.singularJacobian ? 0 : 1;
    return note("get_tharlen_jacobian", id);
}
int get_stylus_matrix(int id, float matrix[4][4]) {
    std::memcpy(matrix, theDevice.stylus, sizeof theDevice.stylus);
    return note("get_stylus_matrix", id);
}
int get_stylus_switch(int id, int button) {
    note("get_stylus_switch", id, button);
    return theDevice.switches[button];
}
int get_stylus_presence(int id) { return note("get_stylus_presence", id); }
int get_inkwell_switch(int id) { return note("get_inkwell_switch", id); }
double get_pinch_value(int id) {
    note("get_pinch_value", id);
    return theDevice.pinch;
}
int get_tharlen_temp(int id, float celsius[6]) {
    standin::fill(celsius, theDevice.celsius, 6);
    return note("get_tharlen_temp", id);
}
int get_tharlen_temp_6dof(int id, float celsius[6]) {
    standin::fill(celsius, theDevice.celsius, 6);
    return note("get_tharlen_temp_6dof", id);
}
int get_tharlen_temp_normalized_6dof(int id, float scale[6]) {
    standin::fill(scale, theDevice.normalizedTemperature, 6);
    return note("get_tharlen_temp_normalized_6dof", id);
}
int get_tharlen_temp_advance(int id, int kind, float celsius[6]) {
    standin::fill(celsius, theDevice.temperatures[kind], 6);
    return note("get_tharlen_temp_advance", id, kind);
}
int set_tharlen_temp_advance(int id, int kind, const float celsius[6]) {
    return note("set_tharlen_temp_advance", id, kind, Array<float>{celsius, 6});
}

const char* get_tharlen_model_type(int) { return theDevice.model.c_str(); }
int get_hardware_rev(int id) { return note("get_hardware_rev", id); }
const char* get_hardware_serial_number(int) { return theDevice.serial.c_str(); }
float get_tharlen_nominal_max_force(int) { return theDevice.maxForce; }
float get_tharlen_nominal_max_continuous_force(int) { return theDevice.maxContinuousForce; }
float get_tharlen_nominal_max_stiffness(int) { return theDevice.maxStiffness; }
int tharlen_check_for_gimbal(int id) { return note("tharlen_check_for_gimbal", id); }
int tharlen_check_for_pinch(int id) { return note("tharlen_check_for_pinch", id); }
int tharlen_which_pinch(int id) { return note("tharlen_which_pinch", id); }

int get_calibration_status(int id, int* status) {
    *status = theDevice.calibrationStatus;
    return note("get_calibration_status", id);
}
int update_calibration(int id) { return note("update_calibration", id); }
int is_calibration_supported(int id) { return note("is_calibration_supported", id); }
int is_tharlen_reset_supported(int id) { return note("is_tharlen_reset_supported", id); }
int tharlen_reset(int id) { return note("tharlen_reset", id); }
int is_pinch_calibrated(int id) { return note("is_pinch_calibrated", id); }
int set_pinch_limits(int id, int minimum, int maximum) { return note("set_pinch_limits", id, minimum, maximum); }
CIOConnection* get_connection_data(int id) {
    note("get_connection_data", id);
    return &theDevice.connection;
}
CTHARLeNAutoCalibration* get_calibration_data(int id) {
    note("get_calibration_data", id);
    return &theDevice.calibration;
}

}  // extern "C"
