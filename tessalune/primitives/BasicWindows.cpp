#include <tessalune/primitives/ArgumentChecks.h>
#include <tessalune/primitives/BasicWindows.h>
#include <tessalune/primitives/kernels/Windows.h>

#include <cmath>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

// For the windows that are 0 at both ends, or could be: nothing would be left of two samples.
constexpr std::int32_t MinLength = 3;

template <class T, class TMakeShape>
IppStatus Apply(T* pSrcDst, std::int32_t len, TMakeShape AMakeShape) noexcept {
  if (!pSrcDst) return ippStsNullPtrErr;
  if (len < MinLength) return ippStsSizeErr;
  kernels::ApplyWindow(pSrcDst, Count(len), AMakeShape(Count(len)));
  return ippStsNoErr;
}

template <class T>
IppStatus Bartlett(T* pSrcDst, std::int32_t len) noexcept {
  return Apply(pSrcDst, len, [](std::size_t N) { return kernels::TTriangleShape(N); });
}

// AWeight gives the weight from s = (1 - cos(2 pi n / (len - 1))) / 2.
template <class T, class TFunction>
IppStatus Cosine(T* pSrcDst, std::int32_t len, TFunction AWeight) noexcept {
  return Apply(pSrcDst, len, [=](std::size_t N) { return kernels::TCosineShape(N, AWeight); });
}

template <class T>
IppStatus Blackman(T* pSrcDst, std::int32_t len, double alpha) noexcept {
  return Cosine(pSrcDst, len, [=](double S) { return S + 4.0 * alpha * (S * (1.0 - S)); });
}

template <class T>
IppStatus Hamming(T* pSrcDst, std::int32_t len) noexcept {
  return Cosine(pSrcDst, len, [](double S) { return (0.54 - 0.46) + 2.0 * 0.46 * S; });
}

template <class T>
IppStatus Hann(T* pSrcDst, std::int32_t len) noexcept {
  return Cosine(pSrcDst, len, [](double S) { return S; });
}

template <class T>
IppStatus Kaiser(T* pSrcDst, std::int32_t len, float alpha) noexcept {
  const IppStatus Status = CheckArguments(len, pSrcDst);
  if (Status != ippStsNoErr) return Status;
  if (!std::isfinite(alpha)) return ippStsHugeWinErr;
  kernels::ApplyWindow(pSrcDst, Count(len),
                       kernels::TKaiserShape(Count(len), static_cast<double>(alpha)));
  return ippStsNoErr;
}

}  // namespace

IppStatus ippsWinBartlett_64f_I(double* pSrcDst, std::int32_t len) noexcept {
  return Bartlett(pSrcDst, len);
}
IppStatus ippsWinBartlett_64fc_I(TComplex* pSrcDst, std::int32_t len) noexcept {
  return Bartlett(pSrcDst, len);
}

IppStatus ippsWinBlackman_64f_I(double* pSrcDst, std::int32_t len, double alpha) noexcept {
  return Blackman(pSrcDst, len, alpha);
}
IppStatus ippsWinBlackman_64fc_I(TComplex* pSrcDst, std::int32_t len, double alpha) noexcept {
  return Blackman(pSrcDst, len, alpha);
}

IppStatus ippsWinHamming_64f_I(double* pSrcDst, std::int32_t len) noexcept {
  return Hamming(pSrcDst, len);
}
IppStatus ippsWinHamming_64fc_I(TComplex* pSrcDst, std::int32_t len) noexcept {
  return Hamming(pSrcDst, len);
}

IppStatus ippsWinHann_64f_I(double* pSrcDst, std::int32_t len) noexcept {
  return Hann(pSrcDst, len);
}
IppStatus ippsWinHann_64fc_I(TComplex* pSrcDst, std::int32_t len) noexcept {
  return Hann(pSrcDst, len);
}

IppStatus ippsWinKaiser_64f_I(double* pSrcDst, std::int32_t len, float alpha) noexcept {
  return Kaiser(pSrcDst, len, alpha);
}
IppStatus ippsWinKaiser_64fc_I(TComplex* pSrcDst, std::int32_t len, float alpha) noexcept {
  return Kaiser(pSrcDst, len, alpha);
}

}  // namespace tessalune::TESSALUNE_BUILTINS
