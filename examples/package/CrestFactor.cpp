// An analyser: one number for each block.
#include "workshop.h"

#include <tessalune/tessalune.h>

#include <algorithm>
#include <cmath>

namespace workshop {
namespace {

using namespace tessalune;

class TCrestFactor final : public TQSBasicRealAnalysis {
 public:
  using TQSBasicRealAnalysis::TQSBasicRealAnalysis;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  double CalculateValue(const TRef<IQSRealBuffer>& ABuffer) override {
    double Low = 0.0, High = 0.0, Norm = 0.0;
    ippsMinMax_64f(ABuffer->Read(), ABuffer->GetSize(), &Low, &High);
    ippsNorm_L2_64f(ABuffer->Read(), ABuffer->GetSize(), &Norm);
    return std::max(-Low, High) / (Norm / std::sqrt(ABuffer->GetSize()));
  }
};

const TPublishedTable& TCrestFactor::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TCrestFactor",
                       .DisplayName = "Crest Factor",
                       .Category = "Workshop",
                       .Doc = "The peak of each block over its RMS; NaN for silence."},
                      &TQSBasicRealAnalysis::Published());
  return Table;
}

}  // namespace

void CrestFactor::RegisterPkg() { RegisterComponents({ClassOf<TCrestFactor>()}); }

}  // namespace workshop
