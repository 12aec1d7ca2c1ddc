#include <tessalune/primitives/Dct.h>
#include <tessalune/primitives/kernels/Dct.h>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

// What tells the kinds of plans apart.
constexpr std::int32_t ForwardContext = 23;
constexpr std::int32_t InverseContext = 24;

template <bool AInverse>
constexpr std::int32_t Context = AInverse ? InverseContext : ForwardContext;

template <bool AInverse, class TOpaque>
IppStatus InitAlloc(TOpaque** pSpec, std::int32_t len, std::int32_t hint) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  kernels::TNewSpec<kernels::TDctSpec> Spec(Context<AInverse>);
  if (!Spec) return ippStsMemAllocErr;
  Spec->hint = hint;
  if (!kernels::MakeDct<AInverse>(*Spec, len)) return ippStsMemAllocErr;
  Spec.ReleaseTo(pSpec);
  return ippStsNoErr;
}

template <bool AInverse, class TOpaque>
IppStatus Run(const double* pSrc, double* pDst, const TOpaque* pSpec,
              std::uint8_t* pBuffer) noexcept {
  return kernels::Transform<kernels::TDctSpec>(
      pSrc, pDst, pSpec, Context<AInverse>, pBuffer,
      [=](const kernels::TDctSpec& ASpec, std::byte* AWork) {
        kernels::RunDct<AInverse>(ASpec.Dft, pSrc, pDst, AWork);
      });
}

}  // namespace

IppStatus ippsDCTFwdInitAlloc_64f(DCTFwdSpec_64f** pDCTSpec, std::int32_t len,
                                  std::int32_t hint) noexcept {
  return InitAlloc<false>(pDCTSpec, len, hint);
}
IppStatus ippsDCTFwdFree_64f(DCTFwdSpec_64f* pDCTSpec) noexcept {
  return kernels::FreeSpec<kernels::TDctSpec>(pDCTSpec, ForwardContext);
}
IppStatus ippsDCTFwdGetBufSize_64f(const DCTFwdSpec_64f* pDCTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TDctSpec>(pDCTSpec, ForwardContext, pSize);
}
IppStatus ippsDCTFwd_64f(const double* pSrc, double* pDst, const DCTFwdSpec_64f* pDCTSpec,
                         std::uint8_t* pBuffer) noexcept {
  return Run<false>(pSrc, pDst, pDCTSpec, pBuffer);
}

IppStatus ippsDCTInvInitAlloc_64f(DCTInvSpec_64f** pDCTSpec, std::int32_t len,
                                  std::int32_t hint) noexcept {
  return InitAlloc<true>(pDCTSpec, len, hint);
}
IppStatus ippsDCTInvFree_64f(DCTInvSpec_64f* pDCTSpec) noexcept {
  return kernels::FreeSpec<kernels::TDctSpec>(pDCTSpec, InverseContext);
}
IppStatus ippsDCTInvGetBufSize_64f(const DCTInvSpec_64f* pDCTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TDctSpec>(pDCTSpec, InverseContext, pSize);
}
IppStatus ippsDCTInv_64f(const double* pSrc, double* pDst, const DCTInvSpec_64f* pDCTSpec,
                         std::uint8_t* pBuffer) noexcept {
  return Run<true>(pSrc, pDst, pDCTSpec, pBuffer);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
