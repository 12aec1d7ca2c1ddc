#include "GraphWalk.h"

#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSStreamTypes.h>

#include <algorithm>
#include <unordered_set>

namespace tessalune::host {
namespace {

bool IsSampleType(const TKLDataType* AType) {
  const TKLDataTypes& Types = SampleTypes();
  return std::find(Types.begin(), Types.end(), AType) != Types.end();
}

bool IsValueType(const TKLDataType* AType) {
  return AType == &RealValue || AType == &ComplexValue || AType == &IntegerValue;
}

// The components at the far ends of a component's pins of one direction.
std::vector<TComponent*> Neighbours(TComponent& AComponent, TKLPinDirection ADirection) {
  std::vector<TComponent*> Found;
  for (const TNamedPin& Each : PinsOf(AComponent, ADirection)) {
    for (const TKLBasicPin* Other : Each.Pin->ConnectedPins()) {
      if (Other->Owner() != nullptr) Found.push_back(Other->Owner());
    }
  }
  return Found;
}

// Calls AVisit with each component that is reached from AFrom; it is true if the way goes on there.
template <class TVisit>
void Walk(std::vector<TComponent*> AFrom, TKLPinDirection ADirection, TVisit AVisit) {
  std::unordered_set<TComponent*> Seen;
  while (!AFrom.empty()) {
    TComponent* const At = AFrom.back();
    AFrom.pop_back();
    if (!Seen.insert(At).second || !AVisit(*At)) continue;
    const auto Next = Neighbours(*At, ADirection);
    AFrom.insert(AFrom.end(), Next.begin(), Next.end());
  }
}

// Whether a stream that comes here has come to something: what writes or shows it, what makes
// values or events of it, what it ticks.
bool Keeps(TComponent& AComponent) {
  if (dynamic_cast<IFileUser*>(&AComponent) != nullptr) return true;
  if (dynamic_cast<IPumpable*>(&AComponent) != nullptr) return true;
  if (!AComponent.PublishedTable().Events().empty()) return true;
  const auto Outputs = PinsOf(AComponent, TKLPinDirection::Source);
  return std::none_of(Outputs.begin(), Outputs.end(),
                      [](const TNamedPin& AEach) { return CarriesSamples(*AEach.Pin); }) ||
         std::any_of(Outputs.begin(), Outputs.end(),
                     [](const TNamedPin& AEach) { return CarriesOnlyValues(*AEach.Pin); });
}

}  // namespace

std::vector<TNamedPin> PinsOf(TComponent& AComponent, TKLPinDirection ADirection) {
  std::vector<TNamedPin> Pins;
  for (const TPublishedPin* Row : AComponent.PublishedTable().Pins()) {
    const std::size_t Count = Row->IsList ? Row->Count(AComponent) : 1;
    for (std::size_t I = 0; I < Count; ++I) {
      TKLBasicPin& Pin = Row->IsList ? Row->At(AComponent, I) : Row->Get(AComponent);
      if (Pin.Direction() != ADirection) continue;
      Pins.push_back(
          {Row->IsList ? Row->PinName(I) : std::string(Row->Name), Row->Name, Row->Primary, &Pin});
    }
  }
  return Pins;
}

bool CarriesOnlyValues(const TKLBasicPin& APin) {
  const TKLDataTypes& Types = APin.DataTypes();
  return std::all_of(Types.begin(), Types.end(), IsValueType);
}

bool CarriesSamples(const TKLBasicPin& APin) {
  const TKLDataTypes& Types = APin.DataTypes();
  return std::any_of(Types.begin(), Types.end(), IsSampleType);
}

TKLBasicPin* LinkedOutput(TComponent& AComponent) {
  for (const TNamedPin& Each : PinsOf(AComponent, TKLPinDirection::Source)) {
    if (Each.Pin->IsConnected()) return Each.Pin;
  }
  return nullptr;
}

TOrigins OriginsOf(const TKLBasicPin& AInput) {
  TOrigins Origins;
  std::vector<TComponent*> From;
  for (const TKLBasicPin* Other : AInput.ConnectedPins()) {
    if (Other->Owner() != nullptr) {
      From.push_back(Other->Owner());
    } else {
      Origins.HasOther = true;
    }
  }
  Walk(std::move(From), TKLPinDirection::Sink, [&Origins](TComponent& AAt) {
    const bool IsSource = dynamic_cast<IPumpable*>(&AAt) != nullptr;
    if (IsSource) Origins.Sources.push_back(&AAt);
    Origins.HasOther =
        Origins.HasOther || (!IsSource && PinsOf(AAt, TKLPinDirection::Sink).empty());
    return !IsSource;
  });
  return Origins;
}

TKLBasicPin* LinkedTicks(IPumpable& ASource) {
  TKLBasicPin* const Ticks = ASource.TickPin();
  const bool IsTicked = Ticks != nullptr && Ticks->IsConnected() &&
                        ASource.ClockSource() != TQSClockSource::csInternal;
  return IsTicked ? Ticks : nullptr;
}

std::vector<TComponent*> DeadEndsOf(TComponent& ASource) {
  std::vector<TComponent*> Ends;
  bool IsKept = false;
  Walk(Neighbours(ASource, TKLPinDirection::Source), TKLPinDirection::Source, [&](TComponent& AAt) {
    IsKept = IsKept || Keeps(AAt);
    if (LinkedOutput(AAt) == nullptr) Ends.push_back(&AAt);
    return !IsKept;
  });
  return IsKept ? std::vector<TComponent*>() : Ends;
}

// Each component is noted when all behind it have been: the order of the notes is the one upstream.
std::vector<TComponent*> Downstream(const std::vector<TComponent*>& AComponents) {
  struct TStep {
    TComponent* At;
    std::vector<TComponent*> Next;
  };
  std::vector<TComponent*> Order;
  std::unordered_set<TComponent*> Seen;
  std::vector<TStep> Path;
  const auto Enter = [&](TComponent* AAt) {
    if (Seen.insert(AAt).second) {
      Path.push_back({AAt, Neighbours(*AAt, TKLPinDirection::Source)});
    }
  };
  for (TComponent* Component : AComponents) {
    Enter(Component);
    while (!Path.empty()) {
      if (Path.back().Next.empty()) {
        Order.push_back(Path.back().At);
        Path.pop_back();
        continue;
      }
      TComponent* const Next = Path.back().Next.back();
      Path.back().Next.pop_back();
      Enter(Next);
    }
  }
  std::reverse(Order.begin(), Order.end());
  return Order;
}

}  // namespace tessalune::host
