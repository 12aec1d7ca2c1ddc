#include "Vectors.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <functional>
#include <numbers>
#include <string>

namespace tessalune::test {
namespace {

// Modified Bessel function of first kind and order 0, by its power series.
long double Bessel(long double AX) {
  long double Term = 1, Sum = 1;
  for (long double K = 1; Term > ExtendedEps * Sum; ++K) {
    Term *= AX / 2 / K * (AX / 2 / K);
    Sum += Term;
  }
  return Sum;
}

long double Cosine(int ACycles, int N, int ALength) {
  return std::cos(2 * std::numbers::pi_v<long double> * (ACycles * N) / (ALength - 1));
}

struct TWindow {
  std::string Name;
  double Alpha;
  std::function<IppStatus(double* pSrcDst, std::int32_t len)> Real;
  std::function<IppStatus(TComplex* pSrcDst, std::int32_t len)> Complex;
  std::function<long double(int N, int ALength)> Weight;
};

TWindow Cosines(const char* AName, IppStatus (*AReal)(double*, std::int32_t) noexcept,
                IppStatus (*AComplex)(TComplex*, std::int32_t) noexcept, long double AMean) {
  return {AName, 0, AReal, AComplex,
          [=](int N, int L) { return AMean - (1 - AMean) * Cosine(1, N, L); }};
}

TWindow Blackman(double A) {
  return {
      "Blackman", A, [=](double* X, int L) { return ippsWinBlackman_64f_I(X, L, A); },
      [=](TComplex* X, int L) { return ippsWinBlackman_64fc_I(X, L, A); },
      [=](int N, int L) { return (A + 1.0L) / 2 - Cosine(1, N, L) / 2 - A * Cosine(2, N, L) / 2; }};
}

TWindow Kaiser(float A) {
  return {"Kaiser", static_cast<double>(A),
          [=](double* X, int L) { return ippsWinKaiser_64f_I(X, L, A); },
          [=](TComplex* X, int L) { return ippsWinKaiser_64fc_I(X, L, A); },
          [=](int N, int L) {
            const long double Beta = static_cast<long double>(A);
            return Bessel(Beta * std::sqrt(1.0L * N * (L - 1 - N))) / Bessel(Beta * (L - 1) / 2);
          }};
}

std::vector<TWindow> Windows() {
  return {{"Bartlett", 0, ippsWinBartlett_64f_I, ippsWinBartlett_64fc_I,
           [](int N, int L) { return 2.0L * std::min(N, L - 1 - N) / (L - 1); }},
          Cosines("Hamming", ippsWinHamming_64f_I, ippsWinHamming_64fc_I, 0.54L),
          Cosines("Hann", ippsWinHann_64f_I, ippsWinHann_64fc_I, 0.5L),
          Blackman(-0.16),
          Blackman(-1.0),
          Blackman(3.0),
          Kaiser(0.0f),
          Kaiser(0.01f),
          Kaiser(-0.05f),
          Kaiser(0.06f),
          Kaiser(1.0f)};
}

TEST(Windows, FollowTheirDefinitionsAndAreSymmetric) {
  for (const TWindow& Window : Windows())
    for (const std::int32_t Length : {3, 4, 5, 8, 33, 255, 256, 257, 258, 1000, 1001}) {
      SCOPED_TRACE(Window.Name + ' ' + std::to_string(Window.Alpha) + ", length " +
                   std::to_string(Length));
      const auto Count = static_cast<std::size_t>(Length);
      std::vector<double> W(Count + 1, 1.0);
      ASSERT_EQ(Window.Real(W.data(), Length), ippStsNoErr);
      EXPECT_EQ(W.back(), 1.0);
      W.pop_back();
      EXPECT_TRUE(std::equal(W.begin(), W.end(), W.rbegin()));
      for (int N = 0; N < Length; ++N) {
        const long double Weight = Window.Weight(N, Length);
        // The argument of a Bessel function is rounded, which counts as often as it is large.
        const long double Largest = std::fabs(Window.Alpha);
        const long double Errors = Window.Name == "Kaiser"
                                       ? (5 * Largest * (Length - 1) / 2 + 10) * Weight
                                       : 12 * (1 + 4 * Largest);
        const long double Bound = Errors * Eps + 32 * ExtendedEps * (1 + 4 * Largest);
        ASSERT_TRUE(IsNear(W[static_cast<std::size_t>(N)], Weight, Bound)) << N;
      }

      const std::vector<TComplex> X = RandomComplex(Count);
      std::vector<TComplex> Z = X;
      ASSERT_EQ(Window.Complex(Z.data(), Length), ippStsNoErr);
      for (std::size_t N = 0; N < Count; ++N) ASSERT_EQ(Z[N], X[N] * W[N]) << N;
    }
}

TEST(Windows, RefuseLengthsThatLeaveNothingAndParametersThatAreNone) {
  for (const TWindow& Window : Windows())
    for (const std::int32_t Length : {1, 2}) {
      double X[2] = {1, 1};
      TComplex Z[2] = {{1, 1}, {1, 1}};
      const bool IsKaiser = Window.Name == "Kaiser";  // has a form for these, too
      const IppStatus Expected = IsKaiser ? ippStsNoErr : ippStsSizeErr;
      EXPECT_EQ(Window.Real(X, Length), Expected) << Window.Name;
      EXPECT_EQ(Window.Complex(Z, Length), Expected) << Window.Name;
      EXPECT_TRUE(IsKaiser || (X[0] == 1 && Z[0].Re == 1)) << Window.Name;
    }
  double X[2] = {1, 1};
  for (const double Alpha : {Inf, NaN})
    EXPECT_EQ(ippsWinKaiser_64f_I(X, 2, static_cast<float>(Alpha)), ippStsHugeWinErr);
  for (const double Sample : X) EXPECT_EQ(Sample, 1.0);
}

}  // namespace
}  // namespace tessalune::test
