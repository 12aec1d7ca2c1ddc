#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSHilbertDispatcher.h>
#include <tessalune/transforms/QSHilbert.h>

#include <new>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<std::int32_t> BufferSizeInfo{
    .Name = "BufferSize",
    .Default = 1024,
    .Bounds = AtLeast(1),
    .Design = Between(1, 65536),
    .Unit = "samples",
    .Effect = TTakesEffect::NextStart,
    .Doc = "Samples of each frame, from the next start on."};

}  // namespace

TQSHilbert::TQSHilbert(TConstruct AConstruct)
    : TLockComponent(AConstruct),
      FInputPin({*this, FLock},
                [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                       TKLNotifyState) { return SinkDispatch(AOperation); }),
      FOutputPin({*this, FLock}, SourceEvent()),
      FShiftedOutputPin({*this, FLock}, SourceEvent()),
      FFrames(*this, BufferSizeInfo.Name,
              [this](TRef<IQSDataBuffer> AFrame) { return ProcessHilbert(std::move(AFrame)); }) {
  FOutputPin.AddFunctionSource(FInputPin);
  FShiftedOutputPin.AddFunctionSource(FInputPin);
}

namespace {

constexpr TClassText HilbertText{
    .Use =
        R"(The analytic signal of a real stream: a complex one whose imaginary part is the signal shifted by
a quarter of a cycle, at all frequencies. Behind it TQSCartToPolar gives envelope and phase,
TQSMultiplyComplex shifts frequencies without a mirror image. `ShiftedOutputPin` has the shifted
signal alone.

Each frame is treated as if it were periodic: take frames of whole periods, or long ones, and mind
their ends.)",
    .BadInput =
        R"(A NaN or an infinity shows in every sample of its frame. What is beyond some 3.4e38 becomes
infinite. What a stream leaves in a frame that is not full is dropped.)",
    .Accuracy =
        R"(Single precision: both parts have 24 significant bits. A frame goes out when its last sample has
come, so samples are up to `BufferSize` late. A few N log2(N) operations a frame of N samples.)",
    .Formulas =
        R"(Of the discrete Fourier transform of a frame, bins above N / 2 are set to 0, those between 0 and N
/ 2 doubled, and the result is transformed back:

    y = x + i H(x), H(cos w t) = sin w t

(Marple 1999, "Computing the discrete-time analytic signal via FFT", IEEE Trans. Signal Processing
47.))",
    .SeeAlso = "TQSCartToPolar, TQSComplexToReal, TQSMultiplyComplex, TQSRepack",
    .Example = "A tone of 100 Hz, and the same tone shifted by a quarter of a cycle.",
};

}  // namespace

const TPublishedTable& TQSHilbert::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSHilbert",
                       .DisplayName = "Performs Hilbert Transformation",
                       .Category = categories::Transforms,
                       .Doc = "The analytic signal of a real stream, in frames of BufferSize "
                              "samples that are transformed one by one, in single precision.",
                       .Text = HilbertText},
                      &TComponent::Published())
          .Pin("InputPin", &TQSHilbert::InputPin, "The real stream.", true)
          .Pin("OutputPin", &TQSHilbert::OutputPin, "The analytic signal.", true)
          .Pin("ShiftedOutputPin", &TQSHilbert::ShiftedOutputPin,
               "Its imaginary part: the stream shifted by 90 degrees.", true)
          .Property(BufferSizeInfo, &TQSHilbert::BufferSize, &TQSHilbert::SetBufferSize);
  return Table;
}

void TQSHilbert::SetBufferSize(std::int32_t AValue) {
  NotifySetter(BufferSizeInfo, FBufferSize, AValue);
}

TKLNotifyEvent TQSHilbert::SourceEvent() {
  return GKLPassTroughDispatch(
      FInputPin, [this](TKLBasicPin&, TKLBasicPin*, const TGUID&, IKLNotifyOperation& AOperation,
                        TKLNotifyState) { return SinkDispatch(AOperation); });
}

TKLNotifyResult TQSHilbert::SinkDispatch(IKLNotifyOperation& AOperation) {
  if (AOperation.IsType<TKLSuppliedBufferOperation>()) {
    if (!FRunning) return {};
    return FFrames.Cut(
        TQSRealBuffer::CreateUniversal(AOperation.GetInstance<TKLSuppliedBufferOperation>().Take()),
        FFrameSize);
  }
  if (AOperation.IsType<TKLStartOperation>()) Reset();
  if (AOperation.IsType<TKLStopOperation>()) Stop();
  return NotifyBoth(FShiftedOutputPin, FOutputPin, AOperation);
}

void TQSHilbert::Reset() {
  Stop();
  FFrameSize = FBufferSize;
  FRunning = true;
}

void TQSHilbert::Stop() {
  FRunning = false;
  FFrames.Restart();
  FIntState = nullptr;
  FF32Buffer = {};
  FFC32Buffer = {};
}

TKLNotifyResult TQSHilbert::ProcessHilbert(TRef<IQSDataBuffer> AFrame) {
  auto Frame = StaticRefCast<IQSRealBuffer>(std::move(AFrame));
  const std::int32_t Size = Frame->GetSize();
  TRef<IQSComplexBuffer> Output;
  TRef<IQSRealBuffer> Shifted;
  try {
    Output = TQSComplexBuffer::CreateSize(Size);
    SingleHilbert(Frame->Read(), Output->Write(), Size);
    Frame = nullptr;
    if (FShiftedOutputPin.IsConnected()) {
      Shifted = TQSRealBuffer::CreateSize(Size);
      ippsImag_64fc(Output->Read(), Shifted->Write(), Size);
    }
  } catch (const std::bad_alloc&) {
    throw EQSException(Describe() + ": there is no memory to transform a frame of " +
                       NumberText(Size) + " samples; make BufferSize smaller");
  }
  if (Shifted) FShiftedOutputPin.SubmitBuffer(std::move(Shifted));
  return FOutputPin.SubmitBuffer(std::move(Output));
}

void TQSHilbert::SingleHilbert(const double* AInBuffer, TComplex* AOutBuffer,
                               std::int32_t ABufSize) {
  const auto Check = [](IppStatus AStatus) {
    if (AStatus != ippStsNoErr) throw std::bad_alloc();
  };
  if (!FIntState) {
    FF32Buffer.resize(static_cast<std::size_t>(ABufSize));
    FFC32Buffer.resize(FF32Buffer.size());
    HilbertSpec_32f32fc* Plan = nullptr;
    Check(ippsHilbertInitAlloc_32f32fc(&Plan, ABufSize, ippAlgHintAccurate));
    FIntState.reset(Plan);
  }
  ippsConvert_64f32f(AInBuffer, FF32Buffer.data(), ABufSize);
  Check(ippsHilbert_32f32fc(FF32Buffer.data(), FFC32Buffer.data(), FIntState.get()));
  // In two halves: the count of both parts may be too large for one call.
  const auto* Parts = reinterpret_cast<const float*>(FFC32Buffer.data());
  auto* Out = reinterpret_cast<double*>(AOutBuffer);
  for (int Half = 0; Half < 2; ++Half) {
    ippsConvert_32f64f(Parts + std::ptrdiff_t{Half} * ABufSize,
                       Out + std::ptrdiff_t{Half} * ABufSize, ABufSize);
  }
}

void TQSHilbert::TFree::operator()(HilbertSpec_32f32fc* APlan) const {
  ippsHilbertFree_32f32fc(APlan);
}

void QSHilbert::RegisterPkg() { RegisterComponents({ClassOf<TQSHilbert>()}); }

}  // namespace tessalune
