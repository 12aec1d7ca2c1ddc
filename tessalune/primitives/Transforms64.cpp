#include <tessalune/primitives/Transforms.h>
#include <tessalune/primitives/kernels/DftSpec.h>

namespace tessalune::TESSALUNE_BUILTINS {

TESSALUNE_COMPLEX_DFT(template, double)

namespace {

// What tells the kinds of plans apart.
constexpr std::int32_t ComplexDftContext = 16;
constexpr std::int32_t RealDftContext = 18;
constexpr std::int32_t ComplexFftContext = 7;
constexpr std::int32_t RealFftContext = 9;

template <class TSpec, class TOpaque>
IppStatus InitAlloc(TOpaque** pSpec, std::int32_t AContext, std::int32_t len, std::int32_t flag,
                    std::int32_t hint) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  return kernels::InitAllocDft<TSpec>(pSpec, AContext, len, flag, hint);
}

template <class TSpec, class TOpaque>
IppStatus InitAllocOrder(TOpaque** pSpec, std::int32_t AContext, std::int32_t order,
                         std::int32_t flag, std::int32_t hint) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (order < 0 || order > 30) return ippStsFftOrderErr;
  return kernels::InitAllocDft<TSpec>(pSpec, AContext, std::int32_t{1} << order, flag, hint);
}

}  // namespace

IppStatus ippsDFTInitAlloc_C_64fc(DFTSpec_C_64fc** pDFTSpec, std::int32_t len, std::int32_t flag,
                                  std::int32_t hint) noexcept {
  return InitAlloc<kernels::TComplexSpec<double>>(pDFTSpec, ComplexDftContext, len, flag, hint);
}
IppStatus ippsDFTFree_C_64fc(DFTSpec_C_64fc* pDFTSpec) noexcept {
  return kernels::FreeSpec<kernels::TComplexSpec<double>>(pDFTSpec, ComplexDftContext);
}
IppStatus ippsDFTGetBufSize_C_64fc(const DFTSpec_C_64fc* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TComplexSpec<double>>(pDFTSpec, ComplexDftContext, pSize);
}
IppStatus ippsDFTFwd_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const DFTSpec_C_64fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<double, false>(pSrc, pDst, pDFTSpec, ComplexDftContext, pBuffer);
}
IppStatus ippsDFTInv_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const DFTSpec_C_64fc* pDFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<double, true>(pSrc, pDst, pDFTSpec, ComplexDftContext, pBuffer);
}

IppStatus ippsDFTInitAlloc_R_64f(DFTSpec_R_64f** pDFTSpec, std::int32_t len, std::int32_t flag,
                                 std::int32_t hint) noexcept {
  return InitAlloc<kernels::TRealSpec<double>>(pDFTSpec, RealDftContext, len, flag, hint);
}
IppStatus ippsDFTFree_R_64f(DFTSpec_R_64f* pDFTSpec) noexcept {
  return kernels::FreeSpec<kernels::TRealSpec<double>>(pDFTSpec, RealDftContext);
}
IppStatus ippsDFTGetBufSize_R_64f(const DFTSpec_R_64f* pDFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TRealSpec<double>>(pDFTSpec, RealDftContext, pSize);
}
IppStatus ippsDFTFwd_RToCCS_64f(const double* pSrc, double* pDst, const DFTSpec_R_64f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins(pSrc, pDst, pDFTSpec, RealDftContext,
                                  kernels::TSpectrumLayout::Ccs, pBuffer);
}
IppStatus ippsDFTInv_CCSToR_64f(const double* pSrc, double* pDst, const DFTSpec_R_64f* pDFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples(pSrc, pDst, pDFTSpec, RealDftContext,
                                     kernels::TSpectrumLayout::Ccs, pBuffer);
}

IppStatus ippsFFTInitAlloc_C_64fc(FFTSpec_C_64fc** pFFTSpec, std::int32_t order, std::int32_t flag,
                                  std::int32_t hint) noexcept {
  return InitAllocOrder<kernels::TComplexSpec<double>>(pFFTSpec, ComplexFftContext, order, flag,
                                                       hint);
}
IppStatus ippsFFTFree_C_64fc(FFTSpec_C_64fc* pFFTSpec) noexcept {
  return kernels::FreeSpec<kernels::TComplexSpec<double>>(pFFTSpec, ComplexFftContext);
}
IppStatus ippsFFTGetBufSize_C_64fc(const FFTSpec_C_64fc* pFFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TComplexSpec<double>>(pFFTSpec, ComplexFftContext, pSize);
}
IppStatus ippsFFTFwd_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const FFTSpec_C_64fc* pFFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<double, false>(pSrc, pDst, pFFTSpec, ComplexFftContext, pBuffer);
}
IppStatus ippsFFTInv_CToC_64fc(const TComplex* pSrc, TComplex* pDst, const FFTSpec_C_64fc* pFFTSpec,
                               std::uint8_t* pBuffer) noexcept {
  return kernels::TransformComplex<double, true>(pSrc, pDst, pFFTSpec, ComplexFftContext, pBuffer);
}

IppStatus ippsFFTInitAlloc_R_64f(FFTSpec_R_64f** pFFTSpec, std::int32_t order, std::int32_t flag,
                                 std::int32_t hint) noexcept {
  return InitAllocOrder<kernels::TRealSpec<double>>(pFFTSpec, RealFftContext, order, flag, hint);
}
IppStatus ippsFFTFree_R_64f(FFTSpec_R_64f* pFFTSpec) noexcept {
  return kernels::FreeSpec<kernels::TRealSpec<double>>(pFFTSpec, RealFftContext);
}
IppStatus ippsFFTGetBufSize_R_64f(const FFTSpec_R_64f* pFFTSpec, std::int32_t* pSize) noexcept {
  return kernels::GetBufferSize<kernels::TRealSpec<double>>(pFFTSpec, RealFftContext, pSize);
}
IppStatus ippsFFTFwd_RToCCS_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins(pSrc, pDst, pFFTSpec, RealFftContext,
                                  kernels::TSpectrumLayout::Ccs, pBuffer);
}
IppStatus ippsFFTInv_CCSToR_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples(pSrc, pDst, pFFTSpec, RealFftContext,
                                     kernels::TSpectrumLayout::Ccs, pBuffer);
}
IppStatus ippsFFTFwd_RToPerm_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                 std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToBins(pSrc, pDst, pFFTSpec, RealFftContext,
                                  kernels::TSpectrumLayout::Perm, pBuffer);
}
IppStatus ippsFFTInv_PermToR_64f(const double* pSrc, double* pDst, const FFTSpec_R_64f* pFFTSpec,
                                 std::uint8_t* pBuffer) noexcept {
  return kernels::TransformToSamples(pSrc, pDst, pFFTSpec, RealFftContext,
                                     kernels::TSpectrumLayout::Perm, pBuffer);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
