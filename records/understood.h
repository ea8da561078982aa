// A report read back: every value and verdict of every row, or why it is none that the application writes.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <array>
#include <optional>
#include <vector>

#include "items.h"

namespace records {

/// What an axis was seen to span, by the automatic inspection; both ends included.
struct Span {
    double low = 0, high = 0;
};

constexpr int kAxes = 6;  ///< base X, Y, Z, then gimbal (of encoders) or handle (of motors)

/// Quantities that a report measures: counts of the encoders, DAC values of the motors.
enum class Quantity { Counts, Dac };

/// Names as on the command line: "counts-1" to "counts-6", "dac-1" to "dac-6".
QString quantityName(Quantity quantity, int axis);
/// Axis and quantity of such a name; false for any other.
bool quantityNamed(const QString& name, Quantity& quantity, int& axis);

struct UnderstoodReport {
    QString device, serial, operatorName, date, model, interfaceName;
    QDateTime testedAt;  ///< of `date`, local time; invalid where the locale of the writer is not known here
    bool pass = false;
    report::Items items;
    /// Where each item stands and what it says, as "ENCODERS/automatic/base axis 1"; empty for those without
    /// a verdict. Lives as long as the program.
    const std::vector<QString>* itemNames = nullptr;
    std::array<std::optional<Span>, kAxes> counts{}, dac{};
    QString comments;  ///< what somebody has written below

    /// Names of the items that failed and count.
    QStringList failed() const;
};

struct Reading {
    std::optional<UnderstoodReport> report;
    QString why;  ///< why there is none, with the number of the line
};

/// Reads the bytes of a report file. Strict: what is understood would be printed again byte for byte, its rows are
/// those of one kind of device, and its overall verdict follows from them. Any thread.
Reading readReport(const QByteArray& bytes);

}  // namespace records
