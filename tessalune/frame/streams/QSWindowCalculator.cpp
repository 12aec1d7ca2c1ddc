#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/streams/QSKaiser.h>
#include <tessalune/frame/streams/QSWindowCalculator.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <utility>

namespace tessalune::QSWindowCalculator {
namespace {

constexpr double Pi = std::numbers::pi;
using enum TQSExtendedWindowType;

// A sum of cosines, said as the sum of C[j] s^j, s = sin(pi t)^2. None of the C is negative but the
// flat top's, so nothing cancels however small a weight is, and the amplitudes follow from C
// without cancellation too; the other way round it would take away up to 12 digits.
class TCosineSum {
 public:
  constexpr TCosineSum(std::initializer_list<double> ACoefficients) : FCount(ACoefficients.size()) {
    std::copy(ACoefficients.begin(), ACoefficients.end(), FC.begin());
  }

  constexpr std::size_t Count() const { return FCount; }

  constexpr double Value(double AS) const {
    double Sum = FC[FCount - 1];
    for (std::size_t J = FCount - 1; J > 0; --J) Sum = Sum * AS + FC[J - 1];
    return Sum;
  }

  // The line at K and -K of the spectrum over N, (-1)^K a[K] / 2; a[0] for K = 0. It is the sum of
  // C[j] binomial(2 j, j - K) (-1)^K / 4^j.
  constexpr double Line(std::size_t AK) const {
    double Sum = 0.0;
    double Share = 1.0;  // binomial(2 j, j - K) / 4^j: 4^-K for j = K
    for (std::size_t I = 0; I < AK; ++I) Share /= 4.0;
    for (std::size_t J = AK; J < FCount; ++J) {
      Sum += FC[J] * Share;
      Share *= static_cast<double>((2 * J + 1) * (J + 1)) /
               static_cast<double>(2 * (J + 1 - AK) * (J + 1 + AK));
    }
    return AK % 2 == 0 ? Sum : -Sum;
  }

 private:
  std::array<double, MaxNumberTerms> FC{};
  std::size_t FCount;
};

// Of minimal side lobes, by the number of terms: the lines "c" of tools/cosine_sum_windows.py.
constexpr std::array<TCosineSum, MaxNumberTerms - MinNumberTerms + 1> MinimalSums{{
    {3.62881498905887177e-4, 7.70989603600379424e-2, 5.82022250764095217e-1,
     3.40515907376960954e-1},
    {2.17318724483720244e-5, 1.12936433190070917e-2, 2.38234648713208910e-1, 5.88996268793872785e-1,
     1.61453707301462842e-1},
    {1.12572707044272873e-6, 1.24923200107609728e-3, 6.00477299155151996e-2, 4.00991445908457544e-1,
     4.67282015654466188e-1, 7.04284507934145283e-2},
    {6.33327416062592794e-8, 1.28279010139571301e-4, 1.17221313470529613e-2, 1.63474906255626105e-1,
     4.86465009250526827e-1, 3.10191162297177931e-1, 2.80184485067349978e-2},
    {3.41719282038038328e-9, 1.17316216662432676e-5, 1.86187598524243634e-3, 4.76834648735192169e-2,
     2.90016333581219009e-1, 4.67981950640072303e-1, 1.81953128356846751e-1,
     1.04915115242412204e-2},
    {1.76684025781244108e-10, 9.67277139054307893e-7, 2.48984030209865053e-4,
     1.07476580038204574e-2, 1.17941910705554462e-1, 3.86440225090403588e-1, 3.82634885354159194e-1,
     9.81783557314781588e-2, 3.80701363055119435e-3},
    {8.14459746228505155e-12, 6.89849350572584133e-8, 2.78076441250014544e-5,
     1.92766704098020096e-3, 3.54760865102821416e-2, 2.09426963972256755e-1, 4.22439076845083313e-1,
     2.79358203079120052e-1, 4.99976597884916932e-2, 1.34646612658118794e-3},
    {4.26730390427619881e-13, 5.24326936809709844e-9, 3.09213856055822511e-6,
     3.19321495594790580e-4, 9.02686433125851958e-3, 8.59404913332177754e-2, 3.02219281270803044e-1,
     3.97346436067297438e-1, 1.81513572020316477e-1, 2.31862095582651197e-2,
     4.44726540990179283e-4},
}};

TCosineSum CosineSum(TQSExtendedWindowType AType, std::uint32_t ANumberTerms, double AAlpha) {
  switch (AType) {
    case xwtHanning:
      return {0.0, 1.0};
    case xwtHamming:
      return {0.08, 0.92};
    case xwtBlackman: {
      const double Rounder = AAlpha > 0.0 ? 0.64 * std::min(AAlpha, 1.0) : 0.0;
      return {0.0, 1.0 - Rounder, Rounder};
    }
    case xwtFlatTop:
      return {-2.0 / 4750, -488.0 / 4750, -3240.0 / 4750, 4256.0 / 4750, 4224.0 / 4750};
    case xwtCosSum:
      return MinimalSums[std::clamp(ANumberTerms, MinNumberTerms, MaxNumberTerms) - MinNumberTerms];
    default:
      return {1.0};
  }
}

double Square(double AX) { return AX * AX; }

// The window of one length, of any type.
class TShape {
 public:
  TShape(TQSExtendedWindowType AType, std::uint32_t ANumberTerms, double AAlpha,
         std::size_t ALength) noexcept
      : FType(ALength > 1 ? AType : xwtRect),
        FLength(ALength),
        FN(static_cast<double>(ALength)),
        FSum(CosineSum(FType, ANumberTerms, AAlpha)),
        FBeta(QSKaiserBeta(AAlpha)),
        FKaiser(AAlpha, FN) {}

  // AIndex from 0 to N / 2; the other half is the mirror image.
  double Weight(std::size_t AIndex) const noexcept {
    const auto I = static_cast<double>(AIndex);
    switch (FType) {
      case xwtBartlett:
        return 2.0 * I / FN;
      case xwtWelch:
        return 4.0 * (I / FN) * ((FN - I) / FN);
      case xwtKaiser:
        return FKaiser(I);
      default:
        return FSum.Value(SquaredSine(AIndex));
    }
  }

  // Adds the frequency-domain form to bins that are 0.
  void Transform(std::span<TComplex> ABins) const {
    if (FType == xwtBartlett) return TransformEndless(ABins, &TShape::BartlettLine);
    if (FType == xwtWelch) return TransformEndless(ABins, &TShape::WelchLine);
    if (FType == xwtKaiser) return TransformEndless(ABins, &TShape::KaiserLine);
    ABins[0].Re = FSum.Line(0);
    for (std::size_t K = 1; K < FSum.Count(); ++K) {
      // Short windows see their higher lines at the bins that these fall upon.
      const std::size_t Bin = K % FLength;
      ABins[Bin].Re += FSum.Line(K);
      ABins[Bin == 0 ? 0 : FLength - Bin].Re += FSum.Line(K);
    }
  }

 private:
  // sin(pi n / N)^2, by the angle from the nearer of 0 and the middle.
  double SquaredSine(std::size_t AIndex) const noexcept {
    const auto I = static_cast<double>(AIndex);
    if (4 * AIndex <= FLength) return Square(std::sin(Pi * I / FN));
    return 1.0 - Square(std::sin(Pi * (FN - 2.0 * I) / (2.0 * FN)));
  }

  void TransformEndless(std::span<TComplex> ABins, double (TShape::*ALine)(double) const) const {
    // Bartlett's and Welch's lines are at most 1 / (2 k^2), Kaiser's end sooner: none behind this
    // one reaches 1e-5 of the peak.
    constexpr std::size_t LastLine = 400;
    const double Peak = (this->*ALine)(0.0);
    ABins[0].Re = Peak;
    for (std::size_t K = 1; K <= std::min(LastLine, FLength / 2); ++K) {
      const double Line = (this->*ALine)(static_cast<double>(K));
      if (std::fabs(Line) >= SpectrumEnd * Peak) ABins[K].Re = ABins[FLength - K].Re = Line;
    }
  }

  // What the sums over the samples come to; of odd lengths no sample is the peak.
  double BartlettLine(double AK) const {
    const bool IsOddBin = std::fmod(AK, 2.0) != 0.0;
    if (FLength % 2 == 0) {
      if (AK == 0.0) return 0.5;
      return IsOddBin ? -2.0 / Square(FN * std::sin(Pi * AK / FN)) : 0.0;
    }
    if (AK == 0.0) return 0.5 - 0.5 / Square(FN);
    const double Half = Pi * AK / (2.0 * FN);
    return -0.5 / Square(FN * (IsOddBin ? std::sin(Half) : std::cos(Half)));
  }

  double WelchLine(double AK) const {
    if (AK == 0.0) return (1.0 - 1.0 / Square(FN)) * 2.0 / 3.0;
    return -2.0 / Square(FN * std::sin(Pi * AK / FN));
  }

  // Sampling adds to line k of the continuous window those at m N + k for all whole m. They fall as
  // 1 / j^2, too slowly to be left out and too slowly to be summed: beyond some, the sum is the
  // integral from the middle between two terms with its first correction (Euler and Maclaurin),
  // whose next one is below 1e-17 then.
  double KaiserLine(double AK) const {
    const int Terms = 2 + static_cast<int>(1024.0 * std::pow(FN, -0.4));
    double Sum = 0.0;
    for (int M = Terms; M > 0; --M)
      Sum += ContinuousLine(M * FN + AK) + ContinuousLine(M * FN - AK);
    const double End = (Terms + 0.5) * FN;
    return ContinuousLine(AK) + (Sum + ContinuousRest(End + AK) + ContinuousRest(End - AK));
  }

  // (-1)^j sinh(q) / (q I0(beta)), q^2 = beta^2 - (pi j)^2: the integral of the window times
  // cos(2 pi j t). Beyond beta it is (-1)^j sin(r) / (r I0(beta)), r^2 = (pi j)^2 - beta^2, for
  // which, with r = pi j - delta, stands -sin(delta) / (r I0(beta)): exact however large j is.
  double ContinuousLine(double AJ) const {
    const double X = Pi * AJ;
    const double Sign = std::fmod(AJ, 2.0) == 0.0 ? 1.0 : -1.0;
    const double Q2 = (FBeta - X) * (FBeta + X);
    if (Q2 >= 0.0) {
      const double Q = std::sqrt(Q2);
      return FKaiser(0.0) * Sign * (Q > 0.0 ? std::sinh(Q) / Q : 1.0);
    }
    const double R = std::sqrt(-Q2);
    if (R < 1.0) return FKaiser(0.0) * Sign * std::sin(R) / R;
    return -FKaiser(0.0) * std::sin(Square(FBeta) / (X + R)) / R;
  }

  // The lines at AFrom + N / 2, AFrom + 3 N / 2 and so on, AFrom so far beyond beta that delta is
  // small. The integral over j is -Si(delta) / pi, Si the sine integral, delta - delta^3 / 18; the
  // line's slope 2 pi delta / r^2.
  double ContinuousRest(double AFrom) const {
    const double X = Pi * AFrom;
    const double R = std::sqrt((X - FBeta) * (X + FBeta));
    const double Delta = Square(FBeta) / (X + R);
    const double SineIntegral = Delta * (1.0 - Square(Delta) / 18.0);
    return FKaiser(0.0) * (FN * Pi / 12.0 * Delta / Square(R) - SineIntegral / (Pi * FN));
  }

  TQSExtendedWindowType FType;
  std::size_t FLength;
  double FN;
  TCosineSum FSum;
  double FBeta;
  TQSKaiserWindow FKaiser;
};

// A sum that long windows do not blur: what each step rounds off goes into the next (Kahan).
class TPreciseSum {
 public:
  void Add(double AX) noexcept {
    const double Term = AX - FExcess;
    const double Sum = FSum + Term;
    FExcess = (Sum - FSum) - Term;
    FSum = Sum;
  }
  double Value() const noexcept { return FSum; }

 private:
  double FSum = 0.0;
  double FExcess = 0.0;
};

template <class T>
double Calculate(TQSExtendedWindowType AType, std::uint32_t ANumberTerms, double AAlpha,
                 std::span<T> AWindow, std::span<TComplex> AFreqDomainWindow) {
  const std::size_t Length = AWindow.size();
  if (!AFreqDomainWindow.empty() && AFreqDomainWindow.size() != Length)
    throw EQSException("QSWindowCalculator: a window of " + std::to_string(Length) +
                       " samples has as many entries in its frequency-domain form, not " +
                       std::to_string(AFreqDomainWindow.size()) +
                       "; pass a buffer of that length, or an empty one to leave the form out");
  if (Length == 0) return 1.0;

  const TShape Shape(AType, ANumberTerms, AAlpha, Length);
  TPreciseSum Squares;
  for (std::size_t I = 0; I <= Length / 2 && I < Length; ++I) {
    const double Weight = Shape.Weight(I);
    AWindow[I] = T{Weight};
    if (I == 0 || 2 * I == Length) {
      Squares.Add(Square(Weight));
    } else {
      AWindow[Length - I] = T{Weight};
      Squares.Add(2.0 * Square(Weight));
    }
  }
  if (!AFreqDomainWindow.empty()) {
    std::fill(AFreqDomainWindow.begin(), AFreqDomainWindow.end(), TComplex{});
    Shape.Transform(AFreqDomainWindow);
  }
  return std::sqrt(Squares.Value() / static_cast<double>(Length));
}

}  // namespace

double CalculateWindowForMult(TQSExtendedWindowType AWindowType, std::uint32_t ANumberTerms,
                              double AAlpha, std::span<double> AWindow,
                              std::span<TComplex> AFreqDomainWindow) {
  return Calculate(AWindowType, ANumberTerms, AAlpha, AWindow, AFreqDomainWindow);
}

double CalculateWindowForMult(TQSExtendedWindowType AWindowType, std::uint32_t ANumberTerms,
                              double AAlpha, std::span<TComplex> AWindow,
                              std::span<TComplex> AFreqDomainWindow) {
  return Calculate(AWindowType, ANumberTerms, AAlpha, AWindow, AFreqDomainWindow);
}

double Weight(TQSExtendedWindowType AWindowType, std::uint32_t ANumberTerms, double AAlpha,
              std::size_t AIndex, std::size_t ALength) noexcept {
  return TShape(AWindowType, ANumberTerms, AAlpha, ALength)
      .Weight(std::min(AIndex, ALength - AIndex));
}

}  // namespace tessalune::QSWindowCalculator
