// The files that a graph's components name, looked at before the graph runs.
#pragma once

#include "Graph.h"

namespace tessalune::host {

// Tells players whose file is missing or empty of a name, loggers whose file cannot come into
// being, and files that would be overwritten while they are read or written. Opens and changes
// nothing.
void CheckFiles(const TGraph& AGraph, TMistakes& AMistakes);

}  // namespace tessalune::host
