// Who makes a block, and when: the clock thread, ticks, pumps; single values.
#include "FrameTools.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <optional>

namespace tessalune::testing {
namespace {

using namespace std::chrono_literals;

// --- the generator's own clock ---

class TheClock : public ::testing::Test {
 protected:
  void Run(std::int32_t ABufferSize, double ARate) {
    Gen->SetBufferSize(ABufferSize);
    Gen->SetSampleRate(ARate);
    Gen->SetTimeSource(Clock);
    Gen->OutputPin().Connect(Sink.Pin);
    Gen->Start();
    Clock->Advance(0s);
  }
  ~TheClock() override { Gen->Stop(); }

  TRef<TManualClock> Clock = MakeRef<TManualClock>();
  TRealRecorder Sink;
  TOwned<TQSSignalGen> Gen = Create<TQSSignalGen>();
};

TEST_F(TheClock, DoesNotDriftOverManyBlocks) {
  // A third of a millisecond is no whole number of nanoseconds: rounding each period would gain a
  // block within three million, so it is the deadlines that are rounded, each by half a ns at most.
  Run(1, 3000.0);
  EXPECT_EQ(Sink.Count("block"), 1U);
  std::size_t Passed = 0;
  for (int I = 0; I < 20; ++I) {
    Clock->Advance(499'999'999ns);
    Passed += 499'999'999;
    EXPECT_EQ(Sink.Count("block"), 1 + Passed * 3 / 1'000'000) << Passed << " ns";
  }
}

TEST_F(TheClock, MakesUpForAStallOfASecondAndLeavesOutWhatIsFurtherBack) {
  Run(100, 1000.0);
  Clock->Advance(1s);
  EXPECT_EQ(Sink.Count("block"), 11U) << "one at once, ten made up for";
  EXPECT_DOUBLE_EQ(Gen->ClockLag().Greatest, 0.8);
  EXPECT_EQ(Gen->ClockLag().SkippedBlocks, 0);
  Clock->Advance(10s);
  // The block for which the thread slept, late, and the one from which the deadlines count anew.
  EXPECT_EQ(Sink.Count("block"), 13U);
  Clock->Advance(99ms);
  EXPECT_EQ(Sink.Count("block"), 13U);
  Clock->Advance(1ms);
  EXPECT_EQ(Sink.Count("block"), 14U);
  const TClockLag Lag = Gen->ClockLag();
  EXPECT_DOUBLE_EQ(Lag.Greatest, 9.8);
  EXPECT_DOUBLE_EQ(Lag.GreatestAt, 11.0);
  EXPECT_DOUBLE_EQ(Lag.Skipped, 9.8);
  EXPECT_EQ(Lag.SkippedBlocks, 98);
}

TEST_F(TheClock, FollowsAChangeOfThePeriodPausesWhileDisabledAndStopsForGood) {
  Run(100, 1000.0);
  Gen->SetBufferSize(50);
  Clock->Advance(100ms);
  EXPECT_EQ(Sink.Count("block"), 2U);
  Clock->Advance(50ms);
  EXPECT_EQ(Sink.Count("block"), 3U);
  Gen->SetEnabled(false);
  Clock->Advance(300ms);
  EXPECT_EQ(Sink.Count("block"), 3U);
  Gen->SetEnabled(true);
  Clock->Advance(50ms);
  EXPECT_EQ(Sink.Count("block"), 4U);
  Gen->Stop();
  Clock->Advance(1s);
  EXPECT_EQ(Sink.Log().back(), "stop");
}

// A block that fails ends its own stream, not the one that its handler has begun.
TEST_F(TheClock, StartsAnewInsideAHandlerAlsoOfABlockThatFails) {
  const THookRecord Hook;
  Sink.OnOperation = [&, Once = false](IKLNotifyOperation& AOperation) mutable {
    if (!IsBlock(AOperation) || std::exchange(Once, true)) return;
    Gen->Stop();
    Gen->Start();
    throw EQSException("sink is full");
  };
  Run(100, 1000.0);
  Clock->Advance(100ms);
  EXPECT_EQ(Sink.Log(), (TLog{"start 1000", "block", "stop", "start 1000", "block", "block"}));
  EXPECT_EQ(Hook.Texts().size(), 1U);
}

TEST_F(TheClock, EndsTheStreamAndTellsTheHookWhenABlockFails) {
  const THookRecord Hook;
  Sink.OnOperation = [](IKLNotifyOperation& AOperation) {
    if (IsBlock(AOperation)) throw EQSException("sink is full");
  };
  Run(100, 1000.0);
  EXPECT_FALSE(Gen->IsRunning());
  EXPECT_EQ(Hook.Texts(), std::vector<std::string>{"TQSSignalGen: sink is full"});
  EXPECT_EQ(Sink.Log().back(), "stop");
}

TEST_F(TheClock, WaitsForABlockThatIsYearsAway) {
  Run(1000, 1e-15);
  Clock->Advance(1h);
  EXPECT_EQ(Sink.Count("block"), 1U);
}

TEST(ATonesThread, RunsOnTheMachinesClockWithNoHelp) {
  const auto Gen = Create<TQSSignalGen>();
  TRealRecorder Sink;
  Gen->OutputPin().Connect(Sink.Pin);
  Gen->SetBufferSize(10);
  Gen->Start();
  Sink.WaitFor("block", 5);
  Gen->Stop();
  EXPECT_EQ(Sink.Log().back(), "stop");
}

// --- ticks ---

TEST(Ticks, MakeABlockEachOrAsManyAsTheirTimeHolds) {
  const auto Gen = Create<TQSSignalGen>();
  Gen->SetBufferSize(100);
  Gen->SetSampleRate(1000.0);
  TRealRecorder Sink;
  Gen->OutputPin().Connect(Sink.Pin);
  TKLClockSourcePin Bare{TKLPinOwner()};
  Bare.Connect(Gen->ClockInputPin());
  Bare.Notify(MakeRef<TKLStartOperation>());
  EXPECT_TRUE(Gen->IsRunning()) << "a start on the clock pin starts the generator";
  Bare.Tick();
  Bare.Tick(7);  // of a stream whose rate nobody told
  EXPECT_EQ(Sink.Count("block"), 2U);
  Bare.Notify(MakeRef<TKLStopOperation>());
  EXPECT_FALSE(Gen->IsRunning());
  Bare.DisconnectAll();
  // At 500 Hz 30 samples are 60 of the generator's, and what is left over counts; in blocks or as
  // single values.
  TQSKLRealSourcePin Stream{TKLPinOwner()};
  TKLRealSourcePin Values{TKLPinOwner()};
  Stream.Connect(Gen->ClockInputPin());
  Values.Connect(Gen->ClockInputPin());
  for (const bool Single : {false, true}) {
    if (Single) {
      Values.Notify(MakeRef<TKLStartRateOperation>(500.0));
    } else {
      Stream.Notify(MakeRef<TKLStartSampleRateOperation>(500.0));
    }
    const std::size_t Before = Sink.Count("block");
    std::vector<std::size_t> Counts;
    for (int I = 0; I < 5; ++I) {
      if (!Single) Stream.SubmitBuffer(TQSRealBuffer::CreateSize(30));
      for (int J = 0; Single && J < 30; ++J) Values.SetValue(J);
      Counts.push_back(Sink.Count("block") - Before);
    }
    EXPECT_EQ(Counts, (std::vector<std::size_t>{0, 1, 1, 2, 3})) << Single;
    Stream.EndStop();
  }
  Gen->Start();
  Gen->SetClockSource(TQSClockSource::csInternal);
  Stream.SubmitBuffer(TQSRealBuffer::CreateSize(1000));
  EXPECT_EQ(Sink.Count("block"), 8U) << "ticks count at csAuto and csExternal only";
  Gen->Stop();
}

// A generator whose blocks of one sample a stream at 1 Hz ticks.
class ALongTick : public ::testing::Test {
 protected:
  ALongTick() {
    Gen->SetBufferSize(1);
    Gen->OutputPin().Connect(Sink);
    Clock.Connect(Gen->ClockInputPin());
  }
  void Start(double ARate) {
    Gen->SetSampleRate(ARate);
    Clock.Notify(MakeRef<TKLStartSampleRateOperation>(1.0));
  }

  TOwned<TQSSignalGen> Gen = Create<TQSSignalGen>();
  TKLClockSourcePin Clock{TKLPinOwner()};
  int Blocks = 0;
  std::function<void()> OnBlock;
  TQSKLRealSinkPin Sink{{}, [this](auto&, auto*, auto&, auto& AOperation, auto) {
                          if (IsBlock(AOperation)) {
                            ++Blocks;
                            if (OnBlock) OnBlock();
                          }
                          return TKLNotifyResult{};
                        }};
};

TEST_F(ALongTick, EndsWithTheStreamWhoeverStopsIt) {
  for (const bool Inside : {true, false}) {
    std::optional<TKnownThread> Stopper;
    Blocks = 0;
    OnBlock = [&] {
      if (Blocks != 3) return;
      if (Inside) return Gen->Stop();
      Stopper.emplace([&] { Gen->Stop(); });
      AwaitBlocked(Stopper->Key);
    };
    Start(1000.0);
    Clock.Tick(1);
    EXPECT_EQ(Blocks, 3) << Inside;
  }
}

TEST_F(ALongTick, LeavesOutWhatIsBeyondItsBoundAndCountsIt) {
  constexpr std::int32_t Most = TQSSignalGen::MostBlocksPerTick;
  for (const double Rate : {Most + 10.5, 1e30, 1e308}) {
    Blocks = 0;
    Start(Rate);
    Clock.Tick(1);
    EXPECT_EQ(Blocks, Most);
    EXPECT_NEAR(Gen->Dropped() / (Rate - Most), 1.0, 0.05);
    Gen->SetSampleRate(1.0);
    Clock.Tick(1);
    EXPECT_EQ(Blocks, Most + 1) << "no debt is left";
    Clock.Tick(-5);
    EXPECT_EQ(Blocks, Most + 1);
    Gen->Stop();
  }
}

// --- pumps ---

// A sink that claims to pump, and can ask for blocks.
class TPumpSink final : public TLockComponent {
 public:
  explicit TPumpSink(TConstruct AConstruct)
      : TLockComponent(AConstruct),
        InputPin({*this, FLock}, [this](auto&, auto*, auto&, auto& AOperation, auto) {
          return Receive(AOperation);
        }) {}
  void Ask() { InputPin.MasterPump(*this); }

  TKLPumpType Type = ptNone;
  std::uint32_t Priority = 0;
  double DesiredRate = 0.0;
  TObject* Chosen = nullptr;
  int Blocks = 0;

 private:
  TKLNotifyResult Receive(IKLNotifyOperation& AOperation) {
    if (AOperation.IsType<TKLPumpRequestOperation>()) {
      auto& Request = AOperation.GetInstance<TKLPumpRequestOperation>();
      DesiredRate = Request.DesiredRate;
      Request.Claim(*this, Type, Priority);
    } else if (AOperation.IsType<TKLStartPumpOperation>()) {
      Chosen = AOperation.GetInstance<TKLStartPumpOperation>().Pump;
    } else if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
      ++Blocks;
    }
    return {};
  }

 public:
  TQSKLRealSinkPin InputPin;
};

struct TClaim {
  const char* Name;
  TKLPumpType TypeA;
  std::uint32_t PriorityA;
  TKLPumpType TypeB;
  std::uint32_t PriorityB;
  int Winner;  // 0: the generator, priority 5; 1: A; 2: B
};
class AClaimToPump : public ::testing::TestWithParam<TClaim> {};
INSTANTIATE_TEST_SUITE_P(Against, AClaimToPump,
                         ::testing::Values(TClaim{"Nobody", ptNone, 9, ptSlave, 9, 0},
                                           TClaim{"ALowerPriority", ptMaster, 5, ptMaster, 4, 0},
                                           TClaim{"AHigherPriority", ptMaster, 6, ptMaster, 7, 2},
                                           TClaim{"AnEqualFirst", ptMaster, 6, ptMaster, 6, 1},
                                           TClaim{"AStrongerType", ptMaster, 99, ptHardware, 0, 2}),
                         [](const auto& ACase) { return ACase.param.Name; });

TEST_P(AClaimToPump, IsWonByTypeThenPriorityThenOrder) {
  const TClaim& Claim = GetParam();
  const auto Gen = PumpedGen(100);
  Gen->SetPumpPriority(5);
  Gen->SetSampleRate(1000.0);
  const auto Filter = Create<TQSApplyRealConst>();
  const auto A = Create<TPumpSink>();
  const auto B = Create<TPumpSink>();
  A->Type = Claim.TypeA;
  A->Priority = Claim.PriorityA;
  B->Type = Claim.TypeB;
  B->Priority = Claim.PriorityB;
  Gen->OutputPin().Connect(A->InputPin);
  Gen->OutputPin().Connect(Filter->InputPin());
  Filter->OutputPin().Connect(B->InputPin);
  Gen->Start();
  const std::array<TObject*, 3> All{Gen.get(), A.get(), B.get()};
  EXPECT_EQ(A->Chosen, All[static_cast<std::size_t>(Claim.Winner)]);
  EXPECT_EQ(B->Chosen, A->Chosen);
  EXPECT_EQ(A->DesiredRate, 10.0) << "blocks a second";
  A->Ask();
  EXPECT_EQ(B->Blocks, Claim.Winner == 1 ? 1 : 0);
  B->Ask();  // through the filter
  EXPECT_EQ(B->Blocks, Claim.Winner == 0 ? 0 : 1) << "only who was chosen is served";
}

TEST(AMasterPump, MakesOneBlockForOneOperation) {
  const auto Gen = PumpedGen();
  const auto Pump = Create<TPumpSink>();
  Pump->Type = ptMaster;
  Pump->Priority = 1;
  Gen->OutputPin().Connect(Pump->InputPin);
  Gen->Start();
  const auto Operation = MakeRef<TKLMasterPumpOperation>(Pump.get());
  for (int I = 0; I < 3; ++I) Pump->InputPin.Notify(*Operation);
  EXPECT_EQ(Pump->Blocks, 1);
  Pump->Ask();
  EXPECT_EQ(Pump->Blocks, 2);
  Gen->Stop();
  Pump->Ask();
  EXPECT_EQ(Pump->Blocks, 2);
}

// --- single values ---

TEST(SingleValues, AreTheBlocksSamplesFilteredAlike) {
  const auto Samples = [](bool ASingle) {
    const auto Gen = PumpedGen(32);
    const auto Filter = Create<TQSApplyRealConst>();
    Filter->SetApplyOperation(TQSRealApplyOperation::faoDivide);
    Filter->SetValue(7.0);
    TRealRecorder Blocks;
    TRecorder<TKLRealSinkPin> Values;
    if (ASingle) {
      Filter->OutputPin().Connect(Values.Pin);
    } else {
      Filter->OutputPin().Connect(Blocks.Pin);
    }
    Gen->OutputPin().Connect(Filter->InputPin());
    Gen->Start();
    for (int I = 0; I < 5; ++I) Gen->Pump();
    return ASingle ? Values.Samples() : Blocks.Samples();
  };
  EXPECT_EQ(Samples(true).size(), 160U);
  EXPECT_EQ(Samples(true), Samples(false));
}

TEST(SingleValues, ComeFromTheGeneratorOneByOne) {
  const auto Gen = PumpedGen(32);
  const auto Same = PumpedGen(32);
  TRecorder<TKLRealSinkPin> Values;
  TRealRecorder Blocks;
  Gen->OutputPin().Connect(Values.Pin);
  Same->OutputPin().Connect(Blocks.Pin);
  Values.OnOperation = [&](IKLNotifyOperation&) {
    if (Values.Count("value") == 70) Gen->Stop();
  };
  for (const auto* Each : {&Gen, &Same}) {
    (*Each)->Start();
    for (int I = 0; I < 3; ++I) (*Each)->Pump();
  }
  auto Expected = Blocks.Samples();
  Expected.resize(70);
  EXPECT_EQ(Values.Samples(), Expected) << "a stop takes effect behind the value that met it";
  EXPECT_EQ(Values.Log().front(), "value start 44100");
  EXPECT_EQ(Values.Log().back(), "stop");
}

}  // namespace
}  // namespace tessalune::testing
