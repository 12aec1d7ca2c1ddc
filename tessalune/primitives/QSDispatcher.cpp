#include <tessalune/primitives/QSDispatcher.h>

#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/kernels/Elementwise.h>
#include <tessalune/primitives/kernels/RandGauss.h>
#include <tessalune/primitives/kernels/Waveforms.h>

#include <array>
#include <cmath>
#include <cstring>

namespace tessalune {

TESSALUNE_DEFINE_PRIMITIVES(QSDispatcher, TESSALUNE_QSDISPATCHER_PRIMITIVES)

namespace {

// Said so that a NaN is outside.
bool IsWithin(double AValue, double ALow, double AEnd) noexcept {
  return AValue >= ALow && AValue < AEnd;
}

}  // namespace

namespace builtins {

IppStatus ippsRandGauss_Direct_64f(double* pDst, std::int32_t len, double mean, double stdDev,
                                   std::uint32_t* pSeed) noexcept {
  const IppStatus Status = CheckArguments(len, pDst, pSeed);
  if (Status == ippStsNoErr) *pSeed = kernels::RandGauss(pDst, Count(len), mean, stdDev, *pSeed);
  return Status;
}

IppStatus ippsTone_Direct_64f(double* pDst, std::int32_t len, double magn, double rFreq,
                              double* pPhase, std::int32_t) noexcept {
  if (!pPhase) return ippStsNullPtrErr;
  if (!(magn > 0.0)) return ippStsToneMagnErr;
  if (!IsWithin(rFreq, 0.0, 0.5)) return ippStsToneFreqErr;
  if (!IsWithin(*pPhase, 0.0, kernels::TwoPi)) return ippStsTonePhaseErr;
  const IppStatus Status = CheckArguments(len, pDst);
  if (Status != ippStsNoErr) return Status;
  kernels::Tone(pDst, Count(len), magn, rFreq, *pPhase);
  *pPhase = kernels::TonePhaseAfter(Count(len), rFreq, *pPhase);
  return ippStsNoErr;
}

IppStatus ippsTriangle_Direct_64f(double* pDst, std::int32_t len, double magn, double rFreq,
                                  double asym, double* pPhase) noexcept {
  if (!pPhase) return ippStsNullPtrErr;
  if (!(magn > 0.0)) return ippStsTrnglMagnErr;
  if (!IsWithin(rFreq, 0.0, 0.5)) return ippStsTrnglFreqErr;
  if (!IsWithin(asym, -kernels::Pi, kernels::Pi)) return ippStsTrnglAsymErr;
  if (!IsWithin(*pPhase, 0.0, kernels::TwoPi)) return ippStsTrnglPhaseErr;
  const IppStatus Status = CheckArguments(len, pDst);
  if (Status != ippStsNoErr) return Status;
  kernels::Triangle(pDst, Count(len), magn, rFreq, asym, *pPhase);
  *pPhase = kernels::TrianglePhaseAfter(Count(len), rFreq, *pPhase);
  return ippStsNoErr;
}

IppStatus ippsVectorRamp_64f(double* pDst, std::int32_t len, float offset, float slope) noexcept {
  const IppStatus Status = CheckArguments(len, pDst);
  if (Status == ippStsNoErr)
    kernels::Ramp(pDst, len, static_cast<double>(offset), static_cast<double>(slope));
  return Status;
}

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

IppStatus ippsCopy_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept {
  return builtins::ippsMove_64fc(pSrc, pDst, len);
}

IppStatus ippsMove_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr) std::memmove(pDst, pSrc, Count(len) * sizeof *pDst);
  return Status;
}

IppStatus ippsAbs_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pDst);
  if (Status == ippStsNoErr)
    kernels::Map(pSrc, pDst, Count(len), [](double X) { return std::fabs(X); });
  return Status;
}

}  // namespace builtins

IppStatus ippsSquare_Direct_64f(double* pDst, std::int32_t len, double magn, double rfreq,
                                double asym, double* pPhase) noexcept {
  *pPhase = kernels::Square(pDst, len < 1 ? 0 : Count(len), magn, rfreq, asym, *pPhase);
  return ippStsNoErr;
}

}  // namespace tessalune
