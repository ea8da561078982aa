// The user flow, from "Mode" to "Servoloop", as an operator walks it with a hand on the simulated arm.
#pragma once

#include <QDir>
#include <QString>

class qtTharlenTest;

/// Walks a shown window and saves pictures of each tab. The event loop runs while it waits, so that timers and
/// paints happen as for a person. Graphical thread.
class UserFlow {
public:
    UserFlow(qtTharlenTest& window, const QDir& pictures) : m_window(window), m_pictures(pictures) {}

    /// Walks to the last tab. Returns what went wrong in one sentence, empty when nothing did.
    QString walk();
    int pictures() const { return m_taken; }

private:
    void wait(int milliseconds);
    /// Saves the window as "<number>-<what>.png".
    QString picture(const QString& what);
    QString next(const QString& expectedTab);
    QString calibrate();
    QString feelTheBox();

    qtTharlenTest& m_window;
    QDir m_pictures;
    int m_taken = 0;
};
