// Frames of one size out of a stream of blocks of any sizes.
#pragma once

#include <tessalune/frame/streams/QSSimpleDataBuffer.h>

#include <cstdint>

namespace tessalune {

// Gathers samples, of any type, into frames of N. With a step S from one frame to the next:
//   S = 0       the frames lie back to back
//   0 < S < N   they overlap: each holds the N samples that came last, the newest at its end
//   S >= N      one of N samples is taken every S; what lies between is passed over
// The frames are the same however the stream is cut into blocks, but for one rule: of overlapping
// frames, those of the block that completes the first one lie back to back, and the steps count
// from the end of that block.
//
// A step that changes counts from the next block on, a frame that is being filled is completed. No
// frame goes across a place where samples are missing: before an overlapping one is complete, N
// samples in a row have come.
//
// One thread at a time.
class TQSFrames {
 public:
  // Begins a stream with AFrame to fill, whose size is N, or, if it is null, has none.
  void Begin(TRef<IQSDataBuffer> AFrame);
  // Goes on with frames of another size; only between frames. What was gathered is dropped.
  void Resize(TRef<IQSDataBuffer> AFrame);

  // N; 0 without a frame.
  std::int32_t Size() const { return FFrame ? FFrame->GetSize() : 0; }
  // The samples of the frame, all of them where Next has said so.
  const void* Samples() const { return FFrame->ByteRead(); }
  // False while a frame is being filled from its start.
  bool IsBetween() const { return FEnd == 0; }

  // Before the first Next of each block.
  void BeginBlock(std::uint32_t AStep);
  // Takes samples from ABlock, from the index AAt on, and moves that behind them: true where a
  // frame is complete, false at the end of the block.
  bool Next(const IQSDataBuffer& ABlock, std::int32_t& AAt);
  // The next ACount samples are lost.
  void Lose(std::int32_t ACount);

 private:
  bool Fill(const IQSDataBuffer& ABlock, std::int32_t& AAt);
  bool Slide(const IQSDataBuffer& ABlock, std::int32_t& AAt);
  std::int32_t Copy(const IQSDataBuffer& ABlock, std::int32_t& AAt, std::int32_t AIndex);
  void Forget();

  TRef<IQSDataBuffer> FFrame;
  std::int64_t FStep = 0;    // of the block at hand
  std::int32_t FEnd = 0;     // samples in the frame that is being filled
  std::int32_t FNeeded = 0;  // sliding: samples that the step at hand lacks, at the frame's end
  std::int64_t FSince = 0;   // samples since the start of the last frame
  bool FHasFrame = false;    // one has been completed
  bool FIsGapless = false;   // the samples from FEnd on are the N - FEnd before those up to it
};

}  // namespace tessalune
