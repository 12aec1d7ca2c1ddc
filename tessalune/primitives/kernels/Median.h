#pragma once

#include <tessalune/primitives/BuiltIns.h>

#include <tessalune/primitives/kernels/Bits.h>

#include <cstddef>
#include <limits>

// Running medians. pDst is pSrc or lies apart from it: a window of the source is kept aside, block
// by block, so that what has been written disturbs no later median. Beyond its ends the source goes
// on with its first and its last sample.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

constexpr std::size_t MedianBlock = 512;

// Doubles that a window of the source takes.
constexpr std::size_t SourceWindowSize(std::size_t AHalf) noexcept {
  return MedianBlock + 2 * AHalf + 1 + RealLanes;
}

// A window on the source that moves by blocks: AMemory holds pSrc[I] at I - Start() + AHalf, for I
// from Start() - AHalf to Start() + Outputs() + AHalf.
class TSourceWindow {
 public:
  TSourceWindow(const double* pSrc, std::size_t ACount, std::size_t AHalf, double* AMemory) noexcept
      : FSource(pSrc), FCount(ACount), FHalf(AHalf), FMemory(AMemory), FLast(pSrc[ACount - 1]) {
    for (std::size_t I = 0; I < AHalf; ++I) FMemory[I] = pSrc[0];
    // What a whole vector reads behind the window of the last block.
    for (std::size_t I = 0; I < SourceWindowSize(AHalf) - AHalf; ++I) FMemory[AHalf + I] = FLast;
    Fetch(0, FHalf + 1);
    Fetch(FHalf + 1, Outputs());
  }

  std::size_t Start() const noexcept { return FStart; }
  std::size_t Outputs() const noexcept {
    return FCount - FStart < MedianBlock ? FCount - FStart : MedianBlock;
  }
  const double* Memory() const noexcept { return FMemory; }

  // Call it when the medians of the block are written. False at the end.
  bool Next() noexcept {
    const std::size_t Done = Outputs();
    FStart += Done;
    if (FStart == FCount) return false;
    const std::size_t Kept = 2 * FHalf + 1;
    __builtin_memmove(FMemory, FMemory + Done, Kept * sizeof(double));
    Fetch(FStart + FHalf + 1, Outputs());
    return true;
  }

 private:
  void Fetch(std::size_t AFrom, std::size_t ACount) noexcept {
    double* Target = FMemory + (AFrom + FHalf - FStart);
    const std::size_t Left = AFrom < FCount ? FCount - AFrom : 0;
    const std::size_t Real = ACount < Left ? ACount : Left;
    if (Real > 0) __builtin_memcpy(Target, FSource + AFrom, Real * sizeof(double));
    for (std::size_t I = Real; I < ACount; ++I) Target[I] = FLast;
  }

  const double* FSource;
  std::size_t FCount;
  std::size_t FHalf;
  double* FMemory;
  double FLast;
  std::size_t FStart = 0;
};

// Medians of the lanes, by exchanges of pairs: every intermediate value is one of the samples.

inline void Exchange(TReals& ALow, TReals& AHigh) noexcept {
  const TReals Low = Min(ALow, AHigh);
  AHigh = Max(ALow, AHigh);
  ALow = Low;
}

inline TReals Median(TReals A, TReals B, TReals C) noexcept {
  Exchange(A, B);
  return Max(A, Min(B, C));
}

// The least and the greatest of four cannot be the median of five; of the two between them and the
// fifth it is the median.
inline TReals Median(TReals A, TReals B, TReals C, TReals D, TReals E) noexcept {
  Exchange(A, B);
  Exchange(C, D);
  return Median(E, Max(A, C), Min(B, D));
}

// Of six, the least of three ordered pairs' lesser ones and the greatest of their greater ones
// fall out; what is left are five samples whose median it is.
inline TReals Median(TReals A, TReals B, TReals C, TReals D, TReals E, TReals F,
                     TReals G) noexcept {
  Exchange(A, B);
  Exchange(C, D);
  Exchange(E, F);
  Exchange(A, C);
  Exchange(A, E);
  Exchange(D, F);
  Exchange(B, F);
  return Median(B, C, D, E, G);
}

template <std::size_t Half>
inline TReals MedianAt(const double* AWindow) noexcept {
  const auto At = [AWindow](std::size_t I) { return Load(AWindow + I); };
  if constexpr (Half == 1) return Median(At(0), At(1), At(2));
  if constexpr (Half == 2) return Median(At(0), At(1), At(2), At(3), At(4));
  if constexpr (Half == 3) return Median(At(0), At(1), At(2), At(3), At(4), At(5), At(6));
}

// Masks of 2 * Half + 1 samples, by networks. ACount is 3 at least.
template <std::size_t Half>
inline void SmallMedian(const double* pSrc, double* pDst, std::size_t ACount) noexcept {
  double Memory[SourceWindowSize(Half)];
  TSourceWindow Window(pSrc, ACount, Half, Memory);
  do {
    double* Target = pDst + Window.Start();
    const std::size_t Outputs = Window.Outputs();
    std::size_t I = 0;
    for (; I + RealLanes <= Outputs; I += RealLanes) Store(Target + I, MedianAt<Half>(Memory + I));
    if (I == Outputs) continue;
    const TReals Last = MedianAt<Half>(Memory + I);
    __builtin_memcpy(Target + I, &Last, (Outputs - I) * sizeof(double));
  } while (Window.Next());
}

// The samples of a mask in order, without NaNs: those count as infinity. It stands in one of two
// pieces of memory; a replacement writes the other.
class TSortedMask {
 public:
  // -infinity before the mask, infinity behind it to the end of a vector and one more.
  static constexpr std::size_t Size(std::size_t AMask) noexcept {
    return 2 * (RealLanes + Rounded(AMask) + RealLanes);
  }

  TSortedMask(std::size_t AMask, double ASample, double* AMemory) noexcept
      : FMask(AMask), FNow(AMemory + RealLanes), FOther(FNow + Size(AMask) / 2) {
    for (double* Part : {FNow, FOther}) {
      Part[-1] = -Infinity;
      for (std::size_t I = 0; I < Rounded(AMask) + RealLanes; ++I)
        Part[I] = I < AMask ? ASample : Infinity;
    }
  }

  double Middle() const noexcept { return FNow[FMask / 2]; }

  // Takes one sample that equals AOut from the mask and puts AIn in. Where the sample is taken, all
  // above move down by one; where AIn comes, all above move up: so each place gets the middle one
  // of AIn and of its neighbours in what is left.
  void Replace(double AOut, double AIn) noexcept {
    for (std::size_t I = 0; I < FMask; I += RealLanes) {
      const TReals Here = Load(FNow + I);
      const TReals Below = Load(FNow + I - 1);
      const TReals Before = Below < AOut ? Below : Here;
      const TReals After = Here < AOut ? Here : Load(FNow + I + 1);
      Store(FOther + I, Max(Before, Min(After, Splat(AIn))));
    }
    double* Free = FNow;
    FNow = FOther;
    FOther = Free;
  }

 private:
  static constexpr double Infinity = std::numeric_limits<double>::infinity();

  static constexpr std::size_t Rounded(std::size_t AMask) noexcept {
    return (AMask + RealLanes - 1) / RealLanes * RealLanes;
  }

  std::size_t FMask;
  double* FNow;
  double* FOther;
};

// Doubles of work memory that LargeMedian needs.
constexpr std::size_t LargeMedianSize(std::size_t AHalf) noexcept {
  return TSortedMask::Size(2 * AHalf + 1) + SourceWindowSize(AHalf);
}

// Masks of 2 * AHalf + 1 samples, by a sorted mask that goes along. NaNs rank above infinity.
inline void LargeMedian(const double* pSrc, double* pDst, std::size_t ACount, std::size_t AHalf,
                        double* AMemory) noexcept {
  const std::size_t Mask = 2 * AHalf + 1;
  TSourceWindow Window(pSrc, ACount, AHalf, AMemory + TSortedMask::Size(Mask));
  std::size_t NaNs = 0;
  const auto Ordered = [](double X) {
    return X == X ? X : std::numeric_limits<double>::infinity();
  };
  const double* Source = Window.Memory();
  const double First = Source[0];
  TSortedMask Sorted(Mask, Ordered(First), AMemory);
  NaNs = First == First ? 0 : Mask;
  const auto Slide = [&](double AOut, double AIn) {
    NaNs += static_cast<std::size_t>(AIn != AIn);
    NaNs -= static_cast<std::size_t>(AOut != AOut);
    Sorted.Replace(Ordered(AOut), Ordered(AIn));
  };
  for (std::size_t I = AHalf + 1; I < Mask; ++I) Slide(First, Source[I]);
  do {
    double* Target = pDst + Window.Start();
    for (std::size_t I = 0; I < Window.Outputs(); ++I) {
      Target[I] = NaNs <= AHalf ? Sorted.Middle() : std::numeric_limits<double>::quiet_NaN();
      Slide(Source[I], Source[I + Mask]);
    }
  } while (Window.Next());
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
