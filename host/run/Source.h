// A source of a graph in a run: its count of samples, its limit, its end.
#pragma once

#include "WakeUp.h"

#include <tessalune/frame/streams/QSCommonGen.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace tessalune::host {

class TSource {
 public:
  // What drives a source: the runner, the source's own clock, or another stream's ticks.
  enum class TDrive : std::uint8_t { Pumped, OwnClock, Ticks };

  // ALimit is the number of samples after which it stops. AWakeUp is woken when it has ended.
  TSource(TQSCommonBufferGen& AGen, TDrive ADrive, std::optional<std::int64_t> ALimit,
          std::shared_ptr<TWakeUp> AWakeUp);
  TSource(const TSource&) = delete;

  TQSCommonBufferGen& Gen() const { return FGen; }
  TDrive Drive() const { return FDrive; }
  // True if it ends by itself.
  bool IsFinite() const;
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
  bool HasReachedLimit() const { return FLimit && FPosition >= *FLimit; }
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
  // Before the block that reaches the limit: shortens it to end there.
  void ShortenNextBlock();

  TQSCommonBufferGen& FGen;
  const TDrive FDrive;
  const std::optional<std::int64_t> FLimit;
  const std::shared_ptr<TWakeUp> FWakeUp;
  std::atomic<std::int64_t> FDelivered{0};
  std::atomic<std::int64_t> FPosition{0};
  std::atomic<bool> FHasStarted{false};
  const std::shared_ptr<std::atomic<bool>> FHasEnded = std::make_shared<std::atomic<bool>>(false);
  std::int64_t FLastSeen = 0;
  std::chrono::duration<double> FLastMove{0};
  std::unique_ptr<TWatcher> FWatcher;
};

// The first output of a component that is linked; null if there is none.
TKLBasicPin* LinkedOutput(TLockComponent& AComponent);

}  // namespace tessalune::host
