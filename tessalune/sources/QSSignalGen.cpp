#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>
#include <tessalune/sources/QSSignalGen.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace tessalune {
namespace {

constexpr double QSPi = TQSSignalGen::QSPi;

constexpr TPropertyInfo<TQSSignalType> SignalTypeInfo{
    .Name = "SignalType", .Default = TQSSignalType::stTone, .Doc = "The waveform."};
constexpr TPropertyInfo<double> PhaseInfo{.Name = "Phase",
                                          .Default = 0.0,
                                          .Design = Between(0.0, 2.0 * std::numbers::pi),
                                          .Unit = "rad",
                                          .Effect = TTakesEffect::AtOnce,
                                          .Doc = "Where in its cycle the stream begins."};
constexpr TPropertyInfo<double> AmplitudeInfo{.Name = "Amplitude",
                                              .Default = 20000.0,
                                              .Bounds = AtLeast(0.0),
                                              .Design = AtLeast(0.0),
                                              .Doc = "Peak value."};
constexpr TPropertyInfo<double> FrequencyInfo{.Name = "Frequency",
                                              .Default = 500.0,
                                              .Bounds = Above(0.0, 1.0),
                                              .Design = Between(0.0, 500000000.0),
                                              .Unit = "Hz",
                                              .Doc = "Cycles a second."};
constexpr TPropertyInfo<double> OffsetInfo{
    .Name = "Offset", .Default = 0.0, .Doc = "Added to each sample."};
constexpr TPropertyInfo<double> AsymmetryInfo{
    .Name = "Asymmetry",
    .Default = 0.0,
    .Bounds = Between(-QSPi, QSPi),
    .Design = Between(-std::numbers::pi, std::numbers::pi),
    .Unit = "rad",
    .Doc =
        "How much longer a triangle falls than it rises; for the square the same number on a "
        "scale of -1 (never low) to 1 (always low)."};

// To the nearest integer, a tie to the even one.
std::int64_t RoundHalfEven(double AValue) {
  constexpr double Largest = 9223372036854775807.0;
  if (AValue >= Largest) return std::numeric_limits<std::int64_t>::max();
  if (AValue <= -Largest) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(std::nearbyint(AValue));
}

void Ramp(double* ADst, std::int64_t ACount, double AOffset, double ASlope) {
  if (ACount <= 0) return;
  ippsVectorRamp_64f(ADst, static_cast<std::int32_t>(ACount), static_cast<float>(AOffset),
                     static_cast<float>(ASlope));
}

constexpr TClassText SignalGenText{
    .Use =
        R"(The test signals: tones for levels and responses, a square to see steps and ringing, a triangle or
a saw tooth as a sweep or a ramp, a constant, and Jaehne's chirp, which runs through all
frequencies in each block. Several of them, by TQSAdd and TQSMultiply, make most signals that a
graph has to be tried with. A `Phase` of 0 is the positive peak of tone and triangle.)",
    .BadInput =
        R"(Tone and triangle have no form at half the sample rate and above, nor with an `Amplitude` of 0:
the block is silent then, but for `Offset`, and the notes of `run` tell. A saw tooth whose cycle
has less than half a sample, or 2^31 and more, is silent too. A phase or a frequency that is no
finite number is refused.)",
    .Accuracy =
        R"(A tone runs on from block to block without a step. It is computed at extended precision: before it
is rounded, sample n of a block is off by some (n / 32 + 64) 2^-64 of the amplitude. A saw tooth
is made of whole samples, in ramps of N + 1 with N the samples of a cycle, rounded: its frequency
is the rate divided by N + 1, and its values have single precision. A few operations a sample.)",
    .Formulas = R"(With w = 2 pi `Frequency` / `SampleRate`, A for `Amplitude`, all plus `Offset`:

    stTone      A cos(w n + Phase)
    stTriangle  from A down to -A for pi + Asymmetry radians of a cycle, then up
    stSquare    -A for Asymmetry / 2 + 0.5 of a cycle, then A
    stDc        A
    stJaehne    A sin(pi n^2 / (2 N)), n from 0 to N - 1 in each block of N samples
    stSawToothUp, stSawToothDown   ramps from -A to A, from A to -A)",
    .SeeAlso = "TQSRandomGen, TQSGaussGen, TQSPlayer, TQSAdd, TQSToSquare",
    .Example = "Four of the waveforms, at 100 Hz.",
};

}  // namespace

const TPublishedTable& TQSSignalGen::Published() {
  static const TPublishedTable Table =
      TPublishedTable(
          {.Name = "TQSSignalGen",
           .DisplayName = "Real Signal Generator( Sine, Triangle, Rectange, DC)",
           .Category = categories::Generators,
           .Doc = "Generates tone, triangle, square, DC, chirp and saw teeth. The cycle "
                  "of a saw tooth is a whole number of samples, one more than the "
                  "period.",
           .Text = SignalGenText},
          &TQSCommonRealGen::Published())
          .Property(SignalTypeInfo, &TQSSignalGen::SignalType, &TQSSignalGen::SetSignalType)
          .Property(PhaseInfo, &TQSSignalGen::Phase, &TQSSignalGen::SetPhase)
          .Property(AmplitudeInfo, &TQSSignalGen::Amplitude, &TQSSignalGen::SetAmplitude)
          .Property(FrequencyInfo, &TQSSignalGen::Frequency, &TQSSignalGen::SetFrequency)
          .Property(OffsetInfo, &TQSSignalGen::Offset, &TQSSignalGen::SetOffset)
          .Property(AsymmetryInfo, &TQSSignalGen::Asymmetry, &TQSSignalGen::SetAsymmetry);
  return Table;
}

void TQSSignalGen::SetSignalType(TQSSignalType AValue) {
  NotifySetter(SignalTypeInfo, FSignalType, AValue);
}

void TQSSignalGen::SetPhase(double AValue) {
  if (!std::isfinite(AValue)) {
    RefuseValue(Describe(), PhaseInfo.Name, NumberText(AValue), "a finite number of radians");
  }
  // A far-away value first comes near in one step; subtracting would not end.
  double Value = std::abs(AValue) > 1e6 ? std::fmod(AValue, 2.0 * QSPi) : AValue;
  while (Value < 0.0) Value += 2.0 * QSPi;
  while (Value > 2.0 * QSPi) Value -= 2.0 * QSPi;
  NotifySetter(PhaseInfo, FPhase, Value, [this] { FIntPhase = FPhase; });
}

void TQSSignalGen::SetAmplitude(double AValue) { NotifySetter(AmplitudeInfo, FAmplitude, AValue); }
void TQSSignalGen::SetFrequency(double AValue) { NotifySetter(FrequencyInfo, FFrequency, AValue); }
void TQSSignalGen::SetOffset(double AValue) { NotifySetter(OffsetInfo, FOffset, AValue); }
void TQSSignalGen::SetAsymmetry(double AValue) { NotifySetter(AsymmetryInfo, FAsymmetry, AValue); }

std::vector<std::string> TQSSignalGen::RemarksFor(double ASampleRate) const {
  const TQSSignalType Type = FSignalType;
  const bool IsWave = Type == TQSSignalType::stTone || Type == TQSSignalType::stTriangle;
  const bool IsSawTooth =
      Type == TQSSignalType::stSawToothUp || Type == TQSSignalType::stSawToothDown;
  // A saw tooth has a cycle of a sample at least, when rounded.
  const double Above = IsWave ? 0.5 : 2.0;
  if ((!IsWave && !IsSawTooth) || !(ASampleRate > 0.0) || Frequency() / ASampleRate < Above) {
    return {};
  }
  return {"Frequency is " + NumberText(Frequency()) + " Hz and the sample rate " +
          NumberText(ASampleRate) + " Hz, so the signal is silent; choose a Frequency below " +
          NumberText(Above * ASampleRate) + " Hz, or a higher rate"};
}

std::vector<std::string> TQSSignalGen::Remarks() const {
  std::vector<std::string> Result = TQSCommonRealGen::Remarks();
  for (std::string& Remark : RemarksFor(SampleRate())) Result.push_back(std::move(Remark));
  return Result;
}

void TQSSignalGen::SetRate(double ARate) {
  FLock->NotifySetterMin("SampleRate", FIntRate, ARate, 0.0);
}

void TQSSignalGen::StartStream() {
  const ILockSection Section = WriteLock();
  FRampError = 0.0;
  FIntPhase = FPhase;
  TQSCommonRealGen::StartStream();
}

void TQSSignalGen::Generate(TRef<IQSRealBuffer>& ASignal, bool&, bool&) {
  // A ratio beyond all doubles would leave a phase that is no number, for the rest of the stream.
  FIntSampleRatio = std::min(FFrequency / FIntRate, std::numeric_limits<double>::max());
  // The square may round its phase up to a full cycle, which tone and triangle refuse.
  if (FIntPhase >= 2.0 * std::numbers::pi) FIntPhase = 0.0;
  FSamplesPerCycle = RoundHalfEven(1.0 / FIntSampleRatio);
  const double Magnitude = std::abs(FAmplitude);
  const std::int32_t Count = ASignal->GetSize();
  double* Dst = ASignal->Write();
  switch (FSignalType.Load()) {
    case TQSSignalType::stTone:
      if (ippsTone_Direct_64f(Dst, Count, Magnitude, FIntSampleRatio, &FIntPhase, 0) !=
          ippStsNoErr) {
        ASignal->Zero();
      }
      break;
    case TQSSignalType::stTriangle:
      if (ippsTriangle_Direct_64f(Dst, Count, Magnitude, FIntSampleRatio, FAsymmetry, &FIntPhase) !=
          ippStsNoErr) {
        ASignal->Zero();
      }
      break;
    case TQSSignalType::stSquare:
      ippsSquare_Direct_64f(Dst, Count, Magnitude, FIntSampleRatio, FAsymmetry, &FIntPhase);
      break;
    case TQSSignalType::stDc:
      ASignal->SetValue(FAmplitude);
      break;
    case TQSSignalType::stJaehne:
      ASignal->VectorJaehne(Magnitude);
      break;
    case TQSSignalType::stSawToothUp:
      SawTooth(Dst, Count, Magnitude, FIntSampleRatio);
      break;
    case TQSSignalType::stSawToothDown:
      SawTooth(Dst, Count, -Magnitude, FIntSampleRatio);
      break;
  }
  const double Offset = FOffset;
  if (Offset != 0.0) ippsAddC_64f_I(Offset, Dst, Count);
}

// A cycle that began in an earlier block is finished first, then whole cycles follow, then the
// beginning of one. A cycle inside a block is a ramp of N + 1 samples whose last is the peak.
void TQSSignalGen::SawTooth(double* ADst, std::int32_t ALen, double APeak, double ARelFrequency) {
  const std::int64_t N = FSamplesPerCycle;
  if (N < 1 || N > std::numeric_limits<std::int32_t>::max()) {
    std::fill_n(ADst, ALen, 0.0);
    return;
  }
  const double Slope = 2.0 * APeak / static_cast<double>(N);
  std::int64_t Phase = RoundHalfEven(FIntPhase * 0.5 / QSPi / ARelFrequency);
  std::int64_t Count = N - Phase;
  const bool OutlastsBlock = Count + 1 > ALen;
  FRampError += static_cast<double>(N) - 1.0 / ARelFrequency;
  const auto Place = static_cast<double>(Phase);
  if (Phase > 0 || OutlastsBlock) {
    // Cycles have whole-sample lengths; the error is paid back here, as far as the ramp reaches: a
    // debt that grew while no cycle crossed a block's end would throw it far beyond its peaks.
    const double Extra =
        std::clamp(std::trunc(FRampError), std::min(0.0, Place - static_cast<double>(N)), Place);
    FRampError -= Extra;
    Count = std::clamp<std::int64_t>(Count + static_cast<std::int64_t>(Extra), -1, ALen - 1);
    // A cycle that outlasts the block fills it, whatever was paid back.
    if (OutlastsBlock) Count = ALen - 1;
    Ramp(ADst, Count + 1, (Place - Extra) * Slope - APeak, Slope);
    if (!OutlastsBlock && Count >= 0) ADst[Count] = APeak;
    ++Count;
  } else {
    Count = 0;
  }
  for (; ALen - Count >= N + 1; Count += N + 1) {
    Ramp(ADst + Count, N + 1, -APeak, Slope);
    ADst[Count + N] = APeak;
  }
  if (OutlastsBlock) {
    Phase += ALen;
  } else {
    Phase = ALen - Count;
    Ramp(ADst + Count, Phase, -APeak, Slope);
  }
  FIntPhase = 2.0 * QSPi * static_cast<double>(Phase) / static_cast<double>(N);
}

void QSSignalGen::RegisterPkg() { RegisterComponents({ClassOf<TQSSignalGen>()}); }

}  // namespace tessalune
