#pragma once

#include <cstdint>
#include <string_view>

namespace tessalune {

// Every status that a primitive of this library gives, with its public value: name, value,
// meaning. 0 is success, a negative value an error, a positive one a warning (the result is
// valid).
#define TESSALUNE_IPP_STATUSES(X)                                                           \
  X(ippStsDomain, 19, "an argument is outside the function's domain")                       \
  X(ippStsSingularity, 18, "an argument is where the function is infinite")                 \
  X(ippStsLnNegArg, 8, "an argument of the logarithm is negative")                          \
  X(ippStsLnZeroArg, 7, "an argument of the logarithm is 0")                                \
  X(ippStsDivByZero, 6, "a divisor was 0; the result there is infinite or not a number")    \
  X(ippStsEvenMedianMaskSize, 5, "an even median mask was reduced by one")                  \
  X(ippStsNoErr, 0, "no error")                                                             \
  X(ippStsSizeErr, -6, "a length is below 1")                                               \
  X(ippStsNullPtrErr, -8, "a pointer is null")                                              \
  X(ippStsMemAllocErr, -9, "memory is exhausted")                                           \
  X(ippStsDivByZeroErr, -10, "the divisor is 0")                                            \
  X(ippStsFftOrderErr, -15, "the order of the transform is outside 0 to 30")                \
  X(ippStsFftFlagErr, -16, "the normalisation flag is none of 1, 2, 4, 8")                  \
  X(ippStsContextMatchErr, -17, "the plan or state is not of the kind that the call needs") \
  X(ippStsThresholdErr, -18, "the lower threshold is above the upper one")                  \
  X(ippStsIIROrderErr, -25, "the order of the recursive filter is below 1")                 \
  X(ippStsFIRLenErr, -26, "the filter has no taps")                                         \
  X(ippStsRelFreqErr, -27, "the relative frequency is outside [0, 1)")                      \
  X(ippStsShiftErr, -32, "the shift count is below 0")                                      \
  X(ippStsJaehneErr, -38, "the magnitude of the chirp is below 0")                          \
  X(ippStsHugeWinErr, -39, "the parameter of the window is not finite")                     \
  X(ippStsTrnglAsymErr, -40, "the asymmetry of the triangle is outside [-pi, pi)")          \
  X(ippStsTrnglPhaseErr, -41, "the phase of the triangle is outside [0, 2 pi)")             \
  X(ippStsTrnglFreqErr, -42, "the frequency of the triangle is outside [0, 0.5)")           \
  X(ippStsTrnglMagnErr, -43, "the magnitude of the triangle is not above 0")                \
  X(ippStsTonePhaseErr, -44, "the phase of the tone is outside [0, 2 pi)")                  \
  X(ippStsToneFreqErr, -45, "the frequency of the tone is outside [0, 0.5)")                \
  X(ippStsToneMagnErr, -46, "the magnitude of the tone is not above 0")                     \
  X(ippStsRoundModeNotSupportedErr, -213, "the rounding mode is unknown")

// Result of every primitive. A primitive of a loaded library may give values that have no name
// here; the sign tells what they are.
enum IppStatus : std::int32_t {
#define TESSALUNE_STATUS_VALUE(Name, Value, Meaning) Name = (Value),
  TESSALUNE_IPP_STATUSES(TESSALUNE_STATUS_VALUE)
#undef TESSALUNE_STATUS_VALUE
};

// The status's own name, "ippStsSizeErr"; "unknown status" for a value that has none.
constexpr std::string_view IppStatusName(IppStatus AStatus) noexcept {
  switch (AStatus) {
#define TESSALUNE_STATUS_NAME(Name, Value, Meaning) \
  case Name:                                        \
    return #Name;
    TESSALUNE_IPP_STATUSES(TESSALUNE_STATUS_NAME)
#undef TESSALUNE_STATUS_NAME
  }
  return "unknown status";
}

// What the status means, in words for a message.
constexpr std::string_view IppStatusMeaning(IppStatus AStatus) noexcept {
  switch (AStatus) {
#define TESSALUNE_STATUS_MEANING(Name, Value, Meaning) \
  case Name:                                           \
    return Meaning;
    TESSALUNE_IPP_STATUSES(TESSALUNE_STATUS_MEANING)
#undef TESSALUNE_STATUS_MEANING
  }
  return "a status that this library does not know";
}

// How a real value becomes an integer one.
enum IppRoundMode : std::int32_t {
  ippRndZero = 0,       // towards zero
  ippRndNear = 1,       // to the nearest, a tie to the even one
  ippRndFinancial = 2,  // to the nearest, a tie away from zero
};

// Normalisation of a Fourier transform of length N.
enum IppFftFlag : std::int32_t {
  IPP_FFT_DIV_FWD_BY_N = 1,  // the forward transform divides by N
  IPP_FFT_DIV_INV_BY_N = 2,  // the inverse transform divides by N
  IPP_FFT_DIV_BY_SQRTN = 4,  // both divide by the square root of N
  IPP_FFT_NODIV_BY_ANY = 8,  // none divides: forth and back multiplies by N
};

// What a plan is made for. The transforms here are always both fast and accurate; only the DCT
// heeds it (see ippsDCTFwdInitAlloc_64f).
enum IppHintAlgorithm : std::int32_t {
  ippAlgHintNone = 0,
  ippAlgHintFast = 1,
  ippAlgHintAccurate = 2,
};

// Plans. What they hold is known only to the provider of the primitives that made them.
struct DFTSpec_C_64fc;
struct DFTSpec_R_64f;
struct DFTSpec_C_32fc;
struct DFTSpec_R_32f;
struct FFTSpec_C_64fc;
struct FFTSpec_R_64f;
struct DCTFwdSpec_64f;
struct DCTInvSpec_64f;
struct HilbertSpec_32f32fc;

// Complex sample of single precision, real part first.
struct Ipp32fc {
  float Re;
  float Im;
};
static_assert(sizeof(Ipp32fc) == 2 * sizeof(float));

}  // namespace tessalune
