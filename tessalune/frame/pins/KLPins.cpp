#include <tessalune/frame/pins/KLPins.h>
#include <tessalune/frame/pins/KLTopology.h>
#include <tessalune/frame/runtime/QSThread.h>

#include <algorithm>
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

TKLLink::TKLLink(TKLBasicPin& ASource, TKLBasicPin& ASink, const TKLDataType& AType,
                 const TKLDataType* AWanted)
    : Source(ASource),
      Sink(ASink),
      SourceGate(ASource.FGate),
      SinkGate(ASink.FGate),
      Type(&AType),
      Wanted(AWanted) {}

TKLBasicPin::TKLBasicPin(TKLPinOwner AOwner, TKLDataTypes ATypes, TKLNotifyEvent AEvent)
    : FOwner(std::move(AOwner)),
      FGate(FOwner.Component != nullptr ? TRef<TCallGate>(&FOwner.Component->Gate())
                                        : MakeRef<TCallGate>()),
      FTypes(std::move(ATypes)),
      FEvent(std::move(AEvent)) {
  if (FOwner.Component == nullptr) return;
  const TKLTopology::TGuard Topology;  // others may look at the component's pins just now
  FOwner.Component->AddPart(*this);
}

TKLBasicPin::~TKLBasicPin() {
  RunReported(nullptr, [this] { DisconnectAll(); });
  if (FOwner.Component != nullptr) {
    const TKLTopology::TGuard Topology;
    FOwner.Component->RemovePart(*this);
  } else {
    FGate->Close([] {});
  }
  FreeRetiredLinks();
  delete FLinks.load();
}

std::string TKLBasicPin::Name() const {
  if (Owner() == nullptr) return {};
  for (const TPublishedPin* Row : Owner()->PublishedTable().Pins()) {
    for (std::size_t I = 0; I < Row->Count(*Owner()); ++I) {
      if (&Row->At(*Owner(), I) == this) return Row->PinName(I);
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
  {
    const TKLTopology::TGuard Guard;
    if (const auto Refusal = TKLTopology::WhyNot(*this, AOther, AType)) {
      throw EQSException(*Refusal);
    }
    const auto [Source, Sink] = TKLTopology::Ends(*this, AOther);
    Link = MakeRef<TKLLink>(*Source, *Sink,
                            *TKLTopology::CommonTypes(*Source, *Sink, AType).front(), AType);
    // The sink's side first: the pin is taken, and its component sees a link while it readies
    // itself, but nothing crosses until the source's side is there.
    Sink->AddLink(Link);
  }
  const auto Publish = [&Link] {
    const TKLTopology::TGuard Guard;
    if (!Link->Sink.LinkType(Link->Source)) return;  // taken off again meanwhile
    Link->Source.AddLink(Link);
    TKLTopology::Retype(*Link);
  };
  try {
    Link->Source.LinkMade(*Link, Publish);
  } catch (...) {
    {
      const TKLTopology::TGuard Guard;
      // The source's side need not be there yet, so neither pin's list is enough to go by.
      Link->Source.RemoveLink(Link);
      Link->Sink.RemoveLink(Link);
      TKLTopology::Retype(*Link);
    }
    try {
      Link->Source.LinkGone(*Link);
    } catch (...) {
      // What the sink did not take of the start speaks for it.
    }
    throw;
  }
}

std::optional<std::string> TKLBasicPin::WhyNotConnect(TKLBasicPin& AOther,
                                                      const TKLDataType* AType) {
  const TKLTopology::TGuard Guard;
  return TKLTopology::WhyNot(*this, AOther, AType);
}

void TKLBasicPin::Disconnect(TKLBasicPin& AOther) { RemoveLinks(&AOther); }

void TKLBasicPin::DisconnectAll() { RemoveLinks(nullptr); }

// Takes off all links, or those with AOther only.
void TKLBasicPin::RemoveLinks(const TKLBasicPin* AOther) {
  TLinks Gone;
  {
    const TKLTopology::TGuard Guard;
    for (const TRef<TKLLink>& Link : TLinks(*FLinks.load())) {
      TKLBasicPin& Far = Link->Other(*this);
      if (AOther != nullptr && &Far != AOther) continue;
      Far.RemoveLink(Link);
      RemoveLink(Link);
      TKLTopology::Retype(*Link);
      Gone.push_back(Link);
    }
  }
  std::erase_if(Gone, [](const TRef<TKLLink>& ALink) {
    TLinkWalk* Walk = TLinkWalk::Of(ALink->Source);
    if (Walk != nullptr) Walk->Defer(ALink);
    return Walk != nullptr;
  });
  TellGone(std::move(Gone));
}

void TKLBasicPin::TellGone(TLinks ALinks) {
  std::exception_ptr Error;
  for (const TRef<TKLLink>& Link : ALinks) {
    // The source may be about to end on another thread; its gate tells. On a thread that is inside
    // it, it is whole even if the gate has been closed.
    const TCallScope Call(*Link->SourceGate);
    if (!Call && !IsInsideGate(*Link->SourceGate)) continue;
    try {
      Link->Source.LinkGone(*Link);
    } catch (...) {
      // All far ends are told; the first that fails speaks for them.
      if (!Error) Error = std::current_exception();
    }
  }
  if (Error) std::rethrow_exception(Error);
}

constinit thread_local TKLBasicPin::TLinkWalk* TKLBasicPin::TLinkWalk::Innermost = nullptr;

TKLBasicPin::TLinkWalk* TKLBasicPin::TLinkWalk::Of(const TKLBasicPin& APin) noexcept {
  TLinkWalk* Outermost = nullptr;
  for (TLinkWalk* Walk = Innermost; Walk != nullptr; Walk = Walk->FOuter) {
    if (&Walk->FPin == &APin) Outermost = Walk;
  }
  return Outermost;
}

void TKLBasicPin::TLinkWalk::TellGone() {
  if (!FGone.empty()) TKLBasicPin::TellGone(std::exchange(FGone, {}));
}

void TKLBasicPin::AddLink(const TRef<TKLLink>& ALink) {
  TLinks Links = *FLinks.load();
  Links.push_back(ALink);
  ReplaceLinks(std::move(Links));
}

bool TKLBasicPin::RemoveLink(const TRef<TKLLink>& ALink) {
  TLinks Links = *FLinks.load();
  if (std::erase(Links, ALink) == 0) return false;
  ReplaceLinks(std::move(Links));
  return true;
}

// Under the topology's mutex. A reader that comes after the exchange sees the new list, so once no
// reader is seen inside, nobody holds an old one.
void TKLBasicPin::ReplaceLinks(TLinks ALinks) {
  FLinkCount.store(static_cast<std::uint32_t>(ALinks.size()), std::memory_order_relaxed);
  const TLinks* Old = FLinks.exchange(new TLinks(std::move(ALinks)));
  {
    const std::lock_guard Guard(FRetiredMutex);
    FRetired.push_back(Old);
    FHasRetired.store(true);
  }
  if (FReaders.load() == 0) FreeRetiredLinks();
}

void TKLBasicPin::FreeRetiredLinks() const noexcept {
  std::vector<const TLinks*> Free;
  {
    const std::lock_guard Guard(FRetiredMutex);
    if (FReaders.load() != 0) return;  // who is inside now frees them when it leaves
    Free.swap(FRetired);
    FHasRetired.store(false);
  }
  for (const TLinks* Links : Free) delete Links;
}

std::vector<TKLBasicPin*> TKLBasicPin::ConnectedPins() const {
  const TLinkReader Reader(*this);
  std::vector<TKLBasicPin*> Pins;
  for (const TRef<TKLLink>& Link : Reader.Links) Pins.push_back(&Link->Other(*this));
  return Pins;
}

const TKLDataType* TKLBasicPin::LinkType(const TKLBasicPin& AOther) const {
  const TLinkReader Reader(*this);
  for (const TRef<TKLLink>& Link : Reader.Links) {
    if (&Link->Other(*this) == &AOther) return Link->Type.load(std::memory_order_relaxed);
  }
  return nullptr;
}

TKLDataTypes TKLBasicPin::TypeChoice(const TKLBasicPin& AOther) const {
  const TKLTopology::TGuard Guard;
  const TLinkReader Reader(*this);
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
}

void TKLBasicPin::AddDataTypeSource(TKLBasicPin& ASink) {
  const TKLTopology::TGuard Guard;
  if (std::find(FDataTypeSources.begin(), FDataTypeSources.end(), &ASink) ==
      FDataTypeSources.end()) {
    FDataTypeSources.push_back(&ASink);
  }
}

void TKLBasicPin::RemoveDataTypeSource(TKLBasicPin& ASink) {
  const TKLTopology::TGuard Guard;
  std::erase(FDataTypeSources, &ASink);
}

// --- operations ---

TKLNotifyResult TKLBasicPin::Notify(IKLNotifyOperation& AOperation) {
  // A block that is passed on keeps its sender's word that this is its last link, which holds for
  // the way here only: with a second reference no receiver takes the block out of the operation.
  const TRef<IKLNotifyOperation> Held(&AOperation);
  Sending(AOperation);
  const bool ReachesAll = AOperation.IsType<TKLStopOperation>();
  std::exception_ptr Error;
  const TKLNotifyResult Result = ForEachLink([&](const TKLLink& ALink, TKLNotifyState AState) {
    try {
      return SendAcross(ALink, *OperationFor(ALink, AOperation), AState);
    } catch (...) {
      if (!ReachesAll) throw;
      if (!Error) Error = std::current_exception();
      return TKLNotifyResult{};
    }
  });
  if (Error) std::rethrow_exception(Error);
  return Result;
}

TKLNotifyResult TKLBasicPin::SendAcross(const TKLLink& ALink, IKLNotifyOperation& AOperation,
                                        TKLNotifyState AState, const TKLDataType* AType) {
  // A walk down the graph is one chain of calls, so a graph can be deeper than the stack is long.
  if (IsStackNearlyFull()) {
    throw EQSException(Describe() +
                       ": too many components in one row for the stack of this thread; switch "
                       "Threading on in a filter half-way, whose thread begins a stack of its own");
  }
  const bool ToSink = &ALink.Source == this;
  TKLBasicPin& Far = ToSink ? ALink.Sink : ALink.Source;
  const TCallScope Call(*(ToSink ? ALink.SinkGate : ALink.SourceGate));
  if (!Call) return {};
  const TKLDataType* Type = AType != nullptr ? AType : ALink.Type.load(std::memory_order_relaxed);
  return Far.Receive(this, Type->ID, AOperation, AState);
}

TKLNotifyResult TKLBasicPin::Receive(TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                                     IKLNotifyOperation& AOperation, TKLNotifyState AState) {
  return FEvent ? FEvent(*this, AOtherPin, ADataTypeID, AOperation, AState) : TKLNotifyResult{};
}

// --- source pins ---

TKLSourcePin::TStream TKLSourcePin::Stream() const {
  const std::lock_guard Guard(FStreamMutex);
  return FStream;
}

TKLSourcePin::~TKLSourcePin() {
  RunReported(nullptr, [this] { DisconnectAll(); });
}

bool TKLSourcePin::IsStreaming() const { return Stream().Start != nullptr; }

void TKLSourcePin::Sending(IKLNotifyOperation& AOperation) {
  const bool IsStart = AOperation.IsType<TKLStartOperation>();
  if (!IsStart && !AOperation.IsType<TKLStopOperation>()) return;
  const std::lock_guard Guard(FStreamMutex);
  FStream.Start = IsStart ? TRef<IKLNotifyOperation>(&AOperation) : nullptr;
  ++FStream.Serial;
}

// The start is repeated before the link opens, so it comes before the first block. What the stream
// did between the look at it and the opening has passed the new link by and is repeated after.
void TKLSourcePin::LinkMade(const TKLLink& ALink, const std::function<void()>& APublish) {
  constexpr TKLNotifyState Repeated{nsNewLink, nsLastIteration};
  TStream Seen = Stream();
  if (Seen.Start) SendAcross(ALink, *OperationFor(ALink, *Seen.Start), Repeated);
  APublish();
  for (TStream Now = Stream(); Now.Serial != Seen.Serial; Now = Stream()) {
    Seen = Now;
    const TRef<IKLNotifyOperation> Latest =
        Now.Start ? OperationFor(ALink, *Now.Start) : MakeRef<TKLStopOperation>();
    SendAcross(ALink, *Latest, Repeated);
  }
}

void TKLSourcePin::LinkGone(const TKLLink& ALink) {
  if (IsStreaming()) SendAcross(ALink, *MakeRef<TKLStopOperation>(), {nsLastIteration});
}

TKLNotifyEvent GKLPassTroughDispatch(TKLPin& AInput, TKLNotifyEvent AOwnDispatch) {
  return [&AInput, Own = std::move(AOwnDispatch)](
             TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
             IKLNotifyOperation& AOperation, TKLNotifyState AState) -> TKLNotifyResult {
    if (AInput.IsConnected()) return AInput.Notify(AOperation);
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
  {
    const ILockSection Section = FOwner.Lock->WriteLock();
    const std::uint32_t Before = Count();
    if (Before == ACount) return;
    while (Before + Moved.size() < ACount) Moved.push_back(FCreate());
    {
      const std::lock_guard Guard(FMutex);
      for (auto& Pin : Moved) FPins.push_back(std::move(Pin));
      Moved.clear();
      for (; FPins.size() > ACount; FPins.pop_back()) Moved.push_back(std::move(FPins.back()));
    }
    FOwner.Lock->NotifyChange({}, FInfo.Name, [ACount] { return ToValue(ACount); });
  }
  // Outside the lock: the links' far ends are told, and may come back to this component.
  for (const auto& Pin : Moved) Pin->DisconnectAll();
}

TKLPin& TKLPinListOwner::operator[](std::size_t AIndex) const {
  const std::lock_guard Guard(FMutex);
  if (AIndex < FPins.size()) return *FPins[AIndex];
  const std::string Name(FInfo.Name);
  throw EQSException(Describe() + " has no pin " + Name + '[' + NumberText(AIndex) + "]; " + Name +
                     " has " + NumberText(FPins.size()) + " pins, counted from 0; set " + Name +
                     " to have more, " + RangeText(FInfo.Bounds, FInfo.Unit));
}

}  // namespace tessalune
