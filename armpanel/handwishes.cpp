// Each wish of the operator ends the script that plays and the move that was not sent yet.
#include "handwishes.h"

#include <QJsonArray>
#include <algorithm>
#include <cmath>

namespace {
const QString kMove = QStringLiteral("hand.move"), kJoints = QStringLiteral("hand.joints");
constexpr double kHaltSpeed = 1.5;  // rad/s
constexpr double kPerMm = 100.0;    // steps of a position that a pointer asks for
}  // namespace

HandWishes::HandWishes(ArmLink& link, QObject* parent) : QObject(parent), link_(link) {
    connect(&player_, &HandPlayer::step, this, [this](const HandStep& step) {
        emit scriptAt(step.label);
        if (step.command.isEmpty())
            return;
        link_.send(step.command, step.fields, [this](const QJsonObject& answer) {
            if (!answer["ok"].toBool())
                player_.cancel();
        });
    });
    connect(&player_, &HandPlayer::finished, this, [this](bool complete) {
        emit scriptAt({});
        emit scriptEnded(complete);
    });
}

void HandWishes::takeState(const ArmState& state) { state_ = state; }

Vec3 HandWishes::target() const {
    // The state lags behind a move by a frame or two; steps by key add up all the same.
    if (link_.isLatestUnderWay(kMove))
        return wanted_;
    return state_.holding ? state_.handTarget : state_.position;
}

void HandWishes::moveTo(Vec3 target) {
    player_.cancel();
    link_.dropLatest(kJoints);
    for (double& value : target)
        value = std::round(std::clamp(value, -kLimit, kLimit) * kPerMm) / kPerMm;
    wanted_ = target;
    link_.sendLatest(kMove, {{"position", toJson(target)}});
}

void HandWishes::turnTo(const QJsonObject& fields) {
    player_.cancel();
    link_.dropLatest(kMove);
    link_.sendLatest(kJoints, fields);
}

void HandWishes::nudge(int axis, double mm) {
    Vec3 target = this->target();
    target[axis] += mm;
    moveTo(target);
}

void HandWishes::act(const QString& command, const QJsonObject& fields) {
    player_.cancel();
    dropWishes();
    link_.send(command, fields);
}

void HandWishes::dropWishes() {
    link_.dropLatest(kMove);
    link_.dropLatest(kJoints);
}

bool HandWishes::isEmpty() const {
    return !isPlaying() && !state_.holding && !state_.switches[0] && !state_.switches[1]
           && link_.commandsUnderWay() == 0;
}

void HandWishes::play(const HandScript& script, const QString& aim) {
    dropWishes();
    player_.cancel();  // whoever hears of its end asks for its aim
    aim_ = aim;
    player_.start(script);
}

void HandWishes::halt() {
    player_.cancel();
    if (!state_.holding)
        return;
    QJsonArray here;
    for (const double angle : state_.joints)
        here << angle;
    act(kJoints, {{"angles", here}, {"speed", kHaltSpeed}});
}
