// A source of a graph in a run: its count of samples, its limit, its end.
#pragma once

#include "WakeUp.h"

#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/streams/QSPumpable.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

namespace tessalune::host {

class TSource {
 public:
  // What drives a source: the runner, the source's own clock, or another stream's ticks.
  enum class TDrive : std::uint8_t { Pumped, OwnClock, Ticks };

  struct TSettings {
    TDrive Drive;
    std::optional<std::int64_t> Limit;  // samples after which it stops
    std::function<bool()> MustEnd;      // asked behind each block: the run is to end at once
    std::shared_ptr<TWakeUp> WakeUp;    // woken when it has ended
  };
  // AComponent's other side is the interface IPumpable.
  TSource(TComponent& AComponent, TSettings ASettings);
  TSource(const TSource&) = delete;

  TComponent& Component() const { return FComponent; }
  IPumpable& Gen() const { return FGen; }
  TDrive Drive() const { return FSettings.Drive; }
  // Samples it will deliver; empty if nobody knows.
  std::optional<std::int64_t> Total() const;

  // What the source throws leaves through these three.
  void Start();
  void Pump();
  void Stop();
  // For the source's OnStop: its sinks know too. May be called after this object has gone.
  std::function<void()> EndNote() const;

  bool HasStarted() const { return FHasStarted; }
  bool HasEnded() const { return *FHasEnded; }
  bool IsGoing() const { return HasStarted() && !HasEnded(); }
  // The samples behind which something is to happen before the next block: a block that this class
  // pumps ends there; NoCut: none. A source on a clock of its own wakes the main loop then.
  static constexpr std::int64_t NoCut = std::numeric_limits<std::int64_t>::max();
  void SetCut(std::int64_t ASamples);
  bool IsAtCut() const { return FPosition >= FCut; }

  bool HasReachedLimit() const { return FSettings.Limit && FPosition >= *FSettings.Limit; }
  // Ended because the run had to.
  bool WasCutShort() const { return FWasCutShort; }
  // Samples that its sinks have got.
  std::int64_t Delivered() const { return FDelivered; }
  // Where the stream is, in seconds. A pump that sends nothing takes its time all the same.
  double StreamTime() const { return static_cast<double>(FPosition.load()) / FGen.SampleRate(); }
  // Stops a source that has fallen silent before its limit once the limit's time is over. AElapsed
  // is the time since the start; call it every now and then.
  void StopIfSilent(std::chrono::duration<double> AElapsed);

 private:
  // Counts what crosses one of the source's links, behind all sinks of the graph.
  class TWatcher final : public TKLSinkPin {
   public:
    TWatcher(const TKLDataType& AType, TSource& ASource);
  };

  void Watch();
  void Count(std::int64_t ASamples);
  // Before the block that reaches the limit or the cut: shortens it to end there.
  void ShortenNextBlock();
  std::int64_t NextBorder() const;

  TComponent& FComponent;
  IPumpable& FGen;
  const TSettings FSettings;
  std::atomic<std::int64_t> FDelivered{0};
  std::atomic<std::int64_t> FPosition{0};
  std::atomic<std::int64_t> FCut{NoCut};
  std::atomic<bool> FHasStarted{false};
  std::atomic<bool> FWasCutShort{false};
  const std::shared_ptr<std::atomic<bool>> FHasEnded = std::make_shared<std::atomic<bool>>(false);
  std::int64_t FLastSeen = 0;
  std::chrono::duration<double> FLastMove{0};
  std::unique_ptr<TWatcher> FWatcher;
};

}  // namespace tessalune::host
