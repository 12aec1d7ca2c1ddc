#include <tessalune/analysis/QSMean.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

const TPublishedTable& TQSMean::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMean",
                       .DisplayName = "Calculate Mean (Average) Value",
                       .Category = categories::Math,
                       .Doc = "The mean of the samples of each block."},
                      &TQSBasicRealAnalysis::Published());
  return Table;
}

double TQSMean::CalculateValue(const TRef<IQSRealBuffer>& ABuffer) {
  double Mean = 0.0;
  ippsMean_64f(ABuffer->Read(), ABuffer->GetSize(), &Mean);
  return Mean;
}

void QSMean::RegisterPkg() { RegisterComponents({ClassOf<TQSMean>()}); }

}  // namespace tessalune
