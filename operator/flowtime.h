// Time for whoever operates the window: real, with its event loop, or stepped, without waiting.
#pragma once

#include <QHash>
#include <QPair>
#include <functional>
#include <vector>

class QTimer;
class qtTharlenTest;

/// Lets time pass for the window and the arm. Graphical thread.
class FlowTime {
public:
    virtual ~FlowTime() = default;
    /// Returns early, or at once, after cancel().
    virtual void spend(int milliseconds) = 0;

    /// Whoever waits is to come to an end. Any thread, also a signal's handler.
    static void cancel();
    static bool cancelled();
};

/// Runs the event loop: timers, paints and the loop's own thread go on as for a person.
class RealTime : public FlowTime {
public:
    void spend(int milliseconds) override;
};

/// Steps the arm by hand and fires the window's timers when they are due, a millisecond at a time. The arm's loop
/// must be stepped, and no event loop may run meanwhile, or a timer would fire twice.
class SteppedTime : public FlowTime {
public:
    explicit SteppedTime(qtTharlenTest& window) : m_window(window) {}
    void spend(int milliseconds) override;
    /// Milliseconds spent.
    long now() const { return m_now; }
    /// Whether the amplifier test's switches are still to come, also after its tab was left.
    bool shotsPending() const { return !m_shots.empty(); }

private:
    void fireDueTimers();
    void fire(QTimer* timer);
    void fireDueShots();

    struct Shot {
        long due;
        std::function<void()> act;
    };
    qtTharlenTest& m_window;
    long m_now = 0;
    QHash<QPair<QTimer*, int>, long> m_due;  ///< ms, by timer and its id: one that starts anew gets another id
    std::vector<Shot> m_shots;               ///< single shots of the amplifier test
};
