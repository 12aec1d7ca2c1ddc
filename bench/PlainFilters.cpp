#include "PlainFilters.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace tessalune::bench {

TPlainFir::TPlainFir(std::vector<double> ATaps)
    : FTaps(std::move(ATaps)), FX(FTaps.size() - 1, 0.0) {}

void TPlainFir::Run(const double* pSrc, double* pDst, std::size_t ALength) {
  constexpr std::size_t Outputs = 32;
  const std::size_t Past = FTaps.size() - 1;
  FX.resize(Past + ALength);
  std::copy_n(pSrc, ALength, FX.data() + Past);
  const double* const X = FX.data() + Past;
  std::size_t N = 0;
  for (; N + Outputs <= ALength; N += Outputs) {
    double Sums[Outputs] = {};
    for (std::size_t K = 0; K <= Past; ++K)
      for (std::size_t I = 0; I < Outputs; ++I) Sums[I] += FTaps[K] * *(X + N + I - K);
    std::copy_n(Sums, Outputs, pDst + N);
  }
  for (; N < ALength; ++N) {
    double Sum = 0.0;
    for (std::size_t K = 0; K <= Past; ++K) Sum += FTaps[K] * *(X + N - K);
    pDst[N] = Sum;
  }
  std::copy(FX.end() - static_cast<std::ptrdiff_t>(Past), FX.end(), FX.begin());
}

TPlainBiquads::TPlainBiquads(std::vector<double> ATaps)
    : FTaps(std::move(ATaps)), FStates(FTaps.size() / 3, 0.0) {}

void TPlainBiquads::Run(const double* pSrc, double* pDst, std::size_t ALength) {
  for (std::size_t I = 0; I < FStates.size() / 2; ++I) {
    const double* const T = &FTaps[6 * I];
    const double B0 = T[0], B1 = T[1], B2 = T[2], A1 = T[4], A2 = T[5];
    double S1 = FStates[2 * I], S2 = FStates[2 * I + 1];
    for (std::size_t N = 0; N < ALength; ++N) {
      const double X = pSrc[N];
      const double Y = B0 * X + S1;
      S1 = S2 + B1 * X - A1 * Y;
      S2 = B2 * X - A2 * Y;
      pDst[N] = Y;
    }
    FStates[2 * I] = S1;
    FStates[2 * I + 1] = S2;
    pSrc = pDst;
  }
}

void PlainHann(double* pSrcDst, std::size_t ALength) {
  const double Step = 2 * std::numbers::pi / static_cast<double>(ALength - 1);
  for (std::size_t N = 0; N < ALength; ++N)
    pSrcDst[N] *= 0.5 - 0.5 * std::cos(Step * static_cast<double>(N));
}

void PlainKaiser(double* pSrcDst, std::size_t ALength, double AAlpha) {
  const double Middle = static_cast<double>(ALength - 1) / 2;
  const double Unit = std::cyl_bessel_i(0.0, AAlpha * Middle);
  for (std::size_t N = 0; N < ALength; ++N) {
    const double Off = static_cast<double>(N) - Middle;
    pSrcDst[N] *= std::cyl_bessel_i(0.0, AAlpha * std::sqrt(Middle * Middle - Off * Off)) / Unit;
  }
}

TComplex PlainGoertzel(const TComplex* pSrc, std::size_t ALength, double AFreq) {
  const double Angle = 2 * std::numbers::pi * AFreq;
  const double Cos = std::cos(Angle), Sin = std::sin(Angle);
  TComplex S1, S2;
  for (std::size_t N = 0; N < ALength; ++N) {
    const TComplex S0 = 2 * Cos * S1 - S2 + pSrc[N];
    S2 = S1;
    S1 = S0;
  }
  return {Cos * S1.Re - Sin * S1.Im - S2.Re, Sin * S1.Re + Cos * S1.Im - S2.Im};
}

}  // namespace tessalune::bench
