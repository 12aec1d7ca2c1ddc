#pragma once

#include <tessalune/primitives/kernels/Butterflies.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

// Transforms of columns: a row is a vector of lanes, and each lane is transformed on its own, so
// that there is nothing to shuffle and every twiddle serves all lanes. Decimation in time by mixed
// radices: the innermost factor gathers its rows from the source in digit-reversed order, each
// further stage merges in place.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The radices with straight-line code: of the innermost factor, and of the stages that merge.
template <class TFunction>
TESSALUNE_INLINE bool WithInnerRadix(int ARadix, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 16, 5, 3, 2, 7, 11, 13>(ARadix, AFunction);
}
template <class TFunction>
TESSALUNE_INLINE bool WithMergeRadix(int ARadix, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 5, 3, 2, 7>(ARadix, AFunction);
}

template <class T>
struct TColumnStage {
  std::int32_t Factor;
  std::int32_t Rows;  // of each of the Factor parts that a group of this stage merges
  const T* Twiddles;  // of row j: root j q of order Factor * Rows, for q from 1 to Factor - 1
  const T* Roots;     // of order Factor, for a radix without straight-line code
};

constexpr int MaxStages = 20;

template <class T>
struct TColumnPlan {
  std::int32_t Length;
  std::int32_t StageCount;            // beside the innermost factor
  std::int32_t LongestRadix;          // of those without straight-line code; 0 for none
  TColumnStage<T> Stages[MaxStages];  // [0] merges all, [StageCount] is the innermost
  const std::int32_t* Offsets;  // of the first row of each block that the innermost factor takes
};

// Where rows come from and go to. Row AOffset + AFactor AStep of F AStep rows has AFactor, below F,
// for a compile-time constant, and AOffset below AStep; any row may be asked for by its index
// alone.

// Interleaved complex samples, AStride of them from row to row, with the lanes in woven order. For
// the inverse, row r is the one at -r modulo the count of rows: an inverse transform is one that
// reads, or writes, its rows that way.
template <class T, int L>
class TSamples {
 public:
  using TRow = TPair<TVector<T, L>>;

  TESSALUNE_INLINE TSamples(T* AFirst, std::ptrdiff_t AStride, std::ptrdiff_t ARows,
                            bool AIsInverse) noexcept
      : FFirst(AFirst),
        FOthers(AIsInverse ? AFirst + 2 * AStride * ARows : AFirst),
        FStride(AIsInverse ? -2 * AStride : 2 * AStride) {}

  TESSALUNE_INLINE TRow Get(std::ptrdiff_t ARow) const noexcept {
    return TLanes<T, L>::LoadWoven(At(ARow));
  }
  TESSALUNE_INLINE void Put(std::ptrdiff_t ARow, const TRow& AValue) const noexcept {
    TLanes<T, L>::StoreWoven(At(ARow), AValue);
  }
  template <int F>
  TESSALUNE_INLINE TRow Get(std::ptrdiff_t AOffset, auto AFactor,
                            std::ptrdiff_t AStep) const noexcept {
    return TLanes<T, L>::LoadWoven(At(AOffset, AFactor, AStep));
  }
  template <int F>
  TESSALUNE_INLINE void Put(std::ptrdiff_t AOffset, auto AFactor, std::ptrdiff_t AStep,
                            const TRow& AValue) const noexcept {
    TLanes<T, L>::StoreWoven(At(AOffset, AFactor, AStep), AValue);
  }

  // All rows, F of them, AOffset samples further on: from one to the next, which takes fewer
  // registers than their places at once.
  template <int F>
  TESSALUNE_INLINE void GetAll(std::ptrdiff_t AOffset, TRow* AValues) const noexcept {
    const T* Place = FOthers + 2 * AOffset;
    AValues[0] = TLanes<T, L>::LoadWoven(FFirst + 2 * AOffset);
    Repeat<F - 1>(TESSALUNE_EACH(I) {
      Place += FStride;
      AValues[I + 1] = TLanes<T, L>::LoadWoven(Place);
    });
  }
  template <int F>
  TESSALUNE_INLINE void PutAll(std::ptrdiff_t AOffset, const TRow* AValues) const noexcept {
    T* Place = FOthers + 2 * AOffset;
    TLanes<T, L>::StoreWoven(FFirst + 2 * AOffset, AValues[0]);
    Repeat<F - 1>(TESSALUNE_EACH(I) {
      Place += FStride;
      TLanes<T, L>::StoreWoven(Place, AValues[I + 1]);
    });
  }

 private:
  TESSALUNE_INLINE T* At(std::ptrdiff_t ARow) const noexcept {
    return ARow == 0 ? FFirst : FOthers + FStride * ARow;
  }
  TESSALUNE_INLINE T* At(std::ptrdiff_t AOffset, auto AFactor,
                         std::ptrdiff_t AStep) const noexcept {
    if constexpr (AFactor == 0) return At(AOffset);
    return FOthers + FStride * (AOffset + AFactor * AStep);
  }

  T* FFirst;
  T* FOthers;  // rows from 1 on are FStride apart from here
  std::ptrdiff_t FStride;
};

// Memory that holds rows as they are.
template <class T, int L>
struct TRows {
  using TRow = TPair<TVector<T, L>>;
  TRow* First;

  TESSALUNE_INLINE TRow Get(std::ptrdiff_t ARow) const noexcept { return First[ARow]; }
  TESSALUNE_INLINE void Put(std::ptrdiff_t ARow, const TRow& AValue) const noexcept {
    First[ARow] = AValue;
  }
  template <int F>
  TESSALUNE_INLINE TRow Get(std::ptrdiff_t AOffset, auto AFactor,
                            std::ptrdiff_t AStep) const noexcept {
    return First[AOffset + AFactor * AStep];
  }
  template <int F>
  TESSALUNE_INLINE void Put(std::ptrdiff_t AOffset, auto AFactor, std::ptrdiff_t AStep,
                            const TRow& AValue) const noexcept {
    First[AOffset + AFactor * AStep] = AValue;
  }
};

// The innermost factor F: each of the ABlocks blocks gathers its rows, ABlocks apart, from the
// source, and leaves F consecutive rows.
template <class T, int L, int F, class TSource, class TTarget>
[[gnu::noinline]] void Innermost(const std::int32_t* AOffsets, std::ptrdiff_t ABlocks,
                                 TSource ASource, TTarget ATarget) noexcept {
  for (std::ptrdiff_t Block = 0; Block < ABlocks; ++Block) {
    TArray<TPair<TVector<T, L>>, F> X;
    const std::ptrdiff_t Offset = AOffsets[Block];
    Repeat<F>(TESSALUNE_EACH(U) { X[U] = ASource.template Get<F>(Offset, U, ABlocks); });
    Dft<T, F>(X);
    Repeat<F>(TESSALUNE_EACH(K) { ATarget.template Put<F>(Block * F, K, 1, X[K]); });
  }
}

// One stage: in each of AGroups groups of F parts with ARows rows each, row j of all parts is
// merged. Rows stay where they are, so that the target may be the source.
template <class T, int L, int F, class TTarget>
[[gnu::noinline]] void Merge(const T* ATwiddles, std::ptrdiff_t ARows, std::ptrdiff_t AGroups,
                             const TPair<TVector<T, L>>* ASource, TTarget ATarget) noexcept {
  for (std::ptrdiff_t Group = 0; Group < AGroups; ++Group) {
    const T* Twiddle = ATwiddles;
    const std::ptrdiff_t End = Group * F * ARows + ARows;
    for (std::ptrdiff_t J = Group * F * ARows; J < End; ++J) {
      TArray<TPair<TVector<T, L>>, F> X;
      X[0] = ASource[J];
      Repeat<F - 1>(TESSALUNE_EACH(Q) {
        X[Q + 1] = Multiply(ASource[J + (Q + 1) * ARows], Twiddle[2 * Q], Twiddle[2 * Q + 1]);
      });
      Twiddle += 2 * (F - 1);
      Dft<T, F>(X);
      Repeat<F>(TESSALUNE_EACH(M) { ATarget.template Put<F>(J, M, ARows, X[M]); });
    }
  }
}

// A radix without straight-line code: as DftOdd, over the table of roots. AGet gives the F values,
// APut takes them; AWork has room for F.
template <class T, class V, class TGet, class TPut>
TESSALUNE_INLINE void DftLong(int F, const T* ARoots, TPair<V>* AWork, TGet AGet,
                              TPut APut) noexcept {
  const int Half = (F - 1) / 2;
  const TPair<V> First = AGet(0);
  TPair<V> Total = First;
  for (int J = 0; J < Half; ++J) {
    const TPair<V> Low = AGet(J + 1);
    const TPair<V> High = AGet(F - 1 - J);
    AWork[2 * J] = Low + High;
    AWork[2 * J + 1] = Low - High;
    Total = Total + AWork[2 * J];
  }
  APut(0, Total);
  for (int K = 1; K <= Half; ++K) {
    TPair<V> Even = First;
    TPair<V> Odd = {V{}, V{}};
    int Index = 0;
    for (int J = 0; J < Half; ++J) {
      Index += K;
      if (Index >= F) Index -= F;
      const T Re = ARoots[2 * Index];
      const T Im = ARoots[2 * Index + 1];
      Even = {Even.Re + AWork[2 * J].Re * Re, Even.Im + AWork[2 * J].Im * Re};
      Odd = {Odd.Re + AWork[2 * J + 1].Re * Im, Odd.Im + AWork[2 * J + 1].Im * Im};
    }
    APut(K, TPair<V>{Even.Re - Odd.Im, Even.Im + Odd.Re});
    APut(F - K, TPair<V>{Even.Re + Odd.Im, Even.Im - Odd.Re});
  }
}

template <class T, int L, class TSource, class TTarget>
[[gnu::noinline]] void InnermostLong(const TColumnStage<T>& AStage, const std::int32_t* AOffsets,
                                     std::ptrdiff_t ABlocks, TSource ASource, TTarget ATarget,
                                     TPair<TVector<T, L>>* AWork) noexcept {
  using TRow = TPair<TVector<T, L>>;
  const int F = AStage.Factor;
  for (std::ptrdiff_t Block = 0; Block < ABlocks; ++Block)
    DftLong<T>(
        F, AStage.Roots, AWork, [&](int U) { return ASource.Get(AOffsets[Block] + U * ABlocks); },
        [&](int K, const TRow& AValue) { ATarget.Put(Block * F + K, AValue); });
}

template <class T, int L, class TTarget>
[[gnu::noinline]] void MergeLong(const TColumnStage<T>& AStage, std::ptrdiff_t AGroups,
                                 const TPair<TVector<T, L>>* ASource, TTarget ATarget,
                                 TPair<TVector<T, L>>* AWork) noexcept {
  using TRow = TPair<TVector<T, L>>;
  const int F = AStage.Factor;
  const std::ptrdiff_t Rows = AStage.Rows;
  for (std::ptrdiff_t Group = 0; Group < AGroups; ++Group)
    for (std::ptrdiff_t J = 0; J < Rows; ++J) {
      const std::ptrdiff_t First = Group * F * Rows + J;
      const T* Twiddle = AStage.Twiddles + 2 * (F - 1) * J;
      DftLong<T>(
          F, AStage.Roots, AWork,
          [&](int Q) {
            const TRow X = ASource[First + Q * Rows];
            return Q == 0 ? X : Multiply(X, Twiddle[2 * Q - 2], Twiddle[2 * Q - 1]);
          },
          [&](int M, const TRow& AValue) { ATarget.Put(First + M * Rows, AValue); });
    }
}

// Transforms one set of columns, from ASource to ATarget, by way of AData, which holds
// APlan.Length rows and may be what ATarget writes to. AWork holds as many rows as the longest
// radix without straight-line code has. Rows are the only target of a plan that is one radix with
// straight-line code.
template <class T, int L, class TSource, class TTarget>
void TransformColumns(const TColumnPlan<T>& APlan, TSource ASource, TTarget ATarget,
                      TPair<TVector<T, L>>* AData, TPair<TVector<T, L>>* AWork) noexcept {
  const auto InnermostTo = [&](auto ANext) {
    const TColumnStage<T>& Stage = APlan.Stages[APlan.StageCount];
    const std::ptrdiff_t Blocks = APlan.Length / Stage.Factor;
    if (!WithInnerRadix(Stage.Factor,
                        [&](auto F) { Innermost<T, L, F>(APlan.Offsets, Blocks, ASource, ANext); }))
      InnermostLong<T, L>(Stage, APlan.Offsets, Blocks, ASource, ANext, AWork);
  };
  const auto MergeTo = [&](const TColumnStage<T>& AStage, auto ANext) {
    const std::ptrdiff_t Groups = APlan.Length / (AStage.Factor * AStage.Rows);
    if (!WithMergeRadix(AStage.Factor, [&](auto F) {
          Merge<T, L, F>(AStage.Twiddles, AStage.Rows, Groups, AData, ANext);
        }))
      MergeLong<T, L>(AStage, Groups, AData, ANext, AWork);
  };
  const TRows<T, L> Data{AData};
  if (APlan.StageCount == 0) {
    if constexpr (std::is_same_v<TTarget, TRows<T, L>>)
      InnermostTo(ATarget);
    else
      InnermostLong<T, L>(APlan.Stages[0], APlan.Offsets, 1, ASource, ATarget, AWork);
    return;
  }
  InnermostTo(Data);
  for (int S = APlan.StageCount - 1; S > 0; --S) MergeTo(APlan.Stages[S], Data);
  MergeTo(APlan.Stages[0], ATarget);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
