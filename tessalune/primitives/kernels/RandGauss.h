#pragma once

#include <tessalune/primitives/kernels/Elementary.h>
#include <tessalune/primitives/kernels/Uniform.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

// Normally distributed samples.
namespace tessalune::TESSALUNE_BUILTINS::kernels {

// Pairs of uniform values in the unit circle, of which the polar method makes normal ones:
// U * T and V * T with T = sqrt(-2 ln(W) / W), W = U^2 + V^2 (G. Marsaglia, T. A. Bray, "A
// convenient method for generating normal variables", 1964).
//
// The lagged values depend on each other and are made one by one; all else is done in lanes. Of the
// trials a good fifth falls outside the circle, without a pattern, so they are sorted out without a
// jump.
class TPolarPairs {
 public:
  static constexpr std::size_t Most = 256;

  explicit TPolarPairs(std::uint32_t ASeed) noexcept : FLagged(ASeed), FSeed(ASeed) {
    std::uint32_t C = FirstCongruential;
    for (std::size_t I = 0; I < RealLanes; ++I) {
      C = FCongruentialU[I] = Congruential(C);
      C = FCongruentialV[I] = Congruential(C);
    }
  }

  // Makes up to Most trials for AWanted pairs that are still to come, and keeps no more than those.
  // Returns how many.
  std::size_t Make(std::size_t AWanted) noexcept {
    const std::size_t Expected = std::min(AWanted, Most) * 5 / 4 + 1;
    const std::size_t Trials = std::min(Most, (Expected + RealLanes - 1) / RealLanes * RealLanes);
    for (std::size_t I = 0; I < Trials; ++I) {
      FLaggedU[I] = FLagged.Next();
      FLaggedV[I] = FLagged.Next();
    }
    for (std::size_t I = 0; I < Trials; I += RealLanes) {
      const TReals Us = Uniform(Load(FLaggedU + I), FCongruentialU);
      const TReals Vs = Uniform(Load(FLaggedV + I), FCongruentialV);
      const TReals Ws = Us * Us + Vs * Vs;
      Store(U + I, Us);
      Store(V + I, Vs);
      Store(W + I, Ws);
      Store(FIsInside + I, (Ws < 1.0) & (Ws != 0.0));
    }
    std::size_t Count = 0;
    std::size_t I = 0;
    for (; I < Trials && Count < AWanted; ++I) {
      U[Count] = U[I];
      V[Count] = V[I];
      W[Count] = W[I];
      Count -= static_cast<std::size_t>(FIsInside[I]);
    }
    FSeed = FLaggedV[I - 1];
    return Count;
  }

  // The last draw of the last pair.
  std::uint32_t Seed() const noexcept { return FSeed; }

  double U[Most];
  double V[Most];
  double W[Most];

 private:
  using TNaturals32 = TVector<std::uint32_t, static_cast<int>(RealLanes)>;
  using TIntegers32 = TVector<std::int32_t, static_cast<int>(RealLanes)>;

  // Both generators' sum in each lane. The congruential values go on by 2 RealLanes steps.
  static TReals Uniform(TNaturals32 ALagged, TNaturals32& ACongruential) noexcept {
    constexpr TCongruentialSteps Ahead(2 * RealLanes);
    const auto Sum = reinterpret_cast<TIntegers32>(ALagged + ACongruential);
    ACongruential = ACongruential * Ahead.Factor + Ahead.Summand;
    return __builtin_convertvector(Sum, TReals) * UniformScale;
  }

  TLagged FLagged;
  std::uint32_t FSeed;
  TNaturals32 FCongruentialU;
  TNaturals32 FCongruentialV;
  std::uint32_t FLaggedU[Most];
  std::uint32_t FLaggedV[Most];
  std::int64_t FIsInside[Most];  // -1 or 0
};

inline TReals Root(TReals X) noexcept {
  for (std::size_t I = 0; I < RealLanes; ++I) X[I] = std::sqrt(X[I]);
  return X;
}

// Fills pDst, the V value of a pair first, and returns the next seed. A pair is made ahead of
// need, so that the seed is the one of a pair beyond an even count.
inline std::uint32_t RandGauss(double* pDst, std::size_t ACount, double AMean, double AStdDev,
                               std::uint32_t ASeed) noexcept {
  using TLane = TLanes<double, MaxLanes<double>>;
  TPolarPairs Pairs(ASeed);
  std::size_t Wanted = ACount / 2 + 1;
  std::size_t N = 0;  // written
  while (Wanted > 0) {
    const std::size_t Made = Pairs.Make(Wanted);
    Wanted -= Made;
    for (std::size_t I = 0; I < Made && N < ACount; I += RealLanes) {
      const TReals Ws = Load(Pairs.W + I);
      const TReals Factor = Root(-2.0 * Logarithm<TNatural>(Ws) / Ws) * AStdDev;
      const TPair<TReals> Both{AMean + Load(Pairs.V + I) * Factor,
                               AMean + Load(Pairs.U + I) * Factor};
      const std::size_t Count = std::min({2 * RealLanes, 2 * (Made - I), ACount - N});
      if (Count == 2 * RealLanes) {
        TLane::StoreComplex(pDst + N, Both);
      } else {
        double Some[2 * RealLanes];
        TLane::StoreComplex(Some, Both);
        std::copy_n(Some, Count, pDst + N);
      }
      N += Count;
    }
  }
  return Pairs.Seed();
}

}  // namespace tessalune::TESSALUNE_BUILTINS::kernels
