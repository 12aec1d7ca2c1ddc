#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/kernels/RealDft.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
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
    FEntries[FCount++].Order = AOrder;
    return nullptr;
  }

  // Computes the roots of the orders noted so far; false if memory is exhausted.
  bool Compute() noexcept {
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
  TEntry FEntries[4];
  int FCount = 0;
};

// The start of every record: what tells plans apart, and plans of this instruction set from those
// of another, whose tables look different.
struct TSpecHead {
  std::int32_t idCtx;
  TInstructionSet Set;
  void* Tables;  // all of the plan's, from MallocBytes
};

template <class T, class TDft>
struct TDftSpec : TSpecHead {
  std::int32_t hint;
  T ForwardScale;
  T InverseScale;
  TDft Dft;
};

template <class T>
using TComplexSpec = TDftSpec<T, TComplexDft<T>>;
template <class T>
using TRealSpec = TDftSpec<T, TRealDft<T>>;

// A record under construction, given up unless it is released: at first all bits 0.
template <class TSpec>
class TNewSpec {
 public:
  explicit TNewSpec(std::int32_t AContext) noexcept
      : FSpec(reinterpret_cast<TSpec*>(ippsMalloc_8u(sizeof(TSpec)))) {
    static_assert(std::is_trivially_copyable_v<TSpec> && alignof(TSpec) <= 32);
    if (!FSpec) return;
    std::memset(static_cast<void*>(FSpec), 0, sizeof(TSpec));
    FSpec->idCtx = AContext;
    FSpec->Set = CompiledSet;
  }
  ~TNewSpec() {
    if (!FSpec) return;
    ippsFree(FSpec->Tables);
    ippsFree(FSpec);
  }
  TNewSpec(const TNewSpec&) = delete;
  TNewSpec& operator=(const TNewSpec&) = delete;

  explicit operator bool() const noexcept { return FSpec != nullptr; }
  TSpec& operator*() const noexcept { return *FSpec; }
  TSpec* operator->() const noexcept { return FSpec; }

  template <class TOpaque>
  void ReleaseTo(TOpaque** ATarget) noexcept {
    *ATarget = reinterpret_cast<TOpaque*>(std::exchange(FSpec, nullptr));
  }

 private:
  TSpec* FSpec;
};

// Makes a plan's tables: ALayOut(roots, layout) lays them out. False if memory is exhausted.
template <class TLayOut>
bool MakeTables(TSpecHead& ASpec, TLayOut ALayOut) noexcept {
  TPlanRoots Roots;
  TLayout Measure;
  ALayOut(Roots, Measure);
  if (Measure.Size() == 0) return true;
  ASpec.Tables = MallocBytes(Measure.Size() + CacheLine);
  if (!ASpec.Tables || !Roots.Compute()) return false;
  TLayout Layout(AlignUp<std::byte>(ASpec.Tables));
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
  RunSmooth<T, false>(ADft.Smooth, Filter, Filter, Scale, Work.As<std::byte>());
  return true;
}

// The scale factors that a normalisation flag asks for; false if it is none.
template <class TSpec, class T = decltype(TSpec::ForwardScale)>
bool SetScales(TSpec& ASpec, std::int32_t ALength, std::int32_t AFlag) noexcept {
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

template <class T>
bool MakeDft(TComplexSpec<T>& ASpec, std::int32_t ALength) noexcept {
  if (IsTooLong(ALength)) return false;
  return MakeTables(ASpec,
                    [&](TPlanRoots& ARoots, TLayout& ALayout) {
                      LayOutComplexDft(ASpec.Dft, ALength, ARoots, ALayout);
                    }) &&
         FinishTables(ASpec.Dft);
}

template <class T>
bool MakeDft(TRealSpec<T>& ASpec, std::int32_t ALength) noexcept {
  if (IsTooLong(ALength % 2 == 0 ? ALength / 2 : ALength)) return false;
  return MakeTables(ASpec,
                    [&](TPlanRoots& ARoots, TLayout& ALayout) {
                      LayOutRealDft(ASpec.Dft, ALength, ARoots, ALayout);
                    }) &&
         (ASpec.Dft.IsDirect || FinishTables(ASpec.Dft.Complex));
}

// A plan of the length ALength, which has been checked.
template <class TSpec, class TOpaque>
IppStatus InitAllocDft(TOpaque** pSpec, std::int32_t AContext, std::int32_t ALength,
                       std::int32_t AFlag, std::int32_t AHint) noexcept {
  TNewSpec<TSpec> Spec(AContext);
  if (!Spec) return ippStsMemAllocErr;
  if (!SetScales(*Spec, ALength, AFlag)) return ippStsFftFlagErr;
  Spec->hint = AHint;
  if (!MakeDft(*Spec, ALength)) return ippStsMemAllocErr;
  Spec.ReleaseTo(pSpec);
  return ippStsNoErr;
}

// The record behind an opaque pointer: null unless it is one of AContext.
template <class TSpec, class TOpaque>
const TSpec* SpecOf(const TOpaque* pSpec, std::int32_t AContext) noexcept {
  const auto* Spec = reinterpret_cast<const TSpec*>(pSpec);
  return Spec->idCtx == AContext && Spec->Set == CompiledSet ? Spec : nullptr;
}

template <class TSpec, class TOpaque>
IppStatus FreeSpec(TOpaque* pSpec, std::int32_t AContext) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  auto* Spec = const_cast<TSpec*>(SpecOf<TSpec>(pSpec, AContext));
  if (!Spec) return ippStsContextMatchErr;
  ippsFree(Spec->Tables);
  Spec->idCtx = 0;
  ippsFree(Spec);
  return ippStsNoErr;
}

// Work memory of a transform. What is small enough lies on the stack, for powers of two up to
// 2,048 complex doubles or 4,096 floats and other lengths up to 256: such a transform cannot fail.
constexpr std::size_t StackBytes = 48 * 1024;

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
IppStatus GetBufferSize(const TOpaque* pSpec, std::int32_t AContext, std::int32_t* pSize) noexcept {
  if (!pSpec || !pSize) return ippStsNullPtrErr;
  const TSpec* Spec = SpecOf<TSpec>(pSpec, AContext);
  if (!Spec) return ippStsContextMatchErr;
  *pSize = BufferSize(Spec->Dft.Length, Spec->Dft.WorkBytes);
  return ippStsNoErr;
}

// Checks in the order of the primitives: plan, its kind, data. AFunction(spec, work) transforms.
template <class TSpec, class TOpaque, class TFunction>
IppStatus Transform(const void* pSrc, const void* pDst, const TOpaque* pSpec, std::int32_t AContext,
                    std::uint8_t* pBuffer, TFunction AFunction) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  const TSpec* Spec = SpecOf<TSpec>(pSpec, AContext);
  if (!Spec) return ippStsContextMatchErr;
  if (!pSrc || !pDst) return ippStsNullPtrErr;
  return WithWork(Spec->Dft.Length, Spec->Dft.WorkBytes, pBuffer,
                  [&](std::byte* AWork) { AFunction(*Spec, AWork); });
}

template <class T, bool AInverse, class TSample, class TOpaque>
IppStatus TransformComplex(const TSample* pSrc, TSample* pDst, const TOpaque* pSpec,
                           std::int32_t AContext, std::uint8_t* pBuffer) noexcept {
  return Transform<TComplexSpec<T>>(
      pSrc, pDst, pSpec, AContext, pBuffer, [=](const TComplexSpec<T>& ASpec, std::byte* AWork) {
        RunComplexDft<T, AInverse>(ASpec.Dft, reinterpret_cast<const T*>(pSrc),
                                   reinterpret_cast<T*>(pDst),
                                   AInverse ? ASpec.InverseScale : ASpec.ForwardScale, AWork);
      });
}

template <class T, class TOpaque>
IppStatus TransformToBins(const T* pSrc, T* pDst, const TOpaque* pSpec, std::int32_t AContext,
                          TSpectrumLayout ALayout, std::uint8_t* pBuffer) noexcept {
  return Transform<TRealSpec<T>>(
      pSrc, pDst, pSpec, AContext, pBuffer, [=](const TRealSpec<T>& ASpec, std::byte* AWork) {
        RunToBins(ASpec.Dft, ALayout, pSrc, pDst, ASpec.ForwardScale, AWork);
      });
}

template <class T, class TOpaque>
IppStatus TransformToSamples(const T* pSrc, T* pDst, const TOpaque* pSpec, std::int32_t AContext,
                             TSpectrumLayout ALayout, std::uint8_t* pBuffer) noexcept {
  return Transform<TRealSpec<T>>(
      pSrc, pDst, pSpec, AContext, pBuffer, [=](const TRealSpec<T>& ASpec, std::byte* AWork) {
        RunToSamples(ASpec.Dft, ALayout, pSrc, pDst, ASpec.InverseScale, AWork);
      });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
