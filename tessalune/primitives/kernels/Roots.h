#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <cmath>
#include <cstdint>
#include <numbers>

// Roots of unity for the tables of the transforms.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

struct TRootValue {
  double Re;
  double Im;
};

// exp(-2 pi i k / N) for any k, rounded from a long double that is off by few of its own rounding
// errors. An angle is first reflected into the first eighth of the circle, so that roots that are
// mirror images agree bit for bit. There it is the product of a coarse and a fine root, so that
// only about sqrt(N) sines and cosines are computed; the caller gives the memory for these.
class TRootsOfUnity {
 public:
  struct TEntry {
    long double Re;
    long double Im;
  };

  // How many entries ATable must have.
  static std::int64_t TableSize(std::int64_t AOrder) noexcept {
    return (std::int64_t{1} << FineBits(AOrder)) + CoarseCount(AOrder);
  }

  TRootsOfUnity(std::int64_t AOrder, TEntry* ATable) noexcept
      : FOrder(AOrder),
        FFineBits(FineBits(AOrder)),
        FFine(ATable),
        FCoarse(ATable + (std::int64_t{1} << FFineBits)) {
    for (std::int64_t I = 0; I >> FFineBits == 0; ++I) ATable[I] = Compute(I);
    for (std::int64_t I = 0; I < CoarseCount(AOrder); ++I)
      ATable[(std::int64_t{1} << FFineBits) + I] = Compute(I << FFineBits);
  }

  std::int64_t Order() const noexcept { return FOrder; }

  TRootValue operator()(std::int64_t AIndex) const noexcept {
    // In quarters of a step: a reflection at an eighth of the circle hits whole ones.
    std::int64_t Index = 4 * (AIndex % FOrder);
    const bool IsLower = Index > 2 * FOrder;
    if (IsLower) Index = 4 * FOrder - Index;
    const bool IsLeft = Index > FOrder;
    if (IsLeft) Index = 2 * FOrder - Index;
    const bool IsSteep = 2 * Index > FOrder;
    if (IsSteep) Index = FOrder - Index;

    const TEntry& Fine = FFine[Index & ((std::int64_t{1} << FFineBits) - 1)];
    const TEntry& Coarse = FCoarse[Index >> FFineBits];
    const auto Cosine = static_cast<double>(Coarse.Re * Fine.Re - Coarse.Im * Fine.Im);
    const auto Sine = static_cast<double>(Coarse.Re * Fine.Im + Coarse.Im * Fine.Re);
    const double Re = IsSteep ? Sine : Cosine;
    const double Im = IsSteep ? Cosine : Sine;
    return {IsLeft ? -Re : Re, IsLower ? Im : -Im};
  }

 private:
  // The indices go up to an eighth of 4 AOrder.
  static int FineBits(std::int64_t AOrder) noexcept {
    int Bits = 0;
    while (std::int64_t{1} << (2 * Bits) < AOrder / 2) ++Bits;
    return Bits;
  }
  static std::int64_t CoarseCount(std::int64_t AOrder) noexcept {
    return (AOrder / 2 >> FineBits(AOrder)) + 1;
  }

  // Cosine and sine of AIndex / (4 AOrder) turns.
  TEntry Compute(std::int64_t AIndex) const noexcept {
    const long double Angle = std::numbers::pi_v<long double> * static_cast<long double>(AIndex) /
                              static_cast<long double>(2 * FOrder);
    return {std::cos(Angle), std::sin(Angle)};
  }

  std::int64_t FOrder;
  int FFineBits;
  const TEntry* FFine;
  const TEntry* FCoarse;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
