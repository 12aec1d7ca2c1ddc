// Counts what the test program takes from the system through operator new.
#pragma once

#include <cstdint>

namespace tessalune::testing {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool CountsAllocations = false;
#else
inline constexpr bool CountsAllocations = true;
#endif

std::uint64_t Allocations() noexcept;

}  // namespace tessalune::testing
