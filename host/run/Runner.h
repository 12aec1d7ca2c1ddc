// Runs a graph to its end and tells what came of it.
#pragma once

#include "Interrupt.h"

#include <host/Graph.h>

#include <cstdint>
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
  // On the main thread, ten times a second. ATotal is empty while the end is not known. False if
  // nobody can be told any more: the run fails then.
  virtual bool Progress(double ASeconds, std::optional<double> ATotal) = 0;
};

enum class TRunEnd : std::uint8_t {
  Limit,         // the samples or seconds asked for
  SourcesEnded,  // every source that ends by itself has
  Interrupted,
  Failed,
};
std::string_view RunEndName(TRunEnd AEnd);

struct TRunResult {
  struct TSourceFigures {
    const TComponent* Component;
    std::int64_t Samples;
    double Rate;  // Hz
  };
  struct TLoggerFigures {
    const TComponent* Component;
    std::string FileName;
    std::int64_t Bytes;  // of samples
    std::int64_t Lost;   // bytes, of samples and counts, that the file did not take
  };

  TRunEnd End = TRunEnd::SourcesEnded;
  int Signal = 0;            // if interrupted
  double Seconds = 0.0;      // of stream time, the longest of all sources
  std::int64_t Samples = 0;  // likewise
  double Elapsed = 0.0;      // seconds that the run took
  std::vector<TSourceFigures> Sources;
  std::vector<TLoggerFigures> Loggers;
  std::vector<std::string> Errors;
  std::vector<std::string> Remarks;
};

// Returns when the graph stands still and its files are closed. The components' events are taken
// over for as long as they live; AObserver must outlive them.
TRunResult RunGraph(const TGraph& AGraph, const TRunSettings& ASettings, TInterrupt& AInterrupt,
                    IRunObserver& AObserver);

}  // namespace tessalune::host
