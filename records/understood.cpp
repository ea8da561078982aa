// Reading takes the lines apart; whether nothing was passed over is asked of the printer: the items that were read have
// to give the same text again.
#include "understood.h"

#include <QBuffer>
#include <QLocale>
#include <QRegularExpression>
#include <QTextCodec>
#include <algorithm>

#include "printer.h"

namespace records {
namespace {

using report::Item;
using report::Items;

const QString kEnd = QStringLiteral("\nCOMMENTS: \n    Enter any additional comments below\n");
const QString kBullet = QString::fromLatin1("· ");  // the two characters that its UTF-8 form has in Latin-1

const QLatin1String kSections[] = {report::kDevice,   report::kConfiguration, report::kCalibration,
                                   report::kEncoders, report::kSwitches,      report::kAmplifiers,
                                   report::kForces,   report::kBoxTest,       report::kOverallStatus};

QString printed(const Items& items) {
    QString text;
    QTextStream stream(&text);
    report::printText(stream, items);
    stream.flush();
    return text;
}

/// The line of one item alone, as it begins.
QString startOfLabel(const Item& item) { return printed({item}).section('\n', 3, 3); }

/// The section that a line is the heading of; null where it is none.
const QLatin1String* sectionOf(const QString& line) {
    for (const QLatin1String& section : kSections)
        if (line == section || line == section + ": "
            || (line.startsWith(section + "  ") && line.endsWith(" PASS/FAIL")))
            return &section;
    return nullptr;
}

/// Takes the lines apart. Blanks between columns are passed over here; printing again tells whether they were right.
class Lines {
public:
    explicit Lines(const QString& text) : lines_(text.split('\n')) {}

    bool take() {
        for (number_ = 0; number_ < lines_.size(); ++number_) {
            const QString& line = lines_[number_];
            if (line.isEmpty() || takeInspection(line) || takeSection(line) || takeLabel(line) || takePoint(line))
                continue;
            return false;
        }
        return true;
    }
    int number() const { return number_ + 1; }
    const Items& items() const { return items_; }

private:
    bool takeInspection(const QString& line) {
        for (const QLatin1String& inspection : {report::kAutomatic, report::kManual}) {
            if (line != inspection + ": ")
                continue;
            next_ = inspection;
            return true;
        }
        return false;
    }
    bool takeSection(const QString& line) {
        const QLatin1String* section = sectionOf(line);
        if (!section)
            return false;
        place_ = {*section, next_};
        next_ = {};
        return true;
    }
    bool takeLabel(const QString& line) {
        if (!line.startsWith('\t') || (place_.section != report::kDevice && place_.section != report::kConfiguration))
            return false;
        Item item{place_, report::ofSection, line.mid(1).section(':', 0, 0)};
        const QString start = startOfLabel(item);
        if (!line.startsWith(start))
            return false;
        item.value = line.mid(start.size());
        items_.push_back(item);
        return true;
    }
    bool takePoint(const QString& line) {
        static const QRegularExpression point("^( *)" + kBullet + "(.*?)([ \\t]*)(    P|  \\* F \\*)?$");
        static const QRegularExpression axis("^(Axis [1-3]):(?: +(-?.*\\)))?$");
        const QRegularExpressionMatch match = point.match(line);
        if (!match.hasMatch() || match.capturedLength(1) % 4 != 0 || match.capturedLength(1) > 8)
            return false;
        Item item{place_, static_cast<report::Depth>(match.capturedLength(1) / 4), match.captured(2)};
        const QString verdict = match.captured(4);
        if (verdict.isEmpty())
            item.text.chop(item.text.endsWith(':') ? 1 : 0);
        else
            item.verdict = verdict.endsWith('P') ? report::Verdict::pass : report::Verdict::fail;
        const QRegularExpressionMatch ofAxis = axis.match(item.text);
        if (ofAxis.hasMatch()) {
            item.text = ofAxis.captured(1);
            // The range's own blanks belong to it: a number has its width.
            if (ofAxis.capturedStart(2) >= 0)
                item.value = match.captured(2).mid(item.text.size() + 2);
        }
        items_.push_back(item);
        return true;
    }

    const QStringList lines_;
    int number_ = 0;
    report::Place place_{};
    QLatin1String next_;
    Items items_;
};

bool sameShape(const Items& a, const Items& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Item& x, const Item& y) {
        return x.place.section == y.place.section && x.place.inspection == y.place.inspection && x.depth == y.depth
               && x.text == y.text && (x.verdict == report::Verdict::none) == (y.verdict == report::Verdict::none);
    });
}

/// Gives each item what it counts for, by the kind of device whose report has these rows. False where none has.
bool findKind(Items& items) {
    for (int bits = 0; bits < 32; ++bits) {
        report::Subject subject;
        subject.gimbal = bits & 1;
        subject.sixDof = bits & 2;
        subject.automatic = bits & 4;
        subject.extraSwitches = bits & 8;
        subject.port = bits & 16;
        const Items kind = report::itemsOf(REPORTFIELDS{}, subject);
        if (!sameShape(items, kind))
            continue;
        for (std::size_t i = 0; i < items.size(); ++i)
            items[i].counts = kind[i].counts;
        return true;
    }
    return false;
}

bool isAxis(const Item& item) { return item.depth == report::ofAxis && item.text.startsWith("Axis "); }

/// 0 to 5, told by how many of the same inspection came ahead.
int axisAhead(const Items& items, std::size_t at) {
    int axis = 0;
    for (std::size_t i = 0; i < at; ++i)
        axis += isAxis(items[i]) && items[i].place.section == items[at].place.section
                && items[i].place.inspection == items[at].place.inspection;
    return axis;
}

bool takeSpan(const QString& range, Span& span) {
    static const QRegularExpression form(
        "^ *(-?[0-9.]+)(?: DAC)? to +(-?[0-9.]+)(?: DAC)? \\(range +([0-9.]+)(?: DAC)?\\)$");
    const QRegularExpressionMatch match = form.match(range);
    if (!match.hasMatch())
        return false;
    bool low = false, high = false, width = false;
    span = {match.captured(1).toDouble(&low), match.captured(2).toDouble(&high)};
    const double stated = match.captured(3).toDouble(&width);
    return low && high && width && std::abs(span.high - span.low - stated) < 0.0015;
}

QString firstDifference(const QString& given, const QString& again) {
    const QStringList a = given.split('\n'), b = again.split('\n');
    int i = 0;
    while (i < a.size() && i < b.size() && a[i] == b[i])
        ++i;
    return QString("line %1: it is not as a report has it").arg(i + 1);
}

QString valueOf(const Items& items, const char* text) {
    for (const Item& item : items)
        if (item.text == QLatin1String(text))
            return item.value;
    return {};
}

}  // namespace

QString quantityName(Quantity quantity, int axis) {
    return QString("%1-%2").arg(quantity == Quantity::Counts ? "counts" : "dac").arg(axis + 1);
}

bool quantityNamed(const QString& name, Quantity& quantity, int& axis) {
    for (const Quantity each : {Quantity::Counts, Quantity::Dac})
        for (int i = 0; i < kAxes; ++i)
            if (name == quantityName(each, i)) {
                quantity = each;
                axis = i;
                return true;
            }
    return false;
}

std::vector<QString> itemNames(const Items& items) {
    std::vector<QString> names;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const Item& item = items[i];
        QStringList words;
        if (item.verdict != report::Verdict::none) {
            words << item.place.section;
            if (item.place.inspection.size() > 0)
                words << (item.place.inspection == report::kManual ? "manual" : "automatic");
            if (isAxis(item)) {
                const bool counts = item.place.section == report::kEncoders;
                const int axis = axisAhead(items, i);
                words << QString("%1 axis %2").arg(axis < 3 ? "base" : counts ? "gimbal" : "handle").arg(axis % 3 + 1);
            } else {
                words << item.text;
            }
        }
        names.push_back(words.join('/'));
    }
    return names;
}

QStringList UnderstoodReport::failed() const {
    QStringList names;
    const std::vector<QString> all = itemNames(items);
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items[i].verdict == report::Verdict::fail && items[i].counts != report::Counts::nowhere)
            names << all[i];
    return names;
}

Reading readReport(const QByteArray& bytes) {
    QTextCodec::ConverterState state;
    const QString text = QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return {{}, "it is no UTF-8 text"};
    const int end = text.indexOf(kEnd);
    if (end < 0)
        return {{}, "it has no end"};
    UnderstoodReport report;
    report.comments = text.mid(end + kEnd.size());
    Lines lines(text.left(end));
    if (!lines.take())
        return {{}, QString("line %1: no report has such a line").arg(lines.number())};
    report.items = lines.items();
    const QString given = text.left(end + kEnd.size()), again = printed(report.items);
    if (given != again)
        return {{}, firstDifference(given, again)};
    if (!findKind(report.items))
        return {{}, "its rows are those of no device"};

    for (std::size_t i = 0; i < report.items.size(); ++i) {
        const Item& item = report.items[i];
        if (!isAxis(item) || item.value.isEmpty())
            continue;
        Span span;
        if (!takeSpan(item.value, span))
            return {{}, QString("\"%1\" is no range").arg(item.value.trimmed())};
        auto& spans = item.place.section == report::kEncoders ? report.counts : report.dac;
        spans[static_cast<std::size_t>(axisAhead(report.items, i))] = span;
    }
    report.pass = report.items.back().verdict == report::Verdict::pass;
    if (report.pass != report::passes(report.items))
        return {{}, "its overall verdict is not that of its rows"};
    report.device = valueOf(report.items, "Haptic device tested");
    report.serial = valueOf(report.items, "Serial Number");
    report.operatorName = valueOf(report.items, "Operator's name");
    report.date = valueOf(report.items, "Test Date amd Time");
    report.model = valueOf(report.items, "Model");
    report.interfaceName = valueOf(report.items, "Interface");
    for (const QLocale& locale : {QLocale(), QLocale::c()})
        if (!report.testedAt.isValid())
            report.testedAt = locale.toDateTime(report.date, "MMMM-dd-yyyy  hh-mm-ss-AP");
    return {report, {}};
}

}  // namespace records
