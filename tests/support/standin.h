// A recording stand-in for the device library. Every operation goes to one scriptable object that keeps the
// calls in order and answers from plain fields. Single-threaded: a test calls the servo callback itself.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "device/tharlenio.h"

namespace standin {

/// One call of the library. `values` are its numbers in order: the handle, then scalars and arrays.
struct Call {
    std::string name;
    std::vector<double> values;
    std::string text;

    bool operator==(const Call& other) const {
        return name == other.name && values == other.values && text == other.text;
    }
};

/// A calibration that a test fills.
struct Calibration : CTHARLeNAutoCalibration {
    int discards = 0;
    void DiscardCalibration() override { ++discards; }
    void set(int axis, LONG known, LONG calculated, bool incorrect) {
        m_alOffsets[axis] = known;
        m_alOffsetsCalc[axis] = calculated;
        m_abIncorrect[axis] = incorrect;
    }
};

struct Device {
    // Answers
    std::vector<CTHARLeNDevice> fleet;
    std::set<int> unreadable;           ///< indices of records whose Read() fails
    std::map<std::string, int> result;  ///< of int operations by name; those not named give 0
    std::string initThrows;             ///< what() of init_tharlen's exception; empty for none
    std::string model = "THARLEN Orda", serial = "S-0001";
    float position[3] = {}, velocity[3] = {};
    float baseAngles[3] = {}, gimbalAngles[3] = {}, jointVelocities[6] = {};
    long encoders[6] = {}, lastDac[6] = {};
    float stylus[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
    int switches[2] = {};
    float maxForce = 3.3f, maxContinuousForce = 0.9f, maxStiffness = 0.5f, rate = 1000.0f;
    double pinch = 0;
    float celsius[6] = {}, normalizedTemperature[6] = {};  ///< of the motors
    bool singularJacobian = false;                         ///< else the identity
    float temperatures[4][6] = {};                         ///< by kind: winding, stator, shutdown, cooldown
    int calibrationStatus = 0;
    Calibration calibration;
    CIOConnection connection;

    // What the calls left
    std::vector<Call> calls;
    bool loopCreated = false, loopRunning = false, forcesEnabled = false;
    ServoCallback callback = nullptr;
    void* userData = nullptr;

    /// Runs before each operation answers.
    std::function<void(const Call&)> onCall;

    /// The calls with these names, in order.
    std::vector<Call> of(const std::set<std::string>& names) const;
    /// Their names alone.
    std::vector<std::string> namesOf(const std::set<std::string>& names) const;
    int count(const std::string& name) const;
};

Device& device();
/// A fresh library with no device.
void reset();
/// A record as the store would hold it.
CTHARLeNDevice record(const std::string& name, unsigned long modelType, unsigned long cardType = 7,
                      unsigned long highForce = 0);

}  // namespace standin
