#include <tessalune/frame/pins/KLTopology.h>

#include <algorithm>
#include <deque>
#include <unordered_set>

namespace tessalune {

std::recursive_mutex& TKLTopology::TGuard::Mutex() {
  static auto* Instance = new std::recursive_mutex;
  return *Instance;
}

namespace {

template <class TContainer, class T>
bool Contains(const TContainer& AContainer, const T& AItem) {
  return std::find(AContainer.begin(), AContainer.end(), AItem) != AContainer.end();
}

void Restrict(TKLDataTypes& ATypes, const TKLDataTypes& ATo) {
  std::erase_if(ATypes, [&ATo](const TKLDataType* AType) { return !Contains(ATo, AType); });
}

std::string TypeNames(const TKLDataTypes& ATypes) {
  std::string Text;
  for (std::size_t I = 0; I < ATypes.size(); ++I) {
    if (I > 0) Text += I + 1 == ATypes.size() ? " or " : ", ";
    Text += ATypes[I]->Name;
  }
  return Text.empty() ? "nothing" : Text;
}

}  // namespace

// The pins of APin's component that AIsMeant picks.
template <class TIsMeant>
std::vector<const TKLBasicPin*> TKLTopology::Siblings(const TKLBasicPin& APin, TIsMeant AIsMeant) {
  std::vector<const TKLBasicPin*> Pins;
  if (APin.Owner() == nullptr) return Pins;
  for (const TComponentPart* Part : APin.Owner()->Parts()) {
    const auto* Pin = static_cast<const TKLBasicPin*>(Part);
    if (AIsMeant(*Pin)) Pins.push_back(Pin);
  }
  return Pins;
}

// --- types ---

// Source pins of ASink's component that take over its type.
std::vector<const TKLBasicPin*> TKLTopology::TypedBy(const TKLBasicPin& ASink) {
  return Siblings(
      ASink, [&ASink](const TKLBasicPin& APin) { return Contains(APin.FDataTypeSources, &ASink); });
}

// Narrows what a pin carries by all pins whose type hangs on it: along the links of pins that take
// over a type, and across the component between such pins and their type's source.
struct TKLTopology::TTypeWalk {
  TKLDataTypes Types;
  std::unordered_set<const TKLBasicPin*> Seen{};
  std::vector<const TKLBasicPin*> Bound{};  // the pins among them whose links share one type

  void Visit(const TKLBasicPin& APin) {
    if (!Seen.insert(&APin).second) return;
    Restrict(Types, APin.DataTypes());
    const std::vector<const TKLBasicPin*> Typed = TypedBy(APin);
    if (Typed.empty() && APin.FDataTypeSources.empty()) return;
    Bound.push_back(&APin);
    for (const TRef<TKLLink>& Link : Links(APin)) {
      if (Link->Wanted != nullptr) Restrict(Types, {Link->Wanted});
      Visit(Link->Other(APin));
    }
    for (const TKLBasicPin* Pin : Typed) Visit(*Pin);
    for (const TKLBasicPin* Pin : APin.FDataTypeSources) Visit(*Pin);
  }
};

TKLDataTypes TKLTopology::PossibleTypes(const TKLBasicPin& APin) {
  TTypeWalk Walk{APin.DataTypes()};
  Walk.Visit(APin);
  return Walk.Types;
}

// A pin that carries one type decides; between two that have a choice the sink's liking counts.
TKLDataTypes TKLTopology::CommonTypes(const TKLBasicPin& ASource, const TKLBasicPin& ASink,
                                      const TKLDataType* AWanted) {
  TKLDataTypes Types = PossibleTypes(ASink);
  Restrict(Types, PossibleTypes(ASource));
  if (AWanted != nullptr) Restrict(Types, {AWanted});
  return Types;
}

TKLDataTypes TKLTopology::TypeChoice(const TKLLink& ALink) {
  const auto& Above = ALink.Source.FDataTypeSources;
  const bool IsSaid = ALink.Wanted != nullptr ||
                      std::any_of(Above.begin(), Above.end(),
                                  [](const TKLBasicPin* APin) { return APin->IsConnected(); });
  return IsSaid ? TKLDataTypes() : CommonTypes(ALink.Source, ALink.Sink, nullptr);
}

void TKLTopology::Retype(const TKLLink& ALink) {
  const auto Update = [](const TKLLink& AEach) {
    const TKLDataTypes Types = CommonTypes(AEach.Source, AEach.Sink, AEach.Wanted);
    if (!Types.empty()) AEach.Type.store(Types.front(), std::memory_order_relaxed);
  };
  Update(ALink);
  TTypeWalk Region{{}};
  Region.Visit(ALink.Source);
  Region.Visit(ALink.Sink);
  for (const TKLBasicPin* Pin : Region.Bound) {
    for (const TRef<TKLLink>& Link : Links(*Pin)) Update(*Link);
  }
}

// --- ends of links ---

namespace {

std::vector<TRef<TKLLink>>& LeavingLinks() {
  static auto* Links = new std::vector<TRef<TKLLink>>;
  return *Links;
}

}  // namespace

void TKLTopology::TakeOff(TKLLink& ALink) {
  const TRef<TKLLink> Link(&ALink);
  ALink.Source.FLinks->Remove(ALink);
  ALink.Sink.FLinks->Remove(ALink);
  ALink.IsOff = true;
  Retype(ALink);
  LeavingLinks().push_back(Link);
  ALink.Turns->Take(Link, &TKLLink::Shut, false);
  if (ALink.Gate->BeginClose([Link] { Link->Turns->Ready(*Link, true); })) {
    ALink.Turns->Ready(ALink, false);
  }
}

std::vector<TRef<TKLLink>> TKLTopology::Leaving(
    const TKLBasicPin& APin, const std::function<bool(const TKLLink&)>& AIsMeant) {
  std::vector<TRef<TKLLink>> Links;
  for (const TRef<TKLLink>& Link : LeavingLinks()) {
    const bool IsOfPin = &Link->Source == &APin || &Link->Sink == &APin;
    if (IsOfPin && AIsMeant(*Link)) Links.push_back(Link);
  }
  return Links;
}

void TKLTopology::Gone(const TKLLink& ALink) {
  TRef<TKLLink> Last;  // goes behind the guard
  const TGuard Guard;
  const auto Place =
      std::find_if(LeavingLinks().begin(), LeavingLinks().end(),
                   [&ALink](const TRef<TKLLink>& AEach) { return AEach.Get() == &ALink; });
  if (Place == LeavingLinks().end()) return;
  Last = std::move(*Place);
  LeavingLinks().erase(Place);
}

// --- loops ---

std::vector<const TKLBasicPin*> TKLTopology::DerivedFrom(const TKLBasicPin& ASink) {
  return Siblings(ASink, [&ASink](const TKLBasicPin& APin) {
    return Contains(APin.FFunctionSources, &ASink) || Contains(APin.FDataTypeSources, &ASink);
  });
}

// A search from one end of the new link; the other end of it is what it looks for.
struct TKLTopology::TLoopWalk {
  std::deque<const TKLBasicPin*> Open;
  std::unordered_set<const TKLBasicPin*> Seen;

  explicit TLoopWalk(const TKLBasicPin& AStart) : Open{&AStart}, Seen{&AStart} {}

  void Add(const TKLBasicPin* APin) {
    if (Seen.insert(APin).second) Open.push_back(APin);
  }
  // Takes one pin's step; AInside gives the pins that hang on it inside its component.
  template <class TInside>
  void Step(TInside AInside) {
    const TKLBasicPin* Pin = Open.front();
    Open.pop_front();
    for (const TKLBasicPin* Inner : AInside(*Pin)) {
      for (const TRef<TKLLink>& Link : Links(*Inner)) Add(&Link->Other(*Inner));
    }
  }
};

// Looks down from the sink and up from the source by turns and stops at the shorter search, so that
// a long graph can be built from either end.
bool TKLTopology::ClosesLoop(const TKLBasicPin& ASource, const TKLBasicPin& ASink) {
  const auto Sources = [](const TKLBasicPin& APin) {
    std::vector<const TKLBasicPin*> Pins(APin.FFunctionSources.begin(),
                                         APin.FFunctionSources.end());
    Pins.insert(Pins.end(), APin.FDataTypeSources.begin(), APin.FDataTypeSources.end());
    return Pins;
  };
  const auto ReachesSource = [&](const TKLBasicPin& APin) {
    return Contains(DerivedFrom(APin), &ASource);
  };
  const auto ReachesSink = [&](const TKLBasicPin& APin) { return Contains(Sources(APin), &ASink); };
  TLoopWalk Down(ASink);
  TLoopWalk Up(ASource);
  while (!Down.Open.empty() && !Up.Open.empty()) {
    if (ReachesSource(*Down.Open.front()) || ReachesSink(*Up.Open.front())) return true;
    Down.Step(&TKLTopology::DerivedFrom);
    Up.Step(Sources);
  }
  return false;
}

// --- refusals ---

std::pair<TKLBasicPin*, TKLBasicPin*> TKLTopology::Ends(TKLBasicPin& AOne, TKLBasicPin& AOther) {
  const bool Turned =
      AOne.Direction() == TKLPinDirection::Sink || (AOther.Direction() == TKLPinDirection::Source &&
                                                    AOne.Direction() != TKLPinDirection::Source);
  return Turned ? std::pair(&AOther, &AOne) : std::pair(&AOne, &AOther);
}

std::optional<std::string> TKLTopology::WhyNot(TKLBasicPin& AOne, TKLBasicPin& AOther,
                                               const TKLDataType* AType) {
  const auto [Source, Sink] = Ends(AOne, AOther);
  const std::string Between =
      "cannot link " + Source->Describe() + " to " + Sink->Describe() + ": ";
  if (Source == Sink) return Between + "it is the same pin";
  for (const TKLBasicPin* Pin : {Source, Sink}) {
    if (Pin->FEnds) return Between + Pin->Describe() + " is at its end and takes no more links";
    if (Pin->Owner() != nullptr && Pin->Owner()->HasState(csDestroying)) {
      return Between + Pin->Owner()->Describe() + " is at its end and takes no more links";
    }
  }
  if (Source->Direction() == Sink->Direction() && Source->Direction() != TKLPinDirection::State) {
    const bool Sources = Source->Direction() == TKLPinDirection::Source;
    return Between + (Sources ? "both are outputs" : "both are inputs") +
           "; a link goes from an output to an input";
  }
  for (const TRef<TKLLink>& Link : Links(*Sink)) {
    if (&Link->Other(*Sink) == Source) return Between + "they are linked already";
    if (!Sink->TakesManyLinks()) {
      return Between + "the input is linked to " + Link->Other(*Sink).Describe() +
             " and takes one link; take that one off first";
    }
  }
  const TKLDataTypes Types = CommonTypes(*Source, *Sink, nullptr);
  if (Types.empty()) return Between + DoNotFit(*Source, *Sink);
  if (AType != nullptr && !Contains(Types, AType)) {
    return Between + "the link cannot carry " + std::string(AType->Name) +
           ", as is asked; what both ends carry is " + TypeNames(Types) + Narrowed(*Source, *Sink);
  }
  if (ClosesLoop(*Source, *Sink)) {
    return Between +
           "the stream would flow back into itself; a graph has no loops, so link the input to "
           "something that does not derive from this output";
  }
  return std::nullopt;
}

std::string TKLTopology::Narrowed(const TKLBasicPin& ASource, const TKLBasicPin& ASink) {
  const bool IsNarrowed = PossibleTypes(ASource).size() < ASource.DataTypes().size() ||
                          PossibleTypes(ASink).size() < ASink.DataTypes().size();
  return IsNarrowed ? " (other links have narrowed what the pins carry)" : "";
}

std::string TKLTopology::DoNotFit(const TKLBasicPin& ASource, const TKLBasicPin& ASink) {
  const TKLDataTypes Given = PossibleTypes(ASource);
  const TKLDataTypes Taken = PossibleTypes(ASink);
  return "the output carries " + TypeNames(Given) + ", the input takes " + TypeNames(Taken) +
         "; what would fit is an input for " + TypeNames(Given) + ", an output of " +
         TypeNames(Taken) + ", or a converter between the two" + Narrowed(ASource, ASink);
}

}  // namespace tessalune
