// The calibration of the open device: offsets, and what the home sensors found.
//
// An encoder counter starts anywhere when the device is switched on; the count that the device reports is
// the counter plus the offset in use. A calibrated offset makes that the count from the calibrated zero.
#pragma once

#include <array>
#include <functional>

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

}  // namespace arm
