#include <tessalune/primitives/PrimitiveTable.h>

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/primitives/VBIPPSLoader.h>

#include <algorithm>
#include <optional>

namespace tessalune {
namespace {

struct TUnit {
  const char* Name;
  std::span<const TPrimitiveEntry> (*Table)() noexcept;
};

constexpr TUnit Units[] = {{"QSDispatcher", &QSDispatcherTable},
                           {"QSHilbertDispatcher", &QSHilbertDispatcherTable},
                           {"QSBasicDispatcher", &QSBasicDispatcherTable}};

// The set of the built-ins that tables are bound to. Constant-initialised to "not chosen yet",
// since units bind before static objects are constructed.
constinit std::optional<TInstructionSet> ChosenSet;

TInstructionSet ChosenInstructionSet() noexcept {
  if (!ChosenSet) ChosenSet = BestInstructionSet();
  return *ChosenSet;
}

void BindAll() noexcept {
  for (const TUnit& Unit : Units) BindTable(Unit.Table());
}

}  // namespace

void BindTable(std::span<const TPrimitiveEntry> ATable) noexcept {
  const TInstructionSet Set = ChosenInstructionSet();
  for (const TPrimitiveEntry& Entry : ATable) Entry.Bind(GetIPPSProcAddress(Entry.Name), Set);
}

std::vector<TBoundPrimitive> BoundPrimitives() {
  std::vector<TBoundPrimitive> Result;
  for (const TUnit& Unit : Units)
    for (const TPrimitiveEntry& Entry : Unit.Table()) {
      const int Index = Entry.BuiltInIndex();
      Result.push_back({Unit.Name, Entry.Name, Index < 0, InstructionSets[std::max(Index, 0)]});
    }
  return Result;
}

bool BindPrimitivesTo(const std::string& AFileName, std::string& AError) {
  if (!UseIPPSLibrary(AFileName, AError)) return false;
  BindAll();
  return true;
}

void BindPrimitivesToDefault() noexcept {
  UseDefaultIPPSLibrary();
  BindAll();
}

bool BindPrimitivesToInstructionSet(TInstructionSet ASet) noexcept {
  if (!HasInstructionSet(ASet)) return false;
  ChosenSet = ASet;
  BindPrimitivesToBuiltIns();
  return true;
}

void BindPrimitivesToBuiltIns() noexcept {
  UseNoIPPSLibrary();
  BindAll();
}

}  // namespace tessalune
