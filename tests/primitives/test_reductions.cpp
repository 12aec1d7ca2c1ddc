// The primitives that make one value of a vector.
#include "Vectors.h"

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <numbers>
#include <numeric>

namespace tessalune::test {
namespace {

TEST(Reductions, SumMeanNormAndExtremesOfEveryLength) {
  const std::vector<TComplex> Z = RandomComplex(1000);
  const TSamples X = RandomSamples(2000);  // the parts of Z
  for (std::size_t Count = 1; Count <= Z.size(); Count += Count < 40 ? 1 : 97) {
    SCOPED_TRACE(Count);
    const auto Length = static_cast<std::int32_t>(Count);
    const auto End = X.begin() + Length;
    double Total, Mean, Low, High, Peak, Norm, ComplexNorm;
    std::int32_t Index;
    ASSERT_EQ(ippsSum_64f(X.data(), Length, &Total), ippStsNoErr);
    ASSERT_EQ(ippsMean_64f(X.data(), Length, &Mean), ippStsNoErr);
    ASSERT_EQ(ippsMinMax_64f(X.data(), Length, &Low, &High), ippStsNoErr);
    ASSERT_EQ(ippsMaxIndx_64f(X.data(), Length, &Peak, &Index), ippStsNoErr);
    ASSERT_EQ(ippsNorm_L2_64f(X.data(), Length, &Norm), ippStsNoErr);
    ASSERT_EQ(ippsNorm_L2_64fc64f(Z.data(), Length, &ComplexNorm), ippStsNoErr);
    const long double Sum = std::accumulate(X.begin(), End, 0.0L);
    // Samples below 10 in magnitude, summed in lanes of Count / 8.
    EXPECT_TRUE(IsNear(Total, Sum, 10 * Length * Eps * (Length / 8.0L + 4)));
    EXPECT_TRUE(IsNear(Mean, Sum / Length, 10 * Eps * (Length / 8.0L + 5)));
    EXPECT_EQ(Low, *std::min_element(X.begin(), End));
    EXPECT_EQ(High, *std::max_element(X.begin(), End));
    EXPECT_EQ(Peak, High);
    EXPECT_EQ(Index, std::max_element(X.begin(), End) - X.begin());
    for (const auto& [Is, Terms] : {std::pair(Norm, Count), {ComplexNorm, 2 * Count}}) {
      long double Squares = 0;
      for (std::size_t I = 0; I < Terms; ++I) Squares += static_cast<long double>(X[I]) * X[I];
      // Half the sum's relative error: one rounding a lane's term, four more; and the root's own.
      const long double Bound = (static_cast<long double>(Terms) / 16 + 4) * Eps;
      EXPECT_TRUE(IsNear(Is, std::sqrt(Squares), Bound * std::sqrt(Squares))) << Terms;
    }
  }
}

TEST(Reductions, ExtremesPassOverNotANumberAndTakeTheFirstOfEquals) {
  struct TCase {
    TSamples X;
    double Low, High;
    std::int32_t Index;
  };
  // Eight lanes are folded in halves: the NaNs stand where a wrong comparison would keep them in
  // place of the extremes, four samples before.
  for (const TCase& Case : {TCase{{NaN, 4, -Inf, 4, 3, NaN, NaN, NaN, 0, -7}, -Inf, 4, 1},
                            {{-Inf, -Inf}, -Inf, -Inf, 0},
                            {{NaN, NaN}, NaN, NaN, 0}}) {
    double Low, High, Peak;
    std::int32_t Index;
    ASSERT_EQ(ippsMinMax_64f(Case.X.data(), LengthOf(Case.X), &Low, &High), ippStsNoErr);
    ASSERT_EQ(ippsMaxIndx_64f(Case.X.data(), LengthOf(Case.X), &Peak, &Index), ippStsNoErr);
    EXPECT_TRUE(IsSame(Low, Case.Low) && IsSame(High, Case.High) && IsSame(Peak, Case.High));
    EXPECT_EQ(Index, Case.Index);
  }
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
      ASSERT_EQ(ippsGoertz_64fc(X.data(), LengthOf(X), &Y, Freq), ippStsNoErr);
      // The phases of the reference are off by its own rounding of the turns.
      const long double Bound =
          (64 * Eps + 8 * static_cast<long double>(Count) * ExtendedEps) * Magnitude;
      EXPECT_TRUE(IsNear(Y.Re, Re, Bound)) << Freq << ", " << Count;
      EXPECT_TRUE(IsNear(Y.Im, Im, Bound)) << Freq << ", " << Count;
    }
}

TEST(Goertzel, RefusesFrequenciesOutsideTheCircleLast) {
  const std::vector<TComplex> X(4, {1, 1});
  for (const double Freq : {1.0, -1e-300, 2.0, NaN}) {
    TComplex Y{5, 6};
    EXPECT_EQ(ippsGoertz_64fc(X.data(), 4, &Y, Freq), ippStsRelFreqErr) << Freq;
    EXPECT_EQ(Y, (TComplex{5, 6}));
    EXPECT_EQ(ippsGoertz_64fc(X.data(), 0, &Y, Freq), ippStsSizeErr) << Freq;
  }
}

}  // namespace
}  // namespace tessalune::test
