// A queue of results on their way to the main thread.
#pragma once

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSLock.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

namespace tessalune {

// Values of any type in the order in which they came. Any thread; each call is one step.
template <class T>
class TQSTypedDataQueue {
 public:
  std::int32_t Count() const { return FCount.load(std::memory_order_acquire); }

  void Add(T AValue) {
    Change([&] { FList.push_back(std::move(AValue)); });
  }
  // Takes the oldest value; false if there is none.
  bool Pop(T& AValue) {
    if (Count() == 0) return false;
    return Change([&] {
      if (FList.empty()) return false;
      AValue = std::move(FList.front());
      FList.pop_front();
      return true;
    });
  }
  void Clear() {
    if (Count() > 0) Change([&] { FList.clear(); });
  }

  // By an index that counts from 0, the oldest value; raises EQSException for one that is none.
  void Remove(std::int32_t AIndex) {
    Change([&] { FList.erase(FList.begin() + Checked(AIndex)); });
  }
  T Items(std::int32_t AIndex) const {
    return FSection.Access().Execute([&] { return FList[AtIndex(AIndex)]; });
  }
  void SetItem(std::int32_t AIndex, T AValue) {
    FSection.Access().Execute([&] { FList[AtIndex(AIndex)] = std::move(AValue); });
  }

 private:
  template <class TProc>
  decltype(auto) Change(const TProc& AProc) {
    return FSection.Access().Execute([&]() -> decltype(auto) {
      struct TCounting {
        TQSTypedDataQueue& Queue;
        ~TCounting() { Queue.FCount = static_cast<std::int32_t>(Queue.FList.size()); }
      } const Counting{*this};
      return AProc();
    });
  }
  std::int32_t Checked(std::int32_t AIndex) const {
    if (AIndex >= 0 && AIndex < Count()) return AIndex;
    throw EQSException("there is no result " + NumberText(AIndex) + "; there are " +
                       NumberText(Count()) + ", counted from 0");
  }
  std::size_t AtIndex(std::int32_t AIndex) const {
    return static_cast<std::size_t>(Checked(AIndex));
  }

  mutable ICriticalSection FSection;
  std::deque<T> FList;
  std::atomic<std::int32_t> FCount{0};
};

}  // namespace tessalune
