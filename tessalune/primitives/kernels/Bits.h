#pragma once

#include <tessalune/primitives/kernels/Vector.h>

#include <cstdint>
#include <limits>

// The bits of vectors of doubles, and masks: what a comparison gives, lanes of all ones or zero.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

using TWords = TVector<std::int64_t, MaxLanes<double>>;

constexpr std::int64_t SignBit = std::numeric_limits<std::int64_t>::min();

inline TWords Bits(TReals AValue) noexcept { return reinterpret_cast<TWords>(AValue); }
inline TReals AsReals(TWords ABits) noexcept { return reinterpret_cast<TReals>(ABits); }

// Without a sign: sums are modulo 2^64, and a shift to the right brings zeros in, as every
// instruction set has it for 64 bits.
using TNaturals = TVector<std::uint64_t, MaxLanes<double>>;

inline TWords Added(TWords A, std::int64_t B) noexcept {
  return reinterpret_cast<TWords>(reinterpret_cast<TNaturals>(A) + static_cast<std::uint64_t>(B));
}

inline TWords ShiftedRight(TWords ABits, int ACount) noexcept {
  return reinterpret_cast<TWords>(reinterpret_cast<TNaturals>(ABits) >> ACount);
}

inline TReals Abs(TReals AValue) noexcept { return AsReals(Bits(AValue) & ~SignBit); }

// The processor's own minimum and maximum. Of an unordered pair Min gives B and Max gives A, so
// that the two together always hold both.
inline TReals Min(TReals A, TReals B) noexcept { return A < B ? A : B; }
inline TReals Max(TReals A, TReals B) noexcept { return A < B ? B : A; }

// Whether a lane of a mask is set.
inline bool Any(TWords AMask) noexcept {
  std::int64_t Values[RealLanes];
  __builtin_memcpy(Values, &AMask, sizeof Values);
  std::int64_t Result = 0;
  for (const std::int64_t Value : Values) Result |= Value;
  return Result != 0;
}

inline TReals Splat(double AValue) noexcept { return AValue - TReals{}; }

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
