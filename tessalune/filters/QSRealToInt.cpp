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

const TPublishedTable& TQSRealToInt::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSRealToInt",
                       .DisplayName = "Real to Integer converter",
                       .Category = categories::Converters,
                       .Doc = "Real samples as integers of 32 bits, saturated; a NaN gives 0."},
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

const TPublishedTable& TQSIntToReal::Published() {
  static const TPublishedTable Table = TPublishedTable({.Name = "TQSIntToReal",
                                                        .DisplayName = "Integer to Real converter",
                                                        .Category = categories::Converters,
                                                        .Doc = "Integers as real samples."},
                                                       &TQSSampleConverter::Published());
  return Table;
}

void TQSIntToReal::Convert(const std::int32_t* AIn, double* AOut, std::int32_t ACount) {
  ippsConvert_32s64f(AIn, AOut, ACount);
}

void QSIntToReal::RegisterPkg() { RegisterComponents({ClassOf<TQSIntToReal>()}); }

}  // namespace tessalune
