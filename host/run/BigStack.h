// Room for graphs that are very deep.
#pragma once

#include <cstddef>
#include <functional>

namespace tessalune::host {

// Runs AProc, and all threads that are started meanwhile, on stacks that are deep enough for a
// block's walk through AComponents components in a row: each hop takes a few frames. What AProc
// throws leaves through here.
void OnBigStack(std::size_t AComponents, const std::function<void()>& AProc);

}  // namespace tessalune::host
