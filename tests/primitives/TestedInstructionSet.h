#pragma once

#include <tessalune/primitives/InstructionSet.h>

namespace tessalune::test {

// The set to whose built-ins this run of the test program has bound the tables.
TInstructionSet TestedInstructionSet();

}  // namespace tessalune::test
