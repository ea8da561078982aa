// What is counted is counted by the database: a year of a plant is a million runs, a page has some hundred figures of
// it.
#include "page.h"

#include <QDateTime>
#include <QSqlQuery>
#include <QVariant>
#include <algorithm>
#include <cmath>
#include <map>

#include "chart.h"
#include "modellines.h"

namespace records {
namespace {

constexpr qint64 kDay = 86400000, kWeek = 7 * kDay, kThursday = 3 * kDay;  // ms; the first day of 1970 was one
constexpr qint64 kFewRuns = 400;                                           // so many of a line are shown one by one
// What is asked of a span: how hard a motor was driven is the operator's, and its mean tells enough.
const std::vector<const char*> kOfCounts{"avg", "min", "max"}, kOfDac{"avg"};
constexpr std::size_t kFewWeeks = 12;
constexpr std::size_t kMostItems = 15;    // of the list of what fails
constexpr double kPerMovingRange = 2.66;  // limits of an individuals chart: 3 / 1.128 (Shewhart; ISO 7870-2)

// A report whose date cannot be read here counts when it was stored.
const QString kWeekOf = QString("(coalesce(tested_at, stored_at) + %1) / %2").arg(kThursday).arg(kWeek);
const QString kUsable = "understood = 1";

QString weekName(qint64 week) {
    const QDate monday = QDateTime::fromMSecsSinceEpoch(week * kWeek - kThursday, Qt::UTC).date();
    return monday.toString(Qt::ISODate);
}

QString percent(double part, double whole) {
    return whole > 0 ? QString::number(100.0 * part / whole, 'f', 1) + " %" : QString("-");
}

struct Tally {
    double runs = 0, passes = 0;
};

using Line = std::pair<QString, QString>;  // model and interface

QString lineName(const Line& line) { return line.first + ", " + line.second; }

/// What an axis of such a line has to travel at least, counts; nothing where the application asks for nothing.
std::optional<double> leastCounts(const Line& line, int axis) {
    const std::pair<const char*, ULONG> cards[] = {
        {"USB port", kCardUsb}, {"LAN port", kCardLan}, {"1394 port", kCard1394}, {"Parallel port", kCardParallel1}};
    ULONG card = 0;
    for (const auto& [name, number] : cards)
        card = line.second == QLatin1String(name) ? number : card;
    const auto place = static_cast<std::size_t>(axis);
    if (line.first == "THARLEN Corvale")
        return static_cast<double>(leastTravel(corvaleLimits())[place]);
    const int type = line.first == "THARLEN Orda" ? int{kModelOrda} : line.first == "Nolva" ? int{kModelNolva} : 0;
    const ModelLine& row = findModelLine(type, card);
    return type != 0 && row.leastTravel ? std::optional<double>((*row.leastTravel)[place]) : std::nullopt;
}

/// An individuals chart of the points, where they are enough for one.
void addControlLimits(Chart& chart) {
    if (chart.points.size() < 8)
        return;
    double sum = 0, moved = 0;
    for (std::size_t i = 0; i < chart.points.size(); ++i) {
        sum += chart.points[i].y;
        moved += i > 0 ? std::abs(chart.points[i].y - chart.points[i - 1].y) : 0;
    }
    const double mean = sum / static_cast<double>(chart.points.size());
    const double reach = kPerMovingRange * moved / static_cast<double>(chart.points.size() - 1);
    chart.lower = mean - reach;
    chart.upper = mean + reach;
}

class Page {
public:
    Page(Store& store, const Choice& choice, QTextStream& out) : store_(store), choice_(choice), out_(out) {
        choice_.newest = 0;
    }

    void write() {
        countRuns();
        countFirstRuns();
        begin();
        yields();
        failures();
        for (const auto& [line, tally] : lines_)
            spans(line, tally);
        if (!choice_.serial.isEmpty())
            life();
        out_ << "</main></body></html>\n";
    }

private:
    void countRuns();
    void takeWeek(const QSqlQuery& row);
    /// In the order of their index, and apart those whose date cannot be read: they are first where there is no other.
    void countFirstRuns() {
        countFirst("tested_at IS NOT NULL");
        countFirst(
            "tested_at IS NULL AND NOT EXISTS (SELECT 1 FROM runs AS dated WHERE dated.serial = runs.serial AND "
            "dated.tested_at IS NOT NULL)");
    }
    void countFirst(const QString& among) {
        const QString inner =
            QString(
                "SELECT week, count(*), sum(pass) FROM (SELECT %1 AS week, pass, row_number() OVER (PARTITION BY "
                "serial ORDER BY tested_at, id) AS nth FROM runs")
                .arg(kWeekOf);
        store_.rows(inner, choice_, kUsable + " AND " + among + ") AS ordered WHERE nth = 1 GROUP BY week",
                    [this](const QSqlQuery& row) {
                        Tally& week = firsts_[row.value(0).toLongLong()];
                        for (Tally* tally : {&week, &first_}) {
                            tally->runs += row.value(1).toDouble();
                            tally->passes += row.value(2).toDouble();
                        }
                    });
    }

    void begin();
    Chart yieldChart(const char* title, const std::map<qint64, Tally>& weeks) const;
    void yields();
    void failures();
    void spans(const Line& line, const Tally& tally);
    void addRuns(const Line& line, std::vector<Chart>& charts);
    void life();

    Store& store_;
    Choice choice_;
    QTextStream& out_;
    std::map<qint64, Tally> weeks_, firsts_;
    std::map<Line, Tally> lines_;
    std::map<Line, std::vector<Chart>> weekly_;  ///< spans of lines with many runs, week by week
    Tally all_, first_;
    qint64 notUnderstood_ = 0;
};

void Page::begin() {
    out_ << R"(<!DOCTYPE html><html lang="en"><head><meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1"><title>Test records</title><style>
:root { color-scheme: light dark; --ink: #1d2733; --faint: #8894a3; --paper: #fff; --blue: #3d6a94; --good: #23896a;
  --bad: #c2452d; --amber: #b8801c; --line: #d8dee6; }
@media (prefers-color-scheme: dark) { :root { --ink: #e4e9ef; --faint: #8d99a8; --paper: #15191e; --blue: #7fb0dc;
  --good: #45b894; --bad: #ef7b64; --amber: #dfaa4c; --line: #333c46; } }
@media print { :root { --ink: #000; --paper: #fff; } figure, tr { break-inside: avoid; } }
body { margin: 0; background: var(--paper); color: var(--ink); font: 15px/1.45 system-ui, sans-serif; }
main { max-width: 56rem; margin: 0 auto; padding: 1rem; } h1 { font-size: 1.5rem; } h2 { font-size: 1.15rem; margin-top: 2rem; }
table { border-collapse: collapse; } th, td { text-align: left; padding: .2rem .7rem .2rem 0; font-weight: normal;
  vertical-align: top; } thead th { color: var(--faint); border-bottom: 1px solid var(--line); }
.wide { overflow-x: auto; } .sum { display: flex; flex-wrap: wrap; gap: .5rem 2.5rem; } .sum b { display: block;
  font-size: 1.5rem; font-weight: 600; } .sum span, figcaption, .note { color: var(--faint); }
.bars { width: 100%; } .bars th { width: 14rem; overflow-wrap: anywhere; } .bars td:last-child { width: 8rem; white-space: nowrap; }
.bars svg { width: 100%; height: .8rem; } .rest { fill: var(--bad); } .part { fill: var(--good); }
figure { margin: .8rem 0; overflow-x: auto; } figure svg { min-width: 26rem; } svg text { font-size: 11px; fill: var(--faint); } .axis { stroke: var(--line); }
.value { fill: none; stroke: var(--blue); stroke-width: 1.2; } .point { fill: var(--blue); } .out { fill: var(--bad); }
.range { stroke: var(--blue); stroke-opacity: .3; stroke-width: 3; } .limit { stroke: var(--bad); stroke-width: 1.4; }
.control { stroke: var(--amber); stroke-dasharray: 5 4; } .bad { color: var(--bad); } .good { color: var(--good); }
@media (max-width: 40rem) { .bars th { width: 7rem; } .bars td:last-child { width: 6rem; white-space: normal; } }
</style></head><body><main><h1>Test records</h1>
)";
    const QString days =
        weeks_.empty()
            ? QString("no runs")
            : QString("weeks of %1 to %2").arg(weekName(weeks_.begin()->first), weekName(weeks_.rbegin()->first));
    QStringList of;
    for (const QString& each : {choice_.serial, choice_.device, choice_.model, choice_.operatorName, choice_.verdict})
        if (!each.isEmpty())
            of << each;
    out_ << "<p class=\"note\">" << days << (of.isEmpty() ? QString() : "; " + of.join(", ").toHtmlEscaped())
         << "; made " << QDateTime::currentDateTime().toString("yyyy-MM-dd hh:mm") << "</p><div class=\"sum\">";
    const auto figure = [this](const QString& value, const char* what) {
        out_ << "<div><b>" << value << "</b><span>" << what << "</span></div>";
    };
    figure(QString::number(all_.runs, 'f', 0), "runs");
    figure(percent(all_.passes, all_.runs), "pass");
    figure(percent(first_.passes, first_.runs), "pass at the first run");
    figure(QString::number(first_.runs, 'f', 0), "devices");
    figure(QString::number(notUnderstood_), "not understood");
    out_ << "</div>\n";
}

/// The share that passes, week by week.
Chart Page::yieldChart(const char* title, const std::map<qint64, Tally>& weeks) const {
    Chart chart;
    chart.title = title;
    chart.unit = "%";
    for (const auto& [week, tally] : weeks) {
        const double share = 100.0 * tally.passes / tally.runs;
        chart.points.push_back({static_cast<double>(week), share, share, share,
                                QString("week of %1: %2 of %3").arg(weekName(week)).arg(tally.passes).arg(tally.runs)});
    }
    chart.first = weekName(weeks.begin()->first);
    chart.last = weekName(weeks.rbegin()->first);
    addControlLimits(chart);
    return chart;
}

void Page::yields() {
    std::vector<Bar> bars;
    out_ << "<h2>Yield by week</h2>\n";
    if (weeks_.size() > kFewWeeks)
        out_ << lineChart(yieldChart("Pass, all runs", weeks_)) << lineChart(yieldChart("Pass, first runs", firsts_));
    for (const auto& [week, tally] : weeks_)
        if (weeks_.size() <= kFewWeeks)
            bars.push_back({weekName(week), tally.runs, tally.passes / tally.runs,
                            QString("%1 of %2, first %3")
                                .arg(percent(tally.passes, tally.runs))
                                .arg(tally.runs, 0, 'f', 0)
                                .arg(percent(firsts_[week].passes, firsts_[week].runs))});
    out_ << barChart(bars) << "<h2>Yield by line</h2>\n";
    bars.clear();
    for (const auto& [line, tally] : lines_)
        bars.push_back({lineName(line), tally.runs, tally.passes / tally.runs,
                        QString("%1 of %2").arg(percent(tally.passes, tally.runs)).arg(tally.runs, 0, 'f', 0)});
    out_ << barChart(bars);
}

void Page::failures() {
    std::map<QString, double> items;
    store_.rows("SELECT failed, count(*) FROM runs", choice_, kUsable + " AND pass = 0 GROUP BY failed",
                [&items](const QSqlQuery& row) {
                    for (const QString& item : row.value(0).toString().split('\n', Qt::SkipEmptyParts))
                        items[item] += row.value(1).toDouble();
                });
    std::vector<Bar> bars;
    double total = 0;
    for (const auto& [item, count] : items) {
        bars.push_back({item, count, 0.0, {}});
        total += count;
    }
    std::stable_sort(bars.begin(), bars.end(), [](const Bar& a, const Bar& b) { return a.value > b.value; });
    double sum = 0;
    for (Bar& bar : bars) {
        sum += bar.value;
        bar.shown = QString("%1, together %2").arg(bar.value, 0, 'f', 0).arg(percent(sum, total));
    }
    out_ << "<h2>What fails</h2>\n";
    if (bars.empty())
        out_ << "<p>Nothing.</p>\n";
    const std::size_t more = bars.size() > kMostItems ? bars.size() - kMostItems : 0;
    bars.resize(bars.size() - more);
    out_ << barChart(bars);
    if (more > 0)
        out_ << "<p class=\"note\">and " << more << " more</p>\n";
}

void Page::addRuns(const Line& line, std::vector<Chart>& charts) {
    Choice of = choice_;
    of.model = line.first;
    store_.each(of, [&](const Run& run) {
        if (!run.understood || run.interfaceName != line.second)
            return;
        for (int i = 0; i < 2 * kAxes; ++i) {
            const auto& span = (i < kAxes ? run.counts : run.dac)[static_cast<std::size_t>(i % kAxes)];
            if (!span)
                continue;
            const double width = span->high - span->low;
            charts[static_cast<std::size_t>(i)].points.push_back(
                {static_cast<double>(charts[static_cast<std::size_t>(i)].points.size()), width, width, width,
                 QString("%1, %2: %3").arg(run.serial, run.date, QString::number(width))});
        }
    });
}

/// Yields and spans in one go through the runs, which is what takes time.
void Page::countRuns() {
    QStringList columns{kWeekOf, "model", "interface", "understood", "count(*)", "sum(pass)"};
    for (int i = 0; i < 2 * kAxes; ++i) {
        const QString name = quantityName(i < kAxes ? Quantity::Counts : Quantity::Dac, i % kAxes).replace('-', '_');
        for (const char* of : i < kAxes ? kOfCounts : kOfDac)
            columns << QString("%1(%2_high - %2_low)").arg(QLatin1String(of), name);
    }
    store_.rows("SELECT " + columns.join(", ") + " FROM runs", choice_, "1 = 1 GROUP BY 1, 2, 3, 4 ORDER BY 1",
                [this](const QSqlQuery& row) {
                    if (row.value(3).toInt() != 0)
                        takeWeek(row);
                    else
                        notUnderstood_ += row.value(4).toLongLong();
                });
}

void Page::takeWeek(const QSqlQuery& row) {
    const qint64 week = row.value(0).toLongLong();
    const Line line{row.value(1).toString(), row.value(2).toString()};
    for (Tally* each : {&weeks_[week], &all_, &lines_[line]}) {
        each->runs += row.value(4).toDouble();
        each->passes += row.value(5).toDouble();
    }
    std::vector<Chart>& charts = weekly_[line];
    charts.resize(2 * kAxes);
    int at = 6;
    for (int i = 0; i < 2 * kAxes; ++i) {
        const bool counts = i < kAxes;
        const QVariant mean = row.value(at), least = row.value(counts ? at + 1 : at),
                       most = row.value(counts ? at + 2 : at);
        at += static_cast<int>(counts ? kOfCounts.size() : kOfDac.size());
        if (!mean.isNull())
            charts[static_cast<std::size_t>(i)].points.push_back(
                {static_cast<double>(week), mean.toDouble(), least.toDouble(), most.toDouble(),
                 QString("week of %1: %2").arg(weekName(week)).arg(mean.toDouble())});
    }
}

void Page::spans(const Line& line, const Tally& tally) {
    std::vector<Chart> charts(2 * kAxes);
    const bool few = tally.runs <= kFewRuns;
    if (few)
        addRuns(line, charts);
    else
        charts = weekly_[line];
    out_ << "<h2>" << lineName(line).toHtmlEscaped() << "</h2>\n<p class=\"note\">Width of each measured span, "
         << (few ? "run by run" : "mean of each week with its least and greatest")
         << "; red line: what the axis has to travel at least; dashed: control limits.</p>\n";
    for (int i = 0; i < 2 * kAxes; ++i) {
        Chart& chart = charts[static_cast<std::size_t>(i)];
        if (chart.points.empty())
            continue;
        const bool counts = i < kAxes;
        const int axis = i % kAxes;
        chart.title = QString("%1 %2 %3")
                          .arg(counts ? "Encoder," : "Motor,", axis < 3 ? "base axis"
                                                               : counts ? "gimbal axis"
                                                                        : "handle axis")
                          .arg(axis % 3 + 1);
        chart.unit = counts ? "counts" : "DAC counts";
        chart.limit = counts ? leastCounts(line, axis) : std::nullopt;
        chart.first = few ? "oldest" : weekName(static_cast<qint64>(chart.points.front().x));
        chart.last = few ? "newest" : weekName(static_cast<qint64>(chart.points.back().x));
        addControlLimits(chart);
        out_ << lineChart(chart);
    }
}

void Page::life() {
    out_ << "<h2>Runs of " << choice_.serial.toHtmlEscaped()
         << "</h2>\n<div class=\"wide\"><table><thead><tr><th>Run</th><th>Tested</th><th>Result</th><th>Operator</th>"
            "<th>Device</th><th>Failed</th></tr></thead>";
    store_.each(choice_, [this](const Run& run) {
        out_ << "<tr><td>" << run.id << "</td><td>" << run.date.toHtmlEscaped() << "</td><td class=\""
             << (run.pass ? "good\">PASS" : "bad\">FAIL") << "</td><td>" << run.operatorName.toHtmlEscaped()
             << "</td><td>" << run.device.toHtmlEscaped() << "</td><td>"
             << run.failed.toHtmlEscaped().replace("\n", "<br>") << "</td></tr>\n";
    });
    out_ << "</table></div>\n";
}

}  // namespace

int writePage(Store& store, const Choice& choice, QTextStream& out) {
    Page(store, choice, out).write();
    return 0;
}

}  // namespace records
