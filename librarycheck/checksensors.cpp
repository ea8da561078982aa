// What the sensors give while the arm rests: numbers, steady ones, the same by every way that leads to them. And who
// the device is, and how it stands with its calibration.
#include <algorithm>
#include <cstring>

#include "reads.h"

namespace librarycheck {
namespace {

constexpr double kRestSeconds = 0.4;

/// All reads of a thread in range. What is out of it is not relied on in later checks.
std::string ranges(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    std::string wrong;
    const auto tryOne = [&](const Read& row) {
        std::vector<double> values;
        try {
            values = valuesOf(row, bench.lib, device.id);
        } catch (const NotTried&) {
            return;
        }
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (values[i] >= row.lowest && values[i] <= row.highest)
                continue;
            wrong += text("%s%s gives %g at place %zu", wrong.empty() ? "" : "; ", row.name, values[i], i);
            bench.distrust(row.name, "is out of its range");
            return;
        }
    };
    for (const Read& row : reads()) {
        if (row.graphical)
            tryOne(row);
        if (row.servo)
            loop.inTick([&] { tryOne(row); });
    }
    demand(wrong.empty(), "%s", wrong.c_str());
    return text("%zu reads", reads().size());
}

struct Steady {
    const char* name;
    double span;  ///< allowed between the least and the greatest of one place
};

constexpr Steady kSteady[] = {{"get_encoder_values", 3},    {"get_tharlen_joint_angles", 0.01},
                              {"get_tharlen_pos", 1.0},     {"get_stylus_matrix", 1.0},
                              {"get_pinch_value", 20},      {"get_tharlen_jacobian", 5.0},
                              {"get_tharlen_temp_6dof", 3}, {"get_stylus_switch", 0}};
constexpr double kCreep = 20.0;  ///< mm/s, of the mean velocity

std::string rest(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    struct Watched {
        Steady row;
        std::vector<double> least, most;
    };
    std::vector<Watched> watched;
    for (const Steady& row : kSteady) {
        try {
            const auto first = valuesOf(row.name, bench.lib, device.id);
            watched.push_back({row, first, first});
        } catch (const NotTried&) {  // it is not relied on
        }
    }
    std::array<double, 3> velocity{};
    int looks = 0;
    const std::int64_t until = nanoseconds() + static_cast<std::int64_t>(kRestSeconds * 1e9);
    for (; nanoseconds() < until; ++looks) {
        for (Watched& w : watched) {
            const std::vector<double> now = valuesOf(w.row.name, bench.lib, device.id);
            for (std::size_t i = 0; i < now.size(); ++i) {
                w.least[i] = std::min(w.least[i], now[i]);
                w.most[i] = std::max(w.most[i], now[i]);
            }
        }
        if (bench.lib.get_tharlen_vel.trusted())
            for (std::size_t i = 0; i < 3; ++i)
                velocity[i] += valuesOf("get_tharlen_vel", bench.lib, device.id)[i];
        sleepFor(0.5);
    }
    for (const Watched& w : watched)
        for (std::size_t i = 0; i < w.least.size(); ++i)
            demand(w.most[i] - w.least[i] <= w.row.span,
                   "%s went from %g to %g at place %zu, while the arm should rest", w.row.name, w.least[i], w.most[i],
                   i);
    for (std::size_t i = 0; i < 3; ++i)
        demand(std::abs(velocity[i] / looks) <= kCreep,
               "get_tharlen_vel gives %g mm/s at place %zu, while the arm should rest", velocity[i] / looks, i);
    return text("for %.1f s", kRestSeconds);
}

void demandSame(const std::vector<double>& a, const char* nameA, const std::vector<double>& b, const char* nameB,
                std::size_t from, double tolerance) {
    for (std::size_t i = 0; i < a.size() && from + i < b.size(); ++i)
        demand(std::abs(a[i] - b[from + i]) <= tolerance, "%s gives %g at place %zu, %s %g", nameA, a[i], i, nameB,
               b[from + i]);
}

std::string angles(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    const auto joints = valuesOf("get_tharlen_joint_angles", bench.lib, device.id);
    demandSame(valuesOf("get_tharlen_encoders", bench.lib, device.id), "get_tharlen_encoders", joints,
               "get_tharlen_joint_angles", 0, 0.01);
    demandSame(valuesOf("get_gimbal_encoders", bench.lib, device.id), "get_gimbal_encoders", joints,
               "get_tharlen_joint_angles", 3, 0.01);
    return "within 0.01 rad";
}

std::string pose(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    const auto m = valuesOf("get_stylus_matrix", bench.lib, device.id);
    for (std::size_t a = 0; a < 3; ++a) {
        for (std::size_t b = 0; b < 3; ++b) {
            double product = 0.0;
            for (std::size_t row = 0; row < 3; ++row)
                product += m[4 * a + row] * m[4 * b + row];
            demand(std::abs(product - (a == b ? 1.0 : 0.0)) < 0.01, "columns %zu and %zu have the product %g", a, b,
                   product);
        }
    }
    const double determinant =
        m[0] * (m[5] * m[10] - m[6] * m[9]) - m[4] * (m[1] * m[10] - m[2] * m[9]) + m[8] * (m[1] * m[6] - m[2] * m[5]);
    demand(determinant > 0.0, "its determinant is %g: it mirrors", determinant);
    demand(m[3] == 0 && m[7] == 0 && m[11] == 0 && m[15] == 1, "its last row is %g %g %g %g, not 0 0 0 1", m[3], m[7],
           m[11], m[15]);
    demandSame({m[12], m[13], m[14]}, "its place", valuesOf("get_tharlen_pos", bench.lib, device.id), "get_tharlen_pos",
               0, 2.0);
    return "a rotation; the place within 2 mm";
}

std::string threads(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    constexpr Steady kBoth[] = {{"get_encoder_values", 5}, {"get_tharlen_joint_angles", 0.02},
                                {"get_tharlen_pos", 2},    {"get_tharlen_vel", 50},
                                {"get_pinch_value", 20},   {"get_tharlen_nominal_max_force", 1e-3}};
    for (const Steady& row : kBoth) {
        std::vector<double> there;
        loop.inTick([&] { there = valuesOf(row.name, bench.lib, device.id); });
        demandSame(valuesOf(row.name, bench.lib, device.id), row.name, there, "on the servo thread", 0, row.span);
    }
    return text("%zu reads", sizeof kBoth / sizeof kBoth[0]);
}

std::string temperatures(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    std::vector<double> base;
    loop.inTick([&] { base = valuesOf("get_tharlen_temp", bench.lib, device.id); });
    const auto all = valuesOf("get_tharlen_temp_6dof", bench.lib, device.id);
    demandSame(base, "get_tharlen_temp", all, "get_tharlen_temp_6dof", 0, 2.0);
    // The kind of the first of the four rows is the winding.
    demandSame(valuesOf("get_tharlen_temp_advance", bench.lib, device.id), "get_tharlen_temp_advance of kind 0", all,
               "get_tharlen_temp_6dof", 0, 2.0);
    return text("%.1f, %.1f and %.1f degrees Celsius", all[0], all[1], all[2]);
}

std::string registers(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    CIOConnection* const connection = bench.lib.get_connection_data(device.id);
    demand(connection != nullptr, "get_connection_data is null for an open device");
    const PORT_INPUT& image = connection->m_portInput;
    const auto counter = [](const USHORT& field) { return __atomic_load_n(&field, __ATOMIC_RELAXED); };
    const auto before = std::array<USHORT, 3>{counter(image.usQuad0), counter(image.usQuad1), counter(image.usQuad2)};
    const UCHAR timer = __atomic_load_n(&image.ucTimerCnt, __ATOMIC_RELAXED);
    const UCHAR watchdog = __atomic_load_n(&image.ucWatchdogCntrIn, __ATOMIC_RELAXED);
    bool refreshed = false;
    for (int i = 0; i < 50; ++i) {
        loop.wait(1);
        refreshed |= timer != __atomic_load_n(&image.ucTimerCnt, __ATOMIC_RELAXED)
                     || watchdog != __atomic_load_n(&image.ucWatchdogCntrIn, __ATOMIC_RELAXED);
    }
    const auto after = std::array<USHORT, 3>{counter(image.usQuad0), counter(image.usQuad1), counter(image.usQuad2)};
    for (std::size_t i = 0; i < 3; ++i) {
        const int moved = static_cast<std::int16_t>(static_cast<USHORT>(after[i] - before[i]));
        demand(std::abs(moved) <= 3, "the counter of axis %zu went by %d while the arm should rest", i, moved);
    }
    demand(refreshed, "neither timer nor watchdog counter changed in 50 ticks");
    demand(connection == bench.lib.get_connection_data(device.id),
           "get_connection_data gives another object each time");
    __atomic_store_n(&connection->m_bErrorTrigger, true, __ATOMIC_RELAXED);
    const bool set = __atomic_load_n(&connection->m_bErrorTrigger, __ATOMIC_RELAXED);
    __atomic_store_n(&connection->m_bErrorTrigger, false, __ATOMIC_RELAXED);
    demand(set, "m_bErrorTrigger cannot be set");
    return "50 ticks";
}

// --- Identity and calibration ----------------------------------------------------------------------

std::string texts(Bench& bench) {
    const OpenDevice device(bench);
    std::string seen;
    struct Text {
        const char* name;
        const char* words;
    };
    for (const Text& t : {Text{"get_tharlen_model_type", bench.lib.get_tharlen_model_type(device.id)},
                          Text{"get_hardware_serial_number", bench.lib.get_hardware_serial_number(device.id)}}) {
        demand(t.words != nullptr, "%s is null", t.name);
        const std::string words(t.words, strnlen(t.words, 256));
        demand(words.size() < 256, "%s has no end within 256 characters", t.name);
        demand(firstUnprintable(words) < 0, "%s has the character %d", t.name,
               static_cast<unsigned char>(words[static_cast<std::size_t>(std::max(0, firstUnprintable(words)))]));
        seen += (seen.empty() ? "\"" : ", \"") + words + "\"";
    }
    return seen;
}

std::string limits(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(2);
    float most = 0, continuous = 0, stiffness = 0;
    loop.inTick([&] {
        most = bench.lib.get_tharlen_nominal_max_force(device.id);
        continuous = bench.lib.get_tharlen_nominal_max_continuous_force(device.id);
        stiffness = bench.lib.get_tharlen_nominal_max_stiffness(device.id);
    });
    const std::string seen = text("%g N, %g N continuous, %g N/mm", static_cast<double>(most),
                                  static_cast<double>(continuous), static_cast<double>(stiffness));
    demand(most > 0 && continuous > 0 && stiffness > 0 && continuous <= most, "%s", seen.c_str());
    return seen;
}

std::string grip(Bench& bench) {
    const OpenDevice device(bench);
    if (bench.lib.tharlen_check_for_pinch(device.id) <= 0)
        return "no grip";
    const int kind = bench.lib.tharlen_which_pinch(device.id);
    demand(kind == 1 || kind == 2, "it is %d", kind);
    return text("kind %d", kind);
}

std::string calibrationStatus(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    int status = -1;
    const int result = bench.lib.get_calibration_status(device.id, &status);
    demand(result >= 0, "the operation gave %d", result);
    demand(status == 0 || status == kCalibrationNeeded || (status > 0 && (status & ~0xFF) == 0), "it is %d", status);
    return status == 0 ? "calibrated" : text("%d", status);
}

std::string calibrationKinds(Bench& bench) {
    const OpenDevice device(bench);
    const int kind = bench.lib.is_calibration_supported(device.id);
    const int reset = bench.lib.is_tharlen_reset_supported(device.id);
    demand(kind >= 0 && kind <= 2, "is_calibration_supported is %d", kind);
    demand(kind != 0 || reset != 0, "the device has no calibration and no reset");
    return text("kind %d%s", kind, reset ? ", by reset" : "");
}

std::string calibrationData(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    CTHARLeNAutoCalibration* const data = bench.lib.get_calibration_data(device.id);
    if (bench.lib.is_calibration_supported(device.id) != 1)
        throw NotTried("the device has no home sensors");
    demand(data != nullptr, "it is null for a device with home sensors");
    AXIS_SENSOR_DATA* const axes = data->GetAxisSensorData();
    for (int axis = 0; axis < 3; ++axis) {
        demand(std::abs(data->GetEncoderOffsets(axis)) < 10000000, "the offset of axis %d is %ld", axis,
               data->GetEncoderOffsets(axis));
        demand(data->IsEncoderOffsetsIncorrect(axis) <= 1, "IsEncoderOffsetsIncorrect of axis %d is %d", axis,
               data->IsEncoderOffsetsIncorrect(axis));
        for (int i = 0; i < 3; ++i) {
            for (const SENSOR_DATA* seen : {axes[axis].psdFlagData[i], axes[axis].psdGapData[i]})
                demand(!seen || std::abs(seen->lStart) < 10000000, "the sensor data of axis %d begins at %ld", axis,
                       seen ? seen->lStart : 0);
        }
    }
    return "three axes";
}

std::string changes(Bench&) { throw NotTried("they change the arm's calibration, which is the application's to do"); }

}  // namespace

std::vector<Check> sensorChecks() {
    return {
        single("sensors.range", Check::EachArm, ranges),
        single("sensors.rest", Check::EachArm, rest),
        single("sensors.angles", Check::EachArm, angles),
        single("sensors.pose", Check::EachArm, pose),
        single("sensors.threads", Check::EachArm, threads),
        single("sensors.temperatures", Check::EachArm, temperatures),
        single("sensors.registers", Check::EachArm, registers),
    };
}

std::vector<Check> identityChecks() {
    return {
        single("identity.texts", Check::EachArm, texts),
        single("identity.limits", Check::EachArm, limits),
        single("identity.grip", Check::EachArm, grip),
        single("calibration.status", Check::EachArm, calibrationStatus),
        single("calibration.kinds", Check::EachArm, calibrationKinds),
        single("calibration.data", Check::EachArm, calibrationData),
        single("calibration.changes", Check::EachArm, changes),
    };
}

}  // namespace librarycheck
