// The device library as this system knows it: every operation and record that crosses the boundary.
//
// libTharlenIOLib42.so stands behind this header. The build makes a simulated arm under that name
// (device/simulated); a library for real hardware is linked in its place with -DTHARLEN_IO_LIBRARY.
// The header needs the C++ standard library only.
//
// Conventions
//   id       handle of an open device, from init_tharlen(); negative means no device. One device is
//            open at a time. An operation on a handle that is not open fails or fills zeros, and
//            harms nothing: the application asks with -1 while no device is open, its ticks too, and
//            may close a handle twice.
//   buffers  owned by the caller, filled by the library. Arrays of six hold axis 0 to 2, the base
//            joints, then axis 3 to 5, the gimbal (or the three torques).
//   status   int, 0 for good, negative for failure unless said otherwise.
//   errors   init_tharlen() alone may throw, and only what derives from std::exception. Every other
//            operation tells by its result, and comes back: the application has no way out of one
//            that hangs or throws.
//   threads  [G] graphical thread, [S] servo thread, i.e. inside the servo callback. Reads are safe
//            from either thread while the loop runs. Nothing on [S] waits, for the other thread or
//            for the arm.
//   texts    zero-terminated, owned by the library, valid as long as it is loaded; Latin-1 without
//            control characters, shorter than 256.
//   absence  while the arm is unplugged, reads give the last good values and update_tharlen() tells.
//            Zeros would be taken for readings: a pose at the origin, a docked stylus, cold motors.
//   units    millimetres, newtons, radians, degrees Celsius, encoder counts, motor volts or DAC
//            counts (1 V is 32767 counts), hertz. Positions: x to the operator's right, y up,
//            z towards the operator.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

// A library that is built with -fvisibility=hidden exports what is declared here, up to the end of the file.
#pragma GCC visibility push(default)

// --- Scalar names of the library ---------------------------------------------------------------

using LONG = long;            // 64 bits, signed
using ULONG = unsigned long;  // 64 bits
using USHORT = std::uint16_t;
using UCHAR = std::uint8_t;
using UINT8 = std::uint8_t;
using BOOL = int;
using BOOLEAN = unsigned char;

static_assert(sizeof(LONG) == 8 && sizeof(ULONG) == 8, "records need 64-bit longs");

// --- Values ------------------------------------------------------------------------------------

/// CTHARLeNDevice::m_nModelType.
enum ModelType : ULONG { kModelCorvale = 3, kModelSixDof = 4, kModelOrda = 5, kModelNolva = 9 };

/// CTHARLeNDevice::m_nCardType.
enum CardType : ULONG { kCardParallel1 = 1, kCardParallel2 = 2, kCard1394 = 3, kCardLan = 6, kCardUsb = 7 };

/// What a refresh of the device tells, beside 0 for good. Codes that are not here show nothing.
enum StatusCode {
    kMotorsWarm = -1,
    kMaxForceExceeded = -2,  ///< a command went past the nominal maximum force
    kDeviceFault = -4,       ///< an amplifier fault, or switched off at the device
    kCommunicationError = -5,
    kMaxVelocityExceeded = -13,
    kCommunicationErrorUsb = -28,
    kParallelPortSetup = -29,
    kAdapterSetup = -30,
    kCommunicationErrorLan = -31,
    kDriverSetup = -32
};

/// Bits of PORT_INPUT::ucMiscIn.
constexpr UCHAR kHomeSensor[3] = {0x10, 0x04, 0x08};  ///< of axis 0, 1, 2
constexpr UCHAR kHomeSensorMask = 0x1C;
constexpr UCHAR kOvercurrent = 0x20, kWatchdogGood = 0x40, kWatchdogJumper = 0x80;
/// Bits of PORT_INPUT::ucSpeedErrs.
constexpr UCHAR kOverspeed[3] = {0x40, 0x10, 0x20};  ///< of axis 0, 1, 2
constexpr UCHAR kOverspeedMask = 0xF0, kRevisionMask = 0x0F;

/// Commands in DAC counts.
constexpr long kDacLeast = -32768, kDacMost = 32767;
constexpr float kDacPerVolt = 32767.0f;

constexpr int kCalibrationNeeded = 255;     ///< calibration status: sensors seen, update_calibration is due
constexpr int kCalibrationIncorrect = 240;  ///< mask over the calibration status: any bit set is not acceptable

/// Whether the home sensors of a hardware revision see three flags and two gaps on axis 0 and 1 and one flag on axis
/// 2; else they see one flag an axis.
constexpr bool hasManyFlags(int hardwareRevision) { return hardwareRevision >= 2 && hardwareRevision < 8; }

// --- Records -----------------------------------------------------------------------------------

/// The raw input registers of the device, 22 bytes.
typedef struct _PORT_INPUT {
    USHORT usQuad1;          ///< encoder counter of axis 1, counts modulo 65536; goes on with its encoder
    USHORT usQuad2;          ///< encoder counter of axis 2
    USHORT usQuad0;          ///< encoder counter of axis 0; the register order is not the axis order
    USHORT usPot0;           ///< analogue input 0
    USHORT usPot1;           ///< analogue input 1
    USHORT usPot2;           ///< analogue input 2
    UCHAR ucTimerCnt;        ///< timer count
    UCHAR ucMiscIn;          ///< home sensors, overcurrent, watchdog
    UCHAR ucWatchdogCntrIn;  ///< watchdog counter
    UCHAR ucSpeedErrs;       ///< overspeed of each axis; hardware revision in the low four bits
    USHORT usSwitch1;        ///< switch 1
    USHORT usSwitch2;        ///< switch 2
    USHORT usCalibSwitch;    ///< calibration switch
} PORT_INPUT;

/// One flag or gap seen by an axis sensor, in encoder counts; velocity in counts per second. 40 bytes.
typedef struct _SENSOR_DATA {
    LONG lStart;
    LONG lStop;
    LONG lWidth;
    LONG lMidPoint;
    LONG lVelocity;
} SENSOR_DATA;

/// What the home sensor of one axis has seen, 56 bytes. The pointers belong to the library and are
/// null where nothing was seen; nFlags and nGaps can differ from the number of pointers.
typedef struct _AXIS_SENSOR_DATA {
    int nFlags;
    int nGaps;
    SENSOR_DATA* psdFlagData[3];
    SENSOR_DATA* psdGapData[3];
} AXIS_SENSOR_DATA;

enum SENSOR_TOKEN { FLAG_TOKEN = 0, GAP_TOKEN = 1 };

/// One configured device, a record of the library's configuration store.
class CTHARLeNDevice {
public:
    CTHARLeNDevice();
    ~CTHARLeNDevice();

    /// Reads the record from the store by its index. True when it was read; false, and nothing
    /// changed, for an index of -1 or past the end. A device whose record cannot be read is not
    /// offered. [G]
    BOOLEAN Read();
    /// Writes the record to the store. True when it was written. [G]
    BOOLEAN Write();

    char m_szName[128];  ///< name in the store, zero-terminated Latin-1
    int m_nIndex;        ///< place in the store, from 0
    ULONG m_nModelType;  ///< a ModelType
    ULONG m_nVeska3Button;
    double m_dL1, m_dL2, m_dL3;  ///< link lengths, mm
    ULONG m_nCardType;           ///< a CardType
    ULONG m_nChannel;            ///< port number
    ULONG m_nExtra6DOFOption;    ///< grip: 0 none, 1 thumbpad, 2 scissor
    ULONG m_nSoftwareInterrupt;
    double m_dR1, m_dR2, m_dR3, m_dR4, m_dR5, m_dR6;  ///< reduction ratios, motor turns per joint turn
    ULONG m_nHighForce;                               ///< 1 for a high-force model
    ULONG m_nGimbal;                                  ///< 1 when a gimbal with encoders is fitted
    ULONG m_nReverseHandle;
    double m_dNominalMaxStiffness;                                         ///< N/mm
    double m_dNominalMaxDamping;                                           ///< N s/mm
    double m_dNominalMaxForce;                                             ///< N
    double m_dNominalMaxContinuousForce;                                   ///< N
    double m_dNominalMaxTorqueStiffness;                                   ///< N mm/rad
    double m_dNominalMaxTorqueDamping;                                     ///< N mm s/rad
    double m_dNominalMaxTorqueForce;                                       ///< N mm
    double m_dNominalMaxTorqueContinuousForce;                             ///< N mm
    double m_dResetAngle0, m_dResetAngle1, m_dResetAngle2;                 ///< reset pose of the base, rad
    double m_dResetAngle3, m_dResetAngle4, m_dResetAngle5;                 ///< reset pose of the gimbal, rad
    double m_dWorkspaceOffset0, m_dWorkspaceOffset1, m_dWorkspaceOffset2;  ///< origin of positions, mm
    ULONG m_nEPPDevice;
    ULONG m_n1394SerialNumber;
    UINT8 m_uTharlenKey[16];
    char m_szTharlenHost[256];  ///< host of a network-attached device
    ULONG m_nConfigOption;
    ULONG m_nFilterGimbalSize;        ///< samples
    char m_nDeviceSerialNumber[256];  ///< text, in spite of its name
};

/// A network-attached device found by browsing. Not used by this system.
struct etharlen {
    etharlen* next;
    char service_name[256];
    char host_name[256];
    std::uint32_t addr;
};

/// A resource record of the browsing answer. Not used by this system.
struct etharlen_rr {
    char name[256];
    std::uint16_t type;
    std::uint16_t iclass;
    std::uint32_t ttl;
    std::uint16_t rdlength;
    std::uint16_t rdata_offset;
};

class etharlen_mdns;

/// The list of configured devices.
class CTHARLeNMgr {
public:
    CTHARLeNMgr();
    ~CTHARLeNMgr();
    CTHARLeNMgr(const CTHARLeNMgr&) = delete;
    CTHARLeNMgr& operator=(const CTHARLeNMgr&) = delete;

    /// Fills the array with the configured devices and returns their number, 0 to 20. `apDevices` has
    /// 20 entries; the library allocates the records with new, at the size of this header, and they
    /// then belong to the caller, who destroys them with delete. Each has its place as m_nIndex, and a
    /// name that no other has, with no blanks at its ends. May be asked for again. [G]
    int EnumerateTHARLeNs(CTHARLeNDevice** apDevices);

    int m_nDeviceCount;
    etharlen_mdns* pEtharlen_mdns;
};

/// The live connection of an open device. Owned by the library.
///
/// The library's servo thread refreshes the image while others read it: read the fields one by one
/// with an atomic load (__ATOMIC_RELAXED will do). Two fields can be a tick apart.
class CIOConnection {
public:
    virtual ~CIOConnection() = default;

    PORT_INPUT m_portInput{};      ///< the current image of the input registers
    bool m_bErrorTrigger = false;  ///< set by the endurance test after its first loop [S]
};

/// The calibration state of an open device. Owned by the library; fields are read as CIOConnection's.
class CTHARLeNCalibration {
public:
    virtual ~CTHARLeNCalibration() = default;

    /// Discards the stored calibration: the device counts as not calibrated from here on. [G]
    virtual void DiscardCalibration() = 0;

    /// Offset of axis i (0 to 2) in use, counts.
    LONG GetEncoderOffsets(int i) const { return __atomic_load_n(&m_alOffsets[i], __ATOMIC_RELAXED); }
    /// Offset of axis i (0 to 2) as calculated from the sensors, counts.
    LONG GetEncoderOffsetsCalc(int i) const { return __atomic_load_n(&m_alOffsetsCalc[i], __ATOMIC_RELAXED); }
    /// 1 when the offset of axis i (0 to 2) is wrong, else 0.
    UCHAR IsEncoderOffsetsIncorrect(int i) const { return __atomic_load_n(&m_abIncorrect[i], __ATOMIC_RELAXED); }

protected:
    LONG m_alOffsets[3]{};
    LONG m_alOffsetsCalc[3]{};
    UCHAR m_abIncorrect[3]{};
};

/// The calibration state of a device with home sensors.
class CTHARLeNAutoCalibration : public CTHARLeNCalibration {
public:
    /// The three axes' sensor data, embedded in this object.
    AXIS_SENSOR_DATA* GetAxisSensorData() { return m_aAxisSensorData; }

protected:
    AXIS_SENSOR_DATA m_aAxisSensorData[3]{};
};

// The layouts that cross the boundary, checked where they are stated.
static_assert(sizeof(PORT_INPUT) == 22 && offsetof(PORT_INPUT, usQuad2) == 2 && offsetof(PORT_INPUT, usQuad0) == 4
                  && offsetof(PORT_INPUT, usPot0) == 6 && offsetof(PORT_INPUT, usPot1) == 8
                  && offsetof(PORT_INPUT, usPot2) == 10 && offsetof(PORT_INPUT, ucTimerCnt) == 12
                  && offsetof(PORT_INPUT, ucMiscIn) == 13 && offsetof(PORT_INPUT, ucWatchdogCntrIn) == 14
                  && offsetof(PORT_INPUT, ucSpeedErrs) == 15 && offsetof(PORT_INPUT, usSwitch1) == 16
                  && offsetof(PORT_INPUT, usSwitch2) == 18 && offsetof(PORT_INPUT, usCalibSwitch) == 20,
              "layout of _PORT_INPUT");
static_assert(sizeof(SENSOR_DATA) == 40 && offsetof(SENSOR_DATA, lStop) == 8 && offsetof(SENSOR_DATA, lWidth) == 16
                  && offsetof(SENSOR_DATA, lMidPoint) == 24 && offsetof(SENSOR_DATA, lVelocity) == 32,
              "layout of _SENSOR_DATA");
static_assert(sizeof(AXIS_SENSOR_DATA) == 56 && offsetof(AXIS_SENSOR_DATA, nGaps) == 4
                  && offsetof(AXIS_SENSOR_DATA, psdFlagData) == 8 && offsetof(AXIS_SENSOR_DATA, psdGapData) == 32,
              "layout of _AXIS_SENSOR_DATA");
static_assert(std::is_standard_layout<CTHARLeNDevice>::value && offsetof(CTHARLeNDevice, m_nIndex) == 128
                  && offsetof(CTHARLeNDevice, m_nModelType) == 136 && offsetof(CTHARLeNDevice, m_dL1) == 152
                  && offsetof(CTHARLeNDevice, m_nCardType) == 176 && offsetof(CTHARLeNDevice, m_dR1) == 208
                  && offsetof(CTHARLeNDevice, m_nHighForce) == 256
                  && offsetof(CTHARLeNDevice, m_dNominalMaxStiffness) == 280
                  && offsetof(CTHARLeNDevice, m_dResetAngle0) == 344
                  && offsetof(CTHARLeNDevice, m_dWorkspaceOffset0) == 392
                  && offsetof(CTHARLeNDevice, m_nEPPDevice) == 416 && offsetof(CTHARLeNDevice, m_uTharlenKey) == 432
                  && offsetof(CTHARLeNDevice, m_szTharlenHost) == 448
                  && offsetof(CTHARLeNDevice, m_nConfigOption) == 704
                  && offsetof(CTHARLeNDevice, m_nDeviceSerialNumber) == 720 && sizeof(CTHARLeNDevice) == 976,
              "layout of CTHARLeNDevice");

// --- Operations --------------------------------------------------------------------------------

/// Kinds of get_tharlen_temp_advance() and set_tharlen_temp_advance().
enum TemperatureKind {
    kWindingTemperature = 0,
    kStatorTemperature = 1,
    kShutdownTemperature = 2,
    kCooldownTemperature = 3
};

/// Called once a tick on the servo thread with the user data of startServoLoop(). Its result is ignored.
using ServoCallback = int (*)(void* pUserData);

extern "C" {

// --- Life cycle and servo loop -----------------------------------------------------------------

/// Opens a device by its name in the store: amplifiers off, commands zero. Handle, or negative on
/// failure; may throw an exception derived from std::exception.
/// The application opens its first device twice with no close between: once while it starts, where
/// the loop does not exist yet and cannot start, and again as the operator chooses. The second
/// opening gives a handle that works, the same or another one; the first then need not work any
/// more. Opening closes whatever else was open. [G]
int init_tharlen(const char* name);
/// Closes the device: its amplifiers are off afterwards, and its commands zero, whatever they were.
/// A handle that is closed already is let be. [G]
int disable_tharlen(int id);
/// Creates the servo loop object, once; the first startServoLoop() may come before it, and fails. [G]
int createServoLoop();
/// Rate in hertz: 1000, 2000, 3000 or 4000. While the loop runs, the new rate holds within a tenth of
/// a second. [G]
int setServoLoopRate(int rate);
/// Starts calling `callback` with `pUserData` at the servo rate, on one thread of the library's own,
/// one call at a time. Negative on failure, as before createServoLoop(), and then nothing is called.
/// The first callback may come before this returns. [G]
int startServoLoop(ServoCallback callback, void* pUserData);
/// Stops the loop; returns only when no further callback will run. Does nothing where none runs. [G]
int stopServoLoop();
bool isServoLoopRunning();  ///< from the start to the stop, inside callbacks too [G, S]
/// Refreshes the device: first act of a tick, before any read or command of it. 0 or an error code
/// of the table in docs/device-library.md; of a code that is not in it nothing is shown. [S]
int update_tharlen(int id);
float get_tharlen_inst_rate(int id);  ///< of the last period, Hz [S]
const char* get_library_version();    ///< static text [G]

// --- Forces and motors -------------------------------------------------------------------------
// Amplifiers follow while the loop stands too, and may be turned on or off where they are so already.

/// Turns the amplifiers on and returns once they have followed (a few milliseconds); on the servo
/// thread it never waits. Non-zero is an error code, and then they are off: with a fault of the
/// amplifiers they stay so. [G, S]
int enable_tharlen_forces(int id);
int enable_tharlen_forces_no_wait(int id);   ///< the same, with no waiting [G, S]
int disable_tharlen_forces(int id);          ///< turns the amplifiers off and waits, but not on [S] [G, S]
int disable_tharlen_forces_no_wait(int id);  ///< [G, S]
int is_tharlen_forces_enabled(int id);       ///< non-zero when enabled [S]
/// Force x, y, z (N) and three torques (N mm), which pushes the endpoint that way. kMaxForceExceeded
/// when past the nominal maximum, also while the amplifiers are off. [S]
int send_tharlen_force(int id, const float force[6]);
int send_tharlen_force_6dof(int id, const float force[6]);  ///< as above [S]
/// Motor voltages; `sent` takes those really sent. [S]
int command_motor_voltages(int id, const float volts[6], float sent[6]);
/// Motor commands in DAC counts, -32768 to 32767; element i moves axis i, and that one's encoder.
/// kMaxForceExceeded when past the nominal maximum, also while the amplifiers are off. [S]
int command_motor_dac_values(int id, const long dac[6]);
/// The last command of any kind in DAC counts, also one given while the amplifiers are off. [S]
int get_last_motor_dac_values(int id, long dac[6]);
int enable_tharlen_velocity_check(int id, int on);  ///< 0 off, 1 on [G]
int unfiltered_device_fault(int id);                ///< zero when the amplifiers are good [G]

// --- Sensors -----------------------------------------------------------------------------------

int get_encoder_values(int id, long encoders[6]);        ///< raw counts, in proportion to angles [G, S]
int get_tharlen_encoders(int id, float angles[3]);       ///< joint angles 0 to 2, rad [G]
int get_gimbal_encoders(int id, float angles[3]);        ///< joint angles 3 to 5, rad [G]
int get_tharlen_joint_angles(int id, float angles[6]);   ///< rad [G, S]
int get_tharlen_joint_vel(int id, float velocities[6]);  ///< rad/s [S]
int get_tharlen_pos(int id, float position[3]);          ///< endpoint, mm [G, S]
int get_tharlen_vel(int id, float velocity[3]);          ///< endpoint, mm/s [G, S]
/// Row i is joint i, column j the endpoint's x, y, z (mm/rad) and rotations about them: joint torques
/// are this matrix times the endpoint force and torque. [G]
int get_tharlen_jacobian(int id, double jacobian[6][6]);
/// Stylus pose, a rotation and the endpoint's place, column-major as OpenGL wants it: matrix[3] is the
/// translation, mm. [G]
int get_stylus_matrix(int id, float matrix[4][4]);
int get_stylus_switch(int id, int button);            ///< button 0 or 1; non-zero pressed [G]
int get_stylus_presence(int id);                      ///< non-zero present [G]
int get_inkwell_switch(int id);                       ///< 0 or 1, no other: docked is 0 on type 5, 1 on type 9 [G]
double get_pinch_value(int id);                       ///< raw reading of the grip [G, S]
int get_tharlen_temp(int id, float celsius[6]);       ///< motors, base axes only [S]
int get_tharlen_temp_6dof(int id, float celsius[6]);  ///< motors, all axes [G]
int get_tharlen_temp_normalized_6dof(int id, float scale[6]);            ///< 1.0 at the warm limit [G]
int get_tharlen_temp_advance(int id, int kind, float celsius[6]);        ///< kind: TemperatureKind [G]
int set_tharlen_temp_advance(int id, int kind, const float celsius[6]);  ///< kinds 2 and 3, read as set [G]

// --- Identity and capabilities -----------------------------------------------------------------

/// Model string, static text. "THARLEN Orda" and "Nolva" (two stylus buttons) and "THARLEN Corvale" are known by
/// exactly this text, beside m_nModelType; any other is shown as it is. [G]
const char* get_tharlen_model_type(int id);
int get_hardware_rev(int id);                            ///< [G]
const char* get_hardware_serial_number(int id);          ///< static text [G]
float get_tharlen_nominal_max_force(int id);             ///< N [G, S]
float get_tharlen_nominal_max_continuous_force(int id);  ///< N [S]
float get_tharlen_nominal_max_stiffness(int id);         ///< N/mm [S]
int tharlen_check_for_gimbal(int id);                    ///< non-zero when a gimbal with encoders is fitted [G]
int tharlen_check_for_pinch(int id);                     ///< above zero when a pinch grip is fitted [G]
int tharlen_which_pinch(int id);                         ///< 1 or 2, the kind of grip [G]

// --- Calibration -------------------------------------------------------------------------------

/// Negative on failure, else `*status`: kCalibrationNeeded, bits of kCalibrationIncorrect, or 0. [G]
int get_calibration_status(int id, int* status);
int update_calibration(int id);          ///< zero on success [G]
int is_calibration_supported(int id);    ///< the supported kinds: 0 none, 1 home sensors, 2 ink well [G]
int is_tharlen_reset_supported(int id);  ///< non-zero when yes [G]
int tharlen_reset(int id);               ///< calibrates in the reset pose; zero on success [G]
int is_pinch_calibrated(int id);         ///< non-zero when yes [G]
int set_pinch_limits(int id, int minimum, int maximum);  ///< ends of the grip's raw travel [G]
CIOConnection* get_connection_data(int id);              ///< null when none [G, S]
CTHARLeNAutoCalibration* get_calibration_data(int id);   ///< null when none [G]

}  // extern "C"

#pragma GCC visibility pop
