// firstpaint window|bare: shows the application's window, or an empty one, and ends once it was painted.
#include <QApplication>
#include <QMainWindow>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "qttharlentest.h"

namespace {

/// Ends the process as soon as the watched window has been painted: tearing down is not part of the figure.
class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::UpdateRequest)
            return false;
        watched->event(event);
        std::_Exit(0);
    }
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
    return QApplication::exec();
}
