#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/Libcdispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/kernels/Elementwise.h>

#include <cmath>
#include <cstring>

namespace tessalune::TESSALUNE_BUILTINS {
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
  const std::size_t Last = Count(len) - 1;
  for (std::size_t I = 0; I <= Last; ++I) pDst[Last - I] = Conj(pSrc[I]);
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

IppStatus ippsPhase_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len), [](const TComplex& X) { return _atan2(X.Im, X.Re); });
  return Status;
}

IppStatus ippsAbs_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len), [](double X) { return std::fabs(X); });
  return Status;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
