#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/PrimitiveTable.h>
#include <tessalune/primitives/QSComplex.h>

#include <cstdint>

// Discrete Fourier transforms: plans, and what runs them. The lists at the end are parts of the
// tables of QSDispatcher.h and QSBasicDispatcher.h. To call them include these, or tessalune.h, and
// call tessalune::NAME: what stands here in builtins is the baseline's version, for the tables, and
// the plans of the one are refused by the other.
//
//   forward  X[k] = sum over n of x[n] exp(-2 pi i n k / N)
//   inverse  x[n] = sum over k of X[k] exp(+2 pi i n k / N)
//
// each divided by what the plan's flag (IppFftFlag) asks for; the order is the natural one.
//
// Plans. InitAlloc makes one for a length, Free gives it back. A plan is read-only in between: any
// number of threads may use it at once, each with an output and a buffer of its own. The hint has
// no effect. A plan belongs to
// the provider and the instruction set that made it (PrimitiveTable.h); under another one it is
// refused as one of the wrong kind. Making one computes all tables; transforming computes no sine.
//
// Lengths. DFT: any from 1; FFT: 2^order, order 0 to 30. The road by the length N of a complex
// plan:
//   1 to 11, 13, 15                   straight-line code
//   other powers of two, and other    two steps of mixed radices, a few N log N operations
//     products of two or more of 2
//     and odd primes below 151
//   other primes up to 150            the sums, about N^2 multiplications
//   all others                        a circular convolution over a power of two of 2 N - 1 or more
// A real plan has half of the work. Straight-line code serves its lengths up to 16, 20, 24 and 32;
// two steps over real columns, the products above that are faster so; other even lengths stand on
// a complex plan of half the length, and other odd ones on the sums up to 180, then on a complex
// plan of the same length. A convolution serves complex lengths up to 2^29; above that there is as
// little a plan as where memory is exhausted.
//
// Accuracy. The relative error in the L2 norm, with eps the rounding error 2^-53 or 2^-24 of the
// samples' type, is below
//   1.2 eps sqrt(log2 N) + eps        on the roads of straight-line code and mixed radices
//   eps (1 + sqrt(N))                 by the sums
//   4 eps sqrt(log2 L) + 2 eps        by convolution, L its length
// for data without structure, where errors add up like random ones. Infinities and NaNs go
// wherever the sums take them: to all of the result, in general.
//
// Memory. pSrc may be pDst, which then has room for the longer of the two: as CCS, N + 2 values of
// an even N, N + 1 of an odd one. Any other overlap is not allowed. Work memory comes from the
// stack for FFT and DFT lengths that are powers of two up to 2,048 (4,096 in single precision) and
// all lengths up to 256. For others pBuffer has as many bytes as GetBufSize tells, at any address;
// with a null pBuffer every call allocates them. GetBufSize tells 0 where none are needed, and
// where they are more than an int32 counts: these are always allocated.
//
// Statuses, in the order of the checks.
//   InitAlloc   ippStsNullPtrErr pSpec null; ippStsSizeErr a length below 1, or ippStsFftOrderErr;
//               ippStsMemAllocErr not even the small record of a plan; ippStsFftFlagErr;
//               ippStsMemAllocErr the tables. *pSpec is written on success only, and a plan that
//               fails leaves no memory behind.
//   Free        ippStsNullPtrErr, ippStsContextMatchErr a plan of another kind
//   GetBufSize  the same; ippStsNullPtrErr also for pSize null
//   transforms  ippStsNullPtrErr pSpec null; ippStsContextMatchErr; ippStsNullPtrErr pSrc or pDst
//               null; ippStsMemAllocErr, with pDst untouched
namespace tessalune {
namespace builtins {

// Complex samples.
IppStatus ippsDFTInitAlloc_C_64fc(DFTSpec_C_64fc** pDFTSpec, std::int32_t len, std::int32_t flag,
                                  std::int32_t hint) noexcept;
IppStatus ippsDFTFree_C_64fc(DFTSpec_C_64fc* pDFTSpec) noexcept;
IppStatus ippsDFTGetBufSize_C_64fc(const DFTSpec_C_64fc* pDFTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsDFTFwd_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const DFTSpec_C_64fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept;
IppStatus ippsDFTInv_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const DFTSpec_C_64fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept;

// Real samples. The spectrum is in CCS layout: N/2 + 1 complex bins from 0 to N/2 (rounded down),
// so N + 2 doubles for an even and N + 1 for an odd N. The inverse takes the imaginary parts of
// bin 0 and, for an even N, of bin N/2 for 0, whatever is there.
IppStatus ippsDFTInitAlloc_R_64f(DFTSpec_R_64f** pDFTSpec, std::int32_t len, std::int32_t flag,
                                 std::int32_t hint) noexcept;
IppStatus ippsDFTFree_R_64f(DFTSpec_R_64f* pDFTSpec) noexcept;
IppStatus ippsDFTGetBufSize_R_64f(const DFTSpec_R_64f* pDFTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsDFTFwd_RToCCS_64f(const double* pSrc, double* pDst, const DFTSpec_R_64f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept;
IppStatus ippsDFTInv_CCSToR_64f(const double* pSrc, double* pDst, const DFTSpec_R_64f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept;

// The same for powers of two, N = 2^order.
IppStatus ippsFFTInitAlloc_C_64fc(FFTSpec_C_64fc** pFFTSpec, std::int32_t order, std::int32_t flag,
                                  std::int32_t hint) noexcept;
IppStatus ippsFFTFree_C_64fc(FFTSpec_C_64fc* pFFTSpec) noexcept;
IppStatus ippsFFTGetBufSize_C_64fc(const FFTSpec_C_64fc* pFFTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsFFTFwd_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const FFTSpec_C_64fc* pFFTSpec,
                               std::uint8_t* pBuffer) noexcept;
IppStatus ippsFFTInv_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const FFTSpec_C_64fc* pFFTSpec,
                               std::uint8_t* pBuffer) noexcept;
IppStatus ippsFFTInitAlloc_R_64f(FFTSpec_R_64f** pFFTSpec, std::int32_t order, std::int32_t flag,
                                 std::int32_t hint) noexcept;
IppStatus ippsFFTFree_R_64f(FFTSpec_R_64f* pFFTSpec) noexcept;
IppStatus ippsFFTGetBufSize_R_64f(const FFTSpec_R_64f* pFFTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsFFTFwd_RToCCS_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                std::uint8_t* pBuffer) noexcept;
IppStatus ippsFFTInv_CCSToR_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                std::uint8_t* pBuffer) noexcept;
// Perm layout, N doubles: CCS without the imaginary parts that are 0, with the real part of bin
// N/2 behind the one of bin 0.
IppStatus ippsFFTFwd_RToPerm_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                 std::uint8_t* pBuffer) noexcept;
IppStatus ippsFFTInv_PermToR_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                 std::uint8_t* pBuffer) noexcept;

// Single precision: tables are computed in double precision and rounded.
IppStatus ippsDFTInitAlloc_C_32fc(DFTSpec_C_32fc** pDFTSpec, std::int32_t len, std::int32_t flag,
                                  std::int32_t hint) noexcept;
IppStatus ippsDFTFree_C_32fc(DFTSpec_C_32fc* pDFTSpec) noexcept;
IppStatus ippsDFTGetBufSize_C_32fc(const DFTSpec_C_32fc* pDFTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsDFTFwd_CToC_32fc(const Ipp32fc* pSrc, Ipp32fc* pDst, const DFTSpec_C_32fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept;
IppStatus ippsDFTInv_CToC_32fc(const Ipp32fc* pSrc, Ipp32fc* pDst, const DFTSpec_C_32fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept;
IppStatus ippsDFTInitAlloc_R_32f(DFTSpec_R_32f** pDFTSpec, std::int32_t len, std::int32_t flag,
                                 std::int32_t hint) noexcept;
IppStatus ippsDFTFree_R_32f(DFTSpec_R_32f* pDFTSpec) noexcept;
IppStatus ippsDFTGetBufSize_R_32f(const DFTSpec_R_32f* pDFTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsDFTFwd_RToCCS_32f(const float* pSrc, float* pDst, const DFTSpec_R_32f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept;
IppStatus ippsDFTInv_CCSToR_32f(const float* pSrc, float* pDst, const DFTSpec_R_32f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept;

}  // namespace builtins

#define TESSALUNE_DFT_PRIMITIVES(X) \
  X(ippsDFTFwd_CToC_64fc)           \
  X(ippsDFTFwd_RToCCS_64f)          \
  X(ippsDFTInitAlloc_C_64fc)        \
  X(ippsDFTInitAlloc_R_64f)         \
  X(ippsDFTFree_C_64fc)             \
  X(ippsDFTFree_R_64f)              \
  X(ippsDFTInv_CCSToR_64f)          \
  X(ippsDFTInv_CToC_64fc)

#define TESSALUNE_BASIC_TRANSFORM_PRIMITIVES(X) \
  X(ippsDFTGetBufSize_C_64fc)                   \
  X(ippsDFTGetBufSize_R_64f)                    \
  X(ippsFFTInitAlloc_C_64fc)                    \
  X(ippsFFTInitAlloc_R_64f)                     \
  X(ippsFFTFree_C_64fc)                         \
  X(ippsFFTFree_R_64f)                          \
  X(ippsFFTGetBufSize_C_64fc)                   \
  X(ippsFFTGetBufSize_R_64f)                    \
  X(ippsFFTFwd_CToC_64fc)                       \
  X(ippsFFTInv_CToC_64fc)                       \
  X(ippsFFTFwd_RToCCS_64f)                      \
  X(ippsFFTInv_CCSToR_64f)                      \
  X(ippsFFTFwd_RToPerm_64f)                     \
  X(ippsFFTInv_PermToR_64f)                     \
  X(ippsDFTInitAlloc_C_32fc)                    \
  X(ippsDFTInitAlloc_R_32f)                     \
  X(ippsDFTFree_C_32fc)                         \
  X(ippsDFTFree_R_32f)                          \
  X(ippsDFTGetBufSize_C_32fc)                   \
  X(ippsDFTGetBufSize_R_32f)                    \
  X(ippsDFTFwd_CToC_32fc)                       \
  X(ippsDFTInv_CToC_32fc)                       \
  X(ippsDFTFwd_RToCCS_32f)                      \
  X(ippsDFTInv_CCSToR_32f)

}  // namespace tessalune
