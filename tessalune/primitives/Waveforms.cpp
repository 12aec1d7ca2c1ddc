#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/kernels/RandGauss.h>
#include <tessalune/primitives/kernels/Waveforms.h>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

// Said so that a NaN is outside.
bool IsWithin(double AValue, double ALow, double AEnd) noexcept {
  return AValue >= ALow && AValue < AEnd;
}

}  // namespace

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

IppStatus ippsSquare_Direct_64f(double* pDst, std::int32_t len, double magn, double rfreq,
                                double asym, double* pPhase) noexcept {
  *pPhase = kernels::Square(pDst, len < 1 ? 0 : Count(len), magn, rfreq, asym, *pPhase);
  return ippStsNoErr;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
