#include "Packages.h"

#include "Commands.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/package/QSPackages.h>

#include <filesystem>

namespace tessalune::host {

void UsePackage(const std::string& AFileName) {
  const TLoadedPackage& Package = LoadPackage(AFileName);
  try {
    RegisterUnits(Package.Info->Units);
  } catch (const EQSException& Error) {
    throw EQSException("the package \"" + AFileName + "\" cannot be used: " + Error.what());
  }
}

TUseGraphPackage GraphPackages(const std::string& AGraph, bool ARuns) {
  return [AGraph, ARuns](const std::string& AName) {
    const auto Folder =
        AGraph == "-" ? std::filesystem::path() : std::filesystem::path(AGraph).parent_path();
    const std::string FileName = (Folder / AName).string();
    if (FindLoadedPackage(FileName) != nullptr) return;
    if (!ARuns) {
      throw EQSException("the package \"" + FileName +
                         "\" was not loaded, for it is code, which runs with all your rights, and "
                         "this command only looks at a graph; if you trust it, add --package " +
                         FileName);
    }
    PrintError("tessalune: warning: the graph \"" + AGraph + "\" loads the package \"" + FileName +
               "\", which is code and runs with all your rights\n");
    UsePackage(FileName);
  };
}

}  // namespace tessalune::host
