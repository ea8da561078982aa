// armpanel: a hand on the simulated arm, beside the diagnostic application.
#include <QApplication>
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
    panel.place({});
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
