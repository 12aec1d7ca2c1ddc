#pragma once

#include <tessalune/frame/containers/VBCollections.h>
#include <tessalune/frame/containers/VBRecords.h>
#include <tessalune/frame/streams/QSCommonFilter.h>

#include <atomic>
#include <functional>

namespace tessalune {

// A point of a pattern: a place in the block, and the band in which the block has to lie there. As
// it is made, it lets nothing pass but 0 in the first sample.
class TQSPatternItem final : public TLockCollectionItem {
 public:
  using TLockCollectionItem::TLockCollectionItem;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // In samples from the begin of the block, fractions too; default 0.
  double Sample() const { return FSample; }
  void SetSample(double AValue);

  // The band, its limits included; default 0 for both. Infinities are no limits; with a NaN, or Min
  // above Max, no block passes.
  double Min() const { return FMin; }
  void SetMin(double AValue);
  double Max() const { return FMax; }
  void SetMax(double AValue);

 private:
  TField<double> FSample;
  TField<double> FMin;
  TField<double> FMax;
};

class TQSPatterns final : public TTypedCollection<TQSPatternItem> {
 public:
  using TTypedCollection::TTypedCollection;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

// The record of a point, as it was when the block came.
class TQSDetectedPatternItem final : public TBasicInterfacedObject {
 public:
  TQSDetectedPatternItem(double ASample, double AMin, double AMax)
      : FSample(ASample), FMin(AMin), FMax(AMax) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  double Sample() const { return FSample; }
  double Min() const { return FMin; }
  double Max() const { return FMax; }

 private:
  const double FSample;
  const double FMin;
  const double FMax;
};

// The record of a pattern, its points in order; one record serves all blocks between two changes of
// the pattern.
class TQSDetectedPattern final : public TInterfacedObjectList<TQSDetectedPatternItem> {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};
// A record has one implementation, so its interface is its class.
using IQSDetectedPatternItem = TQSDetectedPatternItem;
using IQSDetectedPattern = TQSDetectedPattern;

using TQSPatternDetectedEvent =
    std::function<void(TObject& ASender, TRef<IQSDetectedPattern> APattern)>;

// Sorts the blocks of a real stream: one that lies inside the band at every point of Patterns
// leaves by OutputPin, and OnPatternDetected is told behind it; any other one leaves by
// RejectedOutputPin, and so do all while there is no point. Each block is judged by itself and
// passed on as it is. Both outputs get the start and the stop.
//
// Between two samples the block is a straight line through sample s, the one nearest to the place
// (of two the even one), and sample s + 1; so above the middle between two samples the line through
// the next pair is drawn on backwards. In the last sample it is that sample. A place that is
// nearest to no sample of the block, and a value that is NaN, fail.
//
// Enabled has no effect: it detects while it is disabled too.
class TQSPatternDetector : public TQSCommonRealFilter {
 public:
  explicit TQSPatternDetector(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  TQSKLRealSourcePin& RejectedOutputPin() { return FRejectedOutputPin; }

  // Default empty. A change takes effect with the next block.
  TQSPatterns& Patterns() { return FPatterns; }

  // On the thread that computes.
  void SetOnPatternDetected(TQSPatternDetectedEvent AHandler);

 protected:
  TKLNotifyResult OutputPinsNotify(IKLNotifyOperation& AOperation) override;
  void InternalOperation(const TRef<IQSRealBuffer>& AInBuffer, TRef<IQSRealBuffer>& AOutBuffer,
                         bool ADoProcess, bool& ASendOutputData) override;
  // Nothing to compute: InternalOperation does it all.
  void FilterInternalOperation(const TRef<IQSRealBuffer>&, TRef<IQSRealBuffer>&, bool&) override {}

 private:
  void FollowPatterns();

  TQSKLRealSourcePin FRejectedOutputPin;
  TQSPatterns FPatterns;
  TEvent<TQSPatternDetectedEvent> FOnPatternDetected;
  std::atomic<bool> FPatternsChanged{true};
  TRef<TQSDetectedPattern> FPattern;  // of the thread that computes
};

namespace QSPatternDetector {
void RegisterPkg();
}

}  // namespace tessalune
