// atrest window|scene SECONDS: shows the application's window on "Select", or an empty window of its size in which the
// device graphic is the one widget that repaints, and prints what the graphical thread used of a core, in percent.
#include <sys/resource.h>

#include <QApplication>
#include <QMainWindow>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "qttharlendraw.h"
#include "qttharlentest.h"

namespace {

double processorSeconds() {
    rusage use{};
    getrusage(RUSAGE_THREAD, &use);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + 1e-6 * double(time.tv_usec); };
    return seconds(use.ru_utime) + seconds(use.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc == 3 ? std::atoi(argv[2]) : 0;
    if (seconds < 1 || (std::strcmp(argv[1], "window") != 0 && std::strcmp(argv[1], "scene") != 0)) {
        std::fprintf(stderr, "Usage: atrest window|scene SECONDS\n");
        return 2;
    }
    setenv("NOLVA_ARM_SOCKET", "off", 1);
    QApplication application(argc, argv);
    std::unique_ptr<qtTharlenTest> window;
    QMainWindow empty;
    if (std::strcmp(argv[1], "window") == 0) {
        window = std::make_unique<qtTharlenTest>();
        window->show();
        window->ui.tabWidget->setCurrentIndex(1);
    } else {
        const qtTharlenTest model;
        empty.resize(model.size());
        auto* place = new QWidget(&empty);
        place->setGeometry(model.ui.glDrawWidget1->geometry());
        new qtTharlenDraw(init_tharlen("Default Device"), place);
        empty.show();
    }
    double before = 0;
    QTimer::singleShot(2000, [&] { before = processorSeconds(); });
    QTimer::singleShot(2000 + 1000 * seconds, [&] {
        std::printf("%.3f\n", 100.0 * (processorSeconds() - before) / seconds);
        std::fflush(stdout);
        std::_Exit(0);
    });
    return QApplication::exec();
}
