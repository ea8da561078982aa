// Conversions and checks that the control functions share with the JSON commands.
#pragma once

#include <string>

#include "boundary.h"

namespace arm {

/// Why a fault cannot be switched so, or an empty string after switching it. Null `amount` is the usual one.
std::string switchFault(const std::string& name, bool on, int axis, const double* amount);

}  // namespace arm
