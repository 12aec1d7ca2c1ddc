#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/streams/QSCommonGen.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> EnabledInfo{
    .Name = "Enabled",
    .Default = true,
    .Doc = "While false, the source cannot be started and a running stream pauses."};
constexpr TPropertyInfo<std::uint32_t> PumpPriorityInfo{
    .Name = "PumpPriority",
    .Default = 0,
    .Effect = TTakesEffect::NextStart,
    .Doc = "Priority of the source's own claim to drive the graph, against sinks that claim it."};
constexpr TPropertyInfo<TQSClockSource> ClockSourceInfo{
    .Name = "ClockSource",
    .Default = TQSClockSource::csAuto,
    .Effect = TTakesEffect::NextStart,
    .Doc =
        "What drives the source: its own clock, ticks on ClockInputPin, or (csAuto) the ticks "
        "if that pin is linked."};
constexpr TPropertyInfo<double> SampleRateInfo{.Name = "SampleRate",
                                               .Default = 44100.0,
                                               .Bounds = Above(0.0, 44100.0),
                                               .Unit = "Hz",
                                               .Doc = "Samples a second."};
constexpr TPropertyInfo<std::int32_t> BufferSizeInfo{.Name = "BufferSize",
                                                     .Default = 1024,
                                                     .Bounds = Between(1, 1 << 26),
                                                     .Design = Between(1, 65536),
                                                     .Unit = "samples",
                                                     .Doc = "Samples a block."};

// The deadlines of the blocks. They are counted from a base, so that rounding does not add up; the
// base moves when the period changes or when the clock was too far behind.
class TDeadlines {
 public:
  explicit TDeadlines(TClockTime ANow) : FStart(ANow), FBase(ANow) {}

  // Notes in ALag how late the next block is.
  TClockTime Next(double APeriod, TClockTime ANow, TClockLag& ALag) {
    constexpr TClockTime MostBehind = std::chrono::seconds(1);
    if (APeriod != FPeriod) {
      FBase = At(FCount);
      FCount = 0;
      FPeriod = APeriod;
    }
    ++FCount;
    const double Behind = Seconds(ANow - At(FCount));
    if (Behind > ALag.Greatest) {
      ALag.Greatest = Behind;
      ALag.GreatestAt = Seconds(ANow - FStart);
    }
    if (At(FCount) + MostBehind < ANow) {
      ALag.Skipped += Behind;
      ALag.SkippedBlocks += static_cast<std::int64_t>(Behind / FPeriod);
      FBase = ANow;
      FCount = 0;
    }
    return At(FCount);
  }

 private:
  // A block that is years away counts as thirty years away, which a clock can still hold.
  TClockTime At(std::int64_t ACount) const {
    constexpr double Farthest = 1e18;
    const double Nanoseconds = static_cast<double>(ACount) * FPeriod * 1e9;
    return FBase + TClockTime(std::llround(std::min(Nanoseconds, Farthest)));
  }

  static double Seconds(TClockTime ATime) { return std::chrono::duration<double>(ATime).count(); }

  const TClockTime FStart;
  TClockTime FBase;
  std::int64_t FCount = 0;
  double FPeriod = 0.0;
};

}  // namespace

// What a clock thread notes and any thread may read, also when the clock has ended.
class TQSBasicCommonGen::TClockBook final : public IInterface {
 public:
  void Set(const TClockLag& ALag) {
    const std::lock_guard Lock(FMutex);
    FLag = ALag;
  }
  TClockLag Lag() const {
    const std::lock_guard Lock(FMutex);
    return FLag;
  }

 private:
  mutable std::mutex FMutex;
  TClockLag FLag;
};

// The generator's own clock. It calls into the generator through its gate, so it finds the gate
// closed when the generator has ended.
class TQSBasicCommonGen::TClockThread final : public IThread {
 public:
  TClockThread(TQSBasicCommonGen& AGen, TStream AStream, TRef<IClock> AClock,
               TRef<TClockBook> ABook)
      : FGen(AGen),
        FStream(AStream),
        FGate(&AGen.Gate()),
        FClock(std::move(AClock)),
        FBook(std::move(ABook)) {}

  void Launch() {
    FClock->Attach();
    try {
      IThread::Launch("tessalune-clock", [this] { Run(); });
    } catch (...) {
      FClock->Detach();
      throw;
    }
  }

  void Terminate() {
    FEnded = true;
    FWaker.Wake();
  }

 private:
  void Run() {
    TDeadlines Deadlines(FClock->Now());
    TClockLag Lag;
    while (!FEnded) {
      const double Period = MakeBlock();
      if (FEnded || !(Period > 0.0)) break;
      const TClockTime Deadline = Deadlines.Next(Period, FClock->Now(), Lag);
      FBook->Set(Lag);
      FClock->WaitUntil(Deadline, FWaker);
    }
    FClock->Detach();
  }

  // Seconds from block to block; 0 if there will be no other. A block that fails ends the stream.
  double MakeBlock() {
    const TCallScope Call(*FGate);
    if (!Call) return 0.0;
    try {
      FGen.OnStream(FStream, [this] { FGen.IntPump(); });
    } catch (...) {
      ReportUnhandledException(&FGen);
      RunReported(&FGen, [this] { FGen.EndStream(FStream); });
    }
    return static_cast<double>(FGen.GetBufferSize()) / FGen.GetSampleRate();
  }

  TQSBasicCommonGen& FGen;
  const TStream FStream;
  const TRef<TCallGate> FGate;
  const TRef<IClock> FClock;
  const TRef<TClockBook> FBook;
  TWaker FWaker;
  std::atomic<bool> FEnded{false};
};

TQSBasicCommonGen::TQSBasicCommonGen(TConstruct AConstruct)
    : TLockComponent(AConstruct),
      FClockInputPin({*this, FLock}, DispatchEvent()),
      FTimeSource(SystemClock()) {}

TQSBasicCommonGen::~TQSBasicCommonGen() = default;

const TPublishedTable& TQSBasicCommonGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicCommonGen"}, &TComponent::Published())
          .Pin("ClockInputPin", &TQSBasicCommonGen::ClockInputPin,
               "Ticks that drive the source; every stream can tick.")
          .Property(EnabledInfo, &TQSBasicCommonGen::Enabled, &TQSBasicCommonGen::SetEnabled)
          .Property(PumpPriorityInfo, &TQSBasicCommonGen::PumpPriority,
                    &TQSBasicCommonGen::SetPumpPriority)
          .Property(ClockSourceInfo, &TQSBasicCommonGen::ClockSource,
                    &TQSBasicCommonGen::SetClockSource)
          .Event("OnStop", &TQSBasicCommonGen::SetOnStop, {},
                 "The stream has ended and its sinks know.");
  return Table;
}

void TQSBasicCommonGen::SetEnabled(bool AValue) { NotifySetter(EnabledInfo, FEnabled, AValue); }
void TQSBasicCommonGen::SetPumpPriority(std::uint32_t AValue) {
  NotifySetter(PumpPriorityInfo, FPumpPriority, AValue);
}
void TQSBasicCommonGen::SetClockSource(TQSClockSource AValue) {
  NotifySetter(ClockSourceInfo, FClockSource, AValue);
}

bool TQSBasicCommonGen::ClockIsExternal() const {
  const TQSClockSource Source = FClockSource;
  return Source == TQSClockSource::csExternal ||
         (Source == TQSClockSource::csAuto && FClockInputPin.IsConnected());
}

// --- start and stop ---

void TQSBasicCommonGen::Start() {
  const TCallScope Call(Gate());
  if (Call) TryStart();
}

void TQSBasicCommonGen::TryStart() {
  const ILockSection Section = WriteLock();
  if (FIsRunning || HasState(csDestroying) || !GetCanStart()) return;
  IntStart();
  InTurn([this, Stream = ++FStream] { TellStart(Stream); });
}

// Inside the lock: a start or a stop has taken effect and is told as soon as the lock has been left
// and those before it have been told.
void TQSBasicCommonGen::InTurn(std::function<void()> ATell) {
  const std::uint64_t Turn = FTurns->Take();
  FLock->AfterRelease([Turn, Turns = FTurns, Door = TRef<TCallGate>(&Gate()),
                       Tell = std::move(ATell)] { Turns->Run(Turn, Door, Tell); });
}

bool TQSBasicCommonGen::OnStream(TStream AStream, const std::function<void()>& AStep) {
  const ILockSection Section = WriteLock();
  if (!FIsRunning || FStream != AStream) return false;
  if (AStep) AStep();
  return true;
}

void TQSBasicCommonGen::TellStart(TStream AStream) {
  try {
    OnStream(AStream, [this] { IntStartStream(); });
    if (!OnStream(AStream, [this, AStream] { FSentStream = AStream; })) return;
    NotifyOutputPins(*MakeRef<TKLStartSampleRateOperation>(GetSampleRate()));
    if (!OnStream(AStream, [this] { FIsTold = true; })) return;
    TObject* const Pump = RequestPump();
    if (!OnStream(AStream, [this, Pump] { SetPump(Pump); })) return;
    FireStart();
    if (!OnStream(AStream)) return;
    StartPump();
    OnStream(AStream, [this, AStream] { StartClock(AStream); });
  } catch (...) {
    try {
      EndStream(AStream);
    } catch (...) {
      QueueEndStream(AStream, [this, AStream] { PostStop(AStream); });
    }
    throw;
  }
}

// Inside the lock: the stream counts as running from here on.
void TQSBasicCommonGen::IntStart() {
  FIsRunning = true;
  FLastOperationID = 0;
  SetPump(nullptr);  // a pump of the stream before has no say until one is chosen
  FExternal = ClockIsExternal();
}

void TQSBasicCommonGen::IntStartStream() { SetRate(GetSampleRate()); }

TObject* TQSBasicCommonGen::RequestPump() { return this; }

void TQSBasicCommonGen::StartPump() {
  NotifyOutputPins(*MakeRef<TKLStartPumpOperation>(FMasterPump));
}

void TQSBasicCommonGen::StartClock(TStream AStream) {
  if (!FIsPump || FExternal) return;
  auto Book = MakeRef<TClockBook>();
  auto Thread = MakeRef<TClockThread>(*this, AStream, FTimeSource, Book);
  const std::lock_guard Lock(FClockGenMutex);
  if (HasState(csDestroying)) return;  // StopPump may have been there
  FClockBook = std::move(Book);
  FClockGen = Thread;
  Thread->Launch();
}

TClockLag TQSBasicCommonGen::ClockLag() const {
  const std::lock_guard Lock(FClockGenMutex);
  return FClockBook ? FClockBook->Lag() : TClockLag();
}

void TQSBasicCommonGen::StopPump() {
  TRef<TClockThread> Thread;
  {
    const std::lock_guard Lock(FClockGenMutex);
    Thread = std::exchange(FClockGen, nullptr);
  }
  if (Thread) Thread->Terminate();
}

void TQSBasicCommonGen::Stop() {
  const TCallScope Call(Gate());
  if (!Call) return;
  const ILockSection Section = StopLock();
  if (FIsRunning) return EndStream(FStream);
  // Another thread has ended it; its sinks are to know before this one goes on.
  if (FStopsToTell > 0) InTurn([] {});
}

void TQSBasicCommonGen::EndStream(TStream AStream, std::function<void()> ATell) {
  const ILockSection Section = StopLock();
  if (!FIsRunning || FStream != AStream) return;
  StreamStop();
  TellStopInTurn(std::move(ATell));
}

void TQSBasicCommonGen::QueueEndStream(TStream AStream, std::function<void()> ATell) {
  MainThread().Execute(*this, [this, AStream, Tell = std::move(ATell)] {
    try {
      EndStream(AStream, Tell);
    } catch (...) {
      QueueEndStream(AStream, Tell);
      throw;
    }
  });
}

void TQSBasicCommonGen::TellStopInTurn(std::function<void()> ATell) {
  ++FStopsToTell;
  InTurn([this, Tell = std::move(ATell)] {
    struct TTold {
      std::atomic<int>& StopsToTell;
      ~TTold() { --StopsToTell; }
    } const Told{FStopsToTell};
    Tell();
  });
}

// A stop that a sink sends. Without a stream it is for the other sinks, unless a stop is on its way
// to them already: a sink that answers each stop with one would have no end.
void TQSBasicCommonGen::StopOrForward() {
  const ILockSection Section = StopLock();
  if (FIsRunning) return EndStream(FStream);
  if (FStopsToTell > 0) return;
  TellStopInTurn([this] { NotifyOutputPins(*MakeRef<TKLStopOperation>()); });
}

void TQSBasicCommonGen::StreamStop() {
  const ILockSection Section = StopLock();
  FIsRunning = false;
  FIsTold = false;
  StopPump();
}

void TQSBasicCommonGen::PostStop(TStream AStream) {
  FireStopBehind([&] {
    if (FSentStream == AStream) NotifyOutputPins(*MakeRef<TKLStopOperation>());
  });
}

void TQSBasicCommonGen::FireStopBehind(const std::function<void()>& ATell) {
  try {
    ATell();
  } catch (...) {
    RunReported(this, [this] { FireEvent(FOnStop); });
    throw;
  }
  FireEvent(FOnStop);
}

void TQSBasicCommonGen::BeforeDestruction() {
  RunReported(this, [this] { Stop(); });
  // Where the lock could not be had, the block in progress is the last all the same.
  FIsRunning = false;
  StopPump();
  TLockComponent::BeforeDestruction();
}

// --- pumps ---

bool TQSBasicCommonGen::Pump() {
  const TCallScope Call(Gate());
  if (!Call) return false;
  IntPump();
  return FIsRunning;
}

void TQSBasicCommonGen::MasterPump(TObject* APump, std::uint32_t AOperationID) {
  const ILockSection Section = WriteLock();
  if (APump != FMasterPump || AOperationID == FLastOperationID) return;
  FLastOperationID = AOperationID;
  IntPump();
}

TKLNotifyEvent TQSBasicCommonGen::DispatchEvent() {
  return [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                IKLNotifyOperation& AOperation, TKLNotifyState AState) {
    return DispatchOperation(ASender, AOtherPin, ADataTypeID, AOperation, AState);
  };
}

TKLNotifyResult TQSBasicCommonGen::DispatchOperation(TKLBasicPin& ASender, TKLBasicPin*,
                                                     const TGUID&, IKLNotifyOperation& AOperation,
                                                     TKLNotifyState) {
  if (&ASender == &FClockInputPin) return ClockDispatch(AOperation);
  if (AOperation.IsType<TKLMasterPumpOperation>()) {
    const auto& Request = AOperation.GetInstance<TKLMasterPumpOperation>();
    MasterPump(Request.Pump, Request.OperationID);
    return {};
  }
  if (AOperation.IsType<TKLStopOperation>()) {
    StopOrForward();
    return {};
  }
  if (AOperation.IsType<TKLQueryStreamOperation>() && !GetCanStart()) NotifyIgnoreOutputPin();
  return NotifyOutputPins(AOperation);
}

namespace {

// Samples or single values a second; 0 if the start does not tell.
double RateOfStart(IKLNotifyOperation& AStart) {
  if (AStart.IsType<TKLStartSampleRateOperation>()) {
    return AStart.GetInstance<TKLStartSampleRateOperation>().Rate;
  }
  if (AStart.IsType<TKLStartRateOperation>()) {
    return AStart.GetInstance<TKLStartRateOperation>().Rate;
  }
  return 0.0;
}

}  // namespace

TKLNotifyResult TQSBasicCommonGen::ClockDispatch(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TKLStopOperation>()) {
    // The link that brings it may be the last one, and gone.
    if (FExternal) Stop();
    return {};
  }
  if (!ClockIsExternal()) return {};
  if (AOperation.IsType<TKLStartOperation>()) {
    FClockRate = RateOfStart(AOperation);
    TryStart();
  } else if (AOperation.IsType<TKLClockOperation>() && FIsPump && FExternal) {
    Clock(AOperation.GetInstance<TKLClockOperation>().Samples);
  }
  return {};
}

void TQSBasicCommonGen::NotifyIgnoreOutputPin() {
  NotifyOutputPins(*MakeRef<TKLIgnoreStreamOperation>());
}

// --- TQSCommonGen ---

namespace {

constexpr TClassText CommonGenText{
    .BadInput =
        R"(A tick that asks for more than 65,536 blocks at once gets so many, and the notes of `run` tell
what was left out. A new `SampleRate` in a running stream counts from the next block on; what is
behind learns of a rate only at a start.)",
    .Accuracy =
        R"(On its own clock, with `--realtime`, block n is made at the start plus n `BufferSize` /
`SampleRate` seconds, so it does not drift; up to a second behind, it makes up for what it missed,
and what is further back is left out.)",
};

}  // namespace

const TPublishedTable& TQSCommonGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonGen", .Text = CommonGenText},
                      &TQSBasicCommonGen::Published())
          .Property(SampleRateInfo, &TQSCommonGen::SampleRate, &TQSCommonGen::SetSampleRate);
  return Table;
}

void TQSCommonGen::SetSampleRate(double AValue) {
  NotifySetter(SampleRateInfo, FSampleRate, AValue, [this] {
    if (IsRunning()) SetRate(FSampleRate);
  });
}

void TQSCommonGen::IntStartStream() {
  TQSBasicCommonGen::IntStartStream();
  FClockCredit = 0.0;
  FDropped = 0.0;
  StartStream();
}

TObject* TQSCommonGen::RequestPump() {
  const double Blocks = GetSampleRate() / static_cast<double>(GetBufferSize());
  const auto Request = MakeRef<TKLPumpRequestOperation>(TQSBasicCommonGen::RequestPump(), ptMaster,
                                                        PumpPriority(), Blocks);
  NotifyOutputPins(*Request);
  return Request->Pump;
}

// A tick without a count, or one of a stream whose rate nobody told, makes one block. The lock is
// left between the blocks of a longer row, so that a stop does not have to wait for its end.
void TQSCommonGen::Clock(std::int32_t ASamples) {
  const double Rate = FClockRate;
  if (ASamples < 0) return;
  if (ASamples == 0 || !(Rate > 0.0)) return IntPump();
  TStream Current = 0;
  {
    const ILockSection Section = WriteLock();
    Current = Stream();
    FClockCredit = std::min(FClockCredit + ASamples * (FSampleRate / Rate),
                            std::numeric_limits<double>::max());
  }
  for (std::int32_t Made = 0;; ++Made) {
    const ILockSection Section = WriteLock();
    if (!OnStream(Current) || !MakeBlockOnCredit(Made)) return;
  }
}

// Inside the lock: one block of a tick that has made AMade so far, if it has another to make.
bool TQSCommonGen::MakeBlockOnCredit(std::int32_t AMade) {
  const double Size = GetBufferSize();
  if (FClockCredit < Size) return false;
  if (AMade == MostBlocksPerTick) {
    const double Rest = std::fmod(FClockCredit, Size);
    FDropped = FDropped + (FClockCredit - Rest);
    FClockCredit = Rest;
    return false;
  }
  FClockCredit -= Size;
  IntPump();
  return true;
}

std::vector<std::string> TQSCommonGen::Remarks() const {
  if (Dropped() == 0.0) return {};
  return {"a tick asked for more than " + NumberText(MostBlocksPerTick) + " blocks; " +
          NumberText(Dropped()) +
          " samples were left out; look at the rates of what ticks and of what is ticked"};
}

// --- TQSCommonBufferGen ---

const TPublishedTable& TQSCommonBufferGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonBufferGen"}, &TQSCommonGen::Published())
          .Property(BufferSizeInfo, &TQSCommonBufferGen::BufferSize,
                    &TQSCommonBufferGen::SetBufferSize)
          .Event("OnStart", &TQSCommonBufferGen::SetOnStart, {},
                 "The stream has begun and its sinks know.");
  return Table;
}

void TQSCommonBufferGen::SetBufferSize(std::int32_t AValue) {
  NotifySetter(BufferSizeInfo, FBufferSize, AValue);
}

void TQSCommonBufferGen::RefuseMemory(std::int64_t ABytes, std::string_view AAdvice) const {
  throw EQSException(Describe() + ": there is no memory for a block of " + NumberText(ABytes) +
                     " bytes; " + std::string(AAdvice));
}

// --- TQSCommonBaseRealGen ---

void TQSCommonBaseRealGen::IntStart() {
  TQSCommonBufferGen::IntStart();
  FValues = nullptr;
}

void TQSCommonBaseRealGen::GenerateFloat(double& AValue) {
  if (!FValues || FValueIndex >= FValues->GetSize()) {
    bool Populated = true;
    bool Finished = false;
    FValues = NewBlock();
    FValueIndex = 0;
    Generate(FValues, Populated, Finished);
  }
  AValue = FValues->GetItem(FValueIndex++);
}

TRef<IQSRealBuffer> TQSCommonBaseRealGen::NewBlock() {
  const std::int32_t Size = GetBufferSize();
  try {
    return IQSRealBuffer::CreateSize(Size);
  } catch (const std::bad_alloc&) {
    RefuseMemory(Size * std::int64_t{sizeof(double)},
                 "BufferSize is " + NumberText(Size) + ", a smaller one takes less");
  }
}

// --- TQSCommonRealGen ---

TQSCommonRealGen::TQSCommonRealGen(TConstruct AConstruct)
    : TQSCommonBaseRealGen(AConstruct), FOutputPin({*this, FLock}, DispatchEvent()) {
  FOutputPin.AddFunctionSource(ClockInputPin());
}

const TPublishedTable& TQSCommonRealGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonRealGen"}, &TQSCommonBufferGen::Published())
          .Pin("OutputPin", &TQSCommonRealGen::OutputPin, "The generated stream.", true);
  return Table;
}

TKLNotifyResult TQSCommonRealGen::NotifyOutputPins(IKLNotifyOperation& AOperation) {
  return FOutputPin.Notify(AOperation);
}

void TQSCommonRealGen::IntPump() {
  const ILockSection Section = WriteLock();
  if (!MayPump()) return;
  const TStream Current = Stream();
  if (FOutputPin.IsConnected() && !FOutputPin.HasBlockSinks()) {
    for (std::int32_t I = GetBufferSize(); I > 0 && MayPump(); --I) {
      double Value = 0.0;
      GenerateFloat(Value);
      FOutputPin.SubmitReal(Value);
    }
    return;
  }
  bool Populated = true;
  bool Finished = false;
  auto Signal = NewBlock();
  Generate(Signal, Populated, Finished);
  if (Populated) FOutputPin.SubmitBuffer(std::move(Signal));
  if (Finished) EndStream(Current);
}

}  // namespace tessalune
