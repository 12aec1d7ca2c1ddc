#pragma once

#include <tessalune/primitives/kernels/RealSmoothPlan.h>

// The discrete Fourier transform of real samples, of any length N, to and from the bins 0 to N/2.
//
// The road by the length: straight-line code for the shortest; two steps over columns and rows
// (RealSmoothDft.h) where there are such and the estimate says that they are the fastest; direct
// sums for odd primes below 180. Any other even length is a complex transform of half the length,
// over neighbouring samples taken as one, and one pass that takes the two interleaved spectra
// apart; any other odd one is a complex transform.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

enum class TRealRoad : std::int32_t { Short, Smooth, Half, Direct, Complex };

constexpr std::int32_t LongestRealDirect = 180;

// How the half spectrum lies in memory.
//   Ccs   N/2 + 1 complex bins; the imaginary parts of bin 0 and of bin N/2 of an even N are 0
//   Perm  N values: the same without these zeros, and the real part of bin N/2 of an even N stands
//         behind the one of bin 0
enum class TSpectrumLayout { Ccs, Perm };

template <class TFunction>
TESSALUNE_INLINE bool WithShortRealLength(std::int32_t ALength, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 16, 2, 32, 12, 20, 24, 10, 6, 14, 1, 3, 5, 7, 9, 11, 13, 15>(ALength,
                                                                                      AFunction);
}

template <class T>
struct TRealDft {
  // The transform one way or the other times AScale. ASource may be ATarget. AWork: WorkBytes,
  // aligned to a cache line.
  using TRun = void (*)(const TRealDft& ADft, TSpectrumLayout ASpectrum, const T* ASource,
                        T* ATarget, T AScale, std::byte* AWork) noexcept;

  TRun ToBins;
  TRun ToSamples;
  TRealRoad Road;
  std::int32_t Length;
  TRealSmoothPlan<T> Smooth;
  TComplexDft<T> Complex;  // of Length / 2 or of Length
  TDirectTables<T> Direct;
  const T* TwistRe;  // of half the length: exp(-2 pi i k / N), k from 0 to N/4
  const T* TwistIm;
  std::size_t WorkBytes;  // that a transform needs, aligned to a cache line; 0 for none
};

// The real part of bin N/2 of an even length.
template <class T>
T* LastBin(TSpectrumLayout ASpectrum, T* ABins, std::ptrdiff_t ALength) noexcept {
  return ABins + (ASpectrum == TSpectrumLayout::Perm ? 1 : ALength);
}

// What a transform leaves to be written: the imaginary parts that are 0, and the last bin.
template <class T>
void SetLastBin(TSpectrumLayout ASpectrum, T* ABins, std::ptrdiff_t ALength, T ALast) noexcept {
  ABins[1] = 0;
  if (ALength % 2 == 0) {
    if (ASpectrum == TSpectrumLayout::Ccs) ABins[ALength + 1] = 0;
    *LastBin(ASpectrum, ABins, ALength) = ALast;
  }
}

template <class T, int F>
void RunShortToBins(const TRealDft<T>&, TSpectrumLayout ASpectrum, const T* ASource, T* ATarget,
                    T AScale, std::byte*) noexcept {
  TArray<T, F> X;
  TArray<TPair<T>, HalfRows(F)> Bins;
  Repeat<F>(TESSALUNE_EACH(I) { X[I] = ASource[I]; });
  DftOfReals<T, F>(X, Bins);
  Repeat<(F - 1) / 2>(TESSALUNE_EACH(I) {
    ATarget[2 * I + 2] = Bins[I + 1].Re * AScale;
    ATarget[2 * I + 3] = Bins[I + 1].Im * AScale;
  });
  ATarget[0] = Bins[0].Re * AScale;
  if (F > 1 || ASpectrum == TSpectrumLayout::Ccs)
    SetLastBin<T>(ASpectrum, ATarget, F, Bins[F / 2].Re * AScale);
}

template <class T, int F>
void RunShortToSamples(const TRealDft<T>&, TSpectrumLayout ASpectrum, const T* ASource, T* ATarget,
                       T AScale, std::byte*) noexcept {
  TArray<T, F> X;
  TArray<TPair<T>, HalfRows(F)> Bins;
  Repeat<(F - 1) / 2>(TESSALUNE_EACH(I) {
    Bins[I + 1] = {ASource[2 * I + 2], -ASource[2 * I + 3]};
  });
  Bins[0] = {ASource[0], T(0)};
  if constexpr (F % 2 == 0) Bins[F / 2] = {*LastBin(ASpectrum, ASource, F), T(0)};
  DftToReals<T, F>(Bins, X);
  Repeat<F>(TESSALUNE_EACH(I) { ATarget[I] = X[I] * AScale; });
}

// Takes apart the spectra of the even and the odd samples (AToBins), or puts them together. With Z
// the complex spectrum of length H = N/2, w = exp(-2 pi i k / N), the values P = A + conj B and
// Q = A - conj B of the bins A = k and B = H - k become P + S and conj(P - S), where
//   S = -i w Q       makes the bins X of Z / 2
//   S = i conj(w) Q  makes 2 Z of the bins X.
template <class T, int L, bool AToBins>
TESSALUNE_INLINE void TwistBins(const TRealDft<T>& ADft, const T* ASource, T* ATarget,
                                std::ptrdiff_t AIndex) noexcept {
  using TOf = TLanes<T, L>;
  using V = TVector<T, L>;
  const std::ptrdiff_t Mirror = ADft.Length / 2 - AIndex - (L - 1);
  const TPair<V> A = TOf::LoadComplex(ASource + 2 * AIndex);
  const TPair<V> Far = TOf::LoadComplex(ASource + 2 * Mirror);
  const TPair<V> B = {TOf::Reverse(Far.Re), TOf::Reverse(Far.Im)};
  const V Re = Load<T, L>(ADft.TwistRe + AIndex);
  const V Im = Load<T, L>(ADft.TwistIm + AIndex);
  const TPair<V> P = {A.Re + B.Re, A.Im - B.Im};
  const TPair<V> Q = {A.Re - B.Re, A.Im + B.Im};
  TPair<V> S;
  if constexpr (AToBins)
    S = {Q.Re * Im + Q.Im * Re, Q.Im * Im - Q.Re * Re};
  else
    S = {Q.Re * Im - Q.Im * Re, Q.Im * Im + Q.Re * Re};
  TOf::StoreComplex(ATarget + 2 * AIndex, P + S);
  TOf::StoreComplex(ATarget + 2 * Mirror, {TOf::Reverse(P.Re - S.Re), TOf::Reverse(S.Im - P.Im)});
}

// All bins from AIndex on but the last, with L lanes at most. ASource may be ATarget.
template <class T, int L, bool AToBins>
TESSALUNE_INLINE void TwistBinsFrom(std::ptrdiff_t AIndex, const TRealDft<T>& ADft,
                                    const T* ASource, T* ATarget) noexcept {
  const std::ptrdiff_t Half = ADft.Length / 2;
  if constexpr (L == 1) {
    for (; 2 * AIndex <= Half; ++AIndex) TwistBins<T, 1, AToBins>(ADft, ASource, ATarget, AIndex);
  } else {
    // As long as the two vectors have no bin in common.
    for (; 2 * (AIndex + L) <= Half + 1; AIndex += L)
      TwistBins<T, L, AToBins>(ADft, ASource, ATarget, AIndex);
    TwistBinsFrom<T, L / 2, AToBins>(AIndex, ADft, ASource, ATarget);
  }
}

// A complex transform of half the length.
template <class T>
void RunHalfToBins(const TRealDft<T>& ADft, TSpectrumLayout ASpectrum, const T* ASource, T* ATarget,
                   T AScale, std::byte* AWork) noexcept {
  RunComplexDft<T, false>(ADft.Complex, ASource, ATarget, AScale / 2, AWork);
  TwistBinsFrom<T, MaxLanes<T>, true>(1, ADft, ATarget, ATarget);
  const T Even = 2 * ATarget[0];
  const T Odd = 2 * ATarget[1];
  ATarget[0] = Even + Odd;
  SetLastBin<T>(ASpectrum, ATarget, ADft.Length, Even - Odd);
}

template <class T>
void RunHalfToSamples(const TRealDft<T>& ADft, TSpectrumLayout ASpectrum, const T* ASource,
                      T* ATarget, T AScale, std::byte* AWork) noexcept {
  const T First = ASource[0];
  const T Last = *LastBin(ASpectrum, ASource, ADft.Length);
  TwistBinsFrom<T, MaxLanes<T>, false>(1, ADft, ASource, ATarget);
  ATarget[0] = First + Last;
  ATarget[1] = First - Last;
  RunComplexDft<T, true>(ADft.Complex, ATarget, ATarget, AScale, AWork);
}

template <class T>
void RunSmoothToBins(const TRealDft<T>& ADft, TSpectrumLayout ASpectrum, const T* ASource,
                     T* ATarget, T AScale, std::byte* AWork) noexcept {
  T Last = 0;
  TLayout Memory(AWork);
  WithWideLanes<T>(ADft.Smooth.Lanes, [&](auto ALanes) {
    TRealSmoothRun<T, ALanes>(ADft.Smooth, AScale, Memory).ToBins(ASource, ATarget, &Last);
  });
  SetLastBin(ASpectrum, ATarget, ADft.Length, Last);
}

template <class T>
void RunSmoothToSamples(const TRealDft<T>& ADft, TSpectrumLayout ASpectrum, const T* ASource,
                        T* ATarget, T AScale, std::byte* AWork) noexcept {
  TLayout Memory(AWork);
  WithWideLanes<T>(ADft.Smooth.Lanes, [&](auto ALanes) {
    TRealSmoothRun<T, ALanes>(ADft.Smooth, AScale, Memory)
        .ToSamples(ASource, LastBin(ASpectrum, ASource, ADft.Length), ATarget);
  });
}

// The direct sums over real samples, to the bins 0 to Half and back.
template <class T>
void RunDirectToBins(const TRealDft<T>& ADft, TSpectrumLayout, const T* ASource, T* ATarget,
                     T AScale, std::byte* AWork) noexcept {
  const TDirectTables<T>& Tables = ADft.Direct;
  const std::ptrdiff_t Half = Tables.Half;
  T* Inputs = reinterpret_cast<T*>(AWork);
  T* Sums = Inputs + 2 * Tables.Stride;
  const T First = ASource[0];
  T Total = First;
  for (std::ptrdiff_t J = 0; J < Half; ++J) {
    const T Low = ASource[J + 1];
    const T High = ASource[2 * Half - J];
    Inputs[J] = Low + High;
    Inputs[Tables.Stride + J] = Low - High;
    Total += Inputs[J];
  }
  DirectSums<T, 2>(Tables, Inputs, Sums);
  ATarget[0] = Total * AScale;
  ATarget[1] = 0;
  for (std::ptrdiff_t K = 0; K < Half; ++K) {
    ATarget[2 * K + 2] = (First + Sums[K]) * AScale;
    ATarget[2 * K + 3] = Sums[Tables.Stride + K] * AScale;
  }
}

template <class T>
void RunDirectToSamples(const TRealDft<T>& ADft, TSpectrumLayout, const T* ASource, T* ATarget,
                        T AScale, std::byte* AWork) noexcept {
  const TDirectTables<T>& Tables = ADft.Direct;
  const std::ptrdiff_t Half = Tables.Half;
  T* Inputs = reinterpret_cast<T*>(AWork);
  T* Sums = Inputs + 2 * Tables.Stride;
  const T First = ASource[0];
  T Total = First;
  for (std::ptrdiff_t K = 0; K < Half; ++K) {
    Inputs[K] = 2 * ASource[2 * K + 2];
    Inputs[Tables.Stride + K] = 2 * ASource[2 * K + 3];
    Total += Inputs[K];
  }
  DirectSums<T, 2>(Tables, Inputs, Sums);
  ATarget[0] = Total * AScale;
  for (std::ptrdiff_t J = 0; J < Half; ++J) {
    const T Even = First + Sums[J];
    const T Odd = Sums[Tables.Stride + J];
    ATarget[J + 1] = (Even + Odd) * AScale;
    ATarget[2 * Half - J] = (Even - Odd) * AScale;
  }
}

// A complex transform of an odd length, over samples at the start of AWork.
template <class T>
constexpr std::size_t ComplexSampleBytes(std::int32_t ALength) noexcept {
  return UpToCacheLine(2 * sizeof(T) * static_cast<std::size_t>(ALength));
}

template <class T>
void RunComplexToBins(const TRealDft<T>& ADft, TSpectrumLayout, const T* ASource, T* ATarget,
                      T AScale, std::byte* AWork) noexcept {
  T* const Samples = reinterpret_cast<T*>(AWork);
  for (std::ptrdiff_t N = 0; N < ADft.Length; ++N) {
    Samples[2 * N] = ASource[N];
    Samples[2 * N + 1] = 0;
  }
  RunComplexDft<T, false>(ADft.Complex, Samples, Samples, AScale,
                          AWork + ComplexSampleBytes<T>(ADft.Length));
  std::copy_n(Samples, ADft.Length + 1, ATarget);
  ATarget[1] = 0;
}

template <class T>
void RunComplexToSamples(const TRealDft<T>& ADft, TSpectrumLayout, const T* ASource, T* ATarget,
                         T AScale, std::byte* AWork) noexcept {
  T* const Samples = reinterpret_cast<T*>(AWork);
  Samples[0] = ASource[0];
  Samples[1] = 0;
  for (std::ptrdiff_t K = 1; 2 * K < ADft.Length; ++K) {
    T* Mirror = Samples + 2 * (ADft.Length - K);
    Mirror[0] = Samples[2 * K] = ASource[2 * K];
    Mirror[1] = -(Samples[2 * K + 1] = ASource[2 * K + 1]);
  }
  RunComplexDft<T, true>(ADft.Complex, Samples, Samples, AScale,
                         AWork + ComplexSampleBytes<T>(ADft.Length));
  for (std::ptrdiff_t N = 0; N < ADft.Length; ++N) ATarget[N] = Samples[2 * N];
}

// What runs a transform whose plan is known but for this.
template <class T>
void SetRuns(TRealDft<T>& ADft) noexcept {
  const auto Set = [&](auto AToBins, auto AToSamples) {
    ADft.ToBins = AToBins;
    ADft.ToSamples = AToSamples;
  };
  switch (ADft.Road) {
    case TRealRoad::Short:
      WithShortRealLength(ADft.Length,
                          [&](auto F) { Set(&RunShortToBins<T, F>, &RunShortToSamples<T, F>); });
      return;
    case TRealRoad::Smooth:
      return Set(&RunSmoothToBins<T>, &RunSmoothToSamples<T>);
    case TRealRoad::Half:
      return Set(&RunHalfToBins<T>, &RunHalfToSamples<T>);
    case TRealRoad::Direct:
      return Set(&RunDirectToBins<T>, &RunDirectToSamples<T>);
    case TRealRoad::Complex:
      return Set(&RunComplexToBins<T>, &RunComplexToSamples<T>);
  }
}

template <class T, class TRootsOf>
void LayOutHalf(TRealDft<T>& ADft, TRootsOf&& ARootsOf, TLayout& ALayout) noexcept {
  LayOutDft(ADft.Complex, ADft.Length / 2, ARootsOf, ALayout);
  ADft.WorkBytes = ADft.Complex.WorkBytes;
  TakeRoots(static_cast<std::size_t>(ADft.Length / 4 + 1), 1, ARootsOf(ADft.Length), ALayout,
            ADft.TwistRe, ADft.TwistIm);
}

template <class T, class TRootsOf>
void LayOutDft(TRealDft<T>& ADft, std::int32_t ALength, TRootsOf&& ARootsOf,
               TLayout& ALayout) noexcept {
  ADft.Length = ALength;
  if (WithShortRealLength(ALength, [](auto) {})) {
    ADft.Road = TRealRoad::Short;
  } else if (const TSplit Split = ChooseRealSplit<T>(ALength); Split.Lanes != 0) {
    ADft.Road = TRealRoad::Smooth;
    LayOutRealSmooth(ADft.Smooth, Split, ARootsOf, ALayout);
    ADft.WorkBytes = ADft.Smooth.WorkBytes;
  } else if (ALength % 2 == 0) {
    ADft.Road = TRealRoad::Half;
    LayOutHalf(ADft, ARootsOf, ALayout);
  } else if (!IsSmooth(ALength) && ALength <= LongestRealDirect) {
    ADft.Road = TRealRoad::Direct;
    LayOutDirect(ADft.Direct, ALength, ARootsOf(ALength), ALayout);
    ADft.WorkBytes = DirectWorkBytes(ADft.Direct);
  } else {
    ADft.Road = TRealRoad::Complex;
    LayOutDft(ADft.Complex, ALength, ARootsOf, ALayout);
    ADft.WorkBytes = ComplexSampleBytes<T>(ALength) + ADft.Complex.WorkBytes;
  }
  SetRuns(ADft);
}

// All that runs a real transform of samples of type T, as TESSALUNE_COMPLEX_DFT.
#define TESSALUNE_REAL_DFT(Template, T) \
  Template void kernels::SetRuns<T>(kernels::TRealDft<T>&) noexcept;

// The bins of ASource, times AScale. ASource may be ATarget. AWork: WorkBytes, aligned to a cache
// line. The layout Perm is for even lengths and for length 1.
template <class T>
TESSALUNE_INLINE void RunToBins(const TRealDft<T>& ADft, TSpectrumLayout ASpectrum,
                                const T* ASource, T* ATarget, T AScale, std::byte* AWork) noexcept {
  ADft.ToBins(ADft, ASpectrum, ASource, ATarget, AScale, AWork);
}

// And back: the sum over all bins, times AScale.
template <class T>
TESSALUNE_INLINE void RunToSamples(const TRealDft<T>& ADft, TSpectrumLayout ASpectrum,
                                   const T* ASource, T* ATarget, T AScale,
                                   std::byte* AWork) noexcept {
  ADft.ToSamples(ADft, ASpectrum, ASource, ATarget, AScale, AWork);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels

namespace tessalune::TESSALUNE_BUILTINS {
TESSALUNE_REAL_DFT(extern template, float)
TESSALUNE_REAL_DFT(extern template, double)
}  // namespace tessalune::TESSALUNE_BUILTINS
