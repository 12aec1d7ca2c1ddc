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
    .Effect = TTakesEffect::NextStart,
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

namespace {

constexpr TClassText PowerSpectrumText{
    .Use =
        R"(The power or the magnitude of each bin of a spectrum, behind TQSFourier or TQSDft: for averages of
power over frames, for the energy in a band, for TQSRealTodB with `dbmPower`. Magnitudes of the
lower half alone TQSFourier has on its own output.)",
    .BadInput =
        R"(A NaN in a bin gives NaN there. The squares are not guarded: a part above some 1e154 gives
infinity, and one below some 1e-154 loses digits, down to 0. With `ProcessHalf` a block of one bin
gives an empty one.)",
    .Accuracy =
        R"(Within 2 rounding errors, 3 with the root. Two multiplications and an addition a bin; nothing
while the output leads nowhere. The rate that a start tells stays that of the signal, though
samples are bins here.)",
    .Formulas = R"(    y[k] = re X[k]^2 + im X[k]^2, with Magnitude the square root of it
    k from 0 to N - 1, with ProcessHalf to N / 2 - 1)",
    .SeeAlso = "TQSFourier, TQSDft, TQSRealTodB, TQSCartToPolar, TQSMean",
    .Example =
        R"(Tones of 1000 and 2500 Hz, the second at a tenth of the amplitude, and a little noise: the power
of the bins in decibels, 20 dB apart.)",
};

}  // namespace

const TPublishedTable& TQSPowerSpectrum::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSPowerSpectrum",
                       .DisplayName = "Computes Power Spectrum from Complex Signal",
                       .Category = categories::Transforms,
                       .Doc = "The squared magnitudes, or the magnitudes, of complex bins.",
                       .Text = PowerSpectrumText},
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
