#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/transforms/QSFourier.h>

#include <new>
#include <span>
#include <utility>

namespace tessalune {
namespace {

constexpr TPropertyInfo<TQSExtendedWindowType> WindowTypeInfo{
    .Name = "WindowType",
    .Default = TQSExtendedWindowType::xwtRect,
    .Effect = TTakesEffect::NextFrame,
    .Doc = "The window that frames are multiplied by; xwtNone leaves them as they are."};
constexpr TPropertyInfo<std::uint32_t> NumberTermsInfo{
    .Name = "NumberTerms",
    .Default = QSWindowCalculator::MinNumberTerms,
    .Bounds = Between(QSWindowCalculator::MinNumberTerms, QSWindowCalculator::MaxNumberTerms),
    .Unit = "terms",
    .Effect = TTakesEffect::NextStart,
    .Doc =
        "Terms of the window xwtCosSum. A change counts when the window is computed next: after "
        "one of WindowType, Alpha or Order."};
constexpr TPropertyInfo<std::int32_t> OrderInfo{.Name = "Order",
                                                .Default = 10,
                                                .Bounds = Between(2, 30),
                                                .Effect = TTakesEffect::NextFrame,
                                                .Doc = "A frame has 2^Order samples."};
constexpr TPropertyInfo<std::int32_t> InverseOrderInfo{
    .Name = "Order",
    .Default = 10,
    .Bounds = Between(2, 30),
    .Design = Between(8, 30),
    .Effect = TTakesEffect::NextStart,
    .Doc = "A block has 2^Order bins, and gives as many samples; takes effect at the next start."};

std::string OrderAdvice(std::int32_t AOrder) {
  return "Order is " + NumberText(AOrder) + ", a smaller one takes less";
}

}  // namespace

// --- forward ---

const TPublishedTable& TQSFourierBase::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSFourierBase"}, &TQSFourierBaseComponent::Published())
          .Property(WindowTypeInfo, &TQSFourierBase::WindowType, &TQSFourierBase::SetWindowType)
          .Property(AlphaInfo, &TQSFourierBase::Alpha, &TQSFourierBase::SetAlpha)
          .Property(NumberTermsInfo, &TQSFourierBase::NumberTerms, &TQSFourierBase::SetNumberTerms)
          .Property(OrderInfo, &TQSFourierBase::Order, &TQSFourierBase::SetOrder);
  return Table;
}

void TQSFourierBase::SetWindowType(TQSExtendedWindowType AValue) {
  NotifySetter(WindowTypeInfo, FWindowType, AValue, [this] { NotifyWindow(); });
}

void TQSFourierBase::SetNumberTerms(std::uint32_t AValue) {
  NotifySetter(NumberTermsInfo, FNumberTerms, AValue);
}

void TQSFourierBase::SetOrder(std::int32_t AValue) {
  NotifySetter(OrderInfo, FOrder, AValue, [this] { NotifyWindow(); });
}

void TQSFourierBase::IntInit() {
  MakePlan(
      {.Size = FCurrentSize, .IsFft = true, .IsComplex = FIsComplex, .Normalization = FNormalize});
}

void TQSFourierBase::StopFFT() {
  FWindowCalculated = false;
  TQSFourierBaseComponent::StopFFT();
}

std::string TQSFourierBase::SizeAdvice(std::int32_t) const { return OrderAdvice(FOrder); }

std::int64_t TQSFourierBase::OtherBytes() const {
  if (FWindowType == TQSExtendedWindowType::xwtNone) return 0;
  const std::int64_t Weight = FIsComplex ? sizeof(TComplex) : sizeof(double);
  const std::int64_t Line = FNeedsFreqDomainWindow ? sizeof(TComplex) : 0;
  return FCurrentSize * (Weight + Line);
}

// The bins' memory serves for the windowed frame: the transform works in place.
void TQSFourierBase::SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) {
  FIntState->Forward(ApplyWindow(AInBuffer, AOutBuffer, ASize), AOutBuffer);
}

const void* TQSFourierBase::ApplyWindow(const void* ASamples, void* AWork, std::int32_t ASize) {
  CalculateWindow(static_cast<std::size_t>(ASize));
  if (!FComplexWindow.empty()) {
    ippsMul_64fc(FComplexWindow.data(), static_cast<const TComplex*>(ASamples),
                 static_cast<TComplex*>(AWork), ASize);
  } else if (!FRealWindow.empty()) {
    ippsMul_64f(FRealWindow.data(), static_cast<const double*>(ASamples),
                static_cast<double*>(AWork), ASize);
  } else {
    return ASamples;
  }
  return AWork;
}

// What is set meanwhile is seen by the next frame.
void TQSFourierBase::CalculateWindow(std::size_t ASize) {
  const std::uint32_t Changes = FWindowChanges.load(std::memory_order_acquire);
  if (FWindowCalculated && FChangesSeen == Changes && FWindowSize == ASize) return;
  FWindowCalculated = false;
  const TQSExtendedWindowType Type = FWindowType;
  const bool HasWindow = Type != TQSExtendedWindowType::xwtNone;
  FRealWindow.resize(HasWindow && !FIsComplex ? ASize : 0);
  FComplexWindow.resize(HasWindow && FIsComplex ? ASize : 0);
  FFreqDomainWindow.resize(HasWindow && FNeedsFreqDomainWindow ? ASize : 0);
  const auto Calculate = [&](auto& AWindow) {
    return QSWindowCalculator::CalculateWindowForMult(Type, FNumberTerms, FAlpha,
                                                      std::span(AWindow), FFreqDomainWindow);
  };
  FWindowGain = !HasWindow ? 1.0 : FIsComplex ? Calculate(FComplexWindow) : Calculate(FRealWindow);
  FWindowCalculated = true;
  FWindowSize = ASize;
  FChangesSeen = Changes;
}

namespace {

constexpr TClassText FourierText{
    .Use =
        R"(The spectrum of a stream, in frames of 2^`Order` samples: what tones and noise a signal is made
of, how a filter answers, where the strongest line lies. `OutputPin` has all bins as complex
numbers, for TQSInverseFourier, TQSPowerSpectrum or TQSCartToPolar; `SpectrumOutputPin` the
magnitudes of the lower half, for TQSRealTodB; `FrequencyOutputPin` the frequency of the strongest
bin but bin 0. For frames of other lengths, such as whole periods, take TQSDft; for one frequency
alone TQSGoertzOne.

A window (`WindowType`) keeps a tone between two bins from smearing over all of them: `xwtHanning`
for most, `xwtFlatTop` for heights, `xwtCosSum` for weak lines beside strong ones; TQSApplyWindow
lists them.)",
    .Accuracy =
        R"(The relative error of a spectrum, root mean square over its bins, is below 1.2 2^-53 sqrt(`Order`)
+ 2^-53, the window's rounding aside. A few N log2(N) operations a frame of N samples, half of
that for real samples; some 48 N bytes of memory for real samples, 72 N for complex ones.)",
    .Formulas =
        R"(With w[n] the window, N the size of a frame, and s = 1, N or sqrt(N) as `Normalization` says:

    X[k] = (1 / s) sum over n of w[n] x[n] exp(-2 pi i n k / N), k from 0 to N - 1
    bin k lies at k times the rate / N)",
    .SeeAlso =
        R"(TQSInverseFourier, TQSDft, TQSPowerSpectrum, TQSGoertzOne, TQSApplyWindow, TQSRealTodB,
TQSCartToPolar)",
    .Example =
        R"(Tones of 1000 and 2500 Hz and a little noise: the magnitudes of a frame of 256 samples under
Hann's window.)",
};

}  // namespace

const TPublishedTable& TQSFourier::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSFourier",
                       .DisplayName = "Perform Fast Forward Fourier (FFT)",
                       .Category = categories::Transforms,
                       .Doc = "The spectra of frames of 2^Order samples, with a window, back to "
                              "back, overlapping or apart.",
                       .Text = FourierText},
                      &TQSFourierBase::Published())
          .Property(NormalizationInfo, &TQSFourier::Normalization, &TQSFourier::SetNormalization);
  return Table;
}

// --- inverse ---

const TPublishedTable& TQSBasicInverseFourier::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBasicInverseFourier"},
                      &TQSBasicInverseFourierComponent::Published())
          .Property(InverseOrderInfo, &TQSBasicInverseFourier::Order,
                    &TQSBasicInverseFourier::SetOrder);
  return Table;
}

void TQSBasicInverseFourier::SetOrder(std::int32_t AValue) {
  NotifySetter(InverseOrderInfo, FOrder, AValue);
}

void TQSBasicInverseFourier::StreamStart() {
  IntUnInit();
  const std::int32_t Order = FOrder;
  FSize = std::int32_t{1} << Order;
  const TQSFourierPlanKind Kind{.Size = FSize, .IsComplex = IsComplexResult()};
  const std::int64_t Bytes = FSize * std::int64_t{sizeof(TComplex)} + FourierPlanBytes(Kind);
  try {
    RequireMemory(Bytes);
    IntInit();
  } catch (const std::bad_alloc&) {
    RefuseMemory("blocks of " + NumberText(FSize) + " bins", Bytes, OrderAdvice(Order));
  }
  TQSBasicInverseFourierComponent::StreamStart();
}

void TQSBasicInverseFourier::StreamStop() {
  TQSBasicInverseFourierComponent::StreamStop();
  IntUnInit();
}

void TQSBasicInverseFourier::IntInit() {
  MakePlan({.Size = FSize,
            .IsFft = true,
            .IsComplex = IsComplexResult(),
            .IsInverse = true,
            .Normalization = FNormalize});
}

bool TQSBasicInverseFourier::ReadyFor(std::int32_t ASize) {
  if (!FIntState || ASize == 0) return false;
  if (ASize != FSize) {
    throw EQSException(Describe() + ": a block of " + NumberText(ASize) +
                       " bins has come, but the Order at the start of the stream takes blocks of " +
                       NumberText(FSize) + "; set both ends to the same Order");
  }
  IntInit();  // the normalisation may be another one
  return true;
}

TQSInverseFourier::TQSInverseFourier(TConstruct AConstruct)
    : TQSBasicInverseFourier(AConstruct), FOutputPin({*this, FOutputLock}, SourceDispatch()) {
  FOutputPin.AddFunctionSource(InputPin());
}

namespace {

constexpr TClassText InverseFourierText{
    .Use =
        R"(Back from a spectrum to real samples: behind TQSFourier and whatever has changed the bins between,
with the same `Order`. So a filter can be made in the spectrum, or a signal be put together from
its lines. `Normalization` has to be the same on both sides for the level to stay.)",
    .BadInput =
        R"(A block that has not 2^`Order` bins ends the run with an error that names both sizes; blocks
without bins are dropped.)",
    .Accuracy =
        R"(There and back without a window, a frame comes out with a relative error, root mean square, of at
most 2.4 2^-53 sqrt(`Order`) + 3 2^-53. A few N log2(N) operations a block.)",
    .Formulas = R"(With s = 1, N or sqrt(N) as `Normalization` says:

    x[n] = (1 / (s N)) sum over k of X[k] exp(+2 pi i n k / N), n from 0 to N - 1)",
    .SeeAlso =
        R"(TQSFourier, TQSInverseComplexFourier, TQSInverseDft, TQSMultiplyComplex, TQSRealToComplex)",
    .Example =
        R"(A square wave, and the same wave from its spectrum: there is no difference to be seen.)",
};

}  // namespace

const TPublishedTable& TQSInverseFourier::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseFourier",
                       .DisplayName = "Perform Fast Inverse Fourier (FFT)",
                       .Category = categories::Transforms,
                       .Doc = "The real samples of each spectrum of 2^Order bins, divided by as "
                              "many: what TQSFourier, without a window, made the spectrum of.",
                       .Text = InverseFourierText},
                      &TQSBasicInverseFourier::Published())
          .Pin("OutputPin", &TQSInverseFourier::OutputPin, "The samples.", true)
          .Property(NormalizationInfo, &TQSInverseFourier::Normalization,
                    &TQSInverseFourier::SetNormalization);
  return Table;
}

TQSInverseComplexFourier::TQSInverseComplexFourier(TConstruct AConstruct)
    : TQSBasicInverseFourier(AConstruct), FOutputPin({*this, FOutputLock}, SourceDispatch()) {
  FOutputPin.AddFunctionSource(InputPin());
}

namespace {

constexpr TClassText InverseComplexFourierText{
    .Use =
        R"(Back from a spectrum to complex samples: of an analytic signal, of two channels in one complex
stream, or of any spectrum that is not the mirror image of itself. It divides by the number of
samples, so a spectrum of TQSFourier with `fnNone` gives back what it was made of. For real
signals TQSInverseFourier takes half of the work.)",
    .BadInput =
        R"(A block that has not 2^`Order` bins ends the run with an error that names both sizes; blocks
without bins are dropped.)",
    .Accuracy =
        R"(There and back without a window, a frame comes out with a relative error, root mean square, of at
most 2.4 2^-53 sqrt(`Order`) + 3 2^-53. A few N log2(N) operations a block.)",
    .Formulas = R"(    x[n] = (1 / N) sum over k of X[k] exp(+2 pi i n k / N), n from 0 to N - 1)",
    .SeeAlso = "TQSFourier, TQSInverseFourier, TQSInverseComplexDft, TQSComplexToReal",
    .Example = R"(A complex tone through TQSFourier and back: its real and its imaginary part.)",
};

}  // namespace

const TPublishedTable& TQSInverseComplexFourier::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseComplexFourier",
                       .DisplayName = "Perform Fast Inverse Complex Fourier (FFT)",
                       .Category = categories::Transforms,
                       .Doc = "The complex samples of each spectrum of 2^Order bins, divided by "
                              "as many: what TQSFourier, without a window, made the spectrum of.",
                       .Text = InverseComplexFourierText},
                      &TQSBasicInverseFourier::Published())
          .Pin("OutputPin", &TQSInverseComplexFourier::OutputPin, "The samples.", true);
  return Table;
}

void QSFourier::RegisterPkg() {
  RegisterComponents(
      {ClassOf<TQSFourier>(), ClassOf<TQSInverseFourier>(), ClassOf<TQSInverseComplexFourier>()});
}

}  // namespace tessalune
