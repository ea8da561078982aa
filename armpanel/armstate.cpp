// The fields of `state` under the names that the arm gives them.
#include "armstate.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <cmath>

#include "shown.h"

namespace {

// What is shown of these fits the integers and pixels that it becomes.
constexpr double kMost = 1e6;        // of whatever has none of its own below
constexpr double kMostAngle = 1e3;   // rad
constexpr double kMostCounts = 1e9;  // of an encoder, DAC counts
constexpr double kMostTicks = 1e15;

double within(const QJsonValue& value, double most) {
    const double number = value.toDouble();
    return std::abs(number) <= most ? number : 0.0;
}

template <std::size_t N>
void read(const QJsonObject& json, const char* key, std::array<double, N>& target, double most = kMost) {
    const QJsonArray values = json[QLatin1String(key)].toArray();
    if (values.size() != static_cast<int>(N))
        return;
    for (std::size_t i = 0; i < N; ++i)
        target[i] = within(values[static_cast<int>(i)], most);
}

}  // namespace

ArmState readArmState(const QJsonObject& json) {
    ArmState state;
    state.open = json["open"].toBool();
    state.name = shown(json["name"].toString());
    state.model = shown(json["model"].toString());
    state.serial = shown(json["serial"].toString());
    state.gimbal = json["gimbal"].toBool();
    state.grip = json["grip"].toInt();

    state.loopRunning = json["loopRunning"].toBool();
    state.realTime = json["realTime"].toBool();
    state.rate = json["rate"].toInt();
    state.measuredRate = within(json["measuredRate"], kMost);
    state.ticks = static_cast<qint64>(within(json["ticks"], kMostTicks));
    state.lateTicks = static_cast<qint64>(within(json["lateTicks"], kMostTicks));

    read(json, "joints", state.joints, kMostAngle);
    read(json, "jointMin", state.jointMin, kMostAngle);
    read(json, "jointMax", state.jointMax, kMostAngle);
    read(json, "encoders", state.encoders, kMostCounts);
    read(json, "dac", state.dac, kMostCounts);
    read(json, "position", state.position);
    read(json, "force", state.force);
    state.amplifiers = json["amplifiers"].toBool();
    state.calibrationStatus = json["calibrationStatus"].toInt();

    state.holding = json["holding"].toBool();
    state.docked = json["docked"].toBool();
    state.presence = json["presence"].toBool();
    read(json, "handTarget", state.handTarget);
    state.handForce = within(json["handForce"], kMost);
    const QJsonArray switches = json["switches"].toArray();
    state.switches = {switches.at(0).toBool(), switches.at(1).toBool()};
    state.pinch = within(json["pinch"], kMost);
    state.strength = within(json["strength"], kMost);

    read(json, "winding", state.winding);
    read(json, "stator", state.stator);
    state.warmLimit = within(json["warmLimit"], kMost);
    const QJsonArray faults = json["faults"].toArray();
    for (const auto& fault : faults)
        state.faults << shown(fault.toString());
    return state;
}

QString calibrationText(int status) {
    constexpr int kNeeded = 255, kIncorrectBits = 240;
    if (status == kNeeded)
        return QCoreApplication::translate("ArmPanel", "calibration due");
    if (status < 0)
        return QCoreApplication::translate("ArmPanel", "not readable (%1)").arg(status);
    if ((status & kIncorrectBits) != 0)
        return QCoreApplication::translate("ArmPanel", "not calibrated (%1)").arg(status);
    return QCoreApplication::translate("ArmPanel", "calibrated");
}

QJsonArray toJson(const Vec3& vector) { return {vector[0], vector[1], vector[2]}; }
