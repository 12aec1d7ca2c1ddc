#pragma once

#include <tessalune/primitives/kernels/Butterflies.h>

#include <cstdint>

// Discrete cosine transforms of the lengths 1, 2, 4 and 8 on values in registers: of each lane on
// its own.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// cos(pi AIndex / 16) AFactor, for the compiler.
constexpr double CosineOf16(int AIndex, long double AFactor = 1) noexcept {
  return static_cast<double>(RootOfUnity(AIndex, 32).Re * AFactor);
}

// The factors of a transform of length 8. Orthonormal, the sums are scaled by 1/2, but the first
// by 1 / sqrt(8); else they are the plain ones.
template <bool AOrthonormal>
struct TEightPointFactors {
  static constexpr long double Scale = AOrthonormal ? 0.5L : 1.0L;
  static constexpr long double Root = RootOfUnity(1, 8).Re;
  static constexpr double First = AOrthonormal ? CosineOf16(4, 0.5L) : 1.0;
  static constexpr double Fourth = CosineOf16(4, Scale);
  static constexpr double C2 = CosineOf16(2, Scale);
  static constexpr double C6 = CosineOf16(6, Scale);
  static constexpr double C1 = CosineOf16(1, Scale* Root);
  static constexpr double C3 = CosineOf16(3, Scale* Root);
  static constexpr double C5 = CosineOf16(5, Scale* Root);
  static constexpr double C7 = CosineOf16(7, Scale* Root);
  static constexpr double Outer = CosineOf16(4, 2.0L);  // sqrt(2)
};

// X[k] = scale * the sum over n of X[n] cos(pi (2n + 1) k / 16). The odd half by
// cos(3 pi / 16) = (cos(pi / 16) + cos(7 pi / 16)) / sqrt(2) and its like, which leave two
// rotations.
template <bool AOrthonormal, class V>
TESSALUNE_INLINE void ForwardEight(V* X) noexcept {
  using F = TEightPointFactors<AOrthonormal>;
  const V A0 = X[0] + X[7], A1 = X[1] + X[6], A2 = X[2] + X[5], A3 = X[3] + X[4];
  const V D0 = X[0] - X[7], D1 = X[1] - X[6], D2 = X[2] - X[5], D3 = X[3] - X[4];
  const V Outer = A0 + A3, Inner = A1 + A2;
  const V Rise = A0 - A3, Fall = A1 - A2;
  X[0] = (Outer + Inner) * F::First;
  X[4] = (Outer - Inner) * F::Fourth;
  X[2] = Rise * F::C2 + Fall * F::C6;
  X[6] = Rise * F::C6 - Fall * F::C2;
  const V Sum = D1 + D2, Difference = D1 - D2;
  const V P = D0 * F::Outer + Sum, Q = D3 * F::Outer + Difference;
  const V R = D0 * F::Outer - Sum, S = D3 * F::Outer - Difference;
  X[1] = P * F::C1 + Q * F::C7;
  X[7] = P * F::C7 - Q * F::C1;
  X[3] = R * F::C3 - S * F::C5;
  X[5] = R * F::C5 + S * F::C3;
}

// The transpose.
template <bool AOrthonormal, class V>
TESSALUNE_INLINE void InverseEight(V* X) noexcept {
  using F = TEightPointFactors<AOrthonormal>;
  const V First = X[0] * F::First;
  const V Outer = First + X[4] * F::Fourth, Inner = First - X[4] * F::Fourth;
  const V Rise = X[2] * F::C2 + X[6] * F::C6, Fall = X[2] * F::C6 - X[6] * F::C2;
  const V A0 = Outer + Rise, A1 = Inner + Fall, A2 = Inner - Fall, A3 = Outer - Rise;
  const V P = X[1] * F::C1 + X[7] * F::C7, Q = X[1] * F::C7 - X[7] * F::C1;
  const V R = X[3] * F::C3 + X[5] * F::C5, S = X[5] * F::C3 - X[3] * F::C5;
  const V Sum = P - R, Difference = Q - S;
  const V D0 = (P + R) * F::Outer, D1 = Sum + Difference;
  const V D2 = Sum - Difference, D3 = (Q + S) * F::Outer;
  X[0] = A0 + D0;
  X[1] = A1 + D1;
  X[2] = A2 + D2;
  X[3] = A3 + D3;
  X[4] = A3 - D3;
  X[5] = A2 - D2;
  X[6] = A1 - D1;
  X[7] = A0 - D0;
}

// The orthonormal transforms of 1, 2, 4 and 8 samples. ASource may be ATarget.
template <bool AInverse>
inline void RunShortDct(std::int32_t ALength, const double* ASource, double* ATarget) noexcept {
  constexpr double Root = CosineOf16(4);
  constexpr double C2 = CosineOf16(2, RootOfUnity(1, 8).Re);
  constexpr double C6 = CosineOf16(6, RootOfUnity(1, 8).Re);
  const double X0 = ASource[0];
  if (ALength == 8) {
    double X[8];
    Repeat<8>(TESSALUNE_EACH(I) { X[I] = ASource[I]; });
    if constexpr (AInverse)
      InverseEight<true>(X);
    else
      ForwardEight<true>(X);
    Repeat<8>(TESSALUNE_EACH(I) { ATarget[I] = X[I]; });
  } else if (ALength == 4) {
    const double X1 = ASource[1], X2 = ASource[2], X3 = ASource[3];
    if constexpr (AInverse) {
      const double A = (X0 + X2) * 0.5, B = (X0 - X2) * 0.5;
      const double D = C2 * X1 + C6 * X3, E = C6 * X1 - C2 * X3;
      ATarget[0] = A + D;
      ATarget[1] = B + E;
      ATarget[2] = B - E;
      ATarget[3] = A - D;
    } else {
      const double A = X0 + X3, B = X1 + X2, D = X0 - X3, E = X1 - X2;
      ATarget[0] = (A + B) * 0.5;
      ATarget[1] = C2 * D + C6 * E;
      ATarget[2] = (A - B) * 0.5;
      ATarget[3] = C6 * D - C2 * E;
    }
  } else if (ALength == 2) {  // its own inverse
    const double X1 = ASource[1];
    ATarget[0] = (X0 + X1) * Root;
    ATarget[1] = (X0 - X1) * Root;
  } else {
    ATarget[0] = X0;
  }
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
