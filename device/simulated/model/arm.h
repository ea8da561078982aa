// The arm itself: one device of the fleet with its joints, motors, encoders, sensors and calibration, and
// the hand on it. It knows no threads: whoever owns it guards it, and moves it by tick().
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "calibration.h"
#include "dynamics.h"
#include "faults.h"
#include "fleetdevice.h"
#include "hand.h"
#include "heat.h"
#include "sensors.h"

namespace arm {

class Arm {
public:
    Arm();

    // --- Life cycle (arm.cpp) ---
    /// Puts this device on the table. The same device keeps its pose and heat; another one stands at rest.
    /// `filed` are the offsets of its calibration file, null without one; `bad` forgets what was remembered.
    void place(const FleetDevice& device, const Offsets* filed, bool bad);
    void reset();
    /// Moves time on by `seconds` (up to 0.1 or so).
    void tick(double seconds);
    int status() const;  ///< of a refresh: 0 or a code

    // --- Motors (armmotors.cpp) ---
    int switchAmplifiers(bool on);  ///< 0 or a code
    bool amplifiersFollowed() const { return wanted_ == powered_; }
    /// They have had longer than any that are sound take: whoever asks once more need not wait for them again.
    bool amplifiersOverdue() const;
    void amplifiersFollowAtOnce();
    bool amplifiersEnabled() const;
    bool amplifiersPowered() const { return powered_; }
    int deviceFault() const;
    int commandDac(const Vector6& dac);      ///< 0 or kMaxForceExceeded
    int commandForce(const Vector6& force);  ///< N and N mm; 0 or kMaxForceExceeded
    const Vector6& dac() const { return dac_; }
    void setVelocityCheck(bool on) { velocityCheck_ = on; }
    int setThreshold(int kind, const float celsius[kAxes]);
    Vector3 motorForce() const;  ///< N at the endpoint

    // --- Encoders and switches (armsensing.cpp) ---
    long encoder(int axis) const;  ///< counts, as the device reports them
    Vector6 angles() const;        ///< rad, by the encoders
    Vector6 speeds() const;        ///< rad/s, by the encoders
    Vector3 position() const;      ///< mm, by the encoders
    Vector3 velocity() const;      ///< mm/s, by the encoders
    int stylusSwitch(int button) const;
    bool presence() const { return hand.holding() || presenceSet; }
    int inkwellSwitch() const;
    double pinchReading() const;
    void pressSwitch(int button, bool pressed);
    bool switchPressed(int button) const { return pressed_[button]; }

    // --- Calibration (armcalibration.cpp) ---
    int calibrationStatus() const;
    bool calibrated() const { return calibrated_; }
    int updateCalibration();
    int resetCalibration();
    void discardCalibration();
    /// True once after the arm calibrated itself in the ink well: the file is due.
    bool takeFileDue();
    Offsets offsets() const { return offsets_; }
    int setPinchLimits(int minimum, int maximum);
    bool pinchCalibrated() const;

    FleetDevice device;
    const LineFigures* line = nullptr;
    Motion motion;
    Wear wear;
    Hand hand;
    Heat heat;
    FaultSet faults;
    double heatPace = 1.0;
    bool presenceSet = false;
    double pinch = 0.0;                                              ///< 0 open, 1 closed
    Vector6 shutdown = Vector6::Zero(), cooldown = Vector6::Zero();  ///< degrees Celsius; 0 or less is never
    double time = 0.0;                                               ///< s
    CIOConnection connection;
    LiveCalibration calibration;

private:
    /// What outlives closing a device, until reset().
    struct Memory {
        bool calibrated = false;
        Offsets offsets{};
        unsigned discards = 0;
        int pinchLow = 0, pinchHigh = 0;
    };

    void stand();
    void applyWear();
    void substep(double h, const Vector6& torque);
    void protect();
    void warm(double seconds);
    void followAmplifiers(double seconds);
    void trip();
    Vector6 motorTorques() const;
    double slippingCounts(int axis, double seconds) const;
    void readEncoders(double seconds);
    double reading(int axis) const;
    long counter(int axis) const { return std::lround(counted_[axis]) - (axis < kBase ? powerUp_[axis] : 0); }
    void refreshImage();
    void powerUp();
    void watchHome(double h);
    void noteHome(int axis, const Passage& passage);
    bool homeFound(int axis) const;
    void restInWell(double seconds);
    void accept(const Offsets& offsets);
    void refreshVerdicts();
    Memory& memory() { return memories_[device.serial]; }

    std::map<std::string, Memory> memories_;
    Vector6 slipped_ = Vector6::Zero(), drifted_ = Vector6::Zero();  // counts
    Vector6 counted_ = Vector6::Zero();  // counts from the calibrated zero, as the encoders see them
    Vector6 speed_ = Vector6::Zero();    // rad/s, by the encoders
    std::array<bool, kAxes> dead_{};
    std::array<long, kBase> powerUp_{};  // counts that the hardware counters lie below the calibrated zero
    Offsets offsets_{};
    bool calibrated_ = false;

    std::array<HomeSensor, kBase> home_;
    std::array<std::array<double, 5>, kBase> homeOffset_{};  // counts, of each flag and gap that was passed
    std::array<unsigned, kBase> homeSeen_{};                 // bits over the same
    double resting_ = 0.0;                                   // s in the ink well
    bool fileDue_ = false;

    Vector6 dac_ = Vector6::Zero();
    bool wanted_ = false, powered_ = false;
    double followIn_ = 0.0;  // s
    bool hot_ = false, tooFast_ = false, velocityCheck_ = true;
    std::array<bool, kBase> axisTooFast_{};
    std::array<bool, 2> pressed_{};
    std::array<double, 2> changedAt_{-1e9, -1e9};  // s
    std::uint8_t timer_ = 0, watchdog_ = 0;
};

}  // namespace arm
