#include <gtest/gtest.h>
#include <host/Graph.h>
#include <host/GraphFiles.h>
#include <host/Palette.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSField.h>
#include <tessalune/sources/QSSignalGen.h>
#include <tests/host/Files.h>

#include <cmath>
#include <map>

namespace tessalune::host::test {
namespace {

using tessalune::test::ReadFile;
using tessalune::test::TTemporaryFolder;
using tessalune::test::WriteFile;

constexpr TPropertyInfo<std::int32_t> OrderInfo{
    .Name = "Order", .Default = 2, .Bounds = Between(2, 30), .OldName = "NumTaps"};
constexpr TPropertyInfo<double> LevelInfo{.Name = "Level", .Default = 1.0};

// A component with what none of the package's first ones has: an older name and forms of its own.
class TProbe final : public TLockComponent {
 public:
  using TLockComponent::TLockComponent;
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TProbe"}, &TComponent::Published())
            .Property(OrderInfo, &TProbe::Order, &TProbe::SetOrder)
            .Property(LevelInfo, &TProbe::Level, &TProbe::SetLevel);
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  std::int32_t Order() const { return FOrder; }
  void SetOrder(std::int32_t AValue) { NotifySetter(OrderInfo, FOrder, AValue); }
  double Level() const { return FLevel; }
  void SetLevel(double AValue) { NotifySetter(LevelInfo, FLevel, AValue); }

  std::vector<double> Items;

 protected:
  void WriteOwnForms(IWriter& AWriter) const override {
    if (Items.empty()) return;
    AWriter.WriteArray("_Items", [this](ISequentialWriter& AArray) {
      for (const double Item : Items) AArray.WriteNumber(Item);
    });
  }
  bool ReadOwnForm(IReader& AReader, std::string_view AName) override {
    return AName == "_Items" && AReader.ReadArray(AName, [this](ISequentialReader& AArray) {
      Items = AArray.ReadNextNumbers();
    });
  }
  std::vector<std::string_view> OwnFormNames() const override { return {"_Items"}; }

 private:
  TField<std::int32_t> FOrder;
  TField<double> FLevel;
};

class Graph : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    RegisterPalette();
    RegisterComponents({ClassOf<TProbe>()});
  }

  static std::string OneProbe(const std::string& AProperties) {
    return "{\"tessalune\": 1, \"components\": [{\"class\": \"TProbe\", \"name\": \"P\", "
           "\"properties\": " +
           AProperties + "}]}";
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
// numbers, sub-objects and arrays: all come back as they were.
TEST_F(Graph, SavesTheBytesThatItLoaded) {
  const std::string Text =
      "{\n"
      "  \"components\": [\n"
      "    {\n"
      "      \"properties\": {\n"
      "        \"Level\": \"-Infinity\",\n"
      "        \"_Items\": [1, 2.50, \"NaN\"],\n"
      "        \"Order\": 2,\n"
      "        \"Tag\": 9007199254740993\n"
      "      },\n"
      "      \"name\": \"P\",\n"
      "      \"class\": \"TProbe\"\n"
      "    },\n"
      "    {\n"
      "      \"class\": \"TQSAbs\",\n"
      "      \"name\": \"An Abs\",\n"
      "      \"properties\": {\n"
      "        \"Threading\": {\n"
      "          \"Queue\": {\n"
      "            \"Size\": 16\n"
      "          },\n"
      "          \"Enabled\": true\n"
      "        }\n"
      "      }\n"
      "    },\n"
      "    {\n"
      "      \"class\": \"TQSSignalGen\",\n"
      "      \"name\": \"Tone\",\n"
      "      \"properties\": {\n"
      "        \"Frequency\": 1e3\n"
      "      }\n"
      "    }\n"
      "  ],\n"
      "  \"run\": {\n"
      "    \"seconds\": 0.50,\n"
      "    \"realtime\": false\n"
      "  },\n"
      "  \"links\": [\n"
      "    [\"Tone.OutputPin\", \"An Abs.InputPin\"]\n"
      "  ],\n"
      "  \"tessalune\": 1\n"
      "}\n";
  TMistakes Mistakes("g");
  TGraph Loaded(Text, Mistakes);
  ASSERT_TRUE(Mistakes.IsEmpty()) << Mistakes.Text();
  const auto& Probe = dynamic_cast<const TProbe&>(*Loaded.Components().at(0));
  EXPECT_EQ(Probe.Level(), -INFINITY);
  ASSERT_EQ(Probe.Items.size(), 3U);
  EXPECT_TRUE(std::isnan(Probe.Items[2]));
  EXPECT_EQ(Probe.Tag(), 9007199254740993);
  EXPECT_EQ(Loaded.Run().Seconds, 0.5);
  EXPECT_EQ(Loaded.Save(), Text);

  for (const char* Example : {"/tone.json", "/recording.json"}) {
    const std::string Bytes = ReadFile(std::string(EXAMPLES) + Example);
    EXPECT_EQ(TGraph(Bytes, Mistakes).Save(), Bytes);
  }
}

TEST_F(Graph, SavesWhatWasSetAndTodaysNames) {
  TMistakes Mistakes("g");
  TGraph Loaded(OneProbe("{\"NumTaps\": 30, \"Level\": 2}"), Mistakes);
  Loaded.Set("P.Level=nan", Mistakes);
  Loaded.Set("P.Tag=7", Mistakes);
  ASSERT_TRUE(Mistakes.IsEmpty()) << Mistakes.Text();
  EXPECT_EQ(dynamic_cast<TProbe&>(*Loaded.Components().at(0)).Order(), 30);
  const std::string Saved = Loaded.Save();
  EXPECT_NE(Saved.find("      \"properties\": {\n"
                       "        \"Order\": 30,\n"
                       "        \"Level\": \"NaN\",\n"
                       "        \"Tag\": 7\n"
                       "      }\n"),
            std::string::npos)
      << Saved;
}

TEST_F(Graph, TellsAllMistakesAtOnceWithPlaceAndRemedy) {
  const std::string Text =
      "{\"tessalune\": 2, \"runn\": 1,\n"
      "\"components\": [\n"
      "{\"class\": \"TQSSignlGen\", \"name\": \"A\"},\n"
      "{\"class\": \"TProbe\", \"name\": \"P\", \"properties\": {\"Ordr\": 3,\n"
      " \"Level\": \"high\",\n"
      " \"Order\": 31, \"NumTaps\": 4,\n"
      " \"_Items\": [1, \"x\"]}},\n"
      "{\"class\": \"TProbe\", \"name\": \"P\", \"name\": \"Q\"},\n"
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
      "[\"Abs\"]],\n"
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
      {{4, 49}, "did you mean Order?"},
      {{5, 11},
       "components[1].properties.Level: P (TProbe): Level cannot be \"high\"; expected is "
       "a number"},
      {{6, 11}, "between 2 and 30"},
      {{6, 26}, "components[1].properties.NumTaps: "},
      {{7, 16}, "components[1].properties._Items[1]: \"x\" is no number"},
      {{8, 29}, "components[2].name: the name \"P\" is taken by the component at line 4, column 1"},
      {{8, 34}, "components[2].name: the key \"name\" stands here a second time"},
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
      {{21, 20}, "run.samples: expected is a whole number"},
      {{21, 36}, "run.seconds: expected is a number of seconds above 0"},
      {{22, 13}, "\"realtime\" is true or false"}};
  const auto Found = Told(Mistakes);
  EXPECT_EQ(Found.size(), Expected.size()) << Mistakes.Text();
  for (const auto& [Place, Part] : Expected) {
    const auto At = Found.find(Place);
    ASSERT_NE(At, Found.end()) << Place.first << ':' << Place.second << "\n" << Mistakes.Text();
    EXPECT_NE(At->second.find(Part), std::string::npos) << At->second << "\n" << Part;
  }
}

TEST_F(Graph, FilesAreLookedAtBeforeARun) {
  const TTemporaryFolder Folder;
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
    CheckFiles(Loaded, "", Mistakes);
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
