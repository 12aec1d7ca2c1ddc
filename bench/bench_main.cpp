// The benchmarks: Google Benchmark's options, and --instruction_set=baseline|avx2|avx512 to measure
// the built-in primitives for another set than the best that the machine has.
#include "Summary.h"

#include <tessalune/primitives/PrimitiveTable.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using namespace tessalune;

// Takes the option out of the arguments.
void TakeInstructionSet(int& ACount, char** AArguments) {
  constexpr std::string_view Option = "--instruction_set=";
  int Kept = 1;
  for (int I = 1; I < ACount; ++I) {
    const std::string_view Argument = AArguments[I];
    if (!Argument.starts_with(Option)) {
      AArguments[Kept++] = AArguments[I];
      continue;
    }
    const std::string_view Name = Argument.substr(Option.size());
    bool IsBound = false;
    for (const TInstructionSet Set : InstructionSets)
      if (InstructionSetName(Set) == Name) IsBound = BindPrimitivesToInstructionSet(Set);
    if (!IsBound)
      throw std::runtime_error("--instruction_set: '" + std::string(Name) +
                               "' is none of baseline, avx2, avx512 that this machine has");
  }
  ACount = Kept;
}

}  // namespace

int main(int argc, char** argv) try {
  TakeInstructionSet(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const TBoundPrimitive First = BoundPrimitives().front();
  benchmark::AddCustomContext(
      "primitives",
      First.FromLibrary ? "loaded library" : std::string(InstructionSetName(First.InstructionSet)));
  bench::TSummaryReporter Reporter;
  benchmark::RunSpecifiedBenchmarks(&Reporter);
  benchmark::Shutdown();
  return 0;
} catch (const std::exception& Error) {
  std::fprintf(stderr, "%s\n", Error.what());
  return 1;
}
