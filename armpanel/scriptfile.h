// Scripts as files: the hand's commands as the arm's socket takes them, a line each, and {"wait":ms} between.
#pragma once

#include <QByteArray>

#include "handscript.h"

/// A line longer than this is none, as on the socket.
constexpr int kLongestScriptLine = 64 * 1024;
constexpr int kLongestScriptFile = 16 * 1024 * 1024;
constexpr int kLongestWaitMs = 60 * 60 * 1000;

struct ReadScript {
    HandScript script;  ///< empty where there is an error
    QString error;      ///< a sentence that begins with the line, counted from 1; empty where all is well
};

/// Reads a whole script. Every line is checked before anything can be played: the command must be one of the
/// hand's, its fields those of that command, of the right kind and within their range. Blank lines and a field
/// `id` mean nothing; waits in a row add up.
ReadScript readScript(const QByteArray& text);
QByteArray writeScript(const HandScript& script);

/// Names each step by its number and command, as a script read from text has them.
void labelSteps(HandScript& script);

/// Time from the first step to the end, ms.
qint64 lengthOf(const HandScript& script);

/// The same from and to a file; the sentence is empty where all is well, and names no path.
ReadScript readScriptFile(const QString& path);
QString writeScriptFile(const QString& path, const HandScript& script);
