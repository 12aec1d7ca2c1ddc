#include "PropertyJson.h"

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <cmath>

namespace tessalune::host {

nlohmann::ordered_json PropertyJson(const TPropertyValue& AValue) {
  const auto* Number = std::get_if<double>(&AValue);
  if (Number != nullptr && !std::isfinite(*Number)) return NumberText(*Number);
  return std::visit([](const auto& AEach) { return nlohmann::ordered_json(AEach); }, AValue);
}

std::string JsonLine(const nlohmann::ordered_json& AJson) {
  return AJson.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace tessalune::host
