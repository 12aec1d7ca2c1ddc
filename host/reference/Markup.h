// Words inside a text: the names of classes that have pages, and `names` set apart.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// The classes that a page may link to.
struct TLinkedNames {
  std::vector<std::string_view> Classes;
  std::string_view Own;  // the page's own class, which needs no link

  bool Contains(std::string_view AWord) const {
    return AWord != Own && std::find(Classes.begin(), Classes.end(), AWord) != Classes.end();
  }
};

// AText in pieces: whole words of letters, digits and underlines go through AWord, what is between
// backticks through AName, without them, and the rest through AOther.
template <class TWord, class TName, class TOther>
std::string MarkedUp(std::string_view AText, TWord AWord, TName AName, TOther AOther) {
  const auto IsOfWord = [](char AChar) {
    return (AChar >= 'a' && AChar <= 'z') || (AChar >= 'A' && AChar <= 'Z') ||
           (AChar >= '0' && AChar <= '9') || AChar == '_';
  };
  std::string Text;
  while (!AText.empty()) {
    if (AText.front() == '`') {
      if (const std::size_t End = AText.find('`', 1); End != std::string_view::npos) {
        Text += AName(AText.substr(1, End - 1));
        AText.remove_prefix(End + 1);
        continue;
      }
    }
    const auto End = IsOfWord(AText.front())
                         ? std::find_if_not(AText.begin(), AText.end(), IsOfWord)
                         : AText.begin() + 1;
    const auto Piece = AText.substr(0, static_cast<std::size_t>(End - AText.begin()));
    Text += IsOfWord(AText.front()) ? AWord(Piece) : AOther(Piece);
    AText.remove_prefix(Piece.size());
  }
  return Text;
}

}  // namespace tessalune::host
