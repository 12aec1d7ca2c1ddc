#pragma once

#include <tessalune/primitives/Dct.h>
#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/PrimitiveTable.h>
#include <tessalune/primitives/QSComplex.h>
#include <tessalune/primitives/Transforms.h>

#include <cstdint>
#include <span>

// Signal primitives that components call by their IPP names, through function variables (see
// PrimitiveTable.h). What is said here of each holds for the built-ins.
//
// Every primitive gives a status and raises nothing; a refused call writes nothing. Unless said
// otherwise a null pointer gives ippStsNullPtrErr, and then len below 1 gives ippStsSizeErr. All
// are reentrant: what they write lies in their arguments.
namespace tessalune {
namespace builtins {

// pDstMagn[i] = sqrt(re^2 + im^2), pDstPhase[i] = the angle in radians of pSrc[i]:
// ippsMagnitude_64fc (QSBasicDispatcher.h), then ippsPhase_64fc (QSSubDispatcher.h). Each makes its
// own checks and is called whatever the other does, so that one null destination leaves the other
// one filled; the first status that is not ippStsNoErr is the result. No overlap.
IppStatus ippsCartToPolar_64fc(const TComplex* pSrc, double* pDstMagn, double* pDstPhase,
                               std::int32_t len) noexcept;

// Normally distributed samples of mean `mean` and standard deviation `stdDev` (not checked).
// Marsaglia's polar method on a uniform generator that adds a subtract-with-borrow one (modulus
// 2^32 - 18) and a linear congruential one. `*pSeed` (any value) starts the sequence and receives
// the seed with which the next call goes on; the sequence depends on how the samples are cut into
// calls.
IppStatus ippsRandGauss_Direct_64f(double* pDst, std::int32_t len, double mean, double stdDev,
                                   std::uint32_t* pSeed) noexcept;

// pDstRe[i] = real part, pDstIm[i] = imaginary part of pSrc[i]. No overlap.
IppStatus ippsCplxToReal_64fc(const TComplex* pSrc, double* pDstRe, double* pDstIm,
                              std::int32_t len) noexcept;

// pDst[n] = magn * cos(2 pi rFreq n + *pPhase), and *pPhase becomes the phase of sample len.
//   magn    above 0, else ippStsToneMagnErr
//   rFreq   cycles a sample, 0 <= rFreq < 0.5, else ippStsToneFreqErr
//   *pPhase radians, 0 <= phase < 2 pi, else ippStsTonePhaseErr
//   hint    has no effect
// Checked in the order: pPhase null, magn, rFreq, phase, pDst null, len; a NaN is refused.
// Two cosines and sines a call; the rest by angle addition. Before it is rounded to double, a sample
// is off by some n / 32 + 64 rounding errors of extended precision, in parts of magn.
IppStatus ippsTone_Direct_64f(double* pDst, std::int32_t len, double magn, double rFreq,
                              double* pPhase, std::int32_t hint) noexcept;

// Triangle wave between -magn and magn with 1/rFreq samples a period; phase 0 is the positive
// peak. It falls for the first pi + asym radians of a cycle and rises for the rest. *pPhase
// becomes the phase of sample len.
//   magn    above 0, else ippStsTrnglMagnErr
//   rFreq   cycles a sample, 0 <= rFreq < 0.5, else ippStsTrnglFreqErr; 0 gives a constant
//   asym    radians, -pi <= asym < pi, else ippStsTrnglAsymErr
//   *pPhase radians, 0 <= phase < 2 pi, else ippStsTrnglPhaseErr
// Checked in the order: pPhase null, magn, rFreq, asym, phase, pDst null, len; a NaN is refused.
// Made by stepping at extended precision and folding back what goes beyond a peak; no sample
// leaves [-magn, magn]. asym = -pi is the limit: a saw tooth that rises from -magn and falls in no
// time.
IppStatus ippsTriangle_Direct_64f(double* pDst, std::int32_t len, double magn, double rFreq,
                                  double asym, double* pPhase) noexcept;

// In place: a sample below levelLT, or a NaN, becomes valueLT; one above levelGT becomes valueGT.
// levelGT below levelLT, or a NaN among them: ippStsThresholdErr, checked last.
IppStatus ippsThreshold_LTValGTVal_64f_I(double* pSrcDst, std::int32_t len, double levelLT,
                                         double valueLT, double levelGT, double valueGT) noexcept;

// pDst[i] = (cos(phase) * magn, sin(phase) * magn), the phase in radians. Cosine and sine are
// within 1 ulp of the C library's; beyond 2^16 radians in magnitude, and of an infinity or a NaN,
// they are the C library's. No overlap.
IppStatus ippsPolarToCart_64fc(const double* pSrcMagn, const double* pSrcPhase, TComplex* pDst,
                               std::int32_t len) noexcept;

// pDst[i] = the conjugate of pSrc[i]; pSrc = pDst is allowed.
IppStatus ippsConj_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept;

// pDst[len-1-i] = the conjugate of pSrc[i]. No overlap.
IppStatus ippsConjFlip_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept;

// One level of the Haar transform with scale 1/2. Of the pair a, b = pSrc[2k], pSrc[2k+1]:
//   pDstHigh[k] = (b - a) / 2, half the difference
//   pDstLow[k]  = (b - a) / 2 + a, the mean
// the former not rounded to double within the latter, as on a processor with extended precision;
// the results are those of that precision to the last bit. (Where the magnitudes of a pair are
// within a factor of 2^10 of each other, they are the exact values, rounded once, and fast.) Of an
// odd len, the lone sample goes to pDstLow. So pDstLow gets len / 2 rounded up, pDstHigh len / 2
// rounded down. No overlap.
IppStatus ippsWTHaarFwd_64f(const double* pSrc, std::int32_t len, double* pDstLow,
                            double* pDstHigh) noexcept;

// The inverse, of len samples: pDst[2k] = pSrcLow[k] - pSrcHigh[k], pDst[2k+1] = their sum; of an
// odd len the last sample is that of pSrcLow. No overlap.
IppStatus ippsWTHaarInv_64f(const double* pSrcLow, const double* pSrcHigh, double* pDst,
                            std::int32_t len) noexcept;

// Running median: pDst[i] = the median of the samples pSrc[i - h] to pSrc[i + h], h = maskSize / 2.
// Before its begin the source goes on with its first sample, behind its end with its last one; so
// these two stay as they are. pSrc = pDst is allowed, another overlap is not.
//   maskSize  1 at least, else ippStsSizeErr. An even one is reduced by one, and the status is the
//             warning ippStsEvenMedianMaskSize.
// Masks up to 7 take no memory; a larger one allocates once, and gives ippStsMemAllocErr with the
// plain copy of pSrc in pDst if there is none. NaNs: masks up to 7 give some sample of the window;
// in a larger one they rank above infinity.
IppStatus ippsFilterMedian_64f(const double* pSrc, double* pDst, std::int32_t len,
                               std::int32_t maskSize) noexcept;

// pDst[i] = pSrc[i]. No overlap, but pSrc = pDst is harmless.
IppStatus ippsCopy_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept;

// pDst[i] = pSrc[i], for any overlap.
IppStatus ippsMove_64fc(const TComplex* pSrc, TComplex* pDst, std::int32_t len) noexcept;

// *pVal = the sum of pSrc[n] exp(-i w n) times exp(i w len), w = 2 pi freq: for freq = m / len, bin
// m of the discrete Fourier transform. freq, in cycles a sample, below 0, not below 1 or NaN:
// ippStsRelFreqErr, checked last. The error is at most 64 + len / 2^16 rounding errors of the sum
// of |pSrc[n]|: it does not grow towards freq 0 as that of the recurrence of second order does. A
// call costs some 0.4 us besides its samples.
IppStatus ippsGoertz_64fc(const TComplex* pSrc, std::int32_t len, TComplex* pVal,
                          double freq) noexcept;

// pDst[i] = |pSrc[i]|, by clearing the sign: -0 gives 0, a NaN stays one. pSrc = pDst is allowed.
IppStatus ippsAbs_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept;

// pDst[n] = offset + slope * n, each sample from its own index, at double precision.
IppStatus ippsVectorRamp_64f(double* pDst, std::int32_t len, float offset, float slope) noexcept;

// See ippsSquare_Direct_64f below.
IppStatus ippsSquare_Direct_64f(double* pDst, std::int32_t len, double magn, double rfreq,
                                double asym, double* pPhase) noexcept;

}  // namespace builtins

#define TESSALUNE_QSDISPATCHER_PRIMITIVES(X) \
  X(ippsCartToPolar_64fc)                    \
  X(ippsRandGauss_Direct_64f)                \
  X(ippsCplxToReal_64fc)                     \
  X(ippsTone_Direct_64f)                     \
  X(ippsTriangle_Direct_64f)                 \
  X(ippsThreshold_LTValGTVal_64f_I)          \
  X(ippsPolarToCart_64fc)                    \
  X(ippsConj_64fc)                           \
  X(ippsConjFlip_64fc)                       \
  X(ippsWTHaarFwd_64f)                       \
  X(ippsWTHaarInv_64f)                       \
  X(ippsFilterMedian_64f)                    \
  X(ippsCopy_64fc)                           \
  X(ippsMove_64fc)                           \
  TESSALUNE_DFT_PRIMITIVES(X)                \
  TESSALUNE_DCT_PRIMITIVES(X)                \
  X(ippsGoertz_64fc)                         \
  X(ippsAbs_64f)                             \
  X(ippsVectorRamp_64f)

TESSALUNE_QSDISPATCHER_PRIMITIVES(TESSALUNE_DECLARE_PRIMITIVE)

// The unit's rows, in the order of binding.
std::span<const TPrimitiveEntry> QSDispatcherTable() noexcept;
TESSALUNE_DECLARE_UNIT_ENTRIES(QSDispatcher)

// Square wave: -magn for the first asym / 2 + 0.5 of each cycle, magn for the rest. *pPhase, in
// radians, becomes the phase of sample len. No library offers it, so it is always this one.
//   rfreq   cycles a sample
//   asym    -1 (never low) to 1 (always low)
// Tests nothing and gives ippStsNoErr: pDst (if len is above 0) and pPhase must not be null. A
// negative rfreq or a NaN gives samples of -magn or magn that mean nothing.
IppStatus ippsSquare_Direct_64f(double* pDst, std::int32_t len, double magn, double rfreq,
                                double asym, double* pPhase) noexcept;

}  // namespace tessalune
