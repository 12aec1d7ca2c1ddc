#include <tessalune/filters/QSApplyComplexConst.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> RealValueInfo{
    .Name = "RealValue", .Default = 0.0, .NonFinite = true, .Doc = "The constant's real part."};
constexpr TPropertyInfo<double> ImagValueInfo{.Name = "ImagValue",
                                              .Default = 0.0,
                                              .NonFinite = true,
                                              .Doc = "The constant's imaginary part."};
constexpr TPropertyInfo<TQSComplexApplyOperation> ApplyOperationInfo{
    .Name = "ApplyOperation",
    .Default = TQSComplexApplyOperation::caoAdd,
    .Doc =
        "How sample and constant combine. caoDivide gives zeros if either part of the constant "
        "is 0; caoDivideConst divides part by part."};

void DivideConst(const TComplex* AIn, TComplex AValue, TComplex* AOut, std::int32_t ACount) {
  for (std::int32_t I = 0; I < ACount; ++I) {
    const TComplex Sample = AIn[I];
    const bool HasZero = Sample.Re == 0.0 || Sample.Im == 0.0;
    AOut[I] = HasZero ? Sample : TComplex{AValue.Re / Sample.Re, AValue.Im / Sample.Im};
  }
}

constexpr TClassText ApplyComplexConstText{
    .Use =
        R"(Turns, scales and shifts complex samples: `caoMultiply` by r (cos a + i sin a) scales a spectrum
or an analytic signal by r and turns its phase by a. Add and subtract move the origin, `caoSet`
makes a constant stream.

Two operations are not what their names may suggest. `caoDivide` by a number that is purely real
or purely imaginary gives zeros; multiply by the reciprocal instead. `caoDivideConst` is no
complex quotient: real parts are divided by real parts, imaginary ones by imaginary ones.)",
    .BadInput =
        R"(`caoDivide` where either part of the constant is 0 gives zeros for all samples. With
`caoDivideConst` a sample with a part that is 0 stays as it is. NaN and the infinities go through
the arithmetic as usual.)",
    .Accuracy =
        R"(Sums are exact but for one rounding of each part; a product and a quotient are off by a few
roundings of their magnitude. One step a sample; no delay and no memory.)",
    .Formulas = R"(With c = `RealValue` + i `ImagValue`:

    caoAdd            y[n] = x[n] + c
    caoSubtract       y[n] = x[n] - c
    caoSubtractConst  y[n] = c - x[n]
    caoMultiply       y[n] = x[n] c
    caoDivide         y[n] = x[n] / c
    caoDivideConst    y[n] = re c / re x[n] + i im c / im x[n]
    caoSet            y[n] = c)",
    .SeeAlso = "TQSApplyRealConst, TQSMultiplyComplex, TQSConjugate, TQSCartToPolar",
    .Example =
        R"(The analytic signal of a tone, multiplied by i: the real part that comes out runs a quarter of a
cycle ahead of the one that went in.)",
};

}  // namespace

const TPublishedTable& TQSApplyComplexConst::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSApplyComplexConst",
                       .DisplayName = "Applies constant on Complex Signal",
                       .Category = categories::Math,
                       .Doc = "Combines each sample of a complex stream with a constant.",
                       .Text = ApplyComplexConstText},
                      &TQSCommonComplexFilter::Published())
          .Property(RealValueInfo, &TQSApplyComplexConst::RealValue,
                    &TQSApplyComplexConst::SetRealValue)
          .Property(ImagValueInfo, &TQSApplyComplexConst::ImagValue,
                    &TQSApplyComplexConst::SetImagValue)
          .Property(ApplyOperationInfo, &TQSApplyComplexConst::ApplyOperation,
                    &TQSApplyComplexConst::SetApplyOperation);
  return Table;
}

void TQSApplyComplexConst::SetRealValue(double AValue) {
  NotifySetter(RealValueInfo, FRealValue, AValue);
}
void TQSApplyComplexConst::SetImagValue(double AValue) {
  NotifySetter(ImagValueInfo, FImagValue, AValue);
}
void TQSApplyComplexConst::SetApplyOperation(TQSComplexApplyOperation AValue) {
  NotifySetter(ApplyOperationInfo, FApplyOperation, AValue);
}

void TQSApplyComplexConst::FilterInternalOperation(const TRef<IQSComplexBuffer>& AInBuffer,
                                                   TRef<IQSComplexBuffer>& AOutBuffer, bool&) {
  const TComplex Constant{FRealValue, FImagValue};
  const TComplex* In = AInBuffer->Read();
  TComplex* Out = AOutBuffer->Write();
  const std::int32_t Count = AOutBuffer->GetSize();
  switch (FApplyOperation.Load()) {
    case TQSComplexApplyOperation::caoAdd:
      ippsAddC_64fc(In, Constant, Out, Count);
      break;
    case TQSComplexApplyOperation::caoSubtract:
      ippsSubC_64fc(In, Constant, Out, Count);
      break;
    case TQSComplexApplyOperation::caoSubtractConst:
      ippsSubCRev_64fc(In, Constant, Out, Count);
      break;
    case TQSComplexApplyOperation::caoMultiply:
      ippsMulC_64fc(In, Constant, Out, Count);
      break;
    case TQSComplexApplyOperation::caoDivide:
      if (Constant.Re == 0.0 || Constant.Im == 0.0) {
        ippsZero_64fc(Out, Count);
      } else {
        ippsDivC_64fc(In, Constant, Out, Count);
      }
      break;
    case TQSComplexApplyOperation::caoDivideConst:
      DivideConst(In, Constant, Out, Count);
      break;
    case TQSComplexApplyOperation::caoSet:
      ippsSet_64fc(Constant, Out, Count);
      break;
  }
}

void QSApplyComplexConst::RegisterPkg() { RegisterComponents({ClassOf<TQSApplyComplexConst>()}); }

}  // namespace tessalune
