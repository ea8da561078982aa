// recordkeepers KEEPERS RUNS STOPS FOLDER: so many keepers on one PostgreSQL server, each with a report file of its own
// that is replaced as soon as it was taken, while the server is stopped and started; then what is stored is counted and
// verified. Exit code 0 where nothing was lost and nothing is double.
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>
#include <QThread>
#include <cstdio>

#include "commands.h"
#include "keeper.h"
#include "madereport.h"
#include "postgres.h"

using namespace records;

namespace {

QByteArray reportOf(int keeper, int number) {
    report::Subject subject;
    subject.device = "Default Device";
    subject.serial = QString("S-%1-%2").arg(keeper).arg(number);
    subject.model = "THARLEN Orda";
    subject.date = "November-26-2026  08-00-00-AM";
    subject.automatic = subject.gimbal = subject.extraSwitches = true;
    REPORTFIELDS fields{};
    fields.lMaxEncoderVal[0] = number;
    return printed(report::itemsOf(fields, subject));
}

/// Every report is taken before the next one replaces it, as in life; whether it was stored by then is the keeper's.
void keepOnBench(int keeper, int runs, const QString& folder, const QString& where) {
    const QString logs = QString("%1/bench-%2").arg(folder).arg(keeper), report = logs + "/Test_Reports";
    QDir().mkpath(logs);
    Keeper kept(report, logs + "/waiting", where, [](const QString&) {});
    for (int number = 0; number < runs; ++number) {
        QFile file(report + ".new");
        if (!file.open(QIODevice::WriteOnly) || file.write(reportOf(keeper, number)) < 0)
            _exit(1);
        file.close();
        if (::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(report).constData()) != 0)
            _exit(1);
        kept.look();
    }
    for (int looks = 0; looks < 600 && !kept.look(); ++looks)
        kept.waitForChange(200);
    _exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int keepers = arguments.value(1).toInt(), runs = arguments.value(2).toInt(),
              stops = arguments.value(3).toInt();
    if (keepers <= 0 || runs <= 0 || arguments.size() != 5) {
        std::fprintf(stderr, "recordkeepers KEEPERS RUNS STOPS FOLDER\n");
        return 2;
    }
    Postgres server(arguments[4] + "/postgres");
    if (!server.runs()) {
        std::fprintf(stderr, "no server: %s\n", qPrintable(server.why()));
        return 1;
    }
    const QString where = server.fresh("keepers");
    QElapsedTimer clock;
    clock.start();
    for (int keeper = 0; keeper < keepers; ++keeper)
        if (fork() == 0)
            keepOnBench(keeper, runs / keepers, arguments[4], where);
    int ended = 0, stopped = 0;
    while (ended < keepers) {
        int status = 0;
        if (waitpid(-1, &status, WNOHANG) > 0)
            ++ended;
        else if (stopped < stops && clock.elapsed() > 4000 * (stopped + 1)) {
            server.stop();
            QThread::msleep(1000);
            if (!server.start())
                std::fprintf(stderr, "no start: %s\n", qPrintable(server.why()));
            ++stopped;
        } else {
            QThread::msleep(50);
        }
    }
    const double seconds = static_cast<double>(clock.elapsed()) / 1000;
    Store store(where);
    QString said;
    QTextStream out(&said);
    const int wrong = verifyRuns(store, out);
    const qint64 expected = static_cast<qint64>(keepers) * (runs / keepers), there = store.count();
    std::printf("%d keepers, %lld reports, server stopped %d times: %lld stored, %.0f a second; %s", keepers,
                static_cast<long long>(expected), stopped, static_cast<long long>(there),
                static_cast<double>(expected) / seconds, qPrintable(said.section('\n', -2)));
    return wrong == 0 && there == expected ? 0 : 1;
}
