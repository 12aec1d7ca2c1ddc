#pragma once

#include <tessalune/primitives/kernels/Vector.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

// A chain of second-order sections.
//
// Each section computes y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a2 y[n-2] - a1 y[n-1], in an order
// in which what comes last also is last known. So a sample takes as long as one multiplication with
// addition, where a direct form II waits for two. Up to RealLanes sections run side by side, one
// a lane, each Skew samples behind its predecessor, so that nobody waits for an input.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// One value of each section that runs beside the others.
using TPerSection = double[RealLanes];

// Neighbouring sections, with what they know of the past; unused lanes are 0.
struct TSections {
  TPerSection B0, B1, B2, A1, A2;  // normalised
  TPerSection X1, X2, Y1, Y2;      // the inputs and outputs one and two samples ago
  TPerSection Due, DueNext;        // what a delay line adds to the next two outputs
  std::size_t Count;
};

// What nothing else is due: it changes no sum, not even that of two zeros of negative sign.
constexpr double NothingDue = -0.0;

// The state of the direct form II transposed: what goes into the next two outputs.
struct TBiquadDelay {
  double Next;
  double Second;
};

inline TBiquadDelay GetDelay(const TSections& S, std::size_t L) noexcept {
  return {S.Due[L] + S.B2[L] * S.X2[L] + S.B1[L] * S.X1[L] - S.A2[L] * S.Y2[L] - S.A1[L] * S.Y1[L],
          S.DueNext[L] + S.B2[L] * S.X1[L] - S.A2[L] * S.Y1[L]};
}

inline void SetDelay(TSections& S, std::size_t L, const TBiquadDelay& ADelay) noexcept {
  S.X1[L] = S.X2[L] = S.Y1[L] = S.Y2[L] = 0.0;
  S.Due[L] = ADelay.Next;
  S.DueNext[L] = ADelay.Second;
}

// How many samples a section is behind its predecessor: with four, an output has gone through
// shuffle, multiplications and additions of the next section by the time that section's own last
// output is known.
constexpr std::size_t Skew = 4;

// ASections sections while they filter a block.
template <std::size_t ASections>
class TSectionPipe {
 public:
  explicit TSectionPipe(TSections& ASource) noexcept
      : FSource(ASource),
        FB0(Load(ASource.B0)),
        FB1(Load(ASource.B1)),
        FB2(Load(ASource.B2)),
        FA1(Load(ASource.A1)),
        FA2(Load(ASource.A2)),
        FX1(Load(ASource.X1)),
        FX2(Load(ASource.X2)),
        FY1(Load(ASource.Y1)),
        FY2(Load(ASource.Y2)),
        FDue(Load(ASource.Due)),
        FDueNext(Load(ASource.DueNext)) {
    for (std::size_t L = 0; L < Lanes; ++L) FSample[L] = -static_cast<double>(L * Skew);
  }

  // Between the blocks all sections are at the same sample. So at the begin and at the end of a
  // block some stand still: those to which the block has not come yet, those that are through.
  void Filter(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    const std::size_t Steps = ALength + Lag;
    // From here on nothing is due.
    const std::size_t Begin = std::min(Lag + 2, Steps);
    const std::size_t End = std::max(Begin, ALength);
    for (std::size_t T = 0; T < Begin; ++T) StepSome(T, pSrc, pDst, ALength);
    StepAll(pSrc, pDst, Begin, End);
    for (std::size_t T = End; T < Steps; ++T) StepSome(T, pSrc, pDst, ALength);
    Store(FX1, FSource.X1);
    Store(FX2, FSource.X2);
    Store(FY1, FSource.Y1);
    Store(FY2, FSource.Y2);
    Store(FDue, FSource.Due);
    Store(FDueNext, FSource.DueNext);
  }

 private:
  static constexpr std::size_t Lanes = ASections <= 2 ? 2 : ASections <= 4 ? 4 : 8;
  static constexpr std::size_t Lag = Skew * (ASections - 1);  // of the last section
  using TValues = TVector<double, static_cast<int>(Lanes)>;   // one of each section

  static TValues Load(const TPerSection& ASource) noexcept {
    return kernels::Load<double, static_cast<int>(Lanes)>(ASource);
  }
  static void Store(TValues AValue, TPerSection& ATarget) noexcept {
    kernels::Store<double, static_cast<int>(Lanes)>(ATarget, AValue);
  }

  // The inputs of the sections: AInput, and the outputs of the predecessors Skew steps ago.
  static TValues Inputs(double AInput, TValues AOutputs) noexcept {
    if constexpr (ASections == 1) return TValues{AInput};
    return [&]<std::size_t... I>(std::index_sequence<I...>) __attribute__((always_inline)) {
      return __builtin_shufflevector(AOutputs, TValues{AInput}, Lanes, I...);
    }
    (std::make_index_sequence<Lanes - 1>{});
  }

  TValues Outputs(TValues AX, TValues AX1, TValues AX2, TValues AY1, TValues AY2) const noexcept {
    const TValues Known = FDue + FB2 * AX2 + FB1 * AX1 + FB0 * AX;
    return Known - FA2 * AY2 - FA1 * AY1;
  }

  // Step T for the sections that are at a sample of the block.
  void StepSome(std::size_t T, const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    const auto Active = (FSample >= 0.0) & (FSample < static_cast<double>(ALength));
    const TValues X = Inputs(T < ALength ? pSrc[T] : 0.0, FPast[Skew - 1]);
    const TValues Y = Outputs(X, FX1, FX2, FY1, FY2);
    FX2 = Active ? FX1 : FX2;
    FX1 = Active ? X : FX1;
    FY2 = Active ? FY1 : FY2;
    FY1 = Active ? Y : FY1;
    FDue = Active ? FDueNext : FDue;
    FDueNext = Active ? TValues{} + NothingDue : FDueNext;
    FSample += 1.0;
    for (std::size_t Age = Skew - 1; Age > 0; --Age) FPast[Age] = FPast[Age - 1];
    FPast[0] = Y;
    if (T >= Lag) pDst[T - Lag] = Y[ASections - 1];
  }

  // The steps ABegin to AEnd, at which all sections are at a sample of the block. FDue takes part
  // although nothing is due, and although the compiler could know: each step rounds as StepSome.
  void StepAll(const double* pSrc, double* pDst, std::size_t ABegin, std::size_t AEnd) noexcept {
    TValues X1 = FX1, X2 = FX2, Y1 = FY1, Y2 = FY2, Y3 = FPast[2], Y4 = FPast[3];
    for (std::size_t T = ABegin; T < AEnd; ++T) {
      const TValues X = Inputs(pSrc[T], Y4);
      const TValues Y = Outputs(X, X1, X2, Y1, Y2);
      pDst[T - Lag] = Y[ASections - 1];
      X2 = X1;
      X1 = X;
      Y4 = Y3;
      Y3 = Y2;
      Y2 = Y1;
      Y1 = Y;
    }
    if (ABegin == AEnd) return;
    FX1 = X1, FX2 = X2, FY1 = Y1, FY2 = Y2;
    FPast[0] = Y1, FPast[1] = Y2, FPast[2] = Y3, FPast[3] = Y4;
    FSample += static_cast<double>(AEnd - ABegin);
  }

  TSections& FSource;
  const TValues FB0, FB1, FB2, FA1, FA2;
  TValues FX1, FX2, FY1, FY2;
  TValues FDue, FDueNext;
  TValues FPast[Skew] = {};  // the outputs of the last steps, the latest first
  TValues FSample;           // at which sample of the block each section is
};

template <std::size_t ASections = 1>
inline void FilterSections(TSections& ASource, const double* pSrc, double* pDst,
                           std::size_t ALength) noexcept {
  if constexpr (ASections < RealLanes)
    if (ASource.Count > ASections)
      return FilterSections<ASections + 1>(ASource, pSrc, pDst, ALength);
  TSectionPipe<ASections>(ASource).Filter(pSrc, pDst, ALength);
}

// A chain of any length: groups of sections, one after the other. pSrc may be pDst.
class TBiquadChain {
 public:
  static constexpr std::size_t Groups(std::size_t ASections) noexcept {
    return (ASections + RealLanes - 1) / RealLanes;
  }

  // Takes AMemory, Groups(ACount) objects. pTaps are six a section: B0, B1, B2, A0, A1, A2.
  void Attach(TSections* AMemory, const double* pTaps, std::size_t ACount) noexcept {
    FGroups = AMemory;
    FCount = ACount;
    std::memset(FGroups, 0, Groups(ACount) * sizeof *FGroups);
    for (std::size_t I = 0; I < ACount; ++I) {
      TSections& Group = FGroups[I / RealLanes];
      const std::size_t L = I % RealLanes;
      const double* Taps = pTaps + 6 * I;
      Group.B0[L] = Taps[0] / Taps[3];
      Group.B1[L] = Taps[1] / Taps[3];
      Group.B2[L] = Taps[2] / Taps[3];
      Group.A1[L] = Taps[4] / Taps[3];
      Group.A2[L] = Taps[5] / Taps[3];
      Group.Due[L] = Group.DueNext[L] = NothingDue;
      Group.Count = L + 1;
    }
  }

  void Filter(const double* pSrc, double* pDst, std::size_t ALength) noexcept {
    for (std::size_t G = 0; G < Groups(FCount); ++G)
      FilterSections(FGroups[G], G == 0 ? pSrc : pDst, pDst, ALength);
  }

  std::size_t Count() const noexcept { return FCount; }
  TBiquadDelay Delay(std::size_t I) const noexcept {
    return GetDelay(FGroups[I / RealLanes], I % RealLanes);
  }
  void SetDelay(std::size_t I, const TBiquadDelay& ADelay) noexcept {
    kernels::SetDelay(FGroups[I / RealLanes], I % RealLanes, ADelay);
  }

 private:
  TSections* FGroups;
  std::size_t FCount;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
