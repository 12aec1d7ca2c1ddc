#pragma once

#include <tessalune/analysis/QSBasicAnalysis.h>

#include <functional>

namespace tessalune {

struct TQSMinMaxValue {
  double Min = 0.0;
  double Max = 0.0;
};

using TQSRealRangeNotifyEvent = std::function<void(TObject& ASender, double AMin, double AMax)>;

// The smallest and the largest sample of each block. NaNs are passed over; of nothing else, both
// are NaN.
class TQSMinMax : public TQSTypedBasicAnalysis<TQSMinMaxValue> {
 public:
  explicit TQSMinMax(TConstruct AConstruct);
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // They hold the results, which begin with 0 and keep the last ones from stream to stream. If one
  // of the two has changed, both are sent, the smallest first.
  TKLRealSourcePin& MinOutputPin() { return FMinOutputPin; }
  TKLRealSourcePin& MaxOutputPin() { return FMaxOutputPin; }

  // One of the results has changed, and the pins have sent them.
  void SetOnValueChange(TQSRealRangeNotifyEvent AHandler);

 protected:
  // While true, those of the magnitudes; for classes that derive from this. Default false; takes
  // effect with the next block.
  bool Absolute() const { return FAbsolute; }
  void SetAbsolute(bool AValue);

  TQSMinMaxValue CalculateValue(const TRef<IQSRealBuffer>& ABuffer) override;
  void ReportResult(const TQSMinMaxValue& AValue) override;
  TKLNotifyResult DispatchOutputOperation(IKLNotifyOperation& AOperation) override;

 private:
  TKLRealSourcePin FMinOutputPin;
  TKLRealSourcePin FMaxOutputPin;
  TField<bool> FAbsolute;
  TEvent<TQSRealRangeNotifyEvent> FOnValueChange;
};

extern template class TQSTypedBasicAnalysis<TQSMinMaxValue>;

namespace QSMinMax {
void RegisterPkg();
}

}  // namespace tessalune
