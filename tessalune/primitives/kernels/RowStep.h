#pragma once

#include <tessalune/primitives/kernels/ColumnFft.h>
#include <tessalune/primitives/kernels/Tables.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Transforms of rows that lie across columns: of each group of L columns there are L-lane rows in
// memory, as a step over columns leaves them or wants them. Row k1 is multiplied by the roots of
// order N with the index b k1, for its columns b, and transformed over b. A vector holds
// neighbouring columns on the one side and neighbouring rows, in woven order, on the other: a
// transposition in registers lies between the two.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

template <class T>
struct TRowPlan {
  std::int32_t Rows;         // to transform
  std::int32_t GroupRows;    // from a group's rows to the next one's
  std::int32_t Groups;       // vectors that hold the columns
  std::int32_t Lines;        // vectors that hold the rows
  bool IsShort;              // straight-line code transforms a row
  bool IsWoven;              // the columns are in woven order
  TColumnPlan<T> Transform;  // over the columns: for each lane of a line
  // The roots, Lanes real parts, then the imaginary ones, of row k1 of group g at
  // (g GroupRows + k1) 2 Lanes. Of long transforms they are products of roots from tables that are
  // smaller by as many times as there are lanes: of those of the first row of a line, the line i of
  // group g at (g Lines + i) 2 Lanes, and those of the difference to it, r at (g Lanes + r) 2
  // Lanes.
  const T* Twiddles;
  const T* LineTwiddles;  // null if Twiddles has them all
};

// The lengths of rows that go from groups to bins, and back, in straight-line code.
template <class TFunction>
TESSALUNE_INLINE constexpr bool WithShortRow(int ALength, TFunction AFunction) noexcept {
  return WithRadix<8, 4, 16, 32, 5, 7, 11, 13, 3, 2>(ALength, AFunction);
}

// The memory of a step, in rows of L lanes; ALongest is the longest radix without straight-line
// code of all that uses Long.
template <class T, int L>
struct TRowMemory {
  using TRow = TPair<TVector<T, L>>;

  TRow* Rows;  // of the groups, or of the lines
  TRow* Line;  // one line, as long as whole vectors are
  TRow* Data;  // its columns on the way
  TRow* Long;  // the values of a radix without straight-line code

  // ATakesLine and ATakesData: whether these are wanted.
  TRowMemory(const TRowPlan<T>& APlan, std::int32_t ALongest, bool ATakesLine, bool ATakesData,
             TLayout& ALayout) noexcept {
    const auto Take = [&](std::int64_t ACount) {
      return ALayout.Take<TRow>(static_cast<std::size_t>(ACount));
    };
    const std::int32_t LineRows = std::max(APlan.Transform.Length, L);
    Rows = Take(std::max(std::int64_t{APlan.GroupRows} * APlan.Groups,
                         std::int64_t{APlan.Transform.Length} * APlan.Lines));
    Line = Take(ATakesLine ? LineRows : 0);
    Data = Take(ATakesData ? LineRows : 0);
    Long = Take(ALongest);
  }
};

// The roots of a plan, or their conjugates for the inverse, times a scale.
template <class T, int L, bool AIsLong>
class TRowRoots {
 public:
  using V = TVector<T, L>;
  using TRow = TPair<V>;

  TESSALUNE_INLINE TRowRoots(const TRowPlan<T>& APlan, bool AIsInverse) noexcept
      : FPlan(APlan), FSign(SignMask<T, L>(AIsInverse)) {}

  // L rows of a group from ARow on, in woven order. For roots that are products, ARow is the first
  // of line ALine.
  TESSALUNE_INLINE void Multiply(int AGroup, int ARow, TRow* Y, int ALine = 0) const noexcept {
    using TOf = TLanes<T, L>;
    const auto RootAt = [&](const T* ARoots) __attribute__((always_inline)) {
      return TRow{Load<T, L>(ARoots), FlipSign<T, L>(Load<T, L>(ARoots + L), FSign)};
    };
    if constexpr (!AIsLong) {
      const T* Roots = FPlan.Twiddles + 2 * L * (std::ptrdiff_t{AGroup} * FPlan.GroupRows + ARow);
      Repeat<L>(TESSALUNE_EACH(I) {
        Y[I] = kernels::Multiply(Y[I], RootAt(Roots + 2 * L * TOf::WovenAt(I)));
      });
    } else {
      const T* Roots = FPlan.Twiddles + 2 * L * L * std::ptrdiff_t{AGroup};
      const TRow First =
          RootAt(FPlan.LineTwiddles + 2 * L * (std::ptrdiff_t{AGroup} * FPlan.Lines + ALine));
      Repeat<L>(TESSALUNE_EACH(I) {
        Y[I] = kernels::Multiply(Y[I],
                                 kernels::Multiply(First, RootAt(Roots + 2 * L * TOf::WovenAt(I))));
      });
    }
  }

 private:
  const TRowPlan<T>& FPlan;
  const TSignMask<T, L> FSign;
};

template <class T, int L>
class TRowStep {
 public:
  using V = TVector<T, L>;
  using TRow = TPair<V>;

  TESSALUNE_INLINE TRowStep(const TRowPlan<T>& APlan, const TRowMemory<T, L>& AMemory, T AScale,
                            bool AIsInverse = false) noexcept
      : FPlan(APlan), FMemory(AMemory), FScale(AScale), FIsInverse(AIsInverse) {}

  // The transforms of all rows times the scale. ATargetOf(row) takes those of L rows from there on.
  template <class TTargetOf>
  void RunTo(TTargetOf ATargetOf) const noexcept {
    if (FPlan.IsShort) {
      WithShortRow(FPlan.Transform.Length, [&](auto B) {
        if constexpr (B >= L) RunShortTo<B>(ATargetOf);
      });
      return;
    }
    for (int Line = 0; Line < FPlan.Lines; ++Line) {
      GatherLine(Line);
      TransformColumns<T, L>(FPlan.Transform, TRows<T, L>{FMemory.Line},
                             ATargetOf(FirstOf(Line, FPlan.Rows, L)), FMemory.Data, FMemory.Long);
    }
  }

  // The other way: rows are transformed on their way to the groups. ASourceOf(row) gives the values
  // of L rows. There are L columns at least.
  template <class TSourceOf>
  void RunFrom(TSourceOf ASourceOf) const noexcept {
    if (FPlan.IsShort) {
      WithShortRow(FPlan.Transform.Length, [&](auto B) {
        if constexpr (B >= L) RunShortFrom<B>(ASourceOf);
      });
      return;
    }
    for (int Line = 0; Line < FPlan.Lines; ++Line) {
      TransformColumns<T, L>(FPlan.Transform, ASourceOf(FirstOf(Line, FPlan.Rows, L)),
                             TRows<T, L>{FMemory.Line}, FMemory.Line, FMemory.Long);
      for (int G = 0; G < FPlan.Groups; ++G)
        Scatter(Line, G, FMemory.Line + FirstOf(G, FPlan.Transform.Length, L));
    }
  }

  // The rows of line ALine, turned.
  [[gnu::noinline]] void GatherLine(int ALine) const noexcept {
    for (int G = 0; G < FPlan.Groups; ++G)
      Gather(ALine, G, FMemory.Line + FirstOf(G, FPlan.Transform.Length, L));
  }

 private:
  using TOf = TLanes<T, L>;

  template <int B, class TTargetOf>
  [[gnu::noinline]] void RunShortTo(TTargetOf ATargetOf) const noexcept {
    for (int Line = 0; Line < FPlan.Lines; ++Line) {
      TArray<TRow, B> X;
      Repeat<(B + L - 1) / L>(TESSALUNE_EACH(G) { Gather(Line, G, X + FirstOf(G, B, L)); });
      Dft<T, B>(X);
      const auto Target = ATargetOf(FirstOf(Line, FPlan.Rows, L));
      Repeat<B>(TESSALUNE_EACH(I) { Target.template Put<B>(0, I, 1, X[I]); });
    }
  }

  template <int B, class TSourceOf>
  [[gnu::noinline]] void RunShortFrom(TSourceOf ASourceOf) const noexcept {
    for (int Line = 0; Line < FPlan.Lines; ++Line) {
      TArray<TRow, B> X;
      const auto Source = ASourceOf(FirstOf(Line, FPlan.Rows, L));
      Repeat<B>(TESSALUNE_EACH(I) { X[I] = Source.template Get<B>(0, I, 1); });
      Dft<T, B>(X);
      Repeat<(B + L - 1) / L>(TESSALUNE_EACH(G) { Scatter(Line, G, X + FirstOf(G, B, L)); });
    }
  }

  // The rows of line ALine of a group, turned: X[i] is its column i, with the rows in the lanes.
  TESSALUNE_INLINE void Gather(int ALine, int AGroup, TRow* X) const noexcept {
    const TRow* Rows = RowsOf(ALine, AGroup);
    TArray<TRow, L> Y;
    Repeat<L>(TESSALUNE_EACH(I) { Y[I] = Rows[TOf::WovenAt(I)]; });
    MultiplyByRoots(ALine, AGroup, Y);
    TOf::Transpose(Y);
    if (FPlan.IsWoven)
      Repeat<L>(TESSALUNE_EACH(I) { X[TOf::WovenAt(I)] = Y[I]; });
    else
      Repeat<L>(TESSALUNE_EACH(I) { X[I] = Y[I]; });
  }

  // And back, to columns as they are.
  TESSALUNE_INLINE void Scatter(int ALine, int AGroup, const TRow* X) const noexcept {
    TRow* Rows = RowsOf(ALine, AGroup);
    TArray<TRow, L> Y;
    Repeat<L>(TESSALUNE_EACH(I) { Y[I] = X[I]; });
    TOf::Transpose(Y);
    MultiplyByRoots(ALine, AGroup, Y);
    Repeat<L>(TESSALUNE_EACH(I) { Rows[TOf::WovenAt(I)] = Y[I]; });
  }

  TESSALUNE_INLINE TRow* RowsOf(int ALine, int AGroup) const noexcept {
    return FMemory.Rows + std::ptrdiff_t{AGroup} * FPlan.GroupRows + FirstOf(ALine, FPlan.Rows, L);
  }

  // By the roots, and by the scale.
  TESSALUNE_INLINE void MultiplyByRoots(int ALine, int AGroup, TRow* Y) const noexcept {
    const int Row = FirstOf(ALine, FPlan.Rows, L);
    if (FPlan.LineTwiddles == nullptr)
      TRowRoots<T, L, false>(FPlan, FIsInverse).Multiply(AGroup, Row, Y);
    else
      TRowRoots<T, L, true>(FPlan, FIsInverse).Multiply(AGroup, Row, Y, ALine);
    if (FScale != 1) Repeat<L>(TESSALUNE_EACH(I) { Y[I] = {Y[I].Re * FScale, Y[I].Im * FScale}; });
  }

  const TRowPlan<T>& FPlan;
  const TRowMemory<T, L> FMemory;
  const T FScale;
  const bool FIsInverse;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
