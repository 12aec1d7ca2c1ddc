#pragma once

#include <tessalune/primitives/kernels/RealSmoothDft.h>

#include <cstdint>
#include <iterator>
#include <limits>

// How a length is split and factored for RealSmoothDft.h, and the tables that this takes.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Calls ACount(work, radix, times) for what the columns take ATimes.
template <class TCount>
void CountRealColumns(const TFactors& AFactors, std::int32_t ALength, double ATimes,
                      TCount ACount) noexcept {
  std::int32_t Values = *(AFactors.end() - 1);
  ACount(TWork::RealInner, Values, ATimes * (ALength / Values));
  for (int S = AFactors.Count - 2; S >= 0; --S) {
    const std::int32_t F = AFactors.Values[static_cast<std::size_t>(S)];
    ACount(TWork::RealMerge, F, ATimes * HalfRows(Values) * (ALength / (F * Values)));
    Values *= F;
  }
}

template <class T>
double CostOfRealColumns(const TFactors& AFactors, std::int32_t ALength) noexcept {
  if (AFactors.Count == 0) return std::numeric_limits<double>::infinity();
  double Result = 0;
  CountRealColumns(AFactors, ALength, 1, [&](TWork AWork, int ARadix, double ATimes) {
    Result += CostOf<T>(AWork, ARadix) * ATimes;
  });
  return Result;
}

// The radices for a column length, the innermost last; none if there is no code for them.
template <class T>
TFactors RealRadicesOf(std::int32_t ALength) noexcept {
  TFactors Best;
  for (const std::int32_t Inner : RealInnerRadices) {
    TFactors Factors;
    std::int32_t Rest = ALength % Inner == 0 ? ALength / Inner : 0;
    if (Rest == 0) continue;
    for (const std::int32_t F : RealMergeRadices)
      for (; Rest % F == 0; Rest /= F) Factors.Add(F);
    Factors.Add(Inner);
    if (Rest == 1 && CostOfRealColumns<T>(Factors, ALength) < CostOfRealColumns<T>(Best, ALength))
      Best = Factors;
  }
  return Best;
}

// Calls ACount(work, radix, times) for what a split takes, without the transform of the middle row;
// false if there is no such split.
template <class T, class TCount>
bool CountRealSplit(const TSplit& ASplit, TCount ACount) noexcept {
  const std::int32_t L = ASplit.Lanes;
  if (RealRows(ASplit.M) < L || ASplit.B < L || L < MaxLanes<T> / 2 ||
      (ASplit.M % 2 == 0 && ASplit.B % 2 != 0))
    return false;
  const TFactors Factors = RealRadicesOf<T>(ASplit.M);
  if (Factors.Count == 0) return false;
  // Half of the widest vector costs about half as much.
  const double Width = L == MaxLanes<T> ? 1.0 : 0.53;
  const double Groups = Width * ((ASplit.B + L - 1) / L);
  const double Lines = (RealRows(ASplit.M) + L - 1) / L;
  ACount(TWork::RealCall, 0, 1.0);
  CountRealColumns(Factors, ASplit.M, Groups, ACount);
  ACount(HasLongTwiddles<T>(ASplit.M * ASplit.B) ? TWork::RealRoots : TWork::Turn, 0,
         Groups * Lines);
  if (WithShortRow(ASplit.B, [](auto) {})) {
    ACount(TWork::RealRow, ASplit.B, Width * Lines);
  } else {
    CountColumns(ASplit.B, Width * Lines, ACount);
    ACount(TWork::RealLine, 0, Width * Lines * ASplit.B);
  }
  if (ASplit.M % 2 == 0) ACount(TWork::RealMiddle, 0, ASplit.B);
  return true;
}

// As CostOfLongRadix.
inline double CostOfLongInnerRealRadix(int ARadix) noexcept {
  constexpr TRadixCost Costs[] = {{3, 15},  {4, 20},  {5, 25},   {7, 35},   {8, 40},
                                  {9, 50},  {10, 60}, {11, 80},  {12, 70},  {13, 100},
                                  {15, 83}, {16, 88}, {20, 140}, {25, 190}, {32, 260}};
  static_assert(std::size(Costs) == std::size(RealInnerRadices));
  for (const TRadixCost& Row : Costs)
    if (Row.Radix == ARadix) return Row.Cost;
  return std::numeric_limits<double>::infinity();
}

// Real transforms wait for memory from half of the length on.
template <class T>
constexpr bool IsLongReal(std::int32_t ALength) noexcept {
  return HasLongTwiddles<T>(2 * std::min(ALength, std::int32_t{1} << 29));
}

// As CostOfLongSplit.
template <class T>
double CostOfLongRealSplit(const TSplit& ASplit) noexcept {
  const std::int32_t L = ASplit.Lanes;
  double Columns = 0;
  const bool Is = CountRealSplit<T>(ASplit, [&](TWork AWork, int ARadix, double ATimes) {
    if (AWork == TWork::RealInner) Columns += CostOfLongInnerRealRadix(ARadix) * ATimes;
    if (AWork == TWork::RealMerge) Columns += CostOfLongRadix(ARadix) * ATimes;
  });
  if (!Is) return std::numeric_limits<double>::infinity();
  // Columns that are too long for the cache, or that share it with too many samples, come from far
  // each time that they are gone through.
  const double ColumnBytes = 1.0 * sizeof(T) * L * ASplit.M;
  const double SampleBytes = 1.0 * sizeof(T) * ASplit.M * ASplit.B;
  const double FromFar = ColumnBytes > 0x300000 || SampleBytes >= 0x400000 ? 1.5 : 1.0;
  const double Width = CostOfLongWidth<T>(L);
  const double Lines = (RealRows(ASplit.M) + L - 1) / L;
  const double Middle = ASplit.M % 2 == 0 ? 6.0 * ASplit.B : 0;
  // The counts are of the widest vectors already.
  const double OfColumns = Columns * FromFar * CostOfLongWidth<T>(MaxLanes<T>);
  return OfColumns + Width * Lines * CostOfLongLine<T>(L, ASplit.B) + Middle;
}

template <class T>
double CostOfRealSplit(const TSplit& ASplit) noexcept {
  if (IsLongReal<T>(ASplit.M * ASplit.B)) return CostOfLongRealSplit<T>(ASplit);
  double Result = 0;
  const bool Is = CountRealSplit<T>(ASplit, [&](TWork AWork, int ARadix, double ATimes) {
    Result += CostOf<T>(AWork, ARadix) * ATimes;
  });
  return Is ? Result : std::numeric_limits<double>::infinity();
}

// Of a complex transform of ALength in the place of a long real one, with the pass over its bins.
template <class T>
double CostOfLongOther(std::int32_t ALength) noexcept {
  const TSplit Split = BestSplit<T>(ALength, CostOfLongSplit<T>);
  return Split.Cost + ALength * static_cast<double>(sizeof(T)) / 8;
}

// The best split of ALength; none if a complex transform, of half an even length, is faster.
template <class T>
TSplit ChooseRealSplit(std::int32_t ALength) noexcept {
  if (!IsPowerOfTwo(ALength) && !IsSmooth(ALength)) return {};
  const TSplit Split = BestSplit<T>(ALength, [](const TSplit& A) { return CostOfRealSplit<T>(A); });
  const std::int32_t Other = ALength % 2 == 0 ? ALength / 2 : ALength;
  if (RoadOf(Other) != TRoad::Smooth) return Split;
  const double OfOther = IsLongReal<T>(ALength)
                             ? CostOfLongOther<T>(Other)
                             : ChooseSplit<T>(Other).Cost + CostOf<T>(TWork::RealPass, 0) * Other;
  const bool IsFaster = Split.Cost < OfOther;
  return IsFaster ? Split : TSplit{};
}

template <class T>
void LayOutRealColumns(TRealColumnPlan<T>& APlan, std::int32_t ALength, const TRootsOfUnity* ARoots,
                       TLayout& ALayout) noexcept {
  const TFactors Factors = RealRadicesOf<T>(ALength);
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
void LayOutMiddle(TRealSmoothPlan<T>& APlan, const TSplit& ASplit, const TRootsOfUnity* ARoots,
                  TRootsOf&& ARootsOf, TLayout& ALayout) noexcept {
  LayOutDft(APlan.Middle, ASplit.B / 2, ARootsOf, ALayout);
  TakeRoots(static_cast<std::size_t>(ASplit.B / 2), ASplit.M / 2, ARoots, ALayout, APlan.MiddleRe,
            APlan.MiddleIm);
}

template <class T, class TRootsOf>
void LayOutRealSmooth(TRealSmoothPlan<T>& APlan, const TSplit& ASplit, TRootsOf&& ARootsOf,
                      TLayout& ALayout) noexcept {
  const std::int32_t M = ASplit.M;
  const TRootsOfUnity* Roots = ARootsOf(std::int64_t{M} * ASplit.B);
  APlan.Lanes = ASplit.Lanes;
  LayOutRealColumns(APlan.Columns, M, Roots, ALayout);
  APlan.Rows.IsShort = WithShortRow(ASplit.B, [](auto) {});
  LayOutRows(APlan.Rows, ASplit.Lanes, RealRows(M), HalfRows(M), ASplit.B, M * ASplit.B, Roots,
             ALayout);
  if (M % 2 == 0) LayOutMiddle(APlan, ASplit, Roots, ARootsOf, ALayout);
  APlan.WorkBytes = WithWideLanes<T>(
      APlan.Lanes, [&](auto ALanes) { return WorkBytesOf<TRealSmoothRun<T, ALanes>>(APlan); });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
