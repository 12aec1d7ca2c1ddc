#include <tessalune/frame/streams/QSCommonFilter.h>

#include <utility>

namespace tessalune {
namespace {

constexpr std::string_view ThreadingDoc =
    "Whether and how the filter computes on a thread of its own.";
constexpr TPropertyInfo<bool> EnabledInfo{
    .Name = "Enabled", .Default = true, .Doc = "While false, blocks go through unchanged."};

// True if nobody could tell that the block's samples change.
bool IsSoleHolder(const IQSDataBuffer& ABlock) {
  return ABlock.HasSingleReference() && ABlock.Unique();
}

// A notification that waits in the queue for its turn.
class TQSDeferredOperation final : public IKLNotifyOperation {
 public:
  static constexpr TKLOperationClass Class{"TQSDeferredOperation", &IKLNotifyOperation::Class};
  explicit TQSDeferredOperation(std::function<void()> ADeliver)
      : IKLNotifyOperation(Class), Deliver(std::move(ADeliver)) {}
  const std::function<void()> Deliver;
};

}  // namespace

TVBInputOutputLockComponent::TVBInputOutputLockComponent(TConstruct AConstruct)
    : TLockComponent(AConstruct),
      FInputLock(MakeRef<IChangeNotifyLock>(FLock)),
      FOutputLock(MakeRef<IChangeNotifyLock>(FLock)) {}

// --- threads ---

TQSBasicThreadedFilter::TQSBasicThreadedFilter(TConstruct AConstruct)
    : TVBInputOutputLockComponent(AConstruct), FThreading(FLock, *this, [this] {
        if (const auto Thread = FilterThread()) Thread->SetPriority(FThreading.Priority());
      }) {}

namespace {

constexpr TClassText BasicThreadedFilterText{
    .Accuracy =
        R"(With `Threading.Enabled` blocks are computed on a thread of the filter's own, behind a queue, and
are the same bit for bit: on several cores a long chain of filters then takes less time, and each
block leaves later.)",
};

}  // namespace

const TPublishedTable& TQSBasicThreadedFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicThreadedFilter", .Text = BasicThreadedFilterText},
                      &TComponent::Published())
          .Object("Threading", &TQSBasicThreadedFilter::Threading, ThreadingDoc);
  return Table;
}

TRef<IQSFilterThread> TQSBasicThreadedFilter::CreateProcessingThread() {
  return CreateFilterThread(*this, TRef<TCallGate>(&Gate()), FThreading,
                            [this](IKLNotifyOperation& AOperation) { FilterPump(AOperation); });
}

TRef<IQSFilterThread> TQSBasicThreadedFilter::FilterThread() {
  if (!FHasThread.load(std::memory_order_acquire)) return nullptr;
  const std::lock_guard Lock(FThreadMutex);
  return FFilterThread;
}

// The thread that is to take the next block; null if it is computed here. When Threading was
// switched off, the blocks still queued come first; as long as that cannot be waited for, further
// blocks have to queue behind them.
TRef<IQSFilterThread> TQSBasicThreadedFilter::ThreadForBlock() {
  TRef<IQSFilterThread> Thread = FilterThread();
  if (FThreading.Enabled()) {
    if (Thread) return Thread;
    const std::lock_guard Lock(FThreadMutex);
    if (FThreadsOver || FFilterThread) return FFilterThread;
    FFilterThread = CreateProcessingThread();
    FHasThread.store(true, std::memory_order_release);
    return FFilterThread;
  }
  if (!Thread) return nullptr;
  if (!Thread->FlushQueue()) return Thread;
  EndThread();
  return nullptr;
}

void TQSBasicThreadedFilter::EndThread() {
  TRef<IQSFilterThread> Thread;
  {
    const std::lock_guard Lock(FThreadMutex);
    Thread = std::exchange(FFilterThread, nullptr);
    FHasThread.store(false, std::memory_order_release);
  }
  if (Thread) Thread->Terminate();
}

bool TQSBasicThreadedFilter::FlushQueue() {
  const TRef<IQSFilterThread> Thread = FilterThread();
  return !Thread || Thread->FlushQueue();
}

TKLNotifyEvent TQSBasicThreadedFilter::SinkEvent() {
  return [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                IKLNotifyOperation& AOperation, TKLNotifyState AState) -> TKLNotifyResult {
    if (!FHasThread.load(std::memory_order_acquire) || AOperation.IsType<TKLSuppliedOperation>() ||
        FlushQueue()) {
      return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
    }
    const auto Thread = FilterThread();
    const bool Queued =
        Thread && Thread->PushOperation(
                      // The other pin may have gone by then.
                      MakeRef<TQSDeferredOperation>([this, &ASender, ADataTypeID, AState,
                                                     Kept = TRef<IKLNotifyOperation>(&AOperation)] {
                        SinkDispatch(ASender, nullptr, ADataTypeID, *Kept, AState);
                      }));
    if (Queued || (Thread && HasState(csDestroying))) return {};  // its outputs' links tell a stop
    return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
  };
}

void TQSBasicThreadedFilter::FilterPump(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TQSDeferredOperation>()) {
    AOperation.GetInstance<TQSDeferredOperation>().Deliver();
  } else {
    IntSingleOperation(AOperation);
  }
}

TKLNotifyResult TQSBasicThreadedFilter::BufferOperation(IKLNotifyOperation& AOperation,
                                                        TKLNotifyState) {
  if (FThreading.Enabled() || FHasThread.load(std::memory_order_acquire)) {
    if (const auto Thread = ThreadForBlock()) {
      if (Thread->PushOperation(TRef<IKLNotifyOperation>(&AOperation))) return {nrDataChanged};
      if (HasState(csDestroying)) return {};  // that thread may still be at work
    }
  }
  return IntSingleOperation(AOperation);
}

void TQSBasicThreadedFilter::BeforeDestruction() {
  // Nothing comes in any more; what is queued first, then the outputs.
  EndInputs();
  RunReported(this, [this] { FlushQueue(); });
  TVBInputOutputLockComponent::BeforeDestruction();
  // Where a wait had to give way, blocks still come, and the thread is still at work: it stays in
  // place and takes no more of them.
  const std::lock_guard Lock(FThreadMutex);
  FThreadsOver = true;
  if (FFilterThread) FFilterThread->Terminate();
}

// --- the stream ---

void TQSBasicThreadedFilter::StreamStart() { FRunning = true; }
void TQSBasicThreadedFilter::StreamStop() { FRunning = false; }

TKLNotifyResult TQSBasicThreadedFilter::SinkDispatch(TKLBasicPin&, TKLBasicPin*, const TGUID&,
                                                     IKLNotifyOperation& AOperation,
                                                     TKLNotifyState AState) {
  if (AOperation.IsType<TKLSuppliedOperation>()) return BufferOperation(AOperation, AState);
  if (AOperation.IsType<TKLStartOperation>()) {
    StreamStart();
  } else if (AOperation.IsType<TKLStopOperation>()) {
    StreamStop();
  }
  return OutputPinsNotify(AOperation);
}

TKLNotifyResult TQSBasicThreadedFilter::OutputPinsNotify(IKLNotifyOperation& AOperation) {
  TKLPin* Output = GetOutputPin();
  return Output != nullptr ? Output->Notify(AOperation) : TKLNotifyResult{};
}

const TPublishedTable& TQSBasicThreadedEnableFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicThreadedEnableFilter"}, &TComponent::Published())
          .Property(EnabledInfo, &TQSBasicThreadedEnableFilter::Enabled,
                    &TQSBasicThreadedEnableFilter::SetEnabled)
          .Object("Threading", &TQSBasicThreadedFilter::Threading, ThreadingDoc);
  return Table;
}

void TQSBasicThreadedEnableFilter::SetEnabled(bool AValue) {
  NotifySetter(EnabledInfo, FEnabled, AValue, [this] { EnabledChanged(); });
}

// The output begins as a copy of the input, which costs no sample until somebody writes. Where
// nobody could tell, and for a disabled filter, it is the input itself.
TKLNotifyResult TQSBasicCommonFilter::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  const bool InPlace = !IsEnabled() || (CanInline() && IsSoleHolder(*ABuffer));
  auto Output = InPlace ? nullptr : StaticRefCast<IQSDataBuffer>(ABuffer->MakeCopy());
  return IntBufferOperation(std::move(ABuffer), std::move(Output));
}

TKLNotifyResult TQSCommonFilter::SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                              const TGUID& ADataTypeID,
                                              IKLNotifyOperation& AOperation,
                                              TKLNotifyState AState) {
  if (AOperation.IsType<TKLStartSampleRateOperation>()) {
    SetSampleRate(AOperation.GetInstance<TKLStartSampleRateOperation>().Rate);
  } else if (AOperation.IsType<TKLStartRateOperation>()) {
    SetSampleRate(AOperation.GetInstance<TKLStartRateOperation>().Rate);
  }
  return TQSBasicCommonFilter::SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
}

// --- typed filters ---

template <class T, class TSourcePin, class TSinkPin>
TQSCommonTypedFilter<T, TSourcePin, TSinkPin>::TQSCommonTypedFilter(TConstruct AConstruct)
    : TQSCommonFilter(AConstruct),
      FOutputPin({*this, FOutputLock},
                 [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                        IKLNotifyOperation& AOperation, TKLNotifyState AState) {
                   return SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
                 }),
      FInputPin({*this, FInputLock}, SinkEvent()) {
  FOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText CommonTypedFilterText{
    .BadInput = "A block without samples changes nothing in the samples that come out.",
    .Accuracy =
        R"(With `Threading.Enabled` blocks are computed on a thread of the filter's own, behind a queue, and
are the same bit for bit: on several cores a long chain of filters then takes less time, and each
block leaves later.)",
};

}  // namespace

template <class T, class TSourcePin, class TSinkPin>
const TPublishedTable& TQSCommonTypedFilter<T, TSourcePin, TSinkPin>::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonTypedFilter", .Text = CommonTypedFilterText},
                      &TQSBasicThreadedEnableFilter::Published())
          .Pin("OutputPin", &TQSCommonTypedFilter::OutputPin, "The filtered stream.", true)
          .Pin("InputPin", &TQSCommonTypedFilter::InputPin, "The stream to filter.", true);
  return Table;
}

template <class T, class TSourcePin, class TSinkPin>
TKLNotifyResult TQSCommonTypedFilter<T, TSourcePin, TSinkPin>::IntSingleOperation(
    IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  auto Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Take();
  return IntSingleBufferOperation(TBuffer::CreateUniversal(std::move(Packet)));
}

template <class T, class TSourcePin, class TSinkPin>
TKLNotifyResult TQSCommonTypedFilter<T, TSourcePin, TSinkPin>::IntBufferOperation(
    TRef<IQSDataBuffer> AInBuffer, TRef<IQSDataBuffer> AOutBuffer) {
  auto Input = StaticRefCast<TBuffer>(std::move(AInBuffer));
  auto Output = StaticRefCast<TBuffer>(std::move(AOutBuffer));
  TRef<TBuffer>& Result = Output ? Output : Input;
  bool SendOutputData = true;
  // A link that is made meanwhile must not get what nobody has computed.
  const bool LeadsOn = FOutputPin.IsConnected();
  InternalOperation(Input, Result, LeadsOn, SendOutputData);
  if (!SendOutputData || !LeadsOn) return {};
  // Downstream must not meet a reference that only waits here for the end of the call.
  if (&Result != &Input) Input = nullptr;
  return FOutputPin.SubmitBuffer(std::move(Result));
}

template <class T, class TSourcePin, class TSinkPin>
TKLNotifyResult TQSCommonTypedFilter<T, TSourcePin, TSinkPin>::SourceDispatch(
    TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
    IKLNotifyOperation& AOperation, TKLNotifyState AState) {
  if (FInputPin.IsConnected()) return FInputPin.Notify(AOperation);
  if (AOperation.IsType<TKLStopOperation>()) return {};  // as in GKLPassTroughDispatch
  return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
}

template <class T, class TSourcePin, class TSinkPin>
void TQSCommonTypedFilter<T, TSourcePin, TSinkPin>::InternalOperation(
    const TRef<TBuffer>& AInBuffer, TRef<TBuffer>& AOutBuffer, bool ADoProcess,
    bool& ASendOutputData) {
  // A block that came to a disabled filter goes on as it is, though others may hold it, and though
  // Enabled may have changed since.
  const bool GoesOn = AOutBuffer == AInBuffer && !(CanInline() && IsSoleHolder(*AInBuffer));
  if (ADoProcess && !GoesOn && IsEnabled()) {
    FilterInternalOperation(AInBuffer, AOutBuffer, ASendOutputData);
  }
}

template class TQSCommonTypedFilter<double, TQSKLComboRealSourcePin, TQSKLComboRealSinkPin>;
template class TQSCommonTypedFilter<TComplex, TQSKLComplexSourcePin, TQSKLComplexSinkPin>;
template class TQSCommonTypedFilter<std::int32_t, TQSKLIntegerSourcePin, TQSKLIntegerSinkPin>;

// --- single values ---

TKLNotifyResult TQSCommonRealFilter::IntSingleOperation(IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLTypedSuppliedOperation<double>>()) {
    return TQSCommonTypedFilter::IntSingleOperation(AOperation);
  }
  const double Value = AOperation.GetInstance<TKLTypedSuppliedOperation<double>>().Value;
  double Result = Value;
  bool SendOutputData = true;
  InternalFloatOperation(Value, Result, SendOutputData);
  return SendOutputData ? FOutputPin.SubmitReal(Result) : TKLNotifyResult{};
}

void TQSCommonRealFilter::InternalFloatOperation(double AValue, double& AOutValue,
                                                 bool& ASendOutputData) {
  const auto Input = TQSRealBuffer::CreateData(&AValue, 1);
  auto Output = IsEnabled() ? TQSRealBuffer::CreateCopy(*Input) : Input;
  InternalOperation(Input, Output, FOutputPin.IsConnected(), ASendOutputData);
  AOutValue = Output->GetSize() > 0 ? Output->GetItem(0) : AValue;
}

}  // namespace tessalune
