// Which test is meant to find which fault, and why a test cannot see the others: the one table that the detection
// matrix is held against.
#pragma once

#include <QString>
#include <initializer_list>
#include <vector>

#include "subjects.h"

/// Where a fault sits. A part decides which axes it may be set on, and which devices have it at all.
enum class Part {
    Device,       ///< no axis
    Base,         ///< one of the three base axes
    Gimbal,       ///< one of the gimbal's axes
    GimbalMotor,  ///< the same, where they have motors
    FirstButton,
    SecondButton,
    HomeFlags,  ///< of one base axis, with home sensors
    HomeFlagsXY,
    FlagComb,   ///< of X or Y, with three home flags
    ResetPose,  ///< of a device that is calibrated in it
    Record,     ///< the device's own record: the axis is its place in the fleet
};

/// A fault as it is set: name and amount as in docs/arm-control.md.
struct FaultCase {
    const char* fault;
    double amount;
    const char* unit;  ///< empty where the fault has no amount
    Part part;

    QString name() const;
    bool exists(const Subject& subject) const;
    /// The axes that it may be set on; -1 where it has none.
    std::vector<int> axes(int placeInFleet) const;
};

/// Every case, in the order of the fault table.
const std::vector<FaultCase>& faultCases();
/// Names of faults of the simulated arm that no case has. Manners of its library are none.
QStringList faultsWithoutCase();

/// What is expected of one pair.
struct Expectation {
    bool meant = false;            ///< the test is there to find it
    const char* words = nullptr;   ///< the program itself has to say this; null where any finding will do
    const char* reason = nullptr;  ///< why it is not visible to the test by design; null where it is to be found
};

Expectation expectation(const FaultCase& faultCase, const Subject& subject, Test test);
