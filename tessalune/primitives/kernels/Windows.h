#pragma once

#include <tessalune/primitives/kernels/Vector.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

// Windows. A shape writes the weights of some samples of the first half, the middle one included;
// the second half is its mirror image, so that a window is symmetric bit for bit.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// So many at a time at most; there is room for as many, whatever is asked for.
constexpr std::size_t WeightChunk = 128;

// Multiplies ACount samples by the weights of AShape. T is double or TComplex.
template <class T, class TShape>
inline void ApplyWindow(T* pSrcDst, std::size_t ACount, const TShape& AShape) noexcept {
  double Weights[WeightChunk] = {};
  const std::size_t Half = ACount / 2;
  for (std::size_t From = 0; From < ACount - Half; From += WeightChunk) {
    const std::size_t Length = std::min(WeightChunk, ACount - Half - From);
    AShape.Weigh(From, Length, Weights);
    T* const Rising = pSrcDst + From;
    for (std::size_t I = 0; I < Length; ++I) Rising[I] = Rising[I] * Weights[I];
    T* const Falling = pSrcDst + (ACount - 1 - From);
    const std::size_t Mirrored = std::min(Length, Half - From);
    for (std::size_t I = 0; I < Mirrored; ++I) *(Falling - I) = *(Falling - I) * Weights[I];
  }
}

// 2 n / (count - 1) up to the middle.
class TTriangleShape {
 public:
  explicit TTriangleShape(std::size_t ACount) noexcept : FLast(static_cast<double>(ACount - 1)) {}

  void Weigh(std::size_t AFrom, std::size_t ALength, double* AWeights) const noexcept {
    const auto From = static_cast<double>(AFrom);
    for (std::int32_t I = 0; I < static_cast<std::int32_t>(ALength); ++I)
      AWeights[I] = 2.0 * (From + I) / FLast;
  }

 private:
  double FLast;
};

// sin(pi X)^2 for X in [0, 1/2], by the power series of (1 - cos(2 pi X)) / 2 in X^2 up to 1/4, and
// by that of the complement beyond.
inline double SquaredSine(double AX) noexcept {
  constexpr std::size_t Terms = 12;  // what they leave away is below 1e-18 of the value
  constexpr auto Series = [] {
    std::array<double, Terms> Result{};
    constexpr long double SquaredTwoPi =
        4 * std::numbers::pi_v<long double> * std::numbers::pi_v<long double>;
    long double Term = SquaredTwoPi / 4;
    for (std::size_t K = 0; K < Terms; ++K) {
      Result[K] = static_cast<double>(Term);
      Term *= -SquaredTwoPi / static_cast<long double>((2 * K + 3) * (2 * K + 4));
    }
    return Result;
  }();
  const double Near = AX <= 0.25 ? AX : 0.5 - AX;
  const double Square = Near * Near;
  double Sum = Series[Terms - 1];
  for (std::size_t K = Terms - 1; K > 0; --K) Sum = Sum * Square + Series[K - 1];
  Sum *= Square;
  return AX <= 0.25 ? Sum : 1.0 - Sum;
}

// AFunction(s), s = sin(pi n / (count - 1))^2 = (1 - cos(2 pi n / (count - 1))) / 2: said so, sums
// of cosines lose no digits where they are small.
template <class TFunction>
class TCosineShape {
 public:
  TCosineShape(std::size_t ACount, TFunction AFunction) noexcept
      : FStep(1.0 / static_cast<double>(ACount - 1)), FFunction(AFunction) {}

  void Weigh(std::size_t AFrom, std::size_t ALength, double* AWeights) const noexcept {
    const auto From = static_cast<double>(AFrom);
    for (std::int32_t I = 0; I < static_cast<std::int32_t>(ALength); ++I)
      AWeights[I] = FFunction(SquaredSine((From + I) * FStep));
  }

 private:
  double FStep;
  TFunction FFunction;
};

// I0(x), x^2 / 4 = AQuarter, by its power series; x up to BesselBound.
class TBesselSeries {
 public:
  static constexpr std::size_t MaxTerms = 64;

  // Terms that AQuarter or less needs: what follows is below 2^-60 of the sum.
  static std::size_t Terms(double AQuarter) noexcept {
    double Term = 1.0;
    double Sum = 1.0;
    std::size_t K = 1;
    for (; K < MaxTerms && Term > 0x1p-60 * Sum; ++K) {
      Term *= AQuarter / static_cast<double>(K * K);
      Sum += Term;
    }
    return K;
  }

  static double Value(double AQuarter, std::size_t ATerms) noexcept {
    double Sum = Series[ATerms - 1];
    for (std::size_t K = ATerms - 1; K > 0; --K) Sum = Sum * AQuarter + Series[K - 1];
    return Sum;
  }

  // Replaces ALength arguments by their values, several vectors at a time, so that none waits for
  // its own sum. It takes whole vectors: AArguments has WeightChunk elements.
  static void Values(double* AArguments, std::size_t ALength, std::size_t ATerms) noexcept {
    constexpr int Vectors = 4;
    constexpr int L = MaxLanes<double>;
    static_assert(WeightChunk % (Vectors * L) == 0);
    for (std::size_t I = 0; I < ALength; I += Vectors * L) {
      TReals Quarters[Vectors], Sums[Vectors];
      Repeat<Vectors>(TESSALUNE_EACH(V) {
        Quarters[V] = Load(AArguments + I + V * L);
        Sums[V] = Series[ATerms - 1] - TReals{};
      });
      for (std::size_t K = ATerms - 1; K > 0; --K)
        Repeat<Vectors>(TESSALUNE_EACH(V) { Sums[V] = Sums[V] * Quarters[V] + Series[K - 1]; });
      Repeat<Vectors>(TESSALUNE_EACH(V) { Store(AArguments + I + V * L, Sums[V]); });
    }
  }

 private:
  static constexpr std::array<double, MaxTerms> Series = [] {
    std::array<double, MaxTerms> Result{};
    long double Term = 1;
    for (std::size_t K = 0; K < MaxTerms; ++K) {
      Result[K] = static_cast<double>(Term);
      Term /= static_cast<long double>((K + 1) * (K + 1));
    }
    return Result;
  }();
};

// sqrt(2 pi x) exp(-x) I0(x) for x from BesselBound on, by its asymptotic series.
inline double ScaledBessel(double AX) noexcept {
  const double Step = 1.0 / (8.0 * AX);
  double Term = 1.0;
  double Sum = 1.0;
  for (std::int32_t K = 1; Term > 0x1p-60; ++K) {
    const double Odd = 2 * K - 1;
    Term *= Odd * Odd / K * Step;
    Sum += Term;
  }
  return Sum;
}

// Where the power series gives way to the asymptotic one, whose least term is exp(-2 x) then.
constexpr double BesselBound = 30.0;

// I0(alpha sqrt(n (last - n))) / I0(alpha last / 2), last = count - 1: the argument is that of the
// definition, alpha sqrt((last / 2)^2 - (n - last / 2)^2).
class TKaiserShape {
 public:
  TKaiserShape(std::size_t ACount, double AAlpha) noexcept
      : FAlpha(std::fabs(AAlpha)),
        FLast(static_cast<double>(ACount - 1)),
        FPeak(FAlpha * (FLast / 2.0)),
        FIsLarge(FPeak > BesselBound) {
    const double Largest = std::min(FPeak, BesselBound);
    FTerms = TBesselSeries::Terms(Largest * Largest / 4.0);
    FUnit = FIsLarge ? ScaledBessel(FPeak) / std::sqrt(FPeak)
                     : TBesselSeries::Value(FPeak * FPeak / 4.0, FTerms);
  }

  void Weigh(std::size_t AFrom, std::size_t ALength, double* AWeights) const noexcept {
    const auto From = static_cast<double>(AFrom);
    const auto Length = static_cast<std::int32_t>(ALength);
    if (FIsLarge) {
      for (std::int32_t I = 0; I < Length; ++I) AWeights[I] = LargeWeight(From + I);
      return;
    }
    const double Factor = FAlpha * FAlpha / 4.0;
    for (std::int32_t I = 0; I < Length; ++I)
      AWeights[I] = (From + I) * (FLast - (From + I)) * Factor;
    TBesselSeries::Values(AWeights, ALength, FTerms);
    for (std::int32_t I = 0; I < Length; ++I) AWeights[I] /= FUnit;
  }

 private:
  // By I0 without its exponential growth, which overflows; what the exponents differ by is computed
  // without cancellation.
  double LargeWeight(double AN) const noexcept {
    const double Root = std::sqrt(AN * (FLast - AN));
    const double X = FAlpha * Root;
    const double FromMiddle = FLast / 2.0 - AN;
    const double Fall = FAlpha * (FromMiddle * FromMiddle / (FLast / 2.0 + Root));
    if (X >= BesselBound) return std::exp(-Fall) * (ScaledBessel(X) / std::sqrt(X)) / FUnit;
    const double Value = TBesselSeries::Value(X * X / 4.0, FTerms);
    return std::exp(-Fall) * std::exp(-X) * Value * std::sqrt(2.0 * std::numbers::pi) / FUnit;
  }

  double FAlpha;
  double FLast;
  double FPeak;  // the argument in the middle
  bool FIsLarge;
  std::size_t FTerms;
  double FUnit;  // the Bessel function in the middle, scaled if it is large
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
