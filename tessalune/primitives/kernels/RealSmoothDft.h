#pragma once

#include <tessalune/primitives/kernels/ComplexDft.h>
#include <tessalune/primitives/kernels/RealColumnFft.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Transforms of N = M B real samples by the two steps of SmoothDft.h, of which half is enough: the
// transforms of the columns are those of real samples, and their rows beyond M/2 are mirror images.
// A row k1 gives the bins k1 + M k2; those beyond N/2 are the conjugates of bins that no other row
// gives. Back from the bins, the rows come first and the columns last.
//
// Row M/2 of an even M is its own mirror image: of its B bins, those with an even k2 are a complex
// transform of B/2 points, and the others their conjugates.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Rows that give all bins, without row M/2 of an even M.
constexpr int RealRows(int AM) noexcept { return (AM + 1) / 2; }

template <class T>
struct TRealSmoothPlan {
  std::int32_t Lanes;
  TRealColumnPlan<T> Columns;  // the first step: M
  TRowPlan<T> Rows;            // the second one: B
  TComplexDft<T> Middle;       // of B/2 points, if M is even
  const T* MiddleRe;           // exp(-pi i b / B)
  const T* MiddleIm;
  std::size_t WorkBytes;  // that a transform needs, aligned to a cache line
};

// Where L neighbouring rows have their bins. Lane i of value k2 is bin Row + i + M k2, or its
// conjugate, the bin that makes N with it.
template <class T, int L>
struct TBinRows {
  using TOf = TLanes<T, L>;
  using TRow = TPair<TVector<T, L>>;

  T* Bins;
  T* Last;  // the real part of bin N/2 of an even N, which stands apart
  std::ptrdiff_t M;
  std::ptrdiff_t B;
  std::ptrdiff_t Row;

  TESSALUNE_INLINE bool IsMirrored(std::ptrdiff_t AIndex) const noexcept { return 2 * AIndex >= B; }
  TESSALUNE_INLINE bool HasLast(std::ptrdiff_t AIndex) const noexcept {
    return Row == 0 && 2 * AIndex == B;
  }
  TESSALUNE_INLINE T* At(std::ptrdiff_t AIndex) const noexcept {
    return Bins + 2 * (Row + M * AIndex);
  }
  TESSALUNE_INLINE T* Mirror(std::ptrdiff_t AIndex) const noexcept {
    return Bins + 2 * (M * (B - AIndex) - Row - (L - 1));
  }

  TESSALUNE_INLINE void Put(std::ptrdiff_t AIndex, const TRow& A) const noexcept {
    if (IsMirrored(AIndex))
      PutMirrored(AIndex, A);
    else
      TOf::StoreWoven(At(AIndex), A);
  }
  TESSALUNE_INLINE TRow Get(std::ptrdiff_t AIndex) const noexcept {
    return IsMirrored(AIndex) ? GetMirrored(AIndex) : GetUpright(AIndex);
  }

  // B is F AStep: most of the factors tell on which side of the middle their bins are.
  template <int F>
  TESSALUNE_INLINE void Put(std::ptrdiff_t AOffset, auto AFactor, std::ptrdiff_t AStep,
                            const TRow& A) const noexcept {
    const std::ptrdiff_t Index = AOffset + AFactor * AStep;
    if constexpr (2 * AFactor >= F)
      PutMirrored(Index, A);
    else if constexpr (2 * AFactor + 2 <= F)
      TOf::StoreWoven(At(Index), A);
    else
      Put(Index, A);
  }
  template <int F>
  TESSALUNE_INLINE TRow Get(std::ptrdiff_t AOffset, auto AFactor,
                            std::ptrdiff_t AStep) const noexcept {
    const std::ptrdiff_t Index = AOffset + AFactor * AStep;
    if constexpr (2 * AFactor >= F)
      return GetMirrored(Index);
    else if constexpr (2 * AFactor + 2 <= F)
      return GetUpright(Index);
    else
      return Get(Index);
  }

 private:
  TESSALUNE_INLINE void PutMirrored(std::ptrdiff_t AIndex, const TRow& A) const noexcept {
    const TRow Mirrored = {TOf::Reverse(A.Re), TOf::Reverse(-A.Im)};
    if (!HasLast(AIndex)) return TOf::StoreWoven(Mirror(AIndex), Mirrored);
    TArray<T, 2 * L> Full;
    TOf::StoreWoven(Full, Mirrored);
    std::copy_n(Full, 2 * (L - 1), Mirror(AIndex));
    *Last = Full[2 * (L - 1)];
  }

  // The conjugates.
  TESSALUNE_INLINE TRow GetUpright(std::ptrdiff_t AIndex) const noexcept {
    TRow Result = TOf::LoadWoven(At(AIndex));
    Result.Im = -Result.Im;
    if (Row == 0 && AIndex == 0) Result.Im[0] = 0;
    return Result;
  }
  TESSALUNE_INLINE TRow GetMirrored(std::ptrdiff_t AIndex) const noexcept {
    TRow Mirrored;
    if (HasLast(AIndex)) {
      TArray<T, 2 * L> Full;
      std::copy_n(Mirror(AIndex), 2 * (L - 1), Full);
      Full[2 * L - 2] = *Last;
      Full[2 * L - 1] = 0;
      Mirrored = TOf::LoadWoven(Full);
    } else {
      Mirrored = TOf::LoadWoven(Mirror(AIndex));
    }
    return {TOf::Reverse(Mirrored.Re), TOf::Reverse(Mirrored.Im)};
  }
};

template <class T, int L>
class TRealSmoothRun {
 public:
  TRealSmoothRun(const TRealSmoothPlan<T>& APlan, T AScale, TLayout& AMemory) noexcept
      : FPlan(APlan),
        FM(APlan.Columns.Length),
        FB(APlan.Rows.Transform.Length),
        FScale(AScale),
        FMemory(APlan.Rows, APlan.Rows.Transform.LongestRadix, !APlan.Rows.IsShort,
                !APlan.Rows.IsShort, AMemory) {
    if (APlan.Columns.StageCount > 0)
      FColumnWork = AMemory.Take<TRow>(2 * static_cast<std::size_t>(InnermostRows(APlan.Columns)));
    if (FM % 2 != 0) return;
    FMiddle = AMemory.Take<T>(static_cast<std::size_t>(FB));
    FMiddleBins = AMemory.Take<T>(static_cast<std::size_t>(FB));
    FMiddleWork = AMemory.Take<std::byte>(APlan.Middle.WorkBytes);
  }

  void ToBins(const T* ASource, T* ATarget, T* ALast) const noexcept {
    for (int G = 0; G < FPlan.Rows.Groups; ++G)
      TransformColumnsOfReals<T, L>(FPlan.Columns, ASource + FirstOf(G, FB, L), FB, RowsOf(G),
                                    FColumnWork);
    TRowStep<T, L>(FPlan.Rows, FMemory, FScale).RunTo([=, this](int ARow) {
      return BinRows(ATarget, ALast, ARow);
    });
    if (FM % 2 == 0) MiddleToBins(ATarget);
  }

  // ALast: the real part of bin N/2.
  void ToSamples(const T* ASource, const T* ALast, T* ATarget) const noexcept {
    // The bins are only read by this.
    T* Source = const_cast<T*>(ASource);
    T* Last = const_cast<T*>(ALast);
    TRowStep<T, L>(FPlan.Rows, FMemory, FScale).RunFrom([=, this](int ARow) {
      return BinRows(Source, Last, ARow);
    });
    if (FM % 2 == 0) MiddleFromBins(ASource);
    for (int G = 0; G < FPlan.Rows.Groups; ++G)
      TransformColumnsToReals<T, L>(FPlan.Columns, RowsOf(G), ATarget + FirstOf(G, FB, L), FB,
                                    FColumnWork);
  }

 private:
  using V = TVector<T, L>;
  using TRow = TPair<V>;

  TBinRows<T, L> BinRows(T* ABins, T* ALast, int ARow) const noexcept {
    return {ABins, ALast, FM, FB, ARow};
  }

  TRow* RowsOf(int AGroup) const noexcept {
    return FMemory.Rows + std::ptrdiff_t{AGroup} * FPlan.Rows.GroupRows;
  }

  // Row M/2 of group AGroup, which is real.
  TRow& MiddleOf(int AGroup) const noexcept { return RowsOf(AGroup)[FM / 2]; }

  // The sum over b of v[b] exp(-pi i b (2 k2 + 1) / B), v real, is for an even k2 one of B/2 points
  // over (v[b] - i v[b + B/2]) exp(-pi i b / B).
  void MiddleToBins(T* ATarget) const noexcept {
    const int Half = FB / 2;
    for (int G = 0; G < FPlan.Rows.Groups; ++G)
      Store<T, L>(FMiddle + FirstOf(G, FB, L), MiddleOf(G).Re);
    ForLanes<T>(0, Half, [&](auto ALanes, std::ptrdiff_t AIndex) {
      constexpr int W = decltype(ALanes)::value;
      const TPair<TVector<T, W>> X = {Load<T, W>(FMiddle + AIndex) * FScale,
                                      Load<T, W>(FMiddle + Half + AIndex) * -FScale};
      TLanes<T, W>::StoreComplex(
          FMiddleBins + 2 * AIndex,
          Multiply(X, Load<T, W>(FPlan.MiddleRe + AIndex), Load<T, W>(FPlan.MiddleIm + AIndex)));
    });
    RunComplexDft<T, false>(FPlan.Middle, FMiddleBins, FMiddleBins, T(1), FMiddleWork);
    ForMiddleBins([&](int AIndex, std::ptrdiff_t ABin, T ASign) {
      ATarget[2 * ABin] = FMiddleBins[2 * AIndex];
      ATarget[2 * ABin + 1] = FMiddleBins[2 * AIndex + 1] * ASign;
    });
  }

  void MiddleFromBins(const T* ASource) const noexcept {
    const int Half = FB / 2;
    ForMiddleBins([&](int AIndex, std::ptrdiff_t ABin, T ASign) {
      FMiddleBins[2 * AIndex] = ASource[2 * ABin];
      FMiddleBins[2 * AIndex + 1] = ASource[2 * ABin + 1] * -ASign;
    });
    RunComplexDft<T, false>(FPlan.Middle, FMiddleBins, FMiddleBins, 2 * FScale, FMiddleWork);
    ForLanes<T>(0, Half, [&](auto ALanes, std::ptrdiff_t AIndex) {
      constexpr int W = decltype(ALanes)::value;
      const auto X =
          Multiply(TLanes<T, W>::LoadComplex(FMiddleBins + 2 * AIndex),
                   Load<T, W>(FPlan.MiddleRe + AIndex), Load<T, W>(FPlan.MiddleIm + AIndex));
      Store<T, W>(FMiddle + AIndex, X.Re);
      Store<T, W>(FMiddle + Half + AIndex, X.Im);
    });
    for (int G = 0; G < FPlan.Rows.Groups; ++G)
      MiddleOf(G) = {Load<T, L>(FMiddle + FirstOf(G, FB, L)), V{}};
  }

  // AFunction(m, bin, sign) for the bins M/2 + 2 M m, or those that make N with them: of these the
  // imaginary part changes its sign.
  template <class TFunction>
  TESSALUNE_INLINE void ForMiddleBins(TFunction AFunction) const noexcept {
    const std::ptrdiff_t Length = std::ptrdiff_t{FM} * FB;
    std::ptrdiff_t Bin = FM / 2;
    for (int I = 0; I < FB / 2; ++I, Bin += 2 * FM)
      if (2 * Bin <= Length)
        AFunction(I, Bin, T(1));
      else
        AFunction(I, Length - Bin, T(-1));
  }

  const TRealSmoothPlan<T>& FPlan;
  const int FM;
  const int FB;
  const T FScale;
  TRowMemory<T, L> FMemory;
  TRow* FColumnWork = nullptr;
  // Of an even M: row M/2 of all groups, every second of its bins, and memory for their transform.
  T* FMiddle = nullptr;
  T* FMiddleBins = nullptr;
  std::byte* FMiddleWork = nullptr;
};

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
