// The text of a report: its headings and columns.
#include "printer.h"

#include "oneline.h"

namespace report {

namespace {

// Literals go into the stream as char strings, which it takes as Latin-1. Meant: the bullet reaches the file as the
// two characters of its UTF-8 form.
constexpr char kBullet[] = "· ";
constexpr int kBulletWidth = 2;
constexpr int kVerdictColumn = 56;

QString blanksTo(int column, int from) { return QString(qMax(0, column - from), ' '); }

/// To the verdicts' column. Meant: one more after what ends at a tab stop.
QString tabsFrom(int column) { return QString((kVerdictColumn + 8 - column) / 8, '\t'); }

QString heading(QLatin1String section) {
    if (section == kDevice || section == kConfiguration)
        return QString(section) + "\n";
    if (section == kCalibration || section == kEncoders)
        return QString(section) + blanksTo(kVerdictColumn, section.size()) + "PASS/FAIL";
    return QString(section) + ": ";
}

void printLabel(QTextStream& stream, const Item& item) {
    stream << "\t" << item.text << ":" << tabsFrom(8 + item.text.size() + 1) << oneLine(item.value);
}

/// Whatever has a bullet.
void printPoint(QTextStream& stream, const Item& item) {
    const int indent = 4 * item.depth;
    const bool checked = item.verdict != Verdict::none;
    const QString text = !checked || item.depth == ofAxis ? item.text + ":" : item.text;
    const int width = indent + kBulletWidth + text.size();
    stream << QString(indent, ' ') << kBullet << text;
    if (!checked)
        return;
    // Meant: tabs after an operator's axis and after the sums at the margin, and after a range the same blanks however
    // long it is.
    if (!item.value.isEmpty())
        stream << " " << item.value << (item.place.section == kEncoders ? "        " : " ");
    else if (item.place.inspection == kManual && item.depth != ofSection)
        stream << tabsFrom(width);
    else
        stream << blanksTo(kVerdictColumn, width);
    stream << passFail(item.verdict == Verdict::pass);
}

}  // namespace

QString passFail(bool pass) { return pass ? "    P" : "  * F *"; }

void printText(QTextStream& stream, const Items& items) {
    Place place{};
    for (const Item& item : items) {
        const bool sectionBegins = item.place.section != place.section;
        if (sectionBegins)
            stream << "\n";
        if (sectionBegins || item.place.inspection != place.inspection) {
            if (item.place.inspection.size() > 0)
                stream << item.place.inspection << ": \n";
            stream << heading(item.place.section) << "\n";
        }
        place = item.place;
        const bool label = place.section == kDevice || place.section == kConfiguration;
        label ? printLabel(stream, item) : printPoint(stream, item);
        stream << "\n";
    }
    stream << "\nCOMMENTS: \n    Enter any additional comments below\n";
}

}  // namespace report
