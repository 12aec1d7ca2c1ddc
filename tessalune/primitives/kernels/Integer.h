#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

// Scaling, rounding and saturation to 32-bit integers.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

constexpr std::int32_t Min32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t Max32 = std::numeric_limits<std::int32_t>::max();

// AValue, saturated, rounded towards zero; a NaN gives 0.
inline std::int32_t Saturate(double AValue) noexcept {
  const double Ordered = AValue == AValue ? AValue : 0.0;
  return static_cast<std::int32_t>(std::min(std::max(Ordered, double{Min32}), double{Max32}));
}

inline std::int32_t Saturate(std::int64_t AValue) noexcept {
  return static_cast<std::int32_t>(
      std::min(std::max(AValue, std::int64_t{Min32}), std::int64_t{Max32}));
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

// To the nearest, a tie to the even one: adding 1.5 * 2^52 leaves no fraction bits. It needs
// the processor's default rounding mode.
inline std::int32_t RoundNear(double AValue) noexcept {
  constexpr double Magic = 0x1.8p+52;
  const double Bounded = std::min(std::max(AValue, double{Min32}), double{Max32});
  return Saturate((Bounded + Magic) - Magic);
}

// To the nearest, a tie away from zero.
inline std::int32_t RoundFinancial(double AValue) noexcept {
  const std::int32_t Whole = Saturate(AValue);
  const double Rest = AValue - Whole;
  const std::int32_t Away = (Rest >= 0.5 && Whole < Max32)    ? 1
                            : (Rest <= -0.5 && Whole > Min32) ? -1
                                                              : 0;
  return Whole + Away;
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
