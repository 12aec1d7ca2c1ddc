// The form of a graph file: which members it has and of what kind. docs/graph-file.md tells it to
// users. What the members mean (classes, properties, pins) is for TGraph.
#pragma once

#include "JsonDocument.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessalune::host {

// The version of the form that this program reads and writes.
constexpr std::int64_t GraphFormVersion = 1;

// What a run changes on its way: an entry of "at".
struct TRunStep {
  TPlace Place;
  std::string Path;                       // "run.at[0]"
  std::optional<std::int64_t> Samples{};  // when: one of the two
  std::optional<double> Seconds{};
  std::vector<TJsonNode> Set{};    // members whose keys name properties
  std::vector<TJsonNode> Calls{};  // strings, the names of actions
};

// What ends a run, whether it is paced by the sources' own clocks, what is watched, what changes.
struct TRunSettings {
  std::optional<std::int64_t> Samples;  // of each source
  std::optional<double> Seconds;        // of stream time
  bool Realtime = false;
  std::vector<TJsonNode> Watch;  // strings, the names of pins
  std::vector<TRunStep> At;
};

// Places in a document that has the form as far as they are there.
struct TGraphForm {
  struct TComponentEntry {
    std::size_t Index;  // in the array of components
    TPlace Place;
    const TJsonNode* Class;
    const TJsonNode* Name;
    const TJsonNode* Properties;  // null if there are none
  };
  struct TLinkEntry {
    const TJsonNode* Link;
    const TJsonNode* Ends[2];
    const TJsonNode* Type;  // null if the link does not say one
  };
  std::vector<const TJsonNode*> Packages;  // strings, the names of files
  std::vector<TComponentEntry> Components;
  std::vector<TLinkEntry> Links;
  TRunSettings Run;
};

TGraphForm ReadGraphForm(const TJsonNode& ADocument, TMistakes& AMistakes);

}  // namespace tessalune::host
