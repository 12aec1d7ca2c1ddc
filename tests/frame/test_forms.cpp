// Arrays, collections and listeners: what is told when, on which thread, and how it ends.
#include "FrameTools.h"

#include <tests/support/FormsProbe.h>

#include <optional>

namespace tessalune::testing {
namespace {

using test::TFormsProbe;
using TNumbers = std::vector<double>;

// What a listener heard: "Taps=[1, 2]".
class Forms : public ::testing::Test {
 protected:
  TOwned<TFormsProbe> Probe = Create<TFormsProbe>();
  TLog Told;
  TListening Listening = Probe->Listen([this](TComponent&, const TPropertyChange& AChange) {
    Told.push_back(AChange.Path + "=" + ValueText(AChange.Value));
  });

  // Runs of change procedures, and what was told, since the last call.
  std::pair<int, TLog> Since() { return {std::exchange(Probe->Inits, 0), std::exchange(Told, {})}; }
  using TSince = std::pair<int, TLog>;

  void SetUp() override { Since(); }
};

TEST_F(Forms, AnArrayTellsOnceForEachChangeOrUpdate) {
  TQSReals& Taps = Probe->Taps;
  Taps.Add(1.0);
  EXPECT_EQ(Since(), (TSince{1, {"Taps=[1]"}}));
  Taps.SetItem(0, 5.0);
  EXPECT_EQ(Since(), (TSince{0, {}})) << "a single value waits for the next change";
  EXPECT_EQ(Taps.Items(0), 5.0);
  Taps.BeginUpdate();
  Taps.BeginUpdate();
  for (const double Tap : {1.0, 2.0}) Taps.Add(Tap);
  Taps.EndUpdate();
  EXPECT_EQ(Since(), (TSince{0, {}}));
  Taps.EndUpdate();
  Taps.EndUpdate();
  EXPECT_EQ(Since(), (TSince{1, {"Taps=[5, 1, 2]"}}));
  Taps.Clear();
  Taps.Clear();
  EXPECT_EQ(Since(), (TSince{1, {"Taps=[]"}}));
  // A property beside the array is another path; taking both over is one change of each.
  Probe->Mask.SetEnabled(true);
  EXPECT_EQ(Since(), (TSince{1, {"Mask.Enabled=true"}}));
  const auto Other = Create<TFormsProbe>();
  Other->Mask.SetValues({7});
  Probe->Mask.Assign(Other->Mask);
  EXPECT_EQ(Since(), (TSince{1, {"Mask.Enabled=false", "Mask=[7]"}}));
  for (const std::function<void()>& Bad : std::initializer_list<std::function<void()>>{
           [&] { Taps.Add(double{NAN}); },
           [&] {
             Taps.SetValues({1.0, NAN});
           },
           [&] { Taps.SetItem(0, 1.0); }, [&] { Probe->Mask.Add(-1); },
           [&] { Taps.Assign(Probe->Pairs); }}) {
    ExpectAll(Refusal(Bad), {"TFormsProbe."});
  }
  EXPECT_EQ(Since(), (TSince{0, {}})) << "a refused change is none";
}

TEST_F(Forms, CoefficientsKeepTheOrderOfThePrimitive) {
  TQSDualReals& Pairs = Probe->Pairs;
  Pairs.BeginUpdate();
  for (const double I : {1.0, 2.0, 3.0}) Pairs.Add(I, 10 * I);  // A, B
  Pairs.EndUpdate();
  EXPECT_EQ(Since(), (TSince{1, {"Pairs=[10, 20, 30, 1, 2, 3]"}}));
  Pairs.SetAValues(1, 9.0);
  EXPECT_EQ(Since(), (TSince{0, {}}));
  Pairs.SetBValues(0, 11.0);
  Pairs.SetBValues(0, 11.0);
  EXPECT_EQ(Since(), (TSince{0, {"Pairs=[11, 20, 30, 1, 9, 3]"}}));
  Pairs.SetCount(2);
  EXPECT_EQ(Pairs.Values(), (TNumbers{11, 20, 1, 9}));
  Pairs.SetCount(3);
  EXPECT_EQ(Pairs.Values(), (TNumbers{11, 20, 0, 1, 9, 0}));
  ExpectAll(Refusal([&] { Pairs.SetAValues(3, 1.0); }), {"no element 3", "there are 3"});
  TQSBiQuads& Sections = Probe->Sections;
  Sections.SetCount(1);
  Sections.Add(1, 2, 3, 4, 5, 6);
  Sections.SetBValues(0, 2, 7.0);
  Sections.SetAValues(1, 0, 8.0);
  EXPECT_EQ(Sections.Values(), (TNumbers{0, 0, 7, 0, 0, 0, 1, 2, 3, 8, 5, 6}));
  EXPECT_EQ(Sections.AValues(1, 0), 8.0);
  EXPECT_THROW(static_cast<void>(Sections.BValues(0, 3)), EQSException);
  EXPECT_EQ(Since().first, 1);
}

TEST_F(Forms, ACollectionTellsOfItsItemsAndLetsThemGo) {
  test::TProbeItems& Patterns = Probe->Patterns;
  Probe->SetName("Detect");
  const auto First = Patterns.Add();
  const auto Zeroth = Patterns.Insert(0);
  Since();
  Zeroth->SetMin(-1.0);
  Zeroth->SetMin(-1.0);
  EXPECT_EQ(Since(), (TSince{1, {"Patterns=[{Sample: 1, Min: -1}, {Sample: 1, Min: 0}]"}}));
  ExpectAll(Refusal([&] { First->SetMin(INFINITY); }),
            {"Detect (TFormsProbe).Patterns[1]: Min cannot be Infinity"});
  ExpectAll(Refusal([&] { Patterns.Remove(2); }), {"Detect (TFormsProbe).Patterns", "no item 2"});
  Patterns.Remove(0);
  EXPECT_EQ(Since(), (TSince{1, {"Patterns=[{Sample: 1, Min: 0}]"}}));
  Zeroth->SetMin(3.0);
  EXPECT_EQ(Since(), (TSince{0, {}})) << "it has left";
  EXPECT_THROW(Patterns.Fill([](TPersistent&) -> bool { throw EQSException("no"); }), EQSException);
  EXPECT_EQ(Patterns.Count(), 1) << "nothing has changed";
  Patterns.Clear();
  Patterns.Clear();
  EXPECT_EQ(Since(), (TSince{1, {"Patterns=[]"}}));
  const auto Last = Patterns.Add();
  Probe.reset();
  Last->SetMin(4.0);  // nobody is there to be told
  EXPECT_EQ(Last->Min(), 4.0);
  ExpectAll(Refusal([&] { Last->SetMin(NAN); }), {"TProbeItem: Min"});
}

TEST_F(Forms, AListenerIsCalledOutsideAllLocksOfTheComponent) {
  {
    const auto Section = Probe->WriteLock();
    Probe->SetOrder(5);
    Probe->SetTag(7);  // under no lock of its own
    Probe->SetName("x");
    EXPECT_EQ(Told, TLog{});
  }
  EXPECT_EQ(std::exchange(Told, {}), (TLog{"Order=5", "Tag=7", "Name=\"x\""}));
  int Entered = 0;
  const TListening Other = Probe->Listen([&](TComponent&, const TPropertyChange&) {
    std::thread([&] {
      const auto Section = Probe->WriteLock();
      ++Entered;
    }).join();
  });
  {
    const auto Section = Probe->WriteLock();
    Probe->Taps.Add(1.0);  // under a lock beside the component's
    Probe->SetOrder(3);
    EXPECT_EQ(Entered, 0);
  }
  EXPECT_EQ(Entered, 2);
  EXPECT_EQ(Told, (TLog{"Taps=[1]", "Order=3"}));
}

// A change that a listener makes is told behind the one that it hears of, to all listeners.
TEST_F(Forms, ChangesAreToldInTheirOrderAndTheFirstErrorLeavesThroughTheSetter) {
  TListening Raiser = Probe->Listen([&](TComponent&, const TPropertyChange& AChange) {
    if (AChange.Path == "Order") Probe->SetTag(1);
    throw EQSException("from " + AChange.Path);
  });
  TLog Behind;
  const TListening Second = Probe->Listen(
      [&](TComponent&, const TPropertyChange& AChange) { Behind.push_back(AChange.Path); });
  EXPECT_EQ(Refusal([&] { Probe->SetOrder(3); }), "from Order");
  EXPECT_EQ(Behind, (TLog{"Order", "Tag"}));
  Raiser.Stop();
  // A second thread's change waits until the first one's has been told to all.
  const auto Door = MakeRef<IChangeNotifyLock>();
  std::optional<ILockSection> Closed(Door->WriteLock());
  TLatch InFirst;
  const TListening Slow = Probe->Listen([&](TComponent&, const TPropertyChange& AChange) {
    if (ValueText(AChange.Value) != "4") return;
    InFirst.Open();
    const auto Section = Door->ReadLock();
  });
  TLog Last;
  const TListening Third = Probe->Listen([&](TComponent&, const TPropertyChange& AChange) {
    Last.push_back(ValueText(AChange.Value));
  });
  TKnownThread One([&] { Probe->SetOrder(4); });
  InFirst.Wait();
  TKnownThread Two([&] { Probe->SetOrder(5); });
  AwaitBlocked(Two.Key);
  Closed.reset();
  One.Join();
  Two.Join();
  EXPECT_EQ(Last, (TLog{"4", "5"}));
}

TEST_F(Forms, AListenerMayStopItselfOrEndTheComponent) {
  int Calls = 0;
  TListening Once;
  Once = Probe->Listen([&](TComponent&, const TPropertyChange&) {
    ++Calls;
    Once.Stop();
  });
  Probe->SetOrder(3);
  Probe->SetOrder(4);
  EXPECT_EQ(Calls, 1);
  TListening Ender = Probe->Listen([&](TComponent&, const TPropertyChange&) { Probe.reset(); });
  Probe->SetOrder(5);
  EXPECT_EQ(Probe, nullptr);
  Ender.Stop();  // behind the component's end
}

TEST_F(Forms, AListenerThatWasStoppedRunsOnNoThread) {
  const auto Door = MakeRef<IChangeNotifyLock>();
  std::optional<ILockSection> Closed(Door->WriteLock());
  TLatch Inside;
  std::atomic<bool> Over{false};
  std::optional<TListening> Busy = Probe->Listen([&](TComponent&, const TPropertyChange&) {
    Inside.Open();
    const auto Section = Door->ReadLock();
    Over = true;
  });
  TKnownThread Setter([&] { Probe->SetOrder(3); });
  Inside.Wait();
  TKnownThread Stopper([&] {
    Busy.reset();
    EXPECT_TRUE(Over);
  });
  AwaitBlocked(Stopper.Key);
  Closed.reset();
}

// Listeners come and go on threads of their own while others set and one component ends.
TEST_F(Forms, ListenersComeAndGoWhileChangesHappen) {
  std::atomic<bool> Going{true};
  std::thread Setter([&] {
    for (int I = 0; Going; ++I) {
      Probe->SetOrder(2 + I % 20);
      Probe->Taps.Add(I % 7);
      if (I % 50 == 0) Probe->Taps.Clear();
    }
  });
  for (int I = 0; I < 200; ++I) {
    TLatch Heard;
    const TListening Guest =
        Probe->Listen([&](TComponent&, const TPropertyChange&) { Heard.Open(); });
    Heard.Wait();
  }
  Going = false;
  Setter.join();
  EXPECT_GT(Told.size(), 100U);
}

}  // namespace
}  // namespace tessalune::testing
