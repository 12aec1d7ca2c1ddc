#include "primitives/Samples.h"
#include "support/Streams.h"

#include <tessalune/analysis/QSMean.h>
#include <tessalune/analysis/QSMinMax.h>
#include <tessalune/analysis/QSRMSMeter.h>

#include <limits>
#include <thread>

namespace tessalune::test {
namespace {

using TReals = std::vector<double>;
using enum TQSSynchronizeType;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

// A meter behind a feed, and what its event tells.
template <class TMeter>
struct TMeterRig {
  TReals Told;
  TOwned<TMeter> It = Create<TMeter>();
  TFeed<double> Feed{It->InputPin()};

  explicit TMeterRig(TQSSynchronizeType AType) {
    It->SetSynchronizeType(AType);
    It->SetOnValueChange(
        [this](TObject&, auto... AValues) { Told.insert(Told.end(), {AValues...}); });
  }
  TReals Send(const TReals& ABlock) {
    Feed.Send(ABlock);
    return std::exchange(Told, {});
  }
  TReals Process() {
    RunMainThread();
    return std::exchange(Told, {});
  }
};

TEST(Meters, ReduceEachBlockByItself) {
  TMeterRig<TQSMean> Mean(stNone);
  TMeterRig<TQSRMSMeter> Rms(stNone);
  TMeterRig<TQSMinMax> Range(stNone);
  struct TCase {
    TReals Block;
    double Mean, Rms, Min, Max;
  };
  for (const TCase& Case : {TCase{{3}, 3, 3, 3, 3},
                            {{1, Infinity}, Infinity, Infinity, 1, Infinity},
                            {{-4}, -4, 4, -4, -4},
                            {{1, 2, 3, 4, -5, 13}, 3, std::sqrt(224.0 / 6), -5, 13},
                            {{1e200}, 1e200, Infinity, 1e200, 1e200},
                            {{1, NaN, 2}, NaN, NaN, 1, 2},
                            {{NaN}, NaN, NaN, NaN, NaN}}) {
    TReals Told = Mean.Send(Case.Block);
    for (const TReals& More : {Rms.Send(Case.Block), Range.Send(Case.Block)}) {
      Told.insert(Told.end(), More.begin(), More.end());
    }
    const TReals Expected{Case.Mean, Case.Rms, Case.Min, Case.Max};
    ASSERT_EQ(Told.size(), 4U);
    for (std::size_t I = 0; I < 4; ++I) {
      const auto Bound = std::isfinite(Expected[I]) ? 4 * Eps * std::fabs(Expected[I]) : -1.0L;
      EXPECT_TRUE(IsSame(Told[I], Expected[I]) || IsNear(Told[I], Expected[I], Bound))
          << Told[I] << ", " << Expected[I];
    }
  }
}

TEST(Meters, TellOnlyWhatHasChangedOnThePinsFirst) {
  TMeterRig<TQSMean> Mean(stNone);
  TReals Sent;
  TKLRealSinkPin Sink(
      {}, Hear([&](IKLNotifyOperation& AOperation) {
        Sent.push_back(AOperation.GetInstance<TKLTypedSuppliedOperation<double>>().Value);
        EXPECT_TRUE(Mean.Told.empty());
      }));
  Sink.Connect(Mean.It->OutputPin());
  EXPECT_EQ(Mean.Send({0, 0}), TReals()) << "it begins with 0";
  EXPECT_EQ(Mean.Send({1, 3}), TReals({2}));
  EXPECT_EQ(Mean.Send({2}), TReals());
  EXPECT_EQ(Mean.Send({}), TReals());
  for (int I = 0; I < 2; ++I) EXPECT_EQ(Mean.Send({NaN}).size(), 1U) << "differs from itself";
  EXPECT_EQ(Mean.Send({4}), TReals({4}));
  Mean.Feed.Stop();
  Mean.Feed.Start();
  EXPECT_EQ(Mean.Send({4}), TReals()) << "the value stays from stream to stream";
  Mean.Feed.Pin.DisconnectAll();
  TKLRealSourcePin Values{TKLPinOwner()};
  Values.Connect(Mean.It->InputPin());
  Values.SetValue(5.0);
  EXPECT_EQ(std::exchange(Mean.Told, {}), TReals({5}));
  Values.Notify(MakeRef<TKLTypedSuppliedOperation<float>>(0.5F));
  ASSERT_EQ(Sent.size(), 6U);
  EXPECT_EQ(TReals({Sent[0], Sent[3], Sent[4], Sent[5]}), TReals({2, 4, 5, 0.5}));
  TMeterRig<TQSMinMax> Range(stNone);
  EXPECT_EQ(Range.Send({-1, 1}), TReals({-1, 1}));
  EXPECT_EQ(Range.Send({1, 0, -1}), TReals());
  EXPECT_EQ(Range.Send({-1, 2}), TReals({-1, 2}));
}

TEST(Meters, ReachTheMainThreadWithTheNewestOrWithAllInOrder) {
  TMeterRig<TQSMean> Newest(stSingleBuffer), All(stQueue);
  for (auto* Rig : {&Newest, &All}) {
    for (const auto& After : std::vector<std::function<void()>>{[] {}, [&] { Rig->Feed.Stop(); },
                                                                [&] { Rig->Feed.Start(); },
                                                                [&] { Rig->It = nullptr; }}) {
      Rig->Feed.Start();
      for (const double Sample : {1.0, 2.0, 3.0}) EXPECT_EQ(Rig->Send({Sample}), TReals());
      const bool IsFirst = Rig->It->OutputPin().Value() == 0.0;
      After();
      EXPECT_EQ(Rig->Process(), !IsFirst      ? TReals()
                                : Rig == &All ? TReals({1, 2, 3})
                                              : TReals({3}));
      EXPECT_EQ(Rig->Process(), TReals());
    }
  }
}

TEST(Meters, DropTheOldestForAMainThreadThatNeverRunsAndSayHowMany) {
  TMeterRig<TQSMean> Rig(stQueue);
  Rig.Feed.Start();
  for (int I = 1; I <= 65536 + 10; ++I) Rig.Feed.Send({double(I)});
  EXPECT_EQ(Rig.It->Losses().at(0).Amount, 10);
  const TReals Told = Rig.Process();
  EXPECT_EQ(Told.size(), 65536U);
  EXPECT_EQ(Told.front(), 11.0);
  Rig.Feed.Start();
  EXPECT_EQ(Rig.It->Dropped(), 0);
}

// Handlers that send on from inside, that throw, that change the mode while another thread
// delivers: the order stays, nothing is told twice or by two threads at once.
TEST(Meters, KeepTheOrderWhateverHandlersDo) {
  for (const TQSSynchronizeType Type : {stNone, stQueue}) {
    TMeterRig<TQSMean> Rig(Type);
    int Inside = 0;
    Rig.It->SetOnValueChange([&](TObject&, double AValue) {
      EXPECT_EQ(++Inside, 1);
      if (AValue == 1.0) Rig.Feed.Send({2});
      Rig.Told.push_back(AValue);
      if (AValue == 3.0) {
        Rig.It->SetSynchronizeType(stNone);
        std::thread([&] { Rig.Feed.Send({4}); }).join();
      }
      --Inside;
      if (AValue == 1.0) throw EQSException("on purpose");
    });
    EXPECT_THROW((Rig.Feed.Send({1}), RunMainThread()), EQSException);
    RunMainThread();
    Rig.Feed.Send({3});
    EXPECT_EQ(Rig.Process(), TReals({1, 2, 3, 4})) << int(Type);
  }
}

TEST(Meters, MeasureMagnitudesWithoutTouchingTheBlock) {
  struct TMagnitudes : TQSMinMax {
    using TQSMinMax::SetAbsolute;
    using TQSMinMax::TQSMinMax;
  };
  TMeterRig<TMagnitudes> Rig(stNone);
  Rig.It->SetAbsolute(true);
  TProbe<double> Other(Rig.Feed.Pin);
  EXPECT_EQ(Rig.Send({-3, 1, 2}), TReals({1, 3}));
  EXPECT_EQ(Other.Blocks.at(0), TReals({-3, 1, 2}));
}

TEST(TypedDataQueue, GivesWhatItHasByIndex) {
  TQSTypedDataQueue<int> Queue;
  for (const int Value : {1, 2, 3}) Queue.Add(Value);
  Queue.Remove(1);
  Queue.SetItem(0, 7);
  EXPECT_TRUE(Queue.Count() == 2 && Queue.Items(0) == 7 && Queue.Items(1) == 3);
  EXPECT_THROW(Queue.Items(2), EQSException);
}

}  // namespace
}  // namespace tessalune::test
