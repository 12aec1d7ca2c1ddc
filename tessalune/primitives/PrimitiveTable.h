#pragma once

#include <span>
#include <string>
#include <vector>

// How a unit's function variables come to be, and how they are bound.
//
// A unit declares its built-ins in namespace `tessalune::builtins`, lists their names once, in the
// order of binding, in a macro, and derives everything else from that list:
//
//     #define TESSALUNE_QSDISPATCHER_PRIMITIVES(X) X(ippsAbs_64f) X(ippsCopy_64fc)
//     TESSALUNE_QSDISPATCHER_PRIMITIVES(TESSALUNE_DECLARE_PRIMITIVE)                  // header
//     TESSALUNE_DEFINE_PRIMITIVES(QSDispatcher, TESSALUNE_QSDISPATCHER_PRIMITIVES)    // source
//
// So each name gets its type `TPtr_<name>` and its variable `tessalune::<name>`. The variables are
// constant-initialised to the built-ins: a call through the table is right at any moment, also
// from the constructor of another static object. When the library is loaded, each unit binds its
// variables once, name by name, to the entries that GetIPPSProcAddress finds; a name that it does
// not find stays with its built-in. From then on the tables only change by the functions at the
// end of this header.
namespace tessalune {

// One row of a unit's table.
struct TPrimitiveEntry {
  const char* Name;
  // Points the variable to AAddress, or to the built-in if null.
  void (*Bind)(void* AAddress) noexcept;
  // Whether the variable points to something else than the built-in.
  bool (*IsFromLibrary)() noexcept;
};

template <auto& AVariable, auto ABuiltIn>
constexpr TPrimitiveEntry MakePrimitiveEntry(const char* AName) noexcept {
  return {AName,
          [](void* AAddress) noexcept {
            AVariable = AAddress ? reinterpret_cast<decltype(ABuiltIn)>(AAddress) : ABuiltIn;
          },
          []() noexcept { return AVariable != ABuiltIn; }};
}

// Binds every row in order, by GetIPPSProcAddress. True, so that a static object can stand for it.
bool BindTable(std::span<const TPrimitiveEntry> ATable) noexcept;

#define TESSALUNE_DECLARE_PRIMITIVE(Name)        \
  using TPtr_##Name = decltype(&builtins::Name); \
  extern TPtr_##Name Name;

#define TESSALUNE_DEFINE_PRIMITIVE(Name) constinit TPtr_##Name Name = &builtins::Name;
#define TESSALUNE_PRIMITIVE_ENTRY(Name) MakePrimitiveEntry<Name, &builtins::Name>(#Name),
#define TESSALUNE_COUNT_PRIMITIVE(Name) +1

// The variables of a unit, `<unit>Table()` that gives its rows, and the binding at load. For the
// unit's source file, inside namespace tessalune.
#define TESSALUNE_DEFINE_PRIMITIVES(Unit, Primitives)                                             \
  Primitives(TESSALUNE_DEFINE_PRIMITIVE) namespace {                                              \
    constexpr std::array<TPrimitiveEntry, 0 Primitives(TESSALUNE_COUNT_PRIMITIVE)> Unit##Entries{ \
        {Primitives(TESSALUNE_PRIMITIVE_ENTRY)}};                                                 \
    [[maybe_unused]] const bool Unit##IsBound = BindTable(Unit##Entries);                         \
  }                                                                                               \
  std::span<const TPrimitiveEntry> Unit##Table() noexcept { return Unit##Entries; }

// What a primitive's name is bound to now.
struct TBoundPrimitive {
  const char* Unit;
  const char* Name;
  bool FromLibrary;  // false: the built-in
};

// All primitives of all units, in the order of binding.
std::vector<TBoundPrimitive> BoundPrimitives();

// Rebinding, for hosts before the first component exists and for tests. No other thread may be
// calling a primitive meanwhile, and no plan that a primitive made may be in use afterwards: a plan
// belongs to the provider that made it.

// Binds all units to the library file AFileName, each name that it lacks to its built-in. False if
// the file does not serve: nothing changes then, and AError tells why (see UseIPPSLibrary).
[[nodiscard]] bool BindPrimitivesTo(const std::string& AFileName, std::string& AError);

// Binds all units as at load.
void BindPrimitivesToDefault() noexcept;

// Binds all units to their built-ins.
void BindPrimitivesToBuiltIns() noexcept;

}  // namespace tessalune
