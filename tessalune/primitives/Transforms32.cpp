#include <tessalune/primitives/Transforms.h>
#include <tessalune/primitives/kernels/DftSpec.h>

namespace tessalune::TESSALUNE_BUILTINS {

using kernels::TSpectrumLayout;

namespace {

using TComplexDftSpec = kernels::TComplexSpec<float, 13>;
using TRealDftSpec = kernels::TRealSpec<float, 15>;

}  // namespace

IppStatus ippsDFTInitAlloc_C_32fc(DFTSpec_C_32fc** pDFTSpec, std::int32_t len, std::int32_t flag,
                                  std::int32_t) noexcept {
  return kernels::InitAllocDft<TComplexDftSpec>(pDFTSpec, len, flag);
}
IppStatus ippsDFTFree_C_32fc(DFTSpec_C_32fc* pDFTSpec) noexcept {
  return kernels::FreeSpec<TComplexDftSpec>(pDFTSpec);
}
IppStatus ippsDFTGetBufSize_C_32fc(const DFTSpec_C_32fc* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TComplexDftSpec>(pDFTSpec, pSize);
}
IppStatus ippsDFTFwd_CToC_32fc(const Ipp32fc* pSrc, Ipp32fc* pDst, const DFTSpec_C_32fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<TComplexDftSpec, false>(pSrc, pDst, pDFTSpec, pBuffer);
}
IppStatus ippsDFTInv_CToC_32fc(const Ipp32fc* pSrc, Ipp32fc* pDst, const DFTSpec_C_32fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<TComplexDftSpec, true>(pSrc, pDst, pDFTSpec, pBuffer);
}

IppStatus ippsDFTInitAlloc_R_32f(DFTSpec_R_32f** pDFTSpec, std::int32_t len, std::int32_t flag,
                                 std::int32_t) noexcept {
  return kernels::InitAllocDft<TRealDftSpec>(pDFTSpec, len, flag);
}
IppStatus ippsDFTFree_R_32f(DFTSpec_R_32f* pDFTSpec) noexcept {
  return kernels::FreeSpec<TRealDftSpec>(pDFTSpec);
}
IppStatus ippsDFTGetBufSize_R_32f(const DFTSpec_R_32f* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TRealDftSpec>(pDFTSpec, pSize);
}
IppStatus ippsDFTFwd_RToCCS_32f(const float* pSrc, float* pDst, const DFTSpec_R_32f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins<TRealDftSpec, TSpectrumLayout::Ccs>(pSrc, pDst, pDFTSpec,
                                                                      pBuffer);
}
IppStatus ippsDFTInv_CCSToR_32f(const float* pSrc, float* pDst, const DFTSpec_R_32f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples<TRealDftSpec, TSpectrumLayout::Ccs>(pSrc, pDst, pDFTSpec,
                                                                         pBuffer);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
