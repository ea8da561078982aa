// firstpaint window|bare: shows the application's window, or an empty one, and ends once it was painted.
#include <QApplication>
#include <QMainWindow>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <memory>

#include "qttharlentest.h"

namespace {

/// Leaves the event loop after the watched window's first paint.
class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::UpdateRequest && !m_seen) {
            m_seen = true;
            QTimer::singleShot(0, qApp, &QApplication::quit);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool m_seen = false;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || (std::strcmp(argv[1], "window") != 0 && std::strcmp(argv[1], "bare") != 0)) {
        std::fprintf(stderr, "Usage: firstpaint window|bare\n");
        return 2;
    }
    QApplication application(argc, argv);
    std::unique_ptr<QMainWindow> window;
    if (std::strcmp(argv[1], "window") == 0) {
        window = std::make_unique<qtTharlenTest>();
    } else {
        window = std::make_unique<QMainWindow>();
        window->resize(900, 738);
    }
    FirstPaint filter;
    window->installEventFilter(&filter);
    window->show();
    QApplication::exec();
    // The figure is the time to the paint; tearing down is not part of it.
    std::fflush(nullptr);
    std::_Exit(0);
}
