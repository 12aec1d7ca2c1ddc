#pragma once

#include <tessalune/primitives/Ippptypes.h>

#include <cstdint>

// Filters that keep their past in a state: rows of the unit QSBasicDispatcher, in whose header
// stands what holds for all. To call them include that, or tessalune.h (see Transforms.h).
//
// A state is made by an InitAlloc and given back by the Free of the same family. It belongs to the
// provider that made it: another one, or the built-ins for another instruction set, give
// ippStsContextMatchErr, as for a state of another kind. A state is for one thread at a time.
//
// A stream may be cut into blocks as one likes, down to one sample: what the state then holds is
// the same, and so are the outputs, bit for bit but for the rounding errors of long finite
// responses. They differ by rounding between instruction sets. pDst may be pSrc, but must not
// overlap it in another way.
namespace tessalune {

struct IppsFIRState_64f;
struct IppsIIRState_64f;

namespace builtins {

// Finite impulse response: y[n] = sum of pTaps[k] x[n - k], k from 0 to tapsLen - 1, each as soon
// as x[n] is there. There are two roads:
//
//   the sums     The error of an output is at most (tapsLen + 1) eps times the sum of
//                |pTaps[k] x[n - k]|, eps = 2^-53, and far less for a long filter, whose products
//                are summed up in several sums. How a stream is cut into blocks changes no bit.
//   the spectra  With 128 taps or more, the samples of a call are convolved in frames by Fourier
//                transforms (overlap-save). A frame has F samples, F the smallest 2^k, or 9, 10, 12
//                or 15 eighths of one, that is at least tapsLen - 1 + max(1024, tapsLen / 2):
//                tapsLen - 1 of the past, then up to F - tapsLen + 1 of the call, then zeros. The
//                error of its outputs is at most
//                    12 log2(F) eps |taps| |frame|
//                with Euclidean norms: a frame's largest samples make the errors of all its
//                outputs, also of those before them. The cut into blocks changes these errors.
//
// The bound: each factor p of F is a level of a transform, with sums of p terms and multiplications
// by rounded complex factors, less than 4 log2(p) eps relative to the magnitudes summed up; those
// of three transforms, of the taps, the frame and the product, meet in sums over |taps' spectrum|
// |frame's spectrum| / F, which are at most |taps| |frame|. Errors of data without structure add up
// like random ones, to a few eps |taps| |frame| / sqrt(F).
//
// Frames are for what is worth them: for fewer than 5 F log2(F) / tapsLen samples, a short call or
// the end of a long one, the sums take less time. They also serve a frame in which something
// overflows or is not finite from the beginning: so on both roads an infinity or a NaN reaches the
// next tapsLen outputs and no others, at the cost of the sums.
//
// The delay line has tapsLen samples, the latest first: pDlyLine[k] = x[n - 1 - k] for the next n;
// the last of them takes part in no output any more.

// Makes a state with copies of the taps and of the delay line; null for pDlyLine stands for zeros.
//   ppState or pTaps null: ippStsNullPtrErr; tapsLen below 1: ippStsFIRLenErr; memory exhausted, or
//   more than 2^31 bytes: ippStsMemAllocErr. *ppState is written only on success.
IppStatus ippsFIRInitAlloc_64f(IppsFIRState_64f** ppState, const double* pTaps,
                               std::int32_t tapsLen, const double* pDlyLine) noexcept;

// Null: ippStsNullPtrErr.
IppStatus ippsFIRFree_64f(IppsFIRState_64f* pState) noexcept;

// Filters numIters samples. Null: ippStsNullPtrErr; numIters below 1: ippStsSizeErr; then
// ippStsContextMatchErr.
IppStatus ippsFIR_64f(const double* pSrc, double* pDst, std::int32_t numIters,
                      IppsFIRState_64f* pState) noexcept;

// Copies the delay line from and to the state. pState null, or pDlyLine null in Get:
// ippStsNullPtrErr. In Set null stands for zeros.
IppStatus ippsFIRGetDlyLine_64f(const IppsFIRState_64f* pState, double* pDlyLine) noexcept;
IppStatus ippsFIRSetDlyLine_64f(IppsFIRState_64f* pState, const double* pDlyLine) noexcept;

// Infinite impulse response, either as one direct form
//     A[0] y[n] = B[0] x[n] + ... + B[order] x[n - order]
//                 - A[1] y[n - 1] - ... - A[order] y[n - order]
// or as a chain of such sections of order 2. The coefficients are divided by A[0], and then used as
// they stand, each in each sample: nothing is factored, looked ahead or otherwise rearranged that
// would move a pole. A sample adds to the error at most (2 order + 2) rounding errors of the sum of
// the magnitudes above, which the filter then treats as it treats its input.
//
// While a block is filtered, numbers below the range of normal doubles (2^-1022) count as 0, so
// that the silence behind a signal ends in zeros and costs no more than the signal.
//
// The delay line is that of the direct form II transposed: entry i is what the past adds to the
// output i from now on, for the direct form i < order, for the chain the two entries of the first
// section, then those of the second, and so on. The state itself keeps past inputs and outputs; a
// stream that goes on with a delay line that was got and set again may differ by rounding.

// Makes a state; null for pDlyLine stands for zeros. pTaps: B[0] to B[order], then A[0] to
// A[order].
//   ppState or pTaps null: ippStsNullPtrErr; order below 1: ippStsIIROrderErr; A[0] = 0:
//   ippStsDivByZeroErr; memory exhausted, or more than 2^31 bytes: ippStsMemAllocErr. *ppState is
//   written only on success.
IppStatus ippsIIRInitAlloc_64f(IppsIIRState_64f** ppState, const double* pTaps, std::int32_t order,
                               const double* pDlyLine) noexcept;

// The same for numBq sections, in the order in which they filter. pTaps: B0, B1, B2, A0, A1, A2 of
// each. numBq below 1: ippStsIIROrderErr; A0 or B0 of a section 0: ippStsDivByZeroErr, as
// published; a section with B0 = 0 alone is what the direct form takes.
IppStatus ippsIIRInitAlloc_BiQuad_64f(IppsIIRState_64f** ppState, const double* pTaps,
                                      std::int32_t numBq, const double* pDlyLine) noexcept;

// Null: ippStsNullPtrErr.
IppStatus ippsIIRFree_64f(IppsIIRState_64f* pState) noexcept;

// Filters len samples. Null: ippStsNullPtrErr; len below 1: ippStsSizeErr; then
// ippStsContextMatchErr.
IppStatus ippsIIR_64f(const double* pSrc, double* pDst, std::int32_t len,
                      IppsIIRState_64f* pState) noexcept;

// As for the finite response.
IppStatus ippsIIRGetDlyLine_64f(const IppsIIRState_64f* pState, double* pDlyLine) noexcept;
IppStatus ippsIIRSetDlyLine_64f(IppsIIRState_64f* pState, const double* pDlyLine) noexcept;

}  // namespace builtins

#define TESSALUNE_BASICFILTERS_PRIMITIVES(X) \
  X(ippsFIRInitAlloc_64f)                    \
  X(ippsFIRFree_64f)                         \
  X(ippsFIR_64f)                             \
  X(ippsFIRGetDlyLine_64f)                   \
  X(ippsFIRSetDlyLine_64f)                   \
  X(ippsIIRInitAlloc_64f)                    \
  X(ippsIIRInitAlloc_BiQuad_64f)             \
  X(ippsIIRFree_64f)                         \
  X(ippsIIR_64f)                             \
  X(ippsIIRGetDlyLine_64f)                   \
  X(ippsIIRSetDlyLine_64f)

}  // namespace tessalune
