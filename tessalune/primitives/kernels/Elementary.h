#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/kernels/Bits.h>

#include <bit>
#include <limits>

// Elementary functions of vectors. They use no operation whose result depends on the instruction
// set. A function that serves a range of arguments only tells the lanes outside.
//
// The polynomials interpolate at the Chebyshev nodes of their interval. Beyond them, each value is
// the sum of a leading part and a correction that is smaller by a factor of 4 or more, so that the
// error stays below 1 ulp. Reductions by constants in parts: W. J. Cody, W. Waite, "Software manual
// for the elementary functions", 1980.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// ACoefficients[First] + ACoefficients[First + 1] * X + ..., Terms of them, by halves, which wait
// for each other less than Horner's steps. APowers are X, X^2, X^4, X^8.
template <std::size_t First, std::size_t Terms>
inline TReals PolynomialPart(const TReals* APowers, const double* ACoefficients) noexcept {
  if constexpr (Terms == 1) {
    return Splat(ACoefficients[First]);
  } else if constexpr (Terms == 2) {
    return APowers[0] * ACoefficients[First + 1] + ACoefficients[First];
  } else {
    constexpr std::size_t Half = std::bit_ceil(Terms) / 2;
    return PolynomialPart<First, Half>(APowers, ACoefficients) +
           APowers[std::countr_zero(Half)] *
               PolynomialPart<First + Half, Terms - Half>(APowers, ACoefficients);
  }
}

template <std::size_t Terms>
inline TReals Polynomial(TReals X, const double (&ACoefficients)[Terms]) noexcept {
  static_assert(Terms <= 16);
  const TReals Square = X * X;
  const TReals Powers[] = {X, Square, Square * Square, (Square * Square) * (Square * Square)};
  return PolynomialPart<0, Terms>(Powers, ACoefficients);
}

struct TSinCos {
  TReals Sin;
  TReals Cos;
  TWords Outside;  // lanes beyond SinCosRange, infinite or NaN
};

constexpr double SinCosRange = 0x1p+16;

// X = N * pi/2 + Hi - Less, |Hi| about pi/4 at most. pi/2 is taken in four parts; the products with
// the first three are exact for every N in range, and so are the differences as far as they cancel.
struct TQuadrant {
  TWords Number;  // N, in the low bits
  TReals Hi;
  TReals Less;
};

inline TQuadrant ReduceToQuadrant(TReals X) noexcept {
  constexpr double TwoOverPi = 0x1.45f306dc9c883p-1;
  constexpr double Part1 = 0x1.921fb544p+0;
  constexpr double Part2 = 0x1.0b4611a6p-34;
  constexpr double Part3 = 0x1.3198a2ep-69;
  constexpr double Part4 = 0x1.b839a252049c1p-104;
  // Adding this leaves the integer in the low bits.
  constexpr double Magic = 0x1.8p+52;
  const TReals Shifted = X * TwoOverPi + Magic;
  const TReals N = Shifted - Magic;
  const TReals First = X - N * Part1;
  const TReals Second = N * Part2;
  const TReals Rest = First - Second;
  const TReals Third = N * Part3 - ((First - Rest) - Second);
  const TReals Hi = Rest - Third;
  return {Bits(Shifted), Hi, (Third - (Rest - Hi)) + N * Part4};
}

inline TSinCos SinCos(TReals X) noexcept {
  // (1 - sin(r) / r) / r^2 and (cos(r) - 1 + r^2 / 2) / r^4 in r^2, to 2^-57 and 2^-60 of the value
  // on 0 <= r <= pi / 4.
  constexpr double SinCoefficients[] = {
      0x1.5555555555555p-3,  -0x1.111111111111p-7,   0x1.a01a01a019938p-13, -0x1.71de3a546095bp-19,
      0x1.ae645412c560cp-26, -0x1.61217f0b800d5p-33, 0x1.ab17d404de5b3p-41};
  constexpr double CosCoefficients[] = {0x1.5555555555555p-5,  -0x1.6c16c16c16967p-10,
                                        0x1.a01a019f4eb01p-16, -0x1.27e4fa17da09ep-22,
                                        0x1.1eeb68e93b64cp-29, -0x1.907da367a37cbp-37};
  const TQuadrant Q = ReduceToQuadrant(X);
  const TReals Z = Q.Hi * Q.Hi;
  const TReals Half = 0.5 * Z;
  const TReals One = 1.0 - Half;
  // Written as a difference, so that -0 stays -0.
  const TReals Sin = Q.Hi - ((Q.Hi * Z) * Polynomial(Z, SinCoefficients) + Q.Less * One);
  const TReals Cos =
      One + (((1.0 - One) - Half) + ((Z * Z) * Polynomial(Z, CosCoefficients) + Q.Hi * Q.Less));

  const TWords IsOdd = (Q.Number & 1) != 0;
  const TWords SinSign = (Q.Number & 2) << 62;
  const TWords CosSign = (((Q.Number & 3) + 1) & 2) << 62;
  return {AsReals(Bits(IsOdd ? Cos : Sin) ^ SinSign), AsReals(Bits(IsOdd ? Sin : Cos) ^ CosSign),
          ~(Abs(X) <= SinCosRange)};
}

struct TAngle {
  TReals Value;
  TWords Outside;  // lanes with an infinity, a NaN, or a part beyond 2^400 or below 2^-400 but 0
};

// The value with its 26 leading bits.
inline TReals Truncated(TReals AValue) noexcept {
  constexpr std::int64_t High = ~((std::int64_t{1} << 27) - 1);
  return AsReals(Bits(AValue) & High);
}

// ANumerator - AQuotient * ADenominator, for a quotient that is right to a few ulp. Halves of 26
// bits have exact products, and each difference cancels what it takes.
inline TReals QuotientRest(TReals ANumerator, TReals AQuotient, TReals ADenominator) noexcept {
  const TReals QHigh = Truncated(AQuotient);
  const TReals QLow = AQuotient - QHigh;
  const TReals DHigh = Truncated(ADenominator);
  const TReals DLow = ADenominator - DHigh;
  return ((ANumerator - QHigh * DHigh) - QHigh * DLow - QLow * DHigh) - QLow * DLow;
}

// The angle as J * pi/4 +- atan(t), 0 <= |t| <= tan(pi/8): t is the quotient of the smaller part by
// the larger, or (smaller - larger) / (smaller + larger), kept with its rounding errors.
inline TAngle Atan2(TReals Y, TReals X) noexcept {
  constexpr double TanPiOver8 = 0x1.a827999fcef32p-2;
  constexpr double PiOver4High = 0x1.921fb54442d18p-1;  // 50 bits: exact in every multiple below 5
  constexpr double PiOver4Low = 0x1.1a62633145c07p-55;
  constexpr double Largest = 0x1p+400;
  constexpr double Smallest = 0x1p-400;
  // (atan(t) / t - 1) / t^2 in t^2, to 2^-58 of the value.
  constexpr double Coefficients[] = {
      -0x1.5555555555555p-2, 0x1.9999999999952p-3, -0x1.249249248d739p-3, 0x1.c71c71c2fc236p-4,
      -0x1.745d165c497f3p-4, 0x1.3b1392a9c2d8bp-4, -0x1.110e84aa36d9dp-4, 0x1.e199c62156609p-5,
      -0x1.ac7858539e493p-5, 0x1.74d3a7b43351ap-5, -0x1.1b1992aa413c9p-5, 0x1.0a997ba33c1dbp-6};

  const TReals AbsX = Abs(X);
  const TReals AbsY = Abs(Y);
  const TWords IsUpright = AbsY > AbsX;
  const TReals Large = IsUpright ? AbsY : AbsX;
  const TReals Small = IsUpright ? AbsX : AbsY;
  const TWords IsDiagonal = Small > TanPiOver8 * Large;

  const TReals Taken = IsDiagonal ? Large : TReals{};
  const TReals Joining = IsDiagonal ? Small : TReals{};
  const TReals Numerator = Small - Taken;
  const TReals NumeratorRest = Small - (Numerator + Taken);
  const TReals Sum = Large + Joining;
  const TReals SumRest = Joining - (Sum - Large);
  // Whatever divides 0, but for a 0 or what has no reciprocal.
  const TReals Denominator = Small == 0.0 ? Splat(1.0) : Sum;

  const TReals Reciprocal = 1.0 / Denominator;
  const TReals T = Numerator * Reciprocal;
  const TReals Rest =
      (QuotientRest(Numerator, T, Denominator) + (NumeratorRest - T * SumRest)) * Reciprocal;
  const TReals Z = T * T;
  const TReals Correction = Rest + Z * (T * Polynomial(Z, Coefficients) - Rest);

  const TWords IsLeft = Bits(X) < 0;
  TReals J = IsDiagonal ? Splat(1.0) : TReals{};
  J = IsUpright ? 2.0 - J : J;
  J = IsLeft ? 4.0 - J : J;
  const TWords Turn = (IsUpright ^ IsLeft) & SignBit;
  const TReals Leading = J * PiOver4High;
  const TReals Step = AsReals(Bits(T) ^ Turn);
  const TReals High = Leading + Step;
  const TReals Low =
      (Step - (High - Leading)) + (J * PiOver4Low + AsReals(Bits(Correction) ^ Turn));
  return {AsReals(Bits(High + Low) ^ (Bits(Y) & SignBit)),
          ~(Large <= Largest) | ~((Small >= Smallest) | (Small == 0.0))};
}

// The base of a logarithm: 1 / ln(base) and log(2), each in two parts. The first ones have so few
// bits that their products below are exact.
struct TNatural {
  static constexpr double ScaleHigh = 1.0;
  static constexpr double ScaleLow = 0.0;
  static constexpr double TwoHigh = 0x1.62e42fefa38p-1;
  static constexpr double TwoLow = 0x1.ef35793c7673p-45;
};

struct TDecimal {
  static constexpr double ScaleHigh = 0x1.bcb7b14p-2;
  static constexpr double ScaleLow = 0x1.26e50e32a6ab7p-30;
  static constexpr double TwoHigh = 0x1.34413509f78p-2;
  static constexpr double TwoLow = 0x1.fef311f12b358p-46;
};

// Logarithm of any argument; of 0 it is -infinity, below 0 NaN.
//
// With X = 2^k * (1 + f), sqrt(1/2) <= 1 + f < sqrt(2), and s = f / (2 + f), the natural logarithm
// of 1 + f = (1 + s) / (1 - s) is f - f^2/2 + s * (f^2/2 + s^2 * (2/3 + 2/5 s^2 + ...)).
template <class TBase>
inline TReals Logarithm(TReals X) noexcept {
  constexpr double Infinity = std::numeric_limits<double>::infinity();
  constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double SmallestNormal = std::numeric_limits<double>::min();
  constexpr std::int64_t SqrtHalf = 0x3FE6A09E667F3BCD;
  constexpr std::int64_t One = 0x3FF0000000000000;
  constexpr std::int64_t Mantissa = 0x000FFFFFFFFFFFFF;
  constexpr std::int64_t Exponent52 = 0x4330000000000000;  // of 2^52
  // To 2^-57 of the value.
  constexpr double Coefficients[] = {
      0x1.5555555555558p-1, 0x1.9999999995273p-2, 0x1.2492492dfd86cp-2, 0x1.c71c62d5e53ep-3,
      0x1.7462b91b8df65p-3, 0x1.39fdcceb4bb45p-3, 0x1.2b5f68a50d903p-3};

  const TWords IsSubnormal = X < SmallestNormal;
  const TWords Shifted = Added(Bits(IsSubnormal ? X * 0x1p+54 : X), One - SqrtHalf);
  constexpr double Bias = 0x1p+52 + 1023.0;
  const TReals Biased = AsReals(ShiftedRight(Shifted, 52) | Exponent52);
  const TReals K = Biased - (IsSubnormal ? Splat(Bias + 54.0) : Splat(Bias));
  const TReals F = AsReals((Shifted & Mantissa) + SqrtHalf) - 1.0;

  const TReals S = F / (2.0 + F);
  const TReals Z = S * S;
  const TReals Half = 0.5 * F * F;
  const TReals High = Truncated(F - Half);
  const TReals Low = ((F - High) - Half) + S * (Half + Z * Polynomial(Z, Coefficients));

  TReals ScaledHigh = High;
  TReals ScaledLow = Low;
  if constexpr (TBase::ScaleLow != 0.0) {
    ScaledHigh = High * TBase::ScaleHigh;
    ScaledLow = (High + Low) * TBase::ScaleLow + Low * TBase::ScaleHigh;
  }
  const TReals Whole = K * TBase::TwoHigh;
  const TReals Sum = Whole + ScaledHigh;
  const TReals SumRest = (Whole - Sum) + ScaledHigh;
  const TReals Value = Sum + (SumRest + (K * TBase::TwoLow + ScaledLow));

  const TReals AtMost0 = X == 0.0 ? Splat(-Infinity) : Splat(NaN);
  return X > 0.0 ? (X == Infinity ? X : Value) : AtMost0;
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
