#include "PropertyJson.h"

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <cmath>

namespace tessalune::host {

namespace {

struct TToJson {
  using TJson = nlohmann::ordered_json;
  TJson operator()(double AValue) const {
    return std::isfinite(AValue) ? TJson(AValue) : TJson(NumberText(AValue));
  }
  TJson operator()(const TPropertyList& AList) const {
    auto Json = TJson::array();
    for (const TPropertyValue& Item : AList.Items) Json.push_back(PropertyJson(Item));
    return Json;
  }
  TJson operator()(const TPropertyRecord& ARecord) const {
    auto Json = TJson::object();
    for (const auto& [Name, Value] : ARecord.Members) Json[Name] = PropertyJson(Value);
    return Json;
  }
  template <class T>
  TJson operator()(const T& AValue) const {
    return TJson(AValue);
  }
};

}  // namespace

nlohmann::ordered_json PropertyJson(const TPropertyValue& AValue) {
  return std::visit(TToJson(), AValue);
}

std::string JsonLine(const nlohmann::ordered_json& AJson) {
  return AJson.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace tessalune::host
