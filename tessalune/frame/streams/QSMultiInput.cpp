#include <tessalune/frame/streams/QSMultiInput.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <exception>
#include <limits>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> SizeInfo{.Name = "Size",
                                               .Default = 1024,
                                               .Bounds = Between(1, 1 << 26),
                                               .Design = Between(1, 65536),
                                               .Unit = "samples",
                                               .Doc = "Samples a block while AutoSize is off."};
constexpr TPropertyInfo<bool> AutoSizeInfo{
    .Name = "AutoSize",
    .Default = true,
    .Doc = "Whether the blocks of the inputs tell how long those of the output are."};

constexpr std::int64_t HalfFull = TQSBufferQueue<IQSDataBuffer>::MostSamples / 2;
// That one thread sends before it looks for another.
constexpr int ManySteps = 64;

double RateOfStart(IKLNotifyOperation& AStart) {
  if (!AStart.IsType<TKLStartSampleRateOperation>()) return 0.0;
  const double Rate = AStart.GetInstance<TKLStartSampleRateOperation>().Rate;
  return Rate > 0.0 && std::isfinite(Rate) ? Rate : 0.0;
}

}  // namespace

const TPublishedTable& TQSOutputBufferSize::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSOutputBufferSize", .Doc = "How the output's blocks are cut."},
                      nullptr)
          .Property(SizeInfo, &TQSOutputBufferSize::Size, &TQSOutputBufferSize::SetSize)
          .Property(AutoSizeInfo, &TQSOutputBufferSize::AutoSize,
                    &TQSOutputBufferSize::SetAutoSize);
  return Table;
}

void TQSOutputBufferSize::SetSize(std::int32_t AValue) { NotifySetter(SizeInfo, FSize, AValue); }
void TQSOutputBufferSize::SetAutoSize(bool AValue) {
  NotifySetter(AutoSizeInfo, FAutoSize, AValue);
}

// --- the component ---

TQSMultiInput::TQSMultiInput(TConstruct AConstruct)
    : TLockComponent(AConstruct), FOutputBuffer(FLock, "OutputBuffer") {}

namespace {

constexpr TClassText MultiInputText{
    .BadInput =
        R"(- An input that is linked and never gets a stream holds the others up; the notes of `run` tell.
- Where rates differ, the output has the highest of those with which it starts, and slower streams
  are stretched by straight lines between their samples. A stream that joins later with a higher
  rate may alias; the notes tell that too.
- Where one input runs ahead of the others by more than 1,024,000 samples, its oldest are dropped,
  and it is out of step from there on; the summary of `run` tells how many.)",
    .Accuracy =
        R"(Samples are joined in the order of their streams, counted from each start: how the streams are cut
into blocks, and which threads bring them, changes no bit of what goes out. A sample waits until
the others have come that it is joined with, and no longer. Positions in a stream that is
stretched are kept in integers, so the billionth sample is as exact as the first.)",
};

}  // namespace

const TPublishedTable& TQSMultiInput::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMultiInput", .Text = MultiInputText}, &TComponent::Published())
          .Object("OutputBuffer", &TQSMultiInput::OutputBuffer, "How the output's blocks are cut.");
  return Table;
}

void TQSMultiInput::QueuedPinCreateFunction(TQSKLQueuedPinImpl& AInput) {
  GetOutputPin().AddFunctionSource(AInput.Pin());
  const std::lock_guard Mutex(FMutex);
  FAllInputPins.push_back(&AInput);
}

void TQSMultiInput::QueuedPinDestroyFunction(TQSKLQueuedPinImpl& AInput) {
  TQSKLQueuedPinImpl::TGone Gone;
  TMutexLock Mutex(FMutex);
  std::erase(FAllInputPins, &AInput);
  FStreams -= AInput.ClearStopping(Gone);
  FKnown = 0;
  if (!HasState(csDestroying)) RunReported(this, [&] { SendAlong(TWaitKind::Drain, Mutex); });
}

// What is held still comes out; where one more stream was waited for, without it.
void TQSMultiInput::BeforeDestruction() {
  EndInputs();
  RunReported(this, [this] {
    TMutexLock Mutex(FMutex);
    FKnown = 0;
    SendAlong(TWaitKind::Drain, Mutex);
  });
  TLockComponent::BeforeDestruction();
}

// --- what comes ---

TKLNotifyResult TQSMultiInput::SinkDispatch(TQSKLQueuedPinImpl& AInput, TKLBasicPin&, TKLBasicPin*,
                                            const TGUID&, IKLNotifyOperation& AOperation,
                                            TKLNotifyState) {
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    TakeBlock(AInput, AInput.AsBlock(AOperation.GetInstance<TKLSuppliedBufferOperation>().Take()));
    return {nrDataChanged};
  }
  if (AOperation.IsType<TKLStartOperation>()) {
    TMutexLock Mutex(FMutex);
    FPumpIsDue = false;
    Begin(AInput, RateOfStart(AOperation));
    SendAlong(TWaitKind::Drain, Mutex);
    return {};
  }
  if (AOperation.IsType<TKLStopOperation>()) {
    StopInput(AInput);
    return {};
  }
  if (AOperation.IsType<TKLIgnoreStreamOperation>()) return Ignore(AInput, AOperation);
  if (AOperation.IsType<TKLStartPumpOperation>()) {
    TMutexLock Mutex(FMutex);
    return StartPump(AOperation.GetInstance<TKLStartPumpOperation>(), Mutex);
  }
  // A question that went up comes back.
  if (AOperation.IsType<TKLQueryStreamOperation>()) return {};
  return GetOutputPin().Notify(AOperation);
}

// Inside the mutex.
void TQSMultiInput::Begin(TQSKLQueuedPinImpl& AInput, double ARate) {
  if (!FRunning && FStreams == 0) {
    for (TQSKLQueuedPinImpl* Input : FAllInputPins) {
      Input->Dropped = 0;
      Input->ThinnedRate = 0.0;
    }
  }
  AInput.IsIgnored = false;
  FStreams += AInput.StartRate(ARate);
  FKnown = 0;
}

void TQSMultiInput::TakeBlock(TQSKLQueuedPinImpl& AInput, TRef<IQSDataBuffer> ABlock) {
  TQSKLQueuedPinImpl::TGone Gone;
  TMutexLock Mutex(FMutex);
  if (!AInput.IsOpen()) Begin(AInput, 0.0);
  AInput.AddBuffer(std::move(ABlock), Gone);
  ++FBlocksIn;
  FPumpIsDue = true;
  if (FSender == nullptr || FSteps > ManySteps || AInput.CollectedSamples() > HalfFull) {
    SendAlong(TWaitKind::Room, Mutex);
  }
}

// Without a stream it is passed on, unless somebody sends just now: then a stop is on its way.
void TQSMultiInput::StopInput(TQSKLQueuedPinImpl& AInput) {
  TMutexLock Mutex(FMutex);
  if (!FRunning && FStreams == 0 && FSender == nullptr) FStopsIdle = true;
  AInput.Stop();
  FPumpIsDue = true;
  FKnown = 0;
  SendAlong(TWaitKind::Drain, Mutex);
}

TKLNotifyResult TQSMultiInput::Ignore(TQSKLQueuedPinImpl& AInput, IKLNotifyOperation& AOperation) {
  TMutexLock Mutex(FMutex);
  AInput.IsIgnored = true;
  FPumpIsDue = true;
  FKnown = 0;
  const bool NoneIsLeft = !FRunning && FStreams == 0 && Awaited() == nullptr;
  SendAlong(TWaitKind::Drain, Mutex);
  if (!NoneIsLeft) return {};
  Mutex.unlock();
  return GetOutputPin().Notify(AOperation);
}

// The first input that a start has to wait for; inside the mutex.
TQSKLQueuedPinImpl* TQSMultiInput::Awaited() const {
  const auto Input =
      std::find_if(FAllInputPins.begin(), FAllInputPins.end(), [](TQSKLQueuedPinImpl* AInput) {
        return !AInput->IsRunning() && !AInput->IsIgnored && AInput->Pin().IsConnected();
      });
  return Input != FAllInputPins.end() ? *Input : nullptr;
}

// A pump may begin when the start is out. What comes before it is kept, until the source that
// completes the start has sent its own, or must have.
TKLNotifyResult TQSMultiInput::StartPump(const TKLStartPumpOperation& AOperation,
                                         TMutexLock& AMutex) {
  const auto Operation = MakeRef<TKLStartPumpOperation>(AOperation.Pump);
  FHeldPump = FStartIsOut ? nullptr : Operation;
  if (!FStartIsOut || FPumpStarted == AOperation.Pump) return {};
  FPumpStarted = AOperation.Pump;
  AMutex.unlock();
  return GetOutputPin().Notify(*Operation);
}

// --- what comes from below ---

TKLNotifyEvent TQSMultiInput::SourceEvent() {
  return [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                IKLNotifyOperation& AOperation, TKLNotifyState AState) {
    return SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
  };
}

TKLNotifyResult TQSMultiInput::SourceDispatch(TKLBasicPin&, TKLBasicPin*, const TGUID&,
                                              IKLNotifyOperation& AOperation, TKLNotifyState) {
  if (!AOperation.IsType<TKLMasterPumpOperation>()) return AskInputs(AOperation);
  PumpInputs(AOperation.GetInstance<TKLMasterPumpOperation>());
  return {};
}

// Up all inputs; without a link there, down to the other sinks, but for a stop: no stream runs
// then, or what is held of one goes out before its stop.
TKLNotifyResult TQSMultiInput::AskInputs(IKLNotifyOperation& AOperation) {
  TKLNotifyResult Result;
  std::exception_ptr Error;
  bool IsLinked = false;
  {
    TMutexLock Mutex(FMutex);
    for (std::size_t I = 0; I < FAllInputPins.size(); ++I) {
      if (!FAllInputPins[I]->Pin().IsConnected()) continue;
      IsLinked = true;
      try {
        Result |= FAllInputPins[I]->Ask(AOperation, Mutex);
      } catch (...) {
        if (!AOperation.IsType<TKLStopOperation>()) throw;
        if (!Error) Error = std::current_exception();
        if (!Mutex.owns_lock()) Mutex.lock();
      }
    }
  }
  if (Error) std::rethrow_exception(Error);
  if (IsLinked || AOperation.IsType<TKLStopOperation>()) return Result;
  if (AOperation.IsType<TKLQueryStreamOperation>()) {
    GetOutputPin().Notify(MakeRef<TKLIgnoreStreamOperation>());
  }
  return GetOutputPin().Notify(AOperation);
}

// True if the next sample wants one of this input first; inside the mutex.
bool TQSMultiInput::IsShort(TQSKLQueuedPinImpl& AInput) const {
  if (!AInput.Pin().IsConnected()) return false;
  return !FRunning || (AInput.IsOpen() && AInput.NextBorder() == 0);
}

// Asks those inputs for a block that hold the others up, until one goes out or nothing comes any
// more; so an input with long blocks, or a slow one, gets no further ahead than the others need.
void TQSMultiInput::PumpInputs(TKLMasterPumpOperation& ARequest) {
  constexpr int MostRounds = 65536;
  TRef<TKLMasterPumpOperation> Request(&ARequest);
  TMutexLock Mutex(FMutex);
  const std::int64_t Out = FBlocksOut;
  for (int Round = 0; Round < MostRounds; ++Round) {
    const std::int64_t In = FBlocksIn;
    for (std::size_t I = 0; I < FAllInputPins.size(); ++I) {
      if (IsShort(*FAllInputPins[I])) FAllInputPins[I]->Ask(*Request, Mutex);
      if (FRunning && FBlocksOut != Out) return;
    }
    if (!FRunning || FBlocksIn == In) return;
    Request = MakeRef<TKLMasterPumpOperation>(ARequest.Pump);
  }
}

// --- what goes out ---

// Sends what there is, or leaves it to who sends now and waits for that, as AKind: for room in an
// input's queue, or for the end of the work. Throws what a sink throws.
void TQSMultiInput::SendAlong(TWaitKind AKind, TMutexLock& AMutex) {
  if (FSender == CurrentThreadKey()) return;
  if (FSender != nullptr) {
    const std::uint64_t Round = FRounds;
    ++FWaiters;
    static_cast<void>(WaitUntilReady(
        AKind, AMutex, FSent,
        [this](TThreadKey AThread, const TCallFrame*) {
          const std::lock_guard Mutex(FMutex);
          return AThread == FSender;
        },
        [this, Round] { return FRounds != Round; }));
    --FWaiters;
  }
  TrySend(AMutex);
}

void TQSMultiInput::TrySend(TMutexLock& AMutex) {
  if (FSender != nullptr) return;
  FSender = CurrentThreadKey();
  FSteps = 0;
  std::exception_ptr Error;
  const auto Catch = [&](const auto& ADo) {
    try {
      return ADo();
    } catch (...) {
      if (!Error) Error = std::current_exception();
      if (!AMutex.owns_lock()) AMutex.lock();
      return TStep::None;
    }
  };
  while (FSteps <= ManySteps || FWaiters == 0) {
    const TStep Step = Catch([this] { return NextStep(); });
    if (Step == TStep::None) break;
    ++FSteps;
    Catch([&] {
      Send(Step, AMutex);
      return Step;
    });
  }
  FSender = nullptr;
  ++FRounds;
  FSent.notify_all();
  if (!Error) return;
  AMutex.unlock();
  std::rethrow_exception(Error);
}

// Inside the mutex, like all that finds a step.
TQSMultiInput::TStep TQSMultiInput::NextStep() {
  const bool StopsIdle = std::exchange(FStopsIdle, false);
  if (!FRunning && FStreams > 0) return NextStart();
  if (!FRunning) return StopsIdle ? TStep::Stop : TStep::None;
  if (FHeldPump && FPumpIsDue && FStartIsOut) return TStep::Pump;
  for (; FKnown < FAllInputPins.size(); ++FKnown) {
    TQSKLQueuedPinImpl& Input = *FAllInputPins[FKnown];
    FStreams -= Input.Settle(FCalculatedRate);
    if (Input.IsRunning() && Input.NextBorder() == 0) return TStep::None;
  }
  if (FStreams > 0) return NextBlock();
  return FFilled > 0 ? TStep::Flush : TStep::Stop;
}

TQSMultiInput::TStep TQSMultiInput::NextStart() {
  for (; FKnown < FAllInputPins.size(); ++FKnown) {
    const TQSKLQueuedPinImpl& Input = *FAllInputPins[FKnown];
    if (Input.IsRunning() || Input.IsIgnored || !FAllInputPins[FKnown]->Pin().IsConnected()) {
      continue;
    }
    return Input.IsAsked ? TStep::None : TStep::Ask;
  }
  CalculateRate();
  FRunning = true;
  FKnown = 0;
  return TStep::Start;
}

void TQSMultiInput::CalculateRate() {
  double Highest = 0.0;
  for (const TQSKLQueuedPinImpl* Input : FAllInputPins) {
    if (Input->IsRunning()) Highest = std::max(Highest, Input->GetRate());
  }
  FCalculatedRate = Highest;
}

TQSMultiInput::TStep TQSMultiInput::NextBlock() {
  const bool AutoSize = FOutputBuffer.AutoSize();
  if (AutoSize && FFilled > 0) return TStep::Flush;
  const std::int32_t Ratio = OutputsPerInput();
  // Whole numbers of input samples, so the size may be rounded up.
  if (FFilled == 0) FBlockSize = AutoSize ? 0 : (FOutputBuffer.Size() + Ratio - 1) / Ratio * Ratio;
  std::int64_t Count =
      (FBlockSize > 0 ? FBlockSize - FFilled : std::numeric_limits<std::int32_t>::max()) / Ratio;
  for (const TQSKLQueuedPinImpl* Input : FAllInputPins) {
    if (Input->IsRunning()) Count = std::min(Count, Input->NextBorder());
  }
  FCount = static_cast<std::int32_t>(Count);
  FPieces.resize(FAllInputPins.size());
  for (std::size_t I = 0; I < FPieces.size(); ++I) {
    FPieces[I] = FAllInputPins[I]->IsRunning() ? FAllInputPins[I]->Piece(FCount) : TQSInputPiece();
  }
  for (TQSKLQueuedPinImpl* Input : FAllInputPins) {
    if (Input->IsRunning()) Input->Advance(FCount, FGone);
  }
  FKnown = 0;
  return TStep::Block;
}

// Leaves the mutex meanwhile, and after an exception.
void TQSMultiInput::Send(TStep AStep, TMutexLock& AMutex) {
  TRef<TKLStartPumpOperation> Pump;
  if (AStep == TStep::Ask) {
    TQSKLQueuedPinImpl& Input = *FAllInputPins[FKnown];
    Input.IsAsked = true;
    Input.Ask(*MakeRef<TKLQueryStreamOperation>(), AMutex);
    return;
  }
  if (AStep == TStep::Pump) {
    Pump = std::move(FHeldPump);
    FPumpStarted = Pump->Pump;
  } else if (AStep == TStep::Stop) {
    FRunning = false;
    FStartIsOut = false;
    FPumpStarted = nullptr;
    FHeldPump = nullptr;
    FKnown = 0;
    for (TQSKLQueuedPinImpl* Input : FAllInputPins) FStreams -= Input->ClearStopping(FGone);
  }
  AMutex.unlock();
  FGone.clear();
  switch (AStep) {
    case TStep::Start: {
      struct TOut {
        TMutexLock& Mutex;
        bool& IsOut;
        ~TOut() {
          Mutex.lock();
          IsOut = true;
        }
      } const Out{AMutex, FStartIsOut};
      const double Rate = FCalculatedRate;
      GetOutputPin().Notify(
          Rate > 0.0 ? TRef<TKLStartOperation>(MakeRef<TKLStartSampleRateOperation>(Rate))
                     : MakeRef<TKLStartOperation>());
      return;
    }
    case TStep::Pump:
      GetOutputPin().Notify(*Pump);
      break;
    case TStep::Block:
      CalculateSendOutput(FCount);
      break;
    case TStep::Flush:
      SendFilled();
      break;
    default:
      GetOutputPin().Notify(*MakeRef<TKLStopOperation>());
  }
  AMutex.lock();
  if (FFilled == 0) ++FBlocksOut;
}

// --- what a host reads ---

std::int64_t TQSMultiInput::Dropped() const {
  const std::lock_guard Mutex(FMutex);
  std::int64_t Samples = 0;
  for (const TQSKLQueuedPinImpl* Input : FAllInputPins) Samples += Input->Dropped;
  return Samples;
}

std::vector<TLoss> TQSMultiInput::Losses() const {
  const std::lock_guard Mutex(FMutex);
  std::vector<TLoss> Losses;
  for (TQSKLQueuedPinImpl* Input : FAllInputPins) {
    if (Input->Dropped == 0) continue;
    Losses.push_back(
        {Input->Dropped, "sample",
         Input->Pin().Name() + " ran more than " +
             NumberText(TQSBufferQueue<IQSDataBuffer>::MostSamples) +
             " samples ahead of the other inputs, so " + NumberText(Input->Dropped) +
             " of its samples were dropped, and the inputs are out of step from there on; let the "
             "sources of all inputs run at one pace, or take off the links that bring nothing"});
  }
  return Losses;
}

std::vector<std::string> TQSMultiInput::Remarks() const {
  const std::lock_guard Mutex(FMutex);
  std::vector<std::string> Remarks;
  TQSKLQueuedPinImpl* const Missing = !FRunning && FStreams > 0 ? Awaited() : nullptr;
  if (Missing != nullptr) {
    Remarks.push_back("nothing came out, since " + Missing->Pin().Name() +
                      " is linked but no stream has come there; start its source, disable it, or "
                      "take the link off");
  }
  for (TQSKLQueuedPinImpl* Input : FAllInputPins) {
    if (Input->ThinnedRate == 0.0) continue;
    Remarks.push_back("the stream on " + Input->Pin().Name() + " has " +
                      NumberText(Input->ThinnedRate) +
                      " samples a second and joined an output of " + NumberText(FCalculatedRate) +
                      ", at which it is read, so it may alias; start it with the others");
  }
  return Remarks;
}

// --- typed ---

template <class TIn, class TOut>
TQSTypedMultiInput<TIn, TOut>::TQSTypedMultiInput(TConstruct AConstruct)
    : TQSMultiInput(AConstruct), FOutputPin({*this, FLock}, SourceEvent()) {}

template <class TIn, class TOut>
const TPublishedTable& TQSTypedMultiInput<TIn, TOut>::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSTypedMultiInput"}, &TQSMultiInput::Published())
          .Pin("OutputPin", &TQSTypedMultiInput::OutputPin, "The joined stream.", true);
  return Table;
}

// The samples of a block of Size are collected in memory that grows with them: a number alone takes
// none.
template <class TIn, class TOut>
TOut* TQSTypedMultiInput<TIn, TOut>::Room(std::int32_t ACount) {
  constexpr std::int32_t FirstSize = 65536;
  if (FBlockSize == 0) {
    if (!FBlock) FBlock = TQSTypedBuffer<TOut>::CreateSize(ACount);
    return FBlock->Write();
  }
  if (!FBlock) FBlock = TQSTypedBuffer<TOut>::CreateSize(std::min(FBlockSize, FirstSize));
  const std::int32_t Wanted = FFilled + ACount;
  if (Wanted > FBlock->GetSize()) {
    const std::int32_t Doubled = std::min(FBlockSize / 2, FBlock->GetSize()) * 2;
    FBlock->Resize(std::max(Wanted, Doubled), true);
  }
  return FBlock->Modify() + FFilled;
}

template <class TIn, class TOut>
void TQSTypedMultiInput<TIn, TOut>::CalculateSendOutput(std::int32_t ABufferSize) {
  struct TEnd {
    TQSTypedMultiInput& Owner;
    // Downstream must not meet a reference that only waits here for the next block.
    void LetGo() {
      for (TQSInputPiece& Piece : Owner.FPieces) Piece.Block = nullptr;
    }
    ~TEnd() {
      LetGo();
      if (Owner.FBlockSize == 0) Owner.FBlock = nullptr;
    }
  } End{*this};
  const std::int32_t Size = ABufferSize * OutputsPerInput();
  FSamples.clear();
  bool IsFirst = true;
  for (TQSInputPiece& Piece : FPieces) {
    if (!Piece.Block) {
      FSamples.push_back(nullptr);
      continue;
    }
    auto* Block = static_cast<TQSTypedBuffer<TIn>*>(Piece.Block.Get());
    if (!Piece.Stretch.IsEven()) {
      auto Stretched = TQSTypedBuffer<TIn>::CreateSize(ABufferSize);
      Piece.Stretch.Read(Block->Read() + Piece.Offset, Piece.Count, Stretched->Write(),
                         ABufferSize);
      Block = Stretched.Get();
      Piece.Block = std::move(Stretched);
      Piece.Offset = 0;
    }
    FSamples.push_back(Block->Read() + Piece.Offset);
    if constexpr (std::same_as<TIn, TOut>) {
      // Nobody else knows the block: its memory becomes the output's.
      const bool IsOurs = FBlockSize == 0 && Size == ABufferSize && Block->GetSize() == Size &&
                          Block->HasSingleReference() && Block->Unique();
      if (IsFirst && IsOurs) FBlock = StaticRefCast<TQSTypedBuffer<TIn>>(std::move(Piece.Block));
    }
    IsFirst = false;
  }
  TOut* const Out = Room(Size);
  if (!Calculate(FSamples, Out, ABufferSize)) return;
  End.LetGo();
  if (FBlockSize == 0) {
    FOutputPin.SubmitBuffer(std::move(FBlock));
  } else {
    FFilled += Size;
    if (FFilled == FBlockSize) SendFilled();
  }
}

template <class TIn, class TOut>
void TQSTypedMultiInput<TIn, TOut>::SendFilled() {
  auto Block = std::move(FBlock);
  Block->Resize(std::exchange(FFilled, 0), true);
  FOutputPin.SubmitBuffer(std::move(Block));
}

template class TQSTypedMultiInput<double, double>;
template class TQSTypedMultiInput<TComplex, TComplex>;
template class TQSTypedMultiInput<double, TComplex>;

}  // namespace tessalune
