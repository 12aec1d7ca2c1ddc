#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/QSComplex.h>

#include <cstdint>

// Windows: rows of the unit QSBasicDispatcher, in whose header stands what holds for all. Each
// multiplies pSrcDst in place by the weights w[n], n from 0 to len - 1, of which the complex forms
// take both parts. A window is symmetric, bit for bit.
//
// pSrcDst null: ippStsNullPtrErr; then len below 3, for Kaiser below 1: ippStsSizeErr. Errors are
// told in rounding errors of the weight.
namespace tessalune {
namespace builtins {

// w[n] = 2 n / (len - 1) up to the middle, rounded once.
IppStatus ippsWinBartlett_64f_I(double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsWinBartlett_64fc_I(TComplex* pSrcDst, std::int32_t len) noexcept;

// w[n] = (alpha + 1) / 2 - cos(2 pi n / (len - 1)) / 2 - alpha cos(4 pi n / (len - 1)) / 2; alpha =
// -0.16 is the usual one. Any alpha is taken. At most 12 rounding errors of (1 + 4 |alpha|) times
// the Hann window's weight.
IppStatus ippsWinBlackman_64f_I(double* pSrcDst, std::int32_t len, double alpha) noexcept;
IppStatus ippsWinBlackman_64fc_I(TComplex* pSrcDst, std::int32_t len, double alpha) noexcept;

// w[n] = 0.54 - 0.46 cos(2 pi n / (len - 1)); at most 12 rounding errors.
IppStatus ippsWinHamming_64f_I(double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsWinHamming_64fc_I(TComplex* pSrcDst, std::int32_t len) noexcept;

// w[n] = 0.5 - 0.5 cos(2 pi n / (len - 1)); at most 10 rounding errors, also near the ends.
IppStatus ippsWinHann_64f_I(double* pSrcDst, std::int32_t len) noexcept;
IppStatus ippsWinHann_64fc_I(TComplex* pSrcDst, std::int32_t len) noexcept;

// w[n] = I0(alpha sqrt((last / 2)^2 - (n - last / 2)^2)) / I0(alpha last / 2), last = len - 1, I0
// the modified Bessel function of first kind and order 0. So alpha is the usual beta over last / 2.
// No window is too large: the quotient is formed without the overflow of its parts. alpha infinite
// or NaN: ippStsHugeWinErr, checked last. At most 5 |alpha| last / 2 + 10 rounding errors; few more
// than those of the argument itself.
IppStatus ippsWinKaiser_64f_I(double* pSrcDst, std::int32_t len, float alpha) noexcept;
IppStatus ippsWinKaiser_64fc_I(TComplex* pSrcDst, std::int32_t len, float alpha) noexcept;

}  // namespace builtins

#define TESSALUNE_BASICWINDOWS_PRIMITIVES(X) \
  X(ippsWinBartlett_64f_I)                   \
  X(ippsWinBartlett_64fc_I)                  \
  X(ippsWinBlackman_64f_I)                   \
  X(ippsWinBlackman_64fc_I)                  \
  X(ippsWinHamming_64f_I)                    \
  X(ippsWinHamming_64fc_I)                   \
  X(ippsWinHann_64f_I)                       \
  X(ippsWinHann_64fc_I)                      \
  X(ippsWinKaiser_64f_I)                     \
  X(ippsWinKaiser_64fc_I)

}  // namespace tessalune
