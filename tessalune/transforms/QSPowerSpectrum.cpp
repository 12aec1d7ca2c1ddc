#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/transforms/QSPowerSpectrum.h>

#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<bool> ProcessHalfInfo{
    .Name = "ProcessHalf",
    .Default = false,
    .Doc = "Whether only the lower half of the bins is taken; takes effect at the next start."};
constexpr TPropertyInfo<bool> MagnitudeInfo{
    .Name = "Magnitude",
    .Default = false,
    .Doc = "Whether magnitudes are sent, else their squares."};

}  // namespace

TQSPowerSpectrum::TQSPowerSpectrum(TConstruct AConstruct)
    : TQSBasicThreadedFilter(AConstruct),
      FInputPin({*this, FInputLock}, SinkEvent()),
      FOutputPin({*this, FOutputLock},
                 GKLPassTroughDispatch(
                     FInputPin,
                     [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                            IKLNotifyOperation& AOperation, TKLNotifyState AState) {
                       return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
                     })) {
  FOutputPin.AddFunctionSource(FInputPin);
}

const TPublishedTable& TQSPowerSpectrum::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPowerSpectrum",
                       .DisplayName = "Computes Power Spectrum from Complex Signal",
                       .Category = categories::Transforms,
                       .Doc = "The squared magnitudes, or the magnitudes, of complex bins."},
                      &TQSBasicThreadedFilter::Published())
          .Pin("OutputPin", &TQSPowerSpectrum::OutputPin, "The magnitudes or their squares.", true)
          .Pin("InputPin", &TQSPowerSpectrum::InputPin, "The complex bins.", true)
          .Property(ProcessHalfInfo, &TQSPowerSpectrum::ProcessHalf,
                    &TQSPowerSpectrum::SetProcessHalf)
          .Property(MagnitudeInfo, &TQSPowerSpectrum::Magnitude, &TQSPowerSpectrum::SetMagnitude);
  return Table;
}

void TQSPowerSpectrum::SetProcessHalf(bool AValue) {
  NotifySetter(ProcessHalfInfo, FProcessHalf, AValue);
}

void TQSPowerSpectrum::SetMagnitude(bool AValue) {
  NotifySetter(MagnitudeInfo, FMagnitude, AValue);
}

void TQSPowerSpectrum::StreamStart() {
  FRunningProcessHalf = FProcessHalf;
  TQSBasicThreadedFilter::StreamStart();
}

TKLNotifyResult TQSPowerSpectrum::IntSingleOperation(IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  auto Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Take();
  return IntSingleBufferOperation(TQSComplexBuffer::CreateUniversal(std::move(Packet)));
}

TKLNotifyResult TQSPowerSpectrum::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  if (!FOutputPin.IsConnected()) return {};
  auto Bins = StaticRefCast<IQSComplexBuffer>(std::move(ABuffer));
  const std::int32_t Count = FRunningProcessHalf ? Bins->GetSize() / 2 : Bins->GetSize();
  auto Output = TQSRealBuffer::CreateSize(Count);
  const auto Compute = FMagnitude ? ippsMagnitude_64fc : ippsPowerSpectr_64fc;
  Compute(Bins->Read(), Output->Write(), Count);
  Bins = nullptr;
  return FOutputPin.SubmitBuffer(std::move(Output));
}

void QSPowerSpectrum::RegisterPkg() { RegisterComponents({ClassOf<TQSPowerSpectrum>()}); }

}  // namespace tessalune
