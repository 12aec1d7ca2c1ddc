// Small pieces of messages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// "class, name, properties".
std::string Listed(const std::vector<std::string_view>& AWords);

}  // namespace tessalune::host
