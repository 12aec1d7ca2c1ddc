#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/QSComplex.h>

#include <cstddef>
#include <cstdint>

// Support routines of the built-ins: memory and plain copies. No function variable stands for
// those of namespace tessalune; those of `builtins` bear names that a unit's table may list too.
namespace tessalune {

// Memory for ALength bytes, aligned to 32 bytes, uninitialised; null if ALength is below 1 or
// memory is exhausted. To be given back by ippsFree. Stands on _malloc, of which it takes 36 bytes
// more, for the alignment and for the address to give back.
[[nodiscard]] std::uint8_t* ippsMalloc_8u(std::int32_t ALength) noexcept;

// The same for ALength doubles.
[[nodiscard]] double* ippsMalloc_64f(std::int32_t ALength) noexcept;

// The same for any number of bytes, also more than an int32 counts.
[[nodiscard]] void* MallocBytes(std::size_t ASize) noexcept;

// Gives back memory of the functions above; null does nothing.
void ippsFree(void* ABlock) noexcept;

// The pair of ippsMalloc_8u and ippsFree under the names of the components.
[[nodiscard]] inline void* _ippMalloc(std::int32_t ALength) noexcept {
  return ippsMalloc_8u(ALength);
}
inline void _ippFree(void* ABlock) noexcept { ippsFree(ABlock); }

// pDst[i] = 0, for i below len. Null: ippStsNullPtrErr; len below 1: ippStsSizeErr.
IppStatus ownsZero_8u(std::uint8_t* pDst, std::int32_t len) noexcept;

// pDst[i] = pSrc[i], for i below len. The two must not overlap, but may be the same. Null:
// ippStsNullPtrErr; len below 1: ippStsSizeErr.
IppStatus ownsCopy_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) noexcept;

#if defined(__x86_64__) || defined(__i386__)
// Makes the bits of the x87 control word under mask those of value, on the calling thread, and
// returns the word as it was. The built-ins run under whatever word the thread has.
std::uint32_t _ipp_set_rcpc_fpu(std::uint32_t value, std::uint32_t mask) noexcept;

// Makes cw the x87 control word of the calling thread.
void _ipp_set_cw_fpu(std::uint32_t cw) noexcept;
#endif

namespace builtins {

// pDst[i] = 0. Statuses as ownsZero_8u.
IppStatus ippsZero_64f(double* pDst, std::int32_t len) noexcept;

// pDst[i] = pSrc[i]. Overlap and statuses as ownsCopy_8u.
IppStatus ippsCopy_64f(const double* pSrc, double* pDst, std::int32_t len) noexcept;

// pDst[i] = the angle of pSrc[i] in radians, -pi to pi: atan2(im, re), within 1 ulp of the C
// library's; where a part is infinite, a NaN, or beyond 2^400 or below 2^-400 in magnitude but not
// 0, it is the C library's. No overlap. Statuses as ownsCopy_8u.
IppStatus ippsPhase_64fc(const TComplex* pSrc, double* pDst, std::int32_t len) noexcept;

}  // namespace builtins
}  // namespace tessalune
