#include <tessalune/analysis/QSMean.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TClassText MeanText{
    .Use =
        R"(The average of each block: the offset of a signal, the level of one that was rectified, a value an
instrument shows. The block is the window: choose whole periods by TQSRepack. For an average that
moves along with the samples take TQSFir or TQSLowPass.)",
    .BadInput = "A NaN in a block makes its mean NaN; so do infinities of both signs.",
    .Accuracy =
        R"(Within (N / 8 + 4) rounding errors of the mean of the magnitudes, for N samples. One addition a
sample.)",
    .Formulas = "    mean = (x[0] + ... + x[N - 1]) / N",
    .SeeAlso = "TQSRMSMeter, TQSMinMax, TQSRemoveDC, TQSRepack",
    .Example = R"(A tone on an offset that swings slowly, and the mean of each of its cycles.)",
};

}  // namespace

const TPublishedTable& TQSMean::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMean",
                       .DisplayName = "Calculate Mean (Average) Value",
                       .Category = categories::Math,
                       .Doc = "The mean of the samples of each block.",
                       .Text = MeanText},
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
