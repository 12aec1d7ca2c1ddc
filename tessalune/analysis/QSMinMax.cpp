#include <tessalune/analysis/QSMinMax.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> AbsoluteInfo{.Name = "Absolute"};

}  // namespace

TQSMinMax::TQSMinMax(TConstruct AConstruct)
    : TQSTypedBasicAnalysis(AConstruct),
      FMinOutputPin({*this, FLock}),
      FMaxOutputPin({*this, FLock}) {
  FMinOutputPin.AddFunctionSource(FInputPin);
  FMaxOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText MinMaxText{
    .Use =
        R"(The peaks of each block: whether a converter clips, the range for a display, the height of pulses.
The block is the window: choose its length by TQSRepack.)",
    .BadInput =
        R"(NaNs are passed over; of a block of nothing else both results are NaN. Infinities count as numbers
do.)",
    .Accuracy = "Exact: both are samples of the block. Two comparisons a sample.",
    .Formulas = "    min = the least of x[0] to x[N - 1], max = the greatest",
    .SeeAlso = "TQSMean, TQSRMSMeter, TQSRepack",
    .Example = R"(A tone whose level swings, and the least and greatest sample of each 10 ms.)",
};

}  // namespace

const TPublishedTable& TQSMinMax::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSMinMax",
                       .DisplayName = "Find Signal Minimal and Maximal value",
                       .Category = categories::Math,
                       .Doc = "The smallest and the largest sample of each block.",
                       .Text = MinMaxText},
                      &TQSTypedBasicAnalysis::Published())
          .Pin("MinOutputPin", &TQSMinMax::MinOutputPin,
               "The smallest sample, each time one of the two has changed.", true)
          .Pin("MaxOutputPin", &TQSMinMax::MaxOutputPin,
               "The largest sample, each time one of the two has changed.", true)
          .Event("OnValueChange", &TQSMinMax::SetOnValueChange, {"Min", "Max"},
                 "One of the two has changed.");
  return Table;
}

void TQSMinMax::SetOnValueChange(TQSRealRangeNotifyEvent AHandler) {
  NotifySetter("OnValueChange", FOnValueChange, std::move(AHandler));
}
void TQSMinMax::SetAbsolute(bool AValue) { NotifySetter(AbsoluteInfo, FAbsolute, AValue); }

TQSMinMaxValue TQSMinMax::CalculateValue(const TRef<IQSRealBuffer>& ABuffer) {
  TRef<IQSRealBuffer> Samples = ABuffer;
  if (FAbsolute) {
    Samples = TQSRealBuffer::CreateSize(ABuffer->GetSize());
    Samples->AbsFrom(*ABuffer);
  }
  TQSMinMaxValue Value;
  ippsMinMax_64f(Samples->Read(), Samples->GetSize(), &Value.Min, &Value.Max);
  return Value;
}

void TQSMinMax::ReportResult(const TQSMinMaxValue& AValue) {
  if (AValue.Min == FMinOutputPin.Value() && AValue.Max == FMaxOutputPin.Value()) return;
  FMinOutputPin.SetValue(AValue.Min);
  FMaxOutputPin.SetValue(AValue.Max);
  FOnValueChange(*this, AValue.Min, AValue.Max);
}

TKLNotifyResult TQSMinMax::DispatchOutputOperation(IKLNotifyOperation& AOperation) {
  FMaxOutputPin.Notify(AOperation);
  FMinOutputPin.Notify(AOperation);
  return {};
}

void QSMinMax::RegisterPkg() { RegisterComponents({ClassOf<TQSMinMax>()}); }

template class TQSTypedBasicAnalysis<TQSMinMaxValue>;

}  // namespace tessalune
