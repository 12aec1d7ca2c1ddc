#include "primitives/Samples.h"
#include "primitives/SpectrumOracle.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/streams/QSWindowCalculator.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>

namespace tessalune::test {
namespace {

using enum TQSExtendedWindowType;
using QSWindowCalculator::CalculateWindowForMult;

// w(t), by the book; t from 0 to 1.
using TDefinition = std::function<long double(long double)>;

TDefinition Cosines(std::vector<long double> A) {
  return [A](long double T) {
    long double Sum = 0;
    for (std::size_t K = 0; K < A.size(); ++K)
      Sum += (K % 2 == 0 ? 1 : -1) * A[K] *
             std::cos(2 * std::numbers::pi_v<long double> * static_cast<long double>(K) * T);
    return Sum;
  };
}

TDefinition Kaiser(long double ABeta) {
  return [ABeta](long double T) {
    return std::cyl_bessel_i(0.0L, ABeta * 2 * std::sqrt(T * (1 - T))) /
           std::cyl_bessel_i(0.0L, ABeta);
  };
}

// What the header promises of a window.
struct TWindow {
  TQSExtendedWindowType Type;
  std::uint32_t Terms;
  double Alpha;
  double SideLobe;         // dB
  TDefinition Definition;  // none: that of the calculator's own lines
  long double Errors;      // rounding errors, relative to the weight
  long double Slack;       // and to the peak

  bool IsEndless() const { return Type == xwtBartlett || Type == xwtWelch || Type == xwtKaiser; }
  std::string Name() const {
    return std::string(TEnumNames<TQSExtendedWindowType>::Names[static_cast<std::size_t>(Type)]) +
           " of " + std::to_string(Terms) + " terms, Alpha " + std::to_string(Alpha);
  }
  double Calculate(std::span<double> AWindow, std::span<TComplex> AForm = {}) const {
    return CalculateWindowForMult(Type, Terms, Alpha, AWindow, AForm);
  }
};

std::vector<TWindow> Windows() {
  constexpr long double Tiny = 64 * ExtendedEps;  // what the references lose themselves
  std::vector<TWindow> Result{
      {xwtNone, 4, 1, -13.26, Cosines({1}), 0, Tiny},
      {xwtRect, 4, 1, -13.26, Cosines({1}), 0, Tiny},
      {xwtBartlett, 4, 1, -26.52, [](long double T) { return 1 - std::fabs(2 * T - 1); }, 1, Tiny},
      {xwtWelch, 4, 1, -21.29, [](long double T) { return 4 * T * (1 - T); }, 4, Tiny},
      {xwtHanning, 4, 1, -31.47, Cosines({0.5L, 0.5L}), 16, Tiny},
      {xwtHamming, 4, 1, -42.67, Cosines({0.54L, 0.46L}), 16, Tiny},
      {xwtBlackman, 4, 0, -31.47, Cosines({0.5L, 0.5L}), 24, Tiny},
      {xwtBlackman, 4, 0.5, -42.72, Cosines({0.46L, 0.5L, 0.04L}), 24, Tiny},
      {xwtBlackman, 4, 1, -58.11, Cosines({0.42L, 0.5L, 0.08L}), 24, Tiny},
      {xwtFlatTop, 4, 1, -93.0,
       Cosines({1024 / 4750.0L, 1979 / 4750.0L, 1317 / 4750.0L, 397 / 4750.0L, 33 / 4750.0L}), 0,
       40 * Eps},
      {xwtKaiser, 4, 0, -13.26, Kaiser(0), 50, Tiny},
      {xwtKaiser, 4, 0.1, -18.43, Kaiser(2), 50, Tiny},
      {xwtKaiser, 4, 0.4, -58.67, Kaiser(8), 50, Tiny},
      {xwtKaiser, 4, 1, -154.94, Kaiser(20), 50, Tiny},
      // Nuttall's digits, and the levels of Albrecht's table or better.
      {xwtCosSum, 4, 1, -98.17, Cosines({0.3635819L, 0.4891775L, 0.1365995L, 0.0106411L}), 0,
       2e-7L}};
  const double Levels[] = {-125.43, -153.57, -180.47, -207.51, -234.73, -262.87, -289.68};
  for (std::uint32_t Terms = 5; Terms <= 11; ++Terms)
    Result.push_back({xwtCosSum, Terms, 1, Levels[Terms - 5], {}, 8.0L * Terms, 4 * Eps});
  return Result;
}

// The sum of the lines, for windows whose amplitudes stand nowhere else.
TDefinition SumOfLines(const TWindow& AWindow) {
  std::vector<double> W(64);
  std::vector<TComplex> F(64);
  AWindow.Calculate(W, F);
  std::vector<long double> A{F[0].Re};
  for (std::size_t K = 1; K < AWindow.Terms; ++K) A.push_back(2 * std::fabs(F[K].Re));
  return Cosines(A);
}

TEST(WindowCalculator, FollowsItsDefinitionsInTimeAndInFrequency) {
  for (const TWindow& Window : Windows()) {
    const TDefinition Definition = Window.Definition ? Window.Definition : SumOfLines(Window);
    for (const std::size_t N : {1u, 2u, 3u, 4u, 5u, 16u, 100u, 255u, 1001u, 4096u}) {
      SCOPED_TRACE(Window.Name() + ", length " + std::to_string(N));
      std::vector<double> W(N);
      std::vector<TComplex> F(N, TComplex{7, 7});
      const double Gain = Window.Calculate(W, F);

      std::vector<TExact> Exact(N, TExact{1});
      long double Power = 0;
      for (std::size_t I = 0; I < N; ++I) {
        if (N > 1) Exact[I] = Definition(static_cast<long double>(I) / static_cast<long double>(N));
        const long double Weight = Exact[I].real();
        ASSERT_TRUE(IsNear(W[I], Weight, Window.Errors * Eps * Weight + Window.Slack)) << I;
        ASSERT_EQ(W[I], W[(N - I) % N]) << I;
        Power += Weight * Weight / static_cast<long double>(N);
      }
      if (N % 2 == 0) {
        ASSERT_TRUE(IsNear(W[N / 2], 1, 2 * Eps));
      }
      EXPECT_TRUE(IsNear(Gain, std::sqrt(Power), 1e-15L * std::sqrt(Power) + Window.Slack));

      const std::vector<TExact> Bins = TSpectrumOracle(N).Forward(Exact);
      const long double Peak = Bins[0].real() / static_cast<long double>(N);
      for (std::size_t K = 0; K < N; ++K) {
        const long double Bin = Bins[K].real() / static_cast<long double>(N);
        const bool IsCut = Window.IsEndless() && std::fabs(Bin) < 1e-5L * Peak;
        const bool IsZero = IsCut || std::fabs(Bin) < 1e-18L;
        ASSERT_TRUE(IsNear(F[K].Re, IsZero ? 0 : Bin, IsZero ? 0 : 1e-15L * Peak + Window.Slack))
            << K;
        ASSERT_EQ(F[K].Im, 0) << K;
      }

      std::vector<TComplex> Z(N);
      EXPECT_EQ(CalculateWindowForMult(Window.Type, Window.Terms, Window.Alpha, Z), Gain);
      for (std::size_t I = 0; I < N; ++I) ASSERT_EQ(Z[I], (TComplex{W[I], 0})) << I;
    }
    constexpr std::size_t Huge = std::size_t{1} << 30;
    for (const std::size_t I : {std::size_t{0}, std::size_t{1}, Huge / 8 + 1, Huge / 2, Huge - 1}) {
      const long double Weight = Definition(static_cast<long double>(I) / Huge);
      EXPECT_TRUE(
          IsNear(QSWindowCalculator::Weight(Window.Type, Window.Terms, Window.Alpha, I, Huge),
                 Weight, Window.Errors * Eps * Weight + Window.Slack))
          << Window.Name() << ", index " << I;
    }
  }
}

TEST(WindowCalculator, ReachesItsSideLobeLevels) {
  constexpr std::size_t N = 1024, Fine = 32;  // points to a bin
  const TSpectrumOracle Oracle(Fine * N);
  for (const TWindow& Window : Windows()) {
    std::vector<double> W(N);
    Window.Calculate(W);
    std::vector<TExact> X(Fine * N);
    std::copy(W.begin(), W.end(), X.begin());
    X = Oracle.Forward(X);
    std::size_t K = Fine;
    while (std::abs(X[K + 1]) < std::abs(X[K])) ++K;  // down the main lobe
    long double Largest = 0;
    while (++K < Fine * N / 2) Largest = std::max(Largest, std::abs(X[K]));
    // What the first sample adds, which no last one matches.
    const double Unpaired = W[0] / static_cast<double>(X[0].real());
    const double Promised = std::hypot(std::pow(10.0, Window.SideLobe / 20), Unpaired);
    const auto Measured = static_cast<double>(Largest / std::abs(X[0]));
    EXPECT_NEAR(20 * std::log10(Measured / Promised), 0, 0.15) << Window.Name();
  }
}

TEST(WindowCalculator, TakesParametersOutsideTheirRangeForTheNearerEnd) {
  constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
  const auto Weights = [](TQSExtendedWindowType AType, std::uint32_t ATerms, double AAlpha) {
    std::vector<double> W(100);
    CalculateWindowForMult(AType, ATerms, AAlpha, W);
    return W;
  };
  EXPECT_EQ(Weights(xwtCosSum, 0, 1), Weights(xwtCosSum, 4, 1));
  EXPECT_EQ(Weights(xwtCosSum, 4000000000, 1), Weights(xwtCosSum, 11, 1));
  for (const TQSExtendedWindowType Type : {xwtBlackman, xwtKaiser}) {
    EXPECT_EQ(Weights(Type, 4, 1e300), Weights(Type, 4, 1));
    EXPECT_EQ(Weights(Type, 4, -1e300), Weights(Type, 4, 0));
    EXPECT_EQ(Weights(Type, 4, NaN), Weights(Type, 4, 0));
    for (double Alpha = 0; Alpha <= 1; Alpha += 0.125)
      EXPECT_GE(std::ranges::min(Weights(Type, 4, Alpha)), 0) << Alpha;
  }
  std::vector<double> W(8, 7);
  std::vector<TComplex> F(7);
  EXPECT_THROW(CalculateWindowForMult(xwtRect, 4, 1, W, F), EQSException);
  EXPECT_EQ(W, std::vector<double>(8, 7));
  EXPECT_EQ(CalculateWindowForMult(xwtKaiser, 4, 1, std::span<double>()), 1);
}

}  // namespace
}  // namespace tessalune::test
