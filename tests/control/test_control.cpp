#include "support/Rig.h"

#include <tessalune/tessalune.h>

#include <gtest/gtest.h>

#include <deque>
#include <limits>

namespace tessalune::test {
namespace {

template <class T>
class OfAnyType : public testing::Test {};
using TTypes = testing::Types<double, TComplex, std::int32_t, std::uint32_t, std::uint8_t>;
TYPED_TEST_SUITE(OfAnyType, TTypes);

// --- delay line ---

TYPED_TEST(OfAnyType, ADelayLineGivesTheStreamLaterWhateverTheBlocks) {
  using T = TypeParam;
  TStreamRig<TQSDelayLine, T> Rig;
  TQSDelayValue& Delay = Rig.It->DelayValue();
  Delay.SetMode(TQSDelayMode::dmSamples);
  EXPECT_EQ(Rig.Send(3), std::vector<T>({Rig.Numbered(1), Rig.Numbered(2), Rig.Numbered(3)}))
      << "before a start";
  struct TStep {
    std::int64_t Value;
    int Size;
  };
  for (const TStep Start : {TStep{0, 0}, TStep{3, 0}, TStep{7000, 0}}) {
    Delay.SetValue(Start.Value);
    Rig.Feed.Start();
    std::deque<T> Model(static_cast<std::size_t>(Start.Value));
    for (const TStep Step : {TStep{Start.Value, 5}, TStep{4, 0}, TStep{4, 4}, TStep{4, 9},
                             TStep{9, 2}, TStep{40, 3}, TStep{41, 60}, TStep{2, 1}, TStep{0, 6},
                             TStep{5, 5}, TStep{9000, 5000}, TStep{9001, 5000}, TStep{9001, 30000},
                             TStep{6000, 100}, TStep{1, 8}, TStep{1, 8}, TStep{3, 2}}) {
      Delay.SetValue(Step.Value);
      const T Fill = Model.empty() ? T{} : Model.back();
      Model.resize(static_cast<std::size_t>(Step.Value), Fill);
      const auto In = Rig.Next(Step.Size);
      std::vector<T> Expected;
      for (const T& Sample : In) {
        Model.push_back(Sample);
        Expected.push_back(Model.front());
        Model.pop_front();
      }
      Rig.Feed.Send(In);
      ASSERT_EQ(Rig.Out.Blocks.back(), Expected) << Start.Value << ", " << Step.Value;
    }
  }
}

TEST(DelayLine, CountsInSamplesOrInMillisecondsOfTheRate) {
  TStreamRig<TQSDelayLine> Rig;
  TQSDelayValue& Delay = Rig.It->DelayValue();
  constexpr auto Most = std::numeric_limits<std::int64_t>::max();
  struct TCase {
    std::int64_t Milliseconds;
    double Rate;
    std::int64_t Samples;
  };
  for (const TCase& Case : {TCase{1000, 8000, 8000}, TCase{10, 1000, 10}, TCase{5, 100, 0},
                            TCase{15, 100, 2}, TCase{25, 100, 2}, TCase{Most, 1e6, Most}}) {
    Delay.SetValue(Case.Milliseconds);
    EXPECT_EQ(Delay.Samples(Case.Rate), Case.Samples);
  }
  Rig.Feed.Start();
  for (const std::int64_t Samples : {std::int64_t{1000000000000}, Most}) {
    Delay.SetMode(TQSDelayMode::dmSamples);
    Delay.SetValue(Samples);
    EXPECT_EQ(Rig.Send(1000), std::vector<double>(1000)) << "and takes no memory for it";
  }
}

TEST(DelayLine, ForgetsWhatWaitsWhenItIsDisabled) {
  TStreamRig<TQSDelayLine> Rig;
  Rig.It->DelayValue().SetValue(2);
  Rig.Feed.Start(1000.0);
  EXPECT_EQ(Rig.Send(3), std::vector<double>({0, 0, 1}));
  Rig.It->SetEnabled(false);
  EXPECT_EQ(Rig.Send(2), std::vector<double>({4, 5}));
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Send(3), std::vector<double>({0, 0, 6}));
  Rig.Feed.Start(2000.0);
  EXPECT_EQ(Rig.Send(5), std::vector<double>({0, 0, 0, 0, 9})) << "at the new rate";
  EXPECT_EQ(Rig.Out.StartRates, std::vector<double>({1000.0, 2000.0}));
}

// --- repack ---

TYPED_TEST(OfAnyType, ARepackKeepsTheSamplesAndCutsThemAnew) {
  TStreamRig<TQSRepack, TypeParam> Rig;
  std::vector<TypeParam> All;
  std::size_t Blocks = 0;
  Rig.It->SetBufferSize(8);
  Rig.Feed.Start();
  constexpr int Sizes[] = {8, 8, 8, 8, 8, 3, 20, 6, 1, 100000, 99999};
  constexpr int Counts[] = {8, 3, 0, 30, 7, 1, 5, 8, 1, 99999, 1};
  for (std::size_t I = 0; I < std::size(Sizes); ++I) {
    const auto Size = static_cast<std::size_t>(Sizes[I]);
    Rig.It->SetBufferSize(Sizes[I]);
    const auto In = Rig.Next(Counts[I]);
    All.insert(All.end(), In.begin(), In.end());
    Rig.Feed.Send(In);
    for (; Blocks < Rig.Out.Blocks.size(); ++Blocks) EXPECT_EQ(Rig.Out.Blocks[Blocks].size(), Size);
    const auto Stream = Rig.Out.Stream();
    ASSERT_LT(All.size() - Stream.size(), Size) << "no more is held";
    ASSERT_TRUE(std::equal(Stream.begin(), Stream.end(), All.begin()));
  }
}

TEST(Repack, HoldsWhatItHasWhileDisabledAndDropsItAtAStart) {
  TStreamRig<TQSRepack> Rig;
  Rig.It->SetBufferSize(4);
  Rig.Feed.Start();
  Rig.Send(3);
  Rig.It->SetEnabled(false);
  EXPECT_EQ(Rig.Send(2), std::vector<double>({4, 5}));
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Send(2), std::vector<double>({1, 2, 3, 6}));
  Rig.Feed.Start();
  EXPECT_EQ(Rig.Send(4), std::vector<double>({8, 9, 10, 11}));
  Rig.Out.Pin.DisconnectAll();
  Rig.Send(3);
  Rig.Out.Pin.Connect(Rig.It->OutputPin());
  EXPECT_EQ(Rig.Send(4), std::vector<double>({15, 16, 17, 18})) << "nothing collects for nobody";
  Rig.It->SetBufferSize(std::numeric_limits<std::int32_t>::max());
  Rig.Send(1000);
}

// A source that makes a block of Size samples for each request, or lets it wait, and a sink that
// asks for blocks, also from inside them.
struct TPumped {
  int Size = 1;
  int Requests = 0;
  int FromInside = 0;  // requests to be made by the blocks that come
  int AtOnce = 1;
  int Blocks = 0;
  bool Waits = false;
  TOwned<TQSRepack> Repack = Create<TQSRepack>();
  TObject Pump;
  TQSKLRealSourcePin Source{{}, Hear([this](IKLNotifyOperation& AOperation) {
                              EXPECT_TRUE(AOperation.IsType<TKLMasterPumpOperation>());
                              ++Requests;
                              if (!Waits) Send();
                            })};
  TQSKLRealSinkPin Sink{{}, Hear([this](IKLNotifyOperation& AOperation) {
                          if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return;
                          ++Blocks;
                          for (int I = 0; I < AtOnce && FromInside > 0; ++I, --FromInside) {
                            Sink.MasterPump(Pump);
                          }
                        })};

  TPumped() {
    Source.Connect(Repack->InputPin());
    Sink.Connect(Repack->OutputPin());
    Source.Notify(MakeRef<TKLStartSampleRateOperation>(1000.0));
  }
  void Send() { Source.SubmitBuffer(TQSRealBuffer::CreateSize(Size)); }
  // The requests that reach the source for one here.
  int Ask() {
    const int Before = Requests;
    Sink.MasterPump(Pump);
    return Requests - Before;
  }
};

TEST(Repack, AsksForTheBlocksThatARequestNeeds) {
  TPumped Graph;
  Graph.Repack->SetBufferSize(1024);
  Graph.Size = 100;
  EXPECT_EQ(Graph.Ask(), 11);
  EXPECT_EQ(Graph.Ask(), 10) << "with 76 held";
  EXPECT_EQ(Graph.Blocks, 2);
  Graph.Source.Notify(MakeRef<TKLStartSampleRateOperation>(1000.0));
  Graph.Size = 4096;
  EXPECT_EQ(Graph.Ask(), 1);
  EXPECT_EQ(Graph.Ask(), 1) << "each is passed on";
  EXPECT_EQ(Graph.Blocks, 10);
  Graph.Size = 0;
  EXPECT_EQ(Graph.Ask(), 1) << "an empty block does not lead to another request";
  Graph.Size = 4096;
  Graph.Send();
  Graph.FromInside = 7;
  EXPECT_EQ(Graph.Ask(), 2) << "four of each block";
  EXPECT_EQ(Graph.Blocks, 22);
  const auto Twice = MakeRef<TKLMasterPumpOperation>(&Graph.Pump);
  Graph.Sink.Notify(*Twice);
  Graph.Sink.Notify(*Twice);
  EXPECT_EQ(Graph.Blocks, 26) << "one request, though it comes by two ways";
  Graph.Size = 1024;
  Graph.FromInside = Graph.AtOnce = 2;
  EXPECT_EQ(Graph.Ask(), 3);
}

TEST(Repack, AsksWithoutADeepStack) {
  constexpr int Many = 200000;
  TPumped Graph;
  Graph.Repack->SetBufferSize(Many);
  EXPECT_EQ(Graph.Ask(), Many) << "for one block";
  Graph.Repack->SetBufferSize(1);
  Graph.FromInside = Many;
  EXPECT_EQ(Graph.Ask(), Many + 1) << "each from inside the block before";
}

TEST(Repack, AsksOnWhenABlockComesLate) {
  TPumped Graph;
  Graph.Repack->SetBufferSize(3);
  Graph.Waits = true;
  EXPECT_EQ(Graph.Ask(), 1);
  for (int Sent = 1; Sent <= 3; ++Sent) {
    EXPECT_EQ(Graph.Requests, Sent);
    Graph.Send();
  }
  EXPECT_EQ(Graph.Blocks, 1);
  EXPECT_EQ(Graph.Requests, 3);
}

// --- snapshot ---

TYPED_TEST(OfAnyType, ASnapshotCatchesTheNextSamplesAndNothingElse) {
  TStreamRig<TQSSnapshot, TypeParam> Rig;
  TRef<IQSGenericBuffer> Caught;
  std::size_t SentAtEvent = 9;
  Rig.It->SetOnSnapshot([&](TObject&, TRef<IQSGenericBuffer> ABuffer) {
    Caught = ABuffer;
    SentAtEvent = Rig.Out.Blocks.size();
  });
  Rig.It->SetSnapShotSize(10);
  Rig.It->Snapshot();
  Rig.Feed.Start(500.0);
  Rig.Send(20);
  EXPECT_TRUE(Rig.Out.Blocks.empty()) << "a start cancels a request";
  Rig.It->Snapshot();
  Rig.It->Snapshot();
  for (const int Count : {4, 0, 5}) EXPECT_TRUE(Rig.Send(Count).empty());
  EXPECT_EQ(Rig.Send(4).size(), 10U);
  EXPECT_EQ(SentAtEvent, 0U) << "the event comes first";
  EXPECT_EQ(TRef<IQSData>(Caught), Rig.Out.LastPacket);
  Rig.Send(40);
  EXPECT_EQ(Rig.Out.Blocks.size(), 1U) << "one snapshot for the two requests";
  for (int I = 0; I < 10; ++I) EXPECT_EQ(Rig.Out.Blocks[0][std::size_t(I)], Rig.Numbered(21 + I));
  TKLClockSourcePin Clock{TKLPinOwner{}};
  Clock.Connect(Rig.It->SnapshotPin());
  Clock.Tick();
  Rig.Send(6);
  Rig.It->SetSnapShotSize(3);
  Rig.Send(6);
  EXPECT_EQ(Rig.Out.Blocks.size(), 1U) << "a new size cancels";
  Clock.Tick();
  Rig.It->SetEnabled(false);
  Rig.Send(6);
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Send(6),
            std::vector<TypeParam>({Rig.Numbered(92), Rig.Numbered(93), Rig.Numbered(94)}));
  Rig.Feed.Stop();
  Rig.Feed.Start(250.0);
  EXPECT_EQ(Rig.Out.StartRates, std::vector<double>({500.0, 250.0}));
  EXPECT_EQ(Rig.Out.Stops, 1);
  Rig.It->SetSnapShotSize(std::numeric_limits<std::int32_t>::max());
  Rig.It->Snapshot();
  Rig.Send(10);
}

// --- switch ---

TEST(Switch, PassesBlocksWhileEnabledAndTellsTheStartThatWasMissed) {
  TStreamRig<TQSSwitch> Rig;
  TProbe<double> Beside(Rig.Feed.Pin);
  using TRates = std::vector<double>;
  Rig.It->SetEnabled(false);
  Rig.Feed.Start(100.0);
  Rig.Send(2);
  EXPECT_TRUE(Rig.Out.StartRates.empty() && Rig.Out.Blocks.empty());
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Out.StartRates, TRates({100.0}));
  EXPECT_EQ(Rig.Send(2), std::vector<double>({3, 4}));
  EXPECT_EQ(Rig.Out.LastPacket, Beside.LastPacket) << "by reference";
  Rig.It->SetEnabled(false);
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Out.StartRates, TRates({100.0})) << "a gap, no start";
  Rig.It->SetResetOnEnable(true);
  Rig.It->SetEnabled(false);
  EXPECT_EQ(Rig.Send(1).size(), 2U) << "still the block before";
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Out.StartRates, TRates({100.0, 100.0}));
  EXPECT_EQ(Rig.Send(1), std::vector<double>({6}));
  Rig.It->SetEnabled(false);
  Rig.Feed.Start(200.0);
  Rig.Feed.Stop();
  EXPECT_EQ(Rig.Out.Stops, 1) << "a stop passes at any time";
  Rig.It->SetResetOnEnable(false);
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Out.StartRates, TRates({100.0, 100.0, 200.0}));
}

TEST(Switch, PassesRequestsUpwardsWhileItIsShutAndLetsNobodyWait) {
  const auto Switch = Create<TQSSwitch>();
  int Up = 0;
  int Ignores = 0;
  TQSKLRealSourcePin Source({}, Hear([&](auto&) { ++Up; }));
  TQSKLRealSinkPin Sink({}, Hear([&](IKLNotifyOperation& AOperation) {
                          Ignores += AOperation.IsType<TKLIgnoreStreamOperation>();
                        }));
  Source.Connect(Switch->InputPin());
  Sink.Connect(Switch->OutputPin());
  TObject Pump;
  for (const bool Enabled : {true, false}) {
    Switch->SetEnabled(Enabled);
    Sink.MasterPump(Pump);
    Sink.Notify(MakeRef<TKLQueryStreamOperation>());
    EXPECT_EQ(Ignores, Enabled ? 0 : 1);
  }
  EXPECT_EQ(Up, 4);
}

// A gate that a sink shuts and opens from inside a block: the start comes when that block has left.
TEST(Switch, TellsAStartBetweenTwoBlocks) {
  TStreamRig<TQSSwitch> Rig;
  Rig.It->SetResetOnEnable(true);
  Rig.It->SetEnabled(false);
  Rig.It->SetEnabled(true);
  EXPECT_EQ(Rig.Out.StartRates, std::vector<double>({0.0})) << "none has come";
  bool Inside = false;
  int Starts = 0;
  TQSKLRealSinkPin Sink(
      {}, Hear([&](IKLNotifyOperation& AOperation) {
        if (AOperation.IsType<TKLStartOperation>()) {
          EXPECT_FALSE(Inside);
          ++Starts;
        } else if (AOperation.IsType<TKLSuppliedBufferOperation>() && Starts == 1) {
          Inside = true;
          Rig.It->SetEnabled(false);
          Rig.It->SetEnabled(true);
          Inside = false;
        }
      }));
  Rig.Feed.Start();
  Rig.It->OutputPin().Connect(Sink);
  Rig.Send(1);
  EXPECT_EQ(Starts, 2);
  EXPECT_EQ(Rig.Send(1), std::vector<double>({2})) << "it is open";
  Sink.DisconnectAll();
}

}  // namespace
}  // namespace tessalune::test
