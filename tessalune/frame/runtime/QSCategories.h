// The palette's categories.
#pragma once

#include <string_view>

namespace tessalune::categories {

inline constexpr std::string_view Generators = "Generators";
inline constexpr std::string_view Players = "Players";
inline constexpr std::string_view Loggers = "Loggers";
inline constexpr std::string_view Filters = "Filters";
inline constexpr std::string_view Math = "Math";
inline constexpr std::string_view Converters = "Converters";
inline constexpr std::string_view Transforms = "Transforms";
inline constexpr std::string_view Measurement = "Measurement";

}  // namespace tessalune::categories
