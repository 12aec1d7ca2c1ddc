#include "Samples.h"

#include <tessalune/primitives/QSDispatcher.h>

#include <limits>
#include <numbers>

namespace tessalune::test {
namespace {

std::vector<TComplex> RandomComplex(std::size_t ACount) {
  const std::vector<double> Parts = RandomSamples(2 * ACount);
  std::vector<TComplex> Result(ACount);
  for (std::size_t N = 0; N < ACount; ++N) Result[N] = {Parts[2 * N], Parts[2 * N + 1]};
  return Result;
}

TEST(Goertzel, IsTheSumOfItsDefinitionAtAnyFrequencyAndLength) {
  for (const double Freq : {0.0, 1e-12, 1e-6, 0.1, 0.25, 1.0 / 3, 0.5, 0.77, 0.9999})
    for (const std::size_t Count : {1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 127u, 128u, 129u, 255u, 256u,
                                    257u, 271u, 1000u, 10000u}) {
      const std::vector<TComplex> X = RandomComplex(Count);
      long double Re = 0, Im = 0, Magnitude = 0;
      for (std::size_t N = 0; N < Count; ++N) {
        const long double Turns = static_cast<long double>(Freq) * (Count - N);
        const long double Angle = 2 * std::numbers::pi_v<long double> * (Turns - std::round(Turns));
        Re += X[N].Re * std::cos(Angle) - X[N].Im * std::sin(Angle);
        Im += X[N].Re * std::sin(Angle) + X[N].Im * std::cos(Angle);
        Magnitude += std::hypot(X[N].Re, X[N].Im);
      }
      TComplex Y;
      ASSERT_EQ(ippsGoertz_64fc(X.data(), static_cast<std::int32_t>(Count), &Y, Freq), ippStsNoErr);
      // The phases of the reference are off by its own rounding of the turns.
      const long double Bound =
          (64 * Eps + 8 * static_cast<long double>(Count) * ExtendedEps) * Magnitude;
      EXPECT_TRUE(IsNear(Y.Re, Re, Bound)) << Freq << ", " << Count;
      EXPECT_TRUE(IsNear(Y.Im, Im, Bound)) << Freq << ", " << Count;
    }
}

TEST(Goertzel, OfABinsOwnToneIsItsLengthAndOfAnotherNothing) {
  constexpr std::int32_t Length = 1000, Bin = 123;
  std::vector<TComplex> X;
  for (int N = 0; N < Length; ++N) {
    const double Angle = 2 * std::numbers::pi * (N * Bin % Length) / Length;
    X.push_back({std::cos(Angle), std::sin(Angle)});
  }
  for (const std::int32_t Tested : {Bin, Bin + 1, Length - Bin}) {
    TComplex Y;
    ASSERT_EQ(ippsGoertz_64fc(X.data(), Length, &Y, static_cast<double>(Tested) / Length),
              ippStsNoErr);
    // Besides the sum's errors the samples' own, and those of the frequency, len times.
    const long double Bound =
        (64 + 4 + 2 * std::numbers::pi_v<long double> * Length) * Eps * Length;
    EXPECT_TRUE(IsNear(Y.Re, Tested == Bin ? Length : 0, Bound)) << Tested;
    EXPECT_TRUE(IsNear(Y.Im, 0, Bound)) << Tested;
  }
}

TEST(Goertzel, RefusesFrequenciesOutsideTheCircleLast) {
  const std::vector<TComplex> X(4, {1, 1});
  for (const double Freq : {1.0, -1e-300, 2.0, std::numeric_limits<double>::quiet_NaN()}) {
    TComplex Y{5, 6};
    EXPECT_EQ(ippsGoertz_64fc(X.data(), 4, &Y, Freq), ippStsRelFreqErr) << Freq;
    EXPECT_EQ(Y, (TComplex{5, 6}));
    EXPECT_EQ(ippsGoertz_64fc(X.data(), 0, &Y, Freq), ippStsSizeErr) << Freq;
  }
}

}  // namespace
}  // namespace tessalune::test
