#include <tessalune/frame/streams/QSMultiInput.h>
#include <tessalune/frame/streams/QSQueuedPins.h>

#include <algorithm>
#include <utility>

namespace tessalune {

// One that ended without a sample leaves its place to the next, so that starts and stops alone take
// no memory.
int TQSKLQueuedPinImpl::StartRate(double ARate) {
  const bool IsNew = !IsRunning() || FStreams.Last().Held > 0;
  if (IsRunning()) FStreams.Last().HasEnded = true;
  if (!IsNew) {
    FStreams.Last() = {.Rate = ARate};
  } else {
    FStreams.Push({.Rate = ARate});
  }
  return IsNew ? 1 : 0;
}

void TQSKLQueuedPinImpl::AddBuffer(TRef<IQSDataBuffer> ABlock, TGone& AGone) {
  const std::int32_t Size = ABlock->GetSize();
  if (Size == 0) return;
  const std::int64_t Lost = FBufferQueue.Push(std::move(ABlock), &AGone);
  FStreams.Last().Held += Size;
  std::int64_t Left = Lost;
  for (std::size_t I = 0; Left > 0; ++I) {
    const std::int64_t Here = std::min(Left, FStreams[I].Held);
    FStreams[I].Held -= Here;
    Left -= Here;
  }
  Dropped += Lost;
  if (FStreams.First().Overdue > 0) SkipOverdue(FStreams.First(), AGone);
}

void TQSKLQueuedPinImpl::Stop() {
  if (IsRunning()) FStreams.Last().HasEnded = true;
}

int TQSKLQueuedPinImpl::ClearStopping(TGone& AGone) {
  const auto Gone = static_cast<int>(FStreams.Count());
  FStreams = {};
  FBufferQueue.Clear(&AGone);
  IsIgnored = false;
  IsAsked = false;
  return Gone;
}

int TQSKLQueuedPinImpl::Settle(double AOutputRate) {
  int Gone = 0;
  while (IsRunning() && FStreams.First().HasEnded && FStreams.First().Held == 0) {
    FStreams.Pop();
    ++Gone;
  }
  if (!IsRunning() || FStreams.First().HasBegun) return Gone;
  TStream& Stream = FStreams.First();
  Stream.HasBegun = true;
  Stream.Stretch = TQSStretch(Stream.Rate, AOutputRate);
  if (AOutputRate > 0.0 && Stream.Rate > AOutputRate) ThinnedRate = Stream.Rate;
  return Gone;
}

// The border that a block makes is where its samples cease to tell, alone or with those before it,
// what the output is. So what is known always ends at a border, and where borders are does not
// depend on when blocks come.
std::int64_t TQSKLQueuedPinImpl::NextBorder() const {
  // A slow input gives many samples for each of its own; more than these are cut.
  constexpr std::int64_t MostStretched = 1 << 20;
  const TStream& Stream = FStreams.First();
  std::int64_t Inputs = -FBufferQueue.ExtractOffset();
  for (std::size_t I = 0; Inputs < Stream.Held; ++I) {
    Inputs += FBufferQueue.Buffer(I)->GetSize();
    const std::int64_t Border = Stream.Stretch.Reach(Inputs);
    if (Border > 0) return Stream.Stretch.IsEven() ? Border : std::min(Border, MostStretched);
  }
  if (!Stream.HasEnded) return 0;
  return std::min(Stream.Stretch.ReachToEnd(Stream.Held), MostStretched);
}

TQSInputPiece TQSKLQueuedPinImpl::Piece(std::int32_t ACount) const {
  const TStream& Stream = FStreams.First();
  TQSInputPiece Piece;
  Piece.Offset = FBufferQueue.ExtractOffset();
  Piece.Stretch = Stream.Stretch;
  Piece.Count = static_cast<std::int32_t>(std::min(Stream.Stretch.Needs(ACount), Stream.Held));
  const TRef<IQSDataBuffer>& First = FBufferQueue.Buffer(0);
  if (Piece.Count <= First->GetSize() - Piece.Offset) {
    Piece.Block = First;
  } else {
    Piece.Block = NewBlock(Piece.Count);
    FBufferQueue.Peek(*Piece.Block);
    Piece.Offset = 0;
  }
  return Piece;
}

void TQSKLQueuedPinImpl::Advance(std::int32_t ACount, TGone& AGone) {
  TStream& Stream = FStreams.First();
  Stream.Overdue = Stream.Stretch.Advance(ACount);
  SkipOverdue(Stream, AGone);
}

void TQSKLQueuedPinImpl::SkipOverdue(TStream& AStream, TGone& AGone) {
  const std::int64_t Count = std::min(AStream.Overdue, AStream.Held);
  FBufferQueue.Skip(Count, &AGone);
  AStream.Held -= Count;
  AStream.Overdue -= Count;
}

template <class T>
TQSKLQueuedSinkPin<T>::TQSKLQueuedSinkPin(TQSMultiInput& AOwner)
    : TBase({AOwner, AOwner.FLock},
            [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                   IKLNotifyOperation& AOperation, TKLNotifyState AState) {
              return FMultiInput.SinkDispatch(*this, ASender, AOtherPin, ADataTypeID, AOperation,
                                              AState);
            }),
      FMultiInput(AOwner) {
  FMultiInput.QueuedPinCreateFunction(*this);
}

template <class T>
TQSKLQueuedSinkPin<T>::~TQSKLQueuedSinkPin() {
  FMultiInput.QueuedPinDestroyFunction(*this);
}

// The mutex keeps the pin until the link is in hand, and the link keeps it from there on.
template <class T>
TKLNotifyResult TQSKLQueuedSinkPin<T>::Ask(IKLNotifyOperation& AOperation,
                                           std::unique_lock<std::mutex>& AMutex) {
  const TKLNotifyResult Result =
      this->ForEachLink([&](const TKLLink& ALink, TKLNotifyState AState) {
        AMutex.unlock();
        return TQSKLQueuedSinkPin::SendAcross(this, ALink, AOperation, AState);
      });
  if (!AMutex.owns_lock()) AMutex.lock();
  return Result;
}

template class TQSKLQueuedSinkPin<double>;
template class TQSKLQueuedSinkPin<TComplex>;

}  // namespace tessalune
