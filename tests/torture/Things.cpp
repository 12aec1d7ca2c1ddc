// The kinds of things: components of the library and of the torture's own, and pins of a host.
#include "World.h"

#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSValuePins.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>

#include <functional>
#include <utility>

namespace tessalune::torture {
namespace {

// A handler for any event.
auto Handler(const TPlace& APlace) {
  return [APlace](auto&&...) { World().Handle(APlace); };
}

std::shared_ptr<TLedger> NewLedger(const char* AName, const TPlace& APlace) {
  return std::make_shared<TAlive<TLedger>>(AName, APlace.Ground);
}

double NextSource() {
  static std::atomic<std::uint32_t> Last{0};
  return SourceStep * ++Last + 1.0;
}

// A block whose samples go on from ANext.
void Number(TQSRealBuffer& ABlock, double& ANext) {
  double* Samples = ABlock.Write();
  for (std::int32_t I = 0; I < ABlock.GetSize(); ++I) Samples[I] = ANext++;
}

// --- inputs ---

// What an input does with an operation. By value: the pin may end in here.
TKLNotifyResult Hear(std::shared_ptr<TLedger> ALedger, TPlace APlace, TKLBasicPin& ASender,
                     IKLNotifyOperation& AOperation) {
  using TWord = TLedger::TWord;
  if (AOperation.IsType<TKLPumpRequestOperation>()) {
    if (ASender.Owner() != nullptr && Chance().OneIn(4)) {
      AOperation.GetInstance<TKLPumpRequestOperation>().Claim(*ASender.Owner(), ptMaster, 1);
    }
  } else if (AOperation.IsType<TKLStartOperation>()) {
    TLedger::TCall Call(ALedger, TWord::Start);
    try {
      World().Handle(APlace);
    } catch (...) {
      Call.Refused();
      throw;
    }
  } else if (AOperation.IsType<TKLStopOperation>()) {
    const TLedger::TCall Call(ALedger, TWord::Stop);
    World().Handle(APlace);
  } else if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    const TLedger::TCall Call(ALedger, TWord::Block,
                              AOperation.GetInstance<TKLSuppliedBufferOperation>().Value);
    World().Handle(APlace);
  } else if (AOperation.IsType<TKLSuppliedOperation>()) {
    const TLedger::TCall Call(ALedger, TWord::Value);
    World().Handle(APlace);
  }
  return {nrDataChanged};
}

TKLNotifyEvent HearingEvent(const std::shared_ptr<TLedger>& ALedger, const TPlace& APlace) {
  return [ALedger, APlace](TKLBasicPin& ASender, TKLBasicPin*, const TGUID&,
                           IKLNotifyOperation& AOperation,
                           TKLNotifyState) { return Hear(ALedger, APlace, ASender, AOperation); };
}

// An input with a ledger.
template <class TPin>
std::unique_ptr<TPin> NewInput(const char* AName, const TPlace& APlace, TKLPinOwner AOwner = {}) {
  const auto Ledger = NewLedger(AName, APlace);
  auto Pin = std::make_unique<TPin>(std::move(AOwner), HearingEvent(Ledger, APlace));
  KnowPin(*Pin, Ledger);
  return Pin;
}

// An input of the host's own.
class TSinkThing : public TThing {
 public:
  using TThing::TThing;
  std::vector<TKLBasicPin*> Sinks() override { return {FPin.get()}; }
  void Do(TDeed) override {}

 private:
  // Inputs of single values change how a generator makes its blocks, in the middle of one too, so
  // they stay where order is not checked.
  std::unique_ptr<TKLBasicPin> NewPin() {
    switch (Chance().Below(Place.Ground == TGround::Wild ? 4 : 3)) {
      case 0:
        return NewInput<TQSKLBinarySinkPin>("input", Place);
      case 1:
        return NewInput<TQSKLComboRealSinkPin>("input", Place);
      case 3:
        return NewInput<TKLRealSinkPin>("input", Place);
      default:
        return NewInput<TQSKLRealSinkPin>("input", Place);
    }
  }
  const std::unique_ptr<TKLBasicPin> FPin = NewPin();
};

// --- sources ---

// An output of the host's own, which the host uses on one thread at a time.
class TFeedThing : public TThing {
 public:
  using TThing::TThing;
  std::vector<TKLBasicPin*> Sources() override { return {&FPin}; }
  void Do(TDeed ADeed) override {
    if (FBusy.test_and_set()) return;
    const std::unique_ptr<std::atomic_flag, void (*)(std::atomic_flag*)> Done(
        &FBusy, [](std::atomic_flag* ABusy) { ABusy->clear(); });
    if (ADeed == TDeed::Start && !FStarted) {
      FStarted = true;
      try {
        FPin.Notify(MakeRef<TKLStartSampleRateOperation>(1000.0));
      } catch (...) {
        Stop();
        throw;
      }
    } else if (ADeed == TDeed::Stop) {
      Stop();
    } else if (ADeed == TDeed::Pump && FStarted) {
      for (int I = 0; I < 8; ++I) {
        auto Block = TQSRealBuffer::CreateSize(8);
        Number(*Block, FNext);
        FPin.SubmitBuffer(std::move(Block));
      }
    }
  }

 private:
  void Stop() {
    if (std::exchange(FStarted, false)) FPin.EndStop();
  }

  TQSKLRealSourcePin FPin{TKLPinOwner{}};
  std::atomic_flag FBusy;
  bool FStarted = false;
  double FNext = NextSource();
};

// A generator of numbered samples, which now and then says that there are no more, or fails.
class TNumberGen : public TQSCommonRealGen {
 public:
  using TQSCommonRealGen::TQSCommonRealGen;
  void SetPlace(const TPlace& APlace) { FPlace = APlace; }

 protected:
  void Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool& AFinished) override {
    if (FPlace.Ground != TGround::Calm && With("throw") && Chance().OneIn(400)) throw TThrown();
    Number(*ASignal, FNext);
    AFinished = Chance().OneIn(1000);
  }

 private:
  TPlace FPlace{};
  double FNext = NextSource();
};

// The clock of a source: its own or the torture's, a few thousand blocks a second, or ticks.
void SetPace(TQSCommonBufferGen& ASource) {
  constexpr std::array Sources{TQSClockSource::csAuto, TQSClockSource::csInternal,
                               TQSClockSource::csExternal};
  ASource.SetClockSource(Chance().Of(Sources));
  const auto Size = static_cast<std::int32_t>(1 + Chance().Below(32));
  ASource.SetBufferSize(Size);
  ASource.SetSampleRate(Size * (500.0 + 500.0 * static_cast<double>(Chance().Below(6))));
}

template <class T>
class TSourceThing : public TThing {
 public:
  explicit TSourceThing(const TPlace& APlace) : TThing(APlace) {
    if (Chance().OneIn(2)) FSource->SetTimeSource(World().Time());
    SetPace(*FSource);
    FSource->SetOnStart(Handler(APlace));
    FSource->SetOnStop(Handler(APlace));
  }
  std::vector<TKLBasicPin*> Sources() override { return {&FSource->OutputPin()}; }
  // A tick needs the lock of whoever makes it and that of the ticked one, so circles of locks may
  // refuse it; on calm ground nothing is refused.
  std::vector<TKLBasicPin*> Sinks() override {
    if (Place.Ground == TGround::Calm) return {};
    return {&FSource->ClockInputPin()};
  }
  TComponent* Component() override { return FSource.get(); }
  void Do(TDeed ADeed) override {
    switch (ADeed) {
      case TDeed::Start:
        return FSource->Start();
      case TDeed::Stop:
        return FSource->Stop();
      case TDeed::Pump:
        for (int I = 0; I < 8 && FSource->Pump(); ++I) {
        }
        return;
      case TDeed::Enable:
        return FSource->SetEnabled(!Chance().OneIn(3));
      case TDeed::Set:
        SetPace(*FSource);
        FSource->SetPumpPriority(static_cast<std::uint32_t>(Chance().Below(3)));
        FSource->SetOnStop(Chance().OneIn(2) ? TNotifyEvent(Handler(Place)) : TNotifyEvent());
        return;
      default:
        return;
    }
  }

 protected:
  const TOwned<T> FSource = Create<T>();
};

class TGeneratorThing : public TSourceThing<TAlive<TNumberGen>> {
 public:
  explicit TGeneratorThing(const TPlace& APlace) : TSourceThing(APlace) {
    FSource->SetPlace(APlace);
  }
};

class TPlayerThing : public TSourceThing<TAlive<TQSPlayer>> {
 public:
  explicit TPlayerThing(const TPlace& APlace) : TSourceThing(APlace) {
    Choose();
    FSource->SetOnProgress(Handler(APlace));
    FSource->SetOnError([APlace](TObject&, const std::string&, std::int32_t, bool& AHandled) {
      AHandled = Chance().OneIn(2);
      World().Handle(APlace);
    });
    FSource->ProgressPin().Connect(FRemote);
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Seek) {
      FSource->SetCurrentSample(static_cast<std::int64_t>(Chance().Below(3000)));
    } else if (ADeed == TDeed::Value) {
      FRemote.SetValue(static_cast<std::int64_t>(Chance().Below(3000)));
    } else {
      if (ADeed == TDeed::Set) Choose();
      TSourceThing::Do(ADeed);
    }
  }

 private:
  void Choose() {
    constexpr std::array Files{"zeros", "zeros", "few", "missing"};
    constexpr std::array Modes{TQSPlayerMode::pmStop, TQSPlayerMode::pmRepeat,
                               TQSPlayerMode::pmZero};
    FSource->SetFileName(World().File(Chance().Of(Files)));
    FSource->SetMode(Chance().Of(Modes));
    FSource->SetSavedBufferSizes(Chance().OneIn(4));
  }

  TKLInt64TimeRangedStatePin FRemote{TKLPinOwner{},
                                     [Place = Place](std::int64_t) { World().Handle(Place); }};
};

// --- filters ---

// Passes on what it gets, or turns its sign; keeps a ledger.
class TLedgerFilter : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;

  void SetPlace(const TPlace& APlace, bool AEndsItself = false) {
    FPlace = APlace;
    FEndsItself = AEndsItself;
    FLedger = NewLedger("filter", APlace);
    KnowPin(InputPin(), FLedger);
    Threading().SetOnQueueFull(Handler(APlace));
  }

 protected:
  bool CanInline() override { return FInline; }
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override {
    const auto Inherited = [&] {
      return TQSCommonRealFilter::SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
    };
    if (AOperation.IsType<TKLStopOperation>()) {
      const TLedger::TCall Call(FLedger, TLedger::TWord::Stop);
      return Inherited();
    }
    if (!AOperation.IsType<TKLStartOperation>()) return Inherited();
    TLedger::TCall Call(FLedger, TLedger::TWord::Start);
    try {
      return Inherited();
    } catch (...) {
      Call.Refused();
      throw;
    }
  }
  void InternalOperation(const TRef<IQSRealBuffer>& AIn, TRef<IQSRealBuffer>& AOut, bool ADoProcess,
                         bool& ASend) override {
    const TLedger::TCall Call(FLedger, TLedger::TWord::Block, AIn);
    World().Handle(FPlace);
    if (FEndsItself && Chance().OneIn(200)) TComponentEnd()(this);
    TQSCommonRealFilter::InternalOperation(AIn, AOut, ADoProcess, ASend);
  }
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AIn, TRef<IQSRealBuffer>& AOut,
                               bool&) override {
    if (!FTurns) return;
    const double* In = AIn->Read();
    double* Out = AOut->Write();
    for (std::int32_t I = 0; I < AIn->GetSize(); ++I) Out[I] = -In[I];
  }

 private:
  TPlace FPlace{};
  bool FEndsItself = false;
  const bool FTurns = Chance().OneIn(2);
  const bool FInline = Chance().OneIn(2);
  std::shared_ptr<TLedger> FLedger;
};

void SetThreading(TLedgerFilter& AFilter, TGround AGround) {
  constexpr std::array Priorities{TThreadPriority::tpNormal, TThreadPriority::tpLower};
  auto& Threading = AFilter.Threading();
  const bool Drops = AGround != TGround::Calm && Chance().OneIn(3);
  Threading.Queue().SetSize(static_cast<std::uint32_t>(1 + Chance().Below(4)));
  Threading.Queue().SetFullMode(Drops ? TQSQueueFullMode::fmDropData : TQSQueueFullMode::fmBlock);
  Threading.SetEnabled(!Chance().OneIn(3));
  Threading.SetPriority(Chance().Of(Priorities));
}

class TFilterThing : public TThing {
 public:
  explicit TFilterThing(const TPlace& APlace) : TThing(APlace) {
    FFilter->SetPlace(APlace);
    if (Chance().OneIn(2)) SetThreading(*FFilter, APlace.Ground);
  }
  std::vector<TKLBasicPin*> Sources() override { return {&FFilter->OutputPin()}; }
  std::vector<TKLBasicPin*> Sinks() override { return {&FFilter->InputPin()}; }
  TComponent* Component() override { return FFilter.get(); }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Threading) SetThreading(*FFilter, Place.Ground);
    if (ADeed == TDeed::Enable) FFilter->SetEnabled(Chance().OneIn(2));
    if (ADeed == TDeed::Set) FFilter->Threading().SetOnQueueFull(Handler(Place));
  }

 private:
  const TOwned<TAlive<TLedgerFilter>> FFilter = Create<TAlive<TLedgerFilter>>();
};

class TLoggerThing : public TThing {
 public:
  explicit TLoggerThing(const TPlace& APlace) : TThing(APlace) {
    Choose();
    FLogger->SetOnProgress(Handler(APlace));
    FLogger->SetOnFileClose(Handler(APlace));
    FLogger->SetOnError([APlace](TObject&, const std::string&, std::int32_t, bool& AHandled) {
      AHandled = Chance().OneIn(2) || APlace.Ground == TGround::Calm;
      World().Handle(APlace);
    });
  }
  std::vector<TKLBasicPin*> Sinks() override { return {&FLogger->InputPin()}; }
  TComponent* Component() override { return FLogger.get(); }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Enable) FLogger->SetEnabled(Chance().OneIn(2));
    if (ADeed != TDeed::Set) return;
    Choose();
    if (Chance().OneIn(2)) FLogger->Log(TQSRealBuffer::CreateSize(4));
  }

 private:
  void Choose() {
    const bool Fails = Chance().OneIn(6);
    FLogger->SetFileName(World().File(Fails ? "missing/log" : "log" + std::to_string(Place.Slot)));
    FLogger->SetCeiling(static_cast<std::int64_t>(1) << (8 + Chance().Below(12)));
    FLogger->SetSaveBufferSizes(Chance().OneIn(2));
  }

  const TOwned<TAlive<TQSLogger>> FLogger = Create<TAlive<TQSLogger>>();
};

// --- a component with a list of inputs, with outputs of values, and with components of its own ---

class TGroup : public TLockComponent {
 public:
  explicit TGroup(TConstruct AConstruct) : TLockComponent(AConstruct) {}
  TPlace Place{};
  TKLRealSourcePin Value{{*this, FLock}};
  TKLInt64TimeRangedStatePin State{{*this, FLock}, [this](std::int64_t) { World().Handle(Place); }};
  // Made when the place is known, which the first input has to know too.
  std::unique_ptr<TKLPinListOwner> Inputs;

  void Begin(const TPlace& APlace) {
    constexpr TPropertyInfo<std::uint32_t> Row{
        .Name = "Inputs", .Default = 1, .Bounds = Between(1U, 4U)};
    Place = APlace;
    Inputs = std::make_unique<TKLPinListOwner>(TKLPinOwner{*this, FLock}, Row, [this] {
      return NewInput<TQSKLRealSinkPin>("list input", Place, {*this, FLock});
    });
  }
};

class TGroupThing : public TThing {
 public:
  explicit TGroupThing(const TPlace& APlace) : TThing(APlace) { FGroup->Begin(APlace); }
  // Values come without a start, so where order is checked they go nowhere.
  std::vector<TKLBasicPin*> Sources() override {
    if (Place.Ground != TGround::Wild) return {};
    return {&FGroup->Value};
  }
  TComponent* Component() override { return FGroup.get(); }
  void WatchEnd(TSilence& ASilence) override {
    TThing::WatchEnd(ASilence);
    for (std::size_t I = 0; I < FGroup->Inputs->Count(); ++I) ASilence.Watch((*FGroup->Inputs)[I]);
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Own) return Own();
    if (ADeed == TDeed::Value) {
      FGroup->Value.SetValue(1.0);
      FGroup->State.SetValue(static_cast<std::int64_t>(Chance().Below(9)));
    }
    if (ADeed != TDeed::List && ADeed != TDeed::Pump) return;
    if (FBusy.test_and_set()) return;  // whoever has a list's pin must not see it end
    try {
      if (ADeed == TDeed::List) {
        List();
      } else {
        static_cast<TQSKLRealSinkPin&>(AnyInput()).MasterPump(*FGroup);
      }
    } catch (...) {
      FBusy.clear();
      throw;
    }
    FBusy.clear();
  }

 private:
  TKLPin& AnyInput() { return (*FGroup->Inputs)[Chance().Below(FGroup->Inputs->Count())]; }

  void List() {
    const auto Count = static_cast<std::uint32_t>(1 + Chance().Below(4));
    TSilence Silence(Place.Ground);
    for (std::size_t I = Count; I < FGroup->Inputs->Count(); ++I)
      Silence.Watch((*FGroup->Inputs)[I]);
    FGroup->Inputs->SetCount(Count);
    Silence.Hold();
    // The index may be one too high, and is refused then.
    World().ConnectSource(Place.Ground, (*FGroup->Inputs)[Chance().Below(Count + 1)]);
  }

  void Own() {
    constexpr std::array Names{"one", "two", "three", "no name!"};
    const std::string Name = Chance().Of(Names);
    static_cast<void>(FGroup->FindComponent(Name));
    if (FGroup->Components().size() >= 6) return;
    auto New = Create<TAlive<TLedgerFilter>>();
    const bool EndsItself = Place.Ground == TGround::Wild && With("end-inside");
    New->SetPlace(Place, EndsItself);
    SetThreading(*New, Place.Ground);
    auto& Child = *New;
    FGroup->InsertComponent(std::move(New));
    // From here on it may end at any time if it does so by itself, so it is linked and named by a
    // call that is queued for it.
    MainThread().Execute(Child, [&Child, Name, EndsItself, Ground = Place.Ground] {
      const TStay Stay;
      World().ConnectSource(Ground, Child.InputPin());
      Child.SetName(Name);
      if (EndsItself && Chance().OneIn(2)) TComponentEnd()(&Child);
    });
  }

  const TOwned<TAlive<TGroup>> FGroup = Create<TAlive<TGroup>>();
  std::atomic_flag FBusy;
};

}  // namespace

THeld MakeThing(TKind AKind, const TPlace& APlace) {
  const auto Make = [&]() -> TThing* {
    switch (AKind) {
      case TKind::Generator:
        return new TAlive<TGeneratorThing>(APlace);
      case TKind::Player:
        return new TAlive<TPlayerThing>(APlace);
      case TKind::Feed:
        return new TAlive<TFeedThing>(APlace);
      case TKind::Filter:
        return new TAlive<TFilterThing>(APlace);
      case TKind::Logger:
        return new TAlive<TLoggerThing>(APlace);
      case TKind::Sink:
        return new TAlive<TSinkThing>(APlace);
      default:
        return new TAlive<TGroupThing>(APlace);
    }
  };
  return {Make(), [](TThing* AThing) { World().LetGo(AThing); }};
}

}  // namespace tessalune::torture
