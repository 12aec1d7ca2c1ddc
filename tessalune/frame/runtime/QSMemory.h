// Recycled memory: what a running graph takes and gives back for every block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tessalune {

// Memory of at least ABytes bytes, aligned to 64 bytes. Freed memory is kept by size and handed
// out again, first from a small stock of the calling thread, then from one that all threads share,
// so a graph in its steady state takes nothing from the system. Any thread may free what another
// took. Throws std::bad_alloc.
void* RecycledAllocate(std::size_t ABytes);
void RecycledFree(void* AMemory, std::size_t ABytes) noexcept;

// Gives all memory that waits in the shared stock, and in the calling thread's, back to the system.
void ReleaseRecycledMemory() noexcept;

// How often RecycledAllocate had to ask the system since the process began.
std::uint64_t RecycledSystemAllocations() noexcept;

// Base of small objects that come and go with every block.
class TRecycled {
 public:
  static void* operator new(std::size_t ABytes) { return RecycledAllocate(ABytes); }
  static void operator delete(void* AMemory, std::size_t ABytes) noexcept {
    RecycledFree(AMemory, ABytes);
  }
};

}  // namespace tessalune
