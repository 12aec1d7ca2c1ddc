#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/StateMemory.h>
#include <tessalune/primitives/kernels/RealDft.h>

#include <cmath>
#include <limits>
#include <optional>

// Plans of transforms as the primitives hand them out: one record a plan, which is read-only once
// it is made, and one block for all of its tables.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Roots of the orders that the tables of one plan need. The layout is made twice: first to measure
// it and to note the orders, then, if memory for everything was there, to fill it.
class TPlanRoots {
 public:
  const TRootsOfUnity* operator()(std::int64_t AOrder) noexcept {
    for (TEntry* Entry = FEntries; Entry != FEntries + FCount; ++Entry)
      if (Entry->Order == AOrder) return Entry->Roots ? &*Entry->Roots : nullptr;
    FHasAll = FHasAll && FCount < Most;
    if (FHasAll) FEntries[FCount++].Order = AOrder;
    return nullptr;
  }

  // Computes the roots of the orders noted so far; false if memory is exhausted.
  bool Compute() noexcept {
    if (!FHasAll) return false;
    for (TEntry* Entry = FEntries; Entry != FEntries + FCount; ++Entry) {
      const auto Size = static_cast<std::size_t>(TRootsOfUnity::TableSize(Entry->Order));
      Entry->Memory = TBlock(Size * sizeof(TRootsOfUnity::TEntry));
      if (!Entry->Memory) return false;
      Entry->Roots.emplace(Entry->Order, Entry->Memory.As<TRootsOfUnity::TEntry>());
    }
    return true;
  }

 private:
  struct TEntry {
    std::int64_t Order = 0;
    TBlock Memory;
    std::optional<TRootsOfUnity> Roots;
  };
  // An analytic signal has the most: two transforms, each by a convolution.
  static constexpr int Most = 4;
  TEntry FEntries[Most];
  int FCount = 0;
  bool FHasAll = true;
};

// A plan: what the transforms read, and the memory of its tables.
struct TSpecHead : TRecordHead {
  void* Tables;  // from MallocBytes
};

template <class T, class TDft, std::int32_t AContext>
struct TDftSpec : TSpecHead {
  static constexpr std::int32_t Context = AContext;
  using TValue = T;

  T ForwardScale;
  T InverseScale;
  TDft Dft;
};

template <class T, std::int32_t AContext>
using TComplexSpec = TDftSpec<T, TComplexDft<T>, AContext>;
template <class T, std::int32_t AContext>
using TRealSpec = TDftSpec<T, TRealDft<T>, AContext>;

// Makes a plan's tables: ALayOut(roots, layout) lays them out. False if they cannot be had; what
// ATables then points to is to be given back all the same.
template <class TLayOut>
bool MakeTables(void*& ATables, TLayOut ALayOut) noexcept {
  TPlanRoots Roots;
  TLayout Measure;
  ALayOut(Roots, Measure);
  if (Measure.IsRefused()) return false;
  if (Measure.Size() == 0) return true;
  ATables = MallocBytes(Measure.Size() + CacheLine);
  if (!ATables || !Roots.Compute()) return false;
  TLayout Layout(AlignUp<std::byte>(ATables));
  ALayOut(Roots, Layout);
  return true;
}

// What the roots alone do not make: the spectrum of the filter. False if memory is exhausted.
template <class T>
bool FinishTables(const TComplexDft<T>& ADft) noexcept {
  if (ADft.Road != TRoad::Convolution) return true;
  const TBlock Work(ADft.Smooth.WorkBytes);
  if (!Work) return false;
  T* Filter = const_cast<T*>(ADft.Filter);
  const T Scale = 1 / static_cast<T>(ADft.InnerLength);
  RunSmooth(ADft.Smooth, Filter, Filter, Scale, false, Work.As<std::byte>());
  return true;
}

template <class T>
bool FinishTables(const TRealDft<T>& ADft) noexcept {
  return FinishTables(ADft.Complex) && FinishTables(ADft.Smooth.Middle);
}

// All tables of ADft, of the length ALength. False if they cannot be had.
template <class TDft>
bool MakeDft(TDft& ADft, std::int32_t ALength, void*& ATables) noexcept {
  const auto LayOut = [&](TPlanRoots& ARoots, TLayout& ALayout) {
    LayOutDft(ADft, ALength, ARoots, ALayout);
  };
  return MakeTables(ATables, LayOut) && FinishTables(ADft);
}

// The scale factors that a normalisation flag asks for; false if it is none.
template <class TSpec>
bool SetScales(TSpec& ASpec, std::int32_t ALength, std::int32_t AFlag) noexcept {
  using T = typename TSpec::TValue;
  const auto ByLength = static_cast<T>(1.0 / ALength);
  const auto ByRoot = static_cast<T>(1.0 / std::sqrt(static_cast<double>(ALength)));
  ASpec.ForwardScale = ASpec.InverseScale = 1;
  switch (AFlag) {
    case IPP_FFT_DIV_FWD_BY_N:
      ASpec.ForwardScale = ByLength;
      return true;
    case IPP_FFT_DIV_INV_BY_N:
      ASpec.InverseScale = ByLength;
      return true;
    case IPP_FFT_DIV_BY_SQRTN:
      ASpec.ForwardScale = ASpec.InverseScale = ByRoot;
      return true;
    case IPP_FFT_NODIV_BY_ANY:
      return true;
    default:
      return false;
  }
}

template <class TSpec>
void FreeTables(TSpec* ASpec) noexcept {
  ippsFree(ASpec->Tables);
  FreeRecord(ASpec);
}

template <class TSpec, class TOpaque>
IppStatus FreeSpec(TOpaque* pSpec) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  TSpec* const Spec = RecordOf<TSpec>(pSpec);
  if (!Spec) return ippStsContextMatchErr;
  FreeTables(Spec);
  return ippStsNoErr;
}

// A new plan, completed by AMake(plan), which tells how that went.
template <class TSpec, class TOpaque, class TMake>
IppStatus InitAllocSpec(TOpaque** pSpec, std::int32_t ALength, TMake AMake) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (ALength < 1) return ippStsSizeErr;
  TSpec* const Spec = AllocateRecord<TSpec>();
  if (!Spec) return ippStsMemAllocErr;
  const IppStatus Status = AMake(*Spec);
  if (Status != ippStsNoErr)
    FreeTables(Spec);
  else
    *pSpec = reinterpret_cast<TOpaque*>(Spec);
  return Status;
}

template <class TSpec, class TOpaque>
IppStatus InitAllocDft(TOpaque** pSpec, std::int32_t ALength, std::int32_t AFlag) noexcept {
  return InitAllocSpec<TSpec>(pSpec, ALength, [=](TSpec& ASpec) {
    if (!SetScales(ASpec, ALength, AFlag)) return ippStsFftFlagErr;
    return MakeDft(ASpec.Dft, ALength, ASpec.Tables) ? ippStsNoErr : ippStsMemAllocErr;
  });
}

// Work memory of a transform. What is small enough lies on the stack, for powers of two up to
// 2,048 complex doubles or 4,096 floats and other lengths up to 256: such a transform cannot fail.
constexpr std::size_t StackBytes = 64 * 1024;

constexpr bool IsOnStack(std::int32_t ALength, std::size_t AWorkBytes) noexcept {
  return AWorkBytes <= StackBytes && (IsPowerOfTwo(ALength) || ALength <= 256);
}

// Bytes of the caller's buffer; 0 if the transform takes none, or more than an int32 counts.
constexpr std::int32_t BufferSize(std::int32_t ALength, std::size_t AWorkBytes) noexcept {
  constexpr std::size_t Most = std::numeric_limits<std::int32_t>::max();
  if (AWorkBytes == 0 || IsOnStack(ALength, AWorkBytes) || AWorkBytes > Most - CacheLine) return 0;
  return static_cast<std::int32_t>(AWorkBytes + CacheLine);
}

template <class TFunction>
[[gnu::noinline]] void RunOnStack(TFunction AFunction) noexcept {
  alignas(CacheLine) std::byte Work[StackBytes];
  AFunction(Work);
}

// Calls AFunction(work), with the caller's buffer if there is one and it is wanted.
template <class TFunction>
IppStatus WithWork(std::int32_t ALength, std::size_t AWorkBytes, std::uint8_t* pBuffer,
                   TFunction AFunction) noexcept {
  if (AWorkBytes == 0) {
    AFunction(static_cast<std::byte*>(nullptr));
  } else if (IsOnStack(ALength, AWorkBytes)) {
    RunOnStack(AFunction);
  } else if (pBuffer && BufferSize(ALength, AWorkBytes) != 0) {
    AFunction(AlignUp<std::byte>(pBuffer));
  } else {
    const TBlock Work(AWorkBytes);
    if (!Work) return ippStsMemAllocErr;
    AFunction(Work.As<std::byte>());
  }
  return ippStsNoErr;
}

template <class TSpec, class TOpaque>
IppStatus GetBufferSize(const TOpaque* pSpec, std::int32_t* pSize) noexcept {
  if (!pSpec || !pSize) return ippStsNullPtrErr;
  const auto* const Spec = RecordOf<const TSpec>(pSpec);
  if (!Spec) return ippStsContextMatchErr;
  *pSize = BufferSize(Spec->Dft.Length, Spec->Dft.WorkBytes);
  return ippStsNoErr;
}

// Checks in the order of the primitives: plan, its kind, data. AFunction(spec, work) transforms.
template <class TSpec, class TOpaque, class TFunction>
IppStatus Transform(const void* pSrc, const void* pDst, const TOpaque* pSpec, std::uint8_t* pBuffer,
                    TFunction AFunction) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  const auto* const Spec = RecordOf<const TSpec>(pSpec);
  if (!Spec) return ippStsContextMatchErr;
  if (!pSrc || !pDst) return ippStsNullPtrErr;
  return WithWork(Spec->Dft.Length, Spec->Dft.WorkBytes, pBuffer,
                  [&](std::byte* AWork) { AFunction(*Spec, AWork); });
}

template <class TSpec, bool AInverse, class TSample, class TOpaque>
IppStatus TransformComplex(const TSample* pSrc, TSample* pDst, const TOpaque* pSpec,
                           std::uint8_t* pBuffer) noexcept {
  using T = typename TSpec::TValue;
  return Transform<TSpec>(pSrc, pDst, pSpec, pBuffer, [=](const TSpec& ASpec, std::byte* AWork) {
    RunComplexDft<T, AInverse>(ASpec.Dft, reinterpret_cast<const T*>(pSrc),
                               reinterpret_cast<T*>(pDst),
                               AInverse ? ASpec.InverseScale : ASpec.ForwardScale, AWork);
  });
}

template <class TSpec, TSpectrumLayout ALayout, class T, class TOpaque>
IppStatus TransformToBins(const T* pSrc, T* pDst, const TOpaque* pSpec,
                          std::uint8_t* pBuffer) noexcept {
  return Transform<TSpec>(pSrc, pDst, pSpec, pBuffer, [=](const TSpec& ASpec, std::byte* AWork) {
    RunToBins(ASpec.Dft, ALayout, pSrc, pDst, ASpec.ForwardScale, AWork);
  });
}

template <class TSpec, TSpectrumLayout ALayout, class T, class TOpaque>
IppStatus TransformToSamples(const T* pSrc, T* pDst, const TOpaque* pSpec,
                             std::uint8_t* pBuffer) noexcept {
  return Transform<TSpec>(pSrc, pDst, pSpec, pBuffer, [=](const TSpec& ASpec, std::byte* AWork) {
    RunToSamples(ASpec.Dft, ALayout, pSrc, pDst, ASpec.InverseScale, AWork);
  });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
