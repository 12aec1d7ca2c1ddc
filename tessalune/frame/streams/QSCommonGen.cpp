#include <tessalune/frame/streams/QSCommonGen.h>

#include <cmath>
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
    .Doc = "Priority of the source's own claim to drive the graph, against sinks that claim it."};
constexpr TPropertyInfo<TQSClockSource> ClockSourceInfo{
    .Name = "ClockSource",
    .Default = TQSClockSource::csAuto,
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
                                                     .Bounds = AtLeast(1),
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
  TClockTime At(std::int64_t ACount) const {
    return FBase + TClockTime(std::llround(static_cast<double>(ACount) * FPeriod * 1e9));
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
  TClockThread(TQSBasicCommonGen& AGen, TRef<IClock> AClock, TRef<TClockBook> ABook)
      : FGen(AGen), FGate(&AGen.Gate()), FClock(std::move(AClock)), FBook(std::move(ABook)) {}

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
      MakeBlockUnlessEnded();
    } catch (...) {
      ReportUnhandledException(&FGen);
      RunReported(&FGen, [this] { FGen.Stop(); });
    }
    return static_cast<double>(FGen.GetBufferSize()) / FGen.GetSampleRate();
  }

  // The end of the stream comes under the same lock, so a thread that was told to end does not put
  // a block into the stream that follows.
  void MakeBlockUnlessEnded() {
    const ILockSection Section = FGen.WriteLock();
    if (!FEnded) FGen.IntPump();
  }

  TQSBasicCommonGen& FGen;
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
  if (FIsRunning || !GetCanStart()) return;
  IntStart();
  InTurn(&TQSBasicCommonGen::TellStart);
}

// Inside the lock: a start or a stop has taken effect and is told as soon as the lock has been left
// and those before it have been told.
void TQSBasicCommonGen::InTurn(void (TQSBasicCommonGen::*ATell)(std::uint64_t)) {
  FIsTold = false;
  const std::uint64_t Turn = FLastTurn = FTurns->Take();
  FLock->AfterRelease([this, ATell, Turn, Turns = FTurns, Door = TRef<TCallGate>(&Gate())] {
    Turns->Run(Turn, [this, ATell, Turn, Door] {
      const TCallScope Call(*Door);
      if (Call) (this->*ATell)(Turn);
    });
  });
}

void TQSBasicCommonGen::TellStart(std::uint64_t ATurn) {
  try {
    {
      const ILockSection Section = ReadLock();
      if (FLastTurn != ATurn) return;  // stopped meanwhile
    }
    IntStartStream();
    {
      const ILockSection Section = WriteLock();
      if (!FIsRunning || FLastTurn != ATurn) return;
      FIsTold = true;
    }
    RequestPump();
    StartPump();
  } catch (...) {
    Stop();
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

void TQSBasicCommonGen::RequestPump() { SetPump(this); }

void TQSBasicCommonGen::StartPump() {
  NotifyOutputPins(*MakeRef<TKLStartPumpOperation>(FMasterPump));
  if (FIsPump && !FExternal) StartClock();
}

void TQSBasicCommonGen::StartClock() {
  StopPump();
  const ILockSection Section = WriteLock();
  if (!FIsRunning) return;
  auto Book = MakeRef<TClockBook>();
  auto Thread = MakeRef<TClockThread>(*this, FTimeSource, Book);
  const std::lock_guard Lock(FClockGenMutex);
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
  if (!Call || !FIsRunning) return;
  const ILockSection Section = StopLock();
  if (!FIsRunning) return;
  StreamStop();
  InTurn(&TQSBasicCommonGen::TellStop);
}

void TQSBasicCommonGen::StreamStop() {
  const ILockSection Section = StopLock();
  FIsRunning = false;
  StopPump();
}

void TQSBasicCommonGen::PostStop() {
  NotifyOutputPins(*MakeRef<TKLStopOperation>());
  FireStop();
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
  {
    const ILockSection Section = WriteLock();
    if (APump != FMasterPump || AOperationID == FLastOperationID) return;
    FLastOperationID = AOperationID;
  }
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
    Stop();
    return {};
  }
  if (AOperation.IsType<TKLQueryStreamOperation>() && !GetCanStart()) NotifyIgnoreOutputPin();
  return NotifyOutputPins(AOperation);
}

TKLNotifyResult TQSBasicCommonGen::ClockDispatch(IKLNotifyOperation& AOperation) {
  if (!ClockIsExternal()) return {};
  if (AOperation.IsType<TKLStartOperation>()) {
    FClockRate = AOperation.IsType<TKLStartSampleRateOperation>()
                     ? AOperation.GetInstance<TKLStartSampleRateOperation>().Rate
                     : 0.0;
    TryStart();
  } else if (AOperation.IsType<TKLStopOperation>()) {
    Stop();
  } else if (AOperation.IsType<TKLClockOperation>() && FIsPump && FExternal) {
    Clock(AOperation.GetInstance<TKLClockOperation>().Samples);
  }
  return {};
}

void TQSBasicCommonGen::NotifyIgnoreOutputPin() {
  NotifyOutputPins(*MakeRef<TKLIgnoreStreamOperation>());
}

// --- TQSCommonGen ---

const TPublishedTable& TQSCommonGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCommonGen"}, &TQSBasicCommonGen::Published())
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
  {
    const ILockSection Section = WriteLock();
    FClockCredit = 0.0;
  }
  StartStream();
  if (IsRunning()) NotifyOutputPins(*MakeRef<TKLStartSampleRateOperation>(FSampleRate));
}

void TQSCommonGen::RequestPump() {
  TQSBasicCommonGen::RequestPump();
  const double Blocks = GetSampleRate() / static_cast<double>(GetBufferSize());
  const auto Request = MakeRef<TKLPumpRequestOperation>(this, ptMaster, PumpPriority(), Blocks);
  NotifyOutputPins(*Request);
  SetPump(Request->Pump);
}

// A tick without a count, or one of a stream whose rate nobody told, makes one block.
void TQSCommonGen::Clock(std::int32_t ASamples) {
  const double Rate = FClockRate;
  const ILockSection Section = WriteLock();
  if (ASamples == 0 || !(Rate > 0.0)) return IntPump();
  FClockCredit += ASamples * FSampleRate / Rate;
  while (IsRunning() && FClockCredit >= GetBufferSize()) {
    FClockCredit -= GetBufferSize();
    IntPump();
  }
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

void TQSCommonBufferGen::LimitBlock(std::int64_t ASamples) {
  if (ASamples < FBufferSize) SetBufferSize(static_cast<std::int32_t>(ASamples));
}

void TQSCommonBufferGen::StartPump() {
  FireEvent(FOnStart);
  if (IsRunning()) TQSCommonGen::StartPump();
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
    FValues = IQSRealBuffer::CreateSize(GetBufferSize());
    FValueIndex = 0;
    Generate(FValues, Populated, Finished);
  }
  AValue = FValues->GetItem(FValueIndex++);
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
  auto Signal = IQSRealBuffer::CreateSize(GetBufferSize());
  Generate(Signal, Populated, Finished);
  if (Populated) FOutputPin.SubmitBuffer(std::move(Signal));
  if (Finished) Stop();
}

}  // namespace tessalune
