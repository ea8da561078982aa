// armpanel: a hand on the simulated arm, beside the diagnostic application.
#include <QApplication>
#include <QScreen>

#include "armpanel.h"

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("armpanel");
    ArmPanel panel;
    // At the right edge, so that the diagnostic application has the left part of the screen.
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    panel.move(std::max(screen.left(), screen.right() - panel.width() - 20), screen.top() + 40);
    panel.show();
    panel.start();
    return QApplication::exec();
}
