// What the detection matrix is about: the devices of the simulated fleet, one of each line and card that differs,
// and the tests of the application.
#pragma once

#include <QString>
#include <vector>

/// A set of tests, one bit each.
using Tests = unsigned;

enum class Test {
    Select,
    Calibrate,
    CalibrationDetails,
    ReadEncoder,
    CycleAmps,
    TestForces,
    TestFriction,
    TestCapstan,
    BoxTest,
    Servoloop,
    EncoderTest,
    GimbalTrace,
    Count
};
constexpr int kTests = static_cast<int>(Test::Count);
constexpr Tests bit(Test test) { return 1u << static_cast<unsigned>(test); }
constexpr Tests kAllTests = (1u << kTests) - 1;

/// The tab's own title, but "Gimbal Trace" for the recorder on "Encoder Test".
QString testName(Test test);
/// Test::Count when there is none of this name.
Test testNamed(const QString& name);

/// A set of model lines, one bit each.
using Lines = unsigned;
constexpr Lines kOrda = 1, kCorvale = 2, kNolva = 4, kStelmar = 8, kSixDof = 16;
constexpr Lines kEveryLine = 31;

/// One device of the fleet, and what the matrix has to know of its build.
struct Subject {
    const char* name;
    Lines line;   ///< one bit
    int buttons;  ///< on the stylus
    bool gimbal;
    bool flagComb;  ///< three home flags on X and Y

    /// The tests that the application offers for this line; a tab that no operator's list has is inserted.
    Tests tests() const;
    /// Whether this test is taken in manufacturing, where the program gives verdicts: wherever that flow leads.
    bool inManufacturing(Test test) const;
};

/// In the order of the fleet. Empty, with the reason in `why`, when the fleet is another one.
std::vector<Subject> subjects(QString& why);
