// See jsontext.h. The reader itself takes the last of two fields with one name in silence.
#include "jsontext.h"

#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <vector>

#include "device/foreign.h"

namespace arm {
namespace {

using nlohmann::json;

/// Follows the reader through a text and knows the names of each object that is open.
class Names {
public:
    void take(json::parse_event_t event, const json& parsed) {
        using Event = json::parse_event_t;
        if (event == Event::object_end || event == Event::array_end)
            levels_.pop_back();
        else if (event == Event::key)
            takeName(parsed.get_ref<const std::string&>());
        else
            takeValue(event);
    }

private:
    struct Level {
        bool array;
        std::size_t values;
        std::string name;  // of the field under way
        std::set<std::string> names;
    };

    void takeValue(json::parse_event_t event) {
        if (!levels_.empty())
            ++levels_.back().values;
        if (event != json::parse_event_t::value)
            levels_.push_back({event == json::parse_event_t::array_start, 0, "", {}});
    }
    void takeName(const std::string& name) {
        levels_.back().name = name;
        if (!levels_.back().names.insert(name).second)
            throw std::runtime_error(foreign::printable(place()) + ": is there twice");
    }
    std::string place() const {
        std::string place;
        for (const Level& level : levels_) {
            if (level.array)
                place += "[" + std::to_string(level.values - 1) + "]";
            else
                place += (place.empty() ? "" : ".") + level.name;
        }
        return place;
    }

    std::vector<Level> levels_;
};

}  // namespace

json parseJson(const std::string& text) {
    if (foreign::shapeOf(text.data(), text.size()).depth > foreign::kDeepest)
        throw std::runtime_error(foreign::kTooDeep);
    Names names;
    return json::parse(text, [&names](int, json::parse_event_t event, json& parsed) {
        names.take(event, parsed);
        return true;
    });
}

}  // namespace arm
