// Some threads do to a world of components whatever the frame allows, from outside and inside
// handlers, and what the components hear is checked against the frame's promises.
//
//   tessalune_torture [--seconds N] [--seed N] [--threads N] [--patience N] [--without KIND]...
//
// The exit code is 0 if no promise was broken and nothing is left alive at the end. The seed fixes
// what each thread draws, not how the threads interleave.
#include "Palette.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>

namespace tessalune::torture {
namespace {

thread_local bool IsMain = false;
thread_local std::size_t Depth = 0;  // handlers of the torture's on this thread's stack
bool IsInside() { return Depth > 0; }

using TKinds = std::vector<TKind>;
using enum TKind;
const TKinds SlotKinds{Generator, Generator, Generator, Player,  Feed,   Filter,
                       Filter,    Filter,    Logger,    Sink,    Sink,   Sink,
                       Sink,      Group,     Palette,   Palette, Palette};
// What can be pumped, what has properties, where links end, where they start.
const TKinds Pumps{Generator, Player, Feed, Group, Palette};
const TKinds Changes{Generator, Player, Filter, Logger, Palette};
const TKinds Ends{Generator, Filter, Logger, Sink, Palette};
const TKinds Starts{Generator, Player, Feed, Filter, Group, Palette};

struct TSlot {
  std::mutex Mutex;
  THeld Thing;
};
std::array<std::array<TSlot, 17>, 3> Slots;
std::atomic_flag Advancing;
std::atomic<bool> Quiet{false};
std::atomic<std::uint64_t> LastId{0};
std::mutex BuriedMutex;
std::vector<TThing*> Buried;

// --- ends ---

void LetGo(TThing* AThing) {
  const TGround Ground = AThing->Place.Ground;
  if (Ground == Wild) {
    delete AThing;
  } else if (IsInside()) {
    const std::lock_guard Lock(BuriedMutex);
    Buried.push_back(AThing);
  } else {
    TSilence Silence(Ground);
    for (const TKLBasicPin* Pin : {AThing->Source, AThing->Sink}) {
      if (Pin != nullptr) Silence.Watch(*Pin);
    }
    for (std::size_t I = 0; AThing->Inputs != nullptr && I < AThing->Inputs->Count(); ++I) {
      Silence.Watch((*AThing->Inputs)[I]);
    }
    delete AThing;
    Silence.Hold();
  }
}

void DigUp() {
  std::vector<TThing*> Things;
  {
    const std::lock_guard Lock(BuriedMutex);
    Things.swap(Buried);
  }
  for (TThing* Thing : Things) LetGo(Thing);
}

// Lets go of what ASlot holds, of the thing with AId only if one is given.
void Empty(TSlot& ASlot, std::uint64_t AId = 0) {
  THeld Gone;
  const std::lock_guard Lock(ASlot.Mutex);
  if (AId == 0 || (ASlot.Thing && ASlot.Thing->Place.Id == AId)) Gone.swap(ASlot.Thing);
}

// --- operations ---

THeld Pick(TGround AGround, const TKinds& AKinds) {
  TKinds::size_type At = 0;
  do {
    At = Chance().Below(SlotKinds.size());
  } while (std::find(AKinds.begin(), AKinds.end(), SlotKinds[At]) == AKinds.end());
  const std::lock_guard Lock(Slots[AGround][At].Mutex);
  return Slots[AGround][At].Thing;
}

void NewThing(TGround AGround) {
  const std::size_t At = Chance().Below(SlotKinds.size());
  THeld Thing(MakeThing(SlotKinds[At], {AGround, At, ++LastId}), LetGo);
  const std::lock_guard Lock(Slots[AGround][At].Mutex);
  if (Slots[AGround][At].Thing == nullptr) Slots[AGround][At].Thing.swap(Thing);
}

void Connect(TGround AGround) {
  const THeld To = Pick(AGround, Ends);
  if (To && To->Sink != nullptr) ConnectSource(AGround, *To->Sink);
}

void Disconnect(TGround AGround) {
  const THeld From = Pick(AGround, Starts);
  const THeld To = Pick(AGround, Ends);
  TKLBasicPin* One = From ? From->Source : nullptr;
  TKLBasicPin* Other = To ? To->Sink : nullptr;
  if (Chance().OneIn(2)) std::swap(One, Other);
  const bool All = Chance().OneIn(2);
  if (One == nullptr || (!All && Other == nullptr)) return;
  TSilence Silence(AGround);
  if (All) {
    Silence.Watch(*One);
    One->DisconnectAll();
  } else {
    Silence.WatchLink(*One, *Other);
    One->Disconnect(*Other);
  }
  Silence.Hold();
}

void Execute(TGround AGround) {
  const THeld Thing = Pick(AGround, {Generator, Player, Filter, Logger, Group, Palette});
  if (Thing) MainThread().Execute(*Thing->Component, [Place = Thing->Place] { Handle(Place); });
}

void Process(TGround) {
  if (IsMain) MainThread().Process();
}

// Not in a handler: whoever waits for the clock's threads must not keep them waiting.
void Advance(TGround) {
  if (Advancing.test_and_set()) return;
  Time()->Advance(std::chrono::milliseconds(1 + Chance().Below(20)));
  Advancing.clear();
}

auto Deed(TDeed ADeed, const TKinds& AKinds) {
  return [ADeed, AKinds](TGround AGround) {
    if (const THeld Thing = Pick(AGround, AKinds)) Thing->Do(ADeed);
  };
}

// One kind of operation. On calm and rough ground a handler does only what leaves others' links
// alone and does not make a block inside a block.
enum class TWhere : std::uint8_t { Anywhere, Outside, OutsideUnlessWild };
using enum TWhere;
struct TRow {
  TCounter Done;
  std::size_t Weight;
  TWhere Where;
  std::function<void(TGround)> Do;
};
TRow Rows[] = {
    {{"create"}, 10, Anywhere, NewThing},
    {{"destroy"}, 5, Anywhere, [](TGround AGround) { Empty(Chance().Of(Slots[AGround])); }},
    {{"connect"}, 20, Anywhere, Connect},
    {{"disconnect"}, 12, OutsideUnlessWild, Disconnect},
    {{"start"}, 14, Anywhere, Deed(TDeed::Start, Pumps)},
    {{"stop"}, 6, Anywhere, Deed(TDeed::Stop, Pumps)},
    {{"pump"}, 16, OutsideUnlessWild, Deed(TDeed::Pump, Pumps)},
    {{"set"}, 8, Anywhere, Deed(TDeed::Set, Changes)},
    {{"enable"}, 3, Anywhere, Deed(TDeed::Enable, Changes)},
    {{"threading"}, 5, Anywhere, Deed(TDeed::Threading, {Filter, Palette})},
    {{"seek"}, 2, Anywhere, Deed(TDeed::Seek, {Player})},
    {{"value"}, 3, Anywhere, Deed(TDeed::Value, {Group, Player, Palette})},
    {{"list"}, 3, OutsideUnlessWild, Deed(TDeed::List, {Group})},
    {{"own"}, 4, Anywhere, Deed(TDeed::Own, {Group})},
    {{"execute"}, 4, Anywhere, Execute},
    {{"process"}, 4, Anywhere, Process},
    {{"advance"}, 4, Outside, Advance},
};
const std::size_t AllWeights = std::transform_reduce(
    std::begin(Rows), std::end(Rows), std::size_t{0}, std::plus(), std::mem_fn(&TRow::Weight));
TCounter EndsInside{"end-inside"};

// What --without can leave out.
std::vector<std::string> Kinds() {
  std::vector<std::string> All{"calm", "rough", "wild", "inside", "end-inside", "throw"};
  for (const TRow& Row : Rows) All.emplace_back(Row.Done.Name);
  return All;
}

// Draws an operation and does it; what it throws is counted.
void Operate() {
  const auto Ground = static_cast<TGround>(Chance().Below(Slots.size()));
  std::size_t Drawn = Chance().Below(AllWeights);
  TRow* Row = Rows;
  while (Drawn >= Row->Weight) Drawn -= Row++->Weight;
  const bool Here =
      !IsInside() || Row->Where == Anywhere || (Row->Where == OutsideUnlessWild && Ground == Wild);
  if (!Here || !With(GroundNames[Ground]) || !With(Row->Done.Name)) return;
  const TOperation Operation(Row->Done.Name);
  Row->Done.Add();
  try {
    Row->Do(Ground);
    if (!IsInside()) DigUp();
  } catch (...) {
    CountException();
  }
}

}  // namespace

void Inside(const std::function<void()>& ADo) {
  ++Depth;
  const TAtEnd End{[] { --Depth; }};
  ADo();
}

void Handle(const TPlace& APlace) {
  constexpr std::size_t Deepest = 4;
  if (Quiet || Depth >= Deepest) return;
  Inside([Place = APlace] {  // its own: the component may end in here
    if (With("inside") && Chance().OneIn(40)) Operate();
    if (Place.Ground == Wild && With("end-inside") && Chance().OneIn(400)) {
      const TOperation Operation(EndsInside.Name);
      EndsInside.Add();
      Empty(Slots[Place.Ground][Place.Slot], Place.Id);
    }
    if (Place.Ground != Calm && With("throw") && Chance().OneIn(200)) throw TThrown();
  });
}

void ConnectSource(TGround AGround, TKLBasicPin& ASink) {
  const THeld From = Pick(AGround, Starts);
  if (!From || From->Source == nullptr) return;
  const auto Ledger = TLedger::Of(ASink);
  if (Ledger) Ledger->Connecting(true);
  const TAtEnd End{[&] {
    if (Ledger) Ledger->Connecting(false);
  }};
  const bool Forth = Chance().OneIn(2);
  (Forth ? *From->Source : ASink).Connect(Forth ? ASink : *From->Source);
}

namespace {

void EndAll() {
  Quiet = true;
  const TOperation Operation("end");
  for (auto& Ground : Slots) {
    for (TSlot& Slot : Ground) Empty(Slot);
  }
  DigUp();
  while (MainThread().Process() > 0) {
  }
}

void PrintOperations() {
  EndsInside.Print();
  for (const TRow& Row : Rows) Row.Done.Print();
  BlocksHeard.Print();
}

// --- the program ---

using TSteady = std::chrono::steady_clock;
TSteady::time_point In(const char* AOption) {
  return TSteady::now() + std::chrono::milliseconds(std::llround(1000 * Options.at(AOption)));
}

void ReadOptions(const std::vector<std::string>& AArguments) {
  const std::vector<std::string> All = Kinds();
  for (std::size_t I = 0; I < AArguments.size(); I += 2) {
    const std::string Value = I + 1 < AArguments.size() ? AArguments[I + 1] : "";
    const auto Number = Options.find(AArguments[I]);
    char* Rest = nullptr;
    if (Number != Options.end() && !Value.empty())
      Number->second = std::strtod(Value.c_str(), &Rest);
    if (Rest != nullptr && *Rest == '\0' && Number->second >= 0 && Number->second < 1e6) continue;
    if (AArguments[I] != "--without" || std::find(All.begin(), All.end(), Value) == All.end()) {
      std::string Text =
          "--seconds, --seed, --threads, --patience, each with a number below 1e6, "
          "and --without with one of";
      for (const std::string& Kind : All) Text += " " + Kind;
      throw std::invalid_argument(AArguments[I] + " cannot be \"" + Value + "\"; there are " +
                                  Text);
    }
    Without.insert(Value);
  }
}

std::ptrdiff_t CountOf(const char* AFolder) {
  const std::filesystem::directory_iterator Entries(AFolder);
  return std::distance(begin(Entries), end(Entries));
}
std::ptrdiff_t ThreadCount() { return CountOf("/proc/self/task"); }
std::ptrdiff_t FileCount() { return CountOf("/proc/self/fd"); }

// The host's main thread: runs what is queued for it.
void WorkOnMainThread(TSteady::time_point AUntil) {
  while (TSteady::now() < AUntil) {
    MainThread().WaitForWork(std::chrono::milliseconds(10));
    try {
      const TOperation Operation("main thread");
      MainThread().Process();
    } catch (...) {
      CountException();
    }
  }
}

void Torture() {
  const std::ptrdiff_t Threads = ThreadCount();
  const std::ptrdiff_t Files = FileCount();
  const auto Until = In("--seconds");
  std::vector<std::thread> Workers;
  for (int I = 0; I < Options.at("--threads"); ++I) {
    Workers.emplace_back([Until, I] {
      Chance().Seed(Options.at("--seed") * 1000 + I);
      while (TSteady::now() < Until) Operate();
    });
  }
  IsMain = true;
  WorkOnMainThread(Until);
  for (std::thread& Worker : Workers) Worker.join();
  // Until the frame's threads have gone: what a handler just did may have made another thing.
  const auto Patience = In("--patience");
  for (EndAll(); ThreadCount() > Threads && TSteady::now() < Patience; EndAll()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EndAll();
  const auto Tell = [](const char* AWhat, std::ptrdiff_t ACount) {
    if (ACount > 0) Fault(AWhat, "  " + std::to_string(ACount) + " of them\n");
  };
  Tell("threads are left", ThreadCount() - Threads);
  Tell("open files are left", FileCount() - Files);
  Tell("components, inputs or their records are left alive", Alive);
}

// In a folder of this run's own, with what the players play.
bool TortureInFolder() {
  Folder = (std::filesystem::temp_directory_path() / "tessalune-XXXXXX").string();
  if (mkdtemp(Folder.data()) == nullptr) {
    throw std::runtime_error("no folder " + Folder + " can be made; set TMPDIR to one to write to");
  }
  const TAtEnd End{[] { std::filesystem::remove_all(Folder); }};
  std::ofstream(Folder + "/zeros") << std::string(16384, '\0');
  std::ofstream(Folder + "/few") << std::string(100, '\0');
  SetUnhandledExceptionHook([](TObject*, const auto& AError) { CountException(AError); });
  const std::jthread Watchdog(Watch);
  Torture();
  SetUnhandledExceptionHook({});
  PrintOperations();
  return PrintReport();
}

}  // namespace
}  // namespace tessalune::torture

int main(int ACount, char** AArguments) {
  try {
    tessalune::torture::ReadOptions({AArguments + 1, AArguments + ACount});
    return tessalune::torture::TortureInFolder() ? 0 : 1;
  } catch (const std::exception& Error) {
    std::fprintf(stderr, "tessalune_torture: %s\n", Error.what());
    return 2;
  }
}
