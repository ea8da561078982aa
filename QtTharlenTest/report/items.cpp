// The items of a report, from the verdict record and the device.
#include "items.h"

#include <algorithm>

namespace report {

namespace {

Verdict verdictOf(bool pass) { return pass ? Verdict::pass : Verdict::fail; }

const char* interfaceName(ULONG cardType) {
    switch (cardType) {
        case kCardParallel1:
        case kCardParallel2:
            return "Parallel port";
        case kCard1394:
            return "1394 port";
        case kCardLan:
            return "LAN port";
        case kCardUsb:
            return "USB port";
        default:
            return "Unknown";
    }
}

void addLabel(Items& items, QLatin1String section, const char* text, const QString& value) {
    items.push_back({{section, {}}, ofSection, text, value});
}

void addHeading(Items& items, const Place& place, const char* text, Depth depth = ofSection) {
    items.push_back({place, depth, text});
}

void addCheck(Items& items, const Place& place, const char* text, bool pass, Counts counts, Depth depth = ofSection) {
    items.push_back({place, depth, text, {}, verdictOf(pass), counts});
}

/// Base axes are 0 to 2, those of the gimbal or the handle 3 to 5; both are shown as 1 to 3.
void addAxis(Items& items, const Place& place, int axis, bool pass, Counts counts, const QString& range = {}) {
    items.push_back({place, ofAxis, QString("Axis %1").arg(axis % 3 + 1), range, verdictOf(pass), counts});
}

/// What a section comes to, by the items ahead that count there.
void addSum(Items& items, const Place& place, const char* text, Depth depth) {
    const bool pass = std::none_of(items.begin(), items.end(), [&](const Item& item) {
        return item.place.section == place.section && item.counts == Counts::sectionAndOverall
               && item.verdict == Verdict::fail;
    });
    addCheck(items, place, text, pass, Counts::nowhere, depth);
}

void addDevice(Items& items, const Subject& subject) {
    addLabel(items, kDevice, "Haptic device tested", subject.device);
    addLabel(items, kDevice, "Serial Number", subject.serial);
    addLabel(items, kDevice, "Operator's name", subject.operatorName);
    addLabel(items, kDevice, "Test Date amd Time", subject.date);
    addLabel(items, kConfiguration, "Model", subject.model);
    addLabel(items, kConfiguration, "Interface", interfaceName(subject.cardType));
    if (subject.port)
        addLabel(items, kConfiguration, "Port number", QString("COM%1").arg(subject.channel));
    if (subject.sixDof)
        addLabel(items, kConfiguration, "Pinch Option", QString::number(subject.extraOption));
}

// Both inspections count into the sum.
void addEncoders(Items& items, const REPORTFIELDS& verdicts, const Subject& subject) {
    const auto addAxes = [&](const Place& place, const bool* passes, bool ranges) {
        for (int i = 0; i < (subject.gimbal ? 6 : 3); ++i) {
            if (i == 3)
                addHeading(items, place, "Stylus/gimbal encoder count ranges", atMargin);
            addAxis(items, place, i, passes[i], Counts::sectionAndOverall,
                    ranges ? countRange(verdicts.lMinEncoderVal[i], verdicts.lMaxEncoderVal[i]) : QString());
        }
    };
    if (subject.automatic) {
        addHeading(items, {kEncoders, kAutomatic}, "Base encoder count ranges");
        addAxes({kEncoders, kAutomatic}, verdicts.bEncoderPass, true);
    }
    addAxes({kEncoders, kManual}, verdicts.bManualEncoderPass, false);
    addSum(items, {kEncoders, kManual}, "All encoders appear to read correctly", atMargin);
}

// From here on the manual inspection alone counts into a sum.
void addSwitches(Items& items, const REPORTFIELDS& verdicts, const Subject& subject) {
    const auto add = [&](const Place& place, Counts counts, bool stylus, bool extra, bool inkwell) {
        addCheck(items, place, "Stylus switch functions properly", stylus, counts);
        if (subject.extraSwitches) {
            addCheck(items, place, "Extra switch functions properly", extra, counts);
            addCheck(items, place, "Inkwell switch functions properly", inkwell, counts);
        }
    };
    if (subject.automatic)
        add({kSwitches, kAutomatic}, Counts::overall, verdicts.bSwitchPass, verdicts.bExtraSwitchPass,
            verdicts.bInkwellPass);
    add({kSwitches, kManual}, Counts::sectionAndOverall, verdicts.bManualSwitchPass, verdicts.bManualExtraSwitchPass,
        verdicts.bManualInkwellPass);
    addSum(items, {kSwitches, kManual}, "All switches appear to read correctly", atMargin);
}

void addForces(Items& items, const REPORTFIELDS& verdicts, const Subject& subject) {
    const Place automatic{kForces, kAutomatic}, manual{kForces, kManual};
    const int axes = subject.sixDof ? 6 : 3;
    if (subject.automatic) {
        addHeading(items, automatic, "Motors");
        for (int i = 0; i < axes; ++i) {
            if (i >= 3)
                addHeading(items, automatic, "Handle motors");  // Meant: once for each axis
            addAxis(items, automatic, i, verdicts.bForcesPass[i], Counts::overall,
                    dacRange(verdicts.fMinForceVal[i], verdicts.fMaxForceVal[i]));
        }
    }
    addHeading(items, manual, "Motors");
    for (int i = 0; i < axes; ++i)
        addAxis(items, manual, i, verdicts.bManualForcesPass[i], Counts::sectionAndOverall);
    addSum(items, manual, "All motors appear to operate correctly", ofSection);
}

}  // namespace

QString countRange(long low, long high) {
    return QString::asprintf("%6ld to %6ld (range %5ld)", low, high, high - low);
}

QString dacRange(double low, double high) {
    return QString::asprintf("%6.3f DAC to %6.3f DAC (range %6.3f DAC)", low, high, high - low);
}

// Meant: calibration never counts, and the box on model lines with automatic inspections alone.
Items itemsOf(const REPORTFIELDS& verdicts, const Subject& subject) {
    Items items;
    addDevice(items, subject);
    addCheck(items, {kCalibration, {}}, "Device can be calibrated successfully", verdicts.bCalibrationPass,
             Counts::nowhere);
    addEncoders(items, verdicts, subject);
    if (subject.gimbal)
        addSwitches(items, verdicts, subject);
    addCheck(items, {kAmplifiers, {}}, "Amplifiers can cycle successfully without faults", verdicts.bAmplifierPass,
             Counts::overall, atMargin);
    addForces(items, verdicts, subject);
    addCheck(items, {kBoxTest, {}}, "All walls of the box can be penetrated", verdicts.bBoxPass,
             subject.automatic ? Counts::overall : Counts::nowhere);
    addCheck(items, {kOverallStatus, {}}, "All tests succeed", passes(items), Counts::nowhere);
    return items;
}

bool passes(const Items& items) {
    return std::none_of(items.begin(), items.end(), [](const Item& item) {
        return item.counts != Counts::nowhere && item.verdict == Verdict::fail;
    });
}

}  // namespace report
