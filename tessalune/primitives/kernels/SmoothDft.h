#pragma once

#include <tessalune/primitives/kernels/ColumnFft.h>
#include <tessalune/primitives/kernels/FusedDft.h>

#include <algorithm>
#include <cstddef>

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
  std::int32_t Lanes;
  std::int32_t Columns;   // B
  std::int32_t Groups;    // vectors that hold the columns
  bool IsFused;           // both steps are one
  bool HasShortRows;      // the second step is straight-line code
  TColumnPlan<T> First;   // over M
  TColumnPlan<T> Second;  // over B
  // The roots by which row k1 of group g is multiplied, Lanes real parts, then the imaginary ones:
  // at (g max(M, Lanes) + k1) 2 Lanes. Of long transforms they are products, so that the tables
  // stay in the cache: of those of the first row of a line, the line i of group g at (g Lines + i)
  // 2 Lanes, and those of the difference to it, r at (g Lanes + r) 2 Lanes.
  const T* Twiddles;
  const T* LineTwiddles;  // null if Twiddles has them all
  std::int32_t Lines;     // vectors that hold the rows
  std::size_t WorkBytes;  // that a transform needs, aligned to a cache line
};

// The parts of the work memory, in rows of L lanes.
template <class T, int L>
struct TSmoothWork {
  using TRow = TPair<TVector<T, L>>;

  // What the first step leaves: the columns of group g from row g max(M, L) on.
  static std::size_t Between(const TSmoothPlan<T>& APlan) noexcept {
    return Size(std::max(APlan.First.Length, L)) * Size(APlan.Groups);
  }
  // One line of the second step, as long as whole vectors are, and its columns on the way.
  static std::size_t Line(const TSmoothPlan<T>& APlan) noexcept {
    return APlan.HasShortRows ? 0 : Size(std::max(APlan.Columns, L));
  }
  // The values of a radix without straight-line code.
  static std::size_t Long(const TSmoothPlan<T>& APlan) noexcept {
    return Size(std::max(APlan.First.LongestRadix, APlan.Second.LongestRadix));
  }
  // Samples of fewer columns or rows than lanes, given company.
  static std::size_t Few(const TSmoothPlan<T>& APlan) noexcept {
    const std::int32_t Most = std::max(APlan.First.Length, APlan.Columns);
    return std::min(APlan.First.Length, APlan.Columns) < L ? Size(Most) : 0;
  }

 private:
  static std::size_t Size(std::int32_t ACount) noexcept { return static_cast<std::size_t>(ACount); }
};

template <class T, int L>
std::size_t WorkBytesOf(const TSmoothPlan<T>& APlan) noexcept {
  using TWork = TSmoothWork<T, L>;
  return (TWork::Between(APlan) + 2 * TWork::Line(APlan) + TWork::Long(APlan) + TWork::Few(APlan)) *
         sizeof(typename TWork::TRow);
}

template <class T, int L, bool AInverse>
class TSmoothRun {
 public:
  using V = TVector<T, L>;
  using TRow = TPair<V>;
  using TOf = TLanes<T, L>;

  TSmoothRun(const TSmoothPlan<T>& APlan, T AScale, std::byte* AWork) noexcept
      : FPlan(APlan),
        FM(APlan.First.Length),
        FB(APlan.Columns),
        FScale(AScale),
        FBetween(reinterpret_cast<TRow*>(AWork)),
        FLine(FBetween + TSmoothWork<T, L>::Between(APlan)),
        FLineData(FLine + TSmoothWork<T, L>::Line(APlan)),
        FLong(FLineData + TSmoothWork<T, L>::Line(APlan)),
        FFew(reinterpret_cast<T*>(FLong + TSmoothWork<T, L>::Long(APlan))) {}

  void Run(const T* ASource, T* ATarget) const noexcept {
    RunFirst(ASource);
    RunSecond(ATarget);
  }

  void RunFirst(const T* ASource) const noexcept {
    if (FB < L) {
      // The columns fill no vector: they get company.
      for (int A = 0; A < FM; ++A) {
        std::copy_n(ASource + 2 * FB * A, 2 * FB, FFew + 2 * L * A);
        std::fill_n(FFew + 2 * (L * A + FB), 2 * (L - FB), T(0));
      }
      return RunColumns(FFew, L, FBetween);
    }
    for (int G = 0; G < FPlan.Groups; ++G)
      RunColumns(ASource + 2 * std::min(G * L, FB - L), FB, FBetween + G * GroupRows());
  }

  void RunSecond(T* ATarget) const noexcept {
    if (FM >= L) return RunRows(ATarget, FM);
    RunRows(FFew, L);
    for (int I = 0; I < FB; ++I) std::copy_n(FFew + 2 * L * I, 2 * FM, ATarget + 2 * FM * I);
  }

 private:
  void RunColumns(const T* ASource, int AStride, TRow* ATarget) const noexcept {
    TransformColumns<T, L>(FPlan.First, TSamples<T, L, AInverse>{const_cast<T*>(ASource), AStride},
                           TRows<T, L>{ATarget}, ATarget, FLong);
  }

  // All lines, row k2 of their transforms at AStride k2 and on.
  void RunRows(T* ATarget, int AStride) const noexcept {
    if (FPlan.HasShortRows) {
      WithInnerRadix(FB, [&](auto B) { RunShortRows<B>(ATarget, AStride); });
      return;
    }
    for (int Line = 0; Line < FPlan.Lines; ++Line) {
      for (int G = 0; G < FPlan.Groups; ++G)
        Gather(Line, G, FLine + std::max(0, std::min(G * L, FB - L)));
      TransformColumns<T, L>(FPlan.Second, TRows<T, L>{FLine},
                             TSamples<T, L, AInverse>{ATarget + 2 * FirstRow(Line), AStride},
                             FLineData, FLong);
    }
  }

  template <int B>
  [[gnu::noinline]] void RunShortRows(T* ATarget, int AStride) const noexcept {
    for (int Line = 0; Line < FPlan.Lines; ++Line) {
      TArray<TRow, std::max(B, L)> X;
      constexpr int Groups = (B + L - 1) / L;
      Repeat<Groups>(TESSALUNE_EACH(G) {
        constexpr int First = std::max(0, std::min(G * L, B - L));
        Gather(Line, G, X + First);
      });
      Dft<T, B>(X);
      const TSamples<T, L, AInverse> Target{ATarget + 2 * FirstRow(Line), AStride};
      Repeat<B>(TESSALUNE_EACH(I) { Target.Put(I, X[I]); });
    }
  }

  // The rows of line ALine of a group's columns, turned: X[i] is column i, its lanes the rows.
  TESSALUNE_INLINE void Gather(int ALine, int AGroup, TRow* X) const noexcept {
    const std::ptrdiff_t First = AGroup * GroupRows() + FirstRow(ALine);
    const TRow* Rows = FBetween + First;
    TArray<V, L> Re;
    TArray<V, L> Im;
    if (FPlan.LineTwiddles == nullptr) {
      const T* Twiddles = FPlan.Twiddles + 2 * L * First;
      Repeat<L>(TESSALUNE_EACH(I) {
        const TRow Y = Multiply(Rows[I], Load<T, L>(Twiddles + 2 * L * I),
                                Load<T, L>(Twiddles + 2 * L * I + L));
        Re[I] = Y.Re;
        Im[I] = Y.Im;
      });
    } else {
      const T* Twiddles = FPlan.Twiddles + 2 * L * L * AGroup;
      const T* Line = FPlan.LineTwiddles + 2 * L * (std::ptrdiff_t{AGroup} * FPlan.Lines + ALine);
      const V LineRe = Load<T, L>(Line);
      const V LineIm = Load<T, L>(Line + L);
      Repeat<L>(TESSALUNE_EACH(I) {
        const TRow Root = Multiply(TRow{LineRe, LineIm}, Load<T, L>(Twiddles + 2 * L * I),
                                   Load<T, L>(Twiddles + 2 * L * I + L));
        const TRow Y = Multiply(Rows[I], Root.Re, Root.Im);
        Re[I] = Y.Re;
        Im[I] = Y.Im;
      });
    }
    TOf::Transpose(Re);
    TOf::Transpose(Im);
    if (FScale == 1) {
      Repeat<L>(TESSALUNE_EACH(I) { X[I] = {Re[I], Im[I]}; });
    } else {
      Repeat<L>(TESSALUNE_EACH(I) { X[I] = {Re[I] * FScale, Im[I] * FScale}; });
    }
  }

  // A line is read in full where there are fewer rows than lanes.
  TESSALUNE_INLINE std::ptrdiff_t GroupRows() const noexcept { return std::max(FM, L); }

  // The last line may have rows of the last but one again.
  TESSALUNE_INLINE int FirstRow(int ALine) const noexcept {
    return std::max(0, std::min(ALine * L, FM - L));
  }

  const TSmoothPlan<T>& FPlan;
  const int FM;
  const int FB;
  const T FScale;
  TRow* FBetween;
  TRow* FLine;
  TRow* FLineData;
  TRow* FLong;
  T* FFew;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
