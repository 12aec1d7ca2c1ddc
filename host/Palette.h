// The palette: which classes there are, and what a class shows.
#pragma once

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// Puts all classes of the package on the palette. Call it once, before the others here.
void RegisterPalette();

// The classes by category, in the order of registration.
struct TCategory {
  std::string_view Name;
  std::vector<TComponentClass> Classes;
};
std::vector<TCategory> Categories();

std::string ListText();
nlohmann::ordered_json ListJson();

// A class's pins, properties and events, those of its sub-objects included.
std::string DescribeText(const TComponentClass& AClass);
nlohmann::ordered_json DescribeJson(const TComponentClass& AClass);

// What is said of a pin: "input"; the names of what it carries.
std::string_view DirectionName(const TKLBasicPin& APin);
std::vector<std::string_view> TypeNames(const TKLBasicPin& APin);

// The class of that name. Raises EQSException, with the name that may have been meant, if there is
// none.
const TComponentClass& ClassOfName(const std::string& AName);

}  // namespace tessalune::host
