#pragma once

#include <tessalune/primitives/kernels/RealSmoothDft.h>

#include <algorithm>
#include <cstdint>
#include <limits>

// How a length is split and factored for RealSmoothDft.h, and the tables that this takes.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The radices for a column length, the innermost last; none if there is no code for them.
inline TFactors RealRadicesOf(std::int32_t ALength) noexcept {
  for (const std::int32_t Inner : {16, 15, 25, 32, 20, 12, 10, 13, 11, 9, 8, 7, 5, 4, 3}) {
    if (ALength % Inner != 0) continue;
    TFactors Result;
    std::int32_t Rest = ALength / Inner;
    for (const std::int32_t F : {8, 4, 5, 3, 2})
      for (; Rest % F == 0; Rest /= F) Result.Add(F);
    Result.Add(Inner);
    if (Rest == 1) return Result;
  }
  return {};
}

// As CostOfRadix.
inline double CostOfInnerRealRadix(int ARadix) noexcept {
  switch (ARadix) {
    case 3:
      return 15;
    case 4:
      return 20;
    case 5:
      return 25;
    case 7:
      return 35;
    case 8:
      return 40;
    case 9:
      return 50;
    case 10:
      return 60;
    case 11:
      return 80;
    case 12:
      return 70;
    case 13:
      return 100;
    case 15:
      return 83;
    case 16:
      return 88;
    case 20:
      return 140;
    case 25:
      return 190;
    default:
      return 260;
  }
}

inline double CostOfRealColumns(const TFactors& AFactors, std::int32_t ALength) noexcept {
  std::int32_t Values = *(AFactors.end() - 1);
  double Result = CostOfInnerRealRadix(Values) * (ALength / Values);
  for (int S = AFactors.Count - 2; S >= 0; --S) {
    const std::int32_t F = AFactors.Values[static_cast<std::size_t>(S)];
    Result += CostOfRadix(F) * HalfRows(Values) * (ALength / (F * Values));
    Values *= F;
  }
  return Result;
}

struct TRealSplit {
  std::int32_t Lanes = 0;  // 0: there is no split
  std::int32_t M = 0;
  std::int32_t B = 0;
};

// As CostOfSplit.
template <class T>
double CostOfRealSplit(const TRealSplit& ASplit, const TFactors& AColumns) noexcept {
  const std::int32_t Groups = (ASplit.B + ASplit.Lanes - 1) / ASplit.Lanes;
  const std::int32_t Lines = (RealRows(ASplit.M) + ASplit.Lanes - 1) / ASplit.Lanes;
  const double Middle = ASplit.M % 2 == 0 ? 6 * ASplit.B : 0;
  // Columns too long for the cache.
  const double Bytes = 1.0 * ASplit.Lanes * sizeof(T) * ASplit.M;
  const double FromFar = Bytes > 0x300000 ? 1.5 : 1.0;
  return CostOfWidth<T>(ASplit.Lanes) * (Groups * CostOfRealColumns(AColumns, ASplit.M) * FromFar +
                                         Lines * CostOfLine<T>(ASplit.Lanes, ASplit.B)) +
         Middle;
}

// The best split. Powers of two up to 128 are faster by half the length.
template <class T>
TRealSplit ChooseRealSplit(std::int32_t ALength) noexcept {
  TRealSplit Best;
  if (IsPowerOfTwo(ALength) ? ALength <= 128 : !IsSmooth(ALength)) return Best;
  double BestCost = std::numeric_limits<double>::infinity();
  const auto Try = [&](std::int32_t AM) {
    const std::int32_t B = ALength / AM;
    if (AM % 2 == 0 && B % 2 != 0) return;
    const TFactors Columns = RealRadicesOf(AM);
    if (Columns.Count == 0) return;
    for (int Lanes = MaxLanes<T>; Lanes >= std::max(2, MaxLanes<T> / 4); Lanes /= 2) {
      if (RealRows(AM) < Lanes || B < Lanes) continue;
      const TRealSplit Split{Lanes, AM, B};
      const double Cost = CostOfRealSplit<T>(Split, Columns);
      if (Cost < BestCost) {
        BestCost = Cost;
        Best = Split;
      }
    }
  };
  for (std::int32_t D = 2; D <= ALength / D; ++D)
    if (ALength % D == 0) {
      Try(D);
      Try(ALength / D);
    }
  return Best;
}

template <class T>
void LayOutRealColumns(TRealColumnPlan<T>& APlan, std::int32_t ALength, const TRootsOfUnity* ARoots,
                       TLayout& ALayout) noexcept {
  const TFactors Factors = RealRadicesOf(ALength);
  APlan.Length = ALength;
  APlan.StageCount = Factors.Count - 1;
  std::int32_t Values = ALength;
  for (int S = 0; S < Factors.Count; ++S) {
    TRealColumnStage<T>& Stage = APlan.Stages[S];
    Stage.Factor = Factors.Values[static_cast<std::size_t>(S)];
    Stage.Values = Values /= Stage.Factor;
    if (S < APlan.StageCount)
      Stage.Twiddles = TakeTwiddles<T>(Stage.Factor, HalfRows(Values), Values, ARoots, ALayout);
  }
  APlan.Offsets = TakeOffsets(APlan.Stages, APlan.StageCount, ALength, ALayout);
}

template <class T, class TRootsOf>
void LayOutMiddle(TRealSmoothPlan<T>& APlan, const TRealSplit& ASplit, const TRootsOfUnity* ARoots,
                  TRootsOf&& ARootsOf, TLayout& ALayout) noexcept {
  LayOutDft(APlan.Middle, ASplit.B / 2, ARootsOf, ALayout);
  const auto Count = static_cast<std::size_t>(ASplit.B / 2);
  T* Re = ALayout.Take<T>(Count);
  T* Im = ALayout.Take<T>(Count);
  APlan.MiddleRe = Re;
  APlan.MiddleIm = Im;
  if (!Re) return;
  for (std::size_t I = 0; I < Count; ++I) {
    const TRootValue Root = (*ARoots)(static_cast<std::int64_t>(I) * (ASplit.M / 2));
    Re[I] = static_cast<T>(Root.Re);
    Im[I] = static_cast<T>(Root.Im);
  }
}

template <class T, class TRootsOf>
void LayOutRealSmooth(TRealSmoothPlan<T>& APlan, const TRealSplit& ASplit, TRootsOf&& ARootsOf,
                      TLayout& ALayout) noexcept {
  const std::int32_t M = ASplit.M;
  const TRootsOfUnity* Roots = ARootsOf(std::int64_t{M} * ASplit.B);
  APlan.Lanes = ASplit.Lanes;
  LayOutRealColumns(APlan.Columns, M, Roots, ALayout);
  LayOutRows(APlan.Rows, ASplit.Lanes, RealRows(M), HalfRows(M), ASplit.B, M * ASplit.B, Roots,
             ALayout);
  if (M % 2 == 0) LayOutMiddle(APlan, ASplit, Roots, ARootsOf, ALayout);
  APlan.WorkBytes = WithLanes<T>(
      APlan.Lanes, [&](auto ALanes) { return TRealSmoothRun<T, ALanes>::WorkBytes(APlan); });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
