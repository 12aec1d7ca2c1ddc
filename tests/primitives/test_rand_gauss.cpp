#include "Samples.h"

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <limits>

namespace tessalune::test {
namespace {

// The generator once more, from its definition: integers of any size, reduced where the definition
// reduces.
class TReference {
 public:
  explicit TReference(std::uint32_t ASeed) {
    FLagged[2] = ASeed;
    FLagged[1] = Next(FLagged[2]);
    FLagged[0] = Next(FLagged[1]);
  }

  struct TSample {
    long double Value;
    long double Bound;  // what double precision may make of it
  };

  std::vector<TSample> Fill(std::size_t ACount, double AMean, double AStdDev) {
    std::vector<TSample> Result;
    for (;;) {
      const TPair Pair = MakePair();
      for (long double Factor : {Pair.V, Pair.U}) {
        if (Result.size() == ACount) return Result;
        const long double Deviation = Factor * Pair.T * AStdDev;
        const long double Value = AMean + Deviation;
        Result.push_back(
            {Value, Pair.Errors * Eps * std::fabs(Deviation) + Eps * std::fabs(Value)});
      }
    }
  }

  std::uint32_t Seed() const { return static_cast<std::uint32_t>(FLagged[2]); }

  // Uniform on about [-1, 1).
  long double Draw() {
    std::int64_t T = (FLagged[1] - FLagged[0] + FBorrow + Modulus) % Modulus;
    FBorrow = T >= Modulus / 2 ? -1 : 0;
    if (FBorrow == -1) T -= 18;
    FLagged[0] = FLagged[1];
    FLagged[1] = FLagged[2];
    FLagged[2] = T;
    FC = Next(FC);
    std::int64_t Sum = (T + FC) % Modulus;
    if (Sum >= Modulus / 2) Sum -= Modulus;
    return static_cast<long double>(Sum) * 4.656612873077e-10;
  }

 private:
  static constexpr std::int64_t Modulus = std::int64_t{1} << 32;

  static std::int64_t Next(std::int64_t X) { return (X * 69069 + 1013904243) % Modulus; }

  struct TPair {
    long double U, V, T;
    long double Errors;  // rounding errors of U * T * deviation
  };
  TPair MakePair() {
    long double U, V, W;
    do {
      U = Draw();
      V = Draw();
      W = U * U + V * V;
    } while (!(W < 1) || W == 0);
    // W has four rounding errors, which the logarithm turns into as many absolute ones; the root
    // halves them. The other operations make eight.
    const long double Log = std::log(W);
    return {U, V, std::sqrt(-2 * Log / W), 8 - 2 / Log};
  }

  std::int64_t FLagged[3];
  std::int64_t FBorrow = -1;
  std::int64_t FC = 1131199209;
};

TEST(RandGauss, FollowsItsDefinitionAndLeavesTheSeed) {
  for (std::uint32_t Start : {0u, 1u, 12345u, 0x80000000u, 0xFFFFFFFFu})
    for (std::int32_t Length : {1, 2, 3, 4, 5, 2000}) {
      TReference Reference(Start);
      const auto Expected = Reference.Fill(static_cast<std::size_t>(Length), 1.5, 20.0);
      std::uint32_t Seed = Start;
      std::vector<double> Y(Expected.size() + 1, 99.0);
      ASSERT_EQ(ippsRandGauss_Direct_64f(Y.data(), Length, 1.5, 20.0, &Seed), ippStsNoErr);
      EXPECT_EQ(Y.back(), 99.0);
      EXPECT_EQ(Seed, Reference.Seed()) << Start << ", length " << Length;
      for (std::size_t N = 0; N < Expected.size(); ++N)
        ASSERT_TRUE(IsNear(Y[N], Expected[N].Value, Expected[N].Bound)) << Start << ", " << N;
    }
}

TEST(RandGauss, HasTheMomentsAndTailsOfTheNormalDistribution) {
  constexpr std::int32_t Length = 1000000;
  std::vector<double> Y(Length);
  std::uint32_t Seed = 42;
  ASSERT_EQ(ippsRandGauss_Direct_64f(Y.data(), Length, 3.0, 2.0, &Seed), ippStsNoErr);
  double Moments[5] = {};
  double Beyond2 = 0;
  for (double X : Y) {
    const double Z = (X - 3.0) / 2.0;
    double Power = 1;
    for (double& Moment : Moments) {
      Moment += Power / Length;
      Power *= Z;
    }
    Beyond2 += std::fabs(Z) > 2 ? 1.0 / Length : 0.0;
  }
  // Five standard deviations of each estimate, from the moments of the normal distribution:
  // var(z^k) = E z^2k - (E z^k)^2 = 1, 2, 15, 96.
  const double Five = 5 / std::sqrt(Length);
  EXPECT_NEAR(Moments[1], 0, Five);
  EXPECT_NEAR(Moments[2], 1, Five * std::sqrt(2));
  EXPECT_NEAR(Moments[3], 0, Five * std::sqrt(15));
  EXPECT_NEAR(Moments[4], 3, Five * std::sqrt(96));
  const double Tail = std::erfc(std::sqrt(2));
  EXPECT_NEAR(Beyond2, Tail, Five * std::sqrt(Tail));
}

TEST(RandGauss, WithoutDeviationGivesTheMeanAndMovesTheSeed) {
  double Y[3];
  std::uint32_t Seed = 7;
  ASSERT_EQ(ippsRandGauss_Direct_64f(Y, 3, -2.5, 0.0, &Seed), ippStsNoErr);
  for (double X : Y) EXPECT_EQ(X, -2.5);
  EXPECT_NE(Seed, 7u);
}

TEST(RandUniform, FollowsTheGeneratorWithinTheBoundsAndLeavesTheSeed) {
  constexpr double Huge = std::numeric_limits<double>::max();
  const std::pair<double, double> Ranges[] = {{-20000, 20000}, {0, 1},           {5, -3},
                                              {2.5, 2.5},      {1, 1 + 0x1p-52}, {-Huge, Huge}};
  for (const auto& [Low, High] : Ranges)
    for (const std::uint32_t Start : {0u, 31192u, 0xFFFFFFFFu}) {
      TReference Reference(Start);
      std::uint32_t Seed = Start;
      std::vector<double> Y(1001, 99.0);
      ASSERT_EQ(ippsRandUniform_Direct_64f(Y.data(), 1000, Low, High, &Seed), ippStsNoErr);
      EXPECT_EQ(Y.back(), 99.0);
      Y.pop_back();
      for (const double X : Y) {
        const long double Middle = (Low + static_cast<long double>(High)) / 2;
        const long double Half = (High - static_cast<long double>(Low)) / 2;
        const long double Bound = 4 * Eps * (std::fabs(Middle) + std::fabs(Half));
        ASSERT_TRUE(IsNear(X, Middle + Half * Reference.Draw(), Bound)) << Low << " " << High;
        ASSERT_TRUE(X >= std::min(Low, High) && X <= std::max(Low, High)) << Low << " " << High;
      }
      EXPECT_EQ(Seed, Reference.Seed());
    }
}

TEST(RandUniform, FillsItsRangeEvenly) {
  constexpr std::size_t Count = 1000000, Cells = 100;
  std::vector<double> Y(Count);
  std::uint32_t Seed = 31192;
  ASSERT_EQ(ippsRandUniform_Direct_64f(Y.data(), Count, 2, 12, &Seed), ippStsNoErr);
  std::vector<double> Hits(Cells);
  for (const double X : Y) ++Hits.at(static_cast<std::size_t>((X - 2) / 10 * Cells));
  const double Expected = static_cast<double>(Count) / Cells;
  double ChiSquare = 0;
  for (const double Hit : Hits) ChiSquare += (Hit - Expected) * (Hit - Expected) / Expected;
  // Five standard deviations of the distribution with 99 degrees of freedom, to either side.
  EXPECT_NEAR(ChiSquare, Cells - 1, 5 * std::sqrt(2.0 * (Cells - 1)));
}

}  // namespace
}  // namespace tessalune::test
