#include "reads.h"

#include <algorithm>
#include <cstring>

namespace librarycheck {
namespace {

template <typename T, std::size_t N>
std::vector<double> asNumbers(const std::array<T, N>& array) {
    return {array.begin(), array.end()};
}

template <typename T, std::size_t N>
std::array<T, N + kSpare> unfilled() {
    std::array<T, N + kSpare> array;
    array.fill(static_cast<T>(kUnfilled));
    return array;
}

// The array of an operation, with some more behind.
template <typename T, std::size_t N, typename Op>
std::vector<double> filled(const Op& operation, int id) {
    auto array = unfilled<T, N>();
    operation(id, array.data());
    return asNumbers(array);
}

template <int Kind>
std::vector<double> advance(Library& lib, int id) {
    auto array = unfilled<float, 6>();
    lib.get_tharlen_temp_advance(id, Kind, array.data());
    return asNumbers(array);
}

std::vector<double> jacobian(Library& lib, int id) {
    auto array = unfilled<double, 36>();
    lib.get_tharlen_jacobian(id, reinterpret_cast<double(*)[6]>(array.data()));
    return asNumbers(array);
}

std::vector<double> stylus(Library& lib, int id) {
    auto array = unfilled<float, 16>();
    lib.get_stylus_matrix(id, reinterpret_cast<float(*)[4]>(array.data()));
    return asNumbers(array);
}

// A result alone: nothing can be filled beyond it.
std::vector<double> alone(double value) { return {value, kUnfilled, kUnfilled, kUnfilled, kUnfilled}; }

#define FILL(name, T, N) [](Library& lib, int id) { return filled<T, N>(lib.name, id); }
#define VALUE(name) [](Library& lib, int id) { return alone(static_cast<double>(lib.name(id))); }

}  // namespace

const std::vector<Read>& reads() {
    constexpr double kCounts = 1e7, kRadians = 20, kPlace = 3000, kAnyInt = 2147483648.0;
    static const std::vector<Read> table = {
        {"get_encoder_values", true, true, 6, 6, -kCounts, kCounts, FILL(get_encoder_values, long, 6)},
        {"get_tharlen_encoders", true, false, 3, 3, -kRadians, kRadians, FILL(get_tharlen_encoders, float, 3)},
        {"get_gimbal_encoders", true, false, 3, 3, -kRadians, kRadians, FILL(get_gimbal_encoders, float, 3)},
        {"get_tharlen_joint_angles", true, true, 6, 6, -kRadians, kRadians, FILL(get_tharlen_joint_angles, float, 6)},
        {"get_tharlen_joint_vel", false, true, 6, 6, -1000, 1000, FILL(get_tharlen_joint_vel, float, 6)},
        {"get_tharlen_pos", true, true, 3, 3, -kPlace, kPlace, FILL(get_tharlen_pos, float, 3)},
        {"get_tharlen_vel", true, true, 3, 3, -50000, 50000, FILL(get_tharlen_vel, float, 3)},
        {"get_tharlen_jacobian", true, false, 36, 36, -kPlace, kPlace, jacobian},
        {"get_stylus_matrix", true, false, 16, 16, -kPlace, kPlace, stylus},
        {"get_stylus_switch", true, false, 1, 1, -kAnyInt, kAnyInt,
         [](Library& lib, int id) { return alone(lib.get_stylus_switch(id, 0)); }},
        {"get_stylus_presence", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(get_stylus_presence)},
        {"get_inkwell_switch", true, false, 1, 1, 0, 1, VALUE(get_inkwell_switch)},
        {"get_pinch_value", true, true, 1, 1, -kCounts, kCounts, VALUE(get_pinch_value)},
        {"get_tharlen_temp", false, true, 6, 3, -40, 400, FILL(get_tharlen_temp, float, 6)},
        {"get_tharlen_temp_6dof", true, false, 6, 6, -40, 400, FILL(get_tharlen_temp_6dof, float, 6)},
        {"get_tharlen_temp_normalized_6dof", true, false, 6, 6, -10, 10,
         FILL(get_tharlen_temp_normalized_6dof, float, 6)},
        {"get_tharlen_temp_advance", true, false, 6, 6, -40, 400, advance<kWindingTemperature>},
        {"get_tharlen_temp_advance", true, false, 6, 6, -40, 400, advance<kStatorTemperature>},
        {"get_tharlen_temp_advance", true, false, 6, 6, 0, 1000, advance<kShutdownTemperature>},
        {"get_tharlen_temp_advance", true, false, 6, 6, 0, 1000, advance<kCooldownTemperature>},
        {"get_last_motor_dac_values", false, true, 6, 6, kDacLeast, kDacMost, FILL(get_last_motor_dac_values, long, 6)},
        {"get_tharlen_inst_rate", false, true, 1, 1, 0, 1e6, VALUE(get_tharlen_inst_rate)},
        {"is_tharlen_forces_enabled", false, true, 1, 1, -kAnyInt, kAnyInt, VALUE(is_tharlen_forces_enabled)},
        {"unfiltered_device_fault", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(unfiltered_device_fault)},
        {"get_hardware_rev", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(get_hardware_rev)},
        {"get_tharlen_nominal_max_force", true, true, 1, 1, 0, 1000, VALUE(get_tharlen_nominal_max_force)},
        {"get_tharlen_nominal_max_continuous_force", false, true, 1, 1, 0, 1000,
         VALUE(get_tharlen_nominal_max_continuous_force)},
        {"get_tharlen_nominal_max_stiffness", false, true, 1, 1, 0, 1000, VALUE(get_tharlen_nominal_max_stiffness)},
        {"tharlen_check_for_gimbal", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(tharlen_check_for_gimbal)},
        {"tharlen_check_for_pinch", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(tharlen_check_for_pinch)},
        {"tharlen_which_pinch", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(tharlen_which_pinch)},
        {"get_calibration_status", true, false, 1, 1, 0, 255, FILL(get_calibration_status, int, 1)},
        {"is_calibration_supported", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(is_calibration_supported)},
        {"is_tharlen_reset_supported", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(is_tharlen_reset_supported)},
        {"is_pinch_calibrated", true, false, 1, 1, -kAnyInt, kAnyInt, VALUE(is_pinch_calibrated)},
    };
    return table;
}

const Read& read(const char* name) {
    for (const Read& row : reads())
        if (std::strcmp(row.name, name) == 0)
            return row;
    throw Broken(std::string("no read is called ") + name);
}

std::vector<double> valuesOf(const Read& read, Library& lib, int id) {
    std::vector<double> values = read.call(lib, id);
    values.resize(read.least);
    return values;
}

}  // namespace librarycheck
