#include "Samples.h"

#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <complex>
#include <limits>

namespace tessalune::test {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

std::vector<TComplex> Ramp(std::size_t ACount) {
  std::vector<TComplex> Result;
  for (std::size_t I = 0; I < ACount; ++I)
    Result.push_back({1.0 + static_cast<double>(I), -2.0 * static_cast<double>(I)});
  return Result;
}

// A primitive that works in place, as one from a source to a target.
template <class TPrimitive>
auto InPlace(TPrimitive APrimitive) {
  return [=](const double* ASource, double* ATarget, std::int32_t ALength) {
    std::copy_n(ASource, ALength, ATarget);
    return APrimitive(ATarget, ALength);
  };
}

TEST(Vectors, ConjugateInOrderAndFlipped) {
  for (std::int32_t Length = 1; Length < 12; ++Length) {
    const auto Count = static_cast<std::size_t>(Length);
    const std::vector<TComplex> Source = Ramp(Count);
    std::vector<TComplex> InPlace = Source, Flipped(Count);
    ASSERT_EQ(ippsConj_64fc(InPlace.data(), InPlace.data(), Length), ippStsNoErr);
    ASSERT_EQ(ippsConjFlip_64fc(Source.data(), Flipped.data(), Length), ippStsNoErr);
    for (std::size_t I = 0; I < Count; ++I) {
      const TComplex Expected{Source[I].Re, -Source[I].Im};
      EXPECT_EQ(InPlace[I], Expected);
      EXPECT_EQ(Flipped[Count - 1 - I], Expected);
    }
  }
}

TEST(Vectors, SplitIntoRealAndImaginary) {
  const std::vector<TComplex> Source = Ramp(9);
  double Re[9], Im[9];
  ASSERT_EQ(ippsCplxToReal_64fc(Source.data(), Re, Im, 9), ippStsNoErr);
  for (std::size_t I = 0; I < 9; ++I) {
    EXPECT_EQ(Re[I], Source[I].Re);
    EXPECT_EQ(Im[I], Source[I].Im);
  }
}

TEST(Vectors, MoveKeepsTheSourceWholeForAnyOverlap) {
  const std::vector<TComplex> Source = Ramp(20);
  for (std::size_t From : {0u, 3u, 5u, 8u}) {
    std::vector<TComplex> Memory = Source;
    ASSERT_EQ(ippsMove_64fc(&Memory[From], &Memory[5], 10), ippStsNoErr);
    for (std::size_t I = 0; I < 20; ++I)
      EXPECT_EQ(Memory[I], I >= 5 && I < 15 ? Source[From + I - 5] : Source[I]) << From << ' ' << I;
  }
  std::vector<TComplex> Copy(20);
  for (const TComplex* From : {Source.data(), static_cast<const TComplex*>(Copy.data())}) {
    ASSERT_EQ(ippsCopy_64fc(From, Copy.data(), 20), ippStsNoErr);
    EXPECT_EQ(Copy, Source);
  }
}

TEST(Vectors, AbsClearsTheSign) {
  const std::vector<double> X = Repeated<double>({-1.5, 2.0, -0.0, -NaN, -Inf});
  const auto Abs = [](double A) { return std::fabs(A); };
  ExpectElements(X, 9.0, ippsAbs_64f, Abs);
  ExpectElements(X, 9.0, InPlace([](double* P, int N) { return ippsAbs_64f(P, P, N); }), Abs);
}

TEST(Vectors, ThresholdReplacesStrictlyBeyondItsLevels) {
  struct TLevels {
    double Low, High;
  };
  const auto X = Repeated<double>({-3.0, -1.0, -0.0, 2.0, 2.5, NaN, Inf});
  for (const auto [Low, High] : {TLevels{-1, 2}, TLevels{2, 2}}) {
    const auto Threshold = InPlace(
        [=](double* P, int N) { return ippsThreshold_LTValGTVal_64f_I(P, N, Low, -10, High, 20); });
    ExpectElements(X, 9.0, Threshold, [=](double A) { return A > High ? 20 : A >= Low ? A : -10; });
  }

  double Y[] = {0.0, 1.0, 8.0};
  EXPECT_EQ(ippsThreshold_LTValGTVal_64f_I(Y, 3, 1.0, 0.0, 0.5, 0.0), ippStsThresholdErr);
  EXPECT_EQ(ippsThreshold_LTValGTVal_64f_I(Y, 3, NaN, 0.0, 0.5, 0.0), ippStsThresholdErr);
  EXPECT_EQ(ippsThreshold_LTValGTVal_64f_I(Y, 0, 1.0, 0.0, 0.5, 0.0), ippStsSizeErr);
  EXPECT_EQ(Y[2], 8.0);
}

TEST(Complex, QuotientNeitherOverflowsNorUnderflowsOnTheWay) {
  for (double Size : {1.0, 1e300, 1e-300})
    for (const std::complex<long double> A : {std::complex<long double>(3, -4), {1, 2}, {0, 5}})
      for (const std::complex<long double> B : {std::complex<long double>(2, 7), {-6, 1}, {0, 3}}) {
        const auto Make = [Size](const std::complex<long double>& X) {
          return TComplex{static_cast<double>(X.real()) * Size,
                          static_cast<double>(X.imag()) * Size};
        };
        TComplex Quotient = Make(A);
        Quotient /= Make(B);
        const std::complex<long double> Expected = A / B;
        // Five roundings of either part against the modulus; the scaling by Size makes two more.
        const long double Bound = 8 * Eps * std::abs(Expected);
        EXPECT_TRUE(IsNear(Quotient.Re, Expected.real(), Bound)) << Size;
        EXPECT_TRUE(IsNear(Quotient.Im, Expected.imag(), Bound)) << Size;
      }
}

}  // namespace
}  // namespace tessalune::test
