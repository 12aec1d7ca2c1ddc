// Finite impulse responses by the window method.
#pragma once

#include <tessalune/frame/streams/QSFilterSections.h>

namespace tessalune {

// The weights that a FIR design puts on its taps: n from 0 to ACount - 1, x = n / (ACount - 1);
// each is symmetric, and 1 for one tap alone. (Harris 1978, "On the use of windows for harmonic
// analysis with the discrete Fourier transform", Proc. IEEE 66.) The stop band is what a low pass
// has.
//
//   wtRect      1                                                   -21 dB
//   wtBartlett  1 - |2 x - 1|                                       about -26 dB
//   wtHanning   0.5 - 0.5 cos(2 pi x)                               -44 dB
//   wtHamming   0.54 - 0.46 cos(2 pi x)                             -53 dB
//   wtBlackman  0.42 - 0.5 cos(2 pi x) + 0.08 cos(4 pi x)           -74 dB
//   wtKaiser    AAlpha as in QSKaiser.h                             -21 to -188 dB
//
// Of wtBartlett, wtHanning and wtBlackman the first and the last weight are 0.
std::vector<double> QSDesignWindow(TQSWindowType AWindow, double AAlpha, std::size_t ACount);

// The ideal response of ABand, ACount taps of it about its middle, times the window. The taps are
// symmetric bit for bit: linear phase with a delay of (count - 1) / 2 samples. The gain is 1, but
// for the rounding of the middle tap, where the pass band has its middle: 0 for a low pass, half
// the rate for a high pass, the mean of the edges for a band pass, and for a band stop the end, 0
// or half the rate, that has the wider pass band. At the edges the gain is about 1/2.
//
// A symmetric response with an even number of taps has a zero at half the rate, so a high pass and
// a band stop get one tap more than asked for then.
//
// Error: the window leaves no tap (two taps of a window that ends in zeros).
TQSCoefficients QSFirDesign(const TQSBand& ABand, TQSWindowType AWindow, double AAlpha,
                            std::size_t ACount);

}  // namespace tessalune
