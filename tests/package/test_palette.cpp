// What every class of the palette promises that takes streams and gives streams: driven from its
// published table, so a new class is tested as soon as it is registered.
#include "frame/Allocations.h"
#include "support/Properties.h"
#include "support/Streams.h"

#include <tessalune/tessalune.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace tessalune::test {
namespace {

// What an output told, in order; a block with its type and its bytes.
struct TTold {
  enum class TKind { Start, Block, Stop } Kind;
  double Rate = 0.0;
  std::string Bytes{};
  bool operator==(const TTold&) const = default;
};
using TLog = std::vector<TTold>;

// An output's far end.
struct TListener {
  TLog Log;
  TRef<IQSData> Packet;  // the last
  bool Writes = true;    // the log
  TQSKLIntegerRealComplexBinarySinkPin Pin{
      TKLPinOwner{}, [this](TKLBasicPin&, TKLBasicPin*, const TGUID&,
                            IKLNotifyOperation& AOperation, TKLNotifyState) {
        if (!Writes) {
        } else if (AOperation.IsType<TKLStartSampleRateOperation>()) {
          Log.push_back(
              {TTold::TKind::Start, AOperation.GetInstance<TKLStartSampleRateOperation>().Rate});
        } else if (AOperation.IsType<TKLStartSpectrumOperation>()) {
          Log.push_back(
              {TTold::TKind::Start, AOperation.GetInstance<TKLStartSpectrumOperation>().Rate});
        } else if (AOperation.IsType<TKLStopOperation>()) {
          Log.push_back({TTold::TKind::Stop});
        } else if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
          Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Value;
          const auto Block = TQSGenericBuffer::CreateUniversal(Packet);
          const auto* Bytes = reinterpret_cast<const char*>(Block->ByteRead());
          Log.push_back({TTold::TKind::Block,
                         0.0,
                         {Bytes, Bytes + (Bytes != nullptr ? Block->GetByteSize() : 0)}});
        }
        return TKLNotifyResult{};
      }};

  std::string Samples() const {
    std::string All;
    for (const TTold& Each : Log) All += Each.Bytes;
    return All;
  }
};

// Noise of any sample type, the same for the same number.
TRef<IQSDataBuffer> Noise(const TKLDataType& AType, int ASize, unsigned ASeed) {
  std::mt19937 Random(ASeed);
  TRef<IQSDataBuffer> Block;
  VisitSampleType(AType.ID, [&](auto ATag) {
    using T = typename decltype(ATag)::TSample;
    const auto Number = [&Random] {
      return (static_cast<double>(Random() % 20001) - 10000.0) / 4096.0;
    };
    std::vector<T> Samples(static_cast<std::size_t>(ASize));
    for (T& Sample : Samples) {
      if constexpr (std::same_as<T, TComplex>) {
        Sample = {Number(), Number()};
      } else if constexpr (std::same_as<T, double>) {
        Sample = Number();
      } else {
        Sample = static_cast<T>(Random());
      }
    }
    Block = TQSTypedBuffer<T>::CreateData(Samples.data(), ASize);
  });
  return Block;
}

// For a class that takes blocks of 2^Order samples alone.
void SetOrderOfBlocks(TComponent& AIt) { dynamic_cast<TQSBasicInverseFourier&>(AIt).SetOrder(6); }

// What a class needs to have something to do; whoever adds one that stays transparent by default
// adds a line here.
const std::map<std::string_view, void (*)(TComponent&)> Prepared{
    {"TQSDelayLine",
     [](TComponent& AIt) { dynamic_cast<TQSDelayLine&>(AIt).DelayValue().SetValue(7); }},
    {"TQSSnapshot", [](TComponent& AIt) { dynamic_cast<TQSSnapshot&>(AIt).SetSnapShotSize(70); }},
    {"TQSRepack", [](TComponent& AIt) { dynamic_cast<TQSRepack&>(AIt).SetBufferSize(9); }},
    {"TQSFir",
     [](TComponent& AIt) {
       dynamic_cast<TQSFir&>(AIt).Taps().SetValues({1, -2});
     }},
    {"TQSIir",
     [](TComponent& AIt) {
       dynamic_cast<TQSIir&>(AIt).Taps().SetValues({1, 0, 1, -0.9});
     }},
    {"TQSBiQuadIir",
     [](TComponent& AIt) { dynamic_cast<TQSBiQuadIir&>(AIt).BiQuads().Add(0, 1, 0, 1, 0, 0.9); }},
    {"TQSPatternDetector",
     [](TComponent& AIt) {
       dynamic_cast<TQSPatternDetector&>(AIt).Patterns().Add()->SetMin(-9.0);
     }},
    {"TQSCombFilter", [](TComponent& AIt) { dynamic_cast<TQSCombFilter&>(AIt).SetDelay(11); }},
    {"TQSFourier", [](TComponent& AIt) { dynamic_cast<TQSFourier&>(AIt).SetOrder(4); }},
    {"TQSNoiseStats", [](TComponent& AIt) { dynamic_cast<TQSNoiseStats&>(AIt).SetOrder(4); }},
    {"TQSInverseFourier", &SetOrderOfBlocks},
    {"TQSInverseComplexFourier", &SetOrderOfBlocks},
};

// One class, and the sample type that its first input carries here.
struct TCase {
  TComponentClass Class;
  const TKLDataType* Type;
};

void PrintTo(const TCase& ACase, std::ostream* AOut) {
  *AOut << ACase.Class.Published().ClassName() << ' ' << ACase.Type->Word;
}

struct TStage {
  const TCase& Case;
  TOwned<TComponent> It;
  std::vector<std::unique_ptr<TQSKLSourcePin>> Feeds;
  std::vector<const TKLDataType*> Types;
  std::vector<std::unique_ptr<TListener>> Outs;

  explicit TStage(const TCase& ACase) : Case(ACase), It(ACase.Class.New()) {
    const auto Prepare = Prepared.find(It->ClassName());
    if (Prepare != Prepared.end()) Prepare->second(*It);
    for (const TPublishedPin* Row : It->PublishedTable().Pins()) {
      for (std::size_t I = 0; I < Row->Count(*It); ++I) Add(Row->At(*It, I));
    }
  }
  ~TStage() { It = nullptr; }  // before what hears it

  bool IsOfStreams() const { return !Feeds.empty() && !Outs.empty(); }

  // The property of that name, its sub-object's with a dot; false if there is none.
  bool Set(const std::string& APath, const TPropertyValue& AValue) {
    TPersistent* Part = It.get();
    std::string Name = APath;
    if (const auto Dot = Name.find('.'); Dot != std::string::npos) {
      const auto* Row = Part->PublishedTable().FindProperty(Name.substr(0, Dot));
      if (Row == nullptr) return false;
      Part = &Row->Object(*Part);
      Name = Name.substr(Dot + 1);
    }
    const auto* Row = Part->PublishedTable().FindProperty(Name);
    if (Row == nullptr) return false;
    Row->Set(*Part, AValue);
    return true;
  }

  void Start(double ARate) {
    for (const auto& Feed : Feeds) Feed->Notify(MakeRef<TKLStartSampleRateOperation>(ARate));
    if (auto* Snapshot = dynamic_cast<TQSSnapshot*>(It.get())) Snapshot->Snapshot();
  }
  void Send(int ASize, unsigned ASeed) {
    for (std::size_t I = 0; I < Feeds.size(); ++I) {
      Feeds[I]->SubmitBuffer(Noise(*Types[I], ASize, ASeed + 100 * static_cast<unsigned>(I)));
    }
  }
  // Any number of times the same block.
  void Repeat(int ATimes, int ASize) {
    std::vector<TRef<IQSDataBuffer>> Blocks;
    for (const TKLDataType* Type : Types) Blocks.push_back(Noise(*Type, ASize, 1));
    for (int I = 0; I < ATimes; ++I) {
      for (std::size_t J = 0; J < Feeds.size(); ++J) Feeds[J]->SubmitBuffer(Blocks[J]);
    }
  }
  void Stop() {
    for (const auto& Feed : Feeds) Feed->EndStop();
  }
  void Play(double ARate, const std::vector<int>& ASizes) {
    Start(ARate);
    unsigned Seed = 0;
    for (const int Size : ASizes) Send(Size, Size > 0 ? ++Seed : 0);
    Stop();
  }
  std::vector<TLog> Logs() const {
    std::vector<TLog> All;
    for (const auto& Out : Outs) All.push_back(Out->Log);
    return All;
  }

 private:
  void Add(TKLBasicPin& APin) {
    const auto IsSample = [](const TKLDataType* AType) {
      return std::count(SampleTypes().begin(), SampleTypes().end(), AType) > 0;
    };
    const TKLDataTypes& Carried = APin.DataTypes();
    const auto First = std::find_if(Carried.begin(), Carried.end(), IsSample);
    if (First == Carried.end()) return;
    if (APin.Direction() == TKLPinDirection::Source) {
      Outs.push_back(std::make_unique<TListener>());
      APin.Connect(Outs.back()->Pin);
    } else if (APin.Direction() == TKLPinDirection::Sink && !APin.TakesManyLinks()) {
      const bool TakesIt = std::count(Carried.begin(), Carried.end(), Case.Type) > 0;
      Types.push_back(TakesIt ? Case.Type : *First);
      Feeds.push_back(std::make_unique<TQSKLSourcePin>(TKLPinOwner(), TKLDataTypes{Types.back()}));
      Feeds.back()->Connect(APin);
    }
  }
};

class EveryStream : public ::testing::TestWithParam<TCase> {
 protected:
  bool Is(std::string_view AClass) const {
    return GetParam().Class.Published().ClassName() == AClass;
  }
  const std::vector<int> Sizes = Is("TQSInverseFourier") || Is("TQSInverseComplexFourier")
                                     ? std::vector<int>{64, 64, 64}
                                     : std::vector<int>{5, 1, 64, 1000, 3, 31};
};
// Each class with each type that its first input takes.
INSTANTIATE_TEST_SUITE_P(OnThePalette, EveryStream, ::testing::ValuesIn([] {
                           RegisterAllUnits();
                           std::vector<TCase> Cases;
                           for (const TComponentClass& Class : RegisteredComponents()) {
                             for (const TKLDataType* Type : SampleTypes()) {
                               const TCase Case{Class, Type};
                               const TStage Stage(Case);
                               if (Stage.IsOfStreams() && Stage.Types[0] == Type) {
                                 Cases.push_back(Case);
                               }
                             }
                           }
                           return Cases;
                         }()),
                         [](const auto& ACase) {
                           return std::string(ACase.param.Class.Published().ClassName()) + "_" +
                                  std::string(ACase.param.Type->Word);
                         });

TEST_P(EveryStream, IsTheSameBitForBitWithAThreadOfItsOwn) {
  std::vector<std::vector<TLog>> Logs;
  for (const bool Threading : {false, true}) {
    TStage Stage(GetParam());
    if (!Stage.Set("Threading.Enabled", Threading)) return;
    Stage.Play(1000.0, Sizes);
    Stage.Play(250.0, Sizes);
    Logs.push_back(Stage.Logs());
  }
  EXPECT_TRUE(Logs[0] == Logs[1]);
}

TEST_P(EveryStream, IsTheSameAgainAfterARestart) {
  TStage Stage(GetParam());
  for (int Time = 0; Time < 2; ++Time) Stage.Play(1000.0, Sizes);
  if (dynamic_cast<TQSCommonTapsFilter*>(Stage.It.get()) != nullptr) {
    // It goes on with what it remembers.
    std::vector<int> Twice = Sizes;
    Twice.insert(Twice.end(), Sizes.begin(), Sizes.end());
    TStage Whole(GetParam());
    Whole.Start(1000.0);
    for (unsigned I = 0; I < Twice.size(); ++I)
      Whole.Send(Twice[I], I % static_cast<unsigned>(Sizes.size()) + 1);
    EXPECT_TRUE(Stage.Outs[0]->Samples() == Whole.Outs[0]->Samples());
    return;
  }
  for (const auto& Out : Stage.Outs) {
    const TLog& Log = Out->Log;
    const auto Half = static_cast<std::ptrdiff_t>(Log.size() / 2);
    ASSERT_EQ(Log.size() % 2, 0U);
    EXPECT_TRUE(std::equal(Log.begin(), Log.begin() + Half, Log.begin() + Half, Log.end()));
    ASSERT_GE(Half, 3) << "something came out";
    EXPECT_EQ(Log.front(), (TTold{TTold::TKind::Start, 1000.0}));
    EXPECT_EQ(Log.back().Kind, TTold::TKind::Stop);
  }
}

TEST_P(EveryStream, HasNoSampleOfAnEmptyBlock) {
  TStage Plain(GetParam());
  Plain.Play(1000.0, Sizes);
  TStage Stage(GetParam());
  std::vector<int> WithEmpty{0};
  for (const int Size : Sizes) WithEmpty.insert(WithEmpty.end(), {Size, 0});
  Stage.Play(1000.0, WithEmpty);
  for (std::size_t I = 0; I < Stage.Outs.size(); ++I) {
    EXPECT_TRUE(Stage.Outs[I]->Samples() == Plain.Outs[I]->Samples());
  }
}

TEST_P(EveryStream, PassesNoStopOnThatComesFromBelowWhenNothingIsLinkedAbove) {
  TStage Stage(GetParam());
  Stage.Feeds.clear();
  for (const auto& Out : Stage.Outs) Out->Pin.Notify(MakeRef<TKLStopOperation>());
  for (const auto& Out : Stage.Outs) EXPECT_TRUE(Out->Log.empty());
}

TEST_P(EveryStream, PassesByReferenceWhileItIsDisabled) {
  TStage Stage(GetParam());
  if (Stage.Feeds.size() != 1 || !Stage.Set("Enabled", false)) return;
  const bool Shuts = Is("TQSSwitch") || Is("TQSSnapshot");
  Stage.Start(1000.0);
  const auto Block = Noise(*Stage.Types[0], 20, 1);
  Stage.Feeds[0]->SubmitBuffer(Block);
  EXPECT_EQ(Stage.Outs[0]->Packet == TRef<IQSData>(Block), !Shuts);
}

TEST_P(EveryStream, TakesNothingFromTheSystemInItsSteadyState) {
  if (!testing::CountsAllocations) GTEST_SKIP() << "the sanitizer has an operator new of its own";
  TStage Stage(GetParam());
  for (const auto& Out : Stage.Outs) Out->Writes = false;
  Stage.Start(1000.0);
  const auto Taken = [&] {
    const std::uint64_t Before = RecycledSystemAllocations() + testing::Allocations();
    Stage.Repeat(300, 64);
    return RecycledSystemAllocations() + testing::Allocations() - Before;
  };
  Taken();
  EXPECT_LT(Taken(), 150U) << "what is not each block's, as a trigger, may take some";
}

// For the thread sanitizer: whatever is set, from one thread, while blocks come on another.
TEST_P(EveryStream, TakesEveryPropertyWhileItsStreamRuns) {
  TStage Stage(GetParam());
  for (const auto& Out : Stage.Outs) Out->Writes = false;
  std::vector<std::function<void()>> Changes;
  ForEachProperty(*Stage.It, [&](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
    Changes.push_back([&] {
      const TPropertyValue Before = ARow.Get(APart);
      ARow.Set(APart, Another(ARow));
      ARow.Set(APart, Before);
    });
  });
  Stage.Start(1000.0);
  std::thread Setter([&] {
    for (const auto& Change : Changes) Change();
  });
  Stage.Repeat(30, Sizes.front() == 64 ? 64 : 40);
  Setter.join();
  Stage.Stop();
}

}  // namespace
}  // namespace tessalune::test
