// A filter's own thread: the same output with and without, its queue, its exceptions.
#include "FrameTools.h"

#include <array>
#include <atomic>

namespace tessalune::testing {
namespace {

constexpr int Blocks = 100;

// Three filters behind a tone; Switch is called before each block.
std::vector<double> RunRow(
    const std::function<void(std::array<TOwned<THookFilter>, 3>&, int)>& Switch) {
  const auto Gen = PumpedGen();
  Gen->SetFrequency(1234.5);
  std::array Row{Create<THookFilter>(), Create<THookFilter>(), Create<THookFilter>()};
  const auto Gain = Create<TQSApplyRealConst>();
  Gain->SetApplyOperation(TQSRealApplyOperation::faoDivide);
  Gain->SetValue(3.0);
  TRealRecorder Sink;
  Link(*Gen, *Row[0], *Row[1], *Gain, *Row[2], Sink);
  Switch(Row, 0);
  Gen->Start();
  for (int I = 0; I < Blocks; ++I) {
    Switch(Row, I);
    Gen->Pump();
  }
  Gen->Stop();
  const TLog Log = Sink.Log();
  EXPECT_EQ(Log.front(), "start 44100");
  EXPECT_EQ(Log.back(), "stop") << "the stop overtook a block, or was lost";
  EXPECT_EQ(Log.size(), Blocks + 2U);
  return Sink.Samples();
}

TEST(Threading, GivesTheSameBitsOnAnyFiltersWithAnyQueueAndSwitchedInAStream) {
  const auto Expected = RunRow([](auto&, int) {});
  for (unsigned Which = 1; Which < 8; ++Which) {
    for (const unsigned Size : {1U, 2U, 16U, 1000U}) {
      for (const unsigned Every : {0U, 1U, 3U}) {  // blocks; 0: never switched
        const auto Got = RunRow([&](auto& ARow, int ABlock) {
          const unsigned Turns = Every == 0 ? 0 : static_cast<unsigned>(ABlock) / Every;
          for (unsigned I = 0; I < 3; ++I) {
            ARow[I]->Threading().SetEnabled(((Which >> I) + Turns) % 2 != 0);
            ARow[I]->Threading().Queue().SetSize(Size);
          }
        });
        ASSERT_EQ(Got, Expected) << "filters " << Which << ", queue " << Size << ", " << Every;
      }
    }
  }
}

// One filter whose thread stands at its first block until it is told to go on.
class AFullQueue : public ::testing::Test {
 protected:
  void SetUp() override {
    Filter->Threading().SetEnabled(true);
    Filter->Threading().Queue().SetSize(2);
    Filter->Threading().SetOnQueueFull([this](TObject& ASender) {
      EXPECT_EQ(&ASender, Filter.get());
      if (++Full == 1 && OnFirstFull) OnFirstFull();
    });
    Filter->OnBlock = [this] { Gate.Stand(); };
    Gen->SetSignalType(TQSSignalType::stDc);
    Link(*Gen, *Filter, Sink);
    Gen->Start();
    Gen->SetAmplitude(1.0);
    Gen->Pump();
    Gate.Inside.Wait();
  }
  void PumpSome(int ACount) {
    for (int I = 0; I < ACount; ++I) {
      Gen->SetAmplitude(Gen->Amplitude() + 1.0);
      Gen->Pump();
    }
  }
  // The amplitudes that came through.
  std::vector<double> Arrived() {
    Gen->Stop();
    return Sink.Samples();
  }

  TGate Gate;
  std::atomic<int> Full{0};
  std::function<void()> OnFirstFull;
  TRealRecorder Sink;
  TOwned<THookFilter> Filter = Create<THookFilter>();
  TOwned<TQSSignalGen> Gen = PumpedGen(1);
};

TEST_F(AFullQueue, DropsAndTellsAtFmDropData) {
  Filter->Threading().Queue().SetFullMode(TQSQueueFullMode::fmDropData);
  PumpSome(5);
  Gate.GoOn.Open();
  EXPECT_EQ(Arrived(), (std::vector{1.0, 2.0, 3.0}));
  EXPECT_EQ(Full, 3);
}

TEST_F(AFullQueue, HoldsThePumpAtFmBlockAndLosesNothing) {
  OnFirstFull = [this] { Gate.GoOn.Open(); };
  PumpSome(50);
  std::vector<double> Expected(51);
  for (std::size_t I = 0; I < 51; ++I) Expected[I] = static_cast<double>(I + 1);
  EXPECT_EQ(Arrived(), Expected);
  EXPECT_GE(Full, 1);
}

TEST_F(AFullQueue, HangsNobodyWhereTheThreadNeedsWhatThePumpHolds) {
  // The pump holds the generator's lock and waits for room; the thread wants that lock.
  OnFirstFull = [this] {
    Filter->OnBlock = nullptr;
    Gate.GoOn.Open();
  };
  Sink.On(IsBlock, [this] { Gen->SetOffset(Gen->Offset() + 1.0); });
  PumpSome(50);
  EXPECT_EQ(Arrived().size(), 51U);
}

TEST_F(AFullQueue, MayLoseItsFilterInTheEvent) {
  OnFirstFull = [this] {
    std::thread Opener([this] { Gate.GoOn.Open(); });
    Filter.reset();
    Opener.join();
  };
  PumpSome(10);
  EXPECT_FALSE(Gen->OutputPin().IsConnected());
}

TEST_F(AFullQueue, MayLoseItsGeneratorOnTheThreadThatFillsIt) {
  // The thread's handler ends the generator, whose pump stands at the thread's full queue.
  auto* Ended = Gen.get();
  Sink.On(IsBlock, [this] { Gen.reset(); });
  TLatch PumpStands;
  OnFirstFull = [&] { PumpStands.Open(); };
  TKnownThread Pump([&] {
    for (int I = 0; I < 3; ++I) Ended->Pump();
  });
  PumpStands.Wait();
  Gate.GoOn.Open();
  Pump.Join();
  Sink.WaitFor("stop", 1);
  EXPECT_FALSE(Gen);
}

// What a filter throws reaches the hook from its own thread, else who pumps; and it goes on.
TEST(AFilterThatThrows, IsToldOfAndGoesOn) {
  for (const bool OwnThread : {true, false}) {
    const THookRecord Hook;
    const auto Gen = PumpedGen();
    const auto Filter = Create<THookFilter>();
    Filter->SetName("Faulty");
    Filter->Threading().SetEnabled(OwnThread);
    TRealRecorder Sink;
    Filter->OnBlock = [Calls = 0]() mutable {
      if (++Calls == 1) throw EQSException("first block");
    };
    Link(*Gen, *Filter, Sink);
    Gen->Start();
    if (OwnThread) {
      Gen->Pump();
    } else {
      EXPECT_EQ(Refusal([&] { Gen->Pump(); }), "first block");
    }
    EXPECT_TRUE(Gen->Pump());
    Gen->Stop();
    EXPECT_EQ(Sink.Count("block"), 1U);
    if (OwnThread) {
      EXPECT_EQ(Hook.Texts(), std::vector<std::string>{"Faulty (THookFilter): first block"});
    }
  }
}

// A filter that looks at what comes before the frame decides whether it is computed.
class TSeeingFilter final : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  std::vector<double> Seen;

 protected:
  void InternalOperation(const TRef<IQSRealBuffer>& AIn, TRef<IQSRealBuffer>& AOut, bool ADoProcess,
                         bool& ASends) override {
    Seen.insert(Seen.end(), AIn->Read(), AIn->Read() + AIn->GetSize());
    TQSCommonRealFilter::InternalOperation(AIn, AOut, ADoProcess, ASends);
  }
  void FilterInternalOperation(const TRef<IQSRealBuffer>&, TRef<IQSRealBuffer>& AOut,
                               bool&) override {
    AOut->Write()[0] = 0.0;
  }
};

TEST(ADisabledFilter, StillSeesBlocksAndSingleValues) {
  const auto Filter = Create<TSeeingFilter>();
  TQSKLComboRealSourcePin Source{TKLPinOwner()};
  TRealRecorder Sink;
  Filter->SetEnabled(false);
  Link(Source, *Filter, Sink);
  const double Sample = 5.0;
  Source.SubmitBuffer(TQSRealBuffer::CreateData(&Sample, 1));
  EXPECT_EQ(Sink.Samples(), std::vector{5.0});
  Filter->InputPin().DisconnectAll();
  TKLRealSourcePin Single{TKLPinOwner()};
  Single.Connect(Filter->InputPin());
  Single.SetValue(7.0);
  EXPECT_EQ(Filter->Seen, (std::vector{5.0, 7.0}));
  EXPECT_EQ(Sink.Samples(), (std::vector{5.0, 7.0}));
}

}  // namespace
}  // namespace tessalune::testing
