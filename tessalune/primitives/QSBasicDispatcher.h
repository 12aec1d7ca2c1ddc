#pragma once

#include <tessalune/primitives/BasicFilters.h>
#include <tessalune/primitives/BasicWindows.h>
#include <tessalune/primitives/Dct.h>
#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/PrimitiveTable.h>
#include <tessalune/primitives/QSComplex.h>
#include <tessalune/primitives/QSSubDispatcher.h>
#include <tessalune/primitives/Transforms.h>

#include <cstdint>
#include <span>

// Arithmetic primitives that components and buffers call by their IPP names, through function
// variables (see PrimitiveTable.h). Filters and windows, rows of the same table, are declared in
// BasicFilters.h and BasicWindows.h. What is said here holds for the built-ins; it is the meaning
// that the IPP library publishes, and where that leaves a value open, what this system chose.
//
// Every primitive gives a status and raises nothing; a refused call writes nothing. Unless said
// otherwise a null pointer gives ippStsNullPtrErr, and then len below 1 gives ippStsSizeErr. An
// output may be one of the inputs, but must not overlap one in another way. A name with `_I` works
// in place. Floating-point results are the same on every processor, and all are reentrant, but for
// transforms and filters, whose headers say what holds for them.
namespace tessalune {
namespace builtins {

// Vector and constant, pDst[n] from x = pSrc[n]:
//   AddC x + val, SubC x - val, SubCRev val - x, MulC x * val, DivC x / val.
// DivC with val 0 (both parts, if complex): ippStsDivByZeroErr, checked last. The complex product
// and quotient are those of TComplex.

IppStatus ippsAddC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept;
IppStatus ippsSubC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept;
IppStatus ippsSubCRev_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept;
IppStatus ippsMulC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept;
IppStatus ippsDivC_64f(const double* pSrc, double val, double* pDst, std::int32_t len) noexcept;
IppStatus ippsAddC_64f_I(double val, double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsSubC_64f_I(double val, double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsMulC_64f_I(double val, double* pSrcDst, std::int32_t len) noexcept;

IppStatus ippsAddC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept;
IppStatus ippsSubC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept;
IppStatus ippsSubCRev_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                           std::int32_t len) noexcept;
IppStatus ippsMulC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept;
IppStatus ippsDivC_64fc(const TComplex* pSrc, TComplex val, TComplex* pDst,
                        std::int32_t len) noexcept;
IppStatus ippsMulC_64fc_I(TComplex val, TComplex* pSrcDst, std::int32_t len) noexcept;

// The same on 32-bit integers: the exact result times 2^-scaleFactor (of any sign), rounded to the
// nearest, a tie to the even one, and saturated.

IppStatus ippsAddC_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                           std::int32_t len, std::int32_t scaleFactor) noexcept;
IppStatus ippsSubC_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                           std::int32_t len, std::int32_t scaleFactor) noexcept;
IppStatus ippsSubCRev_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                              std::int32_t len, std::int32_t scaleFactor) noexcept;
IppStatus ippsMulC_32s_Sfs(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                           std::int32_t len, std::int32_t scaleFactor) noexcept;

// Bits: x & val, x | val, x ^ val.

IppStatus ippsAndC_32u(const std::uint32_t* pSrc, std::uint32_t val, std::uint32_t* pDst,
                       std::int32_t len) noexcept;
IppStatus ippsOrC_32u(const std::uint32_t* pSrc, std::uint32_t val, std::uint32_t* pDst,
                      std::int32_t len) noexcept;
IppStatus ippsXorC_32u(const std::uint32_t* pSrc, std::uint32_t val, std::uint32_t* pDst,
                       std::int32_t len) noexcept;

// Shifts by val bits. To the left, bits that leave are lost; to the right, the sign bit fills up.
// val below 0: ippStsShiftErr, checked last. val above 31 shifts every bit out: 0 to the left, and
// to the right 0 or -1 by the sign.

IppStatus ippsLShiftC_32s(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                          std::int32_t len) noexcept;
IppStatus ippsRShiftC_32s(const std::int32_t* pSrc, std::int32_t val, std::int32_t* pDst,
                          std::int32_t len) noexcept;

// Two vectors. Mind the order: Sub gives pSrc2[n] - pSrc1[n], Div gives pSrc2[n] / pSrc1[n], and
// in place pSrcDst[n] - pSrc[n], pSrcDst[n] / pSrc[n]. Where a divisor is 0, Div goes on and gives
// ippStsDivByZero, a warning; the result there is infinite or, for a dividend of 0 and for complex
// samples, not a number.

IppStatus ippsAdd_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept;
IppStatus ippsSub_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept;
IppStatus ippsMul_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept;
IppStatus ippsDiv_64f(const double* pSrc1, const double* pSrc2, double* pDst,
                      std::int32_t len) noexcept;
IppStatus ippsAdd_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsSub_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsMul_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsDiv_64f_I(const double* pSrc, double* pSrcDst, std::int32_t len) noexcept;

IppStatus ippsAdd_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept;
IppStatus ippsSub_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept;
IppStatus ippsMul_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept;
IppStatus ippsDiv_64fc(const TComplex* pSrc1, const TComplex* pSrc2, TComplex* pDst,
                       std::int32_t len) noexcept;
IppStatus ippsAdd_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsSub_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsMul_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsDiv_64fc_I(const TComplex* pSrc, TComplex* pSrcDst, std::int32_t len) noexcept;

// Filling: Set writes val, Zero writes 0. ippsZero_64f stands in QSSubDispatcher.h.

IppStatus ippsSet_8u(std::uint8_t val, std::uint8_t* pDst, std::int32_t len) noexcept;
IppStatus ippsSet_32s(std::int32_t val, std::int32_t* pDst, std::int32_t len) noexcept;
IppStatus ippsSet_64f(double val, double* pDst, std::int32_t len) noexcept;
IppStatus ippsSet_64fc(TComplex val, TComplex* pDst, std::int32_t len) noexcept;
IppStatus ippsZero_8u(std::uint8_t* pDst, std::int32_t len) noexcept;
IppStatus ippsZero_16s(std::int16_t* pDst, std::int32_t len) noexcept;
IppStatus ippsZero_32s(std::int32_t* pDst, std::int32_t len) noexcept;
IppStatus ippsZero_64fc(TComplex* pDst, std::int32_t len) noexcept;

// Copying: Copy for vectors that do not overlap, Move for any overlap. ippsCopy_64f stands in
// QSSubDispatcher.h, ippsCopy_64fc and ippsMove_64fc in QSDispatcher.h.

IppStatus ippsCopy_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) noexcept;
IppStatus ippsCopy_32s(const std::int32_t* pSrc, std::int32_t* pDst, std::int32_t len) noexcept;
IppStatus ippsMove_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) noexcept;
IppStatus ippsMove_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept;

// *pSum = the sum. Eight partial sums keep the error below (len/8 + 3) rounding errors of the sum
// of magnitudes; the order of summation is fixed.
IppStatus ippsSum_64f(const double* pSrc, std::int32_t len, double* pSum) noexcept;

// *pNorm = the square root of the sum of the squares (of the moduli, if complex), summed likewise.
// There is no guard against overflow or underflow of the squares.
IppStatus ippsNorm_L2_64f(const double* pSrc, std::int32_t len, double* pNorm) noexcept;
IppStatus ippsNorm_L2_64fc64f(const TComplex* pSrc, std::int32_t len, double* pNorm) noexcept;

// *pMean = the sum, as above, over len.
IppStatus ippsMean_64f(const double* pSrc, std::int32_t len, double* pMean) noexcept;

// *pMin, *pMax = the smallest and the largest sample. NaNs are passed over; if there is nothing
// else, both become NaN.
IppStatus ippsMinMax_64f(const double* pSrc, std::int32_t len, double* pMin, double* pMax) noexcept;

// *pMax = the largest sample, *pIndx = the first index that has it. NaNs are passed over; if there
// is nothing else, *pMax becomes NaN and *pIndx 0.
IppStatus ippsMaxIndx_64f(const double* pSrc, std::int32_t len, double* pMax,
                          std::int32_t* pIndx) noexcept;

// pDst[n] = pSrc[n] * 2^-scaleFactor (of any sign), rounded by rndMode and saturated; a NaN gives
// 0. An rndMode that is none: ippStsRoundModeNotSupportedErr, checked last.
IppStatus ippsConvert_64f32s_Sfs(const double* pSrc, std::int32_t* pDst, std::int32_t len,
                                 IppRoundMode rndMode, std::int32_t scaleFactor) noexcept;

// pDst[n] = pSrc[n], exact.
IppStatus ippsConvert_32s64f(const std::int32_t* pSrc, double* pDst, std::int32_t len) noexcept;

// To single precision, to the nearest, a tie to the even one; what is too large becomes infinite.
// Back, exact.
IppStatus ippsConvert_64f32f(const double* pSrc, float* pDst, std::int32_t len) noexcept;
IppStatus ippsConvert_32f64f(const float* pSrc, double* pDst, std::int32_t len) noexcept;

// Of complex samples: Real re, Imag im, PowerSpectr re^2 + im^2, Magnitude its square root, with no
// guard against overflow or underflow of the squares. No overlap. ippsCplxToReal_64fc stands in
// QSDispatcher.h, ippsPhase_64fc in QSSubDispatcher.h.

IppStatus ippsReal_64fc(const TComplex* pSrc, double* pDstRe, std::int32_t len) noexcept;
IppStatus ippsImag_64fc(const TComplex* pSrc, double* pDstIm, std::int32_t len) noexcept;
IppStatus ippsPowerSpectr_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept;
IppStatus ippsMagnitude_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept;

// pDst[n] = (pSrcRe[n], pSrcIm[n]). One of the sources may be null: that part is 0 then. No
// overlap.
IppStatus ippsRealToCplx_64f(const double* pSrcRe, const double* pSrcIm, TComplex* pDst,
                             std::int32_t len) noexcept;

// Completes the spectrum of a real signal: pSrcDst holds the bins 0 to lenDst / 2, the "CCS" result
// of a real transform of lenDst points, and gets the others, up to lenDst - 1: bin lenDst - k is
// the conjugate of bin k.
IppStatus ippsConjCcs_64fc_I(TComplex* pSrcDst, std::int32_t lenDst) noexcept;

// Logarithms, natural and to the base 10, of any sample, within 1 ulp of the exact value. A sample
// of 0 gives -infinity and the warning ippStsLnZeroArg or ippStsSingularity; a negative one gives
// NaN and ippStsLnNegArg or ippStsDomain, which goes before the other warning.
IppStatus ippsLn_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept;
IppStatus ippsLog10_64f_A53(const double* pSrc, double* pDst, std::int32_t len) noexcept;

// Jaehne's chirp: pDst[n] = magn * sin(pi n^2 / (2 len)), from frequency 0 to half a cycle a
// sample. The angle is reduced exactly, so the error stays within 3 rounding errors of magn for
// any len. magn below 0 or NaN: ippStsJaehneErr, checked last.
IppStatus ippsVectorJaehne_64f(double* pDst, std::int32_t len, double magn) noexcept;

// Uniformly distributed samples between low and high, which need not be in order; equal bounds give
// that constant. The uniform generator of ippsRandGauss_Direct_64f (QSDispatcher.h), one draw a
// sample: 2^32 values, evenly spaced, of which rounding may make a bound. *pSeed (any value) starts
// the sequence and receives the seed with which the next call goes on; the sequence depends on how
// the samples are cut into calls.
IppStatus ippsRandUniform_Direct_64f(double* pDst, std::int32_t len, double low, double high,
                                     std::uint32_t* pSeed) noexcept;

}  // namespace builtins

#define TESSALUNE_QSBASICDISPATCHER_PRIMITIVES(X) \
  X(ippsAddC_64f)                                 \
  X(ippsSubC_64f)                                 \
  X(ippsSubCRev_64f)                              \
  X(ippsMulC_64f)                                 \
  X(ippsDivC_64f)                                 \
  X(ippsAddC_64f_I)                               \
  X(ippsSubC_64f_I)                               \
  X(ippsMulC_64f_I)                               \
  X(ippsAddC_64fc)                                \
  X(ippsSubC_64fc)                                \
  X(ippsSubCRev_64fc)                             \
  X(ippsMulC_64fc)                                \
  X(ippsDivC_64fc)                                \
  X(ippsMulC_64fc_I)                              \
  X(ippsAddC_32s_Sfs)                             \
  X(ippsSubC_32s_Sfs)                             \
  X(ippsSubCRev_32s_Sfs)                          \
  X(ippsMulC_32s_Sfs)                             \
  X(ippsAndC_32u)                                 \
  X(ippsOrC_32u)                                  \
  X(ippsXorC_32u)                                 \
  X(ippsLShiftC_32s)                              \
  X(ippsRShiftC_32s)                              \
  X(ippsAdd_64f)                                  \
  X(ippsSub_64f)                                  \
  X(ippsMul_64f)                                  \
  X(ippsDiv_64f)                                  \
  X(ippsAdd_64f_I)                                \
  X(ippsSub_64f_I)                                \
  X(ippsMul_64f_I)                                \
  X(ippsDiv_64f_I)                                \
  X(ippsAdd_64fc)                                 \
  X(ippsSub_64fc)                                 \
  X(ippsMul_64fc)                                 \
  X(ippsDiv_64fc)                                 \
  X(ippsAdd_64fc_I)                               \
  X(ippsSub_64fc_I)                               \
  X(ippsMul_64fc_I)                               \
  X(ippsDiv_64fc_I)                               \
  X(ippsSet_8u)                                   \
  X(ippsSet_32s)                                  \
  X(ippsSet_64f)                                  \
  X(ippsSet_64fc)                                 \
  X(ippsZero_8u)                                  \
  X(ippsZero_16s)                                 \
  X(ippsZero_32s)                                 \
  X(ippsZero_64f)                                 \
  X(ippsZero_64fc)                                \
  X(ippsCopy_8u)                                  \
  X(ippsCopy_32s)                                 \
  X(ippsCopy_64f)                                 \
  X(ippsMove_8u)                                  \
  X(ippsMove_64f)                                 \
  X(ippsSum_64f)                                  \
  X(ippsNorm_L2_64f)                              \
  X(ippsNorm_L2_64fc64f)                          \
  X(ippsMean_64f)                                 \
  X(ippsMinMax_64f)                               \
  X(ippsMaxIndx_64f)                              \
  X(ippsConvert_64f32s_Sfs)                       \
  X(ippsConvert_32s64f)                           \
  X(ippsConvert_64f32f)                           \
  X(ippsConvert_32f64f)                           \
  X(ippsReal_64fc)                                \
  X(ippsImag_64fc)                                \
  X(ippsPowerSpectr_64fc)                         \
  X(ippsMagnitude_64fc)                           \
  X(ippsPhase_64fc)                               \
  X(ippsRealToCplx_64f)                           \
  X(ippsConjCcs_64fc_I)                           \
  X(ippsLn_64f)                                   \
  X(ippsLog10_64f_A53)                            \
  X(ippsVectorJaehne_64f)                         \
  X(ippsRandUniform_Direct_64f)                   \
  TESSALUNE_BASICFILTERS_PRIMITIVES(X)            \
  TESSALUNE_BASICWINDOWS_PRIMITIVES(X)            \
  TESSALUNE_BASIC_TRANSFORM_PRIMITIVES(X)         \
  TESSALUNE_BASIC_DCT_PRIMITIVES(X)

TESSALUNE_QSBASICDISPATCHER_PRIMITIVES(TESSALUNE_DECLARE_PRIMITIVE)

// The unit's rows, in the order of binding.
std::span<const TPrimitiveEntry> QSBasicDispatcherTable() noexcept;
TESSALUNE_DECLARE_UNIT_ENTRIES(QSBasicDispatcher)

}  // namespace tessalune
