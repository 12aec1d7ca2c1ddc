#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/primitives/QSBasicDispatcher.h>
#include <tessalune/transforms/QSDft.h>

#include <cstring>

namespace tessalune {
namespace {

constexpr TPropertyInfo<TQSWindowType> WindowTypeInfo{
    .Name = "WindowType",
    .Default = TQSWindowType::wtRect,
    .Effect = TTakesEffect::NextFrame,
    .Doc =
        "The window that frames are multiplied by. Alpha is wtBlackman's with its sign turned: "
        "0.16 is the usual one."};
constexpr TPropertyInfo<std::int32_t> BufferSizeInfo{
    .Name = "BufferSize",
    .Default = 0,
    .Bounds = AtLeast(0),
    .Design = Between(0, 10000),
    .Unit = "samples",
    .Effect = TTakesEffect::NextFrame,
    .Doc = "Samples of a frame; 0: as many as the block has that comes."};

}  // namespace

// --- forward ---

namespace {

constexpr TClassText DftText{
    .Use =
        R"(The spectrum of a stream in frames of any length: with `BufferSize` a whole number of periods
long, tones fall on bins and need no window. With a `BufferSize` of 0 each block is a frame.
Outputs are those of TQSFourier, but bin 0 may be the strongest, unless `IgnoreDC` clears it.

Windows are symmetric here; `Alpha` is the usual 0.16 for `wtBlackman`. They need frames of 3
samples or more.)",
    .Accuracy =
        R"(The relative error of a spectrum, root mean square over its bins, is below 1.2 2^-53 sqrt(log2 N)
+ 2^-53 for products of small primes, below (1 + sqrt(N)) 2^-53 for other primes up to 150, below
4 2^-53 sqrt(log2 L) + 2 2^-53 for lengths with a prime above 150, L being 2 to 4 times the
length. A few N log2(N) operations a frame; primes up to 150 take N^2. A window is computed for
each frame.)",
    .Formulas =
        R"(With w[n] the window, N the size of a frame, and s = 1, N or sqrt(N) as `Normalization` says:

    X[k] = (1 / s) sum over n of w[n] x[n] exp(-2 pi i n k / N), k from 0 to N - 1
    bin k lies at k times the rate / N)",
    .SeeAlso = "TQSInverseDft, TQSFourier, TQSGoertzOne, TQSPowerSpectrum, TQSRepack",
    .Example =
        R"(A square wave of 100 Hz in a frame of 400 samples, five cycles: the magnitudes of its odd
harmonics, and nothing between them.)",
};

}  // namespace

const TPublishedTable& TQSDft::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSDft",
                       .DisplayName = "Perform Discrete Forward Fourier (DFT)",
                       .Category = categories::Transforms,
                       .Doc = "The spectra of frames of any length, with a window, back to back, "
                              "overlapping or apart.",
                       .Text = DftText},
                      &TQSFourierBaseComponent::Published())
          .Property(WindowTypeInfo, &TQSDft::WindowType, &TQSDft::SetWindowType)
          .Property(AlphaInfo, &TQSDft::Alpha, &TQSDft::SetAlpha)
          .Property(NormalizationInfo, &TQSDft::Normalization, &TQSDft::SetNormalization)
          .Property(BufferSizeInfo, &TQSDft::BufferSize, &TQSDft::SetBufferSize);
  return Table;
}

void TQSDft::SetWindowType(TQSWindowType AValue) {
  NotifySetter(WindowTypeInfo, FWindowType, AValue);
}

void TQSDft::SetBufferSize(std::int32_t AValue) {
  NotifySetter(BufferSizeInfo, FBufferSize, AValue);
}

void TQSDft::IntInit() {
  MakePlan({.Size = FCurrentSize, .IsComplex = FIsComplex, .Normalization = FNormalize});
}

std::string TQSDft::SizeAdvice(std::int32_t ASize) const {
  return FBufferSize == ASize ? "BufferSize is " + NumberText(ASize) + ", a smaller one takes less"
                              : "set BufferSize to frames that are smaller than the blocks";
}

// The frame's size may only be known from the first block.
void TQSDft::BlockArrives(std::int32_t ASize) {
  if (!FRunning) return;
  const std::int32_t Wanted = FBufferSize;
  if (Wanted == 0 ? ASize != FCurrentSize : FCurrentSize == 0) {
    Start(Wanted == 0 ? ASize : Wanted, FIsComplex);
  }
}

// The bins' memory serves for the windowed frame: the transform works in place.
void TQSDft::SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) {
  const TQSWindowType Type = FWindowType;
  if (Type == TQSWindowType::wtRect) return FIntState->Forward(AInBuffer, AOutBuffer);
  const auto Count = static_cast<std::size_t>(ASize);
  if (FIsComplex) {
    std::memcpy(AOutBuffer, AInBuffer, Count * sizeof(TComplex));
    ApplyWindow(Type, AOutBuffer, ASize);
  } else {
    auto* const Samples = reinterpret_cast<double*>(AOutBuffer);
    std::memcpy(Samples, AInBuffer, Count * sizeof(double));
    ApplyWindow(Type, Samples, ASize);
  }
  FIntState->Forward(AOutBuffer, AOutBuffer);
}

void TQSDft::ApplyWindow(TQSWindowType AType, double* ASamples, std::int32_t ASize) const {
  switch (AType) {
    case TQSWindowType::wtRect:
      break;
    case TQSWindowType::wtBartlett:
      ippsWinBartlett_64f_I(ASamples, ASize);
      break;
    case TQSWindowType::wtBlackman:
      ippsWinBlackman_64f_I(ASamples, ASize, -FAlpha);
      break;
    case TQSWindowType::wtHamming:
      ippsWinHamming_64f_I(ASamples, ASize);
      break;
    case TQSWindowType::wtHanning:
      ippsWinHann_64f_I(ASamples, ASize);
      break;
    case TQSWindowType::wtKaiser:
      ippsWinKaiser_64f_I(ASamples, ASize, static_cast<float>(FAlpha));
      break;
  }
}

void TQSDft::ApplyWindow(TQSWindowType AType, TComplex* ASamples, std::int32_t ASize) const {
  switch (AType) {
    case TQSWindowType::wtRect:
      break;
    case TQSWindowType::wtBartlett:
      ippsWinBartlett_64fc_I(ASamples, ASize);
      break;
    case TQSWindowType::wtBlackman:
      ippsWinBlackman_64fc_I(ASamples, ASize, -FAlpha);
      break;
    case TQSWindowType::wtHamming:
      ippsWinHamming_64fc_I(ASamples, ASize);
      break;
    case TQSWindowType::wtHanning:
      ippsWinHann_64fc_I(ASamples, ASize);
      break;
    case TQSWindowType::wtKaiser:
      ippsWinKaiser_64fc_I(ASamples, ASize, static_cast<float>(FAlpha));
      break;
  }
}

// --- inverse ---

void TQSBasicInverseDFTComponent::StreamStart() {
  FCurrentBufferSize = 0;
  IntUnInit();
  TQSBasicInverseFourierComponent::StreamStart();
}

void TQSBasicInverseDFTComponent::StreamStop() {
  TQSBasicInverseFourierComponent::StreamStop();
  FCurrentBufferSize = 0;
  IntUnInit();
}

void TQSBasicInverseDFTComponent::IntInit() {
  MakePlan({.Size = FCurrentBufferSize,
            .IsComplex = IsComplexResult(),
            .IsInverse = true,
            .Normalization = FNormalize});
}

bool TQSBasicInverseDFTComponent::ReadyFor(std::int32_t ASize) {
  if (ASize != FCurrentBufferSize) {
    RequireMemory(FourierPlanBytes({.Size = ASize, .IsComplex = IsComplexResult()}));
  }
  FCurrentBufferSize = ASize;
  IntInit();
  return true;
}

TQSInverseDft::TQSInverseDft(TConstruct AConstruct)
    : TQSBasicInverseDFTComponent(AConstruct), FOutputPin({*this, FOutputLock}, SourceDispatch()) {
  FOutputPin.AddFunctionSource(InputPin());
}

namespace {

constexpr TClassText InverseDftText{
    .Use =
        R"(Back from a spectrum of any length to real samples, behind TQSDft. The length is that of the block
of bins. `Normalization` has to be the same on both sides for the level to stay.)",
    .BadInput =
        R"(Blocks without bins give blocks without samples. A block of another size than the one before costs
a new plan.)",
    .Accuracy =
        R"(As accurate as TQSDft, of the same length. A few N log2(N) operations a block; primes up to 150
take N^2.)",
    .Formulas = R"(With s = 1, N or sqrt(N) as `Normalization` says:

    x[n] = (1 / (s N)) sum over k of X[k] exp(+2 pi i n k / N), n from 0 to N - 1)",
    .SeeAlso = "TQSDft, TQSInverseComplexDft, TQSInverseFourier",
    .Example =
        R"(A saw tooth in frames of 100 samples, turned over in its spectrum: the bins are multiplied by -1.)",
};

}  // namespace

const TPublishedTable& TQSInverseDft::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseDft",
                       .DisplayName = "Perform Discrete Inverse Fourier (DFT)",
                       .Category = categories::Transforms,
                       .Doc = "The real samples of each spectrum of n bins, divided by n: what "
                              "TQSDft, without a window, made the spectrum of.",
                       .Text = InverseDftText},
                      &TQSBasicInverseFourierComponent::Published())
          .Pin("OutputPin", &TQSInverseDft::OutputPin, "The samples.", true)
          .Property(NormalizationInfo, &TQSInverseDft::Normalization,
                    &TQSInverseDft::SetNormalization);
  return Table;
}

TQSInverseComplexDft::TQSInverseComplexDft(TConstruct AConstruct)
    : TQSBasicInverseDFTComponent(AConstruct), FOutputPin({*this, FOutputLock}, SourceDispatch()) {
  FOutputPin.AddFunctionSource(InputPin());
}

namespace {

constexpr TClassText InverseComplexDftText{
    .Use =
        R"(Back from a spectrum of any length to complex samples, behind TQSDft: for analytic signals and for
two channels in one complex stream. It divides by the number of samples, so a spectrum of TQSDft
with `fnNone` gives back what it was made of.)",
    .BadInput =
        R"(Blocks without bins give blocks without samples. A block of another size than the one before costs
a new plan.)",
    .Accuracy =
        R"(As accurate as TQSDft, of the same length. A few N log2(N) operations a block; primes up to 150
take N^2.)",
    .Formulas = R"(    x[n] = (1 / N) sum over k of X[k] exp(+2 pi i n k / N), n from 0 to N - 1)",
    .SeeAlso = "TQSDft, TQSInverseDft, TQSInverseComplexFourier, TQSComplexToReal",
    .Example =
        R"(A complex tone through TQSDft, in frames of 100 samples, and back: its real and its imaginary
part.)",
};

}  // namespace

const TPublishedTable& TQSInverseComplexDft::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSInverseComplexDft",
                       .DisplayName = "Perform Discrete Inverse Complex Fourier (DFT)",
                       .Category = categories::Transforms,
                       .Doc = "The complex samples of each spectrum of n bins, divided by n: what "
                              "TQSDft, without a window, made the spectrum of.",
                       .Text = InverseComplexDftText},
                      &TQSBasicInverseFourierComponent::Published())
          .Pin("OutputPin", &TQSInverseComplexDft::OutputPin, "The samples.", true);
  return Table;
}

void QSDft::RegisterPkg() {
  RegisterComponents(
      {ClassOf<TQSDft>(), ClassOf<TQSInverseDft>(), ClassOf<TQSInverseComplexDft>()});
}

}  // namespace tessalune
