#include "TestedInstructionSet.h"

#include <gtest/gtest.h>
#include <tessalune/primitives/PrimitiveTable.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/primitives/QSDispatcher.h>
#include <tessalune/primitives/VBIPPSLoader.h>

#include <algorithm>
#include <set>
#include <string>

namespace tessalune::test {
namespace {

std::set<std::string> NamesFromLibrary() {
  std::set<std::string> Result;
  for (const TBoundPrimitive& Primitive : BoundPrimitives())
    if (Primitive.FromLibrary) Result.insert(Primitive.Name);
  return Result;
}

class Binding : public testing::Test {
 protected:
  ~Binding() override { EXPECT_TRUE(BindPrimitivesToInstructionSet(TestedInstructionSet())); }

  double FX[2] = {1, 2};
};

TEST_F(Binding, AtLoadEveryNameIsBoundAsTheLibraryOffersIt) {
  BindPrimitivesToDefault();
  for (const TBoundPrimitive& Primitive : BoundPrimitives())
    EXPECT_EQ(Primitive.FromLibrary, GetIPPSProcAddress(Primitive.Name) != nullptr)
        << Primitive.Name;
}

TEST_F(Binding, WithoutALibraryEveryNameHoldsItsBuiltIn) {
  BindPrimitivesToBuiltIns();
  EXPECT_EQ(GetIPPSProcAddress("ippsAddC_64f"), nullptr);
  EXPECT_EQ(NamesFromLibrary(), std::set<std::string>{});
  for (const TBoundPrimitive& Primitive : BoundPrimitives())
    EXPECT_EQ(Primitive.InstructionSet, TestedInstructionSet()) << Primitive.Name;
  EXPECT_EQ(ippsAddC_64f(FX, 1.5, FX, 2), ippStsNoErr);
  EXPECT_EQ(FX[1], 3.5);
}

TEST_F(Binding, ALibraryTakesOnlyTheNamesThatItOffers) {
  std::string Error;
  ASSERT_TRUE(BindPrimitivesTo(PartialLibrary, Error)) << Error;
  EXPECT_EQ(NamesFromLibrary(),
            (std::set<std::string>{"ippsTone_Direct_64f", "ippsConj_64fc", "ippsAddC_64f"}));
  double Phase = 0;
  EXPECT_EQ(ippsTone_Direct_64f(FX, 2, 1, 0.1, &Phase, 0), 1001);
  EXPECT_EQ(ippsConj_64fc(nullptr, nullptr, 0), 1002);
  EXPECT_EQ(ippsAddC_64f(FX, 1, FX, 2), 1003);
  EXPECT_EQ(ippsSubC_64f(FX, 1, FX, 2), ippStsNoErr);
  EXPECT_EQ(FX[1], 1);

  BindPrimitivesToBuiltIns();
  EXPECT_EQ(NamesFromLibrary(), std::set<std::string>{});
}

TEST_F(Binding, ALibraryThatDoesNotServeIsRefusedInWordsAndChangesNothing) {
  BindPrimitivesToBuiltIns();
  std::string Error;
  ASSERT_TRUE(BindPrimitivesTo(PartialLibrary, Error)) << Error;
  const std::set<std::string> Before = NamesFromLibrary();

  EXPECT_FALSE(BindPrimitivesTo("/nowhere/libabsent.so", Error));
  EXPECT_NE(Error.find("/nowhere/libabsent.so"), std::string::npos) << Error;
  EXPECT_FALSE(BindPrimitivesTo(UnknownVersionLibrary, Error));
  EXPECT_NE(Error.find("major version 9"), std::string::npos) << Error;

  EXPECT_EQ(NamesFromLibrary(), Before);
  EXPECT_NE(GetIPPSProcAddress("ippsTone_Direct_64f"), nullptr);
  EXPECT_EQ(GetIPPSProcAddress("ippsNoSuchName"), nullptr);
}

}  // namespace
}  // namespace tessalune::test
