#include <tessalune/filters/QSApplyIntConst.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <limits>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> ValueInfo{
    .Name = "Value", .Default = 0, .Doc = "The constant, or the number of bits to shift by."};
constexpr TPropertyInfo<TQSIntApplyOperation> ApplyOperationInfo{
    .Name = "ApplyOperation",
    .Default = TQSIntApplyOperation::iaoAdd,
    .Doc = "How sample and constant combine; the forms that end in Const take the constant first."};

// Towards zero; 0 for a divisor of 0.
std::int32_t Quotient(std::int32_t ADividend, std::int32_t ADivisor) {
  if (ADivisor == 0) return 0;
  const std::int64_t Exact = std::int64_t{ADividend} / ADivisor;
  return Exact > std::numeric_limits<std::int32_t>::max() ? std::numeric_limits<std::int32_t>::max()
                                                          : static_cast<std::int32_t>(Exact);
}

constexpr TClassText ApplyIntConstText{
    .Use =
        R"(Arithmetic and bits of integer streams: scale counts, take a sign or a field of bits out of a word
(`iaoRShift`, then `iaoAnd`), set or turn bits, make a stream of one number. Between TQSRealToInt
and TQSIntToReal it shows what a converter of few bits does to a signal.)",
    .BadInput =
        R"(A sum, a difference or a product beyond 32 bits saturates, to 2147483647 or -2147483648; so does
-2147483648 / -1. `iaoDivide` by 0 gives zeros, and with `iaoDivideConst` a sample of 0 gives 0. A
shift by 32 bits or more moves all of them out: 0 to the left, 0 or -1 by the sign to the right.
With a negative number of bits the block goes through unchanged.)",
    .Accuracy =
        R"(Exact but for saturation; quotients are cut towards 0. A negative `Value` stands for its 32 bits
in two's complement. One step a sample; no delay and no memory.)",
    .Formulas = R"(With v for `Value` and [ ] for the nearest of the 32-bit integers:

    iaoAdd            y[n] = [x[n] + v]
    iaoSubtract       y[n] = [x[n] - v]
    iaoSubtractConst  y[n] = [v - x[n]]
    iaoMultiply       y[n] = [x[n] v]
    iaoDivide         y[n] = x[n] / v, cut towards 0
    iaoDivideConst    y[n] = v / x[n], cut towards 0
    iaoAnd, iaoOr, iaoXor        bit by bit with v
    iaoLShift, iaoRShift         by v bits, to the right with the sign kept
    iaoSet            y[n] = v)",
    .SeeAlso = "TQSRealToInt, TQSIntToReal, TQSApplyRealConst",
    .Example =
        R"(A tone in integers of 8 bits, whose lower five bits are cleared by `iaoAnd` with -32: eight levels
are left of 256.)",
};

}  // namespace

const TPublishedTable& TQSApplyIntConst::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSApplyIntConst",
                       .DisplayName = "Applies constant on Real Signal",
                       .Category = categories::Math,
                       .Doc = "Combines each sample of an integer stream with a constant.",
                       .Text = ApplyIntConstText},
                      &TQSCommonIntegerFilter::Published())
          .Property(ValueInfo, &TQSApplyIntConst::Value, &TQSApplyIntConst::SetValue)
          .Property(ApplyOperationInfo, &TQSApplyIntConst::ApplyOperation,
                    &TQSApplyIntConst::SetApplyOperation);
  return Table;
}

void TQSApplyIntConst::SetValue(std::int32_t AValue) { NotifySetter(ValueInfo, FValue, AValue); }
void TQSApplyIntConst::SetApplyOperation(TQSIntApplyOperation AValue) {
  NotifySetter(ApplyOperationInfo, FApplyOperation, AValue);
}

void TQSApplyIntConst::FilterInternalOperation(const TRef<IQSIntegerBuffer>& AInBuffer,
                                               TRef<IQSIntegerBuffer>& AOutBuffer, bool&) {
  const std::int32_t Constant = FValue;
  const std::int32_t Count = AOutBuffer->GetSize();
  const std::int32_t* In = AInBuffer->Read();
  const TQSIntApplyOperation Operation = FApplyOperation;
  if (Operation == TQSIntApplyOperation::iaoLShift ||
      Operation == TQSIntApplyOperation::iaoRShift) {
    if (Constant < 0) {
      AOutBuffer = AInBuffer;
      return;
    }
  }
  std::int32_t* Out = AOutBuffer->Write();
  // The bit operations are defined on unsigned samples; a signed one is the same 32 bits.
  const auto* BitsIn = reinterpret_cast<const std::uint32_t*>(In);
  auto* BitsOut = reinterpret_cast<std::uint32_t*>(Out);
  const auto Bits = static_cast<std::uint32_t>(Constant);
  switch (Operation) {
    case TQSIntApplyOperation::iaoAdd:
      ippsAddC_32s_Sfs(In, Constant, Out, Count, 0);
      break;
    case TQSIntApplyOperation::iaoSubtract:
      ippsSubC_32s_Sfs(In, Constant, Out, Count, 0);
      break;
    case TQSIntApplyOperation::iaoSubtractConst:
      ippsSubCRev_32s_Sfs(In, Constant, Out, Count, 0);
      break;
    case TQSIntApplyOperation::iaoMultiply:
      ippsMulC_32s_Sfs(In, Constant, Out, Count, 0);
      break;
    case TQSIntApplyOperation::iaoDivide:
      for (std::int32_t I = 0; I < Count; ++I) Out[I] = Quotient(In[I], Constant);
      break;
    case TQSIntApplyOperation::iaoDivideConst:
      for (std::int32_t I = 0; I < Count; ++I) Out[I] = Quotient(Constant, In[I]);
      break;
    case TQSIntApplyOperation::iaoAnd:
      ippsAndC_32u(BitsIn, Bits, BitsOut, Count);
      break;
    case TQSIntApplyOperation::iaoOr:
      ippsOrC_32u(BitsIn, Bits, BitsOut, Count);
      break;
    case TQSIntApplyOperation::iaoXor:
      ippsXorC_32u(BitsIn, Bits, BitsOut, Count);
      break;
    case TQSIntApplyOperation::iaoLShift:
      ippsLShiftC_32s(In, Constant, Out, Count);
      break;
    case TQSIntApplyOperation::iaoRShift:
      ippsRShiftC_32s(In, Constant, Out, Count);
      break;
    case TQSIntApplyOperation::iaoSet:
      ippsSet_32s(Constant, Out, Count);
      break;
  }
}

void QSApplyIntConst::RegisterPkg() { RegisterComponents({ClassOf<TQSApplyIntConst>()}); }

}  // namespace tessalune
