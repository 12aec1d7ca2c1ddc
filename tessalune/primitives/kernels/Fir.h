#pragma once

#include <tessalune/primitives/kernels/History.h>
#include <tessalune/primitives/kernels/Lanes.h>

#include <cstddef>
#include <cstring>

// Convolution with a finite impulse response.
//
// The taps are summed in an order that depends on their count alone: tap k is of phase
// k mod NativeLanes; the taps of a phase are summed up, and the sums of the phases are added.
// With the next tap of the same phase an output vector meets the input vector that its predecessor
// met with this one, so that a tile of several output vectors loads one input vector a tap.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Outputs of a tile, in vectors: as many as the registers hold twice, the sums of a phase and the
// input that they meet, with one for the tap.
constexpr std::size_t TileVectors = VectorBytes == 64 ? 8 : VectorBytes == 32 ? 6 : 4;

// Writes pTaps to ATaps in the order of the sums.
inline void ArrangeTaps(const double* pTaps, std::size_t ACount, double* ATaps) noexcept {
  for (std::size_t Phase = 0; Phase < NativeLanes; ++Phase)
    for (std::size_t K = Phase; K < ACount; K += NativeLanes) *ATaps++ = pTaps[K];
}

// The vector that begins ALanes before ANext, of which APrevious is the predecessor.
template <std::size_t ALanes>
[[gnu::always_inline]] inline TNative Delayed(TNative APrevious, TNative ANext) noexcept {
  return [&]<std::size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
    return __builtin_shufflevector(APrevious, ANext, (I + NativeLanes - ALanes)...);
  }
  (std::make_index_sequence<NativeLanes>{});
}

// AVectors whole vectors of outputs of a filter with a tap a phase at most. Loads limit it, since
// most of those that are not aligned touch two lines of the cache: every other one is put together
// from vectors in registers.
template <std::size_t AVectors>
inline void ConvolveShortTile(const double* pX, double* pDst, const double* ATaps,
                              std::size_t ACount) noexcept {
  TNative Sum[AVectors] = {};
  TNative X[AVectors + 1];
  Unrolled<AVectors + 1>([&](auto R) {
    X[R.Value] = LoadLanes(pX + static_cast<std::ptrdiff_t>(R.Value * NativeLanes) -
                           static_cast<std::ptrdiff_t>(NativeLanes));
  });
  UnrolledWhile<NativeLanes>([&](auto K) __attribute__((always_inline)) {
    if (K.Value >= ACount) return false;
    const TNative Factor = ATaps[K.Value] - TNative{};
    Unrolled<AVectors>([&](auto R) __attribute__((always_inline)) {
      if constexpr (K.Value % 2 == 0)
        Sum[R.Value] += Factor * LoadLanes(pX - K.Value + R.Value * NativeLanes);
      else
        Sum[R.Value] += Factor * Delayed<K.Value>(X[R.Value], X[R.Value + 1]);
    });
    return true;
  });
  Unrolled<AVectors>([&](auto R) { StoreLanes(pDst + R.Value * NativeLanes, Sum[R.Value]); });
}

// AVectors whole vectors of outputs.
template <std::size_t AVectors>
inline void ConvolveTile(const double* pX, double* pDst, const double* ATaps,
                         std::size_t ACount) noexcept {
  if (ACount <= NativeLanes) return ConvolveShortTile<AVectors>(pX, pDst, ATaps, ACount);
  TNative Sum[AVectors] = {};
  const double* Tap = ATaps;
  for (std::size_t Phase = 0; Phase < NativeLanes; ++Phase) {
    const double* const End = Tap + (ACount - Phase + NativeLanes - 1) / NativeLanes;
    const double* X = pX - Phase;
    TNative Part[AVectors] = {};
    TNative Window[AVectors];
    Unrolled<AVectors>([&](auto R) { Window[R.Value] = LoadLanes(X + R.Value * NativeLanes); });
    // Output vector R meets at tap T the input vector R - T: it stays where it is in Window, and
    // the one that no output needs any more gives its place to the next.
    const auto TakeTap = [&](auto T) __attribute__((always_inline)) {
      const TNative Factor = *Tap++ - TNative{};
      Unrolled<AVectors>([&](auto R) __attribute__((always_inline)) {
        Part[R.Value] += Factor * Window[(R.Value + AVectors - T.Value) % AVectors];
      });
      if (Tap == End) return false;
      X -= NativeLanes;
      Window[AVectors - 1 - T.Value] = LoadLanes(X);
      return true;
    };
    while (UnrolledWhile<AVectors>(TakeTap)) {
    }
    Unrolled<AVectors>([&](auto R) { Sum[R.Value] += Part[R.Value]; });
  }
  Unrolled<AVectors>([&](auto R) { StoreLanes(pDst + R.Value * NativeLanes, Sum[R.Value]); });
}

// All whole tiles of AVectors vectors of the outputs from AFrom on; gives where they end.
template <std::size_t AVectors>
inline std::size_t ConvolveTiles(const double* pX, double* pDst, std::size_t AFrom,
                                 std::size_t ALength, const double* ATaps,
                                 std::size_t ACount) noexcept {
  constexpr std::size_t Outputs = AVectors * NativeLanes;
  std::size_t N = AFrom;
  for (; N + Outputs <= ALength; N += Outputs)
    ConvolveTile<AVectors>(pX + N, pDst + N, ATaps, ACount);
  return N;
}

// pDst[n] = sum of tap[k] pX[n - k], n below ALength. ATaps are arranged. pX stands behind ACount
// older samples, a vector at least, and in front of a vector of anything.
inline void Convolve(const double* pX, double* pDst, std::size_t ALength, const double* ATaps,
                     std::size_t ACount) noexcept {
  std::size_t N = ConvolveTiles<TileVectors>(pX, pDst, 0, ALength, ATaps, ACount);
  N = ConvolveTiles<1>(pX, pDst, N, ALength, ATaps, ACount);
  if (N == ALength) return;
  double Last[NativeLanes];
  ConvolveTile<1>(pX + N, Last, ATaps, ACount);
  std::memcpy(pDst + N, Last, (ALength - N) * sizeof *pDst);
}

// A filter and its past. pSrc may be pDst.
class TDirectFir {
 public:
  // Doubles that the memory of an object has.
  static constexpr std::size_t Size(std::size_t ATaps) noexcept {
    return ATaps + THistory::Size(ATaps);
  }

  void Attach(double* AMemory, const double* pTaps, std::size_t ACount) noexcept {
    FTaps = AMemory;
    FCount = ACount;
    ArrangeTaps(pTaps, ACount, FTaps);
    FHistory.Attach(AMemory + ACount, ACount);
  }

  void Filter(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    while (ALength > 0) {
      std::size_t Length = ALength;
      double* const X = FHistory.Reserve(Length);
      std::memcpy(X, pSrc, Length * sizeof *X);
      Convolve(X, pDst, Length, FTaps, FCount);
      FHistory.Advance(Length);
      pSrc += Length;
      pDst += Length;
      ALength -= Length;
    }
  }

  std::size_t Count() const noexcept { return FCount; }
  THistory& History() noexcept { return FHistory; }
  const THistory& History() const noexcept { return FHistory; }

 private:
  double* FTaps;
  std::size_t FCount;
  THistory FHistory;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
