// What the operator's hand does, as commands to the arm: the views, the keys and the scripts all go
// through here, so that each new wish ends the one before it. No widgets.
#pragma once

#include "armlink.h"
#include "armstate.h"
#include "handscript.h"

class HandWishes : public QObject {
    Q_OBJECT

public:
    /// Farther than this no model line reaches on an axis, mm.
    static constexpr double kLimit = 250.0;

    explicit HandWishes(ArmLink& link, QObject* parent = nullptr);

    void takeState(const ArmState& state);
    /// Where the hand pulls, or where the endpoint is while nobody holds it, mm.
    Vec3 target() const;

    void moveTo(Vec3 target);
    /// Holds joint angles: the fields of "hand.joints".
    void turnTo(const QJsonObject& fields);
    void nudge(int axis, double mm);
    /// Any other command of the hand that moves the arm, as "hand.dock".
    void act(const QString& command, const QJsonObject& fields = {});
    void release() { act("hand.release"); }

    /// Plays a script; a step that the arm refuses ends it. `aim` is what it has done at its end, as "all axes swept".
    void play(const HandScript& script, const QString& aim = {});
    QString aim() const { return aim_; }
    void stopScript() { player_.cancel(); }
    /// Ends the script, and the movement too: a hand that holds the stylus holds it where it is.
    void halt();
    bool isPlaying() const { return player_.isRunning(); }
    /// Nothing is held, pressed or played, as the arm last told.
    bool isEmpty() const;

signals:
    /// What a script does now; empty once it has ended.
    void scriptAt(const QString& label);
    /// `complete` is false where it was stopped or the arm refused a step.
    void scriptEnded(bool complete);

private:
    void dropWishes();

    ArmLink& link_;
    HandPlayer player_;
    ArmState state_;
    Vec3 wanted_{};
    QString aim_;
};
