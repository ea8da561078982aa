// The two public headers of this library, with their symbols exported (tharlenio.h exports its own); everything else
// stays hidden.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "device/tharlenio.h"

#pragma GCC visibility push(default)
#include "device/simulated/armcontrol.h"
#pragma GCC visibility pop
