// One picture of the arm as the panel shows it, read from the answer to `state`.
#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include "device/simulated/armwords.h"

using armcontrol::Vec3;
using armcontrol::Vec6;
using ArmState = armcontrol::State;

/// A field that is missing, or of another kind or length than it should be, or a figure that no arm has, is 0, false or
/// empty. Texts are as they may be shown.
ArmState readArmState(const QJsonObject& json);

/// Names of the faults that are on.
QStringList faultsOf(const ArmState& state);

/// The calibration status in words.
QString calibrationText(int status);

QJsonArray toJson(const Vec3& vector);
