// What came out of one test of one arm: what the program said, what the operator saw or felt, and the read-outs
// that are compared with those of a healthy arm.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

/// How far a read-out may differ from the usual one `u`: it lies between low u - absolute and high u + absolute.
struct Tolerance {
    double low = 1, high = 1, absolute = 0;
};

using Readings = QMap<QString, double>;

class Findings {
public:
    /// `usual`: the read-outs of the same test on a healthy arm; null while those are taken.
    explicit Findings(const Readings* usual) : m_usual(usual) {}

    /// A complaint of the program: a verdict, a colour, a closed gate, a line.
    void said(const QString& what) { add(m_program, what); }
    /// What the operator holds against the arm without the program's help.
    void saw(const QString& what) { add(m_person, what); }
    /// A read-out as the operator takes it. It is held against the arm where it is not the usual one.
    void read(const QString& name, double value, const Tolerance& tolerance);
    /// A figure that the program measured, for the record alone.
    void measured(const QString& name, double value) { m_figures[name] = value; }

    const QStringList& program() const { return m_program; }
    const QStringList& person() const { return m_person; }
    const Readings& readings() const { return m_readings; }
    const Readings& figures() const { return m_figures; }
    bool any() const { return !m_program.isEmpty() || !m_person.isEmpty(); }

private:
    static void add(QStringList& list, const QString& what);

    const Readings* m_usual;
    QStringList m_program, m_person;
    Readings m_readings, m_figures;
};
