// The fields of `state` under the names that the arm gives them.
#include "armstate.h"

#include <QCoreApplication>
#include <QJsonArray>

namespace {

template <std::size_t N>
void read(const QJsonObject& json, const char* key, std::array<double, N>& target) {
    const QJsonArray values = json[QLatin1String(key)].toArray();
    if (values.size() != static_cast<int>(N))
        return;
    for (std::size_t i = 0; i < N; ++i)
        target[i] = values[static_cast<int>(i)].toDouble();
}

}  // namespace

ArmState readArmState(const QJsonObject& json) {
    ArmState state;
    state.open = json["open"].toBool();
    state.name = json["name"].toString();
    state.model = json["model"].toString();
    state.serial = json["serial"].toString();
    state.gimbal = json["gimbal"].toBool();
    state.grip = json["grip"].toInt();

    state.loopRunning = json["loopRunning"].toBool();
    state.realTime = json["realTime"].toBool();
    state.rate = json["rate"].toInt();
    state.measuredRate = json["measuredRate"].toDouble();
    state.ticks = static_cast<qint64>(json["ticks"].toDouble());
    state.lateTicks = static_cast<qint64>(json["lateTicks"].toDouble());

    read(json, "joints", state.joints);
    read(json, "jointMin", state.jointMin);
    read(json, "jointMax", state.jointMax);
    read(json, "encoders", state.encoders);
    read(json, "dac", state.dac);
    read(json, "position", state.position);
    read(json, "force", state.force);
    state.amplifiers = json["amplifiers"].toBool();
    state.calibrationStatus = json["calibrationStatus"].toInt();

    state.holding = json["holding"].toBool();
    state.docked = json["docked"].toBool();
    state.presence = json["presence"].toBool();
    read(json, "handTarget", state.handTarget);
    state.handForce = json["handForce"].toDouble();
    const QJsonArray switches = json["switches"].toArray();
    state.switches = {switches.at(0).toBool(), switches.at(1).toBool()};
    state.pinch = json["pinch"].toDouble();
    state.strength = json["strength"].toDouble();

    read(json, "winding", state.winding);
    read(json, "stator", state.stator);
    state.warmLimit = json["warmLimit"].toDouble();
    const QJsonArray faults = json["faults"].toArray();
    for (const auto& fault : faults)
        state.faults << fault.toString();
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

QJsonArray toJson(const Vec3& vector) {
    return {vector[0], vector[1], vector[2]};
}
