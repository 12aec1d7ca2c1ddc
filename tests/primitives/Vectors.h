// What the tests of the primitives share.
#pragma once

#include "Samples.h"

#include <limits>

namespace tessalune::test {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

using TSamples = std::vector<double>;

template <class T>
std::int32_t LengthOf(const std::vector<T>& AValues) {
  return static_cast<std::int32_t>(AValues.size());
}

inline std::vector<TComplex> RandomComplex(std::size_t ACount) {
  const TSamples Parts = RandomSamples(2 * ACount);
  std::vector<TComplex> Result(ACount);
  for (std::size_t I = 0; I < ACount; ++I) Result[I] = {Parts[2 * I], Parts[2 * I + 1]};
  return Result;
}

}  // namespace tessalune::test
