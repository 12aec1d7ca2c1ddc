#include <gtest/gtest.h>
#include <tests/support/Files.h>
#include <nlohmann/json.hpp>

#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <sstream>

namespace tessalune::host::test {
namespace {

using nlohmann::json;
using tessalune::test::BytesOf;
using tessalune::test::LogOf;
using tessalune::test::ReadFile;
using tessalune::test::TTempDir;
using tessalune::test::WriteFile;

// Runs the program that was built, in a folder of the test's own.
class Program : public testing::Test {
 protected:
  struct TOutcome {
    int Code;
    std::string Output;
    std::string Errors;

    // The output's lines, each of which has to be JSON.
    std::vector<json> Lines() const {
      std::vector<json> Lines;
      std::istringstream Stream(Output);
      for (std::string Line; std::getline(Stream, Line);) Lines.push_back(json::parse(Line));
      return Lines;
    }
  };

  // ABefore is run by the same shell before the program, which takes its place.
  TOutcome Run(const std::string& AArguments, const std::string& ABefore = "") {
    const std::string Command = "cd '" + (FFolder / "") + "' && " + ABefore +
                                " exec '" PROGRAM "' " + AArguments + " 2>errors.txt";
    FILE* Pipe = popen(Command.c_str(), "r");
    std::string Output;
    for (int Next; (Next = fgetc(Pipe)) != EOF;) Output += static_cast<char>(Next);
    const int Status = pclose(Pipe);
    return {WIFEXITED(Status) ? WEXITSTATUS(Status) : -1, Output, ReadFile(FFolder / "errors.txt")};
  }

  std::vector<double> ReadReals(const std::string& AName) {
    const std::string Text = ReadFile(FFolder / AName);
    std::vector<double> Values(Text.size() / sizeof(double));
    if (!Values.empty()) std::memcpy(Values.data(), Text.data(), Values.size() * sizeof(double));
    return Values;
  }

  const TTempDir FFolder;
  const std::string FTone = "'" EXAMPLES "/tone.json' ";
  const std::string FRecording = "'" EXAMPLES "/recording.json' ";
};

TEST_F(Program, RunsATonesGraphToTheSample) {
  const TOutcome Outcome = Run("run " + FTone + "--samples 5001 --set Tone.BufferSize=1000");
  EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
  EXPECT_EQ(Outcome.Errors, "");
  EXPECT_NE(Outcome.Output.find("ToneLog (TQSLogger): 40008 bytes for \"tone.bin\""),
            std::string::npos)
      << Outcome.Output;
  EXPECT_EQ(Outcome.Output.find('\x1B'), std::string::npos);
  const auto Tone = ReadReals("tone.bin");
  const auto Level = ReadReals("level.bin");
  ASSERT_EQ(Tone.size(), 5001U);
  ASSERT_EQ(Level.size(), Tone.size());
  // The generator's own pi is true to 1e-8, so after 5001 samples of 440 Hz at 48 kHz (288 rad) the
  // phase is within 3e-6 rad; the tone is then within 0.03 of 10000.
  for (std::size_t I = 0; I < Tone.size(); ++I) {
    const double Cycles = 440.0 / 48000.0 * static_cast<double>(I);
    ASSERT_NEAR(Tone[I], 10000 * std::cos(2 * 3.14159265358979 * Cycles), 0.03) << I;
    ASSERT_NEAR(Level[I], 20 * std::log10(std::abs(Tone[I])), 1e-11) << I;
  }

  // To the graph's own limit, one second; twice the same.
  const TOutcome Second = Run("run --quiet " + FTone);
  EXPECT_EQ(Second.Code, 0);
  EXPECT_EQ(Second.Output + Second.Errors, "");
  const std::string Once = ReadFile(FFolder / "tone.bin");
  EXPECT_EQ(Once.size(), 48000 * sizeof(double));
  Run("run --quiet " + FTone);
  EXPECT_TRUE(ReadFile(FFolder / "tone.bin") == Once);
}

TEST_F(Program, RunsTheExamplesOfQuantisingAndGating) {
  const auto RunExample = [this](const std::string& AName) {
    const TOutcome Outcome = Run("run --quiet '" EXAMPLES "/" + AName + "'");
    EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
  };
  RunExample("quantising.json");
  const auto Exact = ReadReals("exact.bin");
  const auto Quantised = ReadReals("quantised.bin");
  ASSERT_EQ(Exact.size(), 4800U);
  ASSERT_EQ(Quantised.size(), Exact.size());
  for (std::size_t I = 0; I < Exact.size(); ++I) {
    ASSERT_NEAR(127 * Quantised[I], std::nearbyint(127 * Exact[I]), 1e-12) << I;
  }
  RunExample("gating.json");
  const auto Tone = ReadReals("ungated.bin");
  ASSERT_EQ(Tone.size(), 8000U);
  const auto Join = [&Tone](std::vector<double> AAll, std::initializer_list<int> ABounds) {
    for (const int* Bound = ABounds.begin(); Bound != ABounds.end(); Bound += 2) {
      AAll.insert(AAll.end(), Tone.begin() + Bound[0], Tone.begin() + Bound[1]);
    }
    return AAll;
  };
  EXPECT_EQ(ReadReals("gated.bin"), Join(std::vector<double>(80), {0, 2000, 4000, 7920}));
  EXPECT_EQ(ReadReals("shots.bin"), Join({}, {4800, 5200, 6001, 6401}));
  // Each response is cut where its edge was, so all of them are alike from when the filter swings.
  RunExample("in-step.json");
  for (const auto& [Name, First] : {std::pair("edges", 48), std::pair("responses", 59)}) {
    Run(std::string("convert --from-counts ") + Name + ".bin bare.bin");
    const auto Snippets = ReadReals("bare.bin");
    ASSERT_EQ(Snippets.size(), 50U * 240U) << Name;
    for (std::size_t I = 240; I < Snippets.size(); ++I) {
      const bool IsHigh = I % 240 >= static_cast<std::size_t>(First);
      ASSERT_EQ(Snippets[I] > 0, IsHigh) << Name << I;
      ASSERT_NEAR(Snippets[I], Snippets[I % 240 + 240], 1e-9) << Name << I;
    }
  }
}

// A finite source ends the run, on the program's pump and on its own clock; the filter with a
// thread of its own has worked off all blocks by then.
TEST_F(Program, PlaysARecordingToItsEnd) {
  std::vector<double> Samples(3000);
  for (std::size_t I = 0; I < Samples.size(); ++I) Samples[I] = static_cast<double>(I) - 1500;
  WriteFile(FFolder / "recording.bin", BytesOf(Samples));
  for (const char* Clock : {"", " --realtime"}) {
    const TOutcome Outcome = Run("run --json " + FRecording + Clock);
    EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
    const auto Louder = ReadReals("louder.bin");
    ASSERT_EQ(Louder.size(), Samples.size());
    for (std::size_t I = 0; I < Samples.size(); ++I) ASSERT_EQ(Louder[I], 2 * Samples[I]);

    const auto Lines = Outcome.Lines();
    const json Summary = Lines.back().at("summary");
    EXPECT_EQ(Summary.at("end"), "sources ended");
    EXPECT_EQ(Summary.at("samples"), 3000);
    EXPECT_EQ(Summary.at("errors"), json::array());
    const auto Happened = [&Lines](const char* AComponent, const char* AEvent) {
      return std::count_if(Lines.begin(), Lines.end(), [&](const json& ALine) {
        return ALine.value("component", "") == AComponent && ALine.value("event", "") == AEvent;
      });
    };
    EXPECT_EQ(Happened("Recording", "OnStart"), 1);
    EXPECT_EQ(Happened("Recording", "OnStop"), 1);
    EXPECT_EQ(Happened("SpeechLog", "OnFileClose"), 1);
    EXPECT_GE(Happened("Recording", "OnProgress"), 3);
  }
  EXPECT_EQ(Run("convert --counts speech.bin speech.csv").Code, 0);
  const std::string Speech = ReadFile(FFolder / "speech.csv");
  EXPECT_EQ(std::count(Speech.begin(), Speech.end(), '1'), 999);  // |x| > 1000
}

// The file that was played, of which the summary tells, is not the one that has been named since;
// its end, between two records and inside a sample, is where the stream's is.
TEST_F(Program, TellsOfTheFileThatWasPlayed) {
  const std::string Log =
      LogOf(std::vector<std::vector<double>>(3, std::vector<double>(500)), true);
  WriteFile(FFolder / "counts.bin", Log);
  WriteFile(FFolder / "cut.bin", Log.substr(0, Log.size() - 3));
  json Graph{
      {"tessalune", 1},
      {"components",
       {{{"class", "TQSPlayer"},
         {"name", "P"},
         {"properties", {{"FileName", "counts.bin"}, {"SavedBufferSizes", true}}}},
        {{"class", "TQSAbs"}, {"name", "A"}},
        {{"class", "TQSLogger"}, {"name", "L"}, {"properties", {{"FileName", "l.bin"}}}}}},
      {"links", {{"P.OutputPin", "A.InputPin", "real"}, {"A.OutputPin", "L.InputPin", "real"}}},
      {"run", {{"at", json::array({{{"samples", 700}, {"set", {{"P.FileName", "cut.bin"}}}}})}}}};
  WriteFile(FFolder / "g.json", Graph.dump());
  const json Summary = Run("run --json --watch P.ProgressPin g.json").Lines().back().at("summary");
  EXPECT_EQ(Summary.at("components").at(0).at("file"), "counts.bin") << Summary;
  EXPECT_EQ(Summary.at("remarks"), json::array());
  EXPECT_EQ(Summary.at("values").at(0).at("time"), 1500 / 44100.0) << Summary;
  for (const auto& [Set, Remark] :
       {std::pair("--set P.FileName=cut.bin", "its count says 4000 bytes, and 3997 follow"),
        std::pair("--set P.FileName=cut.bin --set P.SavedBufferSizes=false",
                  "\"cut.bin\" ends inside a sample: the last 1 byte of 8 are no whole one")}) {
    const TOutcome Outcome = Run(std::string("run g.json ") + Set);
    EXPECT_NE(Outcome.Output.find(Remark), std::string::npos) << Outcome.Output << Outcome.Errors;
  }
}

// In real time the clock decides; a limit ends there too, at the sample.
TEST_F(Program, EndsAtItsLimitInRealTime) {
  const TOutcome Outcome = Run("run --realtime --seconds 0.05 --json " + FTone);
  EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
  EXPECT_EQ(Outcome.Lines().back().at("summary").at("end"), "limit");
  EXPECT_EQ(ReadReals("tone.bin").size(), 2400U);
}

// A source that falls silent (here at once: its file is empty) does not keep the run from its end.
TEST_F(Program, ASilentSourceTakesItsTime) {
  WriteFile(FFolder / "recording.bin", "");
  const TOutcome Outcome =
      Run("run --json " + FRecording + "--set Recording.Mode=pmRepeat --seconds 3600");
  EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
  EXPECT_EQ(Outcome.Lines().back().at("summary").at("end"), "limit");
}

TEST_F(Program, AnInterruptClosesFilesAndTellsResults) {
  for (const auto& [Signal, Code] : {std::pair("INT", 130), std::pair("TERM", 143)}) {
    // The shell that becomes the program leaves a child that waits for the first bytes, so that the
    // signal comes in the middle of the run.
    const std::string Killer = std::string(
                                   "rm -f tone.bin; ( while [ ! -s tone.bin ]; do :; done; "
                                   "kill -") +
                               Signal + " $$ ) & ";
    const TOutcome Outcome = Run("run --json " + FTone +
                                     "--seconds 1e9 --set "
                                     "LevelLog.FileName=/dev/null --set ToneLog.Ceiling=8000",
                                 Killer);
    EXPECT_EQ(Outcome.Code, Code) << Outcome.Errors;
    EXPECT_EQ(Outcome.Lines().back().at("summary").at("end"), "interrupted");
    EXPECT_EQ(ReadReals("tone.bin").size(), 1000U);
  }
}

TEST_F(Program, TellsADiskThatIsFull) {
  for (const char* Before : {"", "ulimit -f 4;"}) {
    const std::string File = *Before == '\0' ? "/dev/full" : "tone.bin";
    const TOutcome Outcome =
        Run("run --seconds 1e9 " + FTone + "--set ToneLog.FileName=" + File, Before);
    EXPECT_EQ(Outcome.Code, 1);
    EXPECT_NE(Outcome.Errors.find("ToneLog (TQSLogger): the file \"" + File), std::string::npos)
        << Outcome.Errors;
  }
  std::mt19937 Random(1);  // what no encoding makes short
  std::vector<double> Noise(100000);
  for (double& Sample : Noise) Sample = static_cast<double>(Random() % 60000) - 30000;
  WriteFile(FFolder / "a.bin", BytesOf(Noise));
  for (const char* Name : {"x.csv", "x.wav", "x.flac"}) {
    const TOutcome Outcome = Run(std::string("convert --rate 8000 a.bin ") + Name, "ulimit -f 4;");
    EXPECT_EQ(Outcome.Code, 1);
    EXPECT_NE(Outcome.Errors.find(std::string("cannot write \"")), std::string::npos)
        << Outcome.Errors;
  }
  for (const std::string& Name : FFolder.Names()) EXPECT_NE(Name.substr(0, 2), "x.") << Name;
}

// Whole conversions through pipes; in the end the same samples, and nothing but them on the output.
TEST_F(Program, ConvertsThroughPipes) {
  std::vector<double> Samples(50000);
  for (std::size_t I = 0; I < Samples.size(); ++I) Samples[I] = static_cast<double>(I % 1000);
  WriteFile(FFolder / "a.bin", BytesOf(Samples));
  for (const std::string Form : {"log", "csv", "wav", "flac"}) {
    const TOutcome Outcome = Run(
        "convert - - -q --from log --to-counts --rate 8000 --to " + Form +
        " < a.bin | '" PROGRAM "' convert - - -q --from-counts --from-sample 10 --to log --from " +
        Form);
    EXPECT_EQ(Outcome.Code, 0) << Form << Outcome.Errors;
    EXPECT_TRUE(Outcome.Output == BytesOf(Samples).substr(80)) << Form << Outcome.Errors;
  }
  // Streams that end where a file would be found to end, too.
  struct TCase {
    const char* Bytes;
    const char* Options;
    int Code;
    const char* Message;
  };
  for (const TCase& Case :
       {TCase{"abc", "--from log", 0, "the last 3 bytes left out: the file ends inside a sample"},
        TCase{"", "--from log", 0, "the standard input is empty"},
        TCase{"\\010", "--from log --from-counts", 0, "the last 1 byte left out"},
        TCase{"\\010\\0\\0\\0abc", "--from log --from-counts", 1, "but only 3 follow"},
        TCase{"", "", 1, "give the option --from"}}) {
    const TOutcome Outcome = Run(std::string("convert - x.csv ") + Case.Options,
                                 "printf '" + std::string(Case.Bytes) + "' |");
    EXPECT_EQ(Outcome.Code, Case.Code) << Outcome.Errors;
    EXPECT_NE(Outcome.Errors.find(Case.Message), std::string::npos) << Outcome.Errors;
  }
}

TEST_F(Program, ToldMistakesHavePlaceAndNameAndNothingRuns) {
  WriteFile(
      FFolder / "bad.json",
      "{\"tessalune\": 1, \"components\": [\n"
      "  {\"class\": \"TQSSignalGen\", \"name\": \"Tone\", \"properties\": {\"Frequncy\": 1}},\n"
      "  {\"class\": \"TQSLogger\", \"name\": \"Log\", \"properties\": {\"FileName\": "
      "\"x.bin\"}}],\n"
      "  \"links\": [[\"Tone.OutputPin\", \"Lag.InputPin\"]]}");
  for (const char* Command : {"validate", "run"}) {
    const TOutcome Text = Run(std::string(Command) + " bad.json");
    EXPECT_EQ(Text.Code, 2);
    EXPECT_EQ(Text.Output, "");
    for (const char* Part : {"bad.json:2:60: components[0].properties.Frequncy: ",
                             "bad.json:4:32: links[0][1]: there is no component \"Lag\""})
      EXPECT_NE(Text.Errors.find(Part), std::string::npos) << Text.Errors;

    const TOutcome Json = Run(std::string(Command) + " --json bad.json");
    EXPECT_EQ(Json.Code, 2);
    const json Result = Json.Lines().at(0);
    EXPECT_EQ(Result.at("valid"), false);
    EXPECT_EQ(Result.at("mistakes").size(), 2U);
    EXPECT_EQ(Result.at("mistakes").at(0).at("line"), 2);
  }
  EXPECT_EQ(FFolder.Names().size(), 2U);  // the graph and errors.txt: no log
}

TEST_F(Program, WrongCommandLinesAreMistakes) {
  for (const char* Arguments :
       {"", "fly", "run", "run absent.json", "run --samples 0 x.json", "run --seconds nan x.json",
        "run --seconds 1e999 x.json", "describe TQSAb", "convert a.bin b.wav --type rael",
        "list --nothing"}) {
    const TOutcome Outcome = Run(Arguments);
    EXPECT_EQ(Outcome.Code, 2) << Arguments;
    EXPECT_NE(Outcome.Errors, "") << Arguments;
  }
  for (const auto& [Arguments, Part] :
       {std::pair("run --set", "--set wants a value. Component.Property=value"),
        std::pair("convert a.bin", "OUT is missing. The file to write"),
        std::pair("run --samples 1.5 x.json", "1.5 is no whole number from 1"),
        std::pair("validate '" EXAMPLES "/filters.json' --set Average.Taps=a",
                  "--set Average.Taps=a: Taps cannot be \"a\"; expected is an array"),
        std::pair("convert nofile out", "cannot read \"nofile\": No such file")}) {
    const TOutcome Outcome = Run(Arguments);
    EXPECT_NE(Outcome.Errors.find(Part), std::string::npos) << Outcome.Errors;
  }
  EXPECT_EQ(Run("run --quiet --samples 1e3 " + FTone).Code, 0);
  EXPECT_EQ(ReadReals("tone.bin").size(), 1000U);
  EXPECT_EQ(Run("list > /dev/full").Code, 1);
  EXPECT_EQ(Run("run --json --seconds 1e9 " + FTone + "> /dev/full").Code, 1);
  EXPECT_NE(Run("--help").Output.find("Exit codes"), std::string::npos);
}

// What describe shows is what a graph takes: each class with each of its defaults written down is
// a sound graph.
TEST_F(Program, ListsAndDescribesWhatAGraphTakes) {
  const json Classes = Run("list --json").Lines().at(0);
  ASSERT_GE(Classes.size(), 9U);
  const std::function<json(const json&)> Defaults = [&](const json& AProperties) {
    json Values = json::object();
    for (const json& Row : AProperties) {
      if (!Row.value("stored", true)) continue;
      Values[Row.at("name")] =
          Row.contains("properties") ? Defaults(Row.at("properties")) : Row.at("default");
    }
    return Values;
  };
  json Components = json::array();
  for (const json& Class : Classes) {
    const std::string Name = Class.at("class");
    const json Described = Run("describe --json " + Name).Lines().at(0);
    EXPECT_FALSE(Described.at("pins").empty()) << Name;
    json Properties = Defaults(Described.at("properties"));
    if (Properties.contains("FileName")) Properties["Enabled"] = false;
    Components.push_back({{"class", Name}, {"name", Name}, {"properties", Properties}});
    const std::string Text = Run("describe " + Name).Output;
    for (const auto& Row : Described.at("properties")) {
      EXPECT_NE(Text.find("\n  " + Row.at("name").get<std::string>() + "  "), std::string::npos);
    }
  }
  WriteFile(FFolder / "all.json", json{{"tessalune", 1}, {"components", Components}}.dump());
  const TOutcome Valid = Run("validate all.json");
  EXPECT_EQ(Valid.Code, 0) << Valid.Errors;
  const TOutcome Generator = Run("describe TQSSignalGen");
  EXPECT_NE(Generator.Output.find("Double, default 500 Hz, above 0 Hz, usually between 0 and "
                                  "500000000 Hz"),
            std::string::npos)
      << Generator.Output;
}

TEST_F(Program, FormatsInPlace) {
  WriteFile(FFolder / "g.json",
            "{\"tessalune\":1,\"components\":[{\"class\":\"TQSAbs\",\"name\":"
            "\"A\"}]}");
  EXPECT_EQ(Run("format g.json -o g.json --set A.Enabled=false").Code, 0);
  const std::string Text = ReadFile(FFolder / "g.json");
  EXPECT_NE(Text.find("      \"properties\": {\n        \"Enabled\": false\n      }\n"),
            std::string::npos)
      << Text;
  EXPECT_EQ(Run("format g.json").Output, Text);
}

#ifdef PACKAGES
// The example package: from the command line, before the command and behind it, and from a graph,
// whose folder its name counts from.
TEST_F(Program, UsesAPackageOfSomebodyElse) {
  std::filesystem::create_directory(FFolder / "graphs");
  std::filesystem::create_symlink(PACKAGES "/package_workshop.so", FFolder / "graphs/w.so");
  const std::string Package = "--package '" PACKAGES "/package_workshop.so' ";
  EXPECT_EQ(Run("describe TMovingMean").Code, 2);
  for (const std::string& List : {Package + "list", "list --package graphs/w.so " + Package}) {
    const std::string Text = Run(List).Output;
    EXPECT_NE(Text.find("\nWorkshop\n  TMovingMean             Moving Mean\n"), std::string::npos);
  }
  EXPECT_EQ(Run(Package + "describe --json TSawtooth").Lines().at(0).at("category"), "Workshop");

  json Graph = json::parse(ReadFile(EXAMPLES "/../package/workshop.json"));
  Graph["packages"] = {"w.so"};
  WriteFile(FFolder / "graphs/g.json", Graph.dump());
  const TOutcome Outcome = Run("run --json graphs/g.json");
  EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
  EXPECT_EQ(Outcome.Errors,
            "tessalune: warning: the graph \"graphs/g.json\" loads the package \"graphs/w.so\", "
            "which is code and runs with all your rights\n");
  const auto Mean = ReadReals("mean.bin");
  ASSERT_EQ(Mean.size(), 8000U);
  // A whole tooth of 64 samples, from -1 on.
  for (std::size_t I = 64; I < Mean.size(); ++I) ASSERT_NEAR(Mean[I], -1.0 / 64, 1e-12) << I;
  const json Values = Outcome.Lines().back().at("summary").at("values");
  ASSERT_EQ(Values.size(), 1U) << Values;
  EXPECT_NEAR(Values[0].at("value").get<double>(), std::sqrt(3.0), 0.01);

  const TOutcome Looked = Run("validate graphs/g.json");
  EXPECT_EQ(Looked.Code, 2);
  EXPECT_NE(Looked.Errors.find("packages[0]: the package \"graphs/w.so\" was not loaded, for it is "
                               "code"),
            std::string::npos)
      << Looked.Errors;
  EXPECT_EQ(Run("validate graphs/g.json " + Package).Code, 0);
}

TEST_F(Program, RefusesWhatIsNoPackageForIt) {
  WriteFile(FFolder / "text.so", "no library");
  WriteFile(FFolder / "cut.so", ReadFile(PACKAGES "/package_IS_NEWER.so").substr(0, 5000));
  for (const auto& [File, Parts] : std::map<std::string, std::vector<std::string>>{
           {"nowhere.so", {"\"nowhere.so\" cannot be found", "expected is the path"}},
           {"text.so", {"\"text.so\" is no whole shared library", "expected is one"}},
           {"cut.so", {"\"cut.so\" is no whole shared library", "make it anew"}},
           {"/dev/null", {"is no whole shared library"}},
           {PACKAGES "/package_HAS_NO_FINALIZE.so", {"has no entry Finalize", "TESSALUNE_PACKAGE"}},
           {PACKAGES "/package_IS_NEWER.so", {"headers of version 9.1", "compile it"}},
           {PACKAGES "/package_TAKES_A_NAME.so", {"the name TQSAbs already", "choose another"}},
       }) {
    const TOutcome Outcome = Run("list --package '" + File + "'");
    EXPECT_EQ(Outcome.Code, 2) << File;
    for (const std::string& Part : Parts) {
      EXPECT_NE(Outcome.Errors.find(Part), std::string::npos) << File << ": " << Outcome.Errors;
    }
  }
}
#endif

// What shells complete is what the parser takes, and the manual page has all of it.
TEST_F(Program, CompletesCommandLinesWhoseWordsItsManualHas) {
  const auto Complete = [this](const std::string& AWords) {
    std::vector<std::string> Words;
    std::istringstream Stream(Run("complete " + AWords).Output);
    for (std::string Line; std::getline(Stream, Line);) {
      Words.push_back(Line.substr(0, Line.find('\t')));
    }
    return Words;
  };
  EXPECT_EQ(Complete("run --se"), (std::vector<std::string>{"--set", "--seconds"}));
  EXPECT_EQ(Complete("convert in out --from l"), std::vector<std::string>{"log"});
  EXPECT_EQ(Complete("--package p.so describe TQSMi"), std::vector<std::string>{"TQSMinMax"});
  EXPECT_EQ(Complete("run gr"), std::vector<std::string>{}) << "a file";

  const std::string Manual = ReadFile(MANUAL);
  const auto Commands = Complete("''");
  EXPECT_GE(Commands.size(), 6U);
  for (const std::string& Command : Commands) {
    EXPECT_NE(Manual.find("\n.SS \"" + Command + " "), std::string::npos) << Command;
    const std::string Help = Run(Command + " --help").Output;
    for (std::string Option : Complete(Command + " --")) {
      EXPECT_NE(Help.find(Option), std::string::npos) << Command << ' ' << Option;
      for (std::size_t At = 0; (At = Option.find('-', At)) != std::string::npos; At += 2) {
        Option.insert(At, 1, '\\');
      }
      EXPECT_NE(Manual.find(Option), std::string::npos) << Command << ' ' << Option;
    }
  }
}

// A chain as deep as a graph gets: validated and run without running out of stack, or of patience.
TEST_F(Program, TenThousandComponentsInARow) {
#if defined(__SANITIZE_THREAD__)
  constexpr int Count = 2000;  // the thread sanitizer ends at 65536 calls inside one another
#else
  constexpr int Count = 10000;
#endif
  json Graph{{"tessalune", 1}, {"components", json::array()}, {"links", json::array()}};
  Graph["components"].push_back({{"class", "TQSSignalGen"}, {"name", "C0"}});
  const auto NameOf = [](int AIndex) { return std::string("C").append(std::to_string(AIndex)); };
  for (int I = 1; I < Count; ++I) {
    const std::string Name = NameOf(I);
    Graph["components"].push_back(
        {{"class", I + 1 < Count ? "TQSAbs" : "TQSLogger"}, {"name", Name}});
    Graph["links"].push_back({NameOf(I - 1) + ".OutputPin", Name + ".InputPin"});
  }
  Graph["components"].back()["properties"]["FileName"] = "deep.bin";
  WriteFile(FFolder / "deep.json", Graph.dump());
  EXPECT_EQ(Run("validate deep.json").Code, 0);
  const TOutcome Outcome = Run("run --samples 100 deep.json");
  EXPECT_EQ(Outcome.Code, 0) << Outcome.Errors;
  EXPECT_EQ(ReadReals("deep.bin").size(), 100U);
}

TEST_F(Program, WritesTheReferenceToAFolder) {
  const TOutcome Written = Run("reference deep/pages");
  ASSERT_EQ(Written.Code, 0) << Written.Errors;
  const json Classes = json::parse(Run("list --json").Output);
  EXPECT_EQ(Written.Output,
            "deep/pages: pages of " + std::to_string(Classes.size()) + " classes\n");
  const std::string Index = ReadFile(FFolder / "deep/pages/index.html");
  for (const json& Class : Classes) {
    const std::string Page = Class["class"].get<std::string>() + ".html";
    EXPECT_NE(Index.find("href=\"" + Page), std::string::npos) << Page;
    EXPECT_TRUE(std::filesystem::exists(FFolder / ("deep/pages/" + Page))) << Page;
  }
  const TOutcome Missing = Run("reference pages --examples nowhere");
  EXPECT_EQ(Missing.Code, 1);
  EXPECT_EQ(Missing.Errors, "tessalune: there is no folder \"nowhere\"\n");
}

// --- measure ---

constexpr std::size_t ToneSamples = 40000;
constexpr double ToneCycles = 0.1234567;  // a sample; 2022.7 in a frame

std::vector<double> Tone(double AAmplitude, double ACycles = ToneCycles, double AOffset = 0.0) {
  std::vector<double> Samples(ToneSamples);
  for (std::size_t I = 0; I < Samples.size(); ++I) {
    const double Phase = std::fmod(ACycles * static_cast<double>(I), 1.0);
    Samples[I] = AAmplitude * std::sin(2 * 3.14159265358979324 * Phase) + AOffset;
  }
  return Samples;
}

template <class T>
std::vector<T> Codes(const std::vector<double>& ASamples) {
  std::vector<T> Codes;
  for (const double Sample : ASamples) Codes.push_back(static_cast<T>(std::nearbyint(Sample)));
  return Codes;
}

// An ideal converter's codes, in every form that holds them, measure as its error has it. The error
// is white and its square varies by 0.9 of its mean, so a frame's mean of 16384, which the window
// makes count as 6300, does by 0.05 dB: five times that is the bound. The bins of the tone, of its
// harmonics and of DC, 1.6 % of all, are part of it: 0.07 dB.
TEST_F(Program, MeasuresAnIdealConverter) {
  const std::vector<double> Exact = Tone(2000);
  double Errors = 0.0;
  for (const double X : Exact) Errors += std::pow(std::nearbyint(X) - X, 2);
  const double SINAD = 10 * std::log10(2000.0 * 2000 / 2 / (Errors / ToneSamples));
  WriteFile(FFolder / "i.bin", BytesOf(Codes<std::int32_t>(Exact)));
  WriteFile(FFolder / "u.bin", BytesOf(Codes<std::uint32_t>(Tone(2000, ToneCycles, 2048))));
  for (const char* Form : {"wav --encoding pcm16", "flac", "csv", "bin --to-type real"}) {
    const std::string Name = Form;
    Run("convert i.bin a." + Name.substr(0, Name.find(' ')) + " --type integer --rate 8000" +
        Name.substr(std::min(Name.size(), Name.find(' '))));
  }
  const std::string Options = " --json --rate 8000 --bits 12";
  const json First = Run("measure i.bin --type integer --graph g.json" + Options).Lines().back();
  const json Figures = First.at("measure").at("figures");
  EXPECT_EQ(First.at("measure").at("frames"), 2);
  EXPECT_EQ(First.at("measure").at("remarks"), json({"the last 7232 samples fill no frame"}));
  const auto ExpectNear = [&Figures](const char* AName, double AValue, double ABound) {
    for (const char* Which : {"least", "mean", "most"}) {
      EXPECT_NEAR(Figures.at(AName).at(Which), AValue, ABound) << AName;
    }
  };
  ExpectNear("CarrierSINAD", SINAD, 0.25);
  ExpectNear("CarrierENOB", (SINAD - 1.76) / 6.02, 0.05);
  ExpectNear("Fundamental", 20 * std::log10(2000 / 2047.5), 0.01);
  ExpectNear("FundFrequency", 8000 * ToneCycles, 0.002 * 8000 / 16384);
  EXPECT_EQ(Figures.at("HarmonicDistortion").size(), 5U);

  // The same samples, whatever they come in; a range that begins at 0 only moves them.
  for (const char* In : {"a.wav", "a.flac --full-scale 32768 --graph w.json", "a.csv", "a.bin",
                         "- --from log --type integer < i.bin", "u.bin --type unsigned"}) {
    const TOutcome Other = Run("measure " + std::string(In) + Options);
    EXPECT_EQ(Other.Code, 0) << In << Other.Errors;
    const json Again = Other.Lines().back().at("measure").at("figures");
    for (const char* Name : {"CarrierSINAD", "Fundamental"}) {
      EXPECT_NEAR(Again.at(Name).at("mean"), Figures.at(Name).at("mean"), 1e-6) << In;
    }
  }
  // The graphs measure the same, of the log itself and of one beside them; frames overlap, too.
  for (const auto& [Graph, In] : {std::pair("g.json", "i.bin --type integer"),
                                  std::pair("w.json", "a.flac --full-scale 32768"),
                                  std::pair("s.json",
                                            "a.bin --order 9 --step 100 --window hann "
                                            "--mask 5,6 --graph s.json")}) {
    const auto Measured = Run("measure " + std::string(In) + Options).Lines();
    std::vector<json> Records;
    for (const json& Line : Run("run --json " + std::string(Graph)).Lines()) {
      if (Line.value("event", "") == "OnStatsAvailable") Records.push_back(Line);
    }
    ASSERT_EQ(Records.size() + 1, Measured.size()) << Graph;
    for (std::size_t I = 0; I < Records.size(); ++I) {
      ASSERT_EQ(Records[I].at("arguments"), Measured[I].at("arguments")) << Graph << I;
    }
  }
}

TEST_F(Program, MeasureTellsWhatMakesFiguresDoubtful) {
  const double NaN = std::numeric_limits<double>::quiet_NaN();
  std::mt19937 Random(1);
  std::vector<double> Noise(ToneSamples);
  for (double& Sample : Noise) Sample = static_cast<double>(Random() % 2000) - 1000;
  std::vector<double> Clipped = Tone(3000);
  for (double& Sample : Clipped) Sample = std::clamp(Sample, -2048.0, 2047.0);
  std::vector<double> Broken = Tone(2000);
  Broken[20000] = NaN;
  WriteFile(FFolder / "tone.bin", BytesOf(Tone(2000)));
  WriteFile(FFolder / "noise.bin", BytesOf(Noise));
  WriteFile(FFolder / "clipped.bin", BytesOf(Clipped));
  WriteFile(FFolder / "broken.bin", BytesOf(Broken));
  WriteFile(FFolder / "silence.bin", BytesOf(std::vector<double>(ToneSamples, 7.0)));
  WriteFile(FFolder / "low.bin", BytesOf(Tone(1500, 2.3 / 16384, 500)));
  WriteFile(FFolder / "codes.bin", BytesOf(Tone(2000, ToneCycles, 2048)));
  WriteFile(FFolder / "short.bin", BytesOf(std::vector<double>(100, 1.0)));
  Run("convert tone.bin codes.wav --rate 8000");
  struct TCase {
    const char* Arguments;
    int Code;
    std::vector<const char*> Parts;  // of what is said
  };
  for (const TCase& Case : std::vector<TCase>{
           {"tone.bin --bits 12", 0, {"SINAD", "2 frames", "harmonic 6", "no rate is known"}},
           {"tone.bin", 0, {"samples fill 6.1", "taken for that of 16 bits"}},
           {"tone.bin --bits 11", 0, {"numbers beyond the range, -1024 and 1023"}},
           {"tone.bin --bits 12 --window rect", 0, {"of a bin beside one", "--window cossum"}},
           {"noise.bin --bits 12", 0, {"  no tone\n", "less than half of the power"}},
           {"clipped.bin --bits 12", 0, {"at the ends of the range, -2048 and 2047", "clipped"}},
           {"broken.bin --bits 12", 0, {"1 number NaN or infinite", "in 1 frame samples are NaN"}},
           {"silence.bin --bits 12", 1, {"0                 -", "  silence\n", "in 2 frames all"}},
           {"low.bin --bits 12 --rate 8e3", 0, {"tone in the DC region", "below 3.418 Hz"}},
           {"codes.bin --bits 12", 0, {"none is below 0: is it --unsigned?"}},
           {"codes.wav --bits 12", 0, {"fill 6.1", "; --full-scale 32768 gives back"}},
           {"short.bin --bits 12", 1, {"too short: there are 100 samples, and a frame has 256"}},
           {"absent.bin", 1, {"cannot read \"absent.bin\""}},
           {"tone.bin --order 40", 2, {"--order 40: ", "between 2 and 30"}},
           {"tone.bin --window fat", 2, {"--window fat: ", "expected is one of xwtNone"}},
           {"tone.bin --bits 12 --min 0", 2, {"--bits, or by --min and --max together"}},
           {"tone.bin --min 5 --max 5", 2, {"--max has to be above --min"}}}) {
    const TOutcome Outcome = Run("measure " + std::string(Case.Arguments));
    EXPECT_EQ(Outcome.Code, Case.Code) << Case.Arguments << Outcome.Errors;
    for (const char* Part : Case.Parts) {
      EXPECT_NE((Outcome.Output + Outcome.Errors).find(Part), std::string::npos)
          << Case.Arguments << ": no \"" << Part << "\" in\n"
          << Outcome.Output << Outcome.Errors;
    }
  }
}

}  // namespace
}  // namespace tessalune::host::test
