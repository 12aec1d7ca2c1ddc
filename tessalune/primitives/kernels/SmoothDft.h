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
  std::int32_t Lanes;
  bool IsFused;            // both steps are one
  TColumnPlan<T> Columns;  // the first step
  TRowPlan<T> Rows;        // the second one
  std::size_t WorkBytes;   // that a transform needs, aligned to a cache line
};

template <class T, int L, bool AInverse>
class TSmoothRun {
 public:
  TSmoothRun(const TSmoothPlan<T>& APlan, T AScale, TLayout& AMemory) noexcept
      : FPlan(APlan),
        FM(APlan.Columns.Length),
        FB(APlan.Rows.Transform.Length),
        FScale(AScale),
        FMemory(APlan.Rows, std::max(APlan.Columns.LongestRadix, APlan.Rows.Transform.LongestRadix),
                AMemory) {
    if (std::min(FM, FB) < L)
      FFew = AMemory.Take<T>(2 * L * static_cast<std::size_t>(std::max(FM, FB)));
  }

  void Run(const T* ASource, T* ATarget) const noexcept {
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
                           TSamples<T, L, AInverse>{const_cast<T*>(ASource), AStride},
                           TRows<T, L>{ATarget}, ATarget, FMemory.Long);
    // What fills the last line of few rows.
    std::fill(ATarget + FM, ATarget + FPlan.Rows.GroupRows, TRow{V{}, V{}});
  }

  void RunRows(T* ATarget, int AStride) const noexcept {
    TRowStep<T, L>(FPlan.Rows, FMemory, FScale).RunTo([=](int ARow) {
      return TSamples<T, L, AInverse>{ATarget + 2 * ARow, AStride};
    });
  }

  const TSmoothPlan<T>& FPlan;
  const int FM;
  const int FB;
  const T FScale;
  TRowMemory<T, L> FMemory;
  T* FFew = nullptr;  // samples of fewer columns or rows than lanes, given company
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
