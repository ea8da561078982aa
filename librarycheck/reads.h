// Every read of a device's state as one table: how it is called, how many numbers it fills, and within which bounds
// they lie. The arrays are longer than what is promised to be filled, so that an operation that fills more is seen.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench.h"

namespace librarycheck {

/// One read, its result as plain numbers.
struct Read {
    const char* name;
    bool graphical, servo;  ///< threads it may be called on
    std::size_t most;       ///< numbers it may fill
    std::size_t least;      ///< numbers it has to fill
    double lowest, highest;
    /// Calls it with an array that is untouched so far; returns all of that array, of which only the first are meant.
    std::vector<double> (*call)(Library& lib, int id);
};

/// Numbers that stand behind what may be filled, and what they are before the call.
constexpr std::size_t kSpare = 4;
constexpr double kUnfilled = -7777.0;

const std::vector<Read>& reads();
/// The row of this name. Broken where there is none.
const Read& read(const char* name);

/// What the read fills, without what lies behind. NotTried and Broken as by the operation.
std::vector<double> valuesOf(const Read& read, Library& lib, int id);
inline std::vector<double> valuesOf(const char* name, Library& lib, int id) { return valuesOf(read(name), lib, id); }

}  // namespace librarycheck
