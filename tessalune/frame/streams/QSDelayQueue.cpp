#include <tessalune/frame/streams/QSDelayQueue.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tessalune {
namespace {

// ACount times the ASize bytes at ASample.
void Repeat(std::uint8_t* ATo, const std::uint8_t* ASample, std::size_t ASize, std::size_t ACount) {
  if (std::all_of(ASample, ASample + ASize,
                  [&](std::uint8_t AByte) { return AByte == ASample[0]; })) {
    std::memset(ATo, ASample[0], ASize * ACount);
    return;
  }
  for (std::size_t I = 0; I < ACount; ++I) std::memcpy(ATo + I * ASize, ASample, ASize);
}

}  // namespace

void TQSDelayQueue::Reset(std::int32_t ASampleSize) {
  FSampleSize = static_cast<std::size_t>(ASampleSize);
  FSize = 0;
  FRuns.clear();
  FBegin = 0;
  FStored = 0;
  DropSpareChunks();
}

void TQSDelayQueue::Resize(std::int64_t ASize) {
  if (ASize > FSize) {
    TSample Newest{};
    if (FSize > 0) CopyNewest(Newest.data(), 1);
    if (FRuns.empty() || FRuns.back().IsStored) FRuns.push_back({0, false, Newest});
    FRuns.back().Count += ASize - FSize;
  }
  for (std::int64_t Excess = FSize - ASize; Excess > 0;) {
    TRun& Last = FRuns.back();
    const std::int64_t Count = std::min(Excess, Last.Count);
    if (Last.IsStored) FStored -= Bytes(Count);
    Last.Count -= Count;
    Excess -= Count;
    if (Last.Count == 0) FRuns.pop_back();
  }
  if (ASize < FSize) DropSpareChunks();
  FSize = ASize;
}

// Calls AStep(memory, bytes) for the pieces that make up ABytes bytes from the byte AFrom of what
// is stored on; chunks that are reserved behind it count as stored.
template <class TStep>
void TQSDelayQueue::ForEachPiece(std::size_t AFrom, std::size_t ABytes, TStep&& AStep) const {
  for (std::size_t At = FBegin + AFrom; ABytes > 0;) {
    const std::size_t InChunk = At % ChunkBytes;
    const std::size_t Piece = std::min(ABytes, ChunkBytes - InChunk);
    AStep(Chunk(At / ChunkBytes).get() + InChunk, Piece);
    At += Piece;
    ABytes -= Piece;
  }
}

void TQSDelayQueue::Push(const void* ASamples, std::int64_t ACount) {
  if (ACount == 0) return;
  const std::size_t Count = Bytes(ACount);
  Reserve(Count);
  if (FRuns.empty() || !FRuns.back().IsStored) FRuns.push_back({0, true});
  const auto* From = static_cast<const std::uint8_t*>(ASamples);
  ForEachPiece(FStored, Count, [&From](std::uint8_t* AMemory, std::size_t ABytes) {
    std::memcpy(AMemory, From, ABytes);
    From += ABytes;
  });
  FStored += Count;
  FRuns.back().Count += ACount;
  FSize += ACount;
}

void TQSDelayQueue::Pop(void* ATo, std::int64_t ACount) {
  auto* To = static_cast<std::uint8_t*>(ATo);
  FSize -= ACount;
  while (ACount > 0) {
    TRun& First = FRuns.front();
    const std::int64_t Count = std::min(ACount, First.Count);
    if (First.IsStored) {
      ForEachPiece(0, Bytes(Count), [&To](const std::uint8_t* AMemory, std::size_t ABytes) {
        std::memcpy(To, AMemory, ABytes);
        To += ABytes;
      });
      DropOldestBytes(Bytes(Count));
    } else {
      Repeat(To, First.Sample.data(), FSampleSize, static_cast<std::size_t>(Count));
      To += Bytes(Count);
    }
    First.Count -= Count;
    ACount -= Count;
    // The run that goes on filling stays, so that a short delay allocates nothing.
    if (First.Count == 0 && (FRuns.size() > 1 || !First.IsStored)) FRuns.pop_front();
  }
}

void TQSDelayQueue::CopyNewest(void* ATo, std::int64_t ACount) const {
  auto* End = static_cast<std::uint8_t*>(ATo) + Bytes(ACount);
  std::size_t Behind = FStored;
  for (auto Run = FRuns.rbegin(); ACount > 0; ++Run) {
    const std::int64_t Count = std::min(ACount, Run->Count);
    std::uint8_t* To = End -= Bytes(Count);
    if (Run->IsStored) {
      ForEachPiece(Behind - Bytes(Count), Bytes(Count),
                   [&To](const std::uint8_t* AMemory, std::size_t ABytes) {
                     std::memcpy(To, AMemory, ABytes);
                     To += ABytes;
                   });
      Behind -= Bytes(Run->Count);
    } else {
      Repeat(To, Run->Sample.data(), FSampleSize, static_cast<std::size_t>(Count));
    }
    ACount -= Count;
  }
}

// Sees to chunks for ABytes bytes behind what is stored.
void TQSDelayQueue::Reserve(std::size_t ABytes) {
  const std::size_t Needed = (FBegin + FStored + ABytes + ChunkBytes - 1) / ChunkBytes;
  while (FCount < Needed) {
    if (FCount == FChunks.size()) {
      std::vector<TChunk> Wider(std::max<std::size_t>(2, 2 * FChunks.size()));
      for (std::size_t I = 0; I < FCount; ++I) Wider[I] = std::move(Chunk(I));
      FChunks = std::move(Wider);
      FFirst = 0;
    }
    Chunk(FCount) = std::make_unique_for_overwrite<std::uint8_t[]>(ChunkBytes);
    ++FCount;
  }
}

// A chunk that has run empty goes behind the others, to be filled again. A queue that has run empty
// begins anew, so that a short delay stays in the same memory.
void TQSDelayQueue::DropOldestBytes(std::size_t ABytes) {
  FStored -= ABytes;
  FBegin += ABytes;
  if (FStored == 0) {
    FBegin = 0;
    return;
  }
  while (FBegin >= ChunkBytes) {
    FBegin -= ChunkBytes;
    TChunk Empty = std::move(Chunk(0));
    FFirst = (FFirst + 1) & (FChunks.size() - 1);
    Chunk(FCount - 1) = std::move(Empty);
  }
}

// Gives chunks back that hold nothing, but for one.
void TQSDelayQueue::DropSpareChunks() {
  const std::size_t Used = (FBegin + FStored + ChunkBytes - 1) / ChunkBytes;
  for (; FCount > Used + 1; --FCount) Chunk(FCount - 1) = nullptr;
}

}  // namespace tessalune
