// Components with several inputs.
#include "frame/FrameTools.h"
#include "primitives/Samples.h"
#include "support/Streams.h"

#include <tessalune/filters/QSAdd.h>
#include <tessalune/filters/QSRealToComplex.h>
#include <tessalune/filters/QSSubtract.h>

#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>

namespace tessalune::test {
namespace {

using testing::ExpectAll;
using testing::TRealRecorder;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

// A component between feeds of its inputs, in the order of its table, and a probe.
template <class TJoin, class TIn, class TOut>
struct TRig {
  TOwned<TJoin> Join = Create<TJoin>();
  std::map<std::size_t, std::unique_ptr<TFeed<TIn>>> Feeds;
  TProbe<TOut> Out{Join->OutputPin()};

  TFeed<TIn>& Feed(std::size_t AInput) {
    auto& Feed = Feeds[AInput];
    std::size_t Index = 0;
    for (const TPublishedPin* Row : Join->PublishedTable().Pins()) {
      for (std::size_t I = 0; I < Row->Count(*Join); ++I) {
        TKLBasicPin& Pin = Row->At(*Join, I);
        if (Feed || Pin.Direction() != TKLPinDirection::Sink || Index++ != AInput) continue;
        Feed = std::make_unique<TFeed<TIn>>(Pin);
      }
    }
    return *Feed;
  }
};

// What comes of samples on some inputs, by index; the others are not linked. All are sent twice, so
// that a block of memory is used again.
template <class TJoin, class TIn, class TOut>
void Check(const char* AWhat, const std::map<std::size_t, std::vector<TIn>>& AIn,
           const std::vector<TOut>& AOut) {
  TRig<TJoin, TIn, TOut> Rig;
  for (const auto& In : AIn) Rig.Feed(In.first).Start(500.0);
  for (int Round = 0; Round < 2; ++Round) {
    for (const auto& In : AIn) Rig.Feed(In.first).Send(In.second);
  }
  for (const auto& In : AIn) Rig.Feed(In.first).Stop();
  EXPECT_EQ(Rig.Out.StartRates, std::vector<double>{500.0}) << AWhat;
  EXPECT_EQ(Rig.Out.Stops, 1) << AWhat;
  ASSERT_EQ(Rig.Out.Blocks.size(), AOut.empty() ? 0U : 2U) << AWhat;
  for (const auto& Block : Rig.Out.Blocks) {
    ASSERT_EQ(Block.size(), AOut.size()) << AWhat;
    for (std::size_t I = 0; I < Block.size(); ++I) {
      if constexpr (std::same_as<TOut, double>) {
        EXPECT_TRUE(IsSame(Block[I], AOut[I])) << AWhat << ": " << Block[I];
      } else {
        EXPECT_NEAR(Block[I].Re, AOut[I].Re, 1e-15) << AWhat;
        EXPECT_NEAR(Block[I].Im, AOut[I].Im, 1e-15) << AWhat;
      }
    }
  }
}

TEST(Arithmetic, ComputesSampleBySample) {
  using D = double;
  using C = TComplex;
  Check<TQSAdd, D, D>("sum", {{0, {1, 2, Infinity}}, {1, {10, -2, -Infinity}}}, {11, 0, NaN});
  Check<TQSMultiply, D, D>("product", {{0, {3, -2}}, {1, {10, 0.5}}}, {30, -1});
  Check<TQSSubtract, D, D>("difference", {{0, {3, -2}}, {1, {10, 0.5}}}, {-7, -2.5});
  Check<TQSSubtract, D, D>("what is subtracted", {{1, {10, -0.5}}}, {-10, 0.5});
  Check<TQSSubtract, D, D>("what it is subtracted from", {{0, {10, -0.5}}}, {10, -0.5});
  Check<TQSDivide, D, D>("quotient", {{0, {3, -2, 0}}, {1, {4, 0, 0}}}, {0.75, -Infinity, NaN});
  Check<TQSDivide, D, D>("the divider", {{1, {4, NaN}}}, {0, 0});
  Check<TQSDivide, D, D>("what is divided", {{0, {4, -1}}}, {4, -1});
  Check<TQSAddComplex, C, C>("sum", {{0, {{1, 2}}}, {1, {{10, -3}}}}, {{11, -1}});
  Check<TQSMultiplyComplex, C, C>("product", {{0, {{1, 2}}}, {1, {{3, -1}}}}, {{5, 5}});
  Check<TQSSubtractComplex, C, C>("difference", {{0, {{1, 2}}}, {1, {{3, -1}}}}, {{-2, 3}});
  Check<TQSSubtractComplex, C, C>("what is subtracted", {{1, {{3, -1}}}}, {{-3, 1}});
  Check<TQSDivideComplex, C, C>("quotient", {{0, {{5, 5}}}, {1, {{3, -1}}}}, {{1, 2}});
  Check<TQSDivideComplex, C, C>("the divider", {{1, {{3, -1}}}}, {{0, 0}});
  Check<TQSRealToComplex, D, C>("parts", {{0, {1, 2}}, {1, {3, -4}}}, {{1, 3}, {2, -4}});
  Check<TQSRealToComplex, D, C>("an imaginary part", {{1, {3, -4}}}, {{0, 3}, {0, -4}});
  Check<TQSPolarToCart, D, C>("polar", {{0, {5, 2}}, {1, {std::atan2(4, 3), M_PI}}},
                              {{3, 4}, {-2, 0}});
  Check<TQSPolarToCart, D, C>("a phase alone", {{1, {3, -4}}}, {});
}

// Without streams a stop is passed on, but not beside one that is being told.
TEST(MultiInput, HasOneStopForAStream) {
  TRig<TQSAdd, double, double> Rig;
  TRealRecorder Sink;
  Sink.OnOperation = [&](IKLNotifyOperation& AOperation) {
    if (!AOperation.IsType<TKLStopOperation>() || Sink.Count("stop") > 8) return;
    Rig.Feed(1).Stop();
    Sink.Pin.Notify(AOperation);
  };
  Rig.Join->OutputPin().Connect(Sink.Pin);
  Sink.Pin.Notify(MakeRef<TKLStopOperation>());
  EXPECT_EQ(Sink.Log(), testing::TLog{}) << "it comes from there";
  Rig.Feed(0).Start(500.0);
  Rig.Feed(0).Stop();
  EXPECT_EQ(Sink.Log(), (testing::TLog{"start 500", "stop"}));
  Rig.Feed(0).Stop();
  EXPECT_EQ(Sink.Count("stop"), 2U);
}

TEST(BufferQueue, GivesPiecesAndDropsTheOldest) {
  TQSBufferQueue<IQSRealBuffer> Queue;
  const auto Push = [&](std::vector<double> ASamples) {
    return Queue.Push(
        TQSRealBuffer::CreateData(ASamples.data(), static_cast<int>(ASamples.size())));
  };
  const auto Zeros = [&](std::int32_t ACount) {
    return Queue.Push(TQSRealBuffer::CreateSize(ACount));
  };
  Push({1, 2, 3});
  Push({4, 5, 6, 7, 8});
  const auto Four = TQSRealBuffer::CreateSize(4);
  const auto Five = TQSRealBuffer::CreateSize(5);
  EXPECT_TRUE(Queue.Pop(*Four));
  EXPECT_EQ(Samples(*Four), (std::vector{1., 2., 3., 4.}));
  EXPECT_EQ(Queue.ExtractOffset(), 1);
  EXPECT_FALSE(Queue.Pop(*Five));
  EXPECT_EQ(Queue.CollectedSamples(), 4);
  EXPECT_TRUE(Queue.Pop(*Four));
  EXPECT_EQ(Samples(*Four), (std::vector{5., 6., 7., 8.}));
  EXPECT_EQ(Queue.Count(), 0U);
  EXPECT_EQ(Zeros(2000000), 0) << "a block alone stays";
  EXPECT_EQ(Zeros(7), 2000000);
  EXPECT_EQ(Zeros(1), 0);
  EXPECT_EQ(Zeros(1024000 - 8), 0);
  EXPECT_TRUE(Queue.Pop(*Five));
  EXPECT_EQ(Zeros(6), 7) << "the place in the block that goes is one in the next";
  EXPECT_EQ(Queue.CollectedSamples(), 1024000 - 6);
  EXPECT_EQ(Queue.ExtractOffset(), 4);
}

// A billion samples on, the place is where whole numbers say, on whichever way it was reached.
TEST(Stretch, KeepsItsPlaceExactly) {
  constexpr std::int64_t Far = 1000000000;
  std::mt19937_64 Random(1);
  for (const auto& [In, Out] :
       {std::pair{44100, 48000}, {8000, 44100}, {1, 192000}, {96000, 44100}}) {
    TQSStretch Leap(In, Out);
    EXPECT_EQ(Leap.Advance(Far), Far * In / Out);
    EXPECT_EQ(Leap.Fraction(), static_cast<double>(Far * In % Out) / Out);
    TQSStretch Walk(In, Out);
    std::int64_t At = 0;
    for (std::int64_t Left = Far; Left > 0;) {
      const auto Steps =
          std::min<std::int64_t>(Left, 1 + static_cast<std::int64_t>(Random() % 99999999));
      const std::int64_t Reach = Walk.Reach(1000);
      EXPECT_LE(Walk.Needs(Reach), 1000);
      EXPECT_GT(Walk.Needs(Reach + 1), 1000);
      EXPECT_LT(TQSStretch(Walk).Advance(Walk.ReachToEnd(1000) - 1), 1000);
      EXPECT_GE(TQSStretch(Walk).Advance(Walk.ReachToEnd(1000)), 1000);
      At += Walk.Advance(Steps);
      Left -= Steps;
    }
    EXPECT_EQ(At, Far * In / Out);
    EXPECT_EQ(Walk.Fraction(), Leap.Fraction());
  }
  TQSStretch Odd(48000.1, 48000.3);  // as the doubles that they are
  EXPECT_EQ(Odd.Advance(Far),
            static_cast<std::int64_t>(Far * static_cast<long double>(48000.1) / 48000.3));
  for (const auto& [In, Out] : {std::pair{0.0, 48000.0}, {NaN, 1.0}, {Infinity, 1.0}}) {
    EXPECT_TRUE(TQSStretch(In, Out).IsEven());
  }
  for (const auto& [In, Out] :
       {std::pair{1e-300, 1e300}, {1e300, 1e-300}, {M_PI * 1e-9, M_E * 1e9}}) {
    TQSStretch Wide(In, Out);
    EXPECT_EQ(Wide.Reach(1), 1);
    EXPECT_EQ(Wide.Needs(1), 1);
    EXPECT_EQ(Wide.Advance(1) > 0, In > Out);
  }
}

// --- streams and blocks ---

// A stream that is drawn: its blocks, and what they come to.
struct TDrawn {
  std::int64_t Rate;
  std::vector<std::vector<double>> Blocks{};
  std::vector<double> Samples{};

  // The output positions, at a rate, at which something ends.
  void AddEnds(std::int64_t ARate, std::set<std::int64_t>& AEnds) const {
    std::int64_t Come = 0;
    for (const auto& Block : Blocks) {
      Come += static_cast<std::int64_t>(Block.size());
      if (Come > 0) AEnds.insert((Come - 1) * ARate / Rate + 1);
    }
    if (Come > 0) AEnds.insert((Come * ARate + Rate - 1) / Rate);
  }
  void AddTo(std::optional<double>& ASum, std::int64_t AAt, std::int64_t ARate) const {
    const auto I = static_cast<std::size_t>(AAt * Rate / ARate);
    const double Way = static_cast<double>(AAt * Rate % ARate) / static_cast<double>(ARate);
    if (I >= Samples.size()) return;
    double Value = Samples[I];
    if (Way > 0.0 && I + 1 < Samples.size()) Value += (Samples[I + 1] - Samples[I]) * Way;
    ASum = ASum ? *ASum + Value : Value;
  }
};

// Streams of several rates against what whole numbers say of the whole of them; delivered one step
// after the other in any order, or each stream on a thread of its own.
TEST(MultiInput, GivesTheSameBlocksHoweverItsInputsCome) {
  for (unsigned Seed = 0; Seed < 300; ++Seed) {
    SCOPED_TRACE(Seed);
    std::mt19937 Random(Seed);
    const auto Below = [&Random](std::size_t ALimit) { return Random() % ALimit; };
    const std::int64_t Rates[] = {1000, 1000, 1000, 500, 441, 333};
    std::vector<TDrawn> Streams(2 + Below(3));
    std::int64_t Rate = 0;
    std::set<std::int64_t> Ends;
    for (TDrawn& Stream : Streams) {
      Rate = std::max(Rate, Stream.Rate = Rates[Below(6)]);
      Stream.Blocks.resize(Below(6));
      for (auto& Block : Stream.Blocks) {
        Block.resize(Below(4) == 0 ? Below(3) : Below(300));
        for (double& X : Block) Stream.Samples.push_back(X = static_cast<double>(Random()));
      }
    }
    for (const TDrawn& Stream : Streams) Stream.AddEnds(Rate, Ends);
    std::vector<double> Expected;
    for (std::int64_t At = 0; !Ends.empty() && At < *Ends.rbegin(); ++At) {
      std::optional<double> Sum;
      for (const TDrawn& Stream : Streams) Stream.AddTo(Sum, At, Rate);
      Expected.push_back(*Sum);
    }
    const std::int64_t Size = Seed % 3 == 0 ? 1 + static_cast<std::int64_t>(Below(200)) : 0;
    if (Size > 0) Ends = {static_cast<std::int64_t>(Expected.size())};
    for (auto At = Size; Size > 0 && At < *Ends.rbegin(); At += Size) Ends.insert(At);
    Ends.erase(0);

    TRig<TQSAdd, double, double> Rig;
    Rig.Join->InputPins().SetCount(static_cast<std::uint32_t>(Streams.size()));
    Rig.Join->OutputBuffer().SetAutoSize(Size == 0);
    if (Size > 0) Rig.Join->OutputBuffer().SetSize(static_cast<std::int32_t>(Size));
    std::vector<std::function<bool()>> Feeds;  // false behind the stop
    for (std::size_t I = 0; I < Streams.size(); ++I) {
      Feeds.push_back([&Stream = Streams[I], &Feed = Rig.Feed(I), Next = std::size_t{0}]() mutable {
        if (Next == 0) Feed.Start(static_cast<double>(Stream.Rate));
        if (Next > Stream.Blocks.size()) return Feed.Stop(), false;
        if (Next > 0) Feed.Send(Stream.Blocks[Next - 1]);
        return ++Next > 0;
      });
    }
    std::vector<std::thread> Threads;
    for (auto& Feed : Feeds) {
      if (Seed % 4 != 1) break;
      Threads.emplace_back([&Feed] {
        while (Feed()) {
        }
      });
    }
    for (auto& Thread : Threads) Thread.join();
    while (Threads.empty() && !Feeds.empty()) {
      std::swap(Feeds[Below(Feeds.size())], Feeds.back());
      if (!Feeds.back()()) Feeds.pop_back();
    }
    EXPECT_EQ(Rig.Out.StartRates, std::vector<double>{static_cast<double>(Rate)});
    EXPECT_EQ(Rig.Out.Stops, 1);
    ASSERT_EQ(Rig.Out.Stream(), Expected);
    std::set<std::int64_t> Cuts;
    std::int64_t Cut = 0;
    for (const auto& Block : Rig.Out.Blocks) {
      Cuts.insert(Cut += static_cast<std::int64_t>(Block.size()));
    }
    ASSERT_EQ(Cuts, Ends);
    ASSERT_EQ(Rig.Out.Blocks.size(), Ends.size());
  }
}

// --- starts, ends, joins ---

using TLog = std::vector<std::string>;

// A sum of up to three inputs, the first two of which are linked, and all that comes of it.
struct TStory {
  TOwned<TQSAdd> Sum = Create<TQSAdd>();
  TRealRecorder Out;
  TFeed<double> A{Sum->InputPins()[0]};
  TFeed<double> B{Sum->InputPins()[1]};

  TStory() { Sum->OutputPin().Connect(Out.Pin); }
  void Expect(const TLog& ALog, const std::vector<double>& ASamples) const {
    EXPECT_EQ(Out.Log(), ALog);
    EXPECT_EQ(Out.Samples(), ASamples);
  }
};

TEST(MultiInput, StartsOnceAllInputsHaveAStreamAndStopsBehindTheLast) {
  TStory It;
  It.A.Start(500);
  It.A.Send({1, 2, 3});
  It.A.Stop();
  It.Expect({}, {});
  ExpectAll(It.Sum->Remarks().at(0), {"InputPins[1] is linked but no stream", "take the link off"});
  It.B.Start(1000);
  It.Expect({"start 1000"}, {});
  It.B.Send({10, 10});
  It.Expect({"start 1000", "block"}, {11, 11.5});
  EXPECT_TRUE(It.Sum->Remarks().empty());
  It.B.Stop();
  const TLog First{"start 1000", "block", "block", "block", "stop"};
  It.Expect(First, {11, 11.5, 2, 2.5, 3, 3});
  It.B.Start(100);  // and now another rate
  It.A.Start(100);
  It.B.Send({7});
  It.A.Stop();
  TLog Second = First;
  Second.insert(Second.end(), {"start 100", "block"});
  It.Expect(Second, {11, 11.5, 2, 2.5, 3, 3, 7});
  EXPECT_EQ(It.Sum->SampleRate(), 100);
}

TEST(MultiInput, GoesOnWithWhatIsThereAsInputsEndAndJoin) {
  TStory It;
  It.A.Start(1000);
  It.B.Start(1000);
  It.A.Send({1, 2, 3, 4});
  It.B.Send({10, 20});
  It.B.Start(4000);  // ends the stream before; of this one each fourth sample is read
  It.B.Send({100, 0, 0, 0, 200});
  It.Expect({"start 1000", "block", "block"}, {11, 22, 103, 204});
  ExpectAll(It.Sum->Remarks().at(0), {"InputPins[1] has 4000", "output of 1000", "may alias"});
  It.A.Stop();
  It.A.Send({5, 5});  // no start: a stream of the output's rate, behind the one before
  It.Expect({"start 1000", "block", "block"}, {11, 22, 103, 204});
  It.B.Send({0, 0, 0, 300, 0, 0, 0});
  It.B.Stop();
  It.Expect({"start 1000", "block", "block", "block", "block"}, {11, 22, 103, 204, 305, 5});
  It.B.Start();  // joins at the next sample
  It.A.Send({6});
  It.B.Send({60});
  It.A.Stop();
  It.B.Stop();
  It.Expect({"start 1000", "block", "block", "block", "block", "block", "stop"},
            {11, 22, 103, 204, 305, 5, 66});
}

TEST(MultiInput, DoesNotWaitForAnInputThatHasNoStream) {
  for (const int Way : {0, 1, 2, 3}) {
    SCOPED_TRACE(Way);
    TStory It;
    const auto Gen = testing::PumpedGen(2);
    It.Sum->InputPins().SetCount(3);
    Gen->OutputPin().Connect(It.Sum->InputPins()[2]);
    if (Way == 0) Gen->SetEnabled(false);
    It.A.Start();
    It.B.Start();
    It.B.Send({1});
    EXPECT_EQ(It.Out.Log().size(), Way == 0 ? 1U : 0U);
    if (Way == 1) Gen->OutputPin().DisconnectAll();
    if (Way == 2) It.Sum->InputPins().SetCount(2);
    if (Way != 3) It.A.Send({2});
    if (Way == 3) It.Sum = nullptr;  // its end lets go of what it holds
    It.Expect(Way == 3 ? TLog{"start 1000", "block", "stop"} : TLog{"start 1000", "block"},
              {Way == 3 ? 1.0 : 3.0});
  }
}

TEST(MultiInput, CountsWhatFullQueuesDropAndTellsIt) {
  TStory It;
  It.A.Start();
  It.B.Start();
  const std::vector<double> Block(1000, 1.0);
  for (int I = 0; I < 1024; ++I) It.A.Send(Block);
  EXPECT_EQ(It.Sum->Dropped(), 0);
  EXPECT_TRUE(It.Sum->Losses().empty());
  It.A.Send({2, 2});
  EXPECT_EQ(It.Sum->Dropped(), 1000);
  EXPECT_EQ(It.Sum->Losses().at(0).Amount, 1000);
  ExpectAll(It.Sum->Losses().at(0).Text, {"InputPins[0] ran more than 1024000 samples ahead",
                                          "1000 of its samples were dropped", "out of step"});
  It.B.Stop();
  It.A.Stop();
  EXPECT_EQ(It.Out.Samples().size(), 1023002U);
  EXPECT_EQ(It.Sum->Dropped(), 1000) << "until a stream begins";
  It.A.Start();
  EXPECT_TRUE(It.Sum->Losses().empty());
}

TEST(MultiInput, TakesTenThousandInputs) {
  TStory It;
  It.Sum->InputPins().SetCount(10000);
  TFeed<double> Last(It.Sum->InputPins()[9999]);
  for (auto* Feed : {&It.A, &It.B, &Last}) Feed->Start();
  for (auto* Feed : {&It.A, &It.B, &Last}) Feed->Send({1, 2});
  It.Sum->InputPins().SetCount(2);
  for (auto* Feed : {&It.A, &It.B}) Feed->Send({3});
  It.Expect({"start 1000", "block", "block"}, {3, 6, 6});
}

// --- threads, handlers, memory, pumps ---

TEST(MultiInput, SendsInOrderWhatHandlersAndOtherThreadsBring) {
  TStory It;
  It.A.Start();
  It.B.Start();
  testing::TLatch Inside;
  testing::TKnownThread Other([&] {
    Inside.Wait();
    It.B.Send({30});
    It.B.Stop();  // waits until what was brought has been sent
    EXPECT_EQ(It.Out.Samples(), (std::vector<double>{11, 22}));
  });
  int Depth = 0;
  It.Out.On(testing::IsBlock, [&] {
    EXPECT_EQ(++Depth, 1) << "one at a time";
    if (It.Out.Samples().size() == 1) {
      It.A.Send({2});
      It.B.Send({20});
      Inside.Open();
      testing::AwaitBlocked(Other.Key);
    }
    --Depth;
  });
  It.A.Send({1});
  It.B.Send({10});
  Other.Join();
  It.A.Send({3, 4});
  It.Expect({"start 1000", "block", "block", "block", "block"}, {11, 22, 33, 4});
  It.Out.On(testing::IsBlock, [&] { It.Sum = nullptr; });
  It.A.Send({5});
  It.Expect({"start 1000", "block", "block", "block", "block", "block", "stop"},
            {11, 22, 33, 4, 5});
}

TEST(MultiInput, RelievesAThreadThatSendsForLong) {
  TStory It;
  It.A.Start();
  It.B.Start();
  for (int I = 0; I < 1000; ++I) It.A.Send({1});
  testing::TLatch Inside;
  testing::TKnownThread Other([&] {
    Inside.Wait();
    It.A.Stop();
  });
  int Here = 0;
  It.Out.On(testing::IsBlock, [&] {
    Here += CurrentThreadKey() != Other.Key;
    if (It.Out.Samples().size() != 70) return;
    Inside.Open();
    testing::AwaitBlocked(Other.Key);
  });
  It.B.Send(std::vector<double>(1000, 1.0));
  Other.Join();
  EXPECT_EQ(Here, 70);
  EXPECT_EQ(It.Out.Samples(), std::vector<double>(1000, 2.0));
}

TEST(MultiInput, SendsOnAfterASinkHasFailed) {
  TStory It;
  It.A.Start();
  It.A.Send({1});
  It.A.Send({2});
  It.B.Start();
  bool Fails = true;
  It.Out.OnOperation = [&](IKLNotifyOperation&) {
    if (std::exchange(Fails, false)) throw EQSException("a sink that fails");
  };
  EXPECT_THROW(It.B.Send({1, 1}), EQSException);
  It.Expect({"start 1000", "block", "block"}, {2, 3});
}

// The first block of a sum becomes the output's memory if nobody else has it, and then only.
TEST(MultiInput, ComputesInABlockThatIsItsOwn) {
  TStory It;
  const double* Got = nullptr;
  TQSKLRealSinkPin Sink({}, Hear([&](IKLNotifyOperation& AOperation) {
                          if (!testing::IsBlock(AOperation)) return;
                          const auto& Value =
                              AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
                          Got = TQSRealBuffer::CreateUniversal(Value)->Read();
                        }));
  It.Sum->OutputPin().DisconnectAll();
  It.Sum->OutputPin().Connect(Sink);
  It.A.Start();
  It.B.Start();
  for (const bool Shared : {false, true}) {
    auto Block = TQSRealBuffer::CreateSize(1024);
    Block->SetValue(1.0);
    const double* const First = Block->Read();
    const TRef<IQSRealBuffer> Kept = Shared ? Block : nullptr;
    It.A.Pin.SubmitBuffer(std::move(Block));
    It.B.Send(std::vector<double>(1024, 1.0));
    EXPECT_EQ(Got == First, !Shared);
    EXPECT_TRUE(!Shared || Kept->GetItem(7) == 1.0);
  }
}

// A sink that asks for blocks gets one for each request, and no source gets ahead.
TEST(MultiInput, PassesRequestsToThoseInputsThatHoldTheOthersUp) {
  const auto Sum = Create<TQSAdd>();
  std::vector<TOwned<TQSSignalGen>> Gens;
  for (const std::int32_t Size : {16, 100}) {
    Gens.push_back(testing::PumpedGen(Size));
    Gens.back()->SetSampleRate(Size == 16 ? 1000.0 : 250.0);
    Gens.back()->OutputPin().Connect(Sum->InputPins()[Gens.size() - 1]);
  }
  int Blocks = 0;
  std::int64_t Samples = 0;
  TLog Log;
  TQSKLRealSinkPin Sink({}, Hear([&](IKLNotifyOperation& AOperation) {
                          if (testing::IsBlock(AOperation)) {
                            ++Blocks;
                            Samples += AOperation.GetInstance<TKLSuppliedBufferOperation>().Samples;
                          } else {
                            Log.emplace_back(AOperation.ClassName());
                          }
                          if (AOperation.IsType<TKLPumpRequestOperation>()) {
                            AOperation.GetInstance<TKLPumpRequestOperation>().Claim(*Sum,
                                                                                    ptHardware, 0);
                          }
                        }));
  Sum->OutputPin().Connect(Sink);
  for (auto& Gen : Gens) Gen->Start();
  EXPECT_EQ(Log, (TLog{"TKLPumpRequestOperation", "TKLStartSampleRateOperation",
                       "TKLPumpRequestOperation", "TKLStartPumpOperation"}))
      << "the pump begins when the start is out";
  const auto Request = [&] { Sink.MasterPump(*Sum); };
  for (int I = 1; I <= 1000; ++I) {
    Request();
    ASSERT_EQ(Blocks, I);
  }
  const std::int64_t Before = Samples;
  Sum->OutputBuffer().SetAutoSize(false);
  Sum->OutputBuffer().SetSize(5000);
  Request();
  EXPECT_EQ(Samples - Before, 5000);
  EXPECT_EQ(Blocks, 1001);
  Gens[0]->Stop();
  Sink.Notify(MakeRef<TKLStopOperation>());  // reaches the sources
  EXPECT_FALSE(Gens[1]->IsRunning());
  EXPECT_EQ(Log.back(), "TKLStopOperation");
  for (auto& Gen : Gens) Gen->SetEnabled(false);
  Sink.Notify(MakeRef<TKLQueryStreamOperation>());
  EXPECT_EQ(Log.back(), "TKLIgnoreStreamOperation");
  Gens.clear();
  Log.clear();
  Sink.Notify(MakeRef<TKLQueryStreamOperation>());
  EXPECT_EQ(Log.front(), "TKLIgnoreStreamOperation") << "no input is linked";
}

}  // namespace
}  // namespace tessalune::test
