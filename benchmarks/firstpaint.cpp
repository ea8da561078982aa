// firstpaint window|bare [stay]: shows the application's window, or an empty one, and ends once it was painted; with
// "stay" it says so in a line and ends with its input. By a signal where the paint does not come in half a minute.
#include <unistd.h>

#include <QApplication>
#include <QMainWindow>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "driverahead.h"
#include "qttharlentest.h"

namespace {

/// Ends the process as soon as the watched window has been painted: tearing down is not part of the figure.
class FirstPaint : public QObject {
public:
    explicit FirstPaint(bool stay) : m_stay(stay) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::UpdateRequest)
            return false;
        watched->event(event);
        if (m_stay) {
            alarm(0);
            std::puts("painted");
            std::fflush(stdout);
            while (std::getchar() != EOF) {
            }
        }
        std::_Exit(0);
    }

private:
    bool m_stay;
};

}  // namespace

int main(int argc, char** argv) {
    const bool stay = argc == 3 && std::strcmp(argv[2], "stay") == 0;
    if ((argc != 2 && !stay) || (std::strcmp(argv[1], "window") != 0 && std::strcmp(argv[1], "bare") != 0)) {
        std::fprintf(stderr, "Usage: firstpaint window|bare [stay]\n");
        return 2;
    }
    alarm(30);
    QApplication application(argc, argv);
    std::unique_ptr<DriverAhead> driver;  // as the application's own main() has it
    std::unique_ptr<QMainWindow> window;
    if (std::strcmp(argv[1], "window") == 0) {
        driver = std::make_unique<DriverAhead>();
        window = std::make_unique<qtTharlenTest>();
    } else {
        window = std::make_unique<QMainWindow>();
        window->resize(900, 738);
    }
    FirstPaint filter(stay);
    window->installEventFilter(&filter);
    window->show();
    return QApplication::exec();
}
