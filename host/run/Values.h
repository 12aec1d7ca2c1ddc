// The values that components send while a graph runs.
#pragma once

#include <host/Graph.h>

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/primitives/QSComplex.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

namespace tessalune::host {

using TValue = std::variant<double, TComplex, std::int64_t>;

// "12.5", "7", "1-2i".
std::string ValueText(const TValue& AValue);

// A pin whose values are watched.
struct TWatched {
  TKLBasicPin* Pin;  // of a component
  bool IsAsked;      // each value is told, not the last alone

  const TComponent& Component() const { return *Pin->Owner(); }
  std::string Name() const { return Component().Name() + '.' + Pin->Name(); }
};

// The pins that the settings ask for. A name that means none, or none that sends values, is told as
// a mistake.
std::vector<TWatched> FindWatched(TGraph& AGraph, const TRunSettings& ASettings,
                                  TMistakes& AMistakes);

// Listens to all value outputs of a graph, and to those asked for, while it lives.
class TValues {
 public:
  struct TLast {
    const TWatched* Watched;
    TValue Value;
    double Time;  // seconds of stream, as for TTell
    std::int64_t Count;
  };
  // On the thread that sends the value. What it throws leaves through the sender.
  using TTell = std::function<void(const TWatched& AWatched, double ATime, const TValue& AValue)>;

  // AAsked are told to ATell. ATime gives the seconds of stream that all sinks have got, on any
  // thread.
  TValues(const TGraph& AGraph, std::vector<TWatched> AAsked, std::function<double()> ATime,
          TTell ATell);
  TValues(const TValues&) = delete;
  ~TValues();

  // The last value of each pin that sent one.
  std::vector<TLast> Last() const;

 private:
  struct TEntry;
  void Take(TEntry& AEntry, const TValue& AValue);

  const std::function<double()> FTime;
  const TTell FTell;
  std::vector<std::unique_ptr<TEntry>> FEntries;
};

}  // namespace tessalune::host
