// From an analogue prototype to the coefficients of a recursive filter.
#pragma once

#include <tessalune/frame/streams/QSFilterPrototype.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tessalune {

// A frequency w (radians a sample), as the cosine and the sine of w / 2: near both ends of the
// axis nothing cancels, neither here nor in what is computed from it.
struct TQSFrequencyPoint {
  long double Cos = 1.0L;
  long double Sin = 0.0L;

  // ATangent is tan(w / 2), the frequency on the axis of the bilinear transform.
  static TQSFrequencyPoint FromTangent(long double ATangent);
  // ARelative is w / (2 pi), cycles a sample.
  static TQSFrequencyPoint FromRelative(long double ARelative);
};

// c0 + c1 / z + c2 / z^2, as its values at z = 1 and z = -1 and the difference of its ends.
struct TQSQuadratic {
  long double AtOne = 1.0L;       // c0 + c1 + c2
  long double AtMinusOne = 1.0L;  // c0 - c1 + c2
  long double EndsApart = 1.0L;   // c0 - c2

  static TQSQuadratic FromCoefficients(long double AC0, long double AC1, long double AC2) {
    return {AC0 + AC1 + AC2, AC0 - AC1 + AC2, AC0 - AC2};
  }
  // z times the value: the delay of one sample is what magnitudes don't need.
  TQSExtended At(const TQSFrequencyPoint& APoint) const {
    return {APoint.Cos * APoint.Cos * AtOne - APoint.Sin * APoint.Sin * AtMinusOne,
            2.0L * EndsApart * APoint.Sin * APoint.Cos};
  }
};

// What a filter is to let pass, in cycles a sample: 0 < ALow < AHigh < 1/2. A low or a high pass
// has one edge, ALow.
struct TQSBand {
  TQSDesignFilterType Kind = TQSDesignFilterType::dfLowPass;
  long double Low = 0.0L;
  long double High = 0.0L;
  long double Width =
      0.0L;  // High - Low: told apart, as a narrow band's would have few digits left
};

// One or two poles of a digital filter.
struct TQSPolePair {
  long double A1 = 0.0L;  // the denominator 1 + A1 / z + A2 / z^2
  long double A2 = 0.0L;
  TQSQuadratic Denominator;
  bool IsSingle = false;
  long double Tangent = 0.0L;  // tan(w / 2) about where it resonates
};

// A recursive filter as poles, zeros and gain.
struct TQSPolesAndZeros {
  // In the order of the prototype's poles. A band has two pairs for each pair of those, first the
  // lower one, and one pair for a real pole.
  std::vector<TQSPolePair> Poles;
  std::size_t ZerosAtOne = 0;
  std::size_t ZerosAtMinusOne = 0;
  std::size_t NotchPairs = 0;   // zeros on the circle at the centre of a stop band
  TQSFrequencyPoint Centre;     // of a band
  TQSFrequencyPoint Reference;  // where the magnitude is Gain
  long double Gain = 1.0L;
  std::size_t Order = 0;  // poles in all

  // The middle coefficient of the numerator 1 + C1 / z + 1 / z^2 of a notch.
  long double NotchC1() const { return 2.0L * (Centre.Sin * Centre.Sin - Centre.Cos * Centre.Cos); }
};

// The bilinear transform s = (z - 1) / (z + 1) of the prototype, turned into the band on the axis
// W = tan(w / 2), so that the edges are where they should be:
//     low pass s / W1, high pass W1 / s, band pass (s^2 + W1 W2) / (s (W2 - W1)), band stop its
//     inverse
// (Constantinides 1970, "Spectral transformations for digital filters", Proc. IEE 117). A band
// filter has twice the poles of its prototype.
TQSPolesAndZeros QSToDigital(const TQSPrototype& APrototype, const TQSBand& ABand);

// Coefficients, or why there are none.
struct TQSCoefficients {
  std::vector<double> Taps;
  std::string Error;
};

// A chain of sections, six taps each: B0, B1, B2, 1, A1, A2.
//   Pairing   The lower pole pair of a band pass takes zeros at 1, the upper one at -1, so that
//   each
//             section passes the whole band.
//   Order     The prototype's poles in bit-reversed order of their places on their arc, those of a
//             band that came from one pair together. What rounding adds behind a section reaches
//             the output with the gain of the rest of the chain, the whole one over that of the
//             sections passed, so the gain of the sections passed must not fall far below its peak
//             anywhere in the pass band. In the order of the arc it falls by 1e10 and more; poles
//             spread evenly at each step keep it flat, as they do for the products of Newton's
//             interpolation. The noise of all stays below 1e-11 of the largest output for
//             orders to 41. (Fischer and Reichel 1989, "Newton interpolation in Fejer and
//             Chebyshev points", Math. Comp. 53.)
//   Gain      That of the input to each section's output but the last is at all frequencies at
//             most 1 / (8 (2 n + 1)), n the poles in all: the sum of the magnitudes of an impulse
//             response is at most 2 n + 1 times its largest gain (Boyd and Doyle 1987, "Comparison
//             of peak and RMS gains for discrete-time systems", Systems & Control Letters 9), so
//             that no input whatever overflows inside where the last section's output does not. In
//             floating point this costs no accuracy.
//
// What rounding to double does to the response: a coefficient is off by 2^-53 of itself at most, so
// that to first order
//     |dH| / |H| <= 2^-53 sum over the sections (|A1| + |A2|) / |1 + A1 / z + A2 / z^2|
// and as much as 2^-53 a section for the gains. With poles at the distance d from the circle and at
// the angle w from 1 or -1, a denominator is no smaller than about 2 d sin w. Edges so near to 0,
// to half the rate, or to each other, that this bound comes above 1e-3 are refused.
TQSCoefficients QSSections(const TQSPolesAndZeros& AFilter);

// The same filter as one direct form, B0 to Bn, 1, A1 to An, multiplied out in long double. It is
// refused where the rounding of the coefficients to double moves the response by more than 1e-3 of
// the pass band's gain, or the denominator by more than 1e-3 of itself anywhere on the unit circle;
// with less, and less than 1 is enough, all poles stay inside (Rouche's theorem).
TQSCoefficients QSDirectForm(const TQSPolesAndZeros& AFilter);

}  // namespace tessalune
