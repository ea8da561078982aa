// The calibration of the open device: offsets, what the home sensors found, and the file that keeps it.
//
// An encoder counter starts anywhere when the device is switched on; the count that the device reports is
// the counter plus the offset in use. A calibrated offset makes that the count from the calibrated zero.
#pragma once

#include <array>
#include <functional>
#include <string>

#include "device/tharlenio.h"
#include "sensors.h"

namespace arm {

using Offsets = std::array<long, kBase>;

/// The object that get_calibration_data() hands out. Its fields are written with relaxed atomic stores, by
/// the loop and by the operations, under the arm's lock; others read them one by one.
class LiveCalibration final : public CTHARLeNAutoCalibration {
public:
    /// What DiscardCalibration() does, run on the caller's thread.
    std::function<void()> discard;
    void DiscardCalibration() override;

    void setOffsets(const Offsets& offsets);
    void setCalculated(int axis, long offset);
    void setIncorrect(int axis, bool incorrect);
    /// Forgets what the sensors found.
    void clearSensors();
    void note(int axis, const Passage& passage);

private:
    SENSOR_DATA flags_[kBase][3]{};
    SENSOR_DATA gaps_[kBase][3]{};
};

/// A device's calibration on file: `$KNDD_HOME/config/THARLeN Calibration (<name>)`.
enum class CalibrationFile { Missing, Good, Bad };

/// Reads it. Bad is a file that cannot be read or belongs to another device. Where it is not Good, `why` says so.
CalibrationFile readCalibration(const std::string& name, const std::string& serial, Offsets& offsets, std::string& why);
/// Writes it; an empty string, or why it could not be written.
std::string writeCalibration(const std::string& name, const std::string& serial, const Offsets& offsets);

}  // namespace arm
