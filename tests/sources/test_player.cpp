#include "support/Files.h"
#include "support/Streams.h"

#include <tessalune/frame/streams/QSValuePins.h>
#include <tessalune/sources/QSFileFailure.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

namespace tessalune::test {
namespace {

using enum TQSPlayerMode;
using TByteBlocks = std::vector<std::vector<std::uint8_t>>;

// A player that the test pumps.
template <class T = std::uint8_t>
struct TRig {
  TTempDir Dir;
  std::string File = Dir / "signal.bin";
  TOwned<TQSPlayer> Player = Create<TQSPlayer>();
  TProbe<T> Out{Player->OutputPin()};
  int Stops = 0;

  explicit TRig(TQSPlayerMode AMode = pmStop, bool ACounts = false) {
    Player->SetClockSource(TQSClockSource::csExternal);
    Player->SetFileName(File);
    Player->SetMode(AMode);
    Player->SetSavedBufferSizes(ACounts);
    Player->SetOnStop([this](TObject&) { ++Stops; });
  }
  TRig(TQSPlayerMode AMode, bool ACounts, const TBytes& AContent, std::int32_t ABufferSize)
      : TRig(AMode, ACounts) {
    WriteFile(File, AContent);
    Player->SetBufferSize(ABufferSize);
    Player->Start();
  }
  // The blocks that so many pumps send.
  std::vector<std::vector<T>> Pump(int ATimes = 1) {
    Out.Blocks.clear();
    for (int I = 0; I < ATimes; ++I) Player->Pump();
    return Out.Blocks;
  }
};

// --- what the logger wrote ---

template <class T>
class PlayerOf : public testing::Test {};
using TSampleTypes = testing::Types<double, TComplex, std::int32_t, std::uint32_t, std::uint8_t>;
TYPED_TEST_SUITE(PlayerOf, TSampleTypes);

TYPED_TEST(PlayerOf, PlaysWhatTheLoggerWroteAsItLiesInMemory) {
  std::vector<std::vector<TypeParam>> Blocks{
      std::vector<TypeParam>(5), {}, {}, std::vector<TypeParam>(300)};
  std::vector<TypeParam> Stream;
  for (auto& Block : Blocks)
    for (auto& Sample : Block) {
      reinterpret_cast<std::uint8_t&>(Sample) = static_cast<std::uint8_t>(Stream.size() + 1);
      Stream.push_back(Sample);
    }
  for (const bool Counts : {false, true}) {
    TRig<TypeParam> Rig(pmStop, Counts);
    WriteFile(Rig.File, TBytes(100'000, 'x'));  // a log replaces what was there
    const auto Logger = Create<TQSLogger>();
    Logger->SetFileName(Rig.File);
    Logger->SetSaveBufferSizes(Counts);
    TFeed<TypeParam> Feed(Logger->InputPin());
    Feed.Start();
    for (const auto& Block : Blocks) Feed.Send(Block);
    EXPECT_EQ(Logger->Logged(), static_cast<std::int64_t>(305 * sizeof(TypeParam)));
    Feed.Stop();
    EXPECT_EQ(ReadFile(Rig.File), LogOf(Blocks, Counts));

    Rig.Player->SetBufferSize(100);
    Rig.Player->SetSampleRate(500.0);
    Rig.Player->Start();
    const auto Played = Rig.Pump(6);
    EXPECT_EQ(Rig.Out.Stream(), Stream);
    if (Counts) {
      EXPECT_EQ(Played, Blocks);
    } else {
      ASSERT_EQ(Played.size(), 4U);
      EXPECT_EQ(Played[2].size(), 100U);
      EXPECT_EQ(Played[3].size(), 5U);
      EXPECT_EQ(Rig.Player->SamplesCount(), 305);
    }
    EXPECT_EQ(Rig.Out.StartRates, std::vector<double>{500.0});
    EXPECT_EQ(Rig.Player->CurrentSample(), 305);
  }
}

// --- the end of the file ---

// Each digit is a byte; between blocks are spaces, and "-" is an empty one.
TByteBlocks Blocks(const std::string& AText) {
  TByteBlocks Result;
  std::istringstream Words(AText);
  for (std::string Word; Words >> Word;) {
    auto& Block = Result.emplace_back();
    for (const char Digit : Word)
      if (Digit != '-') Block.push_back(static_cast<std::uint8_t>(Digit - '0'));
  }
  return Result;
}

// What the first three pumps send, in blocks of 4, for files of every awkward length.
TEST(Player, EndsItsFileAsItsModeSays) {
  struct TCase {
    const char* What;
    bool Counts;
    std::string File, Sent, Repeated;
  };
  for (const TCase& Case :
       {TCase{"empty", false, "-", "", ""},
        {"empty, counts", true, "-", "", ""},
        {"two blocks", false, "12345678", "1234 5678", "1234 5678 1234"},
        {"a block and a half", false, "123456", "1234 56", "1234 5612 3456"},
        {"less than half a block", false, "9", "9", "9999 9999 9999"},
        {"two records", true, "2000780000", "78 -", "78 - 78"},
        {"cut inside a count", true, "1000710", "7", "7 7 7"},
        {"only part of a count", true, "10", "", ""},
        {"cut inside a block", true, "1000730008", "7 8", "7 810 00081000730008"},
        {"cut before a block", true, "3000", "", "300 300 300"}})
    for (const TQSPlayerMode Mode : {pmStop, pmRepeat, pmZero}) {
      SCOPED_TRACE(std::string(Case.What) + ", mode " + std::to_string(static_cast<int>(Mode)));
      TRig Rig(Mode, Case.Counts, BytesOf(Blocks(Case.File).at(0)), 4);
      EXPECT_EQ(Rig.Pump(3), Blocks(Mode == pmRepeat ? Case.Repeated : Case.Sent));
      EXPECT_TRUE(Rig.Player->IsRunning()) << "the end waits for the main thread";
      EXPECT_EQ(Rig.Out.Stops, 0);
      RunMainThread();
      EXPECT_EQ(Rig.Player->IsRunning(), Mode != pmStop);
      EXPECT_EQ(Rig.Out.Stops, Mode == pmStop ? 1 : 0);
      EXPECT_EQ(Rig.Stops, Mode == pmStop ? 1 : 0);
      EXPECT_TRUE(Rig.Player->Pump() == (Mode != pmStop));
    }
}

// The address space that the process has had at the most, in KiB.
std::int64_t PeakMemory() {
  std::ifstream Status("/proc/self/status");
  for (std::string Word; Status >> Word;) {
    std::int64_t Size = 0;
    if (Word == "VmPeak:" && Status >> Size) return Size;
  }
  ADD_FAILURE() << "the system does not tell";
  return 0;
}

TEST(Player, TakesNoMemoryForWhatACountOrABlocksSizeMerelyClaims) {
  const std::int64_t Before = PeakMemory();
  for (const TQSPlayerMode Mode : {pmStop, pmRepeat, pmZero})
    for (const char Top : {'\x7F', '\xFF', '\0'}) {
      const bool Counts = Top != 0;  // else it is BufferSize that claims
      if (!Counts && Mode == pmRepeat) continue;
      TRig Rig(Mode, Counts, {-1, -1, -1, Top, 1, 2, 3}, Counts ? 4 : 1 << 26);
      TProbe<TComplex> Wide(Rig.Player->OutputPin());
      const auto Blocks = Rig.Pump(3);
      ASSERT_FALSE(Blocks.empty());
      EXPECT_EQ(Blocks[0][Counts ? 0 : 4], 1);
      for (const auto& Block : Blocks) EXPECT_LE(Block.size(), 2U * 7) << static_cast<int>(Mode);
    }
  EXPECT_LT(PeakMemory() - Before, 1 << 19) << "the counts claim 2 GiB and more, blocks 1 GiB";
}

TEST(Player, StartsAgainFromTheBeginningWhenItHasEnded) {
  TRig Rig(pmStop, false, {1, 2, 3}, 2);
  for (int Round = 1; Round <= 3; ++Round) {
    EXPECT_EQ(Rig.Pump(9), (TByteBlocks{{1, 2}, {3}}));
    EXPECT_EQ(MainThread().Process(), 1U) << "one end, however often it was met";
    EXPECT_EQ(Rig.Stops, Round);
    Rig.Player->Start();
    EXPECT_EQ(Rig.Player->CurrentSample(), 0);
  }
  // An end that was queued for a stream that somebody stopped does not end the next one.
  Rig.Pump(2);
  Rig.Player->Stop();
  Rig.Player->Start();
  RunMainThread();
  EXPECT_TRUE(Rig.Player->IsRunning());
}

// --- the position ---

TEST(Player, CurrentSampleMovesAndWakesADrainedPlayer) {
  TRig<std::int32_t> Rig(pmZero, false, BytesOf<std::int32_t>({10, 11, 12, 13, 14}), 2);
  Rig.Pump(4);
  EXPECT_EQ(Rig.Player->CurrentSample(), 5);
  Rig.Player->SetCurrentSample(3);
  EXPECT_EQ(Rig.Pump(2), (std::vector<std::vector<std::int32_t>>{{13, 14}}));
  Rig.Player->SetCurrentSample(1'000'000'000'000'000'000);
  EXPECT_EQ(Rig.Player->CurrentSample(), 5) << "beyond the end is the end";
  EXPECT_THROW(Rig.Player->SetCurrentSample(-1), EQSException);
  Rig.Player->SetMode(pmRepeat);
  EXPECT_EQ(Rig.Pump(1).at(0), (std::vector<std::int32_t>{10, 11}));
  EXPECT_EQ(Rig.Player->CurrentSample(), 2) << "counted from the wrap on";
}

TEST(Player, CurrentSampleWithCountsGoesToTheBlockThatHoldsIt) {
  TRig Rig(pmZero, true, LogOf<std::uint8_t>({{1, 2, 3}, {4, 5}, {6}}, true), 4);
  Rig.Pump(4);
  const std::pair<std::int64_t, std::vector<std::uint8_t>> Cases[] = {
      {4, {4, 5}}, {3, {4, 5}}, {2, {1, 2, 3}}, {5, {6}}, {0, {1, 2, 3}}};
  for (const auto& [Position, Block] : Cases) {
    Rig.Player->SetCurrentSample(Position);
    EXPECT_EQ(Rig.Pump(), TByteBlocks{Block}) << Position;
  }
}

TEST(Player, PlaysTheTailOfAFileOfMoreThan4GiB) {
  constexpr std::int64_t Samples = (std::int64_t{5} << 30) / 8;
  TRig<double> Rig(pmStop);
  WriteFile(Rig.File, {});
  std::filesystem::resize_file(Rig.File, Samples * 8);
  {
    std::fstream File(Rig.File, std::ios::in | std::ios::out | std::ios::binary);
    const double Mark = 7.5;
    File.seekp(-8, std::ios::end).write(reinterpret_cast<const char*>(&Mark), 8);
  }
  std::int64_t Position = 0;
  Rig.Player->SetOnProgress(
      [&](TObject&, std::int64_t, std::int64_t APosition) { Position = APosition; });
  Rig.Player->SetBufferSize(4);
  Rig.Player->Start();
  EXPECT_EQ(Rig.Player->SamplesCount(), Samples);
  Rig.Player->SetCurrentSample(Samples - 6);
  EXPECT_EQ(Rig.Pump(3), (std::vector<std::vector<double>>{{0, 0, 0, 0}, {0, 7.5}}));
  EXPECT_EQ(Rig.Player->CurrentSample(), Samples);
  RunMainThread();
  EXPECT_EQ(Position, Samples);
  EXPECT_EQ(Rig.Stops, 1);
}

TEST(Player, TellsItsProgressInSamplesAndItsPinMovesIt) {
  TRig<double> Rig(pmStop);
  std::vector<std::pair<std::int64_t, std::int64_t>> Progress;
  Rig.Player->SetOnProgress([&](TObject&, std::int64_t ATotal, std::int64_t APosition) {
    Progress.emplace_back(ATotal, APosition);
  });
  TKLInt64TimeRangedStatePin Far({}, {});
  Rig.Player->ProgressPin().Connect(Far);
  WriteFile(Rig.File, BytesOf(std::vector<double>{1, 2, 3, 4, 5}));
  Rig.Player->SetBufferSize(2);
  Rig.Player->SetSampleRate(10.0);
  Rig.Player->Start();
  Rig.Pump();
  const auto Held = Far.Held();
  EXPECT_EQ(Held.Value, 2);
  EXPECT_EQ(Held.Min, 0);
  EXPECT_EQ(Held.Max, 5);
  EXPECT_EQ(Held.MinTime, 0.0);
  EXPECT_DOUBLE_EQ(Held.MaxTime * 86400, 0.5);
  Far.SetValue(4);
  EXPECT_EQ(Rig.Player->CurrentSample(), 4);
  EXPECT_EQ(Rig.Pump(), std::vector<std::vector<double>>{{5}});
  EXPECT_TRUE(Progress.empty()) << "waits for the main thread";
  RunMainThread();
  EXPECT_EQ(Progress, (std::vector<std::pair<std::int64_t, std::int64_t>>{{5, 2}, {5, 5}, {5, 5}}));
}

// --- sinks ---

TEST(Player, WithoutASinkItSendsEmptyBlocksAndCountsInBytes) {
  TRig<double> Rig(pmStop);
  WriteFile(Rig.File, BytesOf(std::vector<double>{1, 2, 3}));
  Rig.Player->OutputPin().DisconnectAll();
  Rig.Player->SetBufferSize(2);
  Rig.Player->Start();
  EXPECT_EQ(Rig.Player->SamplesCount(), 24);
  Rig.Pump(3);
  RunMainThread();
  EXPECT_TRUE(Rig.Player->IsRunning());
  EXPECT_EQ(Rig.Player->CurrentSample(), 0);
  // A sink that comes later gets the stream from where it is, in samples of its own.
  Rig.Player->OutputPin().Connect(Rig.Out.Pin);
  EXPECT_EQ(Rig.Pump(2), (std::vector<std::vector<double>>{{1, 2}, {3}}));
  EXPECT_EQ(Rig.Player->SamplesCount(), 3);
}

TEST(Player, TheLargestSampleAmongItsSinksCounts) {
  TRig<std::int32_t> Rig(pmStop);
  TProbe<double> Reals(Rig.Player->OutputPin());
  WriteFile(Rig.File, BytesOf<std::int32_t>({1, 2, 3, 4, 5, 6}));
  Rig.Player->SetBufferSize(2);
  Rig.Player->Start();
  EXPECT_EQ(Rig.Player->SamplesCount(), 3);
  EXPECT_EQ(Rig.Pump(2), (std::vector<std::vector<std::int32_t>>{{1, 2, 3, 4}, {5, 6}}));
  ASSERT_EQ(Reals.Blocks.size(), 2U);
  EXPECT_EQ(BytesOf(Reals.Blocks[1]), BytesOf<std::int32_t>({5, 6}));
}

// --- what cannot be played ---

// A handler's own start is another stream: one start is sent, with the file open, and the failure
// of the first does not end it.
TEST(Player, GoesOnWithTheFileThatOnErrorSetsAndStarts) {
  for (const bool Handled : {true, false}) {
    TRig Rig;
    WriteFile(Rig.File, {7});
    Rig.Player->SetFileName(Rig.Dir / "missing");
    Rig.Player->SetOnError([&](TObject&, const std::string&, std::int32_t, bool& AHandled) {
      Rig.Player->SetFileName(Rig.File);
      Rig.Player->Start();
      AHandled = Handled;
    });
    if (Handled) {
      EXPECT_NO_THROW(Rig.Player->Start());
    } else {
      EXPECT_THROW(Rig.Player->Start(), EQSFileException);
    }
    EXPECT_EQ(Rig.Out.StartRates.size(), 1U);
    EXPECT_EQ(Rig.Out.Stops + Rig.Stops, 0);
    EXPECT_EQ(Rig.Pump(), TByteBlocks{{7}}) << Handled;
  }
}

TEST(Player, TellsAFileThatWasCutOrCannotBeReadFromOneThatHasEnded) {
  for (const TQSPlayerMode Mode : {pmStop, pmRepeat, pmZero}) {
    TRig Rig(Mode, false, TBytes(16, 'x'), 4);
    Rig.Pump(1);
    std::filesystem::resize_file(Rig.File, 6);
    Rig.Pump(4);
    EXPECT_EQ(Rig.Player->Missing(), 10);
    EXPECT_EQ(Rig.Player->ReadError(), "");
    Rig.Player->Stop();
    Rig.Player->Start();
    Rig.Pump(4);
    EXPECT_EQ(Rig.Player->Missing(), 0) << "the file as the start found it";
    const std::string Unreadable = "/proc/self/mem";  // nothing is mapped at its beginning
    if (!std::filesystem::exists(Unreadable)) continue;
    Rig.Player->Stop();
    Rig.Player->SetFileName(Unreadable);
    Rig.Player->Start();
    EXPECT_TRUE(Rig.Pump(2).empty());
    EXPECT_EQ(Rig.Player->ReadError(), "Input/output error");
    RunMainThread();
    EXPECT_EQ(Rig.Player->IsRunning(), Mode != pmStop);
  }
}

TEST(Player, FollowsAFileThatGrows) {
  TRig Rig(pmZero, false, {1, 2, 3}, 2);
  Rig.Pump(3);
  WriteFile(Rig.File, {1, 2, 3, 4, 5});
  EXPECT_EQ(Rig.Pump(), (TByteBlocks{{4, 5}}));
  EXPECT_EQ(Rig.Player->CurrentSample(), 5);
  EXPECT_EQ(Rig.Player->SamplesCount(), 5);
  EXPECT_EQ(Rig.Player->ProgressPin().Held().Max, 5);
  EXPECT_EQ(Rig.Player->Missing(), 0);
}

// A sink that answers each stop with one of its own, while the player is idle.
TEST(Player, PassesAStopFromASinkOnToTheOthersOnce) {
  TRig Rig(pmStop, false, {1, 2, 3}, 2);
  bool Throws = false;
  TQSKLRealSinkPin Sink({}, [&](auto&, auto*, auto&, auto& AOperation, auto) {
    if (!AOperation.template IsType<TKLStopOperation>()) return TKLNotifyResult{};
    if (Throws) throw EQSException("bad stop");
    return Sink.Notify(MakeRef<TKLStopOperation>());
  });
  Rig.Player->OutputPin().Connect(Sink);
  Rig.Out.Stops = 0;
  for (int Stops = 1; Stops <= 3; ++Stops) {
    Sink.Notify(MakeRef<TKLStopOperation>());
    EXPECT_FALSE(Rig.Player->IsRunning());
    EXPECT_EQ(Rig.Out.Stops, Stops);
    EXPECT_EQ(Rig.Stops, 1) << "one stream has ended";
  }
  Throws = true;
  EXPECT_THROW(Sink.Notify(MakeRef<TKLStopOperation>()), EQSException);
}

TEST(Player, WithoutAFileNameItDoesNotStartAndSaysSoWhenAsked) {
  for (const bool Named : {false, true})
    for (const bool Enabled : {false, true}) {
      TRig Rig;
      int Ignores = 0;
      TQSKLRealSinkPin Sink({}, Hear([&](IKLNotifyOperation& AOperation) {
                              Ignores += AOperation.IsType<TKLIgnoreStreamOperation>();
                            }));
      Rig.Player->OutputPin().DisconnectAll();
      Rig.Player->OutputPin().Connect(Sink);
      WriteFile(Rig.File, {1});
      if (!Named) Rig.Player->SetFileName("");
      Rig.Player->SetEnabled(Enabled);
      Sink.Notify(MakeRef<TKLQueryStreamOperation>());
      EXPECT_EQ(Ignores, Named && Enabled ? 0 : 1);
      EXPECT_NO_THROW(Rig.Player->Start());
      EXPECT_EQ(Rig.Player->IsRunning(), Named && Enabled);
    }
}

}  // namespace
}  // namespace tessalune::test
