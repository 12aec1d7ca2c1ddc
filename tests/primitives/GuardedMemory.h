#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace tessalune::test {

enum class TGuardedSide { Front, Back };

// A copy of values right behind or right before a page that nobody may touch, with such a page on
// the other side too.
template <class T>
class TGuarded {
 public:
  TGuarded(const std::vector<T>& AValues, TGuardedSide ASide) {
    const auto Page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t Bytes = AValues.size() * sizeof(T);
    const std::size_t Inner = (Bytes + Page - 1) / Page * Page;
    FSize = Inner + 2 * Page;
    FPages = mmap(nullptr, FSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (FPages == MAP_FAILED) throw std::bad_alloc();
    std::byte* Start = static_cast<std::byte*>(FPages) + Page;
    if (Inner > 0 && mprotect(Start, Inner, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    if (ASide == TGuardedSide::Back) Start += Inner - Bytes;
    FValues = reinterpret_cast<T*>(Start);
    std::copy(AValues.begin(), AValues.end(), FValues);
  }
  TGuarded(TGuarded&& AOther)
      : FPages(std::exchange(AOther.FPages, nullptr)),
        FSize(AOther.FSize),
        FValues(AOther.FValues) {}
  ~TGuarded() {
    if (FPages != nullptr) munmap(FPages, FSize);
  }
  TGuarded& operator=(const TGuarded&) = delete;

  T* data() const { return FValues; }

 private:
  void* FPages;
  std::size_t FSize;
  T* FValues;
};

}  // namespace tessalune::test
