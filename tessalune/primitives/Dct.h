#pragma once

#include <tessalune/primitives/Ippptypes.h>

#include <cstdint>

// Discrete cosine transforms: plans, and what runs them. The lists at the end are parts of the
// tables of QSDispatcher.h and QSBasicDispatcher.h: to call them include these, or tessalune.h (see
// Transforms.h).
//
//   forward, type II   y[k] = s(k) * sum over n of x[n] cos(pi (2n + 1) k / (2N))
//   inverse, type III  x[n] = sum over k of s(k) y[k] cos(pi (2n + 1) k / (2N))
//
// with s(0) = 1 / sqrt(N), else s(k) = sqrt(2 / N). The pair is orthonormal: the sum of squares
// stays, and no normalisation is to be chosen. The root of 2 in the factor of the bins above 0 is
// the double nearest to it, 0x3FF6A09E667F3BCD, not the one below that.
//
// Plans. InitAlloc makes one for a length, Free gives it back; each direction has its own. As with
// the Fourier transforms (Transforms.h), any number of threads may use a plan at once, and it
// belongs to the provider and the instruction set that made it.
//
// Roads. Any length N from 1; the road by N, and for powers of two by the hint:
//   1, 2, 4, 8                              straight-line code
//   powers of two from 16, up to 512 with   recursion to sums and differences, in real arithmetic
//     ippAlgHintAccurate
//   powers of two from 1,024, with          a real Fourier transform of length N
//     ippAlgHintAccurate
//   other N <= 100                          the sums, about N^2 / 2 multiplications
//   other N                                 a real Fourier transform of length N
// From 1,024 on recursion is less accurate, and about as fast.
//
// Accuracy. The relative error in the L2 norm, with eps = 2^-53, is below
//   2 eps                          by straight-line code
//   4 eps sqrt(N)                  by recursion
//   eps (2 + sqrt(N))              by the sums
//   1.2 eps sqrt(log2 N) + 2 eps   by Fourier transform, of powers of two
//   6 eps sqrt(log2 N)             and of other lengths
// for data without structure. Recursion divides differences by 2 cos((2n + 1) pi / (2N)): samples
// in the middle of the block err more than the others, up to N eps where there is nothing else.
// Infinities and NaNs go wherever the sums take them.
//
// Memory. pSrc may be pDst; any other overlap is not allowed. Work memory comes from the stack for
// N <= 256 and powers of two up to 1,024. For others pBuffer has as many bytes as GetBufSize tells,
// at any address; with a null pBuffer every call allocates them. GetBufSize tells 0 where none are
// needed, and where they are more than an int32 counts: these are always allocated.
//
// Statuses, in the order of the checks.
//   InitAlloc   ippStsNullPtrErr pDCTSpec null; ippStsSizeErr len below 1; ippStsMemAllocErr.
//               *pDCTSpec is written on success only, and a plan that fails leaves no memory behind
//   Free        ippStsNullPtrErr, ippStsContextMatchErr a plan of the other direction, or none
//   GetBufSize  the same; ippStsNullPtrErr also for pSize null
//   transforms  ippStsNullPtrErr pDCTSpec null; ippStsContextMatchErr; ippStsNullPtrErr pSrc or
//               pDst null; ippStsMemAllocErr, with pDst untouched
namespace tessalune {
namespace builtins {

// hint: an IppHintAlgorithm; others count as ippAlgHintNone.
IppStatus ippsDCTFwdInitAlloc_64f(DCTFwdSpec_64f** pDCTSpec, std::int32_t len,
                                  std::int32_t hint) noexcept;
IppStatus ippsDCTFwdFree_64f(DCTFwdSpec_64f* pDCTSpec) noexcept;
IppStatus ippsDCTFwdGetBufSize_64f(const DCTFwdSpec_64f* pDCTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsDCTFwd_64f(const double* pSrc, double* pDst, const DCTFwdSpec_64f* pDCTSpec,
                         std::uint8_t* pBuffer) noexcept;

IppStatus ippsDCTInvInitAlloc_64f(DCTInvSpec_64f** pDCTSpec, std::int32_t len,
                                  std::int32_t hint) noexcept;
IppStatus ippsDCTInvFree_64f(DCTInvSpec_64f* pDCTSpec) noexcept;
IppStatus ippsDCTInvGetBufSize_64f(const DCTInvSpec_64f* pDCTSpec, std::int32_t* pSize) noexcept;
IppStatus ippsDCTInv_64f(const double* pSrc, double* pDst, const DCTInvSpec_64f* pDCTSpec,
                         std::uint8_t* pBuffer) noexcept;

}  // namespace builtins

#define TESSALUNE_DCT_PRIMITIVES(X) \
  X(ippsDCTFwdFree_64f)             \
  X(ippsDCTFwdInitAlloc_64f)        \
  X(ippsDCTFwd_64f)                 \
  X(ippsDCTInvFree_64f)             \
  X(ippsDCTInvInitAlloc_64f)        \
  X(ippsDCTInv_64f)

#define TESSALUNE_BASIC_DCT_PRIMITIVES(X) \
  X(ippsDCTFwdGetBufSize_64f)             \
  X(ippsDCTInvGetBufSize_64f)

}  // namespace tessalune
