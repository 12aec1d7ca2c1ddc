// Published tables, property streams and listening, for every class on the palette and one that has
// every form.
#include "FrameTools.h"

#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/package/TessalunePkg.h>
#include <tests/support/FormsProbe.h>
#include <tests/support/Properties.h>

#include <cmath>
#include <set>

namespace tessalune::testing {
namespace {

using test::Another;
using test::ForEachProperty;
using test::TFormsProbe;
using TList = TPropertyList;

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

TEST_P(EveryClass, IsFoundByItsNameAndHasAllRowsDocumentedUnderNamesOfTheirOwn) {
  const TPublishedTable& Table = GetParam().Published();
  EXPECT_EQ(&Component->PublishedTable(), &Table);
  EXPECT_EQ(FindComponentClass(Table.ClassName())->Published, GetParam().Published);
  EXPECT_FALSE(Table.DisplayName().empty() || Table.Category().empty() || Table.Doc().empty());
  std::set<std::string_view> Names;
  const auto Check = [&](std::string_view AName, std::string_view ADoc) {
    EXPECT_TRUE(Names.insert(AName).second) << AName << " twice";
    EXPECT_FALSE(ADoc.empty()) << AName;
  };
  for (const auto* Row : Table.Properties()) Check(Row->Name, Row->Doc);
  for (const auto* Row : Table.Events()) Check(Row->Name, Row->Doc);
  for (const auto* Row : Table.Pins()) {
    if (!Row->IsList) Check(Row->Name, Row->Doc);  // a list has its count's row
    for (std::size_t I = 0; I < Row->Count(*Component); ++I) {
      EXPECT_EQ(Row->At(*Component, I).Name(), Row->PinName(I));
    }
  }
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
      // An object's content is called by the object's name.
      const bool IsContent = &ARow == APart.PublishedTable().ContentRow();
      const std::string Name = IsContent ? APart.Describe() : std::string(ARow.Name);
      ExpectAll(Refusal([&] { ARow.Set(APart, Tried); }),
                {Name, ValueText(Value), "cannot be", "expected is"});
      EXPECT_EQ(ARow.Get(APart), ARow.Default) << ARow.Name << " changed all the same";
    }
  });
}

// By a property stream, too: the graph's tests.
TEST_P(EveryClass, TakesTheValuesOfAnotherByAssign) {
  test::SetAllToAnother(*Component);
  const auto Assigned = GetParam().New();
  Assigned->Assign(*Component);
  ForEachProperty(*Assigned, [](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
    EXPECT_EQ(ARow.Get(APart), Another(ARow)) << ARow.Name;
  });
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

}  // namespace
}  // namespace tessalune::testing
