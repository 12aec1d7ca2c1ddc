// Published tables and property streams, for every class on the palette.
#include "FrameTools.h"

#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/package/TessalunePkg.h>

#include <cmath>
#include <limits>
#include <map>
#include <set>

namespace tessalune::testing {
namespace {

// A property stream in memory.
struct TNode {
  std::vector<std::pair<std::string, TPropertyValue>> Values;
  std::map<std::string, TNode> Objects;
  std::vector<std::string> Faults;
};

class TNodeWriter final : public IWriter {
 public:
  explicit TNodeWriter(TNode& ANode) : FNode(ANode) {}
  void WriteValue(std::string_view AName, const TPropertyValue& AValue) override {
    FNode.Values.emplace_back(AName, AValue);
  }
  void WriteObject(std::string_view AName, const std::function<void(IWriter&)>& AContent) override {
    TNodeWriter Inner(FNode.Objects[std::string(AName)]);
    AContent(Inner);
  }
  void WriteArray(std::string_view, const std::function<void(ISequentialWriter&)>&) override {
    ADD_FAILURE() << "no class here has an array";
  }

 private:
  TNode& FNode;
};

class TNodeReader final : public IReader {
 public:
  explicit TNodeReader(TNode& ANode) : FNode(ANode) {}
  std::vector<std::string> Names() const override {
    std::vector<std::string> All;
    for (const auto& [Name, Value] : FNode.Values) All.push_back(Name);
    for (const auto& [Name, Object] : FNode.Objects) All.push_back(Name);
    return All;
  }
  std::optional<TPropertyValue> ReadValue(std::string_view AName) override {
    for (const auto& [Name, Value] : FNode.Values) {
      if (Name == AName) return Value;
    }
    return std::nullopt;
  }
  bool ReadObject(std::string_view AName, const std::function<void(IReader&)>& AContent) override {
    const auto Found = FNode.Objects.find(std::string(AName));
    if (Found == FNode.Objects.end()) return false;
    TNodeReader Inner(Found->second);
    AContent(Inner);
    return true;
  }
  bool ReadArray(std::string_view, const std::function<void(ISequentialReader&)>&) override {
    return false;
  }
  void Fault(std::string_view AName, const std::string& AMessage) override {
    FNode.Faults.push_back(std::string(AName) + ": " + AMessage);
  }

 private:
  TNode& FNode;
};

TNode Written(const TPersistent& AObject) {
  TNode Node;
  TNodeWriter Writer(Node);
  AObject.SerializationWrite(Writer);
  return Node;
}

// Calls AVisit(object, row) for each plain property, those of sub-objects included.
template <class TVisit>
void ForEachProperty(TPersistent& AObject, const TVisit& AVisit) {
  for (const TPublishedProperty* Row : AObject.PublishedTable().Properties()) {
    if (Row->Kind == TPropertyKind::Object) {
      ForEachProperty(Row->Object(AObject), AVisit);
    } else {
      AVisit(AObject, *Row);
    }
  }
}

// A value that the property takes and that is not its default.
TPropertyValue Another(const TPublishedProperty& ARow) {
  switch (ARow.Kind) {
    case TPropertyKind::Boolean:
      return !std::get<bool>(ARow.Default);
    case TPropertyKind::String:
      return std::string("another text");
    case TPropertyKind::Enumeration:
      return std::string(ARow.Enumerators.back() == std::get<std::string>(ARow.Default)
                             ? ARow.Enumerators.front()
                             : ARow.Enumerators.back());
    case TPropertyKind::Double:
      return ARow.Bounds.Max ? *ARow.Bounds.Max : std::get<double>(ARow.Default) + 0.5;
    default:
      return ARow.Bounds.Max ? static_cast<std::int64_t>(*ARow.Bounds.Max)
                             : std::get<std::int64_t>(ARow.Default) + 1;
  }
}

void SetAllToAnother(TPersistent& AObject) {
  ForEachProperty(AObject, [](TPersistent& APart, const TPublishedProperty& ARow) {
    ARow.Set(APart, Another(ARow));
  });
}

class EveryClass : public ::testing::TestWithParam<TComponentClass> {
 protected:
  TOwned<TComponent> Component = GetParam().New();
};
INSTANTIATE_TEST_SUITE_P(OnThePalette, EveryClass, ::testing::ValuesIn([] {
                           RegisterAllUnits();
                           RegisterAllUnits();  // changes nothing
                           return RegisteredComponents();
                         }()),
                         [](const auto& AClass) {
                           return std::string(AClass.param.Published().ClassName());
                         });

TEST_P(EveryClass, TellsItsNameAndCategory) {
  const TPublishedTable& Table = GetParam().Published();
  EXPECT_EQ(&Component->PublishedTable(), &Table);
  EXPECT_FALSE(Table.DisplayName().empty());
  EXPECT_FALSE(Table.Category().empty());
  EXPECT_FALSE(Table.Doc().empty());
  EXPECT_EQ(FindComponentClass(Table.ClassName())->Published, GetParam().Published);
}

TEST_P(EveryClass, DocumentsAllRowsUnderNamesOfTheirOwn) {
  const TPublishedTable& Table = GetParam().Published();
  std::set<std::string_view> Names;
  const auto Check = [&](std::string_view AName, std::string_view ADoc) {
    EXPECT_TRUE(Names.insert(AName).second) << AName << " twice";
    EXPECT_GT(ADoc.size(), 5U) << AName;
    // The tag's ends without a stop are no sentence either.
    EXPECT_EQ(ADoc.substr(ADoc.size() - 1), ".") << AName;
  };
  for (const auto* Row : Table.Properties()) Check(Row->Name, Row->Doc);
  for (const auto* Row : Table.Events()) Check(Row->Name, Row->Doc);
  for (const auto* Row : Table.Pins()) {
    Check(Row->Name, Row->Doc);
    EXPECT_EQ(Row->Get(*Component).Name(), Row->Name);
  }
  ForEachProperty(*Component, [](TPersistent&, const TPublishedProperty& ARow) {
    EXPECT_FALSE(ARow.Doc.empty()) << ARow.Name;
  });
}

TEST_P(EveryClass, BeginsWithTheDefaultsAndTakesOtherValues) {
  ForEachProperty(*Component, [](TPersistent& APart, const TPublishedProperty& ARow) {
    EXPECT_EQ(ARow.Get(APart), ARow.Default) << ARow.Name;
    const TPropertyValue Value = Another(ARow);
    ARow.Set(APart, Value);
    EXPECT_EQ(ARow.Get(APart), Value) << ARow.Name;
  });
}

TEST_P(EveryClass, RefusesWhatIsOutOfBoundsOrOfTheWrongType) {
  ForEachProperty(*Component, [](TPersistent& APart, const TPublishedProperty& ARow) {
    std::vector<TPropertyValue> Bad;
    const double Step = ARow.Kind == TPropertyKind::Double ? 0.5 : 1.0;
    const auto Add = [&](double AValue) {
      if (ARow.Kind == TPropertyKind::Double) {
        Bad.emplace_back(AValue);
      } else {
        Bad.emplace_back(static_cast<std::int64_t>(AValue));
      }
    };
    if (ARow.Bounds.Min) Add(ARow.Bounds.MinExcluded ? *ARow.Bounds.Min : *ARow.Bounds.Min - Step);
    if (ARow.Bounds.Max) Add(*ARow.Bounds.Max + Step);
    if (ARow.Kind == TPropertyKind::Double && !ARow.Bounds.IsEmpty()) {
      Bad.emplace_back(std::numeric_limits<double>::quiet_NaN());
    }
    switch (ARow.Kind) {
      case TPropertyKind::String:
      case TPropertyKind::Boolean:
        Bad.emplace_back(std::int64_t{1});
        break;
      case TPropertyKind::Integer:
      case TPropertyKind::Cardinal:
        Bad.emplace_back(std::int64_t{1} << 40);
        [[fallthrough]];
      case TPropertyKind::Int64:
        Bad.emplace_back(1.5);
        [[fallthrough]];
      default:
        Bad.emplace_back(std::string("no such value"));
    }
    for (const TPropertyValue& Value : Bad) {
      ExpectAll(Refusal([&] { ARow.Set(APart, Value); }),
                {ARow.Name, ValueText(Value), "cannot be", "expected is"});
      EXPECT_EQ(ARow.Get(APart), ARow.Default) << ARow.Name << " changed all the same";
    }
  });
}

TEST_P(EveryClass, ComesBackFromAPropertyStreamAndByAssign) {
  EXPECT_TRUE(Written(*Component).Values.empty()) << "defaults are not stored";
  SetAllToAnother(*Component);
  TNode Stored = Written(*Component);
  const auto Read = GetParam().New();
  TNodeReader Reader(Stored);
  Read->SerializationRead(Reader);
  EXPECT_TRUE(Stored.Faults.empty()) << Stored.Faults.front();
  const auto Assigned = GetParam().New();
  Assigned->Assign(*Component);
  for (TComponent* Copy : {Read.get(), Assigned.get()}) {
    ForEachProperty(*Copy, [](TPersistent& APart, const TPublishedProperty& ARow) {
      EXPECT_EQ(ARow.Get(APart), Another(ARow)) << ARow.Name;
    });
  }
}

// --- faults of a stream ---

// An element with a renamed property.
class TRenamed final : public TLockComponent {
 public:
  using TLockComponent::TLockComponent;
  static constexpr TPropertyInfo<double> LevelInfo{
      .Name = "Level", .Bounds = AtLeast(0.0), .OldName = "Loudness", .Doc = "The level."};
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TRenamed"}, &TComponent::Published())
            .Property(LevelInfo, &TRenamed::Level, &TRenamed::SetLevel);
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  double Level() const { return FLevel; }
  void SetLevel(double AValue) { NotifySetter(LevelInfo, FLevel, AValue); }

 private:
  TField<double> FLevel;
};

TEST(APropertyStream, TellsAllFaultsAndReadsTheRest) {
  TNode Node;
  Node.Values = {{"Frequenzy", 5.0},
                 {"Amplitude", -1.0},
                 {"SignalType", std::string("stSqare")},
                 {"BufferSize", std::string("many")},
                 {"Offset", 7.5}};
  Node.Objects["Phase"];
  TNodeReader Reader(Node);
  const auto Gen = Create<TQSSignalGen>();
  Gen->SerializationRead(Reader);
  EXPECT_EQ(Gen->Offset(), 7.5);
  EXPECT_EQ(Gen->Amplitude(), 20000.0);
  ASSERT_EQ(Node.Faults.size(), 5U);
  const auto About = [&](const std::string& AName) {
    for (const std::string& Fault : Node.Faults) {
      if (Fault.rfind(AName + ":", 0) == 0) return Fault;
    }
    return std::string();
  };
  ExpectAll(About("Frequenzy"), {"TQSSignalGen", "no property", "did you mean Frequency?"});
  ExpectAll(About("Amplitude"), {"-1", "at least 0"});
  ExpectAll(About("SignalType"), {"stSqare", "did you mean stSquare?"});
  ExpectAll(About("BufferSize"), {"\"many\"", "whole number"});
  ExpectAll(About("Phase"), {"no plain value", "a number"});
}

TEST(APropertyStream, TakesAnOlderNameButNotBoth) {
  TNode Old;
  Old.Values = {{"Loudness", 3.0}};
  TNodeReader OldReader(Old);
  const auto Component = Create<TRenamed>();
  Component->SerializationRead(OldReader);
  EXPECT_EQ(Component->Level(), 3.0);
  EXPECT_EQ(Written(*Component).Values.at(0).first, "Level");
  TNode Both;
  Both.Values = {{"Level", 1.0}, {"Loudness", 2.0}};
  TNodeReader BothReader(Both);
  Component->SerializationRead(BothReader);
  EXPECT_EQ(Component->Level(), 1.0);
  EXPECT_EQ(Both.Faults.size(), 1U);
}

TEST(Assign, RefusesAnotherClass) {
  const auto Gen = Create<TQSSignalGen>();
  const auto Filter = Create<TQSApplyRealConst>();
  ExpectAll(Refusal([&] { Gen->Assign(*Filter); }), {"TQSSignalGen", "TQSApplyRealConst"});
}

TEST(ATextOnACommandLine, BecomesAValueOfTheProperty) {
  const TPublishedTable& Table = TQSSignalGen::Published();
  EXPECT_EQ(Table.FindProperty("Frequency")->Parse("1e3"), TPropertyValue(1000.0));
  EXPECT_EQ(Table.FindProperty("Enabled")->Parse("false"), TPropertyValue(false));
  EXPECT_EQ(Table.FindProperty("BufferSize")->Parse("64"), TPropertyValue(std::int64_t{64}));
  for (const auto& [Name, Text] : {std::pair{"Frequency", "fast"}, std::pair{"Frequency", "1 "},
                                   std::pair{"BufferSize", "1.5"}, std::pair{"Enabled", "yes"}}) {
    ExpectAll(Refusal([&, N = Name, T = Text] { Table.FindProperty(N)->Parse(T); }),
              {Name, Text, "expected is"});
  }
}

TEST(AnEvent, IsHeardThroughTheTable) {
  const auto Gen = PumpedGen();
  int Heard = 0;
  for (const TPublishedEvent* Event : Gen->PublishedTable().Events()) {
    Event->Listen(*Gen, [&](const std::vector<TEventArgument>&) { ++Heard; });
  }
  Gen->Start();
  Gen->Stop();
  EXPECT_EQ(Heard, 2) << "OnStart, OnStop";
}

}  // namespace
}  // namespace tessalune::testing
