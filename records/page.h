// A page of what is kept: HTML without any outside part, for a screen, a phone or paper, light or dark.
#pragma once

#include <QTextStream>

#include "store.h"

namespace records {

/// Yield by week and line, first-pass yield, the items that fail most, each measured span over time with its limit and
/// control limits, and, where the choice has a serial number, every run of it. Weeks begin on Monday, UTC.
int writePage(Store& store, const Choice& choice, QTextStream& out);

}  // namespace records
