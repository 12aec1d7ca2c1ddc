#include <tessalune/filters/QSRealToInt.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> RoundInfo{
    .Name = "Round",
    .Default = false,
    .Doc = "Whether samples go to the nearest integer, a tie to the even one; else towards 0."};

}  // namespace

template <class TIn, class TOut>
TQSSampleConverter<TIn, TOut>::TQSSampleConverter(TConstruct AConstruct)
    : TQSBasicThreadedFilter(AConstruct),
      FInputPin({*this, FInputLock}, SinkEvent()),
      FOutputPin({*this, FOutputLock}, GKLPassTroughDispatch(FInputPin)) {
  FOutputPin.AddFunctionSource(FInputPin);
}

template <class TIn, class TOut>
const TPublishedTable& TQSSampleConverter<TIn, TOut>::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSSampleConverter"}, &TQSBasicThreadedFilter::Published())
          .Pin("OutputPin", &TQSSampleConverter::OutputPin, "The converted stream.", true)
          .Pin("InputPin", &TQSSampleConverter::InputPin, "The stream to convert.", true);
  return Table;
}

template <class TIn, class TOut>
TKLNotifyResult TQSSampleConverter<TIn, TOut>::IntSingleOperation(IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  auto Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Take();
  return IntSingleBufferOperation(TQSTypedBuffer<TIn>::CreateUniversal(std::move(Packet)));
}

template <class TIn, class TOut>
TKLNotifyResult TQSSampleConverter<TIn, TOut>::IntSingleBufferOperation(
    TRef<IQSDataBuffer> ABuffer) {
  if (!FOutputPin.IsConnected()) return {};
  auto Input = StaticRefCast<TQSTypedBuffer<TIn>>(std::move(ABuffer));
  auto Output = TQSTypedBuffer<TOut>::CreateSize(Input->GetSize());
  Convert(Input->Read(), Output->Write(), Output->GetSize());
  Input = nullptr;
  return FOutputPin.SubmitBuffer(std::move(Output));
}

template class TQSSampleConverter<double, std::int32_t>;
template class TQSSampleConverter<std::int32_t, double>;

// --- to integers ---

namespace {

constexpr TClassText RealToIntText{
    .Use =
        R"(Makes integers of 32 bits from real samples: for a file with 4 bytes a sample, for the arithmetic
of TQSApplyIntConst, or to see what rounding to steps does to a signal. Scale the signal to the
steps that you want before, by TQSApplyRealConst. `Round` is what a converter does; without it a
step is twice as wide at 0 as elsewhere.)",
    .BadInput =
        R"(What is beyond 32 bits saturates, to 2147483647 above and -2147483648 below, the infinities too. A
NaN gives 0.)",
    .Accuracy =
        R"(With `Round` at most half a step off, a tie to the even number; without it less than a step,
towards 0. While the output leads nowhere nothing is computed.)",
    .Formulas = R"(    Round      y[n] = the integer nearest to x[n]
    otherwise  y[n] = x[n] without what is behind the point)",
    .SeeAlso = "TQSIntToReal, TQSApplyIntConst, TQSApplyRealConst, TQSLogger",
    .Example = "A tone of amplitude 4, rounded to integers.",
};

}  // namespace

const TPublishedTable& TQSRealToInt::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRealToInt",
                       .DisplayName = "Real to Integer converter",
                       .Category = categories::Converters,
                       .Doc = "Real samples as integers of 32 bits, saturated; a NaN gives 0.",
                       .Text = RealToIntText},
                      &TQSSampleConverter::Published())
          .Property(RoundInfo, &TQSRealToInt::Round, &TQSRealToInt::SetRound);
  return Table;
}

void TQSRealToInt::SetRound(bool AValue) { NotifySetter(RoundInfo, FRound, AValue); }

void TQSRealToInt::Convert(const double* AIn, std::int32_t* AOut, std::int32_t ACount) {
  ippsConvert_64f32s_Sfs(AIn, AOut, ACount, FRound ? ippRndNear : ippRndZero, 0);
}

void QSRealToInt::RegisterPkg() { RegisterComponents({ClassOf<TQSRealToInt>()}); }

// --- to real samples ---

namespace {

constexpr TClassText IntToRealText{
    .Use =
        R"(Lets integers, from a file of 4 bytes a sample or behind TQSRealToInt, into the components that
compute with real samples. Scale them behind it, by TQSApplyRealConst.)",
    .BadInput =
        R"(There is none: each integer is a real number. It takes streams of type `integer` alone: a file of
unsigned samples is played to it as integers, and those above 2147483647 come as negative numbers.)",
    .Accuracy = "Exact. While the output leads nowhere nothing is computed.",
    .Formulas = "    y[n] = x[n]",
    .SeeAlso = "TQSRealToInt, TQSPlayer, TQSApplyRealConst, TQSApplyIntConst",
    .Example =
        R"(A tone of amplitude 1 goes through steps of 1/4: times 4, to integers, back, divided by 4.)",
};

}  // namespace

const TPublishedTable& TQSIntToReal::Published() {
  static const TPublishedTable Table = TPublishedTable({.Name = "TQSIntToReal",
                                                        .DisplayName = "Integer to Real converter",
                                                        .Category = categories::Converters,
                                                        .Doc = "Integers as real samples.",
                                                        .Text = IntToRealText},
                                                       &TQSSampleConverter::Published());
  return Table;
}

void TQSIntToReal::Convert(const std::int32_t* AIn, double* AOut, std::int32_t ACount) {
  ippsConvert_32s64f(AIn, AOut, ACount);
}

void QSIntToReal::RegisterPkg() { RegisterComponents({ClassOf<TQSIntToReal>()}); }

}  // namespace tessalune
