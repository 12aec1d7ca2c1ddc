// Sources on their own clocks, which run as fast as they can, while this thread sets and asks.
#include "support/Files.h"
#include "support/Streams.h"

#include <tessalune/sources/QSLogger.h>
#include <tessalune/sources/QSPlayer.h>
#include <tessalune/sources/QSSignalGen.h>

#include <atomic>

namespace tessalune::test {
namespace {

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

}  // namespace
}  // namespace tessalune::test
