#include "Words.h"

namespace tessalune::host {

std::string Listed(const std::vector<std::string_view>& AWords) {
  std::string Text;
  for (const std::string_view Word : AWords) {
    if (!Text.empty()) Text += ", ";
    Text += Word;
  }
  return Text;
}

}  // namespace tessalune::host
