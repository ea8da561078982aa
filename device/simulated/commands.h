// The commands of the socket: one JSON object in, one JSON object out.
#pragma once

#include <string>

namespace arm {

/// Runs one command line and returns its answer, without a line end. Any thread but the servo callback's.
std::string runCommand(const std::string& line);

}  // namespace arm
