// Fits the costs of primitives/kernels/TransformCosts.h for one instruction set and type:
//
//   fit_transforms baseline|avx2|avx512 double|float
//
// measures the splits of some hundred lengths, finds the costs that explain the times best, each
// within a wide range around what it is now, and prints the table to put there.
#include "TransformSplits.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace tessalune {
namespace builtins {
const bench::TSplitBench* SplitBench(bool AIsFloat);
#if TESSALUNE_HAS_X86_SETS
namespace Avx2 {
const bench::TSplitBench* SplitBench(bool AIsFloat);
}
namespace Avx512 {
const bench::TSplitBench* SplitBench(bool AIsFloat);
}
#endif
}  // namespace builtins

namespace bench {

const TSplitBench* SplitBenchOf(TInstructionSet ASet, bool AIsFloat) {
  switch (ASet) {
    case TInstructionSet::Baseline:
      return builtins::SplitBench(AIsFloat);
#if TESSALUNE_HAS_X86_SETS
    case TInstructionSet::Avx2:
      return builtins::Avx2::SplitBench(AIsFloat);
    case TInstructionSet::Avx512:
      return builtins::Avx512::SplitBench(AIsFloat);
#endif
    default:
      return nullptr;
  }
}

namespace {

// Products of 2, 3, 5, 7, 11 and 13: all short ones, and of the others not many near each other.
std::vector<std::int32_t> Lengths() {
  std::vector<std::int32_t> Result;
  double Next = 12;
  for (std::int32_t N = 12; N <= 65536; ++N) {
    std::int32_t Rest = N;
    for (const std::int32_t P : {2, 3, 5, 7, 11, 13})
      while (Rest % P == 0) Rest /= P;
    const bool IsPowerOfTwo = (N & (N - 1)) == 0;
    if (Rest != 1 || (!IsPowerOfTwo && N < Next)) continue;
    Result.push_back(N);
    if (!IsPowerOfTwo) Next = N * (N < 128 ? 1.0 : N < 4096 ? 1.06 : 1.3);
  }
  return Result;
}

double Estimate(const TMeasuredSplit& ASplit, const std::map<TWorkKey, double>& ACosts) {
  double Result = 0;
  for (const auto& [Key, Count] : ASplit.Counts) Result += Count * ACosts.at(Key);
  return Result;
}

// The splits of each length, of complex and of real transforms.
using TRivals = std::map<std::pair<std::int32_t, bool>, std::vector<const TMeasuredSplit*>>;

double BestOf(const std::vector<const TMeasuredSplit*>& ARivals) {
  double Result = ARivals.front()->Nanoseconds;
  for (const TMeasuredSplit* Rival : ARivals) Result = std::min(Result, Rival->Nanoseconds);
  return Result;
}

// Least squares of the relative errors, which count the less the slower a split is beside its best
// rival; one cost after the other until nothing moves. Of costs that the times do not tell apart,
// each stays near where it was.
void Fit(const std::vector<TMeasuredSplit>& ASplits, const TRivals& ARivals,
         std::map<TWorkKey, double>& ACosts) {
  constexpr double Inertia = 0.05;
  constexpr double Range = 20;
  const std::map<TWorkKey, double> Start = ACosts;
  std::vector<double> Weights, Errors;
  for (const TMeasuredSplit& Split : ASplits) {
    const double Best = BestOf(ARivals.at({Split.Length, Split.IsReal}));
    Weights.push_back(Best / Split.Nanoseconds / Split.Nanoseconds);
    Errors.push_back((Estimate(Split, ACosts) - Split.Nanoseconds) * Weights.back());
  }
  for (int Round = 0; Round < 2000; ++Round)
    for (auto& [Key, Cost] : ACosts) {
      const double Was = Start.at(Key);
      double Slope = Inertia * (Cost - Was) / (Was * Was);
      double Curvature = Inertia / (Was * Was);
      const auto ForParts = [&](auto AFunction) {
        for (std::size_t I = 0; I < ASplits.size(); ++I)
          if (const auto Found = ASplits[I].Counts.find(Key); Found != ASplits[I].Counts.end())
            AFunction(Found->second * Weights[I], Errors[I]);
      };
      ForParts([&](double APart, double AError) {
        Slope += APart * AError;
        Curvature += APart * APart;
      });
      const double Better = std::clamp(Cost - Slope / Curvature, Was / Range, Was * Range);
      ForParts([&](double APart, double& AError) { AError += (Better - Cost) * APart; });
      Cost = Better;
    }
}

// How much longer the splits take that the costs choose than the best ones that were measured: what
// plans that measure would bring.
void TellChoices(const TRivals& ARivals, const std::map<TWorkKey, double>& ACosts) {
  double Logarithms = 0;
  double Worst = 1;
  for (const auto& [Key, Rivals] : ARivals) {
    const TMeasuredSplit* Chosen = Rivals.front();
    for (const TMeasuredSplit* Rival : Rivals)
      if (Estimate(*Rival, ACosts) < Estimate(*Chosen, ACosts)) Chosen = Rival;
    const double Ratio = Chosen->Nanoseconds / BestOf(Rivals);
    if (Ratio > 1.1)
      std::fprintf(stderr, "%s %d: %.2f of the best\n", Key.second ? "real" : "complex", Key.first,
                   Ratio);
    Logarithms += std::log(Ratio);
    Worst = std::max(Worst, Ratio);
  }
  std::fprintf(stderr, "what the costs choose takes %.3f of the best, %.2f at most, %zu lengths\n",
               std::exp(Logarithms / static_cast<double>(ARivals.size())), Worst, ARivals.size());
}

int Run(TInstructionSet ASet, bool AIsFloat) {
  const TSplitBench* const Bench = HasInstructionSet(ASet) ? SplitBenchOf(ASet, AIsFloat) : nullptr;
  if (!Bench) {
    std::fprintf(stderr, "this machine or this build lacks the instruction set\n");
    return 1;
  }
  std::vector<TMeasuredSplit> Splits;
  for (const std::int32_t Length : Lengths()) Bench->Measure(Length, Splits);

  std::map<TWorkKey, double> Costs;
  for (const TCostRow& Row : Bench->Costs()) Costs[Row.Key] = Row.Cost;
  // The table's unit is what it is: the costs start at that of the times.
  double Logarithms = 0;
  for (const TMeasuredSplit& Split : Splits)
    Logarithms += std::log(Split.Nanoseconds / Estimate(Split, Costs));
  const double Unit = std::exp(Logarithms / static_cast<double>(Splits.size()));
  for (auto& [Key, Cost] : Costs) Cost *= Unit;
  TRivals Rivals;
  for (const TMeasuredSplit& Split : Splits) Rivals[{Split.Length, Split.IsReal}].push_back(&Split);
  Fit(Splits, Rivals, Costs);
  TellChoices(Rivals, Costs);

  double Squares = 0;
  for (const TMeasuredSplit& Split : Splits)
    Squares += std::pow(Estimate(Split, Costs) / Split.Nanoseconds - 1, 2);
  std::fprintf(stderr, "%zu splits, root of the mean squared relative error %.3f\n", Splits.size(),
               std::sqrt(Squares / static_cast<double>(Splits.size())));
  for (const TCostRow& Row : Bench->Costs())
    std::printf("    {TWork::%s, %d, %.3g},\n", Row.Work, Row.Key.second, Costs[Row.Key]);
  return 0;
}

}  // namespace
}  // namespace bench
}  // namespace tessalune

int main(int ACount, char** AArguments) {
  using namespace tessalune;
  const std::string_view Type = ACount == 3 ? AArguments[2] : "";
  if (Type == "double" || Type == "float")
    for (const TInstructionSet Set : InstructionSets)
      if (InstructionSetName(Set) == AArguments[1]) return bench::Run(Set, Type == "float");
  std::fprintf(stderr, "usage: fit_transforms baseline|avx2|avx512 double|float\n");
  return 1;
}
