#include <tessalune/control/QSRepack.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

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

TQSRepack::TQSRepack(TConstruct AConstruct)
    : TQSControlFilter(AConstruct),
      FCutter(*this, BufferSizeInfo.Name,
              [this](TRef<IQSDataBuffer> ABlock) { return Send(std::move(ABlock)); }) {}

namespace {

constexpr TClassText RepackText{
    .Use =
        R"(Gives what follows blocks of the size that it wants: whole periods for TQSGoertzOne and
TQSRMSMeter, 2^k samples for TQSInverseFourier, long blocks for TQSMedian and TQSCombFilter, short
ones for quick results. The samples stay the same, in the same order.)",
    .BadInput =
        R"(Any sample is passed on as it is; blocks without samples change nothing. What is held when a
stream stops is less than a block, and is dropped.)",
    .Accuracy =
        R"(Exact: samples are moved, none is computed. A sample waits until its block is full, so the delay
is up to `BufferSize` samples. Memory for what is held. Blocks are handled on the thread that
delivers them, whatever `Threading` says.)",
    .Formulas =
        R"(    block k holds the samples k N to (k + 1) N - 1 of the stream, N = BufferSize)",
    .SeeAlso = "TQSSnapshot, TQSDelayLine, TQSApplyWindow, TQSRMSMeter",
    .Example =
        R"(A tone of 100 Hz whose level swings, and the RMS of it: of blocks of 80 samples, one cycle each,
whatever the source sends.)",
};

}  // namespace

const TPublishedTable& TQSRepack::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRepack",
                       .DisplayName = "Repacks the Signal Buffers",
                       .Category = categories::Filters,
                       .Doc = "The stream, of any sample type, in blocks of BufferSize samples. "
                              "Works on the thread that delivers, whatever Threading says.",
                       .Text = RepackText},
                      &TQSControlFilter::Published())
          .Property(BufferSizeInfo, &TQSRepack::BufferSize, &TQSRepack::SetBufferSize);
  return Table;
}

void TQSRepack::SetBufferSize(std::int32_t AValue) {
  NotifySetter(BufferSizeInfo, FBufferSize, AValue);
}

void TQSRepack::StreamStart() {
  TQSControlFilter::StreamStart();
  FCutter.Restart();
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
    Result = FCutter.Cut(std::move(ABuffer), FBufferSize);
  }
  if (HasSamples && FIsPumped) BlockArrived();
  return Result;
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
