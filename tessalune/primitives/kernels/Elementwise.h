#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/QSComplex.h>
#include <tessalune/primitives/kernels/Bits.h>

#include <cstddef>
#include <type_traits>

// Loops over vectors. Each works element by element: a destination may be one of the sources, but
// must not overlap one in another way. AFunction is small; that of Map and Zip is pure.
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

// Complex samples, as many as TReals has lanes.
using TComplexes = TPair<TReals>;

inline TComplexes Load(const TComplex* pSrc) noexcept {
  return TLanes<double, MaxLanes<double>>::LoadComplex(&pSrc->Re);
}
inline void Store(TComplex* pDst, const TComplexes& AValue) noexcept {
  TLanes<double, MaxLanes<double>>::StoreComplex(&pDst->Re, AValue);
}

inline TComplexes Splat(const TComplex& AValue) noexcept {
  return {Splat(AValue.Re), Splat(AValue.Im)};
}

// The first ACount elements, filled up with 1 to a vector.
template <class T>
inline auto LoadSome(const T* pSrc, std::size_t ACount) noexcept {
  T Elements[RealLanes];
  for (std::size_t I = 0; I < RealLanes; ++I) {
    if constexpr (std::is_same_v<T, TComplex>)
      Elements[I] = TComplex{1, 1};
    else
      Elements[I] = T{1};
  }
  __builtin_memcpy(Elements, pSrc, ACount * sizeof(T));
  return Load(Elements);
}

// pDst = AFunction(pSrc...) by vectors, the last of which is filled up with ones: TReals or TInts
// from and to reals or integers, TComplexes for complex samples.
template <class TOut, class TFunction, class... TIns>
inline void Vectorwise(TOut* pDst, std::size_t ACount, TFunction AFunction,
                       const TIns*... pSrc) noexcept {
  std::size_t I = 0;
  for (; I + RealLanes <= ACount; I += RealLanes) Store(pDst + I, AFunction(Load(pSrc + I)...));
  if (I == ACount) return;
  TOut Last[RealLanes];
  Store(Last, AFunction(LoadSome(pSrc + I, ACount - I)...));
  __builtin_memcpy(pDst + I, Last, (ACount - I) * sizeof(TOut));
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

// A / B, to the bit that of TComplex.
inline TComplexes Quotient(const TComplexes& A, const TComplexes& B) noexcept {
  const TWords IsRealLarger = Abs(B.Re) >= Abs(B.Im);
  const TReals Larger = IsRealLarger ? B.Re : B.Im;
  const TReals Smaller = IsRealLarger ? B.Im : B.Re;
  const TReals Ratio = Smaller / Larger;
  const TReals Scale = Larger + Smaller * Ratio;
  const TReals Along = IsRealLarger ? A.Re : A.Im;
  const TReals Across = IsRealLarger ? A.Im : A.Re;
  const TReals Turned = Along * Ratio;
  const TReals Plus = IsRealLarger ? Across : Turned;
  const TReals Minus = IsRealLarger ? Turned : Across;
  return {(Along + Across * Ratio) / Scale, (Plus - Minus) / Scale};
}

inline TReals Quotient(TReals A, TReals B) noexcept { return A / B; }

inline TWords IsZero(TReals A) noexcept { return A == 0.0; }
inline TWords IsZero(const TComplexes& A) noexcept { return (A.Re == 0.0) & (A.Im == 0.0); }

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
