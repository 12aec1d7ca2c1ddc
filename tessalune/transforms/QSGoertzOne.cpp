#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/transforms/QSGoertzOne.h>

#include <limits>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<double> FrequencyInfo{.Name = "Frequency",
                                              .Default = 500.0,
                                              .Bounds = AtLeast(0.0),
                                              .Design = Between(0.0, 500000000.0),
                                              .Unit = "Hz",
                                              .Doc = "What is measured; below the sample rate."};

}  // namespace

TQSGoertzOne::TQSGoertzOne(TConstruct AConstruct)
    : TQSBasicThreadedEnableFilter(AConstruct),
      FInputPin({*this, FInputLock}, SinkEvent()),
      FOutputPin({*this, FOutputLock}),
      FSpectrumOutputPin({*this, FLock}) {
  FOutputPin.AddFunctionSource(FInputPin);
  FSpectrumOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText GoertzOneText{
    .Use =
        R"(Measures one frequency, block by block, with far less work than a spectrum: dial tones, pilots,
the hum in a signal, the response at one place. Take blocks of whole periods, by TQSRepack, or a
window before, by TQSApplyWindow. Of a tone of amplitude A at `Frequency` the magnitude is A N /
2, for blocks of N real samples; a narrower line needs longer blocks.)",
    .BadInput =
        R"(A NaN or an infinity in a block makes its result one. At or above the sample rate, and of blocks
that come without a start, the result is NaN, and the notes of `run` tell. A block without samples
gives no result.)",
    .Accuracy =
        R"(Within (64 + N / 2^16) rounding errors of the sum of the magnitudes of a block's N samples, at all
frequencies. A few operations a sample, and some 0.4 us a block.)",
    .Formulas = R"(    X = exp(2 pi i f N) sum over n of x[n] exp(-2 pi i f n), f = Frequency / rate
    magnitude = |X|

That is bin m of the discrete Fourier transform where f = m / N. (Goertzel 1958, "An algorithm for
the evaluation of finite trigonometric series", Amer. Math. Monthly 65.))",
    .SeeAlso = "TQSFourier, TQSDft, TQSBandPass, TQSRepack, TQSApplyWindow",
    .Example =
        R"(A tone of 500 Hz that comes and goes, and its magnitude in blocks of 80 samples.)",
};

}  // namespace

const TPublishedTable& TQSGoertzOne::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSGoertzOne",
                       .DisplayName = "Goertzel Filter (Detect Frequency)",
                       .Category = categories::Transforms,
                       .Doc = "One frequency in each block of a real or complex stream: a bin of "
                              "its Fourier transform, not divided by the block's size. Nothing is "
                              "measured while it is disabled. SpectrumOutputPin sends values "
                              "without a start before them.",
                       .Text = GoertzOneText},
                      &TQSBasicThreadedEnableFilter::Published())
          .Pin("InputPin", &TQSGoertzOne::InputPin, "The stream to measure, real or complex.", true)
          .Pin("OutputPin", &TQSGoertzOne::OutputPin, "The result of each block.", true)
          .Pin("SpectrumOutputPin", &TQSGoertzOne::SpectrumOutputPin,
               "The magnitude of each result, sent behind it.", true)
          .Property(FrequencyInfo, &TQSGoertzOne::Frequency, &TQSGoertzOne::SetFrequency)
          .Event("OnCalculate", &TQSGoertzOne::SetOnCalculate,
                 {"RealValue", "ImaginaryValue", "SpectrumValue"},
                 "A block has been measured, and the pins send the result next.");
  return Table;
}

void TQSGoertzOne::SetFrequency(double AValue) { NotifySetter(FrequencyInfo, FFrequency, AValue); }

void TQSGoertzOne::SetOnCalculate(TQSComplexNotifyEvent AHandler) {
  NotifySetter("OnCalculate", FOnCalculate, std::move(AHandler));
}

std::vector<std::string> TQSGoertzOne::Remarks() const {
  if (!FHasNoResult) return {};
  const double Rate = FSampleRate;
  if (!(Rate > 0.0)) {
    return {"the stream has no sample rate, so there is no result but NaN"};
  }
  return {"Frequency was " + NumberText(FFrequency) + " Hz and the sample rate " +
          NumberText(Rate) + " Hz, so there is no result but NaN; set a Frequency below the rate"};
}

TKLNotifyResult TQSGoertzOne::SinkDispatch(TKLBasicPin& ASender, TKLBasicPin* AOtherPin,
                                           const TGUID& ADataTypeID, IKLNotifyOperation& AOperation,
                                           TKLNotifyState AState) {
  if (!AOperation.IsType<TKLStartSampleRateOperation>()) {
    return TQSBasicThreadedEnableFilter::SinkDispatch(ASender, AOtherPin, ADataTypeID, AOperation,
                                                      AState);
  }
  StreamStart();
  if (ADataTypeID == RealStream.ID) FIsComplex = false;
  if (ADataTypeID == ComplexStream.ID) FIsComplex = true;
  FSampleRate = AOperation.GetInstance<TKLStartSampleRateOperation>().Rate;
  FHasNoResult = false;
  return FOutputPin.Notify(MakeRef<TKLStartRateOperation>(FSampleRate));
}

TKLNotifyResult TQSGoertzOne::IntSingleOperation(IKLNotifyOperation& AOperation) {
  if (!AOperation.IsType<TKLSuppliedBufferOperation>()) return {};
  return IntSingleBufferOperation(TQSGenericBuffer::CreateUniversal(
      AOperation.GetInstance<TKLSuppliedBufferOperation>().Take()));
}

TKLNotifyResult TQSGoertzOne::IntSingleBufferOperation(TRef<IQSDataBuffer> ABuffer) {
  if (!IsEnabled()) return {};
  const TGUID& Type = ABuffer->GetDataTypeID();
  if (Type == ComplexStream.ID || (FIsComplex && Type != RealStream.ID)) {
    InternalOperationComplex(*TQSComplexBuffer::CreateUniversal(std::move(ABuffer)));
  } else {
    InternalOperationReal(*TQSRealBuffer::CreateUniversal(std::move(ABuffer)));
  }
  return {};
}

void TQSGoertzOne::InternalOperationReal(const IQSRealBuffer& AInBuffer) {
  const std::int32_t Count = AInBuffer.GetSize();
  FInternalComplexBuffer->Resize(Count, false);
  ippsRealToCplx_64f(AInBuffer.Read(), nullptr, FInternalComplexBuffer->Write(), Count);
  InternalOperationComplex(*FInternalComplexBuffer);
}

void TQSGoertzOne::InternalOperationComplex(const IQSComplexBuffer& AInBuffer) {
  if (AInBuffer.GetSize() == 0) return;
  TComplex Result{};
  FHasNoResult = ippsGoertz_64fc(AInBuffer.Read(), AInBuffer.GetSize(), &Result,
                                 FFrequency / FSampleRate) != ippStsNoErr;
  if (FHasNoResult) {
    constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
    Result = {NaN, NaN};
  }
  FinishProcess(Result);
}

void TQSGoertzOne::FinishProcess(TComplex AResultValue) {
  double Spectrum = 0.0;
  ippsMagnitude_64fc(&AResultValue, &Spectrum, 1);
  FOnCalculate(*this, AResultValue.Re, AResultValue.Im, Spectrum);
  FOutputPin.SetValue(AResultValue);
  FSpectrumOutputPin.SetValue(Spectrum);
}

void QSGoertzOne::RegisterPkg() { RegisterComponents({ClassOf<TQSGoertzOne>()}); }

}  // namespace tessalune
