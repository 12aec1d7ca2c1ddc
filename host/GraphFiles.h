// The files that a graph's components name, looked at before the graph runs.
#pragma once

#include "Graph.h"

namespace tessalune::host {

// Tells files to read that are missing or have no name, files to write that cannot come into being,
// and files that would be overwritten while they are read or written, by a component or by the
// table of values ATable (empty: there is none). Opens and changes nothing.
void CheckFiles(const TGraph& AGraph, const std::string& ATable, TMistakes& AMistakes);

}  // namespace tessalune::host
