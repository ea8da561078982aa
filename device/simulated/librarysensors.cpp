// The operations of device/tharlenio.h: sensors, temperatures and calibration.
#include <cstring>

#include "rig.h"

using arm::Arm;
using arm::rig;

namespace {

/// Fills `out` with the first N values of what `f` returns of the open device, or with zeros.
template <int N, typename Out, typename F>
int fill(int id, Out* out, F f) {
    std::memset(out, 0, N * sizeof *out);
    return rig().read(id, -1, [&](Arm& a) {
        const auto values = f(a);
        for (int i = 0; i < N; ++i)
            out[i] = static_cast<Out>(values[i]);
        return 0;
    });
}

arm::Vector6 encoders(const Arm& a) {
    arm::Vector6 counts;
    for (int i = 0; i < arm::kAxes; ++i)
        counts[i] = static_cast<double>(a.encoder(i));
    return counts;
}

}  // namespace

// --- Sensors -----------------------------------------------------------------------------------

int get_encoder_values(int id, long counts[6]) { return fill<6>(id, counts, encoders); }

int get_tharlen_encoders(int id, float angles[3]) {
    return fill<3>(id, angles, [](const Arm& a) { return a.angles(); });
}

int get_gimbal_encoders(int id, float angles[3]) {
    return fill<3>(id, angles, [](const Arm& a) { return arm::Vector3(a.angles().tail<3>()); });
}

int get_tharlen_joint_angles(int id, float angles[6]) {
    return fill<6>(id, angles, [](const Arm& a) { return a.angles(); });
}

int get_tharlen_joint_vel(int id, float velocities[6]) {
    return fill<6>(id, velocities, [](const Arm& a) { return a.speeds(); });
}

int get_tharlen_pos(int id, float position[3]) {
    return fill<3>(id, position, [](const Arm& a) { return a.position(); });
}

int get_tharlen_vel(int id, float velocity[3]) {
    return fill<3>(id, velocity, [](const Arm& a) { return a.velocity(); });
}

int get_tharlen_jacobian(int id, double matrix[6][6]) {
    return fill<36>(id, &matrix[0][0], [](const Arm& a) {
        const arm::Matrix6 j = arm::jacobian(*a.line, a.angles());
        std::array<double, 36> rows{};
        for (std::size_t i = 0; i < rows.size(); ++i)
            rows[i] = j(static_cast<int>(i / 6), static_cast<int>(i % 6));
        return rows;
    });
}

int get_stylus_matrix(int id, float matrix[4][4]) {
    return fill<16>(id, &matrix[0][0], [](const Arm& a) {
        const arm::Matrix3 rotation = arm::stylusRotation(a.angles());
        const arm::Vector3 place = a.position();
        std::array<double, 16> columns{};
        for (int column = 0; column < 3; ++column) {
            for (int row = 0; row < 3; ++row)
                columns[static_cast<std::size_t>(4 * column + row)] = rotation(row, column);
            columns[static_cast<std::size_t>(12 + column)] = place[column];
        }
        columns[15] = 1.0;
        return columns;
    });
}

int get_stylus_switch(int id, int button) {
    return rig().read(id, 0, [button](Arm& a) { return a.stylusSwitch(button); });
}

int get_stylus_presence(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.presence() ? 1 : 0; });
}

int get_inkwell_switch(int id) {
    rig().fileCalibrationIfDue();
    return rig().read(id, 0, [](Arm& a) { return a.inkwellSwitch(); });
}

double get_pinch_value(int id) {
    return rig().read(id, 0.0, [](Arm& a) { return a.pinchReading(); });
}

// Base axes only: three values are written, and no more.
int get_tharlen_temp(int id, float celsius[6]) {
    return fill<3>(id, celsius, [](const Arm& a) { return a.heat.winding; });
}

int get_tharlen_temp_6dof(int id, float celsius[6]) {
    return fill<6>(id, celsius, [](const Arm& a) { return a.heat.winding; });
}

int get_tharlen_temp_normalized_6dof(int id, float scale[6]) {
    return fill<6>(id, scale, [](const Arm& a) {
        // Zero where there is no motor.
        arm::Vector6 values = arm::Vector6::Zero();
        for (int i = 0; i < a.line->motors(); ++i)
            values[i] = arm::normalisedTemperature(a.line->heat, a.heat.winding[i]);
        return values;
    });
}

int get_tharlen_temp_advance(int id, int kind, float celsius[6]) {
    const int known = kind >= kWindingTemperature && kind <= kCooldownTemperature ? id : -1;
    return fill<6>(known, celsius, [kind](const Arm& a) {
        switch (kind) {
            case kWindingTemperature:
                return a.heat.winding;
            case kStatorTemperature:
                return a.heat.stator;
            case kShutdownTemperature:
                return a.shutdown;
            default:
                return a.cooldown;
        }
    });
}

int set_tharlen_temp_advance(int id, int kind, const float celsius[6]) {
    return rig().withOpen(id, -1, [&](Arm& a) { return a.setThreshold(kind, celsius); });
}

// --- Calibration -------------------------------------------------------------------------------

int get_calibration_status(int id, int* status) {
    rig().fileCalibrationIfDue();
    *status = 0;
    return rig().read(id, -1, [status](Arm& a) {
        if (a.faults.on(arm::Fault::Unplugged))
            return -1;
        *status = a.calibrationStatus();
        return 0;
    });
}

int update_calibration(int id) {
    const int result = rig().withOpen(id, -1, [](Arm& a) {
        a.takeFileDue();
        return a.updateCalibration();
    });
    if (result == 0)
        rig().fileCalibration();
    return result;
}

int is_calibration_supported(int id) {
    return rig().read(id, 0, [](Arm& a) { return static_cast<int>(a.line->calibration); });
}

int is_tharlen_reset_supported(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.line->calibration == arm::CalibrationStyle::ResetPose ? 1 : 0; });
}

int tharlen_reset(int id) {
    const int result = rig().withOpen(id, -1, [](Arm& a) { return a.resetCalibration(); });
    if (result == 0)
        rig().fileCalibration();
    return result;
}

int is_pinch_calibrated(int id) {
    return rig().read(id, 0, [](Arm& a) { return a.pinchCalibrated() ? 1 : 0; });
}

int set_pinch_limits(int id, int minimum, int maximum) {
    return rig().withOpen(id, -1, [=](Arm& a) { return a.setPinchLimits(minimum, maximum); });
}

CIOConnection* get_connection_data(int id) {
    return rig().withOpen(id, static_cast<CIOConnection*>(nullptr), [](Arm& a) { return &a.connection; });
}

CTHARLeNAutoCalibration* get_calibration_data(int id) {
    return rig().withOpen(id, static_cast<CTHARLeNAutoCalibration*>(nullptr), [](Arm& a) { return &a.calibration; });
}
