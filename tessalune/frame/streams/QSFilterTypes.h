// What a designed filter may be.
#pragma once

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <array>
#include <cstdint>
#include <string_view>

namespace tessalune {

// How a filter computes, which also says how its taps lie.
enum class TQSFilterType : std::uint8_t {
  ftFIR,        // h0, h1, ...: the impulse response
  ftIIR,        // one direct form: B0 to Bn, then A0 to An
  ftBiquadIIR,  // a chain of sections of order 2: B0, B1, B2, A0, A1, A2 of each
};
template <>
struct TEnumNames<TQSFilterType> {
  static constexpr std::array<std::string_view, 3> Names{"ftFIR", "ftIIR", "ftBiquadIIR"};
};

// The window of a FIR design.
enum class TQSWindowType : std::uint8_t {
  wtRect,
  wtBartlett,
  wtBlackman,
  wtHamming,
  wtHanning,
  wtKaiser,
};
template <>
struct TEnumNames<TQSWindowType> {
  static constexpr std::array<std::string_view, 6> Names{"wtRect",    "wtBartlett", "wtBlackman",
                                                         "wtHamming", "wtHanning",  "wtKaiser"};
};

// The analogue prototype of an IIR design.
enum class TQSIIRFilterType : std::uint8_t {
  iirBessel,       // linear phase, before the bilinear transform
  iirButterworth,  // maximally flat magnitude
  iirChebyshev,    // of the first kind: ripple in the pass band, steepest
};
template <>
struct TEnumNames<TQSIIRFilterType> {
  static constexpr std::array<std::string_view, 3> Names{"iirBessel", "iirButterworth",
                                                         "iirChebyshev"};
};

enum class TQSDesignFilterType : std::uint8_t {
  dfLowPass,
  dfHighPass,
  dfBandPass,
  dfBandStop,
};
template <>
struct TEnumNames<TQSDesignFilterType> {
  static constexpr std::array<std::string_view, 4> Names{"dfLowPass", "dfHighPass", "dfBandPass",
                                                         "dfBandStop"};
};

}  // namespace tessalune
