#include <gtest/gtest.h>
#include <host/convert/Convert.h>
#include <host/convert/LogFile.h>
#include <tessalune/frame/runtime/QSException.h>
#include <tests/support/Files.h>

#include <sndfile.h>
#include <sys/file.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>

namespace tessalune::host::test {
namespace {

using tessalune::test::BytesOf;
using tessalune::test::ReadFile;
using tessalune::test::TTempDir;
using tessalune::test::WriteFile;

class ConvertFiles : public testing::Test {
 protected:
  TConvertResult Convert(const std::string& AIn, const std::string& AOut,
                         const std::function<void(TConvertOptions&)>& AChange = {}) {
    TConvertOptions Options;
    Options.In = FFolder / AIn;
    Options.Out = FFolder / AOut;
    if (AChange) AChange(Options);
    return host::Convert(Options, [] { return false; });
  }

  // The message with which the conversion is refused. Nothing may be left of its output.
  std::string Refusal(const std::string& AIn, const std::string& AOut,
                      const std::function<void(TConvertOptions&)>& AChange = {}) {
    const auto Before = FFolder.Names().size();
    try {
      Convert(AIn, AOut, AChange);
    } catch (const EQSException& Error) {
      EXPECT_EQ(FFolder.Names().size(), Before);
      return Error.what();
    }
    return "no refusal";
  }

  void WriteLog(const std::string& AName, const std::string& ABytes) {
    WriteFile(FFolder / AName, ABytes);
  }
  std::string Read(const std::string& AName) { return ReadFile(FFolder / AName); }

  const TTempDir FFolder;
};

std::string Count(std::uint32_t ACount) { return BytesOf(std::vector{ACount}); }

struct TTypeCase {
  TSampleType Type;
  std::string Log;
  bool FitsFlac;  // within 24 bits at full scale 32768

  // For the test's name.
  friend std::ostream& operator<<(std::ostream& AStream, const TTypeCase& ACase) {
    return AStream << "type " << static_cast<int>(ACase.Type) << (ACase.FitsFlac ? ", FLAC" : "");
  }
};

class EveryType : public ConvertFiles, public testing::WithParamInterface<TTypeCase> {};

// The extremes of each type, odd values between, and as many samples as take several reads.
TEST_P(EveryType, ComesBackFromATableAndFromAudio) {
  const TTypeCase& Case = GetParam();
  std::string Log = Case.Log;
  while (Log.size() < 200000) Log += Log;
  const auto WithType = [&](TConvertOptions& AOptions) {
    AOptions.Type = Case.Type;
    AOptions.Rate = 8000;
  };
  WriteLog("a.bin", Log);
  for (const char* Name : {"a.csv", "a.wav", "a.flac"}) {
    if (std::string(Name) == "a.flac" && !Case.FitsFlac) continue;
    const auto Result = Convert("a.bin", Name, WithType);
    EXPECT_TRUE(Result.Remarks.empty()) << Name << ": " << Result.Remarks.at(0);
    Convert(Name, "b.bin", WithType);
    EXPECT_EQ(Read("b.bin") == Log, true) << Name;
  }
}

TEST_P(EveryType, ComesBackWithCounts) {
  const TTypeCase& Case = GetParam();
  const std::size_t SampleBytes = InfoOf(Case.Type).Bytes;
  const auto Head = static_cast<std::uint32_t>(2 * SampleBytes);
  const auto Rest = static_cast<std::uint32_t>(Case.Log.size() - Head);
  // Three records: two samples, none, and the rest.
  WriteLog("a.bin",
           Count(Head) + Case.Log.substr(0, Head) + Count(0) + Count(Rest) + Case.Log.substr(Head));
  const auto WithCounts = [&](TConvertOptions& AOptions) {
    AOptions.Type = Case.Type;
    AOptions.FromCounts = AOptions.ToCounts = true;
    AOptions.BlockSize = 3;
  };
  Convert("a.bin", "a.csv", WithCounts);
  Convert("a.csv", "b.bin", WithCounts);
  std::string Expected;
  for (std::size_t At = 0; At < Case.Log.size(); At += 3 * SampleBytes) {
    const std::string Record = Case.Log.substr(At, 3 * SampleBytes);
    Expected += Count(static_cast<std::uint32_t>(Record.size())) + Record;
  }
  EXPECT_EQ(Read("b.bin"), Expected);
}

constexpr double Tiny = std::numeric_limits<double>::denorm_min();
constexpr double Huge = 0x1.fffffffffffffp+1000;
INSTANTIATE_TEST_SUITE_P(
    Types, EveryType,
    testing::Values(
        TTypeCase{TSampleType::Real,
                  BytesOf<double>({0.1, -32768, 32767.5, 0x1p-900, Huge, -0.0, 1.0 / 3}), false},
        TTypeCase{TSampleType::Real, BytesOf<double>({-32768, 32767.9921875, 0, 1, -0.5}), true},
        TTypeCase{TSampleType::Complex, BytesOf<double>({0.1, -3, 1e5, 7, 0, -1e-9, 2, 4}), false},
        TTypeCase{TSampleType::Integer, BytesOf<std::int32_t>({INT32_MIN, -1, 0, 1, INT32_MAX}),
                  false},
        TTypeCase{TSampleType::Unsigned, BytesOf<std::uint32_t>({0, 1, UINT32_MAX, 77}), false},
        TTypeCase{TSampleType::Block, BytesOf<std::uint8_t>({0, 1, 127, 128, 255}), true}));

TEST_F(ConvertFiles, NonFiniteAndSmallestNumbersPassATable) {
  const std::string Log = BytesOf<double>({Tiny, -INFINITY, INFINITY, std::nan("")});
  WriteLog("a.bin", Log);
  Convert("a.bin", "a.csv");
  Convert("a.csv", "b.bin");
  EXPECT_EQ(Read("b.bin"), Log);
}

// 16-bit audio reads as the numbers that are in it, and is written as it was read.
TEST_F(ConvertFiles, SixteenBitsAreTheirNumbersAndChannelsAreChosen) {
  const std::vector<short> Frames{-32768, 32767, 1, -1, 100, 300};  // two channels
  SF_INFO Info{};
  Info.samplerate = 11025;
  Info.channels = 2;
  Info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* File = sf_open((FFolder / "a.wav").c_str(), SFM_WRITE, &Info);
  ASSERT_NE(File, nullptr);
  sf_writef_short(File, Frames.data(), 3);
  sf_close(File);

  const auto Mixed = Convert("a.wav", "mix.bin");
  EXPECT_EQ(Mixed.Rate, 11025);
  EXPECT_EQ(Mixed.Remarks.size(), 1U);
  EXPECT_EQ(Read("mix.bin"), BytesOf<double>({-0.5, 0, 200}));
  Convert("a.wav", "second.bin", [](auto& AOptions) { AOptions.Channel = "2"; });
  EXPECT_EQ(Read("second.bin"), BytesOf<double>({32767, -1, 300}));
  EXPECT_NE(Refusal("a.wav", "x.bin", [](auto& AOptions) { AOptions.Channel = "3"; })
                .find("a number from 1 to 2"),
            std::string::npos);

  Convert("a.wav", "both.bin", [](auto& AOptions) { AOptions.Type = TSampleType::Complex; });
  Convert("both.bin", "b.wav", [](auto& AOptions) {
    AOptions.Type = TSampleType::Complex;
    AOptions.Rate = 11025;
    AOptions.Encoding = "pcm16";
  });
  EXPECT_EQ(Read("b.wav"), Read("a.wav"));
}

TEST_F(ConvertFiles, WhatDoesNotFitIsClippedAndTold) {
  WriteLog("a.bin", BytesOf<double>({1.5, 2.5, 300, -1, std::nan(""), 7}));
  Convert("a.bin", "a.csv");
  const auto Result =
      Convert("a.csv", "b.bin", [](auto& AOptions) { AOptions.Type = TSampleType::Block; });
  EXPECT_EQ(Read("b.bin"), BytesOf<std::uint8_t>({2, 2, 255, 0, 0, 7}));
  ASSERT_EQ(Result.Remarks.size(), 2U);
  EXPECT_NE(Result.Remarks[0].find("2 numbers rounded"), std::string::npos) << Result.Remarks[0];
  EXPECT_NE(Result.Remarks[1].find("3 numbers clipped"), std::string::npos) << Result.Remarks[1];
}

TEST_F(ConvertFiles, TablesAreReadAsPeopleWriteThem) {
  WriteFile(FFolder / "a.csv", "\xEF\xBB\xBFtime, \"level\",value\r\n0,+1.5,3\r\n\r\n1, -2 ,4");
  Convert("a.csv", "value.bin");
  EXPECT_EQ(Read("value.bin"), BytesOf<double>({3, 4}));
  for (const char* Column : {"level", "2"}) {
    Convert("a.csv", "level.bin", [&](auto& AOptions) { AOptions.Channel = Column; });
    EXPECT_EQ(Read("level.bin"), BytesOf<double>({1.5, -2}));
  }
  WriteFile(FFolder / "bare.csv", "1,2\n3,4\n");
  Convert("bare.csv", "bare.bin", [](auto& AOptions) { AOptions.Type = TSampleType::Complex; });
  EXPECT_EQ(Read("bare.bin"), BytesOf<double>({1, 2, 3, 4}));

  struct TCase {
    const char* Text;
    const char* Message;
  };
  for (const TCase& Case :
       {TCase{"", "the file is empty"}, TCase{"a,b\n1,2\n", "Choose with --channel among a, b"},
        TCase{"value\n1\n\nx1\n", "line 4, column value: \"x1\" is no number"},
        TCase{"a,value\n1,2\n3\n", "line 3, column value: the row ends"}}) {
    WriteFile(FFolder / "bad.csv", Case.Text);
    const std::string Message = Refusal("bad.csv", "x.bin");
    EXPECT_NE(Message.find(Case.Message), std::string::npos) << Message;
  }
}

// From log to log: counts come and go, types change, a part is taken, forwards and over records.
TEST_F(ConvertFiles, LogsToLogs) {
  const auto Plain = [](std::vector<double> ASamples) { return BytesOf(ASamples); };
  const std::string Counted = Count(24) + Plain({0, 1, 2}) + Count(0) + Count(16) + Plain({3, 4.5});
  struct TCase {
    std::string Log;
    std::function<void(TConvertOptions&)> Change;
    std::string Result;
  };
  for (const TCase& Case : {
           TCase{Plain({0, 1, 2, 3, 4.5}),
                 [](auto& AOptions) { AOptions.ToCounts = true, AOptions.BlockSize = 4; },
                 Count(32) + Plain({0, 1, 2, 3}) + Count(8) + Plain({4.5})},
           TCase{Counted, [](auto& AOptions) { AOptions.FromCounts = true; },
                 Plain({0, 1, 2, 3, 4.5})},
           TCase{Counted,
                 [](auto& AOptions) {
                   AOptions.FromCounts = true;
                   AOptions.FromSample = 2;
                   AOptions.Samples = 2;
                 },
                 Plain({2, 3})},
           TCase{Plain({0, 1, 2, 3, 4.5}), [](auto& AOptions) { AOptions.FromSample = 4; },
                 Plain({4.5})},
           TCase{Plain({-1, 7, 2.5}),
                 [](auto& AOptions) { AOptions.ToType = TSampleType::Unsigned; },
                 BytesOf<std::uint32_t>({0, 7, 2})},
           TCase{Plain({1, 2, 3, 4}),
                 [](auto& AOptions) {
                   AOptions.Type = TSampleType::Complex;
                   AOptions.FromSample = 1;
                 },
                 Plain({3, 4})},
       }) {
    WriteLog("a.bin", Case.Log);
    Convert("a.bin", "b.bin", Case.Change);
    EXPECT_EQ(Read("b.bin"), Case.Result);
  }
  Convert("a.bin", "a.csv");
  for (const char* Name : {"a.bin", "a.csv"}) {
    EXPECT_NE(Refusal(Name, "x.bin", [](auto& AOptions) { AOptions.FromSample = 5; })
                  .find("there is no sample 5"),
              std::string::npos);
    const auto Short = Convert(Name, "b.bin", [](auto& AOptions) { AOptions.Samples = 9; });
    ASSERT_EQ(Short.Remarks.size(), 1U);
    EXPECT_NE(Short.Remarks[0].find("no more than 4 samples of the 9"), std::string::npos);
  }
  const auto Wider = [](auto& AOptions) { AOptions.ToType = TSampleType::Complex; };
  EXPECT_NE(Refusal("a.bin", "x.bin", Wider).find("go by a table"), std::string::npos);
  EXPECT_NE(Refusal("a.bin", "x.csv", Wider).find("--to-type"), std::string::npos);
}

// What a process that was killed has left goes; what another one is writing, and what only looks
// like it, stays.
TEST_F(ConvertFiles, WhatWasLeftBehindGoes) {
  WriteLog("a.bin", BytesOf<double>({1}));
  for (const char* Name :
       {"a.csv.part1", "a.csv.part99999999", "a.csv.partial", "a.csv.part", "b.csv.part1"}) {
    WriteLog(Name, "left");
  }
  TInputFile Held(FFolder / "a.csv.part1");
  ASSERT_EQ(flock(Held.SeekableHandle(), LOCK_EX), 0);
  Convert("a.bin", "a.csv");
  auto Names = FFolder.Names();
  std::sort(Names.begin(), Names.end());
  EXPECT_EQ(Names, (std::vector<std::string>{"a.bin", "a.csv", "a.csv.part", "a.csv.part1",
                                             "a.csv.partial", "b.csv.part1"}));
}

// A log that was cut: whole samples are kept, what is left out is told; a count that claims more
// than there is refuses the file.
TEST_F(ConvertFiles, CutLogs) {
  const std::string Two = BytesOf<double>({1, 2});
  struct TCase {
    std::string Log;
    bool HasCounts;
    const char* Table;  // empty if refused
    const char* Message;
  };
  for (const TCase& Case :
       {TCase{"", false, "value\n", "is empty"}, TCase{"", true, "value\n", "is empty"},
        TCase{Two + "abc", false, "value\n1\n2\n",
              "the last 3 bytes left out: the file ends inside a sample"},
        TCase{"abc", false, "value\n", "the last 3 bytes left out"},
        TCase{Count(16) + Two + "abc", true, "value\n1\n2\n", "inside a count"},
        TCase{Count(19) + Two + "abc", true, "value\n1\n2\n",
              "the last 3 bytes left out: the file ends inside a sample"},
        TCase{Count(9) + Two, true, "", "the record at byte 0 has 9 bytes, which is no whole"},
        TCase{Count(16) + Two + Count(UINT32_MAX) + Two, true, "",
              "the record at byte 20 claims 4294967295 bytes, but only 16 follow"}}) {
    WriteLog("a.bin", Case.Log);
    const auto WithCounts = [&](auto& AOptions) { AOptions.FromCounts = Case.HasCounts; };
    if (*Case.Table == '\0') {
      const std::string Message = Refusal("a.bin", "x.csv", WithCounts);
      EXPECT_NE(Message.find(Case.Message), std::string::npos) << Message;
      continue;
    }
    const auto Result = Convert("a.bin", "a.csv", WithCounts);
    EXPECT_EQ(Read("a.csv"), Case.Table);
    ASSERT_EQ(Result.Remarks.size(), 1U) << Case.Message;
    EXPECT_NE(Result.Remarks[0].find(Case.Message), std::string::npos) << Result.Remarks[0];
  }
}

// Beyond 4 GiB, sizes do not wrap: in 32 bits these 5 GiB and 3 bytes, all hole but the count,
// would hold neither that record nor a fraction of a sample.
TEST_F(ConvertFiles, FilesBeyondFourGiB) {
  const std::string Name = FFolder / "a.bin";
  WriteFile(Name, Count(UINT32_MAX - 7));
  std::filesystem::resize_file(Name, (std::int64_t{5} << 30) + 3);
  std::vector<double> Numbers(4);
  TLogReader WithCounts(Name, TSampleType::Real, true);
  EXPECT_EQ(WithCounts.Read(Numbers), 4U);
  TLogReader Bare(Name, TSampleType::Real, false);
  EXPECT_EQ(Bare.Read(Numbers), 4U);
  ASSERT_EQ(Bare.Remarks().size(), 1U);
  EXPECT_NE(Bare.Remarks()[0].find("the last 3 bytes"), std::string::npos);
}

TEST_F(ConvertFiles, RefusalsNameWhatWouldDo) {
  WriteLog("a.bin", BytesOf<double>({1}));
  WriteFile(FFolder / "not.wav", "RIFF, but no audio");
  std::filesystem::create_directory(FFolder / "folder.csv");
  struct TCase {
    const char* In;
    const char* Out;
    const char* Message;
  };
  for (const TCase& Case :
       {TCase{"absent.bin", "x.csv", "No such file"},
        TCase{"folder.csv", "x.bin", "Is a directory"},
        TCase{"a.bin", "folder.csv", "it is a folder"},
        TCase{"a.bin", "absent/x.csv", "No such file"},
        TCase{"a.bin", "b.bin", "both files are logs, and nothing is to change"},
        TCase{"a.bin", "x.mp9", "the option --to"}, TCase{"not.wav", "x.bin", "no audio file"},
        TCase{"a.bin", "x.wav", "give it with --rate HZ"}}) {
    const std::string Message = Refusal(Case.In, Case.Out);
    EXPECT_NE(Message.find(Case.Message), std::string::npos) << Message;
  }
  const auto Same = [](auto& AOptions) { AOptions.To = TFileForm::Csv; };
  EXPECT_NE(Refusal("a.bin", "a.bin", Same).find("the same file"), std::string::npos);
  const auto Odd = [](auto& AOptions) { AOptions.Rate = 8000, AOptions.Encoding = "float"; };
  EXPECT_NE(Refusal("a.bin", "x.flac", Odd).find("one of pcm8, pcm16, pcm24"), std::string::npos);
  EXPECT_EQ(Read("a.bin"), BytesOf<double>({1}));
}

}  // namespace
}  // namespace tessalune::host::test
