#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/kernels/Bits.h>

#include <algorithm>
#include <cstdint>
#include <limits>

// Scaling, rounding and saturation to 32-bit integers.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

constexpr std::int32_t Min32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t Max32 = std::numeric_limits<std::int32_t>::max();

inline std::int32_t Saturate(std::int64_t AValue) noexcept {
  return static_cast<std::int32_t>(
      std::min(std::max(AValue, std::int64_t{Min32}), std::int64_t{Max32}));
}

// A + B and A - B, saturated. The sum overflows if its sign differs from that of both; the bound is
// then that of A's sign.
inline std::int32_t Chosen(std::uint32_t A, std::uint32_t AResult,
                           std::uint32_t AOverflow) noexcept {
  const std::uint32_t Bound = (A >> 31) + static_cast<std::uint32_t>(Max32);
  return static_cast<std::int32_t>(AOverflow >> 31 != 0 ? Bound : AResult);
}

inline std::int32_t SaturatedSum(std::int32_t A, std::int32_t B) noexcept {
  const auto X = static_cast<std::uint32_t>(A);
  const auto Y = static_cast<std::uint32_t>(B);
  return Chosen(X, X + Y, (X ^ (X + Y)) & (Y ^ (X + Y)));
}

inline std::int32_t SaturatedDifference(std::int32_t A, std::int32_t B) noexcept {
  const auto X = static_cast<std::uint32_t>(A);
  const auto Y = static_cast<std::uint32_t>(B);
  return Chosen(X, X - Y, (X ^ Y) & (X ^ (X - Y)));
}

// AValue * 2^-AScale, rounded to the nearest, a tie to the even one, and saturated. AValue is the
// exact result of an operation on two 32-bit integers, so at most 2^62 in magnitude.
inline std::int32_t ScaleDown(std::int64_t AValue, std::int32_t AScale) noexcept {
  if (AScale > 63) return 0;
  const std::int64_t Floor = AValue >> (AScale - 1) >> 1;
  // What the floor took away, in units of 2^-AScale, against one half.
  const std::uint64_t Half = std::uint64_t{1} << (AScale - 1);
  const std::uint64_t Rest = static_cast<std::uint64_t>(AValue) & (Half | (Half - 1));
  const bool Up = Rest > Half || (Rest == Half && (Floor & 1) != 0);
  return Saturate(Floor + (Up ? 1 : 0));
}

inline std::int32_t ScaleUp(std::int64_t AValue, std::int32_t AShift) noexcept {
  // Saturating first changes nothing: what is out of range stays so. 31 bits move any value but 0
  // to a bound.
  return Saturate(std::int64_t{Saturate(AValue)} * (std::int64_t{1} << std::min(AShift, 31)));
}

inline std::int32_t Scale(std::int64_t AValue, std::int32_t AScale) noexcept {
  return AScale > 0 ? ScaleDown(AValue, AScale) : ScaleUp(AValue, -std::max(AScale, -31));
}

// Reals to integers by vectors: saturated, a NaN gives 0.

using TInts = TVector<std::int32_t, MaxLanes<double>>;

// Within the bounds of the integers; a NaN stays.
inline TReals Bounded(TReals AValue) noexcept {
  const TReals Above = AValue < double{Min32} ? Splat(Min32) : AValue;
  return Above > double{Max32} ? Splat(Max32) : Above;
}

// What Bounded leaves, as integers, rounded towards zero.
inline TInts Truncate(TReals AValue) noexcept { return __builtin_convertvector(AValue, TInts); }

inline TReals Ordered(TReals AValue) noexcept { return AValue == AValue ? AValue : TReals{}; }

inline TInts RoundZero(TReals AValue) noexcept { return Truncate(Bounded(Ordered(AValue))); }

// Bounded, rounded to the nearest, a tie to the even one: adding 1.5 * 2^52 leaves no fraction
// bits. It needs the processor's default rounding mode.
inline TReals Nearest(TReals AValue) noexcept {
  constexpr double Magic = 0x1.8p+52;
  return (AValue + Magic) - Magic;
}

inline TInts RoundNear(TReals AValue) noexcept {
  return Truncate(Nearest(Bounded(Ordered(AValue))));
}

// To the nearest, a tie away from zero.
inline TInts RoundFinancial(TReals AValue) noexcept {
  const TReals X = Bounded(Ordered(AValue));
  const TReals Near = Nearest(X);
  const TReals Away = X < 0.0 ? Splat(-1.0) : Splat(1.0);
  // The difference is exact. A tie that went towards zero goes one further.
  return Truncate(X - Near == 0.5 * Away ? Near + Away : Near);
}

inline TReals AsReals(TInts AValue) noexcept { return __builtin_convertvector(AValue, TReals); }

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
