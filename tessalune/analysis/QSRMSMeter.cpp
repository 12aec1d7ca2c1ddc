#include <tessalune/analysis/QSRMSMeter.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <cmath>

namespace tessalune {
namespace {

constexpr TClassText RMSMeterText{
    .Use =
        R"(The level of each block as power tells it: of a tone 0.707 of its amplitude, of noise its standard
deviation. The block is the window: whole periods, by TQSRepack, give a steady value. In decibels
it is 20 log10 of it.)",
    .BadInput =
        R"(A NaN in a block makes its result NaN, an infinity makes it infinite. The squares are not guarded:
of samples above some 1e154 the result is infinite, and of samples below some 1e-154 it loses
digits, down to 0.)",
    .Accuracy =
        R"(Within about N / 16 + 3 rounding errors, for N samples. One multiplication and one addition a
sample.)",
    .Formulas = "    rms = sqrt((x[0]^2 + ... + x[N - 1]^2) / N)",
    .SeeAlso = "TQSMean, TQSMinMax, TQSRealTodB, TQSRepack",
    .Example = "A tone whose level swings, and the RMS of each 10 ms.",
};

}  // namespace

const TPublishedTable& TQSRMSMeter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRMSMeter",
                       .DisplayName = "RMS Signal Meter",
                       .Category = categories::Measurement,
                       .Doc = "The root mean square of each block.",
                       .Text = RMSMeterText},
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
