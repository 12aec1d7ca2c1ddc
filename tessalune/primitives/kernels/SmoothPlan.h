#pragma once

#include <tessalune/primitives/kernels/FusedDft.h>
#include <tessalune/primitives/kernels/Roots.h>
#include <tessalune/primitives/kernels/SmoothDft.h>
#include <tessalune/primitives/kernels/Tables.h>
#include <tessalune/primitives/kernels/TransformCosts.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

// How a length is split and factored for SmoothDft.h, and the tables that this takes.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

struct TFactors {
  std::array<std::int32_t, MaxStages> Values{};
  int Count = 0;

  void Add(std::int32_t AFactor) noexcept { Values[static_cast<std::size_t>(Count++)] = AFactor; }
  const std::int32_t* begin() const noexcept { return Values.data(); }
  const std::int32_t* end() const noexcept { return Values.data() + Count; }
};

// The radices for one column length, the innermost last. Of a power of two as many eights as there
// are: a radix 16 needs more registers than there are, a radix 4 more passes. Of the odd primes the
// longest is innermost if it is long: it has no twiddles there, and more straight-line code.
inline TFactors RadicesOf(std::int32_t ALength) noexcept {
  TFactors Result;
  int Twos = 0;
  for (; ALength % 2 == 0; ALength /= 2) ++Twos;
  TFactors Last;
  if (Twos == 1) {
    Result.Add(2);
    Twos = 0;
  } else if (Twos == 4 && ALength < 11) {
    Last.Add(16);
    Twos = 0;
  }
  for (; Twos % 3 != 0; Twos -= 2) Result.Add(4);
  for (; Twos > 0; Twos -= 3) Last.Add(8);
  for (std::int32_t P = 3; P * P <= ALength; P += 2)
    for (; ALength % P == 0; ALength /= P) Result.Add(P);
  if (ALength >= 11)
    Last.Add(ALength);
  else if (ALength > 1)
    Result.Add(ALength);
  for (const std::int32_t Radix : Last) Result.Add(Radix);
  return Result;
}

// Vectors have so many lanes at least, or the widest's: there is no code for fewer.
constexpr int LeastLanes = 4;

// Calls ACount(work, radix, times) for what a column takes.
template <class TCount>
void CountColumns(std::int32_t ALength, double ATimes, TCount ACount) noexcept {
  const TFactors Factors = RadicesOf(ALength);
  for (const std::int32_t& Factor : Factors) {
    const bool Merges = &Factor + 1 != Factors.end();
    const double Times = ATimes * ALength / Factor;
    if (Merges ? WithMergeRadix(Factor, [](auto) {}) : WithInnerRadix(Factor, [](auto) {}))
      ACount(Merges ? TWork::Merge : TWork::Inner, Factor, Times);
    else
      ACount(TWork::Long, 0, Times * Factor * Factor);
  }
}

struct TSplit {
  std::int32_t Lanes = 0;  // 0: there is none
  std::int32_t M = 0;
  std::int32_t B = 0;
  double Cost = std::numeric_limits<double>::infinity();
};

// The split of ALength with the least ACostOf(split), which is infinite for what is no split.
template <class T, class TCostOf>
TSplit BestSplit(std::int32_t ALength, TCostOf ACostOf) noexcept {
  TSplit Best;
  const auto Try = [&](std::int32_t AM) {
    for (int Lanes = MaxLanes<T>; Lanes >= std::min(LeastLanes, MaxLanes<T>); Lanes /= 2) {
      TSplit Split{Lanes, AM, ALength / AM};
      Split.Cost = ACostOf(Split);
      if (Split.Cost < Best.Cost) Best = Split;
    }
  };
  for (std::int32_t D = 2; D <= ALength / D; ++D)
    if (ALength % D == 0) {
      Try(ALength / D);
      Try(D);
    }
  return Best;
}

// Bytes of twiddles from which on they are products.
constexpr std::size_t LongTwiddles = 128 * 1024;

template <class T>
constexpr bool HasLongTwiddles(std::int32_t ALength) noexcept {
  return 2 * sizeof(T) * static_cast<std::size_t>(ALength) >= LongTwiddles;
}

// Whether the first step is straight-line code and leaves lines.
template <class T>
bool HasShortFirst(const TSplit& ASplit) noexcept {
  return ASplit.Lanes == MaxLanes<T> && ASplit.M >= ASplit.Lanes && ASplit.B >= ASplit.Lanes &&
         !HasLongTwiddles<T>(ASplit.M * ASplit.B) && WithShortStep(ASplit.M, [](auto) {});
}

// Calls ACount(work, radix, times) for what a split takes; false if there is no such split.
template <class T, class TCount>
bool CountSplit(const TSplit& ASplit, TCount ACount) noexcept {
  const std::int32_t L = ASplit.Lanes;
  if (IsFused<T>(ASplit.M, ASplit.B, L)) {
    ACount(L == 4 ? TWork::Fused4 : L == 8 ? TWork::Fused8 : TWork::Fused16, ASplit.M, 1.0);
    return true;
  }
  if (L != MaxLanes<T>) return false;
  const double Groups = (ASplit.B + L - 1) / L;
  const double Lines = (ASplit.M + L - 1) / L;
  ACount(TWork::Call, 0, 1.0);
  if (HasShortFirst<T>(ASplit)) {
    ACount(TWork::First, ASplit.M, Groups);
  } else {
    CountColumns(ASplit.M, Groups, ACount);
    ACount(HasLongTwiddles<T>(ASplit.M * ASplit.B) ? TWork::LongRoots : TWork::Turn, 0,
           Groups * Lines);
  }
  if (WithShortLine(ASplit.B, [](auto) {}))
    ACount(TWork::Last, ASplit.B, Lines);
  else
    CountColumns(ASplit.B, Lines, ACount);
  if (ASplit.M < L) ACount(TWork::Few, 0, ASplit.B);
  if (ASplit.B < L) ACount(TWork::Few, 0, ASplit.M);
  return true;
}

struct TRadixCost {
  int Radix;
  double Cost;
};

// The estimate for transforms whose twiddles are products: these wait for memory, of which the
// counts of the work tell little. It was fitted to lengths up to 4,096 on a processor with 512-bit
// vectors and looked at up to 2^22; the other sets go by it as well.
inline double CostOfLongRadix(int ARadix) noexcept {
  constexpr TRadixCost Costs[] = {{2, 11},  {3, 27},   {4, 35},   {5, 56},  {7, 84},
                                  {8, 100}, {11, 190}, {13, 260}, {16, 275}};
  for (const TRadixCost& Row : Costs)
    if (Row.Radix == ARadix) return Row.Cost;
  return 1.6 * ARadix * ARadix;
}

inline double CostOfLongColumns(std::int32_t ALength) noexcept {
  double Result = 0;
  for (const std::int32_t Factor : RadicesOf(ALength))
    Result += CostOfLongRadix(Factor) * (ALength / Factor);
  return Result;
}

// Of a line of rows, which passes through memory of its own unless it is short; it may be too long
// for the cache.
template <class T>
double CostOfLongLine(std::int32_t ALanes, std::int32_t AColumns) noexcept {
  const double Cost = CostOfLongColumns(AColumns);
  if (AColumns <= 16 && WithInnerRadix(AColumns, [](auto) {})) return Cost;
  const double Bytes = 2.0 * ALanes * sizeof(T) * AColumns;
  return (Cost + 8.0 * AColumns) * (Bytes > 0x80000 ? 1.25 : 1.0);
}

// Half of the widest vector costs half as much, but less is not cheaper.
template <class T>
double CostOfLongWidth(std::int32_t ALanes) noexcept {
  return ALanes * static_cast<int>(sizeof(T)) > 32 ? 1.0 : 0.53;
}

template <class T>
double CostOfLongSplit(const TSplit& ASplit) noexcept {
  const std::int32_t L = ASplit.Lanes;
  if (L != MaxLanes<T>) return std::numeric_limits<double>::infinity();
  const double Groups = (ASplit.B + L - 1) / L;
  const double Lines = (ASplit.M + L - 1) / L;
  // Columns too long for the cache come from far each time that they are gone through.
  const double FromFar = 2.0 * sizeof(T) * L * ASplit.M > 0x1000000 ? 1.5 : 1.0;
  const double Columns = Groups * CostOfLongColumns(ASplit.M) * FromFar;
  const double Few = (ASplit.M < L ? 4.0 * ASplit.B : 0) + (ASplit.B < L ? 4.0 * ASplit.M : 0);
  return CostOfLongWidth<T>(L) * (Columns + Lines * CostOfLongLine<T>(L, ASplit.B)) + Few;
}

template <class T>
double CostOfSplit(const TSplit& ASplit) noexcept {
  if (HasLongTwiddles<T>(ASplit.M * ASplit.B)) return CostOfLongSplit<T>(ASplit);
  double Result = 0;
  const bool Is = CountSplit<T>(ASplit, [&](TWork AWork, int ARadix, double ATimes) {
    Result += CostOf<T>(AWork, ARadix) * ATimes;
  });
  return Is ? Result : std::numeric_limits<double>::infinity();
}

// The best split of a length that is no prime.
template <class T>
TSplit ChooseSplit(std::int32_t ALength) noexcept {
  return BestSplit<T>(ALength, [](const TSplit& A) { return CostOfSplit<T>(A); });
}

// The root AIndex of order AOrder, which divides that of ARoots.
template <class T>
void PutRoot(T*& ATarget, std::int64_t AIndex, std::int64_t AOrder,
             const TRootsOfUnity& ARoots) noexcept {
  const TRootValue Root = ARoots(AIndex * (ARoots.Order() / AOrder));
  *ATarget++ = static_cast<T>(Root.Re);
  *ATarget++ = static_cast<T>(Root.Im);
}

// The roots 0, AStep, 2 AStep, ... of the order of ARoots, ACount of them, times the scales of the
// real and the imaginary parts.
template <class T>
void TakeRoots(std::size_t ACount, std::int64_t AStep, const TRootsOfUnity* ARoots,
               TLayout& ALayout, const T*& ARe, const T*& AIm, double AReScale = 1,
               double AImScale = 1) noexcept {
  T* const Re = ALayout.Take<T>(ACount);
  T* const Im = ALayout.Take<T>(ACount);
  ARe = Re;
  AIm = Im;
  if (!Re) return;
  for (std::size_t I = 0; I < ACount; ++I) {
    const TRootValue Root = (*ARoots)(static_cast<std::int64_t>(I) * AStep);
    Re[I] = static_cast<T>(Root.Re * AReScale);
    Im[I] = static_cast<T>(Root.Im * AImScale);
  }
}

// The twiddles of a stage of the factor AFactor, for ARows rows of parts of AValues values.
template <class T>
const T* TakeTwiddles(std::int32_t AFactor, std::int32_t ARows, std::int32_t AValues,
                      const TRootsOfUnity* ARoots, TLayout& ALayout) noexcept {
  T* const Twiddles =
      ALayout.Take<T>(2 * static_cast<std::size_t>(AFactor - 1) * static_cast<std::size_t>(ARows));
  T* Target = Twiddles;
  if (Twiddles)
    for (std::int64_t J = 0; J < ARows; ++J)
      for (std::int64_t Q = 1; Q < AFactor; ++Q)
        PutRoot(Target, J * Q, std::int64_t{AFactor} * AValues, *ARoots);
  return Twiddles;
}

// Mixed-radix digit reversal of the innermost factor's parts.
template <class TStage>
const std::int32_t* TakeOffsets(const TStage* AStages, std::int32_t AStageCount,
                                std::int32_t ALength, TLayout& ALayout) noexcept {
  const std::int32_t Blocks = ALength / AStages[AStageCount].Factor;
  auto* Offsets = ALayout.Take<std::int32_t>(static_cast<std::size_t>(Blocks));
  if (!Offsets) return Offsets;
  for (std::int32_t Block = 0; Block < Blocks; ++Block) {
    std::int32_t Rest = Block;
    std::int32_t Size = Blocks;
    std::int32_t Weight = 1;
    std::int32_t Offset = 0;
    for (int S = 0; S < AStageCount; ++S) {
      const std::int32_t F = AStages[S].Factor;
      Size /= F;
      Offset += Rest / Size * Weight;
      Rest %= Size;
      Weight *= F;
    }
    Offsets[Block] = Offset;
  }
  return Offsets;
}

// The tables of a column length that divides the order of ARoots; ARoots is null while the layout
// is measured.
template <class T>
void LayOutColumns(TColumnPlan<T>& APlan, std::int32_t ALength, const TRootsOfUnity* ARoots,
                   TLayout& ALayout) noexcept {
  const TFactors Factors = RadicesOf(ALength);
  APlan.Length = ALength;
  APlan.LongestRadix = 0;
  APlan.StageCount = Factors.Count - 1;
  std::int32_t Rows = ALength;
  for (int S = 0; S < Factors.Count; ++S) {
    TColumnStage<T>& Stage = APlan.Stages[S];
    const std::int32_t F = Factors.Values[static_cast<std::size_t>(S)];
    Stage.Factor = F;
    Stage.Rows = Rows /= F;
    const bool Merges = S < APlan.StageCount;
    Stage.Roots = nullptr;
    if (!(Merges ? WithMergeRadix(F, [](auto) {}) : WithInnerRadix(F, [](auto) {}))) {
      APlan.LongestRadix = std::max(APlan.LongestRadix, F);
      T* Target = ALayout.Take<T>(2 * static_cast<std::size_t>(F));
      Stage.Roots = Target;
      if (Target)
        for (std::int64_t I = 0; I < F; ++I) PutRoot(Target, I, F, *ARoots);
    }
    Stage.Twiddles = Merges ? TakeTwiddles<T>(F, Rows, Rows, ARoots, ALayout) : nullptr;
  }
  APlan.Offsets = TakeOffsets(APlan.Stages, APlan.StageCount, ALength, ALayout);
}

// Calls AFunction with the lanes as a compile-time constant: those of the widest vector, of half of
// it, or fewer.
template <class T, int L = MaxLanes<T>, class TFunction>
TESSALUNE_INLINE auto WithLanes(int ALanes, TFunction AFunction) noexcept {
  if constexpr (L / 2 >= LeastLanes)
    if (ALanes < L) return WithLanes<T, L / 2>(ALanes, AFunction);
  return AFunction(std::integral_constant<int, L>{});
}

// The same of the widest vector and half of it.
template <class T, class TFunction>
TESSALUNE_INLINE auto WithWideLanes(int ALanes, TFunction AFunction) noexcept {
  constexpr int Max = MaxLanes<T>;
  if constexpr (Max / 2 >= LeastLanes)
    if (ALanes < Max) return AFunction(std::integral_constant<int, Max / 2>{});
  return AFunction(std::integral_constant<int, Max>{});
}

// The roots of order ALength, that of ARoots, for the rows.
template <class T>
void LayOutTwiddles(TRowPlan<T>& APlan, std::int32_t ALanes, std::int32_t ALength,
                    const TRootsOfUnity* ARoots, TLayout& ALayout) noexcept {
  // Row i of group g of a table has the roots of index AOfRow(i) b.
  const auto TakeTable = [&](std::int32_t ARows, auto AOfRow) -> const T* {
    const auto Size = 2 * static_cast<std::size_t>(ALanes) * static_cast<std::size_t>(APlan.Groups);
    T* Table = ALayout.Take<T>(Size * static_cast<std::size_t>(ARows));
    if (!Table) return Table;
    T* Target = Table;
    for (std::int32_t G = 0; G < APlan.Groups; ++G)
      for (std::int32_t Row = 0; Row < ARows; ++Row, Target += 2 * ALanes)
        for (std::int32_t I = 0; I < ALanes; ++I) {
          // Lanes beyond the last column hold nothing that counts.
          const std::int64_t Column = FirstOf(G, APlan.Transform.Length, ALanes) +
                                      (APlan.IsWoven ? WovenAt<T>(ALanes, I) : I);
          const TRootValue Root = (*ARoots)(AOfRow(Row) * Column % ALength);
          Target[I] = static_cast<T>(Root.Re);
          Target[ALanes + I] = static_cast<T>(Root.Im);
        }
    return Table;
  };
  if (!HasLongTwiddles<T>(ALength)) {
    APlan.Twiddles = TakeTable(APlan.GroupRows, [](std::int64_t ARow) { return ARow; });
    return;
  }
  APlan.Twiddles = TakeTable(ALanes, [](std::int64_t ARow) { return ARow; });
  APlan.LineTwiddles = TakeTable(APlan.Lines, [&](std::int32_t ALine) {
    return std::int64_t{FirstOf(ALine, APlan.Rows, ALanes)};
  });
}

// A step over ARows rows of AColumns columns.
template <class T>
void LayOutRows(TRowPlan<T>& APlan, std::int32_t ALanes, std::int32_t ARows,
                std::int32_t AGroupRows, std::int32_t AColumns, std::int32_t ALength,
                const TRootsOfUnity* ARoots, TLayout& ALayout) noexcept {
  APlan.Rows = ARows;
  APlan.GroupRows = AGroupRows;
  APlan.Groups = (AColumns + ALanes - 1) / ALanes;
  APlan.Lines = (ARows + ALanes - 1) / ALanes;
  LayOutColumns(APlan.Transform, AColumns, ARoots, ALayout);
  LayOutTwiddles(APlan, ALanes, ALength, ARoots, ALayout);
}

// The tables of a split of a length that is no prime, all of them by ARoots, which has that order.
template <class T>
void LayOutSmooth(TSmoothPlan<T>& APlan, const TSplit& ASplit, const TRootsOfUnity* ARoots,
                  TLayout& ALayout) noexcept {
  const std::int32_t L = ASplit.Lanes;
  const std::int32_t M = ASplit.M;
  const std::int32_t B = ASplit.B;
  APlan.Lanes = L;
  LayOutColumns(APlan.Columns, M, ARoots, ALayout);
  APlan.Rows.IsWoven = true;
  // Room for the rows that fill the last line of few.
  LayOutRows(APlan.Rows, L, M, std::max(M, L), B, M * B, ARoots, ALayout);
  APlan.IsFused = IsFused<T>(M, B, L);
  APlan.ColumnsToLines = nullptr;
  APlan.LinesToSamples = nullptr;
  if (APlan.IsFused) return;
  constexpr int Widest = MaxLanes<T>;
  if (HasShortFirst<T>(ASplit))
    WithShortStep(M, [&](auto F) {
      if constexpr (F >= Widest) APlan.ColumnsToLines = &ColumnsToLines<T, Widest, F>;
    });
  WithShortLine(B, [&](auto F) { APlan.LinesToSamples = &LinesToSamples<T, Widest, F>; });
  APlan.WorkBytes = WorkBytesOf<TSmoothRun<T, Widest>>(APlan);
}

// The transform itself, of a length that is not fused. ASource may be ATarget. AWork: WorkBytes,
// aligned to a cache line.
template <class T>
void RunSmooth(const TSmoothPlan<T>& APlan, const T* ASource, T* ATarget, T AScale, bool AIsInverse,
               std::byte* AWork) noexcept {
  if (APlan.ColumnsToLines && APlan.LinesToSamples)
    return RunShortSteps(APlan, ASource, ATarget, AScale, AIsInverse, AWork);
  TLayout Memory(AWork);
  TSmoothRun<T, MaxLanes<T>>(APlan, AScale, Memory, AIsInverse).Run(ASource, ATarget);
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
