// What a run changes on its way, as the "at" of a graph's run section says.
#pragma once

#include "Errors.h"

#include <host/Graph.h>
#include <host/GraphFiles.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessalune::host {

class TScript {
 public:
  // Takes the steps of the graph's run settings. Every mistake is told, a value that its property
  // would refuse among them: the steps are first done to copies of the components.
  TScript(TGraph& AGraph, TMistakes& AMistakes);

  bool IsOver() const { return FNext == FSteps.size(); }
  // The stream time before which the next step is to be done; empty if there is none. A count of
  // samples is one by the rates with which the run begins.
  std::optional<double> NextTime() const;
  // Does the next step.
  void DoNext(TErrors& AErrors);
  // That components use when a step has been done.
  const std::vector<TNamedFile>& Files() const { return FFiles; }
  // Tells the steps that were not done.
  std::vector<std::string> Remarks() const;

 private:
  struct TStep {
    double Seconds;
    std::optional<std::int64_t> Samples;  // of a source with FTopRate
    TPlace Place;
    std::string Path;
    struct TChange {
      TComponent* Component;
      std::string Property;  // "Threading.Enabled"
      TJsonNode Value;
    };
    std::vector<TChange> Changes;
    struct TCall {
      TComponent* Component;
      const TPublishedAction* Action;
    };
    std::vector<TCall> Calls;
  };

  TStep Read(const TRunStep& AStep, const TGraph& AGraph, TMistakes& AMistakes) const;
  void Try(TMistakes& AMistakes);

  double FTopRate = 0.0;  // the highest of all sources
  std::vector<TStep> FSteps;
  std::vector<TNamedFile> FFiles;
  std::size_t FNext = 0;
};

}  // namespace tessalune::host
