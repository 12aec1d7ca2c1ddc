#pragma once

#include <tessalune/primitives/kernels/Butterflies.h>

// Discrete Fourier transforms of fixed short lengths between real values and the bins 0 to F/2, on
// values in registers. Both take sums with exp(-2 pi i n k / F): DftToReals gives the inverse of
// the conjugate bins.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Bin AIndex of F, mirrored into the lower half.
template <int F, int AIndex, class V>
TESSALUNE_INLINE TPair<V> BinOf(const TPair<V>* ABins) noexcept {
  if constexpr (2 * AIndex <= F)
    return ABins[AIndex];
  else
    return {ABins[F - AIndex].Re, -ABins[F - AIndex].Im};
}

template <int F, int AIndex, class V>
TESSALUNE_INLINE void SetBinOf(TPair<V>* ABins, const TPair<V>& AValue) noexcept {
  if constexpr (2 * AIndex <= F)
    ABins[AIndex] = AValue;
  else
    ABins[F - AIndex] = {AValue.Re, -AValue.Im};
}

template <class T, int F, class V>
TESSALUNE_INLINE void DftOfReals(const V* A, TPair<V>* ABins) noexcept;
template <class T, int F, class V>
TESSALUNE_INLINE void DftToReals(const TPair<V>* ABins, V* A) noexcept;

template <class T, int F, class V>
TESSALUNE_INLINE void DftOfOddReals(const V* A, TPair<V>* ABins) noexcept {
  constexpr int Half = (F - 1) / 2;
  TArray<V, Half> Sum;
  TArray<V, Half> Difference;
  V Total = A[0];
  Repeat<Half>(TESSALUNE_EACH(J) {
    Sum[J] = A[J + 1] + A[F - 1 - J];
    Difference[J] = A[J + 1] - A[F - 1 - J];
    Total += Sum[J];
  });
  ABins[0] = {Total, V{}};
  Repeat<Half>(TESSALUNE_EACH(N) {
    constexpr int K = N + 1;
    constexpr T FirstIm = Roots<T, F>.Im[K];
    V Even = A[0];
    V Odd = Difference[0] * FirstIm;
    Repeat<Half>(TESSALUNE_EACH(J) {
      constexpr T Re = Roots<T, F>.Re[(J + 1) * K % F];
      constexpr T Im = Roots<T, F>.Im[(J + 1) * K % F];
      Even += Sum[J] * Re;
      if constexpr (J > 0) Odd += Difference[J] * Im;
    });
    ABins[K] = {Even, Odd};
  });
}

template <class T, int F, class V>
TESSALUNE_INLINE void DftToOddReals(const TPair<V>* ABins, V* A) noexcept {
  constexpr int Half = (F - 1) / 2;
  const V First = ABins[0].Re;
  V Total = First;
  Repeat<Half>(TESSALUNE_EACH(K) { Total += ABins[K + 1].Re * T(2); });
  A[0] = Total;
  Repeat<Half>(TESSALUNE_EACH(J) {
    constexpr int N = J + 1;
    constexpr T FirstIm = -2 * Roots<T, F>.Im[N];
    V Even = First;
    V Odd = ABins[1].Im * FirstIm;
    Repeat<Half>(TESSALUNE_EACH(K) {
      constexpr T Re = 2 * Roots<T, F>.Re[(K + 1) * N % F];
      constexpr T Im = -2 * Roots<T, F>.Im[(K + 1) * N % F];
      Even += ABins[K + 1].Re * Re;
      if constexpr (K > 0) Odd += ABins[K + 1].Im * Im;
    });
    A[N] = Even + Odd;
    A[F - N] = Even - Odd;
  });
}

// F = F1 F2: F1 real transforms of length F2, twiddles, transforms of length F1 across them, of
// which half are enough; or these steps from the last to the first.
template <class T, int F1, int F2, class V>
TESSALUNE_INLINE void DftOfProductReals(const V* A, TPair<V>* ABins) noexcept {
  constexpr int F = F1 * F2;
  constexpr int Half = F2 / 2 + 1;
  TArray<TPair<V>, F1 * Half> Y;
  Repeat<F1>(TESSALUNE_EACH(J) {
    TArray<V, F2> Row;
    Repeat<F2>(TESSALUNE_EACH(I) { Row[I] = A[J + F1 * I]; });
    DftOfReals<T, F2>(Row, Y + J * Half);
  });
  // What is real stays so.
  TArray<V, F1> First;
  TArray<TPair<V>, F1 / 2 + 1> Bins;
  Repeat<F1>(TESSALUNE_EACH(J) { First[J] = Y[J * Half].Re; });
  DftOfReals<T, F1>(First, Bins);
  Repeat<F1 / 2 + 1>(TESSALUNE_EACH(M) { ABins[F2 * M] = Bins[M]; });
  Repeat<(F2 - 1) / 2>(TESSALUNE_EACH(N) {
    constexpr int K = N + 1;
    TArray<TPair<V>, F1> Column;
    Repeat<F1>(TESSALUNE_EACH(J) { Column[J] = Twist<T, F, J * K>(Y[J * Half + K]); });
    Dft<T, F1>(Column);
    Repeat<F1>(TESSALUNE_EACH(M) { SetBinOf<F, K + F2 * M>(ABins, Column[M]); });
  });
  if constexpr (F1 == 2 && F2 % 2 == 0) ABins[F2 / 2] = {Y[F2 / 2].Re, -Y[Half + F2 / 2].Re};
}

template <class T, int F1, int F2, class V>
TESSALUNE_INLINE void DftToProductReals(const TPair<V>* ABins, V* A) noexcept {
  constexpr int F = F1 * F2;
  constexpr int Half = F2 / 2 + 1;
  TArray<TPair<V>, F1 * Half> Y;
  TArray<V, F1> First;
  TArray<TPair<V>, F1 / 2 + 1> Bins;
  Repeat<F1 / 2 + 1>(TESSALUNE_EACH(M) { Bins[M] = ABins[F2 * M]; });
  DftToReals<T, F1>(Bins, First);
  Repeat<F1>(TESSALUNE_EACH(J) { Y[J * Half] = {First[J], V{}}; });
  Repeat<(F2 - 1) / 2>(TESSALUNE_EACH(N) {
    constexpr int K = N + 1;
    TArray<TPair<V>, F1> Column;
    Repeat<F1>(TESSALUNE_EACH(M) { Column[M] = BinOf<F, K + F2 * M>(ABins); });
    Dft<T, F1>(Column);
    Repeat<F1>(TESSALUNE_EACH(J) { Y[J * Half + K] = Twist<T, F, J * K>(Column[J]); });
  });
  if constexpr (F1 == 2 && F2 % 2 == 0) {
    Y[F2 / 2] = {ABins[F2 / 2].Re * T(2), V{}};
    Y[Half + F2 / 2] = {ABins[F2 / 2].Im * T(2), V{}};
  }
  Repeat<F1>(TESSALUNE_EACH(J) {
    TArray<V, F2> Row;
    DftToReals<T, F2>(Y + J * Half, Row);
    Repeat<F2>(TESSALUNE_EACH(I) { A[J + F1 * I] = Row[I]; });
  });
}

// The first factor of a length that is a product: 2 if it is even.
constexpr int FirstRealFactor(int F) noexcept { return F % 2 == 0 ? 2 : FirstFactor(F); }

// The bins 0 to F/2 of A[0] to A[F - 1].
template <class T, int F, class V>
TESSALUNE_INLINE void DftOfReals(const V* A, TPair<V>* ABins) noexcept {
  constexpr int F1 = FirstRealFactor(F);
  if constexpr (F == 1) {
    ABins[0] = {A[0], V{}};
  } else if constexpr (F == 2) {
    ABins[0] = {A[0] + A[1], V{}};
    ABins[1] = {A[0] - A[1], V{}};
  } else if constexpr (F1 == F) {
    DftOfOddReals<T, F>(A, ABins);
  } else {
    DftOfProductReals<T, F1, F / F1>(A, ABins);
  }
}

// A[0] to A[F - 1] of the bins 0 to F/2. The imaginary parts of bin 0 and of bin F/2 of an even F
// count nothing.
template <class T, int F, class V>
TESSALUNE_INLINE void DftToReals(const TPair<V>* ABins, V* A) noexcept {
  constexpr int F1 = FirstRealFactor(F);
  if constexpr (F == 1) {
    A[0] = ABins[0].Re;
  } else if constexpr (F == 2) {
    A[0] = ABins[0].Re + ABins[1].Re;
    A[1] = ABins[0].Re - ABins[1].Re;
  } else if constexpr (F1 == F) {
    DftToOddReals<T, F>(ABins, A);
  } else {
    DftToProductReals<T, F1, F / F1>(ABins, A);
  }
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
