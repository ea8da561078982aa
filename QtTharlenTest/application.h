// The application object around the window: what an exception and a signal do to it.
#pragma once

#include <QApplication>
#include <QSocketNotifier>
#include <memory>

/// A QApplication that no exception of the device library ends: one that leaves a slot turns the forces off and is
/// told in the window's error browser, and the event loop goes on. Without a window it passes on.
class DiagnosticApplication : public QApplication {
    Q_OBJECT

public:
    using QApplication::QApplication;
    bool notify(QObject* receiver, QEvent* event) override;
};

/// SIGTERM, SIGINT and SIGHUP end the event loop, so that the window is taken down in its order, without a question.
/// One that was ignored at start, as SIGHUP by nohup, stays so. One object a process; it lives as long as the
/// application.
class QuitOnSignals {
public:
    QuitOnSignals();
    ~QuitOnSignals();
    QuitOnSignals(const QuitOnSignals&) = delete;
    QuitOnSignals& operator=(const QuitOnSignals&) = delete;

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

/// The text of the exception that is being handled. Any thread, inside a handler.
QString textOfException();
/// Says in a box that the program cannot start, and why: the exception that is being handled. The exit code.
int sayCannotStart();
