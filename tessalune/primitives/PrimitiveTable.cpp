#include <tessalune/primitives/PrimitiveTable.h>

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/primitives/VBIPPSLoader.h>

namespace tessalune {
namespace {

struct TUnit {
  const char* Name;
  std::span<const TPrimitiveEntry> (*Table)() noexcept;
};

constexpr TUnit Units[] = {{"QSDispatcher", &QSDispatcherTable},
                           {"QSHilbertDispatcher", &QSHilbertDispatcherTable},
                           {"QSBasicDispatcher", &QSBasicDispatcherTable}};

void BindAll() noexcept {
  for (const TUnit& Unit : Units) BindTable(Unit.Table());
}

}  // namespace

bool BindTable(std::span<const TPrimitiveEntry> ATable) noexcept {
  for (const TPrimitiveEntry& Entry : ATable) Entry.Bind(GetIPPSProcAddress(Entry.Name));
  return true;
}

std::vector<TBoundPrimitive> BoundPrimitives() {
  std::vector<TBoundPrimitive> Result;
  for (const TUnit& Unit : Units)
    for (const TPrimitiveEntry& Entry : Unit.Table())
      Result.push_back({Unit.Name, Entry.Name, Entry.IsFromLibrary()});
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

void BindPrimitivesToBuiltIns() noexcept {
  UseNoIPPSLibrary();
  BindAll();
}

}  // namespace tessalune
