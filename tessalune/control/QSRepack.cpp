#include <tessalune/control/QSRepack.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <new>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> BufferSizeInfo{.Name = "BufferSize",
                                                     .Default = 1024,
                                                     .Bounds = AtLeast(1),
                                                     .Design = Between(1, 10000),
                                                     .Unit = "samples",
                                                     .Doc = "Samples of each block that goes out."};

}  // namespace

const TPublishedTable& TQSRepack::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRepack",
                       .DisplayName = "Repacks the Signal Buffers",
                       .Category = categories::Filters,
                       .Doc = "The stream, of any sample type, in blocks of BufferSize samples. "
                              "Works on the thread that delivers, whatever Threading says."},
                      &TQSControlFilter::Published())
          .Property(BufferSizeInfo, &TQSRepack::BufferSize, &TQSRepack::SetBufferSize);
  return Table;
}

void TQSRepack::SetBufferSize(std::int32_t AValue) {
  NotifySetter(BufferSizeInfo, FBufferSize, AValue);
}

void TQSRepack::StreamStart() {
  TQSControlFilter::StreamStart();
  ++FStream;
  FBuilder.Clear();
  FWaiting.clear();
  const std::lock_guard Guard(FPumpMutex);
  FMasterPump = nullptr;
  FOpen = 0;
  FIsPumped = false;
}

// --- blocks ---

TKLNotifyResult TQSRepack::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  const bool HasSamples = ABuffer->GetSize() > 0;
  TKLNotifyResult Result;
  if (!IsEnabled()) {
    Result = Send(std::move(ABuffer));
  } else if (HasSamples && FOutputPin.IsConnected()) {
    Result = Pack(std::move(ABuffer));
  }
  if (HasSamples && FIsPumped) BlockArrived();
  return Result;
}

// A block that a sink's handler brings about, by a pump of its own, comes behind the one that is
// being packed.
TKLNotifyResult TQSRepack::Pack(TRef<IQSDataBuffer> ABlock) {
  if (FPacks) {
    FWaiting.push_back(std::move(ABlock));
    return {};
  }
  struct TPacking {
    TQSRepack& Repack;
    explicit TPacking(TQSRepack& ARepack) : Repack(ARepack) { Repack.FPacks = true; }
    ~TPacking() {
      Repack.FPacks = false;
      Repack.FWaiting.clear();
    }
  } const Packing(*this);
  const std::int32_t Size = FBufferSize;
  TKLNotifyResult Result;
  // As many as a larger BufferSize has left.
  if (FBuilder.Held() >= Size) Result |= Cut(FBuilder.Release(), Size);
  Result |= Cut(std::move(ABlock), Size);
  for (std::size_t I = 0; I < FWaiting.size(); ++I) Result |= Cut(std::move(FWaiting[I]), Size);
  return Result;
}

TKLNotifyResult TQSRepack::Cut(TRef<IQSDataBuffer> ABlock, std::int32_t ASize) {
  if (FBuilder.Held() == 0 && ABlock->GetSize() == ASize) return Send(std::move(ABlock));
  const std::uint64_t Stream = FStream;
  TKLNotifyResult Result;
  for (std::int32_t At = 0; At < ABlock->GetSize() && Stream == FStream;) {
    At += Hold(*ABlock, At, ASize);
    if (FBuilder.Held() == ASize) Result |= Send(FBuilder.Release());
  }
  return Result;
}

std::int32_t TQSRepack::Hold(const IQSDataBuffer& ABlock, std::int32_t AFrom, std::int32_t ASize) {
  try {
    return FBuilder.Take(ABlock, AFrom, ASize);
  } catch (const std::bad_alloc&) {
    RefuseMemory(std::int64_t{ASize} * ABlock.GetElementSize(),
                 "BufferSize is " + NumberText(ASize) + ", a smaller one takes less");
  }
}

// A block that goes out serves a request that came before it.
TKLNotifyResult TQSRepack::Send(TRef<IQSDataBuffer> ABlock) {
  if (FIsPumped) {
    const std::lock_guard Guard(FPumpMutex);
    if (FOpen > 0) --FOpen;
  }
  return FOutputPin.SubmitBuffer(std::move(ABlock));
}

// --- requests ---

TKLNotifyResult TQSRepack::SourceDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                          const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                          TKLNotifyState AState) {
  if (!AOperation.IsType<TKLMasterPumpOperation>()) {
    return TQSControlFilter::SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
  }
  MasterPump(AOperation.GetInstance<TKLMasterPumpOperation>());
  return {};
}

void TQSRepack::MasterPump(const TKLMasterPumpOperation& ARequest) {
  {
    const std::lock_guard Guard(FPumpMutex);
    // One that comes by several ways.
    if (ARequest.OperationID == FLastOperationID) return;
    FLastOperationID = ARequest.OperationID;
    FMasterPump = ARequest.Pump;
    FIsPumped = true;
    ++FOpen;
    if (FIsAsking) return;
    FIsAsking = true;
  }
  AskUpstream();
}

// A block came that nobody waited for here: a filter's thread upstream has brought it.
void TQSRepack::BlockArrived() {
  {
    const std::lock_guard Guard(FPumpMutex);
    ++FArrivals;
    if (FIsAsking || FOpen == 0) return;
    FIsAsking = true;
  }
  AskUpstream();
}

// Asks for blocks until no request is open, or none arrives before the call returns. The caller has
// set FIsAsking.
void TQSRepack::AskUpstream() {
  // Whether to go on is decided, and FIsAsking taken back, in one step: a block that arrives behind
  // it asks itself.
  std::unique_lock Lock(FPumpMutex);
  for (std::uint64_t Seen = FArrivals - 1; FOpen > 0 && FArrivals != Seen;) {
    Seen = FArrivals;
    TObject* const Pump = FMasterPump;
    Lock.unlock();
    try {
      FInputPin.Notify(MakeRef<TKLMasterPumpOperation>(Pump));
    } catch (...) {
      Lock.lock();
      FIsAsking = false;
      throw;
    }
    Lock.lock();
  }
  FIsAsking = false;
}

void QSRepack::RegisterPkg() { RegisterComponents({ClassOf<TQSRepack>()}); }

}  // namespace tessalune
