#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <cmath>
#include <cstddef>
#include <limits>

// Sums and extremes of vectors. They run over a fixed number of lanes, so that they vectorise and
// that the result does not depend on the width of the processor's vectors.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

constexpr std::size_t Lanes = 8;

// AAccumulators[i mod Lanes] = AFunction(that, pSrc[i])
template <class TFunction>
inline void Accumulate(double (&AAccumulators)[Lanes], const double* pSrc, std::size_t ACount,
                       TFunction AFunction) noexcept {
  std::size_t I = 0;
  for (; I + Lanes <= ACount; I += Lanes)
    for (std::size_t L = 0; L < Lanes; ++L)
      AAccumulators[L] = AFunction(AAccumulators[L], pSrc[I + L]);
  for (std::size_t L = 0; I + L < ACount; ++L)
    AAccumulators[L] = AFunction(AAccumulators[L], pSrc[I + L]);
}

// The lanes by AFunction, in halves.
template <class TFunction>
inline double Fold(double (&AAccumulators)[Lanes], TFunction AFunction) noexcept {
  for (std::size_t Half = Lanes / 2; Half > 0; Half /= 2)
    for (std::size_t L = 0; L < Half; ++L)
      AAccumulators[L] = AFunction(AAccumulators[L], AAccumulators[L + Half]);
  return AAccumulators[0];
}

// All samples by AFunction, which is commutative and has the neutral element ANeutral.
template <class TFunction>
inline double Reduce(const double* pSrc, std::size_t ACount, double ANeutral,
                     TFunction AFunction) noexcept {
  double Accumulators[Lanes];
  for (double& A : Accumulators) A = ANeutral;
  Accumulate(Accumulators, pSrc, ACount, AFunction);
  return Fold(Accumulators, AFunction);
}

inline double Sum(const double* pSrc, std::size_t ACount) noexcept {
  return Reduce(pSrc, ACount, 0.0, [](double A, double B) { return A + B; });
}

inline double SumOfSquares(const double* pSrc, std::size_t ACount) noexcept {
  double Squares[Lanes] = {};
  Accumulate(Squares, pSrc, ACount, [](double A, double B) { return A + B * B; });
  return Fold(Squares, [](double A, double B) { return A + B; });
}

// Infinity if there is no number among the samples; so is the other's bound, of the other sign.
inline double Minimum(const double* pSrc, std::size_t ACount) noexcept {
  return Reduce(pSrc, ACount, std::numeric_limits<double>::infinity(),
                [](double A, double B) { return B < A ? B : A; });
}

inline double Maximum(const double* pSrc, std::size_t ACount) noexcept {
  return Reduce(pSrc, ACount, -std::numeric_limits<double>::infinity(),
                [](double A, double B) { return B > A ? B : A; });
}

// First index of AValue, or ACount.
inline std::size_t IndexOf(const double* pSrc, std::size_t ACount, double AValue) noexcept {
  std::size_t I = 0;
  while (I < ACount && pSrc[I] != AValue) ++I;
  return I;
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
