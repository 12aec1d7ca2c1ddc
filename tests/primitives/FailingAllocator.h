#pragma once

#include <tessalune/primitives/VBMalloc.h>

#include <atomic>
#include <cstdlib>

namespace tessalune::test {

// While one lives, the primitives allocate through it: it counts, and lets the allocation with the
// number FailAt (from 1; 0: none) and all after it fail.
class TFailingAllocator {
 public:
  explicit TFailingAllocator(int AFailAt = 0) {
    FailAt = AFailAt;
    Allocations = Live = 0;
    SetAllocatorHook(&Hook);
  }
  ~TFailingAllocator() { SetAllocatorHook(nullptr); }
  TFailingAllocator(const TFailingAllocator&) = delete;
  TFailingAllocator& operator=(const TFailingAllocator&) = delete;

  static inline std::atomic<int> FailAt;
  static inline std::atomic<int> Allocations;
  static inline std::atomic<int> Live;
  static inline std::atomic<std::size_t> LastSize;
  static inline std::atomic<void*> LastGiven;
  static inline std::atomic<void*> LastFreed;

 private:
  static void* Malloc(std::size_t ASize) noexcept {
    LastSize = ASize;
    const int Number = ++Allocations;
    if (FailAt != 0 && Number >= FailAt) return LastGiven = nullptr;
    ++Live;
    return LastGiven = std::malloc(ASize);
  }
  static void Free(void* ABlock) noexcept {
    if (ABlock) --Live;
    LastFreed = ABlock;
    std::free(ABlock);
  }
  static constexpr TAllocatorHook Hook{&Malloc, &Free};
};

}  // namespace tessalune::test
