#pragma once

#include <tessalune/primitives/kernels/SmoothPlan.h>

#include <cstddef>
#include <cstdint>

// The discrete Fourier transform of complex samples, of any length.
//
// The road by the length: straight-line code for the shortest; two steps of mixed radices
// (SmoothDft.h) for powers of two and for products of 2 and odd primes below 151; the sums
// themselves for the other lengths up to 150, all of which are primes; above that, a circular
// convolution with a chirp over a power of two (L. Bluestein, "A linear filtering approach to the
// computation of discrete Fourier transform", 1970).
namespace tessalune::TESSALUNE_BUILTINS::kernels {

enum class TRoad : std::int32_t { Short, Smooth, Direct, Convolution };

constexpr std::int32_t LongestDirect = 150;

constexpr bool IsPowerOfTwo(std::int32_t ALength) noexcept {
  return (ALength & (ALength - 1)) == 0;
}

// Whether ALength is a product of two or more factors 2 and odd primes below 151.
constexpr bool IsSmooth(std::int32_t ALength) noexcept {
  std::int32_t Rest = ALength;
  for (std::int32_t P = 2; P < 151 && P <= Rest / P; P += P == 2 ? 1 : 2)
    while (Rest % P == 0 && Rest > P) Rest /= P;
  return Rest < 151 && Rest < ALength;
}

template <class TFunction>
TESSALUNE_INLINE bool WithShortLength(std::int32_t ALength, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 2, 3, 5, 6, 7, 1, 9, 10, 11, 13, 15>(ALength, AFunction);
}

inline TRoad RoadOf(std::int32_t ALength) noexcept {
  if (WithShortLength(ALength, [](auto) {})) return TRoad::Short;
  if (IsPowerOfTwo(ALength) || IsSmooth(ALength)) return TRoad::Smooth;
  return ALength <= LongestDirect ? TRoad::Direct : TRoad::Convolution;
}

// Tables of the sums over the differences and the sums of mirrored samples, for an odd length N:
// cos(2 pi j k / N) and -sin(2 pi j k / N) at (j - 1) Stride + k - 1, for j and k from 1 to
// Half = (N - 1) / 2. Row after row is read from end to end, with neighbouring k in the lanes.
template <class T>
struct TDirectTables {
  std::int32_t Half;
  std::int32_t Stride;
  const T* Cosines;
  const T* Sines;
};

template <class T>
struct TComplexDft {
  // The transform times AScale. ASource may be ATarget. AWork: WorkBytes, aligned to a cache line.
  using TRun = void (*)(const TComplexDft& ADft, const T* ASource, T* ATarget, T AScale,
                        std::byte* AWork) noexcept;

  TRun Forward;
  TRun Inverse;
  TRoad Road;
  std::int32_t Length;
  std::int32_t InnerLength;  // convolution: of the inner transforms
  TSmoothPlan<T> Smooth;     // of Length, or of InnerLength
  TDirectTables<T> Direct;
  const T* Chirp;         // convolution: exp(-pi i n^2 / Length), n below Length
  const T* Filter;        // the spectrum of its conjugate, divided by InnerLength
  std::size_t WorkBytes;  // that a transform needs, aligned to a cache line; 0 for none
};

template <class T>
void LayOutDirect(TDirectTables<T>& ATables, std::int32_t ALength, const TRootsOfUnity* ARoots,
                  TLayout& ALayout) noexcept {
  constexpr std::int32_t L = MaxLanes<T>;
  ATables.Half = (ALength - 1) / 2;
  ATables.Stride = (ATables.Half + L - 1) / L * L;
  const auto Size =
      static_cast<std::size_t>(ATables.Half) * static_cast<std::size_t>(ATables.Stride);
  T* Cosines = ALayout.Take<T>(Size);
  T* Sines = ALayout.Take<T>(Size);
  ATables.Cosines = Cosines;
  ATables.Sines = Sines;
  if (!Cosines) return;
  for (std::int32_t J = 1; J <= ATables.Half; ++J)
    for (std::int32_t K = 1; K <= ATables.Stride; ++K) {
      const TRootValue Root = (*ARoots)(J * K);
      *Cosines++ = static_cast<T>(Root.Re);
      *Sines++ = static_cast<T>(Root.Im);
    }
}

// Of the values that the sums need.
template <class T>
std::size_t DirectWorkBytes(const TDirectTables<T>& ATables) noexcept {
  return 8 * sizeof(T) * static_cast<std::size_t>(ATables.Stride);
}

// ASums[c][k] = sum over j of AInputs[c][j] cos or -sin: the first half of the C inputs by cosines.
template <class T, int C>
void DirectSums(const TDirectTables<T>& ATables, const T* AInputs, T* ASums) noexcept {
  constexpr int L = MaxLanes<T>;
  using V = TVector<T, L>;
  const std::ptrdiff_t Stride = ATables.Stride;
  const auto Sum = [&](std::ptrdiff_t AFirst, auto AVectors) {
    constexpr int Vectors = decltype(AVectors)::value;
    TArray<TArray<V, Vectors>, C> Sums = {};
    for (std::ptrdiff_t J = 0; J < ATables.Half; ++J) {
      const T* Cosines = ATables.Cosines + J * Stride + AFirst;
      const T* Sines = ATables.Sines + J * Stride + AFirst;
      Repeat<Vectors>(TESSALUNE_EACH(I) {
        const V Cosine = Load<T, L>(Cosines + I * L);
        const V Sine = Load<T, L>(Sines + I * L);
        Repeat<C>(TESSALUNE_EACH(N) {
          Sums[N][I] += (N < C / 2 ? Cosine : Sine) * AInputs[N * Stride + J];
        });
      });
    }
    Repeat<Vectors>(TESSALUNE_EACH(I) {
      Repeat<C>(
          TESSALUNE_EACH(N) { Store<T, L>(ASums + N * Stride + AFirst + I * L, Sums[N][I]); });
    });
  };
  std::ptrdiff_t First = 0;
  for (; First + 2 * L <= Stride; First += 2 * L) Sum(First, std::integral_constant<int, 2>{});
  if (First < Stride) Sum(First, std::integral_constant<int, 1>{});
}

template <class T, bool AInverse>
void RunDirect(const TDirectTables<T>& ATables, const T* ASource, T* ATarget, T AScale,
               std::byte* AWork) noexcept {
  constexpr int Re = AInverse ? 1 : 0;
  constexpr int Im = AInverse ? 0 : 1;
  const std::ptrdiff_t Half = ATables.Half;
  const std::ptrdiff_t Stride = ATables.Stride;
  const std::ptrdiff_t Length = 2 * Half + 1;
  T* Inputs = reinterpret_cast<T*>(AWork);
  T* Sums = Inputs + 4 * Stride;
  const T FirstRe = ASource[Re];
  const T FirstIm = ASource[Im];
  T TotalRe = FirstRe;
  T TotalIm = FirstIm;
  for (std::ptrdiff_t J = 0; J < Half; ++J) {
    const T* Low = ASource + 2 * (J + 1);
    const T* High = ASource + 2 * (Length - 1 - J);
    Inputs[J] = Low[Re] + High[Re];
    Inputs[Stride + J] = Low[Im] + High[Im];
    Inputs[2 * Stride + J] = Low[Re] - High[Re];
    Inputs[3 * Stride + J] = Low[Im] - High[Im];
    TotalRe += Inputs[J];
    TotalIm += Inputs[Stride + J];
  }
  DirectSums<T, 4>(ATables, Inputs, Sums);
  ATarget[Re] = TotalRe * AScale;
  ATarget[Im] = TotalIm * AScale;
  for (std::ptrdiff_t K = 0; K < Half; ++K) {
    const T EvenRe = FirstRe + Sums[K];
    const T EvenIm = FirstIm + Sums[Stride + K];
    const T OddRe = Sums[2 * Stride + K];
    const T OddIm = Sums[3 * Stride + K];
    T* Low = ATarget + 2 * (K + 1);
    T* High = ATarget + 2 * (Length - 1 - K);
    Low[Re] = (EvenRe - OddIm) * AScale;
    Low[Im] = (EvenIm + OddRe) * AScale;
    High[Re] = (EvenRe + OddIm) * AScale;
    High[Im] = (EvenIm - OddRe) * AScale;
  }
}

// Whose parts MultiplyComplex exchanges: nothing's, those of A, or those of the result.
enum class TExchange { None, Before, After };

// ATarget[n] = A[n] B[n] AScale of ACount complex numbers.
template <class T, TExchange AExchange = TExchange::None>
void MultiplyComplex(const T* A, const T* B, T* ATarget, std::size_t ACount,
                     T AScale = 1) noexcept {
  ForLanes<T>(0, static_cast<std::ptrdiff_t>(ACount), [=](auto ALanes, std::ptrdiff_t AIndex) {
    using TOf = TLanes<T, decltype(ALanes)::value>;
    auto X = TOf::LoadComplex(A + 2 * AIndex);
    if constexpr (AExchange == TExchange::Before) X = {X.Im, X.Re};
    const auto Y = TOf::LoadComplex(B + 2 * AIndex);
    const auto Z = Multiply(X, Y.Re, Y.Im);
    if constexpr (AExchange == TExchange::After)
      TOf::StoreComplex(ATarget + 2 * AIndex, {Z.Im * AScale, Z.Re * AScale});
    else
      TOf::StoreComplex(ATarget + 2 * AIndex, {Z.Re * AScale, Z.Im * AScale});
  });
}

template <class T>
void LayOutConvolution(TComplexDft<T>& ADft, const TRootsOfUnity* AChirpRoots,
                       const TRootsOfUnity* AInnerRoots, TLayout& ALayout) noexcept {
  const auto Length = static_cast<std::size_t>(ADft.Length);
  const auto InnerLength = static_cast<std::size_t>(ADft.InnerLength);
  LayOutSmooth(ADft.Smooth, ChooseSplit<T>(ADft.InnerLength), AInnerRoots, ALayout);
  ADft.WorkBytes = ADft.Smooth.WorkBytes + 2 * sizeof(T) * InnerLength;
  T* Chirp = ALayout.Take<T>(2 * Length);
  T* Filter = ALayout.Take<T>(2 * InnerLength);
  ADft.Chirp = Chirp;
  ADft.Filter = Filter;
  if (!Chirp) return;

  std::fill_n(Filter, 2 * InnerLength, T(0));
  std::int64_t Square = 0;  // n^2 modulo 2 Length
  for (std::size_t N = 0; N < Length; ++N) {
    const TRootValue Root = (*AChirpRoots)(Square);
    Square = (Square + 2 * static_cast<std::int64_t>(N) + 1) % (2 * ADft.Length);
    Chirp[2 * N] = static_cast<T>(Root.Re);
    Chirp[2 * N + 1] = static_cast<T>(Root.Im);
    const std::size_t Mirror = (InnerLength - N) % InnerLength;
    Filter[2 * N] = Filter[2 * Mirror] = Chirp[2 * N];
    Filter[2 * N + 1] = Filter[2 * Mirror + 1] = -Chirp[2 * N + 1];
  }
}

template <class T, bool AInverse>
void RunConvolution(const TComplexDft<T>& ADft, const T* ASource, T* ATarget, T AScale,
                    std::byte* AWork) noexcept {
  const auto Length = static_cast<std::size_t>(ADft.Length);
  const auto InnerLength = static_cast<std::size_t>(ADft.InnerLength);
  T* Buffer = reinterpret_cast<T*>(AWork);
  std::byte* Work = AWork + 2 * sizeof(T) * InnerLength;
  constexpr TExchange Before = AInverse ? TExchange::Before : TExchange::None;
  constexpr TExchange After = AInverse ? TExchange::After : TExchange::None;
  MultiplyComplex<T, Before>(ASource, ADft.Chirp, Buffer, Length);
  std::fill_n(Buffer + 2 * Length, 2 * (InnerLength - Length), T(0));
  RunSmooth(ADft.Smooth, Buffer, Buffer, T(1), false, Work);
  MultiplyComplex(Buffer, ADft.Filter, Buffer, InnerLength);
  RunSmooth(ADft.Smooth, Buffer, Buffer, T(1), true, Work);
  MultiplyComplex<T, After>(Buffer, ADft.Chirp, ATarget, Length, AScale);
}

template <class T, bool AInverse, int F>
void RunShort(const TComplexDft<T>&, const T* ASource, T* ATarget, T AScale, std::byte*) noexcept {
  constexpr int Re = AInverse ? 1 : 0;
  constexpr int Im = AInverse ? 0 : 1;
  TArray<TPair<T>, F> X;
  Repeat<F>(TESSALUNE_EACH(I) { X[I] = {ASource[2 * I + Re], ASource[2 * I + Im]}; });
  Dft<T, F>(X);
  Repeat<F>(TESSALUNE_EACH(I) {
    ATarget[2 * I + Re] = X[I].Re * AScale;
    ATarget[2 * I + Im] = X[I].Im * AScale;
  });
}

template <class T, int L, int M, bool AInverse>
void RunFusedDft(const TComplexDft<T>& ADft, const T* ASource, T* ATarget, T AScale,
                 std::byte*) noexcept {
  RunFused<T, L, M, AInverse>(ASource, ATarget, ADft.Smooth.Rows.Twiddles, AScale);
}

// What runs a transform whose plan is known but for this.
template <class T, bool AInverse>
typename TComplexDft<T>::TRun RunOf(const TComplexDft<T>& ADft) noexcept {
  typename TComplexDft<T>::TRun Result = nullptr;
  switch (ADft.Road) {
    case TRoad::Short:
      WithShortLength(ADft.Length, [&](auto F) { Result = &RunShort<T, AInverse, F>; });
      break;
    case TRoad::Smooth:
      Result = [](const TComplexDft<T>& APlan, const T* ASource, T* ATarget, T AScale,
                  std::byte* AWork) noexcept {
        RunSmooth(APlan.Smooth, ASource, ATarget, AScale, AInverse, AWork);
      };
      if (ADft.Smooth.ColumnsToLines && ADft.Smooth.LinesToSamples)
        Result = [](const TComplexDft<T>& APlan, const T* ASource, T* ATarget, T AScale,
                    std::byte* AWork) noexcept {
          RunShortSteps(APlan.Smooth, ASource, ATarget, AScale, AInverse, AWork);
        };
      if (ADft.Smooth.IsFused)
        WithLanes<T>(ADft.Smooth.Lanes, [&](auto ALanes) {
          constexpr int L = decltype(ALanes)::value;
          if constexpr (L >= 4)
            WithFusedRows(ADft.Smooth.Columns.Length, [&](auto ARows) {
              constexpr int M = decltype(ARows)::value;
              if constexpr (IsFused<T>(M, L, L)) Result = &RunFusedDft<T, L, M, AInverse>;
            });
        });
      break;
    case TRoad::Direct:
      Result = [](const TComplexDft<T>& APlan, const T* ASource, T* ATarget, T AScale,
                  std::byte* AWork) noexcept {
        RunDirect<T, AInverse>(APlan.Direct, ASource, ATarget, AScale, AWork);
      };
      break;
    case TRoad::Convolution:
      Result = &RunConvolution<T, AInverse>;
      break;
  }
  return Result;
}

template <class T, bool AInverse>
TESSALUNE_INLINE void RunComplexDft(const TComplexDft<T>& ADft, const T* ASource, T* ATarget,
                                    T AScale, std::byte* AWork) noexcept {
  (AInverse ? ADft.Inverse : ADft.Forward)(ADft, ASource, ATarget, AScale, AWork);
}

// The longest length whose convolution has one that an int32 holds.
constexpr std::int32_t LongestConvolution = std::int32_t{1} << 29;

// The smallest power of two that holds a linear convolution of two times ALength samples, of which
// there are LongestConvolution at most.
constexpr std::int32_t ConvolutionLength(std::int32_t ALength) noexcept {
  std::int32_t Result = 1;
  while (Result < 2 * ALength - 1) Result *= 2;
  return Result;
}

// The tables for ALength. ARootsOf gives the roots of an order, or null while the layout is
// measured.
template <class T, class TRootsOf>
void LayOutDft(TComplexDft<T>& ADft, std::int32_t ALength, TRootsOf&& ARootsOf,
               TLayout& ALayout) noexcept {
  ADft.Road = RoadOf(ALength);
  ADft.Length = ALength;
  switch (ADft.Road) {
    case TRoad::Short:
      break;
    case TRoad::Smooth:
      LayOutSmooth(ADft.Smooth, ChooseSplit<T>(ALength), ARootsOf(ALength), ALayout);
      ADft.WorkBytes = ADft.Smooth.WorkBytes;
      break;
    case TRoad::Direct:
      LayOutDirect(ADft.Direct, ALength, ARootsOf(ALength), ALayout);
      ADft.WorkBytes = DirectWorkBytes(ADft.Direct);
      break;
    case TRoad::Convolution:
      if (ALength > LongestConvolution) return ALayout.Refuse();
      ADft.InnerLength = ConvolutionLength(ALength);
      LayOutConvolution(ADft, ARootsOf(2 * std::int64_t{ALength}), ARootsOf(ADft.InnerLength),
                        ALayout);
      break;
  }
  ADft.Forward = RunOf<T, false>(ADft);
  ADft.Inverse = RunOf<T, true>(ADft);
}

// All that runs a transform of samples of type T: ComplexDft32.cpp and ComplexDft64.cpp have
// it, for everybody, since it takes long to compile.
#define TESSALUNE_COMPLEX_DFT(Template, T)                                                   \
  Template void kernels::LayOutSmooth<T>(kernels::TSmoothPlan<T>&, const kernels::TSplit&,   \
                                         const kernels::TRootsOfUnity*,                      \
                                         kernels::TLayout&) noexcept;                        \
  Template void kernels::RunSmooth<T>(const kernels::TSmoothPlan<T>&, const T*, T*, T, bool, \
                                      std::byte*) noexcept;                                  \
  Template kernels::TComplexDft<T>::TRun kernels::RunOf<T, false>(                           \
      const kernels::TComplexDft<T>&) noexcept;                                              \
  Template kernels::TComplexDft<T>::TRun kernels::RunOf<T, true>(                            \
      const kernels::TComplexDft<T>&) noexcept;

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels

namespace tessalune::TESSALUNE_BUILTINS {

TESSALUNE_COMPLEX_DFT(extern template, float)
TESSALUNE_COMPLEX_DFT(extern template, double)

}  // namespace tessalune::TESSALUNE_BUILTINS
