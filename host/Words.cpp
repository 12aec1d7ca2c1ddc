#include "Words.h"

#include <array>
#include <cstdio>

namespace tessalune::host {

std::string Listed(const std::vector<std::string_view>& AWords) {
  std::string Text;
  for (const std::string_view Word : AWords) {
    if (!Text.empty()) Text += ", ";
    Text += Word;
  }
  return Text;
}

std::string Counted(std::int64_t ACount, std::string_view AWhat) {
  return std::to_string(ACount) + ' ' + std::string(AWhat) + (ACount == 1 ? "" : "s");
}

std::string Rounded(double AValue) {
  std::array<char, 32> Text;
  std::snprintf(Text.data(), Text.size(), "%.4g", AValue);
  return Text.data();
}

}  // namespace tessalune::host
