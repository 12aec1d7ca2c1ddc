#include "primitives/Samples.h"
#include "support/Rig.h"

#include <tessalune/analysis/QSPatternDetector.h>
#include <tessalune/analysis/QSSnippetTrigger.h>

#include <limits>
#include <thread>

namespace tessalune::test {
namespace {

using TReals = std::vector<double>;
using TPositions = std::vector<std::int64_t>;
using enum TQSTriggerEdge;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr auto Most = std::numeric_limits<std::int32_t>::max();

// A snippet trigger between a feed and a probe, and the records that it told.
struct TTriggerRig : TStreamRig<TQSSnippetTrigger> {
  std::vector<TRef<IQSSnippetTriggerData>> Told;

  explicit TTriggerRig(std::int32_t ASize = 1024, std::int32_t ABefore = 512,
                       std::int32_t ADistance = 100) {
    It->Snippet().SetSize(ASize);
    It->Snippet().SetSamplesBefore(ABefore);
    It->Trigger().SetMinimalDistance(ADistance);
    It->SetOnTriggered([this](TObject&, TRef<IQSSnippetTriggerData> AData) {
      EXPECT_GT(Out.Blocks.size(), Told.size()) << "the snippet comes first";
      Told.push_back(AData);
    });
  }
  TPositions Positions() const {
    TPositions All;
    for (const auto& Each : Told) All.push_back(Each->TriggerPosition());
    return All;
  }
};

// What is promised, by a plain look at the whole stream.
TPositions Crossings(const TReals& AStream, TQSSnippetTrigger& AOf) {
  const std::int64_t Size = AOf.Snippet().Size();
  const std::int64_t Before = std::min<std::int64_t>(AOf.Snippet().SamplesBefore(), Size);
  const auto IsHigh = [&](std::int64_t AAt) {
    return AStream[static_cast<std::size_t>(AAt)] > AOf.Trigger().Level();
  };
  TPositions Found;
  for (std::int64_t At = Before + 1; At < std::int64_t(AStream.size()); ++At) {
    const bool Rises = AOf.Trigger().Edge() == teRising;
    if (IsHigh(At) != Rises || IsHigh(At - 1) == Rises) continue;
    if (At - Before + Size > std::int64_t(AStream.size())) break;
    if (Found.empty() || At > Found.back() + AOf.Trigger().MinimalDistance() + Before) {
      Found.push_back(At);
    }
  }
  return Found;
}

TEST(SnippetTrigger, FindsTheSameCrossingsWhateverTheBlocks) {
  TReals Stream = RandomSamples(20000);
  for (std::size_t I = 1; I < Stream.size(); ++I) Stream[I] += 0.99 * Stream[I - 1];
  Stream[9000] = NaN;
  struct TCase {
    std::int32_t Size, Before, Distance;
    double Level;
    TQSTriggerEdge Edge;
    std::int32_t Tolerance;
  };
  for (const TCase& Case : {TCase{1024, 512, 100, 0, teRising, 50},
                            {1, 0, 0, 5, teFalling, 50},
                            {100, 100, 0, 0, teRising, 0},
                            {300, 0, -20, 0, teFalling, -1},
                            {30, 20, -20, -3, teRising, 1},
                            {9000, 7, 0, 0, teRising, 50},
                            {8, 512, 0, 0, teRising, Most}}) {
    for (const std::ptrdiff_t Block : {1, 7, 1024, 65536}) {
      TTriggerRig Rig(Case.Size, Case.Before, Case.Distance);
      Rig.It->Trigger().SetLevel(Case.Level);
      Rig.It->Trigger().SetEdge(Case.Edge);
      Rig.It->Trigger().SetSynchronizeTollerance(Case.Tolerance);
      const TPositions Expected = Crossings(Stream, *Rig.It);
      ASSERT_GT(Expected.size(), 0U);
      Rig.Feed.Start();
      Rig.Feed.SendCut(Stream, {Block});
      ASSERT_EQ(Rig.Positions(), Expected) << Case.Size << ", " << Block;
      const auto Before = std::min(Case.Before, Case.Size);
      for (std::size_t I = 0; I < Expected.size(); ++I) {
        const auto Begin = Stream.begin() + (Expected[I] - Before);
        EXPECT_TRUE(std::equal(Begin, Begin + Case.Size, Rig.Out.Blocks[I].begin(),
                               Rig.Out.Blocks[I].end(),
                               [](double A, double B) { return IsSame(A, B); }));
      }
    }
  }
}

TEST(SnippetTrigger, TellsWhatItFound) {
  TTriggerRig Rig(4, 2, 0);
  Rig.It->Trigger().SetLevel(0.5);
  Rig.Feed.Start();
  Rig.Send({1, 0, 0, 0, 1, 0.5});
  ASSERT_EQ(Rig.Told.size(), 1U);
  EXPECT_EQ(Rig.Out.Blocks, std::vector<TReals>({{0, 0, 1, 0.5}}));
  EXPECT_EQ(ValueText(ToValue(Rig.Told[0])),
            "{WasTriggeredExternally: false, TriggerPosition: 4, SamplesBefore: 2, "
            "SampleInBuffer: 2, Level: 0.5, Edge: \"teRising\"}");
  EXPECT_EQ(
      ValueText(StaticRefCast<IQSSnippetTriggerData>(Rig.Told[0]->MakeCopy())->PropertyValue()),
      ValueText(Rig.Told[0]->PropertyValue()));
  Rig.It->Snippet().SetSize(1);
  EXPECT_EQ(Rig.It->Remarks().size(), 1U) << "SamplesBefore is above Size";
}

TEST(SnippetTrigger, SearchesTheWholeHistoryAgainAfterAChange) {
  TTriggerRig Rig(2, 1, 0);
  Rig.Feed.Start();
  Rig.It->Trigger().SetLevel(10);
  Rig.Send({0, 0, 5, 0, 20, 0, 5});
  EXPECT_EQ(Rig.Positions(), TPositions({4}));
  Rig.It->Trigger().SetLevel(1);
  Rig.Send({0, 0});
  EXPECT_EQ(Rig.Positions(), TPositions({4, 6})) << "behind the last trigger";
  Rig.It->SetEnabled(false);
  EXPECT_EQ(Rig.Send({0, 5, 0}), TReals({0, 5, 0}));
  Rig.It->SetEnabled(true);
  Rig.Send({5, 0, 5, 0});
  EXPECT_EQ(Rig.Positions(), TPositions({4, 6, 14})) << "positions go on, the past does not";
  Rig.Feed.Stop();
  Rig.Feed.Start();
  Rig.Send({5, 0, 5, 0});
  EXPECT_EQ(Rig.Positions().back(), 2);
}

// What one finds on a stream, the other cuts out of its own, which runs ahead, behind, or on a
// thread of its own: nothing is lost, cut twice, out of order, or sent by two threads at once.
TEST(SnippetTrigger, CutsWhereAnotherInstanceTriggersSoonerOrLater) {
  const TReals Stream = RandomSamples(100000);
  for (const char* Way : {"behind", "ahead", "thread"}) {
    TTriggerRig Leader(64, 16), Follower(64, 16);
    Leader.It->TriggerOutputPin().Connect(Follower.It->TriggerInputPin());
    Leader.It->Trigger().SetLevel(9.0);
    Follower.It->Trigger().SetSynchronizeTollerance(2000);
    TPositions Forwarded;
    TKLQSTriggerSinkPin Next(
        {}, [&](TObject* ASender, bool AWasTriggeredExternally, std::int64_t ATriggerSample,
                std::int32_t, std::int32_t, double ALevel, TQSTriggerEdge) {
          EXPECT_TRUE(ASender == Follower.It.get() && AWasTriggeredExternally && ALevel == 0.0);
          Forwarded.push_back(ATriggerSample);
        });
    Next.Connect(Follower.It->TriggerOutputPin());
    for (auto* Rig : {&Leader, &Follower}) Rig->Feed.Start();
    const auto Lead = [&] { Leader.Feed.SendCut(Stream, {100}); };
    std::thread Thread;
    if (*Way == 'b') Lead();
    if (*Way == 't') Thread = std::thread(Lead);
    Follower.Feed.SendCut(Stream, {128});
    if (*Way == 'a') Lead();
    if (*Way == 't') Thread.join();
    EXPECT_GT(Leader.Told.size(), 300U);
    EXPECT_EQ(Follower.Positions(), Leader.Positions()) << Way;
    EXPECT_EQ(Follower.Out.Blocks, Leader.Out.Blocks) << Way;
    EXPECT_EQ(Forwarded, Leader.Positions()) << Way;
    EXPECT_TRUE(Follower.Told.back()->WasTriggeredExternally());
    EXPECT_EQ(Follower.Told.back()->Level(), 9.0) << "the sender's";
    EXPECT_TRUE(Follower.It->Remarks().empty()) << Way;
  }
}

TEST(SnippetTrigger, DropsATriggerWhoseSamplesAreGone) {
  TTriggerRig Rig(4, 2);
  TKLQSTriggerSourcePin Pin{TKLPinOwner()};
  Pin.Connect(Rig.It->TriggerInputPin());
  const auto Trigger = [&](std::int64_t AAt) { Pin.SendTrigger(false, AAt, 0, 0, 1.0, teRising); };
  Rig.It->Trigger().SetSynchronizeTollerance(2);
  Rig.Feed.Start();
  Trigger(3);
  for (int I = 0; I < 12; ++I) Rig.Send(1);
  EXPECT_EQ(Rig.Positions(), TPositions({3}));
  EXPECT_EQ(Rig.Out.Blocks.back(), TReals({2, 3, 4, 5}));
  for (const int At : {4, 5, 1, 12}) Trigger(At);
  Trigger(std::numeric_limits<std::int64_t>::min());
  Trigger(std::numeric_limits<std::int64_t>::max());
  Rig.Send(2);
  EXPECT_EQ(Rig.Positions(), TPositions({3, 5, 12})) << "8 samples are kept, and what is new";
  EXPECT_NE(Rig.It->Remarks().at(0).find("3 triggers"), std::string::npos);
  for (int I = 0; I < 70000; ++I) Trigger(1000000);
  EXPECT_NE(Rig.It->Remarks().at(0).find(NumberText(70000 + 4 - 65536)), std::string::npos);
  Rig.Feed.Start();
  EXPECT_TRUE(Rig.It->Remarks().empty());
  Rig.Send(12);
  EXPECT_EQ(Rig.Told.size(), 3U) << "and a start forgets the triggers";
}

TEST(PatternDetector, PassesWhatLiesInsideEveryBand) {
  struct TPoint {
    double Sample, Min, Max;
  };
  struct TCase {
    const char* What;
    std::vector<TPoint> Points;
    TReals Block;
    bool Fits;
  };
  const TReals Ramp{0, 10, 20, 40};
  for (const TCase& Case :
       std::vector<TCase>{{"no pattern", {}, {0}, false},
                          {"defaults", {{0, 0, 0}}, {-0.0, 5}, true},
                          {"defaults", {{0, 0, 0}}, {5e-324}, false},
                          {"NaN", {{0, -Infinity, Infinity}}, {NaN}, false},
                          {"anything", {{0, -Infinity, Infinity}}, {1e300}, true},
                          {"on the limits", {{1, 10, 11}, {2, 19, 20}}, Ramp, true},
                          {"above", {{1, 0, 9.99}}, Ramp, false},
                          {"below", {{1, 10.01, 20}}, Ramp, false},
                          {"one of two", {{1, 10, 10}, {2, 0, 1}}, Ramp, false},
                          {"Min above Max", {{1, 11, 9}}, Ramp, false},
                          {"between", {{0.25, 2.5, 2.5}}, Ramp, true},
                          {"backwards from the next pair", {{1.75, 15, 15}}, Ramp, true},
                          {"half to the even one", {{2.5, 30, 30}}, Ramp, true},
                          {"half to the even one, backwards", {{1.5, 10, 10}}, Ramp, true},
                          {"the last", {{3, 40, 40}}, Ramp, true},
                          {"almost the last", {{2.75, 40, 40}}, Ramp, true},
                          {"rounds beyond", {{3.5, -99, 99}}, Ramp, false},
                          {"behind", {{4, -99, 99}}, Ramp, false},
                          {"far behind", {{1e300, -99, 99}}, Ramp, false},
                          {"just before", {{-0.5, -5, -5}}, Ramp, true},
                          {"before", {{-0.51, -99, 99}}, Ramp, false},
                          {"nothing", {{0, -99, 99}}, {}, false}}) {
    TStreamRig<TQSPatternDetector> Rig;
    TProbe<double> Rejected(Rig.It->RejectedOutputPin());
    TProbe<double> Beside(Rig.Feed.Pin);
    TRef<IQSDetectedPattern> Told;
    Rig.It->SetOnPatternDetected([&](TObject&, TRef<IQSDetectedPattern> APattern) {
      EXPECT_EQ(Rig.Out.Blocks.size(), 1U) << "the block comes first";
      Told = APattern;
    });
    for (const TPoint& Point : Case.Points) {
      const auto Item = Rig.It->Patterns().Add();
      Item->SetSample(Point.Sample);
      Item->SetMin(Point.Min);
      Item->SetMax(Point.Max);
    }
    Rig.It->SetEnabled(Case.Block.size() % 2 == 0);  // it makes no difference
    Rig.Feed.Start(100.0);
    Rig.Feed.Send(Case.Block);
    const auto& Way = Case.Fits ? Rig.Out : Rejected;
    EXPECT_EQ(Rig.Out.Blocks.size() + Rejected.Blocks.size(), 1U) << Case.What;
    EXPECT_TRUE(Way.LastPacket == Beside.LastPacket && Way.LastPacket) << Case.What;
    ASSERT_EQ(bool(Told), Case.Fits) << Case.What;
    if (Told) {
      Rig.It->Patterns().Clear();
      ASSERT_EQ(Told->Count(), Case.Points.size());
      EXPECT_EQ((*Told)[0].Max(), Case.Points[0].Max);
      Rig.Feed.Send(Case.Block);
      EXPECT_EQ(Rejected.Blocks.size(), 1U) << "a change takes effect with the next block";
    }
    Rig.Feed.Stop();
    EXPECT_TRUE(Rejected.StartRates == TReals({100.0}) && Rejected.Stops == 1);
  }
}

}  // namespace
}  // namespace tessalune::test
