#include <tessalune/analysis/QSPatternDetector.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> SampleInfo{
    .Name = "Sample",
    .Default = 0.0,
    .Unit = "samples",
    .Doc = "The place in the block, from its first sample on; fractions too."};
constexpr TPropertyInfo<double> MinInfo{
    .Name = "Min", .Default = 0.0, .NonFinite = true, .Doc = "The lower limit, included."};
constexpr TPropertyInfo<double> MaxInfo{
    .Name = "Max", .Default = 0.0, .NonFinite = true, .Doc = "The upper limit, included."};

bool LiesInside(const IQSRealBuffer& ABlock, const TQSDetectedPatternItem& APoint) {
  const double Size = ABlock.GetSize();
  const double Place = APoint.Sample();
  const double Nearest = std::nearbyint(Place);
  if (!(Place < Size && Nearest >= 0.0 && Nearest < Size)) return false;
  const auto First = static_cast<std::int32_t>(Nearest);
  const std::int32_t Second = First + 1 < ABlock.GetSize() ? First + 1 : First;
  const double* Samples = ABlock.Read();
  const double Value = (Samples[Second] - Samples[First]) * (Place - Nearest) + Samples[First];
  return Value >= APoint.Min() && Value <= APoint.Max();
}

}  // namespace

// --- the pattern ---

const TPublishedTable& TQSPatternItem::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPatternItem"}, nullptr)
          .Property(SampleInfo, &TQSPatternItem::Sample, &TQSPatternItem::SetSample)
          .Property(MinInfo, &TQSPatternItem::Min, &TQSPatternItem::SetMin)
          .Property(MaxInfo, &TQSPatternItem::Max, &TQSPatternItem::SetMax);
  return Table;
}

void TQSPatternItem::SetSample(double AValue) { NotifySetter(SampleInfo, FSample, AValue); }
void TQSPatternItem::SetMin(double AValue) { NotifySetter(MinInfo, FMin, AValue); }
void TQSPatternItem::SetMax(double AValue) { NotifySetter(MaxInfo, FMax, AValue); }

const TPublishedTable& TQSPatterns::Published() {
  static const TPublishedTable Table = ItemsTable({.Name = "TQSPatterns"});
  return Table;
}

const TPublishedTable& TQSDetectedPatternItem::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDetectedPatternItem"}, nullptr)
          .Field("Sample", &TQSDetectedPatternItem::Sample, "The place in the block.", "samples")
          .Field("Min", &TQSDetectedPatternItem::Min, "The lower limit.")
          .Field("Max", &TQSDetectedPatternItem::Max, "The upper limit.");
  return Table;
}

const TPublishedTable& TQSDetectedPattern::Published() {
  static const TPublishedTable Table = ItemsTable({.Name = "TQSDetectedPattern"});
  return Table;
}

// --- the component ---

TQSPatternDetector::TQSPatternDetector(TConstruct AConstruct)
    : TQSCommonRealFilter(AConstruct),
      FRejectedOutputPin(
          {*this, FLock},
          [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                 IKLNotifyOperation& AOperation, TKLNotifyState AState) {
            return SourceDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
          }),
      FPatterns(FLock, "Patterns", [this] { FPatternsChanged = true; }) {
  FRejectedOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText PatternDetectorText{
    .Use =
        R"(Sorts blocks by their shape: those that lie inside a band at every point of `Patterns` leave by
one output, the others by the other. So it takes pulses of one form out of many, finds blocks in
which a level was held, or tests a product's response against a mask. Blocks come from
TQSSnippetTrigger or TQSRepack, so that a shape always lies at the same place.)",
    .BadInput =
        R"(While there is no point all blocks are rejected. So is a block that is too short for a point, and
one whose value at a point is NaN. A point with a limit of NaN, or with `Min` above `Max`, lets
nothing pass; infinities are no limits. `Enabled` has no effect here.)",
    .Accuracy =
        R"(Each block is judged by itself and passed on as it is. Between two samples a block is the straight
line through the sample nearest to the place (of two the even one) and the one behind it. A few
operations a point and block, whatever the size of the block.)",
    .Formulas = R"(At a point with the place p = `Sample`, s the whole number nearest to p:

    v = x[s] + (p - s) (x[s + 1] - x[s]), in the last sample x[s]
    passed if Min <= v <= Max at every point)",
    .SeeAlso = "TQSSnippetTrigger, TQSMinMax, TQSRepack, TQSSwitch",
    .Example =
        R"(Blocks of 80 samples of a tone whose level swings: those whose first sample, the peak, lies
between 0.8 and 1.2 are detected.)",
};

}  // namespace

const TPublishedTable& TQSPatternDetector::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPatternDetector",
                       .DisplayName = "Pattern Detector",
                       .Category = categories::Measurement,
                       .Doc = "Sorts blocks by whether they lie inside the bands of a pattern. "
                              "Enabled has no effect: it detects while it is disabled too.",
                       .Text = PatternDetectorText},
                      &TQSCommonRealFilter::Published())
          .Pin("RejectedOutputPin", &TQSPatternDetector::RejectedOutputPin,
               "The blocks that do not, and all while there is no pattern.", true)
          .Object("Patterns", &TQSPatternDetector::Patterns,
                  "The points at which a block has to lie inside a band.")
          .DesignEntry("Add Pa&tterns ...", "Patterns")
          .Event("OnPatternDetected", &TQSPatternDetector::SetOnPatternDetected, {"Pattern"},
                 "A block that lies inside every band has been sent.");
  return Table;
}

void TQSPatternDetector::SetOnPatternDetected(TQSPatternDetectedEvent AHandler) {
  NotifySetter("OnPatternDetected", FOnPatternDetected, std::move(AHandler));
}

TKLNotifyResult TQSPatternDetector::OutputPinsNotify(IKLNotifyOperation& AOperation) {
  // Blocks leave by RejectedOutputPin, also of a stream of single values.
  if (AOperation.IsType<TKLStartRateOperation>()) {
    const double Rate = AOperation.GetInstance<TKLStartRateOperation>().Rate;
    FRejectedOutputPin.Notify(MakeRef<TKLStartSampleRateOperation>(Rate));
    return FOutputPin.Notify(AOperation);
  }
  return NotifyBoth(FRejectedOutputPin, FOutputPin, AOperation);
}

void TQSPatternDetector::FollowPatterns() {
  if (!FPatternsChanged.load(std::memory_order_relaxed)) return;
  FPatternsChanged = false;
  FPattern = MakeRef<TQSDetectedPattern>();
  for (const TRef<TQSPatternItem>& Item : FPatterns.Snapshot()) {
    FPattern->Add(MakeRef<TQSDetectedPatternItem>(Item->Sample(), Item->Min(), Item->Max()));
  }
}

void TQSPatternDetector::InternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                           TRef<IQSRealBuffer>&, bool, bool& ASendOutputData) {
  ASendOutputData = false;
  FollowPatterns();
  const TRef<TQSDetectedPattern> Pattern = FPattern;
  const bool Fits = Pattern->Count() > 0 &&
                    std::all_of(Pattern->begin(), Pattern->end(), [&](const auto& APoint) {
                      return LiesInside(*AInBuffer, *APoint);
                    });
  if (!Fits) {
    FRejectedOutputPin.SubmitBuffer(AInBuffer);
    return;
  }
  FOutputPin.SubmitBuffer(AInBuffer);
  FOnPatternDetected(*this, Pattern);
}

void QSPatternDetector::RegisterPkg() { RegisterComponents({ClassOf<TQSPatternDetector>()}); }

}  // namespace tessalune
