// See handrecorder.h.
#include "handrecorder.h"

#include <algorithm>

#include "scriptfile.h"

HandRecorder::HandRecorder(ArmLink& link, QObject* parent) : QObject(parent) {
    clock_.start();
    connect(&link, &ArmLink::accepted, this,
            [this](const QString& command, const QJsonObject& fields) { take(command, fields, clock_.elapsed()); });
}

void HandRecorder::start() {
    script_.clear();
    running_ = true;
    emit changed();
}

void HandRecorder::stop() { stopAt(clock_.elapsed()); }

void HandRecorder::closeStep(qint64 ms) {
    if (!script_.isEmpty())
        script_.last().waitMs = static_cast<int>(std::min<qint64>(ms - last_, kLongestWaitMs));
    last_ = ms;
}

void HandRecorder::take(const QString& command, const QJsonObject& fields, qint64 ms) {
    if (!running_ || !command.startsWith(QLatin1String("hand.")))
        return;
    if (script_.size() == kMostSteps) {
        stopAt(ms);
        return;
    }
    closeStep(ms);
    script_ << HandStep{command, fields, 0, {}};
    emit changed();
}

void HandRecorder::stopAt(qint64 ms) {
    if (!running_)
        return;
    running_ = false;
    closeStep(ms);
    emit changed();
}
