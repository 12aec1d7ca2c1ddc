// Any class of the palette that takes real samples.
#pragma once

#include "Things.h"

#include "support/Properties.h"

#include <tessalune/tessalune.h>

namespace tessalune::torture {

// Takes the samples of a block away: what a class of the palette makes of them, no ledger can tell.
class TBlank : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;

 protected:
  void FilterInternalOperation(const TRef<IQSRealBuffer>&, TRef<IQSRealBuffer>& AOut,
                               bool&) override {
    AOut->Zero();
  }
};

inline bool Carries(TKLBasicPin& APin, TKLPinDirection ADirection) {
  const TKLDataTypes& Types = APin.DataTypes();
  return APin.Direction() == ADirection &&
         !APin.TakesManyLinks() == (ADirection == TKLPinDirection::Sink) &&
         std::count(Types.begin(), Types.end(), &RealStream) > 0;
}

template <class TVisit>
void ForEachPin(TComponent& AComponent, const TVisit& AVisit) {
  for (const TPublishedPin* Row : AComponent.PublishedTable().Pins()) {
    for (std::size_t I = 0; I < Row->Count(AComponent); ++I) AVisit(Row->At(AComponent, I));
  }
}

// All but sources and those with files, which have kinds of their own. A switch passes stops on
// while it is shut, and tells starts when it opens: it stays where order is not checked.
inline TComponentClass DrawnClass(TGround AGround) {
  static const auto Classes = [] {
    RegisterAllUnits();
    std::vector<TComponentClass> Result;
    for (const TComponentClass& Class : RegisteredComponents()) {
      const auto It = Class.New();
      bool Takes = false;
      ForEachPin(*It, [&](TKLBasicPin& APin) { Takes |= Carries(APin, TKLPinDirection::Sink); });
      const bool IsOther = dynamic_cast<IPumpable*>(It.get()) || dynamic_cast<IFileUser*>(It.get());
      if (Takes && !IsOther) Result.push_back(Class);
    }
    return Result;
  }();
  for (;;) {
    const TComponentClass& Class = Chance().Of(Classes);
    if (AGround == Wild || Class.Published().ClassName() != "TQSSwitch") return Class;
  }
}

inline TPropertyValue Drawn(const TPublishedProperty& ARow) {
  switch (ARow.Kind) {
    case TPropertyKind::Boolean:
      return Chance().OneIn(2);
    case TPropertyKind::Enumeration:
      return std::string(Chance().Of(ARow.Enumerators));
    case TPropertyKind::Double:
      return std::get<double>(ARow.Default) * 0.5 * static_cast<double>(Chance().Below(5));
    case TPropertyKind::Array:
      return TPropertyList(std::vector<TPropertyValue>(6 * Chance().Below(3),
                                                       ARow.Element == TPropertyKind::Double
                                                           ? TPropertyValue(0.25)
                                                           : TPropertyValue(std::int64_t{2})));
    case TPropertyKind::Collection:
    case TPropertyKind::String:
      return Chance().OneIn(2) ? ARow.Default : test::Another(ARow);
    default:
      return std::get<std::int64_t>(ARow.Default) + static_cast<std::int64_t>(Chance().Below(8));
  }
}

struct TPaletteThing : TThing {
  explicit TPaletteThing(const TPlace& APlace) : TThing(APlace) {
    Component = FOwn.get();
    ForEachPin(*FOwn, [&](TKLBasicPin& APin) {
      if (Carries(APin, TKLPinDirection::Sink)) FSinks.push_back(&APin);
      if (APin.Direction() == TKLPinDirection::Source) Listen(APin);
    });
    Sink = FSinks[0];
    for (const TPublishedEvent* Event : FOwn->PublishedTable().Events()) {
      Event->Listen(*FOwn, Handler(APlace));
    }
    test::ForEachProperty(*FOwn, [&](TPersistent& APart, const TPublishedProperty& ARow, auto&&) {
      if (ARow.Unit != "pins") FRows.push_back({&APart, &ARow});
    });
  }
  void Do(TDeed ADeed) override {
    if (ADeed == TDeed::Set) SetOne(Chance().Of(FRows));
    if (ADeed == TDeed::Enable || ADeed == TDeed::Threading) {
      for (const TRow& Row : FRows) {
        if (Row.Property->Name == "Enabled") SetOne(Row);
      }
    }
    if (ADeed == TDeed::Pump) ConnectSource(Place.Ground, *Chance().Of(FSinks));
    if (ADeed != TDeed::Value) return;
    for (const TPublishedAction* Action : FOwn->PublishedTable().Actions()) Action->Do(*FOwn);
  }

 private:
  struct TRow {
    TPersistent* Object;
    const TPublishedProperty* Property;
  };
  void SetOne(const TRow& ARow) { ARow.Property->Set(*ARow.Object, Drawn(*ARow.Property)); }
  // The first real output goes on as a source; the others end here.
  void Listen(TKLBasicPin& AOutput) {
    if (Source == nullptr && Carries(AOutput, TKLPinDirection::Source)) {
      AOutput.Connect(FBlank->InputPin());
      Source = &FBlank->OutputPin();
      return;
    }
    auto End = std::make_unique<TQSKLIntegerRealComplexBinarySinkPin>(TKLPinOwner{},
                                                                      [Place = Place](auto&&...) {
                                                                        Handle(Place);
                                                                        return TKLNotifyResult{};
                                                                      });
    if (!End->WhyNotConnect(AOutput)) AOutput.Connect(*End);
    FEnds.push_back(std::move(End));
  }

  std::vector<std::unique_ptr<TKLPin>> FEnds;
  const TOwned<TBlank> FBlank = Create<TBlank>();
  const TOwned<TComponent> FOwn = DrawnClass(Place.Ground).New();
  std::vector<TKLBasicPin*> FSinks;
  std::vector<TRow> FRows;
};

template <class T>
TThing* New(const TPlace& APlace) {
  return new TAlive<T>(APlace);
}

inline TThing* MakeThing(TKind AKind, const TPlace& APlace) {
  constexpr std::array News{New<TGeneratorThing>, New<TPlayerThing>, New<TFeedThing>,
                            New<TFilterThing>,    New<TLoggerThing>, New<TSinkThing>,
                            New<TGroupThing>,     New<TPaletteThing>};
  return News[static_cast<std::size_t>(AKind)](APlace);
}

}  // namespace tessalune::torture
