#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/Libcdispatcher.h>

#include <cstddef>
#include <cstdint>

// Normally distributed samples.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Uniform generator on about [-1, 1): subtract with borrow over three lagged values on the modulus
// 2^32 - 18, added to a linear congruential one (G. Marsaglia, A. Zaman, "A new class of random
// number generators", 1991). The whole state is drawn from one seed.
class TUniform {
 public:
  explicit TUniform(std::uint32_t ASeed) noexcept
      : FX1(Congruential(Congruential(ASeed))), FX2(Congruential(ASeed)), FX3(ASeed) {}

  double Draw() noexcept {
    std::uint32_t T = FX2 - FX1 - FBorrow;
    FBorrow = T >> 31;
    T -= 18 * FBorrow;
    FX1 = FX2;
    FX2 = FX3;
    FX3 = T;
    FC = Congruential(FC);
    return static_cast<double>(static_cast<std::int32_t>(T + FC)) * Scale;
  }

  std::uint32_t Last() const noexcept { return FX3; }

 private:
  static constexpr double Scale = 4.656612873077e-10;

  static constexpr std::uint32_t Congruential(std::uint32_t X) noexcept {
    return X * 69069u + 1013904243u;
  }

  std::uint32_t FX1;
  std::uint32_t FX2;
  std::uint32_t FX3;
  std::uint32_t FBorrow = 1;
  std::uint32_t FC = 0x436CBAE9u;
};

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
