#include <gtest/gtest.h>
#include <host/Graph.h>
#include <host/GraphFiles.h>
#include <host/Palette.h>
#include <host/PropertyJson.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tests/support/Files.h>
#include <tests/support/FormsProbe.h>
#include <tests/support/Properties.h>

#include <cmath>
#include <filesystem>
#include <map>

namespace tessalune::host::test {
namespace {

using tessalune::test::ReadFile;
using tessalune::test::TTempDir;
using tessalune::test::WriteFile;

// The component has what none of the package's first ones has.
using TProbe = tessalune::test::TFormsProbe;

class Graph : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    RegisterPalette();
    RegisterComponents({ClassOf<TProbe>()});
  }

  static std::string OneProbe(const std::string& AProperties) {
    return "{\"tessalune\": 1, \"components\": [{\"class\": \"TFormsProbe\", \"name\": \"P\", "
           "\"properties\": " +
           AProperties + "}]}";
  }

  // The text without what lays it out.
  static std::string Words(std::string AText) {
    std::erase_if(AText, [](char A) { return A == ' ' || A == '\n'; });
    return AText;
  }

  // The mistakes, each as "path: message", by place.
  static std::map<std::pair<std::size_t, std::size_t>, std::string> Told(
      const TMistakes& AMistakes) {
    std::map<std::pair<std::size_t, std::size_t>, std::string> Result;
    for (const TMistake& Mistake : AMistakes.InOrder()) {
      Result[{Mistake.Place.Line, Mistake.Place.Column}] += Mistake.Path + ": " + Mistake.Message;
    }
    return Result;
  }
};

// Explicit defaults, any order of members and properties, numbers in odd spellings, non-finite
// numbers, sub-objects and arrays: all come back as they were, in the canonical layout.
TEST_F(Graph, SavesWhatItLoaded) {
  const std::string Text = R"({
    "components": [
      {"properties": {"Level": "-Infinity", "Taps": [1, 2.50, -3], "Pairs": {"_Values": [1, 2e0]},
                      "Sections": [], "Mask": {"_Items": [7], "Enabled": false},
                      "Notes": ["NaN", ""],
                      "Patterns": [{"Min": -1, "Sample": 1.0}, {}], "InputPins": 4, "Order": 2,
                      "Tag": 9007199254740993}, "name": "P", "class": "TFormsProbe"},
      {"class": "TQSAbs", "name": "An Abs",
       "properties": {"Threading": {"Queue": {"Size": 16}, "Enabled": true}}},
      {"class": "TQSSignalGen", "name": "Tone", "properties": {"Frequency": 1e3}}],
    "run": {"seconds": 0.50, "realtime": false},
    "links": [["Tone.OutputPin", "An Abs.InputPin"], ["Tone.OutputPin", "P.InputPins"],
              ["P.InputPins", "Tone.OutputPin"], ["Tone.OutputPin", "P.InputPins[1]", "real"],
              ["Tone.OutputPin", "P.InputPins"], ["Tone.OutputPin", "P.InputPins"]],
    "tessalune": 1})";
  TMistakes Mistakes("g");
  TGraph Loaded(Text, Mistakes);
  ASSERT_TRUE(Mistakes.IsEmpty()) << Mistakes.Text();
  const auto& Probe = dynamic_cast<const TProbe&>(*Loaded.Components().at(0));
  EXPECT_EQ(Probe.Level(), -INFINITY);
  EXPECT_EQ(Probe.Taps.Values(), (std::vector{1.0, 2.5, -3.0}));
  EXPECT_EQ(Probe.Pairs.BValues(0), 1.0);
  EXPECT_EQ(Probe.Mask.Values(), std::vector{7});
  EXPECT_EQ(Probe.Notes(), (std::vector<std::string>{"NaN", ""}));
  EXPECT_EQ(Probe.Patterns.Items(0)->Min(), -1.0);
  EXPECT_EQ(Probe.Patterns.Count(), 2);
  // Pins that no link names come first, then the list grows; the count in the file stays.
  EXPECT_EQ(Probe.InputPins.Count(), 5U);
  const auto& Tone = dynamic_cast<TQSSignalGen&>(*Loaded.Components().at(2));
  const std::vector<std::string> Order{"InputPin",     "InputPins[0]", "InputPins[2]",
                                       "InputPins[1]", "InputPins[3]", "InputPins[4]"};
  const auto Sinks = const_cast<TQSSignalGen&>(Tone).OutputPin().ConnectedPins();
  ASSERT_EQ(Sinks.size(), Order.size());
  for (std::size_t I = 0; I < Order.size(); ++I) EXPECT_EQ(Sinks[I]->Name(), Order[I]);
  EXPECT_EQ(Probe.Tag(), 9007199254740993);
  EXPECT_EQ(Loaded.Run().Seconds, 0.5);
  const std::string Saved = Loaded.Save();
  EXPECT_EQ(Words(Saved), Words(Text));
  EXPECT_EQ(TGraph(Saved, Mistakes).Save(), Saved);
  for (const auto& Example : std::filesystem::directory_iterator(EXAMPLES)) {
    const std::string Bytes = ReadFile(Example.path());
    EXPECT_EQ(TGraph(Bytes, Mistakes).Save(), Bytes);
  }
}

// Defaults are not stored; every other value is, and comes back.
TEST_F(Graph, TakesAndSavesEveryPropertyOfEveryClass) {
  for (const TComponentClass& Class : RegisteredComponents()) {
    const std::string Name(Class.Published().ClassName());
    SCOPED_TRACE(Name);
    const std::string Bare =
        R"({"tessalune": 1, "components": [{"class": ")" + Name + R"(", "name": "X"}]})";
    TMistakes Mistakes("g");
    TGraph Changed(Bare, Mistakes);
    EXPECT_EQ(Changed.Save().find("properties"), std::string::npos);
    tessalune::test::SetAllToAnother(*Changed.Components().at(0));
    const TGraph Read(Changed.Save(), Mistakes);
    ASSERT_TRUE(Mistakes.IsEmpty()) << Mistakes.Text();
    tessalune::test::ForEachProperty(
        *Read.Components().at(0),
        [](TPersistent& APart, const TPublishedProperty& ARow, const std::string& APath) {
          EXPECT_EQ(ARow.Get(APart), tessalune::test::Another(ARow)) << APath;
        });
  }
}

TEST_F(Graph, SavesWhatWasSetAndTodaysNamesAndForms) {
  TMistakes Mistakes("g");
  TGraph Loaded(OneProbe("{\"NumTaps\": 30, \"Level\": 2, \"DesignSampleRate\": [8000], "
                         "\"Pairs\": {\"Values\": [1, 10, 2, 20]}, \"Mask\": [1, 2], "
                         "\"Sections\": {\"Values\": [[1, 2, 3, 4, 5, 6]]}, "
                         "\"Patterns\": [{\"Position\": 4}]}"),
                Mistakes);
  for (const char* Assignment :
       {"P.Level=nan", "P.Taps=0.5, 2", "P.Mask.Enabled=true", "P.Tag=7"}) {
    Loaded.Set(Assignment, Mistakes);
  }
  ASSERT_TRUE(Mistakes.IsEmpty()) << Mistakes.Text();
  auto& Probe = dynamic_cast<TProbe&>(*Loaded.Components().at(0));
  EXPECT_EQ(Probe.Order(), 30);
  Probe.Patterns.Add();
  EXPECT_NE(Words(Loaded.Save()).find(Words(R"("properties": {"Order": 30, "Level": "NaN",
      "Pairs": {"_Values": [10, 20, 1, 2]}, "Mask": {"_Items": [1, 2], "Enabled": true},
      "Sections": {"_Values": [1, 2, 3, 4, 5, 6]}, "Patterns": [{"Sample": 4}, {}], "Tag": 7,
      "Taps": {"_Items": [0.5, 2]}})")),
            std::string::npos)
      << Loaded.Save();
}

// A link says its type, or the graph says which one it chose.
TEST_F(Graph, LinksSayTheirTypeOrAreAskedForIt) {
  const auto Row = [](const std::string& AType) {
    return "{\"tessalune\": 1, \"components\": [{\"class\": \"TFormsProbe\", \"name\": \"A\"}, "
           "{\"class\": \"TFormsProbe\", \"name\": \"B\"}, "
           "{\"class\": \"TFormsProbe\", \"name\": \"C\"}], "
           "\"links\": [[\"B.InputPin\", \"A.OutputPin\"" +
           AType + "], [\"B.OutputPin\", \"C.InputPin\"]]}";
  };
  TMistakes Mistakes("g");
  const TGraph Said(Row(", \"unsigned\""), Mistakes);
  ASSERT_TRUE(Mistakes.IsEmpty()) << Mistakes.Text();
  EXPECT_TRUE(Said.TypeChoices().empty());
  const auto PinsOf = [&](std::size_t AIndex) -> TProbe& {
    return dynamic_cast<TProbe&>(*Said.Components().at(AIndex));
  };
  EXPECT_EQ(PinsOf(1).OutputPin.LinkType(PinsOf(2).InputPin), &UnsignedStream);
  const TGraph Chosen(Row(""), Mistakes);
  ASSERT_EQ(Chosen.TypeChoices().size(), 1U);
  EXPECT_EQ(
      Chosen.TypeChoices()[0].Text(),
      "the link A (TFormsProbe).OutputPin to B (TFormsProbe).InputPin carries blocks of real "
      "samples, which was chosen among real, complex, integer, unsigned, block; a third string "
      "in the link, such as \"real\", says it");
}

TEST_F(Graph, TellsAllMistakesAtOnceWithPlaceAndRemedy) {
  const std::string Text =
      "{\"tessalune\": 2, \"runn\": 1,\n"
      "\"components\": [\n"
      "{\"class\": \"TQSSignlGen\", \"name\": \"A\"},\n"
      "{\"class\": \"TFormsProbe\", \"name\": \"P\", \"properties\": {\"Ordr\": 3,\n"
      " \"Level\": \"high\",\n"
      " \"Order\": 31, \"NumTaps\": 4,\n"
      " \"Taps\": [1, \"x\"], \"Sections\": {\"Values\": [[1, 2]]}, \"Patterns\": [3, {\"Sampel\": "
      "1}]}},\n"
      "{\"class\": \"TFormsProbe\", \"name\": \"P\", \"name\": \"Q\"},\n"
      "{\"class\": \"TQSAbs\", \"name\": \"Abs\", \"properties\": {\"Threading\": {\"Queue\": "
      "{\"Size\": 0}}}},\n"
      "{\"class\": \"TQSApplyIntConst\", \"name\": \"a.b\"},\n"
      "{\"class\": \"TQSApplyIntConst\", \"name\": \"Int\"},\n"
      "{\"name\": \"Log\"}],\n"
      "\"links\": [\n"
      "[\"Abs.OutputPin\", \"Abs.InputPin\"],\n"
      "[\"Abs.OutputPin\", \"Int.InputPin\"],\n"
      "[\"Abs.OutputPn\", \"Int.InputPin\"],\n"
      "[\"Abs.OutputPin\",\n"
      " \"Inn.InputPin\"],\n"
      "[\"A.OutputPin\", \"Log.InputPin\"],\n"
      "[\"Abs\"],\n"
      "[\"Abs.OutputPin\", \"P.InputPins[9]\"],\n"
      "[\"Abs.OutputPin\", \"P.InputPins[x]\"],\n"
      "[\"Abs.OutputPin\", \"P.InputPins\", \"reel\"],\n"
      "[\"Abs.OutputPin\", \"P.InputPins\", \"block\"]],\n"
      "\"run\": {\"samples\": 0.5, \"seconds\": -1,\n"
      "\"realtime\": \"yes\"}}";
  TMistakes Mistakes("g");
  TGraph Loaded(Text, Mistakes);
  Loaded.Set("Abs.Enabld=true", Mistakes);
  Loaded.Set("Abs.Threading.Queue.Size=0", Mistakes);
  Loaded.Set("Abs.Threading=1", Mistakes);

  // For each place a piece of the text that has to be there.
  const std::map<std::pair<std::size_t, std::size_t>, std::string> Expected{
      {{0, 0}, "did you mean Enabled?"},
      {{1, 15}, "tessalune: version 2"},
      {{1, 18}, "did you mean run?"},
      {{3, 11},
       "components[0].class: there is no class \"TQSSignlGen\" (`tessalune list` shows "
       "all); did you mean TQSSignalGen?"},
      {{4, 54}, "did you mean Order?"},
      {{5, 11},
       "components[1].properties.Level: P (TFormsProbe): Level cannot be \"high\"; expected is "
       "a number"},
      {{6, 11}, "between 2 and 30"},
      {{6, 26}, "components[1].properties.NumTaps: "},
      {{7, 14},
       "components[1].properties.Taps[1]: P (TFormsProbe).Taps cannot be \"x\"; expected "
       "is "
       "a number"},
      {{7, 48}, "components[1].properties.Sections.Values[0][1]: a section has six numbers"},
      {{7, 67},
       "components[1].properties.Patterns[0]: expected is an object; here stands a number"},
      {{7, 71}, "TProbeItem has no property Sampel; did you mean Sample?"},
      {{8, 34}, "components[2].name: the name \"P\" is taken by the component at line 4, column 1"},
      {{8, 39}, "components[2].name: the key \"name\" stands here a second time"},
      {{9, 83},
       "components[3].properties.Threading.Queue.Size: Abs (TQSAbs).Threading.Queue: Size cannot "
       "be 0"},
      {{10, 39}, "\"a.b\"; expected are letters"},
      {{12, 1}, "components[6]: a component needs \"class\""},
      {{14, 1},
       "links[0]: cannot link Abs (TQSAbs).OutputPin to Abs (TQSAbs).InputPin: the stream "
       "would flow back into itself"},
      {{15, 1}, "links[1]: cannot link Abs (TQSAbs).OutputPin to Int (TQSApplyIntConst).InputPin"},
      {{16, 2}, "did you mean OutputPin?"},
      {{18, 2}, "links[3][1]: there is no component \"Inn\"; did you mean Int?"},
      {{20, 1}, "a link is an array of two strings"},
      {{21, 19}, "P (TFormsProbe) has no pin InputPins[9]; InputPins has 2 pins, counted from 0"},
      {{22, 19},
       "expected is InputPins[0] to InputPins[1], or InputPins for the first pin without"},
      {{23, 34}, "\"reel\" is no type of a link; expected is one of real, complex, integer, "},
      {{24, 34},
       "links[9][2]: cannot link Abs (TQSAbs).OutputPin to P (TFormsProbe).InputPins[0]: the "
       "link cannot carry blocks of bytes"},
      {{25, 20}, "run.samples: expected is a whole number"},
      {{25, 36}, "run.seconds: expected is a number of seconds above 0"},
      {{26, 13}, "\"realtime\" is true or false"}};
  const auto Found = Told(Mistakes);
  EXPECT_EQ(Found.size(), Expected.size()) << Mistakes.Text();
  for (const auto& [Place, Part] : Expected) {
    const auto At = Found.find(Place);
    ASSERT_NE(At, Found.end()) << Place.first << ':' << Place.second << "\n" << Mistakes.Text();
    EXPECT_NE(At->second.find(Part), std::string::npos) << At->second << "\n" << Part;
  }
}

TEST_F(Graph, DescribeShowsEveryFormAndEventsNestTheirRecords) {
  const TComponentClass& Class = ClassOfName("TFormsProbe");
  const std::string Text = DescribeText(Class);
  for (const char* Part :
       {"list of pins, each input, one link", "an array in its place is its _Items",
        "Array of Double, default [], formerly Values", "Patterns._Items[].Sample",
        "older form of _Values", "older form, read and dropped", "NaN and the infinities too",
        "between 2 and 5 pins", "not stored"}) {
    EXPECT_NE(Text.find(Part), std::string::npos) << Part << "\n" << Text;
  }
  const auto Json = DescribeJson(Class);
  EXPECT_EQ(Json["pins"][2]["list"], true);
  std::map<std::string, nlohmann::ordered_json> Rows;
  for (const auto& Row : Json["properties"]) Rows[Row["name"]] = Row;
  EXPECT_EQ(Rows["InputPins"]["bounds"]["max"], 5);
  EXPECT_EQ(Rows["Taps"]["content"], "_Items");
  EXPECT_EQ(Rows["Taps"]["properties"][0]["element"], "Double");
  EXPECT_EQ(Rows["Patterns"]["properties"][0]["items"][0]["name"], "Sample");
  EXPECT_EQ(Rows["Level"]["nonFinite"], true);
  tessalune::test::TProbeResult Result;
  Result.Points().Add(MakeRef<tessalune::test::TProbePoint>(INFINITY));
  EXPECT_EQ(PropertyJson(ToValue(Result)).dump(),
            R"({"Level":-0.5,"Bins":[3,4000000000],"Points":[{"Sample":"Infinity"}]})");
}

TEST_F(Graph, FilesAreLookedAtBeforeARun) {
  const TTempDir Folder;
  WriteFile(Folder / "in.bin", "12345678");
  struct TCase {
    const char* Class;
    std::string File;
    const char* Message;  // empty: nothing is wrong
  };
  for (const TCase& Case :
       {TCase{"TQSPlayer", Folder / "in.bin", ""},
        TCase{"TQSPlayer", Folder / "absent.bin", "there is no such file"},
        TCase{"TQSPlayer", Folder / ".", "it is a folder"},
        TCase{"TQSPlayer", "", "FileName is empty"},
        TCase{"TQSPlayer", Folder / "./out.bin", "would overwrite"},
        TCase{"TQSLogger", Folder / "new.bin", ""}, TCase{"TQSLogger", "/dev/null", ""},
        TCase{"TQSLogger", Folder / "no/new.bin", "make it first"},
        TCase{"TQSLogger", Folder / ".", "it is a folder"},
        TCase{"TQSLogger", Folder / "out.bin", "Out (TQSLogger) writes"}}) {
    TMistakes Mistakes("g");
    const TGraph Loaded(
        "{\"tessalune\": 1, \"components\": [\n{\"class\": \"TQSLogger\", "
        "\"name\": \"Out\", \"properties\": {\"FileName\": \"" +
            (Folder / "out.bin") + "\"}},\n{\"class\": \"" + Case.Class +
            "\", \"name\": \"X\", \"properties\": {\n\"FileName\": \"" + Case.File + "\"}}]}",
        Mistakes);
    CheckFiles(Loaded, {}, "", Mistakes);
    const auto List = Mistakes.InOrder();
    ASSERT_EQ(List.size(), *Case.Message == '\0' ? 0U : 1U) << Mistakes.Text();
    if (List.empty()) continue;
    EXPECT_NE(List[0].Message.find(Case.Message), std::string::npos) << List[0].Message;
    EXPECT_EQ(List[0].Place.Line, 4U);
  }
  EXPECT_EQ(Folder.Names(), std::vector<std::string>{"in.bin"});
}

}  // namespace
}  // namespace tessalune::host::test
