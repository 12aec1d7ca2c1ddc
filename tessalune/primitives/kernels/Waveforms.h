#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

// Waveforms. Arguments are those of the primitives, and have been checked.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Running values are kept at this precision: 80 bits on x86.
using TExtended = long double;

constexpr double Pi = 0x1.921FB54442D18p+1;
constexpr double TwoPi = 0x1.921FB54442D18p+2;
constexpr double FourPi = 0x1.921FB54442D18p+3;
constexpr double OneOverTwoPi = 0x1.45F306DC9C883p-3;
constexpr TExtended ExtendedTwoPi = 0xC.90FDAA22168C235p-1L;

// APhase modulo two pi as a double in [0, two pi). The rounding to double comes before the test,
// so that no phase leaves that the next call would refuse.
inline double WrapPhase(TExtended APhase) noexcept {
  const TExtended Cycles = std::floor(APhase * OneOverTwoPi);
  const auto Wrapped = static_cast<double>(APhase - TwoPi * Cycles);
  return Wrapped >= 0.0 && Wrapped < TwoPi ? Wrapped : 0.0;
}

inline double TrianglePhaseAfter(std::size_t ACount, double ARelFreq, double APhase) noexcept {
  return WrapPhase(TExtended{TwoPi} * ARelFreq * static_cast<TExtended>(ACount) + APhase);
}

// As for the triangle, but the phase is rounded to double before it is wrapped.
inline double TonePhaseAfter(std::size_t ACount, double ARelFreq, double APhase) noexcept {
  const TExtended Phase = TExtended{TwoPi} * ARelFreq * static_cast<TExtended>(ACount) + APhase;
  return WrapPhase(static_cast<double>(Phase));
}

// A number as the sum of one with 26 bits and the rest.
struct TSplit {
  TSplit() = default;
  explicit TSplit(TExtended AValue) noexcept {
    constexpr std::int64_t High = ~((std::int64_t{1} << 27) - 1);
    const auto Rounded = static_cast<double>(AValue);
    Leading = std::bit_cast<double>(std::bit_cast<std::int64_t>(Rounded) & High);
    Rest = static_cast<double>(AValue - Leading);
  }
  double Leading;
  double Rest;
};

// Cosine by angle addition: magn cos(a + b) = magn cos(a) cos(b) - magn sin(a) sin(b), where b runs
// through a table of Steps angles and a goes on by so many at once. Both are rotated at extended
// precision. The products of the leading parts are exact, and so is what their difference is
// rounded by, so that the result is a rounding error of the one at extended precision.
template <std::size_t Steps>
inline void ToneBy(double* pDst, std::size_t ACount, double AMagn, double ARelFreq,
                   double APhase) noexcept {
  const TExtended Step = TExtended{TwoPi} * ARelFreq;
  const TExtended StepCos = std::cos(Step);
  const TExtended StepSin = std::sin(Step);
  const auto Rotate = [](TExtended& ACos, TExtended& ASin, TExtended AByCos, TExtended ABySin) {
    const TExtended Cos = ACos * AByCos - ASin * ABySin;
    ASin = ASin * AByCos + ACos * ABySin;
    ACos = Cos;
  };

  double CosLeading[Steps], CosRest[Steps], CosWhole[Steps];
  double SinLeading[Steps], SinRest[Steps], SinWhole[Steps];
  TExtended TurnCos = 1;  // at the end by all steps of the table
  TExtended TurnSin = 0;
  for (std::size_t J = 0; J < Steps; ++J) {
    const TSplit Cos(TurnCos), Sin(TurnSin);
    CosLeading[J] = Cos.Leading;
    CosRest[J] = Cos.Rest;
    CosWhole[J] = static_cast<double>(TurnCos);
    SinLeading[J] = Sin.Leading;
    SinRest[J] = Sin.Rest;
    SinWhole[J] = static_cast<double>(TurnSin);
    Rotate(TurnCos, TurnSin, StepCos, StepSin);
  }

  TExtended AngleCos = std::cos(TExtended{APhase}) * AMagn;
  TExtended AngleSin = std::sin(TExtended{APhase}) * AMagn;
  for (std::size_t N = 0; N < ACount; N += Steps) {
    const TSplit Cos(AngleCos), Sin(AngleSin);
    const std::size_t Count = std::min(Steps, ACount - N);
    for (std::size_t J = 0; J < Count; ++J) {
      const double Minuend = Cos.Leading * CosLeading[J];
      const double Subtrahend = Sin.Leading * SinLeading[J];
      const double Difference = Minuend - Subtrahend;
      const double Taken = Minuend - Difference;
      const double Lost = (Minuend - (Difference + Taken)) + (Taken - Subtrahend);
      const double Small = (Cos.Leading * CosRest[J] + Cos.Rest * CosWhole[J]) -
                           (Sin.Leading * SinRest[J] + Sin.Rest * SinWhole[J]);
      pDst[N + J] = Difference + (Lost + Small);
    }
    Rotate(AngleCos, AngleSin, TurnCos, TurnSin);
  }
}

// A few samples are not worth a long table.
inline void Tone(double* pDst, std::size_t ACount, double AMagn, double ARelFreq,
                 double APhase) noexcept {
  if (ACount < 512)
    ToneBy<8>(pDst, ACount, AMagn, ARelFreq, APhase);
  else
    ToneBy<32>(pDst, ACount, AMagn, ARelFreq, APhase);
}

// Steps along the falling and the rising segment; a step beyond a peak is folded back with the
// other segment's slope, or, when it crosses that segment as a whole, goes on in the same
// direction one cycle further.
//
// The fold is written around the peak, magn + (w - magn) * ratio: w - magn is exact, so a ratio of
// any size leaves the result at or below the peak, and an empty segment (ratio -infinity) falls
// into the second case by itself.
inline void Triangle(double* pDst, std::size_t ACount, double AMagn, double ARelFreq, double AAsym,
                     double APhase) noexcept {
  const TExtended Magn = AMagn;
  const TExtended FallLength = TExtended{Pi} + AAsym;
  const TExtended RiseLength = TExtended{Pi} - AAsym;
  const TExtended Cycle = FourPi * Magn;
  const TExtended Down = -(Cycle * ARelFreq) / FallLength;
  const TExtended Up = Cycle * ARelFreq / RiseLength;
  const TExtended FoldToRise = -FallLength / RiseLength;
  const TExtended FoldToFall = -RiseLength / FallLength;
  const TExtended JumpUp = Cycle / RiseLength;
  const TExtended JumpDown = Cycle / FallLength;

  const bool StartsFalling = APhase < FallLength;
  TExtended Value = StartsFalling ? Magn * (1 - 2 * APhase / FallLength)
                                  : Magn * (2 * (APhase - FallLength) / RiseLength - 1);
  bool Rising = !StartsFalling && Up > 0;
  TExtended Step = StartsFalling ? Down : Up;

  for (std::size_t N = 0; N < ACount; ++N) {
    pDst[N] = static_cast<double>(Value);
    Value += Step;
    if (Rising && Value > Magn) {
      const TExtended Folded = (Value - Magn) * FoldToFall + Magn;
      Rising = Folded < -Magn;
      Value = Rising ? Value - JumpUp : Folded;
      Step = Rising ? Up : Down;
    } else if (!Rising && Value < -Magn) {
      const TExtended Folded = (Value + Magn) * FoldToRise - Magn;
      Rising = !(Folded > Magn);
      Value = Rising ? Folded : Value + JumpDown;
      Step = Rising ? Up : Down;
    }
  }
}

// X - trunc(X), exact. The range that a running wave stays in needs no division.
inline TExtended FractionOf(TExtended X) noexcept {
  if (X >= 0 && X < 1) return X;
  if (X >= 1 && X < 2) return X - 1;
  return std::fmod(X, TExtended{1});
}

// Cycles below 1 as an integer, 2^64 of them a cycle: additions wrap as the wave does, and none is
// rounded.
constexpr TExtended WholeCycle = 0x1p64L;

// Returns the phase of sample ACount, in radians.
inline double Square(double* pDst, std::size_t ACount, double AMagn, double ARelFreq, double AAsym,
                     double APhase) noexcept {
  const TExtended Low = TExtended{AAsym} / 2 + 0.5L;
  TExtended Place = APhase / ExtendedTwoPi;
  if (Place >= 0 && Place < 1 && ARelFreq >= 0 && ARelFreq < 1 && Low > 0 && Low < 1) {
    const auto End = static_cast<std::uint64_t>(std::ceil(Low * WholeCycle));
    const auto Step = static_cast<std::uint64_t>(std::nearbyint(ARelFreq * WholeCycle));
    auto At = static_cast<std::uint64_t>(Place * WholeCycle);
    for (std::size_t N = 0; N < ACount; ++N, At += Step) pDst[N] = At < End ? -AMagn : AMagn;
    return static_cast<double>(static_cast<TExtended>(At) / WholeCycle * 2 * Pi);
  }
  for (std::size_t N = 0; N < ACount; ++N) {
    pDst[N] = Low > Place ? -AMagn : AMagn;
    Place = FractionOf(Place + ARelFreq);
  }
  return static_cast<double>(Place * 2 * Pi);
}

inline void Ramp(double* pDst, std::int32_t ACount, double AOffset, double ASlope) noexcept {
  for (std::int32_t N = 0; N < ACount; ++N) pDst[N] = AOffset + ASlope * N;
}

// Chirp magn * sin(pi n^2 / (2 count)). The angle has the period 4 count in n^2, which is kept
// modulo that period as an integer: n^2 grows by 2 n + 1, less than a period a sample, so the
// angle is as exact for the last sample as for the first.
inline void Jaehne(double* pDst, std::size_t ACount, double AMagn) noexcept {
  const std::uint64_t Count = ACount;
  const std::uint64_t Period = 4 * Count;
  const double Quarter = Pi / 2.0;
  std::uint64_t Square = 0;
  for (std::uint64_t N = 0; N < Count; ++N) {
    const double Turn = static_cast<double>(Square) / static_cast<double>(Count);
    pDst[N] = AMagn * std::sin(Quarter * Turn);
    Square += 2 * N + 1;
    if (Square >= Period) Square -= Period;
  }
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
