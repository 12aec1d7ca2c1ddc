#include <tessalune/analysis/QSRMSMeter.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <cmath>

namespace tessalune {

const TPublishedTable& TQSRMSMeter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRMSMeter",
                       .DisplayName = "RMS Signal Meter",
                       .Category = categories::Measurement,
                       .Doc = "The root mean square of each block."},
                      &TQSBasicRealAnalysis::Published());
  return Table;
}

double TQSRMSMeter::CalculateValue(const TRef<IQSRealBuffer>& ABuffer) {
  const std::int32_t Count = ABuffer->GetSize();
  const auto Squares = TQSRealBuffer::CreateSize(Count);
  ippsMul_64f(ABuffer->Read(), ABuffer->Read(), Squares->Write(), Count);
  double Mean = 0.0;
  ippsMean_64f(Squares->Read(), Count, &Mean);
  return std::sqrt(Mean);
}

void QSRMSMeter::RegisterPkg() { RegisterComponents({ClassOf<TQSRMSMeter>()}); }

}  // namespace tessalune
