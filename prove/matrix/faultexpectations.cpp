#include "faultexpectations.h"

#include <QStringList>
#include <algorithm>

#include "device/simulated/armcontrol.h"

namespace {

// --- Reasons -----------------------------------------------------------------------------------------

constexpr Tests kSelect = bit(Test::Select), kCalibrate = bit(Test::Calibrate),
                kDetails = bit(Test::CalibrationDetails), kRead = bit(Test::ReadEncoder), kAmps = bit(Test::CycleAmps),
                kForces = bit(Test::TestForces), kFriction = bit(Test::TestFriction), kCapstan = bit(Test::TestCapstan),
                kBox = bit(Test::BoxTest), kRate = bit(Test::Servoloop), kLoop = bit(Test::EncoderTest),
                kTrace = bit(Test::GimbalTrace);

/// Why a set of tests cannot see a fault.
struct Blind {
    Tests tests;
    const char* reason;
};
/// What the program has to say in a set of tests, whose verdicts alone would read as if the arm had been measured.
using Said = Blind;
using Blinds = std::vector<Blind>;

constexpr const char* kUnread = "the tab opens the device and reads none of this";
constexpr const char* kNoCounts = "the zero is taken where the arm stands; the tab shows no counts";
constexpr const char* kNoForce = "no motor is driven there";
constexpr const char* kFaultLine =
    "the tab reads the amplifiers' fault line and whether they come on, and nothing else";
constexpr const char* kTicksOnly = "ticks are counted; the arm itself has no part in it";
constexpr const char* kGimbalAlone = "the gimbal alone is recorded";
constexpr const char* kBaseAlone = "only the base axes take part";
constexpr const char* kNoButtons = "the buttons take no part";
constexpr const char* kNoFlags = "the home flags take no part";
constexpr const char* kTooLight = "too light for a hand, and this line has no friction test";
constexpr const char* kNotOpened = "it matters while a device is being opened, and this one is open";
constexpr const char* kWalls = "in a wall's push the friction of some axes shows little";
constexpr const char* kClosedLoop = "the closed loop makes up for most of it";
constexpr const char* kNoTicks = "the arm is judged, not the times of the ticks";

// How the program's words begin.
constexpr const char* kNoAnswer = "Note: the device d";
constexpr const char* kNotOn = "Note: the amplifiers ";
constexpr const char* kNoMovement = "Note: no movement was seen of ";

// What holds for every fault of a kind, after what its own row says.
const Blinds kOfBase{{kSelect, kUnread}, {kAmps, kFaultLine}, {kRate, kTicksOnly}, {kTrace, kGimbalAlone}};
const Blinds kOfMotors{{kSelect | kCalibrate | kDetails | kRead, kNoForce},
                       {kAmps, kFaultLine},
                       {kRate, kTicksOnly},
                       {kTrace, kGimbalAlone}};
const Blinds kOfGimbal{{kSelect, kUnread},
                       {kAmps, kFaultLine},
                       {kRate, kTicksOnly},
                       {kCalibrate | kDetails | kForces | kFriction | kCapstan | kBox | kLoop, kBaseAlone}};
const Blinds kOfButtons{{kAllTests & ~kRead, kNoButtons}};
const Blinds kOfFlags{{kAllTests & ~(kCalibrate | kDetails), kNoFlags}};
const Blinds kOfTicks{{kAllTests & ~kRate, kNoTicks}};
const Blinds kOfOpening{{kAllTests & ~kSelect, kNotOpened}};
const Blinds kNone{};

// --- The table ---------------------------------------------------------------------------------------

/// One row: the tests meant to find the case on these lines, and why others cannot. A test that is in neither has
/// to find it all the same. Of several rows of one case the first that names the line holds.
struct Row {
    FaultCase faultCase;
    Lines lines;
    Tests meant;
    Blinds own;
    const Blinds* kind;
    std::vector<Said> said = {};
};

// clang-format off
const std::vector<Row>& table() {
    static const std::vector<Row> rows{
    {{"unplugged", 1, "", Part::Device}, kEveryLine, kAllTests, {}, &kNone,
     {{kFriction | kCapstan | kLoop, kNoAnswer}}},
    {{"amplifier", 1, "", Part::Device}, kEveryLine, kAmps | kFriction | kCapstan | kLoop, {}, &kNone,
     {{kFriction | kCapstan | kLoop, kNotOn}}},
    {{"no-amplifier-follow", 1, "", Part::Device}, kEveryLine, kAmps | kForces | kFriction | kCapstan | kLoop, {},
     &kOfMotors, {{kAmps | kFriction | kCapstan | kLoop, kNotOn}}},
    {{"status", -32, "", Part::Device}, kEveryLine, kAllTests, {}, &kNone,
     {{kAmps | kFriction | kCapstan | kLoop, kNoAnswer}}},
    {{"overspeed", 1, "", Part::Base}, kEveryLine, kDetails,
     {{kCalibrate, "the speed check is off while the arm is calibrated"}}, &kNone},

    {{"hot", 95, "°C", Part::Base}, kEveryLine, kForces | kLoop, {}, &kNone},
    {{"hot", 80, "°C", Part::Base}, kEveryLine, kForces | kLoop,
     {{kAllTests & ~(kForces | kLoop), "below the warm limit nothing is said, and the tab shows no temperature"}},
     &kNone},
    {{"hot", 95, "°C", Part::GimbalMotor}, kEveryLine, kForces, {}, &kNone},

    {{"dead-encoder", 1, "", Part::Base}, kEveryLine, kRead, {{kCalibrate, kNoCounts}}, &kOfBase,
     {{kFriction | kCapstan, kNoMovement}}},
    {{"dead-encoder", 1, "", Part::Gimbal}, kEveryLine, kRead | kTrace, {}, &kOfGimbal},

    {{"drifting-encoder", 60, "/min", Part::Base}, kEveryLine, kRead | kLoop,
     {{kCalibrate, kNoCounts}, {kForces, "counts are shown once a second, beside axes that move"},
      {kFriction | kCapstan, "it adds a few counts in the seconds of a run, below the limit"},
      {kBox, "the cursor strays by less than the eye sees"}}, &kOfBase},
    {{"drifting-encoder", 15, "/min", Part::Base}, kOrda | kCorvale, kLoop,
     {{kCalibrate, kNoCounts}, {kRead | kDetails, "a count in the seconds that an axis is held still"},
      {kForces | kFriction | kCapstan | kBox, "a count or two in the time of a run"}}, &kOfBase},
    {{"drifting-encoder", 15, "/min", Part::Base}, kNolva | kStelmar | kSixDof, 0,
     {{kCalibrate, kNoCounts}, {kRead, "a count in the seconds that an axis is held still; this line has no long run"},
      {kForces | kBox, "a count or two in the time of a run"}}, &kOfBase},
    {{"drifting-encoder", 60, "/min", Part::Gimbal}, kEveryLine, kRead | kTrace, {}, &kOfGimbal},

    {{"short-travel", 0.13, "of travel", Part::Base}, kEveryLine, kRead,
     {{kCalibrate | kDetails, "flags, ink well and reset pose lie clear of the stops"},
      {kForces | kFriction | kBox, "the stops are not touched there"}}, &kOfBase},
    {{"short-travel", 0.09, "of travel", Part::Base}, kEveryLine, kRead,
     {{kCalibrate | kDetails, "flags, ink well and reset pose lie clear of the stops"},
      {kForces | kFriction | kBox, "the stops are not touched there"},
      {kCapstan, "the stops are compared with themselves"}}, &kOfBase},
    {{"short-travel", 0.12, "of travel", Part::Gimbal}, kEveryLine, kRead | kTrace, {}, &kOfGimbal},

    {{"sticky-bearing", 8, "times", Part::Base}, kOrda, kFriction | kLoop,
     {{kCalibrate, "the hand moves the arm and nothing measures it"},
      {kCapstan, "the drive to the stops is stronger than this on most axes"}}, &kOfBase},
    {{"sticky-bearing", 8, "times", Part::Base}, kCorvale, kRead | kLoop,
     {{kCalibrate | kDetails, "the hand moves the arm and nothing measures it"}, {kBox, kWalls},
      {kForces, "it takes less than a third from a push, which is near what a hand tells"}}, &kOfBase},
    {{"sticky-bearing", 8, "times", Part::Base}, kEveryLine, kRead,
     {{kCalibrate, "the hand moves the arm and nothing measures it"}, {kBox, kWalls}}, &kOfBase},
    {{"sticky-bearing", 1.8, "times", Part::Base}, kOrda, kFriction,
     {{kCalibrate, "the hand moves the arm and nothing measures it"}, {kBox, kWalls},
      {kRead | kForces, "too light for a hand"}, {kCapstan, "the drive to the stops is much stronger"},
      {kLoop, kClosedLoop}}, &kOfBase},
    {{"sticky-bearing", 1.8, "times", Part::Base}, kEveryLine, 0,
     {{kCalibrate | kDetails | kRead | kForces | kBox, kTooLight}, {kLoop, kClosedLoop}}, &kOfBase},
    {{"sticky-bearing", 8, "times", Part::Gimbal}, kSixDof, kForces,
     {{kRead | kTrace, "no read-out of a gimbal's force; the hand is hardly held up"}}, &kOfGimbal},
    {{"sticky-bearing", 8, "times", Part::Gimbal}, kEveryLine, 0,
     {{kRead | kTrace, "the friction of a gimbal without motors stays below what fingers feel"}}, &kOfGimbal},

    {{"slipping-capstan", 300, "counts/s", Part::Base}, kOrda, kCapstan,
     {{kFriction | kForces | kLoop | kBox, "no motor pushes as hard as the slack cable holds"}}, &kOfMotors},
    {{"slipping-capstan", 300, "counts/s", Part::Base}, kEveryLine, 0,
     {{kForces | kLoop | kBox, "no motor pushes as hard as the slack cable holds; this line has no capstan test"}},
     &kOfMotors},
    {{"slipping-capstan", 5, "counts/s", Part::Base}, kOrda, kCapstan,
     {{kFriction | kForces | kLoop | kBox, "no motor pushes as hard as the slack cable holds"}}, &kOfMotors},
    {{"slipping-capstan", 5, "counts/s", Part::Base}, kEveryLine, 0,
     {{kForces | kLoop | kBox, "no motor pushes as hard as the slack cable holds; this line has no capstan test"}},
     &kOfMotors},

    {{"weak-motor", 0.5, "left", Part::Base}, kEveryLine, kForces,
     {{kCapstan, "the drive to the stops is stronger than needed"}, {kLoop, kClosedLoop},
      {kBox, "two axes share the push of the walls of Y and of Z"}}, &kOfMotors},
    {{"weak-motor", 0.6, "left", Part::Base}, kEveryLine, kForces,
     {{kCapstan, "the drive to the stops is stronger than needed"}, {kLoop, kClosedLoop},
      {kBox, "two axes share the push of the walls of Y and of Z"}}, &kOfMotors},
    {{"weak-motor", 0, "left", Part::Base}, kEveryLine, kForces, {}, &kOfMotors,
     {{kFriction | kCapstan, kNoMovement}}},
    {{"weak-motor", 0.5, "left", Part::GimbalMotor}, kEveryLine, kForces, {{kRead, kNoForce}}, &kOfGimbal},
    {{"reversed-motor", 1, "", Part::Base}, kEveryLine, kForces,
     {{kFriction, "an axis may move either way"}}, &kOfMotors},
    {{"reversed-motor", 1, "", Part::GimbalMotor}, kEveryLine, kForces, {{kRead, kNoForce}}, &kOfGimbal},

    {{"stuck-switch", 1, "pressed", Part::FirstButton}, kEveryLine, kRead, {}, &kOfButtons},
    {{"stuck-switch", 0, "released", Part::FirstButton}, kEveryLine, kRead, {}, &kOfButtons},
    {{"stuck-switch", 1, "pressed", Part::SecondButton}, kEveryLine, kRead, {}, &kOfButtons},
    {{"bouncing-switch", 40, "ms", Part::FirstButton}, kEveryLine, kRead, {}, &kOfButtons},
    {{"bouncing-switch", 10, "ms", Part::FirstButton}, kEveryLine, 0,
     {{kRead, "shorter than the 20 ms between two looks at the button"}}, &kOfButtons},

    {{"missing-flag", 1, "", Part::HomeFlags}, kEveryLine, kCalibrate | kDetails, {}, &kOfFlags},
    {{"wide-flag", 240, "counts", Part::HomeFlags}, kEveryLine, kDetails,
     {{kCalibrate, "a flag of any width calibrates; widths are judged in Calibration Details"}}, &kOfFlags},
    {{"wide-flag", 110, "counts", Part::HomeFlagsXY}, kEveryLine, kDetails,
     {{kCalibrate, "a flag of any width calibrates; widths are judged in Calibration Details"}}, &kOfFlags},
    {{"narrow-gap", 150, "counts", Part::FlagComb}, kEveryLine, kDetails,
     {{kCalibrate, "gaps of any width calibrate; widths are judged in Calibration Details"}}, &kOfFlags},
    {{"narrow-gap", 110, "counts", Part::FlagComb}, kEveryLine, kDetails,
     {{kCalibrate, "gaps of any width calibrate; widths are judged in Calibration Details"}}, &kOfFlags},
    {{"refused-reset", 1, "", Part::ResetPose}, kEveryLine, kCalibrate,
     {{kAllTests & ~kCalibrate, "no reset takes place there"}}, &kNone},

    {{"jitter", 300, "µs", Part::Device}, kEveryLine, kRate, {}, &kOfTicks},
    {{"jitter", 100, "µs", Part::Device}, kEveryLine, kRate, {}, &kOfTicks},
    {{"stall", 50, "ms", Part::Device}, kEveryLine, kRate, {}, &kOfTicks},
    {{"stall", 5, "ms", Part::Device}, kEveryLine, kRate, {}, &kOfTicks},
    {{"dropped-ticks", 10, "%", Part::Device}, kEveryLine, kRate, {}, &kOfTicks},
    {{"dropped-ticks", 1, "%", Part::Device}, kEveryLine, kRate, {}, &kOfTicks},

    {{"init-fails", 1, "", Part::Device}, kEveryLine, kSelect, {}, &kOfOpening},
    {{"init-throws", 1, "", Part::Device}, kEveryLine, kSelect, {}, &kOfOpening},
    {{"no-loop", 1, "", Part::Device}, kEveryLine, kSelect, {}, &kOfOpening},
    {{"read-fails", 1, "", Part::Record}, kEveryLine, kSelect,
     {{kAllTests & ~kSelect, "the record is read as the window starts, and the device is open"}}, &kNone},
    };
    return rows;
}
// clang-format on

bool sameCase(const FaultCase& a, const FaultCase& b) { return a.name() == b.name(); }

const char* reasonIn(const Blinds& blinds, Test test) {
    for (const Blind& blind : blinds) {
        if (blind.tests & bit(test))
            return blind.reason;
    }
    return nullptr;
}

}  // namespace

QString FaultCase::name() const {
    QString text = QLatin1String(fault);
    if (*unit)
        text += QString(" %1 %2").arg(amount).arg(QString::fromUtf8(unit));
    if (part == Part::Gimbal || part == Part::GimbalMotor)
        text += ", gimbal";
    if (part == Part::SecondButton)
        text += ", button 2";
    return text;
}

bool FaultCase::exists(const Subject& subject) const {
    switch (part) {
        case Part::Gimbal:
            return subject.gimbal;
        case Part::GimbalMotor:
            return subject.line == kSixDof;
        case Part::FirstButton:
            return subject.buttons > 0;
        case Part::SecondButton:
            return subject.buttons > 1;
        case Part::HomeFlags:
        case Part::HomeFlagsXY:
            return subject.line == kCorvale;
        case Part::FlagComb:
            return subject.flagComb;
        case Part::ResetPose:
            return subject.line == kStelmar || subject.line == kSixDof;
        default:
            return true;
    }
}

std::vector<int> FaultCase::axes(int placeInFleet) const {
    switch (part) {
        case Part::Base:
        case Part::HomeFlags:
            return {0, 1, 2};
        case Part::HomeFlagsXY:
        case Part::FlagComb:
            return {0, 1};
        case Part::Gimbal:
        case Part::GimbalMotor:
            return {3, 4, 5};
        case Part::FirstButton:
            return {0};
        case Part::SecondButton:
            return {1};
        case Part::Record:
            return {placeInFleet};
        default:
            return {-1};
    }
}

const std::vector<FaultCase>& faultCases() {
    static const std::vector<FaultCase> cases = [] {
        std::vector<FaultCase> all;
        for (const Row& row : table()) {
            if (all.empty() || !sameCase(all.back(), row.faultCase))
                all.push_back(row.faultCase);
        }
        return all;
    }();
    return cases;
}

QStringList faultsWithoutCase() {
    QStringList missing;
    const auto manners = armcontrol::mannerNames();
    for (const std::string& name : armcontrol::faultNames()) {
        bool known = std::find(manners.begin(), manners.end(), name) != manners.end();
        for (const FaultCase& faultCase : faultCases())
            known = known || name == faultCase.fault;
        if (!known)
            missing << QString::fromStdString(name);
    }
    return missing;
}

Expectation expectation(const FaultCase& faultCase, const Subject& subject, Test test) {
    for (const Row& row : table()) {
        if (!sameCase(row.faultCase, faultCase) || !(row.lines & subject.line))
            continue;
        const char* words = reasonIn(row.said, test);
        if (row.meant & bit(test))
            return {true, words, nullptr};
        const char* reason = reasonIn(row.own, test);
        return {false, words, reason ? reason : reasonIn(*row.kind, test)};
    }
    return {};
}
