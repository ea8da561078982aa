// Takes the figures in rounds, prints each with its verdict and writes them as JSON. --help says how it is told more.
// Ends with 0 where all goals are met, 1 where one is missed or something was not measured, 2 when it was told wrong.
#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QProcess>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "device/simulated/armcontrol.h"
#include "machine.h"
#include "report.h"
#include "topics.h"

namespace {

struct Topic {
    const char* name;
    bool needsDisplay;
    void (*measure)(Table& table, const Options& options);
    const char* tells;
};

constexpr Topic kTopics[] = {
    {"startup", true, measureStartUp, "start to first paint, against a bare window"},
    {"ticks", false, measureTickCost, "cost of a servo tick, branch by branch"},
    {"slots", true, measureSlots, "cost of the slots that timers call"},
    {"stalls", true, measureStalls, "how long the event loop is held on each tab, against a bare window"},
    {"slider", true, measureSlider, "how long the event loop is held under a slider whose amplifiers do not follow"},
    {"rest", true, measureRest, "processor use at rest"},
    {"stepped", false, measureStepped, "speed of the stepped arm, and memory"},
    {"lateness", true, measureLateness, "wake-up lateness with real-time scheduling, against cyclictest"},
    {"ordinary", true, measureOrdinaryLateness, "wake-up lateness with ordinary scheduling, against a bare thread"},
    {"load", true, measureUnderLoad, "wake-up lateness under the loads of the servo page"},
    {"clear", true, measureClearing, "late ticks while a long error browser is emptied"},
    {"lost", true, measureLostTicks, "periods without a tick in long turns, against cyclictest"},
};

struct WrongUse : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Asked {
    std::string only, place, from, against, page, file;
    int repeats = 5, seconds = 0;
};

int numberOf(const QCommandLineParser& parser, const QString& option, int least, int most) {
    bool isNumber = false;
    const int number = parser.value(option).toInt(&isNumber);
    if (!isNumber || number < least || number > most)
        throw WrongUse(QString("--%1 takes a number from %2 to %3, not \"%4\".")
                           .arg(option)
                           .arg(least)
                           .arg(most)
                           .arg(parser.value(option))
                           .toStdString());
    return number;
}

std::string topicList() {
    std::string list = "Topics:\n";
    for (const Topic& topic : kTopics)
        list +=
            "  " + std::string(topic.name) + std::string(10 - std::string(topic.name).size(), ' ') + topic.tells + '\n';
    return list;
}

/// Ends the program where help is asked for.
Asked askedFor(int argc, char** argv, const std::string& ownFile) {
    QCommandLineParser parser;
    parser.addOption({"only", "Measures one topic.", "topic"});
    parser.addOption({"repeats", "Rounds of which minimum, median and maximum are told (5).", "N", "5"});
    parser.addOption({"seconds", "Length of each timed turn; without it each topic takes its own.", "N"});
    parser.addOption({"place", "Of the topic stalls the tabs and pages with this in their name.", "text"});
    parser.addOption({"from", "Measures nothing and takes the figures of a file.", "file.json"});
    parser.addOption({"against", "Tells what got better or worse than in an earlier file.", "old.json"});
    parser.addOption({"write-docs", "Writes the figures between the markers of a page.", "page.md"});
    parser.addOption({{"h", "help"}, "Tells this."});
    parser.addPositionalArgument("file", "Where the figures go as JSON, " + QString::fromStdString(ownFile) + '.',
                                 "[file.json]");
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (!parser.parse(arguments))
        throw WrongUse(parser.errorText().toStdString());
    if (parser.isSet("help")) {
        const QCoreApplication application(argc, argv);  // the text takes the program's name from it
        std::printf("%s\n%s", qPrintable(parser.helpText()), topicList().c_str());
        std::exit(0);
    }
    if (parser.positionalArguments().size() > 1)
        throw WrongUse("One file is written, not several.");

    Asked asked;
    asked.only = parser.value("only").toStdString();
    asked.place = parser.value("place").toStdString();
    if (!asked.place.empty() && asked.only != "stalls")
        throw WrongUse("--place is for --only stalls.");
    asked.from = parser.value("from").toStdString();
    asked.against = parser.value("against").toStdString();
    asked.page = parser.value("write-docs").toStdString();
    asked.repeats = numberOf(parser, "repeats", 1, 1000);
    if (parser.isSet("seconds"))
        asked.seconds = numberOf(parser, "seconds", 1, 3600);
    asked.file =
        parser.positionalArguments().value(0, asked.from.empty() ? QString::fromStdString(ownFile) : "").toStdString();
    bool known = !parser.isSet("only");
    for (const Topic& topic : kTopics)
        known = known || asked.only == topic.name;
    if (!known)
        throw WrongUse("There is no topic \"" + asked.only + "\". " + topicList());
    return asked;
}

void mustBeWritable(const std::string& file) {
    if (!std::ofstream(file, std::ios::app))
        throw WrongUse(file + " cannot be written.");
}

void takeRounds(Table& table, const Asked& asked, const std::string& folder, bool display) {
    for (int round = 0; round < asked.repeats; ++round) {
        for (const Topic& topic : kTopics) {
            if (!asked.only.empty() && asked.only != topic.name)
                continue;
            table.topic = topic.name;
            if (topic.needsDisplay && !display) {
                table.missing(topic.tells, "no window can be shown; is there a display?");
                continue;
            }
            std::fprintf(stderr, "round %d of %d: %s\n", round + 1, asked.repeats, topic.name);
            topic.measure(table, {round, asked.seconds, folder, asked.place});
            armcontrol::resetArm();
        }
    }
}

Run measured(int argc, char** argv, const Asked& asked, const std::string& folder) {
    Run run = describeRun();
    run.repeats = asked.repeats;
    run.seconds = asked.seconds;
    // It stays till this process has a window system of its own: some displays begin anew when the last program leaves.
    QProcess probe;
    probe.start(QString::fromStdString(folder) + "/firstpaint", {"bare", "stay"});
    probe.waitForReadyRead(40000);
    const bool display = probe.readAllStandardOutput().startsWith("painted");
    if (!display)
        qputenv("QT_QPA_PLATFORM", "offscreen");  // what remains shows nothing
    // The toolkit's own event dispatcher tells when it begins to wait; the other one does not.
    qputenv("QT_NO_GLIB", "1");
    QApplication application(argc, argv);
    probe.closeWriteChannel();
    probe.waitForFinished();
    Table table;
    takeRounds(table, asked, folder, display);
    run.figures = std::move(table.figures);
    return run;
}

}  // namespace

int main(int argc, char** argv) {
    const QString program = QFileInfo("/proc/self/exe").symLinkTarget();
    const std::string folder = program.section('/', 0, -2).toStdString();
    qputenv("NOLVA_ARM_SOCKET", "off");
    try {
        const Asked asked = askedFor(argc, argv, program.section('/', 0, -3).toStdString() + "/figures.json");
        // Before the minutes of a run, what would be found out after it.
        Run before;
        if (!asked.against.empty())
            before = readRun(asked.against);
        if (!asked.page.empty())
            mustBeWritable(asked.page);
        if (!asked.file.empty())
            mustBeWritable(asked.file);

        const Run run = asked.from.empty() ? measured(argc, argv, asked, folder) : readRun(asked.from);
        const bool good = print(run);
        if (!asked.against.empty())
            printAgainst(before, run);
        if (!asked.page.empty())
            writePage(run, asked.page);
        if (asked.file.empty())
            return good ? 0 : 1;
        std::ofstream file(asked.file);
        file << jsonOf(run);
        if (!file.flush())
            throw std::runtime_error(asked.file + " cannot be written.");
        std::printf("\nWritten to %s\n", asked.file.c_str());
        return good ? 0 : 1;
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "measure: %s\n", error.what());
        return 2;
    }
}
