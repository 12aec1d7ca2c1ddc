#include "Mistakes.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <tuple>

namespace tessalune::host {

std::vector<TMistake> TMistakes::InOrder() const {
  std::vector<TMistake> Sorted = FMistakes;
  std::stable_sort(Sorted.begin(), Sorted.end(), [](const TMistake& ALeft, const TMistake& ARight) {
    return std::tie(ALeft.Place.Line, ALeft.Place.Column) <
           std::tie(ARight.Place.Line, ARight.Place.Column);
  });
  return Sorted;
}

std::string TMistakes::Text(std::string_view AKind) const {
  std::string Text;
  for (const TMistake& Mistake : InOrder()) {
    Text += FFile;
    if (Mistake.Place.Line > 0) {
      Text += ':' + std::to_string(Mistake.Place.Line) + ':' + std::to_string(Mistake.Place.Column);
    }
    if (!Mistake.Path.empty()) Text += ": " + Mistake.Path;
    Text += ": " + std::string(AKind) + Mistake.Message + '\n';
  }
  return Text;
}

nlohmann::ordered_json TMistakes::Json() const {
  auto List = nlohmann::ordered_json::array();
  for (const TMistake& Mistake : InOrder()) {
    nlohmann::ordered_json Entry;
    if (Mistake.Place.Line > 0) {
      Entry["line"] = Mistake.Place.Line;
      Entry["column"] = Mistake.Place.Column;
    }
    Entry["path"] = Mistake.Path;
    Entry["message"] = Mistake.Message;
    List.push_back(std::move(Entry));
  }
  return List;
}

}  // namespace tessalune::host
