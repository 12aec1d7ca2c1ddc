#pragma once

#include "SpectrumOracle.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// The families of transforms, one type each, so that one test serves all. A test has samples and
// bins as plain values (TValue), whatever a transform takes them for: a complex number is two.
namespace tessalune::test {

enum class TDirection { Forward, Inverse };

// What the samples and the bins are: both complex; real samples with bins in one of two layouts;
// both real, of a cosine transform; real samples and, in place of bins, the analytic signal.
enum class TTransformLayout { Complex, Ccs, Perm, Cosines, Analytic };

#define TESSALUNE_TRANSFORM_FAMILY(Family, Kind, Spec, Type, Sample, Value, Shape, Fwd, Inv) \
  struct Family {                                                                            \
    using TValue = Value;                                                                    \
    using TSample = Sample;                                                                  \
    using TPlan = Kind##Spec_##Spec;                                                         \
    static constexpr TTransformLayout Layout = TTransformLayout::Shape;                      \
    static constexpr TDirection Directions[] = {TDirection::Forward, TDirection::Inverse};   \
    static constexpr bool TakesOrder = std::string_view(#Kind) == "FFT";                     \
    static constexpr bool HasFlags = true, HasBuffer = true;                                 \
    static constexpr std::int32_t OnStackPowers = sizeof(Value) == 8 ? 2048 : 4096;          \
    static constexpr auto& InitAlloc = ipps##Kind##InitAlloc_##Spec;                         \
    static constexpr auto& Free = ipps##Kind##Free_##Spec;                                   \
    static constexpr auto& GetBufSize = ipps##Kind##GetBufSize_##Spec;                       \
    static constexpr auto& Forward = ipps##Kind##Fwd_##Fwd##_##Type;                         \
    static constexpr auto& Inverse = ipps##Kind##Inv_##Inv##_##Type;                         \
    static constexpr const char* Name = #Family;                                             \
  };

// clang-format off
TESSALUNE_TRANSFORM_FAMILY(TDft64,     DFT, C_64fc, 64fc, TComplex, double, Complex, CToC, CToC)
TESSALUNE_TRANSFORM_FAMILY(TRealDft64, DFT, R_64f,  64f,  double,   double, Ccs, RToCCS, CCSToR)
TESSALUNE_TRANSFORM_FAMILY(TFft64,     FFT, C_64fc, 64fc, TComplex, double, Complex, CToC, CToC)
TESSALUNE_TRANSFORM_FAMILY(TRealFft64, FFT, R_64f,  64f,  double,   double, Ccs, RToCCS, CCSToR)
TESSALUNE_TRANSFORM_FAMILY(TPermFft64, FFT, R_64f,  64f,  double,   double, Perm, RToPerm, PermToR)
TESSALUNE_TRANSFORM_FAMILY(TDft32,     DFT, C_32fc, 32fc, Ipp32fc,  float,  Complex, CToC, CToC)
TESSALUNE_TRANSFORM_FAMILY(TRealDft32, DFT, R_32f,  32f,  float,    float,  Ccs, RToCCS, CCSToR)
// clang-format on
#undef TESSALUNE_TRANSFORM_FAMILY

// A plan of a cosine transform has one direction; the hint decides on the road.
#define TESSALUNE_COSINE_FAMILY(Family, Kind, Direction, Hint)                                    \
  struct Family {                                                                                 \
    using TValue = double;                                                                        \
    using TSample = double;                                                                       \
    using TPlan = DCT##Kind##Spec_64f;                                                            \
    static constexpr TTransformLayout Layout = TTransformLayout::Cosines;                         \
    static constexpr TDirection Directions[] = {TDirection::Direction};                           \
    static constexpr bool TakesOrder = false, HasFlags = false, HasBuffer = true;                 \
    static constexpr bool IsAccurate = ippAlgHint##Hint == ippAlgHintAccurate;                    \
    static constexpr std::int32_t OnStackPowers = 1024;                                           \
    static IppStatus InitAlloc(TPlan** APlan, std::int32_t ALength, std::int32_t, std::int32_t) { \
      return ippsDCT##Kind##InitAlloc_64f(APlan, ALength, ippAlgHint##Hint);                      \
    }                                                                                             \
    static constexpr auto& Free = ippsDCT##Kind##Free_64f;                                        \
    static constexpr auto& GetBufSize = ippsDCT##Kind##GetBufSize_64f;                            \
    static constexpr auto &Forward = ippsDCT##Kind##_64f, &Inverse = Forward;                     \
    static constexpr const char* Name = #Family;                                                  \
  };
TESSALUNE_COSINE_FAMILY(TFastDct, Fwd, Forward, Fast)
TESSALUNE_COSINE_FAMILY(TAccurateDct, Fwd, Forward, Accurate)
TESSALUNE_COSINE_FAMILY(TFastInverseDct, Inv, Inverse, Fast)
TESSALUNE_COSINE_FAMILY(TAccurateInverseDct, Inv, Inverse, Accurate)
#undef TESSALUNE_COSINE_FAMILY

struct THilbert {
  using TValue = float;
  using TSample = float;
  using TPlan = HilbertSpec_32f32fc;
  static constexpr TTransformLayout Layout = TTransformLayout::Analytic;
  static constexpr TDirection Directions[] = {TDirection::Forward};
  static constexpr bool TakesOrder = false, HasFlags = false, HasBuffer = false;
  static constexpr std::int32_t OnStackPowers = 4096;
  static IppStatus InitAlloc(TPlan** APlan, std::int32_t ALength, std::int32_t, std::int32_t) {
    return ippsHilbertInitAlloc_32f32fc(APlan, ALength, ippAlgHintNone);
  }
  static IppStatus Forward(const float* ASource, float* ATarget, const TPlan* APlan,
                           std::uint8_t*) {
    return ippsHilbert_32f32fc(ASource, reinterpret_cast<Ipp32fc*>(ATarget), APlan);
  }
  static constexpr auto& Inverse = Forward;
  static constexpr auto& Free = ippsHilbertFree_32f32fc;
  static constexpr const char* Name = "THilbert";
};

using TTransformFamilies =
    testing::Types<TDft64, TRealDft64, TFft64, TRealFft64, TPermFft64, TDft32, TRealDft32, TFastDct,
                   TAccurateDct, TFastInverseDct, TAccurateInverseDct, THilbert>;

// AFunction.operator()<family>() for each of them.
template <class... TFamilies, class TFunction>
void ForEachFamily(testing::Types<TFamilies...>, TFunction AFunction) {
  (AFunction.template operator()<TFamilies>(), ...);
}
template <class TFunction>
void ForEachFamily(TFunction AFunction) {
  ForEachFamily(TTransformFamilies{}, AFunction);
}

// The names that typed tests bear.
struct TFamilyNames {
  template <class TFamily>
  static std::string GetName(int) {
    return TFamily::Name;
  }
};

// Whether a family has the length, and how it is told.
template <class TFamily>
bool HasLength(std::int32_t ALength) {
  return !TFamily::TakesOrder || std::has_single_bit(static_cast<std::uint32_t>(ALength));
}
template <class TFamily>
std::int32_t LengthArgument(std::int32_t ALength) {
  return TFamily::TakesOrder ? std::countr_zero(static_cast<std::uint32_t>(ALength)) : ALength;
}

// How many values the samples and the bins are.
template <class TFamily>
std::size_t SampleValues(std::int32_t ALength) {
  const auto Length = static_cast<std::size_t>(ALength);
  return TFamily::Layout == TTransformLayout::Complex ? 2 * Length : Length;
}
template <class TFamily>
std::size_t BinValues(std::int32_t ALength) {
  const auto Length = static_cast<std::size_t>(ALength);
  if (TFamily::Layout == TTransformLayout::Analytic) return 2 * Length;
  return TFamily::Layout == TTransformLayout::Ccs ? Length / 2 * 2 + 2
                                                  : SampleValues<TFamily>(ALength);
}
template <class TFamily>
std::size_t SourceValues(TDirection ADirection, std::int32_t ALength) {
  return ADirection == TDirection::Forward ? SampleValues<TFamily>(ALength)
                                           : BinValues<TFamily>(ALength);
}
template <class TFamily>
std::size_t TargetValues(TDirection ADirection, std::int32_t ALength) {
  return ADirection == TDirection::Forward ? BinValues<TFamily>(ALength)
                                           : SampleValues<TFamily>(ALength);
}

template <class TFamily>
IppStatus Transform(TDirection ADirection, const typename TFamily::TValue* ASource,
                    typename TFamily::TValue* ATarget, const typename TFamily::TPlan* APlan,
                    std::uint8_t* ABuffer = nullptr) {
  using TSample = typename TFamily::TSample;
  const auto Function = ADirection == TDirection::Forward ? TFamily::Forward : TFamily::Inverse;
  return Function(reinterpret_cast<const TSample*>(ASource), reinterpret_cast<TSample*>(ATarget),
                  APlan, ABuffer);
}

// A plan of a test.
template <class TFamily>
class TOwnPlan {
 public:
  explicit TOwnPlan(std::int32_t ALength, std::int32_t AFlag = IPP_FFT_NODIV_BY_ANY) {
    EXPECT_EQ(TFamily::InitAlloc(&FPlan, LengthArgument<TFamily>(ALength), AFlag, 0), ippStsNoErr)
        << TFamily::Name << ", " << ALength;
  }
  ~TOwnPlan() { EXPECT_EQ(TFamily::Free(FPlan), ippStsNoErr); }
  TOwnPlan(const TOwnPlan&) = delete;
  TOwnPlan& operator=(const TOwnPlan&) = delete;

  typename TFamily::TPlan* get() const { return FPlan; }
  std::int32_t BufferSize() const {
    std::int32_t Result = TFamily::HasBuffer ? -1 : 0;
    if constexpr (TFamily::HasBuffer) {
      EXPECT_EQ(TFamily::GetBufSize(FPlan, &Result), ippStsNoErr);
    }
    return Result;
  }

 private:
  typename TFamily::TPlan* FPlan = nullptr;
};

// One random signal of a length and its exact spectrum, from which the input and the result of
// every family and direction follow. Its parts are small odd integers, which all types hold.
class TReferenceSpectrum {
 public:
  explicit TReferenceSpectrum(std::int32_t ALength) : FSamples(static_cast<std::size_t>(ALength)) {
    std::mt19937 Engine(static_cast<std::uint32_t>(ALength));
    std::uniform_int_distribution<int> Draw(-50, 49);
    for (TExact& X : FSamples) {
      const int Re = 2 * Draw(Engine) + 1;
      X = {static_cast<long double>(Re), static_cast<long double>(2 * Draw(Engine) + 1)};
    }
    FSpectrum = TSpectrumOracle(FSamples.size()).Forward(FSamples);
  }

  std::int32_t Length() const { return static_cast<std::int32_t>(FSamples.size()); }

  // What a transform takes. Parts that it has to ignore are not numbers.
  template <class TFamily>
  std::vector<typename TFamily::TValue> Source(TDirection ADirection) const {
    if (TFamily::Layout == TTransformLayout::Cosines) ADirection = TDirection::Forward;
    std::vector<TExact> Values;
    for (std::size_t I = 0; I < FSamples.size(); ++I) {
      const TExact Mirror = FSamples[(FSamples.size() - I) % FSamples.size()];
      if (ADirection == TDirection::Forward)
        Values.push_back(FSamples[I]);
      else if (TFamily::Layout == TTransformLayout::Complex)
        Values.push_back(std::conj(FSamples[I]));
      else
        Values.push_back(FSamples[I] + std::conj(Mirror));
    }
    const auto Junk = std::numeric_limits<long double>::quiet_NaN();
    const std::vector<long double> Result =
        ADirection == TDirection::Forward ? Samples<TFamily>(Values) : Bins<TFamily>(Values, Junk);
    return {Result.begin(), Result.end()};
  }

  // What it makes of that, before any division.
  template <class TFamily>
  std::vector<long double> Result(TDirection ADirection) const {
    if (TFamily::Layout == TTransformLayout::Cosines) return Cosines(ADirection);
    std::vector<TExact> Values;
    for (std::size_t I = 0; I < FSpectrum.size(); ++I) {
      const TExact Mirror = FSpectrum[(FSpectrum.size() - I) % FSpectrum.size()];
      if (TFamily::Layout == TTransformLayout::Complex)
        Values.push_back(ADirection == TDirection::Forward ? FSpectrum[I]
                                                           : std::conj(FSpectrum[I]));
      else if (ADirection == TDirection::Forward)  // of the real parts
        Values.push_back((FSpectrum[I] + std::conj(Mirror)) / 2.0L);
      else
        Values.push_back(2.0L * Mirror);
    }
    if (TFamily::Layout == TTransformLayout::Analytic) return AnalyticSignal(Values);
    return ADirection == TDirection::Forward ? Bins<TFamily>(Values, 0) : Samples<TFamily>(Values);
  }

 private:
  template <class TFamily>
  static std::vector<long double> Samples(const std::vector<TExact>& AValues) {
    std::vector<long double> Result;
    for (const TExact& X : AValues) {
      Result.push_back(X.real());
      if (TFamily::Layout == TTransformLayout::Complex) Result.push_back(X.imag());
    }
    return Result;
  }

  // AIgnored: what stands for the imaginary parts that are 0.
  template <class TFamily>
  static std::vector<long double> Bins(const std::vector<TExact>& AValues, long double AIgnored) {
    if (TFamily::Layout == TTransformLayout::Complex) return Samples<TFamily>(AValues);
    const std::size_t Length = AValues.size();
    std::vector<long double> Result;
    for (std::size_t K = 0; 2 * K <= Length; ++K) {
      Result.push_back(AValues[K].real());
      Result.push_back(K % Length == 0 || 2 * K == Length ? AIgnored : AValues[K].imag());
    }
    if (TFamily::Layout == TTransformLayout::Perm) {
      if (Length > 1) Result[1] = AValues[Length / 2].real();
      Result.resize(Length);
    }
    return Result;
  }

  // By transforms of twice the length, of the real parts: forward the sums over n of
  // x[n] cos(pi k (2 n + 1) / 2 N), scaled by sqrt(2 / N), or sqrt(1 / N) of bin 0; and back.
  std::vector<long double> Cosines(TDirection ADirection) const {
    const std::size_t N = FSamples.size();
    const TSpectrumOracle Oracle(2 * N);
    std::vector<TExact> Values(2 * N), Factors;
    for (std::size_t K = 0; K < N; ++K) {
      const auto Length = static_cast<long double>(N);
      Factors.push_back(std::polar(std::sqrt((K == 0 ? 1 : 2) / Length),
                                   std::numbers::pi_v<long double> * K / (2 * Length)));
      Values[K] = FSamples[K].real();
    }
    if (ADirection == TDirection::Inverse)
      for (std::size_t K = 0; K < N; ++K) Values[K] *= Factors[K];
    Values = ADirection == TDirection::Forward ? Oracle.Forward(Values) : Oracle.Inverse(Values);
    std::vector<long double> Result;
    for (std::size_t K = 0; K < N; ++K)
      Result.push_back(ADirection == TDirection::Forward
                           ? (Values[K] * std::conj(Factors[K])).real()
                           : Values[K].real());
    return Result;
  }

  // Of the bins from 0 to N/2, those in between doubled.
  static std::vector<long double> AnalyticSignal(std::vector<TExact> ABins) {
    const std::size_t N = ABins.size();
    for (std::size_t K = 0; K < N; ++K) {
      const long double Weight = K == 0 || 2 * K == N ? 1 : 2 * K < N ? 2 : 0;
      ABins[K] *= Weight / static_cast<long double>(N);
    }
    std::vector<long double> Result;
    for (const TExact& X : TSpectrumOracle(N).Inverse(ABins)) {
      Result.push_back(X.real());
      Result.push_back(X.imag());
    }
    return Result;
  }

  std::vector<TExact> FSamples;
  std::vector<TExact> FSpectrum;
};

// By what a flag makes a direction multiply.
inline long double ScaleOf(std::int32_t AFlag, TDirection ADirection, std::int32_t ALength) {
  const bool IsForward = ADirection == TDirection::Forward;
  if (AFlag == (IsForward ? IPP_FFT_DIV_FWD_BY_N : IPP_FFT_DIV_INV_BY_N)) return 1.0L / ALength;
  return AFlag == IPP_FFT_DIV_BY_SQRTN ? 1 / std::sqrt(static_cast<long double>(ALength)) : 1.0L;
}

// ||AActual - AScale AExpected|| / ||AScale AExpected||, in rounding errors of T.
template <class T>
long double RelativeError(const T* AActual, const std::vector<long double>& AExpected,
                          long double AScale = 1) {
  long double Error = 0;
  long double Norm = 0;
  for (std::size_t I = 0; I < AExpected.size(); ++I) {
    const long double Expected = AScale * AExpected[I];
    const long double Difference = static_cast<long double>(AActual[I]) - Expected;
    Error += Difference * Difference;
    Norm += Expected * Expected;
  }
  return std::sqrt(Error / Norm) / (std::numeric_limits<T>::epsilon() / 2);
}

// The greatest relative error of a transform, in rounding errors, as the headers tell it.
template <class TFamily>
long double ErrorBound(std::int32_t ALength) {
  const long double Growth = std::sqrt(std::log2(static_cast<long double>(ALength)));
  const bool IsPowerOfTwo = std::has_single_bit(static_cast<std::uint32_t>(ALength));
  if constexpr (TFamily::Layout == TTransformLayout::Analytic)  // of two transforms
    return IsPowerOfTwo ? 2 * (1.2L * Growth + 1) : 2 * (4 * std::sqrt(Growth * Growth + 2) + 2);
  if constexpr (TFamily::Layout == TTransformLayout::Cosines) {
    const long double Root = std::sqrt(static_cast<long double>(ALength));
    if (!IsPowerOfTwo) return ALength <= 100 ? 2 + Root : 6 * Growth;
    if (ALength <= 8) return 2;
    return TFamily::IsAccurate && ALength > 512 ? 1.2L * Growth + 2 : 4 * Root;
  }
  std::int32_t Rest = ALength;
  for (const std::int32_t P : {2, 3, 5, 7, 11, 13})
    while (Rest % P == 0) Rest /= P;
  // By mixed radices; by sums over a prime factor, or by a convolution.
  return Rest == 1 ? 1.2L * Growth + 1 : 4 * std::sqrt(Growth * Growth + 2) + 3;
}

}  // namespace tessalune::test
