// matrix [--device NAME] [--fault NAME] [--test NAME] [--seeds N] [--jobs N] FOLDER: every fault of the simulated
// arm against every test of the application on every device, and healthy arms in many manners; proves that faults
// are found.
#include <unistd.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <csignal>
#include <cstdio>

#include "matrixreport.h"
#include "workers.h"

namespace {

int refuse(const QString& reason) {
    std::fprintf(stderr, "%s\n", qPrintable(reason));
    return 2;
}

/// The cells done and the time left, on standard error: in place on a terminal, else a line now and then.
class Progress {
public:
    Progress(const std::vector<Cell>& cells, const std::vector<CellResult>& results)
        : m_cells(cells), m_results(results) {
        m_clock.start();
    }
    void hear(std::size_t cell) {
        ++m_done;
        const Outcome what = outcome(m_cells[cell], m_results[cell]);
        m_missed += what == Outcome::Missed;
        m_alarms += what == Outcome::FalseAlarm;
        m_crashed += what == Outcome::Crashed;
        const bool last = m_done == m_cells.size();
        if (!last && m_clock.elapsed() - m_shown < (m_terminal ? 200 : 10000))
            return;
        m_shown = m_clock.elapsed();
        const auto left = static_cast<long>(static_cast<double>(m_shown) * static_cast<double>(m_cells.size() - m_done)
                                            / static_cast<double>(m_done) / 1000);
        std::fprintf(stderr, "%s%zu of %zu cells, %d missed, %d false alarms, %d crashed, %ld:%02ld left%s",
                     m_terminal ? "\r" : "", m_done, m_cells.size(), m_missed, m_alarms, m_crashed, left / 60,
                     left % 60, m_terminal && !last ? "   " : "\n");
    }
    double seconds() const { return static_cast<double>(m_clock.elapsed()) / 1000; }

private:
    const std::vector<Cell>& m_cells;
    const std::vector<CellResult>& m_results;
    const bool m_terminal = isatty(STDERR_FILENO);
    QElapsedTimer m_clock;
    qint64 m_shown = -10000;
    std::size_t m_done = 0;
    int m_missed = 0, m_alarms = 0, m_crashed = 0;
};

/// A whole number of at least this; -1 for another text.
int numberOf(const QCommandLineParser& parser, const char* option, int least) {
    bool good = false;
    const int value = parser.value(option).toInt(&good);
    return good && value >= least ? value : -1;
}

int work(const std::vector<Cell>& cells) {
    QTemporaryDir home;
    QDir(home.path()).mkpath("config");
    QDir(home.path()).mkpath("logs");
    qputenv("KNDD_HOME", home.path().toLocal8Bit());
    return serveCells(cells);
}

int play(const std::vector<Cell>& cells, const QStringList& arguments, int jobs, int limit, const QString& folder) {
    std::signal(SIGINT, [](int) { FlowTime::cancel(); });
    std::signal(SIGTERM, [](int) { FlowTime::cancel(); });
    std::vector<CellResult> results;
    Progress progress(cells, results);
    Workers workers(QCoreApplication::applicationFilePath(), arguments, jobs, limit);
    const bool whole = workers.play(cells, results, [&](std::size_t cell) { progress.hear(cell); });
    const MatrixReport report(cells, results, progress.seconds());
    if (!report.write(folder))
        return refuse(folder + " cannot be written.");
    std::printf("%s%s\n%s\n", whole ? "" : "Broken off. ", qPrintable(report.totals()),
                qPrintable(QDir(folder).absoluteFilePath("index.html")));
    for (const QString& finding : report.findings())
        std::printf("%s\n", qPrintable(finding));
    return whole && report.good() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    bool worker = false;
    for (int i = 1; i < argc; ++i)
        worker = worker || qstrcmp(argv[i], "--worker") == 0;
    const std::unique_ptr<QCoreApplication> application(worker ? new QApplication(argc, argv)
                                                               : new QCoreApplication(argc, argv));
    QCommandLineParser parser;
    parser.setApplicationDescription("Every fault of the simulated arm against every test of the application.");
    parser.addPositionalArgument("folder", "where matrix.txt, matrix.csv, matrix.json and index.html go");
    parser.addOption({"device", "This device alone.", "name"});
    parser.addOption({"fault", "This fault alone, beside healthy arms.", "name"});
    parser.addOption({"test", "This test alone, by its tab's title.", "name"});
    parser.addOption({"seeds", "Healthy runs of each test of each device.", "number", "9"});
    parser.addOption({"jobs", "Processes at work.", "number", "2"});
    parser.addOption({"limit", "Seconds after which a test counts as hanging.", "number", "120"});
    parser.addOption({"worker", "Takes cells from standard input: how the program starts itself."});
    parser.addHelpOption();
    parser.process(*application);

    qputenv("NOLVA_ARM_SOCKET", "off");
    qunsetenv("KNDD_HOME");  // the fleet is the built-in one
    const int seeds = numberOf(parser, "seeds", 0), jobs = numberOf(parser, "jobs", 1),
              limit = numberOf(parser, "limit", 1);
    if (seeds < 0 || jobs < 0 || limit < 0)
        return refuse("--seeds takes a whole number from 0, --jobs and --limit one from 1.");
    const MatrixPlan plan{parser.value("device"), parser.value("fault"), parser.value("test"), seeds};
    QString why;
    const std::vector<Cell> cells = plan.cells(why);
    if (cells.empty())
        return refuse(why);
    if (worker)
        return work(cells);
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1)
        return refuse("Usage: matrix [--device NAME] [--fault NAME] [--test NAME] [--seeds N] [--jobs N] FOLDER");
    if (!QDir().mkpath(arguments[0]))
        return refuse(arguments[0] + " cannot be made.");
    return play(cells, QCoreApplication::arguments().mid(1) << "--worker", jobs, limit, arguments[0]);
}
