// Property values as JSON that other programs read.
#pragma once

#include <tessalune/frame/runtime/QSSerialization.h>

#include <nlohmann/json.hpp>
#include <string>

namespace tessalune::host {

// NaN and the infinities become strings, as in a graph file; lists become arrays, records objects.
nlohmann::ordered_json PropertyJson(const TPropertyValue& AValue);

// On one line; bytes that are no UTF-8 are replaced.
std::string JsonLine(const nlohmann::ordered_json& AJson);

}  // namespace tessalune::host
