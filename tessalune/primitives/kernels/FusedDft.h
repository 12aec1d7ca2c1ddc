#pragma once

#include <tessalune/primitives/kernels/ColumnFft.h>

#include <algorithm>

// Both steps of SmoothDft.h at once, for lengths M L with as many columns as lanes and few rows:
// nothing but registers lies between them.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Calls AFunction with the rows as a compile-time constant; false if there is no code for them.
template <class TFunction>
TESSALUNE_INLINE constexpr bool WithFusedRows(int ARows, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 16, 3, 5, 7, 9, 10, 12, 15, 25>(ARows, AFunction);
}

// Of narrow vectors there are few rows; of wide ones, more than so many values are as fast in two
// short steps.
constexpr int MostFused = 128;

template <class T>
constexpr bool IsFused(int ARows, int AColumns, int ALanes) noexcept {
  return AColumns == ALanes && ALanes >= 4 && (4 * ALanes > MaxLanes<T> || ARows <= 5) &&
         ARows * ALanes <= MostFused && WithFusedRows(ARows, [](auto) {});
}

// ATwiddles: of row k1, at 2 L k1, the roots of index b k1 for the columns b, in woven order: real,
// then imaginary.
// ASource may be ATarget.
template <class T, int L, int M, bool AInverse>
TESSALUNE_INLINE void RunFused(const T* ASource, T* ATarget, const T* ATwiddles,
                               T AScale) noexcept {
  using TRow = TPair<TVector<T, L>>;
  using TOf = TLanes<T, L>;
  const auto Exchanged = [](const TRow& A) __attribute__((always_inline)) {
    if constexpr (AInverse)
      return TRow{A.Im, A.Re};
    else
      return TRow{A.Re, A.Im};
  };
  TArray<TRow, std::max(M, L)> X;
  Repeat<M>(TESSALUNE_EACH(A) { X[A] = Exchanged(TOf::LoadWoven(ASource + 2 * L * A)); });
  Dft<T, M>(X);
  if (AScale != 1) Repeat<M>(TESSALUNE_EACH(K) { X[K] = {X[K].Re * AScale, X[K].Im * AScale}; });
  Repeat<M - 1>(TESSALUNE_EACH(N) {
    constexpr int K = N + 1;
    X[K] = Multiply(X[K], Load<T, L>(ATwiddles + 2 * L * K), Load<T, L>(ATwiddles + 2 * L * K + L));
  });
  Repeat<L>(TESSALUNE_EACH(K) {
    if constexpr (K >= M) X[K] = X[0];
  });

  Repeat<(M + L - 1) / L>(TESSALUNE_EACH(Line) {
    // The last line may have rows of the last but one again.
    constexpr int First = FirstOf(Line, M, L);
    TArray<TRow, L> Turned;
    TArray<TRow, L> Y;
    Repeat<L>(TESSALUNE_EACH(I) { Turned[I] = X[First + TOf::WovenAt(I)]; });
    TOf::Transpose(Turned);
    Repeat<L>(TESSALUNE_EACH(I) { Y[TOf::WovenAt(I)] = Turned[I]; });
    Dft<T, L>(Y);
    Repeat<L>(TESSALUNE_EACH(K) {
      // Of few rows the lanes beyond the last are written too, and then what belongs there.
      if constexpr (M * K + L <= M * L) {
        TOf::StoreWoven(ATarget + 2 * (First + M * K), Exchanged(Y[K]));
      } else {
        TArray<T, 2 * L> Full;
        TOf::StoreWoven(Full, Exchanged(Y[K]));
        std::copy_n(Full, 2 * M, ATarget + 2 * M * K);
      }
    });
  });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
