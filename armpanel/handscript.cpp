// The scripts' figures are for a hand of the usual strength on any model line.
#include "handscript.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <algorithm>
#include <cmath>

namespace {

constexpr double kReach = 44.0;      // mm
constexpr double kLean = 28.0;       // mm on the next axis, over an edge
constexpr double kFarthest = 200.0;  // mm
constexpr double kSpeed = 220.0;     // mm/s
constexpr int kSettleMs = 250;       // the hand's spring has pulled the endpoint there, or the wall stands
constexpr int kSweepSettleMs = 700;  // three rests at the ends of a sweep, with room to spare

QString text(const char* source) { return QCoreApplication::translate("ArmPanel", source); }

int travelMs(const Vec3& way) {
    return static_cast<int>(std::lround(std::hypot(way[0], way[1], way[2]) / kSpeed * 1000.0));
}

HandStep drag(const Vec3& from, const Vec3& to, const QString& label) {
    const Vec3 way{to[0] - from[0], to[1] - from[1], to[2] - from[2]};
    return {"hand.drag", {{"position", toJson(to)}, {"speed", kSpeed}}, travelMs(way) + kSettleMs, label};
}

}  // namespace

QString wallName(int wall) { return QStringLiteral("%1%2").arg(wall % 2 == 0 ? '+' : '-').arg("XYZ"[wall / 2]); }

Vec3 wallTarget(int wall, bool overEdge) {
    Vec3 target{};
    const int axis = wall / 2;
    target[axis] = wall % 2 == 0 ? kReach : -kReach;
    if (overEdge)
        target[(axis + 1) % 3] = kLean;
    return target;
}

HandScript wallScript(int wall, int times, bool overEdge) {
    const Vec3 origin{};
    const Vec3 target = wallTarget(wall, overEdge);
    HandScript script;
    // From wherever the stylus is to the middle of the box; the ink well is the farthest place.
    script << drag({kFarthest, 0, 0}, origin, text("to the origin"));
    for (int i = 1; i <= times; ++i) {
        const QString label = text("wall %1, push %2 of %3").arg(wallName(wall)).arg(i).arg(times);
        script << drag(origin, target, label) << drag(target, origin, label);
    }
    return script;
}

HandScript allWallsScript(int times, bool overEdge) {
    HandScript script;
    for (int wall = 0; wall < kWalls; ++wall) {
        const HandScript one = wallScript(wall, times, overEdge);
        script += wall == 0 ? one : one.mid(1);
    }
    return script;
}

HandScript sweepScript(const QVector<int>& joints, double speed, const ArmState& state) {
    HandScript script;
    for (const int joint : joints) {
        const double travel = state.jointMax[joint] - state.jointMin[joint];
        const int ms = static_cast<int>(std::lround(2.0 * travel / speed * 1000.0)) + kSweepSettleMs;
        script << HandStep{
            "hand.sweep", {{"axis", joint}, {"speed", speed}}, ms, text("axis %1, stop to stop").arg(joint + 1)};
    }
    return script;
}

HandPlayer::HandPlayer(QObject* parent) : QObject(parent) {
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    connect(&timer_, &QTimer::timeout, this, &HandPlayer::advance);
}

void HandPlayer::start(const HandScript& script) {
    cancel();
    script_ = script;
    next_ = 0;
    running_ = true;
    due_ = 0;
    clock_.start();
    advance();
}

void HandPlayer::advance() {
    if (!running_)
        return;
    if (next_ == script_.size()) {
        running_ = false;
        emit finished(true);
        return;
    }
    const HandStep now = script_[next_++];
    // Each timer fires a little late; a long script keeps to its times all the same.
    due_ += now.waitMs;
    timer_.start(static_cast<int>(std::max<qint64>(0, due_ - clock_.elapsed())));
    emit step(now);
}

void HandPlayer::cancel() {
    timer_.stop();
    if (!running_)
        return;
    running_ = false;
    emit finished(false);
}
