#pragma once

#include <tessalune/primitives/PrimitiveTable.h>

#include <span>

// Table of the analytic-signal primitives. A primitive joins it by its declaration in namespace
// `builtins` and its row in the list.
namespace tessalune {

#define TESSALUNE_QSHILBERTDISPATCHER_PRIMITIVES(X)

TESSALUNE_QSHILBERTDISPATCHER_PRIMITIVES(TESSALUNE_DECLARE_PRIMITIVE)

// The unit's rows, in the order of binding.
std::span<const TPrimitiveEntry> QSHilbertDispatcherTable() noexcept;

}  // namespace tessalune
