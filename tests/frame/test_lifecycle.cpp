// Ends: of components, of streams, of what was queued for them; whoever ends them, and wherever.
#include "FrameTools.h"

#include <tessalune/sources/QSLogger.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>

namespace tessalune::testing {
namespace {

using namespace std::chrono_literals;

// --- a component destroyed from a thread of the graph ---

enum class TEnder { MainThread, PumpHandler, ClockHandler, FilterThread, ThirdThread };
enum class TEnding { Stop, Disable, Unlink, Destroy };

std::string EndName(const ::testing::TestParamInfo<std::tuple<TEnder, TEnding>>& AInfo) {
  constexpr std::array Enders{"Main", "PumpHandler", "ClockHandler", "FilterThread", "ThirdThread"};
  constexpr std::array Endings{"Stops", "Disables", "Unlinks", "Destroys"};
  return std::string(Enders.at(static_cast<std::size_t>(std::get<0>(AInfo.param)))) +
         Endings.at(static_cast<std::size_t>(std::get<1>(AInfo.param)));
}

// A generator on its clock, a filter with a thread and a queue of one, and a filter behind it. The
// clock stands at the full queue when the end comes from outside.
class AnEndWhileBlocksFlow : public ::testing::TestWithParam<std::tuple<TEnder, TEnding>> {
 protected:
  AnEndWhileBlocksFlow() {
    Gen->SetBufferSize(8);
    Gen->SetSampleRate(8000.0);
    Gen->SetTimeSource(Clock);
    Filter->Threading().SetEnabled(true);
    Filter->Threading().Queue().SetSize(1);
    Gen->OutputPin().Connect(First.Pin);
    Link(*Gen, *Filter, Last);
  }

  void End() {
    switch (std::get<1>(GetParam())) {
      case TEnding::Stop:
        return Gen->Stop();
      case TEnding::Disable:
        return Gen->SetEnabled(false);
      case TEnding::Unlink:
        return Gen->OutputPin().DisconnectAll();
      case TEnding::Destroy:
        Gen.reset();
    }
  }

  TRef<TManualClock> Clock = MakeRef<TManualClock>();
  TRealRecorder First;
  TRealRecorder Last;
  TOwned<THookFilter> Filter = Create<THookFilter>();
  TOwned<TQSSignalGen> Gen = Create<TQSSignalGen>();
};

TEST_P(AnEndWhileBlocksFlow, ComesThroughAndNoBlockFollows) {
  const TEnder Ender = std::get<0>(GetParam());
  TLatch Full;
  TLatch GoOn;
  TLatch Done;
  std::atomic<int> AtFirst{0};
  const bool FromOutside = Ender == TEnder::MainThread || Ender == TEnder::ThirdThread;
  const auto EndOnce = [&] {
    End();
    Done.Open();
  };
  First.On(IsBlock, [&] {
    if (++AtFirst == 1 && (Ender == TEnder::PumpHandler || Ender == TEnder::ClockHandler)) {
      EndOnce();
    }
  });
  Filter->Threading().SetOnQueueFull([&](TObject&) { Full.Open(); });
  Filter->OnBlock = [&, Once = false]() mutable {
    if (std::exchange(Once, true)) return;
    if (FromOutside || Ender == TEnder::FilterThread) Full.Wait();
    if (Ender == TEnder::FilterThread) EndOnce();
    if (FromOutside) GoOn.Wait();
  };
  if (Ender == TEnder::PumpHandler) {
    Gen->SetClockSource(TQSClockSource::csExternal);
    Gen->Start();
    Gen->Pump();
  } else {
    Gen->Start();
    std::thread Time([&] {
      // A thread that stands at a full queue is busy: the time moves on when it has come through.
      if (Ender != TEnder::ClockHandler) Clock->Advance(1s);
    });
    if (FromOutside) {
      Full.Wait();
      std::thread Opener([&] { GoOn.Open(); });
      if (Ender == TEnder::MainThread) {
        EndOnce();
      } else {
        std::thread(EndOnce).join();
      }
      Opener.join();
    }
    Done.Wait();
    const int Seen = AtFirst;
    Clock->Advance(2s);
    EXPECT_EQ(AtFirst, Seen) << "a block was made after the end had returned";
    Time.join();
  }
  Done.Wait();
  if (Gen) {
    EXPECT_EQ(Gen->IsRunning(), std::get<1>(GetParam()) != TEnding::Stop);
    Gen->Stop();
  }
  EXPECT_EQ(First.Count("stop"), 1U);
  Last.WaitFor("stop", 1);
  EXPECT_EQ(Last.Log().back(), "stop");
  EXPECT_EQ(Last.Count("stop"), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, AnEndWhileBlocksFlow,
    ::testing::Combine(
        ::testing::Values(TEnder::MainThread, TEnder::PumpHandler, TEnder::ClockHandler,
                          TEnder::FilterThread, TEnder::ThirdThread),
        ::testing::Values(TEnding::Stop, TEnding::Disable, TEnding::Unlink, TEnding::Destroy)),
    EndName);

TEST(AFilter, MayBeDestroyedOnItsOwnThread) {
  const auto Gen = PumpedGen();
  auto Filter = Create<THookFilter>();
  TRealRecorder Sink;
  TLatch Gone;
  Filter->Threading().SetEnabled(true);
  Filter->OnBlock = [&] {
    Filter.reset();
    Gone.Open();
  };
  Link(*Gen, *Filter, Sink);
  Gen->Start();
  Gen->Pump();
  Gone.Wait();
  Gen->Pump();
  EXPECT_FALSE(Gen->OutputPin().IsConnected());
  EXPECT_EQ(Sink.Log(), (TLog{"start 44100", "stop"}));
}

TEST(AComponent, MayBeDestroyedByAnyOfItsEvents) {
  auto Gen = Create<TQSSignalGen>();
  Gen->SetOnStart([&](TObject&) { Gen.reset(); });
  Gen->Start();
  EXPECT_FALSE(Gen);
  Gen = PumpedGen();
  Gen->SetOnStop([&](TObject&) { Gen.reset(); });
  Gen->Start();
  Gen->Stop();
  EXPECT_FALSE(Gen);
  // OnFileClose, fired by a setter.
  auto Logger = Create<TQSLogger>();
  Logger->SetFileName(::testing::TempDir() + "tessalune_end.bin");
  Logger->SetOnFileClose([&](TObject&) { Logger.reset(); });
  Logger->Log(TQSBlockBuffer::CreateSize(1));
  Logger->SetEnabled(false);
  EXPECT_FALSE(Logger);
  std::remove((::testing::TempDir() + "tessalune_end.bin").c_str());
}

TEST(AnEnd, IsNotKeptFromItsWayByWhatHandlersThrow) {
  const THookRecord Hook;
  TRealRecorder Bad;
  TRealRecorder Good;
  auto Gen = PumpedGen();
  Gen->OutputPin().Connect(Bad.Pin);
  Gen->OutputPin().Connect(Good.Pin);
  Gen->Start();
  Bad.OnOperation = [](IKLNotifyOperation&) { throw EQSException("bad stop"); };
  Gen.reset();
  EXPECT_FALSE(Bad.Pin.IsConnected());
  EXPECT_EQ(Good.Log().back(), "stop");
  ASSERT_FALSE(Hook.Texts().empty());
  ExpectAll(Hook.Texts().front(), {"TQSSignalGen", "bad stop"});
}

TEST(AnOwner, EndsWhatItOwnsOnceTheLastFirst) {
  std::vector<std::string> Order;
  auto Host = Create<TComponent>();
  for (const char* Name : {"One", "Two", "Three"}) {
    auto& Gen = Create<TQSSignalGen>(*Host);
    Gen.SetName(Name);
    Gen.SetClockSource(TQSClockSource::csExternal);
    Gen.SetOnStop([&Order, Name](TObject&) { Order.push_back(Name); });
    Gen.Start();
  }
  ExpectAll(Refusal([&] { Host->FindComponent("One")->SetName("Two"); }), {"One", "Two"});
  auto Twin = Create<TQSLogger>();
  Twin->SetName("Two");
  ExpectAll(Refusal([&] { Host->InsertComponent(std::move(Twin)); }),
            {"Two (TQSLogger)", "Two (TQSSignalGen)"});
  TComponentEnd()(Host->FindComponent("Two"));
  EXPECT_EQ(Host->Components().size(), 2U);
  Host.reset();
  EXPECT_EQ(Order, (std::vector<std::string>{"Two", "Three", "One"}));
}

TEST(AnOwner, TakesNothingMoreWhenItsEndHasBegun) {
  auto Host = Create<TComponent>();
  TComponent* const Raw = Host.get();
  TGate Gate;
  TThreadKey Ending = nullptr;
  std::string Refused;
  const TListening Listening = Raw->Listen([&](TComponent& ASender, const TPropertyChange&) {
    Gate.Stand();
    AwaitBlocked(Ending);  // what it owns has ended, it waits for this call
    Refused = Refusal([&] { Create<TQSSignalGen>(ASender); });
  });
  std::thread Setter([&] { Raw->SetTag(1); });
  Gate.Inside.Wait();
  TKnownThread Ender([&] { Host.reset(); });
  Ending = Ender.Key;
  Gate.GoOn.Open();
  Setter.join();
  ExpectAll(Refused, {"TComponent is at its end", "cannot own TQSSignalGen"});
}

TEST(ASourceThatEnds, IsStartedByNobody) {
  TRealRecorder Sink;
  auto Gen = Create<TQSSignalGen>();
  TQSSignalGen& Ending = *Gen;
  int Stops = 0;
  Gen->SetTimeSource(MakeRef<TManualClock>());
  Gen->SetOnStop([&](TObject&) { ++Stops; });
  Sink.On(IsStop, [&] {
    Ending.Start();
    EXPECT_FALSE(Ending.IsRunning());
  });
  Gen->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  TComponentEnd()(Gen.release());
  EXPECT_EQ(Stops, 1);
}

// --- the order of starts and stops ---

TEST(AStopOnAThirdThread, ReturnsWhenThePumpsOwnHasBeenTold) {
  const auto Gen = PumpedGen();
  TRealRecorder First;
  TRealRecorder Sink;
  TLog Known;
  std::optional<TKnownThread> Third;
  First.On(IsBlock, [&] {
    Gen->Stop();
    Third.emplace([&] {
      Gen->Stop();
      Known = Sink.Log();
    });
    AwaitBlocked(Third->Key);
  });
  Gen->OutputPin().Connect(First.Pin);
  Gen->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  Gen->Pump();
  Third->Join();
  EXPECT_EQ(Known, (TLog{"start 44100", "block", "stop"}));
}

TEST(AStopThatASinkFails, IsToldToTheHost) {
  const auto Gen = PumpedGen();
  TRealRecorder Sink;
  int Stops = 0;
  Gen->SetOnStop([&](TObject&) { ++Stops; });
  Sink.On(IsStop, [] { throw EQSException("disk full"); });
  Gen->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  EXPECT_EQ(Refusal([&] { Gen->Stop(); }), "disk full");
  EXPECT_EQ(Stops, 1);
}

TEST(TheStopOfTicks, EndsAStreamThatTicksDrove) {
  for (const auto Clock : {TQSClockSource::csAuto, TQSClockSource::csExternal}) {
    const auto Gen = Create<TQSSignalGen>();
    TRealRecorder Sink;
    Gen->SetClockSource(Clock);
    Gen->SetTimeSource(MakeRef<TManualClock>());
    Gen->OutputPin().Connect(Sink.Pin);
    {
      TQSKLRealSourcePin Ticks{TKLPinOwner()};
      Ticks.Connect(Gen->ClockInputPin());
      Ticks.Notify(MakeRef<TKLStartSampleRateOperation>(1.0));
      EXPECT_TRUE(Gen->IsRunning());
    }
    EXPECT_EQ(Sink.Log(), (TLog{"start 44100", "stop"}));
    if (Clock == TQSClockSource::csExternal) continue;
    Gen->Start();  // on its own clock
    TQSKLRealSourcePin Late{TKLPinOwner()};
    Late.Connect(Gen->ClockInputPin());
    Late.Notify(MakeRef<TKLStartSampleRateOperation>(1.0));
    Late.EndStop();
    EXPECT_TRUE(Gen->IsRunning());
  }
}

// What a sink hears of a stream: S(tart), R(equest for a pump), P(ump chosen), B(lock), stop (X).
char Letter(IKLNotifyOperation& AOperation) {
  if (IsStart(AOperation)) return 'S';
  if (AOperation.IsType<TKLPumpRequestOperation>()) return 'R';
  if (AOperation.IsType<TKLStartPumpOperation>()) return 'P';
  return IsStop(AOperation) ? 'X' : 'B';
}

struct TRestartCase {
  const char* Name;
  char Where;  // the operation in whose first handler it happens; O: OnStart
  bool Throws;
  std::string Heard;          // by the sink that restarts
  std::string HeardBehind{};  // by the sink behind it, where that is not the same
};
class ARestart : public ::testing::TestWithParam<TRestartCase> {};
INSTANTIATE_TEST_SUITE_P(
    Inside, ARestart,
    ::testing::Values(TRestartCase{"AStart", 'S', false, "SXSRPBX"},
                      TRestartCase{"ARequest", 'R', false, "SRXSRPBX"},
                      TRestartCase{"OnStart", 'O', false, "SRXSRPBX"},
                      TRestartCase{"APumpsStart", 'P', false, "SRPXSRPBX"},
                      TRestartCase{"ABlock", 'B', false, "SRPBXSRPBX"},
                      TRestartCase{"AStop", 'X', false, "SRPBXSRPBX"},
                      TRestartCase{"AStartThatFails", 'S', true, "SXSRPBX", "SRPBX"},
                      TRestartCase{"ARequestThatFails", 'R', true, "SRXSRPBX", "SXSRPBX"}),
    [](const auto& ACase) { return ACase.param.Name; });

TEST_P(ARestart, GoesOnWithTheNewStreamAloneAndKeepsTheOrderAtAllSinks) {
  const auto Gen = PumpedGen();
  TRealRecorder First;
  TRealRecorder Second;
  std::string Heard;
  std::string HeardBehind;
  bool Restarted = false;
  const auto RestartAt = [&](char AWhere) {
    if (AWhere != GetParam().Where || std::exchange(Restarted, true)) return;
    Gen->Stop();
    Gen->Start();
    if (GetParam().Throws) throw EQSException("no disk");
  };
  First.OnOperation = [&](IKLNotifyOperation& AOperation) {
    Heard += Letter(AOperation);
    RestartAt(Letter(AOperation));
  };
  Second.OnOperation = [&](IKLNotifyOperation& AOperation) { HeardBehind += Letter(AOperation); };
  Gen->SetOnStart([&](TObject&) { RestartAt('O'); });
  Gen->OutputPin().Connect(First.Pin);
  Gen->OutputPin().Connect(Second.Pin);
  if (GetParam().Throws) {
    EXPECT_EQ(Refusal([&] { Gen->Start(); }), "no disk");
  } else {
    Gen->Start();
  }
  Gen->Pump();
  if (GetParam().Where == 'X') Gen->Stop();
  EXPECT_TRUE(Gen->IsRunning());
  if (Heard.back() != 'B') Gen->Pump();
  Gen->Stop();
  EXPECT_EQ(Heard, GetParam().Heard);
  EXPECT_EQ(HeardBehind, GetParam().HeardBehind.empty() ? Heard : GetParam().HeardBehind);
}

TEST(AStartOnAnotherThread, IsToldBehindTheStopThatWasFirst) {
  const auto Gen = PumpedGen();
  TRealRecorder Slow;
  TRealRecorder Sink;
  TGate Gate;
  Slow.On(IsStop, [&] {
    if (Slow.Count("stop") > 1) return;
    Gate.Stand();
  });
  Gen->OutputPin().Connect(Slow.Pin);
  Gen->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  std::thread Stopper([&] { Gen->Stop(); });
  Gate.Inside.Wait();
  std::thread Starter([&] { Gen->Start(); });
  while (!Gen->IsRunning()) std::this_thread::yield();
  Gen->Pump();  // the stream's sinks do not know of it yet
  EXPECT_EQ(Sink.Log(), TLog{"start 44100"});
  Gate.GoOn.Open();
  Stopper.join();
  Starter.join();
  Gen->Pump();
  EXPECT_EQ(Sink.Log(), (TLog{"start 44100", "stop", "start 44100", "block"}));
}

TEST(AStartThatFails, LeavesNoStream) {
  const auto Gen = PumpedGen();
  TRealRecorder Good;
  TRealRecorder Bad;
  Bad.On(IsStart, [] { throw EQSException("no disk"); });
  Gen->OutputPin().Connect(Good.Pin);
  Gen->OutputPin().Connect(Bad.Pin);
  EXPECT_EQ(Refusal([&] { Gen->Start(); }), "no disk");
  EXPECT_FALSE(Gen->IsRunning());
  EXPECT_EQ(Good.Log(), (TLog{"start 44100", "stop"}));
}

// A thread inside the source's lock waits for what the starting thread holds.
TEST(AStartThatFails, InACircleOfLocksEndsOnTheMainThread) {
  const auto Gen = PumpedGen();
  const auto Other = PumpedGen();
  TRealRecorder Sink;
  std::optional<TKnownThread> Inside;
  Sink.On(IsStart, [&] {
    Inside.emplace([&] {
      const ILockSection Section = Gen->WriteLock();
      Other->SetOffset(1.0);
    });
    AwaitBlocked(Inside->Key);
  });
  Gen->OutputPin().Connect(Sink.Pin);
  {
    const ILockSection Section = Other->WriteLock();
    ExpectAll(Refusal([&] { Gen->Start(); }), {"TQSSignalGen", "cannot enter"});
  }
  Inside->Join();
  MainThread().Process();
  EXPECT_FALSE(Gen->IsRunning());
  EXPECT_EQ(Sink.Log(), (TLog{"start 44100", "stop"}));
}

// --- the main thread ---

class MainThreadCalls : public ::testing::Test {
 protected:
  ~MainThreadCalls() override {
    MainThread().SetOnWork({});
    while (MainThread().Process() > 0) continue;
  }
  TOwned<TQSSignalGen> Component = PumpedGen();
};

TEST_F(MainThreadCalls, OfAnEndedComponentNeverRun) {
  const auto Other = PumpedGen();
  std::vector<int> Ran;
  MainThread().Execute(*Component, [&] { Ran.push_back(1); });
  MainThread().Execute(*Other, [&] {
    Ran.push_back(2);
    Component.reset();
  });
  MainThread().Execute(*Component, [&] { Ran.push_back(3); });
  EXPECT_EQ(MainThread().Process(), 2U);
  EXPECT_EQ(Ran, (std::vector{1, 2}));
}

TEST_F(MainThreadCalls, ThrowThroughProcessAndKeepWhatIsBehind) {
  int Told = 0;
  MainThread().SetOnWork([&] { ++Told; });
  bool Ran = false;
  MainThread().Execute(*Component, [] { throw EQSException("failed"); });
  MainThread().Execute(*Component, [&] { Ran = true; });
  EXPECT_EQ(Told, 1) << "told when the first call came";
  EXPECT_EQ(Refusal([] { MainThread().Process(); }), "failed");
  EXPECT_EQ(Told, 2) << "nobody was told of what stayed behind";
  EXPECT_TRUE(MainThread().WaitForWork(0ns));
  EXPECT_EQ(MainThread().Process(), 1U);
  EXPECT_TRUE(Ran);
  EXPECT_FALSE(MainThread().WaitForWork(0ns));
}

TEST_F(MainThreadCalls, QueuedByACallWaitForTheNextProcessAndAreTold) {
  int Told = 0;
  MainThread().SetOnWork([&] { ++Told; });
  MainThread().Execute(*Component, [&] { MainThread().Execute(*Component, [] {}); });
  MainThread().Execute(*Component, [] {});
  EXPECT_EQ(MainThread().Process(), 2U);
  EXPECT_EQ(Told, 2);
  EXPECT_EQ(MainThread().Process(), 1U);
}

TEST_F(MainThreadCalls, MayOwnWhatQueuesAgainWhenItGoes) {
  struct TQueuesAtItsEnd {
    TComponent& Target;
    ~TQueuesAtItsEnd() {
      MainThread().Execute(Target, [] {});
    }
  };
  MainThread().Execute(*Component, [Kept = std::make_shared<TQueuesAtItsEnd>(*Component)] {});
  EXPECT_EQ(MainThread().Process(), 1U);
  EXPECT_EQ(MainThread().Process(), 1U);
}

}  // namespace
}  // namespace tessalune::testing
