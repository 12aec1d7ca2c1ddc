#pragma once

#include <cstddef>

namespace tessalune {

// Memory of the primitives: a block of ASize bytes, aligned for every fundamental type, or null
// when memory is exhausted. Callable on any thread.
[[nodiscard]] void* _malloc(std::size_t ASize) noexcept;

// Gives back a block of _malloc; null does nothing.
void _free(void* ABlock) noexcept;

// What _malloc and _free stand on. Both members are to be set and must behave as the C library's:
// null on exhaustion, blocks aligned for every fundamental type, callable on any thread.
struct TAllocatorHook {
  void* (*Malloc)(std::size_t) noexcept;
  void (*Free)(void*) noexcept;
};

// Puts AHook under _malloc and _free, or the C library again if null. For tests of exhaustion and
// of leaks. AHook must live for as long as it is set; a block must be freed under the hook that
// gave it.
void SetAllocatorHook(const TAllocatorHook* AHook) noexcept;

}  // namespace tessalune
