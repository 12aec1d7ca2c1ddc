// A property's field that the thread of a block reads without a lock.
#pragma once

#include <atomic>
#include <type_traits>

namespace tessalune {

// Holds one plain value. Setters store it under the component's lock; block production loads it
// whenever it likes. Relaxed atomics cost nothing on x86 and keep the access defined; the order of
// changes to different fields is not kept, and no component relies on it.
template <class T>
requires std::is_trivially_copyable_v<T>
class TField {
 public:
  TField() = default;
  TField(T AValue) : FValue(AValue) {}
  TField(const TField&) = delete;

  operator T() const noexcept { return FValue.load(std::memory_order_relaxed); }
  T Load() const noexcept { return FValue.load(std::memory_order_relaxed); }
  TField& operator=(T AValue) noexcept {
    FValue.store(AValue, std::memory_order_relaxed);
    return *this;
  }
  TField& operator=(const TField& AOther) noexcept { return *this = AOther.Load(); }

 private:
  std::atomic<T> FValue{};
};

}  // namespace tessalune
