#include "matrixplan.h"

#include <QJsonArray>
#include <algorithm>
#include <cmath>

#include "device/simulated/armcontrol.h"

namespace {

constexpr double kOrdaFriction = 820.0 / 32767.0;  ///< V at which a healthy axis of an Orda breaks loose
constexpr double kPushSeconds = 2.0;               ///< of the capstan test, in which a cable slips
constexpr double kExact = 0.05;

bool same(const QString& wanted, const QString& name) {
    return wanted.isEmpty() || wanted.compare(name, Qt::CaseInsensitive) == 0;
}

QStringList known(const std::vector<Subject>& all) {
    QStringList names;
    for (const Subject& subject : all)
        names << subject.name;
    return names;
}

void addCells(const MatrixPlan& plan, const Subject& subject, int place, Test test, std::vector<Cell>& cells) {
    for (int seed = 1; seed <= plan.seeds; ++seed)
        cells.push_back({subject, test, nullptr, -1, static_cast<unsigned>(seed)});
    unsigned seed = 1;
    for (const FaultCase& faultCase : faultCases()) {
        for (const int axis : faultCase.axes(place)) {
            ++seed;
            if (faultCase.exists(subject) && same(plan.fault, faultCase.fault))
                cells.push_back({subject, test, &faultCase, axis, seed});
        }
    }
}

/// What the test ought to measure; 0 where the case says nothing of it.
double givenFigure(const Cell& cell, const QString& figure) {
    const bool healthy = !cell.faultCase;
    const int axis = QStringList{"X", "Y", "Z"}.indexOf(figure.section(' ', 2).section(',', 0, 0));
    const auto is = [&cell](const char* name) { return cell.faultCase && qstrcmp(cell.faultCase->fault, name) == 0; };
    if (figure.startsWith("friction") && (healthy || is("sticky-bearing")))
        return kOrdaFriction * (!healthy && axis == cell.axis ? cell.faultCase->amount : 1.0);
    if (figure.startsWith("slip") && is("slipping-capstan") && axis == cell.axis)
        return cell.faultCase->amount * kPushSeconds;
    return 0;
}

}  // namespace

std::vector<Cell> MatrixPlan::cells(QString& why) const {
    const std::vector<Subject> all = subjects(why);
    if (all.empty())
        return {};
    const QStringList unknown = faultsWithoutCase();
    if (!unknown.isEmpty()) {
        why = "Faults that the table does not know: " + unknown.join(", ");
        return {};
    }
    const auto names = armcontrol::faultNames();
    const bool faultKnown =
        fault.isEmpty() || std::find(names.begin(), names.end(), fault.toStdString()) != names.end();
    std::vector<Cell> cells;
    for (std::size_t place = 0; faultKnown && place < all.size(); ++place) {
        for (int i = 0; i < kTests; ++i) {
            const Test t = static_cast<Test>(i);
            if ((all[place].tests() & bit(t)) && same(device, all[place].name) && same(test, testName(t)))
                addCells(*this, all[place], static_cast<int>(place), t, cells);
        }
    }
    if (cells.empty())
        why = QString(
                  "There is nothing of that name to play. Devices: %1. Tests are named by their tabs, faults as in "
                  "docs/arm-control.md.")
                  .arg(known(all).join(", "));
    return cells;
}

Outcome outcome(const Cell& cell, const CellResult& result) {
    if (!result.played)
        return Outcome::NotPlayed;
    if (!result.broken.isEmpty())
        return Outcome::Crashed;
    if (!cell.faultCase)
        return result.found() ? Outcome::FalseAlarm : Outcome::Healthy;
    const Expectation expected = expectation(*cell.faultCase, cell.subject, cell.test);
    if (expected.words && !result.program.join('\n').contains(QLatin1String(expected.words)))
        return Outcome::Missed;
    if (result.found())
        return expected.meant ? Outcome::FoundAsMeant : Outcome::FoundByAnother;
    return expected.reason ? Outcome::NotVisible : Outcome::Missed;
}

QStringList wrongFigures(const Cell& cell, const CellResult& result) {
    QStringList wrong;
    for (auto it = result.figures.begin(); it != result.figures.end(); ++it) {
        const double given = givenFigure(cell, it.key());
        if (given != 0 && std::fabs(it.value() / given - 1) > kExact)
            wrong << QString("%1: %2 instead of %3").arg(it.key()).arg(it.value(), 0, 'g', 4).arg(given, 0, 'g', 4);
    }
    return wrong;
}

QJsonObject toJson(const CellResult& result) {
    QJsonObject figures;
    for (auto it = result.figures.begin(); it != result.figures.end(); ++it)
        figures[it.key()] = it.value();
    return {{"program", QJsonArray::fromStringList(result.program)},
            {"person", QJsonArray::fromStringList(result.person)},
            {"figures", figures},
            {"armSeconds", result.armSeconds},
            {"broken", result.broken}};
}

CellResult fromJson(const QJsonObject& object) {
    const auto texts = [&object](const char* name) {
        QStringList list;
        for (const QJsonValue value : object[QLatin1String(name)].toArray())
            list << value.toString();
        return list;
    };
    CellResult result;
    result.played = true;
    result.program = texts("program");
    result.person = texts("person");
    const QJsonObject figures = object["figures"].toObject();
    for (auto it = figures.begin(); it != figures.end(); ++it)
        result.figures[it.key()] = it.value().toDouble();
    result.armSeconds = object["armSeconds"].toDouble();
    result.broken = object["broken"].toString();
    return result;
}
