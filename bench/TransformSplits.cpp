// Compiled once for each instruction set, as the built-ins are; see TransformSplits.h.
#include "TransformSplits.h"

#include <tessalune/primitives/kernels/DftSpec.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>

namespace tessalune::TESSALUNE_BUILTINS {
namespace {

using namespace kernels;
using bench::TMeasuredSplit;

// A split that the estimate has for so much slower than the best is not measured.
constexpr double WorthALook = 3;

double Nanoseconds(auto ARun) {
  using TClock = std::chrono::steady_clock;
  const auto TimeOf = [&](int ACount) {
    const auto Start = TClock::now();
    for (int I = 0; I < ACount; ++I) ARun();
    return std::chrono::duration<double, std::nano>(TClock::now() - Start).count() / ACount;
  };
  ARun();
  const int Count = std::clamp(static_cast<int>(20000 / TimeOf(2)), 1, 1000);
  double Result = std::numeric_limits<double>::infinity();
  for (int I = 0; I < 60; ++I) Result = std::min(Result, TimeOf(Count));
  return Result;
}

template <class T>
struct TMemory {
  explicit TMemory(std::size_t ALength)
      : Samples(std::make_unique<T[]>(2 * ALength + 2)),
        Bins(std::make_unique<T[]>(2 * ALength + 2)) {
    for (std::size_t I = 0; I < 2 * ALength; ++I)
      Samples[I] = static_cast<T>(std::sin(static_cast<double>(I * I)));
  }
  std::unique_ptr<T[]> Samples;
  std::unique_ptr<T[]> Bins;
};

// Makes what ALayOut(roots, layout) lays out, and measures ARun(memory, work).
template <class T, class TLayOut, class TRun>
double Measure(std::int32_t ALength, const std::size_t& AWorkBytes, TLayOut ALayOut, TRun ARun) {
  void* Tables = nullptr;
  double Result = std::numeric_limits<double>::infinity();
  if (MakeTables(Tables, ALayOut)) {
    const TMemory<T> Memory(static_cast<std::size_t>(ALength));
    const TBlock Work(AWorkBytes);
    Result = Nanoseconds([&] { ARun(Memory, Work.As<std::byte>()); });
  }
  ippsFree(Tables);
  return Result;
}

template <class T>
double MeasureComplex(const TSplit& ASplit) {
  const std::int32_t Length = ASplit.M * ASplit.B;
  TComplexDft<T> Dft{};
  return Measure<T>(
      Length, Dft.WorkBytes,
      [&](TPlanRoots& ARoots, TLayout& ALayout) {
        Dft.Road = TRoad::Smooth;
        Dft.Length = Length;
        LayOutSmooth(Dft.Smooth, ASplit, ARoots(Length), ALayout);
        Dft.WorkBytes = Dft.Smooth.WorkBytes;
        Dft.Forward = RunOf<T, false>(Dft);
      },
      [&](const TMemory<T>& AMemory, std::byte* AWork) {
        Dft.Forward(Dft, AMemory.Samples.get(), AMemory.Bins.get(), T(1), AWork);
      });
}

template <class T>
double MeasureReal(std::int32_t ALength, auto ALayOut) {
  TRealDft<T> Dft{};
  return Measure<T>(
      ALength, Dft.WorkBytes,
      [&](TPlanRoots& ARoots, TLayout& ALayout) {
        Dft.Length = ALength;
        ALayOut(Dft, ARoots, ALayout);
        SetRuns(Dft);
      },
      [&](const TMemory<T>& AMemory, std::byte* AWork) {
        Dft.ToBins(Dft, TSpectrumLayout::Ccs, AMemory.Samples.get(), AMemory.Bins.get(), T(1),
                   AWork);
      });
}

template <class T>
void MeasureSplits(std::int32_t ALength, std::vector<TMeasuredSplit>& ASplits) {
  const auto CountInto = [](TMeasuredSplit& ASplit) {
    return [&ASplit](TWork AWork, int ARadix, double ATimes) {
      ASplit.Counts[{static_cast<int>(AWork), ARadix}] += ATimes;
    };
  };
  const auto ForSplits = [&](double ABest, auto ACostOf, auto AFunction) {
    BestSplit<T>(ALength, [&](const TSplit& ASplit) {
      const double Cost = ACostOf(ASplit);
      if (Cost < ABest * WorthALook) AFunction(ASplit);
      return Cost;
    });
  };
  ForSplits(ChooseSplit<T>(ALength).Cost, CostOfSplit<T>, [&](const TSplit& ASplit) {
    TMeasuredSplit Result{ALength, false, {}, 0};
    CountSplit<T>(ASplit, CountInto(Result));
    Result.Nanoseconds = MeasureComplex<T>(ASplit);
    ASplits.push_back(Result);
  });
  const TSplit BestReal = BestSplit<T>(ALength, CostOfRealSplit<T>);
  ForSplits(BestReal.Cost, CostOfRealSplit<T>, [&](const TSplit& ASplit) {
    TMeasuredSplit Result{ALength, true, {}, 0};
    CountRealSplit<T>(ASplit, CountInto(Result));
    Result.Nanoseconds =
        MeasureReal<T>(ALength, [&](TRealDft<T>& ADft, TPlanRoots& ARoots, TLayout& ALayout) {
          ADft.Road = TRealRoad::Smooth;
          LayOutRealSmooth(ADft.Smooth, ASplit, ARoots, ALayout);
          ADft.WorkBytes = ADft.Smooth.WorkBytes;
        });
    ASplits.push_back(Result);
  });
  if (ALength % 2 != 0 || RoadOf(ALength / 2) != TRoad::Smooth) return;
  TMeasuredSplit Half{ALength, true, {}, 0};
  CountSplit<T>(ChooseSplit<T>(ALength / 2), CountInto(Half));
  CountInto(Half)(TWork::RealPass, 0, ALength / 2);
  Half.Nanoseconds =
      MeasureReal<T>(ALength, [&](TRealDft<T>& ADft, TPlanRoots& ARoots, TLayout& ALayout) {
        ADft.Road = TRealRoad::Half;
        LayOutHalf(ADft, ARoots, ALayout);
      });
  ASplits.push_back(Half);
}

template <class T>
std::vector<bench::TCostRow> CostRows() {
  std::vector<bench::TCostRow> Result;
  for (const TWorkCost& Row : WorkCosts<T>())
    Result.push_back({WorkName(Row.Work), {static_cast<int>(Row.Work), Row.Radix}, Row.Cost});
  return Result;
}

}  // namespace

const bench::TSplitBench* SplitBench(bool AIsFloat) {
  static constexpr bench::TSplitBench Doubles{&CostRows<double>, &MeasureSplits<double>};
  static constexpr bench::TSplitBench Floats{&CostRows<float>, &MeasureSplits<float>};
  return AIsFloat ? &Floats : &Doubles;
}

}  // namespace tessalune::TESSALUNE_BUILTINS
