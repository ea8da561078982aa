// How a test report looks.
#pragma once

#include <QTextStream>

#include "items.h"

namespace report {

/// "    P" or "  * F *".
QString passFail(bool pass);

/// The report as text, a line an item, with room for comments at its end.
void printText(QTextStream& stream, const Items& items);

}  // namespace report
