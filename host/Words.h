// Small pieces of messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// "class, name, properties".
std::string Listed(const std::vector<std::string_view>& AWords);

// "1 sample", "12 samples".
std::string Counted(std::int64_t ACount, std::string_view AWhat);

// With at most four digits: for people.
std::string Rounded(double AValue);

}  // namespace tessalune::host
