#pragma once

#include <tessalune/primitives/kernels/ComplexDft.h>

// The discrete Fourier transform of real samples, of any length N, to and from the bins 0 to N/2.
//
// An even length is a complex transform of half the length, over neighbouring samples taken as
// one, and one pass that takes the two interleaved spectra apart. An odd length has direct sums
// over real data if it is a prime below 180; otherwise it is a complex transform.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

constexpr std::int32_t LongestRealDirect = 180;

// How the half spectrum lies in memory.
//   Ccs   N/2 + 1 complex bins; the imaginary parts of bin 0 and of bin N/2 of an even N are 0
//   Perm  N values: the same without these zeros, and the real part of bin N/2 of an even N stands
//         behind the one of bin 0
enum class TSpectrumLayout { Ccs, Perm };

template <class T>
struct TRealDft {
  std::int32_t Length;
  bool IsDirect;
  TComplexDft<T> Complex;  // of Length / 2 if that is even, else of Length
  TDirectTables<T> Direct;
  const T* TwistRe;  // even: exp(-2 pi i k / N), k from 0 to N/4
  const T* TwistIm;
  std::size_t WorkBytes;  // that a transform needs, aligned to a cache line; 0 for none
};

template <class T, class TRootsOf>
void LayOutDft(TRealDft<T>& ADft, std::int32_t ALength, TRootsOf&& ARootsOf,
               TLayout& ALayout) noexcept {
  ADft.Length = ALength;
  if (ALength % 2 != 0) {
    ADft.IsDirect =
        RoadOf(ALength) != TRoad::Short && !IsSmooth(ALength) && ALength <= LongestRealDirect;
    if (ADft.IsDirect) {
      LayOutDirect(ADft.Direct, ALength, ARootsOf(ALength), ALayout);
      ADft.WorkBytes = DirectWorkBytes(ADft.Direct);
      return;
    }
    LayOutDft(ADft.Complex, ALength, ARootsOf, ALayout);
    // Short lengths have their few complex samples in registers.
    if (ADft.Complex.Road != TRoad::Short)
      ADft.WorkBytes =
          ADft.Complex.WorkBytes + 2 * sizeof(T) * static_cast<std::size_t>(ALength) + CacheLine;
    return;
  }
  LayOutDft(ADft.Complex, ALength / 2, ARootsOf, ALayout);
  ADft.WorkBytes = ADft.Complex.WorkBytes;
  const auto Count = static_cast<std::size_t>(ALength / 4 + 1);
  T* TwistRe = ALayout.Take<T>(Count);
  T* TwistIm = ALayout.Take<T>(Count);
  ADft.TwistRe = TwistRe;
  ADft.TwistIm = TwistIm;
  const TRootsOfUnity* Roots = ARootsOf(ALength);
  if (!TwistRe) return;
  for (std::size_t K = 0; K < Count; ++K) {
    const TRootValue Root = (*Roots)(static_cast<std::int64_t>(K));
    TwistRe[K] = static_cast<T>(Root.Re);
    TwistIm[K] = static_cast<T>(Root.Im);
  }
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

// All bins but the first and the last. ASource may be ATarget.
template <class T, bool AToBins>
void TwistAllBins(const TRealDft<T>& ADft, const T* ASource, T* ATarget) noexcept {
  const std::ptrdiff_t Half = ADft.Length / 2;
  constexpr int L = MaxLanes<T>;
  std::ptrdiff_t K = 1;
  // As long as the two vectors have no bin in common.
  for (; 2 * (K + L) <= Half + 1; K += L) TwistBins<T, L, AToBins>(ADft, ASource, ATarget, K);
  for (; 2 * K <= Half; ++K) TwistBins<T, 1, AToBins>(ADft, ASource, ATarget, K);
}

// The direct sums over real samples, to the bins 0 to Half and back.
template <class T>
void RunDirectToBins(const TDirectTables<T>& ATables, const T* ASource, T* ATarget, T AScale,
                     std::byte* AWork) noexcept {
  const std::ptrdiff_t Half = ATables.Half;
  T* Inputs = reinterpret_cast<T*>(AWork);
  T* Sums = Inputs + 2 * ATables.Stride;
  const T First = ASource[0];
  T Total = First;
  for (std::ptrdiff_t J = 0; J < Half; ++J) {
    const T Low = ASource[J + 1];
    const T High = ASource[2 * Half - J];
    Inputs[J] = Low + High;
    Inputs[ATables.Stride + J] = Low - High;
    Total += Inputs[J];
  }
  DirectSums<T, 2>(ATables, Inputs, Sums);
  ATarget[0] = Total * AScale;
  ATarget[1] = 0;
  for (std::ptrdiff_t K = 0; K < Half; ++K) {
    ATarget[2 * K + 2] = (First + Sums[K]) * AScale;
    ATarget[2 * K + 3] = Sums[ATables.Stride + K] * AScale;
  }
}

template <class T>
void RunDirectToSamples(const TDirectTables<T>& ATables, const T* ASource, T* ATarget, T AScale,
                        std::byte* AWork) noexcept {
  const std::ptrdiff_t Half = ATables.Half;
  T* Inputs = reinterpret_cast<T*>(AWork);
  T* Sums = Inputs + 2 * ATables.Stride;
  const T First = ASource[0];
  T Total = First;
  for (std::ptrdiff_t K = 0; K < Half; ++K) {
    Inputs[K] = 2 * ASource[2 * K + 2];
    Inputs[ATables.Stride + K] = 2 * ASource[2 * K + 3];
    Total += Inputs[K];
  }
  DirectSums<T, 2>(ATables, Inputs, Sums);
  ATarget[0] = Total * AScale;
  for (std::ptrdiff_t J = 0; J < Half; ++J) {
    const T Even = First + Sums[J];
    const T Odd = Sums[ATables.Stride + J];
    ATarget[J + 1] = (Even + Odd) * AScale;
    ATarget[2 * Half - J] = (Even - Odd) * AScale;
  }
}

// An odd length as a complex transform of AComplex, which has room for 2 Length values.
template <class T>
void RunOddToBins(const TRealDft<T>& ADft, const T* ASource, T* ATarget, T AScale, T* AComplex,
                  std::byte* AWork) noexcept {
  for (std::ptrdiff_t N = 0; N < ADft.Length; ++N) {
    AComplex[2 * N] = ASource[N];
    AComplex[2 * N + 1] = 0;
  }
  RunComplexDft<T, false>(ADft.Complex, AComplex, AComplex, AScale, AWork);
  std::copy_n(AComplex, ADft.Length + 1, ATarget);
  ATarget[1] = 0;
}

template <class T>
void RunOddToSamples(const TRealDft<T>& ADft, const T* ASource, T* ATarget, T AScale, T* AComplex,
                     std::byte* AWork) noexcept {
  AComplex[0] = ASource[0];
  AComplex[1] = 0;
  for (std::ptrdiff_t K = 1; 2 * K < ADft.Length; ++K) {
    T* Mirror = AComplex + 2 * (ADft.Length - K);
    Mirror[0] = AComplex[2 * K] = ASource[2 * K];
    Mirror[1] = -(AComplex[2 * K + 1] = ASource[2 * K + 1]);
  }
  RunComplexDft<T, true>(ADft.Complex, AComplex, AComplex, AScale, AWork);
  for (std::ptrdiff_t N = 0; N < ADft.Length; ++N) ATarget[N] = AComplex[2 * N];
}

// Gives AFunction room for the samples of an odd length, and what is left of the work memory.
template <class T, class TFunction>
void WithOddSamples(const TRealDft<T>& ADft, std::byte* AWork, TFunction AFunction) noexcept {
  if (ADft.Complex.Road == TRoad::Short) {
    T Samples[32] = {};
    AFunction(Samples, AWork);
  } else {
    const std::size_t Bytes = 2 * sizeof(T) * static_cast<std::size_t>(ADft.Length);
    AFunction(reinterpret_cast<T*>(AWork), AlignUp<std::byte>(AWork + Bytes));
  }
}

// The bins of ASource, times AScale. ASource may be ATarget. AWork: WorkBytes, aligned to a cache
// line. The layout Perm is for even lengths and for length 1.
template <class T>
[[gnu::noinline]] void RunToBins(const TRealDft<T>& ADft, TSpectrumLayout ALayout, const T* ASource,
                                 T* ATarget, T AScale, std::byte* AWork) noexcept {
  const std::ptrdiff_t Length = ADft.Length;
  if (ADft.IsDirect) return RunDirectToBins(ADft.Direct, ASource, ATarget, AScale, AWork);
  if (Length % 2 != 0) {
    if (ALayout == TSpectrumLayout::Perm)
      ATarget[0] = ASource[0] * AScale;
    else
      WithOddSamples(ADft, AWork, [&](T* ASamples, std::byte* ARest) {
        RunOddToBins(ADft, ASource, ATarget, AScale, ASamples, ARest);
      });
    return;
  }
  RunComplexDft<T, false>(ADft.Complex, ASource, ATarget, AScale / 2, AWork);
  TwistAllBins<T, true>(ADft, ATarget, ATarget);
  const T Even = 2 * ATarget[0];
  const T Odd = 2 * ATarget[1];
  ATarget[0] = Even + Odd;
  if (ALayout == TSpectrumLayout::Perm) {
    ATarget[1] = Even - Odd;
  } else {
    ATarget[1] = 0;
    ATarget[Length] = Even - Odd;
    ATarget[Length + 1] = 0;
  }
}

// And back: the sum over all bins, times AScale.
template <class T>
[[gnu::noinline]] void RunToSamples(const TRealDft<T>& ADft, TSpectrumLayout ALayout,
                                    const T* ASource, T* ATarget, T AScale,
                                    std::byte* AWork) noexcept {
  const std::ptrdiff_t Length = ADft.Length;
  if (ADft.IsDirect) return RunDirectToSamples(ADft.Direct, ASource, ATarget, AScale, AWork);
  if (Length % 2 != 0)
    return WithOddSamples(ADft, AWork, [&](T* ASamples, std::byte* ARest) {
      RunOddToSamples(ADft, ASource, ATarget, AScale, ASamples, ARest);
    });
  const T First = ASource[0];
  const T Last = ASource[ALayout == TSpectrumLayout::Perm ? 1 : Length];
  TwistAllBins<T, false>(ADft, ASource, ATarget);
  ATarget[0] = First + Last;
  ATarget[1] = First - Last;
  RunComplexDft<T, true>(ADft.Complex, ATarget, ATarget, AScale, AWork);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
