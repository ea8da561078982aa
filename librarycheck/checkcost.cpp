// What each operation costs on each thread. No promise: a figure, with a mark where it could eat a tick.
#include <algorithm>
#include <cstring>

#include "reads.h"

namespace librarycheck {
namespace {

constexpr int kCalls = 200;

template <typename Call>
Cost timed(const char* name, bool servo, int calls, Call call) {
    std::vector<double> microseconds;
    microseconds.reserve(static_cast<std::size_t>(calls));
    for (int i = 0; i < calls; ++i) {
        const std::int64_t begin = nanoseconds();
        call();
        microseconds.push_back(static_cast<double>(nanoseconds() - begin) / 1e3);
    }
    return {name, servo, medianOf(microseconds), *std::max_element(microseconds.begin(), microseconds.end())};
}

std::string costs(Bench& bench) {
    Library& lib = bench.lib;
    const OpenDevice device(bench);
    RunningLoop loop(lib, device.id);
    loop.start(20);
    std::string last;
    for (const Read& row : reads()) {
        if (row.name == last)
            continue;
        last = row.name;
        const auto call = [&] { valuesOf(row, lib, device.id); };
        try {
            if (row.graphical)
                bench.cost(timed(row.name, false, kCalls, call));
            if (row.servo) {
                Cost cost{};
                loop.inTick([&] { cost = timed(row.name, true, 20, call); });
                bench.cost(cost);
            }
        } catch (const NotTried&) {
        }
    }
    const long dac[6] = {};
    const float force[6] = {};
    float sent[6] = {};
    struct Command {
        const char* name;
        std::function<void()> call;
    };
    const Command commands[] = {
        {"update_tharlen", [&] { lib.update_tharlen(device.id); }},
        {"command_motor_dac_values", [&] { lib.command_motor_dac_values(device.id, dac); }},
        {"command_motor_voltages", [&] { lib.command_motor_voltages(device.id, force, sent); }},
        {"send_tharlen_force", [&] { lib.send_tharlen_force(device.id, force); }},
        {"send_tharlen_force_6dof", [&] { lib.send_tharlen_force_6dof(device.id, force); }},
        {"disable_tharlen_forces", [&] { lib.disable_tharlen_forces(device.id); }},
        {"disable_tharlen_forces_no_wait", [&] { lib.disable_tharlen_forces_no_wait(device.id); }},
    };
    for (const Command& command : commands) {
        try {
            Cost cost{};
            loop.inTick([&] { cost = timed(command.name, true, 5, command.call); });
            bench.cost(cost);
        } catch (const NotTried&) {
        }
    }
    return "";
}

}  // namespace

std::vector<Check> costChecks() { return {{"cost", {}, Check::OneArm, 20, costs}}; }

}  // namespace librarycheck
