#include <tessalune/primitives/Dct.h>
#include <tessalune/primitives/kernels/Dct.h>

#include <type_traits>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

using TForwardSpec = kernels::TDctSpec<23>;
using TInverseSpec = kernels::TDctSpec<24>;

template <class TSpec>
constexpr bool IsInverse = std::is_same_v<TSpec, TInverseSpec>;

template <class TSpec, class TOpaque>
IppStatus InitAlloc(TOpaque** pSpec, std::int32_t len, std::int32_t hint) noexcept {
  return kernels::InitAllocSpec<TSpec>(pSpec, len, [=](TSpec& ASpec) {
    const bool IsMade = kernels::MakeDct<IsInverse<TSpec>>(ASpec.Dft, len, hint, ASpec.Tables);
    return IsMade ? ippStsNoErr : ippStsMemAllocErr;
  });
}

template <class TSpec, class TOpaque>
IppStatus Run(const double* pSrc, double* pDst, const TOpaque* pSpec,
              std::uint8_t* pBuffer) noexcept {
  return kernels::Transform<TSpec>(
      pSrc, pDst, pSpec, pBuffer, [=](const TSpec& ASpec, std::byte* AWork) {
        kernels::RunDct<IsInverse<TSpec>>(ASpec.Dft, pSrc, pDst, AWork);
      });
}

}  // namespace

IppStatus ippsDCTFwdInitAlloc_64f(DCTFwdSpec_64f** pDCTSpec, std::int32_t len,
                                  std::int32_t hint) noexcept {
  return InitAlloc<TForwardSpec>(pDCTSpec, len, hint);
}
IppStatus ippsDCTFwdFree_64f(DCTFwdSpec_64f* pDCTSpec) noexcept {
  return kernels::FreeSpec<TForwardSpec>(pDCTSpec);
}
IppStatus ippsDCTFwdGetBufSize_64f(const DCTFwdSpec_64f* pDCTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TForwardSpec>(pDCTSpec, pSize);
}
IppStatus ippsDCTFwd_64f(const double* pSrc, double* pDst, const DCTFwdSpec_64f* pDCTSpec,
                         std::uint8_t* pBuffer) noexcept {
  return Run<TForwardSpec>(pSrc, pDst, pDCTSpec, pBuffer);
}

IppStatus ippsDCTInvInitAlloc_64f(DCTInvSpec_64f** pDCTSpec, std::int32_t len,
                                  std::int32_t hint) noexcept {
  return InitAlloc<TInverseSpec>(pDCTSpec, len, hint);
}
IppStatus ippsDCTInvFree_64f(DCTInvSpec_64f* pDCTSpec) noexcept {
  return kernels::FreeSpec<TInverseSpec>(pDCTSpec);
}
IppStatus ippsDCTInvGetBufSize_64f(const DCTInvSpec_64f* pDCTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TInverseSpec>(pDCTSpec, pSize);
}
IppStatus ippsDCTInv_64f(const double* pSrc, double* pDst, const DCTInvSpec_64f* pDCTSpec,
                         std::uint8_t* pBuffer) noexcept {
  return Run<TInverseSpec>(pSrc, pDst, pDCTSpec, pBuffer);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
