#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSSubDispatcher.h>
#include <tessalune/primitives/kernels/Elementwise.h>
#include <tessalune/primitives/kernels/Haar.h>
#include <tessalune/primitives/kernels/Median.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

// Medians of masks of 2 * AHalf + 1 samples, AHalf above 0; three samples at least.
IppStatus FilterMedian(const double* pSrc, double* pDst, std::size_t ACount,
                       std::size_t AHalf) noexcept {
  if (AHalf == 1) return kernels::SmallMedian<1>(pSrc, pDst, ACount), ippStsNoErr;
  if (AHalf == 2) return kernels::SmallMedian<2>(pSrc, pDst, ACount), ippStsNoErr;
  if (AHalf == 3) return kernels::SmallMedian<3>(pSrc, pDst, ACount), ippStsNoErr;
  const std::size_t Size = kernels::LargeMedianSize(AHalf);
  double* Memory = Size > std::numeric_limits<std::int32_t>::max()
                       ? nullptr
                       : ippsMalloc_64f(static_cast<std::int32_t>(Size));
  if (!Memory) {
    std::memmove(pDst, pSrc, ACount * sizeof *pDst);
    return ippStsMemAllocErr;
  }
  kernels::LargeMedian(pSrc, pDst, ACount, AHalf, Memory);
  ippsFree(Memory);
  return ippStsNoErr;
}

}  // namespace

IppStatus ippsThreshold_LTValGTVal_64f_I(double* pSrcDst, std::int32_t len, double levelLT,
                                         double valueLT, double levelGT, double valueGT) noexcept {
  const IppStatus Status = CheckArguments(len, pSrcDst);
  if (Status != ippStsNoErr) return Status;
  if (!(levelGT >= levelLT)) return ippStsThresholdErr;
  kernels::Map(pSrcDst, pSrcDst, Count(len), [=](double X) {
    const double High = X > levelGT ? valueGT : X;
    return X >= levelLT ? High : valueLT;
  });
  return ippStsNoErr;
}

IppStatus ippsCplxToReal_64fc(const TComplex* pSrc, double* pDstRe, double* pDstIm,
                              std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDstRe, pDstIm);
  if (Status != ippStsNoErr) return Status;
  kernels::Map(pSrc, pDstRe, Count(len), [](const TComplex& X) { return X.Re; });
  kernels::Map(pSrc, pDstIm, Count(len), [](const TComplex& X) { return X.Im; });
  return ippStsNoErr;
}

IppStatus ippsConj_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len), [](const TComplex& X) { return Conj(X); });
  return Status;
}

IppStatus ippsConjFlip_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  kernels::ConjFlip(pSrc, pDst, Count(len));
  return ippStsNoErr;
}

IppStatus ippsMove_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr) std::memmove(pDst, pSrc, Count(len) * sizeof *pDst);
  return Status;
}

IppStatus ippsCopy_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept {
  return TESSALUNE_BUILTINS::ippsMove_64fc(pSrc, pDst, len);
}

IppStatus ippsAbs_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len), [](double X) { return std::fabs(X); });
  return Status;
}

IppStatus ippsWTHaarFwd_64f(const double* pSrc, std::int32_t len, double* pDstLow,
                            double* pDstHigh) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDstLow, pDstHigh);
  if (Status != ippStsNoErr) return Status;
  const std::size_t Pairs = Count(len) / 2;
  kernels::HaarForward(pSrc, pDstLow, pDstHigh, Pairs);
  if (len % 2 != 0) pDstLow[Pairs] = pSrc[2 * Pairs];
  return ippStsNoErr;
}

IppStatus ippsWTHaarInv_64f(const double* pSrcLow, const double* pSrcHigh, double* pDst,
                            std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrcLow, pSrcHigh, pDst);
  if (Status != ippStsNoErr) return Status;
  const std::size_t Pairs = Count(len) / 2;
  kernels::HaarInverse(pSrcLow, pSrcHigh, pDst, Pairs);
  if (len % 2 != 0) pDst[2 * Pairs] = pSrcLow[Pairs];
  return ippStsNoErr;
}

IppStatus ippsFilterMedian_64f(const double* pSrc, double* pDst, std::int32_t len,
                               std::int32_t maskSize) noexcept {
  const IppStatus Status = CheckArguments(std::min(len, maskSize), pSrc, pDst);
  if (Status != ippStsNoErr) return Status;
  const std::size_t Length = Count(len);
  // A mask that covers all from everywhere: what it has more is as many copies of the first sample
  // as of the last, between which the median lies already.
  const std::size_t Half = std::min(Count(maskSize - 1) / 2, Length - 1);
  const double First = pSrc[0];
  const double Last = pSrc[Length - 1];
  if (Half == 0 || Length < 3) {
    std::memmove(pDst, pSrc, Length * sizeof *pDst);
  } else {
    const IppStatus Filtered = FilterMedian(pSrc, pDst, Length, Half);
    if (Filtered != ippStsNoErr) return Filtered;
    // They are their own medians; said for NaNs.
    pDst[0] = First;
    pDst[Length - 1] = Last;
  }
  return maskSize % 2 == 0 ? ippStsEvenMedianMaskSize : ippStsNoErr;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
