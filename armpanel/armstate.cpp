// The fields of `state` under the names that the arm gives them.
#include "armstate.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <algorithm>
#include <cmath>

#include "device/foreign.h"

namespace {

std::string textOf(const QJsonValue& value) { return foreign::printable(value.toString().toStdString()); }

double within(const QJsonValue& value, double most) {
    const double number = value.toDouble();
    return std::abs(number) <= most ? number : 0.0;
}

/// Takes one field after the other from its value in the answer.
struct FieldReader {
    const QJsonObject& json;

    template <typename T>
    void operator()(const char* name, T& field, double most = armwords::kMost) const {
        read(json[QLatin1String(name)], field, most);
    }

private:
    static void read(const QJsonValue& value, bool& field, double) { field = value.toBool(); }
    static void read(const QJsonValue& value, int& field, double) { field = value.toInt(); }
    static void read(const QJsonValue& value, double& field, double most) { field = within(value, most); }
    static void read(const QJsonValue& value, std::uint64_t& field, double most) {
        field = static_cast<std::uint64_t>(std::max(0.0, within(value, most)));
    }
    static void read(const QJsonValue& value, std::string& field, double) { field = textOf(value); }
    static void read(const QJsonValue& value, std::vector<std::string>& field, double) {
        for (const QJsonValue text : value.toArray())
            field.push_back(textOf(text));
    }
    static void read(const QJsonValue& value, std::array<bool, 2>& field, double) {
        field = {value[0].toBool(), value[1].toBool()};
    }
    template <std::size_t N>
    static void read(const QJsonValue& value, std::array<double, N>& field, double most) {
        const QJsonArray values = value.toArray();
        for (std::size_t i = 0; i < N && values.size() == static_cast<int>(N); ++i)
            field[i] = within(values[static_cast<int>(i)], most);
    }
};

}  // namespace

ArmState readArmState(const QJsonObject& json) {
    ArmState state;
    armwords::eachField(state, FieldReader{json});
    return state;
}

QStringList faultsOf(const ArmState& state) {
    QStringList names;
    for (const std::string& name : state.faults)
        names << QString::fromStdString(name);
    return names;
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
