#include "Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::uint64_t> Count{0};
}

std::uint64_t tessalune::testing::Allocations() noexcept { return Count; }

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

void* operator new(std::size_t ABytes) {
  Count.fetch_add(1, std::memory_order_relaxed);
  if (void* Memory = std::malloc(ABytes != 0 ? ABytes : 1)) return Memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t ABytes, std::align_val_t AAlignment) {
  Count.fetch_add(1, std::memory_order_relaxed);
  const auto Alignment = static_cast<std::size_t>(AAlignment);
  const std::size_t Whole = (ABytes + Alignment - 1) / Alignment * Alignment;
  if (void* Memory = std::aligned_alloc(Alignment, Whole)) return Memory;
  throw std::bad_alloc();
}
void operator delete(void* AMemory) noexcept { std::free(AMemory); }
void operator delete(void* AMemory, std::size_t) noexcept { std::free(AMemory); }
void operator delete(void* AMemory, std::align_val_t) noexcept { std::free(AMemory); }
void operator delete(void* AMemory, std::size_t, std::align_val_t) noexcept { std::free(AMemory); }

#endif
