// One picture of the arm as the panel shows it, read from the answer to `state`.
#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <array>

using Vec3 = std::array<double, 3>;
using Vec6 = std::array<double, 6>;

struct ArmState {
    bool open = false;  ///< the application has a device open
    QString name, model, serial;
    bool gimbal = false;
    int grip = 0;  ///< 0 when no pinch grip is fitted

    bool loopRunning = false, realTime = false;
    int rate = 0;             ///< hertz, as set
    double measuredRate = 0;  ///< hertz
    qint64 ticks = 0, lateTicks = 0;

    Vec6 joints{}, jointMin{}, jointMax{};  ///< rad
    Vec6 encoders{}, dac{};                 ///< counts
    Vec3 position{};                        ///< mm
    Vec3 force{};                           ///< N, by the motors
    bool amplifiers = false;
    int calibrationStatus = 0;

    bool holding = false, docked = false, presence = false;
    Vec3 handTarget{};     ///< mm
    double handForce = 0;  ///< N
    std::array<bool, 2> switches{};
    double pinch = 0;     ///< 0 open, 1 closed
    double strength = 0;  ///< N

    Vec6 winding{}, stator{};  ///< degrees Celsius
    double warmLimit = 0;      ///< degrees Celsius
    QStringList faults;        ///< names of those that are on
};

/// A field that is missing, or of another kind or length than it should be, or a figure that no arm has, keeps its
/// default. Texts are as they may be shown.
ArmState readArmState(const QJsonObject& json);

/// The calibration status in words.
QString calibrationText(int status);

QJsonArray toJson(const Vec3& vector);
