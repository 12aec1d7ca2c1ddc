#include <tessalune/primitives/VBMalloc.h>

#include <atomic>
#include <cstdlib>

namespace tessalune {
namespace {

constinit std::atomic<const TAllocatorHook*> Hook = nullptr;

}  // namespace

void* _malloc(std::size_t ASize) noexcept {
  const TAllocatorHook* Current = Hook.load(std::memory_order_acquire);
  return Current ? Current->Malloc(ASize) : std::malloc(ASize);
}

void _free(void* ABlock) noexcept {
  const TAllocatorHook* Current = Hook.load(std::memory_order_acquire);
  if (Current)
    Current->Free(ABlock);
  else
    std::free(ABlock);
}

void SetAllocatorHook(const TAllocatorHook* AHook) noexcept {
  Hook.store(AHook, std::memory_order_release);
}

}  // namespace tessalune
