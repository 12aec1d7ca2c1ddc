#include <tessalune/primitives/Transforms.h>
#include <tessalune/primitives/kernels/DftSpec.h>

namespace tessalune::TESSALUNE_BUILTINS {
TESSALUNE_COMPLEX_DFT(template, float)

namespace {

// What tells the kinds of plans apart.
constexpr std::int32_t ComplexDftContext = 13;
constexpr std::int32_t RealDftContext = 15;

template <class TSpec, class TOpaque>
IppStatus InitAlloc(TOpaque** pSpec, std::int32_t AContext, std::int32_t len, std::int32_t flag,
                    std::int32_t hint) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  return kernels::InitAllocDft<TSpec>(pSpec, AContext, len, flag, hint);
}

}  // namespace

IppStatus ippsDFTInitAlloc_C_32fc(DFTSpec_C_32fc** pDFTSpec, std::int32_t len, std::int32_t flag,
                                  std::int32_t hint) noexcept {
  return InitAlloc<kernels::TComplexSpec<float>>(pDFTSpec, ComplexDftContext, len, flag, hint);
}
IppStatus ippsDFTFree_C_32fc(DFTSpec_C_32fc* pDFTSpec) noexcept {
  return kernels::FreeSpec<kernels::TComplexSpec<float>>(pDFTSpec, ComplexDftContext);
}
IppStatus ippsDFTGetBufSize_C_32fc(const DFTSpec_C_32fc* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TComplexSpec<float>>(pDFTSpec, ComplexDftContext, pSize);
}
IppStatus ippsDFTFwd_CToC_32fc(const Ipp32fc* pSrc, Ipp32fc* pDst, const DFTSpec_C_32fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<float, false>(pSrc, pDst, pDFTSpec, ComplexDftContext, pBuffer);
}
IppStatus ippsDFTInv_CToC_32fc(const Ipp32fc* pSrc, Ipp32fc* pDst, const DFTSpec_C_32fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<float, true>(pSrc, pDst, pDFTSpec, ComplexDftContext, pBuffer);
}

IppStatus ippsDFTInitAlloc_R_32f(DFTSpec_R_32f** pDFTSpec, std::int32_t len, std::int32_t flag,
                                 std::int32_t hint) noexcept {
  return InitAlloc<kernels::TRealSpec<float>>(pDFTSpec, RealDftContext, len, flag, hint);
}
IppStatus ippsDFTFree_R_32f(DFTSpec_R_32f* pDFTSpec) noexcept {
  return kernels::FreeSpec<kernels::TRealSpec<float>>(pDFTSpec, RealDftContext);
}
IppStatus ippsDFTGetBufSize_R_32f(const DFTSpec_R_32f* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TRealSpec<float>>(pDFTSpec, RealDftContext, pSize);
}
IppStatus ippsDFTFwd_RToCCS_32f(const float* pSrc, float* pDst, const DFTSpec_R_32f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins(pSrc, pDst, pDFTSpec, RealDftContext,
                                  kernels::TSpectrumLayout::Ccs, pBuffer);
}
IppStatus ippsDFTInv_CCSToR_32f(const float* pSrc, float* pDst, const DFTSpec_R_32f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples(pSrc, pDst, pDFTSpec, RealDftContext,
                                     kernels::TSpectrumLayout::Ccs, pBuffer);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
