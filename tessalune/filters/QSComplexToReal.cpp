#include <tessalune/filters/QSComplexToReal.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <utility>

namespace tessalune {

TQSBasicComplexInputFilter::TQSBasicComplexInputFilter(TConstruct AConstruct)
    : TQSBasicThreadedFilter(AConstruct),
      FInputPin({*this, FInputLock}, SinkEvent()),
      FFirstOutputPin({*this, FOutputLock}, SourceDispatch()),
      FSecondOutputPin({*this, FOutputLock}, SourceDispatch()) {
  FFirstOutputPin.AddFunctionSource(FInputPin);
  FSecondOutputPin.AddFunctionSource(FInputPin);
}

const TPublishedTable& TQSBasicComplexInputFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicComplexInputFilter"}, &TQSBasicThreadedFilter::Published())
          .Pin("InputPin", &TQSBasicComplexInputFilter::InputPin, "The complex stream.", true);
  return Table;
}

TKLNotifyEvent TQSBasicComplexInputFilter::SourceDispatch() {
  return GKLPassTroughDispatch(
      FInputPin, [this](TKLBasicPin& ASender, TKLBasicPin* AOtherPin, const TGUID& ADataTypeID,
                        IKLNotifyOperation& AOperation, TKLNotifyState AState) {
        return SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation, AState);
      });
}

TKLNotifyResult TQSBasicComplexInputFilter::IntSingleOperation(IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  auto Packet = AOperation.GetInstance<TKLSuppliedBufferOperation>().Take();
  return IntSingleBufferOperation(TQSComplexBuffer::CreateUniversal(std::move(Packet)));
}

TKLNotifyResult TQSBasicComplexInputFilter::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  auto Input = StaticRefCast<IQSComplexBuffer>(std::move(ABuffer));
  const std::int32_t Count = Input->GetSize();
  auto First = TQSRealBuffer::CreateSize(Count);
  auto Second = TQSRealBuffer::CreateSize(Count);
  Split(Input->Read(), First->Write(), Second->Write(), Count);
  Input = nullptr;
  FFirstOutputPin.SubmitBuffer(std::move(First));
  return FSecondOutputPin.SubmitBuffer(std::move(Second));
}

TKLNotifyResult TQSBasicComplexInputFilter::OutputPinsNotify(IKLNotifyOperation& AOperation) {
  return NotifyBoth(FFirstOutputPin, FSecondOutputPin, AOperation);
}

// --- the parts ---

const TPublishedTable& TQSComplexToReal::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSComplexToReal",
                       .DisplayName = "Split Complex into Real and Imaginary signals",
                       .Category = categories::Converters,
                       .Doc = "The real and the imaginary parts of a complex stream."},
                      &TQSBasicComplexInputFilter::Published())
          .Pin("RealOutputPin", &TQSComplexToReal::RealOutputPin, "The real parts.", true)
          .Pin("ImagOutputPin", &TQSComplexToReal::ImagOutputPin, "The imaginary parts.", true);
  return Table;
}

void TQSComplexToReal::Split(const TComplex* AIn, double* AFirst, double* ASecond,
                             std::int32_t ACount) {
  ippsCplxToReal_64fc(AIn, AFirst, ASecond, ACount);
}

void QSComplexToReal::RegisterPkg() { RegisterComponents({ClassOf<TQSComplexToReal>()}); }

// --- the polar form ---

const TPublishedTable& TQSCartToPolar::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCartToPolar",
                       .DisplayName = "Cartesian to Polar converter",
                       .Category = categories::Converters,
                       .Doc = "The magnitude and the phase of each sample of a complex stream."},
                      &TQSBasicComplexInputFilter::Published())
          .Pin("MagnOutputPin", &TQSCartToPolar::MagnOutputPin, "The magnitudes.", true)
          .Pin("PhaseOutputPin", &TQSCartToPolar::PhaseOutputPin,
               "The phases in radians, from -pi to pi.", true);
  return Table;
}

void TQSCartToPolar::Split(const TComplex* AIn, double* AFirst, double* ASecond,
                           std::int32_t ACount) {
  ippsCartToPolar_64fc(AIn, AFirst, ASecond, ACount);
}

void QSCartToPolar::RegisterPkg() { RegisterComponents({ClassOf<TQSCartToPolar>()}); }

}  // namespace tessalune
