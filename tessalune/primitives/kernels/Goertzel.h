#pragma once

#include <tessalune/primitives/QSComplex.h>
#include <tessalune/primitives/kernels/Vector.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <numbers>

// One bin of a discrete Fourier transform of complex samples.
//
// The sum is taken by Horner's rule, one rotation a sample. The samples are dealt out to Streams
// chains, so that none waits for another, and a chain ends after StepsPerRun samples, so that what
// rounding does to it does not grow with the length. The sums of the runs are put together by the
// same rule at extended precision.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// One of the unit circle.
struct TRotation {
  long double Re;
  long double Im;

  TRotation operator*(const TRotation& AOther) const noexcept {
    return {Re * AOther.Re - Im * AOther.Im, Re * AOther.Im + Im * AOther.Re};
  }
};

// By ATurns cycles, of which whole ones do not count; the reduction is exact.
inline TRotation RotationBy(long double ATurns) noexcept {
  const long double Angle = 2 * std::numbers::pi_v<long double> * (ATurns - std::round(ATurns));
  return {std::cos(Angle), std::sin(Angle)};
}

class TGoertzel {
 public:
  // AFreq in cycles a sample.
  explicit TGoertzel(double AFreq) noexcept : FFreq(AFreq) {
    const TRotation Single = RotationBy(FFreq);
    TRotation Power = Single;
    for (std::size_t S = Streams; S-- > 0;) {
      FAhead[S] = {static_cast<double>(Power.Re), static_cast<double>(Power.Im)};
      Power = Power * Single;
    }
    FStep = FAhead[0];
  }

  // The sum of pSrc[n] exp(i w (ACount - n)), w = 2 pi AFreq.
  TComplex Sum(const TComplex* pSrc, std::size_t ACount) const noexcept {
    const std::size_t Steps = (ACount + Streams - 1) / Streams;
    const TRotation Run = Steps > StepsPerRun ? RotationBy(FFreq * RunLength) : TRotation{};
    // Zeros in front fill up the first step; the first run is the one that may be shorter.
    TComplex First[Streams] = {};
    const std::size_t Missing = Steps * Streams - ACount;
    std::copy_n(pSrc, Streams - Missing, First + Missing);
    const TComplex* Next = pSrc + (Streams - Missing);

    TRotation Result{};
    TChains Chains;
    std::memcpy(Chains, First, sizeof Chains);
    for (std::size_t S = 1; S < Steps; ++S) {
      if ((Steps - S) % StepsPerRun == 0) {
        Result = Add(Result * Run, Total(Chains));
        std::memset(Chains, 0, sizeof Chains);
      }
      Step(Chains, Next);
      Next += Streams;
    }
    Result = Add(Result * Run, Total(Chains));
    return {static_cast<double>(Result.Re), static_cast<double>(Result.Im)};
  }

 private:
  static constexpr int Vectors = VectorBytes == 64 ? 4 : 8;
  static constexpr std::size_t Streams = Vectors * RealLanes / 2;
  static constexpr std::size_t StepsPerRun = 16;
  static constexpr long double RunLength = StepsPerRun * Streams;
  using TChains = TReals[Vectors];  // a complex value of each stream, interleaved

  // ARe and AIm of a factor, as a product by lanes wants them: the imaginary part meets the samples
  // with their parts swapped.
  static TReals Real(const TComplex* AFactors, std::size_t AStride) noexcept {
    TReals Result;
    for (std::size_t L = 0; L < RealLanes; ++L) Result[L] = AFactors[L / 2 * AStride].Re;
    return Result;
  }
  static TReals Imaginary(const TComplex* AFactors, std::size_t AStride) noexcept {
    TReals Result;
    for (std::size_t L = 0; L < RealLanes; ++L) {
      const double Im = AFactors[L / 2 * AStride].Im;
      Result[L] = L % 2 == 0 ? -Im : Im;
    }
    return Result;
  }
  static TReals Swapped(TReals A) noexcept {
    return [&]<int... I>(std::integer_sequence<int, I...>) __attribute__((always_inline)) {
      return __builtin_shufflevector(A, A, (I ^ 1)...);
    }
    (std::make_integer_sequence<int, MaxLanes<double>>{});
  }

  static TRotation Add(const TRotation& A, const TComplex& B) noexcept {
    return {A.Re + B.Re, A.Im + B.Im};
  }

  void Step(TChains& AChains, const TComplex* pSrc) const noexcept {
    const TReals Re = Real(&FStep, 0), Im = Imaginary(&FStep, 0);
    Repeat<Vectors>(TESSALUNE_EACH(V) {
      TReals X;
      std::memcpy(&X, pSrc + V * MaxLanes<double> / 2, sizeof X);
      TReals& Chain = AChains[V];
      const TReals Rotated = X + Re * Chain;
      Chain = Rotated + Im * Swapped(Chain);
    });
  }

  // The chains, each rotated by what it is ahead of the end of a step.
  TComplex Total(const TChains& AChains) const noexcept {
    TReals Sum{};
    Repeat<Vectors>(TESSALUNE_EACH(V) {
      const TComplex* const Ahead = FAhead + V * MaxLanes<double> / 2;
      Sum += AChains[V] * Real(Ahead, 1);
      Sum += Swapped(AChains[V]) * Imaginary(Ahead, 1);
    });
    TComplex Result;
    for (std::size_t L = 0; L < RealLanes; L += 2) Result += TComplex{Sum[L], Sum[L + 1]};
    return Result;
  }

  double FFreq;
  TComplex FStep;            // the rotation from one sample of a stream to the next
  TComplex FAhead[Streams];  // the one from a stream's last sample to the end
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
