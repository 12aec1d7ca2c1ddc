#include <tessalune/transforms/QSFrames.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace tessalune {

void TQSFrames::Begin(TRef<IQSDataBuffer> AFrame) {
  FFrame = std::move(AFrame);
  Forget();
  FHasFrame = false;
  FSince = std::numeric_limits<std::int64_t>::max() / 2;  // the first frame begins at once
}

void TQSFrames::Resize(TRef<IQSDataBuffer> AFrame) {
  FFrame = std::move(AFrame);
  Forget();
}

void TQSFrames::Forget() {
  FEnd = 0;
  FNeeded = 0;
  FIsGapless = false;
}

void TQSFrames::Lose(std::int32_t ACount) {
  if (ACount == 0) return;
  Forget();
  FSince += ACount;
}

void TQSFrames::BeginBlock(std::uint32_t AStep) {
  const bool Overlaps = AStep < static_cast<std::uint32_t>(Size());
  FStep = FHasFrame || !Overlaps ? AStep : 0;
}

bool TQSFrames::Next(const IQSDataBuffer& ABlock, std::int32_t& AAt) {
  const bool Slides = FStep > 0 && FStep < Size() && FIsGapless;
  return Slides ? Slide(ABlock, AAt) : Fill(ABlock, AAt);
}

// Fills the frame from FEnd on.
bool TQSFrames::Fill(const IQSDataBuffer& ABlock, std::int32_t& AAt) {
  if (FEnd == 0) {
    if (FStep >= Size()) {
      const std::int64_t Left = ABlock.GetSize() - AAt;
      const std::int64_t Gap = std::clamp<std::int64_t>(FStep - FSince, 0, Left);
      AAt += static_cast<std::int32_t>(Gap);
      FSince += Gap;
      if (Gap > 0) FIsGapless = false;
    }
    if (AAt == ABlock.GetSize()) return false;
    // A step that was begun has left no whole frame behind.
    if (FNeeded > 0) Forget();
    FSince = 0;
  }
  FEnd += Copy(ABlock, AAt, FEnd);
  if (FEnd < Size()) return false;
  FEnd = 0;
  FHasFrame = true;
  FIsGapless = true;
  return true;
}

// Shifts the frame by a step, whose samples then come in at its end.
bool TQSFrames::Slide(const IQSDataBuffer& ABlock, std::int32_t& AAt) {
  if (AAt == ABlock.GetSize()) return false;
  const auto Element = static_cast<std::size_t>(ABlock.GetElementSize());
  if (FEnd > 0) {
    std::uint8_t* const Bytes = FFrame->ByteModify();
    std::rotate(Bytes, Bytes + static_cast<std::size_t>(FEnd) * Element,
                Bytes + FFrame->GetByteSize());
    FEnd = 0;
  }
  if (FNeeded == 0) {
    const auto Step = static_cast<std::size_t>(FStep) * Element;
    std::uint8_t* const Bytes = FFrame->ByteModify();
    std::memmove(Bytes, Bytes + Step, static_cast<std::size_t>(FFrame->GetByteSize()) - Step);
    FNeeded = static_cast<std::int32_t>(FStep);
  }
  FNeeded -= Copy(ABlock, AAt, Size() - FNeeded);
  if (FNeeded > 0) return false;
  FSince = Size();
  return true;
}

// Copies as many samples as the block has and the frame from AIndex on takes.
std::int32_t TQSFrames::Copy(const IQSDataBuffer& ABlock, std::int32_t& AAt, std::int32_t AIndex) {
  const std::int32_t Count = std::min(ABlock.GetSize() - AAt, Size() - AIndex);
  const auto Element = static_cast<std::size_t>(ABlock.GetElementSize());
  std::memcpy(FFrame->ByteModify() + static_cast<std::size_t>(AIndex) * Element,
              ABlock.ByteRead() + static_cast<std::size_t>(AAt) * Element,
              static_cast<std::size_t>(Count) * Element);
  AAt += Count;
  FSince += Count;
  return Count;
}

}  // namespace tessalune
