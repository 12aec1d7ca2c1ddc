#include <tessalune/filters/QSApplyRealConst.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> ValueInfo{
    .Name = "Value", .Default = 0.0, .NonFinite = true, .Doc = "The constant."};
constexpr TPropertyInfo<TQSRealApplyOperation> ApplyOperationInfo{
    .Name = "ApplyOperation",
    .Default = TQSRealApplyOperation::faoAdd,
    .Doc = "How sample and constant combine; the forms that end in Const take the constant first."};

void DivideConst(const double* AIn, double AValue, double* AOut, std::int32_t ACount) {
  for (std::int32_t I = 0; I < ACount; ++I) AOut[I] = AIn[I] != 0.0 ? AValue / AIn[I] : AIn[I];
}

constexpr TClassText ApplyRealConstText{
    .Use =
        R"(The gain, the offset, the unit of a signal: multiply to change its level, add to shift it, divide
to turn counts into volts. `faoSubtractConst` mirrors it at half the constant, `faoDivideConst`
makes reciprocals, and `faoSet` puts the constant in its place, with the rate and the blocks of
the stream. Set `Value` on the way, by `at` in a graph file, for a fader.)",
    .BadInput =
        R"(`faoDivide` by a `Value` of 0 gives zeros for all samples; with `faoDivideConst` a sample of 0
stays 0. NaN and the infinities, in the samples and in `Value`, go through the arithmetic as
usual, where that rule does not hold.)",
    .Accuracy =
        R"(Each result is the exact one, rounded once. One step a sample, in place where nobody else holds
the block; no delay and no memory.)",
    .Formulas = R"(With v for `Value`:

    faoAdd            y[n] = x[n] + v
    faoSubtract       y[n] = x[n] - v
    faoSubtractConst  y[n] = v - x[n]
    faoMultiply       y[n] = x[n] v
    faoDivide         y[n] = x[n] / v
    faoDivideConst    y[n] = v / x[n]
    faoSet            y[n] = v)",
    .SeeAlso = "TQSApplyComplexConst, TQSApplyIntConst, TQSAdd, TQSMultiply",
    .Example = "A tone of amplitude 1, multiplied by 0.25 and then shifted up by 0.5.",
};

}  // namespace

const TPublishedTable& TQSApplyRealConst::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSApplyRealConst",
                       .DisplayName = "Applies constant on Real Signal",
                       .Category = categories::Math,
                       .Doc = "Combines each sample with a constant.",
                       .Text = ApplyRealConstText},
                      &TQSCommonRealFilter::Published())
          .Property(ValueInfo, &TQSApplyRealConst::Value, &TQSApplyRealConst::SetValue)
          .Property(ApplyOperationInfo, &TQSApplyRealConst::ApplyOperation,
                    &TQSApplyRealConst::SetApplyOperation);
  return Table;
}

void TQSApplyRealConst::SetValue(double AValue) { NotifySetter(ValueInfo, FValue, AValue); }
void TQSApplyRealConst::SetApplyOperation(TQSRealApplyOperation AValue) {
  NotifySetter(ApplyOperationInfo, FApplyOperation, AValue);
}

void TQSApplyRealConst::FilterInternalOperation(const TRef<IQSRealBuffer>& AInBuffer,
                                                TRef<IQSRealBuffer>& AOutBuffer, bool&) {
  const double Constant = FValue;
  const double* In = AInBuffer->Read();
  double* Out = AOutBuffer->Write();
  const std::int32_t Count = AOutBuffer->GetSize();
  switch (FApplyOperation.Load()) {
    case TQSRealApplyOperation::faoAdd:
      ippsAddC_64f(In, Constant, Out, Count);
      break;
    case TQSRealApplyOperation::faoSubtract:
      ippsSubC_64f(In, Constant, Out, Count);
      break;
    case TQSRealApplyOperation::faoSubtractConst:
      ippsSubCRev_64f(In, Constant, Out, Count);
      break;
    case TQSRealApplyOperation::faoMultiply:
      ippsMulC_64f(In, Constant, Out, Count);
      break;
    case TQSRealApplyOperation::faoDivide:
      if (Constant == 0.0) {
        ippsZero_64f(Out, Count);
      } else {
        ippsDivC_64f(In, Constant, Out, Count);
      }
      break;
    case TQSRealApplyOperation::faoDivideConst:
      DivideConst(In, Constant, Out, Count);
      break;
    case TQSRealApplyOperation::faoSet:
      ippsSet_64f(Constant, Out, Count);
      break;
  }
}

void QSApplyRealConst::RegisterPkg() { RegisterComponents({ClassOf<TQSApplyRealConst>()}); }

}  // namespace tessalune
