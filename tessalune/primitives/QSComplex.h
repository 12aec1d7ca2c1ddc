#pragma once

#include <type_traits>

namespace tessalune {

// Complex sample of double precision, real part first. An array of them has the layout of an array
// of std::complex<double> and of 2 n doubles.
//
// The product is the plain one (four multiplications, two additions, no repair of infinities), so
// that loops over it vectorise. The quotient scales by the divisor's larger part, so that it
// neither overflows nor underflows on the way to a result that a double can hold.
struct TComplex {
  double Re = 0.0;
  double Im = 0.0;

  constexpr TComplex& operator+=(const TComplex& AOther) noexcept;
  constexpr TComplex& operator-=(const TComplex& AOther) noexcept;
  constexpr TComplex& operator*=(const TComplex& AOther) noexcept;
  constexpr TComplex& operator/=(const TComplex& AOther) noexcept;

  friend constexpr bool operator==(const TComplex&, const TComplex&) noexcept = default;
};

static_assert(std::is_standard_layout_v<TComplex> && std::is_trivially_copyable_v<TComplex> &&
              sizeof(TComplex) == 2 * sizeof(double));

constexpr TComplex operator+(const TComplex& A, const TComplex& B) noexcept {
  return {A.Re + B.Re, A.Im + B.Im};
}

constexpr TComplex operator-(const TComplex& A, const TComplex& B) noexcept {
  return {A.Re - B.Re, A.Im - B.Im};
}

constexpr TComplex operator-(const TComplex& A) noexcept { return {-A.Re, -A.Im}; }

constexpr TComplex operator*(const TComplex& A, const TComplex& B) noexcept {
  return {A.Re * B.Re - A.Im * B.Im, A.Re * B.Im + A.Im * B.Re};
}

constexpr TComplex operator*(const TComplex& A, double B) noexcept { return {A.Re * B, A.Im * B}; }

constexpr TComplex operator*(double A, const TComplex& B) noexcept { return B * A; }

// Quotient after R. L. Smith, "Algorithm 116: Complex division", 1962. A divisor of 0 gives NaN in
// both parts.
constexpr TComplex operator/(const TComplex& A, const TComplex& B) noexcept {
  const double AbsRe = B.Re < 0.0 ? -B.Re : B.Re;
  const double AbsIm = B.Im < 0.0 ? -B.Im : B.Im;
  if (AbsRe >= AbsIm) {
    const double Ratio = B.Im / B.Re;
    const double Scale = B.Re + B.Im * Ratio;
    return {(A.Re + A.Im * Ratio) / Scale, (A.Im - A.Re * Ratio) / Scale};
  }
  const double Ratio = B.Re / B.Im;
  const double Scale = B.Re * Ratio + B.Im;
  return {(A.Re * Ratio + A.Im) / Scale, (A.Im * Ratio - A.Re) / Scale};
}

constexpr TComplex& TComplex::operator+=(const TComplex& AOther) noexcept {
  return *this = *this + AOther;
}
constexpr TComplex& TComplex::operator-=(const TComplex& AOther) noexcept {
  return *this = *this - AOther;
}
constexpr TComplex& TComplex::operator*=(const TComplex& AOther) noexcept {
  return *this = *this * AOther;
}
constexpr TComplex& TComplex::operator/=(const TComplex& AOther) noexcept {
  return *this = *this / AOther;
}

constexpr TComplex Conj(const TComplex& A) noexcept { return {A.Re, -A.Im}; }

}  // namespace tessalune
