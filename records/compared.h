// The commands that set runs beside each other: over time, two devices, the same devices by several operators. They
// print; the number that they return is the exit code, as in commands.h.
#pragma once

#include <QTextStream>
#include <optional>

#include "store.h"

namespace records {

/// A number of a run: how wide the span of a quantity is (high - low), or one end of it. Counts or DAC counts.
struct Measure {
    enum class Of { Width, Low, High };
    Quantity quantity = Quantity::Counts;
    int axis = 0;
    Of of = Of::Width;
    QString name;  ///< as on the command line
};

/// "counts-1" for the width, "counts-1-low" and "counts-1-high" for the ends; nothing for any other name.
std::optional<Measure> measureNamed(const QString& name);

/// Runs that `trend` shows where no number of them is asked for.
constexpr int kTrendRuns = 200;

/// Run by run, with the limits of a control chart.
int trendOf(Store& store, const Measure& measure, const Choice& choice, QTextStream& out);

/// The newest understood runs of two serials side by side.
int compareSerials(Store& store, const QString& first, const QString& second, QTextStream& out);

/// Repeatability and reproducibility from runs of the same serials by several operators. `tolerance`: width of what is
/// allowed, in the unit of the measure; 0 for none.
int gaugeOf(Store& store, const Measure& measure, const Choice& choice, double tolerance, QTextStream& out);

}  // namespace records
