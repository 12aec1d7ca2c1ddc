#pragma once

#include <tessalune/primitives/kernels/RowStep.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Transforms of a length N = M B, complex samples in memory, in two steps:
//
//   1. With n = B a + b, the columns b are transformed over a: M points each. A vector holds
//      neighbouring columns, so that it is read from memory as it stands.
//   2. With k = k1 + M k2, the rows k1 are multiplied by the roots of order N with index b k1 and
//      transformed over b: B points each. A vector now holds neighbouring rows: a transposition
//      in registers lies between the two. So the results too are written as they stand.
//
// All else is a matter of the plan: into what M and B are factored, and how many lanes a vector
// has. Where the columns do not fill the last vector it is moved back, and some columns are
// computed twice; the same for the rows. Both steps write elsewhere than they read from, so that
// source and target may be the same memory.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

template <class T>
struct TSmoothPlan {
  // Of a plan whose columns are short, the first step, for all groups, to lines of rows.
  using TColumnsToLines = void (*)(const TSmoothPlan& APlan, const T* ASource, T AScale,
                                   bool AIsInverse, std::byte* ALines) noexcept;
  // The transforms of ACount neighbouring lines of short rows, for row 0 to ATarget.
  using TLinesToSamples = void (*)(const std::byte* ALines, std::ptrdiff_t ACount,
                                   std::ptrdiff_t ARows, T* ATarget, std::ptrdiff_t AStride,
                                   bool AIsInverse) noexcept;

  std::int32_t Lanes;
  bool IsFused;                    // both steps are one
  TColumnsToLines ColumnsToLines;  // null for long columns
  TLinesToSamples LinesToSamples;  // null for long rows
  TColumnPlan<T> Columns;          // the first step
  TRowPlan<T> Rows;                // the second one
  std::size_t WorkBytes;           // that a transform needs, aligned to a cache line
};

// The lengths with straight-line code for a step of its own, from samples to lines that wait for
// the other step, or from lines to samples.
template <class TFunction>
TESSALUNE_INLINE constexpr bool WithShortStep(int ALength, TFunction AFunction) noexcept {
  return WithRadix<16, 8, 32, 4, 5, 7, 9, 10, 11, 12, 13, 15, 20, 25>(ALength, AFunction);
}

// The lengths with straight-line code for lines of rows.
template <class TFunction>
TESSALUNE_INLINE constexpr bool WithShortLine(int ALength, TFunction AFunction) noexcept {
  return WithShortStep(ALength, AFunction) || WithRadix<3, 2>(ALength, AFunction);
}

// Rows of short columns are multiplied by the roots and turned while they are in registers.
template <class T, int L, int M>
void ColumnsToLines(const TSmoothPlan<T>& APlan, const T* ASource, T AScale, bool AIsInverse,
                    std::byte* ALines) noexcept {
  using TOf = TLanes<T, L>;
  using TRow = TPair<TVector<T, L>>;
  const std::ptrdiff_t B = APlan.Rows.Transform.Length;
  const TRowRoots<T, L, false> Roots(APlan.Rows, AIsInverse);
  // The samples are only read by this.
  const TSamples<T, L> Source(const_cast<T*>(ASource), B, M, AIsInverse);
  for (int G = 0; G < APlan.Rows.Groups; ++G) {
    const std::ptrdiff_t First = std::min<std::ptrdiff_t>(std::ptrdiff_t{G} * L, B - L);
    TArray<TRow, M> X;
    Source.template GetAll<M>(First, X);
    Dft<T, M>(X);
    if (AScale != 1) Repeat<M>(TESSALUNE_EACH(K) { X[K] = {X[K].Re * AScale, X[K].Im * AScale}; });
    TRow* Line = reinterpret_cast<TRow*>(ALines) + First;
    Repeat<(M + L - 1) / L>(TESSALUNE_EACH(I) {
      constexpr int Row = FirstOf(I, M, L);
      TArray<TRow, L> Y;
      Repeat<L>(TESSALUNE_EACH(J) { Y[J] = X[Row + TOf::WovenAt(J)]; });
      Roots.Multiply(G, Row, Y);
      TOf::Transpose(Y);
      Repeat<L>(TESSALUNE_EACH(J) { Line[TOf::WovenAt(J)] = Y[J]; });
      Line += B;
    });
  }
}

template <class T, int L, int B>
void LinesToSamples(const std::byte* ALines, std::ptrdiff_t ACount, std::ptrdiff_t ARows,
                    T* ATarget, std::ptrdiff_t AStride, bool AIsInverse) noexcept {
  using TRow = TPair<TVector<T, L>>;
  const auto* Line = reinterpret_cast<const TRow*>(ALines);
  const TSamples<T, L> Target(ATarget, AStride, B, AIsInverse);
  for (std::ptrdiff_t I = 0; I < ACount; ++I, Line += B) {
    TArray<TRow, B> X;
    Repeat<B>(TESSALUNE_EACH(J) { X[J] = Line[J]; });
    Dft<T, B>(X);
    Target.template PutAll<B>(std::max(std::ptrdiff_t(0), std::min(I * L, ARows - L)), X);
  }
}

// Both steps, where both are short. AWork holds the lines.
template <class T>
TESSALUNE_INLINE void RunShortSteps(const TSmoothPlan<T>& APlan, const T* ASource, T* ATarget,
                                    T AScale, bool AIsInverse, std::byte* AWork) noexcept {
  const std::int32_t M = APlan.Columns.Length;
  APlan.ColumnsToLines(APlan, ASource, AScale, AIsInverse, AWork);
  APlan.LinesToSamples(AWork, APlan.Rows.Lines, M, ATarget, M, AIsInverse);
}

template <class T, int L>
class TSmoothRun {
 public:
  TSmoothRun(const TSmoothPlan<T>& APlan, T AScale, TLayout& AMemory,
             bool AIsInverse = false) noexcept
      : FPlan(APlan),
        FM(APlan.Columns.Length),
        FB(APlan.Rows.Transform.Length),
        FScale(AScale),
        FIsInverse(AIsInverse),
        FMemory(APlan.Rows, std::max(APlan.Columns.LongestRadix, APlan.Rows.Transform.LongestRadix),
                !APlan.ColumnsToLines, !APlan.LinesToSamples, AMemory) {
    if (std::min(FM, FB) < L)
      FFew = AMemory.Take<T>(2 * L * static_cast<std::size_t>(std::max(FM, FB)));
  }

  // Of a plan whose steps are not both short.
  void Run(const T* ASource, T* ATarget) const noexcept {
    if (FPlan.ColumnsToLines) {
      auto* const Lines = reinterpret_cast<std::byte*>(FMemory.Rows);
      FPlan.ColumnsToLines(FPlan, ASource, FScale, FIsInverse, Lines);
      for (int Line = 0; Line < FPlan.Rows.Lines; ++Line)
        RunLine(FMemory.Rows + std::ptrdiff_t{Line} * FB, ATarget + 2 * FirstOf(Line, FM, L), FM);
      return;
    }
    RunColumns(ASource);
    if (FM >= L) return RunRows(ATarget, FM);
    RunRows(FFew, L);
    for (int I = 0; I < FB; ++I)
      std::copy_n(FFew + 2 * L * std::ptrdiff_t{I}, 2 * FM, ATarget + 2 * std::ptrdiff_t{FM} * I);
  }

 private:
  using V = TVector<T, L>;
  using TRow = TPair<V>;

  void RunColumns(const T* ASource) const noexcept {
    if (FB < L) {
      // The columns fill no vector: they get company.
      for (int A = 0; A < FM; ++A) {
        std::copy_n(ASource + 2 * FB * A, 2 * FB, FFew + 2 * L * A);
        std::fill_n(FFew + 2 * (L * A + FB), 2 * (L - FB), T(0));
      }
      return RunGroup(FFew, L, FMemory.Rows);
    }
    for (int G = 0; G < FPlan.Rows.Groups; ++G)
      RunGroup(ASource + 2 * FirstOf(G, FB, L), FB,
               FMemory.Rows + std::ptrdiff_t{G} * FPlan.Rows.GroupRows);
  }

  void RunGroup(const T* ASource, int AStride, TRow* ATarget) const noexcept {
    TransformColumns<T, L>(FPlan.Columns,
                           TSamples<T, L>(const_cast<T*>(ASource), AStride, FM, FIsInverse),
                           TRows<T, L>{ATarget}, ATarget, FMemory.Long);
    // What fills the last line of few rows.
    std::fill(ATarget + FM, ATarget + FPlan.Rows.GroupRows, TRow{V{}, V{}});
  }

  void RunRows(T* ATarget, int AStride) const noexcept {
    const TRowStep<T, L> Step(FPlan.Rows, FMemory, FScale, FIsInverse);
    for (int Line = 0; Line < FPlan.Rows.Lines; ++Line) {
      Step.GatherLine(Line);
      RunLine(FMemory.Line, ATarget + 2 * FirstOf(Line, FM, L), AStride);
    }
  }

  void RunLine(const TRow* ALine, T* ATarget, int AStride) const noexcept {
    if (FPlan.LinesToSamples)
      FPlan.LinesToSamples(reinterpret_cast<const std::byte*>(ALine), 1, L, ATarget, AStride,
                           FIsInverse);
    else
      TransformColumns<T, L>(FPlan.Rows.Transform, TRows<T, L>{const_cast<TRow*>(ALine)},
                             TSamples<T, L>(ATarget, AStride, FB, FIsInverse), FMemory.Data,
                             FMemory.Long);
  }

  const TSmoothPlan<T>& FPlan;
  const int FM;
  const int FB;
  const T FScale;
  const bool FIsInverse;
  TRowMemory<T, L> FMemory;
  T* FFew = nullptr;  // samples of fewer columns or rows than lanes, given company
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
