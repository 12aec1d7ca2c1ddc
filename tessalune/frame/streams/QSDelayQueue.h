// The samples that wait in a delay.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace tessalune {

// A queue of samples of one size: 1, 2, 4, 8 or 16 bytes. They go in behind the newest and come out
// from the oldest on, at a cost that does not depend on how many wait.
//
// Samples that came in lie in chunks of memory that go round; repetitions of a sample, the zeros
// with which a delay begins among them, take no memory however many they are. So the memory grows
// with what has come in and waits. One thread at a time.
class TQSDelayQueue {
 public:
  // Empties the queue; the samples have ASampleSize bytes from here on.
  void Reset(std::int32_t ASampleSize);
  std::int64_t Size() const { return FSize; }

  // Makes the queue ASize samples long. A longer one repeats its newest sample, an empty one takes
  // zeros; a shorter one keeps its oldest samples.
  void Resize(std::int64_t ASize);

  // Throws std::bad_alloc, and has not changed then.
  void Push(const void* ASamples, std::int64_t ACount);
  // Takes the ACount oldest samples out; at most Size().
  void Pop(void* ATo, std::int64_t ACount);
  // Copies the ACount newest samples; at most Size().
  void CopyNewest(void* ATo, std::int64_t ACount) const;

 private:
  static constexpr std::size_t ChunkBytes = 16384;
  using TChunk = std::unique_ptr<std::uint8_t[]>;
  using TSample = std::array<std::uint8_t, 16>;

  // Samples of one kind in a row: stored in the chunks, or repetitions of one.
  struct TRun {
    std::int64_t Count;
    bool IsStored;
    TSample Sample{};
  };

  TChunk& Chunk(std::size_t AIndex) { return FChunks[(FFirst + AIndex) & (FChunks.size() - 1)]; }
  const TChunk& Chunk(std::size_t AIndex) const {
    return FChunks[(FFirst + AIndex) & (FChunks.size() - 1)];
  }
  std::size_t Bytes(std::int64_t ACount) const {
    return static_cast<std::size_t>(ACount) * FSampleSize;
  }
  template <class TStep>
  void ForEachPiece(std::size_t AFrom, std::size_t ABytes, TStep&& AStep) const;
  void Reserve(std::size_t ABytes);
  void DropOldestBytes(std::size_t ABytes);
  void DropSpareChunks();

  std::size_t FSampleSize = 1;
  std::int64_t FSize = 0;
  std::deque<TRun> FRuns;
  // A ring of chunks, its size a power of 2: FCount of them from FFirst on are there, and the bytes
  // stored begin at FBegin of the first.
  std::vector<TChunk> FChunks;
  std::size_t FFirst = 0;
  std::size_t FCount = 0;
  std::size_t FBegin = 0;
  std::size_t FStored = 0;
};

}  // namespace tessalune
