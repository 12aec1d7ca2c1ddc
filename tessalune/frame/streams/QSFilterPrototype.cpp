#include <tessalune/frame/streams/QSFilterPrototype.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace tessalune {
namespace {

constexpr long double Pi = std::numbers::pi_v<long double>;

bool IsFinite(const TQSExtended& X) { return std::isfinite(X.Re) && std::isfinite(X.Im); }

// Poles on the ellipse with the half axes AReal and AImaginary; a circle for Butterworth.
TQSPrototype OnEllipse(std::size_t AOrder, long double AReal, long double AImaginary) {
  TQSPrototype Result;
  for (std::size_t K = (AOrder + 1) / 2; K-- > 0;) {
    if (2 * K + 1 == AOrder) {
      Result.Poles.push_back({-AReal, 0.0L});
      continue;
    }
    const long double Angle =
        Pi * static_cast<long double>(2 * K + 1) / static_cast<long double>(2 * AOrder);
    Result.Poles.push_back({-AReal * std::sin(Angle), AImaginary * std::cos(Angle)});
  }
  return Result;
}

TQSPrototype Chebyshev(std::size_t AOrder, double ARippleDb) {
  const long double SquaredRipple =
      std::expm1(static_cast<long double>(ARippleDb) / 10 * std::numbers::ln10_v<long double>);
  const long double Mu =
      std::asinh(1.0L / std::sqrt(SquaredRipple)) / static_cast<long double>(AOrder);
  if (!std::isfinite(SquaredRipple) || !(Mu > 0.0L) || !std::isfinite(Mu)) return {};
  TQSPrototype Result = OnEllipse(AOrder, std::sinh(Mu), std::cosh(Mu));
  if (AOrder % 2 == 0) Result.Gain = 1.0L / std::sqrt(1.0L + SquaredRipple);
  return Result;
}

// Near 0 the first terms of the series, which are all that the iteration needs there.
TQSExtended ArcTangent(const TQSExtended& X) {
  const TQSExtended Y = X * X;
  if (X.Norm() < 1.0L / 16) {
    const TQSExtended Sum{1.0L - Y.Re / 3, -Y.Im / 3};
    const TQSExtended Tail = Y * Y;
    return X * (Sum + Tail * TQSExtended{1.0L / 5 - Y.Re / 7, -Y.Im / 7});
  }
  const std::complex<long double> Value = std::atan(std::complex<long double>(X.Re, X.Im));
  return {Value.real(), Value.imag()};
}

// The zeros of the reverse Bessel polynomial t_n are those of the function K of order v = n + 1/2
// in the left half plane. There the recurrence of t_n loses all digits (order 41), and so does
// every polynomial in coefficients. But for x = -s in the right half plane it holds that K(s) is,
// but for a constant factor,
//     f(x) = K(x) + (-1)^n pi I(x),
// both of one size at the zeros: K from its recurrence upwards, c_k = t_k(x) / x^k, I from its own
// downwards and the Wronskian; each is stable in its direction (DLMF 10.34, 10.28, 10.74).
class TBesselZeros {
 public:
  explicit TBesselZeros(std::size_t AOrder)
      : FOrder(AOrder),
        FN(static_cast<long double>(AOrder)),
        // I(x) falls fast with its order where that is above |x|, which is n at most; near |x| = n
        // it takes some n^(1/3) to begin.
        FTail(16 + static_cast<std::size_t>(4.0L * std::cbrt(FN))) {}

  // From the real axis outwards. y = sqrt(x) f obeys y'' + A y = 0 with A = -(1 + n (n + 1) / x^2):
  // were A constant, y would be a sine of sqrt(A) x. So the zeros are pi apart in the integral of
  // sqrt(A) dx, which leads from one to the next, and x - atan(sqrt(A) y / y') / sqrt(A) from near
  // a zero to it with the fourth order. They follow each other along an arc from the real axis,
  // where they are nearest to each other, to near the imaginary one. (Segura 2013, "Computing the
  // complex zeros of special functions", Numerische Mathematik 124.)
  std::vector<TQSExtended> Find() const {
    // The arc meets the real axis where the exponents of K and I agree, at 0.66274 v (DLMF 10.41).
    TQSExtended X{0.66274341934918158L * (FN + 0.5L), 0.0L};
    if (FOrder % 2 == 0) X = Advanced(X, Pi / 2);
    std::vector<TQSExtended> Result;
    while (Result.size() < (FOrder + 1) / 2) {
      X = Polished(X);
      if (FOrder % 2 == 1 && Result.empty()) X.Im = 0.0L;
      Result.push_back({-X.Re, X.Im});
      X = Advanced(X, Pi);
    }
    return Result;
  }

 private:
  TQSExtended Root(const TQSExtended& AX) const {
    const TQSExtended Part = TQSExtended{FN * (FN + 1), 0.0L} / (AX * AX);
    const TQSExtended Value = QSSqrt({-1.0L - Part.Re, -Part.Im});
    return Value.Im > 0 ? -1.0L * Value : Value;  // so that the way 1 / sqrt(A) leads upwards
  }

  // One step of the classical method of fourth order for dx / dp = 1 / sqrt(A).
  TQSExtended Advanced(const TQSExtended& AX, long double APhase) const {
    const auto Way = [&](const TQSExtended& AAt) { return TQSExtended{APhase, 0.0L} / Root(AAt); };
    const TQSExtended First = Way(AX);
    const TQSExtended Second = Way(AX + 0.5L * First);
    const TQSExtended Third = Way(AX + 0.5L * Second);
    const TQSExtended Fourth = Way(AX + Third);
    return AX + 1.0L / 6 * (First + 2.0L * Second + 2.0L * Third + Fourth);
  }

  TQSExtended Polished(TQSExtended AX) const {
    for (int Iteration = 0; Iteration < 20; ++Iteration) {
      const TQSExtended A = Root(AX);
      const TQSExtended Correction = ArcTangent(A * Quotient(AX)) / A;
      AX = AX - Correction;
      if (!(Correction.Norm() > 1e-10L * AX.Norm())) break;
    }
    return AX;
  }

  // y / y'.
  TQSExtended Quotient(const TQSExtended& AX) const {
    const TQSExtended Inverse = TQSExtended{1.0L, 0.0L} / AX;
    TQSExtended Before{1.0L, 0.0L};
    TQSExtended Value{1.0L + Inverse.Re, Inverse.Im};
    for (std::size_t K = 2; K <= FOrder + 1; ++K) {
      const TQSExtended Next = static_cast<long double>(2 * K - 1) * Inverse * Value + Before;
      Before = Value;
      Value = Next;
    }
    const TQSExtended KRatio = Value / Before;  // K of order v + 1 over K of order v
    TQSExtended Above;
    TQSExtended At{1e-100L, 0.0L};
    for (std::size_t K = FOrder + FTail; K > FOrder; --K) {
      const TQSExtended Next = static_cast<long double>(2 * K + 1) * Inverse * At + Above;
      Above = At;
      At = Next;
    }
    const TQSExtended IRatio = Above / At;
    // pi I / K, by the Wronskian I_v K_(v + 1) + I_(v + 1) K_v = 1 / x
    const long double Growth = std::exp(AX.Re);
    const TQSExtended Exponential{Growth * std::cos(AX.Im), Growth * std::sin(AX.Im)};
    const TQSExtended Scale = Exponential / Before;
    TQSExtended IPart = 2.0L * (Scale * Scale) / (KRatio + IRatio);
    if (FOrder % 2 == 1) IPart = -1.0L * IPart;
    const TQSExtended Sum{1.0L + IPart.Re, IPart.Im};
    // y' / y = (v + 1/2) / x + (-K_(v + 1) + (-1)^n pi I_(v + 1)) / f
    return Sum / ((FN + 1.0L) * Inverse * Sum - KRatio + IPart * IRatio);
  }

  std::size_t FOrder;
  long double FN;
  std::size_t FTail;
};

// The frequency at which |t_n|^2 is twice t_n(0)^2, by Newton's method on its logarithm, with t_n'
// = t_n - s t_(n-1). It is far below n, where the recurrence is stable.
long double BesselEdge(std::size_t AOrder) {
  long double Frequency =
      std::sqrt(std::numbers::ln2_v<long double> * static_cast<long double>(2 * AOrder - 1));
  for (int Iteration = 0; Iteration < 20; ++Iteration) {
    TQSExtended Before{1.0L, 0.0L};  // t_k / t_k(0)
    TQSExtended Value{1.0L, Frequency};
    const long double Square = Frequency * Frequency;
    for (std::size_t K = 2; K <= AOrder; ++K) {
      const long double Factor =
          Square / (static_cast<long double>(2 * K - 1) * static_cast<long double>(2 * K - 3));
      const TQSExtended Next = Value - Factor * Before;
      Before = Value;
      Value = Next;
    }
    const long double Excess = std::log(Value.Norm()) - std::numbers::ln2_v<long double>;
    const long double Slope =
        2.0L * Frequency * (Before / Value).Re / static_cast<long double>(2 * AOrder - 1);
    Frequency -= Excess / Slope;
    if (!(std::fabs(Excess) > 1e-10L)) break;
  }
  return Frequency;
}

TQSPrototype Bessel(std::size_t AOrder) {
  TQSPrototype Result;
  const long double Inverse = 1.0L / BesselEdge(AOrder);
  for (const TQSExtended& Zero : TBesselZeros(AOrder).Find()) {
    Result.Poles.push_back(Inverse * Zero);
    if (!IsFinite(Result.Poles.back())) return {};
  }
  return Result;
}

}  // namespace

TQSExtended QSSqrt(const TQSExtended& AValue) {
  const long double Magnitude = std::sqrt(AValue.Norm());
  if (Magnitude == 0.0L) return {};
  // The larger part is a sum of two numbers of one sign, the other one follows.
  const long double Larger = std::sqrt((Magnitude + std::fabs(AValue.Re)) / 2);
  const long double Smaller = std::fabs(AValue.Im) / (2 * Larger);
  const long double Re = AValue.Re >= 0 ? Larger : Smaller;
  const long double Im = AValue.Re >= 0 ? Smaller : Larger;
  return {Re, AValue.Im < 0 ? -Im : Im};
}

TQSPrototype QSPrototype(TQSIIRFilterType AType, std::size_t AOrder, double ARippleDb) {
  switch (AType) {
    case TQSIIRFilterType::iirBessel:
      return Bessel(AOrder);
    case TQSIIRFilterType::iirButterworth:
      return OnEllipse(AOrder, 1.0L, 1.0L);
    case TQSIIRFilterType::iirChebyshev:
      return Chebyshev(AOrder, ARippleDb);
  }
  return {};
}

}  // namespace tessalune
