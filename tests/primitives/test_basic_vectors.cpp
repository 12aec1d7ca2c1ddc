#include "Samples.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace tessalune::test {
namespace {

constexpr std::int32_t Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t Min = std::numeric_limits<std::int32_t>::min();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

template <class T, class TWrite>
void ExpectFill(TWrite AWrite, T AOld, T AExpected) {
  const auto Write = [&](const T*, T* ATarget, int ALength) { return AWrite(ATarget, ALength); };
  ExpectElements(Repeated<T>({AOld}), AOld, Write, [&](const T&) { return AExpected; });
}

TEST(BasicVectors, SetAndZeroWriteJustTheirElements) {
  ExpectFill<std::uint8_t>([](auto* P, int N) { return ippsSet_8u(200, P, N); }, 9, 200);
  ExpectFill<std::int32_t>([](auto* P, int N) { return ippsSet_32s(-7, P, N); }, 9, -7);
  ExpectFill<double>([](auto* P, int N) { return ippsSet_64f(0.5, P, N); }, 9, 0.5);
  ExpectFill<TComplex>([](auto* P, int N) { return ippsSet_64fc({1, 2}, P, N); }, {9, 9}, {1, 2});
  ExpectFill<std::uint8_t>([](auto* P, int N) { return ippsZero_8u(P, N); }, 9, 0);
  ExpectFill<std::int16_t>([](auto* P, int N) { return ippsZero_16s(P, N); }, 9, 0);
  ExpectFill<std::int32_t>([](auto* P, int N) { return ippsZero_32s(P, N); }, 9, 0);
  ExpectFill<TComplex>([](auto* P, int N) { return ippsZero_64fc(P, N); }, {9, 9}, {0, 0});
}

template <class T>
std::vector<T> Numbered(std::size_t ACount) {
  std::vector<T> Result(ACount);
  std::iota(Result.begin(), Result.end(), T{1});
  return Result;
}

template <class T>
void ExpectCopy(IppStatus (*ACopy)(const T*, T*, std::int32_t) noexcept) {
  ExpectElements(Numbered<T>(70), T{0}, ACopy, [](T A) { return A; });
}

template <class T>
void ExpectMove(IppStatus (*AMove)(const T*, T*, std::int32_t) noexcept) {
  const std::vector<T> Source = Numbered<T>(20);
  for (std::size_t From : {0u, 3u, 9u}) {
    std::vector<T> Memory = Source;
    ASSERT_EQ(AMove(&Memory[From], &Memory[5], 9), ippStsNoErr);
    std::vector<T> Expected = Source;
    std::copy_n(&Source[From], 9, &Expected[5]);
    EXPECT_EQ(Memory, Expected);
  }
}

TEST(BasicVectors, CopyAndMove) {
  ExpectCopy(ippsCopy_8u);
  ExpectCopy(ippsCopy_32s);
  ExpectCopy(ippsCopy_64f);
  ExpectMove(ippsMove_8u);
  ExpectMove(ippsMove_64f);
}

TEST(BasicVectors, MeanAndExtremesOfEveryLength) {
  const std::vector<double> X = RandomSamples(1000);
  for (std::size_t Count = 1; Count <= X.size(); Count += Count < 40 ? 1 : 97) {
    const auto Length = static_cast<std::int32_t>(Count);
    const auto End = X.begin() + Length;
    double Total, Mean, Low, High, Peak;
    std::int32_t Index;
    ASSERT_EQ(ippsSum_64f(X.data(), Length, &Total), ippStsNoErr);
    ASSERT_EQ(ippsMean_64f(X.data(), Length, &Mean), ippStsNoErr);
    ASSERT_EQ(ippsMinMax_64f(X.data(), Length, &Low, &High), ippStsNoErr);
    ASSERT_EQ(ippsMaxIndx_64f(X.data(), Length, &Peak, &Index), ippStsNoErr);
    const long double Sum = std::accumulate(X.begin(), End, 0.0L);
    // Samples below 10 in magnitude, summed in lanes of Count / 8.
    EXPECT_TRUE(IsNear(Total, Sum, 10 * Length * Eps * (Length / 8.0L + 4))) << Count;
    EXPECT_TRUE(IsNear(Mean, Sum / Length, 10 * Eps * (Length / 8.0L + 5))) << Count;
    EXPECT_EQ(Low, *std::min_element(X.begin(), End));
    EXPECT_EQ(High, *std::max_element(X.begin(), End));
    EXPECT_EQ(Peak, High);
    EXPECT_EQ(Index, std::max_element(X.begin(), End) - X.begin());
  }
}

TEST(BasicVectors, NormIsTheRootOfTheSumOfSquares) {
  const std::vector<double> X = RandomSamples(2000);
  std::vector<TComplex> Z(1000);
  for (std::size_t I = 0; I < Z.size(); ++I) Z[I] = {X[2 * I], X[2 * I + 1]};
  for (std::size_t Count = 1; Count <= Z.size(); Count += Count < 40 ? 1 : 97) {
    const auto Length = static_cast<std::int32_t>(Count);
    double OfReal, OfComplex;
    ASSERT_EQ(ippsNorm_L2_64f(X.data(), Length, &OfReal), ippStsNoErr);
    ASSERT_EQ(ippsNorm_L2_64fc64f(Z.data(), Length, &OfComplex), ippStsNoErr);
    const auto Expect = [&X](double ANorm, std::size_t ATerms) {
      long double Squares = 0;
      for (std::size_t I = 0; I < ATerms; ++I) Squares += static_cast<long double>(X[I]) * X[I];
      // Half the sum's relative error: one rounding a lane's term, four more; and the root's own.
      const long double Bound = (static_cast<long double>(ATerms) / 16 + 4) * Eps;
      EXPECT_TRUE(IsNear(ANorm, std::sqrt(Squares), Bound * std::sqrt(Squares))) << ATerms;
    };
    Expect(OfReal, Count);
    Expect(OfComplex, 2 * Count);
  }
}

TEST(BasicVectors, ExtremesPassOverNotANumberAndTakeTheFirstOfEquals) {
  // Eight lanes are folded in halves: the NaNs stand where a wrong comparison would keep them in
  // place of the extremes, four samples before.
  const double X[] = {NaN, 4, -Inf, 4, 3, NaN, NaN, NaN, 0, -7};
  double Low, High, Peak;
  std::int32_t Index;
  ASSERT_EQ(ippsMinMax_64f(X, 10, &Low, &High), ippStsNoErr);
  ASSERT_EQ(ippsMaxIndx_64f(X, 10, &Peak, &Index), ippStsNoErr);
  EXPECT_EQ(Low, -Inf);
  EXPECT_EQ(High, 4);
  EXPECT_EQ(Peak, 4);
  EXPECT_EQ(Index, 1);

  const double Infinite[] = {-Inf, -Inf};
  ASSERT_EQ(ippsMinMax_64f(Infinite, 2, &Low, &High), ippStsNoErr);
  ASSERT_EQ(ippsMaxIndx_64f(Infinite, 2, &Peak, &Index), ippStsNoErr);
  EXPECT_EQ(Low, -Inf);
  EXPECT_EQ(High, -Inf);
  EXPECT_EQ(Peak, -Inf);

  const double None[] = {NaN, NaN};
  ASSERT_EQ(ippsMinMax_64f(None, 2, &Low, &High), ippStsNoErr);
  ASSERT_EQ(ippsMaxIndx_64f(None, 2, &Peak, &Index), ippStsNoErr);
  EXPECT_TRUE(std::isnan(Low) && std::isnan(High) && std::isnan(Peak));
  EXPECT_EQ(Index, 0);
}

TEST(BasicVectors, RealToIntegerRoundsAndSaturates) {
  struct TCase {
    double X;
    std::int32_t Scale, Zero, Near, Financial;
  };
  const TCase Cases[] = {
      {2.5, 0, 2, 2, 3},
      {3.5, 0, 3, 4, 4},
      {-2.5, 0, -2, -2, -3},
      {-3.7, 0, -3, -4, -4},
      {0.49999999999999994, 0, 0, 0, 0},
      {-0.5, 0, 0, 0, -1},
      {2147483646.5, 0, Max - 1, Max - 1, Max},
      {2147483647.5, 0, Max, Max, Max},
      {-2147483648.5, 0, Min, Min, Min},
      {1e300, 0, Max, Max, Max},
      {-Inf, 0, Min, Min, Min},
      {NaN, 0, 0, 0, 0},
      {10.0, 2, 2, 2, 3},
      {2.75, -2, 11, 11, 11},
      {1.0, -40, Max, Max, Max},
      {-1e300, Min, Min, Min, Min},
      {1e300, Max, 0, 0, 0},
      {0x1p1023, 1023, 1, 1, 1},
      {0x1.8p1023, 1023, 1, 2, 2},
      {0x1p-1022, -1022, 1, 1, 1},
  };
  for (const TCase& Case : Cases) {
    const std::vector<double> X(Several, Case.X);
    const auto Convert = [&](IppRoundMode AMode) {
      std::vector<std::int32_t> Y(Several);
      EXPECT_EQ(ippsConvert_64f32s_Sfs(X.data(), Y.data(), Several, AMode, Case.Scale),
                ippStsNoErr);
      EXPECT_EQ(Y, std::vector<std::int32_t>(Several, Y[0]));
      return Y[0];
    };
    EXPECT_EQ(Convert(ippRndZero), Case.Zero) << Case.X << ", scale " << Case.Scale;
    EXPECT_EQ(Convert(ippRndNear), Case.Near) << Case.X << ", scale " << Case.Scale;
    EXPECT_EQ(Convert(ippRndFinancial), Case.Financial) << Case.X << ", scale " << Case.Scale;
  }
  const double X = 1.0;
  std::int32_t Y = 99;
  EXPECT_EQ(ippsConvert_64f32s_Sfs(&X, &Y, 1, static_cast<IppRoundMode>(3), 0),
            ippStsRoundModeNotSupportedErr);
  EXPECT_EQ(Y, 99);
}

TEST(BasicVectors, IntegerToRealIsExact) {
  const std::int32_t X[] = {Min, -1, 0, 1, Max};
  double Y[5];
  ASSERT_EQ(ippsConvert_32s64f(X, Y, 5), ippStsNoErr);
  for (int I = 0; I < 5; ++I) EXPECT_EQ(Y[I], static_cast<double>(X[I]));
}

TEST(BasicVectors, ConversionsAndIntegersOfEveryLength) {
  const std::vector<double> X = RandomSamples(70, 1e5);
  ExpectElements<double, std::int32_t>(
      X, 9, [](auto... A) { return ippsConvert_64f32s_Sfs(A..., ippRndNear, 0); },
      [](double A) { return static_cast<std::int32_t>(std::nearbyint(A)); });
  ExpectElements<double, float>(
      X, 9, [](auto... A) { return ippsConvert_64f32f(A...); },
      [](double A) { return static_cast<float>(A); });

  std::vector<std::int32_t> V(70);
  for (std::size_t I = 0; I < V.size(); ++I) V[I] = static_cast<std::int32_t>(X[I] * 20000);
  ExpectElements<std::int32_t, double>(
      V, 9, [](auto... A) { return ippsConvert_32s64f(A...); }, [](std::int32_t A) { return A; });
  const auto Saturated = [](std::int64_t A) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(A, Min, Max));
  };
  constexpr std::int32_t Value = 1500000000;
  ExpectElements<std::int32_t, std::int32_t>(
      V, 9, [](auto A, auto... B) { return ippsAddC_32s_Sfs(A, Value, B..., 0); },
      [=](std::int32_t A) { return Saturated(std::int64_t{A} + Value); });
  ExpectElements<std::int32_t, std::int32_t>(
      V, 9, [](auto A, auto... B) { return ippsSubCRev_32s_Sfs(A, -Value, B..., 0); },
      [=](std::int32_t A) { return Saturated(std::int64_t{-Value} - A); });
  ExpectElements<std::int32_t, std::int32_t>(
      V, 9, [](auto A, auto... B) { return ippsMulC_32s_Sfs(A, 3, B..., 0); },
      [=](std::int32_t A) { return Saturated(std::int64_t{A} * 3); });
}

TEST(BasicVectors, SinglePrecisionRoundsToTheNearestAndComesBackExact) {
  const double X[] = {
      1 + 0x1p-24, 1 + 0x3p-24, -0x1.fffffefp+127, 0x1.ffffffp+127, 0x1p-149, 0x1p-150, NaN,
      -Inf,        -0.0};
  const float Single[] = {1.0F, 1 + 0x1p-22F, -0x1.fffffep+127F, HUGE_VALF, 0x1p-149F,
                          0.0F, NAN,          -HUGE_VALF,        -0.0F};
  float Y[9];
  double Back[9];
  ASSERT_EQ(ippsConvert_64f32f(X, Y, 9), ippStsNoErr);
  ASSERT_EQ(ippsConvert_32f64f(Y, Back, 9), ippStsNoErr);
  for (int I = 0; I < 9; ++I) {
    EXPECT_TRUE(Y[I] == Single[I] || (I == 6 && std::isnan(Y[I]))) << I << ": " << Y[I];
    EXPECT_TRUE(Back[I] == static_cast<double>(Single[I]) || (I == 6 && std::isnan(Back[I]))) << I;
    EXPECT_EQ(std::signbit(Y[I]), std::signbit(Single[I])) << I;
  }
}

}  // namespace
}  // namespace tessalune::test
