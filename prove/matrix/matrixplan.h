// The cells of a detection matrix, what each came to, and how that is judged.
#pragma once

#include <QJsonObject>
#include <vector>

#include "bench.h"

/// What is to be played. Empty names mean all.
struct MatrixPlan {
    QString device, fault, test;
    int seeds = 9;  ///< healthy runs of each test of each device

    /// Each test of each device, one after the other: healthy in every manner, then every case on every axis. The
    /// same plan gives the same cells. Empty, with the reason in `why`, when nothing fits.
    std::vector<Cell> cells(QString& why) const;
};

enum class Outcome {
    NotPlayed,  ///< the run was broken off before
    Crashed,    ///< the test could not be played to its end
    Healthy,
    FalseAlarm,
    FoundAsMeant,  ///< by the test that is there to find it
    FoundByAnother,
    NotVisible,  ///< by design
    Missed
};

Outcome outcome(const Cell& cell, const CellResult& result);

/// Figures of friction and slip that are more than 5 % from what the arm was given, in words.
QStringList wrongFigures(const Cell& cell, const CellResult& result);

QJsonObject toJson(const CellResult& result);
CellResult fromJson(const QJsonObject& object);
