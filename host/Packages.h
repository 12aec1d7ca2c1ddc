// Packages of others that a command line or a graph names.
#pragma once

#include <functional>
#include <string>

namespace tessalune::host {

// Loads the package and puts its classes on the palette, once. Raises EQSException.
void UsePackage(const std::string& AFileName);

// What a graph does about a package that it names: loads it, or raises EQSException.
using TUseGraphPackage = std::function<void(const std::string& AName)>;

// For the graph in the file AGraph, from whose folder the names of its packages count; for that on
// the standard input, "-", they count from the current folder. A package that is loaded already is
// simply used. Of any other one ARuns decides: a run warns that it is code, and loads it; who only
// looks at the graph is refused it.
TUseGraphPackage GraphPackages(const std::string& AGraph, bool ARuns);

}  // namespace tessalune::host
