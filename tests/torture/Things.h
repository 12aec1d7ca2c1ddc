// The kinds of things: components of the library and of the torture's own, and pins of a host.
#pragma once

#include "Ledger.h"

#include <tessalune/frame/runtime/QSClock.h>
#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/frame/streams/QSCommonFilter.h>
#include <tessalune/frame/streams/QSValuePins.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>

namespace tessalune::torture {

enum class TKind : std::uint8_t { Generator, Player, Feed, Filter, Logger, Sink, Group, Palette };
// What can be done to a thing beside links and its end; who cannot do it does nothing.
enum class TDeed : std::uint8_t {
  Start,
  Stop,
  Pump,
  Set,
  Enable,
  Threading,
  Seek,
  Value,
  List,
  Own
};

// Where a thing stands: handlers keep this, and no pointer to the thing.
struct TPlace {
  TGround Ground;
  std::size_t Slot;
  std::uint64_t Id;  // of this thing, not of the next one in the slot
};

// A component, or a pin of the host's own, with what the torture knows of it. Whoever uses a thing
// shares it; the last to let go of it ends it. So no call of a host's on a component begins when
// its end has begun, but links, ticks, queued calls and handlers go on all the while.
struct TThing {
  explicit TThing(const TPlace& APlace) : Place(APlace) {}
  TThing(const TThing&) = delete;
  virtual ~TThing() = default;
  virtual void Do(TDeed ADeed) = 0;

  const TPlace Place;
  // What there is of these is good while the thing is held.
  TKLBasicPin* Source = nullptr;
  TKLBasicPin* Sink = nullptr;
  TComponent* Component = nullptr;
  TKLPinListOwner* Inputs = nullptr;
};

// On calm and rough ground nothing ends inside a handler: what its last holder lets go of there is
// buried, and a worker ends it.
using THeld = std::shared_ptr<TThing>;

// What the torture does in a handler that came for the thing at APlace: maybe an operation, maybe
// the thing's end, maybe an exception.
void Handle(const TPlace& APlace);
// Stays inside a component that the frame has called while ADo runs.
void Inside(const std::function<void()>& ADo);
// Links a source of AGround to ASink.
void ConnectSource(TGround AGround, TKLBasicPin& ASink);

// Thrown by handlers on purpose.
struct TThrown : std::runtime_error {
  TThrown() : std::runtime_error("thrown on purpose") {}
};

// The folder of this run.
inline std::string Folder;
// The clock that the torture drives.
inline const TRef<TManualClock>& Time() {
  static const auto Clock = MakeRef<TManualClock>();
  return Clock;
}

// Counts the objects of a class that are alive, the library's components among them.
inline std::atomic<int> Alive{0};
template <class T>
struct TAlive : T {
  template <class... TArgs>
  explicit TAlive(TArgs&&... AArgs) : T(std::forward<TArgs>(AArgs)...) {
    ++Alive;
  }
  ~TAlive() override { --Alive; }
};

// A handler for any event.
auto Handler(const TPlace& APlace) {
  return [APlace](auto&&...) { Handle(APlace); };
}

// One for errors, which on calm ground must be taken.
auto ErrorHandler(const TPlace& APlace, bool AAlways) {
  return [=](TObject&, const std::string&, std::int32_t, bool& AHandled) {
    AHandled = AAlways || Chance().OneIn(2);
    Handle(APlace);
  };
}

// --- inputs ---

// On wild ground an input now and then stops what comes, or asks for more. (What stops a source
// that does not run is told to the other inputs of that one, which is no order to be checked.)
void SendUp(const TPlace& APlace, TKLBasicPin& AInput, TWord AWord) {
  if (APlace.Ground != Wild || (AWord != wdStart && AWord != wdBlock)) return;
  if (With("stop") && Chance().OneIn(50)) {
    AInput.Notify(MakeRef<TKLStopOperation>());
  } else if (With("pump") && Chance().OneIn(50)) {
    AInput.Notify(MakeRef<TKLMasterPumpOperation>(AInput.Owner()));
  }
}

// What an input does with an operation. By value: the pin may end in here.
TKLNotifyResult Hear(std::shared_ptr<TLedger> ALedger, TPlace APlace, TKLBasicPin& ASender,
                     IKLNotifyOperation& AOperation) {
  const TWord Word = WordOf(AOperation);
  TRef<IQSData> Data;
  if (Word == wdBlock) Data = AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
  if (Word != wdOther) {
    ALedger->Call(Word, Data, [&] {
      SendUp(APlace, ASender, Word);
      Handle(APlace);
    });
  } else if (AOperation.IsType<TKLPumpRequestOperation>()) {
    if (ASender.Owner() != nullptr && Chance().OneIn(4)) {
      AOperation.GetInstance<TKLPumpRequestOperation>().Claim(*ASender.Owner(), ptMaster, 1);
    }
  }
  return {nrDataChanged};
}

// An input with a ledger.
template <class TPin>
std::unique_ptr<TKLPin> NewInput(const char* AName, const TPlace& APlace, TKLPinOwner AOwner) {
  const auto Ledger = std::make_shared<TAlive<TLedger>>(AName, APlace.Ground);
  auto Pin = std::make_unique<TPin>(
      std::move(AOwner), [Ledger, APlace](TKLBasicPin& ASender, TKLBasicPin*, const TGUID&,
                                          IKLNotifyOperation& AOperation, TKLNotifyState) {
        return Hear(Ledger, APlace, ASender, AOperation);
      });
  TLedger::Know(*Pin, Ledger);
  return Pin;
}

// An input of many links, each with an order of its own: without a ledger.
std::unique_ptr<TKLPin> NewMultiInput(const char*, const TPlace& APlace, TKLPinOwner AOwner) {
  return std::make_unique<TKLClockMultiSinkPin>(
      std::move(AOwner), [APlace](TKLBasicPin& ASender, TKLBasicPin*, const TGUID&,
                                  IKLNotifyOperation& AOperation, TKLNotifyState) {
        SendUp(APlace, ASender, WordOf(AOperation));
        Handle(APlace);
        return TKLNotifyResult{};
      });
}

// An input of the host's own. Inputs of single values change how a generator makes its blocks, in
// the middle of one too, so they stay where order is not checked.
struct TSinkThing : TThing {
  explicit TSinkThing(const TPlace& APlace) : TThing(APlace) {
    constexpr std::array News{NewInput<TQSKLBinarySinkPin>, NewInput<TQSKLComboRealSinkPin>,
                              NewInput<TQSKLRealSinkPin>, NewMultiInput, NewInput<TKLRealSinkPin>};
    FPin = News[Chance().Below(3UL + APlace.Ground)]("input", APlace, {});
    Sink = FPin.get();
  }
  void Do(TDeed) override {}

 private:
  std::unique_ptr<TKLPin> FPin;
};

// --- sources ---

double NextSource() {
  static std::atomic<std::uint32_t> Last{0};
  return SourceStep * ++Last + 1.0;
}

// A block whose samples go on from ANext.
void Number(TQSRealBuffer& ABlock, double& ANext) {
  double* Samples = ABlock.Write();
  for (std::int32_t I = 0; I < ABlock.GetSize(); ++I) Samples[I] = ANext++;
}

// An output of the host's own, which the host uses on one thread at a time.
struct TFeedThing : TThing {
  explicit TFeedThing(const TPlace& APlace) : TThing(APlace) { Source = &FPin; }
  void Do(TDeed ADeed) override {
    if (FBusy.test_and_set()) return;
    const TAtEnd End{[&] { FBusy.clear(); }};
    if (ADeed == TDeed::Start && !FStarted) {
      FStarted = true;
      try {
        FPin.Notify(MakeRef<TKLStartSampleRateOperation>(1000.0));
      } catch (...) {
        Stop();
        throw;
      }
    }
    if (ADeed == TDeed::Stop) Stop();
    for (int I = 0; ADeed == TDeed::Pump && FStarted && I < 8; ++I) {
      auto Buffer = TQSRealBuffer::CreateSize(8);
      Number(*Buffer, FNext);
      FPin.SubmitBuffer(std::move(Buffer));
    }
  }

 private:
  void Stop() {
    if (std::exchange(FStarted, false)) FPin.EndStop();
  }

  TQSKLRealSourcePin FPin{TKLPinOwner{}};
  std::atomic_flag FBusy;
  std::atomic_flag FSends;
  bool FStarted = false;
  double FNext = NextSource();
};

template <class T>
struct TComponentThing : TThing {
  explicit TComponentThing(const TPlace& APlace) : TThing(APlace) { Component = Own.get(); }
  const TOwned<TAlive<T>> Own = Create<TAlive<T>>();
};

// The clock of a source: its own or the torture's, a few thousand blocks a second, or ticks.
void SetPace(TQSCommonBufferGen& ASource) {
  ASource.SetClockSource(static_cast<TQSClockSource>(Chance().Below(3)));
  const auto Size = static_cast<std::int32_t>(1 + Chance().Below(32));
  ASource.SetBufferSize(Size);
  ASource.SetSampleRate(Size * (500.0 + 500.0 * static_cast<double>(Chance().Below(6))));
}

template <class T>
struct TSourceThing : TComponentThing<T> {
  explicit TSourceThing(const TPlace& APlace) : TComponentThing<T>(APlace) {
    if (Chance().OneIn(2)) Own->SetTimeSource(Time());
    SetPace(*Own);
    Own->SetOnStart(Handler(APlace));
    Own->SetOnStop(Handler(APlace));
    this->Source = &Own->OutputPin();
    // A tick needs the lock of whoever makes it and that of the ticked one, so circles of locks may
    // refuse it; on calm ground nothing is refused.
    if (APlace.Ground != Calm) this->Sink = &Own->ClockInputPin();
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Start) Own->Start();
    if (ADeed == TDeed::Stop) Own->Stop();
    if (ADeed == TDeed::Enable) Own->SetEnabled(!Chance().OneIn(3));
    for (int I = 0; ADeed == TDeed::Pump && I < 8 && Own->Pump(); ++I) {
    }
    if (ADeed != TDeed::Set) return;
    SetPace(*Own);
    Own->SetPumpPriority(static_cast<std::uint32_t>(Chance().Below(3)));
    Own->SetOnStop(Chance().OneIn(2) ? TNotifyEvent(Handler(this->Place)) : TNotifyEvent());
  }
  using TComponentThing<T>::Own;
};

// A generator of numbered samples, which now and then says that there are no more, or fails.
class TNumberGen : public TQSCommonRealGen {
 public:
  using TQSCommonRealGen::TQSCommonRealGen;
  bool Fails = false;

 protected:
  void Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool& AFinished) override {
    if (Fails && With("throw") && Chance().OneIn(400)) throw TThrown();
    Number(*ASignal, FNext);
    AFinished = Chance().OneIn(1000);
  }

 private:
  double FNext = NextSource();
};

struct TGeneratorThing : TSourceThing<TNumberGen> {
  explicit TGeneratorThing(const TPlace& APlace) : TSourceThing(APlace) {
    Own->Fails = APlace.Ground != Calm;
  }
};

struct TPlayerThing : TSourceThing<TQSPlayer> {
  explicit TPlayerThing(const TPlace& APlace) : TSourceThing(APlace) {
    Choose();
    Own->SetOnProgress(Handler(APlace));
    Own->SetOnError(ErrorHandler(APlace, false));
    Own->ProgressPin().Connect(FRemote);
  }
  void Do(TDeed ADeed) override {
    const auto At = static_cast<std::int64_t>(Chance().Below(3000));
    if (ADeed == TDeed::Seek) Own->SetCurrentSample(At);
    if (ADeed == TDeed::Value) FRemote.SetValue(At);
    if (ADeed == TDeed::Set) Choose();
    TSourceThing::Do(ADeed);
  }

 private:
  void Choose() {
    constexpr std::array Files{"/zeros", "/zeros", "/few", "/missing"};
    Own->SetFileName(Folder + Chance().Of(Files));
    Own->SetMode(static_cast<TQSPlayerMode>(Chance().Below(3)));
    Own->SetSavedBufferSizes(Chance().OneIn(4));
  }

  TKLInt64TimeRangedStatePin FRemote{TKLPinOwner{}, Handler(Place)};
};

// --- filters ---

// Passes on what it gets, or turns its sign; keeps a ledger.
class TLedgerFilter : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;

  void SetPlace(const TPlace& APlace, bool AEndsItself = false) {
    FPlace = APlace;
    FEndsItself = AEndsItself;
    FLedger = std::make_shared<TAlive<TLedger>>("filter", APlace.Ground);
    TLedger::Know(InputPin(), FLedger);
    Threading().SetOnQueueFull(Handler(APlace));
  }
  void ChooseThreading() {
    const bool Drops = FPlace.Ground != Calm && Chance().OneIn(3);
    Threading().Queue().SetSize(static_cast<std::uint32_t>(1 + Chance().Below(4)));
    Threading().Queue().SetFullMode(Drops ? TQSQueueFullMode::fmDropData
                                          : TQSQueueFullMode::fmBlock);
    Threading().SetEnabled(!Chance().OneIn(3));
    Threading().SetPriority(Chance().OneIn(2) ? TThreadPriority::tpNormal
                                              : TThreadPriority::tpLower);
  }

 protected:
  bool CanInline() override { return FInline; }
  TKLNotifyResult SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                               const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                               TKLNotifyState AState) override {
    const auto Inherited = [&] {
      return TQSCommonRealFilter::SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
    };
    const TWord Word = WordOf(AOperation);
    if (Word != wdStart && Word != wdStop) return Inherited();
    return std::shared_ptr(FLedger)->Call(Word, nullptr, Inherited);
  }
  void InternalOperation(const TRef<IQSRealBuffer>& AIn, TRef<IQSRealBuffer>& AOut, bool ADoProcess,
                         bool& ASend) override {
    std::shared_ptr(FLedger)->Call(wdBlock, AIn, [&] {
      Handle(FPlace);
      if (FEndsItself && Chance().OneIn(200)) TComponentEnd()(this);
      TQSCommonRealFilter::InternalOperation(AIn, AOut, ADoProcess, ASend);
    });
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

struct TFilterThing : TComponentThing<TLedgerFilter> {
  explicit TFilterThing(const TPlace& APlace) : TComponentThing(APlace) {
    Own->SetPlace(APlace);
    if (Chance().OneIn(2)) Own->ChooseThreading();
    Source = &Own->OutputPin();
    Sink = &Own->InputPin();
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Threading) Own->ChooseThreading();
    if (ADeed == TDeed::Enable) Own->SetEnabled(Chance().OneIn(2));
    if (ADeed == TDeed::Set) Own->Threading().SetOnQueueFull(Handler(Place));
  }
};

struct TLoggerThing : TComponentThing<TQSLogger> {
  explicit TLoggerThing(const TPlace& APlace) : TComponentThing(APlace) {
    Choose();
    Own->SetOnProgress(Handler(APlace));
    Own->SetOnFileClose(Handler(APlace));
    Own->SetOnError(ErrorHandler(APlace, APlace.Ground == Calm));
    Sink = &Own->InputPin();
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Enable) Own->SetEnabled(Chance().OneIn(2));
    if (ADeed != TDeed::Set) return;
    Choose();
    if (Chance().OneIn(2)) Own->Log(TQSRealBuffer::CreateSize(4));
  }

 private:
  void Choose() {
    const bool Fails = Chance().OneIn(6);
    Own->SetFileName(Folder + (Fails ? "/missing/log" : "/log" + std::to_string(Place.Slot)));
    Own->SetCeiling(static_cast<std::int64_t>(1) << (8 + Chance().Below(12)));
    Own->SetSaveBufferSizes(Chance().OneIn(2));
  }
};

// --- a component with a list of inputs, with outputs of values, and with components of its own ---

struct TGroup : TLockComponent {
  explicit TGroup(TConstruct AConstruct) : TLockComponent(AConstruct) {}
  // Makes the inputs, which have to know their place.
  void Begin(const TPlace& APlace) {
    constexpr TPropertyInfo<std::uint32_t> Row{
        .Name = "Inputs", .Default = 1, .Bounds = Between(1U, 4U)};
    Place = APlace;
    Inputs.emplace(TKLPinOwner{*this, FLock}, Row, [this] {
      return NewInput<TQSKLRealSinkPin>("list input", Place, {*this, FLock});
    });
  }
  TPlace Place{};
  TKLRealSourcePin Value{{*this, FLock}};
  TKLInt64TimeRangedStatePin State{{*this, FLock}, [this](std::int64_t) { Handle(Place); }};
  std::optional<TKLPinListOwner> Inputs;
};

struct TGroupThing : TComponentThing<TGroup> {
  explicit TGroupThing(const TPlace& APlace) : TComponentThing(APlace) {
    Own->Begin(APlace);
    Inputs = &*Own->Inputs;
    // Values come without a start, so where order is checked they go nowhere.
    if (APlace.Ground == Wild) Source = &Own->Value;
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Own) OwnMore();
    if (ADeed == TDeed::Value) {
      if (FSends.test_and_set()) return;  // a source sends from one thread at a time
      const TAtEnd End{[&] { FSends.clear(); }};
      Own->Value.SetValue(1.0);
      Own->State.SetValue(static_cast<std::int64_t>(Chance().Below(9)));
    }
    if (ADeed != TDeed::List && ADeed != TDeed::Pump) return;
    if (FBusy.test_and_set()) return;  // whoever has a list's pin must not see it end
    const TAtEnd End{[&] { FBusy.clear(); }};
    if (ADeed == TDeed::List) return List();
    auto& Input = (*Inputs)[Chance().Below(Inputs->Count())];
    static_cast<TQSKLRealSinkPin&>(Input).MasterPump(*Own);
  }

 private:
  void List() {
    const auto Count = static_cast<std::uint32_t>(1 + Chance().Below(4));
    TSilence Silence(Place.Ground);
    for (std::size_t I = Count; I < Inputs->Count(); ++I) Silence.Watch((*Inputs)[I]);
    Inputs->SetCount(Count);
    Silence.Hold();
    // The index may be one too high, and is refused then.
    ConnectSource(Place.Ground, (*Inputs)[Chance().Below(Count + 1)]);
  }

  void OwnMore() {
    constexpr std::array Names{"one", "two", "three", "no name!"};
    const std::string Name = Chance().Of(Names);
    static_cast<void>(Own->FindComponent(Name));
    if (Own->Components().size() >= 6) return;
    auto New = Create<TAlive<TLedgerFilter>>();
    const bool EndsItself = Place.Ground == Wild && With("end-inside");
    New->SetPlace(Place, EndsItself);
    New->ChooseThreading();
    auto& Child = *New;
    Own->InsertComponent(std::move(New));
    // From here on it may end at any time if it does so by itself, so it is linked and named by a
    // call that is queued for it.
    MainThread().Execute(Child, [&Child, Name, EndsItself, Ground = Place.Ground] {
      Inside([&] {
        ConnectSource(Ground, Child.InputPin());
        Child.SetName(Name);
        if (EndsItself && Chance().OneIn(2)) TComponentEnd()(&Child);
      });
    });
  }

  std::atomic_flag FBusy;
  std::atomic_flag FSends;
};

}  // namespace tessalune::torture
