// What a filter with given taps does to a sine.
#pragma once

#include <tessalune/frame/streams/QSFilterTypes.h>

#include <span>

namespace tessalune {

struct TQSResponse {
  double Magnitude = 1.0;
  double Phase = 0.0;  // radians, from -pi to pi; 0 where the magnitude is 0
};

// The response of taps of any kind at ARelative cycles a sample (the frequency over the sample
// rate); any value: it has the period 1. The coefficients are taken as they stand, and what is
// computed from them is right
//   of sections   to some rounding errors a section, relative, at zeros and poles too;
//   of the other kinds to 2^-64 times the number of taps, relative to the sum of the magnitudes of
//                 the taps (of numerator and denominator each): beside what the filter itself
//                 rounds this is nothing, but a zero is as deep as that.
// No taps are a filter that does nothing. A sum of taps that is no multiple of what the kind needs
// counts without the rest.
TQSResponse QSTapsResponse(TQSFilterType AType, std::span<const double> ATaps,
                           long double ARelative);

}  // namespace tessalune
