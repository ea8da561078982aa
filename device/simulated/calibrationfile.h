// The calibration file: JSON with the device's name, serial number and the three offsets in counts.
#pragma once

#include <string>

#include "model/calibration.h"

namespace arm {

/// A device's calibration on file: `$KNDD_HOME/config/THARLeN Calibration (<name>)`.
enum class CalibrationFile { Missing, Good, Bad };

/// Reads it. Bad is a file that cannot be read or belongs to another device. Where it is not Good, `why` says so.
CalibrationFile readCalibration(const std::string& name, const std::string& serial, Offsets& offsets, std::string& why);
/// Writes it; an empty string, or why it could not be written.
std::string writeCalibration(const std::string& name, const std::string& serial, const Offsets& offsets);

}  // namespace arm
