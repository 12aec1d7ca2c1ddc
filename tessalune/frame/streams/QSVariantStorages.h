// The queue of blocks before an input.
#pragma once

#include <tessalune/frame/containers/QSRing.h>
#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tessalune {

// Blocks in the order of their coming, taken out in pieces of any size. T is a kind of block, all
// blocks of one element size. One thread at a time: who shares a queue has a lock for it.
template <class T>
class TQSBufferQueue {
 public:
  // Blocks that left the queue. What goes with a block may be a host's own, so that who holds a
  // lock lets go of them behind it.
  using TGone = std::vector<TRef<T>>;

  // Samples that may be queued; a single block may have more.
  static constexpr std::int64_t MostSamples = 1024000;

  // Appends a block. If it is not alone and there are more than MostSamples then, as many samples
  // as the oldest block has are dropped, the oldest first; the result is their number, else 0.
  std::int32_t Push(TRef<T> AValue, TGone* AGone = nullptr) {
    FCollectedSamples += AValue->GetSize();
    FList.Push(std::move(AValue));
    if (FCollectedSamples <= MostSamples || FList.Count() == 1) return 0;
    const std::int32_t Dropped = GetFirstBufferSize();
    Skip(Dropped, AGone);
    return Dropped;
  }

  // Fills the block AValue from the front and takes out what it got. False, and nothing has
  // changed, if fewer samples are there than it holds.
  bool Pop(T& AValue) {
    if (AValue.GetSize() > FCollectedSamples) return false;
    Peek(AValue);
    Skip(AValue.GetSize());
    return true;
  }

  // Fills the block AValue from the front, from which nothing is taken; the samples must be there.
  void Peek(T& AValue) const {
    std::int32_t Filled = 0;
    for (std::size_t I = 0; Filled < AValue.GetSize(); ++I) {
      const std::int32_t From = I == 0 ? FExtractOffset : 0;
      const std::int32_t Count = std::min(AValue.GetSize() - Filled, FList[I]->GetSize() - From);
      FList[I]->CopyTo(From, AValue, Filled, Count);
      Filled += Count;
    }
  }

  // Takes ACount samples out of the front; they must be there.
  void Skip(std::int64_t ACount, TGone* AGone = nullptr) {
    FCollectedSamples -= ACount;
    std::int64_t Offset = FExtractOffset + ACount;
    while (!FList.IsEmpty() && Offset >= FList.First()->GetSize()) {
      Offset -= FList.First()->GetSize();
      TRef<T> Block = FList.Pop();
      if (AGone != nullptr) AGone->push_back(std::move(Block));
    }
    FExtractOffset = static_cast<std::int32_t>(Offset);
  }

  void Clear(TGone* AGone = nullptr) { Skip(FCollectedSamples, AGone); }

  // The whole size of the first block; 0 if there is none.
  std::int32_t GetFirstBufferSize() const { return FList.IsEmpty() ? 0 : FList.First()->GetSize(); }
  // Takes the first block out, whole, also what Pop had of it before; null if there is none.
  TRef<T> GetFirstBuffer() {
    if (FList.IsEmpty()) return nullptr;
    FCollectedSamples -= GetFirstBufferSize() - FExtractOffset;
    FExtractOffset = 0;
    return FList.Pop();
  }

  // A block, counted from the front; the index must lie inside.
  const TRef<T>& Buffer(std::size_t AIndex) const { return FList[AIndex]; }
  // Samples of the first block that were taken already.
  std::int32_t ExtractOffset() const { return FExtractOffset; }
  // Samples in the queue.
  std::int64_t CollectedSamples() const { return FCollectedSamples; }
  // Blocks in the queue.
  std::size_t Count() const { return FList.Count(); }

 private:
  TQSRing<TRef<T>> FList;
  std::int64_t FCollectedSamples = 0;
  std::int32_t FExtractOffset = 0;
};

}  // namespace tessalune
