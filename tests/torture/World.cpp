#include "World.h"

#include <tessalune/frame/runtime/QSMainThread.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace tessalune::torture {
namespace {

thread_local std::size_t Depth = 0;  // handlers of the torture's on this thread's stack
thread_local bool IsMain = false;
bool IsInside() { return Depth > 0; }

bool HasKind(const std::vector<TKind>& AKinds, TKind AKind) {
  return std::find(AKinds.begin(), AKinds.end(), AKind) != AKinds.end();
}

// What can be pumped, where links end, where they start.
const std::vector<TKind> Pumps{TKind::Generator, TKind::Player, TKind::Feed, TKind::Group};
const std::vector<TKind> Ends{TKind::Generator, TKind::Filter, TKind::Logger, TKind::Sink};
const std::vector<TKind> Starts{TKind::Generator, TKind::Player, TKind::Feed, TKind::Filter,
                                TKind::Group};

TWorld* Instance = nullptr;

}  // namespace

TStay::TStay() { ++Depth; }
TStay::~TStay() { --Depth; }
TWorld& World() { return *Instance; }

// One kind of operation. On calm and rough ground a handler does only what leaves others' links
// alone and does not make a block inside a block.
struct TWorld::TRow {
  enum class TWhere : std::uint8_t { Anywhere, Outside, OutsideUnlessWild };
  const char* Kind;
  int Weight;
  TWhere Where;
  std::function<void(TWorld&, TGround)> Do;
};

std::vector<TWorld::TRow> TWorld::AllRows() {
  using enum TRow::TWhere;
  const auto Deed = [](TDeed ADeed, TKinds AKinds) {
    return [ADeed, Kinds = std::move(AKinds)](TWorld& AWorld, TGround AGround) {
      if (const THeld Thing = AWorld.Pick(AGround, Kinds)) Thing->Do(ADeed);
    };
  };
  return {
      {"create", 10, Anywhere, &TWorld::Create},
      {"destroy", 5, Anywhere, &TWorld::Destroy},
      {"connect", 20, Anywhere, &TWorld::Connect},
      {"disconnect", 12, OutsideUnlessWild, &TWorld::Disconnect},
      {"start", 14, Anywhere, Deed(TDeed::Start, Pumps)},
      {"stop", 6, Anywhere, Deed(TDeed::Stop, Pumps)},
      {"pump", 16, OutsideUnlessWild, Deed(TDeed::Pump, Pumps)},
      {"set", 8, Anywhere,
       Deed(TDeed::Set, {TKind::Generator, TKind::Player, TKind::Filter, TKind::Logger})},
      {"enable", 3, Anywhere,
       Deed(TDeed::Enable, {TKind::Generator, TKind::Player, TKind::Filter, TKind::Logger})},
      {"threading", 5, Anywhere, Deed(TDeed::Threading, {TKind::Filter})},
      {"seek", 2, Anywhere, Deed(TDeed::Seek, {TKind::Player})},
      {"value", 3, Anywhere, Deed(TDeed::Value, {TKind::Group, TKind::Player})},
      {"list", 3, OutsideUnlessWild, Deed(TDeed::List, {TKind::Group})},
      {"own", 4, Anywhere, Deed(TDeed::Own, {TKind::Group})},
      {"execute", 4, Anywhere, &TWorld::Execute},
      {"process", 4, Anywhere, &TWorld::Process},
      {"advance", 4, Outside, &TWorld::Advance},
  };
}

const std::vector<TWorld::TRow>& TWorld::Rows() {
  static const std::vector<TRow> Wanted = [] {
    std::vector<TRow> List = AllRows();
    std::erase_if(List, [](const TRow& ARow) { return !With(ARow.Kind); });
    return List;
  }();
  return Wanted;
}

std::vector<std::string> TWorld::Kinds() {
  std::vector<std::string> All{"calm", "rough", "wild", "inside", "end-inside", "throw"};
  for (const TRow& Row : AllRows()) All.emplace_back(Row.Kind);
  return All;
}

TWorld::TWorld(std::filesystem::path AFolder) : FFolder(std::move(AFolder)) {
  Instance = this;
  IsMain = true;
  constexpr std::array<std::pair<TKind, int>, 7> Counts{{{TKind::Generator, 3},
                                                         {TKind::Player, 1},
                                                         {TKind::Feed, 1},
                                                         {TKind::Filter, 3},
                                                         {TKind::Logger, 1},
                                                         {TKind::Sink, 4},
                                                         {TKind::Group, 1}}};
  for (auto& Slots : FSlots) {
    for (const auto& [Kind, Count] : Counts) {
      for (int I = 0; I < Count; ++I) Slots.push_back(std::make_unique<TSlot>(Kind));
    }
  }
}

// --- operations ---

void TWorld::Operate() {
  constexpr std::array<std::pair<TGround, const char*>, 3> Grounds{
      {{TGround::Calm, "calm"}, {TGround::Rough, "rough"}, {TGround::Wild, "wild"}}};
  if (Rows().empty()) return;
  const auto [Ground, GroundName] = Chance().Of(Grounds);
  int Total = 0;
  for (const TRow& Row : Rows()) Total += Row.Weight;
  int Drawn = static_cast<int>(Chance().Below(static_cast<std::size_t>(Total)));
  const auto Row = std::find_if(Rows().begin(), Rows().end(),
                                [&](const TRow& ARow) { return (Drawn -= ARow.Weight) < 0; });
  const bool Here = !IsInside() || Row->Where == TRow::TWhere::Anywhere ||
                    (Row->Where == TRow::TWhere::OutsideUnlessWild && Ground == TGround::Wild);
  if (!Here || !With(GroundName)) return;
  const TOperation Operation(Row->Kind);
  try {
    Row->Do(*this, Ground);
    if (!IsInside()) DigUp();
  } catch (...) {
    CountException(std::current_exception());
  }
}

void TWorld::Handle(TPlace APlace) {
  constexpr std::size_t Deepest = 4;
  if (FQuiet || Depth >= Deepest) return;
  const TStay Stay;
  if (With("inside") && Chance().OneIn(40)) Operate();
  if (APlace.Ground == TGround::Wild && With("end-inside") && Chance().OneIn(400)) {
    EndInside(APlace);
  }
  if (APlace.Ground != TGround::Calm && With("throw") && Chance().OneIn(200)) throw TThrown();
}

THeld TWorld::Pick(TGround AGround, const TKinds& AKinds) {
  std::vector<TSlot*> Fit;
  for (const auto& Slot : FSlots[static_cast<std::size_t>(AGround)]) {
    if (HasKind(AKinds, Slot->Kind)) Fit.push_back(Slot.get());
  }
  TSlot& Slot = *Chance().Of(Fit);
  const std::lock_guard Lock(Slot.Mutex);
  return Slot.Thing;
}

void TWorld::Create(TGround AGround) {
  auto& Slots = FSlots[static_cast<std::size_t>(AGround)];
  const std::size_t At = Chance().Below(Slots.size());
  THeld Thing = MakeThing(Slots[At]->Kind, {AGround, At, ++FLastId});
  const std::lock_guard Lock(Slots[At]->Mutex);
  if (Slots[At]->Thing == nullptr) Slots[At]->Thing.swap(Thing);
}

void TWorld::Destroy(TGround AGround) {
  TSlot& Slot = *Chance().Of(FSlots[static_cast<std::size_t>(AGround)]);
  THeld Gone;
  const std::lock_guard Lock(Slot.Mutex);
  Gone.swap(Slot.Thing);
}

void TWorld::EndInside(const TPlace& APlace) {
  const TOperation Operation("end-inside");
  TSlot& Slot = *FSlots[static_cast<std::size_t>(APlace.Ground)][APlace.Slot];
  THeld Gone;
  const std::lock_guard Lock(Slot.Mutex);
  if (Slot.Thing && Slot.Thing->Place.Id == APlace.Id) Gone.swap(Slot.Thing);
}

namespace {

void Link(TKLBasicPin& ASource, TKLBasicPin& ASink) {
  const TLedger::TConnecting Connecting(LedgerOf(ASink));
  if (Chance().OneIn(2)) {
    ASource.Connect(ASink);
  } else {
    ASink.Connect(ASource);
  }
}

void UnlinkAll(TGround AGround, TKLBasicPin& APin) {
  TSilence Silence(AGround);
  Silence.Watch(APin);
  APin.DisconnectAll();
  Silence.Hold();
}

void Unlink(TGround AGround, TKLBasicPin& AOne, TKLBasicPin& AOther) {
  TSilence Silence(AGround);
  Silence.WatchLink(AOne, AOther);
  AOne.Disconnect(AOther);
  Silence.Hold();
}

TKLBasicPin* AnyOf(std::vector<TKLBasicPin*> APins) {
  return APins.empty() ? nullptr : Chance().Of(APins);
}

}  // namespace

void TWorld::ConnectSource(TGround AGround, TKLBasicPin& ASink) {
  const THeld From = Pick(AGround, Starts);
  TKLBasicPin* Source = From ? AnyOf(From->Sources()) : nullptr;
  if (Source != nullptr) Link(*Source, ASink);
}

void TWorld::Connect(TGround AGround) {
  const THeld To = Pick(AGround, Ends);
  TKLBasicPin* Sink = To ? AnyOf(To->Sinks()) : nullptr;
  if (Sink != nullptr) ConnectSource(AGround, *Sink);
}

void TWorld::Disconnect(TGround AGround) {
  const THeld From = Pick(AGround, Starts);
  const THeld To = Pick(AGround, Ends);
  TKLBasicPin* Source = From ? AnyOf(From->Sources()) : nullptr;
  TKLBasicPin* Sink = To ? AnyOf(To->Sinks()) : nullptr;
  const std::size_t Way = Chance().Below(4);
  if (Way == 0 && Source != nullptr) UnlinkAll(AGround, *Source);
  if (Way == 1 && Sink != nullptr) UnlinkAll(AGround, *Sink);
  if (Way == 2 && Source != nullptr && Sink != nullptr) Unlink(AGround, *Source, *Sink);
  if (Way == 3 && Source != nullptr && Sink != nullptr) Unlink(AGround, *Sink, *Source);
}

void TWorld::Execute(TGround AGround) {
  const THeld Thing =
      Pick(AGround, {TKind::Generator, TKind::Player, TKind::Filter, TKind::Logger, TKind::Group});
  if (!Thing) return;
  MainThread().Execute(*Thing->Component(), [this, Place = Thing->Place] { Handle(Place); });
}

void TWorld::Process(TGround) {
  if (IsMain) MainThread().Process();
}

// Not in a handler: whoever waits for the clock's threads must not keep them waiting.
void TWorld::Advance(TGround) {
  if (FAdvancing.test_and_set()) return;
  FTime->Advance(std::chrono::milliseconds(1 + Chance().Below(20)));
  FAdvancing.clear();
}

// --- ends ---

void TThing::WatchEnd(TSilence& ASilence) {
  for (const TKLBasicPin* Pin : Sources()) ASilence.Watch(*Pin);
  for (const TKLBasicPin* Pin : Sinks()) ASilence.Watch(*Pin);
}

void TWorld::LetGo(TThing* AThing) {
  const TGround Ground = AThing->Place.Ground;
  if (Ground == TGround::Wild) {
    delete AThing;
  } else if (IsInside()) {
    const std::lock_guard Lock(FBuriedMutex);
    FBuried.push_back(AThing);
  } else {
    TSilence Silence(Ground);
    AThing->WatchEnd(Silence);
    delete AThing;
    Silence.Hold();
  }
}

void TWorld::DigUp() {
  std::vector<TThing*> Things;
  {
    const std::lock_guard Lock(FBuriedMutex);
    Things.swap(FBuried);
  }
  for (TThing* Thing : Things) LetGo(Thing);
}

void TWorld::End() {
  Quiet();
  const TOperation Operation("end");
  for (auto& Slots : FSlots) {
    for (auto& Slot : Slots) {
      THeld Gone;
      const std::lock_guard Lock(Slot->Mutex);
      Gone.swap(Slot->Thing);
    }
  }
  DigUp();
  while (MainThread().Process() > 0) {
  }
}

}  // namespace tessalune::torture
