// What may be switched, and how.
#include "faults.h"

#include <cmath>
#include <locale>
#include <sstream>

#include "device/foreign.h"
#include "device/simulated/armwords.h"

namespace arm {
namespace {

constexpr std::size_t kFaults = static_cast<std::size_t>(Fault::Count);
using S = FaultScope;

constexpr FaultFigures kTable[] = {
#define FAULT(word, name, scope, ...) {name, S::scope, __VA_ARGS__},
#include "device/simulated/faultrows.h"
#undef FAULT
};

int scopeSize(FaultScope scope) {
    switch (scope) {
        case S::BaseAxis:
            return 3;
        case S::AnyAxis:
            return 6;
        case S::Button:
            return 2;
        case S::Device:
            return armwords::kFleetSize;
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
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << "amount: must be a " << (f.whole ? "whole " : "") << "number between " << f.lowest << " and "
             << f.highest << " (" << f.unit << ")";
        return text.str();
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
