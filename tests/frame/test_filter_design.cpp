#include <tessalune/frame/streams/QSTapsResponse.h>
#include <tessalune/frame/streams/QSWindowFilter.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <iterator>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace tessalune::test {
namespace {

using enum TQSFilterType;
using enum TQSDesignFilterType;
using enum TQSIIRFilterType;
using enum TQSWindowType;
using TTaps = std::vector<double>;
using TExtended = long double;

constexpr TExtended Pi = std::numbers::pi_v<TExtended>;
constexpr double Rate = 65536;  // exact as a factor

// What a case asks for, with edges in cycles a sample.
struct TAsked {
  TQSIIRFilterType Prototype;
  TQSDesignFilterType Kind;
  int Order;
  double Low;
  double High = 0.25;
  double Alpha = 1.0;

  TRef<IQSFilterInfo> Design() const {
    return QSFilterCalc(ftBiquadIIR, Kind, Order, Low * Rate, High * Rate, Rate, wtRect, Prototype,
                        Alpha);
  }
  std::string Text() const {
    return std::string(TEnumNames<TQSIIRFilterType>::Names[static_cast<std::size_t>(Prototype)]) +
           ' ' +
           std::string(TEnumNames<TQSDesignFilterType>::Names[static_cast<std::size_t>(Kind)]) +
           " order " + std::to_string(Order) + " edges " + std::to_string(Low) + ' ' +
           std::to_string(High);
  }
};

// |H|^2 of a prototype at W, the edge at 1, from its formula.
class TClosedForm {
 public:
  explicit TClosedForm(const TAsked& A) : FType(A.Prototype), FOrder(A.Order), FAlpha(A.Alpha) {
    if (FType != iirBessel) return;
    // Where the magnitude of the Bessel polynomial has fallen by half, by bisection.
    TExtended Above = 10 * std::sqrt(static_cast<TExtended>(FOrder));
    TExtended Below = 0;
    for (int I = 0; I < 100; ++I) {
      FEdge = (Below + Above) / 2;
      (Bessel(FEdge) > 0.5L ? Below : Above) = FEdge;
    }
  }

  TExtended operator()(TExtended W) const {
    if (FType == iirBessel) return Bessel(W * FEdge);
    const TExtended N = FOrder;
    if (FType == iirButterworth) return 1 / (1 + std::pow(W, 2 * N));
    const TExtended T = W <= 1 ? std::cos(N * std::acos(W)) : std::cosh(N * std::acosh(W));
    return 1 / (1 + (std::pow(10.0L, FAlpha / 10) - 1) * T * T);
  }

 private:
  // 1 over the sum of (2 n - k)! (2 n - 2 k)! / (k! (n - k)!^2) (2 W)^(2 k) n!^2 / (2 n)!^2, which
  // |t_n|^2 is: terms of one sign, in which nothing cancels. (Gautschi's and Burchnall's form.)
  TExtended Bessel(TExtended W) const {
    TExtended Sum = 0, Term = 1;
    for (int K = 0; K <= FOrder; ++K) {
      Sum += Term;
      const TExtended N = FOrder, J = K;
      // the quotient of the term K + 1 and the term K
      Term *= 4 * W * W * (N - J) * (N - J) /
              ((J + 1) * (2 * N - J) * (2 * N - 2 * J) * (2 * N - 2 * J - 1));
    }
    return 1 / Sum;
  }

  TQSIIRFilterType FType;
  int FOrder;
  double FAlpha;
  TExtended FEdge = 1;
};

TExtended Warp(TExtended ARelative) {
  return ARelative < 0.25L ? std::tan(Pi * ARelative) : 1 / std::tan(Pi * (0.5L - ARelative));
}

// Where the prototype is when the digital filter is at ARelative.
TExtended PrototypeFrequency(const TAsked& A, TExtended ARelative) {
  const TExtended W = Warp(ARelative), W1 = Warp(A.Low), W2 = Warp(A.High);
  const TExtended Band = std::fabs((W * W - W1 * W2) / (W * (W2 - W1)));
  switch (A.Kind) {
    case dfLowPass:
      return W / W1;
    case dfHighPass:
      return W1 / W;
    case dfBandPass:
      return Band;
    case dfBandStop:
      return 1 / Band;
  }
  return 0;
}

// From end to end of the axis, dense about the edges.
std::vector<TExtended> TestFrequencies(const TAsked& A) {
  std::vector<TExtended> Result;
  for (int I = 1; I < 40; ++I) Result.push_back(I / 80.0L);
  const TExtended Width = A.Kind == dfLowPass || A.Kind == dfHighPass
                              ? std::min(A.Low, 0.5 - A.Low)
                              : std::min({A.High - A.Low, A.Low, 0.5 - A.High});
  for (const TExtended Edge : {A.Low, A.High})
    for (const TExtended Away : {-0.9L, -0.3L, -0.1L, -0.01L, 0.0L, 0.01L, 0.1L, 0.3L, 0.9L})
      if (Edge + Away * Width < 0.5L) Result.push_back(Edge + Away * Width);
  return Result;
}

// The largest difference of magnitudes.
double ResponseError(const TAsked& A, const TTaps& ATaps) {
  const TClosedForm Form(A);
  TExtended Worst = 0;
  for (const TExtended F : TestFrequencies(A)) {
    const TExtended Is = QSTapsResponse(ftBiquadIIR, ATaps, F).Magnitude;
    const TExtended Error = std::fabs(Is - std::sqrt(Form(PrototypeFrequency(A, F))));
    if (!(Error <= Worst)) Worst = Error;  // a NaN stays
  }
  return static_cast<double>(Worst);
}

// What the rounding of sections' coefficients may do to the response, as QSFilterSections.h has it;
// with room for the gains and the terms of higher order.
double RoundingBound(const TAsked& A, const TTaps& ATaps) {
  double Worst = 0;
  for (const TExtended F : TestFrequencies(A)) {
    double Sum = 0;
    for (std::size_t I = 0; I < ATaps.size(); I += 6) {
      const std::complex<TExtended> Z = std::polar(1.0L, -2 * Pi * F);
      const TExtended A1 = ATaps[I + 4], A2 = ATaps[I + 5];
      const TExtended D = std::abs(1.0L + (A1 + A2 * Z) * Z);
      Sum += static_cast<double>((std::fabs(A1) + std::fabs(A2)) / D + 2);
    }
    Worst = std::max(Worst, Sum);
  }
  return 2 * 0x1p-53 * Worst;
}

bool IsStable(const TTaps& ATaps) {
  for (std::size_t I = 0; I < ATaps.size(); I += 6) {
    const TExtended A1 = ATaps[I + 4], A2 = ATaps[I + 5];
    if (!(std::fabs(A2) < 1 && std::fabs(A1) < 1 + A2 && ATaps[I] != 0 && ATaps[I + 3] == 1))
      return false;
  }
  return !ATaps.empty();
}

std::vector<TAsked> Cases(const std::vector<double>& AEdges, const std::vector<int>& AOrders) {
  std::vector<TAsked> Result;
  for (const TQSIIRFilterType Prototype : {iirBessel, iirButterworth, iirChebyshev})
    for (const int Order : AOrders)
      for (std::size_t I = 0; I < AEdges.size(); ++I) {
        for (const auto Kind : {dfLowPass, dfHighPass})
          Result.push_back({Prototype, Kind, Order, AEdges[I]});
        for (std::size_t J = I + 1; J < AEdges.size(); ++J)
          for (const auto Kind : {dfBandPass, dfBandStop})
            Result.push_back({Prototype, Kind, Order, AEdges[I], AEdges[J]});
      }
  return Result;
}

// Symmetric, gain 1 in the middle of the pass band, and beyond the edges what the window promises;
// two edges add up to twice that.
TEST(FilterDesign, FiniteResponsesKeepWhatTheirWindowsPromise) {
  struct TRow {
    TQSWindowType Window;
    double StopBand;  // dB
  };
  constexpr TRow Rows[] = {{wtRect, -20.9},    {wtBartlett, -25.5}, {wtHanning, -43.9},
                           {wtHamming, -52.5}, {wtBlackman, -74},   {wtKaiser, -99}};
  constexpr double Low = 0.15, High = 0.3, Transition = 0.04;
  for (const auto [Window, StopBand] : Rows)
    for (const auto Kind : {dfLowPass, dfHighPass, dfBandPass, dfBandStop})
      for (const int Count : {100, 101}) {
        const auto Info = QSFilterCalc(ftFIR, Kind, Count, Low * Rate, High * Rate, Rate, Window,
                                       iirButterworth, 0.5);
        const TTaps Taps = Info->GetTaps();
        const auto Case = testing::Message() << "window " << static_cast<int>(Window) << " kind "
                                             << static_cast<int>(Kind) << ", " << Count;
        EXPECT_EQ(std::ssize(Taps), Kind == dfHighPass || Kind == dfBandStop ? 101 : Count) << Case;
        EXPECT_TRUE(std::equal(Taps.begin(), Taps.end(), Taps.rbegin())) << Case;
        const auto Gain = [&Taps](double AF) { return QSTapsResponse(ftFIR, Taps, AF).Magnitude; };
        const double Middle[] = {0, 0.5, (Low + High) / 2, 0.5};
        EXPECT_NEAR(Gain(Middle[static_cast<int>(Kind)]), 1, 1e-14) << Case;
        double Worst = 0;
        for (double F = 0; F <= 0.5; F += 0.0005) {
          const bool IsBand = Kind >= dfBandPass;
          const double Edge = IsBand ? High : 1;
          const bool IsInside = F > Low + Transition && F < Edge - Transition;
          const bool IsOutside = F < Low - Transition || F > Edge + Transition;
          if (Kind == dfHighPass || Kind == dfBandPass ? IsOutside : IsInside)
            Worst = std::max(Worst, static_cast<double>(Gain(F)));
        }
        EXPECT_LE(20 * std::log10(Worst), StopBand + (Kind >= dfBandPass ? 6.02 : 0)) << Case;
      }
}

// Near the ends of the axis only the rounding of coefficients remains.
TEST(FilterDesign, SectionsHaveTheResponseOfTheirFormula) {
  const auto Inside =
      Cases({0.01, 0.011, 0.1, 0.25, 0.3, 0.48, 0.49}, {1, 2, 3, 6, 11, 20, 40, 41});
  const auto NearTheEnds = Cases({1e-4, 1.1e-4, 0.4998, 0.4999}, {1, 2, 5, 41});
  for (const auto* Asked : {&Inside, &NearTheEnds})
    for (const TAsked& Each : *Asked) {
      const auto Info = Each.Design();
      const TTaps Taps = Info->GetTaps();
      EXPECT_TRUE(IsStable(Taps)) << Each.Text() << ": " << Info->Error();
      EXPECT_LE(ResponseError(Each, Taps), Asked == &Inside ? 1e-9 : RoundingBound(Each, Taps))
          << Each.Text();
    }
}

// What the sections make of the samples, without rounding.
TTaps Cascade(const TTaps& ATaps, const TTaps& ASamples) {
  std::vector<TExtended> X(ASamples.begin(), ASamples.end());
  for (std::size_t I = 0; I < ATaps.size(); I += 6) {
    const double* C = &ATaps[I];
    TExtended First = 0, Second = 0;
    for (TExtended& Sample : X) {
      const TExtended Y = C[0] * Sample + First;
      First = C[1] * Sample - C[4] * Y + Second;
      Second = C[2] * Sample - C[5] * Y;
      Sample = Y;
    }
  }
  TTaps Result;
  for (const TExtended Sample : X) Result.push_back(static_cast<double>(Sample));
  return Result;
}

TEST(FilterDesign, SectionsAddLittleNoiseAndOverflowNoSoonerThanTheWhole) {
  TTaps Noise(4000);
  std::mt19937_64 Engine(1);
  for (double& X : Noise) X = std::uniform_real_distribution<double>(-1, 1)(Engine);
  for (const TAsked& Asked : Cases({0.01, 0.011, 0.1, 0.49}, {5, 41})) {
    const TTaps Taps = Asked.Design()->GetTaps();
    const TTaps Exact = Cascade(Taps, Noise);
    TTaps Output(Noise.size());
    IppsIIRState_64f* State = nullptr;
    const auto Sections = static_cast<int>(Taps.size() / 6);
    ASSERT_EQ(ippsIIRInitAlloc_BiQuad_64f(&State, Taps.data(), Sections, nullptr), ippStsNoErr);
    ippsIIR_64f(Noise.data(), Output.data(), static_cast<int>(Noise.size()), State);
    ippsIIRFree_64f(State);
    double Worst = 0, Largest = 0;
    for (std::size_t I = 0; I < Exact.size(); ++I) {
      Largest = std::max(Largest, std::fabs(Exact[I]));
      if (const double E = std::fabs(Output[I] - Exact[I]); !(E <= Worst)) Worst = E;
    }
    EXPECT_LE(Worst, 1e-11 * Largest) << Asked.Text();

    double Peak = 0;
    for (const TExtended F : TestFrequencies(Asked))
      for (std::size_t I = 6; I < Taps.size(); I += 6)
        Peak = std::max(Peak, QSTapsResponse(ftBiquadIIR, {Taps.data(), I}, F).Magnitude);
    EXPECT_LE(Peak, 1.0 / (8 * (2 * Asked.Order * (Asked.Kind >= dfBandPass ? 2 : 1) + 1)))
        << Asked.Text();
  }
}

}  // namespace
}  // namespace tessalune::test
