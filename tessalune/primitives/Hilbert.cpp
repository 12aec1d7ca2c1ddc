#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/primitives/kernels/Hilbert.h>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

constexpr std::int32_t HilbertContext = 0x4C4D5359;

}  // namespace

IppStatus ippsHilbert_32f32fc(const float* pSrc, Ipp32fc* pDst,
                              const HilbertSpec_32f32fc* pSpec) noexcept {
  if (!pSrc || !pDst) return ippStsNullPtrErr;
  return kernels::Transform<kernels::THilbertSpec>(
      pSrc, pDst, pSpec, HilbertContext, nullptr,
      [=](const kernels::THilbertSpec& ASpec, std::byte* AWork) {
        kernels::RunHilbert(ASpec.Dft, pSrc, reinterpret_cast<float*>(pDst), AWork);
      });
}

IppStatus ippsHilbertInitAlloc_32f32fc(HilbertSpec_32f32fc** pSpec, std::int32_t len,
                                       std::int32_t hint) noexcept {
  if (!pSpec) return ippStsNullPtrErr;
  if (len < 1) return ippStsSizeErr;
  kernels::TNewSpec<kernels::THilbertSpec> Spec(HilbertContext);
  if (!Spec) return ippStsMemAllocErr;
  Spec->hint = hint;
  if (!kernels::MakeHilbert(*Spec, len)) return ippStsMemAllocErr;
  Spec.ReleaseTo(pSpec);
  return ippStsNoErr;
}

IppStatus ippsHilbertFree_32f32fc(HilbertSpec_32f32fc* pSpec) noexcept {
  return kernels::FreeSpec<kernels::THilbertSpec>(pSpec, HilbertContext);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
