// The two public headers of this library, with their symbols exported; everything else stays hidden.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#pragma GCC visibility push(default)
#include "device/simulated/armcontrol.h"
#include "device/tharlenio.h"
#pragma GCC visibility pop
