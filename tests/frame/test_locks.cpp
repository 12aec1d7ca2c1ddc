// The lock of a component: its levels, who comes first, circles, events after the release, setters.
#include "FrameTools.h"

#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <optional>

namespace tessalune::testing {
namespace {

enum class TLevel { Read, Write, Stop };
constexpr std::array Levels{TLevel::Read, TLevel::Write, TLevel::Stop};

ILockSection Take(IChangeNotifyLock& ALock, TLevel ALevel) {
  return ALevel == TLevel::Read    ? ALock.ReadLock()
         : ALevel == TLevel::Write ? ALock.WriteLock()
                                   : ALock.StopLock();
}

TEST(ALock, IsEnteredAgainByItsHolderAtEveryMix) {
  const auto Lock = MakeRef<IChangeNotifyLock>();
  for (const TLevel One : Levels) {
    for (const TLevel Two : Levels) {
      for (const TLevel Three : Levels) {
        const auto Outer = Take(*Lock, One);
        const auto Middle = Take(*Lock, Two);
        const auto Inner = Take(*Lock, Three);
      }
      // Left whole: another thread gets it.
      std::thread([&] { const auto Section = Lock->WriteLock(); }).join();
    }
  }
}

TEST(ALock, LetsReadersInTogetherAndNobodyBesideAWriter) {
  const auto Lock = MakeRef<IChangeNotifyLock>();
  TLatch Reading;
  std::optional<ILockSection> Mine(Lock->ReadLock());
  std::thread Reader([&] {
    const auto Section = Lock->ReadLock();
    Reading.Open();
  });
  Reading.Wait();
  Reader.join();
  int Unguarded = 0;
  std::thread Writer([&] {
    const auto Section = Lock->WriteLock();
    Unguarded += 1;
  });
  Unguarded += 1;
  Mine.reset();
  Writer.join();
  EXPECT_EQ(Unguarded, 2);
}

TEST(ALock, LetsASetterPassAThreadThatTakesItAgainAtOnce) {
  const auto Lock = MakeRef<IChangeNotifyLock>();
  TLatch Pumping;
  std::atomic<bool> Set{false};
  std::thread Setter([&] {
    Pumping.Wait();
    const auto Section = Lock->WriteLock();
    Set = true;
  });
  // Ends because the setter gets its turn, and hangs if it starves.
  while (!Set) {
    const auto Section = Lock->WriteLock();
    Pumping.Open();
  }
  Setter.join();
}

TEST(AStop, PassesThoseWhoWaitToSet) {
  const auto Lock = MakeRef<IChangeNotifyLock>();
  std::vector<int> Order;
  std::vector<std::unique_ptr<TKnownThread>> Threads;
  std::optional<ILockSection> Mine(Lock->WriteLock());
  constexpr std::array Queue{TLevel::Write, TLevel::Read, TLevel::Write, TLevel::Stop};
  for (int I = 0; I < 4; ++I) {
    Threads.push_back(std::make_unique<TKnownThread>([&, I] {
      const auto Section = Take(*Lock, Queue[static_cast<std::size_t>(I)]);
      Order.push_back(I);
    }));
    AwaitBlocked(Threads.back()->Key);
  }
  Mine.reset();
  Threads.clear();
  EXPECT_EQ(Order, (std::vector{3, 0, 1, 2}));
}

TEST(ACircleOfTwoLocks, IsRefusedToOneOfThem) {
  const auto One = MakeRef<IChangeNotifyLock>([] { return std::string("One"); });
  const auto Two = MakeRef<IChangeNotifyLock>([] { return std::string("Two"); });
  TLatch HasTwo;
  auto OuterOne = std::make_unique<ILockSection>(One->WriteLock());
  TKnownThread Other([&] {
    const auto Outer = Two->WriteLock();
    HasTwo.Open();
    const auto Inner = One->WriteLock();  // goes on when this thread has been refused and has left
  });
  HasTwo.Wait();
  AwaitBlocked(Other.Key);
  ExpectAll(Refusal([&] { const auto Inner = Two->WriteLock(); }), {"Two", "waits for this one"});
  OuterOne.reset();
}

TEST(TwoReadersThatBothWantToWrite, AreACircleAsWell) {
  const auto Lock = MakeRef<IChangeNotifyLock>([] { return std::string("Meter"); });
  TLatch Reading;
  auto Mine = std::make_unique<ILockSection>(Lock->ReadLock());
  TKnownThread Other([&] {
    const auto Read = Lock->ReadLock();
    Reading.Open();
    const auto Write = Lock->WriteLock();
  });
  Reading.Wait();
  AwaitBlocked(Other.Key);
  ExpectAll(Refusal([&] { const auto Write = Lock->WriteLock(); }), {"Meter"});
  Mine.reset();
}

TEST(AReaderLetInWithOthers, IsNoLinkOfACircle) {
  // Whatever a thread that is let in has still to wake up from, nobody is refused for it.
  for (int I = 0; I < 200; ++I) {
    const auto Gate = MakeRef<IChangeNotifyLock>();
    const auto Held = MakeRef<IChangeNotifyLock>();
    std::optional<ILockSection> Closed(Gate->WriteLock());
    std::atomic<int> Refused{0};
    const auto Start = [&](std::function<void()> AWork) {
      return std::make_unique<TKnownThread>([&Refused, AWork] {
        try {
          AWork();
        } catch (const EQSException&) {
          ++Refused;
        }
      });
    };
    // The second reader waits for what the thread holds that waits for what the first one holds.
    const auto First = MakeRef<IChangeNotifyLock>();
    TLatch HasHeld;
    TLatch HasFirst;
    auto A = Start([&] {
      const auto Own = First->WriteLock();
      HasFirst.Open();
      const auto Section = Gate->ReadLock();
    });
    auto C = Start([&] {
      const auto Own = Held->WriteLock();
      HasHeld.Open();
      HasFirst.Wait();
      const auto Section = First->WriteLock();
    });
    HasHeld.Wait();
    auto B = Start([&] {
      const auto Section = Gate->ReadLock();
      const auto Inner = Held->WriteLock();
    });
    AwaitBlocked(A->Key);
    AwaitBlocked(B->Key);
    Closed.reset();
    A->Join();
    B->Join();
    C->Join();
    ASSERT_EQ(Refused, 0);
  }
}

TEST(AfterRelease, RunsBehindTheOutermostSectionInOrder) {
  const auto Lock = MakeRef<IChangeNotifyLock>();
  std::vector<int> Order;
  Lock->AfterRelease([&] { Order.push_back(0); });
  {
    const auto Outer = Lock->WriteLock();
    {
      const auto Inner = Lock->ReadLock();
      Lock->AfterRelease([&] { Order.push_back(2); });
    }
    Lock->AfterRelease([&] {
      Order.push_back(3);
      std::thread([&] { const auto Section = Lock->WriteLock(); }).join();
    });
    Order.push_back(1);
  }
  EXPECT_EQ(Order, (std::vector{0, 1, 2, 3}));
}

TEST(AfterRelease, TellsAllAndThrowsTheFirstOrReportsIt) {
  const auto Lock = MakeRef<IChangeNotifyLock>();
  int Ran = 0;
  const auto Fill = [&] {
    for (const char* Text : {"first", "second"}) {
      Lock->AfterRelease([&Ran, Text] {
        ++Ran;
        throw EQSException(Text);
      });
    }
  };
  EXPECT_EQ(Refusal([&] {
              const auto Section = Lock->WriteLock();
              Fill();
            }),
            "first");
  EXPECT_EQ(Ran, 2);
  const THookRecord Hook;
  EXPECT_EQ(Refusal([&] {
              const auto Section = Lock->WriteLock();
              Fill();
              throw EQSException("under way");
            }),
            "under way");
  EXPECT_EQ(Hook.Texts(), std::vector<std::string>{"first"});
}

// --- setters ---

struct TBoundCase {
  TValueRange<double> Range;
  std::vector<double> Taken;
  std::vector<double> Refused;
  std::string_view Expectation;
};

TEST(ABoundedSetter, RefusesWithOwnerPropertyValueAndExpectation) {
  constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double Infinity = std::numeric_limits<double>::infinity();
  const std::vector<TBoundCase> Cases{
      {AtLeast(2.0), {2.0}, {1.9, Infinity, -Infinity, NaN}, "at least 2 Hz"},
      {AtMost(2.0), {2.0}, {2.1, Infinity, -Infinity, NaN}, "at most 2 Hz"},
      {Between(1.0, 2.0), {1.0, 2.0}, {0.9, 2.1, NaN}, "between 1 and 2 Hz"},
      {Above(0.0, 7.0), {1e-300}, {0.0, -0.0, -1.0, Infinity, NaN}, "above 0 Hz; try 7"},
      {{}, {-1e308}, {Infinity, -Infinity, NaN}, "a finite number"},
  };
  const auto Lock = MakeRef<IChangeNotifyLock>([] { return std::string("Tone (TQSSignalGen)"); });
  for (const TBoundCase& Case : Cases) {
    TField<double> Field(1.5);
    const TPropertyInfo<double> Info{.Name = "Level", .Bounds = Case.Range, .Unit = "Hz"};
    for (const double Value : Case.Taken) {
      Lock->NotifySetter(Info, Field, Value);
      EXPECT_EQ(Field, Value);
    }
    const double Before = Field;
    for (const double Value : Case.Refused) {
      ExpectAll(Refusal([&] { Lock->NotifySetter(Info, Field, Value); }),
                {std::string_view("Tone (TQSSignalGen): Level cannot be"), "expected is",
                 Case.Expectation});
      EXPECT_EQ(Field, Before) << "a refused value changed something";
    }
  }
  TField<double> Free(0.0);
  const TPropertyInfo<double> Any{.Name = "Offset", .NonFinite = true};
  EXPECT_TRUE(Lock->NotifySetter(Any, Free, NaN)) << "the row takes it";
  EXPECT_FALSE(Lock->NotifySetter(Any, Free, NaN)) << "it has the value";
  TField<std::int32_t> Whole(1);
  EXPECT_THROW(Lock->NotifySetterMinExlude("Count", Whole, 0, 0, 1), EQSException);
  EXPECT_THROW(Lock->NotifySetterMax("Count", Whole, 5, 4), EQSException);
  EXPECT_TRUE(Lock->NotifySetterMinMax("Count", Whole, 2, 1, 4));
  const auto Gen = Create<TQSSignalGen>();
  ExpectAll(Refusal([&] { Gen->SetSignalType(static_cast<TQSSignalType>(7)); }),
            {"TQSSignalGen", "SignalType", "7", "0 to 6"});
}

}  // namespace
}  // namespace tessalune::testing
