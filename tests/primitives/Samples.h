#pragma once

#include <gtest/gtest.h>
#include <tessalune/primitives/Ippptypes.h>

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

template <class T>
bool IsSame(const T& A, const T& B) {
  return A == B;
}

// An element-wise primitive, at every length up to that of X: ADefinition of each element, and not
// a word behind.
template <class TIn, class TOut, class TPrimitive, class TDefinition>
void ExpectElements(const std::vector<TIn>& X, TOut AUntouched, TPrimitive APrimitive,
                    TDefinition ADefinition) {
  for (std::size_t Count = 1; Count <= X.size(); ++Count) {
    std::vector<TOut> Y(Count + 1, AUntouched);
    ASSERT_EQ(APrimitive(X.data(), Y.data(), static_cast<std::int32_t>(Count)), ippStsNoErr);
    for (std::size_t I = 0; I < Count; ++I)
      ASSERT_TRUE(IsSame(Y[I], static_cast<TOut>(ADefinition(X[I]))))
          << testing::PrintToString(Y[I]) << " at " << I << " of " << Count;
    ASSERT_EQ(Y[Count], AUntouched) << "behind " << Count;
  }
}

// The values in turn, as many as make whole vectors of each type and instruction set and leave a
// rest.
template <class T>
std::vector<T> Repeated(const std::vector<T>& AValues) {
  std::vector<T> Result;
  for (std::size_t I = 0; I < 70; ++I) Result.push_back(AValues[I % AValues.size()]);
  return Result;
}

}  // namespace tessalune::test
