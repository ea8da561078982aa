// The operations of device/tharlenio.h: life cycle, loop, forces and motors, identity.
#include <cstring>

#include "control/boundary.h"
#include "control/socket.h"
#include "rig.h"

using arm::Arm;
using arm::rig;
using arm::Vector6;

namespace {

constexpr int kEagerTicks = 3;  // ahead of the start's return, of a loop that is eager

/// Made after the rig and so ended before it: no command meets a rig that is gone.
arm::SocketServer& controlSocket() {
    rig();
    static arm::SocketServer server(&armcontrol::command);
    return server;
}

}  // namespace

// --- Store -------------------------------------------------------------------------------------

CTHARLeNDevice::CTHARLeNDevice() { std::memset(static_cast<void*>(this), 0, sizeof *this); }
CTHARLeNDevice::~CTHARLeNDevice() = default;

BOOLEAN CTHARLeNDevice::Read() {
    const arm::Fleet fleet = rig().fleet();
    const bool fails = rig().withArm([this](Arm& a) { return a.faults.on(arm::Fault::ReadFails, m_nIndex); });
    if (fails || m_nIndex < 0 || m_nIndex >= static_cast<int>(fleet.devices.size()))
        return 0;
    arm::fillRecord(fleet.devices[static_cast<std::size_t>(m_nIndex)], m_nIndex, *this);
    return 1;
}

// The store of the simulated arm is read only: its devices come from the fleet file.
BOOLEAN CTHARLeNDevice::Write() { return 0; }

CTHARLeNMgr::CTHARLeNMgr() : m_nDeviceCount(0), pEtharlen_mdns(nullptr) {}
CTHARLeNMgr::~CTHARLeNMgr() = default;

int CTHARLeNMgr::EnumerateTHARLeNs(CTHARLeNDevice** apDevices) {
    m_nDeviceCount = 0;
    if (!apDevices)
        return 0;
    const arm::Fleet fleet = rig().enumerate();
    controlSocket().start();
    for (const arm::FleetDevice& device : fleet.devices) {
        apDevices[m_nDeviceCount] = new CTHARLeNDevice;
        arm::fillRecord(device, m_nDeviceCount, *apDevices[m_nDeviceCount]);
        ++m_nDeviceCount;
    }
    return m_nDeviceCount;
}

// --- Life cycle and servo loop -----------------------------------------------------------------

int init_tharlen(const char* name) { return name ? rig().open(name) : -1; }
int disable_tharlen(int id) { return rig().close(id); }

int createServoLoop() {
    rig().loop.create();
    return 0;
}

int setServoLoopRate(int rate) { return rig().loop.setRate(rate); }

int startServoLoop(ServoCallback callback, void* pUserData) {
    if (rig().withArm([](Arm& a) { return a.faults.on(arm::Fault::NoLoop); }))
        return -1;
    return rig().loop.start(callback, pUserData, rig().manner(arm::Fault::EagerLoop) > 0.0 ? kEagerTicks : 0);
}

int stopServoLoop() { return rig().loop.stop(static_cast<int>(rig().manner(arm::Fault::LateStop))); }
bool isServoLoopRunning() { return rig().loop.running(); }

// No device, no error: the first ticks of a loop run before the application knows its handle.
int update_tharlen(int id) {
    rig().slowTick();
    return rig().withOpen(id, 0, [](Arm& a) { return a.status(); });
}

float get_tharlen_inst_rate(int) { return rig().loop.instantRate(); }
const char* get_library_version() { return "4.2 (simulated)"; }

// --- Forces and motors -------------------------------------------------------------------------

int enable_tharlen_forces(int id) { return rig().switchAmplifiers(id, true, true); }
int enable_tharlen_forces_no_wait(int id) { return rig().switchAmplifiers(id, true, false); }
int disable_tharlen_forces(int id) { return rig().switchAmplifiers(id, false, true); }
int disable_tharlen_forces_no_wait(int id) { return rig().switchAmplifiers(id, false, false); }

int is_tharlen_forces_enabled(int id) {
    return rig().withOpen(id, 0, [](Arm& a) { return a.amplifiersEnabled() ? 1 : 0; });
}

int send_tharlen_force(int id, const float force[6]) {
    rig().slowTick();
    Vector6 wanted;
    for (int i = 0; i < arm::kAxes; ++i)
        wanted[i] = force[i];
    return rig().withOpen(id, -1, [&](Arm& a) { return a.commandForce(wanted); });
}

int send_tharlen_force_6dof(int id, const float force[6]) { return send_tharlen_force(id, force); }

int command_motor_voltages(int id, const float volts[6], float sent[6]) {
    rig().slowTick();
    Vector6 dac;
    for (int i = 0; i < arm::kAxes; ++i) {
        dac[i] = static_cast<double>(volts[i]) * arm::kFullDac;
        sent[i] = 0.0f;
    }
    return rig().withOpen(id, -1, [&](Arm& a) {
        const int status = a.commandDac(dac);
        for (int i = 0; i < arm::kAxes; ++i)
            sent[i] = static_cast<float>(a.dac()[i] / arm::kFullDac);
        return status;
    });
}

int command_motor_dac_values(int id, const long dac[6]) {
    rig().slowTick();
    Vector6 wanted;
    for (int i = 0; i < arm::kAxes; ++i)
        wanted[i] = static_cast<double>(dac[i]);
    return rig().withOpen(id, -1, [&](Arm& a) { return a.commandDac(wanted); });
}

int get_last_motor_dac_values(int id, long dac[6]) {
    std::memset(dac, 0, 6 * sizeof dac[0]);
    return rig().withOpen(id, -1, [&](Arm& a) {
        for (int i = 0; i < arm::kAxes; ++i)
            dac[i] = static_cast<long>(a.dac()[i]);
        return 0;
    });
}

int enable_tharlen_velocity_check(int id, int on) {
    return rig().withOpen(id, -1, [on](Arm& a) {
        a.setVelocityCheck(on != 0);
        return 0;
    });
}

int unfiltered_device_fault(int id) {
    return rig().read(id, 1, [](Arm& a) { return a.deviceFault(); });
}

// --- Identity and capabilities -----------------------------------------------------------------

const char* get_tharlen_model_type(int id) {
    return rig().read(id, static_cast<const char*>(""), [](Arm& a) { return a.line->modelString; });
}

int get_hardware_rev(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.device.revision; });
}

const char* get_hardware_serial_number(int id) {
    return rig().keep(rig().read(id, std::string(), [](Arm& a) { return a.device.serial; }));
}

float get_tharlen_nominal_max_force(int id) {
    return rig().read(id, 0.0f, [](Arm& a) { return a.line->maxForce; });
}

float get_tharlen_nominal_max_continuous_force(int id) {
    return rig().read(id, 0.0f, [](Arm& a) { return a.line->continuousForce; });
}

float get_tharlen_nominal_max_stiffness(int id) {
    return rig().read(id, 0.0f, [](Arm& a) { return a.line->maxStiffness; });
}

int tharlen_check_for_gimbal(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.device.gimbal ? 1 : 0; });
}

int tharlen_check_for_pinch(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.device.grip != 0 ? 1 : 0; });
}

int tharlen_which_pinch(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.device.grip; });
}
