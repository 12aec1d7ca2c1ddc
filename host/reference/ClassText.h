// The text that stands beside a class, taken apart.
#pragma once

#include <tessalune/frame/runtime/QSPublished.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// The sections of a class's text that pages and `describe` show under a heading, in their order.
struct TTextSection {
  std::string_view Heading;
  std::string_view Name;  // in JSON
  std::string_view TClassText::*Text;
};
inline constexpr std::array<TTextSection, 5> TextSections{{
    {"When to use it", "use", &TClassText::Use},
    {"Bad input", "badInput", &TClassText::BadInput},
    {"Accuracy and cost", "accuracy", &TClassText::Accuracy},
    {"Formulas", "formulas", &TClassText::Formulas},
    {"See also", "seeAlso", &TClassText::SeeAlso},
}};

// A piece of such a text. Lines of a paragraph and of an item are joined, those of formulas end
// with a line feed each and have lost their four spaces.
struct TTextBlock {
  enum class TKind : std::uint8_t { Paragraph, Item, Formula } Kind;
  std::string Text;
};
std::vector<TTextBlock> TextBlocks(std::string_view AText);

}  // namespace tessalune::host
