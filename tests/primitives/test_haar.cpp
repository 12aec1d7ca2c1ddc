#include "Vectors.h"

#include <tessalune/primitives/QSDispatcher.h>

namespace tessalune::test {
namespace {

void ExpectPairs(const TSamples& X) {
  TSamples Low(X.size() + 1, 9), High(X.size() + 1, 9);
  ASSERT_EQ(
      ippsWTHaarFwd_64f(X.data(), static_cast<std::int32_t>(X.size()), Low.data(), High.data()),
      ippStsNoErr);
  for (std::size_t K = 0; 2 * K + 1 < X.size(); ++K) {
    const long double A = X[2 * K], B = X[2 * K + 1];
    const long double Half = (B - A) * 0.5L;
    ASSERT_TRUE(IsSame(High[K], static_cast<double>(Half))) << std::hexfloat << A << ' ' << B;
    ASSERT_TRUE(IsSame(Low[K], static_cast<double>(Half + A))) << std::hexfloat << A << ' ' << B;
  }
  if (X.size() % 2 != 0) {
    EXPECT_EQ(Low[X.size() / 2], X.back());
  }
  EXPECT_EQ(Low[(X.size() + 1) / 2], 9);
  EXPECT_EQ(High[X.size() / 2], 9);
}

TEST(Haar, EachPairIsThatOfExtendedPrecisionToTheLastBit) {
  for (std::size_t Count = 1; Count <= 70; ++Count) ExpectPairs(RandomSamples(Count));
  // Pairs of all distances, as they come and with few bits, so that ties occur at each distance.
  for (const int Kept : {53, 12, 2, 1})
    for (int Distance = 0; Distance < 140; ++Distance) {
      TSamples X = RandomSamples(1024);
      for (std::size_t I = 0; I < X.size(); ++I) {
        int Exponent;
        const double Mantissa = std::ldexp(std::frexp(X[I], &Exponent), Kept);
        X[I] =
            std::ldexp(std::round(Mantissa), Exponent - Kept + (I / 2 % 2 == I % 2 ? Distance : 0));
      }
      ExpectPairs(X);
    }
}

TEST(Haar, SpecialPairsAsWell) {
  const double Special[] = {0.0,     -0.0,     1.0,       -1.0,      Inf,
                            -Inf,    NaN,      0x1p-1074, 0x3p-1074, -0x1p-1074,
                            1.7e308, -1.7e308, 0x1p1023,  0x1p-1022, 0x1.8p-1022};
  TSamples X;
  for (const double A : Special)
    for (const double B : Special) {
      ExpectPairs(TSamples(16, A));
      X.insert(X.end(), {A, B});
      // Alone among usual ones too: other pairs decide on which way a vector goes.
      ExpectPairs({A, B, A, B, A, B, A, B, A, B, A, B, A, B, A, B});
    }
  ExpectPairs(X);
}

TEST(Haar, ForwardThenInverseGivesTheSourceBack) {
  for (std::int32_t Length = 1; Length <= 70; ++Length) {
    const auto Count = static_cast<std::size_t>(Length);
    const TSamples X = RandomSamples(Count);
    TSamples Low(Count), High(Count), Back(Count + 1, 9);
    ASSERT_EQ(ippsWTHaarFwd_64f(X.data(), Length, Low.data(), High.data()), ippStsNoErr);
    ASSERT_EQ(ippsWTHaarInv_64f(Low.data(), High.data(), Back.data(), Length), ippStsNoErr);
    EXPECT_EQ(Back.back(), 9);
    // Three roundings of values below 10, the scale of the samples.
    for (std::size_t I = 0; I < Count; ++I)
      EXPECT_TRUE(IsNear(Back[I], X[I], 3 * 10 * Eps)) << I << " of " << Length;
  }
}

}  // namespace
}  // namespace tessalune::test
