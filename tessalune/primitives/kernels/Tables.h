#pragma once

#include <tessalune/primitives/BuiltIns.h>
#include <tessalune/primitives/QSSubDispatcher.h>

#include <cstddef>
#include <cstdint>
#include <utility>

// Memory of plans and of transforms.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

constexpr std::size_t CacheLine = 64;

constexpr std::size_t UpToCacheLine(std::size_t ABytes) noexcept {
  return (ABytes + CacheLine - 1) & ~(CacheLine - 1);
}

template <class T>
T* AlignUp(void* AAddress) noexcept {
  const auto Address = reinterpret_cast<std::uintptr_t>(AAddress);
  return reinterpret_cast<T*>(UpToCacheLine(Address));
}

// A block that lives as long as this object; null if memory was exhausted.
class TBlock {
 public:
  TBlock() noexcept = default;
  explicit TBlock(std::size_t ASize) noexcept : FBlock(MallocBytes(ASize + CacheLine)) {}
  TBlock(TBlock&& AOther) noexcept : FBlock(std::exchange(AOther.FBlock, nullptr)) {}
  TBlock& operator=(TBlock&& AOther) noexcept {
    std::swap(FBlock, AOther.FBlock);
    return *this;
  }
  ~TBlock() { ippsFree(FBlock); }

  explicit operator bool() const noexcept { return FBlock != nullptr; }

  // Its start, aligned to a cache line.
  template <class T>
  T* As() const noexcept {
    return AlignUp<T>(FBlock);
  }

 private:
  void* FBlock = nullptr;
};

// Hands out parts of memory one after the other, each aligned to a cache line. Without a block it
// only adds up how large one has to be: the same code that lays out a plan's tables, or the work
// memory of a transform, measures it.
class TLayout {
 public:
  TLayout() noexcept = default;
  explicit TLayout(std::byte* AStart) noexcept : FStart(AStart) {}

  bool IsMeasuring() const noexcept { return FStart == nullptr; }

  // Says that no memory would do.
  void Refuse() noexcept { FIsRefused = true; }
  bool IsRefused() const noexcept { return FIsRefused; }

  std::size_t Size() const noexcept { return FSize; }

  template <class T>
  T* Take(std::size_t ACount) noexcept {
    T* Result = IsMeasuring() ? nullptr : reinterpret_cast<T*>(FStart + FSize);
    FSize += UpToCacheLine(ACount * sizeof(T));
    return Result;
  }

 private:
  std::byte* FStart = nullptr;
  std::size_t FSize = 0;
  bool FIsRefused = false;
};

// Bytes of work memory that a TRun takes for APlan.
template <class TRun, class TPlan>
std::size_t WorkBytesOf(const TPlan& APlan) noexcept {
  TLayout Measure;
  TRun(APlan, 1, Measure);
  return Measure.Size();
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
