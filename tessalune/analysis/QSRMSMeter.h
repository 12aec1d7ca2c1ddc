#pragma once

#include <tessalune/analysis/QSBasicAnalysis.h>

namespace tessalune {

// The root mean square of each block by itself: the square root of the mean of the squares of its
// samples. The squares are not guarded: of samples above some 1e154 the result is infinite, and of
// samples below some 1e-154 it loses digits, down to 0.
class TQSRMSMeter : public TQSBasicRealAnalysis {
 public:
  using TQSBasicRealAnalysis::TQSBasicRealAnalysis;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  double CalculateValue(const TRef<IQSRealBuffer>& ABuffer) override;
};

namespace QSRMSMeter {
void RegisterPkg();
}

}  // namespace tessalune
