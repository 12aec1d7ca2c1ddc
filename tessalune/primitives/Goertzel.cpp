#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/kernels/Goertzel.h>

namespace tessalune::TESSALUNE_BUILTINS {

IppStatus ippsGoertz_64fc(const TComplex* pSrc, std::int32_t len, TComplex* pVal,
                          double freq) noexcept {
  const IppStatus Status = CheckArguments(len, pSrc, pVal);
  if (Status != ippStsNoErr) return Status;
  if (!(freq >= 0.0 && freq < 1.0)) return ippStsRelFreqErr;
  *pVal = kernels::TGoertzel(freq).Sum(pSrc, Count(len));
  return ippStsNoErr;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
