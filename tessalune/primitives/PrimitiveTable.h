#pragma once

#include <tessalune/primitives/InstructionSet.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <iterator>
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
// So each name gets its type `TPtr_<name>` and its variable `tessalune::<name>`. The sources of the
// built-ins are compiled once for each instruction set (BuiltIns.h); `builtins::<name>` is the one
// for the baseline. The variables are constant-initialised to that: a call through the table is
// right at any moment. When the library is loaded, or the program that it is linked into, each unit
// binds its variables once, name by name, to the entries that GetIPPSProcAddress finds; a name that
// it does not find gets the built-in for the best instruction set of the processor. From then on
// the tables only change by the functions at the end of this header.
//
// Binding is over before the first static object is constructed, of the program as well as of the
// library: the plans and states that one makes serve for good. In a program that the library is
// linked into, only what asks for a priority of 101 or less by init_priority or the attribute
// constructor may come before; the baseline serves its calls, and a plan or state that it makes is
// refused later on.
namespace tessalune {

// One row of a unit's table.
struct TPrimitiveEntry {
  const char* Name;
  // Points the variable to AAddress, or to the built-in for ASet if null.
  void (*Bind)(void* AAddress, TInstructionSet ASet) noexcept;
  // The index of the built-in in InstructionSets, or -1 if the variable points to something else.
  int (*BuiltInIndex)() noexcept;
};

// A primitive's built-ins, in the order of InstructionSets.
template <auto AFirst, auto... AOthers>
constexpr decltype(AFirst) BuiltInVersions[] = {AFirst, AOthers...};

template <auto& AVariable, auto... ABuiltIns>
constexpr TPrimitiveEntry MakePrimitiveEntry(const char* AName) noexcept {
  static_assert(sizeof...(ABuiltIns) == std::size(InstructionSets));
  return {AName,
          [](void* AAddress, TInstructionSet ASet) noexcept {
            const auto BuiltIn = BuiltInVersions<ABuiltIns...>[static_cast<std::size_t>(ASet)];
            AVariable = AAddress ? reinterpret_cast<decltype(BuiltIn)>(AAddress) : BuiltIn;
          },
          []() noexcept {
            const auto& BuiltIns = BuiltInVersions<ABuiltIns...>;
            const auto* Found = std::find(std::begin(BuiltIns), std::end(BuiltIns), AVariable);
            return Found == std::end(BuiltIns) ? -1 : static_cast<int>(Found - BuiltIns);
          }};
}

// Binds every row in order, by GetIPPSProcAddress.
void BindTable(std::span<const TPrimitiveEntry> ATable) noexcept;

// The entries of a unit, by which a package loads and unloads it; any thread.
#define TESSALUNE_DECLARE_UNIT_ENTRIES(Unit) \
  namespace Unit {                           \
  void initialization() noexcept;            \
  void Finalization() noexcept;              \
  }

#define TESSALUNE_DECLARE_PRIMITIVE(Name)        \
  using TPtr_##Name = decltype(&builtins::Name); \
  extern TPtr_##Name Name;

#if TESSALUNE_HAS_X86_SETS
#define TESSALUNE_DECLARE_VERSIONS(Name) \
  namespace builtins::Avx2 {             \
  decltype(builtins::Name) Name;         \
  }                                      \
  namespace builtins::Avx512 {           \
  decltype(builtins::Name) Name;         \
  }
#define TESSALUNE_VERSIONS(Name) &builtins::Name, &builtins::Avx2::Name, &builtins::Avx512::Name
#else
#define TESSALUNE_DECLARE_VERSIONS(Name)
#define TESSALUNE_VERSIONS(Name) &builtins::Name
#endif
#define TESSALUNE_DEFINE_PRIMITIVE(Name) constinit TPtr_##Name Name = &builtins::Name;
#define TESSALUNE_PRIMITIVE_ENTRY(Name) MakePrimitiveEntry<Name, TESSALUNE_VERSIONS(Name)>(#Name),
#define TESSALUNE_COUNT_PRIMITIVE(Name) +1

// The variables of a unit, `<unit>Table()` that gives its rows, and its entries, which
// TESSALUNE_DECLARE_UNIT_ENTRIES declares. For the unit's source file, inside namespace tessalune.
// The entries are counted: the first `initialization` binds, and that is the one when the library
// is loaded; later ones change nothing. All that binding reads is constant-initialised: it has the
// first priority that a program may use, ahead of all objects that ask for none.
#define TESSALUNE_DEFINE_PRIMITIVES(Unit, Primitives)                                             \
  Primitives(TESSALUNE_DECLARE_VERSIONS) Primitives(TESSALUNE_DEFINE_PRIMITIVE) namespace {       \
    constexpr std::array<TPrimitiveEntry, 0 Primitives(TESSALUNE_COUNT_PRIMITIVE)> Unit##Entries{ \
        {Primitives(TESSALUNE_PRIMITIVE_ENTRY)}};                                                 \
    constinit std::atomic<int> Unit##Counter{0};                                                  \
  }                                                                                               \
  namespace Unit {                                                                                \
  void initialization() noexcept {                                                                \
    if (--Unit##Counter == -1) BindTable(Unit##Entries);                                          \
  }                                                                                               \
  void Finalization() noexcept { ++Unit##Counter; }                                               \
  namespace {                                                                                     \
  [[gnu::constructor(101)]] void Bind() noexcept { initialization(); }                            \
  }                                                                                               \
  }                                                                                               \
  std::span<const TPrimitiveEntry> Unit##Table() noexcept { return Unit##Entries; }

// What a primitive's name is bound to now.
struct TBoundPrimitive {
  const char* Unit;
  const char* Name;
  bool FromLibrary;                // false: the built-in
  TInstructionSet InstructionSet;  // of the built-in
};

// All primitives of all units, in the order of binding.
std::vector<TBoundPrimitive> BoundPrimitives();

// Rebinding, for hosts before the first component exists and for tests. No other thread may be
// calling a primitive meanwhile. Plans and states are to be freed before: the built-ins refuse
// those of another set or library, their Free too, until the tables are bound as they were; what a
// library does with a plan that is not its own is not defined.

// Binds all units to the library file AFileName, each name that it lacks to its built-in. False if
// the file does not serve: nothing changes then, and AError tells why (see UseIPPSLibrary).
[[nodiscard]] bool BindPrimitivesTo(const std::string& AFileName, std::string& AError);

// Binds all units to the library that is found by its public names, if any, and to the built-ins:
// as at load, unless BindPrimitivesToInstructionSet was called.
void BindPrimitivesToDefault() noexcept;

// Binds all units to the built-ins for ASet; what the other functions here bind to built-ins is for
// ASet too from then on, until BestInstructionSet() is asked for. False if HasInstructionSet(ASet)
// is not so: nothing changes then.
[[nodiscard]] bool BindPrimitivesToInstructionSet(TInstructionSet ASet) noexcept;

// Binds all units to their built-ins.
void BindPrimitivesToBuiltIns() noexcept;

}  // namespace tessalune
