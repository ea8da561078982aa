// Calibration of the arm: by home sensors, in the ink well, or in the reset pose.
#include <algorithm>
#include <cmath>
#include <functional>

#include "arm.h"

namespace arm {
namespace {

constexpr double kSmallestError = 0.010, kLargestError = 0.020;  // rad an uncalibrated base joint is off
constexpr double kResetTolerance = 0.05;  // rad from the reset pose within which a reset is taken
constexpr double kRest = 0.05;            // s of rest in the ink well until the arm calibrates itself
constexpr double kStill = 0.05;           // rad/s
constexpr long kHomeTolerance = 40;       // counts that the home sensors may differ from the offset in use

long nominalCount(const LineFigures& line, const double (&pose)[kBase], int axis) {
    return std::lround(line.base[axis].encoderSign * line.base[axis].countsPerRad * pose[axis]);
}

}  // namespace

void Arm::powerUp() {
    Memory& kept = memory();
    calibrated_ = kept.calibrated;
    offsets_ = kept.calibrated ? kept.offsets : Offsets{};
    if (kept.calibrated) {
        for (int i = 0; i < kBase; ++i)
            powerUp_[i] = kept.offsets[i];
    } else {
        // Anywhere, but within about a degree, and the same for the same arm.
        std::mt19937 random(static_cast<unsigned>(std::hash<std::string>{}(device.serial)) + kept.discards);
        std::uniform_real_distribution<double> size(kSmallestError, kLargestError);
        for (int i = 0; i < kBase; ++i) {
            const double error = (random() & 1u) ? size(random) : -size(random);
            powerUp_[i] = std::lround(error * line->base[i].countsPerRad);
        }
    }
    homeSeen_ = {};
    calibration.clearSensors();
    for (int i = 0; i < kBase; ++i) {
        calibration.setCalculated(i, 0);
        home_[i].restart();
    }
    refreshVerdicts();
}

void Arm::watchHome(double h) {
    if (line->calibration != CalibrationStyle::HomeSensors || faults.on(Fault::Unplugged))
        return;
    for (int i = 0; i < kBase; ++i) {
        const AxisFigures& a = line->base[i];
        const double counts = a.encoderSign * a.countsPerRad * motion.angle[i];
        const double seen = dead_[i] ? counted_[i] : counts + slipped_[i] + drifted_[i];
        Passage passage;
        if (home_[i].watch(counts, std::lround(seen) - powerUp_[i], h, passage) && !faults.on(Fault::MissingFlag, i))
            noteHome(i, passage);
    }
}

void Arm::noteHome(int axis, const Passage& passage) {
    calibration.note(axis, passage);
    const unsigned place = static_cast<unsigned>(passage.index) + (passage.flag ? 0u : 3u);
    homeOffset_[axis][place] =
        static_cast<double>(passage.nominalMiddle) - 0.5 * static_cast<double>(passage.start + passage.stop);
    homeSeen_[axis] |= 1u << place;
    double sum = 0.0;
    int number = 0;
    for (unsigned i = 0; i < homeOffset_[axis].size(); ++i) {
        if (homeSeen_[axis] & (1u << i)) {
            sum += homeOffset_[axis][i];
            ++number;
        }
    }
    calibration.setCalculated(axis, std::lround(sum / number));
    refreshVerdicts();
}

bool Arm::homeFound(int axis) const {
    const AxisFlags flags = homeFlags(*line, device.revision, axis);
    int seen = 0;
    for (unsigned i = 0; i < 5; ++i)
        seen += (homeSeen_[axis] >> i) & 1u;
    return flags.number > 0 && seen == 2 * flags.number - 1;
}

void Arm::refreshVerdicts() {
    calibration.setOffsets(offsets_);
    for (int i = 0; i < kBase; ++i) {
        const bool differs =
            homeFound(i) && std::labs(calibration.GetEncoderOffsetsCalc(i) - offsets_[i]) > kHomeTolerance;
        calibration.setIncorrect(i, !calibrated_ || differs);
    }
}

int Arm::calibrationStatus() const {
    const bool sensors = line->calibration == CalibrationStyle::HomeSensors;
    const bool found = sensors && homeFound(0) && homeFound(1) && homeFound(2);
    const bool well = line->calibration == CalibrationStyle::InkWell && hand.docked();
    if (!calibrated_ && (found || well))
        return kCalibrationNeeded;
    int status = 0;
    for (int i = 0; i < kBase; ++i)
        if (calibration.IsEncoderOffsetsIncorrect(i))
            status |= 0x10 << i;
    return status;
}

void Arm::accept(const Offsets& offsets) {
    offsets_ = offsets;
    calibrated_ = true;
    Memory& kept = memory();
    kept.calibrated = true;
    kept.offsets = offsets;
    refreshVerdicts();
}

int Arm::updateCalibration() {
    if (faults.on(Fault::Unplugged))
        return device.noAnswer();
    Offsets offsets{};
    if (line->calibration == CalibrationStyle::HomeSensors) {
        for (int i = 0; i < kBase; ++i) {
            if (!homeFound(i))
                return -1;
            offsets[i] = calibration.GetEncoderOffsetsCalc(i);
        }
    } else if (line->calibration == CalibrationStyle::InkWell) {
        if (!hand.docked())
            return -1;
        for (int i = 0; i < kBase; ++i)
            offsets[i] = nominalCount(*line, line->dockPose, i) - counter(i);
    } else {
        return -1;
    }
    accept(offsets);
    return 0;
}

int Arm::resetCalibration() {
    if (faults.on(Fault::Unplugged))
        return device.noAnswer();
    if (line->calibration != CalibrationStyle::ResetPose || faults.on(Fault::RefusedReset))
        return -1;
    Offsets offsets{};
    for (int i = 0; i < kBase; ++i) {
        if (std::abs(motion.angle[i] - line->resetPose[i]) > kResetTolerance)
            return -1;
        const AxisFigures& a = line->base[i];
        offsets[i] = std::lround(a.encoderSign * a.countsPerRad * line->resetPose[i]) - counter(i);
    }
    accept(offsets);
    return 0;
}

void Arm::discardCalibration() {
    if (!line)
        return;
    Memory& kept = memory();
    kept.calibrated = false;
    ++kept.discards;
    fileDue_ = false;
    resting_ = 0.0;
    powerUp();
}

void Arm::restInWell(double seconds) {
    const bool rests = hand.docked() && motion.speed.head<3>().cwiseAbs().maxCoeff() < kStill;
    resting_ = rests ? resting_ + seconds : 0.0;
    // An arm with an ink well takes its zero by itself once it rests there.
    if (calibrated_ || resting_ < kRest || updateCalibration() != 0)
        return;
    fileDue_ = true;
}

bool Arm::takeFileDue() {
    const bool due = fileDue_;
    fileDue_ = false;
    return due;
}

int Arm::setPinchLimits(int minimum, int maximum) {
    if (device.grip == 0 || minimum >= maximum)
        return -1;
    memory().pinchLow = minimum;
    memory().pinchHigh = maximum;
    return 0;
}

bool Arm::pinchCalibrated() const {
    const auto kept = memories_.find(device.serial);
    return device.grip != 0 && kept != memories_.end() && kept->second.pinchLow < kept->second.pinchHigh;
}

}  // namespace arm
