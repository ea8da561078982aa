// Keeps what the hand does, with the time between: whatever control asked for it. No widgets.
#pragma once

#include <QElapsedTimer>

#include "armlink.h"
#include "handscript.h"

class HandRecorder : public QObject {
    Q_OBJECT

public:
    /// About an hour of dragging; then the recording ends by itself.
    static constexpr int kMostSteps = 100000;

    /// Listens to the commands that the arm takes; one that it refuses is not part of the script.
    explicit HandRecorder(ArmLink& link, QObject* parent = nullptr);

    /// Begins an empty script; its time runs from the first step.
    void start();
    /// Ends it; the last step waits as long as the hand went on with it.
    void stop();
    bool isRunning() const { return running_; }
    const HandScript& script() const { return script_; }

    /// One command at `ms` of a clock that only grows. Others than the hand's are passed over.
    void take(const QString& command, const QJsonObject& fields, qint64 ms);
    void stopAt(qint64 ms);

signals:
    /// A step more, or the end.
    void changed();

private:
    void closeStep(qint64 ms);

    HandScript script_;
    QElapsedTimer clock_;
    qint64 last_ = 0;  // ms of the latest step
    bool running_ = false;
};
