#pragma once

#include <cmath>

// The C library's functions as the primitives call them: double precision, its accuracy.
namespace tessalune {

inline double _sin(double X) noexcept { return std::sin(X); }
inline double _cos(double X) noexcept { return std::cos(X); }
inline double _sqrt(double X) noexcept { return std::sqrt(X); }
inline double _log(double X) noexcept { return std::log(X); }
inline double _floor(double X) noexcept { return std::floor(X); }
inline double _atan2(double Y, double X) noexcept { return std::atan2(Y, X); }

}  // namespace tessalune
