#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

// The Kaiser window of this library: one meaning of `Alpha`, for designed filters as for the window
// calculator, whatever the length.
namespace tessalune {

// The window's shape beta for an Alpha from 0 to 1; what lies outside counts as the nearer end, and
// what is not a number as 0. It does not depend on the length (the primitive ippsWinKaiser takes
// beta over half the length instead, so that one alpha gives another window at each length).
//
//   Alpha                                0     0.1   0.2   0.3   0.4   0.5   0.6   0.8   1.0
//   beta                                 0     2     4     6     8     10    12    16    20
//   highest side lobe, dB                -13   -18   -30   -44   -58   -74   -90   -122  -155
//   half main lobe to its zero, bins     1.00  1.19  1.63  2.17  2.75  3.35  3.96  5.21  6.47
//   stop band of a low pass from it, dB  -21   -29   -45   -63   -81   -99   -117  -153  -188
//
// The lobes are those of 257 weights, and of a low pass at a quarter of the rate; other lengths
// differ by tenths. About 0.4 is Blackman with less leakage.
inline double QSKaiserBeta(double AAlpha) noexcept {
  return AAlpha > 0.0 ? 20.0 * std::min(AAlpha, 1.0) : 0.0;
}

// Weights w[n] = I0(beta sqrt(1 - (2 n / last - 1)^2)) / I0(beta) for n from 0 to last, I0 the
// modified Bessel function of first kind and order 0 (Kaiser 1974, "Nonrecursive digital filter
// design using the I0-sinh window function", IEEE ISCAS). last is length - 1 for a symmetric
// window, length for a periodic one, up to 2^53. The weight of the middle is 1, w[n] and
// w[last - n] agree bit for bit, and at most 50 rounding errors separate a weight from the
// definition. beta ends at 20, where I0 is 4e7: nothing can overflow.
class TQSKaiserWindow {
 public:
  TQSKaiserWindow(double AAlpha, double ALast) noexcept
      : FSquaredBeta(QSKaiserBeta(AAlpha) * QSKaiserBeta(AAlpha)), FLast(ALast) {
    // I0(x) is the sum of (x^2 / 4)^k / k!^2: as many terms as the middle needs for all its digits.
    double Term = 1.0;
    double Sum = 1.0;
    for (FTerms = 1; FTerms < MaxTerms && Term > 0x1p-60 * Sum; ++FTerms) {
      Term *= FSquaredBeta / 4.0 / static_cast<double>(FTerms * FTerms);
      Sum += Term;
    }
    FPeak = Sums(std::array<double, 1>{FSquaredBeta / 4.0})[0];
  }

  double operator()(double AN) const noexcept {
    return Sums(std::array<double, 1>{Argument(AN)})[0] / FPeak;
  }

  // The weights of AFrom, AFrom + 1 and so on; several at a time, so that none waits for its own
  // sum: for many weights a few times faster than one after the other, and the same to the bit.
  void Weigh(std::size_t AFrom, std::size_t ACount, double* AWeights) const noexcept {
    constexpr std::size_t Batch = 8;
    for (std::size_t I = 0; I < ACount; I += Batch) {
      std::array<double, Batch> Arguments{};
      const std::size_t Size = std::min(Batch, ACount - I);
      for (std::size_t J = 0; J < Size; ++J)
        Arguments[J] = Argument(static_cast<double>(AFrom + I + J));
      const std::array<double, Batch> Values = Sums(Arguments);
      for (std::size_t J = 0; J < Size; ++J) AWeights[I + J] = Values[J] / FPeak;
    }
  }

 private:
  static constexpr std::size_t MaxTerms = 40;  // beta 20 takes 37

  static constexpr std::array<double, MaxTerms> Series = [] {
    std::array<double, MaxTerms> Result{};
    long double Term = 1;
    for (std::size_t K = 0; K < MaxTerms; ++K) {
      Result[K] = static_cast<double>(Term);
      Term /= static_cast<long double>((K + 1) * (K + 1));
    }
    return Result;
  }();

  // (x / 2)^2; 1 - (2 n / last - 1)^2 is 4 n (last - n) / last^2, without cancellation at the ends.
  double Argument(double AN) const noexcept {
    if (!(FLast > 0.0)) return FSquaredBeta / 4.0;  // one weight alone is the middle
    return AN * (FLast - AN) / FLast * (FSquaredBeta / FLast);
  }

  template <std::size_t N>
  std::array<double, N> Sums(const std::array<double, N>& AArguments) const noexcept {
    std::array<double, N> Result;
    Result.fill(Series[FTerms - 1]);
    for (std::size_t K = FTerms - 1; K > 0; --K)
      for (std::size_t I = 0; I < N; ++I) Result[I] = Result[I] * AArguments[I] + Series[K - 1];
    return Result;
  }

  double FSquaredBeta;
  double FLast;
  double FPeak = 1.0;
  std::size_t FTerms = 1;
};

}  // namespace tessalune
