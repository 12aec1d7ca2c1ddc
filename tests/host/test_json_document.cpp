#include <gtest/gtest.h>
#include <host/JsonDocument.h>

#include <cmath>
#include <limits>

namespace tessalune::host::test {
namespace {

// Every value and key where it stands, with line ends, tabs, escapes and wide characters before it.
TEST(JsonPlaces, AreThoseOfTheFirstCharacter) {
  TMistakes Mistakes("x");
  const auto Document = ParseJson(
      "\xEF\xBB\xBF{\n"
      "  \"a\\\"{\" : [ 1,\t-2.5e3 , \"\xC3\xA9\\u00e9,]\", null],\r\n"
      "\"b\":{\"c\":true}\n"
      "}\n",
      Mistakes);
  ASSERT_TRUE(Document) << Mistakes.Text();
  struct TCase {
    const TJsonNode& Node;
    std::size_t Line, Column, KeyColumn;
    const char* Path;
  };
  const TJsonNode& Array = Document->Items.at(0);
  const TJsonNode& Object = Document->Items.at(1);
  for (const TCase& Case : {TCase{*Document, 1, 1, 0, ""}, TCase{Array, 2, 12, 3, "a\"{"},
                            TCase{Array.Items.at(0), 2, 14, 0, "a\"{[0]"},
                            TCase{Array.Items.at(1), 2, 17, 0, "a\"{[1]"},
                            TCase{Array.Items.at(2), 2, 26, 0, "a\"{[2]"},
                            TCase{Array.Items.at(3), 2, 39, 0, "a\"{[3]"},
                            TCase{Object.Items.at(0), 3, 10, 6, "b.c"}}) {
    EXPECT_EQ(Case.Node.Path, Case.Path);
    EXPECT_EQ(Case.Node.Place.Line, Case.Line) << Case.Path;
    EXPECT_EQ(Case.Node.Place.Column, Case.Column) << Case.Path;
    if (Case.KeyColumn > 0) {
      EXPECT_EQ(Case.Node.KeyPlace.Column, Case.KeyColumn) << Case.Path;
    }
  }
}

struct TBroken {
  const char* Text;
  std::size_t Line, Column;
  const char* Message;

  // For the test's name.
  friend std::ostream& operator<<(std::ostream& AStream, const TBroken& ACase) {
    return AStream << ACase.Message;
  }
};

class BrokenJson : public testing::TestWithParam<TBroken> {};

TEST_P(BrokenJson, IsToldWithItsPlace) {
  TMistakes Mistakes("x");
  ParseJson(GetParam().Text, Mistakes);
  const auto List = Mistakes.InOrder();
  ASSERT_EQ(List.size(), 1U) << Mistakes.Text();
  EXPECT_EQ(List[0].Place.Line, GetParam().Line);
  EXPECT_EQ(List[0].Place.Column, GetParam().Column);
  EXPECT_NE(List[0].Message.find(GetParam().Message), std::string::npos) << List[0].Message;
}

const std::string TooDeep = std::string(101, '[') + std::string(101, ']');
INSTANTIATE_TEST_SUITE_P(
    All, BrokenJson,
    testing::Values(TBroken{"{\n \"a\": }", 2, 7, "unexpected '}'"},
                    TBroken{"[1, 2", 1, 6, "unexpected end of input"},
                    TBroken{"[1] 2", 1, 5, "expected end of input"},
                    TBroken{"[1e999]", 1, 2, "the number 1e999 is out of range"},
                    TBroken{"{\"a\": 1,\n \"a\": {\"b\": 2}}", 2, 2, "\"a\" stands here a second"},
                    TBroken{TooDeep.c_str(), 1, 101, "deeper than 100"}));

// A canonical text comes back byte for byte, its numbers and strings spelled as they were.
TEST(JsonLayout, KeepsACanonicalText) {
  const std::string Text =
      "{\n"
      "  \"numbers\": [1, 1.0, 1e3, -0, 0.10, 12345678901234567890],\n"
      "  \"empty\": {},\n"
      "  \"none\": [],\n"
      "  \"pairs\": [\n"
      "    [\"\\u00e9\", \"\xC3\xA9\"],\n"
      "    {\n"
      "      \"x\": null\n"
      "    }\n"
      "  ],\n"
      "  \"long\": [\n"
      "    \"0123456789012345678901234567890123456789\",\n"
      "    \"0123456789012345678901234567890123456789\"\n"
      "  ]\n"
      "}\n";
  TMistakes Mistakes("x");
  const auto Document = ParseJson(Text, Mistakes);
  ASSERT_TRUE(Document);
  EXPECT_EQ(WriteJson(*Document), Text);
}

TEST(JsonValue, ChangesItsSpellingOnlyWithItsMeaning) {
  constexpr double Infinity = std::numeric_limits<double>::infinity();
  struct TCase {
    const char* Before;
    TPropertyValue Value;
    const char* After;
  };
  for (const TCase& Case :
       {TCase{"1e3", 1000.0, "1e3"}, TCase{"1e3", std::int64_t{1000}, "1e3"},
        TCase{"1e3", 1000.5, "1000.5"}, TCase{"0", -0.0, "-0"}, TCase{"-0", -0.0, "-0"},
        TCase{"-0", 0.0, "0"},
        TCase{"9007199254740993", std::int64_t{9007199254740992}, "9007199254740992"},
        TCase{"\"\\u0041\"", std::string("A"), "\"\\u0041\""}, TCase{"null", true, "true"},
        TCase{"[1]", -Infinity, "\"-Infinity\""}, TCase{"\"NaN\"", std::nan(""), "\"NaN\""},
        TCase{"true", std::string("a\"\n"), "\"a\\\"\\n\""}}) {
    TMistakes Mistakes("x");
    auto Node = ParseJson(Case.Before, Mistakes);
    ASSERT_TRUE(Node) << Mistakes.Text();
    Node->SetValue(Case.Value);
    EXPECT_EQ(WriteJson(*Node), std::string(Case.After) + '\n') << Case.Before;
  }
}

}  // namespace
}  // namespace tessalune::host::test
