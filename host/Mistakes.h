// Mistakes in what a user wrote: collected, so that all of them are told at once.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

// Where something stands in a text, both counted from 1, columns in characters. Line 0: nowhere.
struct TPlace {
  std::size_t Line = 0;
  std::size_t Column = 0;
};

struct TMistake {
  TPlace Place;
  std::string Path;  // "components[0].properties.Frequency", or what of the command line is wrong
  std::string Message;
};

class TMistakes {
 public:
  // AFile is what the places lie in.
  explicit TMistakes(std::string AFile) : FFile(std::move(AFile)) {}

  void Add(TPlace APlace, std::string APath, std::string AMessage) {
    FMistakes.push_back({APlace, std::move(APath), std::move(AMessage)});
  }
  bool IsEmpty() const { return FMistakes.empty(); }
  // Looking for the name that was meant takes time: in a file where all is wrong, the first
  // suggestions help and the others only hold the answer up.
  bool TakesSuggestions() const { return FMistakes.size() < 100; }

  const std::string& File() const { return FFile; }
  // In the order of the file.
  std::vector<TMistake> InOrder() const;
  // A line each: "graph.json:4:7: components[0].class: ...".
  // AKind stands before the message: "warning: ".
  std::string Text(std::string_view AKind = {}) const;
  nlohmann::ordered_json Json() const;

 private:
  const std::string FFile;
  std::vector<TMistake> FMistakes;
};

}  // namespace tessalune::host
