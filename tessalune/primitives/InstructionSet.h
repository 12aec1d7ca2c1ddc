#pragma once

#include <string_view>

// The instruction sets for which the built-in primitives are compiled. One of them serves the whole
// process: the best that the processor has, chosen when the library is loaded, or the one that
// BindPrimitivesToInstructionSet (PrimitiveTable.h) asks for.
namespace tessalune {

// What the library is compiled for; its users go by HasInstructionSet.
#if defined(__x86_64__) && !defined(TESSALUNE_BASELINE_ONLY)
#define TESSALUNE_HAS_X86_SETS 1
#else
#define TESSALUNE_HAS_X86_SETS 0
#endif

enum class TInstructionSet {
  Baseline,  // what every processor of the architecture has: SSE2 on x86-64
  Avx2,      // AVX2 with FMA: 256-bit vectors
  Avx512,    // AVX-512 F, CD, BW, DQ, VL: 512-bit vectors
};

// In rising order. A library may have been built without some: ask HasInstructionSet.
constexpr TInstructionSet InstructionSets[] = {
    TInstructionSet::Baseline,
#if TESSALUNE_HAS_X86_SETS
    TInstructionSet::Avx2,
    TInstructionSet::Avx512,
#endif
};

// "baseline", "avx2", "avx512".
std::string_view InstructionSetName(TInstructionSet ASet) noexcept;

// Whether the library was compiled for ASet, and processor and system have it.
bool HasInstructionSet(TInstructionSet ASet) noexcept;

// The best that HasInstructionSet.
TInstructionSet BestInstructionSet() noexcept;

}  // namespace tessalune
