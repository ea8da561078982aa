// Charts as inline SVG. Colours are classes of the page's style, so that they follow light and dark.
#pragma once

#include <QString>
#include <optional>
#include <vector>

namespace records {

struct ChartPoint {
    double x = 0, y = 0;
    double low = 0, high = 0;  ///< of what the point is the mean of; equal to y for one value
    QString tip;
};

struct Chart {
    QString title, unit;
    std::vector<ChartPoint> points;      ///< in order of x
    std::optional<double> limit;         ///< what passes at least
    std::optional<double> lower, upper;  ///< control limits
    QString first, last;                 ///< below the ends of the x axis
};

QString lineChart(const Chart& chart);

struct Bar {
    QString text;
    double value = 0, part = 0;  ///< part: the first share of the bar, 0 to 1, in another colour
    QString shown;
};

/// Horizontal bars, the longest as wide as there is room.
QString barChart(const std::vector<Bar>& bars);

}  // namespace records
