#pragma once

#include <tessalune/primitives/kernels/Roots.h>
#include <tessalune/primitives/kernels/ShortDct.h>
#include <tessalune/primitives/kernels/Tables.h>

#include <cstddef>
#include <cstdint>

// The discrete cosine transform of 16 and more samples, a power of two, in real arithmetic (B. G.
// Lee, "A new algorithm to compute the discrete cosine transform", 1984): the bins 2k of M samples
// are those of the sums a[n] = x[n] + x[M-1-n]; the bins 2k + 1 are B[k] + B[k+1], with B the bins
// of b[n] = (x[n] - x[M-1-n]) / (2 cos((2n + 1) pi / (2M))).
//
// Level after level instead of by recursion, down to P blocks of 8. A lane has a block: with the
// block's number, bits reversed, as the column c, bin k of its transform goes to k P + c, which is
// where the last interleaving would put it. So there is none to do, and what the level of length M
// adds, D[i] += D[i + S] with S = 16 P / M, concerns the indices with the bit S / 2.
//
// The inverse is the transpose, step by step.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// The number of secants of all levels: M/2 for each M from ALength down to 16, in this order.
constexpr std::size_t SecantCount(std::int32_t ALength) noexcept {
  return static_cast<std::size_t>(ALength) - 8;
}

// 1 / (2 cos((2i + 1) pi / (2M))). ARoots has the order 4 ALength.
inline void FillSecants(double* ASecants, std::int32_t ALength,
                        const TRootsOfUnity& ARoots) noexcept {
  for (std::int64_t M = ALength; M >= 16; M /= 2)
    for (std::int64_t I = 0; I < M / 2; ++I)
      *ASecants++ = 0.5 / ARoots((2 * I + 1) * (ALength / M)).Re;
}

// One level of a block of 2 Half values: forward, its sums and scaled differences; inverse, back.
// The vector at an index of the half and the one at the mirror image of the index read and write
// the same places between them, so that Target may be Source.
template <bool AInverse>
struct TDctLevel {
  static constexpr int L = MaxLanes<double>;
  using V = TVector<double, L>;
  using TOf = TLanes<double, L>;

  const double* Source;
  double* Target;
  const double* Secants;
  std::ptrdiff_t Half;

  struct TValues {
    V Low;
    V High;
  };

  TESSALUNE_INLINE TValues Read(std::ptrdiff_t AIndex) const noexcept {
    const V Secant = Load<double, L>(Secants + AIndex);
    const V Low = Load<double, L>(Source + AIndex);
    if constexpr (AInverse) {
      const V High = Load<double, L>(Source + Half + AIndex) * Secant;
      return {Low + High, TOf::Reverse(Low - High)};
    } else {
      const V High = TOf::Reverse(Load<double, L>(Source + 2 * Half - L - AIndex));
      return {Low + High, (Low - High) * Secant};
    }
  }

  TESSALUNE_INLINE void Write(std::ptrdiff_t AIndex, const TValues& AValues) const noexcept {
    Store<double, L>(Target + AIndex, AValues.Low);
    Store<double, L>(Target + (AInverse ? 2 * Half - L - AIndex : Half + AIndex), AValues.High);
  }

  TESSALUNE_INLINE void Run() const noexcept {
    if (Half == L) return Write(0, Read(0));
    for (std::ptrdiff_t I = 0; I < Half / 2; I += L) {
      const std::ptrdiff_t Mirror = Half - L - I;
      const TValues Near = Read(I);
      const TValues Far = Read(Mirror);
      Write(I, Near);
      Write(Mirror, Far);
    }
  }
};

// The level of all blocks of ABlock values.
template <bool AInverse>
void RunDctLevel(const double* ASource, double* ATarget, std::ptrdiff_t ALength,
                 std::ptrdiff_t ABlock, const double* ASecants) noexcept {
  const double* Secants = ASecants + (ALength - ABlock);
  for (std::ptrdiff_t Start = 0; Start < ALength; Start += ABlock)
    TDctLevel<AInverse>{ASource + Start, ATarget + Start, Secants, ABlock / 2}.Run();
}

// What comes after the levels (forward) or before them (inverse), with L lanes.
template <int L>
struct TDctColumns {
  using V = TVector<double, L>;
  using TOf = TLanes<double, L>;
  using TSequence = std::make_integer_sequence<int, L>;

  static constexpr int Reversed(int AIndex) noexcept {
    int Result = 0;
    for (int Bit = 1; Bit < L; Bit *= 2) Result = 2 * Result + ((AIndex & Bit) != 0);
    return Result;
  }

  // AFunction(the first block of a set of L, its first column), for all sets.
  template <class TFunction>
  TESSALUNE_INLINE static void ForSets(std::ptrdiff_t ASets, TFunction AFunction) noexcept {
    std::ptrdiff_t Block = 0;  // the set's number, bits reversed
    for (std::ptrdiff_t Set = 0; Set < ASets; ++Set) {
      AFunction(Block, Set * L);
      std::ptrdiff_t Bit = ASets / 2;
      for (; (Block & Bit) != 0; Bit /= 2) Block ^= Bit;
      Block |= Bit;
    }
  }

  // The blocks' own transforms, ABlocks of them.
  static void Forward(const double* ASource, double* ATarget, std::ptrdiff_t ABlocks) noexcept {
    const std::ptrdiff_t Sets = ABlocks / L;
    ForSets(Sets, [=](std::ptrdiff_t ABlock, std::ptrdiff_t AColumn) {
      const double* Source = ASource + 8 * ABlock;
      TArray<V, 8> X;
      Repeat<8 / L>(TESSALUNE_EACH(Part) {
        Repeat<L>(TESSALUNE_EACH(I) {
          X[Part * L + I] = Load<double, L>(Source + 8 * Reversed(I) * Sets + Part * L);
        });
        TOf::Transpose(X + Part * L);
      });
      ForwardEight<false>(X);
      Repeat<8>(TESSALUNE_EACH(K) { Store<double, L>(ATarget + K * ABlocks + AColumn, X[K]); });
    });
  }

  static void Inverse(const double* ASource, double* ATarget, std::ptrdiff_t ABlocks) noexcept {
    const std::ptrdiff_t Sets = ABlocks / L;
    ForSets(Sets, [=](std::ptrdiff_t ABlock, std::ptrdiff_t AColumn) {
      double* Target = ATarget + 8 * ABlock;
      TArray<V, 8> X;
      Repeat<8>(TESSALUNE_EACH(K) { X[K] = Load<double, L>(ASource + K * ABlocks + AColumn); });
      InverseEight<false>(X);
      Repeat<8 / L>(TESSALUNE_EACH(Part) {
        TOf::Transpose(X + Part * L);
        Repeat<L>(TESSALUNE_EACH(I) {
          Store<double, L>(Target + 8 * Reversed(I) * Sets + Part * L, X[Part * L + I]);
        });
      });
    });
  }

  // D[i] += D[i + S] for the indices with the bit S / 2, from S = ABlocks down to 2; all times AAc,
  // the first times ADc.
  static void Fold(double* AData, std::ptrdiff_t ALength, std::ptrdiff_t ABlocks, double ADc,
                   double AAc) noexcept {
    for (std::ptrdiff_t S = ABlocks; S > L; S /= 2)
      for (std::ptrdiff_t I = S / 2; I + S < ALength; I += S)
        AddRun(AData + I, AData + I + S, S / 2);

    // The other steps reach no further than the next vector: all of them in one pass from the end.
    TArray<V, Steps> Next = {};
    V X = {};
    for (std::ptrdiff_t I = ALength - L; I >= 0; I -= L) {
      X = Load<double, L>(AData + I);
      Repeat<Steps>(TESSALUNE_EACH(N) {
        const V Before = X;
        X = Step<(L >> N), 0>(X, Next[N], TSequence{});
        Next[N] = Before;
      });
      Store<double, L>(AData + I, X * AAc);
    }
    AData[0] = X[0] * ADc;
  }

  // D[i] += D[i - S], for S from 2 to ABlocks, after the scaling. ASource may be ATarget.
  static void Spread(const double* ASource, double* ATarget, std::ptrdiff_t ALength,
                     std::ptrdiff_t ABlocks, double ADc, double AAc) noexcept {
    TArray<V, Steps> Last = {};
    const double First = ASource[0] * ADc;
    for (std::ptrdiff_t I = 0; I < ALength; I += L) {
      V X = Load<double, L>(ASource + I) * AAc;
      if (I == 0) X[0] = First;
      Repeat<Steps>(TESSALUNE_EACH(N) {
        const V Before = X;
        X = Step<(2 << N), L>(X, Last[N], TSequence{});
        Last[N] = Before;
      });
      Store<double, L>(ATarget + I, X);
    }
    for (std::ptrdiff_t S = 2 * L; S <= ABlocks; S *= 2)
      for (std::ptrdiff_t I = ALength - S / 2; I >= S; I -= S)
        AddRun(ATarget + I, ATarget + I - S, S / 2);
  }

 private:
  static constexpr int Steps = L == 8 ? 3 : L == 4 ? 2 : 1;

  TESSALUNE_INLINE static void AddRun(double* ATarget, const double* ASource,
                                      std::ptrdiff_t ACount) noexcept {
    for (std::ptrdiff_t I = 0; I < ACount; I += L)
      Store<double, L>(ATarget + I, Load<double, L>(ATarget + I) + Load<double, L>(ASource + I));
  }

  // X plus, in lanes with the bit S / 2, what stands S further on in X followed by AOther
  // (ABack = 0) or S further back in AOther followed by X (ABack = L).
  template <int S, int ABack, int... I>
  TESSALUNE_INLINE static V Step(V X, V AOther, std::integer_sequence<int, I...>) noexcept {
    V Sum;
    if constexpr (ABack == 0)
      Sum = X + __builtin_shufflevector(X, AOther, (I + S)...);
    else
      Sum = X + __builtin_shufflevector(AOther, X, (I + ABack - S)...);
    return __builtin_shufflevector(X, Sum, ((I & (S / 2)) != 0 ? I + L : I)...);
  }
};

template <class TFunction>
TESSALUNE_INLINE void WithDctColumns(std::ptrdiff_t ABlocks, TFunction AFunction) noexcept {
  constexpr int Max = MaxLanes<double>;
  if constexpr (Max > 2)
    if (ABlocks == 2) return AFunction(TDctColumns<2>{});
  if constexpr (Max > 4)
    if (ABlocks == 4) return AFunction(TDctColumns<4>{});
  AFunction(TDctColumns<Max>{});
}

// The transforms, bin 0 scaled by ADc and the others by AAc. ASource may be ATarget. AWork: ALength
// values.
template <bool AInverse>
void RunRecursiveDct(const double* ASecants, std::ptrdiff_t ALength, double ADc, double AAc,
                     const double* ASource, double* ATarget, double* AWork) noexcept {
  const std::ptrdiff_t Blocks = ALength / 8;
  WithDctColumns(Blocks, [&](auto AColumns) {
    if constexpr (AInverse) {
      AColumns.Spread(ASource, ATarget, ALength, Blocks, ADc, AAc);
      AColumns.Inverse(ATarget, AWork, Blocks);
      for (std::ptrdiff_t M = 16; M < ALength; M *= 2)
        RunDctLevel<true>(AWork, AWork, ALength, M, ASecants);
      RunDctLevel<true>(AWork, ATarget, ALength, ALength, ASecants);
    } else {
      RunDctLevel<false>(ASource, AWork, ALength, ALength, ASecants);
      for (std::ptrdiff_t M = ALength / 2; M >= 16; M /= 2)
        RunDctLevel<false>(AWork, AWork, ALength, M, ASecants);
      AColumns.Forward(AWork, ATarget, Blocks);
      AColumns.Fold(ATarget, ALength, Blocks, ADc, AAc);
    }
  });
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
