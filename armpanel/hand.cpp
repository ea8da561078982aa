// Each wish of the operator ends the script that plays and the move that was not sent yet.
#include "hand.h"

#include <QJsonArray>
#include <algorithm>

namespace {
const QString kMove = QStringLiteral("hand.move");
}

Hand::Hand(ArmLink& link, QObject* parent) : QObject(parent), link_(link) {
    connect(&player_, &HandPlayer::step, this, [this](const HandStep& step) {
        emit scriptAt(step.label);
        link_.send(step.command, step.fields, [this](const QJsonObject& answer) {
            if (!answer["ok"].toBool())
                player_.cancel();
        });
    });
    connect(&player_, &HandPlayer::finished, this, [this] { emit scriptAt({}); });
}

void Hand::takeState(const ArmState& state) {
    state_ = state;
}

Vec3 Hand::target() const {
    // The state lags behind a move by a frame or two; steps by key add up all the same.
    if (link_.isLatestUnderWay(kMove))
        return wanted_;
    return state_.holding ? state_.handTarget : state_.position;
}

void Hand::moveTo(Vec3 target) {
    player_.cancel();
    for (double& value : target)
        value = std::clamp(value, -kLimit, kLimit);
    wanted_ = target;
    link_.sendLatest(kMove, {{"position", toJson(target)}});
}

void Hand::nudge(int axis, double mm) {
    Vec3 target = this->target();
    target[axis] += mm;
    moveTo(target);
}

void Hand::act(const QString& command, const QJsonObject& fields) {
    player_.cancel();
    link_.dropLatest(kMove);
    link_.send(command, fields);
}

void Hand::play(const HandScript& script) {
    link_.dropLatest(kMove);
    player_.start(script);
}
