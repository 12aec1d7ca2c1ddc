#pragma once

#include <gtest/gtest.h>
#include <tessalune/primitives/PrimitiveTable.h>

namespace tessalune::test {

// The set to whose built-ins this run of the test program has bound the tables.
TInstructionSet TestedInstructionSet();

// Calls AFunction with the tables bound to the built-ins for each other set. False if the machine
// has none.
template <class TFunction>
bool UnderOtherInstructionSets(TFunction AFunction) {
  bool Result = false;
  for (const TInstructionSet Set : InstructionSets) {
    if (Set == TestedInstructionSet() || !BindPrimitivesToInstructionSet(Set)) continue;
    SCOPED_TRACE(InstructionSetName(Set));
    AFunction();
    Result = true;
  }
  EXPECT_TRUE(BindPrimitivesToInstructionSet(TestedInstructionSet()));
  return Result;
}

}  // namespace tessalune::test
