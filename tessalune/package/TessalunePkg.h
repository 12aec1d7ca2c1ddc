// The package: its units, and their coming and going; what any package tells of itself.
#pragma once

#include <tessalune/frame/runtime/QSGuid.h>
#include <tessalune/frame/runtime/QSIcons.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace tessalune {

// A unit of a package. RegisterPkg puts the unit's classes on the host's palette; it is null for
// a unit that has none. Nothing in the package calls it: a program that only runs graphs needs no
// palette, and a host registers the units that it wants. Initialization and Finalization are run
// when the package is loaded and unloaded; null where a unit has nothing to do then.
struct TPackageUnit {
  std::string_view Name;
  void (*RegisterPkg)() = nullptr;
  void (*Initialization)() = nullptr;
  void (*Finalization)() = nullptr;
};

// The version of the headers that a package is compiled with, as far as it decides whether the
// package and a library understand each other: that of the library's SONAME. Before 1.0 each minor
// version is one of its own.
inline constexpr std::string_view PackageAbi = "0.1";

// The address of something in the library, which is another one in each copy of the library that a
// process holds.
const void* LibraryInstance() noexcept;

// What a package tells of itself.
struct TPackageInfoTable {
  // What the record begins with in every version; the rest is as Abi says.
  static constexpr std::uint64_t Signature = 0x316b615061737354;
  std::uint64_t Begin = Signature;
  std::string_view Abi = PackageAbi;

  const void* Library = LibraryInstance();  // that the package calls
  std::string_view Description{};
  std::span<const std::string_view> Needs{};  // the packages that it stands on, in order
  std::span<const TPackageUnit> Units{};      // in the order in which they are initialised
};

inline constexpr std::string_view PackageDescription = "Norvane - Tessalune Package";

// The load and unload entries: the first Initialize runs the units' in order, the Finalize that
// ends the last pair runs them backwards. Any thread, any number of times. The primitives are bound
// when the library is loaded, before its first Initialize, and stay so: what a host has bound them
// to since, no Initialize changes. A Finalize without its Initialize does nothing.
void Initialize();
void Finalize();
// How often Initialize was called without its Finalize.
int InitializationCount();

const TPackageInfoTable& GetPackageInfoTable();

// The icon of a stream type, by its id: a PNG file of 16 by 16 pixels. Empty for a type without.
TIconFile StreamIcon(const TGUID& ADataTypeID);

// Registers every unit that has classes, in order. Raises EQSException for a class whose name
// another one has (RegisterComponents); the units before it are registered then.
void RegisterUnits(std::span<const TPackageUnit> AUnits);
// The same for the units of this package.
void RegisterAllUnits();

// The entries of any package's units, in order and backwards.
void InitializeUnits(std::span<const TPackageUnit> AUnits);
void FinalizeUnits(std::span<const TPackageUnit> AUnits);

}  // namespace tessalune
