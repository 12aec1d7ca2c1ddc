#include <tessalune/primitives/InstructionSet.h>

namespace tessalune {

std::string_view InstructionSetName(TInstructionSet ASet) noexcept {
  switch (ASet) {
    case TInstructionSet::Baseline:
      return "baseline";
    case TInstructionSet::Avx2:
      return "avx2";
    case TInstructionSet::Avx512:
      return "avx512";
  }
  return "unknown instruction set";
}

bool HasInstructionSet(TInstructionSet ASet) noexcept {
#if TESSALUNE_HAS_X86_SETS
  // Needed before the program's own constructors have run, which is when the tables are bound. The
  // answers take into account whether the system saves the wide registers.
  __builtin_cpu_init();
  switch (ASet) {
    case TInstructionSet::Baseline:
      return true;
    case TInstructionSet::Avx2:
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
             __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    case TInstructionSet::Avx512:
      return HasInstructionSet(TInstructionSet::Avx2) && __builtin_cpu_supports("avx512f") &&
             __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
  }
  return false;
#else
  return ASet == TInstructionSet::Baseline;
#endif
}

TInstructionSet BestInstructionSet() noexcept {
  TInstructionSet Result = TInstructionSet::Baseline;
  for (const TInstructionSet Set : InstructionSets)
    if (HasInstructionSet(Set)) Result = Set;
  return Result;
}

}  // namespace tessalune
