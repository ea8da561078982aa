// What a hand does as a series of steps: data, and a player that moves from one to the next.
#pragma once

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTimer>
#include <QVector>

#include "armstate.h"

struct HandStep {
    QString command;  ///< empty for a wait alone
    QJsonObject fields;
    int waitMs;     ///< until the next step
    QString label;  ///< what the operator sees meanwhile
};
using HandScript = QVector<HandStep>;

/// Walls in the order of the box: +X -X +Y -Y +Z -Z.
constexpr int kWalls = 6;
QString wallName(int wall);

/// Where a push through a wall ends, mm. The wall lies at 20; the arm reaches 45 on each axis. A push over
/// an edge leans on the next axis too, for a model line that limits each axis for itself and so gives way only
/// where two walls press at once.
Vec3 wallTarget(int wall, bool overEdge);

/// Out through the wall and back inside, `times` times. Begins at the origin, ends there.
HandScript wallScript(int wall, int times, bool overEdge);
HandScript allWallsScript(int times, bool overEdge);

/// One joint after the other from stop to stop and back, `speed` rad/s; `joints` are 0 to 5.
HandScript sweepScript(const QVector<int>& joints, double speed, const ArmState& state);

class HandPlayer : public QObject {
    Q_OBJECT

public:
    explicit HandPlayer(QObject* parent = nullptr);

    void start(const HandScript& script);
    bool isRunning() const { return running_; }

public slots:
    /// Next step, or the end.
    void advance();
    /// Stops where it is: the hand goes on with what it did last. Nothing where none runs.
    void cancel();

signals:
    void step(const HandStep& step);
    /// `complete` is false after cancel().
    void finished(bool complete);

private:
    HandScript script_;
    int next_ = 0;
    bool running_ = false;
    QElapsedTimer clock_;
    qint64 due_ = 0;  // ms of clock_ at which the next step is due
    QTimer timer_;
};
