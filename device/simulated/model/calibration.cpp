// Fields of the calibration object.
#include "calibration.h"

#include <cstdlib>

namespace arm {
namespace {

template <typename T, typename V>
void store(T& field, V value) {
    __atomic_store_n(&field, static_cast<T>(value), __ATOMIC_RELAXED);
}

}  // namespace

void LiveCalibration::DiscardCalibration() {
    if (discard)
        discard();
}

void LiveCalibration::setOffsets(const Offsets& offsets) {
    for (int i = 0; i < kBase; ++i)
        store(m_alOffsets[i], offsets[i]);
}

void LiveCalibration::setCalculated(int axis, long offset) { store(m_alOffsetsCalc[axis], offset); }

void LiveCalibration::setIncorrect(int axis, bool incorrect) { store(m_abIncorrect[axis], incorrect ? 1 : 0); }

void LiveCalibration::clearSensors() {
    for (AXIS_SENSOR_DATA& axis : m_aAxisSensorData) {
        store(axis.nFlags, 0);
        store(axis.nGaps, 0);
        for (int i = 0; i < 3; ++i) {
            store(axis.psdFlagData[i], nullptr);
            store(axis.psdGapData[i], nullptr);
        }
    }
}

void LiveCalibration::note(int axis, const Passage& passage) {
    AXIS_SENSOR_DATA& data = m_aAxisSensorData[axis];
    SENSOR_DATA& seen = passage.flag ? flags_[axis][passage.index] : gaps_[axis][passage.index];
    SENSOR_DATA*& place = passage.flag ? data.psdFlagData[passage.index] : data.psdGapData[passage.index];
    store(seen.lStart, passage.start);
    store(seen.lStop, passage.stop);
    store(seen.lWidth, std::labs(passage.stop - passage.start));
    store(seen.lMidPoint, (passage.start + passage.stop) / 2);
    store(seen.lVelocity, passage.velocity);
    if (!place) {
        int& count = passage.flag ? data.nFlags : data.nGaps;
        store(count, count + 1);
        store(place, &seen);
    }
}

}  // namespace arm
