// The files that a graph's components name, looked at before the graph runs.
#pragma once

#include "Graph.h"

#include <tessalune/frame/runtime/QSReports.h>

#include <string>
#include <vector>

namespace tessalune::host {

// A file that a component will use, and where the graph names it.
struct TNamedFile {
  const TComponent* Component;
  TUsedFile File;
  TGraph::TWhere Where;
};

// Tells files to read that are missing or have no name, files to write that cannot come into being,
// and files that would be overwritten while they are read or written, by a component or by the
// table of values ATable (empty: there is none), the graph's own file among them. ALater are files
// that components come to use on the way. Opens and changes nothing.
void CheckFiles(const TGraph& AGraph, const std::vector<TNamedFile>& ALater,
                const std::string& ATable, TMistakes& AMistakes);

}  // namespace tessalune::host
