// Links that change while something crosses them: each race is held open by a handler of the test.
#include "FrameTools.h"

#include <array>
#include <atomic>
#include <deque>
#include <optional>

namespace tessalune::testing {
namespace {

using TRealFeed = TQSKLRealSourcePin;

void SendStart(TRealFeed& APin, double ARate) {
  APin.Notify(MakeRef<TKLStartSampleRateOperation>(ARate));
}
void SendBlock(TRealFeed& APin) { APin.SubmitBuffer(TQSRealBuffer::CreateSize(4)); }

// A place at which a thread stands until another one waits for it, or is told to go on.
struct TStand {
  // Runs AWork, which has to wait for the thread that stands here, and lets that one go on.
  void PassWhenAwaited(const std::function<void()>& AWork) {
    Inside.Wait();
    TKnownThread Other(AWork);
    Awaiter = Other.Key;
    Known.Open();
    Other.Join();
    EXPECT_TRUE(HasLeft) << "the wait ended while the call was inside";
  }
  void Stand() {
    Inside.Open();
    Known.Wait();
    AwaitBlocked(Awaiter);
    HasLeft = true;
  }
  TLatch Inside;
  TLatch Known;
  TThreadKey Awaiter = nullptr;
  std::atomic<bool> HasLeft{false};
};

// --- nothing is inside the far end when a link, a pin or a component has gone ---

struct TGoingCase {
  const char* Name;
  std::function<void(std::unique_ptr<TRealFeed>&, std::unique_ptr<TRealRecorder>&)> Go;
};
class ABlockOnItsWay : public ::testing::TestWithParam<TGoingCase> {};
INSTANTIATE_TEST_SUITE_P(
    Holds, ABlockOnItsWay,
    ::testing::Values(
        TGoingCase{"Disconnect", [](auto& Feed, auto& Sink) { Feed->Disconnect(Sink->Pin); }},
        TGoingCase{"DisconnectAllAtTheSink", [](auto&, auto& Sink) { Sink->Pin.DisconnectAll(); }},
        TGoingCase{"TheEndOfAHostsSink", [](auto&, auto& Sink) { Sink.reset(); }},
        TGoingCase{"ASecondDisconnect",
                   [](auto& Feed, auto& Sink) {
                     // The link is off already, and the first who took it off waits as well.
                     std::thread First([&] { Feed->DisconnectAll(); });
                     while (Feed->IsConnected()) std::this_thread::yield();
                     Sink->Pin.DisconnectAll();
                     First.join();
                   }}),
    [](const auto& ACase) { return ACase.param.Name; });

TEST_P(ABlockOnItsWay, UntilItHasLeft) {
  auto Feed = std::make_unique<TRealFeed>(TKLPinOwner());
  auto Sink = std::make_unique<TRealRecorder>();
  TStand Stand;
  std::atomic<bool> Inside{false};
  std::atomic<bool> Stopped{false};
  Sink->OnOperation = [&](IKLNotifyOperation& AOperation) {
    EXPECT_FALSE(Inside) << "two threads are inside one sink";
    if (IsStop(AOperation)) Stopped = true;
    if (!IsBlock(AOperation)) return;
    Inside = true;
    Stand.Stand();
    Inside = false;
  };
  Feed->Connect(Sink->Pin);
  SendStart(*Feed, 1.0);
  std::thread Pump([&] { SendBlock(*Feed); });
  Stand.PassWhenAwaited([&] { GetParam().Go(Feed, Sink); });
  EXPECT_TRUE(Stopped);
  Pump.join();
  EXPECT_FALSE(Feed->IsConnected());
}

TEST(AStatePin, MayGoWhileAValueIsInsideItsHandler) {
  TStand Stand;
  auto One = std::make_unique<TKLInt64TimeRangedStatePin>(TKLPinOwner(),
                                                          [&](std::int64_t) { Stand.Stand(); });
  TKLInt64TimeRangedStatePin Two({}, {});
  One->Connect(Two);
  std::thread Setter([&] { Two.SetValue(7); });
  Stand.PassWhenAwaited([&] { One.reset(); });
  Setter.join();
}

TEST(AHostsPin, MayGoInItsOwnHandler) {
  auto Feed = std::make_unique<TRealFeed>(TKLPinOwner());
  auto Kept = std::make_shared<int>(0);
  std::unique_ptr<TQSKLRealSinkPin> Sink;
  const auto Make = [&](std::function<void()> AEnd) {
    Sink = std::make_unique<TQSKLRealSinkPin>(
        TKLPinOwner(), [&Kept, AEnd, Own = Kept](auto&, auto*, auto&, auto& AOperation, auto) {
          if (IsBlock(AOperation)) AEnd();
          ++*Own;  // what the handler holds is there until it returns
          return TKLNotifyResult{};
        });
    Feed->Connect(*Sink);
  };
  Make([&] { Sink.reset(); });
  SendStart(*Feed, 1.0);
  SendBlock(*Feed);
  EXPECT_FALSE(Sink || Feed->IsConnected());
  Make([&] { Feed.reset(); });
  SendBlock(*Feed);
  EXPECT_FALSE(Sink->IsConnected());
  EXPECT_EQ(Kept.use_count(), 2) << "the first handler was not let go of";
}

TEST(AHostsPin, MayGoBetweenTwoLinksThatItsCallCrosses) {
  int Asked = 0;
  std::unique_ptr<TKLClockMultiSinkPin> Input = std::make_unique<TKLClockMultiSinkPin>(
      TKLPinOwner(), [](auto&&...) { return TKLNotifyResult{}; });
  const TKLNotifyEvent Ends = [&](auto&&...) {
    ++Asked;
    Input.reset();
    return TKLNotifyResult{};
  };
  TKLClockSourcePin One({}, Ends);
  TKLClockSourcePin Two({}, Ends);
  One.Connect(*Input);
  Two.Connect(*Input);
  Input->Notify(MakeRef<TKLStopOperation>());
  EXPECT_EQ(Asked, 1);
}

TEST(AFilterOnAnotherLink, IsNeverEnteredByTwoThreads) {
  const auto Filter = Create<THookFilter>();
  std::array<TRealFeed, 2> Feeds{TRealFeed(TKLPinOwner()), TRealFeed(TKLPinOwner())};
  TRealRecorder Sink;
  TStand Stand;
  std::atomic<int> Inside{0};
  std::atomic<bool> First{true};
  Filter->OutputPin().Connect(Sink.Pin);
  Feeds[0].Connect(Filter->InputPin());
  SendStart(Feeds[0], 1.0);
  SendStart(Feeds[1], 2.0);
  Filter->OnBlock = [&] {
    EXPECT_EQ(++Inside, 1);
    if (First.exchange(false)) Stand.Stand();
    --Inside;
  };
  std::thread Pump([&] { SendBlock(Feeds[0]); });
  Stand.PassWhenAwaited([&] {
    Filter->InputPin().DisconnectAll();
    Feeds[1].Connect(Filter->InputPin());
    SendBlock(Feeds[1]);
  });
  Pump.join();
  EXPECT_EQ(Sink.Log(), (TLog{"start 1", "block", "stop", "start 2", "block"}));
}

TEST(AWaitForACall, GivesWayToACallThatNeedsWhatTheWaiterHolds) {
  const auto Gen = PumpedGen();
  TRealFeed Feed{TKLPinOwner()};
  TRealRecorder Sink;
  TLatch Inside;
  TLatch Locked;
  Sink.On(IsBlock, [&] {
    Inside.Open();
    Locked.Wait();
    Gen->SetOffset(1.0);
  });
  const auto Filter = Create<TQSApplyRealConst>();
  Link(Feed, *Filter, Sink);
  SendStart(Feed, 1.0);
  std::thread Pump([&] { SendBlock(Feed); });
  Inside.Wait();
  {
    const ILockSection Section = Gen->WriteLock();
    Locked.Open();
    Filter->OutputPin().DisconnectAll();
    EXPECT_FALSE(Sink.Pin.IsConnected());
  }
  Pump.join();
  EXPECT_EQ(Gen->Offset(), 1.0);
  EXPECT_EQ(Sink.Log(), (TLog{"start 1", "block", "stop"}));
}

// An input of many links.
struct TMulti {
  std::function<void(TKLBasicPin*, IKLNotifyOperation&)> OnOperation;
  TKLClockMultiSinkPin Pin{TKLPinOwner(),
                           [this](auto&, auto* AFrom, auto&, auto& AOperation, auto) {
                             OnOperation(AFrom, AOperation);
                             return TKLNotifyResult{};
                           }};
};
bool IsTick(IKLNotifyOperation& AOperation) { return AOperation.IsType<TKLClockOperation>(); }

TEST(AnInputOfManyLinks, WaitsForTheCallsInOneLinkWhileItIsInsideAnother) {
  TKLClockSourcePin One{TKLPinOwner()};
  TKLClockSourcePin Two{TKLPinOwner()};
  TMulti Input;
  TStand Stand;
  Input.OnOperation = [&](TKLBasicPin* AFrom, IKLNotifyOperation& AOperation) {
    if (!IsTick(AOperation)) return;
    if (AFrom == &Two) return Stand.Stand();
    One.Disconnect(Input.Pin);
    Two.Disconnect(Input.Pin);
    EXPECT_TRUE(Stand.HasLeft);
  };
  One.Connect(Input.Pin);
  Two.Connect(Input.Pin);
  std::thread Ticks([&] { Two.Tick(); });
  Stand.PassWhenAwaited([&] { One.Tick(); });
  Ticks.join();
}

// The wait for the second link's stop begins behind the first one, which this thread is inside of;
// the call in the second link needs what the waiter holds.
TEST(AnInputOfManyLinks, CannotHangWhereTwoOfThemGo) {
  const auto Gen = PumpedGen();
  TKLClockSourcePin One{TKLPinOwner()};
  TKLClockSourcePin Two{TKLPinOwner()};
  TMulti Input;
  TGate InTwo;
  std::optional<TKnownThread> First;
  std::optional<TKnownThread> Second;
  Input.OnOperation = [&](TKLBasicPin* AFrom, IKLNotifyOperation& AOperation) {
    if (!IsTick(AOperation)) return;
    if (AFrom == &Two) {
      InTwo.Stand();
      return ExpectAll(Refusal([&] { Gen->SetOffset(1.0); }), {"cannot enter"});
    }
    First.emplace([&] { One.Disconnect(Input.Pin); });
    AwaitBlocked(First->Key);
    TKnownThread Ticks([&] { Two.Tick(); });
    InTwo.Inside.Wait();
    Second.emplace([&] {
      const ILockSection Section = Gen->WriteLock();
      Two.Disconnect(Input.Pin);
    });
    AwaitBlocked(Second->Key);
    InTwo.GoOn.Open();
  };
  One.Connect(Input.Pin);
  Two.Connect(Input.Pin);
  One.Tick();
}

TEST(AnInputOfManyLinks, LeavesWhatAStartThrowsToItsConnect) {
  const THookRecord Hook;
  TMulti Input;
  TRealFeed Refused{TKLPinOwner()};
  std::deque<TRealFeed> Feeds;
  for (int I = 0; I < 6; ++I) Feeds.emplace_back(TKLPinOwner());
  std::vector<std::unique_ptr<TKnownThread>> Threads;
  const auto Go = [&](std::function<void()> AWork) {
    Threads.push_back(std::make_unique<TKnownThread>(std::move(AWork)));
    AwaitBlocked(Threads.back()->Key);
  };
  // All of them wait for the turn of the first to be over.
  Input.OnOperation = [&](TKLBasicPin* AFrom, IKLNotifyOperation& AOperation) {
    if (!IsStart(AOperation)) return;
    if (AFrom == &Refused) throw EQSException("no");
    if (AFrom != &Feeds[0]) return;
    Go([&] { EXPECT_EQ(Refusal([&] { Refused.Connect(Input.Pin); }), "no"); });
    for (std::size_t I = 1; I < Feeds.size(); ++I) Go([&, I] { Feeds[I].Connect(Input.Pin); });
  };
  SendStart(Refused, 1.0);
  SendStart(Feeds[0], 1.0);
  Feeds[0].Connect(Input.Pin);
  Threads.clear();
  EXPECT_FALSE(Refused.IsConnected());
  EXPECT_EQ(Input.Pin.ConnectedPins().size(), Feeds.size());
  EXPECT_TRUE(Hook.Texts().empty());
}

// --- one start, one stop, the stop last ---

TEST(AStopFromBelow, ThatAnswersTheStartOfANewLinkEndsTheStream) {
  const auto Gen = PumpedGen();
  const auto Filter = Create<TQSApplyRealConst>();
  TRealRecorder Sink;
  Sink.On(IsStart, [&] { Sink.Pin.Notify(MakeRef<TKLStopOperation>()); });
  Filter->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  Gen->OutputPin().Connect(Filter->InputPin());
  EXPECT_FALSE(Gen->IsRunning());
  EXPECT_EQ(Sink.Log(), (TLog{"start 44100", "stop"}));
}

TEST(AStopFromBelow, WaitsForTheBlockInAFilterWhoseLinkGoes) {
  TRealFeed Feed{TKLPinOwner()};
  const auto Filter = Create<THookFilter>();
  TRealRecorder Sink;
  TGate Block;
  Filter->OnBlock = [&] { Block.Stand(); };
  Sink.OnOperation = [&](IKLNotifyOperation& AOperation) {
    if (IsStop(AOperation) && Sink.Count("stop") < 9) Sink.Pin.Notify(AOperation);
  };
  Link(Feed, *Filter, Sink);
  SendStart(Feed, 1.0);
  std::thread Pump([&] { SendBlock(Feed); });
  Block.Inside.Wait();
  std::thread Ender([&] { Feed.DisconnectAll(); });
  while (Feed.IsConnected()) std::this_thread::yield();
  Sink.Pin.Notify(MakeRef<TKLStopOperation>());
  EXPECT_EQ(Sink.Log(), TLog{"start 1"});
  Block.GoOn.Open();
  Pump.join();
  Ender.join();
  EXPECT_EQ(Sink.Log(), (TLog{"start 1", "block", "stop"}));
}

TEST(AStop, IsHeardByThoseWhoHaveHeardOfTheStream) {
  TRealFeed Feed{TKLPinOwner()};
  TRealRecorder Refuses;
  TRealRecorder Sink;
  Refuses.On(IsStart, [] { throw EQSException("no"); });
  Feed.Connect(Refuses.Pin);
  Feed.Connect(Sink.Pin);
  EXPECT_EQ(Refusal([&] { SendStart(Feed, 1.0); }), "no");
  Feed.EndStop();
  EXPECT_EQ(Refuses.Log(), (TLog{"start 1", "stop"}));
  EXPECT_EQ(Sink.Log(), TLog{});
  SendBlock(Feed);
  Feed.EndStop();
  EXPECT_EQ(Sink.Log(), (TLog{"block", "stop"}));
}

// Two threads, each inside the stop of one source, start the other's: neither can wait, and no
// input is entered twice.
TEST(AStart, IsLeftToTheThreadInsideTheStopWhereBothWouldWait) {
  struct TSide {
    TOwned<TQSSignalGen> Gen = PumpedGen();
    TLatch Inside;
    std::string Told;
    std::function<void()> OnStop;
    TQSKLRealSinkPin Sink{{}, test::Hear([this](IKLNotifyOperation& AOperation) {
                            if (IsStart(AOperation)) Told += "start()";
                            if (!IsStop(AOperation)) return;
                            Told += "stop(";
                            Inside.Open();
                            OnStop();
                            Told += ")";
                          })};
  };
  TSide One;
  TSide Two;
  for (TSide* Side : {&One, &Two}) {
    TSide& Other = Side == &One ? Two : One;
    Side->Gen->OutputPin().Connect(Side->Sink);
    Side->Gen->Start();
    Side->OnStop = [&Other] {
      Other.Inside.Wait();
      Other.Gen->Start();
    };
    Side->Told.clear();
  }
  std::thread First([&] { One.Gen->Stop(); });
  Two.Gen->Stop();
  First.join();
  EXPECT_EQ(One.Told, "stop()start()");
  EXPECT_EQ(Two.Told, "stop()start()");
  One.OnStop = Two.OnStop = [] {};
}

TEST(AStopBeforeItsStartWasTold, IsNotHeard) {
  const auto Gen = PumpedGen();
  TRealRecorder Sink;
  int Stops = 0;
  Gen->SetOnStop([&](TObject&) { ++Stops; });
  Gen->OutputPin().Connect(Sink.Pin);
  {
    const ILockSection Section = Gen->WriteLock();  // what is to be told waits for its end
    Gen->Start();
    Gen->Stop();
  }
  EXPECT_EQ(Sink.Log(), TLog{});
  EXPECT_EQ(Stops, 1);
}

// What one thread does while another stands in the handler of a sink, in the operation that AHeld
// picks; and what the second sink hears in all.
struct TRaceCase {
  const char* Name;
  bool HeldAtFirst;  // the handler that stands is the first sink's, else the second's
  bool (*Held)(IKLNotifyOperation&);
  void (*Begin)(TRealFeed&, TQSKLRealSinkPin&);  // on a thread of its own, is held
  void (*Meanwhile)(TRealFeed&, TQSKLRealSinkPin&);
  TLog Heard;
};
class ALinkThatChanges : public ::testing::TestWithParam<TRaceCase> {};

void Start(TRealFeed& AFeed, TQSKLRealSinkPin&) { SendStart(AFeed, 2.0); }
void Stop(TRealFeed& AFeed, TQSKLRealSinkPin&) { AFeed.EndStop(); }
void Connect(TRealFeed& AFeed, TQSKLRealSinkPin& ASink) { AFeed.Connect(ASink); }
void Unlink(TRealFeed& AFeed, TQSKLRealSinkPin& ASink) { ASink.Disconnect(AFeed); }
void LinkAndSend(TRealFeed& AFeed, TQSKLRealSinkPin& ASink) {
  AFeed.Connect(ASink);
  SendBlock(AFeed);
}
void Restart(TRealFeed& AFeed, TQSKLRealSinkPin& ASink) {
  Stop(AFeed, ASink);
  Start(AFeed, ASink);
  SendBlock(AFeed);
}

INSTANTIATE_TEST_SUITE_P(
    InARace, ALinkThatChanges,
    ::testing::Values(
        // The walk of the start has not reached the second sink, which is linked meanwhile.
        TRaceCase{"ConnectInAStart", true, IsStart, Start, LinkAndSend, {"new start 2", "block"}},
        // The start is being repeated; stop and start on another thread pass the link by.
        TRaceCase{"StopInAConnect", false, IsStart, Connect, Stop, {"new start 1", "new stop"}},
        TRaceCase{"RestartInAConnect",
                  false,
                  IsStart,
                  Connect,
                  Restart,
                  {"new start 1", "new stop", "new start 2"}},
        TRaceCase{"DisconnectInAStop", true, IsStop, Stop, Unlink, {"start 1", "stop"}},
        TRaceCase{"StopInADisconnect", false, IsStop, Unlink, Stop, {"start 1", "stop"}}),
    [](const auto& ACase) { return ACase.param.Name; });

TEST_P(ALinkThatChanges, HearsOneStartAndOneStopInOrder) {
  const TRaceCase& Case = GetParam();
  TRealFeed Feed{TKLPinOwner()};
  TRealRecorder First;
  TRealRecorder Second;
  TGate Gate;
  Feed.Connect(First.Pin);
  if (Case.Held == IsStop) Feed.Connect(Second.Pin);
  if (Case.Begin != Start) SendStart(Feed, 1.0);
  (Case.HeldAtFirst ? First : Second).OnOperation = [&](IKLNotifyOperation& AOperation) {
    if (!Case.Held(AOperation)) return;
    Gate.Stand();
  };
  std::thread Beginner([&] { Case.Begin(Feed, Second.Pin); });
  Gate.Inside.Wait();
  Case.Meanwhile(Feed, Second.Pin);
  Gate.GoOn.Open();
  Beginner.join();
  EXPECT_EQ(Second.Log(), Case.Heard);
  const bool IsStreaming = Case.Heard.back().find("stop") == std::string::npos;
  Second.Pin.DisconnectAll();
  EXPECT_EQ(Second.Log().size(), Case.Heard.size() + (IsStreaming ? 1 : 0));
  EXPECT_NE(Second.Log().back().find("stop"), std::string::npos);
}

TEST(ALinkThatIsTakenOffBeforeItOpens, TellsNothing) {
  TRealFeed Feed{TKLPinOwner()};
  TRealFeed Other{TKLPinOwner()};
  TRealRecorder Sink;
  Sink.On(IsBlock, [&] {
    Sink.Pin.DisconnectAll();
    Other.Connect(Sink.Pin);
    Other.DisconnectAll();
  });
  Feed.Connect(Sink.Pin);
  SendStart(Feed, 1.0);
  SendStart(Other, 2.0);
  SendBlock(Feed);
  EXPECT_EQ(Sink.Log(), (TLog{"start 1", "block", "stop"}));
}

TEST(AStartThatConnectRepeats, ComesNoMoreToAPinThatEndsInTheStopBeforeIt) {
  const auto Gen = PumpedGen();
  auto Sink = std::make_unique<TRealRecorder>();
  TLog Heard;
  Sink->OnOperation = [&, First = true](IKLNotifyOperation& AOperation) mutable {
    Heard = Sink->Log();
    if (IsStop(AOperation)) return Sink.reset();
    if (!std::exchange(First, false)) return;
    Gen->Stop();
    Gen->Start();
  };
  Gen->Start();
  Gen->OutputPin().Connect(Sink->Pin);
  EXPECT_EQ(Heard, (TLog{"new start 44100", "new stop"}));
  EXPECT_FALSE(Gen->OutputPin().IsConnected());
}

// In the start that Connect repeats, or in a block.
TEST(ASinkThatRelinksItself, HearsTheStopOfTheOldLinkBeforeTheStartOfTheNew) {
  for (const bool InBlock : {false, true}) {
    TRealFeed Feed{TKLPinOwner()};
    TRealFeed Other{TKLPinOwner()};
    TRealRecorder Sink;
    bool Done = false;
    Sink.OnOperation = [&](IKLNotifyOperation& AOperation) {
      if (!(InBlock ? IsBlock : IsStart)(AOperation) || std::exchange(Done, true)) return;
      const std::size_t Heard = Sink.Log().size();
      Sink.Pin.DisconnectAll();
      Other.Connect(Sink.Pin);
      EXPECT_TRUE(Other.IsConnected());
      EXPECT_EQ(Sink.Log().size(), Heard) << "told inside the call that is in progress";
    };
    SendStart(Feed, 1.0);
    SendStart(Other, 2.0);
    Feed.Connect(Sink.Pin);
    SendBlock(Feed);
    SendBlock(Other);
    TLog Expected{"new start 1", "stop", "new start 2", "block"};
    if (InBlock) Expected.insert(Expected.begin() + 1, "block");
    EXPECT_EQ(Sink.Log(), Expected);
    EXPECT_EQ(Sink.Pin.ConnectedPins(), std::vector<TKLBasicPin*>{&Other});
  }
}

TEST(AnEndingComponent, TakesNoMoreLinks) {
  auto Gen = PumpedGen();
  TRealRecorder Sink;
  Gen->SetName("Going");
  std::string Refused;
  Gen->SetOnStop([&](TObject&) { Refused = Refusal([&] { Gen->OutputPin().Connect(Sink.Pin); }); });
  Gen->Start();
  TComponentEnd()(Gen.get());
  static_cast<void>(Gen.release());
  ExpectAll(Refused, {"Going", "at its end"});
}

TEST(AnEndingPin, TakesNoMoreLinks) {
  const auto Owner = Create<THookFilter>();
  TKLPinListOwner List(
      {*Owner, MakeRef<IChangeNotifyLock>()},
      {.Name = "Outputs", .Default = 2, .Bounds = Between(1U, 2U)}, [&Owner] {
        return std::make_unique<TRealFeed>(TKLPinOwner(*Owner, MakeRef<IChangeNotifyLock>()));
      });
  auto Own = std::make_unique<TRealFeed>(TKLPinOwner());
  const std::vector<std::pair<TKLBasicPin*, std::function<void()>>> Cases{
      {{Own.get(), [&] { Own.reset(); }}, {&List[1], [&] { List.SetCount(1); }}}};
  for (const auto& [Pin, End] : Cases) {
    std::string Refused;
    // What a sink does that wants to stay.
    TQSKLRealSinkPin Sink({}, test::Hear([&, Own = Pin](IKLNotifyOperation& AOperation) {
                            if (IsStop(AOperation)) Refused = Refusal([&] { Sink.Connect(*Own); });
                          }));
    Pin->Connect(Sink);
    Pin->Notify(MakeRef<TKLStartSampleRateOperation>(1.0));
    End();
    ExpectAll(Refused, {"cannot link", "is at its end"});
    EXPECT_FALSE(Sink.IsConnected());
  }
}

// --- ends ---

TEST(AFilterWhoseQueueStaysFull, EndsWhileItsSourceGoesOn) {
  const auto Gen = PumpedGen(1);
  auto Filter = Create<THookFilter>();
  TRealRecorder Sink;
  std::atomic<int> Full{0};
  Filter->Threading().SetEnabled(true);
  Filter->Threading().Queue().SetSize(1);
  Filter->Threading().SetOnQueueFull([&](TObject&) { ++Full; });
  // A block takes until the queue behind it is full, for as long as blocks come.
  Filter->OnBlock = [&, Block = 0]() mutable {
    ++Block;
    while (Full < Block && Gen->OutputPin().IsConnected()) std::this_thread::yield();
  };
  Link(*Gen, *Filter, Sink);
  Gen->Start();
  std::atomic<bool> Done{false};
  int Sent = 0;
  std::thread Pump([&] {
    for (; !Done; ++Sent) Gen->Pump();
  });
  while (Full < 3) std::this_thread::yield();
  Filter.reset();
  Done = true;
  Pump.join();
  EXPECT_EQ(Sink.Log().back(), "stop");
  EXPECT_LE(Sink.Count("block"), static_cast<std::size_t>(Sent));
}

TEST(AFilterThatEnds, StillSendsWhatItsQueueHolds) {
  TRealFeed Feed{TKLPinOwner()};
  auto Filter = Create<THookFilter>();
  TRealRecorder Sink;
  TGate Gate;
  Filter->Threading().SetEnabled(true);
  Filter->OnBlock = [&] { Gate.Stand(); };
  Link(Feed, *Filter, Sink);
  SendStart(Feed, 1.0);
  for (int I = 0; I < 5; ++I) SendBlock(Feed);
  Gate.Inside.Wait();
  TKnownThread Ender([&] { Filter.reset(); });
  while (Feed.IsConnected()) std::this_thread::yield();
  Gate.GoOn.Open();
  Ender.Join();
  EXPECT_EQ(Sink.Count("block"), 5U);
  EXPECT_EQ(Sink.Log().back(), "stop");
}

// --- pin lists ---

// In the pin's own handler, also where who hears of the count throws, or on another thread
// meanwhile.
TEST(APinListThatShrinksInACall, RetiresItsPins) {
  for (const auto& [Inside, Throws] : {std::pair(true, false), {true, true}, {false, false}}) {
    auto Owner = Create<THookFilter>();
    TRealFeed Feed{TKLPinOwner()};
    TStand Stand;
    std::unique_ptr<TKLPinListOwner> List;
    bool SawItsPin = false;
    const TPropertyInfo<std::uint32_t> Row{
        .Name = "InputPins", .Default = 2, .Bounds = Between(1U, 4U)};
    const auto Changes = MakeRef<TPropertyChanges>(*Owner, MakeRef<TCallGate>());
    const TKLPinOwner ListOwner(*Owner, MakeRef<IChangeNotifyLock>([] { return ""; }, Changes));
    List = std::make_unique<TKLPinListOwner>(ListOwner, Row, [&] {
      auto Pin = std::make_unique<TQSKLRealSinkPin>(
          TKLPinOwner(*Owner, MakeRef<IChangeNotifyLock>()),
          [&](TKLBasicPin& ASender, auto*, auto&, auto& AOperation, auto) {
            if (!IsBlock(AOperation)) return TKLNotifyResult{};
            if (Throws) {
              EXPECT_THROW(List->SetCount(1), EQSException);
            } else if (Inside) {
              List->SetCount(1);
            }
            if (!Inside) Stand.Stand();
            SawItsPin = ASender.Owner() == Owner.get();
            return TKLNotifyResult{};
          });
      Owner->OutputPin().AddFunctionSource(*Pin);
      return Pin;
    });
    Feed.Connect((*List)[1]);
    TListening Listening = Changes->Listen([&Throws = Throws](auto&&...) {
      if (Throws) throw EQSException("no");
    });
    if (Inside) {
      SendBlock(Feed);
    } else {
      std::thread Pump([&] { SendBlock(Feed); });
      Stand.PassWhenAwaited([&] { List->SetCount(1); });
      Pump.join();
    }
    EXPECT_TRUE(SawItsPin);
    EXPECT_FALSE(Feed.IsConnected());
    Listening.Stop();
    List->SetCount(3);
    Feed.Connect((*List)[2]);
    TRealRecorder Sink;
    Owner->OutputPin().Connect(Sink.Pin);  // which derives from those that are left
  }
}

}  // namespace
}  // namespace tessalune::testing
