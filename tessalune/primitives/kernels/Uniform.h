#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Uniformly distributed samples.
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

// Fills pDst with samples between ALow and AHigh and returns the next seed. Halves keep the range
// from overflowing; rounding must not lead out of it.
inline std::uint32_t RandUniform(double* pDst, std::size_t ACount, double ALow, double AHigh,
                                 std::uint32_t ASeed) noexcept {
  TUniform Uniform(ASeed);
  const double Middle = ALow / 2 + AHigh / 2;
  const double Half = AHigh / 2 - ALow / 2;
  const double Least = std::min(ALow, AHigh);
  const double Greatest = std::max(ALow, AHigh);
  for (std::size_t N = 0; N < ACount; ++N)
    pDst[N] = std::min(std::max(Middle + Half * Uniform.Draw(), Least), Greatest);
  return Uniform.Last();
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
