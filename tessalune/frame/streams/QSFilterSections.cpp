#include <tessalune/frame/streams/QSFilterSections.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>

namespace tessalune {
namespace {

constexpr long double Pi = std::numbers::pi_v<long double>;
constexpr double HalfUlp = std::numeric_limits<double>::epsilon() / 2;
constexpr double ResponseTolerance = 1e-3;

// tan(pi x), x from 0 to 1/2; 1/2 - x is exact where it matters.
long double Warped(long double ARelative) {
  return ARelative <= 0.25L ? std::tan(Pi * ARelative) : 1.0L / std::tan(Pi * (0.5L - ARelative));
}

// The digital poles of s^2 - ASum s + AProduct.
TQSPolePair FromAnalogue(long double ASum, long double AProduct) {
  TQSPolePair Result;
  const long double D = 1.0L - ASum + AProduct;
  Result.A1 = -2.0L * (1.0L - AProduct) / D;
  Result.A2 = (1.0L + ASum + AProduct) / D;
  Result.Denominator = {4.0L * AProduct / D, 4.0L / D, -2.0L * ASum / D};
  Result.Tangent = std::sqrt(AProduct);
  return Result;
}

TQSPolePair FromAnalogue(long double ARealPole) {
  TQSPolePair Result;
  const long double Pole = (1.0L + ARealPole) / (1.0L - ARealPole);
  Result.A1 = -Pole;
  Result.Denominator = {-2.0L * ARealPole / (1.0L - ARealPole), 2.0L / (1.0L - ARealPole), 1.0L};
  Result.IsSingle = true;
  Result.Tangent = Pole > 0.0L ? 0.0L : std::numeric_limits<long double>::infinity();
  return Result;
}

// A section of a chain: its poles and its numerator 1 + C1 / z + C2 / z^2.
struct TSection {
  const TQSPolePair* Poles;
  double C1;
  double C2;
};

// The sections in the order in which they filter.
std::vector<TSection> Chain(const TQSPolesAndZeros& AFilter) {
  const std::vector<TQSPolePair>& Pairs = AFilter.Poles;
  const bool IsBandPass = AFilter.ZerosAtOne > 0 && AFilter.ZerosAtMinusOne > 0;
  const bool HasNotches = AFilter.NotchPairs > 0;
  const auto Notch = static_cast<double>(AFilter.NotchC1());
  const auto SectionOf = [&](std::size_t AIndex, bool AIsUpper) -> TSection {
    const TQSPolePair& Pair = Pairs[AIndex];
    if (HasNotches) return {&Pair, Notch, 1.0};
    if (IsBandPass && AIndex == 0 && Pairs.size() % 2 == 1) return {&Pair, 0.0, -1.0};
    const bool AtOne = IsBandPass ? !AIsUpper : AFilter.ZerosAtOne > 0;
    const double C1 = AtOne ? -1.0 : 1.0;
    return Pair.IsSingle ? TSection{&Pair, C1, 0.0} : TSection{&Pair, 2.0 * C1, 1.0};
  };
  // What one pole pair of the prototype has become stays together; of a real pole that is one pair.
  const std::size_t Group = IsBandPass || HasNotches ? 2 : 1;
  const std::size_t Groups = (Pairs.size() + Group - 1) / Group;
  const std::size_t Lone = Group * Groups - Pairs.size();
  std::vector<TSection> Result;
  Result.reserve(Pairs.size());
  const std::size_t Size = std::bit_ceil(Groups);
  for (std::size_t I = 0, Reversed = 0; I < Size; ++I) {
    if (Reversed < Groups) {
      const std::size_t First = Reversed == 0 ? 0 : Group * Reversed - Lone;
      const std::size_t Last = Group * (Reversed + 1) - Lone;
      for (std::size_t J = First; J < Last; ++J) Result.push_back(SectionOf(J, J > First));
    }
    std::size_t Bit = Size / 2;
    for (; (Reversed & Bit) != 0; Bit /= 2) Reversed ^= Bit;
    Reversed |= Bit;
  }
  return Result;
}

// The squared magnitude of a quadratic: for scaling, where double does.
struct TSquare {
  double One, MinusOne, Apart;
  explicit TSquare(const TQSQuadratic& Q)
      : One(static_cast<double>(Q.AtOne)),
        MinusOne(static_cast<double>(Q.AtMinusOne)),
        Apart(static_cast<double>(Q.EndsApart)) {}
  // ACos and ASin are the squares of the half angle's.
  double At(double ACos, double ASin) const {
    const double Re = ACos * One - ASin * MinusOne;
    return Re * Re + 4.0 * ACos * ASin * Apart * Apart;
  }
};

// Where a product of some of the sections can have its largest gain: where a pole resonates,
// between two such, at the ends, and at the reference.
std::vector<TQSFrequencyPoint> Peaks(const TQSPolesAndZeros& AFilter) {
  std::vector<TQSFrequencyPoint> Points;
  Points.reserve(2 * AFilter.Poles.size() + 4);
  for (const TQSPolePair& Pair : AFilter.Poles)
    Points.push_back(TQSFrequencyPoint::FromTangent(Pair.Tangent));
  Points.push_back({1.0L, 0.0L});
  Points.push_back({0.0L, 1.0L});
  std::sort(Points.begin(), Points.end(),
            [](const auto& X, const auto& Y) { return X.Sin * Y.Cos < Y.Sin * X.Cos; });
  for (std::size_t I = Points.size() - 1; I > 0; --I) {
    const TQSFrequencyPoint Sum{Points[I].Cos + Points[I - 1].Cos,
                                Points[I].Sin + Points[I - 1].Sin};
    const long double Length = std::sqrt(Sum.Cos * Sum.Cos + Sum.Sin * Sum.Sin);
    Points.push_back({Sum.Cos / Length, Sum.Sin / Length});
  }
  Points.push_back(AFilter.Reference);
  return Points;
}

const char* const EdgesTooNear =
    "the coefficients of sections, rounded to double, give another response than was asked for: "
    "the "
    "edges are too near to 0, to half the sample rate or to each other; move them apart, lower "
    "Order, or filter at a lower sample rate";

// The magnitude of the whole filter's denominator.
long double DenominatorAt(const TQSPolesAndZeros& AFilter, const TQSFrequencyPoint& APoint) {
  long double Norm = 1.0L;
  for (const TQSPolePair& Pair : AFilter.Poles) Norm *= Pair.Denominator.At(APoint).Norm();
  return std::sqrt(Norm);
}

using TPolynomial = std::vector<long double>;

void MultiplyBy(TPolynomial& APolynomial, long double AC1, long double AC2) {
  APolynomial.insert(APolynomial.end(), 2, 0.0L);
  for (std::size_t I = APolynomial.size(); I-- > 0;) {
    if (I > 0) APolynomial[I] += AC1 * APolynomial[I - 1];
    if (I > 1) APolynomial[I] += AC2 * APolynomial[I - 2];
  }
}

// The magnitude of a polynomial in 1 / z on the unit circle, by Horner's rule.
long double MagnitudeAt(const TPolynomial& APolynomial, const TQSFrequencyPoint& APoint) {
  const TQSExtended Z{APoint.Cos * APoint.Cos - APoint.Sin * APoint.Sin,
                      -2.0L * APoint.Sin * APoint.Cos};
  TQSExtended Sum;
  for (std::size_t I = APolynomial.size(); I-- > 0;)
    Sum = Sum * Z + TQSExtended{APolynomial[I], 0.0L};
  return std::sqrt(Sum.Norm());
}

// Appends the polynomial rounded to double; in its place stays what that left away.
void AppendRounded(TPolynomial& APolynomial, std::vector<double>& ATaps) {
  for (long double& Coefficient : APolynomial) {
    ATaps.push_back(static_cast<double>(Coefficient));
    Coefficient -= static_cast<long double>(ATaps.back());
  }
}

}  // namespace

TQSFrequencyPoint TQSFrequencyPoint::FromTangent(long double ATangent) {
  if (!(ATangent < 1e30L)) return {0.0L, 1.0L};
  const long double Cos = 1.0L / std::sqrt(1.0L + ATangent * ATangent);
  return {Cos, ATangent * Cos};
}

TQSFrequencyPoint TQSFrequencyPoint::FromRelative(long double ARelative) {
  // The response has the period 1; half the rate is then exactly where the cosine is 0.
  const long double X = std::fabs(ARelative - std::nearbyint(ARelative));
  const long double Sign = ARelative < std::nearbyint(ARelative) ? -1.0L : 1.0L;
  if (X > 0.25L) return {std::sin(Pi * (0.5L - X)), Sign * std::cos(Pi * (0.5L - X))};
  return {std::cos(Pi * X), Sign * std::sin(Pi * X)};
}

TQSPolesAndZeros QSToDigital(const TQSPrototype& APrototype, const TQSBand& ABand) {
  using enum TQSDesignFilterType;
  TQSPolesAndZeros Result;
  Result.Gain = APrototype.Gain;
  const bool IsBand = ABand.Kind == dfBandPass || ABand.Kind == dfBandStop;
  const bool IsInverse = ABand.Kind == dfHighPass || ABand.Kind == dfBandStop;
  const long double Low = Warped(ABand.Low);
  // tan b - tan a = sin(b - a) / (cos a cos b), cos = 1 / sqrt(1 + tan^2)
  const long double High = IsBand ? Warped(ABand.High) : 0.0L;
  const long double Width =
      std::sin(Pi * ABand.Width) * std::sqrt((1.0L + Low * Low) * (1.0L + High * High));
  const long double SquaredCentre = Low * High;
  std::size_t PrototypeOrder = 0;
  for (const TQSExtended& Pole : APrototype.Poles) {
    const bool IsReal = Pole.Im == 0.0L;
    PrototypeOrder += IsReal ? 1 : 2;
    const TQSExtended P = IsInverse ? TQSExtended{1.0L, 0.0L} / Pole : Pole;
    if (!IsBand) {
      Result.Poles.push_back(IsReal ? FromAnalogue(Low * P.Re)
                                    : FromAnalogue(2.0L * Low * P.Re, Low * Low * P.Norm()));
      continue;
    }
    // s^2 - P Width s + SquaredCentre = 0
    const TQSExtended Half = 0.5L * Width * P;
    if (IsReal) {
      Result.Poles.push_back(FromAnalogue(2.0L * Half.Re, SquaredCentre));
      continue;
    }
    const TQSExtended Square = Half * Half;
    const TQSExtended Root = QSSqrt({Square.Re - SquaredCentre, Square.Im});
    const TQSExtended Plus = Half + Root;
    const TQSExtended Minus = Half - Root;
    const TQSExtended Large = Plus.Norm() > Minus.Norm() ? Plus : Minus;  // nothing cancelled
    const TQSExtended Small = TQSExtended{SquaredCentre, 0.0L} / Large;
    Result.Poles.push_back(FromAnalogue(2.0L * Small.Re, Small.Norm()));
    Result.Poles.push_back(FromAnalogue(2.0L * Large.Re, Large.Norm()));
  }
  Result.Order = IsBand ? 2 * PrototypeOrder : PrototypeOrder;
  Result.Centre = TQSFrequencyPoint::FromTangent(std::sqrt(SquaredCentre));
  Result.ZerosAtMinusOne = ABand.Kind == dfLowPass || ABand.Kind == dfBandPass ? PrototypeOrder : 0;
  Result.ZerosAtOne = ABand.Kind == dfHighPass || ABand.Kind == dfBandPass ? PrototypeOrder : 0;
  Result.NotchPairs = ABand.Kind == dfBandStop ? PrototypeOrder : 0;
  if (ABand.Kind == dfHighPass) Result.Reference = {0.0L, 1.0L};
  if (ABand.Kind == dfBandPass) Result.Reference = Result.Centre;
  return Result;
}

TQSCoefficients QSSections(const TQSPolesAndZeros& AFilter) {
  const std::vector<TSection> Sections = Chain(AFilter);
  const std::vector<TQSFrequencyPoint> Points = Peaks(AFilter);
  std::vector<double> SquaredCos, SquaredSin;
  for (const TQSFrequencyPoint& Point : Points) {
    SquaredCos.push_back(static_cast<double>(Point.Cos * Point.Cos));
    SquaredSin.push_back(static_cast<double>(Point.Sin * Point.Sin));
  }
  // Squared, from the input to the section at hand, over the largest one.
  std::vector<double> Gains(Points.size(), 1.0);
  long double AtReference = 1.0L;
  double RoundingBound = 0.0;
  bool IsUsable = !Sections.empty();
  // A power of two, and twice what is promised, for what lies between the points.
  const double Headroom =
      std::exp2(-std::ceil(std::log2(16.0 * static_cast<double>(2 * AFilter.Order + 1))));

  TQSCoefficients Result;
  Result.Taps.reserve(6 * Sections.size());
  for (const TSection& Section : Sections) {
    const auto A1 = static_cast<double>(Section.Poles->A1);
    const auto A2 = static_cast<double>(Section.Poles->A2);
    const TQSQuadratic Denominator = TQSQuadratic::FromCoefficients(1.0L, A1, A2);
    const TQSQuadratic Numerator = TQSQuadratic::FromCoefficients(1.0L, Section.C1, Section.C2);
    IsUsable = IsUsable && Denominator.AtOne > 0.0L && Denominator.AtMinusOne > 0.0L &&
               Denominator.EndsApart > 0.0L;
    const TSquare Top(Numerator);
    const TSquare Bottom(Denominator);
    double Peak = 0.0;
    double Least = std::numeric_limits<double>::infinity();
    for (std::size_t J = 0; J < Points.size(); ++J) {
      const double Square = Bottom.At(SquaredCos[J], SquaredSin[J]);
      Least = std::min(Least, Square);
      Gains[J] *= Top.At(SquaredCos[J], SquaredSin[J]) / Square;
      Peak = std::max(Peak, Gains[J]);
    }
    RoundingBound += HalfUlp * (std::fabs(A1) + std::fabs(A2)) / std::sqrt(Least);
    const long double RawAtReference = std::sqrt(Numerator.At(AFilter.Reference).Norm() /
                                                 Denominator.At(AFilter.Reference).Norm());
    // The last one brings the whole to the gain that it should have, but for one rounding.
    const double Scale = Result.Taps.empty() ? Headroom : 1.0;
    const auto Gain = &Section == &Sections.back()
                          ? static_cast<double>(AFilter.Gain / (AtReference * RawAtReference))
                          : Scale / std::sqrt(Peak);
    for (double& Square : Gains) Square /= Peak;
    AtReference *= RawAtReference * Gain;
    IsUsable = IsUsable && std::isnormal(Gain);
    for (const double Tap : {Gain, Gain * Section.C1, Gain * Section.C2, 1.0, A1, A2})
      Result.Taps.push_back(Tap);
  }
  if (IsUsable && RoundingBound < ResponseTolerance) return Result;
  return {{}, EdgesTooNear};
}

TQSCoefficients QSDirectForm(const TQSPolesAndZeros& AFilter) {
  TPolynomial A{1.0L}, B{1.0L};
  for (const TQSPolePair& Pair : AFilter.Poles) MultiplyBy(A, Pair.A1, Pair.A2);
  const long double Notch = AFilter.NotchC1();
  for (std::size_t I = 0; I < AFilter.ZerosAtOne; ++I) MultiplyBy(B, -1.0L, 0.0L);
  for (std::size_t I = 0; I < AFilter.ZerosAtMinusOne; ++I) MultiplyBy(B, 1.0L, 0.0L);
  for (std::size_t I = 0; I < AFilter.NotchPairs; ++I) MultiplyBy(B, Notch, 1.0L);
  // What a single pole or zero did not need.
  A.resize(AFilter.Order + 1);
  B.resize(AFilter.Order + 1);
  // From the zeros: where they are near the reference, the polynomial has lost its digits.
  const auto Power = [](long double AMagnitude, std::size_t ACount) {
    return std::pow(AMagnitude, static_cast<long double>(ACount));
  };
  const TQSFrequencyPoint& At = AFilter.Reference;
  const long double NotchAt =
      std::sqrt(TQSQuadratic::FromCoefficients(1.0L, Notch, 1.0L).At(At).Norm());
  const long double Gain =
      AFilter.Gain * DenominatorAt(AFilter, At) /
      (Power(2.0L * At.Sin, AFilter.ZerosAtOne) * Power(2.0L * At.Cos, AFilter.ZerosAtMinusOne) *
       Power(NotchAt, AFilter.NotchPairs));
  for (long double& Coefficient : B) Coefficient *= Gain;

  TQSCoefficients Result;
  AppendRounded(B, Result.Taps);
  AppendRounded(A, Result.Taps);
  std::vector<TQSFrequencyPoint> Points = Peaks(AFilter);
  constexpr int Uniform = 64;
  for (int I = 0; I <= Uniform; ++I)
    Points.push_back(TQSFrequencyPoint::FromRelative(0.5L * I / Uniform));
  for (const TQSFrequencyPoint& Point : Points) {
    const long double Denominator = DenominatorAt(AFilter, Point);
    const bool IsFaithful = MagnitudeAt(A, Point) <= ResponseTolerance * Denominator &&
                            MagnitudeAt(B, Point) <= ResponseTolerance * Denominator;
    if (!IsFaithful)
      return {
          {},
          "the coefficients of one direct form, rounded to double, give no stable filter of this "
          "response: set FilterType to ftBiquadIIR, which takes this order, or lower Order"};
  }
  return Result;
}

}  // namespace tessalune
