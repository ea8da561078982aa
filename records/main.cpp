// nolva-records: keeps every report, and shows what was kept.
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QLockFile>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>

#include "commands.h"
#include "compared.h"
#include "keeper.h"
#include "page.h"

namespace {

using namespace records;

constexpr int kUsageError = 2, kLockMs = 500;
volatile std::sig_atomic_t ended = 0;

const char* const kUsage =
    "nolva-records keep [--with PID] watches the report file and stores each report; ends with that process\n"
    "nolva-records import FILE...    stores reports from files\n"
    "nolva-records list [choice]     the runs, oldest first\n"
    "nolva-records show ID [--json]  one run: the report as it was, or its values\n"
    "nolva-records export [choice] [--json-lines]\n"
    "                                all values, as CSV or a JSON object a line\n"
    "nolva-records page [choice]     a page of it all: yield, what fails, spans over time (HTML, to standard output)\n"
    "nolva-records trend QUANTITY [choice]\n"
    "                                a quantity run by run, with the limits of a control chart\n"
    "nolva-records compare SERIAL SERIAL\n"
    "                                the newest runs of two serials side by side\n"
    "nolva-records gauge QUANTITY [choice] [--tolerance T]\n"
    "                                repeatability and reproducibility: serials tested again by several operators\n"
    "nolva-records verify            whether everything is as it was stored\n"
    "Choice: --serial S, --device D, --model M, --operator O, --verdict pass|fail|not-understood,\n"
    "        --since DATE, --until DATE (included), --newest N (but for a page)\n"
    "Quantity: the width of the span of counts-1 to counts-6 or dac-1 to dac-6; counts-1-low, counts-1-high: an end\n"
    "--db WHERE or NOLVA_RECORDS: a file, or postgresql://user@host:port/database; else "
    "$KNDD_HOME/logs/records.sqlite\n";

int refuse(const QString& why) {
    std::fprintf(stderr, "nolva-records: %s\n", qPrintable(why));
    return kUsageError;
}

void say(const QString& line) { std::fprintf(stderr, "nolva-records: %s\n", qPrintable(line)); }

/// One keeper a folder: another one waits, and takes over when that has ended, so that there is never none.
/// `companion`: the process after whose end this one ends too, once all is stored; 0 for none.
int keep(const QString& where, pid_t companion) {
    const QString home = qEnvironmentVariable("KNDD_HOME");
    if (home.isEmpty())
        return refuse("keep watches $KNDD_HOME/logs/Test_Reports, and KNDD_HOME is not set");
    const QDir logs(home + "/logs");
    if (!logs.mkpath("."))
        return refuse(plain(logs.path()) + " cannot be made");
    const auto isOver = [companion] { return ended || (companion > 0 && ::kill(companion, 0) != 0 && errno == ESRCH); };
    std::signal(SIGINT, [](int) { ended = 1; });
    std::signal(SIGTERM, [](int) { ended = 1; });
    QLockFile lock(logs.filePath(".records.lock"));
    lock.setStaleLockTime(0);
    while (!lock.tryLock(kLockMs) && lock.error() == QLockFile::LockFailedError)
        if (isOver())
            return 0;
    Keeper keeper(logs.filePath("Test_Reports"), logs.filePath("records-waiting"), where, say);
    keeper.keep(isOver);
    return 0;
}

bool takeTime(const QCommandLineParser& parser, const char* name, int moreDays, std::optional<qint64>& ms) {
    if (!parser.isSet(name))
        return true;
    const QDate day = QDate::fromString(parser.value(name), Qt::ISODate);
    if (day.isValid())
        ms = day.addDays(moreDays).startOfDay().toMSecsSinceEpoch();
    return day.isValid();
}

/// An empty text where all is well.
QString takeChoice(const QCommandLineParser& parser, Choice& choice) {
    choice.serial = parser.value("serial");
    choice.device = parser.value("device");
    choice.model = parser.value("model");
    choice.operatorName = parser.value("operator");
    choice.verdict = parser.value("verdict");
    if (!choice.verdict.isEmpty() && !QStringList{"pass", "fail", "not-understood"}.contains(choice.verdict))
        return "--verdict is pass, fail or not-understood";
    if (!takeTime(parser, "since", 0, choice.since) || !takeTime(parser, "until", 1, choice.until))
        return "--since and --until take a day as 2026-11-30";
    bool whole = true;
    if (parser.isSet("newest"))
        choice.newest = parser.value("newest").toInt(&whole);
    return whole && (choice.newest > 0 || !parser.isSet("newest")) ? QString() : "--newest takes a number above 0";
}

const QStringList kChoice{"serial", "device", "model", "operator", "verdict", "since", "until", "newest"};
const QStringList kPageChoice = kChoice.mid(0, kChoice.size() - 1);  // a page is of all runs of a choice

const struct Command {
    const char* name;
    int least, most;  ///< words after it
    QStringList options;
    bool stores = false;
} kCommands[] = {{"keep", 0, 0, {"with"}, true},
                 {"import", 1, INT_MAX, {}, true},
                 {"list", 0, 0, kChoice},
                 {"show", 1, 1, {"json"}},
                 {"export", 0, 0, kChoice + QStringList{"json-lines"}},
                 {"page", 0, 0, kPageChoice},
                 {"trend", 1, 1, kChoice},
                 {"compare", 2, 2, {}},
                 {"gauge", 1, 1, kChoice + QStringList{"tolerance"}},
                 {"verify", 0, 0, {}}};

const Command* commandNamed(const QString& name) {
    const auto* const found = std::find_if(std::begin(kCommands), std::end(kCommands),
                                           [&](const Command& command) { return name == command.name; });
    return found == std::end(kCommands) ? nullptr : found;
}

/// An empty text where the command is one, with what it needs.
QString mistakeIn(const QString& command, const QStringList& words, const QCommandLineParser& parser) {
    const Command* const known = commandNamed(command);
    bool number = true;
    if (command == "show")
        words.value(0).toLongLong(&number);
    if (!known || !number || words.size() < known->least || words.size() > known->most)
        return "no such command; nolva-records --help tells what there is";
    for (const QString& option : parser.optionNames())
        if (option != "db" && !known->options.contains(option))
            return QString("%1 takes no --%2").arg(command, option);
    if ((command == "trend" || command == "gauge") && !measureNamed(words[0]))
        return "a quantity is counts-1 to counts-6 or dac-1 to dac-6, one end of it counts-1-low or counts-1-high";
    if (parser.isSet("with") && (parser.value("with").toInt(&number) <= 0 || !number))
        return "--with takes a number above 0, that of a process";
    const double tolerance = parser.isSet("tolerance") ? parser.value("tolerance").toDouble(&number) : 1;
    return number && std::isfinite(tolerance) && tolerance > 0 ? QString() : "--tolerance takes a number above 0";
}

int run(const QString& command, const QStringList& words, const Choice& choice, const QCommandLineParser& parser,
        Store& store, QTextStream& out) {
    if (command == "import")
        return importFiles(store, words, out);
    if (command == "list")
        return listRuns(store, choice, out);
    if (command == "show")
        return showRun(store, words[0].toLongLong(), parser.isSet("json"), out);
    if (command == "export")
        return parser.isSet("json-lines") ? exportJsonLines(store, choice, out) : exportCsv(store, choice, out);
    if (command == "trend")
        return trendOf(store, *measureNamed(words[0]), choice, out);
    if (command == "compare")
        return compareSerials(store, words[0], words[1], out);
    if (command == "gauge")
        return gaugeOf(store, *measureNamed(words[0]), choice, parser.value("tolerance").toDouble(), out);
    return command == "page" ? writePage(store, choice, out) : verifyRuns(store, out);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOption({"db", "", "where"});
    for (const QString& name : kChoice + QStringList{"with", "tolerance"})
        parser.addOption({name, "", name});
    parser.addOptions({{"json", ""}, {"json-lines", ""}, {"help", ""}});
    if (!parser.parse(QCoreApplication::arguments()))
        return refuse(parser.errorText());
    QStringList words = parser.positionalArguments();
    if (parser.isSet("help") || words.isEmpty()) {
        std::fputs(kUsage, parser.isSet("help") ? stdout : stderr);
        return parser.isSet("help") ? 0 : kUsageError;
    }
    const QString command = words.takeFirst();
    Choice choice;
    const QString wrong = takeChoice(parser, choice);
    if (!wrong.isEmpty())
        return refuse(wrong);
    const QString mistake = mistakeIn(command, words, parser);
    if (!mistake.isEmpty())
        return refuse(mistake);
    // What the toolkit says of a database is said here, in one line.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    try {
        const QString where = storeNamed(parser.value("db"));
        if (command == "keep")
            return keep(where, parser.value("with").toInt());
        // Reading makes no file, so that a mistyped name does not look like records that are there.
        const bool nothingThere = !commandNamed(command)->stores && isMissingFile(where);
        if (nothingThere)
            say(plain(where) + " is not there: nothing was kept in it");
        if (nothingThere && command == "verify")
            return 1;
        Store store(nothingThere ? QString() : where);
        QFile standard;
        standard.open(stdout, QIODevice::WriteOnly);
        QTextStream out(&standard);
        out.setCodec("UTF-8");
        const int code = run(command, words, choice, parser, store, out);
        out.flush();
        if (out.status() == QTextStream::Ok && standard.flush() && std::ferror(stdout) == 0)
            return code;
        say("not all of it could be written");
        return 1;
    } catch (const StoreError& error) {
        say(plain(QString::fromStdString(error.what())));
        return 1;
    }
}
