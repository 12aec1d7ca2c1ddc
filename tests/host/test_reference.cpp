// The reference: that all classes have their page, and that the tree's pages are of today.
#include <host/Palette.h>
#include <host/reference/ClassText.h>
#include <host/reference/Reference.h>

#include <gtest/gtest.h>
#include <tests/support/Files.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <regex>
#include <set>

namespace tessalune::host::test {
namespace {

using tessalune::test::ReadFile;
using tessalune::test::TTempDir;

class Reference : public testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterPalette(); }

  TReferenceOptions To(TPageForm AForm) const {
    return {FFolder / "pages", AForm, TREE "/examples/reference", TREE "/docs/reference/pictures",
            TREE "/tessalune/icons/classes"};
  }
  const TTempDir FFolder;
};

TEST_F(Reference, HasAllSectionsAnExampleAndItsPictureForEachClass) {
  for (const TComponentClass& Class : RegisteredComponents()) {
    const TPublishedTable& Table = Class.Published();
    const std::string Name(Table.ClassName());
    SCOPED_TRACE(Name);
    for (const TTextSection& Section : TextSections) {
      EXPECT_FALSE(TextBlocks(Table.Text(Section.Text)).empty()) << Section.Heading;
    }
    EXPECT_FALSE(Table.Text(&TClassText::Example).empty());
    const std::string SeeAlso = Table.Text(&TClassText::SeeAlso);
    const std::regex Word("\\w+");
    for (std::sregex_iterator At(SeeAlso.begin(), SeeAlso.end(), Word), End; At != End; ++At) {
      EXPECT_NE(FindComponentClass(At->str()), nullptr) << At->str();
    }
    const auto Example =
        nlohmann::json::parse(ReadFile(TREE "/examples/reference/" + Name + ".json"));
    const auto& Parts = Example["components"];
    EXPECT_TRUE(std::any_of(Parts.begin(), Parts.end(),
                            [&](const auto& AEach) { return AEach["class"] == Name; }));
    for (const char* Of : {"/docs/reference/pictures/", "/tessalune/icons/classes/"}) {
      EXPECT_TRUE(std::filesystem::exists(TREE + (Of + Name) + ".svg")) << Of;
    }
  }
}

TEST_F(Reference, OfTheTreeIsWhatTheTablesSay) {
  WriteReference(To(TPageForm::Markdown));
  std::set<std::string> Pages;
  for (const auto& Folder :
       {std::filesystem::path(FFolder / "pages"), std::filesystem::path(TREE "/docs/reference")}) {
    for (const auto& Entry : std::filesystem::recursive_directory_iterator(Folder)) {
      if (Entry.is_regular_file()) Pages.insert(relative(Entry.path(), Folder));
    }
  }
  for (const std::string& Page : Pages) {
    EXPECT_TRUE(ReadFile(FFolder / ("pages/" + Page)) == ReadFile(TREE "/docs/reference/" + Page))
        << Page << " is stale: `./run reference` writes docs/reference anew";
  }
}

TEST_F(Reference, IsWellFormedHtmlThatNeedsNothingElse) {
  const int Count = WriteReference(To(TPageForm::Html));
  std::vector<std::string> Names;
  for (const auto& Entry : std::filesystem::directory_iterator(FFolder / "pages")) {
    Names.push_back(Entry.path().filename());
  }
  EXPECT_EQ(std::ssize(Names), Count + 1);
  const std::set<std::string> Alone{"!DOCTYPE", "meta", "img"};
  for (const std::string& Name : Names) {
    SCOPED_TRACE(Name);
    const std::string Text = ReadFile(FFolder / ("pages/" + Name));
    std::vector<std::string> Open;
    // Not by std::regex: it takes stack for each letter of a picture.
    for (std::size_t At = Text.find('<'); At != std::string::npos; At = Text.find('<', At + 1)) {
      const std::string Tag = Text.substr(At + 1, Text.find('>', At) - At - 1);
      const std::string Word = Tag.substr(0, Tag.find(' '));
      if (Alone.contains(Word)) continue;
      if (Word[0] == '/') {
        ASSERT_FALSE(Open.empty());
        ASSERT_EQ('/' + Open.back(), Word);
        Open.pop_back();
        continue;
      }
      Open.push_back(Word);
      if (Word == "a") {
        const std::string Page = Tag.substr(8, Tag.size() - 9);  // a href="..."
        EXPECT_EQ(std::count(Names.begin(), Names.end(), Page), 1) << Page;
      }
    }
    EXPECT_TRUE(Open.empty());
    for (const char* Foreign : {"http:", "https:", "<script", "src=\"p"}) {
      EXPECT_EQ(Text.find(Foreign), std::string::npos) << Foreign;
    }
  }
}

TEST_F(Reference, TextFollowsFromTheClassToItsBasesAndToDescribe) {
  const TComponentClass& LowPass = ClassOfName("TQSLowPass");
  const std::string Use = LowPass.Published().Text(&TClassText::Use);
  const std::size_t OfBase = Use.find("\n\nThe filter is designed");
  EXPECT_TRUE(Use.starts_with("Lets pass what is below")) << Use;
  EXPECT_NE(OfBase, std::string::npos) << Use;
  EXPECT_EQ(DescribeJson(LowPass)["text"]["use"], Use);
  const std::string Text = DescribeText(LowPass);
  EXPECT_LT(Text.find("\nWhen to use it\n  Lets pass"), Text.find("\n  - `ftFIR` has"));
  EXPECT_NE(Text.find("\n      iirButterworth  |H|^2 = "), std::string::npos) << "as it stands";
  const auto Hilbert = DescribeJson(ClassOfName("TQSHilbert"));
  for (const auto& Row : Hilbert["properties"]) {
    if (Row["name"] == "BufferSize") {
      EXPECT_EQ(Row["takesEffect"], "at the next start");
    }
  }
}

TEST_F(Reference, HasTheBitmapOfAClassWithoutADrawing) {
  TReferenceOptions Options = To(TPageForm::Markdown);
  Options.Icons = TREE "/docs";
  WriteReference(Options);
  const std::string Png = ReadFile(FFolder / "pages/icons/TQSAbs.png");
  EXPECT_TRUE(Png.starts_with("\x89PNG\r\n\x1A\n"));
  EXPECT_TRUE(Png.ends_with("IEND\xAE\x42\x60\x82")) << "with its check sum";
  EXPECT_EQ(Png.size(), 8U + 25U + 12U + 2U + 5U + 32U * (4U * 32U + 1U) + 4U + 12U);
  EXPECT_NE(ReadFile(FFolder / "pages/TQSAbs.md").find("# ![](icons/TQSAbs.png) TQSAbs\n"),
            std::string::npos);
}

TEST(ClassText, FallsIntoParagraphsItemsAndFormulas) {
  std::string Told;
  for (const TTextBlock& Block :
       TextBlocks("One\ntwo.\n\n- a\n  b\n- c\n\n    x < y\n    z\nEnd.")) {
    Told += "PIF"[static_cast<int>(Block.Kind)] + Block.Text + '|';
  }
  EXPECT_EQ(Told, "POne two.|Ia b|Ic|Fx < y\nz\n|PEnd.|");
}

}  // namespace
}  // namespace tessalune::host::test
