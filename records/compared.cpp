// See compared.h.
#include "compared.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <map>

#include "commands.h"
#include "statistics.h"

namespace records {
namespace {

using Names = std::vector<QString>;

constexpr int kBar = 20, kNumber = 11, kItem = 60;  // characters
constexpr int kNamesShown = 8;

const std::optional<Span>& spanOf(const Run& run, Quantity quantity, int axis) {
    return (quantity == Quantity::Counts ? run.counts : run.dac)[static_cast<std::size_t>(axis)];
}

std::optional<double> valueOf(const Run& run, const Measure& measure) {
    const std::optional<Span>& span = spanOf(run, measure.quantity, measure.axis);
    if (!span)
        return {};
    return measure.of == Measure::Of::Low    ? span->low
           : measure.of == Measure::Of::High ? span->high
                                             : span->high - span->low;
}

QString measured(double value) { return QString::number(value, 'g', 10).rightJustified(kNumber); }
QString computed(double value) { return QString::number(value, 'f', 2).rightJustified(kNumber); }
QString none() { return QString("-").rightJustified(kNumber); }
QString percent(double part, double whole) {
    return whole != 0 ? QString::number(100 * part / whole, 'f', 2).rightJustified(kNumber) : none();
}

struct Point {
    qint64 id;
    QString time, serial;
    double value;
};

/// From one character for the least value to all of them for the greatest.
QString bar(double value, const Individuals& chart) {
    const double width = chart.greatest - chart.least, share = width > 0 ? (value - chart.least) / width : 0;
    return QString(1 + static_cast<int>(std::lround(share * (kBar - 1))), '#').leftJustified(kBar);
}

void printLimits(const std::deque<Point>& points, const Individuals& chart, QTextStream& out) {
    out << "n " << points.size() << ", mean " << computed(chart.mean).trimmed();
    if (points.size() < 2) {
        out << "; limits need a second run\n";
        return;
    }
    out << ", standard deviation " << computed(chart.deviation).trimmed() << ", limits "
        << computed(chart.lowLimit).trimmed() << " to " << computed(chart.highLimit).trimmed() << "\n";
    QStringList outside;
    for (const Point& point : points)
        if (chart.isOutside(point.value))
            outside << QString::number(point.id);
    out << "runs outside the limits: " << (outside.isEmpty() ? "none" : outside.join(", ")) << "\n";
}

/// What is known of a serial: its newest understood run, that one's verdicts, and how many runs there are.
struct Side {
    Run newest;
    int runs = 0, passes = 0;
    Names items;  // in the order of the report
    std::map<QString, bool> passed;
};

Side sideOf(Store& store, const QString& serial) {
    Side side;
    Choice choice;
    choice.serial = serial;
    store.each(choice, [&side](const Run& run) {
        if (!run.understood)
            return;
        side.newest = run;
        ++side.runs;
        side.passes += run.pass ? 1 : 0;
    });
    if (serial.isEmpty() || side.runs == 0)
        throw StoreError(QString("there is no understood run of serial \"%1\"").arg(serial));
    const Reading reading = readReport(store.text(side.newest.id));
    if (!reading.report)
        throw StoreError(QString("run %1: %2").arg(side.newest.id).arg(reading.why));
    side.items = *reading.report->itemNames;
    for (std::size_t i = 0; i < side.items.size(); ++i)
        if (!side.items[i].isEmpty())
            side.passed[side.items[i]] = reading.report->items[i].verdict == report::Verdict::pass;
    side.items.erase(std::remove(side.items.begin(), side.items.end(), QString()), side.items.end());
    return side;
}

QString spanCells(const std::optional<Span>& span) {
    return span ? measured(span->low) + measured(span->high) + measured(span->high - span->low)
                : none() + none() + none();
}

void printSpans(const Side& first, const Side& second, QTextStream& out) {
    out << "\n" << cell("", 8);
    for (const char* title : {"low", "high", "width", "low", "high", "width", "difference", "%"})
        out << QString(title).rightJustified(kNumber);
    out << "\n";
    for (const Quantity quantity : {Quantity::Counts, Quantity::Dac})
        for (int axis = 0; axis < kAxes; ++axis) {
            const auto &a = spanOf(first.newest, quantity, axis), &b = spanOf(second.newest, quantity, axis);
            if (!a && !b)
                continue;
            out << cell(quantityName(quantity, axis), 8) << spanCells(a) << spanCells(b);
            if (a && b) {
                const double width = a->high - a->low, more = b->high - b->low - width;
                out << measured(more) << percent(more, width);
            }
            out << "\n";
        }
}

void printVerdicts(const Side& first, const Side& second, QTextStream& out) {
    const auto verdict = [](const Side& side, const QString& item) {
        const auto found = side.passed.find(item);
        return QString(found == side.passed.end() ? "-" : found->second ? "PASS" : "FAIL");
    };
    Names items = first.items;
    std::copy_if(second.items.begin(), second.items.end(), std::back_inserter(items),
                 [&first](const QString& item) { return first.passed.count(item) == 0; });
    bool any = false;
    for (const QString& item : items) {
        const QString a = verdict(first, item), b = verdict(second, item);
        if (a == b)
            continue;
        out << (any ? "" : "\nverdicts that differ\n") << cell(item, kItem) << cell(a, 4) << b << "\n";
        any = true;
    }
    if (!any)
        out << "\nno verdicts differ\n";
}

/// Values in the order of time, of each serial by each operator.
using Tested = std::map<QString, std::map<QString, std::vector<double>>>;

std::size_t runsIn(const Tested& tested, const QString& serial, const QString& operatorName) {
    const auto& runs = tested.at(serial);
    const auto found = runs.find(operatorName);
    return found == runs.end() ? 0 : found->second.size();
}

/// Serials that could be part of a study: tested again by two operators.
Names repeated(const Tested& tested) {
    Names serials;
    for (const auto& [serial, runs] : tested)
        if (std::count_if(runs.begin(), runs.end(), [](const auto& by) { return by.second.size() >= kLeastTrials; })
            > 1)
            serials.push_back(serial);
    return serials;
}

Names operatorsOf(const Tested& tested) {
    std::map<QString, bool> operators;
    for (const auto& [serial, runs] : tested)
        for (const auto& [name, values] : runs)
            operators[name] = true;
    Names names;
    for (const auto& [name, there] : operators)
        names.push_back(name);
    return names;
}

struct Chosen {
    Names serials, operators;
    std::size_t trials = 0;
};

std::optional<Chosen> chosenOf(const Tested& tested) {
    const Names serials = repeated(tested), operators = operatorsOf(tested);
    std::vector<std::vector<std::size_t>> counts;
    for (const QString& serial : serials) {
        counts.emplace_back();
        for (const QString& name : operators)
            counts.back().push_back(runsIn(tested, serial, name));
    }
    const std::optional<Balanced> balanced = largestBalanced(counts);
    if (!balanced)
        return {};
    Chosen chosen{{}, {}, balanced->trials};
    for (std::size_t part : balanced->parts)
        chosen.serials.push_back(serials[part]);
    for (std::size_t appraiser : balanced->appraisers)
        chosen.operators.push_back(operators[appraiser]);
    return chosen;
}

GaugeStudy studyOf(const Tested& tested, const Chosen& chosen) {
    std::vector<std::vector<std::vector<double>>> values;
    for (const QString& serial : chosen.serials) {
        values.emplace_back();
        for (const QString& name : chosen.operators) {
            const std::vector<double>& all = tested.at(serial).at(name);
            values.back().emplace_back(all.end() - static_cast<std::ptrdiff_t>(chosen.trials), all.end());
        }
    }
    return gaugeStudy(values);
}

QString shortNames(const Names& names) {
    QStringList list;
    for (const QString& name : names)
        list << plain(name);
    return inShort(list, kNamesShown);
}

/// Those of `all` that are not among `chosen`, a line for each of `others` by whom or of whom there are too few runs.
void printLeftOut(const char* what, const char* by, const Names& all, const Names& chosen, const Names& others,
                  const std::function<std::size_t(const QString&, const QString&)>& runs, QTextStream& out) {
    std::map<QString, Names> reasons;
    for (const QString& name : all) {
        if (std::find(chosen.begin(), chosen.end(), name) != chosen.end())
            continue;
        const auto lacking = std::find_if(others.begin(), others.end(),
                                          [&](const QString& other) { return runs(name, other) < kLeastTrials; });
        reasons[lacking != others.end() ? QString("fewer than %1 runs %2 %3").arg(kLeastTrials).arg(by, plain(*lacking))
                                        : QString("not among the %1 with the most serials").arg(kMostAppraisers)]
            .push_back(name);
    }
    for (const auto& [reason, names] : reasons)
        out << "left out " << what << " " << shortNames(names) << ": " << reason << "\n";
}

void printChosen(const Tested& tested, const Chosen& chosen, QTextStream& out) {
    out << chosen.serials.size() << " serials: " << shortNames(chosen.serials) << "\n"
        << chosen.operators.size() << " operators: " << shortNames(chosen.operators) << "\n"
        << "of each serial by each operator the newest " << chosen.trials << " runs\n";
    Names serials;
    for (const auto& each : tested)
        serials.push_back(each.first);
    const auto bySerial = [&](const QString& serial, const QString& name) { return runsIn(tested, serial, name); };
    const auto byOperator = [&](const QString& name, const QString& serial) { return runsIn(tested, serial, name); };
    printLeftOut("serials", "by", serials, chosen.serials, chosen.operators, bySerial, out);
    printLeftOut("operators", "of", operatorsOf(tested), chosen.operators, chosen.serials, byOperator, out);
}

void printStudy(const GaugeStudy& study, double tolerance, QTextStream& out) {
    out << QString("interaction: F(%1, %2) = %3, p = %4, %5 %6: %7 the error\n")
               .arg(study.interactionDegrees)
               .arg(study.errorDegrees)
               .arg(study.interactionF, 0, 'f', 3)
               .arg(study.interactionP, 0, 'f', 3)
               .arg(study.pooled ? "above" : "not above")
               .arg(kPoolAbove)
               .arg(study.pooled ? "pooled with" : "kept from");
    out << "\n" << cell("", 20);
    for (const char* title : {"deviation", "6 sigma", "% of TV", tolerance > 0 ? "% of T" : ""})
        out << QString(title).rightJustified(kNumber);
    out << "\n";
    const std::pair<const char*, double> rows[] = {{"EV  repeatability", study.repeatability},
                                                   {"AV  reproducibility", study.reproducibility},
                                                   {"GRR both", study.gauge},
                                                   {"PV  serials", study.parts},
                                                   {"TV  total", study.total}};
    for (const auto& [name, deviation] : rows)
        out << cell(name, 20) << computed(deviation) << computed(6 * deviation) << percent(deviation, study.total)
            << (tolerance > 0 ? percent(6 * deviation, tolerance) : QString()) << "\n";
    out << "ndc " << (study.categories ? QString::number(*study.categories, 'f', 0) : "without limit") << "\n";
}

}  // namespace

std::optional<Measure> measureNamed(const QString& name) {
    Measure measure;
    measure.name = name;
    QString quantity = name;
    for (const auto& [end, of] : {std::pair("-low", Measure::Of::Low), std::pair("-high", Measure::Of::High)})
        if (name.endsWith(end)) {
            quantity.chop(static_cast<int>(qstrlen(end)));
            measure.of = of;
        }
    if (!quantityNamed(quantity, measure.quantity, measure.axis))
        return {};
    return measure;
}

int trendOf(Store& store, const Measure& measure, const Choice& choice, QTextStream& out) {
    std::deque<Point> points;
    std::size_t all = 0;
    store.each(choice, [&](const Run& run) {
        const std::optional<double> value = valueOf(run, measure);
        if (!value)
            return;
        ++all;
        points.push_back({run.id, timeOf(run), run.serial, *value});
        if (choice.newest == 0 && points.size() > kTrendRuns)
            points.pop_front();
    });
    if (points.empty()) {
        out << "no run has " << measure.name << "\n";
        return 1;
    }
    std::vector<double> values;
    values.reserve(points.size());
    for (const Point& point : points)
        values.push_back(point.value);
    const Individuals chart = individualsChart(values);
    for (const Point& point : points)
        out << QString::number(point.id).rightJustified(7) << "  " << cell(point.time, 19) << cell(point.serial, 14)
            << measured(point.value) << "  |" << bar(point.value, chart) << "|"
            << (points.size() > 1 && chart.isOutside(point.value) ? " outside" : "") << "\n";
    out << measure.name << ", the bar from " << measured(chart.least).trimmed() << " to "
        << measured(chart.greatest).trimmed() << "\n";
    if (all > points.size())
        out << "the newest " << points.size() << " of " << all << " runs; --newest N takes more\n";
    printLimits(points, chart, out);
    return 0;
}

int compareSerials(Store& store, const QString& first, const QString& second, QTextStream& out) {
    const Side a = sideOf(store, first), b = sideOf(store, second);
    const auto line = [&](const char* title, const auto& of) {
        out << cell(title, 10) << cell(of(a), 30) << plain(of(b)) << "\n";
    };
    line("serial", [](const Side& side) { return side.newest.serial; });
    line("device", [](const Side& side) { return side.newest.device; });
    line("model", [](const Side& side) { return side.newest.model; });
    line("newest run", [](const Side& side) { return QString::number(side.newest.id); });
    line("tested", [](const Side& side) { return timeOf(side.newest); });
    line("operator", [](const Side& side) { return side.newest.operatorName; });
    line("verdict", [](const Side& side) { return QString(side.newest.pass ? "PASS" : "FAIL"); });
    line("runs", [](const Side& side) { return QString::number(side.runs); });
    line("passes", [](const Side& side) { return QString::number(side.passes); });
    printSpans(a, b, out);
    printVerdicts(a, b, out);
    return 0;
}

int gaugeOf(Store& store, const Measure& measure, const Choice& choice, double tolerance, QTextStream& out) {
    Tested tested;
    int nameless = 0;
    store.each(choice, [&](const Run& run) {
        const std::optional<double> value = valueOf(run, measure);
        if (!value)
            return;
        if (run.serial.isEmpty() || run.operatorName.isEmpty())
            ++nameless;
        else
            tested[run.serial][run.operatorName].push_back(*value);
    });
    const std::optional<Chosen> chosen = chosenOf(tested);
    if (!chosen) {
        out << measure.name
            << ": a study needs two serials that the same two operators tested at least twice; there are "
            << tested.size() << " serials, " << operatorsOf(tested).size() << " operators, and "
            << repeated(tested).size() << " serials that any two operators tested twice\n";
        return 1;
    }
    out << measure.name << "\n";
    printChosen(tested, *chosen, out);
    if (nameless > 0)
        out << "left out " << nameless << " runs without a serial or an operator\n";
    printStudy(studyOf(tested, *chosen), tolerance, out);
    return 0;
}

}  // namespace records
