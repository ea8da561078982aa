// The folder that a detection matrix leaves: matrix.txt, matrix.csv, matrix.json and one page, index.html.
#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <vector>

#include "matrixplan.h"

/// One place of the picture: a case and a test on a device, all axes together.
struct Place {
    int number[static_cast<int>(Outcome::Missed) + 1] = {};  ///< cells by outcome
    bool program = false, person = false;                    ///< who found something
    QStringList reasons, details;

    void add(const Place& other);

    int cells() const;
    Outcome worst() const;
    /// One to three characters: what an overview shows.
    QString mark() const;
    /// A word for the style sheet.
    QString style() const;
};

class MatrixReport {
public:
    MatrixReport(const std::vector<Cell>& cells, const std::vector<CellResult>& results, double wallSeconds);

    /// Misses, false alarms, crashes and wrong figures, in words.
    const QStringList& findings() const { return m_findings; }
    /// What the table calls not visible and was found all the same: no failure, for whoever keeps the table.
    const QStringList& surprises() const { return m_surprises; }
    /// Cases that no test of a device sees, by design. No failure either.
    const QStringList& unseen() const { return m_unseen; }
    QString totals() const;
    /// Whole, and without a finding.
    bool good() const { return m_findings.isEmpty() && m_total[static_cast<int>(Outcome::NotPlayed)] == 0; }
    /// False when something cannot be written.
    bool write(const QString& folder) const;

private:
    void take(const Cell& cell, const CellResult& result);
    void noteUnseen();
    /// Of one device, or of all where `device` is empty.
    Place place(const QString& device, int row, Test test) const;
    QList<Test> testsOf(const QString& device) const;
    QByteArray text() const;
    QByteArray csv() const;
    QByteArray json() const;
    QByteArray html() const;
    QString htmlTable(const QString& device) const;
    QString htmlReasons() const;

    const std::vector<Cell>& m_cells;
    const std::vector<CellResult>& m_results;
    double m_wallSeconds;
    QStringList m_devices;
    std::vector<int> m_rows;        ///< places in faultCases() that were played; -1 for healthy
    QMap<QString, Place> m_places;  ///< by key
    QStringList m_findings, m_surprises, m_unseen;
    QMap<QString, QStringList> m_surprised;  ///< devices, by what was found
    int m_total[static_cast<int>(Outcome::Missed) + 1] = {};
    int m_byProgram = 0, m_byPerson = 0, m_byBoth = 0;
    double m_armSeconds = 0;
};
