// The commands that look at what is kept, and those that bring it in from files. They print; the number that they
// return is the exit code: 0 done, 1 something is not as it should be. Errors of the store are thrown.
#pragma once

#include <QStringList>
#include <QTextStream>

#include "store.h"

namespace records {

/// Version of the JSON of `show --json` and `export --json-lines`.
constexpr int kJsonSchema = 1;

int importFiles(Store& store, const QStringList& files, QTextStream& out);
int listRuns(Store& store, const Choice& choice, QTextStream& out);
int showRun(Store& store, qint64 id, bool json, QTextStream& out);
int exportCsv(Store& store, const Choice& choice, QTextStream& out);
int exportJsonLines(Store& store, const Choice& choice, QTextStream& out);
int verifyRuns(Store& store, QTextStream& out);

/// A text for a terminal: what would do something to it is shown as a question mark.
QString plain(const QString& text);
/// The same as a cell of a column, which a longer text makes wider.
QString cell(const QString& text, int width);
/// The first of them, and how many there are more.
QString inShort(const QStringList& names, int first);
/// When it was tested: local time, or as the report has it where that cannot be read.
QString timeOf(const Run& run);

}  // namespace records
