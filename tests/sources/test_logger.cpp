#include "support/Files.h"
#include "support/Streams.h"

#include <tessalune/sources/QSFileFailure.h>
#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>
#include <tessalune/sources/QSSignalGen.h>

#include <unistd.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <utility>

namespace tessalune::test {
namespace {

using TProgress = std::vector<std::pair<std::int64_t, std::int64_t>>;

// A logger with a feed; counts what it tells. What its file holds, the player's tests see.
struct TRig {
  TTempDir Dir;
  std::string File = Dir / "signal.bin";
  TOwned<TQSLogger> Logger = Create<TQSLogger>();
  TFeed<std::uint8_t> Feed{Logger->InputPin()};
  int Closed = 0;

  TRig() {
    Logger->SetFileName(File);
    Logger->SetOnFileClose([this](TObject&) { ++Closed; });
  }
};

// --- the ceiling ---

TEST(Logger, StopsAtItsCeilingAndTellsItsProgressInBlocks) {
  for (const bool Counts : {false, true}) {
    TRig Rig;
    TProgress Progress;
    std::vector<std::int64_t> Held;
    TKLIntSinkPin Sink({}, Hear([&](IKLNotifyOperation& AOperation) {
                         const auto& Of =
                             AOperation.GetInstance<TKLRangedSuppliedOperation<std::int64_t>>();
                         Held.insert(Held.end(), {Of.Value, Of.Min, Of.Max});
                       }));
    Rig.Logger->ProgressPin().Connect(Sink);
    Rig.Logger->SetOnProgress([&](TObject&, std::int64_t ATotal, std::int64_t APosition) {
      Progress.emplace_back(ATotal, APosition);
    });
    Rig.Logger->SetSaveBufferSizes(Counts);
    Rig.Logger->SetCeiling(1000);
    Rig.Feed.Start();
    const std::vector<std::uint8_t> Block(400, 7);
    Rig.Feed.Send({});
    for (int I = 0; I < 5; ++I) Rig.Feed.Send(Block);
    EXPECT_EQ(Rig.Closed, 1) << "stopped by itself, later blocks fall";
    EXPECT_EQ(Rig.Logger->Logged(), 1000);
    EXPECT_EQ(ReadFile(Rig.File),
              LogOf<std::uint8_t>({{}, Block, Block, std::vector<std::uint8_t>(200, 7)}, Counts));
    EXPECT_TRUE(Progress.empty()) << "waits for the main thread";
    RunMainThread();
    EXPECT_EQ(Progress, (TProgress{{2, 1}, {2, 2}, {2, 2}}));
    EXPECT_EQ(Held, (std::vector<std::int64_t>{1, 0, 2, 2, 0, 2, 2, 0, 2}));
    Rig.Feed.Stop();
    EXPECT_EQ(Rig.Closed, 1);
  }
}

TEST(Logger, ACeilingBelowWhatIsLoggedDropsBlocksAndKeepsTheFileOpen) {
  TRig Rig;
  Rig.Feed.Start();
  Rig.Feed.Send({1, 2, 3, 4});
  Rig.Logger->SetCeiling(2);
  Rig.Feed.Send({5});
  EXPECT_TRUE(Rig.Logger->IsOpen());
  Rig.Logger->SetCeiling(5);
  Rig.Feed.Send({6, 7});
  EXPECT_EQ(ReadFile(Rig.File), (TBytes{1, 2, 3, 4, 6}));
  EXPECT_EQ(Rig.Closed, 1);
}

// --- when the file opens and closes ---

TEST(Logger, DisablingClosesTheFileAndOnlyAStartOrLogOpensItAgain) {
  TRig Rig;
  Rig.Feed.Start();
  Rig.Feed.Send({1});
  Rig.Logger->SetEnabled(false);
  EXPECT_EQ(Rig.Closed, 1);
  Rig.Feed.Send({2});
  Rig.Logger->SetEnabled(true);
  EXPECT_FALSE(Rig.Logger->IsOpen());
  Rig.Feed.Send({3});
  EXPECT_EQ(ReadFile(Rig.File), TBytes{1});
  Rig.Feed.Start();
  Rig.Feed.Send({4});
  Rig.Feed.Start();  // while the file is open, a start changes nothing
  Rig.Feed.Send({5});
  EXPECT_EQ(ReadFile(Rig.File), (TBytes{4, 5}));
  EXPECT_EQ(Rig.Logger->Logged(), 2);
  Rig.Feed.Stop();
  Rig.Logger->SetEnabled(false);
  Rig.Feed.Start();
  Rig.Feed.Send({6});
  EXPECT_EQ(ReadFile(Rig.File), (TBytes{4, 5}));
}

TEST(Logger, AChangeOfFileNameOpensTheNewFileWithTheNextBlock) {
  TRig Rig;
  Rig.Feed.Start();
  Rig.Feed.Send({1});
  Rig.Logger->SetFileName(Rig.Dir / "second.bin");
  EXPECT_EQ(Rig.Closed, 0);
  Rig.Feed.Send({2, 3});
  EXPECT_EQ(Rig.Closed, 1);
  EXPECT_EQ(Rig.Logger->Logged(), 2);
  Rig.Logger->SetFileName("");  // no file, and no error
  Rig.Feed.Send({4});
  Rig.Feed.Start();
  EXPECT_FALSE(Rig.Logger->IsOpen());
  EXPECT_EQ(Rig.Closed, 2);
  EXPECT_EQ(ReadFile(Rig.File), TBytes{1});
  EXPECT_EQ(ReadFile(Rig.Dir / "second.bin"), (TBytes{2, 3}));
}

TEST(Logger, OpensForABlockWithoutAStartAndForLog) {
  TRig Rig;
  Rig.Feed.Send({1});
  EXPECT_EQ(ReadFile(Rig.File), TBytes{1});
  Rig.Feed.Stop();
  Rig.Feed.Send({2});  // late
  EXPECT_EQ(ReadFile(Rig.File), TBytes{1});
  Rig.Logger->Log(TQSIntegerBuffer::CreateSize(0));
  const std::int32_t Value = 0x04030201;
  Rig.Logger->Log(TQSIntegerBuffer::CreateData(&Value, 1));
  EXPECT_EQ(ReadFile(Rig.File), (TBytes{1, 2, 3, 4}));
  Rig.Feed.Stop();
  Rig.Feed.Stop();
  Rig.Logger.reset();
  EXPECT_EQ(Rig.Closed, 2) << "told once for one file";
}

// --- what cannot be opened or written ---

// Of both classes that have a file: named, told to OnError or raised, and nothing while designed.
TEST(Files, ThatCannotBeOpenedAreTold) {
  const TTempDir Dir;
  std::filesystem::create_directory(Dir / "folder");
  WriteFile(Dir / "file", {1});
  const auto Expect = [&](auto& AComponent, const char* APlace,
                          const std::function<void()>& AOpen) {
    const std::string Name = Dir / APlace;
    const std::string Message = "Can't open file : " + Name + " .";
    AComponent.SetFileName(Name);
    try {
      AOpen();
      ADD_FAILURE() << "opened " << Name;
    } catch (const EQSFileException& Error) {
      EXPECT_EQ(Error.what(), Message + " - 4294967295 - FFFFFFFF");
      EXPECT_NE(Error.Detail().find(AComponent.Describe()), std::string::npos);
      EXPECT_NE(Error.Detail().find(Name), std::string::npos);
    }
    std::vector<std::string> Told;
    AComponent.SetOnError(
        [&](TObject&, const std::string& AMessage, std::int32_t ACode, bool& AHandled) {
          EXPECT_EQ(ACode, -1);
          Told.push_back(AMessage);
          AHandled = true;
        });
    AOpen();
    EXPECT_EQ(Told, std::vector<std::string>{Message});
    AComponent.SetOnError({});
    AComponent.SetDesigning(true);
    EXPECT_NO_THROW(AOpen());
  };
  for (const char* Place : {"folder", "file/below", "missing/file"}) {
    TRig Rig;
    Expect(*Rig.Logger, Place, [&] { Rig.Feed.Start(); });
    EXPECT_EQ(Rig.Closed, 0);
    const auto Player = Create<TQSPlayer>();
    TProbe<double> Out(Player->OutputPin());
    Player->SetClockSource(TQSClockSource::csExternal);
    Expect(*Player, Place, [&] { Player->Start(); });
    EXPECT_FALSE(Player->IsRunning());
    EXPECT_FALSE(Player->Pump());
    EXPECT_TRUE(Out.StartRates.empty());
  }
  EXPECT_TRUE(std::filesystem::is_directory(Dir / "folder"));
}

// Under a name that opened before; a block behind the stop is late all the same.
TEST(Logger, TriesAgainWithEachBlockUntilTheStop) {
  TRig Rig;
  std::filesystem::create_directory(Rig.Dir / "folder");
  Rig.Logger->SetFileName(Rig.Dir / "folder/log");
  const auto Record = [&](std::uint8_t AValue) {
    Rig.Feed.Start();
    Rig.Feed.Send({AValue});
  };
  Record(1);
  Rig.Feed.Stop();
  std::filesystem::remove_all(Rig.Dir / "folder");
  int Errors = 0;
  Rig.Logger->SetOnError([&](TObject&, const std::string&, std::int32_t, bool& AHandled) {
    ++Errors;
    AHandled = true;
  });
  Record(2);
  EXPECT_EQ(Errors, 2);
  std::filesystem::create_directory(Rig.Dir / "folder");
  Rig.Feed.Send({3});
  Rig.Feed.Stop();
  Rig.Feed.Send({4});
  EXPECT_EQ(ReadFile(Rig.Dir / "folder/log"), TBytes{3});
  std::filesystem::remove_all(Rig.Dir / "folder");
  Record(5);
  Rig.Feed.Stop();
  std::filesystem::create_directory(Rig.Dir / "folder");
  Rig.Feed.Send({6});
  EXPECT_TRUE(std::filesystem::is_empty(Rig.Dir / "folder"));
}

// As a user who is not allowed everything.
TEST(Logger, ReplacesNoFileThatItMayNotWriteTo) {
  constexpr uid_t Nobody = 65534;
  TRig Rig;
  WriteFile(Rig.File, {1});
  std::filesystem::permissions(Rig.File, std::filesystem::perms::owner_read);
  const bool IsRoot = geteuid() == 0;
  if (IsRoot) {
    ASSERT_EQ(chown((Rig.Dir / "").c_str(), Nobody, Nobody), 0);
    ASSERT_EQ(chown(Rig.File.c_str(), Nobody, Nobody), 0);
    ASSERT_EQ(seteuid(Nobody), 0);
  }
  std::string Reason;
  try {
    Rig.Feed.Start();
  } catch (const EQSFileException& Error) {
    Reason = Error.Detail();
  }
  ASSERT_EQ(seteuid(IsRoot ? 0 : geteuid()), 0);
  EXPECT_NE(Reason.find("Permission denied"), std::string::npos) << Reason;
  EXPECT_EQ(ReadFile(Rig.File), TBytes{1});
}

TEST(Logger, CountsWhatAFullDiskLosesAndLeavesTheDeviceThere) {
  const std::string Device = "/dev/full";
  if (!std::filesystem::is_character_file(Device)) GTEST_SKIP() << "no " << Device;
  TRig Rig;
  Rig.Logger->SetFileName(Device);
  Rig.Logger->SetSaveBufferSizes(true);
  Rig.Feed.Start();
  Rig.Feed.Send(std::vector<std::uint8_t>(100));
  EXPECT_EQ(Rig.Logger->Logged(), 100);
  EXPECT_EQ(Rig.Logger->Lost(), 104);
  Rig.Feed.Stop();
  EXPECT_TRUE(std::filesystem::is_character_file(Device));
  Rig.Logger->SetFileName(Rig.File);
  Rig.Feed.Send({1});
  EXPECT_EQ(Rig.Logger->Lost(), 0) << "since the file was opened";
}

// --- handlers that act on what they are called from ---

TEST(Logger, MayStopItsSourceWhenItsFileIsFull) {
  TRig Rig;
  const auto Gen = Create<TQSSignalGen>();
  Gen->SetClockSource(TQSClockSource::csExternal);
  Gen->SetBufferSize(100);
  Rig.Logger->InputPin().DisconnectAll();
  Gen->OutputPin().Connect(Rig.Logger->InputPin());
  Rig.Logger->SetCeiling(1000);
  Rig.Logger->SetOnFileClose([&](TObject&) {
    ++Rig.Closed;
    Gen->Stop();
  });
  Gen->Start();
  int Pumps = 0;
  while (Gen->Pump() && Pumps < 100) ++Pumps;
  EXPECT_EQ(Pumps, 1) << "two blocks of 800 bytes, the second cut";
  EXPECT_FALSE(Gen->IsRunning());
  EXPECT_EQ(Rig.Closed, 1);
  EXPECT_EQ(ReadFile(Rig.File).size(), 1000U);
}

}  // namespace
}  // namespace tessalune::test
