// The sources of a graph in a run: which of them run, who goes next, when all is over.
#pragma once

#include "Errors.h"
#include "Source.h"

#include <host/Graph.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessalune::host {

class TSources {
 public:
  // Takes the sources whose output is linked; any other is kept from starting. AMustEnd is asked
  // behind each block, on any thread; AWakeUp is woken when a source has ended.
  TSources(const TGraph& AGraph, const TRunSettings& ASettings,
           const std::function<bool()>& AMustEnd, std::shared_ptr<TWakeUp> AWakeUp);

  const std::vector<std::unique_ptr<TSource>>& All() const { return FSources; }
  // Null if the component is no source that is run.
  TSource* Find(const TComponent& AComponent) const;

  // Those that are ticked start behind those that tick them. What fails is an error.
  void Start(TErrors& AErrors);
  bool AnyHasStarted() const;
  // Why those that did not start did not.
  const std::vector<std::string>& NotRun() const { return FNotRun; }

  // Pumps, until nothing is left to pump, the source that is furthest behind, so that streams that
  // meet stay together. AtCut, when all stand at the cuts that SetCuts gave them, sets the next;
  // ABetween, behind each pump, is false to end it.
  void Pump(TErrors& AErrors, const std::function<void()>& AAtCut,
            const std::function<bool()>& ABetween);

  // Between two blocks: sets the stream time before which something is to happen next; empty if
  // nothing is.
  void SetCuts(std::optional<double> ASeconds);
  bool AnyIsAtCut() const;
  // Nothing that runs is enabled.
  bool AllStandStill() const;
  // Runs ADo between two blocks of all sources.
  void Between(const std::function<void()>& ADo);

  // True if nothing is left to run, or if all that ends by itself has.
  bool IsOver() const;
  bool AnyIsGoing() const;
  // Of the longest stream, in seconds; the time at which the last will be over, if somebody knows.
  double StreamTime() const;
  std::optional<double> TotalTime() const;

 private:
  struct TTicked {
    TSource* Source;
    std::vector<TSource*> Tickers;
    bool HasOther;  // something that is no source may tick it
    std::string Names;
  };

  void Add(TComponent& AComponent, const TRunSettings& ASettings);
  void FindTickers();
  void StartOne(TSource& ASource, TErrors& AErrors);
  void Between(std::size_t AIndex, const std::function<void()>& ADo);
  // Disabled, with nothing to come that could enable it.
  bool IsPaused(const TSource& ASource) const;
  // A source that is ticked goes on for as long as something ticks it.
  bool IsGoing(const TSource& ASource) const;

  const std::function<bool()> FMustEnd;
  const std::shared_ptr<TWakeUp> FWakeUp;
  std::vector<std::unique_ptr<TSource>> FSources;
  std::vector<TTicked> FTicked;
  bool FMayChange = false;
  std::vector<std::string> FNotRun;
};

}  // namespace tessalune::host
