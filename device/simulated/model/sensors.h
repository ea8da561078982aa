// Home sensors: what the sensor of a base axis sees of its flags and gaps as the axis passes them.
#pragma once

#include "lines.h"

namespace arm {

/// One flag or gap that was passed from end to end, hardware counts and counts/s.
struct Passage {
    bool flag = true;
    int index = 0;  ///< place in AXIS_SENSOR_DATA
    long start = 0, stop = 0;
    long nominalMiddle = 0;  ///< counts from the calibrated zero where its middle belongs
    double velocity = 0.0;
};

/// Watches one axis. Edges are taken where the axis was when they were seen, once a substep, so that a fast
/// sweep widens them and a very fast one misses them.
class HomeSensor {
public:
    void configure(const AxisFlags& flags);
    /// What is wrong with the flags, counts: the middle one is `wider`, half at each end, and the first of several
    /// sits so much `nearer` to the second.
    void bend(double wider, double nearer);
    /// Forgets where the axis came from, as after a power-up.
    void restart() { region_ = -1; }

    /// `counts` is the axis from the calibrated zero, `hardware` the counter's reading, `seconds` since the
    /// last call. True when a flag or gap has just been passed; then it is in `passage`.
    bool watch(double counts, long hardware, double seconds, Passage& passage);
    bool active() const { return region_ > 0 && region_ % 2 == 1 && region_ <= segments_; }

private:
    int regionOf(double counts) const;

    AxisFlags flags_{};   // as designed
    AxisFlags fitted_{};  // as they are
    int segments_ = 0;    // flags and gaps
    int region_ = -1;     // 0 below the first flag, odd in a flag, even in a gap; -1 not known yet
    int cameFrom_ = -1;
    long edge_ = 0;        // hardware counts on entering the region
    double inside_ = 0.0;  // s
};

}  // namespace arm
