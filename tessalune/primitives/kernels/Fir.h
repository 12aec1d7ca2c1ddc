#pragma once

#include <tessalune/primitives/kernels/History.h>
#include <tessalune/primitives/kernels/Vector.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

// Convolution with a finite impulse response.
//
// The taps are summed in an order that depends on their count alone. Up to ShortTaps are summed one
// after the other. Of more, tap k is of phase k mod RealLanes; the taps of a phase are summed up,
// and the sums of the phases are added.
// With the next tap of the same phase an output vector meets the input vector that its predecessor
// met with this one, so that a tile of several output vectors loads one input vector a tap.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Outputs of a tile, in vectors: as many as the registers hold twice, the sums of a phase and the
// input that they meet, with one for the tap.
constexpr int TileVectors = VectorBytes == 64 ? 8 : VectorBytes == 32 ? 6 : 4;

constexpr std::size_t ShortTaps = 8;

// Writes pTaps to ATaps in the order of the sums.
inline void ArrangeTaps(const double* pTaps, std::size_t ACount, double* ATaps) noexcept {
  if (ACount <= ShortTaps) {
    std::copy_n(pTaps, ACount, ATaps);
    return;
  }
  for (std::size_t Phase = 0; Phase < RealLanes; ++Phase)
    for (std::size_t K = Phase; K < ACount; K += RealLanes) *ATaps++ = pTaps[K];
}

// The vector that begins ALanes before ANext, of which APrevious is the predecessor.
template <int ALanes>
TESSALUNE_INLINE TReals Delayed(TReals APrevious, TReals ANext) noexcept {
  constexpr int L = MaxLanes<double>;
  return [&]<int... I>(std::integer_sequence<int, I...>) __attribute__((always_inline)) {
    return __builtin_shufflevector(APrevious, ANext, (I + L - ALanes)...);
  }
  (std::make_integer_sequence<int, L>{});
}

// AVectors whole vectors of outputs of a filter with ShortTaps at most. Loads limit it, since most
// of those that are not aligned touch two lines of the cache: of the first taps every other one is
// put together from vectors in registers.
template <int AVectors>
inline void ConvolveShortTile(const double* pX, double* pDst, const double* ATaps,
                              std::size_t ACount) noexcept {
  constexpr int L = MaxLanes<double>;
  TArray<TReals, AVectors> Sum = {};
  TArray<TReals, AVectors + 1> X;
  Repeat<AVectors + 1>(TESSALUNE_EACH(R) { X[R] = Load(pX + (R - 1) * L); });
  RepeatWhile<int{ShortTaps}>(TESSALUNE_EACH(K) {
    if (static_cast<std::size_t>(K) >= ACount) return false;
    const TReals Factor = ATaps[K] - TReals{};
    Repeat<AVectors>(TESSALUNE_EACH(R) {
      if constexpr (K % 2 == 0 || K >= L)
        Sum[R] += Factor * Load(pX - K + R * L);
      else
        Sum[R] += Factor * Delayed<K>(X[R], X[R + 1]);
    });
    return true;
  });
  Repeat<AVectors>(TESSALUNE_EACH(R) { Store(pDst + R * L, Sum[R]); });
}

// AVectors whole vectors of outputs.
template <int AVectors>
inline void ConvolveTile(const double* pX, double* pDst, const double* ATaps,
                         std::size_t ACount) noexcept {
  if (ACount <= ShortTaps) return ConvolveShortTile<AVectors>(pX, pDst, ATaps, ACount);
  constexpr int L = MaxLanes<double>;
  TArray<TReals, AVectors> Sum = {};
  const double* Tap = ATaps;
  for (std::size_t Phase = 0; Phase < RealLanes; ++Phase) {
    const double* const End = Tap + (ACount - Phase + RealLanes - 1) / RealLanes;
    const double* X = pX - Phase;
    TArray<TReals, AVectors> Part = {};
    TArray<TReals, AVectors> Window;
    Repeat<AVectors>(TESSALUNE_EACH(R) { Window[R] = Load(X + R * L); });
    // Output vector R meets at tap T the input vector R - T: it stays where it is in Window, and
    // the one that no output needs any more gives its place to the next.
    const auto TakeTap = TESSALUNE_EACH(T) {
      const TReals Factor = *Tap++ - TReals{};
      Repeat<AVectors>(
          TESSALUNE_EACH(R) { Part[R] += Factor * Window[(R + AVectors - T) % AVectors]; });
      if (Tap == End) return false;
      X -= L;
      Window[AVectors - 1 - T] = Load(X);
      return true;
    };
    while (RepeatWhile<AVectors>(TakeTap)) {
    }
    Repeat<AVectors>(TESSALUNE_EACH(R) { Sum[R] += Part[R]; });
  }
  Repeat<AVectors>(TESSALUNE_EACH(R) { Store(pDst + R * L, Sum[R]); });
}

// All whole tiles of AVectors vectors of the outputs from AFrom on; gives where they end.
template <int AVectors>
inline std::size_t ConvolveTiles(const double* pX, double* pDst, std::size_t AFrom,
                                 std::size_t ALength, const double* ATaps,
                                 std::size_t ACount) noexcept {
  constexpr std::size_t Outputs = AVectors * RealLanes;
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
  double Last[RealLanes];
  ConvolveTile<1>(pX + N, Last, ATaps, ACount);
  std::memcpy(pDst + N, Last, (ALength - N) * sizeof *pDst);
}

// A filter and its past, with room for ARoom samples at least. pSrc may be pDst.
class TDirectFir {
 public:
  // Doubles that the memory of an object has.
  static constexpr std::size_t Size(std::size_t ATaps, std::size_t ARoom = 0) noexcept {
    return ATaps + THistory::Size(ATaps, ARoom);
  }

  void Attach(double* AMemory, const double* pTaps, std::size_t ACount,
              std::size_t ARoom = 0) noexcept {
    FTaps = AMemory;
    FCount = ACount;
    ArrangeTaps(pTaps, ACount, FTaps);
    FHistory.Attach(AMemory + ACount, ACount, ARoom);
  }

  void Filter(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    while (ALength > 0) {
      std::size_t Length = ALength;
      double* const X = FHistory.Reserve(Length);
      std::memcpy(X, pSrc, Length * sizeof *X);
      Convolve(X, pDst, Length);
      FHistory.Advance(Length);
      pSrc += Length;
      pDst += Length;
      ALength -= Length;
    }
  }

  // The outputs for what lies at pX in the history.
  void Convolve(const double* pX, double* pDst, std::size_t ALength) const noexcept {
    kernels::Convolve(pX, pDst, ALength, FTaps, FCount);
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
