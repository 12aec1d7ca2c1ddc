#pragma once

#include <tessalune/analysis/QSBasicAnalysis.h>

namespace tessalune {

// The mean of the samples of each block.
class TQSMean : public TQSBasicRealAnalysis {
 public:
  using TQSBasicRealAnalysis::TQSBasicRealAnalysis;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  double CalculateValue(const TRef<IQSRealBuffer>& ABuffer) override;
};

namespace QSMean {
void RegisterPkg();
}

}  // namespace tessalune
