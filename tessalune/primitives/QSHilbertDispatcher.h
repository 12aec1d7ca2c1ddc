#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/PrimitiveTable.h>

#include <cstdint>
#include <span>

// Analytic-signal primitives that components call by their IPP names, through function variables
// (see PrimitiveTable.h). What is said here of each holds for the built-ins. A plan is read-only
// once it is made: any number of threads may use it at once, each with an output of its own. It
// belongs to the provider and the instruction set that made it.
namespace tessalune {
namespace builtins {

// pDst = the analytic signal of pSrc, blocks of the plan's length N: of the discrete Fourier
// transform bin 0 and, for an even N, bin N/2 stay, the bins in between are doubled, those above
// are 0, and the result is transformed back. The real parts are those of pSrc, within rounding; the
// imaginary parts are its Hilbert transform, periodic in N. N = 1 and 2: pSrc itself, with
// imaginary parts 0. For other N, an infinity or a NaN shows in every sample of the result.
//
// pDst must not overlap pSrc. The relative error in the L2 norm is below the sum of what
// Transforms.h says of both transforms in single precision. Work memory is taken from the stack up
// to N = 256, and up to 4,096 for powers of two, else allocated.
//
// ippStsNullPtrErr pSrc, pDst or pSpec null; ippStsContextMatchErr; ippStsMemAllocErr, with pDst
// untouched.
IppStatus ippsHilbert_32f32fc(const float* pSrc, Ipp32fc* pDst,
                              const HilbertSpec_32f32fc* pSpec) noexcept;

// A plan for blocks of len samples. hint, an IppHintAlgorithm, has no effect. ippStsNullPtrErr;
// ippStsSizeErr len below 1; ippStsMemAllocErr. *pSpec is written on success only, and a plan that
// fails leaves no memory behind: there is nothing to free then.
IppStatus ippsHilbertInitAlloc_32f32fc(HilbertSpec_32f32fc** pSpec, std::int32_t len,
                                       std::int32_t hint) noexcept;

// Gives the plan back. ippStsNullPtrErr, ippStsContextMatchErr.
IppStatus ippsHilbertFree_32f32fc(HilbertSpec_32f32fc* pSpec) noexcept;

}  // namespace builtins

#define TESSALUNE_QSHILBERTDISPATCHER_PRIMITIVES(X) \
  X(ippsHilbert_32f32fc)                            \
  X(ippsHilbertInitAlloc_32f32fc)                   \
  X(ippsHilbertFree_32f32fc)

TESSALUNE_QSHILBERTDISPATCHER_PRIMITIVES(TESSALUNE_DECLARE_PRIMITIVE)

// The unit's rows, in the order of binding.
std::span<const TPrimitiveEntry> QSHilbertDispatcherTable() noexcept;
TESSALUNE_DECLARE_UNIT_ENTRIES(QSHilbertDispatcher)

}  // namespace tessalune
