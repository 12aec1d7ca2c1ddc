#pragma once

#include <tessalune/primitives/kernels/Roots.h>
#include <tessalune/primitives/kernels/SmoothDft.h>
#include <tessalune/primitives/kernels/Tables.h>

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
// are: a radix 16 needs more registers than there are, a radix 4 more passes.
inline TFactors RadicesOf(std::int32_t ALength) noexcept {
  TFactors Result;
  int Twos = 0;
  for (; ALength % 2 == 0; ALength /= 2) ++Twos;
  TFactors Eights;
  switch (Twos % 3) {
    case 1:
      if (Twos == 1)
        Result.Add(2);
      else if (Twos == 4)
        Eights.Add(16);
      else {
        Result.Add(4);
        Result.Add(4);
      }
      Twos -= Twos == 1 ? 1 : 4;
      break;
    case 2:
      Result.Add(4);
      Twos -= 2;
      break;
    default:
      break;
  }
  for (; Twos > 0; Twos -= 3) Eights.Add(8);
  for (std::int32_t P = 3; P * P <= ALength; P += 2)
    for (; ALength % P == 0; ALength /= P) Result.Add(P);
  if (ALength > 1 && ALength < 11) Result.Add(ALength);
  for (const std::int32_t Eight : Eights) Result.Add(Eight);
  if (ALength >= 11 || Result.Count == 0) Result.Add(ALength);
  // The longest odd prime innermost: it has no twiddles there, and more straight-line code.
  return Result;
}

// An estimate of the time that a transform takes, in cycles of a processor with two vector
// operations a cycle and one store in two. Only the ratio of two estimates means anything.
inline double CostOfRadix(int ARadix) noexcept {
  switch (ARadix) {
    case 1:
      return 0;
    case 2:
      return 12;
    case 3:
      return 20;
    case 4:
      return 26;
    case 5:
      return 38;
    case 7:
      return 64;
    case 8:
      return 68;
    case 11:
      return 150;
    case 13:
      return 210;
    case 16:
      return 190;
    default:
      return 1.3 * ARadix * ARadix;
  }
}

inline double CostOfColumns(const TFactors& AFactors, std::int32_t ALength) noexcept {
  double Result = 0;
  for (const std::int32_t Factor : AFactors) Result += CostOfRadix(Factor) * (ALength / Factor) + 8;
  return Result;
}

struct TSplit {
  std::int32_t Lanes = 0;
  std::int32_t Rows = 0;     // M
  std::int32_t Columns = 0;  // B
};

template <class T>
double CostOfSplit(const TSplit& ASplit) noexcept {
  const std::int32_t L = ASplit.Lanes;
  const TFactors First = RadicesOf(ASplit.Rows);
  const TFactors Second = RadicesOf(ASplit.Columns);
  const double Groups = (ASplit.Columns + L - 1) / L;
  const double Lines = (ASplit.Rows + L - 1) / L;
  // Memory that a set of columns goes through again and again.
  const double Bytes = 2.0 * L * sizeof(T) * ASplit.Rows;
  const double FromFar = First.Count < 2   ? 1.0
                         : Bytes > 0x80000 ? 2.0
                         : Bytes > 0x8000  ? 1.25
                                           : 1.0;
  const bool IsDirect = Second.Count == 1 && ASplit.Columns <= 16;
  const double Gather = Groups * L * 7.0;
  const double Line =
      Gather + CostOfColumns(Second, ASplit.Columns) + (IsDirect ? 0 : 4.0 * ASplit.Columns);
  const double Few =
      (ASplit.Rows < L ? 4.0 * ASplit.Columns : 0) + (ASplit.Columns < L ? 4.0 * ASplit.Rows : 0);
  // What it takes to go through memory, and from function to function.
  const double Detour = IsFused(ASplit.Rows, ASplit.Columns, L) ? 0 : 80;
  const double Width = L * static_cast<int>(sizeof(T)) > 32 ? 1.0 : 0.55;
  return Width * (Groups * CostOfColumns(First, ASplit.Rows) * FromFar + Lines * Line) + Few +
         Detour;
}

// The best split of a length that is no prime.
template <class T>
TSplit ChooseSplit(std::int32_t ALength) noexcept {
  TSplit Best;
  double BestCost = std::numeric_limits<double>::infinity();
  const auto Try = [&](std::int32_t AColumns) {
    for (int Lanes = MaxLanes<T>; Lanes >= std::max(2, MaxLanes<T> / 4); Lanes /= 2) {
      const TSplit Split{Lanes, ALength / AColumns, AColumns};
      const double Cost = CostOfSplit<T>(Split);
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

// The tables of a column length that divides AOrder, the order of ARoots; ARoots is null while the
// layout is measured.
template <class T>
void LayOutColumns(TColumnPlan<T>& APlan, std::int32_t ALength, std::int64_t AOrder,
                   const TRootsOfUnity* ARoots, TLayout& ALayout) noexcept {
  const TFactors Factors = RadicesOf(ALength);
  APlan.Length = ALength;
  APlan.LongestRadix = 0;
  APlan.StageCount = Factors.Count - 1;
  std::int32_t Rows = ALength;
  for (int S = 0; S < Factors.Count; ++S) {
    TColumnStage<T>& Stage = APlan.Stages[S];
    const std::int32_t F = Factors.Values[static_cast<std::size_t>(S)];
    const auto Count = static_cast<std::size_t>(F);
    Stage.Factor = F;
    Stage.Rows = Rows /= F;
    const bool Merges = S < APlan.StageCount;
    const bool IsLong = !(Merges ? WithMergeRadix(F, [](auto) {}) : WithInnerRadix(F, [](auto) {}));
    if (IsLong) APlan.LongestRadix = std::max(APlan.LongestRadix, F);
    T* Roots = IsLong ? ALayout.Take<T>(2 * Count) : nullptr;
    T* Twiddles =
        Merges ? ALayout.Take<T>(2 * (Count - 1) * static_cast<std::size_t>(Rows)) : nullptr;
    Stage.Roots = Roots;
    Stage.Twiddles = Twiddles;
    const auto Put = [&](T*& ATarget, std::int64_t AIndex, std::int64_t ARootOrder) {
      const TRootValue Root = (*ARoots)(AIndex * (AOrder / ARootOrder));
      *ATarget++ = static_cast<T>(Root.Re);
      *ATarget++ = static_cast<T>(Root.Im);
    };
    if (Roots)
      for (std::int64_t I = 0; I < F; ++I) Put(Roots, I, F);
    if (Twiddles)
      for (std::int64_t J = 0; J < Rows; ++J)
        for (std::int64_t Q = 1; Q < F; ++Q) Put(Twiddles, J * Q, std::int64_t{F} * Rows);
  }

  // Mixed-radix digit reversal of the innermost factor's blocks.
  const std::int32_t Blocks = ALength / APlan.Stages[APlan.StageCount].Factor;
  auto* Offsets = ALayout.Take<std::int32_t>(static_cast<std::size_t>(Blocks));
  APlan.Offsets = Offsets;
  if (!Offsets) return;
  for (std::int32_t Block = 0; Block < Blocks; ++Block) {
    std::int32_t Rest = Block;
    std::int32_t Size = Blocks;
    std::int32_t Weight = 1;
    std::int32_t Offset = 0;
    for (int S = 0; S < APlan.StageCount; ++S) {
      const std::int32_t F = APlan.Stages[S].Factor;
      Size /= F;
      Offset += Rest / Size * Weight;
      Rest %= Size;
      Weight *= F;
    }
    Offsets[Block] = Offset;
  }
}

template <class T, class TFunction>
TESSALUNE_INLINE auto WithLanes(int ALanes, TFunction AFunction) noexcept {
  constexpr int Max = MaxLanes<T>;
  if constexpr (Max / 4 >= 2)
    if (ALanes == Max / 4) return AFunction(std::integral_constant<int, Max / 4>{});
  if constexpr (Max / 2 >= 2)
    if (ALanes == Max / 2) return AFunction(std::integral_constant<int, Max / 2>{});
  return AFunction(std::integral_constant<int, Max>{});
}

// Bytes of twiddles from which on they are products.
constexpr std::size_t LongTwiddles = 128 * 1024;

template <class T>
void LayOutTwiddles(TSmoothPlan<T>& APlan, std::int32_t ALength, const TRootsOfUnity* ARoots,
                    TLayout& ALayout) noexcept {
  const std::int32_t L = APlan.Lanes;
  const std::int32_t M = APlan.First.Length;
  const std::int32_t B = APlan.Columns;
  // Row i of group g of a table has the roots of index AOfRow(i) b.
  const auto TakeTable = [&](std::int32_t ARows, auto AOfRow) -> const T* {
    const auto Size = 2 * static_cast<std::size_t>(L) * static_cast<std::size_t>(APlan.Groups);
    T* Table = ALayout.Take<T>(Size * static_cast<std::size_t>(ARows));
    if (!Table) return Table;
    T* Target = Table;
    for (std::int32_t G = 0; G < APlan.Groups; ++G)
      for (std::int32_t Row = 0; Row < ARows; ++Row, Target += 2 * L)
        for (std::int32_t I = 0; I < L; ++I) {
          // Lanes beyond the last column hold nothing that counts.
          const std::int64_t Column = std::max(0, std::min(G * L, B - L)) + I;
          const TRootValue Root = (*ARoots)(AOfRow(Row) * Column % ALength);
          Target[I] = static_cast<T>(Root.Re);
          Target[L + I] = static_cast<T>(Root.Im);
        }
    return Table;
  };
  if (2 * sizeof(T) * static_cast<std::size_t>(ALength) < LongTwiddles) {
    // Room for the rows that fill the last line of few.
    APlan.Twiddles =
        TakeTable(std::max(M, L), [](std::int32_t ARow) { return std::int64_t{ARow}; });
    return;
  }
  APlan.Twiddles = TakeTable(L, [](std::int32_t ARow) { return std::int64_t{ARow}; });
  APlan.LineTwiddles = TakeTable(APlan.Lines, [=](std::int32_t ALine) {
    return std::int64_t{std::max(0, std::min(ALine * L, M - L))};
  });
}

// The tables of a transform whose length is no prime, all of them by ARoots, which has that order.
template <class T>
void LayOutSmooth(TSmoothPlan<T>& APlan, std::int32_t ALength, const TRootsOfUnity* ARoots,
                  TLayout& ALayout) noexcept {
  const TSplit Split = ChooseSplit<T>(ALength);
  const std::int32_t L = Split.Lanes;
  const std::int32_t M = Split.Rows;
  const std::int32_t B = Split.Columns;
  APlan.Lanes = L;
  APlan.Columns = B;
  APlan.Groups = (B + L - 1) / L;
  LayOutColumns(APlan.First, M, ALength, ARoots, ALayout);
  LayOutColumns(APlan.Second, B, ALength, ARoots, ALayout);
  APlan.HasShortRows = APlan.Second.StageCount == 0 && APlan.Second.LongestRadix == 0;
  APlan.IsFused = IsFused(M, B, L);
  APlan.WorkBytes =
      APlan.IsFused ? 0
                    : WithLanes<T>(L, [&](auto ALanes) { return WorkBytesOf<T, ALanes>(APlan); });

  APlan.Lines = (M + L - 1) / L;
  LayOutTwiddles(APlan, ALength, ARoots, ALayout);
}

// The transform itself, of a length that is not fused. ASource may be ATarget. AWork: WorkBytes,
// aligned to a cache line.
template <class T, bool AInverse>
void RunSmooth(const TSmoothPlan<T>& APlan, const T* ASource, T* ATarget, T AScale,
               std::byte* AWork) noexcept {
  WithLanes<T>(APlan.Lanes, [&](auto ALanes) {
    TSmoothRun<T, ALanes, AInverse>(APlan, AScale, AWork).Run(ASource, ATarget);
  });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
