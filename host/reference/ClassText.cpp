#include "ClassText.h"

#include <algorithm>

namespace tessalune::host {

std::vector<TTextBlock> TextBlocks(std::string_view AText) {
  using TKind = TTextBlock::TKind;
  std::vector<TTextBlock> Blocks;
  bool IsOpen = false;  // a line may go on with the last block
  while (!AText.empty()) {
    std::string_view Line = AText.substr(0, AText.find('\n'));
    AText.remove_prefix(std::min(AText.size(), Line.size() + 1));
    if (Line.find_first_not_of(' ') == std::string_view::npos) {
      IsOpen = false;
      continue;
    }
    const bool IsOfFormula = Line.starts_with("    ");
    if (IsOfFormula) {
      const bool GoesOn = IsOpen && Blocks.back().Kind == TKind::Formula;
      if (!GoesOn) Blocks.push_back({TKind::Formula, {}});
      Blocks.back().Text += std::string(Line.substr(4)) + '\n';
    } else if (Line.starts_with("- ")) {
      Blocks.push_back({TKind::Item, std::string(Line.substr(2))});
    } else {
      const bool GoesOn = IsOpen && Blocks.back().Kind != TKind::Formula;
      if (!GoesOn) Blocks.push_back({TKind::Paragraph, {}});
      Line.remove_prefix(Line.find_first_not_of(' '));
      if (GoesOn) Blocks.back().Text += ' ';
      Blocks.back().Text += Line;
    }
    IsOpen = true;
  }
  return Blocks;
}

}  // namespace tessalune::host
