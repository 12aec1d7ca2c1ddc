#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/kernels/Bits.h>

#include <cstddef>

// One level of the Haar transform. No overlap.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The definition: the high value is rounded once more for the low one only after the sum.
inline void HaarPair(const double* pSrc, double* pDstLow, double* pDstHigh) noexcept {
  const long double High = (static_cast<long double>(pSrc[1]) - pSrc[0]) * 0.5L;
  *pDstHigh = static_cast<double>(High);
  *pDstLow = static_cast<double>(High + pSrc[0]);
}

// Pairs of which double precision might make something else than the 64 bits of extended precision:
// those of which one is more than 2^10 times the other but not 0, and those that might overflow.
// For all others, sum and difference have 64 bits at most: extended precision holds them exactly,
// and what it gives is the exact value, rounded once to double. A NaN is among the former.
inline TWords NeedsExtended(const TPair<TReals>& APairs) noexcept {
  const TReals A = Abs(APairs.Re);
  const TReals B = Abs(APairs.Im);
  const TReals Large = Max(A, B);
  const TReals Small = Min(A, B);
  return ~(Large <= 0x1p+1020) | ~((Small * 0x1p+10 >= Large) | (Small == 0.0));
}

// Low and high values of ACount pairs.
inline void HaarForward(const double* pSrc, double* pDstLow, double* pDstHigh,
                        std::size_t ACount) noexcept {
  std::size_t K = 0;
  for (; K + RealLanes <= ACount; K += RealLanes) {
    const TPair<TReals> Pairs = TLanes<double, MaxLanes<double>>::LoadComplex(pSrc + 2 * K);
    if (Any(NeedsExtended(Pairs))) [[unlikely]] {
      for (std::size_t I = K; I < K + RealLanes; ++I)
        HaarPair(pSrc + 2 * I, pDstLow + I, pDstHigh + I);
      continue;
    }
    Store(pDstHigh + K, (Pairs.Im - Pairs.Re) * 0.5);
    // (b - a) / 2 + a is never -0.
    Store(pDstLow + K, (Pairs.Re + Pairs.Im + 0.0) * 0.5);
  }
  for (; K < ACount; ++K) HaarPair(pSrc + 2 * K, pDstLow + K, pDstHigh + K);
}

// ACount pairs of low and high values.
inline void HaarInverse(const double* pSrcLow, const double* pSrcHigh, double* pDst,
                        std::size_t ACount) noexcept {
  std::size_t K = 0;
  for (; K + RealLanes <= ACount; K += RealLanes) {
    const TReals Low = Load(pSrcLow + K);
    const TReals High = Load(pSrcHigh + K);
    TLanes<double, MaxLanes<double>>::StoreComplex(pDst + 2 * K, {Low - High, Low + High});
  }
  for (; K < ACount; ++K) {
    pDst[2 * K] = pSrcLow[K] - pSrcHigh[K];
    pDst[2 * K + 1] = pSrcLow[K] + pSrcHigh[K];
  }
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
