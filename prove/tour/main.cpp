// tour [user|manufacturing|pages] [--device NAME | --fleet] [--stepped] FOLDER: operates the real window on the
// simulated arm as a person would and leaves pictures, reports and one page of what was done.
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTemporaryDir>
#include <csignal>
#include <cstdio>

#include "device/simulated/armcontrol.h"
#include "tour.h"

namespace {

/// Exits with the reason on standard error.
int refuse(const QString& reason) {
    std::fprintf(stderr, "%s\n", qPrintable(reason));
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription("Operates the window on the simulated arm as a person would.");
    parser.addPositionalArgument("flow", "user, manufacturing or pages");
    parser.addPositionalArgument("folder", "where pictures, reports and index.html go");
    parser.addOption({"device", "The device of this name; the first one where it is not given.", "name"});
    parser.addOption({"fleet", "Every device of the fleet, one after the other."});
    parser.addOption({"stepped", "Fast: the arm is stepped and nobody waits."});
    parser.addHelpOption();
    parser.process(application);

    const QStringList arguments = parser.positionalArguments();
    TourPlan plan;
    if (arguments.size() != 2 || !QStringList{"user", "manufacturing", "pages"}.contains(arguments[0]))
        return refuse("Usage: tour user|manufacturing|pages [--device NAME | --fleet] [--stepped] FOLDER");
    plan.flow = arguments[0];
    plan.folder = arguments[1];
    plan.stepped = parser.isSet("stepped");
    if (!QDir().mkpath(plan.folder))
        return refuse(plan.folder + " cannot be made.");
    for (const std::string& name : armcontrol::fleetNames())
        plan.devices << QString::fromStdString(name);
    if (parser.isSet("device") && !plan.devices.contains(parser.value("device")))
        return refuse(
            QString("There is no device \"%1\"; there are: %2.").arg(parser.value("device"), plan.devices.join(", ")));
    if (parser.isSet("device"))
        plan.devices = QStringList(parser.value("device"));
    else if (!parser.isSet("fleet"))
        plan.devices = plan.devices.mid(0, 1);

    // The advanced modes follow the environment; calibrations and reports of a tour stay its own.
    QTemporaryDir home;
    QDir(home.path()).mkpath("config");
    QDir(home.path()).mkpath("logs");
    qputenv("KNDD_HOME", home.path().toLocal8Bit());
    if (plan.flow == "manufacturing")
        qputenv("MVI_MANUFACTURING", "1");
    else
        qunsetenv("MVI_MANUFACTURING");
    std::signal(SIGINT, [](int) { Tour::cancel(); });
    std::signal(SIGTERM, [](int) { Tour::cancel(); });

    const int failures = Tour(plan).run();
    if (failures < 0)
        return refuse(plan.folder + " cannot be written.");
    std::printf("%s\n", qPrintable(QDir(plan.folder).absoluteFilePath("index.html")));
    return failures == 0 ? 0 : 1;
}
