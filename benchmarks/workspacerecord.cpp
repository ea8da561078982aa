// workspacerecord MINUTES SECONDS: as many lines of the workspace record as so many minutes leave, written without
// waiting; then the record goes on in real time for so many seconds, its page hidden and then shown. Prints lines per
// millisecond of record, how long the event loop came round late, and the memory of a line.
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTextDocument>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

#include "device/simulated/armcontrol.h"
#include "figures.h"
#include "qttharlentest.h"
#include "residentmemory.h"
#include "tabs.h"

namespace {

constexpr int kLook = 5;  // ms between two looks at how late the event loop is

void record(qtTharlenTest& window, const char* page, int seconds) {
    std::vector<double> late;  // ms
    QElapsedTimer time, sinceLook;
    QEventLoop loop;
    QTimer look;
    look.setTimerType(Qt::PreciseTimer);
    QObject::connect(&look, &QTimer::timeout, [&] {
        late.push_back(static_cast<double>(sinceLook.nsecsElapsed()) * 1e-6 - kLook);
        sinceLook.start();
        if (time.hasExpired(1000 * seconds))
            loop.quit();
    });
    const int before = window.ui.textBrowser_2->document()->blockCount();
    window.startWorkspaceRecord();
    time.start();
    sinceLook.start();
    look.start(kLook);
    loop.exec();
    window.stopWorkspaceRecord();
    const double lines = window.ui.textBrowser_2->document()->blockCount() - before;
    std::printf("%-7s %6.3f lines a millisecond; event loop late: p50 %.2f, p99 %.2f, largest %.2f ms\n", page,
                lines / static_cast<double>(time.elapsed()), *percentile(late, 0.5).number,
                *percentile(late, 0.99).number, *percentile(late, 1.0).number);
}

}  // namespace

int main(int argc, char** argv) {
    const int minutes = argc == 3 ? std::atoi(argv[1]) : 0, seconds = argc == 3 ? std::atoi(argv[2]) : 0;
    if (minutes < 1 || seconds < 1) {
        std::fprintf(stderr, "workspacerecord MINUTES SECONDS\n");
        return 2;
    }
    qputenv("NOLVA_ARM_SOCKET", "off");
    QApplication application(argc, argv);
    qtTharlenTest window;
    window.show();
    window.ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({});
    placeTab(window, "Performance Testing");
    window.ui.tabWidget->setCurrentWidget(window.ui.tab_15);
    window.startWorkspaceRecord();
    window.stopWorkspaceRecord();
    const double memory = residentMegabytes();
    QElapsedTimer time;
    time.start();
    const int lines = minutes * 60000;
    for (int line = 0; line < lines; ++line)
        window.recordWorkspace();
    window.ui.textBrowser_2->setUpdatesEnabled(true);
    QCoreApplication::processEvents();  // what the toolkit has put off of each line
    std::printf("%d lines, %.3f ms and %.0f bytes a line\n", lines, static_cast<double>(time.elapsed()) / lines,
                1e6 * (residentMegabytes() - memory) / lines);
    std::fflush(stdout);
    record(window, "hidden", seconds);
    const QList<QListWidgetItem*> row = window.ui.listWidget->findItems("Workspace Test", Qt::MatchExactly);
    window.ui.listWidget->setCurrentItem(row.value(0));
    record(window, "shown", seconds);
    return 0;
}
