// The faults of the arm by name, and the switches of those that are on.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace arm {

enum class Fault {
#define FAULT(word, ...) word,
#include "device/simulated/faultrows.h"
#undef FAULT
    Count
};

/// What `axis` of a fault counts. Library: nothing, for it is a manner that any library may have, and no defect.
enum class FaultScope { None, BaseAxis, AnyAxis, Button, Device, Library };

/// What a row says of a fault. The amount lies in [lowest, highest]; both 0 when the fault has none.
struct FaultFigures {
    const char* name;
    FaultScope scope;
    double lowest, highest, usual;
    bool whole;  ///< whole numbers only
    const char* unit;
    const char* text;
};

const FaultFigures& faultFigures(Fault fault);
inline bool isManner(Fault fault) { return faultFigures(fault).scope == FaultScope::Library; }
/// Fault::Count when there is none of this name.
Fault faultNamed(const std::string& name);

/// The switches. Not synchronised: guarded by whoever owns it.
class FaultSet {
public:
    struct Switch {
        bool on = false;
        int axis = -1;
        double amount = 0.0;
    };

    /// Why the switch cannot be set so, or an empty string. Null `amount` takes the usual one.
    static std::string check(const std::string& name, bool on, int axis, const double* amount);
    void set(Fault fault, bool on, int axis, double amount);
    void clear() { switches_ = {}; }

    bool on(Fault fault) const { return at(fault).on; }
    bool on(Fault fault, int axis) const { return on(fault) && (at(fault).axis < 0 || at(fault).axis == axis); }
    double amount(Fault fault) const { return at(fault).amount; }
    const Switch& at(Fault fault) const { return switches_[static_cast<std::size_t>(fault)]; }
    std::vector<std::string> names() const;  ///< of those that are on

private:
    std::array<Switch, static_cast<std::size_t>(Fault::Count)> switches_{};
};

}  // namespace arm
