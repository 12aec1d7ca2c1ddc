#include <tessalune/frame/runtime/QSMemory.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <mutex>
#include <new>

namespace tessalune {
namespace {

constexpr std::size_t Alignment = 64;
// Larger pieces are so rare and so slow to fill that the system may as well serve them.
constexpr std::size_t LargestRecycled = std::size_t{64} << 20;
// Up to this size a thread keeps a stock of its own; above it one lock is nothing beside the work
// that a block of that size costs.
constexpr std::size_t LargestThreadCached = std::size_t{32} << 10;
constexpr std::size_t ThreadStockBytes = std::size_t{128} << 10;
constexpr std::size_t SharedStockBytes = std::size_t{512} << 20;
// The address sanitizer sees a use after free only if freed memory is not handed out again.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool Recycles = false;
#else
constexpr bool Recycles = true;
#endif

// Size classes: 64 bytes, then four to each doubling, all multiples of 64.
constexpr std::size_t ClassOf(std::size_t ABytes) {
  const std::size_t Units = (std::max<std::size_t>(ABytes, 1) + Alignment - 1) / Alignment;
  if (Units <= 4) return Units - 1;
  const auto Octave = static_cast<std::size_t>(std::bit_width(Units - 1)) - 1;  // 2^Octave < Units
  const std::size_t Quarter = (Units - 1) >> (Octave - 2) & 3;
  return 4 + (Octave - 2) * 4 + Quarter;
}

constexpr std::size_t SizeOfClass(std::size_t AClass) {
  if (AClass < 4) return (AClass + 1) * Alignment;
  const std::size_t Octave = (AClass - 4) / 4 + 2;
  const std::size_t Quarter = (AClass - 4) % 4;
  return (std::size_t{4} + Quarter + 1) << (Octave - 2) << 6;
}

constexpr std::size_t ClassCount = ClassOf(LargestRecycled) + 1;
constexpr std::size_t ThreadClassCount = ClassOf(LargestThreadCached) + 1;
static_assert(SizeOfClass(ClassOf(64)) == 64 && SizeOfClass(ClassOf(257)) == 320 &&
              SizeOfClass(ClassOf(LargestRecycled)) == LargestRecycled);

struct TFree {
  TFree* Next;
};

// A list of free pieces of one size class; the links stand in the pieces themselves.
struct TStock {
  TFree* First;
  std::size_t Count;

  void Push(void* AMemory) {
    First = new (AMemory) TFree{First};
    ++Count;
  }
  void* Pop() {
    TFree* Memory = First;
    First = Memory->Next;
    --Count;
    return Memory;
  }
};

struct TSharedStock {
  std::mutex Mutex;
  TStock Stock{};
};

// Trivially destructible parts only, reached by address alone: frees that come late in the life of
// a process or of a thread still find them.
std::array<TSharedStock, ClassCount>& Shared() {
  static auto* Stocks = new std::array<TSharedStock, ClassCount>;
  return *Stocks;
}
std::atomic<std::size_t> SharedBytes{0};
std::atomic<std::uint64_t> SystemAllocations{0};

enum class TThreadState : std::uint8_t { New, Live, Ended };

struct TThreadStocks {
  std::array<TStock, ThreadClassCount> Stocks;
  TThreadState State;
};
constinit thread_local TThreadStocks ThreadStocks __attribute__((tls_model("initial-exec"))){};

std::size_t ThreadCapacity(std::size_t AClass) {
  return std::clamp<std::size_t>(ThreadStockBytes / SizeOfClass(AClass), 4, 64);
}

void* TakeFromSystem(std::size_t ABytes) {
  SystemAllocations.fetch_add(1, std::memory_order_relaxed);
  return ::operator new (ABytes, std::align_val_t{Alignment});
}

void GiveToSystem(void* AMemory) noexcept {
  ::operator delete (AMemory, std::align_val_t{Alignment});
}

void GiveToShared(std::size_t AClass, TStock& AStock, std::size_t ACount) noexcept {
  const std::size_t Size = SizeOfClass(AClass);
  TSharedStock& Target = Shared()[AClass];
  TStock Surplus{};
  {
    const std::lock_guard Lock(Target.Mutex);
    for (; ACount > 0 && AStock.Count > 0; --ACount) {
      const bool Room =
          SharedBytes.fetch_add(Size, std::memory_order_relaxed) + Size <= SharedStockBytes;
      if (!Room) SharedBytes.fetch_sub(Size, std::memory_order_relaxed);
      (Room ? Target.Stock : Surplus).Push(AStock.Pop());
    }
  }
  while (Surplus.Count > 0) GiveToSystem(Surplus.Pop());
}

void TakeFromShared(std::size_t AClass, TStock& AStock, std::size_t ACount) noexcept {
  TSharedStock& Source = Shared()[AClass];
  const std::lock_guard Lock(Source.Mutex);
  for (; ACount > 0 && Source.Stock.Count > 0; --ACount) {
    AStock.Push(Source.Stock.Pop());
    SharedBytes.fetch_sub(SizeOfClass(AClass), std::memory_order_relaxed);
  }
}

// Hands a thread's stock on when the thread ends.
struct TThreadEnd {
  ~TThreadEnd() {
    for (std::size_t Class = 0; Class < ThreadClassCount; ++Class) {
      TStock& Stock = ThreadStocks.Stocks[Class];
      GiveToShared(Class, Stock, Stock.Count);
    }
    ThreadStocks.State = TThreadState::Ended;
  }
};

bool UsesThreadStock(std::size_t AClass) noexcept {
  if (AClass >= ThreadClassCount) return false;
  if (ThreadStocks.State == TThreadState::New) {
    ThreadStocks.State = TThreadState::Live;
    static thread_local TThreadEnd End;
    static_cast<void>(&End);
  }
  return ThreadStocks.State == TThreadState::Live;
}

}  // namespace

void* RecycledAllocate(std::size_t ABytes) {
  if (!Recycles || ABytes > LargestRecycled) return TakeFromSystem(ABytes);
  const std::size_t Class = ClassOf(ABytes);
  // The usual case: a stock of this thread's own that is not empty.
  if (Class < ThreadClassCount && ThreadStocks.Stocks[Class].Count > 0) {
    return ThreadStocks.Stocks[Class].Pop();
  }
  TStock Single{};
  const bool Cached = UsesThreadStock(Class);
  TStock& Stock = Cached ? ThreadStocks.Stocks[Class] : Single;
  if (Stock.Count == 0) TakeFromShared(Class, Stock, Cached ? ThreadCapacity(Class) / 2 : 1);
  return Stock.Count > 0 ? Stock.Pop() : TakeFromSystem(SizeOfClass(Class));
}

void RecycledFree(void* AMemory, std::size_t ABytes) noexcept {
  if (AMemory == nullptr) return;
  if (!Recycles || ABytes > LargestRecycled) return GiveToSystem(AMemory);
  const std::size_t Class = ClassOf(ABytes);
  TStock Single{};
  const bool Cached = UsesThreadStock(Class);
  TStock& Stock = Cached ? ThreadStocks.Stocks[Class] : Single;
  Stock.Push(AMemory);
  if (!Cached) {
    GiveToShared(Class, Stock, 1);
  } else if (Stock.Count > ThreadCapacity(Class)) {
    GiveToShared(Class, Stock, ThreadCapacity(Class) / 2);
  }
}

void ReleaseRecycledMemory() noexcept {
  for (std::size_t Class = 0; Class < ClassCount; ++Class) {
    TStock Freed{};
    if (Class < ThreadClassCount) std::swap(Freed, ThreadStocks.Stocks[Class]);
    TakeFromShared(Class, Freed, SIZE_MAX);
    while (Freed.Count > 0) GiveToSystem(Freed.Pop());
  }
}

std::uint64_t RecycledSystemAllocations() noexcept {
  return SystemAllocations.load(std::memory_order_relaxed);
}

}  // namespace tessalune
