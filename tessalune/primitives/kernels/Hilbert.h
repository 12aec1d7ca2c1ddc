#pragma once

#include <tessalune/primitives/kernels/DftSpec.h>

#include <algorithm>
#include <cstdint>

// The analytic signal of a block of real samples: its spectrum, with the negative frequencies taken
// away and the positive ones doubled, transformed back.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

struct THilbert {
  std::int32_t Length;
  TRealDft<float> Real;
  TComplexDft<float> Complex;
  std::size_t WorkBytes;  // of the larger transform
};

struct THilbertSpec : TSpecHead {
  static constexpr std::int32_t Context = 0x4C4D5359;

  THilbert Dft;  // by the name that transforms have in all plans
};

// Both transforms have their tables in the one block of the plan: it exists as a whole or not at
// all.
inline bool MakeHilbert(THilbert& AHilbert, std::int32_t ALength, void*& ATables) noexcept {
  const auto LayOut = [&](TPlanRoots& ARoots, TLayout& ALayout) {
    AHilbert.Length = ALength;
    LayOutDft(AHilbert.Real, ALength, ARoots, ALayout);
    LayOutDft(AHilbert.Complex, ALength, ARoots, ALayout);
    AHilbert.WorkBytes = std::max(AHilbert.Real.WorkBytes, AHilbert.Complex.WorkBytes);
  };
  return MakeTables(ATables, LayOut) && FinishTables(AHilbert.Real) &&
         FinishTables(AHilbert.Complex);
}

// ATarget: 2 Length values, apart from ASource. AWork: WorkBytes, aligned to a cache line.
inline void RunHilbert(const THilbert& AHilbert, const float* ASource, float* ATarget,
                       std::byte* AWork) noexcept {
  const std::ptrdiff_t Length = AHilbert.Length;
  if (Length < 3) {
    for (std::ptrdiff_t N = Length - 1; N >= 0; --N) {
      ATarget[2 * N] = ASource[N];
      ATarget[2 * N + 1] = 0;
    }
    return;
  }
  RunToBins(AHilbert.Real, TSpectrumLayout::Ccs, ASource, ATarget, 1.0F, AWork);
  // Not by the scale of that transform, which the two bins without a counterpart would have too:
  // they may overflow then.
  const std::ptrdiff_t EndOfDoubled = (Length + 1) / 2;
  for (std::ptrdiff_t I = 2; I < 2 * EndOfDoubled; ++I) ATarget[I] *= 2;
  std::fill(ATarget + 2 * (Length / 2 + 1), ATarget + 2 * Length, 0.0F);
  RunComplexDft<float, true>(AHilbert.Complex, ATarget, ATarget,
                             static_cast<float>(1.0 / static_cast<double>(Length)), AWork);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
