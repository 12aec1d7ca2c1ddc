// A filter's own thread: the same output with and without, its queue, its exceptions.
#include "FrameTools.h"

#include <array>
#include <atomic>

namespace tessalune::testing {
namespace {

constexpr int Blocks = 200;

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
  Gen->OutputPin().Connect(Row[0]->InputPin());
  Row[0]->OutputPin().Connect(Row[1]->InputPin());
  Row[1]->OutputPin().Connect(Gain->InputPin());
  Gain->OutputPin().Connect(Row[2]->InputPin());
  Row[2]->OutputPin().Connect(Sink.Pin);
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

TEST(Threading, GivesTheSameBitsOnAnyFiltersWithAnyQueue) {
  const auto Expected = RunRow([](auto&, int) {});
  for (unsigned Which = 1; Which < 8; ++Which) {
    for (const unsigned Size : {1U, 2U, 16U, 1000U}) {
      const auto Got = RunRow([&](auto& ARow, int) {
        for (unsigned I = 0; I < 3; ++I) {
          ARow[I]->Threading().SetEnabled((Which >> I & 1U) != 0);
          ARow[I]->Threading().Queue().SetSize(Size);
        }
      });
      ASSERT_EQ(Got, Expected) << "filters " << Which << ", queue " << Size;
    }
  }
}

TEST(Threading, MayBeSwitchedBothWaysInAStream) {
  const auto Expected = RunRow([](auto&, int) {});
  for (const int Every : {1, 3, 7}) {
    const auto Got = RunRow([&](auto& ARow, int ABlock) {
      for (int I = 0; I < 3; ++I) {
        ARow[static_cast<std::size_t>(I)]->Threading().SetEnabled((ABlock / Every + I) % 2 == 0);
      }
    });
    ASSERT_EQ(Got, Expected) << "every " << Every;
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
    Filter->OnBlock = [this] {
      Inside.Open();
      GoOn.Wait();
    };
    Gen->SetSignalType(TQSSignalType::stDc);
    Gen->OutputPin().Connect(Filter->InputPin());
    Filter->OutputPin().Connect(Sink.Pin);
    Gen->Start();
    Gen->SetAmplitude(1.0);
    Gen->Pump();
    Inside.Wait();
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

  TLatch Inside;
  TLatch GoOn;
  std::atomic<int> Full{0};
  std::function<void()> OnFirstFull;
  TRealRecorder Sink;
  TOwned<THookFilter> Filter = Create<THookFilter>();
  TOwned<TQSSignalGen> Gen = PumpedGen(1);
};

TEST_F(AFullQueue, DropsAndTellsAtFmDropData) {
  Filter->Threading().Queue().SetFullMode(TQSQueueFullMode::fmDropData);
  PumpSome(5);
  GoOn.Open();
  EXPECT_EQ(Arrived(), (std::vector{1.0, 2.0, 3.0}));
  EXPECT_EQ(Full, 3);
}

TEST_F(AFullQueue, HoldsThePumpAtFmBlockAndLosesNothing) {
  OnFirstFull = [this] { GoOn.Open(); };
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
    GoOn.Open();
  };
  Sink.OnOperation = [this](IKLNotifyOperation& AOperation) {
    if (AOperation.IsType<TKLSuppliedOperation>()) Gen->SetOffset(Gen->Offset() + 1.0);
  };
  PumpSome(50);
  EXPECT_EQ(Arrived().size(), 51U);
}

TEST_F(AFullQueue, MayLoseItsFilterInTheEvent) {
  OnFirstFull = [this] {
    std::thread Opener([this] { GoOn.Open(); });
    Filter.reset();
    Opener.join();
  };
  PumpSome(10);
  EXPECT_FALSE(Gen->OutputPin().IsConnected());
}

TEST_F(AFullQueue, MayLoseItsGeneratorOnTheThreadThatFillsIt) {
  // The thread's handler ends the generator, whose pump stands at the thread's full queue.
  auto* Ended = Gen.get();
  Sink.OnOperation = [this](IKLNotifyOperation& AOperation) {
    if (AOperation.IsType<TKLSuppliedOperation>()) Gen.reset();
  };
  TLatch PumpStands;
  OnFirstFull = [&] { PumpStands.Open(); };
  TKnownThread Pump([&] {
    for (int I = 0; I < 3; ++I) Ended->Pump();
  });
  PumpStands.Wait();
  GoOn.Open();
  Pump.Join();
  Sink.WaitFor("stop", 1);
  EXPECT_FALSE(Gen);
}

TEST(AFilterThread, HandsExceptionsToTheHookAndGoesOn) {
  const THookRecord Hook;
  const auto Gen = PumpedGen();
  const auto Filter = Create<THookFilter>();
  Filter->SetName("Faulty");
  Filter->Threading().SetEnabled(true);
  TRealRecorder Sink;
  int Calls = 0;
  Filter->OnBlock = [&] {
    if (++Calls == 2) throw EQSException("second block");
  };
  Gen->OutputPin().Connect(Filter->InputPin());
  Filter->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  for (int I = 0; I < 3; ++I) Gen->Pump();
  Gen->Stop();
  EXPECT_EQ(Sink.Count("block"), 2U);
  EXPECT_EQ(Hook.Texts(), std::vector<std::string>{"Faulty (THookFilter): second block"});
}

TEST(AFilterWithoutThread, ThrowsToWhoPumpsAndIsPumpedOn) {
  const auto Gen = PumpedGen();
  const auto Filter = Create<THookFilter>();
  TRealRecorder Sink;
  Filter->OnBlock = [Calls = 0]() mutable {
    if (++Calls == 1) throw EQSException("first block");
  };
  Gen->OutputPin().Connect(Filter->InputPin());
  Filter->OutputPin().Connect(Sink.Pin);
  Gen->Start();
  EXPECT_EQ(Refusal([&] { Gen->Pump(); }), "first block");
  EXPECT_TRUE(Gen->Pump());
  EXPECT_EQ(Sink.Count("block"), 1U);
}

TEST(ADisabledFilter, PassesTheBlockItself) {
  const auto Gen = PumpedGen();
  const auto Filter = Create<TQSApplyRealConst>();
  Filter->SetValue(5.0);
  Filter->SetEnabled(false);
  TRealRecorder Direct;
  TRealRecorder Through;
  std::vector<const IQSData*> Seen;
  const auto Keep = [&](IKLNotifyOperation& AOperation) {
    if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return;
    const auto& Value = AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
    Seen.push_back(Value.Get());
  };
  Direct.OnOperation = Keep;
  Through.OnOperation = Keep;
  Gen->OutputPin().Connect(Direct.Pin);
  Gen->OutputPin().Connect(Filter->InputPin());
  Filter->OutputPin().Connect(Through.Pin);
  Gen->Start();
  Gen->Pump();
  ASSERT_EQ(Seen.size(), 2U);
  EXPECT_EQ(Seen[0], Seen[1]);
  Filter->SetEnabled(true);
  Gen->Pump();
  EXPECT_EQ(Through.Samples()[16], Direct.Samples()[16] + 5.0);
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
  Source.Connect(Filter->InputPin());
  Filter->OutputPin().Connect(Sink.Pin);
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
