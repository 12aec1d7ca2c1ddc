// Published tables, property streams and listening, for every class on the palette and one that has
// every form.
#include "FrameTools.h"

#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/package/TessalunePkg.h>
#include <tests/support/FormsProbe.h>

#include <cmath>
#include <optional>
#include <set>

namespace tessalune::testing {
namespace {

using test::TFormsProbe;
using TList = TPropertyList;

// A property stream in memory: a plain value, an object or an array.
struct TNode {
  std::optional<TPropertyValue> Value;
  std::vector<std::pair<std::string, TNode>> Members;
  std::vector<TNode> Elements;
  bool IsArray = false;

  TNode() = default;
  TNode(TPropertyValue AValue) : Value(std::move(AValue)) {}
  TNode(std::vector<std::pair<std::string, TNode>> AMembers) : Members(std::move(AMembers)) {}
  static TNode Array(std::vector<TNode> AElements) {
    TNode Node;
    Node.Elements = std::move(AElements);
    Node.IsArray = true;
    return Node;
  }
  const TNode* Find(std::string_view AName) const {
    for (const auto& [Name, Node] : Members) {
      if (Name == AName) return &Node;
    }
    return nullptr;
  }
};

TNode Written(const TPersistent& AObject);

class TElements final : public ISequentialWriter {
 public:
  explicit TElements(TNode& ANode) : FNode(ANode) {}
  void WriteValue(const TPropertyValue& AValue) override { FNode.Elements.emplace_back(AValue); }
  void WriteObject(const TPersistent& AObject) override {
    FNode.Elements.push_back(Written(AObject));
  }

 private:
  TNode& FNode;
};

class TNodeWriter final : public IWriter {
 public:
  explicit TNodeWriter(TNode& ANode) : FNode(ANode) {}
  void WriteValue(std::string_view AName, const TPropertyValue& AValue) override {
    FNode.Members.emplace_back(AName, AValue);
  }
  void WriteObject(std::string_view AName, const TPersistent& AObject) override {
    TNode Inner = Written(AObject);
    if (!Inner.Members.empty()) FNode.Members.emplace_back(AName, std::move(Inner));
  }
  void WriteArray(std::string_view AName,
                  const std::function<void(ISequentialWriter&)>& AContent) override {
    TNode Node = TNode::Array({});
    TElements Elements(Node);
    AContent(Elements);
    FNode.Members.emplace_back(AName, std::move(Node));
  }

 private:
  TNode& FNode;
};

using TFaults = std::vector<std::string>;

class TNodeReader final : public IReader {
 public:
  TNodeReader(const TNode& ANode, TFaults& AFaults) : FNode(ANode), FFaults(AFaults) {}
  std::vector<std::string> Names() const override {
    std::vector<std::string> All;
    for (const auto& [Name, Node] : FNode.Members) All.push_back(Name);
    return All;
  }
  std::optional<TPropertyValue> ReadValue(std::string_view AName) override {
    return FNode.Find(AName)->Value;
  }
  bool ReadObject(std::string_view AName, TPersistent& AObject) override {
    const TNode& Node = *FNode.Find(AName);
    if (Node.Value || Node.IsArray) return false;
    TNodeReader Inner(Node, FFaults);
    AObject.SerializationRead(Inner);
    return true;
  }
  bool ReadArray(std::string_view AName,
                 const std::function<void(ISequentialReader&)>& AContent) override;
  void Fault(std::string_view AName, const std::string& AMessage) override {
    FFaults.push_back(std::string(AName) + ": " + AMessage);
  }

 private:
  const TNode& FNode;
  TFaults& FFaults;
};

class TElementsReader final : public ISequentialReader {
 public:
  TElementsReader(const TNode& ANode, TFaults& AFaults) : FNode(ANode), FFaults(AFaults) {}
  bool HasNext() const override { return FNext < FNode.Elements.size(); }
  std::optional<TPropertyValue> ReadNext() override { return FNode.Elements.at(FNext++).Value; }
  bool ReadNextObject(TPersistent& AObject) override {
    TNodeReader Inner(FNode.Elements.at(FNext++), FFaults);
    AObject.SerializationRead(Inner);
    return true;
  }
  bool ReadNextArray(const std::function<void(ISequentialReader&)>& AContent) override {
    TElementsReader Inner(FNode.Elements.at(FNext++), FFaults);
    AContent(Inner);
    return true;
  }
  void Fault(const std::string& AMessage) override { FFaults.push_back(AMessage); }

 private:
  const TNode& FNode;
  TFaults& FFaults;
  std::size_t FNext = 0;
};

bool TNodeReader::ReadArray(std::string_view AName,
                            const std::function<void(ISequentialReader&)>& AContent) {
  const TNode& Node = *FNode.Find(AName);
  if (!Node.IsArray) return false;
  TElementsReader Elements(Node, FFaults);
  AContent(Elements);
  return true;
}

TNode Written(const TPersistent& AObject) {
  TNode Node;
  TNodeWriter Writer(Node);
  AObject.SerializationWrite(Writer);
  return Node;
}

TFaults ReadInto(TPersistent& AObject, const TNode& ANode) {
  TFaults Faults;
  TNodeReader Reader(ANode, Faults);
  AObject.SerializationRead(Reader);
  return Faults;
}

// Calls AVisit(object, row, path that a listener hears) for each property that is stored, those of
// sub-objects included.
template <class TVisit>
void ForEachProperty(TPersistent& AObject, const TVisit& AVisit, const std::string& APath = {}) {
  const TPublishedTable& Table = AObject.PublishedTable();
  for (const TPublishedProperty* Row : Table.Properties()) {
    if (!Row->IsStored()) continue;
    const std::string Path = Row == Table.ContentRow() ? APath
                             : APath.empty()           ? std::string(Row->Name)
                                                       : APath + '.' + std::string(Row->Name);
    if (Row->Kind == TPropertyKind::Object) {
      ForEachProperty(Row->Object(AObject), AVisit, Path);
    } else {
      AVisit(AObject, *Row, Path);
    }
  }
}

// A value that the property takes and that is not its default. An array has as many elements as
// whole groups of any size in use.
TPropertyValue Another(const TPublishedProperty& ARow) {
  const auto Another64 = [&](std::int64_t ADefault) {
    return ARow.Bounds.Max ? static_cast<std::int64_t>(*ARow.Bounds.Max) : ADefault + 1;
  };
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
    case TPropertyKind::Array: {
      TPropertyValue Element = Another64(40);
      if (ARow.Element == TPropertyKind::Double) Element = 0.25;
      if (ARow.Element == TPropertyKind::String) Element = std::string("NaN");
      return TList(std::vector<TPropertyValue>(12, Element));
    }
    case TPropertyKind::Collection: {
      TPropertyRecord Item;
      for (const TPublishedProperty* Row : ARow.ItemTable().Properties()) {
        Item.Members.push_back({std::string(Row->Name), Another(*Row)});
      }
      return TList({Item, Item});
    }
    default:
      return Another64(std::get<std::int64_t>(ARow.Default));
  }
}

void SetAllToAnother(TPersistent& AObject) {
  ForEachProperty(AObject, [](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
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
                           RegisterComponents({ClassOf<TFormsProbe>()});
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
    if (!Row->IsList) Check(Row->Name, Row->Doc);  // a list has its count's row
    for (std::size_t I = 0; I < Row->Count(*Component); ++I) {
      EXPECT_EQ(Row->At(*Component, I).Name(), Row->PinName(I));
    }
  }
  ForEachProperty(*Component, [](TPersistent&, const TPublishedProperty& ARow, auto&&) {
    EXPECT_FALSE(ARow.Doc.empty()) << ARow.Name;
  });
}

TEST_P(EveryClass, BeginsWithTheDefaultsAndTakesOtherValues) {
  ForEachProperty(*Component, [](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
    EXPECT_EQ(ARow.Get(APart), ARow.Default) << ARow.Name;
    const TPropertyValue Value = Another(ARow);
    ARow.Set(APart, Value);
    EXPECT_EQ(ARow.Get(APart), Value) << ARow.Name;
  });
}

TEST_P(EveryClass, RefusesWhatIsOutOfBoundsOrOfTheWrongType) {
  ForEachProperty(*Component, [](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
    const bool IsArray = ARow.Kind == TPropertyKind::Array;
    const TPropertyKind Kind = IsArray ? ARow.Element : ARow.Kind;
    std::vector<TPropertyValue> Bad;
    const double Step = Kind == TPropertyKind::Double ? 0.5 : 1.0;
    const auto Add = [&](double AValue) {
      if (Kind == TPropertyKind::Double) {
        Bad.emplace_back(AValue);
      } else {
        Bad.emplace_back(static_cast<std::int64_t>(AValue));
      }
    };
    if (ARow.Bounds.Min) Add(ARow.Bounds.MinExcluded ? *ARow.Bounds.Min : *ARow.Bounds.Min - Step);
    if (ARow.Bounds.Max) Add(*ARow.Bounds.Max + Step);
    if (Kind == TPropertyKind::Double && !ARow.NonFinite) {
      for (const double Value : {NAN, INFINITY, -INFINITY}) Bad.emplace_back(Value);
    }
    switch (Kind) {
      case TPropertyKind::Collection:
        Bad.emplace_back(TList({TPropertyRecord({{"Nonsense", true}})}));
        [[fallthrough]];
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
      const TPropertyValue Tried = IsArray ? TPropertyValue(TList({Value})) : Value;
      ExpectAll(Refusal([&] { ARow.Set(APart, Tried); }),
                {ARow.Name, ValueText(Value), "cannot be", "expected is"});
      EXPECT_EQ(ARow.Get(APart), ARow.Default) << ARow.Name << " changed all the same";
    }
  });
}

TEST_P(EveryClass, ComesBackFromAPropertyStreamAndByAssign) {
  EXPECT_TRUE(Written(*Component).Members.empty()) << "defaults are not stored";
  SetAllToAnother(*Component);
  const auto Read = GetParam().New();
  EXPECT_EQ(ReadInto(*Read, Written(*Component)), TFaults());
  const auto Assigned = GetParam().New();
  Assigned->Assign(*Component);
  for (TComponent* Copy : {Read.get(), Assigned.get()}) {
    ForEachProperty(*Copy, [](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
      EXPECT_EQ(ARow.Get(APart), Another(ARow)) << ARow.Name;
    });
  }
}

TEST_P(EveryClass, TellsListenersEachChangeOnceWithPathAndValue) {
  std::vector<TPropertyChange> Told;
  TListening Listening =
      Component->Listen([&](TComponent& ASender, const TPropertyChange& AChange) {
        EXPECT_EQ(&ASender, Component.get());
        Told.push_back(AChange);
      });
  const auto ExpectTold = [&](const std::string& APath, const TPropertyValue& AValue) {
    const auto Heard = std::exchange(Told, {});
    ASSERT_EQ(Heard.size(), 1U) << APath;
    EXPECT_EQ(Heard[0].Path, APath);
    EXPECT_EQ(Heard[0].Value, AValue) << APath;
  };
  ForEachProperty(*Component, [&](TPersistent& APart, const TPublishedProperty& ARow,
                                  const std::string& APath) {
    const TPropertyValue Value = Another(ARow);
    ARow.Set(APart, ARow.Default);
    EXPECT_TRUE(Told.empty()) << APath << " had that value";
    ARow.Set(APart, Value);
    ExpectTold(APath, Value);
  });
  for (const TPublishedEvent* Event : Component->PublishedTable().Events()) {
    Event->Listen(*Component, [](auto&&) {});
    ExpectTold(std::string(Event->Name), true);
  }
  Listening.Stop();
  Component->SetTag(77);
  EXPECT_TRUE(Told.empty());
}

// --- faults of a stream ---

TEST(APropertyStream, TellsAllFaultsAndReadsTheRest) {
  const auto Gen = Create<TQSSignalGen>();
  const TFaults Faults = ReadInto(*Gen, TNode({{"Frequenzy", TNode(5.0)},
                                               {"Amplitude", TNode(-1.0)},
                                               {"SampleRate", TNode(double{INFINITY})},
                                               {"SignalType", TNode(std::string("stSqare"))},
                                               {"BufferSize", TNode(std::string("many"))},
                                               {"Phase", TNode()},
                                               {"Offset", TNode(7.5)}}));
  EXPECT_EQ(Gen->Offset(), 7.5);
  EXPECT_EQ(Gen->Amplitude(), 20000.0);
  ASSERT_EQ(Faults.size(), 6U);
  const auto About = [&](const std::string& AName) {
    for (const std::string& Fault : Faults) {
      if (Fault.rfind(AName + ":", 0) == 0) return Fault;
    }
    return std::string();
  };
  ExpectAll(About("Frequenzy"), {"TQSSignalGen", "no property", "did you mean Frequency?"});
  ExpectAll(About("Amplitude"), {"-1", "at least 0"});
  ExpectAll(About("SampleRate"), {"cannot be Infinity; expected is a finite number, above 0 Hz"});
  ExpectAll(About("SignalType"), {"stSqare", "did you mean stSquare?"});
  ExpectAll(About("BufferSize"), {"\"many\"", "whole number"});
  ExpectAll(About("Phase"), {"no plain value", "a number"});
}

TNode Numbers(std::initializer_list<double> ANumbers) {
  TNode Node = TNode::Array({});
  for (const double Number : ANumbers) Node.Elements.emplace_back(TPropertyValue(Number));
  return Node;
}
using TNumbers = std::vector<double>;

TEST(APropertyStream, TakesOlderNamesAndFormsButNotBoth) {
  const auto Probe = Create<TFormsProbe>();
  const TNode Old(
      {{"NumTaps", TNode(std::int64_t{7})},
       {"DesignSampleRate", Numbers({44100})},
       {"Taps", TNode({{"Values", Numbers({1, 2.5})}})},
       {"Mask", TNode({{"Values", Numbers({3, 4})}})},
       {"Pairs", TNode({{"Values", Numbers({1, 10, 2, 20})}})},
       {"Sections", TNode({{"Values", TNode::Array({Numbers({1, 2, 3, 4, 5, 6}),
                                                    Numbers({7, 8, 9, 1, 2, 3})})}})},
       {"Patterns", TNode({{"_Items", TNode::Array({TNode({{"Position", TNode(9.0)}})})}})}});
  EXPECT_EQ(ReadInto(*Probe, Old), TFaults());
  EXPECT_EQ(Probe->Order(), 7);
  EXPECT_EQ(Probe->Taps.Values(), (TNumbers{1, 2.5}));
  EXPECT_EQ(Probe->Mask.Values(), (std::vector{3, 4}));
  EXPECT_EQ(Probe->Pairs.Values(), (TNumbers{10, 20, 1, 2}));
  EXPECT_EQ(Probe->Sections.Values(), (TNumbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 2, 3}));
  EXPECT_EQ(Probe->Patterns.Items(0)->Sample(), 9.0);
  const TNode Today = Written(*Probe);
  for (const auto& [Name, Form] :
       {std::pair{"Taps", "_Items"}, std::pair{"Mask", "_Items"}, std::pair{"Pairs", "_Values"},
        std::pair{"Sections", "_Values"}}) {
    ASSERT_NE(Today.Find(Name), nullptr) << Name;
    EXPECT_NE(Today.Find(Name)->Find(Form), nullptr) << Name;
    EXPECT_EQ(Today.Find(Name)->Find("Values"), nullptr) << Name;
  }
  const auto Both = [&](TNode ANode) { return ReadInto(*Probe, ANode); };
  EXPECT_EQ(Both(TNode({{"Order", TNode(3.0)}, {"NumTaps", TNode(2.0)}})).size(), 1U);
  EXPECT_EQ(Probe->Order(), 3);
  EXPECT_EQ(
      Both(TNode({{"Pairs", TNode({{"_Values", Numbers({1, 2})}, {"Values", Numbers({3, 4})}})}}))
          .size(),
      1U);
  EXPECT_EQ(Probe->Pairs.Values(), (TNumbers{1, 2}));
  ExpectAll(Both(TNode({{"Pairs", TNode({{"_Values", Numbers({1, 2, 3})}})}})).at(0),
            {"TFormsProbe.Pairs: _Values cannot be 3 values", "B0 to B(n-1)"});
  EXPECT_EQ(Both(TNode({{"Pairs", TNode({{"Count", TNode(3.0)}})}})).size(), 1U) << "not stored";
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
  EXPECT_EQ(TQSReals::Published().ContentRow()->Parse("[1, 2.5,3]"),
            TPropertyValue(TList({1.0, 2.5, 3.0})));
  EXPECT_EQ(TQSReals::Published().ContentRow()->Parse(""), TPropertyValue(TList()));
  ExpectAll(Refusal([] { TQSReals::Published().ContentRow()->Parse("1,,2"); }),
            {"1,,2", "a number"});
  for (const auto& [Name, Text] : {std::pair{"Frequency", "fast"}, std::pair{"Frequency", "1 "},
                                   std::pair{"BufferSize", "1.5"}, std::pair{"Enabled", "yes"}}) {
    ExpectAll(Refusal([&, N = Name, T = Text] { Table.FindProperty(N)->Parse(T); }),
              {Name, Text, "expected is"});
  }
}

TEST(AnEvent, CarriesRecordsAndBlocksAsNestedValues) {
  const auto Probe = Create<TFormsProbe>();
  std::vector<TEventArgument> Heard;
  Probe->PublishedTable().Events().back()->Listen(
      *Probe, [&](const std::vector<TEventArgument>& AArguments) { Heard = AArguments; });
  const auto Result = MakeRef<test::TProbeResult>();
  for (const double Sample : {1.0, 2.5}) Result->Points().Add(MakeRef<test::TProbePoint>(Sample));
  Probe->Fire(Result, TQSUnsignedBuffer::CreateSize(5));
  ASSERT_EQ(Heard.size(), 2U);
  EXPECT_EQ(ValueText(Heard[0].Value),
            "{Level: -0.5, Bins: [3, 4000000000], Points: [{Sample: 1}, {Sample: 2.5}]}");
  EXPECT_EQ(ValueText(Heard[1].Value), "{Type: \"unsigned\", Count: 5}");
  Probe->Fire(nullptr, TRef<IQSGenericBuffer>());
  EXPECT_EQ(ValueText(Heard[0].Value), "{}");
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
