#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/QSComplex.h>

#include <cstddef>

// Loops over vectors. Each works element by element: a destination may be one of the sources, but
// must not overlap one in another way. AFunction is small, and pure.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// pDst[i] = AFunction(pSrc[i])
template <class TIn, class TOut, class TFunction>
inline void Map(const TIn* pSrc, TOut* pDst, std::size_t ACount, TFunction AFunction) noexcept {
#pragma GCC ivdep
  for (std::size_t I = 0; I < ACount; ++I) pDst[I] = AFunction(pSrc[I]);
}

// pDst[i] = AFunction(pSrc1[i], pSrc2[i])
template <class TIn, class TOut, class TFunction>
inline void Zip(const TIn* pSrc1, const TIn* pSrc2, TOut* pDst, std::size_t ACount,
                TFunction AFunction) noexcept {
#pragma GCC ivdep
  for (std::size_t I = 0; I < ACount; ++I) pDst[I] = AFunction(pSrc1[I], pSrc2[I]);
}

// pDst[ACount - 1 - i] = the conjugate of pSrc[i]. No overlap.
inline void ConjFlip(const TComplex* pSrc, TComplex* pDst, std::size_t ACount) noexcept {
  for (std::size_t I = 0; I < ACount; ++I) pDst[ACount - 1 - I] = Conj(pSrc[I]);
}

inline double Power(const TComplex& X) noexcept { return X.Re * X.Re + X.Im * X.Im; }

// pDst[i] = AValue
template <class T>
inline void Fill(T* pDst, std::size_t ACount, T AValue) noexcept {
  for (std::size_t I = 0; I < ACount; ++I) pDst[I] = AValue;
}

// Whether an element equals AValue.
template <class T>
inline bool Contains(const T* pSrc, std::size_t ACount, T AValue) noexcept {
  bool Result = false;
  for (std::size_t I = 0; I < ACount; ++I) Result |= pSrc[I] == AValue;
  return Result;
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
