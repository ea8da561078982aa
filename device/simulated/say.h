// What the library says where no operation can: a line on standard error, and the folder that such lines are about.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace arm {

/// Value of KNDD_HOME, empty when it is not set.
inline std::string dataHome() {
    const char* home = std::getenv("KNDD_HOME");
    return home ? home : "";
}

/// One line on standard error.
inline void complain(const std::string& text) { std::fprintf(stderr, "libTharlenIOLib42: %s\n", text.c_str()); }

}  // namespace arm
