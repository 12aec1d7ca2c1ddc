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

namespace {

constexpr TClassText ComplexToRealText{
    .Use =
        R"(Takes a complex stream apart: the samples of a signal from the inverse of a spectrum, the in-phase
and the quadrature part of an analytic signal, bins for a component that takes real streams. For
magnitude and phase take TQSCartToPolar.)",
    .BadInput =
        R"(NaN and the infinities are taken over as they are. Empty blocks give empty blocks.)",
    .Accuracy =
        R"(Exact: the numbers are copied. Each block gives two of its size, that of the real parts first.)",
    .Formulas = "    real[n] = re x[n], imaginary[n] = im x[n]",
    .SeeAlso = "TQSRealToComplex, TQSCartToPolar, TQSHilbert, TQSConjugate",
    .Example =
        R"(The analytic signal of a tone of 100 Hz, as its real and its imaginary part: a quarter of a cycle
lies between them.)",
};

}  // namespace

const TPublishedTable& TQSComplexToReal::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSComplexToReal",
                       .DisplayName = "Split Complex into Real and Imaginary signals",
                       .Category = categories::Converters,
                       .Doc = "The real and the imaginary parts of a complex stream.",
                       .Text = ComplexToRealText},
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

namespace {

constexpr TClassText CartToPolarText{
    .Use =
        R"(Magnitude and phase of complex samples: the envelope of an analytic signal from TQSHilbert, the
magnitude and the phase of each bin of a spectrum. The difference from one phase to the next is
the momentary frequency.)",
    .BadInput =
        R"(A NaN in either part gives NaN. The squares are not guarded: a part above some 1e154 gives an
infinite magnitude, and a magnitude below some 1e-154 loses digits, down to 0. The phase of 0 is 0
or pi, by the signs of its zeros.)",
    .Accuracy =
        R"(A few units in the last place. The phase jumps by 2 pi where it would leave the range from -pi to
pi. A root and an arc tangent a sample, computed whether or not both outputs are linked; the
magnitudes' block goes out first.)",
    .Formulas = R"(    magnitude[n] = sqrt(re x[n]^2 + im x[n]^2)
    phase[n] = atan2(im x[n], re x[n]))",
    .SeeAlso = R"(TQSPolarToCart, TQSComplexToReal, TQSHilbert, TQSFourier, TQSPowerSpectrum)",
    .Example =
        R"(The analytic signal of a tone whose level swings: its magnitude is the envelope.)",
};

}  // namespace

const TPublishedTable& TQSCartToPolar::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSCartToPolar",
                       .DisplayName = "Cartesian to Polar converter",
                       .Category = categories::Converters,
                       .Doc = "The magnitude and the phase of each sample of a complex stream.",
                       .Text = CartToPolarText},
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
