#include "matrixreport.h"

#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

namespace {

constexpr int kOutcomes = static_cast<int>(Outcome::Missed) + 1;
constexpr const char* kOutcomeNames[kOutcomes] = {"not played",
                                                  "crashed",
                                                  "healthy",
                                                  "false alarm",
                                                  "found by the test meant for it",
                                                  "found by another",
                                                  "not visible by design",
                                                  "missed"};

QString nameOf(Outcome outcome) { return kOutcomeNames[static_cast<int>(outcome)]; }

QString rowName(int row) { return row < 0 ? QString("healthy") : faultCases()[static_cast<std::size_t>(row)].name(); }

int rowOf(const Cell& cell) { return cell.faultCase ? static_cast<int>(cell.faultCase - faultCases().data()) : -1; }

QString cellName(const Cell& cell) {
    QString name = QString("%1, %2, %3").arg(cell.subject.name, testName(cell.test), rowName(rowOf(cell)));
    if (cell.axis >= 0)
        name += QString(", axis %1").arg(cell.axis);
    return name + QString(", seed %1").arg(cell.seed);
}

QString who(const CellResult& result) {
    QStringList parts;
    if (!result.program.isEmpty())
        parts << "program: " + result.program.join("; ");
    if (!result.person.isEmpty())
        parts << "operator: " + result.person.join("; ");
    return parts.join(" | ");
}

QString keyOf(const QString& device, int row, Test test) {
    return QString("%1/%2/%3").arg(device).arg(row).arg(static_cast<int>(test));
}

QString quoted(QString text) { return '"' + text.replace('"', "\"\"") + '"'; }

bool save(const QString& path, const QByteArray& content) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}

}  // namespace

// --- Places ------------------------------------------------------------------------------------------

void Place::add(const Place& other) {
    for (int i = 0; i < kOutcomes; ++i)
        number[i] += other.number[i];
    program = program || other.program;
    person = person || other.person;
    for (const QString& reason : other.reasons) {
        if (!reasons.contains(reason))
            reasons << reason;
    }
}

int Place::cells() const {
    int sum = 0;
    for (const int n : number)
        sum += n;
    return sum;
}

Outcome Place::worst() const {
    for (const Outcome bad : {Outcome::Missed, Outcome::FalseAlarm, Outcome::Crashed, Outcome::NotPlayed,
                              Outcome::FoundAsMeant, Outcome::FoundByAnother, Outcome::NotVisible}) {
        if (number[static_cast<int>(bad)] > 0)
            return bad;
    }
    return Outcome::Healthy;
}

QString Place::mark() const {
    if (cells() == 0)
        return QString::fromUtf8("–");
    switch (worst()) {
        case Outcome::Missed:
            return "M";
        case Outcome::FalseAlarm:
            return "F";
        case Outcome::Crashed:
            return "X";
        case Outcome::NotPlayed:
            return "?";
        case Outcome::Healthy:
            return QString("ok %1").arg(cells());
        case Outcome::NotVisible:
            return QString::fromUtf8("·");
        default:
            break;
    }
    const QString letter = program && person ? "B" : program ? "P" : "O";
    const QString mark = worst() == Outcome::FoundAsMeant ? letter : letter.toLower();
    const int blind = number[static_cast<int>(Outcome::NotVisible)];
    return blind > 0 ? QString("%1 %2/%3").arg(mark).arg(cells() - blind).arg(cells()) : mark;
}

QString Place::style() const {
    static const char* const kStyles[kOutcomes] = {"none", "bad", "ok", "bad", "meant", "other", "blind", "bad"};
    return cells() == 0 ? "none" : kStyles[static_cast<int>(worst())];
}

// --- Taking results ----------------------------------------------------------------------------------

MatrixReport::MatrixReport(const std::vector<Cell>& cells, const std::vector<CellResult>& results, double wallSeconds)
    : m_cells(cells), m_results(results), m_wallSeconds(wallSeconds) {
    for (std::size_t i = 0; i < cells.size(); ++i)
        take(cells[i], results[i]);
    std::sort(m_rows.begin(), m_rows.end());
    noteUnseen();
    for (auto it = m_surprised.begin(); it != m_surprised.end(); ++it) {
        const QStringList parts = it.key().split('\n');
        m_surprises << QString("%1 in %2, called \"%3\", was found on %4")
                           .arg(parts[0], parts[1], parts[2], it.value().join(", "));
    }
}

/// Where all tests of a device were played.
void MatrixReport::noteUnseen() {
    QMap<QString, QList<Test>> tests;
    for (const QString& device : m_devices)
        tests[device] = testsOf(device);
    for (const int row : m_rows) {
        QStringList devices;
        for (const QString& device : m_devices) {
            Place all;
            for (const Test test : tests[device])
                all.add(place(device, row, test));
            const bool blind = all.cells() > 0 && all.number[static_cast<int>(Outcome::NotVisible)] == all.cells();
            if (blind && tests[device].contains(Test::Select) && tests[device].contains(Test::Servoloop))
                devices << device;
        }
        if (!devices.isEmpty())
            m_unseen << rowName(row) + ": " + devices.join(", ");
    }
}

void MatrixReport::take(const Cell& cell, const CellResult& result) {
    const int row = rowOf(cell);
    if (!m_devices.contains(cell.subject.name))
        m_devices << cell.subject.name;
    if (std::find(m_rows.begin(), m_rows.end(), row) == m_rows.end())
        m_rows.push_back(row);
    const Outcome what = outcome(cell, result);
    Place& at = m_places[keyOf(cell.subject.name, row, cell.test)];
    ++at.number[static_cast<int>(what)];
    ++m_total[static_cast<int>(what)];
    m_armSeconds += result.armSeconds;
    const bool found = what == Outcome::FoundAsMeant || what == Outcome::FoundByAnother;
    const bool program = !result.program.isEmpty(), person = !result.person.isEmpty();
    if (found) {
        at.program = at.program || program;
        at.person = at.person || person;
        (program && person ? m_byBoth : program ? m_byProgram : m_byPerson) += 1;
    }
    const QString axis = cell.axis >= 0 ? QString("axis %1: ").arg(cell.axis) : QString();
    if (result.found() && at.details.size() < 6)
        at.details << axis + who(result);
    const Expectation expected = cell.faultCase ? expectation(*cell.faultCase, cell.subject, cell.test) : Expectation();
    if (what == Outcome::NotVisible && !at.reasons.contains(expected.reason))
        at.reasons << expected.reason;
    if (what == Outcome::FoundByAnother && expected.reason) {
        QStringList& where = m_surprised[rowName(row) + '\n' + testName(cell.test) + '\n' + expected.reason];
        const QString name =
            cell.axis >= 0 ? QString("%1 (axis %2)").arg(cell.subject.name).arg(cell.axis) : QString(cell.subject.name);
        if (!where.contains(name))
            where << name;
    }
    if (what == Outcome::Missed || what == Outcome::FalseAlarm || what == Outcome::Crashed)
        m_findings << nameOf(what) + ": " + cellName(cell)
                          + (result.broken.isEmpty() ? QString() : ": " + result.broken)
                          + (what == Outcome::Missed && expected.words
                                 ? QString(": the program does not say \"%1\"").arg(expected.words)
                                 : QString())
                          + (result.found() ? ": " + who(result) : QString());
    for (const QString& wrong : wrongFigures(cell, result))
        m_findings << "wrong figure: " + cellName(cell) + ": " + wrong;
}

Place MatrixReport::place(const QString& device, int row, Test test) const {
    if (!device.isEmpty())
        return m_places.value(keyOf(device, row, test));
    Place all;
    for (const QString& one : m_devices)
        all.add(m_places.value(keyOf(one, row, test)));
    return all;
}

QList<Test> MatrixReport::testsOf(const QString& device) const {
    QList<Test> tests;
    for (int i = 0; i < kTests; ++i) {
        int played = 0;
        for (const int row : m_rows)
            played += place(device, row, static_cast<Test>(i)).cells();
        if (played > 0)
            tests << static_cast<Test>(i);
    }
    return tests;
}

QString MatrixReport::totals() const {
    QStringList parts;
    for (const Outcome what : {Outcome::FoundAsMeant, Outcome::FoundByAnother, Outcome::NotVisible, Outcome::Missed,
                               Outcome::Healthy, Outcome::FalseAlarm, Outcome::Crashed, Outcome::NotPlayed})
        parts << QString("%1 %2").arg(m_total[static_cast<int>(what)]).arg(nameOf(what));
    return QString(
               "%1 cells: %2. Of what was found, the program alone found %3, the operator alone %4, both %5. "
               "%6 s of the arm in %7 s.")
        .arg(m_cells.size())
        .arg(parts.join(", "))
        .arg(m_byProgram)
        .arg(m_byPerson)
        .arg(m_byBoth)
        .arg(m_armSeconds, 0, 'f', 0)
        .arg(m_wallSeconds, 0, 'f', 0);
}

// --- Files -------------------------------------------------------------------------------------------

namespace {

constexpr char kLegend[] =
    "P the program found it, O the operator, B both; capital where the test is meant to, small where another finds "
    "it; "
    "2/3 in two runs of three; · not visible by design; M missed, F false alarm, X crashed, ? not played; – no "
    "such "
    "part";

}  // namespace

QByteArray MatrixReport::text() const {
    QString page = totals() + "\n\n" + QString::fromUtf8(kLegend) + "\n";
    for (const QString& device : m_devices) {
        const QList<Test> tests = testsOf(device);
        page += "\n" + device + "\n" + QString(33, ' ');
        for (const Test test : tests)
            page += testName(test).replace("Calibration ", "Cal. ").leftJustified(14);
        for (const int row : m_rows) {
            page += "\n  " + rowName(row).leftJustified(31);
            for (const Test test : tests)
                page += place(device, row, test).mark().leftJustified(14);
        }
        page += '\n';
    }
    page += "\nFindings\n" + (m_findings.isEmpty() ? QString("  none") : "  " + m_findings.join("\n  ")) + '\n';
    page += "\nFound by no test\n" + (m_unseen.isEmpty() ? QString("  none") : "  " + m_unseen.join("\n  ")) + '\n';
    page += "\nCalled not visible, and found\n"
            + (m_surprises.isEmpty() ? QString("  none") : "  " + m_surprises.join("\n  ")) + '\n';
    return page.toUtf8();
}

QByteArray MatrixReport::csv() const {
    QString page = "device,test,fault,axis,seed,outcome,program,operator,reason,broken,arm seconds\n";
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        const Cell& cell = m_cells[i];
        const CellResult& result = m_results[i];
        const Outcome what = outcome(cell, result);
        const char* reason =
            what == Outcome::NotVisible ? expectation(*cell.faultCase, cell.subject, cell.test).reason : "";
        page += QStringList{quoted(cell.subject.name),
                            quoted(testName(cell.test)),
                            quoted(rowName(rowOf(cell))),
                            QString::number(cell.axis),
                            QString::number(cell.seed),
                            quoted(nameOf(what)),
                            quoted(result.program.join("; ")),
                            quoted(result.person.join("; ")),
                            quoted(reason),
                            quoted(result.broken),
                            QString::number(result.armSeconds, 'f', 1)}
                    .join(',')
                + '\n';
    }
    return page.toUtf8();
}

QByteArray MatrixReport::json() const {
    QJsonArray all;
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        const Cell& cell = m_cells[i];
        QJsonObject one = toJson(m_results[i]);
        const Outcome what = outcome(cell, m_results[i]);
        one["device"] = cell.subject.name;
        one["test"] = testName(cell.test);
        one["fault"] = rowName(rowOf(cell));
        one["axis"] = cell.axis;
        one["seed"] = static_cast<int>(cell.seed);
        one["outcome"] = nameOf(what);
        if (what == Outcome::NotVisible)
            one["reason"] = expectation(*cell.faultCase, cell.subject, cell.test).reason;
        all.append(one);
    }
    return QJsonDocument(QJsonObject{{"totals", totals()},
                                     {"findings", QJsonArray::fromStringList(m_findings)},
                                     {"foundByNoTest", QJsonArray::fromStringList(m_unseen)},
                                     {"foundThoughNotVisible", QJsonArray::fromStringList(m_surprises)},
                                     {"cells", all}})
        .toJson(QJsonDocument::Compact);
}

bool MatrixReport::write(const QString& folder) const {
    const QDir to(folder);
    bool good = save(to.filePath("matrix.txt"), text());
    good = save(to.filePath("matrix.csv"), csv()) && good;
    good = save(to.filePath("matrix.json"), json()) && good;
    return save(to.filePath("index.html"), html()) && good;
}
