#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/QSComplex.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

// Vectors as wide as the processor's registers, by the compiler's own vector types: arithmetic,
// comparison (lanes of all ones or zero) and the choice by such a mask are those of the language.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

typedef double TReals __attribute__((vector_size(VectorBytes)));
typedef std::int64_t TWords __attribute__((vector_size(VectorBytes)));

constexpr std::size_t Width = VectorBytes / sizeof(double);

constexpr std::int64_t SignBit = std::numeric_limits<std::int64_t>::min();

// As many elements of type T as TReals has.
template <class T>
struct TVectorOf {
  typedef T Type __attribute__((vector_size(Width * sizeof(T))));
};
template <class T>
using TVector = typename TVectorOf<T>::Type;
using TInts = TVector<std::int32_t>;

template <class T>
requires std::is_arithmetic_v<T>
inline TVector<T> Load(const T* pSrc) noexcept {
  TVector<T> Result;
  __builtin_memcpy(&Result, pSrc, sizeof Result);
  return Result;
}

inline void Store(double* pDst, TReals AValue) noexcept {
  __builtin_memcpy(pDst, &AValue, sizeof AValue);
}
inline void Store(std::int32_t* pDst, TInts AValue) noexcept {
  __builtin_memcpy(pDst, &AValue, sizeof AValue);
}

inline TWords Bits(TReals AValue) noexcept { return reinterpret_cast<TWords>(AValue); }
inline TReals AsReals(TWords ABits) noexcept { return reinterpret_cast<TReals>(ABits); }

// Without a sign: sums are modulo 2^64, and a shift to the right brings zeros in, as every
// instruction set has it for 64 bits.
typedef std::uint64_t TNaturals __attribute__((vector_size(VectorBytes)));

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
  std::int64_t Values[Width];
  __builtin_memcpy(Values, &AMask, sizeof Values);
  std::int64_t Result = 0;
  for (const std::int64_t Value : Values) Result |= Value;
  return Result != 0;
}

// Lanes First, First + Step, ... of the pair (A, B).
template <std::int64_t First, std::int64_t Step, std::int64_t... Lane>
inline TReals Pick(TReals A, TReals B, std::integer_sequence<std::int64_t, Lane...>) noexcept {
  return __builtin_shuffle(A, B, TWords{(First + Step * Lane)...});
}

template <std::int64_t First, std::int64_t... Lane>
inline TReals Merge(TReals A, TReals B, std::integer_sequence<std::int64_t, Lane...>) noexcept {
  constexpr std::int64_t Second = Width;
  return __builtin_shuffle(A, B, TWords{(First + Lane / 2 + (Lane % 2) * Second)...});
}

// Two vectors of neighbours a0 b0 a1 b1 ..., apart and together.
struct TPairs {
  TReals First;
  TReals Second;
};

using TLaneSequence = std::make_integer_sequence<std::int64_t, Width>;

inline TPairs Split(TReals ALow, TReals AHigh) noexcept {
  return {Pick<0, 2>(ALow, AHigh, TLaneSequence{}), Pick<1, 2>(ALow, AHigh, TLaneSequence{})};
}

inline TPairs Join(TReals AFirst, TReals ASecond) noexcept {
  return {Merge<0>(AFirst, ASecond, TLaneSequence{}),
          Merge<Width / 2>(AFirst, ASecond, TLaneSequence{})};
}

inline TReals Splat(double AValue) noexcept { return AValue - TReals{}; }
inline TPairs Splat(const TComplex& AValue) noexcept {
  return {Splat(AValue.Re), Splat(AValue.Im)};
}

// Real and imaginary parts of Width complex samples.
inline TPairs Load(const TComplex* pSrc) noexcept {
  return Split(Load(&pSrc->Re), Load(&pSrc->Re + Width));
}
inline void Store(TComplex* pDst, const TPairs& APairs) noexcept {
  const TPairs Joined = Join(APairs.First, APairs.Second);
  Store(&pDst->Re, Joined.First);
  Store(&pDst->Re + Width, Joined.Second);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
