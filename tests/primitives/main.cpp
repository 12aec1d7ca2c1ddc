// Runs the tests on the built-ins for one instruction set:
//     test_primitives --instruction_set=baseline|avx2|avx512 [GoogleTest's options]
// Without the option it is the best that the machine has. A set that the machine lacks skips all
// tests, in words.
#include "TestedInstructionSet.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/PrimitiveTable.h>

#include <cstdio>
#include <string_view>

namespace tessalune::test {
namespace {

TInstructionSet Tested = BestInstructionSet();

class TBindTables : public testing::Environment {
 public:
  void SetUp() override {
    if (!BindPrimitivesToInstructionSet(Tested))
      GTEST_SKIP() << "this machine has no " << InstructionSetName(Tested);
    for (const TBoundPrimitive& Primitive : BoundPrimitives()) {
      ASSERT_FALSE(Primitive.FromLibrary) << Primitive.Name;
      ASSERT_EQ(Primitive.InstructionSet, Tested) << Primitive.Name;
    }
  }
};

bool TakeInstructionSet(std::string_view AArgument) {
  constexpr std::string_view Option = "--instruction_set=";
  if (!AArgument.starts_with(Option)) return false;
  for (const TInstructionSet Set : InstructionSets)
    if (InstructionSetName(Set) == AArgument.substr(Option.size())) {
      Tested = Set;
      return true;
    }
  return false;
}

}  // namespace

TInstructionSet TestedInstructionSet() { return Tested; }

}  // namespace tessalune::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (int I = 1; I < argc; ++I)
    if (!tessalune::test::TakeInstructionSet(argv[I])) {
      std::fprintf(stderr, "unknown argument '%s'\n", argv[I]);
      return 2;
    }
  testing::AddGlobalTestEnvironment(new tessalune::test::TBindTables);
  return RUN_ALL_TESTS();
}
