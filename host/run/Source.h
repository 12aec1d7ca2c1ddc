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
#include <mutex>
#include <optional>

namespace tessalune::host {

class TSource {
 public:
  // What drives a source: the runner, the source's own clock, or another stream's ticks.
  enum class TDrive : std::uint8_t { Pumped, OwnClock, Ticks };

  struct TSettings {
    TDrive Drive;
    std::optional<std::int64_t> Samples;  // after which it stops
    std::optional<double> Seconds;        // likewise; with both, what is reached first counts
    std::function<bool()> MustEnd;        // asked behind each block: the run is to end at once
    std::shared_ptr<TWakeUp> WakeUp;      // woken when it has ended
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
  // Between two blocks: takes over a rate that was changed, and the stream time, if there is one,
  // before which something is to happen ahead of the next block. A block that this class pumps ends
  // there; a source on a clock of its own wakes the main loop then.
  void SetCut(std::optional<double> ASeconds);
  bool IsAtCut() const { return FPosition >= FCut; }

  bool HasReachedLimit() const { return FPosition >= FLimit; }
  // Ended because the run had to.
  bool WasCutShort() const { return FWasCutShort; }
  // Samples that its sinks have got.
  std::int64_t Delivered() const { return FDelivered; }
  double DeliveredTime() const { return TimeAt(FDelivered, FDeliveredFrom); }  // seconds
  // Where the stream is, in seconds. A pump that sends nothing takes its time all the same.
  double StreamTime() const { return TimeAt(FPosition, FPositionFrom); }
  // Stops a source that has fallen silent before its limit once the limit's time is over. AElapsed
  // is the time since the start; call it every now and then.
  void StopIfSilent(std::chrono::duration<double> AElapsed);

 private:
  static constexpr std::int64_t Never = std::numeric_limits<std::int64_t>::max();
  // What was reached when the rate became what it is.
  struct TMark {
    std::int64_t Samples = 0;
    double Time = 0.0;
  };

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
  double TimeAt(std::int64_t ASamples, const TMark& AFrom) const;
  std::int64_t PositionAt(double ASeconds) const;
  void FollowRate();

  TComponent& FComponent;
  IPumpable& FGen;
  const TSettings FSettings;
  std::atomic<std::int64_t> FDelivered{0};
  std::atomic<std::int64_t> FPosition{0};
  std::atomic<std::int64_t> FLimit{Never};
  std::atomic<std::int64_t> FCut{Never};
  mutable std::mutex FRateMutex;  // the rate, and what was reached when it began
  double FRate = 0.0;
  TMark FPositionFrom;
  TMark FDeliveredFrom;
  std::atomic<bool> FHasStarted{false};
  std::atomic<bool> FWasCutShort{false};
  const std::shared_ptr<std::atomic<bool>> FHasEnded = std::make_shared<std::atomic<bool>>(false);
  std::int64_t FLastSeen = 0;
  std::chrono::duration<double> FLastMove{0};
  std::unique_ptr<TWatcher> FWatcher;
};

}  // namespace tessalune::host
