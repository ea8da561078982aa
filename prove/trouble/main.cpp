// trouble faults [--runs N] | operator [--actions N] [--seed S] [--from I] [--limit SECONDS] [--tell]: what may go
// wrong goes wrong while the window works on the stepped arm. Each block of runs or actions is a process of its
// own, so that one that crashes or stands still tells what it did last, and repeats exactly with --from.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTemporaryDir>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>

#include "trouble.h"

namespace {

constexpr char kUsage[] =
    "Usage: trouble faults [--runs N] | operator [--actions N] [--seed S] [--from I] [--limit SECONDS] [--tell]";

struct Plan {
    bool faults = true;
    long count = 0, from = 0;
    unsigned seed = 1;
};

/// Runs or actions of a process; --from begins at the block that holds its number.
long blockSize(const Plan& plan) { return plan.faults ? 250 : 1000; }

int refuse(const QString& reason) {
    std::fprintf(stderr, "%s\n", qPrintable(reason));
    return 2;
}

int playBlock(const Plan& plan, long first, long count, Diary& diary, int argc, char** argv) {
    QTemporaryDir home;
    QDir(home.path()).mkpath("config");
    QDir(home.path()).mkpath("logs");
    qputenv("KNDD_HOME", home.path().toLocal8Bit());
    qputenv("NOLVA_ARM_SOCKET", "off");
    QApplication application(argc, argv);
    diary.at = first;
    try {
        TroubleBench bench(diary, NOLVA_TOUR_WORD);
        (plan.faults ? troubleFaults : troubleOperator)(bench, diary, plan.seed, first, count);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}

QString howItEnded(int status) {
    if (WIFSIGNALED(status))
        return WTERMSIG(status) == SIGALRM ? QString("it stands still")
                                           : QString("it crashed: %1").arg(strsignal(WTERMSIG(status)));
    return WEXITSTATUS(status) == 0 ? QString() : QString("it failed with %1").arg(WEXITSTATUS(status));
}

/// True when all went well.
bool watchBlock(const Plan& plan, long first, long count, Diary& diary, int argc, char** argv) {
    const pid_t child = fork();
    if (child == 0)
        std::exit(playBlock(plan, first, count, diary, argc, argv));
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        std::fprintf(stderr, "No process can be started.\n");
        return false;
    }
    const QString ended = howItEnded(status);
    if (ended.isEmpty()) {
        std::fprintf(stderr, "%s, seed %u: %ld done, digest %08x\n", plan.faults ? "faults" : "operator", plan.seed,
                     first + count, diary.digest.load());
        return true;
    }
    std::fprintf(stderr, "%s, seed %u, number %ld: %s. Again with --seed %u --from %ld. The last actions:\n%s",
                 plan.faults ? "faults" : "operator", plan.seed, diary.at.load(), qPrintable(ended), plan.seed,
                 diary.at.load(), qPrintable(diary.last()));
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    QCommandLineParser parser;
    parser.setApplicationDescription("What may go wrong goes wrong while the window works on the simulated arm.");
    parser.addPositionalArgument("kind", "faults or operator");
    parser.addOption({"runs", "Runs of faults.", "N", "1000"});
    parser.addOption({"actions", "Actions of the operator.", "N", "10000"});
    parser.addOption({"seed", "Seed.", "S", "1"});
    parser.addOption({"from", "Begins with the block of this run or action.", "I", "0"});
    parser.addOption({"limit", "Seconds of real time in which each step has to end.", "SECONDS", "60"});
    parser.addOption({"tell", "Says on standard error what is done."});
    parser.addHelpOption();
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const bool understood = parser.parse(arguments);
    const QString kind = parser.positionalArguments().value(0);
    if (parser.isSet("help")) {
        std::printf("%s\n", kUsage);
        return 0;
    }
    if (!understood || parser.positionalArguments().size() != 1 || (kind != "faults" && kind != "operator")
        || parser.isSet(kind == "faults" ? "actions" : "runs"))
        return refuse(kUsage);

    Plan plan;
    plan.faults = kind == "faults";
    bool counted = false, seeded = false, begun = false, limited = false;
    plan.count = parser.value(plan.faults ? "runs" : "actions").toLong(&counted);
    plan.seed = parser.value("seed").toUInt(&seeded);
    plan.from = parser.value("from").toLong(&begun);
    const unsigned limit = parser.value("limit").toUInt(&limited);
    if (!counted || !seeded || !begun || !limited || plan.count <= 0 || plan.from < 0)
        return refuse("Numbers are whole and not negative; those of runs and actions are above 0.");
    if (plan.from >= plan.count)
        return refuse(QString("There is no number %1 among %2.").arg(plan.from).arg(plan.count));

    void* shared = mmap(nullptr, sizeof(Diary), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return refuse("No memory for the diary.");
    int failures = 0;
    const long size = blockSize(plan);
    for (long first = plan.from / size * size; first < plan.count; first += size) {
        auto* diary = new (shared) Diary;
        diary->limit = limit;
        diary->tell = parser.isSet("tell");
        failures += watchBlock(plan, first, qMin(size, plan.count - first), *diary, argc, argv) ? 0 : 1;
    }
    std::fprintf(stderr, "%d blocks failed\n", failures);
    return failures == 0 ? 0 : 1;
}
