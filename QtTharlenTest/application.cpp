#include "application.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <QMessageBox>
#include <exception>

#include "motorsoff.h"
#include "qttharlentest.h"

namespace {

qtTharlenTest* openWindow() {
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* window = qobject_cast<qtTharlenTest*>(widget))
            return window;
    return nullptr;
}

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
int signalPipe[2] = {-1, -1};

/// Nothing but a write is allowed here. A full pipe already holds what matters.
void noteSignal(int) {
    const int savedError = errno;
    const char byte = 0;
    if (write(signalPipe[1], &byte, 1) < 0)
        errno = savedError;
}

}  // namespace

QString textOfException() {
    try {
        throw;
    } catch (const std::exception& error) {
        return QString::fromLocal8Bit(error.what());
    } catch (...) {
        return "an exception without a text";
    }
}

int sayCannotStart() {
    QMessageBox box(QMessageBox::Critical, "Nolva Diagnostic",
                    "Nolva Diagnostic cannot start.\n\n" + textOfException());
    box.setTextFormat(Qt::PlainText);
    box.exec();
    return 1;
}

bool DiagnosticApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        qtTharlenTest* window = openWindow();
        if (!window)
            throw;
        surviveException(*window, textOfException());
        return true;
    }
}

QuitOnSignals::QuitOnSignals() {
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [] {
        char bytes[16];
        while (read(signalPipe[0], bytes, sizeof bytes) > 0) {
        }
        QCoreApplication::quit();
    });
    for (const int number : kSignals) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler == SIG_IGN)
            continue;
        struct sigaction action {};
        action.sa_handler = noteSignal;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

// From here on a signal ends the process as by default: the window is gone.
QuitOnSignals::~QuitOnSignals() {
    for (const int number : kSignals) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        if (now.sa_handler == noteSignal)
            signal(number, SIG_DFL);
    }
    m_notifier.reset();
    for (int& end : signalPipe) {
        if (end >= 0)
            close(end);
        end = -1;
    }
}
