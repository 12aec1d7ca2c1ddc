#pragma once

#include <gtest/gtest.h>
#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/QSComplex.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <type_traits>
#include <vector>

// Samples and comparisons of all tests of signals.
namespace tessalune::test {

constexpr long double Eps = 0x1p-53L;          // relative rounding error of a double
constexpr long double ExtendedEps = 0x1p-64L;  // and of the 80-bit format

// Reproducible samples in [-ABound, ABound).
inline std::vector<double> RandomSamples(std::size_t ACount, double ABound = 10.0) {
  std::mt19937_64 Engine(4711);
  std::uniform_real_distribution<double> Uniform(-ABound, ABound);
  std::vector<double> Result(ACount);
  for (double& X : Result) X = Uniform(Engine);
  return Result;
}

// The same value, sign of zero included; a NaN is as good as another.
template <class T>
bool IsSame(const T& A, const T& B) {
  if constexpr (std::is_same_v<T, TComplex>)
    return IsSame(A.Re, B.Re) && IsSame(A.Im, B.Im);
  else if constexpr (std::is_floating_point_v<T>)
    return (A == B && std::signbit(A) == std::signbit(B)) || (A != A && B != B);
  else
    return A == B;
}

// |AActual - AExpected| <= ATolerance; a NaN fails.
inline ::testing::AssertionResult IsNear(double AActual, long double AExpected,
                                         long double ATolerance) {
  const long double Error = std::fabs(AActual - AExpected);
  if (Error <= ATolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << AActual << " differs from " << AExpected << " by "
                                       << Error << ", allowed are " << ATolerance;
}

}  // namespace tessalune::test
