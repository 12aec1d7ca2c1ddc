#include <tessalune/primitives/Transforms.h>
#include <tessalune/primitives/kernels/DftSpec.h>

namespace tessalune::TESSALUNE_BUILTINS {

using kernels::TSpectrumLayout;

namespace {

using TComplexDftSpec = kernels::TComplexSpec<double, 16>;
using TRealDftSpec = kernels::TRealSpec<double, 18>;
using TComplexFftSpec = kernels::TComplexSpec<double, 7>;
using TRealFftSpec = kernels::TRealSpec<double, 9>;

template <class TSpec, class TOpaque>
IppStatus InitAllocFft(TOpaque** pSpec, std::int32_t order, std::int32_t flag) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (order < 0 || order > 30) return ippStsFftOrderErr;
  return kernels::InitAllocDft<TSpec>(pSpec, std::int32_t{1} << order, flag);
}

}  // namespace

IppStatus ippsDFTInitAlloc_C_64fc(DFTSpec_C_64fc** pDFTSpec, std::int32_t len, std::int32_t flag,
                                  std::int32_t) noexcept {
  return kernels::InitAllocDft<TComplexDftSpec>(pDFTSpec, len, flag);
}
IppStatus ippsDFTFree_C_64fc(DFTSpec_C_64fc* pDFTSpec) noexcept {
  return kernels::FreeSpec<TComplexDftSpec>(pDFTSpec);
}
IppStatus ippsDFTGetBufSize_C_64fc(const DFTSpec_C_64fc* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TComplexDftSpec>(pDFTSpec, pSize);
}
IppStatus ippsDFTFwd_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const DFTSpec_C_64fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<TComplexDftSpec, false>(pSrc, pDst, pDFTSpec, pBuffer);
}
IppStatus ippsDFTInv_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const DFTSpec_C_64fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<TComplexDftSpec, true>(pSrc, pDst, pDFTSpec, pBuffer);
}

IppStatus ippsDFTInitAlloc_R_64f(DFTSpec_R_64f** pDFTSpec, std::int32_t len, std::int32_t flag,
                                 std::int32_t) noexcept {
  return kernels::InitAllocDft<TRealDftSpec>(pDFTSpec, len, flag);
}
IppStatus ippsDFTFree_R_64f(DFTSpec_R_64f* pDFTSpec) noexcept {
  return kernels::FreeSpec<TRealDftSpec>(pDFTSpec);
}
IppStatus ippsDFTGetBufSize_R_64f(const DFTSpec_R_64f* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TRealDftSpec>(pDFTSpec, pSize);
}
IppStatus ippsDFTFwd_RToCCS_64f(const double* pSrc, double* pDst, const DFTSpec_R_64f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins<TRealDftSpec, TSpectrumLayout::Ccs>(pSrc, pDst, pDFTSpec,
                                                                      pBuffer);
}
IppStatus ippsDFTInv_CCSToR_64f(const double* pSrc, double* pDst, const DFTSpec_R_64f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples<TRealDftSpec, TSpectrumLayout::Ccs>(pSrc, pDst, pDFTSpec,
                                                                         pBuffer);
}

IppStatus ippsFFTInitAlloc_C_64fc(FFTSpec_C_64fc** pFFTSpec, std::int32_t order, std::int32_t flag,
                                  std::int32_t) noexcept {
  return InitAllocFft<TComplexFftSpec>(pFFTSpec, order, flag);
}
IppStatus ippsFFTFree_C_64fc(FFTSpec_C_64fc* pFFTSpec) noexcept {
  return kernels::FreeSpec<TComplexFftSpec>(pFFTSpec);
}
IppStatus ippsFFTGetBufSize_C_64fc(const FFTSpec_C_64fc* pFFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TComplexFftSpec>(pFFTSpec, pSize);
}
IppStatus ippsFFTFwd_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const FFTSpec_C_64fc* pFFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<TComplexFftSpec, false>(pSrc, pDst, pFFTSpec, pBuffer);
}
IppStatus ippsFFTInv_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const FFTSpec_C_64fc* pFFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<TComplexFftSpec, true>(pSrc, pDst, pFFTSpec, pBuffer);
}

IppStatus ippsFFTInitAlloc_R_64f(FFTSpec_R_64f** pFFTSpec, std::int32_t order, std::int32_t flag,
                                 std::int32_t) noexcept {
  return InitAllocFft<TRealFftSpec>(pFFTSpec, order, flag);
}
IppStatus ippsFFTFree_R_64f(FFTSpec_R_64f* pFFTSpec) noexcept {
  return kernels::FreeSpec<TRealFftSpec>(pFFTSpec);
}
IppStatus ippsFFTGetBufSize_R_64f(const FFTSpec_R_64f* pFFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<TRealFftSpec>(pFFTSpec, pSize);
}
IppStatus ippsFFTFwd_RToCCS_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins<TRealFftSpec, TSpectrumLayout::Ccs>(pSrc, pDst, pFFTSpec,
                                                                      pBuffer);
}
IppStatus ippsFFTInv_CCSToR_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples<TRealFftSpec, TSpectrumLayout::Ccs>(pSrc, pDst, pFFTSpec,
                                                                         pBuffer);
}
IppStatus ippsFFTFwd_RToPerm_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                 std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins<TRealFftSpec, TSpectrumLayout::Perm>(pSrc, pDst, pFFTSpec,
                                                                       pBuffer);
}
IppStatus ippsFFTInv_PermToR_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                 std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples<TRealFftSpec, TSpectrumLayout::Perm>(pSrc, pDst, pFFTSpec,
                                                                          pBuffer);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
