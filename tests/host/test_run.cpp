// Runs in this process, with classes that the program's own package does not have.
#include <gtest/gtest.h>
#include <host/CommandLine.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSReports.h>
#include <tessalune/frame/streams/QSPumpable.h>
#include <tessalune/frame/streams/QSStreamPins.h>
#include <tessalune/frame/streams/QSValuePins.h>
#include <tests/support/Files.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <limits>
#include <new>

namespace tessalune::host::test {
namespace {

using tessalune::test::BytesOf;
using tessalune::test::ReadFile;
using tessalune::test::TTempDir;
using tessalune::test::WriteFile;

enum class TTrouble : std::uint8_t { None, Loses, Memory, Signal };
}  // namespace
}  // namespace tessalune::host::test

template <>
struct tessalune::TEnumNames<tessalune::host::test::TTrouble> {
  static constexpr std::array<std::string_view, 4> Names{"None", "Loses", "Memory", "Signal"};
};

namespace tessalune::host::test {
namespace {

constexpr TPropertyInfo<std::string> TapeInfo{.Name = "Tape", .Default = ""};
constexpr TPropertyInfo<std::int64_t> LengthInfo{.Name = "Length", .Default = 0};
constexpr TPropertyInfo<TTrouble> TroubleInfo{.Name = "Trouble", .Default = TTrouble::None};

// A source that has nothing in common with the package's but the interfaces: blocks of four ones at
// 8 Hz, off a file that need only be there.
class TReel final : public TLockComponent,
                    public IPumpable,
                    public IFileUser,
                    public ILossReport,
                    public IRemarks {
 public:
  explicit TReel(TConstruct AConstruct)
      : TLockComponent(AConstruct), FOutputPin(TKLPinOwner(*this, FLock)) {}
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TReel"}, &TComponent::Published())
            .Pin("OutputPin", &TReel::OutputPin, "Ones.")
            .Property(TapeInfo, &TReel::Tape, &TReel::SetTape)
            .Property(LengthInfo, &TReel::SamplesInAll, &TReel::SetSamplesInAll)
            .Property(TroubleInfo, &TReel::Trouble, &TReel::SetTrouble);
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  TQSKLRealSourcePin& OutputPin() { return FOutputPin; }
  std::string Tape() const { return FLock->Getter(FTape); }
  void SetTape(std::string AValue) { NotifySetter(TapeInfo, FTape, std::move(AValue)); }
  std::int64_t SamplesInAll() const { return FLength; }
  void SetSamplesInAll(std::int64_t AValue) { FLength = AValue; }
  TTrouble Trouble() const { return FTrouble; }
  void SetTrouble(TTrouble AValue) { FTrouble = AValue; }

  void Start() override {
    FIsRunning = true;
    FOutputPin.Notify(MakeRef<TKLStartSampleRateOperation>(SampleRate()));
    while (FClockSource != TQSClockSource::csExternal && Pump()) {  // its clock: all at once
    }
  }
  void Stop() override {
    if (!FIsRunning) return;
    FIsRunning = false;
    FOutputPin.EndStop();
    FOnStop(*this);
  }
  bool Pump() override {
    if (FTrouble == TTrouble::Memory) throw std::bad_alloc();
    do {  // with Signal, blocks without end in one pump
      std::int64_t Samples = std::min<std::int64_t>(BufferSize(), FBlockLimit);
      if (FLength > 0) Samples = std::min(Samples, FLength - FSent);
      const std::vector<double> Ones(static_cast<std::size_t>(Samples), 1.0);
      FOutputPin.SubmitBuffer(
          IQSRealBuffer::CreateData(Ones.data(), static_cast<std::int32_t>(Samples)));
      FSent += Samples;
      if (FLength > 0 && FSent >= FLength) Stop();
      if (FTrouble == TTrouble::Signal && FSent == 40) std::raise(SIGTERM);
    } while (FTrouble == TTrouble::Signal && FIsRunning);
    return FIsRunning;
  }
  bool IsRunning() const override { return FIsRunning; }
  void SetOnStop(TNotifyEvent AHandler) override { FOnStop = std::move(AHandler); }
  bool Enabled() const override { return FEnabled; }
  void SetEnabled(bool AValue) override { FEnabled = AValue; }
  TQSClockSource ClockSource() const override { return FClockSource; }
  void SetClockSource(TQSClockSource AValue) override { FClockSource = AValue; }
  TClockLag ClockLag() const override { return {1.5, 2, 3, 6}; }
  double SampleRate() const override { return 8.0; }
  std::int32_t BufferSize() const override { return 4; }
  void LimitBlock(std::int64_t ASamples) override { FBlockLimit = ASamples; }
  bool EndsByItself() const override { return FLength > 0; }
  std::optional<std::int64_t> Length() const override { return FLength; }

  std::vector<TUsedFile> UsedFiles() const override {
    return {{.Property = "Tape", .FileName = Tape(), .Way = TFileWay::Reads, .Bytes = FSent}};
  }
  std::vector<TLoss> Losses() const override {
    return {{FTrouble == TTrouble::Loses ? 7 : 0, "byte", "the tape \"" + Tape() + "\" is torn"}};
  }
  std::vector<std::string> Remarks() const override { return {"the tape is old"}; }

 private:
  TQSKLRealSourcePin FOutputPin;
  std::string FTape;
  TField<std::int64_t> FLength;
  TField<TTrouble> FTrouble;
  std::int64_t FSent = 0;
  std::int64_t FBlockLimit = std::numeric_limits<std::int64_t>::max();
  bool FIsRunning = false;
  bool FEnabled = true;
  TQSClockSource FClockSource = TQSClockSource::csAuto;
  TNotifyEvent FOnStop;
};

// An analyser: of each block how many samples there were so far, as each kind of value.
class TGauge final : public TLockComponent {
 public:
  explicit TGauge(TConstruct AConstruct)
      : TLockComponent(AConstruct),
        FInputPin(TKLPinOwner(*this, FLock),
                  [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                         TKLNotifyState) {
                    if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
                      Take(AOperation.GetInstance<TKLSuppliedBufferOperation>().Samples);
                    }
                    return TKLNotifyResult{};
                  }),
        FCountPin(TKLPinOwner(*this, FLock)),
        FHalfPin(TKLPinOwner(*this, FLock)),
        FTurnPin(TKLPinOwner(*this, FLock)) {}
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TGauge"}, &TComponent::Published())
            .Pin("InputPin", &TGauge::InputPin, "", true)
            .Pin("CountPin", &TGauge::CountPin, "")
            .Pin("HalfPin", &TGauge::HalfPin, "")
            .Pin("TurnPin", &TGauge::TurnPin, "")
            .Action("Interrupt", &TGauge::Interrupt, "")
            .Action("Reset", &TGauge::Reset, "Counts anew.");
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  TQSKLRealSinkPin& InputPin() { return FInputPin; }
  TKLIntRangedSourcePin& CountPin() { return FCountPin; }
  TKLRealSourcePin& HalfPin() { return FHalfPin; }
  TKLComplexSourcePin& TurnPin() { return FTurnPin; }
  void Reset() { FCount = 0; }
  void Interrupt() { std::raise(SIGTERM); }

 private:
  void Take(std::int32_t ASamples) {
    FCount += ASamples;
    const auto Count = static_cast<double>(FCount);
    FCountPin.SubmitValueRange(FCount, 0, 100);
    FHalfPin.SetValue(Count / 2);
    FTurnPin.SetValue({Count, -Count});
  }

  TQSKLRealSinkPin FInputPin;
  TKLIntRangedSourcePin FCountPin;
  TKLRealSourcePin FHalfPin;
  TKLComplexSourcePin FTurnPin;
  std::int64_t FCount = 0;
};

class Run : public testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterComponents({ClassOf<TReel>(), ClassOf<TGauge>()}); }

  struct TOutcome {
    int Code;
    std::string Output;  // with elapsed times as E
    std::string Errors;
  };
  // The text with the test's folder for each %.
  std::string InFolder(std::string AText) const {
    for (std::size_t At; (At = AText.find('%')) != std::string::npos;) {
      AText.replace(At, 1, FFolder / "");
    }
    return AText;
  }

  // AWords are divided by spaces.
  TOutcome Do(const std::string& AWords) {
    std::string Command = InFolder("tessalune " + AWords);
    std::vector<char*> Arguments;
    for (char* Word = std::strtok(Command.data(), " "); Word != nullptr;
         Word = std::strtok(nullptr, " ")) {
      Arguments.push_back(Word);
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int Code = RunCommandLine(static_cast<int>(Arguments.size()), Arguments.data());
    std::string Output = testing::internal::GetCapturedStdout();
    const std::size_t Elapsed = Output.rfind(" s of stream in ");
    if (Elapsed != std::string::npos) {
      const std::size_t At = Elapsed + std::strlen(" s of stream in ");
      Output.replace(At, Output.find(' ', At) - At, "E");
    }
    return {Code, Output, testing::internal::GetCapturedStderr()};
  }

  // AComponents: "class name properties"; the file becomes g.json.
  void Graph(const std::vector<std::array<const char*, 3>>& AComponents, const std::string& ALinks,
             const std::string& ARun = "{}") {
    std::string Text;
    for (const auto& [Class, Name, Properties] : AComponents) {
      Text += std::string(Text.empty() ? "" : ",\n") + R"({"class": ")" + Class +
              R"(", "name": ")" + Name + R"(", "properties": {)" + Properties + "}}";
    }
    Text = R"({"tessalune": 1, "components": [)" + Text + R"(], "links": [)" + ALinks +
           R"(], "run": )" + ARun + "}";
    WriteFile(FFolder / "g.json", InFolder(Text));
  }
  void ReelAndGauge(const std::string& ARun = "{}") {
    WriteFile(FFolder / "tape", "");
    Graph({{"TReel", "Reel", R"("Tape": "%tape")"}, {"TGauge", "Gauge", ""}},
          R"(["Reel.OutputPin", "Gauge.InputPin"])", ARun);
  }

  struct TCase {
    const char* Command;
    int Code;
    std::vector<const char*> Parts;  // of what is said, wherever
  };
  void Expect(const std::vector<TCase>& ACases) {
    for (const TCase& Case : ACases) {
      const TOutcome Outcome = Do(Case.Command);
      EXPECT_EQ(Outcome.Code, Case.Code) << Case.Command << '\n' << Outcome.Errors;
      for (const std::string Part : Case.Parts) {
        const std::string Text = InFolder(Part);
        EXPECT_NE((Outcome.Output + Outcome.Errors).find(Text), std::string::npos)
            << Case.Command << ": no \"" << Text << "\" in\n"
            << Outcome.Output << Outcome.Errors;
      }
    }
  }

  const TTempDir FFolder;
};

// Steps fall on their sample in all streams, also behind filters with threads of their own; those
// for the same moment keep their order. On clocks of their own sources are stepped between blocks.
TEST_F(Run, ChangesOnTheWay) {
  constexpr const char* Gain = R"("ApplyOperation": "faoMultiply", "Value": 1)";
  constexpr const char* Threaded =
      R"("ApplyOperation": "faoMultiply", "Value": 1, "Threading": {"Enabled": true})";
  WriteFile(FFolder / "tape", "");
  const auto Script = [&](const std::string& ALimit, const std::string& ASteps) {
    Graph(
        {{"TReel", "Reel", R"("Tape": "%tape")"},
         {"TQSSignalGen", "Fast",
          R"("SignalType": "stDc", "Amplitude": 0, "Offset": 1, "SampleRate": 16, "BufferSize": 7)"},
         {"TQSApplyRealConst", "One", Gain},
         {"TQSApplyRealConst", "Other", Threaded},
         {"TQSLogger", "LogOne", R"("FileName": "%one.bin")"},
         {"TQSLogger", "LogOther", R"("FileName": "%other.bin")"},
         {"TGauge", "Gauge", ""}},
        R"(["Reel.OutputPin", "One.InputPin"], ["One.OutputPin", "LogOne.InputPin"],
             ["Fast.OutputPin", "Other.InputPin"], ["Other.OutputPin", "LogOther.InputPin"],
             ["One.OutputPin", "Gauge.InputPin"])",
        std::string("{") + ALimit + R"("watch": ["Gauge.CountPin"], "at": [)" + ASteps + "]}");
  };
  Script(R"("seconds": 1.5, )", R"(
      {"seconds": 1, "set": {"One.Value": 3, "Other.Value": 3}},
      {"samples": 10, "set": {"One.Value": 9, "Other.Enabled": true}},
      {"samples": 10, "set": {"One.Value": 2, "Other.Value": 2}, "call": "Gauge.Reset"},
      {"seconds": 7, "call": ["Gauge.Reset"]})");
  Expect({{"run %g.json",
           0,
           {"Gauge.CountPin\t4\n", "Gauge.CountPin\t5\n", "Gauge.CountPin\t3\n",
            "Note: run.at[3] (line 13) was not done: the run ended before 7 s"}}});
  EXPECT_EQ(ReadFile(FFolder / "one.bin"), BytesOf<double>({1, 1, 1, 1, 1, 2, 2, 2, 3, 3, 3, 3}));
  EXPECT_EQ(ReadFile(FFolder / "other.bin"), BytesOf<double>({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2,
                                                              2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3}));

  // A new rate moves what is measured in seconds; a source that nothing will enable again is over.
  const auto Play = [&](const std::string& ARun) {
    Graph({{"TQSSignalGen", "Fast",
            R"("SignalType": "stDc", "Amplitude": 0, "Offset": 1, "SampleRate": 16)"},
           {"TQSApplyRealConst", "One", Gain},
           {"TQSLogger", "LogOne", R"("FileName": "%one.bin")"},
           {"TGauge", "Gauge", ""}},
          R"(["Fast.OutputPin", "One.InputPin"], ["One.OutputPin", "LogOne.InputPin"],
             ["One.OutputPin", "Gauge.InputPin"])",
          ARun);
  };
  Play(R"({"seconds": 1, "at": [{"seconds": 0.25, "set": {"Fast.SampleRate": 4}},
                                {"seconds": 0.75, "set": {"One.Value": 2}}]})");
  Expect({{"run %g.json", 0, {": 7 samples, 1 s of stream"}}});
  EXPECT_EQ(ReadFile(FFolder / "one.bin"), BytesOf<double>({1, 1, 1, 1, 1, 1, 2}));
  Play(R"({"seconds": 1, "at": [{"samples": 15, "set": {"Fast.SampleRate": 4}}]})");
  Expect({{"run %g.json", 0, {": 15 samples,", "(limit)"}}});
  Play(R"({"at": [{"samples": 8, "set": {"Fast.Enabled": false}}]})");
  Expect({{"run %g.json",
           0,
           {"(sources ended)",
            "Fast (TQSSignalGen) was disabled on the way and not enabled again: it sent 8 "
            "samples"}}});
  Play(R"({"realtime": true, "at": [{"samples": 1, "set": {"Fast.Enabled": false}},
                                    {"seconds": 0.01, "set": {"Fast.Enabled": true}},
                                    {"samples": 3000, "call": "Gauge.Interrupt"}]})");
  Expect({{"run %g.json --set Fast.SampleRate=1e5", 143, {"(interrupted)"}}});
  Play(R"({"at": [{"samples": 1, "set": {"LogOne.FileName": "%g.json"}},
                  {"samples": 2, "set": {"LogOne.FileName": "%no/x"}}]})");
  Expect({{"run %g.json",
           2,
           {"run.at[0].set.LogOne.FileName: LogOne (TQSLogger): would overwrite \"%g.json\"",
            "run.at[1].set.LogOne.FileName: LogOne (TQSLogger): cannot write \"%no/x\""}}});

  Script("", R"({"seconds": -1, "set": {"One.Valeu": 1, "Two.Value": 2, "Other.Threading": true}},
      {"set": {"Fast.SampleRate": 0}, "call": 3}, {"seconds": 1, "samples": 1},
      {"seconds": 1, "call": ["Gauge.Rest", "One.Stop", "One"], "then": 1},
      {"seconds": 2, "set": {"Fast.BufferSize": "much", "Reel.Tape": ["a"]}})");
  Expect({{"run %g.json",
           2,
           {"run.at[0].seconds: expected is a number of seconds from 0",
            "run.at[0].set.One.Valeu: TQSApplyRealConst has no property \"Valeu\"; did you mean "
            "Value?",
            "run.at[0].set.Two.Value: there is no component \"Two\"",
            "run.at[0].set.Other.Threading: Threading is",
            "run.at[1].set.Fast.SampleRate: Fast (TQSSignalGen): SampleRate",
            "run.at[1]: an entry of \"at\" needs one of \"seconds\" and \"samples\"",
            "run.at[1].call: an action to call, such as \"Shot.Snapshot\", is a string",
            "run.at[2]: an entry of \"at\" needs one of",
            "run.at[2]: an entry of \"at\" needs \"set\" or \"call\"",
            "run.at[3].call[0]: Gauge (TGauge) has no action \"Rest\", only Interrupt, Reset; did "
            "you mean "
            "Reset?",
            "run.at[3].call[1]: One (TQSApplyRealConst) has no action \"Stop\", and no other",
            "run.at[3].call[2]: expected is Component.Action",
            "run.at[3].then:", "run.at[4].set.Fast.BufferSize: Fast (TQSSignalGen): BufferSize",
            "run.at[4].set.Reel.Tape: "}}});
}

// A class that the program has never heard of is pumped, cut at the limit, watched, and asked for
// its file, its losses and its remarks.
TEST_F(Run, ServesClassesOfOtherPackages) {
  ReelAndGauge(R"({"samples": 10, "watch": ["Gauge.CountPin"]})");
  const TOutcome Whole = Do("run %g.json --watch Gauge.TurnPin");
  EXPECT_EQ(Whole.Code, 0) << Whole.Errors;
  EXPECT_EQ(Whole.Output,
            "0\tGauge.CountPin\t4\n0\tGauge.TurnPin\t4-4i\n"
            "0.5\tGauge.CountPin\t8\n0.5\tGauge.TurnPin\t8-8i\n"
            "1\tGauge.CountPin\t10\n1\tGauge.TurnPin\t10-10i\n" +
                (FFolder / "g.json") +
                ": 10 samples, 1.25 s of stream in E s (limit)\n"
                "  Reel (TReel): 10 samples at 8 Hz\n"
                "  Reel (TReel): 10 bytes of \"" +
                (FFolder / "tape") +
                "\"\n"
                "  Gauge (TGauge).CountPin: 10 (the last of 3 values, at 1 s)\n"
                "  Gauge (TGauge).TurnPin: 10-10i (the last of 3 values, at 1 s)\n"
                "  Gauge (TGauge).HalfPin: 5 (the last of 3 values, at 1 s)\n"
                "  Note: Reel (TReel): the tape is old\n");
  Expect({
      {"run %g.json --samples 1", 0, {": 1 sample, 0.125 s", "1 byte of", "the last of 1 value,"}},
      {"run %g.json --set Reel.Length=5", 0, {": 5 samples, 0.625 s", "(sources ended)"}},
      {"run %g.json --json",
       0,
       {R"({"component":"Gauge","class":"TGauge","pin":"CountPin","time":0.5,"value":8})",
        R"("pin":"TurnPin","time":1.0,"value":{"real":10.0,"imaginary":-10.0},"count":3})",
        R"({"component":"Reel","class":"TReel","samples":10,"rate":8.0,"file":"%tape","bytes":10,)",
        R"("remarks":["Reel (TReel): the tape is old"])"}},
      {"run %g.json -q --watch Gauge.HalfPin --watch-file %w.csv", 0, {}},
      {"run %g.json --realtime --set Reel.Length=12",
       0,
       {"Reel (TReel) fell behind its clock, by up to 1.5 s (2 s after its start); to catch up, 3 "
        "s "
        "(6 blocks) of its time were skipped"}},
      {"run %g.json --realtime --json", 0, {R"("lag":1.5,"skipped":3.0,)"}},
      {"run %g.json --set Reel.Trouble=Loses",
       1,
       {"tessalune: Reel (TReel): the tape \"%tape\" is torn", "(failed)"}},
      {"run %g.json --set Reel.Trouble=Memory", 1, {"Reel (TReel): there is not enough memory"}},
      {"run %g.json --set Reel.Tape=%absent",
       2,
       {"components[0]: Reel (TReel): cannot read \"%absent\": there is no such file"}},
      {"run %g.json --set Reel.Tape=", 2, {"Tape is empty; name the file to read"}},
      {"run %g.json --samples 99999 --set Reel.Trouble=Signal",
       143,
       {": 44 samples", "(interrupted)"}},
  });
  EXPECT_EQ(ReadFile(FFolder / "w.csv"),
            "time,name,value\n0,Gauge.CountPin,4\n0,Gauge.HalfPin,2\n0.5,Gauge.CountPin,8\n"
            "0.5,Gauge.HalfPin,4\n1,Gauge.CountPin,10\n1,Gauge.HalfPin,5\n");
  Do("run %g.json --samples 1 --watch Gauge.TurnPin --watch-file %c.csv");
  EXPECT_EQ(ReadFile(FFolder / "c.csv"),
            "time,name,value,imaginary\n0,Gauge.CountPin,1,\n0,Gauge.TurnPin,1,-1\n");
}

TEST_F(Run, RefusesWhatCannotBeWatched) {
  ReelAndGauge(R"({"watch": ["Gauge.Count", 3]})");
  Expect({{"validate %g.json",
           2,
           {"run.watch[0]: Gauge (TGauge) has no pin \"Count\", only InputPin, CountPin",
            "run.watch[1]: a pin to watch is a string"}}});
  ReelAndGauge(R"({"samples": 4})");
  Expect({
      {"run %g.json --watch Reel.OutputPin",
       2,
       {"--watch Reel.OutputPin: ", "no pin of Reel (TReel)"}},
      {"run %g.json --watch Gauge.InputPin",
       2,
       {"sends no single values; of the pins of Gauge (TGauge) expected is CountPin, HalfPin"}},
      {"run %g.json --watch Gauge", 2, {"\"Gauge\" names no pin"}},
      {"run %g.json --watch-file %w.csv", 2, {"nothing is watched; name a pin with --watch"}},
      {"run %g.json --watch Gauge.HalfPin --watch-file %tape", 2, {"Reel (TReel) uses that file"}},
      {"run %g.json --watch Gauge.HalfPin --watch-file %absent/w.csv",
       1,
       {"cannot write \"%absent"}},
      {"run %g.json --watch Gauge.HalfPin --watch-file /dev/full",
       1,
       {"No space left", "(failed)"}},
  });
}

// What is no mistake, but most likely not meant: warnings of validate, remarks of run.
TEST_F(Run, SaysWhatIsMostLikelyNotMeant) {
  Graph({{"TQSSignalGen", "Tone", ""},
         {"TQSAbs", "Fold", ""},
         {"TQSLogger", "Log", R"("FileName": "%x.bin")"},
         {"TQSSignalGen", "Alone", ""}},
        R"(["Tone.OutputPin", "Fold.InputPin"], ["Tone.OutputPin", "Alone.ClockInputPin"])",
        R"({"samples": 5000})");
  const std::vector<const char*> Said{
      "Log (TQSLogger) gets nothing: no output is linked to InputPin",
      "Alone (TQSSignalGen) is not run: its output is linked to nothing"};
  Expect({{"validate %g.json", 0, Said},
          {"validate %g.json --json", 0, {R"("valid":true,"mistakes":[],"warnings":[{"line":3)"}},
          {"validate %g.json --strict", 2, Said},
          {"run %g.json", 0, Said}});
  // Nor is it by the start of what ticks it.
  EXPECT_EQ(Do("run %g.json --json").Output.find(R"("component":"Alone")"), std::string::npos);

  Graph({{"TQSSignalGen", "Tone", ""}, {"TQSAbs", "Fold", ""}, {"TQSAbs", "Again", ""}},
        R"(["Tone.OutputPin", "Fold.InputPin"], ["Fold.OutputPin", "Again.InputPin"])",
        R"({"samples": 50})");
  Expect(
      {{"run %g.json",
        0,
        {"Tone (TQSSignalGen) leads nowhere: the output of Again (TQSAbs) is linked to nothing"}}});
}

// A filter that cannot be made says so before a run and behind it, and what would do.
TEST_F(Run, TellsWhatFiltersRemark) {
  Graph({{"TQSSignalGen", "Tone", R"("SampleRate": 48000, "Frequency": 24000)"},
         {"TQSLowPass", "Low", R"("FilterType": "ftIIR")"},
         {"TQSHighPass", "High", R"("FilterType": "ftBiquadIIR")"},
         {"TQSIir", "Own", R"("Taps": {"_Values": [1, 2, 0, 3]})"},
         {"TQSLogger", "Log", R"("FileName": "%x.bin")"}},
        R"(["Tone.OutputPin", "Low.InputPin"], ["Low.OutputPin", "High.InputPin"],
           ["High.OutputPin", "Own.InputPin"], ["Own.OutputPin", "Log.InputPin"])",
        R"({"samples": 500})");
  const std::vector<const char*> Said{
      "Tone (TQSSignalGen): Frequency is 24000 Hz and the sample rate 48000 Hz, so the signal is "
      "silent; choose a Frequency below 24000 Hz",
      "Low (TQSLowPass): passes its stream through unchanged: ",
      "ftBiquadIIR, which takes this order",
      "High (TQSHighPass): Frequency, 45000 Hz, is not below half the sample rate",
      "Own (TQSIir): passes its stream through unchanged: A0 is 0"};
  Expect({{"validate %g.json", 0, Said}, {"run %g.json", 0, Said}});
  const char* const Repaired =
      " --set Tone.Frequency=500 --set Low.Order=4 --set High.Frequency=20 --set Own.Taps=1,0,1,0";
  EXPECT_EQ(Do("validate %g.json --strict" + std::string(Repaired)).Code, 0);
}

// Nothing runs where all depends on a source that is off; the program says so and fails, whichever
// way the clocks go.
TEST_F(Run, FailsWhereNothingRuns) {
  Graph({{"TQSSignalGen", "Clock", R"("Enabled": false)"},
         {"TQSSignalGen", "Tone", ""},
         {"TQSLogger", "Log", R"("FileName": "%x.bin")"}},
        R"(["Clock.OutputPin", "Tone.ClockInputPin"], ["Tone.OutputPin", "Log.InputPin"])",
        R"({"samples": 100})");
  const std::vector<const char*> Said{"nothing ran",
                                      "Clock (TQSSignalGen) was not run: its Enabled",
                                      "what is to tick it does not run: Clock (TQSSignalGen)"};
  Expect({{"run %g.json", 1, Said},
          {"run %g.json --realtime", 1, Said},
          {"validate %g.json", 0, {"warning: nothing would run"}},
          {"run %g.json --set Clock.Enabled=true", 0, {": 100 samples", "(limit)"}}});
  Graph({}, "");
  Expect({{"run %g.json", 1, {"nothing ran: there is no source"}},
          {"validate %g.json --strict", 2, {"the graph has no source"}}});
}

// Streams that should meet and cannot: one that never comes is told, what a queue has to drop
// fails.
TEST_F(Run, TellsInputsThatDoNotMeet) {
  Graph({{"TQSSignalGen", "Clock", R"("Enabled": false)"},
         {"TQSSignalGen", "Tone", ""},
         {"TQSSignalGen", "Other", R"("BufferSize": 100000)"},
         {"TQSMultiply", "Mix", ""},
         {"TQSLogger", "Log", R"("FileName": "%x.bin")"}},
        R"(["Clock.OutputPin", "Tone.ClockInputPin"], ["Other.OutputPin", "Mix.InputPins[0]"],
           ["Tone.OutputPin", "Mix.InputPins[1]"], ["Mix.OutputPin", "Log.InputPin"])",
        R"({"samples": 1000000})");
  Expect({{"run %g.json",
           0,
           {"Mix (TQSMultiply): nothing came out, since InputPins[1] is linked but no stream"}},
          {"run %g.json --samples 1100000",
           1,
           {"Mix (TQSMultiply): InputPins[0] ran more than 1024000 samples ahead",
            "so 100000 of its samples were dropped"}},
          {"run %g.json --set Tone.Enabled=false", 0, {"8000000 bytes"}}});
}

// The limit holds for a block whose count asks for 4 GiB, too.
TEST_F(Run, CutsABlockWithACountAtTheLimit) {
  WriteFile(FFolder / "in.bin", tessalune::test::BytesOf<std::uint32_t>({0xFFFFFFF8}));
  std::filesystem::resize_file(FFolder / "in.bin", std::uintmax_t{5} << 30);
  Graph({{"TQSPlayer", "Play", R"("FileName": "%in.bin", "SavedBufferSizes": true)"},
         {"TQSAbs", "Fold", ""},
         {"TQSLogger", "Log", R"("FileName": "%x.bin")"}},
        R"(["Play.OutputPin", "Fold.InputPin"], ["Fold.OutputPin", "Log.InputPin"])");
  Expect({{"run %g.json --samples 10", 0, {": 10 samples", "80 bytes of", "(limit)"}}});
  EXPECT_EQ(ReadFile(FFolder / "x.bin").size(), 80U);
}

}  // namespace
}  // namespace tessalune::host::test
