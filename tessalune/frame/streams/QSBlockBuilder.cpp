#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/frame/runtime/VBComponent.h>
#include <tessalune/frame/streams/QSBlockBuilder.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
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

// --- the cutter ---

void TQSBlockCutter::Restart() {
  ++FStream;
  FBuilder.Clear();
  FWaiting.clear();
}

TKLNotifyResult TQSBlockCutter::Cut(TRef<IQSDataBuffer> ABlock, std::int32_t ASize) {
  if (FCuts) {
    FWaiting.push_back(std::move(ABlock));
    return {};
  }
  struct TCutting {
    TQSBlockCutter& Cutter;
    explicit TCutting(TQSBlockCutter& ACutter) : Cutter(ACutter) { Cutter.FCuts = true; }
    ~TCutting() {
      Cutter.FCuts = false;
      Cutter.FWaiting.clear();
    }
  } const Cutting(*this);
  TKLNotifyResult Result;
  // As many as a larger size has left.
  if (FBuilder.Held() >= ASize) Result |= CutOne(FBuilder.Release(), ASize);
  Result |= CutOne(std::move(ABlock), ASize);
  while (!FWaiting.empty()) {
    auto Next = std::move(FWaiting.front());
    FWaiting.pop_front();
    Result |= CutOne(std::move(Next), ASize);
  }
  return Result;
}

TKLNotifyResult TQSBlockCutter::CutOne(TRef<IQSDataBuffer> ABlock, std::int32_t ASize) {
  if (FBuilder.Held() == 0 && ABlock->GetSize() == ASize) return FSend(std::move(ABlock));
  const std::uint64_t Stream = FStream;
  TKLNotifyResult Result;
  for (std::int32_t At = 0; At < ABlock->GetSize() && Stream == FStream;) {
    At += Hold(*ABlock, At, ASize);
    if (FBuilder.Held() == ASize) Result |= FSend(FBuilder.Release());
  }
  return Result;
}

std::int32_t TQSBlockCutter::Hold(const IQSDataBuffer& ABlock, std::int32_t AFrom,
                                  std::int32_t ASize) {
  try {
    return FBuilder.Take(ABlock, AFrom, ASize);
  } catch (const std::bad_alloc&) {
    throw EQSException(FOwner.Describe() + ": there is no memory for " +
                       NumberText(std::int64_t{ASize} * ABlock.GetElementSize()) +
                       " bytes of samples; " + std::string(FProperty) + " is " + NumberText(ASize) +
                       ", a smaller one takes less");
  }
}

}  // namespace tessalune
