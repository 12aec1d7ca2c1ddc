#include <tessalune/primitives/QSSubDispatcher.h>

#include <tessalune/primitives/VBMalloc.h>

#include <cstddef>
#include <cstring>

namespace tessalune {
namespace {

constexpr std::size_t Alignment = 32;
constexpr std::size_t Reserve = 36;

// The gap below a result is what _malloc's address lacks to a multiple of 32, 4 at least. As
// _malloc aligns to twice the size of a pointer, the gap holds one.
static_assert(alignof(std::max_align_t) % sizeof(void*) == 0);

template <class T>
T* AllocateElements(std::int32_t ALength) noexcept {
  if (ALength < 1) return nullptr;
  return static_cast<T*>(MallocBytes(static_cast<std::size_t>(ALength) * sizeof(T)));
}

}  // namespace

void* MallocBytes(std::size_t ASize) noexcept {
  void* Raw = _malloc(ASize + Reserve);
  if (!Raw) return nullptr;
  const auto Address = reinterpret_cast<std::uintptr_t>(Raw);
  const std::size_t Shift = ((Address + Reserve - 1) & ~(Alignment - 1)) - Address;
  std::byte* Result = static_cast<std::byte*>(Raw) + Shift;
  std::memcpy(Result - sizeof Raw, &Raw, sizeof Raw);
  return Result;
}

std::uint8_t* ippsMalloc_8u(std::int32_t ALength) noexcept {
  return AllocateElements<std::uint8_t>(ALength);
}

double* ippsMalloc_64f(std::int32_t ALength) noexcept { return AllocateElements<double>(ALength); }

void ippsFree(void* ABlock) noexcept {
  if (!ABlock) return;
  void* Raw = nullptr;
  std::memcpy(&Raw, static_cast<std::byte*>(ABlock) - sizeof Raw, sizeof Raw);
  _free(Raw);
}

IppStatus ownsZero_8u(std::uint8_t* pDst, std::int32_t len) noexcept {
  if (!pDst) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  std::memset(pDst, 0, static_cast<std::size_t>(len));
  return ippStsNoErr;
}

IppStatus ownsCopy_8u(const std::uint8_t* pSrc, std::uint8_t* pDst, std::int32_t len) noexcept {
  if (!pSrc || !pDst) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  // Not memcpy, which does not allow pSrc = pDst.
  std::memmove(pDst, pSrc, static_cast<std::size_t>(len));
  return ippStsNoErr;
}

#if defined(__x86_64__) || defined(__i386__)
std::uint32_t _ipp_set_rcpc_fpu(std::uint32_t value, std::uint32_t mask) noexcept {
  std::uint16_t Word = 0;
  asm volatile("fnstcw %0" : "=m"(Word));
  const std::uint32_t Previous = Word;
  if ((Previous & mask) != value) _ipp_set_cw_fpu((Previous & ~mask) | value);
  return Previous;
}

void _ipp_set_cw_fpu(std::uint32_t cw) noexcept {
  const auto Word = static_cast<std::uint16_t>(cw);
  asm volatile("fldcw %0" : : "m"(Word));
}
#endif

}  // namespace tessalune
