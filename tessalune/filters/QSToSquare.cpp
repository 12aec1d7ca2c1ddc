#include <tessalune/filters/QSToSquare.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> LevelInfo{
    .Name = "Level",
    .Default = 0.0,
    .NonFinite = true,
    .Doc = "A sample greater than this gives High; none is greater than NaN."};
constexpr TPropertyInfo<double> HighInfo{
    .Name = "High", .Default = 1000.0, .NonFinite = true, .Doc = "Output above Level."};
constexpr TPropertyInfo<double> LowInfo{.Name = "Low",
                                        .Default = -1000.0,
                                        .NonFinite = true,
                                        .Doc = "Output at and below Level, and for a NaN."};

constexpr TClassText ToSquareText{
    .Use =
        R"(A comparator: makes a two-level signal from any other, such as a gate or a clock from a tone, bits
from a waveform, or a pulse whose width follows `Level`. There is no hysteresis, so noise near
`Level` makes the output jump; smooth the signal before, by TQSLowPass or TQSMedian.)",
    .BadInput =
        R"(A NaN gives `Low`; the infinities compare as numbers do. With a `Level` of NaN all samples give
`Low`. `High` and `Low` go out as they are, infinities and NaN too.)",
    .Accuracy =
        R"(Exact: a sample equal to `Level` gives `Low`. One comparison a sample; no delay and no memory.)",
    .Formulas = "    y[n] = High if x[n] > Level, else Low",
    .SeeAlso = "TQSSnippetTrigger, TQSSwitch, TQSAbs, TQSSignalGen",
    .Example =
        R"(A tone of 100 Hz and amplitude 1, compared with 0.5: pulses of a third of the cycle.)",
};

}  // namespace

const TPublishedTable& TQSToSquare::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSToSquare",
                       .DisplayName = "Converts to Square Signal",
                       .Category = categories::Filters,
                       .Doc = "High where a sample is greater than Level, else Low.",
                       .Text = ToSquareText},
                      &TQSCommonRealFilter::Published())
          .Property(LevelInfo, &TQSToSquare::Level, &TQSToSquare::SetLevel)
          .Property(HighInfo, &TQSToSquare::High, &TQSToSquare::SetHigh)
          .Property(LowInfo, &TQSToSquare::Low, &TQSToSquare::SetLow);
  return Table;
}

void TQSToSquare::SetLevel(double AValue) { NotifySetter(LevelInfo, FLevel, AValue); }
void TQSToSquare::SetHigh(double AValue) { NotifySetter(HighInfo, FHigh, AValue); }
void TQSToSquare::SetLow(double AValue) { NotifySetter(LowInfo, FLow, AValue); }

void TQSToSquare::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                          TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  const double Threshold = FLevel;
  const double Above = FHigh;
  const double Below = FLow;
  const double* In = AInBuffer->Read();
  double* Out = AOutBuffer->Write();
  const std::int32_t Count = AOutBuffer->GetSize();
  for (std::int32_t I = 0; I < Count; ++I) Out[I] = In[I] > Threshold ? Above : Below;
}

void QSToSquare::RegisterPkg() { RegisterComponents({ClassOf<TQSToSquare>()}); }

}  // namespace tessalune
