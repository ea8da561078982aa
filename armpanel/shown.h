// Texts from elsewhere (the arm's, names of files) as the panel shows them.
#pragma once

#include <QString>

#include "device/foreign.h"

/// One printable line of at most 200 characters.
inline QString shown(const QString& text) { return QString::fromStdString(foreign::printable(text.toStdString())); }
