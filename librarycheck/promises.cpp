#include "promises.h"

namespace librarycheck {
namespace {

constexpr char kFile[] = "The file";
constexpr char kStore[] = "Records and store";
constexpr char kLife[] = "Life cycle and servo loop";
constexpr char kMotors[] = "Forces and motors";
constexpr char kSensors[] = "Sensors";
constexpr char kIdentity[] = "Identity and capabilities";
constexpr char kCalibration[] = "Calibration";

constexpr char kPage[] = "docs/device-library.md, What it must keep";

}  // namespace

const std::vector<Promise>& promises() {
    static const std::vector<Promise> table = {
        {"file.loads", kFile, "the file loads with every symbol bound", kPage},
        {"file.soname", kFile, "its SONAME is libTharlenIOLib42.so", kPage},
        {"file.operations", kFile, "every operation and member of the header is there", "device/tharlenio.h, whole"},

        {"store.device", kStore, "a CTHARLeNDevice has the size of the header", "device/tharlenio.h, CTHARLeNDevice"},
        {"store.manager", kStore, "a CTHARLeNMgr has the size of the header", "device/tharlenio.h, CTHARLeNMgr"},
        {"store.count", kStore, "the list has 0 to 20 devices, and the count in the manager is theirs",
         "device/tharlenio.h, EnumerateTHARLeNs"},
        {"store.names", kStore, "each device has a name of its own, ended by a zero",
         "device/tharlenio.h, CTHARLeNDevice::m_szName"},
        {"store.fields", kStore, "the fields of each record lie where the header has them and are within bounds",
         "device/tharlenio.h, CTHARLeNDevice"},
        {"store.read", kStore, "a record reads itself by its index, and none past the ends",
         "device/tharlenio.h, CTHARLeNDevice::Read"},
        {"store.again", kStore, "the list can be asked for again", "device/tharlenio.h, EnumerateTHARLeNs"},

        {"life.version", kLife, "the library tells its version", "device/tharlenio.h, get_library_version"},
        {"life.nohandle", kLife, "without an open device every operation fails or fills zeros",
         "device/tharlenio.h, Conventions"},
        {"life.unknown", kLife, "a device that is not in the store is refused", "device/tharlenio.h, init_tharlen"},
        {"loop.early", kLife, "the loop does not start before it was created", "device/tharlenio.h, startServoLoop"},
        {"loop.idle", kLife, "a stop where nothing runs does nothing", "device/tharlenio.h, stopServoLoop"},
        {"life.opens", kLife, "the device opens", "device/tharlenio.h, init_tharlen"},
        {"life.operations", kLife, "every read returns, throws nothing and fills no more than its array",
         "device/tharlenio.h, Conventions"},
        {"life.again", kLife, "a second opening without a close gives a handle that works",
         "device/tharlenio.h, init_tharlen"},
        {"life.closing", kLife, "a second close does nothing, and the device opens anew",
         "device/tharlenio.h, disable_tharlen"},
        {"loop.calls", kLife, "the loop calls back on one thread of its own, one call at a time, with the data given",
         "device/tharlenio.h, startServoLoop"},
        {"loop.stops", kLife, "no callback runs once a stop has returned", "device/tharlenio.h, stopServoLoop"},
        {"loop.rate1000", kLife, "1000 Hz are 1000 Hz", "device/tharlenio.h, setServoLoopRate"},
        {"loop.rate2000", kLife, "2000 Hz are 2000 Hz", "device/tharlenio.h, setServoLoopRate"},
        {"loop.rate3000", kLife, "3000 Hz are 3000 Hz", "device/tharlenio.h, setServoLoopRate"},
        {"loop.rate4000", kLife, "4000 Hz are 4000 Hz", "device/tharlenio.h, setServoLoopRate"},
        {"loop.change", kLife, "a rate that is set while the loop runs holds within a tenth of a second",
         "device/tharlenio.h, setServoLoopRate"},
        {"loop.instant", kLife, "the instantaneous rate is that of the loop",
         "device/tharlenio.h, get_tharlen_inst_rate"},
        {"loop.status", kLife, "a refresh gives 0 or a code of the table", "docs/device-library.md, Status codes"},

        {"motors.opening", kMotors, "after opening the amplifiers are off and the commands zero",
         "device/tharlenio.h, init_tharlen"},
        {"motors.switch", kMotors, "the amplifiers have followed when enable and disable return",
         "device/tharlenio.h, enable_tharlen_forces"},
        {"motors.nowait", kMotors, "the amplifiers follow the operations that do not wait",
         "device/tharlenio.h, enable_tharlen_forces_no_wait"},
        {"motors.servo", kMotors, "on the servo thread switching the amplifiers never waits",
         "device/tharlenio.h, enable_tharlen_forces"},
        {"motors.last", kMotors, "the last command can be read back", "device/tharlenio.h, get_last_motor_dac_values"},
        {"motors.limit", kMotors, "a command past the nominal maximum is answered by -2",
         "device/tharlenio.h, kMaxForceExceeded"},
        {"motors.closing", kMotors, "after a close the amplifiers are off and the commands zero",
         "device/tharlenio.h, disable_tharlen"},
        {"motors.fault", kMotors, "good amplifiers are no fault", "device/tharlenio.h, unfiltered_device_fault"},
        {"motors.thresholds", kMotors, "shutdown and cool-down temperatures read as they were set",
         "device/tharlenio.h, set_tharlen_temp_advance"},
        {"motors.zero", kMotors, "a zero command moves nothing", "device/tharlenio.h, command_motor_dac_values"},
        {"motors.directions", kMotors, "each motor moves its own encoder, to either side",
         "device/tharlenio.h, command_motor_dac_values"},
        {"motors.force", kMotors, "a force moves the endpoint its way", "device/tharlenio.h, send_tharlen_force"},
        {"motors.torque", kMotors, "a force commands the motors as the Jacobian has it",
         "device/tharlenio.h, get_tharlen_jacobian"},
        {"motors.heat", kMotors, "a working motor grows warmer, on both scales",
         "device/tharlenio.h, get_tharlen_temp_normalized_6dof"},
        {"motors.trip", kMotors, "amplifiers that were switched off at the arm are told, and stay off",
         "device/tharlenio.h, unfiltered_device_fault"},

        {"sensors.range", kSensors, "every read is a number within its range", "device/tharlenio.h, Sensors"},
        {"sensors.rest", kSensors, "the reads stand still while the arm rests", "device/tharlenio.h, Sensors"},
        {"sensors.angles", kSensors, "base and gimbal angles are the six joint angles",
         "device/tharlenio.h, get_tharlen_joint_angles"},
        {"sensors.pose", kSensors, "the stylus matrix is a rotation, and its place the endpoint",
         "device/tharlenio.h, get_stylus_matrix"},
        {"sensors.threads", kSensors, "both threads read the same", "device/tharlenio.h, Conventions"},
        {"sensors.temperatures", kSensors, "the readings of one temperature agree",
         "device/tharlenio.h, get_tharlen_temp"},
        {"sensors.registers", kSensors, "the register image lies where the header has it and is refreshed",
         "device/tharlenio.h, PORT_INPUT"},
        {"sensors.directions", kSensors, "x rises to the operator's right, y upwards, z towards the operator",
         "device/tharlenio.h, Conventions"},
        {"sensors.encoders", kSensors, "each encoder counts in proportion to its joint's angle",
         "device/tharlenio.h, get_encoder_values"},
        {"sensors.jacobian", kSensors, "the Jacobian leads from small joint motions to those of the endpoint",
         "device/tharlenio.h, get_tharlen_jacobian"},
        {"sensors.velocities", kSensors, "the velocities are those of positions and angles",
         "device/tharlenio.h, get_tharlen_vel"},
        {"sensors.counters", kSensors, "the counters of the register image follow the encoders",
         "device/tharlenio.h, PORT_INPUT"},
        {"sensors.unplugged", kSensors, "an unplugged arm is told, and its reads stay the last good ones",
         "device/tharlenio.h, Conventions"},

        {"identity.texts", kIdentity, "model and serial number are short plain texts",
         "device/tharlenio.h, get_tharlen_model_type"},
        {"identity.limits", kIdentity, "the nominal maxima are above zero, the continuous force not above the other",
         "device/tharlenio.h, get_tharlen_nominal_max_force"},
        {"identity.grip", kIdentity, "a fitted grip is of kind 1 or 2", "device/tharlenio.h, tharlen_which_pinch"},

        {"calibration.status", kCalibration, "the status of the calibration is one of the header",
         "device/tharlenio.h, get_calibration_status"},
        {"calibration.kinds", kCalibration, "the kind of calibration is one of the header",
         "device/tharlenio.h, is_calibration_supported"},
        {"calibration.data", kCalibration, "the sensor data of the axes can be read",
         "device/tharlenio.h, get_calibration_data"},
        {"calibration.changes", kCalibration, "update, reset, discarding and grip limits",
         "device/tharlenio.h, Calibration"},
    };
    return table;
}

const char* wordOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Kept:
            return "kept";
        case Verdict::Broken:
            return "broken";
        case Verdict::NotTried:
            break;
    }
    return "not tried";
}

}  // namespace librarycheck
