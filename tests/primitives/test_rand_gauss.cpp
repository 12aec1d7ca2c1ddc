#include "Vectors.h"

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

// That the definition is of normal samples, and the generator uniform, the generators' tests see.
TEST(RandGauss, FollowsItsDefinitionAndLeavesTheSeed) {
  for (const double StdDev : {20.0, 0.0})
    for (const std::uint32_t Start : {0u, 1u, 12345u, 0x80000000u, 0xFFFFFFFFu})
      for (const std::int32_t Length : {1, 2, 3, 4, 5, 2000}) {
        TReference Reference(Start);
        const auto Expected = Reference.Fill(static_cast<std::size_t>(Length), 1.5, StdDev);
        std::uint32_t Seed = Start;
        TSamples Y(Expected.size() + 1, 99.0);
        ASSERT_EQ(ippsRandGauss_Direct_64f(Y.data(), Length, 1.5, StdDev, &Seed), ippStsNoErr);
        EXPECT_EQ(Y.back(), 99.0);
        EXPECT_EQ(Seed, Reference.Seed()) << Start << ", length " << Length;
        for (std::size_t N = 0; N < Expected.size(); ++N)
          ASSERT_TRUE(IsNear(Y[N], Expected[N].Value, Expected[N].Bound)) << Start << ", " << N;
      }
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

}  // namespace
}  // namespace tessalune::test
