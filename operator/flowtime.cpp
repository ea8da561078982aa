#include "flowtime.h"

#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <atomic>

#include "device/simulated/armcontrol.h"
#include "motorsoff.h"
#include "qttharlentest.h"

namespace {

std::atomic<bool> wasCancelled{false};
static_assert(std::atomic<bool>::is_always_lock_free, "set by a signal's handler");

}  // namespace

void FlowTime::cancel() { wasCancelled = true; }
bool FlowTime::cancelled() { return wasCancelled; }

void RealTime::spend(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &loop, [&loop] {
        if (cancelled())
            loop.quit();
    });
    watch.start(50);
    if (!cancelled())
        loop.exec();
}

void SteppedTime::spend(int milliseconds) {
    const int ticks = qMax(1, armcontrol::state().rate / 1000);  // of a millisecond; no timer changes the rate
    for (int i = 0; i < milliseconds && !cancelled(); ++i) {
        armcontrol::step(ticks);
        ++m_now;
        fireDueTimers();
        fireDueShots();
    }
}

void SteppedTime::fireDueTimers() {
    QHash<QPair<QTimer*, int>, long> running;
    const auto timers = m_window.findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    for (QTimer* timer : timers) {
        const QPair<QTimer*, int> id(timer, timer->timerId());
        if (!timer->isActive() || timer->interval() == 0)
            continue;
        long due = m_due.value(id, m_now + timer->interval());
        if (due <= m_now) {
            fire(timer);
            due = m_now + timer->interval();
        }
        if (timer->isActive() && timer->timerId() == id.second)
            running.insert(id, due);
    }
    m_due = running;
}

void SteppedTime::fire(QTimer* timer) {
    const bool amplifiers = timer == m_window.ampsGuiUpdateTimer;
    QMetaObject::invokeMethod(timer, "timeout", Qt::DirectConnection);
    if (!amplifiers)
        return;
    const int opening = m_window.m_deviceOpening;
    m_shots.push_back({m_now + 500, [this, opening] { shootAmplifiers(m_window, opening, false); }});
    m_shots.push_back({m_now + 1000, [this, opening] { shootAmplifiers(m_window, opening, true); }});
}

void SteppedTime::fireDueShots() {
    const auto later =
        std::stable_partition(m_shots.begin(), m_shots.end(), [this](const Shot& shot) { return shot.due <= m_now; });
    const std::vector<Shot> due(m_shots.begin(), later);
    m_shots.erase(m_shots.begin(), later);
    for (const Shot& shot : due)
        shot.act();
}
