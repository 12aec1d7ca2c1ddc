// The package: its units, and their coming and going.
#pragma once

#include <tessalune/frame/runtime/QSGuid.h>
#include <tessalune/frame/runtime/QSIcons.h>

#include <span>
#include <string_view>

namespace tessalune {

// A unit of the package. RegisterPkg puts the unit's classes on the host's palette; it is null for
// a unit that has none. Nothing in the package calls it: a program that only runs graphs needs no
// palette, and a host registers the units that it wants.
struct TPackageUnit {
  std::string_view Name;
  void (*RegisterPkg)();
};

inline constexpr std::string_view PackageDescription = "Norvane - Tessalune Package";

// The load and unload entries. The primitives' tables are bound when the library is loaded and the
// units have nothing to do, so both only count; they may be called in pairs any number of times.
void Initialize();
void Finalize();
// How often Initialize was called without its Finalize.
int InitializationCount();

std::span<const TPackageUnit> GetPackageInfoTable();

// The icon of a stream type, by its id: a PNG file of 16 by 16 pixels. Empty for a type without.
TIconFile StreamIcon(const TGUID& ADataTypeID);

// Registers every unit that has classes.
void RegisterAllUnits();

}  // namespace tessalune
