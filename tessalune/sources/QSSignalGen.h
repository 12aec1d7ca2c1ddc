#pragma once

#include <tessalune/frame/streams/QSCommonGen.h>

#include <array>
#include <cstdint>

namespace tessalune {

// The waveform; in order from 0. A phase of 0 is the positive peak of tone and triangle, and the
// beginning of the low part of a square and of the ramp of a saw tooth.
enum class TQSSignalType : std::uint8_t {
  stTone,          // a cosine
  stTriangle,      // falls for pi + Asymmetry radians of a cycle, rises for the rest
  stSquare,        // low for Asymmetry / 2 + 0.5 of a cycle, then high
  stDc,            // the constant Amplitude
  stJaehne,        // a chirp from 0 to half the rate in each block
  stSawToothUp,    // rises from -Amplitude to Amplitude
  stSawToothDown,  // falls from Amplitude to -Amplitude
};
template <>
struct TEnumNames<TQSSignalType> {
  static constexpr std::array<std::string_view, 7> Names{
      "stTone", "stTriangle", "stSquare", "stDc", "stJaehne", "stSawToothUp", "stSawToothDown"};
};

// Generates a periodic test signal. The stream is continuous from block to block, but for the
// Jaehne chirp, which begins anew in each.
//
// Tone and triangle have no form at half the sample rate and above, nor with an Amplitude of 0: the
// block is silent then, but for Offset. Remarks tells of a Frequency for which there is silence.
//
// A saw tooth is made of whole samples. With N the samples of a cycle, rounded, a tooth is a ramp
// of N + 1 samples from one peak to the other, both exact. Its frequency is therefore the rate
// divided by N + 1, a little below Frequency. What the rounding of N leaves is summed up, and a
// tooth that goes on in a new block begins there a whole sample earlier or later once it has come
// to one. A cycle of less than half a sample, or of 2^31 samples and more, gives silence. Ramps are
// computed from single-precision values.
//
// A change of a property takes effect with the next block and the phase runs on; Phase itself takes
// effect at once. A stream begins at Phase.
class TQSSignalGen : public TQSCommonRealGen {
 public:
  // Pi as this component's radians know it.
  static constexpr double QSPi = 3.141592621;

  using TQSCommonRealGen::TQSCommonRealGen;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Default stTone.
  TQSSignalType SignalType() const { return FSignalType; }
  void SetSignalType(TQSSignalType AValue);
  // In radians, stored within 0 to 2 QSPi; default 0. Raises EQSException for what is not finite.
  double Phase() const { return FPhase; }
  void SetPhase(double AValue);
  // Peak value, at least 0; default 20000.
  double Amplitude() const { return FAmplitude; }
  void SetAmplitude(double AValue);
  // In Hz, above 0; default 500.
  double Frequency() const { return FFrequency; }
  void SetFrequency(double AValue);
  // Added to each sample; default 0.
  double Offset() const { return FOffset; }
  void SetOffset(double AValue);
  // From -QSPi to QSPi; default 0. In radians for the triangle. The square takes the same number on
  // a scale of -1 (never low) to 1 (always low).
  double Asymmetry() const { return FAsymmetry; }
  void SetAsymmetry(double AValue);

  // The phase at which the next block begins, in radians.
  double CurrentPhase() const { return FLock->Getter(FIntPhase); }

  std::vector<std::string> Remarks() const override;
  std::vector<std::string> RemarksFor(double ASampleRate) const override;

 protected:
  void SetRate(double ARate) override;
  void StartStream() override;
  void Generate(TRef<IQSRealBuffer>& ASignal, bool& APopulated, bool& AFinished) override;

 private:
  void SawTooth(double* ADst, std::int32_t ALen, double APeak, double ARelFrequency);

  double FIntPhase = 0.0;
  TField<double> FPhase;
  TField<double> FAmplitude;
  TField<double> FFrequency;
  TField<double> FOffset;
  TField<double> FAsymmetry;
  TField<double> FIntRate;
  double FIntSampleRatio = 0.0;  // cycles per sample
  double FRampError = 0.0;       // samples by which whole-sample cycles have drifted
  std::int64_t FSamplesPerCycle = 0;
  TField<TQSSignalType> FSignalType;
};

namespace QSSignalGen {
void RegisterPkg();
}

}  // namespace tessalune
