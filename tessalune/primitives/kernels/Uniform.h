#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Uniformly distributed samples.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// One step of the linear congruential generator.
constexpr std::uint32_t Congruential(std::uint32_t X) noexcept { return X * 69069u + 1013904243u; }
constexpr std::uint32_t FirstCongruential = 0x436CBAE9u;

// ACount steps at once are X * Factor + Summand.
struct TCongruentialSteps {
  constexpr explicit TCongruentialSteps(std::size_t ACount) noexcept {
    for (std::size_t I = 0; I < ACount; ++I) {
      Factor *= Congruential(1) - Congruential(0);
      Summand = Congruential(Summand);
    }
  }
  std::uint32_t Factor = 1;
  std::uint32_t Summand = 0;
};

// The generator that subtracts with borrow over three lagged values on the modulus 2^32 - 18 (G.
// Marsaglia, A. Zaman, "A new class of random number generators", 1991). The whole state is drawn
// from one seed.
class TLagged {
 public:
  explicit TLagged(std::uint32_t ASeed) noexcept
      : FX1(Congruential(Congruential(ASeed))), FX2(Congruential(ASeed)), FX3(ASeed) {}

  std::uint32_t Next() noexcept {
    const std::uint32_t T = FX2 - FX1 - FBorrow;
    FBorrow = T >> 31;
    FX1 = FX2;
    FX2 = FX3;
    FX3 = FBorrow != 0 ? T - 18 : T;
    return FX3;
  }
  // What Next gave; the seed with which another sequence would go on.
  std::uint32_t Last() const noexcept { return FX3; }

 private:
  std::uint32_t FX1;
  std::uint32_t FX2;
  std::uint32_t FX3;
  std::uint32_t FBorrow = 1;
};

// The sum of both, an integer with a sign, times this is uniform on about [-1, 1).
constexpr double UniformScale = 4.656612873077e-10;

// Fills pDst with samples between ALow and AHigh and returns the next seed. Halves keep the range
// from overflowing; rounding must not lead out of it.
inline std::uint32_t RandUniform(double* pDst, std::size_t ACount, double ALow, double AHigh,
                                 std::uint32_t ASeed) noexcept {
  TLagged Lagged(ASeed);
  std::uint32_t C = FirstCongruential;
  const double Middle = ALow / 2 + AHigh / 2;
  const double Half = AHigh / 2 - ALow / 2;
  const double Least = std::min(ALow, AHigh);
  const double Greatest = std::max(ALow, AHigh);
  for (std::size_t N = 0; N < ACount; ++N) {
    C = Congruential(C);
    const auto Draw = static_cast<double>(static_cast<std::int32_t>(Lagged.Next() + C));
    pDst[N] = std::min(std::max(Middle + Half * (Draw * UniformScale), Least), Greatest);
  }
  return Lagged.Last();
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
