#include "Source.h"

#include <tessalune/sources/QSPlayer.h>

#include <algorithm>
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

TSource::TSource(TQSCommonBufferGen& AGen, TDrive ADrive, std::optional<std::int64_t> ALimit,
                 std::shared_ptr<TWakeUp> AWakeUp)
    : FGen(AGen), FDrive(ADrive), FLimit(ALimit), FWakeUp(std::move(AWakeUp)) {
  Watch();
}

void TSource::Watch() {
  TKLBasicPin* const Output = LinkedOutput(FGen);
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

bool TSource::IsFinite() const {
  const auto* Player = dynamic_cast<const TQSPlayer*>(&FGen);
  return Player != nullptr && Player->Mode() == TQSPlayerMode::pmStop;
}

std::optional<std::int64_t> TSource::Total() const {
  const auto* Player = dynamic_cast<const TQSPlayer*>(&FGen);
  if (!IsFinite()) return FLimit;
  return FLimit ? std::min(*FLimit, Player->SamplesCount()) : Player->SamplesCount();
}

void TSource::Start() {
  if (FDrive == TDrive::Pumped) FGen.SetClockSource(TQSClockSource::csExternal);
  ShortenNextBlock();
  FGen.Start();
  FHasStarted = FGen.IsRunning() || HasEnded();
}

void TSource::Pump() {
  const std::int64_t Before = FPosition;
  if (!FGen.Pump() || FPosition != Before) return;
  FPosition += FGen.BufferSize();
  if (HasReachedLimit()) FGen.Stop();
}

void TSource::Stop() { FGen.Stop(); }

std::function<void()> TSource::EndNote() const {
  return [HasEnded = FHasEnded, WakeUp = FWakeUp] {
    *HasEnded = true;
    WakeUp->Wake();
  };
}

void TSource::Count(std::int64_t ASamples) {
  FDelivered += ASamples;
  FPosition += ASamples;
  if (HasReachedLimit()) {
    FGen.Stop();
  } else {
    ShortenNextBlock();
  }
}

void TSource::ShortenNextBlock() {
  if (!FLimit) return;
  const std::int64_t Left = *FLimit - FPosition;
  if (Left < FGen.BufferSize()) FGen.SetBufferSize(static_cast<std::int32_t>(Left));
}

void TSource::StopIfSilent(std::chrono::duration<double> AElapsed) {
  if (FDelivered != FLastSeen) {
    FLastSeen = FDelivered;
    FLastMove = AElapsed;
  }
  if (!FLimit || HasEnded()) return;
  const double Due = static_cast<double>(*FLimit) / FGen.SampleRate();
  const double Patience = 1.0 + 2.0 * FGen.BufferSize() / FGen.SampleRate();
  if (AElapsed.count() > Due + Patience && (AElapsed - FLastMove).count() > Patience) {
    FPosition = *FLimit;
    FGen.Stop();
  }
}

TKLBasicPin* LinkedOutput(TLockComponent& AComponent) {
  for (const TPublishedPin* Row : AComponent.PublishedTable().Pins()) {
    if (Row->IsList) continue;  // lists are of inputs
    TKLBasicPin& Pin = Row->Get(AComponent);
    if (Pin.Direction() == TKLPinDirection::Source && Pin.IsConnected()) return &Pin;
  }
  return nullptr;
}

}  // namespace tessalune::host
