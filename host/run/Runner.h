// Runs a graph to its end and tells what came of it.
#pragma once

#include "Errors.h"
#include "Interrupt.h"
#include "Script.h"
#include "Sources.h"
#include "Values.h"

#include <host/Graph.h>
#include <host/GraphCheck.h>

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSReports.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessalune::host {

// Who hears of a run while it goes on.
class IRunObserver {
 public:
  virtual ~IRunObserver() = default;
  // Whether Event is wanted; asked before the run.
  virtual bool WantsEvents() const = 0;
  // On the thread that fires the event. AEvent is "OnStop", or "Threading.OnQueueFull" of a
  // sub-object.
  virtual void Event(const TComponent& AComponent, const std::string& AEvent,
                     const std::vector<TEventArgument>& AArguments) = 0;
  // A value that is watched was sent, on that thread. ATime is in seconds of stream. What it throws
  // leaves through the sender.
  virtual void Value(const TWatched& AWatched, double ATime, const TValue& AValue) = 0;
  // On the main thread, ten times a second. ATotal is empty while the end is not known. False if
  // nobody can be told any more: the run fails then.
  virtual bool Progress(double ASeconds, std::optional<double> ATotal) = 0;
};

enum class TRunEnd : std::uint8_t {
  Limit,         // the samples or seconds asked for
  SourcesEnded,  // every source that ends by itself has
  Interrupted,
  NothingRan,  // no source could start
  Failed,
};
std::string_view RunEndName(TRunEnd AEnd);

struct TRunResult {
  struct TSourceFigures {
    const TComponent* Component;
    std::int64_t Samples;
    double Rate;                   // Hz
    std::optional<TClockLag> Lag;  // if it ran on a clock of its own
  };
  struct TFileFigures {
    const TComponent* Component;
    std::string FileName;
    TFileWay Way;
    std::int64_t Bytes;  // of samples
  };
  struct TLossFigures {
    const TComponent* Component;
    TLoss Loss;
  };

  TRunEnd End = TRunEnd::SourcesEnded;
  int Signal = 0;            // if interrupted
  double Seconds = 0.0;      // of stream time, the longest of all sources
  std::int64_t Samples = 0;  // likewise
  double Elapsed = 0.0;      // seconds that the run took
  std::vector<TSourceFigures> Sources;
  std::vector<TFileFigures> Files;
  std::vector<TLossFigures> Losses;
  std::vector<TValues::TLast> Values;
  std::vector<std::string> Errors;
  std::vector<std::string> Remarks;

  // What a component has lost, in whatever unit it counts.
  std::int64_t LostBy(const TComponent& AComponent) const;
};

// A run of a graph. What it returns names pins and components of the graph, and AObserver hears of
// events, for as long as those live: the graph outlives the run, and AObserver the graph. One at a
// time.
class TRun {
 public:
  // AWatched are the pins whose values AObserver hears of, AScript is what changes on the way.
  TRun(const TGraph& AGraph, const TRunSettings& ASettings, std::vector<TWatched> AWatched,
       TScript& AScript, TInterrupt& AInterrupt, IRunObserver& AObserver);
  TRun(const TRun&) = delete;
  ~TRun();

  // Returns when the graph stands still and its files are closed.
  TRunResult Run();

 private:
  using TSteady = std::chrono::steady_clock;

  void ListenTo(TComponent& AComponent);
  void WaitForClocks();
  void SetCuts();
  bool IsStepDue() const;
  void DoSteps();
  bool MayGoOn() const;
  void Report();
  void StopSources();
  void CheckLosses();
  void AddFigures(TRunResult& AResult) const;
  void AddRemarks(TRunResult& AResult) const;
  TRunResult Result(bool AEndedAlone);

  const TGraph& FGraph;
  const TRunSettings FSettings;
  TInterrupt& FInterrupt;
  IRunObserver& FObserver;
  const std::shared_ptr<TWakeUp> FWakeUp = FInterrupt.WakeUp();
  const std::shared_ptr<TErrors> FErrors = std::make_shared<TErrors>(FWakeUp);
  const std::vector<TWarning> FWarnings =
      CheckGraph(FGraph);  // before the run's own links are made
  TScript& FScript;
  TSources FSources;
  TValues FValues;
  // Blocks that each filter's queue has dropped; outlives the run, since components keep handlers.
  using TDrops = std::map<const TComponent*, std::atomic<std::int64_t>>;
  const std::shared_ptr<TDrops> FDrops = std::make_shared<TDrops>();
  TUnhandledExceptionHook FHook;
  TSteady::time_point FStart;
  TSteady::time_point FLastReport;
};

}  // namespace tessalune::host
