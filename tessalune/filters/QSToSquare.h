#pragma once

#include <tessalune/frame/streams/QSCommonFilter.h>

namespace tessalune {

// Turns a signal into a two-level one: High where a sample is greater than Level, else Low. A
// sample equal to Level, and a NaN, gives Low.
class TQSToSquare : public TQSCommonRealFilter {
 public:
  using TQSCommonRealFilter::TQSCommonRealFilter;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The threshold, in the signal's unit; default 0. All three take effect with the next block.
  double Level() const { return FLevel; }
  void SetLevel(double AValue);
  // Output above the threshold; default 1000.
  double High() const { return FHigh; }
  void SetHigh(double AValue);
  // Output at and below the threshold; default -1000.
  double Low() const { return FLow; }
  void SetLow(double AValue);

 protected:
  bool CanInline() override { return true; }
  void FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                               TRef<IQSRealBuffer>& AOutBuffer, bool& ASendOutputData) override;

 private:
  TField<double> FLevel;
  TField<double> FHigh;
  TField<double> FLow;
};

namespace QSToSquare {
void RegisterPkg();
}

}  // namespace tessalune
