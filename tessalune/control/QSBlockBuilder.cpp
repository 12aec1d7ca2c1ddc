#include <tessalune/control/QSBlockBuilder.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace tessalune {
namespace {

constexpr std::int64_t FirstSize = 65536;  // samples; a block up to here is allocated at once

TRef<IQSGenericBuffer> NewBlock(const TGUID& ATypeID, std::int64_t ASize) {
  TRef<IQSGenericBuffer> Block;
  VisitSampleType(ATypeID, [&](auto ATag) {
    using TBuffer = TQSTypedBuffer<typename decltype(ATag)::TSample>;
    Block = TBuffer::CreateSize(static_cast<std::int32_t>(ASize));
  });
  return Block;
}

}  // namespace

std::int32_t TQSBlockBuilder::Take(const IQSDataBuffer& ABlock, std::int32_t AFrom,
                                   std::int32_t ASize) {
  if (FBlock && FBlock->GetDataTypeID() != ABlock.GetDataTypeID()) Clear();
  const std::int32_t Count = std::min(ABlock.GetSize() - AFrom, ASize - FHeld);
  if (Count <= 0) return 0;
  const std::int64_t Needed = std::int64_t{FHeld} + Count;
  if (!FBlock) {
    FBlock = NewBlock(ABlock.GetDataTypeID(),
                      std::min<std::int64_t>(ASize, std::max(Needed, FirstSize)));
  } else if (Needed > FBlock->GetSize()) {
    const std::int64_t Twice = 2 * std::int64_t{FBlock->GetSize()};
    FBlock->Resize(
        static_cast<std::int32_t>(std::min<std::int64_t>(ASize, std::max(Needed, Twice))), true);
  }
  const auto Element = static_cast<std::size_t>(ABlock.GetElementSize());
  std::memcpy(FBlock->ByteModify() + static_cast<std::size_t>(FHeld) * Element,
              ABlock.ByteRead() + static_cast<std::size_t>(AFrom) * Element,
              static_cast<std::size_t>(Count) * Element);
  FHeld += Count;
  return Count;
}

TRef<IQSGenericBuffer> TQSBlockBuilder::Release() {
  FBlock->Resize(std::exchange(FHeld, 0), true);
  return std::exchange(FBlock, nullptr);
}

void TQSBlockBuilder::Clear() {
  FBlock = nullptr;
  FHeld = 0;
}

}  // namespace tessalune
