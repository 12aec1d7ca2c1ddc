#pragma once

#include <tessalune/primitives/kernels/Butterflies.h>

#include <algorithm>

// Both steps of SmoothDft.h at once, for lengths M L with as many columns as lanes and few rows:
// nothing but registers lies between them.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Calls AFunction with the rows as a compile-time constant; false if there is no code for them.
template <class TFunction>
TESSALUNE_INLINE constexpr bool WithFusedRows(int ARows, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 16, 3, 5, 7, 9, 15, 25>(ARows, AFunction);
}

constexpr bool IsFused(int ARows, int AColumns, int ALanes) noexcept {
  return AColumns == ALanes && ALanes >= 4 && WithFusedRows(ARows, [](auto) {});
}

// ATwiddles: of row k1, at 2 L k1, the roots of index b k1 for the columns b: real, then imaginary.
// ASource may be ATarget.
template <class T, int L, int M, bool AInverse>
[[gnu::noinline]] void RunFused(const T* ASource, T* ATarget, const T* ATwiddles,
                                T AScale) noexcept {
  using TOf = TLanes<T, L>;
  using V = TVector<T, L>;
  const auto Turned = [](const TPair<V>& A) __attribute__((always_inline)) {
    if constexpr (AInverse) return TPair<V>{A.Im, A.Re};
    return A;
  };
  TArray<TPair<V>, std::max(M, L)> X;
  Repeat<M>(TESSALUNE_EACH(A) { X[A] = Turned(TOf::LoadComplex(ASource + 2 * L * A)); });
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
    constexpr int First = std::max(0, std::min(Line * L, M - L));
    TArray<V, L> Re;
    TArray<V, L> Im;
    Repeat<L>(TESSALUNE_EACH(I) {
      Re[I] = X[First + I].Re;
      Im[I] = X[First + I].Im;
    });
    TOf::Transpose(Re);
    TOf::Transpose(Im);
    TArray<TPair<V>, L> Y;
    Repeat<L>(TESSALUNE_EACH(I) { Y[I] = {Re[I], Im[I]}; });
    Dft<T, L>(Y);
    Repeat<L>(TESSALUNE_EACH(K) {
      T* Target = ATarget + 2 * (First + M * K);
      if constexpr (M >= L) {
        TOf::StoreComplex(Target, Turned(Y[K]));
      } else {
        TArray<T, 2 * L> Full;
        TOf::StoreComplex(Full, Turned(Y[K]));
        std::copy_n(Full, 2 * M, Target);
      }
    });
  });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
