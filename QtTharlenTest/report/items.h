// What a test report says, apart from how it looks: its items in their order, with every verdict formed.
#pragma once

#include <QString>
#include <vector>

#include "tharlenDefines.h"

namespace report {

// Words of a report, for those who print one and for those who read it.
inline const QLatin1String kDevice("Haptic Device TEST REPORT");
inline const QLatin1String kConfiguration("CONFIGURATION");
inline const QLatin1String kCalibration("CALIBRATION");
inline const QLatin1String kEncoders("ENCODERS");
inline const QLatin1String kSwitches("SWITCHES");
inline const QLatin1String kAmplifiers("AMPLIFIERS");
inline const QLatin1String kForces("FORCES");
inline const QLatin1String kBoxTest("BOX TEST");
inline const QLatin1String kOverallStatus("OVERALL STATUS");

inline const QLatin1String kAutomatic("AUTOMATIC INSPECTION");
inline const QLatin1String kManual("MANUAL INSPECTION");

/// Where an item stands. Only some sections are divided by inspections.
struct Place {
    QLatin1String section;
    QLatin1String inspection;
};

enum class Verdict { none, fail, pass };

/// Which verdicts a failed item takes along.
enum class Counts { nowhere, overall, sectionAndOverall };

/// How deep an item stands in its section. Meant: uneven, items of one kind stand at different depths.
enum Depth { atMargin, ofSection, ofAxis };

struct Item {
    Place place;
    Depth depth = ofSection;
    QString text;
    QString value{};  ///< of a label, or the range of an axis; as it was found, control characters and all
    Verdict verdict = Verdict::none;
    Counts counts = Counts::nowhere;
};

using Items = std::vector<Item>;

/// What a report is about, beside the record of verdicts.
struct Subject {
    QString device, serial, operatorName, date, model;
    ULONG cardType = 0;          ///< of the entry in the library's store; 0 where none is selected
    ULONG channel = 0;           ///< its port's number
    ULONG extraOption = 0;       ///< its pinch grip
    bool gimbal = false;         ///< has gimbal encoders and switches
    bool sixDof = false;         ///< has handle motors
    bool automatic = false;      ///< of a model line with automatic inspections, whose box counts
    bool extraSwitches = false;  ///< has an extra switch and one in the ink well
    bool port = false;           ///< is on a numbered port
};

/// A range as an item has it.
QString countRange(long low, long high);
QString dacRange(double low, double high);

Items itemsOf(const REPORTFIELDS& verdicts, const Subject& subject);

/// The overall verdict: nothing that counts has failed.
bool passes(const Items& items);

}  // namespace report
