#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/primitives/kernels/Hilbert.h>

namespace tessalune::TESSALUNE_BUILTINS {

using kernels::THilbertSpec;

IppStatus ippsHilbert_32f32fc(const float* pSrc, Ipp32fc* pDst,
                              const HilbertSpec_32f32fc* pSpec) noexcept {
  if (!pSrc || !pDst) return ippStsNullPtrErr;
  return kernels::Transform<THilbertSpec>(
      pSrc, pDst, pSpec, nullptr, [=](const THilbertSpec& ASpec, std::byte* AWork) {
        kernels::RunHilbert(ASpec.Dft, pSrc, reinterpret_cast<float*>(pDst), AWork);
      });
}

IppStatus ippsHilbertInitAlloc_32f32fc(HilbertSpec_32f32fc** pSpec, std::int32_t len,
                                       std::int32_t) noexcept {
  return kernels::InitAllocSpec<THilbertSpec>(pSpec, len, [=](THilbertSpec& ASpec) {
    const bool IsMade = kernels::MakeHilbert(ASpec.Dft, len, ASpec.Tables);
    return IsMade ? ippStsNoErr : ippStsMemAllocErr;
  });
}

IppStatus ippsHilbertFree_32f32fc(HilbertSpec_32f32fc* pSpec) noexcept {
  return kernels::FreeSpec<THilbertSpec>(pSpec);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
