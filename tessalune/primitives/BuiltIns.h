#pragma once

#include <tessalune/primitives/InstructionSet.h>

// For the sources of the built-ins, which are compiled once for each instruction set. All that they
// define stands in namespace TESSALUNE_BUILTINS or a namespace in it, which is another one for each
// set: builtins, builtins::Avx2, builtins::Avx512. So no two sets share a function, however it is
// linked. The same holds for what the headers in kernels/ define.
//
// A source says with what the build compiled it; a set that lacks what it promises does not
// compile.
#ifndef TESSALUNE_BUILTINS
#error "this source belongs to the sources that are compiled for each instruction set"
#endif

namespace tessalune {
namespace TESSALUNE_BUILTINS {

#if defined(__AVX512F__) && defined(__AVX512CD__) && defined(__AVX512BW__) && \
    defined(__AVX512DQ__) && defined(__AVX512VL__)
constexpr TInstructionSet CompiledSet = TInstructionSet::Avx512;
constexpr int VectorBytes = 64;
#elif defined(__AVX2__) && defined(__FMA__)
constexpr TInstructionSet CompiledSet = TInstructionSet::Avx2;
constexpr int VectorBytes = 32;
#else
constexpr TInstructionSet CompiledSet = TInstructionSet::Baseline;
constexpr int VectorBytes = 16;
#endif

}  // namespace TESSALUNE_BUILTINS
}  // namespace tessalune
