#pragma once

#include <tessalune/primitives/Libcdispatcher.h>
#include <tessalune/primitives/kernels/Uniform.h>

#include <cstddef>
#include <cstdint>

// Normally distributed samples.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// U * T and V * T are two independent normal values (G. Marsaglia, T. A. Bray, "A convenient
// method for generating normal variables", 1964).
struct TNormalPair {
  double U;
  double V;
  double T;
};

inline TNormalPair MakePair(TUniform& AUniform) noexcept {
  for (;;) {
    const double U = AUniform.Draw();
    const double V = AUniform.Draw();
    const double W = U * U + V * V;
    if (W < 1.0 && W != 0.0) return {U, V, _sqrt(-2.0 * _log(W) / W)};
  }
}

// Fills pDst, the V value of a pair first, and returns the next seed. A pair is made ahead of
// need, so that the seed is the one of a pair beyond an even count.
inline std::uint32_t RandGauss(double* pDst, std::size_t ACount, double AMean, double AStdDev,
                               std::uint32_t ASeed) noexcept {
  TUniform Uniform(ASeed);
  TNormalPair Pair = MakePair(Uniform);
  std::size_t N = 0;
  for (; N + 2 <= ACount; N += 2) {
    const double T = Pair.T * AStdDev;
    pDst[N] = AMean + Pair.V * T;
    pDst[N + 1] = AMean + Pair.U * T;
    Pair = MakePair(Uniform);
  }
  if (N < ACount) pDst[N] = AMean + Pair.V * (Pair.T * AStdDev);
  return Uniform.Last();
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
