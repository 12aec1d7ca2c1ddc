#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/pins/KLTopology.h>
#include <tessalune/frame/runtime/QSThread.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace tessalune {

std::uint32_t NextOperationID() noexcept {
  static std::atomic<std::uint32_t> Last{0};
  std::uint32_t ID = ++Last;
  while (ID == 0) ID = ++Last;
  return ID;
}

TKLMasterPumpOperation::TKLMasterPumpOperation(TObject* APump) noexcept
    : IKLNotifyOperation(Class), Pump(APump), OperationID(NextOperationID()) {}

TKLBasicPin::TKLBasicPin(TKind AKind, TKLPinOwner AOwner, TKLDataTypes ATypes,
                         TKLNotifyEvent AEvent)
    : FKind(AKind),
      FOwner(std::move(AOwner)),
      FGate(FOwner.Component != nullptr ? TRef<TCallGate>(&FOwner.Component->Gate())
                                        : MakeRef<TCallGate>()),
      FTypes(std::move(ATypes)),
      FEvent(std::make_shared<TKLNotifyEvent>(
          AEvent ? std::move(AEvent) : [](auto&&...) { return TKLNotifyResult{}; })) {
  if (FOwner.Component == nullptr) return;
  const TKLTopology::TGuard Topology;  // others may look at the component's pins just now
  FOwner.Component->AddPart(*this);
}

TKLBasicPin::~TKLBasicPin() {
  BeginEnd();
  RunReported(nullptr, [this] { RemoveLinks(nullptr); });
  if (FOwner.Component != nullptr) {
    const TKLTopology::TGuard Topology;
    FOwner.Component->RemovePart(*this);
    for (TKLBasicPin* Pin : FDerived) {
      std::erase(Pin->FFunctionSources, this);
      std::erase(Pin->FDataTypeSources, this);
    }
    for (const auto* Sources : {&FFunctionSources, &FDataTypeSources}) {
      for (TKLBasicPin* Pin : *Sources) std::erase(Pin->FDerived, this);
    }
  } else {
    FGate->Close(TWaitKind::Host, [Kept = FEvent] {});
  }
  FLinks->Abandon();
}

void TKLBasicPin::BeginEnd() {
  const TKLTopology::TGuard Guard;
  FEnds = true;
}

std::string TKLBasicPin::Name() const {
  if (Owner() == nullptr) return {};
  for (const TPublishedPin* Row : Owner()->PublishedTable().Pins()) {
    try {
      for (std::size_t I = 0; I < Row->Count(*Owner()); ++I) {
        if (&Row->At(*Owner(), I) == this) return Row->PinName(I);
      }
    } catch (const EQSException&) {
      // A list has become shorter between the count and the pin.
    }
  }
  return {};
}

std::string TKLBasicPin::Describe() const {
  if (Owner() == nullptr) return "a pin of the host's own";
  const std::string OwnName = Name();
  return Owner()->Describe() + "." + (OwnName.empty() ? "(unpublished pin)" : OwnName);
}

// --- links ---

void TKLBasicPin::Connect(TKLBasicPin& AOther, const TKLDataType* AType) {
  TRef<TKLLink> Link;
  // What the sink does at the start may end both ends.
  const TRef<TCallGate> Gates[] = {FGate, AOther.FGate};
  const TCallScope Calls[] = {TCallScope(*Gates[0]), TCallScope(*Gates[1])};
  {
    const TKLTopology::TGuard Guard;
    if (const auto Refusal = TKLTopology::WhyNot(*this, AOther, AType)) {
      throw EQSException(*Refusal);
    }
    const auto [Source, Sink] = TKLTopology::Ends(*this, AOther);
    Link = MakeRef<TKLLink>(*Source, *Sink,
                            *TKLTopology::CommonTypes(*Source, *Sink, AType).front(), AType);
    Source->FLinks->Add(Link);
    Sink->FLinks->Add(Link);
    TKLTopology::Retype(*Link);
    Link->Turns->Take(Link, &TKLLink::Open, true);
  }
  Link->Turns->Do(*Link, &TKLLink::Open, TWaitKind::Calls);
}

std::optional<std::string> TKLBasicPin::WhyNotConnect(TKLBasicPin& AOther,
                                                      const TKLDataType* AType) {
  const TKLTopology::TGuard Guard;
  return TKLTopology::WhyNot(*this, AOther, AType);
}

void TKLBasicPin::Disconnect(TKLBasicPin& AOther) { RemoveLinks(&AOther); }

void TKLBasicPin::DisconnectAll() { RemoveLinks(nullptr); }

bool TKLBasicPin::RemoveLinks(const TKLBasicPin* AOther) {
  std::vector<TRef<TKLLink>> Links;
  {
    const TKLTopology::TGuard Guard;
    const auto IsMeant = [&](const TKLLink& ALink) {
      return AOther == nullptr || &ALink.Other(*this) == AOther;
    };
    for (const TRef<TKLLink>& Link : TKLLinkList::TLinks(FLinks->Now())) {
      if (IsMeant(*Link)) TKLTopology::TakeOff(*Link);
    }
    // Those that another thread is taking off are waited for as well.
    Links = TKLTopology::Leaving(*this, IsMeant);
  }
  const auto Kind = Owner() != nullptr ? TWaitKind::Calls : TWaitKind::Host;
  bool AllGone = true;
  std::exception_ptr Error;
  for (const TRef<TKLLink>& Link : Links) {
    try {
      AllGone = Link->Turns->Do(*Link, &TKLLink::Shut, Kind) && AllGone;
    } catch (...) {
      // All far ends are told; the first that fails speaks for them.
      if (!Error) Error = std::current_exception();
    }
  }
  if (Error) std::rethrow_exception(Error);
  return AllGone;
}

void TKLBasicPin::InputsEnd() {
  if (Direction() == TKLPinDirection::Sink) RemoveLinks(nullptr);
}

std::vector<TKLBasicPin*> TKLBasicPin::ConnectedPins() const {
  const TKLLinkList::TReader Reader(*FLinks);
  std::vector<TKLBasicPin*> Pins;
  for (const TRef<TKLLink>& Link : Reader.Links) Pins.push_back(&Link->Other(*this));
  return Pins;
}

const TKLDataType* TKLBasicPin::LinkType(const TKLBasicPin& AOther) const {
  const TKLLinkList::TReader Reader(*FLinks);
  for (const TRef<TKLLink>& Link : Reader.Links) {
    if (&Link->Other(*this) == &AOther) return Link->Type.load(std::memory_order_relaxed);
  }
  return nullptr;
}

TKLDataTypes TKLBasicPin::TypeChoice(const TKLBasicPin& AOther) const {
  const TKLTopology::TGuard Guard;
  const TKLLinkList::TReader Reader(*FLinks);
  for (const TRef<TKLLink>& Link : Reader.Links) {
    if (&Link->Other(*this) == &AOther) return TKLTopology::TypeChoice(*Link);
  }
  return {};
}

TKLDataTypes TKLBasicPin::PossibleTypes() const {
  const TKLTopology::TGuard Guard;
  return TKLTopology::PossibleTypes(*this);
}

void TKLBasicPin::AddFunctionSource(TKLBasicPin& ASink) {
  const TKLTopology::TGuard Guard;
  FFunctionSources.push_back(&ASink);
  ASink.IsSourceOf(*this);
}

void TKLBasicPin::AddDataTypeSource(TKLBasicPin& ASink) {
  const TKLTopology::TGuard Guard;
  if (std::find(FDataTypeSources.begin(), FDataTypeSources.end(), &ASink) ==
      FDataTypeSources.end()) {
    FDataTypeSources.push_back(&ASink);
    ASink.IsSourceOf(*this);
  }
}

void TKLBasicPin::RemoveDataTypeSource(TKLBasicPin& ASink) {
  const TKLTopology::TGuard Guard;
  std::erase(FDataTypeSources, &ASink);
}

void TKLBasicPin::IsSourceOf(TKLBasicPin& APin) {
  if (std::find(FDerived.begin(), FDerived.end(), &APin) == FDerived.end()) {
    FDerived.push_back(&APin);
  }
}

// --- operations ---

TKLNotifyResult TKLBasicPin::Notify(IKLNotifyOperation& AOperation) {
  // A block that is passed on keeps its sender's word that this is its last link, which holds for
  // the way here only: with a second reference no receiver takes the block out of the operation.
  const TRef<IKLNotifyOperation> Held(&AOperation);
  const std::optional<TKLStream> Stream = Sending(AOperation);
  const bool ReachesAll = AOperation.IsType<TKLStopOperation>();
  std::exception_ptr Error;
  const TKLNotifyResult Result = ForEachLink([&](const TKLLink& ALink, TKLNotifyState AState) {
    try {
      if (!Stream) return SendAcross(this, ALink, AOperation, AState);
      const TCallScope Call(*ALink.SinkGate);
      const TCallScope Way(*ALink.Gate);
      return Call && Way ? ALink.Tell(*Stream, AState) : TKLNotifyResult{};
    } catch (...) {
      if (!ReachesAll) throw;
      if (!Error) Error = std::current_exception();
      return TKLNotifyResult{};
    }
  });
  if (Error) std::rethrow_exception(Error);
  return Result;
}

// What a start or a stop that a source pin sends makes of its stream.
std::optional<TKLStream> TKLBasicPin::Sending(IKLNotifyOperation& AOperation) {
  if (Direction() == TKLPinDirection::Sink) return std::nullopt;
  const bool IsStart = AOperation.IsType<TKLStartOperation>();
  if (!IsStart && !AOperation.IsType<TKLStopOperation>()) return std::nullopt;
  const std::lock_guard Guard(FStreamMutex);
  const bool IsLone = !IsStart && FStream.Start == nullptr;
  FStream.Start = IsStart ? TRef<IKLNotifyOperation>(&AOperation) : nullptr;
  ++FStream.Serial;
  if (!IsStart) FStream.LastStop = FStream.Serial;
  TKLStream Sent = FStream;
  Sent.IsLone = IsLone;
  return Sent;
}

TKLStream TKLBasicPin::Stream() const {
  const std::lock_guard Guard(FStreamMutex);
  return FStream;
}

TKLNotifyResult TKLBasicPin::SendAcross(TKLBasicPin* ASender, const TKLLink& ALink,
                                        IKLNotifyOperation& AOperation, TKLNotifyState AState,
                                        const TGUID* ABlockType) {
  // Nothing of the two pins may be touched before the link is entered.
  const bool ToSink = &ALink.Source == ASender;
  const TCallScope Call(*(ToSink ? ALink.SinkGate : ALink.SourceGate));
  const TCallScope Way(*ALink.Gate);
  if (!Call || !Way) {
    const bool StopsAbove = Call && !ToSink && AOperation.IsType<TKLStopOperation>();
    const bool HasOpened = StopsAbove && !ALink.KeepsStop();
    return HasOpened ? SendAcross(ASender, ALink, AOperation, AState) : TKLNotifyResult{};
  }
  ASender->RefuseFullStack();
  TKLBasicPin& Far = ToSink ? ALink.Sink : ALink.Source;
  if (ToSink) ALink.Hear(AOperation);
  const TKLDataType* Type = ABlockType != nullptr ? Far.TypeNamed(*ABlockType) : nullptr;
  if (Type == nullptr) Type = ALink.Type.load(std::memory_order_relaxed);
  return Far.Receive(ASender, Type->ID, AOperation, AState);
}

// A walk down the graph is one chain of calls, so a graph can be deeper than the stack is long.
void TKLBasicPin::RefuseFullStack() const {
  if (!IsStackNearlyFull()) return;
  throw EQSException(Describe() +
                     ": too many components in one row for the stack of this thread; switch "
                     "Threading on in a filter half-way, whose thread begins a stack of its own");
}

const TKLDataType* TKLBasicPin::TypeNamed(const TGUID& AID) const {
  for (const TKLDataType* Type : FTypes) {
    if (Type->ID == AID) return Type;
  }
  return nullptr;
}

TKLNotifyEvent GKLPassTroughDispatch(TKLPin& AInput, TKLNotifyEvent AOwnDispatch) {
  return [&AInput, Own = std::move(AOwnDispatch)](
             TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
             IKLNotifyOperation& AOperation, TKLNotifyState AState) -> TKLNotifyResult {
    if (AInput.IsConnected()) return AInput.Notify(AOperation);
    if (AOperation.IsType<TKLStopOperation>()) return {};
    return Own ? Own(ASender, AOtherPin, ADataTypeID, AOperation, AState) : TKLNotifyResult{};
  };
}

// --- lists ---

TKLPinListOwner::TKLPinListOwner(TKLPinOwner AOwner, const TPropertyInfo<std::uint32_t>& AInfo,
                                 TCreate ACreate)
    : FOwner(std::move(AOwner)), FInfo(AInfo), FCreate(std::move(ACreate)) {
  SetCount(FInfo.Default);
}

std::string TKLPinListOwner::Describe() const {
  return FOwner.Component != nullptr ? FOwner.Component->Describe() : "a list of pins";
}

std::uint32_t TKLPinListOwner::Count() const {
  const std::lock_guard Guard(FMutex);
  return static_cast<std::uint32_t>(FPins.size());
}

void TKLPinListOwner::SetCount(std::uint32_t ACount) {
  if (!IsAmong(FInfo, ACount)) RefuseValue(Describe(), FInfo, ACount);
  std::vector<std::unique_ptr<TKLPin>> Moved;  // those that come, then those that go
  std::exception_ptr Error;
  const auto Catch = [&Error](const auto& ADo) {
    try {
      ADo();
    } catch (...) {
      if (!Error) Error = std::current_exception();
    }
  };
  Catch([&] {
    const ILockSection Section = FOwner.Lock->WriteLock();
    const std::uint32_t Before = Count();
    if (Before == ACount) return;
    while (Before + Moved.size() < ACount) Moved.push_back(FCreate());
    {
      const std::lock_guard Guard(FMutex);
      for (auto& Pin : Moved) FPins.push_back(std::move(Pin));
      Moved = std::exchange(FRetired, {});
      for (; FPins.size() > ACount; FPins.pop_back()) Moved.push_back(std::move(FPins.back()));
    }
    FOwner.Lock->NotifyChange({}, FInfo.Name, [ACount] { return ToValue(ACount); });
  });
  // Outside the lock: the links' far ends are told, and may come back to this component.
  for (auto& Pin : Moved) {
    Catch([&] {
      if (MayEnd(*Pin)) Pin = nullptr;
    });
  }
  {
    const std::lock_guard Guard(FMutex);
    for (auto& Pin : Moved) {
      if (Pin) FRetired.push_back(std::move(Pin));
    }
  }
  if (Error) std::rethrow_exception(Error);
}

// True if nothing is inside the pin any more. The end of the component looks at its pins too: what
// it may have seen goes with it.
bool TKLPinListOwner::MayEnd(TKLPin& APin) {
  APin.BeginEnd();
  const bool AllGone = APin.RemoveLinks(nullptr);
  if (FOwner.Component == nullptr) return AllGone;
  {
    const TKLTopology::TGuard Topology;
    FOwner.Component->RemovePart(APin);
  }
  return AllGone && !FOwner.Component->HasState(csDestroying);
}

TKLPin& TKLPinListOwner::operator[](std::size_t AIndex) const {
  const std::lock_guard Guard(FMutex);
  if (AIndex < FPins.size()) return *FPins[AIndex];
  const std::string Name(FInfo.Name);
  throw EQSException(Describe() + " has no pin " + Name + '[' + NumberText(AIndex) + "]; " + Name +
                     " has " + QuantityText(NumberText(FPins.size()), "pins") +
                     ", counted from 0; set " + Name + " to have more, " +
                     RangeText(FInfo.Bounds, FInfo.Unit));
}

}  // namespace tessalune
