// Amplifiers and commands, as far as nobody has to be at the arm: no command but zero while the amplifiers are on.
#include <algorithm>
#include <cstring>

#include "reads.h"

namespace librarycheck {
namespace {

constexpr long kZero[6] = {};
constexpr int kSwitches = 10;
constexpr double kFollowed = 100.0;  ///< ms within which amplifiers follow where nobody waits

/// A running loop that commands zero each tick and looks at the amplifiers.
class ZeroLoop {
public:
    ZeroLoop(Bench& bench, int id)
        : loop(bench.lib, id, [this, &bench, id] {
              bench.lib.command_motor_dac_values(id, kZero);
              enabled_ = bench.lib.is_tharlen_forces_enabled(id) != 0;
          }) {
        loop.start(5);
    }
    /// As the tick after the next saw it, so that one lies wholly behind what was called before.
    bool enabled() {
        loop.wait(2);
        return enabled_;
    }
    /// Milliseconds until the amplifiers are as wanted, at most the limit.
    double until(bool on) {
        const std::int64_t begin = nanoseconds();
        double passed = 0.0;
        while (enabled() != on && passed < kFollowed)
            passed = static_cast<double>(nanoseconds() - begin) / 1e6;
        return passed;
    }

    RunningLoop loop;

private:
    std::atomic<bool> enabled_{false};
};

/// NotTried where the amplifiers report a fault before anything was done.
void needGoodAmplifiers(Bench& bench, int id) {
    if (bench.lib.unfiltered_device_fault(id) != 0)
        throw NotTried("the amplifiers report a fault: is the remote switch on?");
}

void demandOffAndZero(Bench& bench, int id) {
    RunningLoop loop(bench.lib, id);
    bool enabled = false;
    long last[6] = {};
    loop.start(1);
    loop.inTick([&] {
        enabled = bench.lib.is_tharlen_forces_enabled(id) != 0;
        bench.lib.get_last_motor_dac_values(id, last);
    });
    demand(!enabled, "the amplifiers are on");
    for (int i = 0; i < 6; ++i)
        demand(last[i] == 0, "the last command of axis %d is %ld", i, last[i]);
}

/// Also while the device is open with its amplifiers on. What a refused opening means is another promise's.
std::string opening(Bench& bench) {
    OpenDevice device(bench);
    demandOffAndZero(bench, device.id);
    if (!bench.lib.enable_tharlen_forces.trusted() || bench.lib.unfiltered_device_fault(device.id) != 0)
        return "off and zero";
    {
        ZeroLoop zero(bench, device.id);
        bench.lib.enable_tharlen_forces(device.id);
    }
    std::string why;
    const int second = openAt(bench, why);
    if (second < 0)
        return "off and zero";
    device.id = second;
    demandOffAndZero(bench, second);
    return "off and zero, also where it was open with the amplifiers on";
}

std::string switching(Bench& bench) {
    const OpenDevice device(bench);
    ZeroLoop zero(bench, device.id);
    needGoodAmplifiers(bench, device.id);
    for (int i = 0; i < 3; ++i) {
        const int status = bench.lib.enable_tharlen_forces(device.id);
        demand(status == 0, "enable_tharlen_forces gave %d", status);
        demand(zero.enabled(), "the amplifiers were off when enable_tharlen_forces had returned");
        bench.lib.disable_tharlen_forces(device.id);
        demand(!zero.enabled(), "the amplifiers were on when disable_tharlen_forces had returned");
    }
    return "three times";
}

std::string notWaiting(Bench& bench) {
    const OpenDevice device(bench);
    ZeroLoop zero(bench, device.id);
    needGoodAmplifiers(bench, device.id);
    double longest = 0.0;
    for (const bool on : {true, false, true, false}) {
        (on ? bench.lib.enable_tharlen_forces_no_wait : bench.lib.disable_tharlen_forces_no_wait)(device.id);
        const double passed = zero.until(on);
        demand(passed < kFollowed, "the amplifiers were not %s after %.0f ms", on ? "on" : "off", passed);
        longest = std::max(longest, passed);
    }
    return text("within %.0f ms", longest);
}

// The shortest of several, since the machine may take the thread away meanwhile.
std::string onServo(Bench& bench) {
    const OpenDevice device(bench);
    ZeroLoop zero(bench, device.id);
    needGoodAmplifiers(bench, device.id);
    const Library& lib = bench.lib;
    const Operation<int (*)(int)>* const switches[] = {&lib.enable_tharlen_forces, &lib.disable_tharlen_forces,
                                                       &lib.enable_tharlen_forces_no_wait,
                                                       &lib.disable_tharlen_forces_no_wait};
    double shortest[] = {1e9, 1e9, 1e9, 1e9};
    for (int i = 0; i < kSwitches; ++i) {
        for (std::size_t k = 0; k < 4; ++k) {
            zero.loop.inTick([&] {
                const std::int64_t begin = nanoseconds();
                (*switches[k])(device.id);
                shortest[k] = std::min(shortest[k], static_cast<double>(nanoseconds() - begin) / 1e3);
            });
            zero.until(k % 2 == 0);
        }
    }
    const double period = 1e6 / bench.options.rate;
    for (std::size_t k = 0; k < 4; ++k)
        demand(shortest[k] < period, "%s took %.0f us at least, a tick has %.0f", switches[k]->name(), shortest[k],
               period);
    return text("on in %.1f us, off in %.1f us at least", shortest[0], shortest[1]);
}

/// While the amplifiers are off, so that nothing moves.
std::string lastCommand(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(2);
    needAmplifiersOff(bench.lib, loop, device.id);
    const long commands[][6] = {{120, -240, 360, 0, 0, 0}, {0, 0, 0, 0, 0, 0}};
    for (const auto& command : commands) {
        long last[6] = {};
        loop.inTick([&] {
            bench.lib.command_motor_dac_values(device.id, command);
            bench.lib.get_last_motor_dac_values(device.id, last);
        });
        for (int i = 0; i < 3; ++i)
            demand(last[i] == command[i], "axis %d was commanded %ld and reads %ld", i, command[i], last[i]);
    }
    return "on the base axes, the amplifiers off";
}

std::string limit(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(2);
    needAmplifiersOff(bench.lib, loop, device.id);
    int overDac = 0, overForce = 0, over6 = 0, within = 0;
    loop.inTick([&] {
        const float most = bench.lib.get_tharlen_nominal_max_force(device.id);
        const long dac[6] = {60000, 0, 0, 0, 0, 0};
        const float force[6] = {0, 0, 2 * most, 0, 0, 0}, none[6] = {};
        overDac = bench.lib.command_motor_dac_values(device.id, dac);
        overForce = bench.lib.send_tharlen_force(device.id, force);
        over6 = bench.lib.send_tharlen_force_6dof(device.id, force);
        within = bench.lib.send_tharlen_force(device.id, none);
        bench.lib.command_motor_dac_values(device.id, kZero);
    });
    demand(overDac == kMaxForceExceeded, "60000 DAC counts were answered by %d", overDac);
    demand(overForce == kMaxForceExceeded, "twice the nominal force was answered by %d", overForce);
    demand(over6 == kMaxForceExceeded, "twice the nominal force with torques was answered by %d", over6);
    demand(within != kMaxForceExceeded, "no force at all was answered by -2");
    return "60000 counts and twice the nominal force, the amplifiers off";
}

/// Closed with the amplifiers on, as after a crash of what stands above; then with a command standing.
std::string closing(Bench& bench) {
    Library& lib = bench.lib;
    {
        OpenDevice device(bench);
        const int id = device.id;
        ZeroLoop zero(bench, id);
        needGoodAmplifiers(bench, id);
        lib.enable_tharlen_forces(id);
        zero.loop.stop();
        lib.disable_tharlen(id);
        device.id = -1;
        const bool stayed = lib.is_tharlen_forces_enabled(id) != 0;
        if (stayed)
            lib.disable_tharlen_forces(id);
        demand(!stayed, "closed with the amplifiers on, they stayed on");
    }
    {
        const OpenDevice device(bench);
        demandOffAndZero(bench, device.id);
        RunningLoop loop(lib, device.id);
        loop.start(2);
        needAmplifiersOff(lib, loop, device.id);
        const long dac[6] = {120, 0, 0, 0, 0, 0};
        loop.inTick([&] { lib.command_motor_dac_values(device.id, dac); });
        loop.stop();
    }
    const OpenDevice device(bench);
    demandOffAndZero(bench, device.id);
    return "closed with amplifiers on, and with a command";
}

std::string fault(Bench& bench) {
    const OpenDevice device(bench);
    ZeroLoop zero(bench, device.id);
    const int status = zero.loop.status();
    const int before = bench.lib.unfiltered_device_fault(device.id);
    if (status == -4)
        throw NotTried("the refresh reports a fault of the device: is the remote switch on?");
    demand(before == 0, "it is %d while the refresh gives %d", before, status);
    bench.lib.enable_tharlen_forces(device.id);
    const int on = bench.lib.unfiltered_device_fault(device.id);
    bench.lib.disable_tharlen_forces(device.id);
    demand(on == 0, "it is %d while the amplifiers are on", on);
    return "0 with the amplifiers off and on";
}

/// Set to what they are: nothing of the arm's protection changes, not even for a moment.
std::string thresholds(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(2);
    for (const int kind : {kShutdownTemperature, kCooldownTemperature}) {
        float before[6] = {}, after[6] = {};
        bench.lib.get_tharlen_temp_advance(device.id, kind, before);
        bench.lib.set_tharlen_temp_advance(device.id, kind, before);
        bench.lib.get_tharlen_temp_advance(device.id, kind, after);
        for (int i = 0; i < 6; ++i)
            demand(std::abs(before[i] - after[i]) < 0.01f, "kind %d of axis %d was set to %g and reads %g", kind, i,
                   static_cast<double>(before[i]), static_cast<double>(after[i]));
    }
    return "set to what they were";
}

}  // namespace

std::vector<Check> motorChecks() {
    return {
        single("motors.switch", Check::EachArm, switching),  // first of all: it finds what does not come back
        single("motors.opening", Check::EachArm, opening),  single("motors.nowait", Check::EachArm, notWaiting),
        single("motors.servo", Check::OneArm, onServo),     single("motors.last", Check::EachArm, lastCommand),
        single("motors.limit", Check::EachArm, limit),      single("motors.closing", Check::EachArm, closing),
        single("motors.fault", Check::EachArm, fault),      single("motors.thresholds", Check::EachArm, thresholds),
    };
}

}  // namespace librarycheck
