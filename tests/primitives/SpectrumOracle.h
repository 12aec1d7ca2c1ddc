#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

// Discrete Fourier transforms in long double, to compare with: by the definition, over the smallest
// prime factor of the length (decimation in time), so that all lengths are affordable.
namespace tessalune::test {

using TExact = std::complex<long double>;

class TSpectrumOracle {
 public:
  explicit TSpectrumOracle(std::size_t ALength) : FRoots(ALength) {
    for (std::size_t I = 0; I < ALength; ++I) {
      const long double Angle = -2 * std::numbers::pi_v<long double> * static_cast<long double>(I) /
                                static_cast<long double>(ALength);
      FRoots[I] = {std::cos(Angle), std::sin(Angle)};
    }
  }

  std::vector<TExact> Forward(const std::vector<TExact>& ASamples) const {
    return Transform(ASamples.data(), ASamples.size(), 1);
  }

  // Not divided by the length.
  std::vector<TExact> Inverse(std::vector<TExact> ASamples) const {
    for (TExact& X : ASamples) X = std::conj(X);
    std::vector<TExact> Result = Forward(ASamples);
    for (TExact& X : Result) X = std::conj(X);
    return Result;
  }

 private:
  // Of ACount samples, AStride apart; AStride * ACount is the length of the whole.
  std::vector<TExact> Transform(const TExact* ASamples, std::size_t ACount,
                                std::size_t AStride) const {
    if (ACount == 1) return {*ASamples};
    std::size_t P = 2;
    while (ACount % P != 0) ++P;
    const std::size_t Rows = ACount / P;
    std::vector<std::vector<TExact>> Parts;
    for (std::size_t I = 0; I < P; ++I)
      Parts.push_back(Transform(ASamples + I * AStride, Rows, AStride * P));
    std::vector<TExact> Result(ACount);
    std::vector<TExact> Terms(P);
    for (std::size_t Row = 0; Row < Rows; ++Row) {
      for (std::size_t I = 0; I < P; ++I)
        Terms[I] = Product(Parts[I][Row], FRoots[I * Row * AStride]);
      for (std::size_t K = 0; K < P; ++K)
        for (std::size_t I = 0; I < P; ++I)
          Result[K * Rows + Row] += Product(Terms[I], FRoots[I * K % P * AStride * Rows]);
    }
    return Result;
  }

  // Without the repair of infinities, which takes most of the time of operator*.
  static TExact Product(const TExact& A, const TExact& B) {
    return {A.real() * B.real() - A.imag() * B.imag(), A.real() * B.imag() + A.imag() * B.real()};
  }

  std::vector<TExact> FRoots;
};

}  // namespace tessalune::test
