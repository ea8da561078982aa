// Reports as the application's own printer makes them, and what a command prints.
#pragma once

#include <QDateTime>
#include <QRandomGenerator>
#include <QTextStream>
#include <functional>

#include "printer.h"

inline QByteArray printed(const report::Items& items, const QByteArray& comments = {}) {
    QByteArray text;
    QTextStream stream(&text);
    stream.setCodec("UTF-8");
    report::printText(stream, items);
    stream.flush();
    return text + comments;
}

/// One of the 32 kinds of device, with verdicts and ranges of its own.
struct Made {
    report::Subject subject;
    REPORTFIELDS verdicts{};
    report::Items items;
    QByteArray text;

    explicit Made(unsigned number, const QString& serial = "S-1", bool allPass = false) {
        QRandomGenerator random(number);
        subject.gimbal = number & 1;
        subject.sixDof = number & 2;
        subject.automatic = number & 4;
        subject.extraSwitches = number & 8;
        subject.port = number & 16;
        subject.device = "Arm";
        subject.serial = serial;
        subject.operatorName = "Zoë Ω <b>\tO'Hara; DROP TABLE runs";
        subject.date =
            QDateTime(QDate(2026, 1, 1), QTime(8, 0)).addSecs(60 * number).toString("MMMM-dd-yyyy  hh-mm-ss-AP");
        subject.model = "THARLEN Orda";
        subject.cardType = kCardUsb;
        subject.channel = 3;
        const auto any = [&random, allPass](bool* first, std::size_t count) {
            for (std::size_t i = 0; i < count; ++i)
                first[i] = random.bounded(8) != 0 || allPass;
        };
        any(verdicts.bEncoderPass, 6);
        any(verdicts.bManualEncoderPass, 6);
        any(verdicts.bForcesPass, 6);
        any(verdicts.bManualForcesPass, 6);
        for (bool* each : {&verdicts.bSwitchPass, &verdicts.bManualSwitchPass, &verdicts.bAmplifierPass,
                           &verdicts.bBoxPass, &verdicts.bCalibrationPass, &verdicts.bExtraSwitchPass,
                           &verdicts.bInkwellPass, &verdicts.bManualExtraSwitchPass, &verdicts.bManualInkwellPass})
            any(each, 1);
        for (int axis = 0; axis < 6; ++axis) {
            verdicts.lMinEncoderVal[axis] = random.bounded(-30000, 10);
            verdicts.lMaxEncoderVal[axis] = verdicts.lMinEncoderVal[axis] + random.bounded(200000);
            verdicts.fMinForceVal[axis] = -random.bounded(32768) - 0.25f * static_cast<float>(random.bounded(4));
            verdicts.fMaxForceVal[axis] = static_cast<float>(random.bounded(32768));
        }
        print();
    }

    /// Anew, after something was changed.
    void print() {
        items = report::itemsOf(verdicts, subject);
        text = printed(items);
    }
};

inline QString outputOf(const std::function<int(QTextStream&)>& command, int code = 0) {
    QString text;
    QTextStream out(&text);
    if (command(out) != code)
        return "another exit code";
    return text;
}
