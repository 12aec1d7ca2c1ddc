#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <cstddef>
#include <cstring>
#include <utility>

// Vectors of doubles as the compiler's own vector types, and loops that are unrolled for certain.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

template <std::size_t ALanes>
struct TLanesOf {
  typedef double TType __attribute__((vector_size(ALanes * sizeof(double))));
};
template <std::size_t ALanes>
using TLanes = typename TLanesOf<ALanes>::TType;

// What one register of the instruction set holds.
constexpr std::size_t NativeLanes = VectorBytes / sizeof(double);
using TNative = TLanes<NativeLanes>;

// From and to any address.
template <class TVector = TNative>
inline TVector LoadLanes(const double* pSrc) noexcept {
  TVector Result;
  std::memcpy(&Result, pSrc, sizeof Result);
  return Result;
}
template <class TVector>
inline void StoreLanes(double* pDst, TVector AValue) noexcept {
  std::memcpy(pDst, &AValue, sizeof AValue);
}

// A number as a type, so that a lambda can use it as a constant.
template <std::size_t AValue>
struct TConstant {
  static constexpr std::size_t Value = AValue;
};

// ABody(TConstant<0>), ABody(TConstant<1>), ... up to ACount, for as long as they give true; tells
// whether all did.
template <std::size_t ACount, class TBody>
[[gnu::always_inline]] inline bool UnrolledWhile(TBody&& ABody) noexcept {
  return [&]<std::size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
    return (ABody(TConstant<I>{}) && ...);
  }
  (std::make_index_sequence<ACount>{});
}

// The same for all.
template <std::size_t ACount, class TBody>
[[gnu::always_inline]] inline void Unrolled(TBody&& ABody) noexcept {
  [&]<std::size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
    (ABody(TConstant<I>{}), ...);
  }
  (std::make_index_sequence<ACount>{});
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
