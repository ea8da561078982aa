// Reading of JSON for commands and files: nothing nested past the limit, no field twice.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace arm {

/// Throws a json::exception for what is no JSON, and a std::runtime_error with the sentence for what is nested too
/// deep or has a field twice, which is named by its place.
nlohmann::json parseJson(const std::string& text);

}  // namespace arm
