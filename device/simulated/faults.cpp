// The table of faults and its checks.
#include "faults.h"

#include <cmath>
#include <cstdio>

#include "device/foreign.h"

namespace arm {
namespace {

constexpr std::size_t kFaults = static_cast<std::size_t>(Fault::Count);
using S = FaultScope;

// In the order of Fault: name, scope, lowest, highest, usual amount, whole numbers, unit, text.
constexpr FaultFigures kTable[] = {
    {"unplugged", S::None, 0, 0, 0, false, "",
     "the cable is out: no answer, no force, a communication error each tick"},
    {"amplifier", S::None, 0, 0, 0, false, "", "the amplifiers report a fault and stay off"},
    {"no-amplifier-follow", S::None, 0, 0, 0, false, "", "the amplifiers do not follow when they are turned on"},
    {"status", S::None, -99, -1, -32, true, "code", "each refresh of the device returns this code"},
    {"overspeed", S::BaseAxis, 0, 0, 0, false, "", "the speed check of an axis trips at any speed"},
    {"hot", S::AnyAxis, 25, 300, 95, false, "degrees C", "a winding stays at this temperature"},
    {"dead-encoder", S::AnyAxis, 0, 0, 0, false, "", "an encoder stands still"},
    {"drifting-encoder", S::AnyAxis, -1e5, 1e5, 60, false, "counts/minute", "an encoder counts by itself"},
    {"short-travel", S::AnyAxis, 0.01, 0.9, 0.12, false, "fraction",
     "this part of an axis's travel is blocked, half at each end"},
    {"sticky-bearing", S::AnyAxis, 1.1, 100, 8, false, "times",
     "dry friction of an axis is so many times the healthy one"},
    {"slipping-capstan", S::BaseAxis, 1, 1e5, 300, false, "counts/s",
     "the cable slips while the motor pushes with more than 0.42 V"},
    {"weak-motor", S::AnyAxis, 0, 0.99, 0.5, false, "fraction", "this part of a motor's torque is left"},
    {"reversed-motor", S::AnyAxis, 0, 0, 0, false, "", "a motor turns the wrong way"},
    {"stuck-switch", S::Button, 0, 1, 1, true, "0 or 1", "a stylus button reads released (0) or pressed (1) for ever"},
    {"bouncing-switch", S::Button, 1, 1000, 40, false, "ms", "a stylus button bounces this long when it changes"},
    {"missing-flag", S::BaseAxis, 0, 0, 0, false, "", "the home sensor of an axis sees nothing"},
    {"wide-flag", S::BaseAxis, 1, 600, 240, false, "counts",
     "the middle home flag of an axis is this much too wide, and the gaps beside it too narrow"},
    {"narrow-gap", S::BaseAxis, 1, 390, 150, false, "counts",
     "the first home flag sits this much nearer to the second; where there is one flag nothing changes"},
    {"refused-reset", S::None, 0, 0, 0, false, "", "a reset is refused in any pose"},
    {"jitter", S::None, 1, 5000, 300, false, "us", "ticks of the loop come up to this much late"},
    {"stall", S::None, 1, 2000, 50, false, "ms", "the loop stands still once for this long"},
    {"dropped-ticks", S::None, 1, 90, 10, false, "percent", "so many of the ticks never come"},
    {"init-fails", S::None, 0, 0, 0, false, "", "opening a device fails"},
    {"init-throws", S::None, 0, 0, 0, false, "", "opening a device throws an exception"},
    {"no-loop", S::None, 0, 0, 0, false, "", "the servo loop does not start"},
    {"read-fails", S::Device, 0, 0, 0, false, "",
     "the record of a device cannot be read; the axis is its place in the fleet"},
    {"late-stop", S::Library, 1, 100, 3, true, "ticks", "a loop that is to stop runs so many ticks more"},
    {"slow-ticks", S::Library, 1, 100, 5, false, "ms",
     "refresh and command of a tick take half of this time each; in real time only"},
    {"one-opening", S::Library, 0, 0, 0, false, "", "a device is not opened while another one is open"},
    {"eager-loop", S::Library, 0, 0, 0, false, "",
     "the loop is created by its start, and ticks before the start has returned"},
    {"hanging-reads", S::Library, 1, 10000, 2000, false, "ms",
     "a read of the graphical thread hangs for this long, and again after as long a time"},
};
static_assert(sizeof(kTable) / sizeof(kTable[0]) == kFaults, "one row for each fault");

int scopeSize(FaultScope scope) {
    switch (scope) {
        case S::BaseAxis:
            return 3;
        case S::AnyAxis:
            return 6;
        case S::Button:
            return 2;
        case S::Device:
            return 20;
        case S::None:
        case S::Library:
            break;
    }
    return 0;
}

}  // namespace

const FaultFigures& faultFigures(Fault fault) { return kTable[static_cast<std::size_t>(fault)]; }

Fault faultNamed(const std::string& name) {
    std::size_t i = 0;
    while (i < kFaults && name != kTable[i].name)
        ++i;
    return static_cast<Fault>(i);
}

std::string FaultSet::check(const std::string& name, bool on, int axis, const double* amount) {
    const Fault fault = faultNamed(name);
    if (fault == Fault::Count)
        return "name: there is no fault \"" + foreign::printable(name) + "\"";
    const FaultFigures& f = faultFigures(fault);
    const int size = scopeSize(f.scope);
    if (axis < -1 || (size > 0 && axis >= size))
        return "axis: must lie between -1 and " + std::to_string(size > 0 ? size - 1 : 5);
    if (size == 0 && axis > 5)
        return "axis: must lie between -1 and 5";
    if (!on || !amount || (f.lowest == 0 && f.highest == 0))
        return amount && !std::isfinite(*amount) ? "amount: must be a number" : "";
    if (!(*amount >= f.lowest && *amount <= f.highest) || (f.whole && *amount != std::floor(*amount))) {
        char text[120];
        std::snprintf(text, sizeof text, "amount: must be a %snumber between %g and %g (%s)", f.whole ? "whole " : "",
                      f.lowest, f.highest, f.unit);
        return text;
    }
    return "";
}

void FaultSet::set(Fault fault, bool on, int axis, double amount) {
    switches_[static_cast<std::size_t>(fault)] = {on, axis, amount};
}

std::vector<std::string> FaultSet::names() const {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < kFaults; ++i)
        if (switches_[i].on)
            names.emplace_back(kTable[i].name);
    return names;
}

}  // namespace arm
