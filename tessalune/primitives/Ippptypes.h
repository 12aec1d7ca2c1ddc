#pragma once

#include <cstdint>
#include <string_view>

namespace tessalune {

// The statuses of signal primitives, with their public values: name, value, and the meaning that
// the built-ins, where they give it, give it. 0 is success, a negative value an error, a positive
// one a warning (the result is valid). What the public list has for primitives of other kinds only
// (images, video, speech, audio, matrices, strings, ciphers) has no name here.
#define TESSALUNE_IPP_STATUSES(X)                                                                 \
  X(ippStsEvenMedianWeight, 39, "an even weight of a weighted median was replaced by an odd one") \
  X(ippStsUnknownCacheSize, 37, "the processor's cache is of unknown size")                       \
  X(ippStsNotSupportedCpu, 36, "the processor is not supported")                                  \
  X(ippStsNoOperationInDll, 24, "the function does nothing in a shared library")                  \
  X(ippStsDllNotFoundBestUsed, 23, "an older version of the library is used")                     \
  X(ippStsNoIppFunctionFound, 22, "the program calls no primitive")                               \
  X(ippStsCpuMismatch, 21, "the library cannot be set to that processor")                         \
  X(ippStsNonIntelCpu, 20, "the processor is of another make than the library expects")           \
  X(ippStsDomain, 19, "an argument is outside the function's domain")                             \
  X(ippStsSingularity, 18, "an argument is where the function is infinite")                       \
  X(ippStsUnderflow, 17, "a result is too small for its type")                                    \
  X(ippStsOverflow, 12, "a result is too large for its type")                                     \
  X(ippStsResFloor, 11, "all results were rounded down")                                          \
  X(ippStsNanArg, 9, "an argument is not a number")                                               \
  X(ippStsLnNegArg, 8, "an argument of the logarithm is negative")                                \
  X(ippStsLnZeroArg, 7, "an argument of the logarithm is 0")                                      \
  X(ippStsDivByZero, 6, "a divisor was 0; the result there is infinite or not a number")          \
  X(ippStsEvenMedianMaskSize, 5, "an even median mask was reduced by one")                        \
  X(ippStsInvZero, 4, "the reciprocal of 0 was asked for; the result there is infinite")          \
  X(ippStsSqrtNegArg, 3, "an argument of the square root is negative")                            \
  X(ippStsMisalignedBuf, 2, "a pointer is not aligned as the operation needs it")                 \
  X(ippStsNoOperation, 1, "nothing was to be done")                                               \
  X(ippStsNoErr, 0, "no error")                                                                   \
  X(ippStsSAReservedErr1, -1, "an error of no known kind")                                        \
  X(ippStsErr, -2, "an error of no known kind")                                                   \
  X(ippStsSAReservedErr3, -3, "an error of no known kind")                                        \
  X(ippStsNoMemErr, -4, "there is not enough memory")                                             \
  X(ippStsBadArgErr, -5, "an argument is wrong")                                                  \
  X(ippStsSizeErr, -6, "a length is below 1")                                                     \
  X(ippStsRangeErr, -7, "the lower bound is above the upper one")                                 \
  X(ippStsNullPtrErr, -8, "a pointer is null")                                                    \
  X(ippStsMemAllocErr, -9, "memory is exhausted")                                                 \
  X(ippStsDivByZeroErr, -10, "the divisor is 0")                                                  \
  X(ippStsOutOfRangeErr, -11, "an argument is out of range")                                      \
  X(ippStsDataTypeErr, -12, "the type of the data is wrong or not supported")                     \
  X(ippStsScaleRangeErr, -13, "the scale is out of range")                                        \
  X(ippStsStepErr, -14, "the step is wrong")                                                      \
  X(ippStsFftOrderErr, -15, "the order of the transform is outside 0 to 30")                      \
  X(ippStsFftFlagErr, -16, "the normalisation flag is none of 1, 2, 4, 8")                        \
  X(ippStsContextMatchErr, -17, "the plan or state is not of the kind that the call needs")       \
  X(ippStsThresholdErr, -18, "the lower threshold is above the upper one")                        \
  X(ippStsThreshNegLevelErr, -19, "the level of the threshold is below 0")                        \
  X(ippStsMoment00ZeroErr, -20, "the moment of order 0 is too small")                             \
  X(ippStsMirrorFlipErr, -21, "the way of mirroring is unknown")                                  \
  X(ippStsInterpolationErr, -22, "the way of interpolating is unknown")                           \
  X(ippStsResizeFactorErr, -23, "the factor of resizing is not above 0")                          \
  X(ippStsDlyLineIndexErr, -24, "the index into the delay line is wrong")                         \
  X(ippStsIIROrderErr, -25, "the order of the recursive filter is below 1")                       \
  X(ippStsFIRLenErr, -26, "the filter has no taps")                                               \
  X(ippStsRelFreqErr, -27, "the relative frequency is outside [0, 1)")                            \
  X(ippStsFIRMRPhaseErr, -28, "the phase of the multi-rate filter is outside [0, factor)")        \
  X(ippStsFIRMRFactorErr, -29, "the factor of the multi-rate filter is below 1")                  \
  X(ippStsSamplePhaseErr, -30, "the phase of resampling is outside [0, factor)")                  \
  X(ippStsSampleFactorErr, -31, "the factor of resampling is below 1")                            \
  X(ippStsShiftErr, -32, "the shift count is below 0")                                            \
  X(ippStsMaskSizeErr, -33, "the size of the mask is wrong")                                      \
  X(ippStsAnchorErr, -34, "the anchor is outside the mask")                                       \
  X(ippStsWtOffsetErr, -35, "the offset of the wavelet filter is wrong")                          \
  X(ippStsEpsValErr, -36, "the tolerance is below 0")                                             \
  X(ippStsStrideErr, -37, "the stride is less than a row")                                        \
  X(ippStsJaehneErr, -38, "the magnitude of the chirp is below 0")                                \
  X(ippStsHugeWinErr, -39, "the parameter of the window is not finite")                           \
  X(ippStsTrnglAsymErr, -40, "the asymmetry of the triangle is outside [-pi, pi)")                \
  X(ippStsTrnglPhaseErr, -41, "the phase of the triangle is outside [0, 2 pi)")                   \
  X(ippStsTrnglFreqErr, -42, "the frequency of the triangle is outside [0, 0.5)")                 \
  X(ippStsTrnglMagnErr, -43, "the magnitude of the triangle is not above 0")                      \
  X(ippStsTonePhaseErr, -44, "the phase of the tone is outside [0, 2 pi)")                        \
  X(ippStsToneFreqErr, -45, "the frequency of the tone is outside [0, 0.5)")                      \
  X(ippStsToneMagnErr, -46, "the magnitude of the tone is not above 0")                           \
  X(ippStsSparseErr, -194, "the positions of the taps do not rise, or are below 0")               \
  X(ippStsConvergeErr, -205, "the algorithm does not converge")                                   \
  X(ippStsIIRGenOrderErr, -206, "the order of the recursive filter to design is outside 1 to 12") \
  X(ippStsFIRGenOrderErr, -207, "the order of the filter to design is below 1")                   \
  X(ippStsFilterFrequencyErr, -208, "the cutoff of the filter to design is outside (0, 0.5)")     \
  X(ippStsIIRPassbandRippleErr, -209, "the ripple of the filter to design is outside (0, 29)")    \
  X(ippStsRoundModeNotSupportedErr, -213, "the rounding mode is unknown")                         \
  X(ippStsUnknownStatusCodeErr, -216, "the status is unknown")                                    \
  X(ippStsLoadDynErr, -221, "the shared library could not be loaded")                             \
  X(ippStsWrongAffinitySettingErr, -222, "the affinity of the threads was set otherwise")         \
  X(ippStsInplaceModeNotSupportedErr, -9997, "the operation cannot work in place")                \
  X(ippStsCpuNotSupportedErr, -9998, "the processor is not supported")                            \
  X(ippStsNotSupportedModeErr, -9999, "the mode is not supported")

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

// What a plan is made for. Only the DCT heeds it (Dct.h, Roads); the Fourier transforms are always
// both fast and accurate, and take any value.
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
