#include <tessalune/analysis/QSNoiseStats.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/frame/runtime/QSMainThread.h>
#include <tessalune/primitives/QSBasicDispatcher.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <new>
#include <numbers>
#include <span>
#include <utility>

namespace tessalune {
namespace {

using enum TQSExtendedWindowType;
using std::numbers::pi;

constexpr TPropertyInfo<bool> EnabledInfo{.Name = "Enabled",
                                          .Default = false,
                                          .Effect = TTakesEffect::NextFrame,
                                          .Doc = "Whether the list counts."};
constexpr TPropertyInfo<TQSFourierNormalization> StatsNormalizationInfo{
    .Name = "Normalization",
    .Default = TQSFourierNormalization::fnNormalize,
    .Effect = TTakesEffect::NextFrame,
    .Doc =
        "What the transform of a complex stream is divided by; of a real one it is the number of "
        "samples."};
constexpr TPropertyInfo<double> MinDataValInfo{.Name = "MinDataVal",
                                               .Default = -32767.0,
                                               .Effect = TTakesEffect::NextFrame,
                                               .Doc = "The least value of the data."};
constexpr TPropertyInfo<double> MaxDataValInfo{
    .Name = "MaxDataVal",
    .Default = 32767.0,
    .Effect = TTakesEffect::NextFrame,
    .Doc = "The largest value of the data; a tone from the least to it is full scale, 0 dBFS."};
constexpr TPropertyInfo<double> WindowThresholdInfo{
    .Name = "WindowThreshold",
    .Default = 0.0,
    .Effect = TTakesEffect::NextFrame,
    .Doc =
        "Regions are widened by the bins where the frequency-domain window is above it; a change "
        "of WindowType sets it."};
constexpr TPropertyInfo<std::uint32_t> NumHarmonicsInfo{
    .Name = "NumHarmonics",
    .Default = 5,
    .Bounds = AtLeast(1U),
    .Design = Between(1U, 20U),
    .Effect = TTakesEffect::NextFrame,
    .Doc = "Harmonics to track, the 2nd upward."};
constexpr TPropertyInfo<std::uint32_t> DCBinWidthInfo{
    .Name = "DCBinWidth",
    .Default = 3,
    .Design = Between(0U, 100U),
    .Unit = "bins",
    .Effect = TTakesEffect::NextFrame,
    .Doc = "Half width of the region of bin 0, which counts neither as tone nor as noise."};
constexpr TPropertyInfo<std::uint32_t> HarmonicBinWidthInfo{
    .Name = "HarmonicBinWidth",
    .Default = 3,
    .Design = Between(0U, 100U),
    .Unit = "bins",
    .Effect = TTakesEffect::NextFrame,
    .Doc = "Half width of the regions of the fundamental and the harmonics."};
constexpr TPropertyInfo<TQSSynchronizeType> SynchronizeTypeInfo{
    .Name = "SynchronizeType",
    .Default = TQSSynchronizeType::stNone,
    .Effect = TTakesEffect::NextFrame,
    .Doc =
        "Where OnStatsAvailable is told: stNone where it is computed, stSingleBuffer in order and "
        "stQueue the newest first, up to ten at once, on the main thread."};

constexpr double NoPower = 55555.0;
constexpr double LineLevel = 3.01;  // dB of a real tone's power over that of one of its two lines
constexpr std::size_t MostAtOnce = 10;  // records that stQueue tells in one go
constexpr std::uint32_t MostKernelHarmonics = 256;
constexpr std::size_t LobeSteps = 128;          // of half a bin
constexpr std::uint32_t ManyHarmonics = 65536;  // for which memory is asked for first
constexpr std::size_t MostWaitingNumbers = std::size_t{1} << 22;

double Db(double AValue) { return AValue <= 0.0 ? NoPower : 20.0 * std::log10(AValue); }
// Of two powers.
double Ratio(double AOver, double AUnder) { return 10.0 * std::log10(AOver / AUnder); }
double Bits(double ASinad) { return (ASinad - 1.76) / 6.02; }

// Bins from First to Last, both included; none if First is above Last.
struct TRun {
  std::int64_t First;
  std::int64_t Last;
};

// What a change of the window's type sets.
double ThresholdOf(TQSExtendedWindowType AType) {
  switch (AType) {
    case xwtBartlett:
    case xwtHamming:
    case xwtHanning:
    case xwtBlackman:
    case xwtKaiser:
      return 1e-5;
    case xwtFlatTop:
      return 1e-4;
    default:
      return 0.0;
  }
}

// Bins that the spur search passes over beside the fundamental.
std::int64_t SkipOf(TQSExtendedWindowType AType) {
  switch (AType) {
    case xwtBlackman:
    case xwtHanning:
      return 20;
    case xwtBartlett:
      return 40;
    case xwtCosSum:
    case xwtFlatTop:
    case xwtWelch:
      return 10;
    default:
      return 0;
  }
}

// The factors of the bins before and behind the measurement.
std::pair<double, double> ScaleOf(TQSExtendedWindowType AType, bool AIsComplex) {
  constexpr double Root = std::numbers::sqrt2;
  if (!AIsComplex) return {Root, Root};
  const bool IsListed = AType >= xwtBartlett && AType <= xwtKaiser;
  return IsListed ? std::pair(Root, 1.0) : std::pair(1.0, Root);
}

// In two halves where parts are more than an int32 counts.
void Scale(TComplex* ABins, std::int32_t ASize, double AFactor) {
  auto* const Parts = reinterpret_cast<double*>(ABins);
  ippsMulC_64f_I(AFactor, Parts, ASize);
  ippsMulC_64f_I(AFactor, Parts + ASize, ASize);
}

double PowerOf(const TComplex& ABin) { return ABin.Re * ABin.Re + ABin.Im * ABin.Im; }
double MagnitudeOf(const TComplex& ABin) { return std::hypot(ABin.Re, ABin.Im); }

// The alias of a frequency, both in parts of the rate, 0 to 0.5.
double Alias(double AFrequency) {
  const double Doubled = 2.0 * AFrequency;
  const double Whole = std::trunc(Doubled);
  const bool IsOdd = std::fmod(Whole, 2.0) != 0.0;
  return 0.5 * (IsOdd ? 1.0 - (Doubled - Whole) : Doubled - Whole);
}

// One-argument arctangent: no quadrant.
double Angle(const TComplex& AValue) {
  return AValue.Re == 0.0 ? 0.0 : std::atan(AValue.Im / AValue.Re);
}

// The order of the power of two that a range of data fills.
int DataBits(double AWidth) {
  const double Values = std::nearbyint(std::fabs(AWidth));
  return Values > 1.0 && std::isfinite(Values) ? static_cast<int>(std::ceil(std::log2(Values))) : 0;
}

}  // namespace

// --- the mask ---

const TPublishedTable& TQSBinMask::Published() {
  static const TPublishedTable Table =
      ItemsTable({.Name = "TQSBinMask", .Doc = "Bins that a measurement passes over."})
          .Property(EnabledInfo, &TQSBinMask::Enabled, &TQSBinMask::SetEnabled);
  return Table;
}

void TQSBinMask::SetEnabled(bool AValue) { NotifySetter(EnabledInfo, FEnabled, AValue); }

// --- the record ---

const TPublishedTable& TQSHarmonicBinResults::Published() {
  using T = TQSHarmonicBinResults;
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSHarmonicBinResults"}, nullptr)
          .Field("FundBin", &T::FundBin, "The bin of the fundamental.")
          .Field("FundBinFractional", &T::FundBinFractional,
                 "The same with a fraction in steps of 1 / (4 NumHarmonics).", "bins")
          .Field("NumHarmonics", &T::NumHarmonics, "Harmonics that are tracked, the 2nd upward.")
          .Field("HarmonicBin", &T::HarmonicBins, "The bin of each harmonic, aliased ones too.");
  return Table;
}

void TQSHarmonicBinResults::CheckHarmonic(std::uint32_t AIndex) const {
  if (AIndex < FHarmonicBins.size()) return;
  throw EQSException(Describe() + ": there is no harmonic " + NumberText(AIndex) + "; there are " +
                     NumberText(NumHarmonics()) + ", counted from 0");
}

std::uint32_t TQSHarmonicBinResults::HarmonicBin(std::uint32_t AIndex) const {
  CheckHarmonic(AIndex);
  return FHarmonicBins[AIndex];
}

const TPublishedTable& TQSNoiseStatResults::Published() {
  using T = TQSNoiseStatResults;
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSNoiseStatResults"}, &TQSHarmonicBinResults::Published())
          .Field("Fundamental", &T::Fundamental, "Power of the fundamental's region.", "dBFS")
          .Field("Harmonic", &T::Harmonics,
                 "Each harmonic's single line, without the window's gain.", "dBFS")
          .Field("SINAD", &T::SINAD, "Full scale over all but DC and the fundamental.", "dB")
          .Field("SNR", &T::SNR, "Full scale over all but DC, the fundamental and the harmonics.",
                 "dB")
          .Field("THD", &T::THD, "Power of the harmonics' regions.", "dBFS")
          .Field("ENOB", &T::ENOB, "Effective bits: (SINAD - 1.76) / 6.02.", "bits")
          .Field("IntNoiseFloor", &T::IntNoiseFloor, "Power of the noise: -SNR.", "dBFS")
          .Field("AvgNoise", &T::AvgNoise, "The same spread over half of the bins.", "dBFS")
          .Field(
              "SFDR", &T::SFDR,
              "Single line of the largest spur, harmonics among them, without the window's gain.",
              "dBFS")
          .Field("SFDRBin", &T::SFDRBin, "Its bin.")
          .Field("DataMean", &T::DataMean,
                 "Mean from the middle of the range on, with its sign turned; in data units.")
          .Field("DCDataOffset", &T::DCDataOffset,
                 "The same and what a tone between two bins adds to a mean; in data units.")
          .Field("CarrierSINAD", &T::CarrierSINAD,
                 "Power of the fundamental over that of all but DC and it.", "dB")
          .Field("CarrierSNR", &T::CarrierSNR,
                 "Power of the fundamental over that of all but DC, it and the harmonics.", "dB")
          .Field("CarrierTHD", &T::CarrierTHD,
                 "Power of the harmonics over that of the fundamental.", "dBc")
          .Field("CarrierSFDR", &T::CarrierSFDR,
                 "Power of the fundamental over that of the largest spur.", "dBc")
          .Field("CarrierENOB", &T::CarrierENOB, "Effective bits: (CarrierSINAD - 1.76) / 6.02.",
                 "bits")
          .Field("HarmonicDistortion", &T::HarmonicDistortions,
                 "Power of each harmonic's region over that of the fundamental.", "dBc")
          .Field("NoiseDensity", &T::NoiseDensity, "Mean power density of the noise.", "dBFS/Hz")
          .Field("FundFrequency", &T::FundFrequency,
                 "Frequency of the fundamental, interpolated between bins.", "Hz")
          .Field("SampleRate", &T::SampleRate, "Of the stream.", "Hz")
          .Field("FrameSize", &T::FrameSize, "Samples of the frame.", "samples")
          .Field("ClassStarts", &T::ClassStarts,
                 "The first bins of the runs of bins of one class, up to half of the rate.")
          .Field("Classes", &T::Classes, "The class of each of these runs.");
  return Table;
}

TRef<TQSNoiseStatResults> TQSNoiseStatResults::CreateCopy() const {
  auto Copy = MakeRef<TQSNoiseStatResults>();
  Copy->FFundBin = FFundBin;
  Copy->FFundBinFractional = FFundBinFractional;
  Copy->FHarmonicBins = FHarmonicBins;
  Copy->FHarmonics = FHarmonics;
  Copy->FFigures = FFigures;
  Copy->FHarmonicDistortions = FHarmonicDistortions;
  Copy->FClassStarts = FClassStarts;
  Copy->FClasses = FClasses;
  return Copy;
}

double TQSNoiseStatResults::Harmonic(std::uint32_t AIndex) const {
  CheckHarmonic(AIndex);
  return FHarmonics[AIndex];
}

double TQSNoiseStatResults::HarmonicDistortion(std::uint32_t AIndex) const {
  CheckHarmonic(AIndex);
  return FHarmonicDistortions[AIndex];
}

TQSBinClass TQSNoiseStatResults::ClassOf(std::uint32_t ABin) const {
  if (ABin >= FrameSize()) {
    throw EQSException(Describe() + ": there is no bin " + NumberText(ABin) + "; there are " +
                       NumberText(FrameSize()) + ", counted from 0");
  }
  if (FClassStarts.empty()) {
    throw EQSException(Describe() + ": the classes of bins are known when the frame was measured");
  }
  const std::uint32_t Bin = std::min(ABin, FrameSize() - ABin);
  const auto Next = std::upper_bound(FClassStarts.begin(), FClassStarts.end(), Bin);
  return FClasses[static_cast<std::size_t>(Next - FClassStarts.begin()) - 1];
}

// --- the analysis of one frame ---

// Works on the lower half of the bins, 0 to H: regions and powers are the same for bin k and its
// mirror image N - k.
class TQSNoiseStats::TAnalysis {
 public:
  // Follows the frame's size. Throws std::bad_alloc.
  void Resize(std::int32_t ASize);
  static std::int64_t Bytes(std::int32_t ASize) { return ASize * std::int64_t{24}; }
  // No window has been seen yet.
  void Forget() { FWindowRuns.clear(); }

  // Takes the frame's window; none for an empty one.
  void ReadWindow(std::span<const TComplex> AWindow, double AGain, double AThreshold);
  void FindFundBin(const TComplex* ABins, const TSettings& ASettings);
  void MarkRegions(const TComplex* ABins, const TSettings& ASettings, double AFundBin,
                   const std::vector<std::uint32_t>& AHarmonicBins);
  void Mask(const TComplex* ABins, const std::vector<std::int32_t>& AMask);
  void Measure();

  std::int64_t Size() const { return FSize; }
  std::int64_t Half() const { return FHalf; }
  double Gain() const { return FGain; }
  double FundBin() const { return static_cast<double>(FPeak) + FFraction; }
  std::int64_t SpurBin() const { return FSpur; }
  // Of the fundamental, in bins; NaN if there is none.
  double Frequency() const { return static_cast<double>(FPeak) + FOffset; }
  // Powers of the frame, the window's gain taken off: of the spur's line, and from Measure on of a
  // harmonic's bins, of regions and of classes.
  double SpurPower() const { return FSpurPower; }
  double HarmonicPower(std::int64_t ABin, const TSettings& ASettings) const;
  enum TRegion : std::uint8_t { InDC = 1, InFundamental = 2, InHarmonic = 4 };
  // With the bins that AIn has some of, or with those that it has none of.
  double RegionPower(unsigned AIn, bool AInside) const;
  double ClassPower(TQSBinClass AClass) const { return FClassPower[Index(AClass)]; }
  // Of the N bins, how many are of a class.
  double ClassBins(TQSBinClass AClass) const { return FClassBins[Index(AClass)]; }
  std::vector<std::uint32_t> ClassStarts() const;
  std::vector<TQSBinClass> Classes() const;

 private:
  struct TLine {
    std::int64_t Bin;
    double Value;
    bool operator==(const TLine&) const = default;
  };
  struct TClassRun {
    std::uint32_t First;
    TQSBinClass Class;
  };
  static constexpr std::uint8_t IsMasked = 8;
  static constexpr std::uint8_t IsGuarded = 16;

  static std::size_t Index(TQSBinClass AClass) { return static_cast<std::size_t>(AClass); }
  double Lobe(double AOffset) const;
  void MakeLobeRatios();
  void MakeKernels(std::int64_t ASpan, std::size_t ASteps);
  double Fraction(const TComplex* ABins, std::size_t ASteps);
  double Offset(const TComplex* ABins) const;
  TRun Region(std::int64_t ABin, std::int64_t AHalfWidth) const;
  void Add(TRun ARun);
  void AddFolded(TRun ARun);
  template <class TProc>
  void TakeRuns(TProc AProc);
  void Widen(const std::vector<TRun>& ARuns, TRegion ARegion);

  std::int64_t FSize = 0;
  std::int64_t FHalf = 0;
  std::vector<double> FMagnitudes;        // of the bins below H
  std::vector<double> FPowers;            // of each bin and its mirror image
  std::vector<std::uint8_t> FFlags;       // of each bin
  std::vector<std::uint32_t> FEdges;      // begins less ends, at each bin
  std::vector<double> FSums, FSumErrors;  // of the harmonics' bins before each bin, and the errors

  // The window's lines at 0 and above, those above the threshold in runs, the lobe's half width,
  // and what follows from them.
  std::vector<TLine> FLines, FNewLines;
  std::vector<TRun> FWindowRuns;
  std::int64_t FLobe = 0;
  double FGain = 1.0;
  bool FHasWindow = false;
  std::vector<double> FLobeRatios;  // of a lobe's second bin to its first one, by the offset
  std::vector<double> FKernels;     // one behind the other
  std::int64_t FKernelSpan = -1;
  std::size_t FKernelSteps = 0;
  std::vector<double> FAround;

  // Of the frame.
  std::int64_t FPeak = 0;
  double FFraction = 0.0;
  double FOffset = 0.0;
  std::int64_t FSpur = 0;
  double FSpurPower = 0.0;
  std::vector<TRun> FRegionRuns;
  std::array<double, 8> FRegionPower{};  // by the flags of regions
  std::array<double, 5> FClassPower{};
  std::array<double, 5> FClassBins{};
  std::vector<TClassRun> FClassRuns;
};

void TQSNoiseStats::TAnalysis::Resize(std::int32_t ASize) {
  if (ASize == FSize) return;
  FSize = ASize;
  FHalf = ASize / 2;
  const std::size_t Bins = ASize > 0 ? static_cast<std::size_t>(FHalf) + 1 : 0;
  FMagnitudes.resize(Bins);
  FPowers.resize(Bins);
  FFlags.resize(Bins);
  FEdges.resize(Bins + 1);
  FSums.resize(Bins + 1);
  FSumErrors.resize(Bins + 1);
  FLines.clear();
  Forget();
}

// --- the window ---

void TQSNoiseStats::TAnalysis::ReadWindow(std::span<const TComplex> AWindow, double AGain,
                                          double AThreshold) {
  FGain = AGain;
  FHasWindow = !AWindow.empty();
  FNewLines.clear();
  if (!FHasWindow) {
    FNewLines.push_back({0, 1.0});  // the lobe of none is that of xwtRect; FWindowRuns stay
  } else {
    FWindowRuns.clear();
    for (std::int64_t Bin = 0; Bin <= FHalf; ++Bin) {
      const double Value = AWindow[static_cast<std::size_t>(Bin)].Re;
      if (Value != 0.0) FNewLines.push_back({Bin, Value});
      if (!(std::fabs(Value) > AThreshold)) continue;
      if (FWindowRuns.empty() || FWindowRuns.back().Last + 1 < Bin)
        FWindowRuns.push_back({Bin, Bin});
      FWindowRuns.back().Last = Bin;
    }
  }
  if (FNewLines == FLines) return;
  std::swap(FLines, FNewLines);
  // The lobe ends where the spectrum, seen from the window's middle, is no longer above 0.
  FLobe = 0;
  for (const TLine& Line : FLines) {
    const double Value = Line.Bin % 2 == 0 ? Line.Value : -Line.Value;
    if (Line.Bin > FLobe + 1 || Value <= 0.0) break;
    FLobe = Line.Bin;
  }
  FKernelSpan = -1;
  MakeLobeRatios();
}

// The magnitude of the window's spectrum between bins, from its lines: each is spread over the
// frame's N samples, a line and its mirror image together.
double TQSNoiseStats::TAnalysis::Lobe(double AOffset) const {
  const double Nearest = std::nearbyint(AOffset);
  if (std::fabs(AOffset - Nearest) < 1e-9) {
    const auto Bin = static_cast<std::int64_t>(std::fabs(Nearest));
    const auto Line = std::find_if(FLines.begin(), FLines.end(),
                                   [Bin](const TLine& ALine) { return ALine.Bin == Bin; });
    return Line != FLines.end() ? std::fabs(Line->Value) : 0.0;
  }
  const double Step = pi / static_cast<double>(FSize);
  const double Sine = std::sin(Step * AOffset);
  const double Cosine = std::cos(Step * AOffset);
  std::complex<double> Sum;
  for (const TLine& Line : FLines) {
    const auto Bin = static_cast<double>(Line.Bin);
    if (Line.Bin == 0) {
      Sum += Line.Value / Sine;
      continue;
    }
    const double Both = std::sin(Step * (AOffset - Bin)) * std::sin(Step * (AOffset + Bin));
    const double Value = (Line.Bin == FHalf ? 1.0 : 2.0) * Line.Value / Both;
    const double Turn = std::sin(Step * Bin);
    Sum += Value * std::complex((1.0 - Turn * Turn) * Sine, -Turn * Turn * Cosine);
  }
  return std::fabs(std::sin(pi * (AOffset - Nearest))) / static_cast<double>(FSize) * std::abs(Sum);
}

void TQSNoiseStats::TAnalysis::MakeLobeRatios() {
  FLobeRatios.resize(LobeSteps + 1);
  for (std::size_t I = 0; I <= LobeSteps; ++I) {
    const double Offset = 0.5 * static_cast<double>(I) / LobeSteps;
    FLobeRatios[I] = Lobe(1.0 - Offset) / Lobe(Offset);
  }
}

// The lobe over 2 ASpan + 1 bins, moved by 1/2 bin, then by a step less each; each of norm 1, so
// that the one that matches best is the one of the largest sum.
void TQSNoiseStats::TAnalysis::MakeKernels(std::int64_t ASpan, std::size_t ASteps) {
  if (FKernelSpan == ASpan && FKernelSteps == ASteps) return;
  FKernelSpan = -1;
  const std::size_t Width = 2 * static_cast<std::size_t>(ASpan) + 1;
  FAround.resize(Width);
  FKernels.resize(Width * ASteps);
  for (std::size_t I = 0; I < ASteps; ++I) {
    double* const Kernel = FKernels.data() + I * Width;
    double Norm = 0.0;
    for (std::size_t J = 0; J < Width; ++J) {
      const double Bin = static_cast<double>(J) - static_cast<double>(ASpan);
      Kernel[J] = Lobe(Bin + static_cast<double>(I) / static_cast<double>(ASteps) - 0.5);
      Norm += Kernel[J] * Kernel[J];
    }
    Norm = std::sqrt(Norm);
    for (std::size_t J = 0; J < Width; ++J) Kernel[J] /= Norm;
  }
  FKernelSpan = ASpan;
  FKernelSteps = ASteps;
}

// --- the fundamental ---

void TQSNoiseStats::TAnalysis::FindFundBin(const TComplex* ABins, const TSettings& ASettings) {
  double* const Magnitudes = FMagnitudes.data();
  const auto Half = static_cast<std::int32_t>(FHalf);
  ippsMagnitude_64fc(ABins, Magnitudes, Half);
  const std::int64_t Wanted = std::max<std::int64_t>(ASettings.DCBinWidth, FLobe) + 1;
  const auto First = static_cast<std::int32_t>(std::min(Wanted, FHalf - 1));
  const auto Strongest = [&](double& AValue) {
    std::int32_t Bin = 0;
    ippsMaxIndx_64f(Magnitudes + First, Half - First, &AValue, &Bin);
    return std::int64_t{First} + Bin;
  };
  double Peak = 0.0;
  FPeak = Strongest(Peak);
  std::int64_t Skip =
      std::max<std::int64_t>(SkipOf(ASettings.WindowType), ASettings.HarmonicBinWidth);
  Skip = std::max(std::min(Skip, FPeak), FLobe + 1);
  std::fill(Magnitudes + std::max<std::int64_t>(FPeak - Skip, 0),
            Magnitudes + std::min(FPeak + Skip + 1, FHalf), 0.0);
  double Spur = 0.0;
  FSpur = Strongest(Spur);
  const bool IsTone = Peak > 0.0 && std::isfinite(Peak);
  const double Line = FLines.empty() ? 1.0 : FLines.front().Value;
  FSpurPower = Spur == 0.0 ? 0.0 : PowerOf(ABins[FSpur]) + PowerOf(ABins[FSize - FSpur]);
  FSpurPower /= Line * Line;
  FFraction = 0.0;
  if (IsTone && ASettings.WindowType > xwtRect) {
    FFraction =
        Fraction(ABins, 4 * std::size_t{std::min(ASettings.NumHarmonics, MostKernelHarmonics)});
  }
  FOffset = IsTone ? Offset(ABins) : std::nan("");
}

// 0 where the lobe does not fit between the spur, the first and the last bin.
double TQSNoiseStats::TAnalysis::Fraction(const TComplex* ABins, std::size_t ASteps) {
  if (FWindowRuns.empty()) return 0.0;
  const std::int64_t Span = FWindowRuns.back().Last;
  if (2 * Span + 1 > FSpur || FPeak < Span || FPeak + Span >= FSize) return 0.0;
  MakeKernels(Span, ASteps);
  for (std::size_t J = 0; J < FAround.size(); ++J) {
    FAround[J] = MagnitudeOf(ABins[FPeak - Span + static_cast<std::int64_t>(J)]);
  }
  std::size_t Best = 0;
  double Most = -1.0;
  for (std::size_t I = 0; I < ASteps; ++I) {
    const double* const Kernel = FKernels.data() + I * FAround.size();
    double Sum = 0.0;
    for (std::size_t J = 0; J < FAround.size(); ++J) Sum += FAround[J] * Kernel[J];
    if (!(Sum > Most)) continue;
    Most = Sum;
    Best = I;
  }
  return 0.5 - static_cast<double>(Best) / static_cast<double>(ASteps);
}

// Of the tone from its bin, by the larger one of the two bins beside it.
double TQSNoiseStats::TAnalysis::Offset(const TComplex* ABins) const {
  const double Peak = MagnitudeOf(ABins[FPeak]);
  const double Below = MagnitudeOf(ABins[FPeak - 1]);
  const double Above = MagnitudeOf(ABins[FPeak + 1]);
  const double Ratio = std::max(Below, Above) / Peak;
  const auto Next = std::upper_bound(FLobeRatios.begin(), FLobeRatios.end(), Ratio);
  if (Next == FLobeRatios.begin()) return 0.0;
  double Steps = LobeSteps;
  if (Next != FLobeRatios.end()) {
    const double From = *(Next - 1);
    Steps = static_cast<double>(Next - FLobeRatios.begin() - 1) + (Ratio - From) / (*Next - From);
  }
  const double Offset = 0.5 * Steps / LobeSteps;
  return Above >= Below ? Offset : -Offset;
}

// --- regions ---

// The bins that are no further than AHalfWidth from ABin, each with bin N - 1 - k, as bins up to H.
TRun TQSNoiseStats::TAnalysis::Region(std::int64_t ABin, std::int64_t AHalfWidth) const {
  const std::int64_t First = std::max<std::int64_t>(ABin - AHalfWidth, 0);
  const std::int64_t Last = std::min(ABin + AHalfWidth, FSize - 1);
  if (Last < FHalf - 1) return {First, Last};
  return {std::min(First, FSize - 1 - Last), FHalf};
}

// Marks bins from 0 to H for TakeRuns.
void TQSNoiseStats::TAnalysis::Add(TRun ARun) {
  if (ARun.First > ARun.Last) return;
  ++FEdges[static_cast<std::size_t>(ARun.First)];
  --FEdges[static_cast<std::size_t>(ARun.Last) + 1];
}

// The same for bins from -H to N, which stand for their mirror images.
void TQSNoiseStats::TAnalysis::AddFolded(TRun ARun) {
  Add({std::max<std::int64_t>(ARun.First, 0), std::min(ARun.Last, FHalf)});
  Add({std::max<std::int64_t>(-ARun.Last, 1), -ARun.First});
  Add({FSize - ARun.Last, FSize - std::max(ARun.First, FHalf + 1)});
}

// AProc for each run of bins that were marked, and clears the marks.
template <class TProc>
void TQSNoiseStats::TAnalysis::TakeRuns(TProc AProc) {
  std::uint32_t Depth = 0;
  std::int64_t First = 0;
  for (std::int64_t Bin = 0; Bin <= FHalf + 1; ++Bin) {
    std::uint32_t& Edge = FEdges[static_cast<std::size_t>(Bin)];
    if (Edge == 0) continue;
    const std::uint32_t Now = Depth + std::exchange(Edge, 0);
    if (Depth == 0) First = Bin;
    if (Now == 0) AProc(TRun{First, Bin - 1});
    Depth = Now;
  }
}

// Flags each bin that is one of ARuns, or its mirror image, moved by a bin of the window.
void TQSNoiseStats::TAnalysis::Widen(const std::vector<TRun>& ARuns, TRegion ARegion) {
  for (const TRun& Run : ARuns) {
    for (const TRun& Window : FWindowRuns) {
      AddFolded({Run.First + Window.First, Run.Last + Window.Last});
      AddFolded({Run.First - Window.Last, Run.Last - Window.First});
    }
  }
  TakeRuns([&](TRun ARun) {
    for (std::int64_t Bin = ARun.First; Bin <= ARun.Last; ++Bin) {
      FFlags[static_cast<std::size_t>(Bin)] |= ARegion;
    }
  });
}

void TQSNoiseStats::TAnalysis::MarkRegions(const TComplex* ABins, const TSettings& ASettings,
                                           double AFundBin,
                                           const std::vector<std::uint32_t>& AHarmonicBins) {
  const auto Bins = static_cast<std::int32_t>(FHalf + 1);
  ippsPowerSpectr_64fc(ABins, FPowers.data(), Bins);
  for (std::int64_t Bin = 1; Bin < FHalf; ++Bin) {
    FPowers[static_cast<std::size_t>(Bin)] += PowerOf(ABins[FSize - Bin]);
  }
  std::fill(FFlags.begin(), FFlags.end(), std::uint8_t{0});
  const auto Mark = [&](TRegion ARegion) {
    FRegionRuns.clear();
    TakeRuns([&](TRun ARun) {
      FRegionRuns.push_back(ARun);
      for (std::int64_t Bin = ARun.First; Bin <= ARun.Last; ++Bin) {
        FFlags[static_cast<std::size_t>(Bin)] |= IsGuarded;
      }
    });
    Widen(FRegionRuns, ARegion);
  };
  const auto Fundamental = static_cast<std::int64_t>(AFundBin);
  Add(Region(0, ASettings.DCBinWidth));
  Mark(InDC);
  Add(Region(Fundamental, ASettings.HarmonicBinWidth));
  Mark(InFundamental);
  for (const std::uint32_t Bin : AHarmonicBins) Add(Region(Bin, ASettings.HarmonicBinWidth));
  Mark(InHarmonic);
}

// Bins of AMask that are in no region, before it is widened, get the mean power of the noise that
// stays: what a region's window spreads does not count as such.
void TQSNoiseStats::TAnalysis::Mask(const TComplex* ABins, const std::vector<std::int32_t>& AMask) {
  for (const std::int32_t Bin : AMask) {
    if (Bin < 0 || Bin >= FHalf) continue;
    std::uint8_t& Flags = FFlags[static_cast<std::size_t>(Bin)];
    if ((Flags & IsGuarded) == 0) Flags |= IsMasked;
  }
  double Sum = 0.0;
  double Count = 0.0;
  for (std::int64_t Bin = 1; Bin < FHalf; ++Bin) {
    constexpr unsigned NoNoise = InDC | InFundamental | InHarmonic | IsGuarded | IsMasked;
    if ((FFlags[static_cast<std::size_t>(Bin)] & NoNoise) != 0) continue;
    Sum += PowerOf(ABins[Bin]);
    Count += 1.0;
  }
  const double Mean = Count > 0.0 ? Sum / Count : 0.0;
  for (std::size_t Bin = 0; Bin < FFlags.size(); ++Bin) {
    if ((FFlags[Bin] & IsMasked) != 0) FPowers[Bin] = 2.0 * Mean;
  }
}

// --- the sums ---

void TQSNoiseStats::TAnalysis::Measure() {
  FRegionPower.fill(0.0);
  FClassPower.fill(0.0);
  FClassBins.fill(0.0);
  FClassRuns.clear();
  const double Scale = 1.0 / (FGain * FGain);
  constexpr unsigned Regions = InDC | InFundamental | InHarmonic;
  double Sum = 0.0;  // of the harmonics' bins, and its error
  double Error = 0.0;
  for (std::int64_t First = 0, Next = 0; First <= FHalf; First = Next) {
    const unsigned Flags = FFlags[static_cast<std::size_t>(First)] & (Regions | IsMasked);
    // The lobe of bin 0 ends a run.
    const std::int64_t End = First <= FLobe ? std::min(FLobe, FHalf) : FHalf;
    const auto IsSame = [&](std::int64_t ABin) {
      return (FFlags[static_cast<std::size_t>(ABin)] & (Regions | IsMasked)) == Flags;
    };
    for (Next = First + 1; Next <= End && IsSame(Next);) ++Next;
    double Power = 0.0;
    ippsSum_64f(FPowers.data() + First, static_cast<std::int32_t>(Next - First), &Power);
    Power *= Scale;
    FRegionPower[Flags & Regions] += Power;

    TQSBinClass Class = TQSBinClass::bcNoise;
    if ((Flags & InFundamental) != 0 && First > FLobe) {
      Class = TQSBinClass::bcFundamental;
    } else if ((Flags & (InDC | InFundamental)) != 0) {
      Class = TQSBinClass::bcDC;
    } else if ((Flags & InHarmonic) != 0) {
      Class = TQSBinClass::bcHarmonic;
    } else if ((Flags & IsMasked) != 0) {
      Class = TQSBinClass::bcMasked;
    }
    FClassPower[Index(Class)] += Power;
    const int Single = (First == 0 ? 1 : 0) + (Next > FHalf ? 1 : 0);
    FClassBins[Index(Class)] += 2.0 * static_cast<double>(Next - First) - Single;
    if (FClassRuns.empty() || FClassRuns.back().Class != Class) {
      FClassRuns.push_back({static_cast<std::uint32_t>(First), Class});
    }
    const bool IsHarmonic = Class == TQSBinClass::bcHarmonic;
    for (std::int64_t Bin = First; Bin < Next; ++Bin) {
      const auto At = static_cast<std::size_t>(Bin);
      FSums[At] = Sum;
      FSumErrors[At] = Error;
      if (!IsHarmonic) continue;
      const double Value = FPowers[At] * Scale;
      const double Total = Sum + Value;
      const double Part = Total - Sum;
      Error += (Sum - (Total - Part)) + (Value - Part);
      Sum = Total;
    }
  }
  FSums.back() = Sum;
  FSumErrors.back() = Error;
}

double TQSNoiseStats::TAnalysis::HarmonicPower(std::int64_t ABin,
                                               const TSettings& ASettings) const {
  if (FWindowRuns.empty()) return 0.0;
  const TRun Run = Region(ABin, ASettings.HarmonicBinWidth);
  const std::int64_t Span = FWindowRuns.back().Last;
  const auto From = static_cast<std::size_t>(std::max<std::int64_t>(Run.First - Span, 0));
  const auto To = static_cast<std::size_t>(std::min(Run.Last + Span, FHalf) + 1);
  return (FSums[To] - FSums[From]) + (FSumErrors[To] - FSumErrors[From]);
}

double TQSNoiseStats::TAnalysis::RegionPower(unsigned AIn, bool AInside) const {
  double Sum = 0.0;
  for (unsigned Flags = 0; Flags < FRegionPower.size(); ++Flags) {
    if (((Flags & AIn) != 0) == AInside) Sum += FRegionPower[Flags];
  }
  return Sum;
}

std::vector<std::uint32_t> TQSNoiseStats::TAnalysis::ClassStarts() const {
  std::vector<std::uint32_t> Result(FClassRuns.size());
  std::transform(FClassRuns.begin(), FClassRuns.end(), Result.begin(),
                 [](const TClassRun& ARun) { return ARun.First; });
  return Result;
}

std::vector<TQSBinClass> TQSNoiseStats::TAnalysis::Classes() const {
  std::vector<TQSBinClass> Result(FClassRuns.size());
  std::transform(FClassRuns.begin(), FClassRuns.end(), Result.begin(),
                 [](const TClassRun& ARun) { return ARun.Class; });
  return Result;
}

// --- the component ---

TQSNoiseStats::TQSNoiseStats(TConstruct AConstruct)
    : TQSFourierBase(AConstruct),
      FBinMask(FLock, "BinMask"),
      FAnalysis(std::make_unique<TAnalysis>()) {
  FNeedsFreqDomainWindow = true;
}

TQSNoiseStats::~TQSNoiseStats() = default;

namespace {

constexpr TClassText NoiseStatsText{
    .Use =
        R"(Tells the quality of a converter, or of a whole chain, from a stream that carries one tone: SNR,
SINAD, THD, SFDR, effective bits, the level of each harmonic, a record for each frame of 2^`Order`
samples. The figures come with `OnStatsAvailable`: `tessalune run --json` shows them. Set
`MinDataVal` and `MaxDataVal` to the converter's range.

If you can choose the tone, choose an odd count of whole cycles a frame and `xwtRect`; if not,
`xwtCosSum` with enough terms for the range, 5 for 12 bits. The document `measurement.md` says
what each figure means and how well each window can measure.)",
    .BadInput =
        R"(Samples that are no numbers make figures that are none. A range without a width, or none that is
finite, makes figures that are infinite or NaN, and the notes of `run` tell. What has no power at
all reads 55555 or -55555. A clipped tone measures the clipping.)",
    .Accuracy =
        R"(A frame costs one transform of its size and some passes over it, and the memory of one record;
nothing is measured while nobody listens to an event. Over F frames with B bins of noise the noise
power that is read varies by 4.3 / sqrt(F B) dB. `FundFrequency` is right to 0.002 of a bin for a
clean tone.)",
    .Formulas = R"(Powers are sums of |X[k]|^2 over bins, divided by the window's mean square:

    SINAD = 10 log10(full scale / all but DC and the fundamental)
    SNR   = 10 log10(full scale / all but DC, the fundamental and the harmonics)
    THD   = 10 log10(harmonics / full scale)
    ENOB  = (SINAD - 1.76) / 6.02

Those whose names begin with Carrier are relative to the tone, as IEEE Std 1241-2010 has them. The
noise of steps: W. R. Bennett 1948, "Spectra of quantized signals", Bell System Technical Journal
27.)",
    .SeeAlso = "TQSFourier, TQSPowerSpectrum, TQSRealToInt, TQSApplyWindow",
    .Example =
        R"(A tone in steps of 8 bits, 31 cycles a frame: its spectrum in decibels, with what the steps have
added. Run it with `--json` for the figures: `ENOB` comes to 8 bits.)",
};

}  // namespace

const TPublishedTable& TQSNoiseStats::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSNoiseStats",
                       .DisplayName = "Perform Noise Stats Analisys",
                       .Category = "Analysis",
                       .Doc = "Measures the quality of a stream that carries one tone: SNR, SINAD, "
                              "THD, SFDR, effective bits and more, a record for each frame.",
                       .Text = NoiseStatsText},
                      &TQSFourierBase::Published())
          .Property(StatsNormalizationInfo, &TQSNoiseStats::Normalization,
                    &TQSNoiseStats::SetNormalization)
          .Object("BinMask", &TQSNoiseStats::BinMask, "Bins that count as the mean of the noise.")
          .Property(MinDataValInfo, &TQSNoiseStats::MinDataVal, &TQSNoiseStats::SetMinDataVal)
          .Property(MaxDataValInfo, &TQSNoiseStats::MaxDataVal, &TQSNoiseStats::SetMaxDataVal)
          .Property(WindowThresholdInfo, &TQSNoiseStats::WindowThreshold,
                    &TQSNoiseStats::SetWindowThreshold)
          .Property(NumHarmonicsInfo, &TQSNoiseStats::NumHarmonics, &TQSNoiseStats::SetNumHarmonics)
          .Property(DCBinWidthInfo, &TQSNoiseStats::DCBinWidth, &TQSNoiseStats::SetDCBinWidth)
          .Property(HarmonicBinWidthInfo, &TQSNoiseStats::HarmonicBinWidth,
                    &TQSNoiseStats::SetHarmonicBinWidth)
          .Property(SynchronizeTypeInfo, &TQSNoiseStats::SynchronizeType,
                    &TQSNoiseStats::SetSynchronizeType)
          .Event("OnBinMaskOpportunity", &TQSNoiseStats::SetOnBinMaskOpportunity,
                 {"Results", "Enabled"},
                 "The tone, its harmonics and the spur of a frame have been found; BinMask may be "
                 "filled and enabled.")
          .Event("OnStatsAvailable", &TQSNoiseStats::SetOnStatsAvailable, {"Results"},
                 "A frame has been measured.");
  return Table;
}

void TQSNoiseStats::SetWindowType(TQSExtendedWindowType AValue) {
  const ILockSection Section = WriteLock();
  const TQSExtendedWindowType Before = WindowType();
  TQSFourierBase::SetWindowType(AValue);
  if (AValue == Before) return;
  SetWindowThreshold(ThresholdOf(AValue));
  if (AValue == xwtBlackman) SetAlpha(1.0);
  if (AValue == xwtKaiser) SetAlpha(0.1);
}

bool TQSNoiseStats::StoresDefault(std::string_view AName) const {
  if (AName == "Alpha") return WindowType() == xwtKaiser;
  return AName == WindowThresholdInfo.Name && ThresholdOf(WindowType()) != 0.0;
}

void TQSNoiseStats::SetMinDataVal(double AValue) {
  NotifySetter(MinDataValInfo, FMinDataVal, AValue);
}
void TQSNoiseStats::SetMaxDataVal(double AValue) {
  NotifySetter(MaxDataValInfo, FMaxDataVal, AValue);
}
void TQSNoiseStats::SetWindowThreshold(double AValue) {
  NotifySetter(WindowThresholdInfo, FWindowThresh, AValue);
}
void TQSNoiseStats::SetNumHarmonics(std::uint32_t AValue) {
  NotifySetter(NumHarmonicsInfo, FNumHarmonics, AValue);
}
void TQSNoiseStats::SetDCBinWidth(std::uint32_t AValue) {
  NotifySetter(DCBinWidthInfo, FDCBinWidth, AValue);
}
void TQSNoiseStats::SetHarmonicBinWidth(std::uint32_t AValue) {
  NotifySetter(HarmonicBinWidthInfo, FHarmonicBinWidth, AValue);
}
void TQSNoiseStats::SetSynchronizeType(TQSSynchronizeType AValue) {
  NotifySetter(SynchronizeTypeInfo, FSynchronizeType, AValue);
}
void TQSNoiseStats::SetOnBinMaskOpportunity(TQSBinMaskOpportunityEvent AHandler) {
  NotifySetter("OnBinMaskOpportunity", FOnBinMaskOpportunity, std::move(AHandler));
}
void TQSNoiseStats::SetOnStatsAvailable(TQSNoiseStatsNotifyEvent AHandler) {
  NotifySetter("OnStatsAvailable", FOnStatsAvailable, std::move(AHandler));
}

void TQSNoiseStats::CheckBin(std::uint32_t ABin) const {
  const std::int64_t Half = std::int64_t{1} << (Order() - 1);
  if (ABin < Half) return;
  throw EQSException(Describe() + ": bin " + NumberText(ABin) +
                     " cannot be masked; with that Order there are bins 0 to " +
                     NumberText(Half - 1));
}

bool TQSNoiseStats::Masked(std::uint32_t ABin) const {
  CheckBin(ABin);
  const std::vector<std::int32_t> Bins = FBinMask.Values();
  return std::find(Bins.begin(), Bins.end(), static_cast<std::int32_t>(ABin)) != Bins.end();
}

void TQSNoiseStats::SetMasked(std::uint32_t ABin, bool AValue) {
  const ILockSection Section = WriteLock();
  if (Masked(ABin) == AValue) return;
  std::vector<std::int32_t> Bins = FBinMask.Values();
  std::erase(Bins, static_cast<std::int32_t>(ABin));
  if (AValue) Bins.push_back(static_cast<std::int32_t>(ABin));
  FBinMask.SetValues(std::move(Bins));
}

std::vector<std::string> TQSNoiseStats::Remarks() const {
  std::vector<std::string> Result = TQSFourierBase::Remarks();
  const double Width = FMaxDataVal - FMinDataVal;
  const std::string Range =
      "MinDataVal is " + NumberText(MinDataVal()) + " and MaxDataVal " + NumberText(MaxDataVal());
  if (Width == 0.0 || !std::isfinite(Width)) {
    Result.push_back(Range +
                     ", a range that is no full scale: the figures mean nothing; set them "
                     "to the least and the largest value of the data");
  } else if (Width < 0.0) {
    Result.push_back(Range + ": the range runs backwards, and counts by its width");
  }
  const std::lock_guard Lock(FRecordsMutex);
  if (FDroppedRecords > 0) {
    Result.push_back("the main thread took the records of OnStatsAvailable too late, and " +
                     NumberText(FDroppedRecords) +
                     " were dropped; let it process its queue more often, or set SynchronizeType "
                     "to stNone");
  }
  return Result;
}

// --- a frame ---

// A real stream is always divided by N.
void TQSNoiseStats::IntInit() {
  MakePlan({.Size = FCurrentSize,
            .IsFft = true,
            .IsComplex = FIsComplex,
            .Normalization = FIsComplex ? Normalization() : TQSFourierNormalization::fnNormalize});
  FAnalysis->Resize(FCurrentSize);
}

void TQSNoiseStats::StopFFT() {
  TQSFourierBase::StopFFT();
  FAnalysis->Resize(0);
  ++FEnds;
}

std::int64_t TQSNoiseStats::OtherBytes() const {
  return TQSFourierBase::OtherBytes() + TAnalysis::Bytes(FCurrentSize);
}

TQSNoiseStats::TSettings TQSNoiseStats::ReadSettings() const {
  return {.MinDataVal = FMinDataVal,
          .MaxDataVal = FMaxDataVal,
          .WindowType = WindowType(),
          .WindowThreshold = FWindowThresh,
          .NumHarmonics = FNumHarmonics,
          .DCBinWidth = FDCBinWidth,
          .HarmonicBinWidth = FHarmonicBinWidth};
}

void TQSNoiseStats::SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) {
  const void* Samples = AInBuffer;
  {
    // One state of the properties, whose window is made here.
    const ILockSection Section = ReadLock();
    FSettings = ReadSettings();
    const bool IsSigned = FSettings.MinDataVal < 0.0;
    const double Middle = (IsSigned ? FSettings.MinDataVal : 1.0) + FSettings.MaxDataVal;
    const double Offset = 0.5 * Middle;
    double Sum = 0.0;
    if (FIsComplex) {
      const auto* const In = static_cast<const TComplex*>(AInBuffer);
      for (std::int32_t I = 0; I < ASize; ++I) {
        AOutBuffer[I] = {In[I].Re - Offset, In[I].Im};
        Sum += AOutBuffer[I].Re;
      }
      Samples = AOutBuffer;
    } else {
      const auto* In = static_cast<const double*>(AInBuffer);
      if (Offset != 0.0) {
        auto* const Work = reinterpret_cast<double*>(AOutBuffer);
        ippsSubC_64f(In, Offset, Work, ASize);
        Samples = In = Work;
      }
      for (std::int32_t I = 0; I < ASize; ++I) Sum += In[I];
    }
    Flc_mean = Sum / ASize;
    Samples = ApplyWindow(Samples, AOutBuffer, ASize);
  }
  FIntState->Forward(Samples, AOutBuffer);
}

void TQSNoiseStats::ProcessSpectrum(const TRef<IQSComplexBuffer>& ABins) {
  const std::int32_t Size = ABins->GetSize();
  TComplex* const Bins = ABins->Write();
  const auto [Before, Behind] = ScaleOf(FSettings.WindowType, FIsComplex);
  Scale(Bins, Size, Before / FSettings.FullScale());
  struct TShown {
    TQSNoiseStats& It;
    TShown(TQSNoiseStats& AIt, const TComplex* ABins, std::int32_t ASize) : It(AIt) {
      It.FCompexData = ABins;
      It.FDataSize = ASize;
    }
    ~TShown() {
      It.FCompexData = nullptr;
      It.FDataSize = 0;
    }
  } const Shown(*this, Bins, Size);
  // A handler may end the component: then this frame was the last. What is queued at an end that
  // comes from elsewhere is still measured.
  const bool WasEnding = HasState(csDestroying);
  const auto HasEnded = [&] {
    const bool Ended = !WasEnding && HasState(csDestroying);
    if (Ended) StopFFT();
    return Ended;
  };
  TRef<TQSNoiseStatResults> Stats;
  if (FOnStatsAvailable.IsAssigned() || FOnBinMaskOpportunity.IsAssigned()) {
    const std::uint64_t Ends = FEnds;
    Stats = MakeRef<TQSNoiseStatResults>();
    const std::int64_t Bytes = FSettings.NumHarmonics * std::int64_t{20};
    try {
      if (FSettings.NumHarmonics > ManyHarmonics) RequireMemory(Bytes);
      CalcStatistics(Bins, *Stats);
    } catch (const std::bad_alloc&) {
      RefuseMemory("the figures of " + NumberText(FSettings.NumHarmonics) + " harmonics", Bytes,
                   "a smaller NumHarmonics takes less");
    }
    if (Ends != FEnds || HasEnded()) return;
  }
  Scale(Bins, Size, Behind);
  if (Stats) Deliver(std::move(Stats));
  HasEnded();
}

void TQSNoiseStats::CalcStatistics(const TComplex* ABins, TQSNoiseStatResults& AStats) {
  const ILockSection Section = WriteLock();
  TAnalysis& It = *FAnalysis;
  const std::int64_t Size = It.Size();
  const TSettings& Settings = FSettings;
  It.ReadWindow(FFreqDomainWindow, FWindowGain, Settings.WindowThreshold);
  It.FindFundBin(ABins, Settings);

  const double Fund = It.FundBin();
  AStats.FFundBinFractional = Fund;
  AStats.FFundBin = static_cast<std::uint32_t>(std::nearbyint(Fund));
  auto& Figures = AStats.FFigures;
  Figures.SampleRate = SampleRate();
  Figures.FrameSize = static_cast<std::uint32_t>(Size);
  Figures.FundFrequency = It.Frequency() * SampleRate() / static_cast<double>(Size);

  const double Below = std::floor(Fund);
  const double Part = Fund - Below;
  const double Phase = Angle(ABins[static_cast<std::int64_t>(Below) + 1]) - pi * Part;
  const double FullScale = std::ldexp(1.0, DataBits(Settings.MaxDataVal - Settings.MinDataVal) - 2);
  const double Correction =
      FullScale / pi / Fund * (std::sin(2.0 * pi * Part + Phase) - std::sin(Phase));
  Figures.DataMean = -Flc_mean;
  Figures.DCDataOffset = Figures.DataMean + Correction;

  const std::size_t Harmonics = Settings.NumHarmonics;
  AStats.FHarmonicBins.resize(Harmonics);
  AStats.FHarmonics.resize(Harmonics);
  AStats.FHarmonicDistortions.resize(Harmonics);
  const auto LineOf = [&](std::int64_t ABin) { return LineLevel + Db(MagnitudeOf(ABins[ABin])); };
  for (std::size_t I = 0; I < Harmonics; ++I) {
    const double Place = Alias(static_cast<double>(I + 2) * Fund / static_cast<double>(Size));
    const auto Bin = static_cast<std::uint32_t>(std::nearbyint(Place * static_cast<double>(Size)));
    AStats.FHarmonicBins[I] = Bin;
    AStats.FHarmonics[I] = LineOf(Bin);
  }
  Figures.SfdrBin = static_cast<std::uint32_t>(It.SpurBin());
  Figures.Sfdr = LineOf(It.SpurBin());

  It.MarkRegions(ABins, Settings, AStats.FFundBin, AStats.FHarmonicBins);
  if (FOnBinMaskOpportunity.IsAssigned()) {
    const std::uint64_t Ends = FEnds;
    const bool WasEnding = HasState(csDestroying);
    const bool Before = FBinMask.Enabled();
    bool Enabled = Before;
    FOnBinMaskOpportunity(*this, AStats.CreateCopy(), Enabled);
    if (Ends != FEnds || (!WasEnding && HasState(csDestroying))) return;
    if (Enabled != Before) FBinMask.SetEnabled(Enabled);
  }
  if (FBinMask.Enabled()) It.Mask(ABins, FBinMask.Values());
  It.Measure();

  using enum TQSBinClass;
  const auto Level = [&](unsigned AIn, bool AInside) {
    return Db(std::sqrt(It.RegionPower(AIn, AInside)));
  };
  Figures.Fundamental = Level(TAnalysis::InFundamental, true);
  Figures.Sinad = -Level(TAnalysis::InDC | TAnalysis::InFundamental, false);
  Figures.Enob = Bits(Figures.Sinad);
  Figures.Thd = Level(TAnalysis::InHarmonic, true);
  Figures.Snr = -Level(TAnalysis::InDC | TAnalysis::InFundamental | TAnalysis::InHarmonic, false);
  Figures.IntNoiseFloor = -Figures.Snr;
  Figures.AvgNoise =
      Figures.Snr == -NoPower
          ? 0.0
          : Db(std::sqrt(std::pow(10.0, -Figures.Snr / 10.0) / static_cast<double>(It.Half())));

  const double Carrier = It.ClassPower(bcFundamental);
  const double Noise = It.ClassPower(bcNoise) + It.ClassPower(bcMasked);
  const double Distortion = It.ClassPower(bcHarmonic);
  Figures.CarrierSINAD = Ratio(Carrier, Noise + Distortion);
  Figures.CarrierENOB = Bits(Figures.CarrierSINAD);
  Figures.CarrierSNR = Ratio(Carrier, Noise);
  Figures.CarrierTHD = Ratio(Distortion, Carrier);
  Figures.CarrierSFDR = Ratio(Carrier, It.SpurPower());
  for (std::size_t I = 0; I < Harmonics; ++I) {
    AStats.FHarmonicDistortions[I] =
        Ratio(It.HarmonicPower(AStats.FHarmonicBins[I], Settings), Carrier);
  }
  // A real tone of full scale has the power 1; a complex one that of its factor.
  const double Factor = ScaleOf(Settings.WindowType, FIsComplex).first;
  const double Whole = FIsComplex ? Factor * Factor : 1.0;
  const double Bandwidth = (It.ClassBins(bcNoise) + It.ClassBins(bcMasked)) * SampleRate() /
                           static_cast<double>(Size) * (FIsComplex ? 1.0 : 0.5);
  Figures.NoiseDensity = Ratio(Noise / Whole, Bandwidth);
  AStats.FClassStarts = It.ClassStarts();
  AStats.FClasses = It.Classes();
}

// --- delivery ---

void TQSNoiseStats::Deliver(TRef<TQSNoiseStatResults> AStats) {
  if (!FOnStatsAvailable.IsAssigned()) return;
  switch (SynchronizeType()) {
    case TQSSynchronizeType::stNone:
      return FOnStatsAvailable(*this, std::move(AStats));
    case TQSSynchronizeType::stSingleBuffer:
      return QueueRecord(FSingleRecords, std::move(AStats), &TQSNoiseStats::ShowNext);
    case TQSSynchronizeType::stQueue:
      return QueueRecord(FResultQueue, std::move(AStats), &TQSNoiseStats::ShowNewest);
  }
}

// The main thread is called once for each record that waits.
void TQSNoiseStats::QueueRecord(TRecords& AQueue, TRef<TQSNoiseStatResults> AStats,
                                void (TQSNoiseStats::*AShow)()) {
  const std::size_t Numbers = 64 + 3 * AStats->HarmonicBins().size() + AStats->Classes().size();
  const std::size_t Most = std::clamp<std::size_t>(MostWaitingNumbers / Numbers, 1, MostRecords);
  {
    const std::lock_guard Lock(FRecordsMutex);
    AQueue.push_back(std::move(AStats));
    bool IsFull = false;
    for (; AQueue.size() > Most; AQueue.pop_front()) {
      IsFull = true;
      ++FDroppedRecords;
    }
    if (IsFull) return;
  }
  MainThread().Execute(*this, [this, AShow] { (this->*AShow)(); });
}

void TQSNoiseStats::ShowNext() {
  TRef<TQSNoiseStatResults> Stats;
  {
    const std::lock_guard Lock(FRecordsMutex);
    if (FSingleRecords.empty()) return;
    Stats = std::move(FSingleRecords.front());
    FSingleRecords.pop_front();
  }
  FOnStatsAvailable(*this, std::move(Stats));
}

void TQSNoiseStats::ShowNewest() {
  for (std::size_t I = 0; I < MostAtOnce; ++I) {
    TRef<TQSNoiseStatResults> Stats;
    {
      const std::lock_guard Lock(FRecordsMutex);
      if (!FOnStatsAvailable.IsAssigned()) FResultQueue.clear();
      if (FResultQueue.empty()) return;
      Stats = std::move(FResultQueue.back());
      FResultQueue.pop_back();
    }
    FOnStatsAvailable(*this, std::move(Stats));
  }
}

void QSNoiseStats::RegisterPkg() { RegisterComponents({ClassOf<TQSNoiseStats>()}); }

}  // namespace tessalune
