// See chart.h. Texts are escaped here, whoever gives them.
#include "chart.h"

#include <QStringList>
#include <algorithm>
#include <cmath>

namespace records {
namespace {

constexpr double kWidth = 640, kHeight = 170, kLeft = 62, kRight = 8, kTop = 10, kBottom = 22;

QString number(double value) {
    return QString::number(value, 'f', std::abs(value) < 100 && value != std::floor(value) ? 1 : 0);
}

QString place(double value) { return QString::number(value, 'f', 1); }

struct Scale {
    double low, high, from, to;
    double operator()(double value) const {
        return high > low ? from + (to - from) * (value - low) / (high - low) : (from + to) / 2;
    }
};

QString line(double x1, double y1, double x2, double y2, const char* kind) {
    return QString("<line class=\"%1\" x1=\"%2\" y1=\"%3\" x2=\"%4\" y2=\"%5\"/>")
        .arg(QLatin1String(kind), place(x1), place(y1), place(x2), place(y2));
}

QString text(double x, double y, const QString& what, const char* anchor = "start") {
    return QString("<text x=\"%1\" y=\"%2\" text-anchor=\"%3\">%4</text>")
        .arg(place(x), place(y), QLatin1String(anchor), what.toHtmlEscaped());
}

}  // namespace

QString lineChart(const Chart& chart) {
    if (chart.points.empty())
        return {};
    Scale y{chart.points[0].low, chart.points[0].high, kHeight - kBottom, kTop};
    const auto include = [&y](double value) {
        y.low = std::min(y.low, value);
        y.high = std::max(y.high, value);
    };
    for (const ChartPoint& point : chart.points) {
        include(point.low);
        include(point.high);
    }
    for (const auto& each : {chart.limit, chart.lower, chart.upper})
        if (each)
            include(*each);
    const double room = 0.06 * (y.high - y.low);
    y.low -= room;
    y.high += room;
    const Scale x{chart.points.front().x, chart.points.back().x, kLeft + 4, kWidth - kRight - 4};

    QString svg =
        QString("<figure><figcaption>%1</figcaption><svg viewBox=\"0 0 %2 %3\" role=\"img\" aria-label=\"%1\">")
            .arg(chart.title.toHtmlEscaped())
            .arg(kWidth)
            .arg(kHeight);
    svg += line(kLeft, kTop, kLeft, kHeight - kBottom, "axis")
           + line(kLeft, kHeight - kBottom, kWidth - kRight, kHeight - kBottom, "axis");
    for (const double part : {0.0, 0.5, 1.0}) {
        const double value = y.low + room + part * (y.high - y.low - 2 * room);
        svg += text(kLeft - 5, y(value) + 4, number(value), "end");
    }
    const auto mark = [&](const std::optional<double>& value, const char* kind) {
        if (value)
            svg += line(kLeft, y(*value), kWidth - kRight, y(*value), kind);
    };
    mark(chart.limit, "limit");
    mark(chart.lower, "control");
    mark(chart.upper, "control");
    QStringList path;
    for (const ChartPoint& point : chart.points) {
        if (point.high > point.low)
            svg += line(x(point.x), y(point.low), x(point.x), y(point.high), "range");
        path << place(x(point.x)) + "," + place(y(point.y));
    }
    svg += QString("<polyline class=\"value\" points=\"%1\"/>").arg(path.join(' '));
    for (const ChartPoint& point : chart.points) {
        const bool out = (chart.lower && point.y < *chart.lower) || (chart.upper && point.y > *chart.upper)
                         || (chart.limit && point.y < *chart.limit);
        svg += QString("<circle class=\"%1\" cx=\"%2\" cy=\"%3\" r=\"2.4\"><title>%4</title></circle>")
                   .arg(QLatin1String(out ? "out" : "point"), place(x(point.x)), place(y(point.y)),
                        point.tip.toHtmlEscaped());
    }
    svg += text(kLeft, kHeight - 5, chart.first) + text(kWidth - kRight, kHeight - 5, chart.last, "end")
           + text((kLeft + kWidth) / 2, kHeight - 5, chart.unit, "middle");
    return svg + "</svg></figure>\n";
}

QString barChart(const std::vector<Bar>& bars) {
    double most = 0;
    for (const Bar& bar : bars)
        most = std::max(most, bar.value);
    QString html = "<table class=\"bars\">";
    for (const Bar& bar : bars) {
        const double width = most > 0 ? 100.0 * bar.value / most : 0.0;
        html += QString(
                    "<tr><th>%1</th><td><svg viewBox=\"0 0 100 10\" preserveAspectRatio=\"none\" aria-hidden=\"true\">"
                    "<rect class=\"rest\" width=\"%2\" height=\"10\"/><rect class=\"part\" width=\"%3\" height=\"10\"/>"
                    "</svg></td><td>%4</td></tr>")
                    .arg(bar.text.toHtmlEscaped(), place(width), place(width * bar.part), bar.shown.toHtmlEscaped());
    }
    return html + "</table>\n";
}

}  // namespace records
