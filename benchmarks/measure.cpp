// measure [--only SUBJECT] [--seconds N] [file.json]: prints every figure with the machine and the scheduling beside
// it, and writes it as JSON. Subjects: startup, ticks, slots, stalls, rest, stepped, lateness, load, clear, ordinary
// (lateness without real-time scheduling), lost (ticks lost in --seconds beside a busy window).
#include <QApplication>
#include <QCommandLineParser>
#include <QDateTime>
#include <QFileInfo>
#include <QProcess>
#include <QSysInfo>
#include <QTemporaryFile>
#include <cstdio>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <thread>

#include "figures.h"

namespace {

void print(const Figure& figure) {
    std::printf("%-42s %s\n", figure.subject.c_str(), figure.conditions.c_str());
    for (const auto& [name, value] : figure.values)
        std::printf("    %-24s %12.3f %s\n", name.c_str(), value, figure.unit.c_str());
    if (!figure.goal.empty())
        std::printf("    goal: %s\n", figure.goal.c_str());
}

nlohmann::json toJson(const Figure& figure) {
    nlohmann::json values = nlohmann::json::object();
    for (const auto& [name, value] : figure.values)
        values[name] = value;
    return {{"subject", figure.subject},
            {"conditions", figure.conditions},
            {"unit", figure.unit},
            {"goal", figure.goal},
            {"values", values}};
}

struct Subject {
    const char* name;
    bool whenAll;  ///< belongs to the table of a run without --only
    std::function<std::vector<Figure>()> measure;
};

/// The lateness once more in a process that may not ask for real-time scheduling.
std::vector<Figure> latenessWithoutRealTime(const QString& program, int seconds) {
    QTemporaryFile file;
    if (!file.open())
        return {};
    QProcess process;
    process.start("setpriv", {"--bounding-set", "-sys_nice", "--inh-caps", "-sys_nice", program, "--only", "lateness",
                              "--seconds", QString::number(seconds), file.fileName()});
    process.waitForFinished(-1);
    std::vector<Figure> figures;
    const nlohmann::json report = nlohmann::json::parse(file.readAll().toStdString(), nullptr, false);
    if (!report.is_object())
        return {};
    for (const auto& row : report["figures"]) {
        Figure figure{row["subject"], row["conditions"], {}, row["unit"], row["goal"]};
        for (const auto& value : row["values"].items())
            figure.values.push_back({value.key(), value.value()});
        figures.push_back(figure);
    }
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    const QString program = QFileInfo("/proc/self/exe").symLinkTarget();
    const std::string folder = program.section('/', 0, -2).toStdString();
    QCommandLineParser parser;
    parser.addOption({"only", "Measures one subject.", "subject"});
    parser.addOption({"seconds", "Length of each timed run.", "seconds", "10"});
    parser.addPositionalArgument("file", "Where the figures go as JSON.", "[file.json]");
    parser.addHelpOption();
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (!parser.parse(arguments) || parser.positionalArguments().size() > 1 || parser.value("seconds").toInt() < 1) {
        std::fprintf(stderr, "%s\n", qPrintable(parser.helpText()));
        return 2;
    }
    const QString only = parser.value("only");
    const int seconds = parser.value("seconds").toInt();
    // The start-up figures come first: this process is still small when it forks.
    std::vector<Figure> figures;
    if (only.isEmpty() || only == "startup")
        figures = measureStartUp(folder + "/firstpaint", 10);

    // The toolkit's own event dispatcher tells when it starts and ends to wait; the other one does not.
    qputenv("QT_NO_GLIB", "1");
    QApplication application(argc, argv);
    const Subject subjects[] = {
        {"startup", true, [] { return std::vector<Figure>(); }},
        {"ticks", true, [] { return measureTickCost(); }},
        {"slots", true, [] { return measureSlots(); }},
        {"stalls", true, [&] { return measureStalls(seconds); }},
        {"rest", true, [&] { return measureRest(folder + "/atrest", seconds); }},
        {"stepped", true, [] { return measureStepped(); }},
        {"lateness", true, [&] { return measureLateness(seconds); }},
        {"load", true, [&] { return measureUnderLoad(seconds); }},
        {"ordinary", true, [&] { return latenessWithoutRealTime(program, seconds); }},
        {"clear", true, [] { return measureClearing(); }},
        {"lost", false, [&] { return measureLostTicks(seconds); }},
    };
    bool known = only.isEmpty();
    for (const Subject& subject : subjects) {
        known = known || only == subject.name;
        if (only.isEmpty() ? !subject.whenAll : only != subject.name)
            continue;
        for (const Figure& figure : subject.measure())
            figures.push_back(figure);
    }
    if (!known) {
        std::fprintf(stderr, "There is no subject \"%s\".\n", qPrintable(only));
        return 2;
    }

    const std::string machine = QSysInfo::prettyProductName().toStdString() + ", "
                                + QSysInfo::kernelVersion().toStdString() + ", "
                                + std::to_string(std::thread::hardware_concurrency()) + " cores";
    std::printf("%s\n\n", machine.c_str());
    nlohmann::json report{{"machine", machine},
                          {"date", QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString()},
                          {"figures", nlohmann::json::array()}};
    for (const Figure& figure : figures) {
        print(figure);
        report["figures"].push_back(toJson(figure));
    }
    const QString name = parser.positionalArguments().value(0, "figures.json");
    std::ofstream file(name.toStdString());
    file << report.dump(2) << '\n';
    if (!file.flush()) {
        std::fprintf(stderr, "%s cannot be written\n", qPrintable(name));
        return 1;
    }
    std::printf("\nWritten to %s\n", qPrintable(name));
    return 0;
}
