// Analogue low passes that recursive filters are designed from.
#pragma once

#include <tessalune/frame/streams/QSFilterTypes.h>

#include <cstddef>
#include <vector>

namespace tessalune {

// A complex number in extended precision. Not std::complex: that one's product looks for infinities
// in each call, which would take most of a design's time.
struct TQSExtended {
  long double Re = 0.0L;
  long double Im = 0.0L;

  friend TQSExtended operator+(const TQSExtended& X, const TQSExtended& Y) {
    return {X.Re + Y.Re, X.Im + Y.Im};
  }
  friend TQSExtended operator-(const TQSExtended& X, const TQSExtended& Y) {
    return {X.Re - Y.Re, X.Im - Y.Im};
  }
  friend TQSExtended operator*(const TQSExtended& X, const TQSExtended& Y) {
    return {X.Re * Y.Re - X.Im * Y.Im, X.Re * Y.Im + X.Im * Y.Re};
  }
  friend TQSExtended operator*(long double X, const TQSExtended& Y) { return {X * Y.Re, X * Y.Im}; }
  friend TQSExtended operator/(const TQSExtended& X, const TQSExtended& Y) {
    return 1.0L / Y.Norm() * (X * Y.Conjugate());
  }
  TQSExtended Conjugate() const { return {Re, -Im}; }
  long double Norm() const { return Re * Re + Im * Im; }  // the squared magnitude
};

// The principal square root: its real part is not negative.
TQSExtended QSSqrt(const TQSExtended& AValue);

// A low pass with all its zeros at infinity and its edge at 1 rad/s.
struct TQSPrototype {
  // Of a conjugate pair the pole with the positive imaginary part, from the real axis outwards; a
  // pole on the real axis, which an odd order has, comes first and has the imaginary part 0.
  std::vector<TQSExtended> Poles;
  // The magnitude at frequency 0; the largest magnitude is 1.
  long double Gain = 1.0L;
};

// The prototype of AOrder >= 1 poles.
//   iirButterworth  |H|^2 = 1 / (1 + w^(2 n)): 1/2 at the edge.
//   iirChebyshev    |H|^2 = 1 / (1 + e^2 T_n(w)^2), e^2 = 10^(ripple / 10) - 1, T_n Chebyshev's
//                   polynomial: the pass band's ripple ends at the edge. ARippleDb above 0.
//                   (Both: Parks and Burrus 1987, "Digital Filter Design", chapter 7.)
//   iirBessel       H = t_n(0) / t_n(s), t_n the reverse Bessel polynomial t_n = (2 n - 1) t_(n-1)
//   +
//                   s^2 t_(n-2), t_0 = 1, t_1 = s + 1 (Thomson 1949, "Delay networks having
//                   maximally flat frequency characteristics", Proc. IEE 96), with the frequencies
//                   divided by that at which |H|^2 = 1/2.
// Where long double has 64 bits, poles are right to 1e-18 (Bessel: 1e-17 to order 100). No poles: a
// ripple that is not above 0, or so large that 10^(ripple / 10) has no place in a long double.
TQSPrototype QSPrototype(TQSIIRFilterType AType, std::size_t AOrder, double ARippleDb);

}  // namespace tessalune
