// What the window costs at rest, as whole processes.
#include <QProcess>

#include "topics.h"

namespace {

Reading useOf(const QString& program, const char* what, int seconds) {
    QProcess process;
    process.start(program, {what, QString::number(seconds)});
    if (!process.waitForFinished(1000 * (seconds + 30)) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return Reading::none((program + " " + what + " failed: " + process.errorString()).toStdString());
    bool isNumber = false;
    const double use = process.readAllStandardOutput().trimmed().toDouble(&isNumber);
    return isNumber ? Reading(use) : Reading::none((program + " " + what + " printed no number").toStdString());
}

}  // namespace

void measureRest(Table& table, const Options& options) {
    const QString program = QString::fromStdString(options.folder) + "/atrest";
    const int seconds = options.turn(3);
    Reading window = 0.0, scene = 0.0;
    inTurn(
        options.round, [&] { window = useOf(program, "window", seconds); },
        [&] { scene = useOf(program, "scene", seconds); });
    Figure& figure = table.figure("processor use at rest on \"Select\"", "graphical thread, whole processes in pairs");
    figure.add("window", "% of a core", window);
    figure.add("one scene", "% of a core", scene);
    figure.add("window / one scene", "", window / scene, atMost(1.2));
}
