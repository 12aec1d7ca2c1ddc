// What is no mistake in a graph but most likely not meant.
#pragma once

#include "Graph.h"

#include <string>
#include <vector>

namespace tessalune::host {

struct TWarning {
  const TComponent* Component;  // null: the graph as a whole
  std::string Text;             // names the component
};

// Inputs that need a link and have none, sources that lead nowhere, a graph in which nothing would
// run.
std::vector<TWarning> CheckGraph(const TGraph& AGraph);

// The same as mistakes, by their places, and what components remark of the streams that they will
// get.
void TellWarnings(const TGraph& AGraph, TMistakes& AMistakes);

}  // namespace tessalune::host
