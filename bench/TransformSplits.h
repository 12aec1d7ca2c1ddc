#pragma once

#include <tessalune/primitives/InstructionSet.h>

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

// What the splits of transforms take, for the fit of the costs that choose one of them.
namespace tessalune::bench {

// A kind of work and its radix, as the table of costs has them.
using TWorkKey = std::pair<int, int>;

struct TMeasuredSplit {
  std::int32_t Length;
  bool IsReal;
  std::map<TWorkKey, double> Counts;  // of the work
  double Nanoseconds;                 // the shortest of several runs
};

struct TCostRow {
  const char* Work;  // its name
  TWorkKey Key;
  double Cost;
};

// One instruction set and type of samples.
struct TSplitBench {
  std::vector<TCostRow> (*Costs)();
  // Adds all splits of complex and of real transforms of a length that are worth a look.
  void (*Measure)(std::int32_t ALength, std::vector<TMeasuredSplit>& ASplits);
};

// For each set that the build has: of double, or of float samples. Null for a set it lacks.
const TSplitBench* SplitBenchOf(TInstructionSet ASet, bool AIsFloat);

}  // namespace tessalune::bench
