// Sources on their own clocks, which run as fast as they can, while this thread sets and asks; and
// starts and stops that overtake each other, with one side held by the test.
#include "frame/FrameTools.h"
#include "support/Files.h"
#include "support/Streams.h"

#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>
#include <tessalune/sources/QSSignalGen.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>
#include <utility>

namespace tessalune::test {
namespace {

using testing::AwaitBlocked;
using testing::TKnownThread;
using testing::TLatch;

constexpr int Rounds = 2000;
constexpr std::int32_t BlockSize = 16;

void RunFree(TQSCommonBufferGen& ASource) {
  ASource.SetSampleRate(1e12);
  ASource.SetBufferSize(BlockSize);
  ASource.Start();
}

TEST(SourceThreads, AGeneratorAndALoggerTakeSettingsWhileBlocksFlow) {
  TTempDir Dir;
  const auto Gen = Create<TQSSignalGen>();
  const auto Logger = Create<TQSLogger>();
  std::atomic<int> Closed = 0;
  Logger->SetFileName(Dir / "0");
  Logger->SetOnFileClose([&](TObject&) { ++Closed; });
  Gen->OutputPin().Connect(Logger->InputPin());
  RunFree(*Gen);
  for (int I = 0; I < Rounds; ++I) {
    Gen->SetSignalType(static_cast<TQSSignalType>(I % 7));
    Gen->SetPhase(I);
    EXPECT_GE(Gen->CurrentPhase(), 0.0);
    Logger->SetFileName(Dir / std::to_string(I % 4));
    Logger->SetEnabled(I % 64 != 0);
    if (I % 64 == 1) Logger->Log(TQSRealBuffer::CreateSize(BlockSize));
  }
  Gen->Stop();
  const std::int64_t Logged = Logger->Logged();
  EXPECT_GT(Closed, 0);
  EXPECT_EQ(Logged % (BlockSize * 8), 0) << "only whole blocks";
  EXPECT_FALSE(Logger->IsOpen());
  Gen->SetAmplitude(1.0);
  EXPECT_EQ(Logger->Logged(), Logged) << "no block after Stop has returned";
}

TEST(SourceThreads, APlayerMovesWhileItPlaysAndEndsOnTheMainThread) {
  TTempDir Dir;
  WriteFile(Dir / "file", TBytes(1000, 'x'));
  const auto Player = Create<TQSPlayer>();
  TProbe<std::uint8_t> Out(Player->OutputPin());
  bool Stopped = false;
  Player->SetFileName(Dir / "file");
  Player->SetMode(TQSPlayerMode::pmRepeat);
  Player->SetOnStop([&](TObject&) { Stopped = true; });
  RunFree(*Player);
  for (int I = 0; I < Rounds; ++I) {
    Player->SetCurrentSample(I % 1000);
    EXPECT_LE(Player->CurrentSample(), Player->SamplesCount());
    Player->SetMode(I % 2 == 0 ? TQSPlayerMode::pmZero : TQSPlayerMode::pmRepeat);
  }
  Player->SetMode(TQSPlayerMode::pmStop);
  while (!Stopped) {
    ASSERT_TRUE(MainThread().WaitForWork(std::chrono::minutes(1)));
    RunMainThread();
  }
  EXPECT_FALSE(Player->IsRunning());
  EXPECT_EQ(Out.Stops, 1);
  for (const auto& Block : Out.Blocks) ASSERT_LE(Block.size(), std::size_t{BlockSize});
}

using TByteRecorder = testing::TRecorder<TQSKLTypedSinkPin<BlockStream>>;

// A player of a file that the test pumps, and two sinks: one that does what the test says, and a
// logger behind it.
struct TPlayerRig {
  TTempDir Dir;
  const std::string File = Dir / "file";
  TOwned<TQSPlayer> Player = Create<TQSPlayer>();
  TByteRecorder Sink;
  TOwned<TQSLogger> Logger = Create<TQSLogger>();

  TPlayerRig() {
    WriteFile(File, {1, 2, 3});
    Player->SetClockSource(TQSClockSource::csExternal);
    Player->SetFileName(File);
    Logger->SetFileName(Dir / "log");
    Player->OutputPin().Connect(Sink.Pin);
    Player->OutputPin().Connect(Logger->InputPin());
  }
  ~TPlayerRig() { Player.reset(); }

  // How often this process has the file open.
  std::ptrdiff_t OpenFiles() const {
    const std::filesystem::directory_iterator Handles("/proc/self/fd");
    return std::count_if(begin(Handles), end(Handles), [this](const auto& AHandle) {
      std::error_code Gone;
      return std::filesystem::read_symlink(AHandle.path(), Gone) == File;
    });
  }
};

// The start waits for the lock to open its file, and the stop takes effect before or after that.
TEST(SourceThreads, AStartThatAStopOvertakesLeavesNoFileOpen) {
  for (const bool StopFirst : {true, false}) {
    TPlayerRig Rig;
    TLatch Stopping;
    TLatch GoOn;
    Rig.Sink.OnOperation = [&](IKLNotifyOperation& AOperation) {
      if (!AOperation.IsType<TKLStopOperation>() || Rig.Sink.Count("stop") > 1) return;
      Stopping.Open();
      GoOn.Wait();
    };
    Rig.Player->Start();
    TKnownThread Ender([&] { Rig.Player->Stop(); });
    Stopping.Wait();
    TKnownThread Starter([&] { Rig.Player->Start(); });
    while (!Rig.Player->IsRunning()) std::this_thread::yield();
    std::optional<TKnownThread> Stopper;
    {
      const ILockSection Held = Rig.Player->ReadLock();
      GoOn.Open();
      AwaitBlocked(Starter.Key);
      if (StopFirst) {
        Stopper.emplace([&] { Rig.Player->Stop(); });
        AwaitBlocked(Stopper->Key);
      }
    }
    Starter.Join();
    if (StopFirst) {
      Stopper->Join();
    } else {
      EXPECT_EQ(Rig.OpenFiles(), 1);
      Rig.Player->Stop();
    }
    EXPECT_FALSE(Rig.Player->IsRunning());
    EXPECT_EQ(Rig.OpenFiles(), 0) << StopFirst;
    EXPECT_EQ(Rig.Sink.Count("start 44100"), StopFirst ? 1U : 2U);
    EXPECT_EQ(Rig.Sink.Log().back(), "stop");
  }
}

enum class TRestart { InTheLastBlock, InItsStop, OnAnotherThread };

// A recording behind a player that is started again when its file has ended: the stop of the end is
// told before that start, and the end is no other stream's.
TEST(SourceThreads, AStartAtTheEndOfAPlayersFileKeepsItsPlaceBehindTheStop) {
  for (const TRestart Where :
       {TRestart::InTheLastBlock, TRestart::InItsStop, TRestart::OnAnotherThread}) {
    TPlayerRig Rig;
    std::optional<TKnownThread> Starter;
    Rig.Sink.OnOperation = [&, Once = false](IKLNotifyOperation& AOperation) mutable {
      const bool Here = Where == TRestart::InTheLastBlock
                            ? AOperation.IsType<TKLSuppliedOperation>()
                            : AOperation.IsType<TKLStopOperation>();
      if (!Here || std::exchange(Once, true)) return;
      WriteFile(Rig.File, {4, 5});
      Rig.Player->Stop();
      if (Where != TRestart::OnAnotherThread) return Rig.Player->Start();
      Starter.emplace([&] { Rig.Player->Start(); });
      AwaitBlocked(Starter->Key);
    };
    Rig.Player->Start();
    Rig.Player->Pump();
    RunMainThread();
    if (Starter) Starter->Join();
    Rig.Player->Pump();
    RunMainThread();
    EXPECT_EQ(Rig.Sink.Log(),
              (testing::TLog{"start 44100", "block", "stop", "start 44100", "block", "stop"}));
    EXPECT_EQ(ReadFile(Rig.Dir / "log"), (TBytes{4, 5})) << static_cast<int>(Where);
  }
}

}  // namespace
}  // namespace tessalune::test
