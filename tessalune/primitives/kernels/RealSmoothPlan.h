#pragma once

#include <tessalune/primitives/kernels/RealSmoothDft.h>

#include <cstdint>
#include <iterator>
#include <limits>

// How a length is split and factored for RealSmoothDft.h, and the tables that this takes.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// As CostOfRadix.
inline double CostOfInnerRealRadix(int ARadix) noexcept {
  constexpr TRadixCost Costs[] = {{3, 15},  {4, 20},  {5, 25},   {7, 35},   {8, 40},
                                  {9, 50},  {10, 60}, {11, 80},  {12, 70},  {13, 100},
                                  {15, 83}, {16, 88}, {20, 140}, {25, 190}, {32, 260}};
  static_assert(std::size(Costs) == std::size(RealInnerRadices));
  for (const TRadixCost& Row : Costs)
    if (Row.Radix == ARadix) return Row.Cost;
  return std::numeric_limits<double>::infinity();
}

inline double CostOfRealColumns(const TFactors& AFactors, std::int32_t ALength) noexcept {
  if (AFactors.Count == 0) return std::numeric_limits<double>::infinity();
  std::int32_t Values = *(AFactors.end() - 1);
  double Result = CostOfInnerRealRadix(Values) * (ALength / Values);
  for (int S = AFactors.Count - 2; S >= 0; --S) {
    const std::int32_t F = AFactors.Values[static_cast<std::size_t>(S)];
    Result += CostOfRadix(F) * HalfRows(Values) * (ALength / (F * Values));
    Values *= F;
  }
  return Result;
}

// The radices for a column length, the innermost last; none if there is no code for them.
inline TFactors RealRadicesOf(std::int32_t ALength) noexcept {
  TFactors Best;
  for (const std::int32_t Inner : RealInnerRadices) {
    TFactors Factors;
    std::int32_t Rest = ALength % Inner == 0 ? ALength / Inner : 0;
    if (Rest == 0) continue;
    for (const std::int32_t F : RealMergeRadices)
      for (; Rest % F == 0; Rest /= F) Factors.Add(F);
    Factors.Add(Inner);
    if (Rest == 1 && CostOfRealColumns(Factors, ALength) < CostOfRealColumns(Best, ALength))
      Best = Factors;
  }
  return Best;
}

// What it takes beside: to go through memory and from function to function.
constexpr double RealDetour = 100;

template <class T>
double CostOfRealSplit(const TSplit& ASplit) noexcept {
  const std::int32_t L = ASplit.Lanes;
  if (RealRows(ASplit.M) < L || ASplit.B < L || (ASplit.M % 2 == 0 && ASplit.B % 2 != 0))
    return std::numeric_limits<double>::infinity();
  const double Groups = (ASplit.B + L - 1) / L;
  const double Lines = (RealRows(ASplit.M) + L - 1) / L;
  // Columns that are too long for the cache, or that share it with too many samples, come from far
  // each time that they are gone through.
  const double ColumnBytes = 1.0 * sizeof(T) * L * ASplit.M;
  const double SampleBytes = 1.0 * sizeof(T) * ASplit.M * ASplit.B;
  const double FromFar = ColumnBytes > 0x300000 || SampleBytes >= 0x400000 ? 1.5 : 1.0;
  const double Columns = Groups * CostOfRealColumns(RealRadicesOf(ASplit.M), ASplit.M) * FromFar;
  const double Middle = ASplit.M % 2 == 0 ? 6.0 * ASplit.B : 0;
  return CostOfWidth<T>(L) * (Columns + Lines * CostOfLine<T>(L, ASplit.B)) + Middle + RealDetour;
}

// Of a complex transform of ALength in the place of a real one, the pass over its bins.
template <class T>
double CostOfPass(std::int32_t ALength) noexcept {
  return 50 + ALength * static_cast<double>(sizeof(T)) / 8;
}

// The best split of ALength; none if a complex transform, of half an even length, is faster.
template <class T>
TSplit ChooseRealSplit(std::int32_t ALength) noexcept {
  if (!IsPowerOfTwo(ALength) && !IsSmooth(ALength)) return {};
  const TSplit Split =
      BestSplit<T, false>(ALength, [](const TSplit& A) { return CostOfRealSplit<T>(A); });
  const std::int32_t Other = ALength % 2 == 0 ? ALength / 2 : ALength;
  const bool IsFaster = RoadOf(Other) != TRoad::Smooth ||
                        Split.Cost < ChooseSplit<T>(Other).Cost + CostOfPass<T>(Other);
  return IsFaster ? Split : TSplit{};
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
  LayOutRows(APlan.Rows, ASplit.Lanes, RealRows(M), HalfRows(M), ASplit.B, M * ASplit.B, Roots,
             ALayout);
  if (M % 2 == 0) LayOutMiddle(APlan, ASplit, Roots, ARootsOf, ALayout);
  APlan.WorkBytes = WithWideLanes<T>(
      APlan.Lanes, [&](auto ALanes) { return WorkBytesOf<TRealSmoothRun<T, ALanes>>(APlan); });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
