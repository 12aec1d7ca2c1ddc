#pragma once

#include <tessalune/primitives/kernels/ColumnFft.h>
#include <tessalune/primitives/kernels/RealButterflies.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

// Transforms of columns of real samples, as those of ColumnFft.h: to the rows 0 to M/2 of their
// bins, and back. Every part of a column on the way has the lower half of its bins, and each stage
// reads elsewhere than it writes. Both ways are sums with exp(-2 pi i n k / M): what comes back is
// the inverse of the conjugate bins.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The radices that there are: of the innermost factor, and of the stages that merge.
constexpr int RealInnerRadices[] = {16, 8, 32, 4, 15, 12, 20, 25, 10, 9, 7, 5, 3, 11, 13};
constexpr int RealMergeRadices[] = {8, 4, 5, 3, 2};

// Calls AFunction with the one of ARadices that ARadix is.
template <const auto& ARadices, class TFunction>
TESSALUNE_INLINE void WithRadixOf(int ARadix, TFunction AFunction) noexcept {
  [&]<std::size_t... I>(std::index_sequence<I...>) { WithRadix<ARadices[I]...>(ARadix, AFunction); }
  (std::make_index_sequence<std::size(ARadices)>{});
}

template <class T>
struct TRealColumnStage {
  std::int32_t Factor;
  std::int32_t Values;  // of each of the Factor parts that a group of this stage merges
  const T* Twiddles;    // of bin k, from 0 to Values / 2: root k q of order Factor Values, q from 1
};

template <class T>
struct TRealColumnPlan {
  std::int32_t Length;
  std::int32_t StageCount;                // beside the innermost factor
  TRealColumnStage<T> Stages[MaxStages];  // [0] merges all, [StageCount] is the innermost
  const std::int32_t* Offsets;            // of the first sample of each innermost part
};

// Rows that hold the bins of a column of ALength samples, or of a part.
constexpr std::int32_t HalfRows(std::int32_t ALength) noexcept { return ALength / 2 + 1; }

template <class T>
std::int32_t InnermostRows(const TRealColumnPlan<T>& APlan) noexcept {
  const std::int32_t F = APlan.Stages[APlan.StageCount].Factor;
  return APlan.Length / F * HalfRows(F);
}

template <class T, int L, int F>
[[gnu::noinline]] void InnermostOfReals(const std::int32_t* AOffsets, std::ptrdiff_t ABlocks,
                                        const T* ASource, std::ptrdiff_t AStride,
                                        TPair<TVector<T, L>>* ATarget) noexcept {
  for (std::ptrdiff_t Block = 0; Block < ABlocks; ++Block) {
    TArray<TVector<T, L>, F> X;
    TArray<TPair<TVector<T, L>>, HalfRows(F)> Bins;
    const T* Source = ASource + AStride * AOffsets[Block];
    Repeat<F>(TESSALUNE_EACH(U) { X[U] = Load<T, L>(Source + AStride * ABlocks * U); });
    DftOfReals<T, F>(X, Bins);
    Repeat<HalfRows(F)>(TESSALUNE_EACH(K) { ATarget[Block * HalfRows(F) + K] = Bins[K]; });
  }
}

template <class T, int L, int F>
[[gnu::noinline]] void InnermostToReals(const std::int32_t* AOffsets, std::ptrdiff_t ABlocks,
                                        const TPair<TVector<T, L>>* ASource, T* ATarget,
                                        std::ptrdiff_t AStride) noexcept {
  for (std::ptrdiff_t Block = 0; Block < ABlocks; ++Block) {
    TArray<TVector<T, L>, F> X;
    TArray<TPair<TVector<T, L>>, HalfRows(F)> Bins;
    T* Target = ATarget + AStride * AOffsets[Block];
    Repeat<HalfRows(F)>(TESSALUNE_EACH(K) { Bins[K] = ASource[Block * HalfRows(F) + K]; });
    DftToReals<T, F>(Bins, X);
    Repeat<F>(TESSALUNE_EACH(U) { Store<T, L>(Target + AStride * ABlocks * U, X[U]); });
  }
}

// Where the bins k + Values m of a group are, m from 0 to F - 1: beyond the half they are the
// conjugates of those that make F Values with them.
template <class TRow, int F>
struct TGroupBins {
  TRow* Up;    // bin k
  TRow* Down;  // bin Values - k
  std::ptrdiff_t Values;

  TESSALUNE_INLINE TGroupBins(TRow* AGroup, std::ptrdiff_t AValues, std::ptrdiff_t AK) noexcept
      : Up(AGroup + AK), Down(AGroup + AValues - AK), Values(AValues) {}

  // Of an odd F, bin k + Values (F - 1) / 2 is at most the half for all k up to Values / 2. The
  // half itself has an imaginary part of the size of a rounding error.
  static constexpr bool IsMirrored(int AM) noexcept { return 2 * AM >= F; }

  TESSALUNE_INLINE void Put(auto AM, const TRow& A) const noexcept {
    if constexpr (IsMirrored(AM))
      Down[Values * (F - 1 - AM)] = {A.Re, -A.Im};
    else
      Up[Values * AM] = A;
  }
  TESSALUNE_INLINE TRow Get(auto AM) const noexcept {
    if constexpr (!IsMirrored(AM)) return Up[Values * AM];
    const TRow Mirror = Down[Values * (F - 1 - AM)];
    return {Mirror.Re, -Mirror.Im};
  }
};

// One stage: AGroups groups of F parts with the bins of AValues samples each become the bins of
// groups of F AValues samples.
template <class T, int L, int F>
[[gnu::noinline]] void MergeOfReals(const T* ATwiddles, std::ptrdiff_t AValues,
                                    std::ptrdiff_t AGroups, const TPair<TVector<T, L>>* ASource,
                                    TPair<TVector<T, L>>* ATarget) noexcept {
  using V = TVector<T, L>;
  using TRow = TPair<V>;
  const std::ptrdiff_t Part = AValues / 2 + 1;
  for (std::ptrdiff_t Group = 0; Group < AGroups; ++Group) {
    TArray<V, F> First;
    TArray<TRow, HalfRows(F)> Bins;
    Repeat<F>(TESSALUNE_EACH(Q) { First[Q] = ASource[Q * Part].Re; });
    DftOfReals<T, F>(First, Bins);
    Repeat<HalfRows(F)>(TESSALUNE_EACH(M) { ATarget[AValues * M] = Bins[M]; });
    for (std::ptrdiff_t K = 1; K < Part; ++K) {
      const T* Twiddle = ATwiddles + 2 * (F - 1) * K;
      TArray<TRow, F> X;
      X[0] = ASource[K];
      Repeat<F - 1>(TESSALUNE_EACH(Q) {
        X[Q + 1] = Multiply(ASource[K + (Q + 1) * Part], Twiddle[2 * Q], Twiddle[2 * Q + 1]);
      });
      Dft<T, F>(X);
      const TGroupBins<TRow, F> Target(ATarget, AValues, K);
      Repeat<F>(TESSALUNE_EACH(M) { Target.Put(M, X[M]); });
    }
    ASource += F * Part;
    ATarget += F * AValues / 2 + 1;
  }
}

template <class T, int L, int F>
[[gnu::noinline]] void SplitToReals(const T* ATwiddles, std::ptrdiff_t AValues,
                                    std::ptrdiff_t AGroups, const TPair<TVector<T, L>>* ASource,
                                    TPair<TVector<T, L>>* ATarget) noexcept {
  using V = TVector<T, L>;
  using TRow = TPair<V>;
  const std::ptrdiff_t Part = AValues / 2 + 1;
  for (std::ptrdiff_t Group = 0; Group < AGroups; ++Group) {
    TArray<V, F> First;
    TArray<TRow, HalfRows(F)> Bins;
    Repeat<HalfRows(F)>(TESSALUNE_EACH(M) { Bins[M] = ASource[AValues * M]; });
    DftToReals<T, F>(Bins, First);
    Repeat<F>(TESSALUNE_EACH(Q) { ATarget[Q * Part] = {First[Q], V{}}; });
    for (std::ptrdiff_t K = 1; K < Part; ++K) {
      const T* Twiddle = ATwiddles + 2 * (F - 1) * K;
      const TGroupBins<const TRow, F> Source(ASource, AValues, K);
      TArray<TRow, F> X;
      Repeat<F>(TESSALUNE_EACH(M) { X[M] = Source.Get(M); });
      Dft<T, F>(X);
      ATarget[K] = X[0];
      Repeat<F - 1>(TESSALUNE_EACH(Q) {
        ATarget[K + (Q + 1) * Part] = Multiply(X[Q + 1], Twiddle[2 * Q], Twiddle[2 * Q + 1]);
      });
    }
    ASource += F * AValues / 2 + 1;
    ATarget += F * Part;
  }
}

// One set of columns, from samples AStride apart to the rows of their bins. AWork holds twice
// InnermostRows rows.
template <class T, int L>
void TransformColumnsOfReals(const TRealColumnPlan<T>& APlan, const T* ASource,
                             std::ptrdiff_t AStride, TPair<TVector<T, L>>* ATarget,
                             TPair<TVector<T, L>>* AWork) noexcept {
  auto* Next = AWork;
  auto* Other = AWork + InnermostRows(APlan);
  const TRealColumnStage<T>& Inner = APlan.Stages[APlan.StageCount];
  WithRadixOf<RealInnerRadices>(Inner.Factor, [&](auto F) {
    InnermostOfReals<T, L, F>(APlan.Offsets, APlan.Length / F, ASource, AStride,
                              APlan.StageCount == 0 ? ATarget : Next);
  });
  for (int S = APlan.StageCount - 1; S >= 0; --S) {
    const TRealColumnStage<T>& Stage = APlan.Stages[S];
    std::swap(Next, Other);
    WithRadixOf<RealMergeRadices>(Stage.Factor, [&](auto F) {
      MergeOfReals<T, L, F>(Stage.Twiddles, Stage.Values, APlan.Length / (F * Stage.Values), Other,
                            S == 0 ? ATarget : Next);
    });
  }
}

// And back.
template <class T, int L>
void TransformColumnsToReals(const TRealColumnPlan<T>& APlan, const TPair<TVector<T, L>>* ASource,
                             T* ATarget, std::ptrdiff_t AStride,
                             TPair<TVector<T, L>>* AWork) noexcept {
  auto* Next = AWork;
  auto* Other = AWork + InnermostRows(APlan);
  for (int S = 0; S < APlan.StageCount; ++S) {
    const TRealColumnStage<T>& Stage = APlan.Stages[S];
    WithRadixOf<RealMergeRadices>(Stage.Factor, [&](auto F) {
      SplitToReals<T, L, F>(Stage.Twiddles, Stage.Values, APlan.Length / (F * Stage.Values),
                            ASource, Next);
    });
    ASource = Next;
    std::swap(Next, Other);
  }
  WithRadixOf<RealInnerRadices>(APlan.Stages[APlan.StageCount].Factor, [&](auto F) {
    InnermostToReals<T, L, F>(APlan.Offsets, APlan.Length / F, ASource, ATarget, AStride);
  });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
