#include "Values.h"

#include <host/GraphWalk.h>
#include <host/Words.h>

#include <tessalune/frame/streams/QSValuePins.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace tessalune::host {
namespace {

template <class T>
std::optional<TValue> ValueAs(IKLNotifyOperation& AOperation) {
  using TOperation = TKLTypedSuppliedOperation<T>;
  if (!AOperation.IsType<TOperation>()) return std::nullopt;
  return TValue(AOperation.GetInstance<TOperation>().Value);
}

std::optional<TValue> ValueOf(IKLNotifyOperation& AOperation) {
  if (auto Value = ValueAs<double>(AOperation)) return Value;
  if (auto Value = ValueAs<TComplex>(AOperation)) return Value;
  return ValueAs<std::int64_t>(AOperation);
}

// What a pin may be watched for: values leave by it, and nothing else.
bool SendsValues(const TKLBasicPin& APin) {
  return APin.Direction() != TKLPinDirection::Sink && CarriesOnlyValues(APin);
}

std::string ValuePinsOf(TComponent& AComponent) {
  std::vector<TNamedPin> Pins = PinsOf(AComponent, TKLPinDirection::Source);
  for (const TNamedPin& Each : PinsOf(AComponent, TKLPinDirection::State)) Pins.push_back(Each);
  std::vector<std::string_view> Names;
  for (const TNamedPin& Each : Pins) {
    if (SendsValues(*Each.Pin)) Names.push_back(Each.Name);
  }
  return Names.empty()
             ? "no pin of " + AComponent.Describe() + " does"
             : "of the pins of " + AComponent.Describe() + " expected is " + Listed(Names);
}

}  // namespace

std::string ValueText(const TValue& AValue) {
  if (const auto* Complex = std::get_if<TComplex>(&AValue)) {
    const std::string Imaginary = NumberText(Complex->Im);
    return NumberText(Complex->Re) + (Imaginary.front() == '-' ? "" : "+") + Imaginary + 'i';
  }
  if (const auto* Real = std::get_if<double>(&AValue)) return NumberText(*Real);
  return NumberText(std::get<std::int64_t>(AValue));
}

std::vector<TWatched> FindWatched(TGraph& AGraph, const TRunSettings& ASettings,
                                  TMistakes& AMistakes) {
  std::vector<TWatched> Found;
  for (const TJsonNode& Name : ASettings.Watch) {
    TKLBasicPin* const Pin = AGraph.FindPin(Name, AMistakes);
    if (Pin == nullptr) continue;
    if (!SendsValues(*Pin)) {
      AMistakes.Add(Name.Place, Name.Path,
                    '"' + Name.Text + "\" cannot be watched, since it sends no single values; " +
                        ValuePinsOf(*Pin->Owner()));
      continue;
    }
    const bool IsNew = std::none_of(Found.begin(), Found.end(),
                                    [&](const TWatched& AEach) { return AEach.Pin == Pin; });
    if (IsNew) Found.push_back({Pin, true});
  }
  return Found;
}

// --- the watch ---

struct TValues::TEntry {
  TWatched Watched;
  std::unique_ptr<TKLSinkPin> Sink;
  mutable std::mutex Mutex;
  std::int64_t Count = 0;
  double Time = 0.0;
  TValue Last;
};

TValues::TValues(const TGraph& AGraph, std::vector<TWatched> AAsked, std::function<double()> ATime,
                 TTell ATell)
    : FTime(std::move(ATime)), FTell(std::move(ATell)) {
  for (TComponent* Component : AGraph.Components()) {
    for (const TNamedPin& Each : PinsOf(*Component, TKLPinDirection::Source)) {
      const bool IsAsked = std::any_of(AAsked.begin(), AAsked.end(), [&](const TWatched& AWatched) {
        return AWatched.Pin == Each.Pin;
      });
      if (!IsAsked && SendsValues(*Each.Pin)) AAsked.push_back({Each.Pin, false});
    }
  }
  for (const TWatched& Watched : AAsked) {
    FEntries.push_back(std::make_unique<TEntry>());
    TEntry& Entry = *FEntries.back();
    Entry.Watched = Watched;
    Entry.Sink = std::make_unique<TKLSinkPin>(
        TKLPinOwner(), TKLDataTypes{Watched.Pin->DataTypes().front()},
        [this, &Entry](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                       TKLNotifyState) {
          if (const auto Value = ValueOf(AOperation)) Take(Entry, *Value);
          return TKLNotifyResult{};
        });
    Watched.Pin->Connect(*Entry.Sink);
  }
}

TValues::~TValues() = default;

void TValues::Take(TEntry& AEntry, const TValue& AValue) {
  const double Time = FTime();
  {
    const std::lock_guard Lock(AEntry.Mutex);
    AEntry.Last = AValue;
    AEntry.Time = Time;
    ++AEntry.Count;
  }
  if (AEntry.Watched.IsAsked) FTell(AEntry.Watched, Time, AValue);
}

std::vector<TValues::TLast> TValues::Last() const {
  std::vector<TLast> Last;
  for (const auto& Entry : FEntries) {
    const std::lock_guard Lock(Entry->Mutex);
    if (Entry->Count > 0) Last.push_back({&Entry->Watched, Entry->Last, Entry->Time, Entry->Count});
  }
  return Last;
}

}  // namespace tessalune::host
