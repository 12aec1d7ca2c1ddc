// A queue that takes memory only when it grows.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace tessalune {

// First in, first out. A place that was left holds a T of no content, so what was in it has gone.
template <class T>
class TQSRing {
 public:
  std::size_t Count() const noexcept { return FCount; }
  bool IsEmpty() const noexcept { return FCount == 0; }
  // From the front; the index must lie inside.
  T& operator[](std::size_t AIndex) noexcept { return FSlots[At(AIndex)]; }
  const T& operator[](std::size_t AIndex) const noexcept { return FSlots[At(AIndex)]; }
  T& First() noexcept { return (*this)[0]; }
  const T& First() const noexcept { return (*this)[0]; }
  T& Last() noexcept { return (*this)[FCount - 1]; }

  void Push(T AItem) {
    if (FCount == FSlots.size()) Grow();
    FSlots[At(FCount)] = std::move(AItem);
    ++FCount;
  }
  T Pop() {
    T Item = std::exchange(FSlots[FFirst], T());
    FFirst = At(1);
    --FCount;
    return Item;
  }

 private:
  std::size_t At(std::size_t AIndex) const noexcept {
    const std::size_t Place = FFirst + AIndex;
    return Place < FSlots.size() ? Place : Place - FSlots.size();
  }
  void Grow() {
    std::vector<T> Slots(FSlots.size() * 2 + 8);
    for (std::size_t I = 0; I < FCount; ++I) Slots[I] = std::move((*this)[I]);
    FSlots = std::move(Slots);
    FFirst = 0;
  }

  std::vector<T> FSlots;
  std::size_t FFirst = 0;
  std::size_t FCount = 0;
};

}  // namespace tessalune
