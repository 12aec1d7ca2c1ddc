#include "Vectors.h"

#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>

#include <algorithm>
#include <numbers>

namespace tessalune::test {
namespace {

constexpr double Pi = std::numbers::pi;
constexpr double TwoPi = 2 * Pi;

// Angle of sample ASample, with the waveforms' value of two pi.
long double AngleAt(double ARelFreq, double APhase, std::size_t ASample) {
  return static_cast<long double>(TwoPi) * ARelFreq * ASample + APhase;
}

// Rounding error of AngleAt, and of anything that computes the angle in the extended format.
long double AngleError(double ARelFreq, std::size_t ASample) {
  return 8 * ExtendedEps * TwoPi * (1 + ARelFreq * static_cast<double>(ASample));
}

TEST(Tone, IsTheCosineOfItsAngle) {
  constexpr double Magn = 3.0;
  for (std::int32_t Length : {1, 2, 3, 4, 5, 6, 7, 1000, 4097})
    for (double RelFreq : {0.0, 1e-4, 0.1, 0.25, 0.4999})
      for (double Start : {0.0, 1.0, 6.28}) {
        double Phase = Start;
        std::vector<double> Y(static_cast<std::size_t>(Length) + 1, 99.0);
        ASSERT_EQ(ippsTone_Direct_64f(Y.data(), Length, Magn, RelFreq, &Phase, 0), ippStsNoErr);
        EXPECT_EQ(Y.back(), 99.0);
        // A rotation makes four rounding errors of its own and, through the rotation that it is
        // made of, those of the table's.
        for (std::size_t N = 0; N + 1 < Y.size(); ++N) {
          const long double Rotations = 64.0L + static_cast<long double>(N) / 8;
          const long double Bound = Eps + 8 * ExtendedEps * Rotations + AngleError(RelFreq, N);
          ASSERT_TRUE(IsNear(Y[N], Magn * std::cos(AngleAt(RelFreq, Start, N)), Magn * Bound))
              << "length " << Length << ", frequency " << RelFreq << ", sample " << N;
        }
      }
}

TEST(Triangle, FallsAndRisesAlongItsTwoSegments) {
  constexpr double Magn = 2.0;
  constexpr std::int32_t Length = 3000;
  for (double RelFreq : {0.0, 0.00371, 0.1234567, 0.4987})
    // One rounding error away from an empty segment, the folds' ratio is 10^16.
    for (double Asym : {0.0, 1.0, -1.0, 2.9, -2.9, 3.14, -3.14, -Pi, std::nextafter(-Pi, 0.0),
                        std::nextafter(Pi, 0.0)})
      for (double Start : {0.0, 0.3, 4.0, 6.2}) {
        double Phase = Start;
        std::vector<double> Y(Length);
        ASSERT_EQ(ippsTriangle_Direct_64f(Y.data(), Length, Magn, RelFreq, Asym, &Phase),
                  ippStsNoErr);
        const long double Fall = static_cast<long double>(Pi) + Asym;
        const long double Rise = static_cast<long double>(Pi) - Asym;
        const long double Steepest = 2 / (Fall > 0 ? std::min(Fall, Rise) : Rise);
        for (std::size_t N = 0; N < Length; ++N) {
          const long double Angle = std::fmod(AngleAt(RelFreq, Start, N), TwoPi);
          const long double Expected =
              Angle < Fall ? 1 - 2 * Angle / Fall : 2 * (Angle - Fall) / Rise - 1;
          // A step makes a few rounding errors, which the fold may carry to the steeper segment.
          const long double Bound =
              Eps + Steepest * (AngleError(RelFreq, N) + 8 * ExtendedEps * (N + 1.0L));
          ASSERT_TRUE(IsNear(Y[N], Magn * Expected, Magn * Bound))
              << "frequency " << RelFreq << ", asymmetry " << Asym << ", phase " << Start
              << ", sample " << N;
          ASSERT_LE(std::fabs(Y[N]), Magn);
        }
      }
}

TEST(Square, IsLowForTheFirstPartOfEachCycle) {
  struct TCase {
    double Asym;
    int Low;  // of 64 samples
  };
  for (const TCase& Case : {TCase{0.0, 32}, {0.25, 40}, {-0.5, 16}, {1.0, 64}, {-1.0, 0}}) {
    double Phase = 0;
    double Y[6 * 64];
    ASSERT_EQ(ippsSquare_Direct_64f(Y, 6 * 64, 3.0, 1.0 / 64, Case.Asym, &Phase), ippStsNoErr);
    for (int N = 0; N < 6 * 64; ++N)
      ASSERT_EQ(Y[N], N % 64 < Case.Low ? -3.0 : 3.0) << Case.Asym << ", sample " << N;
    EXPECT_EQ(Phase, 0.0);
  }
}

TEST(Square, WritesNoSampleButThePhaseForNoLength) {
  double Phase = 1.0;
  EXPECT_EQ(ippsSquare_Direct_64f(nullptr, -1, 1.0, 0.1, 0.0, &Phase), ippStsNoErr);
  EXPECT_TRUE(IsNear(Phase, 1.0, 2 * Eps));
}

// What a call leaves in the phase is where the next one goes on.
TEST(Waveforms, TwoCallsGiveTheSamplesOfOne) {
  const auto Tone = [](double* pDst, std::int32_t len, double* pPhase) {
    return ippsTone_Direct_64f(pDst, len, 1.0, 0.1234, pPhase, 0);
  };
  const auto Triangle = [](double* pDst, std::int32_t len, double* pPhase) {
    return ippsTriangle_Direct_64f(pDst, len, 1.0, 0.1234, 1.5, pPhase);
  };
  const auto Square = [](double* pDst, std::int32_t len, double* pPhase) {
    return ippsSquare_Direct_64f(pDst, len, 1.0, 0.1234, 0.3, pPhase);
  };
  using TGenerate = IppStatus (*)(double*, std::int32_t, double*);
  // The phase of the second call has been rounded to double; no slope is above 2 / (pi - 1.5).
  const long double Bound = 4 * Eps * TwoPi * 1000 * 0.1234 * 1.3;
  for (TGenerate Generate : {TGenerate{Tone}, TGenerate{Triangle}, TGenerate{Square}})
    for (std::int32_t Cut : {1, 2, 4, 333, 999}) {
      double Whole[1000], Parts[1000];
      double Phase = 1.0;
      ASSERT_EQ(Generate(Whole, 1000, &Phase), ippStsNoErr);
      Phase = 1.0;
      ASSERT_EQ(Generate(Parts, Cut, &Phase), ippStsNoErr);
      ASSERT_EQ(Generate(Parts + Cut, 1000 - Cut, &Phase), ippStsNoErr);
      for (int N = 0; N < 1000; ++N)
        ASSERT_TRUE(IsNear(Parts[N], Whole[N], Bound)) << "cut " << Cut << ", sample " << N;
    }
}

TEST(Waveforms, APhaseThatIsLeftIsNeverRefused) {
  const double Last = std::nextafter(TwoPi, 0.0);
  double Y[3];
  for (double RelFreq : {0.0, 7.2e-17, 1e-16, 0.1, 0.25, 0.49999999999999994})
    for (double Start : {0.0, Last, Pi, 1e-300}) {
      double TonePhase = Start, TrianglePhase = Start;
      for (int I = 0; I < 50; ++I) {
        const std::int32_t Length = 1 + I % 3;
        ASSERT_EQ(ippsTone_Direct_64f(Y, Length, 1, RelFreq, &TonePhase, 0), ippStsNoErr)
            << RelFreq << ' ' << Start;
        ASSERT_EQ(ippsTriangle_Direct_64f(Y, Length, 1, RelFreq, 0, &TrianglePhase), ippStsNoErr)
            << RelFreq << ' ' << Start;
      }
      if (RelFreq == 0.0) {
        EXPECT_EQ(TonePhase, Start);
        EXPECT_EQ(TrianglePhase, Start);
      }
    }
}

struct TRefusal {
  double Magn, RelFreq, Asym, Phase;
  bool NullDst;
  std::int32_t Length;
  IppStatus Tone, Triangle;
};

// Each row but the last keeps all faults of the rows below, so that the order of the checks shows.
TEST(Waveforms, RefuseInOrderAndTouchNothing) {
  const TRefusal Rows[] = {
      {0.0, -0.1, 4.0, 7.0, true, 0, ippStsToneMagnErr, ippStsTrnglMagnErr},
      {NaN, -0.1, 4.0, 7.0, true, 0, ippStsToneMagnErr, ippStsTrnglMagnErr},
      {1.0, -0.1, 4.0, 7.0, true, 0, ippStsToneFreqErr, ippStsTrnglFreqErr},
      {1.0, 0.5, 4.0, 7.0, true, 0, ippStsToneFreqErr, ippStsTrnglFreqErr},
      {1.0, NaN, 4.0, 7.0, true, 0, ippStsToneFreqErr, ippStsTrnglFreqErr},
      {1.0, 0.1, Pi, 7.0, true, 0, ippStsTonePhaseErr, ippStsTrnglAsymErr},
      {1.0, 0.1, std::nextafter(-Pi, -4.0), 7.0, true, 0, ippStsTonePhaseErr, ippStsTrnglAsymErr},
      {1.0, 0.1, NaN, 7.0, true, 0, ippStsTonePhaseErr, ippStsTrnglAsymErr},
      {1.0, 0.1, 0.0, TwoPi, true, 0, ippStsTonePhaseErr, ippStsTrnglPhaseErr},
      {1.0, 0.1, 0.0, -1e-300, true, 0, ippStsTonePhaseErr, ippStsTrnglPhaseErr},
      {1.0, 0.1, 0.0, NaN, true, 0, ippStsTonePhaseErr, ippStsTrnglPhaseErr},
      {1.0, 0.1, 0.0, 1.0, true, 0, ippStsNullPtrErr, ippStsNullPtrErr},
      {1.0, 0.1, 0.0, 1.0, false, 0, ippStsSizeErr, ippStsSizeErr},
      {1.0, 0.1, 0.0, 1.0, false, 2, ippStsNoErr, ippStsNoErr},
  };
  for (const TRefusal& Row : Rows) {
    const auto Check = [&Row](auto AGenerate, IppStatus AStatus) {
      double Y[] = {99.0, 99.0};
      double Phase = Row.Phase;
      double* pDst = Row.NullDst ? nullptr : Y;
      EXPECT_EQ(AGenerate(pDst, Row, nullptr), ippStsNullPtrErr);
      EXPECT_EQ(AGenerate(pDst, Row, &Phase), AStatus);
      if (AStatus == ippStsNoErr) return;
      EXPECT_EQ(Y[0], 99.0);
      EXPECT_TRUE(Phase == Row.Phase || (Phase != Phase && Row.Phase != Row.Phase));
    };
    Check(
        [](double* pDst, const TRefusal& R, double* pPhase) {
          return ippsTone_Direct_64f(pDst, R.Length, R.Magn, R.RelFreq, pPhase, 0);
        },
        Row.Tone);
    Check(
        [](double* pDst, const TRefusal& R, double* pPhase) {
          return ippsTriangle_Direct_64f(pDst, R.Length, R.Magn, R.RelFreq, R.Asym, pPhase);
        },
        Row.Triangle);
  }
}

TEST(Ramp, ComputesEachSampleFromItsIndex) {
  constexpr std::int32_t Length = 100001;
  const float Offset = -7.3F, Slope = 0.1F;
  std::vector<double> Y(Length);
  ASSERT_EQ(ippsVectorRamp_64f(Y.data(), Length, Offset, Slope), ippStsNoErr);
  for (std::size_t N = 0; N < Y.size(); ++N) {
    const long double Rise = static_cast<long double>(Slope) * N;
    ASSERT_TRUE(IsNear(Y[N], Offset + Rise, Eps * (2 * Rise + 8))) << N;
  }
  ASSERT_EQ(ippsVectorRamp_64f(Y.data(), 3, 0.1F, 0.0F), ippStsNoErr);
  EXPECT_EQ(Y[2], static_cast<double>(0.1F));
}

TEST(Jaehne, IsTheChirpUpToHalfACycleASample) {
  for (std::int32_t Length : {1, 7, 1000, 100000}) {
    std::vector<double> Y(static_cast<std::size_t>(Length));
    ASSERT_EQ(ippsVectorJaehne_64f(Y.data(), Length, 4.0), ippStsNoErr);
    for (std::int64_t N = 0; N < Length; ++N) {
      const long double Turn = static_cast<long double>(N * N % (4LL * Length)) / Length;
      const long double Expected = 4 * std::sin(Turn * std::numbers::pi_v<long double> / 2);
      // The angle, up to 2 pi, makes three rounding errors, its sine and the product two more.
      ASSERT_TRUE(IsNear(Y[static_cast<std::size_t>(N)], Expected, 4 * Eps * (3 * TwoPi + 2)))
          << Length << ", sample " << N;
    }
  }
  double Y = 99.0;
  EXPECT_EQ(ippsVectorJaehne_64f(&Y, 1, -1.0), ippStsJaehneErr);
  EXPECT_EQ(ippsVectorJaehne_64f(&Y, 1, NaN), ippStsJaehneErr);
  EXPECT_EQ(Y, 99.0);
}

}  // namespace
}  // namespace tessalune::test
