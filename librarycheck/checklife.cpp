// Opening and closing, and what holds without an open device.
#include <algorithm>
#include <cstring>
#include <utility>

#include "reads.h"

namespace librarycheck {
namespace {

constexpr int kNeverOpen = 1234567;  ///< a handle that no library gives in a check
constexpr char kNoSuchDevice[] = "no device of this name";

std::string version(Bench& bench) {
    const char* version = bench.lib.get_library_version();
    demand(version != nullptr, "it is null");
    const std::string words(version, strnlen(version, 200));
    demand(words.size() < 200, "it has no end within 200 characters");
    demand(!words.empty() && firstUnprintable(words) < 0, "it is \"%.60s\"", words.c_str());
    return "\"" + words + "\"";
}

/// What the application calls with no handle, as a tick may before the first device is open.
std::string noHandle(Bench& bench) {
    Library& lib = bench.lib;
    int tried = 0;
    for (const int id : {-1, kNeverOpen}) {
        for (const Read& row : reads()) {
            std::vector<double> values;
            try {
                values = row.call(lib, id);
            } catch (const NotTried&) {
                continue;
            }
            ++tried;
            for (std::size_t i = row.most; i < values.size(); ++i)
                demand(values[i] == kUnfilled, "%s(%d) fills more than %zu numbers", row.name, id, row.most);
            for (std::size_t i = 0; i < row.most; ++i)
                demand(row.most == 1 || values[i] == 0.0 || values[i] == kUnfilled, "%s(%d) fills %g at place %zu",
                       row.name, id, values[i], i);
        }
        const int status = lib.update_tharlen(id);
        demand(status <= 0, "update_tharlen(%d) gives %d", id, status);
        const float force[6] = {};
        const long dac[6] = {};
        float sent[6] = {};
        lib.disable_tharlen_forces(id);
        lib.disable_tharlen_forces_no_wait(id);
        demand(lib.enable_tharlen_forces(id) != 0, "enable_tharlen_forces(%d) succeeds", id);
        demand(lib.enable_tharlen_forces_no_wait(id) != 0, "enable_tharlen_forces_no_wait(%d) succeeds", id);
        demand(lib.is_tharlen_forces_enabled(id) == 0, "is_tharlen_forces_enabled(%d) is not 0", id);
        lib.send_tharlen_force(id, force);
        lib.send_tharlen_force_6dof(id, force);
        lib.command_motor_voltages(id, force, sent);
        lib.command_motor_dac_values(id, dac);
        lib.enable_tharlen_velocity_check(id, 1);
        lib.get_tharlen_model_type(id);
        lib.get_hardware_serial_number(id);
        demand(lib.update_calibration(id) != 0, "update_calibration(%d) succeeds", id);
        demand(lib.tharlen_reset(id) != 0, "tharlen_reset(%d) succeeds", id);
        lib.set_pinch_limits(id, 0, 1);
        lib.get_connection_data(id);
        lib.get_calibration_data(id);
        lib.disable_tharlen(id);
    }
    return text("%d reads and all commands, with the handles -1 and %d", tried, kNeverOpen);
}

std::string unknownDevice(Bench& bench) {
    std::string why;
    for (const char* name : {kNoSuchDevice, ""}) {
        const int id = openByName(bench.lib, name, why);
        demand(id < 0, "\"%s\" was opened, with the handle %d", name, id);
    }
    return why;
}

std::string opens(Bench& bench) {
    const std::int64_t begin = nanoseconds();
    const OpenDevice device(bench);
    const char* model = bench.lib.get_tharlen_model_type(device.id);
    return text("handle %d in %.0f ms, \"%.60s\"", device.id, static_cast<double>(nanoseconds() - begin) / 1e6,
                model ? model : "");
}

/// Each read once on each of its threads, to find those that crash, hang, throw or fill too much. What is found is
/// not called again.
std::string operations(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start();
    int tried = 0;
    std::string wrong, all;
    const auto tryOne = [&](const Read& row) {
        std::vector<double> values;
        try {
            values = row.call(bench.lib, device.id);
        } catch (const NotTried&) {
            return;
        } catch (const Threw& threw) {
            bench.distrust(threw.name, "throws");
            wrong = threw.what();
            return;
        }
        ++tried;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (i >= row.most && values[i] != kUnfilled)
                wrong = text("%s fills more than %zu numbers", row.name, row.most);
            if (i < row.least && values[i] == kUnfilled && row.most > 1)
                wrong = text("%s does not fill place %zu", row.name, i);
        }
        if (!wrong.empty())
            bench.distrust(row.name, "fills what it should not, or not enough");
    };
    for (const Read& row : reads()) {
        if (row.graphical)
            tryOne(row);
        if (row.servo)
            loop.inTick([&] { tryOne(row); });
        if (!wrong.empty())
            all += (all.empty() ? "" : "; ") + std::exchange(wrong, {});
    }
    demand(all.empty(), "%s", all.c_str());
    for (const auto& text : {&bench.lib.get_tharlen_model_type, &bench.lib.get_hardware_serial_number})
        (*text)(device.id);
    bench.lib.get_connection_data(device.id);
    bench.lib.get_calibration_data(device.id);
    bench.lib.enable_tharlen_velocity_check(device.id, 1);
    return text("%d calls", tried);
}

/// As the application opens its first device: once while it starts, and again on the page of the selection.
std::string openAgain(Bench& bench) {
    OpenDevice device(bench);
    const int first = device.id;
    const auto figures = [&lib = bench.lib](int id) {
        return std::make_pair(
            lib.get_tharlen_nominal_max_force.trusted() ? lib.get_tharlen_nominal_max_force(id) : 0.0f,
            lib.get_connection_data.trusted() && lib.get_connection_data(id));
    };
    const auto before = figures(first);
    std::string why;
    const int second = openAt(bench, why);
    demand(second >= 0, "the second opening was %s: the application never gets its first device", why.c_str());
    device.id = second;
    RunningLoop loop(bench.lib, second);
    loop.start(20);
    const int status = loop.status();
    const auto after = figures(second);
    loop.stop();
    device.close();
    demand(status != kCommunicationError && status > kCommunicationErrorUsb, "its refresh gives %d", status);
    demand(before == after, "the handle was %d, then %d, which reads as one that is not open: %g N at most, not %g",
           first, second, static_cast<double>(after.first), static_cast<double>(before.first));
    return text("handle %d, then %d", first, second);
}

std::string closeTwice(Bench& bench) {
    OpenDevice device(bench);
    const int id = device.id;
    device.close();
    bench.lib.disable_tharlen(id);
    const int enabled = bench.lib.enable_tharlen_forces(id);
    bench.lib.disable_tharlen_forces(id);
    demand(enabled != 0, "enable_tharlen_forces succeeds with the handle %d, which is closed", id);
    const OpenDevice anew(bench);
    RunningLoop loop(bench.lib, anew.id);
    loop.start(5);
    return text("handle %d, then %d", id, anew.id);
}

}  // namespace

std::vector<Check> lifeChecks() {
    return {
        single("life.version", Check::Nothing, version),       single("life.nohandle", Check::Nothing, noHandle),
        single("life.unknown", Check::Nothing, unknownDevice), single("life.opens", Check::EachArm, opens),
        single("life.operations", Check::EachArm, operations), single("life.again", Check::EachArm, openAgain),
        single("life.closing", Check::EachArm, closeTwice),
    };
}

}  // namespace librarycheck
