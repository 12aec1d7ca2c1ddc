// Packages of others: shared libraries with component classes, which a program loads while it runs.
// docs/packages.md tells how to write one.
//
// A package is code: whoever loads one runs it, with all that the process may do.
#pragma once

#include <tessalune/package/TessalunePkg.h>

#include <string>

namespace tessalune {

// The three entries of a package, once in one of its sources, outside of any namespace. Behind the
// description come the units, each with its name and its RegisterPkg:
//
//   TESSALUNE_PACKAGE("Acme - Gains", {"Gain", &Gain::RegisterPkg}, {"Fade", &Fade::RegisterPkg})
//
// Initialize runs the units' own entries, where they have some, and Finalize does, backwards.
#define TESSALUNE_PACKAGE(ADescription, ...)                                                   \
  namespace {                                                                                  \
  constexpr ::tessalune::TPackageUnit TessalunePackageUnits[] = {__VA_ARGS__};                 \
  constexpr std::string_view TessalunePackageNeeds[] = {::tessalune::PackageDescription};      \
  }                                                                                            \
  extern "C" {                                                                                 \
  [[gnu::visibility("default")]] void Initialize() {                                           \
    ::tessalune::InitializeUnits(TessalunePackageUnits);                                       \
  }                                                                                            \
  [[gnu::visibility("default")]] void Finalize() {                                             \
    ::tessalune::FinalizeUnits(TessalunePackageUnits);                                         \
  }                                                                                            \
  [[gnu::visibility("default")]] const ::tessalune::TPackageInfoTable& GetPackageInfoTable() { \
    static const ::tessalune::TPackageInfoTable Table{.Description = ADescription,             \
                                                      .Needs = TessalunePackageNeeds,          \
                                                      .Units = TessalunePackageUnits};         \
    return Table;                                                                              \
  }                                                                                            \
  }

struct TLoadedPackage {
  std::string FileName;  // absolute, with no symbolic links
  const TPackageInfoTable* Info;
};

// Loads the package in the file AFileName, a path that counts from the current folder (there is no
// search elsewhere), and runs its Initialize. A file that is loaded already, under whatever name,
// is given again. Registers nothing. Any thread.
//
// Raises EQSException that names the file, what is wrong with it and what to do: a file that is
// missing, is no shared library or lacks one that it needs; lacks one of the entries Initialize,
// Finalize and GetPackageInfoTable; was compiled with headers of another version; does not use this
// process's copy of the library, but holds one of its own. A file whose code was bad enough to be
// refused stays in the process, but nothing of it is used.
//
// A package is never taken out again: its classes may be in use until the process ends.
const TLoadedPackage& LoadPackage(const std::string& AFileName);

// The package that was loaded from that file; null if none was. Runs nothing.
const TLoadedPackage* FindLoadedPackage(const std::string& AFileName);

// Runs the Finalize of all packages that were loaded, the last one first, for the end of a program
// when no component of theirs is left. Each once; the classes stay on the palette.
void FinalizePackages();

}  // namespace tessalune
