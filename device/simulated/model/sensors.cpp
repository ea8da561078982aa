// Passing of flags and gaps: a region counts once it was entered at one end and left at the other.
#include "sensors.h"

namespace arm {

void HomeSensor::configure(const AxisFlags& flags) {
    flags_ = fitted_ = flags;
    segments_ = flags.number > 0 ? 2 * flags.number - 1 : 0;
    restart();
}

void HomeSensor::bend(double wider, double nearer) {
    fitted_ = flags_;
    FlagFigures& middle = fitted_.flags[flags_.number / 2];
    middle.start -= static_cast<int>(wider / 2);
    middle.stop += static_cast<int>(wider / 2);
    if (flags_.number < 2)
        return;
    fitted_.flags[0].start += static_cast<int>(nearer);
    fitted_.flags[0].stop += static_cast<int>(nearer);
}

int HomeSensor::regionOf(double counts) const {
    for (int flag = 0; flag < fitted_.number; ++flag) {
        if (counts < fitted_.flags[flag].start)
            return 2 * flag;
        if (counts < fitted_.flags[flag].stop)
            return 2 * flag + 1;
    }
    return 2 * flags_.number;
}

bool HomeSensor::watch(double counts, long hardware, double seconds, Passage& passage) {
    const int region = regionOf(counts);
    inside_ += seconds;
    if (region == region_)
        return false;
    const int left = region_, before = cameFrom_;
    region_ = region;
    // A first look, or a jump over a whole region: the way in is not known.
    cameFrom_ = left >= 0 && (region == left + 1 || region == left - 1) ? left : -1;
    const bool passed = left > 0 && left <= segments_ && before >= 0 && cameFrom_ >= 0 && region != before;
    if (passed) {
        const bool flag = left % 2 == 1;
        const int number = flag ? (left - 1) / 2 : left / 2 - 1;
        const FlagFigures& f = flags_.flags[number];
        passage.flag = flag;
        passage.index = number + (flag ? flags_.firstIndex : 0);
        passage.start = edge_;
        passage.stop = hardware;
        passage.nominalMiddle = flag ? (f.start + f.stop) / 2 : (f.stop + flags_.flags[number + 1].start) / 2;
        passage.velocity = static_cast<double>(hardware - edge_) / inside_;
    }
    edge_ = hardware;
    inside_ = 0.0;
    return passed;
}

}  // namespace arm
