// JSON commands: a table of names, the fields each one takes, and what it does. Fields are checked before
// anything is changed; whatever is wrong is answered by the field's name.
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "boundary.h"
#include "device/foreign.h"
#include "device/simulated/jsontext.h"
#include "device/simulated/rig.h"

namespace arm {
namespace {

using nlohmann::json;
using namespace armwords;

/// A command's fields; every reader throws the sentence that goes back.
class Fields {
public:
    explicit Fields(const json& object) : object_(object) {}

    void allow(std::initializer_list<const char*> names) const {
        for (const auto& item : object_.items()) {
            bool known = item.key() == "command" || item.key() == "id";
            for (const char* name : names)
                known |= name && item.key() == name;
            if (!known)
                throw std::runtime_error(foreign::printable(item.key()) + ": this command has no such field");
        }
    }
    bool has(const char* name) const { return object_.contains(name); }
    double number(const Field& field) const { return asNumber(need(field.name), field.name); }
    int integer(const Field& field) const {
        const json& value = need(field.name);
        const long low = std::lround(field.low), high = std::lround(field.high);
        // A number past what a long holds would turn into a negative one.
        const bool holds =
            value.is_number_integer() && (!value.is_number_unsigned() || value.get<std::uint64_t>() <= LONG_MAX);
        if (!holds || value.get<long>() < low || value.get<long>() > high)
            throw std::runtime_error(std::string(field.name) + ": must be a whole number between " + std::to_string(low)
                                     + " and " + std::to_string(high));
        return value.get<int>();
    }
    bool boolean(const Field& field) const {
        if (!need(field.name).is_boolean())
            throw std::runtime_error(std::string(field.name) + ": must be true or false");
        return need(field.name).get<bool>();
    }
    std::string text(const char* name) const {
        if (!need(name).is_string())
            throw std::runtime_error(std::string(name) + ": must be a text");
        return need(name).get<std::string>();
    }
    template <std::size_t N>
    std::array<double, N> numbers(const Field& field) const {
        const json& value = need(field.name);
        if (!value.is_array() || value.size() != N)
            throw std::runtime_error(std::string(field.name) + ": must be an array of " + std::to_string(N)
                                     + " numbers");
        std::array<double, N> result{};
        for (std::size_t i = 0; i < N; ++i)
            result[i] = asNumber(value[i], field.name);
        return result;
    }

private:
    const json& need(const char* name) const {
        if (!object_.contains(name))
            throw std::runtime_error(std::string(name) + ": is missing");
        return object_[name];
    }
    static double asNumber(const json& value, const char* name) {
        if (!value.is_number() || !std::isfinite(value.get<double>()))
            throw std::runtime_error(std::string(name) + ": must be a number");
        return value.get<double>();
    }

    const json& object_;
};

json stateJson() {
    const armcontrol::State s = armcontrol::state();
    json fields;
    eachField(s, [&fields](const char* name, const auto& field, double = 0) { fields[name] = field; });
    return fields;
}

json faultsJson() {
    const FaultSet set = rig().withArm([](Arm& a) { return a.faults; });
    json list = json::array();
    for (std::size_t i = 0; i < static_cast<std::size_t>(Fault::Count); ++i) {
        const FaultFigures& f = faultFigures(static_cast<Fault>(i));
        const FaultSet::Switch& s = set.at(static_cast<Fault>(i));
        list.push_back({{"name", f.name},
                        {"on", s.on},
                        {"axis", s.on ? s.axis : -1},
                        {"amount", s.on ? s.amount : f.usual},
                        {"unit", f.unit},
                        {"text", f.text}});
        if (isManner(static_cast<Fault>(i)))
            list.back()["manner"] = true;
    }
    return list;
}

using Action = std::string (*)(const Fields& fields, json& answer);

struct Command {
    const char* name;
    Action action;
};

std::string doFault(const Fields& f, json&) {
    f.allow({"name", "on", "axis", "amount"});
    const std::string name = f.text("name");
    const bool on = f.boolean({"on"});
    const int axis = f.has("axis") ? f.integer({"axis", Field::Kind::Whole, -1, kFleetSize - 1}) : -1;
    const double amount = f.has("amount") ? f.number({"amount"}) : 0.0;
    return rig().switchFault(name, on, axis, f.has("amount") ? &amount : nullptr);
}

std::string doStep(const Fields& f, json& answer) {
    f.allow({"ticks"});
    const int ticks = f.integer(kStepTicks);
    if (!rig().loop.stepped())
        return "the loop runs on its thread";
    answer["ticks"] = armcontrol::step(ticks);
    return "";
}

struct HandAction {
    const char* name;  ///< one of kHandCommands, which has the fields
    std::string (*action)(const Fields& fields);
};

const HandAction kHandActions[] = {
    {"hand.move", [](const Fields& f) { return armcontrol::handMove(f.numbers<3>(kPosition)); }},
    {"hand.drag", [](const Fields& f) { return armcontrol::handDrag(f.numbers<3>(kPosition), f.number(kDragSpeed)); }},
    {"hand.joints",
     [](const Fields& f) { return armcontrol::handJoints(f.numbers<6>(kJointAngles), f.number(kTurnSpeed)); }},
    {"hand.sweep", [](const Fields& f) { return armcontrol::handSweep(f.integer(kAxis), f.number(kTurnSpeed)); }},
    {"hand.gimbal", [](const Fields& f) { return armcontrol::handGimbal(f.numbers<3>(kGimbalAngles)); }},
    {"hand.release", [](const Fields&) { return armcontrol::handRelease(); }},
    {"hand.dock", [](const Fields&) { return armcontrol::handDock(); }},
    {"hand.undock", [](const Fields&) { return armcontrol::handUndock(); }},
    {"hand.reset", [](const Fields&) { return armcontrol::handReset(); }},
    {"hand.strength", [](const Fields& f) { return armcontrol::handStrength(f.number(kStrength)); }},
    {"hand.switch", [](const Fields& f) { return armcontrol::handSwitch(f.integer(kButton), f.boolean(kPressed)); }},
    {"hand.presence", [](const Fields& f) { return armcontrol::handPresence(f.boolean(kPresent)); }},
    {"hand.pinch", [](const Fields& f) { return armcontrol::handPinch(f.number(kClosed)); }},
};
static_assert(std::size(kHandActions) == std::size(kHandCommands), "one action for each command of the hand");

const Command kOtherCommands[] = {
    {"state",
     [](const Fields& f, json& answer) {
         f.allow({});
         answer["state"] = stateJson();
         return std::string();
     }},
    {"fleet.list",
     [](const Fields& f, json& answer) {
         f.allow({});
         answer["devices"] = armcontrol::fleetNames();
         answer["source"] = armcontrol::fleetSource();
         return std::string();
     }},
    {"fault.set", doFault},
    {"fault.clear",
     [](const Fields& f, json&) {
         f.allow({});
         return armcontrol::clearFaults();
     }},
    {"fault.list",
     [](const Fields& f, json& answer) {
         f.allow({});
         answer["faults"] = faultsJson();
         return std::string();
     }},
    {"heat.set",
     [](const Fields& f, json&) {
         f.allow({"motor", "winding", "stator"});
         return armcontrol::heatSet(f.integer(kMotor), f.number(kWinding), f.number(kStator));
     }},
    {"heat.pace",
     [](const Fields& f, json&) {
         f.allow({"factor"});
         return armcontrol::heatPace(f.number(kHeatPace));
     }},
    {"loop.step", doStep},
};

std::string run(const Fields& fields, json& answer) {
    const std::string name = fields.text("command");
    for (const HandCommand& command : kHandCommands)
        if (name == command.name)
            fields.allow({command.fields[0].name, command.fields[1].name});
    for (const HandAction& it : kHandActions)
        if (name == it.name)
            return it.action(fields);
    for (const Command& command : kOtherCommands)
        if (name == command.name)
            return command.action(fields, answer);
    throw std::runtime_error("command: there is no command \"" + foreign::printable(name) + "\"");
}

json answerTo(const std::string& line) {
    json answer = json::object();
    std::string why;
    try {
        const json object = parseJson(line);
        if (!object.is_object())
            throw std::runtime_error("a command is a JSON object");
        if (object.contains("id"))
            answer["id"] = object["id"];
        const Fields fields(object);
        why = run(fields, answer);
    } catch (const json::exception&) {
        why = "the line is not JSON";
    } catch (const std::exception& error) {
        why = error.what();
    }
    answer["ok"] = why.empty();
    if (!why.empty())
        answer["error"] = why;
    return answer;
}

}  // namespace
}  // namespace arm

std::string armcontrol::command(const std::string& line) {
    return arm::answerTo(line).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
