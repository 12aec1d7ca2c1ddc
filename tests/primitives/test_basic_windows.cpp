#include "Vectors.h"

#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <limits>
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
  IppStatus (*Real)(double* pSrcDst, std::int32_t len, double alpha);
  IppStatus (*Complex)(TComplex* pSrcDst, std::int32_t len, double alpha);
  long double (*Weight)(int N, int ALength, long double AAlpha);
  // In rounding errors; the weight is the one above.
  long double (*Bound)(int N, int ALength, long double AAlpha, long double AWeight);
};

long double HannWeight(int N, int L, long double) { return (1 - Cosine(1, N, L)) / 2; }
long double BlackmanWeight(int N, int L, long double A) {
  return (A + 1) / 2 - Cosine(1, N, L) / 2 - A * Cosine(2, N, L) / 2;
}
long double BlackmanBound(int N, int L, long double A, long double) {
  return 12 * (1 + 4 * std::fabs(A)) * HannWeight(N, L, 0);
}
long double KaiserWeight(int N, int L, long double A) {
  const auto Last = static_cast<long double>(L - 1);
  return Bessel(A * std::sqrt(N * (Last - N))) / Bessel(A * Last / 2);
}
long double KaiserBound(int, int L, long double A, long double AWeight) {
  return (5 * std::fabs(A) * (L - 1) / 2 + 10) * AWeight;
}

template <auto AReal, auto AComplex>
TWindow Plain(const char* AName, long double (*AWeight)(int, int, long double),
              long double (*ABound)(int, int, long double, long double)) {
  return {AName,
          0,
          [](double* X, std::int32_t L, double) { return (*AReal)(X, L); },
          [](TComplex* X, std::int32_t L, double) { return (*AComplex)(X, L); },
          AWeight,
          ABound};
}

TWindow Blackman(double AAlpha) {
  return {"Blackman",
          AAlpha,
          [](double* X, std::int32_t L, double A) { return ippsWinBlackman_64f_I(X, L, A); },
          [](TComplex* X, std::int32_t L, double A) { return ippsWinBlackman_64fc_I(X, L, A); },
          BlackmanWeight,
          BlackmanBound};
}

TWindow Kaiser(float AAlpha) {
  return {"Kaiser",
          static_cast<double>(AAlpha),
          [](double* X, std::int32_t L, double A) {
            return ippsWinKaiser_64f_I(X, L, static_cast<float>(A));
          },
          [](TComplex* X, std::int32_t L, double A) {
            return ippsWinKaiser_64fc_I(X, L, static_cast<float>(A));
          },
          KaiserWeight,
          KaiserBound};
}

std::vector<TWindow> Windows() {
  return {Plain<&ippsWinBartlett_64f_I, &ippsWinBartlett_64fc_I>(
              "Bartlett",
              [](int N, int L, long double) { return 2.0L * std::min(N, L - 1 - N) / (L - 1); },
              [](int, int, long double, long double W) { return W; }),
          Plain<&ippsWinHamming_64f_I, &ippsWinHamming_64fc_I>(
              "Hamming", [](int N, int L, long double) { return 0.54L - 0.46L * Cosine(1, N, L); },
              [](int, int, long double, long double W) { return 12 * W; }),
          Plain<&ippsWinHann_64f_I, &ippsWinHann_64fc_I>(
              "Hann", HannWeight, [](int, int, long double, long double W) { return 10 * W; }),
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
      ASSERT_EQ(Window.Real(W.data(), Length, Window.Alpha), ippStsNoErr);
      EXPECT_EQ(W.back(), 1.0);
      W.pop_back();
      EXPECT_TRUE(std::equal(W.begin(), W.end(), W.rbegin()));
      for (int N = 0; N < Length; ++N) {
        const long double Weight = Window.Weight(N, Length, Window.Alpha);
        // What the reference itself loses where cosines cancel, or where its series is long.
        const long double Slack = 32 * ExtendedEps * (1 + 4 * std::fabs(Window.Alpha));
        const long double Bound = Window.Bound(N, Length, Window.Alpha, Weight) * Eps + Slack;
        ASSERT_TRUE(IsNear(W[static_cast<std::size_t>(N)], Weight, Bound)) << N;
      }

      const std::vector<double> X = RandomSamples(2 * Count);
      std::vector<TComplex> Z(Count);
      for (std::size_t N = 0; N < Count; ++N) Z[N] = {X[2 * N], X[2 * N + 1]};
      ASSERT_EQ(Window.Complex(Z.data(), Length, Window.Alpha), ippStsNoErr);
      for (std::size_t N = 0; N < Count; ++N)
        ASSERT_EQ(Z[N], (TComplex{X[2 * N] * W[N], X[2 * N + 1] * W[N]})) << N;
    }
}

TEST(Windows, RefuseLengthsThatLeaveNothingAndParametersThatAreNone) {
  double X[2] = {1, 1};
  TComplex Z[2] = {{1, 1}, {1, 1}};
  for (const TWindow& Window : Windows()) {
    const IppStatus Expected = Window.Name == "Kaiser" ? ippStsNoErr : ippStsSizeErr;
    for (const std::int32_t Length : {1, 2}) {
      EXPECT_EQ(Window.Real(X, Length, 0), Expected) << Window.Name;
      EXPECT_EQ(Window.Complex(Z, Length, 0), Expected) << Window.Name;
    }
  }
  for (const float Alpha :
       {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()})
    EXPECT_EQ(ippsWinKaiser_64f_I(X, 2, Alpha), ippStsHugeWinErr);
  for (const double Sample : X) EXPECT_EQ(Sample, 1.0);
}

}  // namespace
}  // namespace tessalune::test
