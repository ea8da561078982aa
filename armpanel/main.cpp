// armpanel: a hand on the simulated arm, beside the diagnostic application.
#include <QApplication>
#include <QScreen>
#include <QTimer>
#include <csignal>

#include "armpanel.h"

namespace {

volatile std::sig_atomic_t ended = 0;

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("armpanel");
    ArmPanel panel;
    // At the right edge, so that the diagnostic application has the left part of the screen.
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    panel.move(std::max(screen.left(), screen.right() - panel.width() - 20), screen.top() + 40);
    panel.show();
    panel.start();
    // Whoever started the panel ends it as a closed window would: a recording that is not saved is asked for.
    std::signal(SIGTERM, [](int) { ended = 1; });
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&panel] {
        if (ended) {
            ended = 0;
            panel.close();
        }
    });
    watch.start(200);
    return QApplication::exec();
}
