#pragma once

#include <tessalune/primitives/Ippptypes.h>
#include <tessalune/primitives/kernels/DftSpec.h>
#include <tessalune/primitives/kernels/RecursiveDct.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

// The orthonormal discrete cosine transform of any length N, type II and its inverse, type III.
//
// On the Fourier road one real transform of length N does (J. Makhoul, "A fast cosine transform in
// one and two dimensions", 1980): with v = the even samples followed by the odd ones in reverse and
// V its spectrum, exp(-pi i k / (2N)) V[k] = y[k] - i y[N-k], up to the scale.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

enum class TDctRoad : std::int32_t { Short, Recursive, Direct, Fourier };

constexpr std::int32_t LongestDirectDct = 100;
constexpr std::int32_t LongestAccurateRecursiveDct = 512;

constexpr TDctRoad DctRoadOf(std::int32_t ALength, std::int32_t AHint) noexcept {
  if (!IsPowerOfTwo(ALength))
    return ALength <= LongestDirectDct ? TDctRoad::Direct : TDctRoad::Fourier;
  if (ALength <= 8) return TDctRoad::Short;
  return AHint != ippAlgHintAccurate || ALength <= LongestAccurateRecursiveDct ? TDctRoad::Recursive
                                                                               : TDctRoad::Fourier;
}

struct TDct {
  TDctRoad Road;
  std::int32_t Length;
  double NormDc;  // of bin 0: 1 / sqrt(N)
  double NormAc;  // of the others: sqrt(2) / sqrt(N)
  const double* Secants;
  // Direct: the sums' factors, scaled. "Cosines" for the even bins, "Sines" for the odd ones.
  TDirectTables<double> Direct;
  // Fourier: cosine and sine of pi k / (2N), k from 0 to N/2, times NormAc or, inverse, NormAc / 2.
  const double* TurnRe;
  const double* TurnIm;
  TRealDft<double> Real;
  std::size_t WorkBytes;  // that a transform needs, aligned to a cache line; 0 for none
};

template <std::int32_t AContext>
struct TDctSpec : TSpecHead {
  static constexpr std::int32_t Context = AContext;

  TDct Dft;  // by the name that transforms have in all plans
};

// The factor of sample n in bin k is NormDc or NormAc times cos(pi (2n + 1) k / (2N)). A row has
// the factors of one input: of the sum or difference of the samples n and N-1-n (forward), or of
// the bins 2n and 2n + 1. The middle sample of an odd N has a row as well; its factors in the
// odd bins are 0, and only infinities and NaNs come through.
template <bool AInverse>
void LayOutDirectDct(TDct& ADct, const TRootsOfUnity* ARoots, TLayout& ALayout) noexcept {
  constexpr std::int32_t L = MaxLanes<double>;
  TDirectTables<double>& Tables = ADct.Direct;
  Tables.Half = (ADct.Length + 1) / 2;
  Tables.Stride = (Tables.Half + L - 1) / L * L;
  ADct.WorkBytes = 4 * sizeof(double) * static_cast<std::size_t>(Tables.Stride);
  const auto Size = static_cast<std::size_t>(Tables.Half) * static_cast<std::size_t>(Tables.Stride);
  double* Even = ALayout.Take<double>(Size);
  double* Odd = ALayout.Take<double>(Size);
  Tables.Cosines = Even;
  Tables.Sines = Odd;
  if (!Even) return;
  for (std::int32_t Row = 0; Row < Tables.Half; ++Row)
    for (std::int32_t Column = 0; Column < Tables.Stride; ++Column) {
      const std::int32_t Sample = AInverse ? Column : Row;
      const std::int32_t Bin = 2 * (AInverse ? Row : Column);
      *Even++ = (*ARoots)((2 * Sample + 1) * Bin).Re * (Bin == 0 ? ADct.NormDc : ADct.NormAc);
      *Odd++ = (*ARoots)((2 * Sample + 1) * (Bin + 1)).Re * ADct.NormAc;
    }
}

// The spectrum's bytes at the start of the work memory.
inline std::size_t DctSpectrumBytes(std::int32_t ALength) noexcept {
  return UpToCacheLine((static_cast<std::size_t>(ALength) + 2) * sizeof(double));
}

template <bool AInverse, class TRootsOf>
void LayOutFourierDct(TDct& ADct, TRootsOf&& ARootsOf, TLayout& ALayout) noexcept {
  LayOutDft(ADct.Real, ADct.Length, ARootsOf, ALayout);
  ADct.WorkBytes = DctSpectrumBytes(ADct.Length) + ADct.Real.WorkBytes;
  const double Scale = AInverse ? 0.5 * ADct.NormAc : ADct.NormAc;
  TakeRoots(static_cast<std::size_t>(ADct.Length / 2 + 1), 1,
            ARootsOf(4 * std::int64_t{ADct.Length}), ALayout, ADct.TurnRe, ADct.TurnIm, Scale,
            -Scale);
}

template <bool AInverse, class TRootsOf>
void LayOutDct(TDct& ADct, std::int32_t ALength, std::int32_t AHint, TRootsOf&& ARootsOf,
               TLayout& ALayout) noexcept {
  ADct.Length = ALength;
  ADct.Road = DctRoadOf(ALength, AHint);
  const double Root = std::sqrt(static_cast<double>(ALength));
  ADct.NormDc = 1 / Root;
  ADct.NormAc = std::numbers::sqrt2 / Root;
  const std::int64_t Order = 4 * std::int64_t{ALength};
  switch (ADct.Road) {
    case TDctRoad::Short:
      return;
    case TDctRoad::Recursive: {
      double* Secants = ALayout.Take<double>(SecantCount(ALength));
      ADct.Secants = Secants;
      ADct.WorkBytes = sizeof(double) * static_cast<std::size_t>(ALength);
      const TRootsOfUnity* Roots = ARootsOf(Order);
      if (Secants) FillSecants(Secants, ALength, *Roots);
      return;
    }
    case TDctRoad::Direct:
      return LayOutDirectDct<AInverse>(ADct, ARootsOf(Order), ALayout);
    case TDctRoad::Fourier:
      return LayOutFourierDct<AInverse>(ADct, ARootsOf, ALayout);
  }
}

template <bool AInverse>
void RunDirectDct(const TDct& ADct, const double* ASource, double* ATarget,
                  std::byte* AWork) noexcept {
  const std::ptrdiff_t Length = ADct.Length;
  const std::ptrdiff_t Half = Length / 2;
  const std::ptrdiff_t Stride = ADct.Direct.Stride;
  double* Inputs = reinterpret_cast<double*>(AWork);
  double* Sums = Inputs + 2 * Stride;
  for (std::ptrdiff_t I = 0; I < Half; ++I) {
    const double Low = ASource[AInverse ? 2 * I : I];
    const double High = ASource[AInverse ? 2 * I + 1 : Length - 1 - I];
    Inputs[I] = AInverse ? Low : Low + High;
    Inputs[Stride + I] = AInverse ? High : Low - High;
  }
  if (Length % 2 != 0) {
    Inputs[Half] = ASource[AInverse ? Length - 1 : Half];
    Inputs[Stride + Half] = AInverse ? 0 : ASource[Half];
  }
  DirectSums<double, 2>(ADct.Direct, Inputs, Sums);
  for (std::ptrdiff_t I = 0; I < Half; ++I) {
    const double Even = Sums[I];
    const double Odd = Sums[Stride + I];
    ATarget[AInverse ? I : 2 * I] = AInverse ? Even + Odd : Even;
    ATarget[AInverse ? Length - 1 - I : 2 * I + 1] = AInverse ? Even - Odd : Odd;
  }
  if (Length % 2 != 0)
    ATarget[AInverse ? Half : Length - 1] =
        AInverse ? Sums[Half] + Sums[Stride + Half] : Sums[Half];
}

// The even samples, then the odd ones in reverse (AGather); or back.
template <bool AGather>
void FoldSamples(const double* ASource, double* ATarget, std::ptrdiff_t ALength) noexcept {
  ForLanes<double>(0, ALength / 2, [=](auto ALanes, std::ptrdiff_t AIndex) {
    constexpr int L = decltype(ALanes)::value;
    using TOf = TLanes<double, L>;
    const std::ptrdiff_t Mirror = ALength - L - AIndex;
    if constexpr (AGather) {
      const auto X = TOf::LoadComplex(ASource + 2 * AIndex);
      Store<double, L>(ATarget + AIndex, X.Re);
      Store<double, L>(ATarget + Mirror, TOf::Reverse(X.Im));
    } else {
      TOf::StoreComplex(ATarget + 2 * AIndex, {Load<double, L>(ASource + AIndex),
                                               TOf::Reverse(Load<double, L>(ASource + Mirror))});
    }
  });
  const std::ptrdiff_t Middle = ALength / 2;
  if (ALength % 2 != 0)
    ATarget[AGather ? Middle : ALength - 1] = ASource[AGather ? ALength - 1 : Middle];
}

// Between the bins of v in CCS layout and those of the cosine transform: from v's, or to them.
template <bool AInverse>
void TurnBins(const TDct& ADct, const double* ASource, double* ATarget) noexcept {
  const std::ptrdiff_t Length = ADct.Length;
  ForLanes<double>(1, Length / 2 + 1, [&](auto ALanes, std::ptrdiff_t AIndex) {
    constexpr int L = decltype(ALanes)::value;
    using TOf = TLanes<double, L>;
    using V = TVector<double, L>;
    const std::ptrdiff_t Mirror = Length - AIndex - (L - 1);
    const V Re = Load<double, L>(ADct.TurnRe + AIndex);
    const V Im = Load<double, L>(ADct.TurnIm + AIndex);
    TPair<V> X;
    if constexpr (AInverse)
      X = {Load<double, L>(ASource + AIndex), TOf::Reverse(Load<double, L>(ASource + Mirror))};
    else
      X = TOf::LoadComplex(ASource + 2 * AIndex);
    const TPair<V> Y = {X.Re * Re + X.Im * Im, X.Re * Im - X.Im * Re};
    if constexpr (AInverse) {
      TOf::StoreComplex(ATarget + 2 * AIndex, Y);
    } else {
      Store<double, L>(ATarget + AIndex, Y.Re);
      Store<double, L>(ATarget + Mirror, TOf::Reverse(Y.Im));
    }
  });
  ATarget[0] = ASource[0] * ADct.NormDc;
  if constexpr (AInverse) ATarget[1] = 0;
}

template <bool AInverse>
void RunFourierDct(const TDct& ADct, const double* ASource, double* ATarget,
                   std::byte* AWork) noexcept {
  auto* Buffer = reinterpret_cast<double*>(AWork);
  std::byte* Work = AWork + DctSpectrumBytes(ADct.Length);
  if constexpr (AInverse) {
    TurnBins<true>(ADct, ASource, Buffer);
    RunToSamples(ADct.Real, TSpectrumLayout::Ccs, Buffer, Buffer, 1.0, Work);
    FoldSamples<false>(Buffer, ATarget, ADct.Length);
  } else {
    FoldSamples<true>(ASource, Buffer, ADct.Length);
    RunToBins(ADct.Real, TSpectrumLayout::Ccs, Buffer, Buffer, 1.0, Work);
    TurnBins<false>(ADct, Buffer, ATarget);
  }
}

// The transform. ASource may be ATarget. AWork: WorkBytes, aligned to a cache line.
template <bool AInverse>
void RunDct(const TDct& ADct, const double* ASource, double* ATarget, std::byte* AWork) noexcept {
  switch (ADct.Road) {
    case TDctRoad::Short:
      return RunShortDct<AInverse>(ADct.Length, ASource, ATarget);
    case TDctRoad::Recursive:
      return RunRecursiveDct<AInverse>(ADct.Secants, ADct.Length, ADct.NormDc, ADct.NormAc, ASource,
                                       ATarget, reinterpret_cast<double*>(AWork));
    case TDctRoad::Direct:
      return RunDirectDct<AInverse>(ADct, ASource, ATarget, AWork);
    case TDctRoad::Fourier:
      return RunFourierDct<AInverse>(ADct, ASource, ATarget, AWork);
  }
}

template <bool AInverse>
bool MakeDct(TDct& ADct, std::int32_t ALength, std::int32_t AHint, void*& ATables) noexcept {
  const auto LayOut = [&](TPlanRoots& ARoots, TLayout& ALayout) {
    LayOutDct<AInverse>(ADct, ALength, AHint, ARoots, ALayout);
  };
  return MakeTables(ATables, LayOut) && FinishTables(ADct.Real);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
