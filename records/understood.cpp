// A report is one of a few forms with its blanks filled in. The forms are printed by the application's own printer, one
// for each kind of device, so that what is read would be printed again byte for byte.
#include "understood.h"

#include <QLocale>
#include <QTextCodec>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "device/foreign.h"
#include "oneline.h"
#include "printer.h"

namespace records {
namespace {

using report::Item;
using report::Items;
using report::Verdict;

const QByteArray kPass = QByteArrayLiteral("    P"), kFail = QByteArrayLiteral("  * F *");
const QString kRangeBlank = QStringLiteral("?");

bool isAxis(const Item& item) { return item.depth == report::ofAxis && item.text.startsWith("Axis "); }

/// 0 to 5, told by how many of the same inspection came ahead.
int axisAhead(const Items& items, std::size_t at) {
    int axis = 0;
    for (std::size_t i = 0; i < at; ++i)
        axis += isAxis(items[i]) && items[i].place.section == items[at].place.section
                && items[i].place.inspection == items[at].place.inspection;
    return axis;
}

/// A line of a form.
struct FormLine {
    enum class Blank { None, Label, Verdict, RangeAndVerdict };
    Blank blank = Blank::None;
    QByteArray before, between;  ///< of the blank; of the range and the verdict
    std::size_t item = 0;        ///< whose value or verdict fills it
};

struct Form {
    Items items;            ///< with neither values nor what was found
    std::vector<int> axes;  ///< 0 to 5, of the items; -1 for those of no axis
    std::vector<FormLine> lines;
};

bool isLabel(const Item& item) {
    return item.place.section == report::kDevice || item.place.section == report::kConfiguration;
}

FormLine lineOf(const QByteArray& printed) {
    FormLine line;
    line.before = printed;
    if (printed.startsWith('\t')) {
        line.blank = FormLine::Blank::Label;
    } else if (printed.endsWith(kPass)) {
        const int range = printed.indexOf(kRangeBlank.toLatin1());
        line.blank = range < 0 ? FormLine::Blank::Verdict : FormLine::Blank::RangeAndVerdict;
        line.before = range < 0 ? printed.chopped(kPass.size()) : printed.left(range);
        line.between = range < 0 ? QByteArray() : printed.mid(range + 1).chopped(kPass.size());
    }
    return line;
}

QString nameOf(const Item& item, int axis) {
    if (item.verdict == Verdict::none)
        return {};
    QStringList words{item.place.section};
    if (item.place.inspection.size() > 0)
        words << (item.place.inspection == report::kManual ? "manual" : "automatic");
    if (axis < 0)
        words << item.text;
    else
        words << QString("%1 axis %2")
                     .arg(axis < 3                                  ? "base"
                          : item.place.section == report::kEncoders ? "gimbal"
                                                                    : "handle")
                     .arg(axis % 3 + 1);
    return words.join('/');
}

Form formOf(Items items) {
    for (Item& item : items) {
        if (isLabel(item))
            item.value.clear();
        else if (!item.value.isEmpty())
            item.value = kRangeBlank;
        if (item.verdict != Verdict::none)
            item.verdict = Verdict::pass;
    }
    QByteArray text;
    QTextStream stream(&text);
    stream.setCodec("UTF-8");
    report::printText(stream, items);
    stream.flush();
    Form form;
    for (std::size_t i = 0; i < items.size(); ++i)
        form.axes.push_back(isAxis(items[i]) ? axisAhead(items, i) : -1);
    form.items = std::move(items);
    std::size_t next = 0;
    for (const QByteArray& printed : text.chopped(1).split('\n')) {
        FormLine line = lineOf(printed);
        if (line.blank != FormLine::Blank::None) {
            while (!isLabel(form.items[next]) && form.items[next].verdict == Verdict::none)
                ++next;
            line.item = next++;
        }
        form.lines.push_back(line);
    }
    return form;
}

std::vector<Form> madeForms() {
    std::vector<Form> made;
    for (int bits = 0; bits < 32; ++bits) {
        report::Subject subject;
        subject.gimbal = bits & 1;
        subject.sixDof = bits & 2;
        subject.automatic = bits & 4;
        subject.extraSwitches = bits & 8;
        subject.port = bits & 16;
        made.push_back(formOf(report::itemsOf(REPORTFIELDS{}, subject)));
    }
    return made;
}

/// Of this thread: of texts that threads share they would count the references together, and wait for each other.
const std::vector<Form>& forms() {
    static thread_local const std::vector<Form> all = madeForms();
    return all;
}

/// Of the items of a form of this thread; they outlive it, see UnderstoodReport.
const std::vector<QString>& namesOf(const Form& form) {
    static const std::vector<std::vector<QString>> all = [] {
        std::vector<std::vector<QString>> named;
        for (const Form& each : forms()) {
            std::vector<QString>& names = named.emplace_back();
            for (std::size_t i = 0; i < each.items.size(); ++i)
                names.push_back(nameOf(each.items[i], each.axes[i]));
        }
        return named;
    }();
    return all[static_cast<std::size_t>(&form - forms().data())];
}

/// A part of the bytes.
struct Part {
    const char* begin = nullptr;
    const char* end = nullptr;

    bool take(const QByteArray& what) {
        if (end - begin < what.size()
            || std::memcmp(begin, what.constData(), static_cast<std::size_t>(what.size())) != 0)
            return false;
        begin += what.size();
        return true;
    }
    QByteArray bytes() const { return {begin, static_cast<int>(end - begin)}; }
};

/// What a form's blanks hold, by item.
struct Filled {
    std::vector<Part> values;
    std::vector<Verdict> verdicts;
    const char* end = nullptr;  ///< where the comments begin
};

bool takeLine(const FormLine& form, Part line, Filled& filled) {
    if (!line.take(form.before))
        return false;
    if (form.blank == FormLine::Blank::Label) {
        filled.values[form.item] = line;
        return true;
    }
    if (form.blank == FormLine::Blank::RangeAndVerdict) {
        const char* const close = std::find(line.begin, line.end, ')');
        filled.values[form.item] = {line.begin, close == line.end ? close : close + 1};
        line.begin = filled.values[form.item].end;
        if (!line.take(form.between))
            return false;
    }
    if (form.blank != FormLine::Blank::None) {
        Verdict& verdict = filled.verdicts[form.item];
        verdict = line.take(kPass) ? Verdict::pass : line.take(kFail) ? Verdict::fail : Verdict::none;
        if (verdict == Verdict::none)
            return false;
    }
    return line.begin == line.end;
}

/// The number of lines that fit; all of them where the bytes are this form filled in.
std::size_t fill(const Form& form, const QByteArray& bytes, Filled& filled) {
    filled.values.assign(form.items.size(), {});
    filled.verdicts.assign(form.items.size(), Verdict::none);
    const char* at = bytes.constData();
    const char* const last = at + bytes.size();
    for (std::size_t i = 0; i < form.lines.size(); ++i) {
        const char* const end = std::find(at, last, '\n');
        if (end == last || !takeLine(form.lines[i], {at, end}, filled))
            return i;
        at = end + 1;
    }
    filled.end = at;
    return form.lines.size();
}

/// The form that fits, and its blanks; else null, and the number of lines that fit the best of them.
const Form* findForm(const QByteArray& bytes, Filled& filled, std::size_t& lines) {
    static thread_local std::size_t latest = 0;  // most reports are of the kind of the one before
    lines = 0;
    for (std::size_t i = 0; i < forms().size(); ++i) {
        const std::size_t which = (latest + i) % forms().size();
        const std::size_t fits = fill(forms()[which], bytes, filled);
        lines = std::max(lines, fits);
        if (fits < forms()[which].lines.size())
            continue;
        latest = which;
        return &forms()[which];
    }
    return nullptr;
}

/// The two ends, where printing them gives the same again.
bool takeSpan(const QByteArray& range, bool counts, Span& span) {
    // "-1 to 2 (range 3)" or "-1.000 DAC to 2.000 DAC (range 3.000 DAC)", whatever this computer's decimal point is.
    const QList<QByteArray> words = range.simplified().split(' ');
    if (words.size() != (counts ? 5 : 8))
        return false;
    span.low = words[0].toDouble();
    span.high = words[counts ? 2 : 3].toDouble();
    if (counts)
        return report::countRange(std::lround(span.low), std::lround(span.high)).toLatin1() == range;
    // The width was rounded apart from its ends.
    const double width = words[6].toDouble();
    const QByteArray ends = report::dacRange(span.low, span.high).toLatin1(),
                     again = report::dacRange(0, width).toLatin1();
    return ends.left(ends.indexOf('(')) + again.mid(again.indexOf('(')) == range
           && std::abs(width - (span.high - span.low)) < 0.0015;
}

bool takeText(const Part& part, QString& text) {
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);  // a byte order mark is a character of the text
    static const QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    text = utf8->toUnicode(part.begin, static_cast<int>(part.end - part.begin), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// What could be printed as a label; a database does not keep a byte order mark ahead of a text.
bool isLabelText(const QString& text) {
    return oneLine(text) == text && !text.startsWith(QChar(QChar::ByteOrderMark))
           && !text.startsWith(QChar(QChar::ByteOrderSwapped));
}

/// A date with an English month, as "November-26-2026  08-05-00-PM"; invalid for any other. The toolkit's own reading
/// takes ten times as long, in which threads wait for each other.
QDateTime englishMoment(const QString& date) {
    static const QStringList months{"January", "February", "March",     "April",   "May",      "June",
                                    "July",    "August",   "September", "October", "November", "December"};
    static const QByteArray form = "-00-0000  00-00-00-?M";
    const int end = date.indexOf('-'), month = months.indexOf(date.left(end)) + 1;
    const QByteArray rest = date.mid(end).toLatin1();
    if (end < 0 || month == 0 || rest.size() != form.size())
        return {};
    for (int i = 0; i < form.size(); ++i)
        if (form[i] == '0' ? rest[i] < '0' || rest[i] > '9' : form[i] != rest[i] && form[i] != '?')
            return {};
    const auto number = [&rest](int at, int digits) { return rest.mid(at, digits).toInt(); };
    const int hour = number(10, 2);
    const char half = rest[19];
    if (hour < 1 || hour > 12 || (half != 'A' && half != 'P'))
        return {};
    return {QDate(number(4, 4), month, number(1, 2)),
            QTime(hour % 12 + (half == 'P' ? 12 : 0), number(13, 2), number(16, 2))};
}

/// Local time; the writer's language may be this computer's or English.
QDateTime momentOf(const QString& date) {
    const QDateTime english = englishMoment(date);
    if (english.isValid())
        return english;
    for (const QLocale& locale : {QLocale::c(), QLocale()}) {
        const QDateTime moment = locale.toDateTime(date, "MMMM-dd-yyyy  hh-mm-ss-AP");
        if (moment.isValid())
            return moment;
    }
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

QStringList UnderstoodReport::failed() const {
    QStringList names;
    if (pass)
        return names;
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items[i].verdict == report::Verdict::fail && items[i].counts != report::Counts::nowhere)
            names << (*itemNames)[i];
    return names;
}

Reading readReport(const QByteArray& bytes) {
    Filled filled;
    std::size_t lines = 0;
    const Form* const form = findForm(bytes, filled, lines);
    if (!form)
        return {{},
                bytes.contains("\nCOMMENTS: \n    Enter any additional comments below\n")
                    ? QString("line %1: it is not as a report has it").arg(lines + 1)
                    : QString("it has no end")};
    UnderstoodReport report;
    report.items = form->items;
    report.itemNames = &namesOf(*form);
    for (std::size_t i = 0; i < report.items.size(); ++i) {
        Item& item = report.items[i];
        item.verdict = filled.verdicts[i];
        if (!filled.values[i].begin)
            continue;
        if (!takeText(filled.values[i], item.value) || !isLabelText(item.value))
            return {{}, QString("\"%1\" is followed by what is no UTF-8 text, or no line").arg(item.text)};
        const int axis = form->axes[i];
        if (axis < 0)
            continue;
        const bool counts = item.place.section == report::kEncoders;
        Span span;
        if (!takeSpan(filled.values[i].bytes(), counts, span))
            return {{},
                    QString("\"%1\" is no range")
                        .arg(QString::fromStdString(foreign::printable(item.value.trimmed().toStdString())))};
        (counts ? report.counts : report.dac)[static_cast<std::size_t>(axis)] = span;
    }
    if (!takeText({filled.end, bytes.constData() + bytes.size()}, report.comments))
        return {{}, "what is written below it is no UTF-8 text"};
    report.pass = report.items.back().verdict == Verdict::pass;
    if (report.pass != report::passes(report.items))
        return {{}, "its overall verdict is not that of its rows"};
    // The labels come first, in this order.
    QString* const labels[] = {&report.device, &report.serial, &report.operatorName,
                               &report.date,   &report.model,  &report.interfaceName};
    for (std::size_t i = 0; i < std::size(labels); ++i)
        *labels[i] = report.items[i].value;
    report.testedAt = momentOf(report.date);
    return {report, {}};
}

}  // namespace records
