#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

// What the tests of the primitives share.
namespace tessalune::test {

constexpr long double Eps = 0x1p-53L;          // relative rounding error of a double
constexpr long double ExtendedEps = 0x1p-64L;  // and of the 80-bit format

// As many samples as make whole vectors of each instruction set and leave a rest.
constexpr std::int32_t Several = 21;

// Reproducible samples in [-ABound, ABound).
inline std::vector<double> RandomSamples(std::size_t ACount, double ABound = 10.0) {
  std::mt19937_64 Engine(4711);
  std::uniform_real_distribution<double> Uniform(-ABound, ABound);
  std::vector<double> Result(ACount);
  for (double& X : Result) X = Uniform(Engine);
  return Result;
}

// The same value, sign of zero included; a NaN is as good as another.
inline bool IsSame(double A, double B) {
  return std::bit_cast<std::uint64_t>(A) == std::bit_cast<std::uint64_t>(B) || (A != A && B != B);
}

// |AActual - AExpected| <= ATolerance; a NaN fails.
inline testing::AssertionResult IsNear(double AActual, long double AExpected,
                                       long double ATolerance) {
  const long double Error = std::fabs(AActual - AExpected);
  if (Error <= ATolerance) return testing::AssertionSuccess();
  return testing::AssertionFailure() << AActual << " differs from " << AExpected << " by " << Error
                                     << ", allowed are " << ATolerance;
}

}  // namespace tessalune::test
