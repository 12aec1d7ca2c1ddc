// A component with every form that a class can publish, for tests of what works on all of them.
#pragma once

#include <tessalune/tessalune.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tessalune::test {

class TProbeMask final : public TBasicLockArrayPersistent<TProbeMask, std::int32_t> {
 public:
  using TBasicLockArrayPersistent::TBasicLockArrayPersistent;
  static constexpr TPropertyInfo<std::vector<std::int32_t>> ItemsInfo{
      .Name = "_Items", .Bounds = AtLeast(0), .OldName = "Values", .Doc = "The bins."};
  static constexpr TPropertyInfo<bool> EnabledInfo{.Name = "Enabled", .Doc = "Whether it counts."};
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        ItemsTable({.Name = "TProbeMask"})
            .Property(EnabledInfo, &TProbeMask::Enabled, &TProbeMask::SetEnabled);
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool AValue) { NotifySetter(EnabledInfo, FEnabled, AValue); }

 private:
  TField<bool> FEnabled;
};

class TProbeItem final : public TLockCollectionItem {
 public:
  using TLockCollectionItem::TLockCollectionItem;
  static constexpr TPropertyInfo<double> SampleInfo{
      .Name = "Sample", .Default = 1.0, .OldName = "Position", .Doc = "The place."};
  static constexpr TPropertyInfo<double> MinInfo{.Name = "Min", .Doc = "The lower limit."};
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TProbeItem"}, nullptr)
            .Property(SampleInfo, &TProbeItem::Sample, &TProbeItem::SetSample)
            .Property(MinInfo, &TProbeItem::Min, &TProbeItem::SetMin);
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  double Sample() const { return FSample; }
  void SetSample(double AValue) { NotifySetter(SampleInfo, FSample, AValue); }
  double Min() const { return FMin; }
  void SetMin(double AValue) { NotifySetter(MinInfo, FMin, AValue); }

 private:
  TField<double> FSample;
  TField<double> FMin;
};

class TProbeItems final : public TTypedCollection<TProbeItem> {
 public:
  using TTypedCollection::TTypedCollection;
  static const TPublishedTable& Published() {
    static const TPublishedTable Table = ItemsTable({.Name = "TProbeItems"});
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

// A record of the kinds that results have: a figure, an array, a list of records.
class TProbePoint final : public TBasicInterfacedObject {
 public:
  explicit TProbePoint(double ASample) : FSample(ASample) {}
  static const TPublishedTable& Published() {
    static const TPublishedTable Table = TPublishedTable({.Name = "TProbePoint"}, nullptr)
                                             .Field("Sample", &TProbePoint::Sample, "The place.");
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  double Sample() const { return FSample; }

 private:
  const double FSample;
};

class TProbePoints final : public TInterfacedObjectList<TProbePoint> {
 public:
  static const TPublishedTable& Published() {
    static const TPublishedTable Table = ItemsTable({.Name = "TProbePoints"});
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

class TProbeResult final : public TBasicInterfacedObject {
 public:
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TProbeResult"}, nullptr)
            .Field("Level", &TProbeResult::Level, "The level.", "dB")
            .Field("Bins", &TProbeResult::Bins, "The bins.")
            .Object("Points", &TProbeResult::Points, "The points.");
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
  double Level() const { return -0.5; }
  std::vector<std::uint32_t> Bins() const { return {3, 4000000000U}; }
  TProbePoints& Points() { return FPoints; }

 private:
  TProbePoints FPoints;
};

using TProbeEvent = std::function<void(TObject& ASender, TRef<TProbeResult> AResult,
                                       TRef<IQSGenericBuffer> ABuffer)>;

class TFormsProbe final : public TLockComponent {
 public:
  explicit TFormsProbe(TConstruct AConstruct)
      : TLockComponent(AConstruct),
        Taps(FSideLock, "Taps", [this] { ++Inits; }),
        Pairs(FSideLock, "Pairs", [this] { ++Inits; }),
        Sections(FSideLock, "Sections", [this] { ++Inits; }),
        Mask(FLock, "Mask", [this] { ++Inits; }),
        Patterns(FLock, "Patterns", [this] { ++Inits; }),
        OutputPin({*this, FLock}, GKLPassTroughDispatch(InputPin)),
        InputPin({*this, FLock}, PassOn()),
        InputPins({*this, FLock}, InputPinsInfo, [this] {
          return std::make_unique<TQSKLIntegerRealComplexBinarySinkPin>(
              TKLPinOwner(*this, FLock), [](auto&&...) { return TKLNotifyResult{}; });
        }) {
    OutputPin.AddFunctionSource(InputPin);
    OutputPin.AddDataTypeSource(InputPin);
  }

  static constexpr TPropertyInfo<std::int32_t> OrderInfo{.Name = "Order",
                                                         .Default = 2,
                                                         .Bounds = Between(2, 30),
                                                         .OldName = "NumTaps",
                                                         .Doc = "The order."};
  static constexpr TPropertyInfo<double> LevelInfo{
      .Name = "Level", .Default = 1.0, .NonFinite = true, .Doc = "The level."};
  static constexpr TPropertyInfo<std::vector<std::string>> NotesInfo{.Name = "Notes",
                                                                     .Doc = "Lines of text."};
  static constexpr TPropertyInfo<std::uint32_t> InputPinsInfo{.Name = "InputPins",
                                                              .Default = 2,
                                                              .Bounds = Between(2U, 5U),
                                                              .Unit = "pins",
                                                              .Doc = "The streams to join."};
  static const TPublishedTable& Published() {
    static const TPublishedTable Table =
        TPublishedTable({.Name = "TFormsProbe",
                         .DisplayName = "All Forms",
                         .Category = "Test",
                         .Doc = "A component with every published form."},
                        &TComponent::Published())
            .Property(OrderInfo, &TFormsProbe::Order, &TFormsProbe::SetOrder)
            .Property(LevelInfo, &TFormsProbe::Level, &TFormsProbe::SetLevel)
            .Property(NotesInfo, &TFormsProbe::Notes, &TFormsProbe::SetNotes)
            .OlderForm("DesignSampleRate", "", &TFormsProbe::Drop, "Has no use any more.")
            .Object("Taps", &TFormsProbe::GetTaps, "An array of numbers.")
            .Object("Pairs", &TFormsProbe::GetPairs, "Pairs of coefficients.")
            .Object("Sections", &TFormsProbe::GetSections, "Sections of coefficients.")
            .Object("Mask", &TFormsProbe::GetMask, "An array with a property beside it.")
            .Object("Patterns", &TFormsProbe::GetPatterns, "A collection of items.")
            .Pin("OutputPin", &TFormsProbe::GetOutputPin, "The output.", true)
            .Pin("InputPin", &TFormsProbe::GetInputPin, "The input.", true)
            .PinList(InputPinsInfo, &TFormsProbe::GetInputPins, "TKLSinkPin")
            .Event("OnResult", &TFormsProbe::SetOnResult, {"Result", "Buffer"},
                   "A result is there.");
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }

  std::int32_t Order() const { return FOrder; }
  void SetOrder(std::int32_t AValue) { NotifySetter(OrderInfo, FOrder, AValue); }
  double Level() const { return FLevel; }
  void SetLevel(double AValue) { NotifySetter(LevelInfo, FLevel, AValue); }
  std::vector<std::string> Notes() const { return FNotes; }
  void SetNotes(std::vector<std::string> AValue) {
    NotifySetter(NotesInfo, FNotes, std::move(AValue));
  }
  void SetOnResult(TProbeEvent AHandler) {
    NotifySetter("OnResult", FOnResult, std::move(AHandler));
  }
  void Fire(TRef<TProbeResult> AResult, TRef<IQSGenericBuffer> ABuffer) {
    FireEvent(FOnResult, AResult, ABuffer);
  }
  TQSReals& GetTaps() { return Taps; }
  TQSDualReals& GetPairs() { return Pairs; }
  TQSBiQuads& GetSections() { return Sections; }
  TProbeMask& GetMask() { return Mask; }
  TProbeItems& GetPatterns() { return Patterns; }
  TKLSourcePin& GetOutputPin() { return OutputPin; }
  TKLSinkPin& GetInputPin() { return InputPin; }
  TKLPinListOwner& GetInputPins() { return InputPins; }

 private:
  const TRef<IChangeNotifyLock> FSideLock = MakeRef<IChangeNotifyLock>(FLock);

 public:
  int Inits = 0;  // runs of the change procedure of any of these
  TQSReals Taps;
  TQSDualReals Pairs;
  TQSBiQuads Sections;
  TProbeMask Mask;
  TProbeItems Patterns;
  TQSKLIntegerRealComplexBinarySourcePin OutputPin;
  TQSKLIntegerRealComplexBinarySinkPin InputPin;
  TKLPinListOwner InputPins;

 private:
  TKLNotifyEvent PassOn() {
    return [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                  TKLNotifyState) { return OutputPin.Notify(AOperation); };
  }
  void Drop(IReader&, std::string_view) {}

  TField<std::int32_t> FOrder;
  TField<double> FLevel;
  std::vector<std::string> FNotes;
  TEvent<TProbeEvent> FOnResult;
};

}  // namespace tessalune::test
