// What the operator's hand does, as commands to the arm: the views, the keys and the scripts all go
// through here, so that each new wish ends the one before it. No widgets.
#pragma once

#include "armlink.h"
#include "armstate.h"
#include "handscript.h"

class Hand : public QObject {
    Q_OBJECT

public:
    /// Farther than this the arm reaches nowhere, mm.
    static constexpr double kLimit = 60.0;

    explicit Hand(ArmLink& link, QObject* parent = nullptr);

    void takeState(const ArmState& state);
    /// Where the hand pulls, or where the endpoint is while nobody holds it, mm.
    Vec3 target() const;

    void moveTo(Vec3 target);
    void nudge(int axis, double mm);
    /// Any other command of the hand that moves the arm, as "hand.dock".
    void act(const QString& command, const QJsonObject& fields = {});
    void release() { act("hand.release"); }

    /// Plays a script; a step that the arm refuses ends it.
    void play(const HandScript& script);
    void stopScript() { player_.cancel(); }
    bool isPlaying() const { return player_.isRunning(); }

signals:
    /// What a script does now; empty once it has ended.
    void scriptAt(const QString& label);

private:
    ArmLink& link_;
    HandPlayer player_;
    ArmState state_;
    Vec3 wanted_{};
};
