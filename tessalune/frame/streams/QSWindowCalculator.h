// The windows of spectra and noise figures: one definition for every length N from 1 on.
//
// All windows are periodic: w[n] = w[N - n], n from 0 to N - 1, bit for bit. A symmetric window,
// whose end repeats its beginning, leaks: it spreads a tone of whole cycles to -100 dB where the
// periodic one leaves the rounding of doubles. Designed filters want the symmetric ones
// (primitives/BasicWindows.h). The peak is 1 (of xwtCosSum within 2 rounding errors), the
// value at n = N/2, a sample if N is even. A single sample (N = 1) is the peak: 1.
//
// With t = n / N:
//   xwtNone, xwtRect  1
//   xwtBartlett       1 - |2 t - 1|
//   xwtWelch          1 - (2 t - 1)^2
//   xwtKaiser         QSKaiser.h tells it, and what Alpha means; useful from 0.1 to 1.0
// and sums of cosines, a[0] - a[1] cos(2 pi t) + a[2] cos(4 pi t) - ...:
//   xwtHanning        0.5, 0.5
//   xwtHamming        0.54, 0.46
//   xwtBlackman       0.5 - 0.08 Alpha, 0.5, 0.08 Alpha: from Hann's window at Alpha 0 to that of
//                     the books at 1 (Blackman and Tukey 1958: 0.42, 0.5, 0.08); never negative
//   xwtFlatTop        five terms, those of ISO 18431-2 (1, 1.933, 1.286, 0.388, 0.0322) in the
//   digits
//                     that scale them to the peak: 1024, 1979, 1317, 397, 33 over 4750. Negative
//                     near the ends, to -0.07. Between two bins a tone loses 0.01 dB
//   xwtCosSum         NumberTerms terms, whose largest side lobe is the lowest that so many terms
//                     can have: Nuttall 1981, "Some windows with very good sidelobe behavior", IEEE
//                     Trans. ASSP 29; Albrecht 2001, "A family of cosine-sum windows for
//                     high-resolution measurements", ICASSP. tools/cosine_sum_windows.py computes
//                     them to all digits (Remez's exchange) and comes to the levels published
//
// Largest side lobe in dB, for long windows (Kaiser: QSKaiser.h has more):
//   xwtRect    -13.3  xwtBartlett -26.5  xwtWelch   -21.3  xwtHanning -31.5
//   xwtHamming -42.7  xwtBlackman -58.1  xwtFlatTop -93.0  xwtKaiser  -18.4 to -154.9
//   xwtCosSum of  4       5       6       7       8       9       10      11 terms
//               -98.17 -125.43 -153.57 -180.47 -207.51 -234.73 -262.87 -289.68
// The first sample of a periodic window, which no last one matches, adds the amplitude
// w[0] / (N a[0]) at right angles: with 11 terms the level is -281.3 at N = 256, -288.2 at 1024,
// -289.6 at 4096.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>
#include <tessalune/primitives/QSComplex.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tessalune {

// In order from 0. xwtNone stands for no window at all: the calculator takes it for xwtRect.
enum class TQSExtendedWindowType : std::uint8_t {
  xwtNone,
  xwtRect,
  xwtBartlett,
  xwtBlackman,
  xwtHamming,
  xwtHanning,
  xwtKaiser,
  xwtCosSum,
  xwtFlatTop,
  xwtWelch,
};
template <>
struct TEnumNames<TQSExtendedWindowType> {
  static constexpr std::array<std::string_view, 10> Names{
      "xwtNone",    "xwtRect",   "xwtBartlett", "xwtBlackman", "xwtHamming",
      "xwtHanning", "xwtKaiser", "xwtCosSum",   "xwtFlatTop",  "xwtWelch"};
};

// Any thread may call. ANumberTerms counts for xwtCosSum alone, AAlpha for xwtBlackman and
// xwtKaiser; a number of terms outside 4 to 11 and an Alpha outside 0 to 1 count as the nearer end,
// an Alpha that is not a number as 0.
namespace QSWindowCalculator {

inline constexpr std::uint32_t MinNumberTerms = 4;
inline constexpr std::uint32_t MaxNumberTerms = 11;

// Fills AWindow, N = its size, with the weights to multiply a frame by; of a complex window they
// are the real parts, and the imaginary ones are 0. Returns the gain sqrt(mean(w^2)), within 1e-15
// of itself, Kaiser's within 2e-15 (1 for N = 0): with it a tone's power, summed over its bins, and
// that of noise are both right.
//
// AFreqDomainWindow, if it is not empty, gets the frequency-domain form: N bins, bin 0 first, the
// sums of w[n] exp(-2 pi i k n / N) over n, divided by N; real, because w is symmetric about 0, and
// within 1e-15 of the peak, which is bin 0. It is computed from the window's formula, so what is 0
// by it is exactly 0: a cosine sum has its 2 terms - 1 lines and nothing else. Bartlett's, Welch's
// and Kaiser's go on for ever: of theirs what is below SpectrumEnd of the peak is left at 0.
//
// Raises EQSException if AFreqDomainWindow is neither empty nor as long as AWindow.
//
// Rounding errors of a weight: Bartlett 1, Welch 4, Kaiser as in QSKaiser.h, cosine sums 8 for each
// term; those of xwtFlatTop, which changes its sign, are of the peak.
double CalculateWindowForMult(TQSExtendedWindowType AWindowType, std::uint32_t ANumberTerms,
                              double AAlpha, std::span<double> AWindow,
                              std::span<TComplex> AFreqDomainWindow = {});
double CalculateWindowForMult(TQSExtendedWindowType AWindowType, std::uint32_t ANumberTerms,
                              double AAlpha, std::span<TComplex> AWindow,
                              std::span<TComplex> AFreqDomainWindow = {});

inline constexpr double SpectrumEnd = 1e-5;

// The one weight AIndex, from 0 to ALength - 1, of a window of any length.
double Weight(TQSExtendedWindowType AWindowType, std::uint32_t ANumberTerms, double AAlpha,
              std::size_t AIndex, std::size_t ALength) noexcept;

}  // namespace QSWindowCalculator
}  // namespace tessalune
