#pragma once

#include <tessalune/primitives/kernels/Vector.h>

// Discrete Fourier transforms of fixed short lengths on values in registers: of each lane on its
// own. Forward, X[k] = sum over n of x[n] exp(-2 pi i n k / F); the inverse is the same with the
// real and the imaginary parts exchanged before and after.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// exp(-2 pi i AIndex / ACount), for the compiler: by quadrants, then by the series of sine and
// cosine up to pi / 4, where 13 terms of each leave nothing to see in a long double.
struct TRoot {
  long double Re;
  long double Im;
};

constexpr TRoot RootOfUnity(int AIndex, int ACount) noexcept {
  constexpr long double Pi = 3.14159265358979323846264338327950288L;
  const int Index = AIndex % ACount;
  if (8 * Index > 4 * ACount) {
    const TRoot Mirror = RootOfUnity(ACount - Index, ACount);
    return {Mirror.Re, -Mirror.Im};
  }
  if (8 * Index > 2 * ACount) {
    // exp(-i (pi - t)) = -conj(exp(-i t)), with the angle 2 pi (ACount - 2 Index) / (2 ACount).
    const TRoot Mirror = RootOfUnity(ACount - 2 * Index, 2 * ACount);
    return {-Mirror.Re, Mirror.Im};
  }
  if (8 * Index > ACount) {
    // exp(-i (pi/2 - t)) = -i conj(exp(-i t)), with the angle 2 pi (ACount - 4 Index) / (4 ACount).
    const TRoot Mirror = RootOfUnity(ACount - 4 * Index, 4 * ACount);
    return {-Mirror.Im, -Mirror.Re};
  }
  const long double Angle = 2 * Pi * Index / ACount;
  long double Cosine = 1;
  long double Sine = Angle;
  long double Term = Angle;
  for (int N = 2; N < 28; ++N) {
    Term *= Angle / N;
    const long double Signed = (N / 2) % 2 == 0 ? Term : -Term;
    (N % 2 == 0 ? Cosine : Sine) += Signed;
  }
  return {Cosine, -Sine};
}

template <class T, int F>
struct TRoots {
  TArray<T, F> Re;
  TArray<T, F> Im;

  constexpr TRoots() noexcept : Re{}, Im{} {
    for (int I = 0; I < F; ++I) {
      const TRoot Root = RootOfUnity(I, F);
      Re[I] = static_cast<T>(Root.Re);
      Im[I] = static_cast<T>(Root.Im);
    }
  }
};

template <class T, int F>
constexpr TRoots<T, F> Roots{};

// Of a length F that is a product: its first factor.
constexpr int FirstFactor(int F) noexcept {
  switch (F) {
    case 8:
      return 2;
    case 12:
    case 16:
      return 4;
    default:
      for (int P = 2; P * P <= F; ++P)
        if (F % P == 0) return P;
      return F;
  }
}

template <class T, int F, class V>
TESSALUNE_INLINE void Dft(TPair<V>* X) noexcept;

// An odd length by symmetric sums: half the multiplications of the definition.
template <class T, int F, class V>
TESSALUNE_INLINE void DftOdd(TPair<V>* X) noexcept {
  constexpr int Half = (F - 1) / 2;
  TArray<TPair<V>, Half> Sum;
  TArray<TPair<V>, Half> Difference;
  const TPair<V> First = X[0];
  Repeat<Half>(TESSALUNE_EACH(J) {
    Sum[J] = X[J + 1] + X[F - 1 - J];
    Difference[J] = X[J + 1] - X[F - 1 - J];
    X[0] = X[0] + Sum[J];
  });
  Repeat<Half>(TESSALUNE_EACH(N) {
    constexpr int K = N + 1;
    constexpr T FirstIm = Roots<T, F>.Im[K];
    TPair<V> Even = First;
    TPair<V> Odd = {Difference[0].Re * FirstIm, Difference[0].Im * FirstIm};
    Repeat<Half>(TESSALUNE_EACH(J) {
      constexpr T Re = Roots<T, F>.Re[(J + 1) * K % F];
      constexpr T Im = Roots<T, F>.Im[(J + 1) * K % F];
      Even = {Even.Re + Sum[J].Re * Re, Even.Im + Sum[J].Im * Re};
      if constexpr (J > 0) Odd = {Odd.Re + Difference[J].Re * Im, Odd.Im + Difference[J].Im * Im};
    });
    X[K] = {Even.Re - Odd.Im, Even.Im + Odd.Re};
    X[F - K] = {Even.Re + Odd.Im, Even.Im - Odd.Re};
  });
}

template <class V>
TESSALUNE_INLINE void Dft4(TPair<V>& X0, TPair<V>& X1, TPair<V>& X2, TPair<V>& X3) noexcept {
  const TPair<V> A = X0 + X2;
  const TPair<V> B = X0 - X2;
  const TPair<V> C = X1 + X3;
  const TPair<V> D = X1 - X3;
  X0 = A + C;
  X1 = {B.Re + D.Im, B.Im - D.Re};
  X2 = A - C;
  X3 = {B.Re - D.Im, B.Im + D.Re};
}

// X times root AIndex of order F, which may be a trivial one.
template <class T, int F, int AIndex, class V>
TESSALUNE_INLINE TPair<V> Twist(const TPair<V>& X) noexcept {
  if constexpr (AIndex == 0) return X;
  if constexpr (4 * AIndex == F) return TimesMinusI(X);
  constexpr T Re = Roots<T, F>.Re[AIndex];
  constexpr T Im = Roots<T, F>.Im[AIndex];
  if constexpr (8 * AIndex == F) return {(X.Re + X.Im) * Re, (X.Im - X.Re) * Re};
  if constexpr (8 * AIndex == 3 * F) return {(X.Im - X.Re) * -Re, (X.Re + X.Im) * Re};
  return Multiply(X, Re, Im);
}

// F = F1 F2: F1 transforms of length F2, twiddles, F2 transforms of length F1.
template <class T, int F1, int F2, class V>
TESSALUNE_INLINE void DftProduct(TPair<V>* X) noexcept {
  TArray<TPair<V>, F1 * F2> Y;
  Repeat<F1>(TESSALUNE_EACH(I) {
    TArray<TPair<V>, F2> Row;
    Repeat<F2>(TESSALUNE_EACH(J) { Row[J] = X[I + F1 * J]; });
    Dft<T, F2>(Row);
    Repeat<F2>(TESSALUNE_EACH(J) { Y[I + F1 * J] = Twist<T, F1 * F2, I * J>(Row[J]); });
  });
  Repeat<F2>(TESSALUNE_EACH(J) {
    Dft<T, F1>(Y + F1 * J);
    Repeat<F1>(TESSALUNE_EACH(I) { X[J + F2 * I] = Y[F1 * J + I]; });
  });
}

// The transform of length F of X[0] to X[F - 1], in place.
template <class T, int F, class V>
TESSALUNE_INLINE void Dft(TPair<V>* X) noexcept {
  constexpr int F1 = FirstFactor(F);
  if constexpr (F == 1) {
    return;
  } else if constexpr (F == 2) {
    const TPair<V> Sum = X[0] + X[1];
    X[1] = X[0] - X[1];
    X[0] = Sum;
  } else if constexpr (F == 4) {
    Dft4(X[0], X[1], X[2], X[3]);
  } else if constexpr (F1 == F) {
    DftOdd<T, F>(X);
  } else {
    DftProduct<T, F1, F / F1>(X);
  }
}

// Calls AFunction with the radix as a compile-time constant, if there is straight-line code for it;
// false if not.
template <int... ARadices, class TFunction>
TESSALUNE_INLINE constexpr bool WithRadix(int ARadix, TFunction AFunction) noexcept {
  return ((ARadix == ARadices &&
           (static_cast<void>(AFunction(std::integral_constant<int, ARadices>{})), true)) ||
          ...);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
