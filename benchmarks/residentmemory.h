// What this process has in memory.
#pragma once

#include <unistd.h>

#include <fstream>
#include <limits>

/// MB; no number where the system does not tell it.
inline double residentMegabytes() {
    long all = 0, resident = 0;
    if (!(std::ifstream("/proc/self/statm") >> all >> resident))
        return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}
