#include "Source.h"

#include <host/GraphWalk.h>

#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessalune::host {

TSource::TWatcher::TWatcher(const TKLDataType& AType, TSource& ASource)
    : TKLSinkPin(TKLPinOwner(), {&AType},
                 [&AType, &ASource](TKLBasicPin&, TKLBasicPin*, const TGUID&,
                                    IKLNotifyOperation& AOperation, TKLNotifyState) {
                   if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
                     // Plain memory counts its bytes; the link tells how large a sample is.
                     auto& Data = *AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
                     const IQSDataBuffer* Block = Data.AsDataBuffer();
                     if (Block != nullptr) ASource.Count(Block->GetByteSize() / AType.SampleSize);
                   } else if (AOperation.IsType<TKLSuppliedOperation>()) {
                     ASource.Count(AOperation.GetInstance<TKLSuppliedOperation>().Samples);
                   }
                   return TKLNotifyResult{};
                 }) {}

TSource::TSource(TComponent& AComponent, TSettings ASettings)
    : FComponent(AComponent),
      FGen(dynamic_cast<IPumpable&>(AComponent)),
      FSettings(std::move(ASettings)) {
  Watch();
  FollowRate();
}

void TSource::Watch() {
  TKLBasicPin* const Output = LinkedOutput(FComponent);
  if (Output == nullptr) return;
  // The watcher takes a type that is on a link already, so that it changes nothing for the others.
  const TKLDataType* Largest = nullptr;
  for (const TKLBasicPin* Sink : Output->ConnectedPins()) {
    const TKLDataType* Type = Output->LinkType(*Sink);
    if (Largest == nullptr || Type->SampleSize > Largest->SampleSize) Largest = Type;
  }
  if (Largest->SampleSize == 0) return;
  FWatcher = std::make_unique<TWatcher>(*Largest, *this);
  Output->Connect(*FWatcher);
}

std::optional<std::int64_t> TSource::Total() const {
  const std::int64_t Limit = FLimit;
  const auto Length = FGen.EndsByItself() ? FGen.Length() : std::nullopt;
  if (Limit == Never) return Length;
  return std::min(Limit, Length.value_or(Limit));
}

double TSource::TimeAt(std::int64_t ASamples, const TMark& AFrom) const {
  const std::lock_guard Lock(FRateMutex);
  return AFrom.Time + static_cast<double>(ASamples - AFrom.Samples) / FRate;
}

std::int64_t TSource::PositionAt(double ASeconds) const {
  const double Samples = std::round((ASeconds - FPositionFrom.Time) * FRate);
  return Samples < 0x1p62 ? FPositionFrom.Samples + static_cast<std::int64_t>(Samples) : Never;
}

// On the main thread, between two blocks.
void TSource::FollowRate() {
  const double Rate = FGen.SampleRate();
  if (Rate != FRate) {
    const TMark Position{FPosition, FRate > 0 ? StreamTime() : 0.0};
    const TMark Delivered{FDelivered, FRate > 0 ? DeliveredTime() : 0.0};
    const std::lock_guard Lock(FRateMutex);
    FPositionFrom = Position;
    FDeliveredFrom = Delivered;
    FRate = Rate;
  }
  // Stored once: a source with a clock of its own looks at it meanwhile.
  std::int64_t Limit = FSettings.Samples.value_or(Never);
  if (FSettings.Seconds) {
    Limit = std::min(Limit, std::max<std::int64_t>(1, PositionAt(*FSettings.Seconds)));
  }
  FLimit = Limit;
}

void TSource::Start() {
  if (Drive() == TDrive::Pumped) FGen.SetClockSource(TQSClockSource::csExternal);
  ShortenNextBlock();
  FGen.Start();
  FHasStarted = FGen.IsRunning() || HasEnded();
}

void TSource::Pump() {
  const std::int64_t Before = FPosition;
  if (!FGen.Pump() || FPosition != Before) return;
  if (FGen.EndsByItself() && FGen.Enabled()) return;  // its end
  FPosition += std::min<std::int64_t>(FGen.BufferSize(), NextBorder() - FPosition);
  if (HasReachedLimit()) FGen.Stop();
}

void TSource::Stop() { FGen.Stop(); }

std::function<void()> TSource::EndNote() const {
  return [HasEnded = FHasEnded, WakeUp = FSettings.WakeUp] {
    *HasEnded = true;
    WakeUp->Wake();
  };
}

void TSource::Count(std::int64_t ASamples) {
  FDelivered += ASamples;
  FPosition += ASamples;
  if (HasReachedLimit()) {
    FGen.Stop();
  } else if (FSettings.MustEnd()) {
    // Whoever makes these blocks may have many more in hand before the main loop is asked again.
    FWasCutShort = true;
    FGen.Stop();
  } else {
    if (IsAtCut()) FSettings.WakeUp->Wake();
    ShortenNextBlock();
  }
}

void TSource::SetCut(std::optional<double> ASeconds) {
  FollowRate();
  FCut = ASeconds ? PositionAt(*ASeconds) : Never;
  // A lower rate may leave less than half a sample to the limit.
  if (IsGoing() && HasReachedLimit()) return Stop();
  if (Drive() != TDrive::Pumped) return;
  FGen.LimitBlock(Never);
  ShortenNextBlock();
}

void TSource::ShortenNextBlock() {
  const std::int64_t Border = NextBorder();
  if (Border != Never) FGen.LimitBlock(Border - FPosition);
}

// A source with a clock of its own does not stop at a cut.
std::int64_t TSource::NextBorder() const {
  const std::int64_t Cut = Drive() == TDrive::Pumped && !IsAtCut() ? FCut.load() : Never;
  return std::min(FLimit.load(), Cut);
}

void TSource::StopIfSilent(std::chrono::duration<double> AElapsed) {
  if (FDelivered != FLastSeen) {
    FLastSeen = FDelivered;
    FLastMove = AElapsed;
  }
  if (FLimit == Never || !IsGoing()) return;
  const double Due = TimeAt(FLimit, FPositionFrom);
  const double Patience = 1.0 + 2.0 * FGen.BufferSize() / FGen.SampleRate();
  if (AElapsed.count() > Due + Patience && (AElapsed - FLastMove).count() > Patience) {
    FPosition = FLimit.load();
    FGen.Stop();
  }
}

}  // namespace tessalune::host
