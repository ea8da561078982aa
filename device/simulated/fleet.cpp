// Reading of fleet files, with a message that says where in the file and why, and the built-in fleet.
#include "fleet.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "armwords.h"
#include "device/foreign.h"
#include "jsontext.h"
#include "say.h"

namespace arm {
namespace {

using nlohmann::json;

constexpr std::size_t kLargestFleetFile = 1024 * 1024;
constexpr std::size_t kLongestName = sizeof(CTHARLeNDevice::m_szName) - 1;
constexpr std::size_t kLongestSerial = 64;

struct BuiltIn {
    const char* name;
    const char* word;
    int card;
    bool highForce;
    int grip;
    bool gimbal;
    int revision;
    const char* serial;
};

// Every model line, card type and grip that an application can tell apart.
constexpr BuiltIn kBuiltIn[] = {
    {"Default Device", "Orda", kCardUsb, false, 0, true, 3, "SIM-50701"},
    {"Orda LAN", "Orda", kCardLan, false, 0, true, 2, "SIM-50602"},
    {"Orda High Force", "Orda", kCardUsb, true, 0, true, 3, "SIM-50703"},
    {"Corvale USB", "Corvale", kCardUsb, false, 0, true, 9, "SIM-30704"},
    {"Corvale LAN", "Corvale", kCardLan, false, 0, true, 5, "SIM-30605"},
    {"Corvale 1394", "Corvale", kCard1394, false, 0, true, 1, "SIM-30306"},
    {"Nolva USB", "Nolva", kCardUsb, false, 0, true, 1, "SIM-90707"},
    {"Stelmar 1.0", "Stelmar 1.0", kCardParallel1, false, 0, true, 1, "SIM-10108"},
    {"Stelmar 1.0 Thimble", "Stelmar 1.0", kCardParallel2, false, 0, false, 1, "SIM-10209"},
    {"Stelmar 1.5", "Stelmar 1.5", kCard1394, false, 0, true, 2, "SIM-20310"},
    {"Stelmar 1.5 High Force", "Stelmar 1.5", kCard1394, true, 0, true, 2, "SIM-20311"},
    {"Stelmar 3.0", "Stelmar 3.0", kCardParallel1, false, 0, true, 1, "SIM-60112"},
    {"Stelmar 6DOF Thumbpad", "Stelmar 1.5 6DOF", kCardParallel1, false, 1, true, 2, "SIM-40113"},
    {"Stelmar 6DOF Scissor", "Stelmar 1.5 6DOF", kCard1394, false, 2, true, 2, "SIM-40314"},
};
static_assert(std::size(kBuiltIn) <= armwords::kFleetSize, "the store holds twenty devices");

/// Latin-1 of UTF-8 text; false for characters outside Latin-1 and control characters.
bool toLatin1(const std::string& utf8, std::string& latin1) {
    latin1.clear();
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        unsigned c = static_cast<unsigned char>(utf8[i]);
        if (c == 0xC2 || c == 0xC3) {
            if (++i == utf8.size())
                return false;
            c = ((c & 3u) << 6) | (static_cast<unsigned char>(utf8[i]) & 0x3Fu);
        } else if (c > 0x7F) {
            return false;
        }
        if (c < 0x20 || (c >= 0x7F && c < 0xA0))
            return false;
        latin1.push_back(static_cast<char>(c));
    }
    return true;
}

/// What an application that trims a name takes from its ends: of Latin-1, the blank and the one that does not
/// break.
bool isBlank(char latin1) { return latin1 == ' ' || latin1 == '\xA0'; }

[[noreturn]] void refuse(const std::string& where, const std::string& why) {
    throw std::runtime_error(where + ": " + why);
}

std::string text(const json& object, const std::string& where, const char* key) {
    if (!object.contains(key))
        refuse(where, std::string("has no \"") + key + "\"");
    if (!object[key].is_string())
        refuse(where + "." + key, "must be a text");
    return object[key].get<std::string>();
}

bool boolean(const json& object, const std::string& where, const char* key, bool standard) {
    if (!object.contains(key))
        return standard;
    if (!object[key].is_boolean())
        refuse(where + "." + key, "must be true or false");
    return object[key].get<bool>();
}

int choice(const json& object, const std::string& where, const char* key, int standard,
           std::initializer_list<int> allowed) {
    if (!object.contains(key))
        return standard;
    const json& value = object[key];
    const bool fits =
        value.is_number_integer() && std::any_of(allowed.begin(), allowed.end(), [&](int a) { return value == a; });
    if (fits)
        return value.get<int>();
    std::string list;
    for (int a : allowed)
        list += (list.empty() ? "" : ", ") + std::to_string(a);
    refuse(where + "." + key, "must be one of " + list);
}

FleetDevice readDevice(const json& object, const std::string& where) {
    if (!object.is_object())
        refuse(where, "must be an object");
    for (const auto& item : object.items()) {
        const char* const known[] = {"name", "model", "card", "highForce", "gimbal", "grip", "revision", "serial"};
        if (std::none_of(std::begin(known), std::end(known), [&](const char* k) { return item.key() == k; }))
            refuse(where, "does not know \"" + foreign::printable(item.key()) + "\"");
    }
    FleetDevice device;
    device.name = text(object, where, "name");
    if (!toLatin1(device.name, device.latin1) || device.name.empty() || device.name.find('/') != std::string::npos
        || isBlank(device.latin1.front()) || isBlank(device.latin1.back()))
        refuse(where + ".name",
               "must be Latin-1 text without control characters, slashes and blanks at its ends, and not empty");
    if (device.latin1.size() > kLongestName)
        refuse(where + ".name", "is longer than 127 characters");
    device.cardType =
        choice(object, where, "card", kCardUsb, {kCardParallel1, kCardParallel2, kCard1394, kCardLan, kCardUsb});
    const bool highForce = boolean(object, where, "highForce", false);
    const std::string word = text(object, where, "model");
    device.line = findLine(word, device.cardType, highForce);
    if (!device.line)
        refuse(where + ".model", "there is no line \"" + foreign::printable(word) + "\" with card "
                                     + std::to_string(device.cardType) + (highForce ? " and high force" : ""));
    device.gimbal = boolean(object, where, "gimbal", true);
    if (!device.gimbal && device.line->sixDof)
        refuse(where + ".gimbal", "this line always has one");
    device.grip = choice(object, where, "grip", 0, {0, 1, 2});
    if (device.grip != 0 && device.line->calibration != CalibrationStyle::ResetPose)
        refuse(where + ".grip", "this line has no grip");
    device.revision = choice(object, where, "revision", 1, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    device.serial = text(object, where, "serial");
    std::string ignored;
    if (device.serial.empty() || device.serial.size() > kLongestSerial || !toLatin1(device.serial, ignored)
        || ignored != device.serial)
        refuse(where + ".serial", "must be plain text of 1 to 64 characters");
    return device;
}

std::vector<FleetDevice> readDevices(const std::string& content) {
    json root;
    try {
        root = parseJson(content);
    } catch (const json::exception& error) {
        const std::string what = error.what();
        const std::size_t end = what.find("] ");
        throw std::runtime_error("is not JSON: "
                                 + foreign::printable(end == std::string::npos ? what : what.substr(end + 2)));
    }
    if (!root.is_object() || !root.contains("devices") || !root["devices"].is_array() || root.size() != 1)
        throw std::runtime_error("must be an object with the one field \"devices\", an array");
    const json& list = root["devices"];
    if (list.size() > armwords::kFleetSize)
        refuse("devices", "holds " + std::to_string(list.size()) + " devices, more than 20");
    std::vector<FleetDevice> devices;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string where = "devices[" + std::to_string(i) + "]";
        const FleetDevice device = readDevice(list[i], where);
        for (const FleetDevice& other : devices) {
            if (other.name == device.name)
                refuse(where + ".name", "\"" + device.name + "\" is there twice");
            if (other.serial == device.serial)
                refuse(where + ".serial", "\"" + device.serial + "\" is there twice");
        }
        devices.push_back(device);
    }
    return devices;
}

std::vector<FleetDevice> builtIn() {
    std::vector<FleetDevice> devices;
    for (const BuiltIn& b : kBuiltIn)
        devices.push_back(
            {b.name, b.name, findLine(b.word, b.card, b.highForce), b.card, b.grip, b.gimbal, b.revision, b.serial});
    return devices;
}

template <std::size_t N>
void copyText(char (&target)[N], const std::string& source) {
    std::memset(target, 0, N);
    std::memcpy(target, source.data(), std::min(source.size(), N - 1));
}

}  // namespace

int Fleet::find(const std::string& latin1) const {
    for (std::size_t i = 0; i < devices.size(); ++i)
        if (devices[i].latin1 == latin1)
            return static_cast<int>(i);
    return -1;
}

Fleet loadFleet() {
    Fleet fleet;
    fleet.devices = builtIn();
    const std::string home = dataHome();
    const std::string path = home + "/config/devices.json";
    if (home.empty())
        return fleet;
    try {
        const foreign::FileText file = foreign::readFile(path, kLargestFleetFile);
        if (!file.why.empty())
            throw std::runtime_error(file.why);
        if (!file.there)
            return fleet;
        if (file.text.size() > kLargestFleetFile)
            throw std::runtime_error("is larger than 1 MiB");
        fleet.devices = readDevices(file.text);
        fleet.source = path;
    } catch (const std::exception& error) {
        complain(foreign::printable(path) + ": " + error.what() + "; the built-in fleet stands");
    }
    return fleet;
}

void fillRecord(const FleetDevice& device, int index, CTHARLeNDevice& record) {
    const LineFigures& line = *device.line;
    copyText(record.m_szName, device.latin1);
    record.m_nIndex = index;
    record.m_nModelType = static_cast<ULONG>(line.modelType);
    record.m_dL1 = line.upperArm;
    record.m_dL2 = line.forearm;
    record.m_nCardType = static_cast<ULONG>(device.cardType);
    record.m_nExtra6DOFOption = static_cast<ULONG>(device.grip);
    double* const reductions[] = {&record.m_dR1, &record.m_dR2, &record.m_dR3,
                                  &record.m_dR4, &record.m_dR5, &record.m_dR6};
    double* const resetAngles[] = {&record.m_dResetAngle0, &record.m_dResetAngle1, &record.m_dResetAngle2,
                                   &record.m_dResetAngle3, &record.m_dResetAngle4, &record.m_dResetAngle5};
    for (int i = 0; i < kAxes; ++i) {
        *reductions[i] = line.axis(i).reduction;
        *resetAngles[i] = line.resetPose[i];
    }
    record.m_nHighForce = line.highForce ? 1 : 0;
    record.m_nGimbal = device.gimbal ? 1 : 0;
    record.m_dNominalMaxStiffness = line.maxStiffness;
    record.m_dNominalMaxDamping = line.maxDamping;
    record.m_dNominalMaxForce = line.maxForce;
    record.m_dNominalMaxContinuousForce = line.continuousForce;
    record.m_dNominalMaxTorqueStiffness = line.maxTorqueStiffness;
    record.m_dNominalMaxTorqueDamping = line.maxTorqueDamping;
    record.m_dNominalMaxTorqueForce = line.maxTorque;
    record.m_dNominalMaxTorqueContinuousForce = line.continuousTorque;
    record.m_dWorkspaceOffset1 = line.originY;
    record.m_dWorkspaceOffset2 = line.originZ;
    if (device.cardType == kCardLan)
        copyText(record.m_szTharlenHost, "simulated.local");
    copyText(record.m_nDeviceSerialNumber, device.serial);
}

}  // namespace arm
