// atrest window|scene SECONDS: shows the application's window on "Select", or one OpenGL widget of the graphic's size
// that clears itself at the same pace, and prints what the graphical thread used of a core, in percent.
#include <sys/resource.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QOpenGLWidget>
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
    QOpenGLWidget scene;
    QTimer repaint;
    if (std::strcmp(argv[1], "window") == 0) {
        window = std::make_unique<qtTharlenTest>();
        window->show();
        window->ui.tabWidget->setCurrentIndex(1);
    } else {
        scene.resize(qtTharlenTest().ui.glDrawWidget1->size());
        scene.show();
        QObject::connect(&repaint, &QTimer::timeout, &scene, QOverload<>::of(&QWidget::update));
        repaint.start(33);
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
