// Starts and stops that overtake each other, with one side held by the test.
#include "frame/FrameTools.h"
#include "support/Files.h"
#include "support/Streams.h"

#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>
#include <utility>

namespace tessalune::test {
namespace {

using testing::AwaitBlocked;
using testing::TKnownThread;

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
    testing::TGate Stopping;
    Rig.Sink.On(testing::IsStop, [&] {
      if (Rig.Sink.Count("stop") > 1) return;
      Stopping.Stand();
    });
    Rig.Player->Start();
    TKnownThread Ender([&] { Rig.Player->Stop(); });
    Stopping.Inside.Wait();
    TKnownThread Starter([&] { Rig.Player->Start(); });
    while (!Rig.Player->IsRunning()) std::this_thread::yield();
    std::optional<TKnownThread> Stopper;
    {
      const ILockSection Held = Rig.Player->ReadLock();
      Stopping.GoOn.Open();
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

// The pump is inside the player's lock and waits for what the main thread holds.
TEST(SourceThreads, AnEndOfAPlayersFileThatACircleOfLocksRefusesIsNotLost) {
  TPlayerRig Rig;
  const auto Other = testing::PumpedGen();
  testing::TGate InPump;
  bool Armed = false;
  int Stops = 0;
  Rig.Player->SetOnStop([&](TObject&) { ++Stops; });
  Rig.Sink.On(testing::IsStop, [] { throw EQSException("disk full"); });
  TKLInt64TimeRangedStatePin Progress({}, [&](std::int64_t) {
    if (!std::exchange(Armed, false)) return;
    InPump.Stand();
    Other->SetOffset(1.0);
  });
  Rig.Player->ProgressPin().Connect(Progress);
  Rig.Player->Start();
  Rig.Player->Pump();
  Armed = true;
  TKnownThread Pump([&] { Rig.Player->Pump(); });
  InPump.Inside.Wait();
  {
    const ILockSection Section = Other->WriteLock();
    InPump.GoOn.Open();
    AwaitBlocked(Pump.Key);
    testing::ExpectAll(testing::Refusal([] { MainThread().Process(); }), {"cannot enter"});
  }
  Pump.Join();
  EXPECT_EQ(testing::Refusal(RunMainThread), "disk full");
  EXPECT_FALSE(Rig.Player->IsRunning());
  EXPECT_EQ(Stops, 1);
  RunMainThread();
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
