#include "findings.h"

namespace {

constexpr int kMostKept = 4;  ///< of each side; more say nothing new

}  // namespace

void Findings::add(QStringList& list, const QString& what) {
    if (list.size() < kMostKept && !list.contains(what))
        list << what;
}

void Findings::read(const QString& name, double value, const Tolerance& tolerance) {
    m_readings[name] = value;
    if (!m_usual || !m_usual->contains(name))
        return;
    const double usual = m_usual->value(name);
    const double least = qMin(tolerance.low * usual, tolerance.high * usual) - tolerance.absolute;
    const double most = qMax(tolerance.low * usual, tolerance.high * usual) + tolerance.absolute;
    if (!(value >= least && value <= most))
        saw(QString("%1: %2, usually %3").arg(name).arg(value, 0, 'g', 4).arg(usual, 0, 'g', 4));
}
