#include "subjects.h"

#include <QStringList>

#include "device/simulated/armcontrol.h"

namespace {

constexpr const char* kTestNames[kTests] = {"Select",     "Calibrate",   "Calibration Details", "Read Encoder",
                                            "Cycle Amps", "Test Forces", "Test Friction",       "Test Capstan",
                                            "Box Test",   "Servoloop",   "Encoder Test",        "Gimbal Trace"};

constexpr Subject kSubjects[] = {
    {"Default Device", kOrda, 2, true, false},
    {"Orda LAN", kOrda, 2, true, false},
    {"Orda High Force", kOrda, 2, true, false},
    {"Corvale USB", kCorvale, 1, true, false},
    {"Corvale LAN", kCorvale, 1, true, true},
    {"Corvale 1394", kCorvale, 1, true, false},
    {"Nolva USB", kNolva, 2, true, false},
    {"Stelmar 1.0", kStelmar, 1, true, false},
    {"Stelmar 1.0 Thimble", kStelmar, 0, false, false},
    {"Stelmar 1.5", kStelmar, 1, true, false},
    {"Stelmar 1.5 High Force", kStelmar, 1, true, false},
    {"Stelmar 3.0", kStelmar, 1, true, false},
    {"Stelmar 6DOF Thumbpad", kSixDof, 1, true, false},
    {"Stelmar 6DOF Scissor", kSixDof, 1, true, false},
};

}  // namespace

QString testName(Test test) { return kTestNames[static_cast<int>(test)]; }

Test testNamed(const QString& name) {
    int i = 0;
    while (i < kTests && name.compare(QLatin1String(kTestNames[i]), Qt::CaseInsensitive) != 0)
        ++i;
    return static_cast<Test>(i);
}

Tests Subject::tests() const {
    Tests tests = kAllTests;
    if (line != kOrda)
        tests &= ~(bit(Test::TestFriction) | bit(Test::TestCapstan));
    if (line != kCorvale)
        tests &= ~bit(Test::CalibrationDetails);
    if (line != kOrda && line != kCorvale)
        tests &= ~(bit(Test::EncoderTest) | bit(Test::GimbalTrace));
    return tests;
}

bool Subject::inManufacturing(Test test) const {
    if (test == Test::Select)
        return false;
    return line == kOrda || line == kCorvale
           || (line == kNolva && (test == Test::Calibrate || test == Test::ReadEncoder));
}

std::vector<Subject> subjects(QString& why) {
    std::vector<Subject> found;
    for (const std::string& name : armcontrol::fleetNames()) {
        for (const Subject& subject : kSubjects) {
            if (name == subject.name)
                found.push_back(subject);
        }
    }
    if (found.size() == std::size(kSubjects) && found.size() == armcontrol::fleetNames().size())
        return found;
    why = "The fleet is not the built-in one, which the matrix is made for.";
    return {};
}
