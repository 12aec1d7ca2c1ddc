// The quality of a converter, or of a chain, from a stream that carries one tone: SNR, SINAD, THD,
// SFDR, effective bits and more, a record for each frame. docs/measurement.md tells what each
// figure means, which window to choose, and how well each window can measure.
//
// Levels are powers in dB, N is the frame's size, H = N / 2; bins count from 0, and of a real
// stream's bins k and N - k are one component. MinDataVal and MaxDataVal are full scale: 0 dBFS is
// the power of a tone that just fills them.
#pragma once

#include <tessalune/analysis/QSBasicAnalysis.h>
#include <tessalune/frame/containers/VBLockArray.h>
#include <tessalune/frame/containers/VBRecords.h>
#include <tessalune/frame/runtime/QSTiedDefaults.h>
#include <tessalune/transforms/QSFourier.h>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune {

// The user's list of bins that a measurement passes over: a spur that is known, say. Entries that
// are no bin below H have no effect.
class TQSBinMask final : public TBasicLockArrayPersistent<TQSBinMask, std::int32_t> {
 public:
  using TBasicLockArrayPersistent::TBasicLockArrayPersistent;
  static constexpr TPropertyInfo<std::vector<std::int32_t>> ItemsInfo{
      .Name = "_Items", .OldName = "Values", .Doc = "The bins."};
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Whether the list counts; default false.
  bool Enabled() const { return FEnabled; }
  void SetEnabled(bool AValue);

 private:
  TField<bool> FEnabled;
};

// What a bin counts as.
enum class TQSBinClass : std::uint8_t {
  bcDC,           // the window's lobe of bin 0, and its region but for that of the tone
  bcFundamental,  // the region of the tone
  bcHarmonic,     // the region of a harmonic, but for those of bin 0 and the tone
  bcMasked,       // none of these, by BinMask: reads as the mean of the noise
  bcNoise,        // all others
};
template <>
struct TEnumNames<TQSBinClass> {
  static constexpr std::array<std::string_view, 5> Names{"bcDC", "bcFundamental", "bcHarmonic",
                                                         "bcMasked", "bcNoise"};
};

// Where the fundamental and its harmonics lie. Harmonic AIndex is that of order AIndex + 2; an
// index beyond NumHarmonics() is an EQSException.
class TQSHarmonicBinResults : public TBasicInterfacedObject {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // The fundamental: the strongest bin, rounded from FundBinFractional.
  std::uint32_t FundBin() const { return FFundBin; }
  // The same with a fraction in steps of 1 / (4 NumHarmonics) bins; without one for xwtNone and
  // xwtRect, and where the window's lobe does not fit. FundFrequency is more exact.
  double FundBinFractional() const { return FFundBinFractional; }
  std::int32_t NumHarmonics() const { return static_cast<std::int32_t>(FHarmonicBins.size()); }
  // The bin of a harmonic; one above half of the rate comes down by aliasing.
  std::uint32_t HarmonicBin(std::uint32_t AIndex) const;
  const std::vector<std::uint32_t>& HarmonicBins() const { return FHarmonicBins; }

 protected:
  friend class TQSNoiseStats;
  void CheckHarmonic(std::uint32_t AIndex) const;

  std::uint32_t FFundBin = 0;
  double FFundBinFractional = 0.0;
  std::vector<std::uint32_t> FHarmonicBins;
};

// The figures of a frame. Two kinds stand beside each other:
//
// Over full scale: the power of a region or of all noise, whatever the tone's level. So SNR, SINAD
// and ENOB do not fall with the tone, and THD is the harmonics' power itself. Harmonic and SFDR
// are single lines, 3.01 dB added, without the window's gain: right with xwtRect, lower by the
// window's coherent gain with any other. What has no power at all reads 55555, as the negative of
// such a level -55555. Of a complex stream all of them read 3.01 dB more with xwtBartlett,
// xwtBlackman, xwtHamming, xwtHanning and xwtKaiser, and Harmonic and SFDR with all windows.
//
// Carrier..., HarmonicDistortion, NoiseDensity, FundFrequency: as IEEE Std 1241 (terms and test
// methods for analog-to-digital converters) has them, relative to the tone at hand, every power
// over its region with the window's gain, each bin counted once, in the class that ClassOf tells.
// What has no power is infinite; where there is no tone either they are NaN.
class TQSNoiseStatResults final : public TQSHarmonicBinResults {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
  TRef<TQSNoiseStatResults> CreateCopy() const;

  // --- over full scale ---

  // The power of the fundamental's region, in dBFS.
  double Fundamental() const { return FFigures.Fundamental; }
  // The line of a harmonic.
  double Harmonic(std::uint32_t AIndex) const;
  const std::vector<double>& Harmonics() const { return FHarmonics; }
  // Full scale over noise and distortion: all but DC and the fundamental.
  double SINAD() const { return FFigures.Sinad; }
  // Full scale over noise: all but DC, the fundamental and the harmonics.
  double SNR() const { return FFigures.Snr; }
  // The power of the harmonics' regions, in dBFS. A harmonic that aliases onto the fundamental or
  // onto DC brings their power with it.
  double THD() const { return FFigures.Thd; }
  // (SINAD - 1.76) / 6.02, in bits.
  double ENOB() const { return FFigures.Enob; }
  // The power of the noise: -SNR.
  double IntNoiseFloor() const { return FFigures.IntNoiseFloor; }
  // The same spread over H bins; 0 if there is none.
  double AvgNoise() const { return FFigures.AvgNoise; }
  // The strongest line below H beside the fundamental, harmonics among them, and its bin. BinMask
  // does not hide it.
  double SFDR() const { return FFigures.Sfdr; }
  std::uint32_t SFDRBin() const { return FFigures.SfdrBin; }
  // The mean of the frame, from the middle of the range on, with its sign turned; in data units.
  double DataMean() const { return FFigures.DataMean; }
  // DataMean and what a tone between two bins, of full scale, adds to a mean; in data units.
  double DCDataOffset() const { return FFigures.DCDataOffset; }

  // --- relative to the carrier ---

  // Power of the fundamental over that of noise and distortion, in dB: all but DC and it.
  double CarrierSINAD() const { return FFigures.CarrierSINAD; }
  // Power of the fundamental over that of the noise, in dB: all but DC, it and the harmonics.
  double CarrierSNR() const { return FFigures.CarrierSNR; }
  // Power of the harmonics over that of the fundamental, in dBc. IEEE counts 9 of them, so
  // NumHarmonics 9.
  double CarrierTHD() const { return FFigures.CarrierTHD; }
  // Power of the fundamental over that of the line SFDRBin, in dBc. The line is that of a spur on
  // its bin; between bins a spur seems weaker by the window's scalloping, 0.01 dB with xwtFlatTop.
  double CarrierSFDR() const { return FFigures.CarrierSFDR; }
  // Bits of an ideal converter of that CarrierSINAD: (CarrierSINAD - 1.76) / 6.02.
  double CarrierENOB() const { return FFigures.CarrierENOB; }
  // Power of each harmonic's region over that of the fundamental, in dBc, over its bins of class
  // bcHarmonic: a harmonic that aliases onto DC or the fundamental cannot be told from them.
  double HarmonicDistortion(std::uint32_t AIndex) const;
  const std::vector<double>& HarmonicDistortions() const { return FHarmonicDistortions; }
  // Mean power density of the noise bins in dBFS/Hz, over 0 to half of the rate; of a complex
  // stream over the whole rate.
  double NoiseDensity() const { return FFigures.NoiseDensity; }
  // The frequency of the fundamental in Hz, by interpolation of the window's lobe: within 0.002 of
  // a bin for a clean tone.
  double FundFrequency() const { return FFigures.FundFrequency; }

  // --- the frame ---

  double SampleRate() const { return FFigures.SampleRate; }       // in Hz
  std::uint32_t FrameSize() const { return FFigures.FrameSize; }  // N
  // The classes of the bins from 0 to H, in runs of one class each: run i begins at bin
  // ClassStarts()[i], is of class Classes()[i] and ends before the next one.
  const std::vector<std::uint32_t>& ClassStarts() const { return FClassStarts; }
  const std::vector<TQSBinClass>& Classes() const { return FClasses; }
  // Of a bin from 0 to N - 1, those above H by their mirror images; EQSException beyond.
  TQSBinClass ClassOf(std::uint32_t ABin) const;

 private:
  friend class TQSNoiseStats;

  struct TFigures {
    double Fundamental = 0.0;
    double Sinad = 0.0;
    double Snr = 0.0;
    double Thd = 0.0;
    double Enob = 0.0;
    double IntNoiseFloor = 0.0;
    double AvgNoise = 0.0;
    double Sfdr = 0.0;
    std::uint32_t SfdrBin = 0;
    double DataMean = 0.0;
    double DCDataOffset = 0.0;
    double CarrierSINAD = 0.0;
    double CarrierSNR = 0.0;
    double CarrierTHD = 0.0;
    double CarrierSFDR = 0.0;
    double CarrierENOB = 0.0;
    double NoiseDensity = 0.0;
    double FundFrequency = 0.0;
    double SampleRate = 0.0;
    std::uint32_t FrameSize = 0;
  };

  TFigures FFigures;
  std::vector<double> FHarmonics;
  std::vector<double> FHarmonicDistortions;
  std::vector<std::uint32_t> FClassStarts;
  std::vector<TQSBinClass> FClasses;
};
// A record has one implementation, so its interface is its class.
using IQSHarmonicBinResults = TQSHarmonicBinResults;
using IQSNoiseStatResults = TQSNoiseStatResults;

// AEnabled is that of BinMask, and may be set.
using TQSBinMaskOpportunityEvent =
    std::function<void(TObject& ASender, TRef<IQSHarmonicBinResults> AResults, bool& AEnabled)>;
using TQSNoiseStatsNotifyEvent =
    std::function<void(TObject& ASender, TRef<IQSNoiseStatResults> AResults)>;

// Measures each frame that it transforms. A frame is conditioned first: the middle of the range is
// taken off it (where MinDataVal is 0 or more (1 + MaxDataVal) / 2, of a complex sample from the
// real part), then comes the window. The bins that go out on the pins are those of the transform,
// divided by N (by Normalization only of a complex stream), times 2 / ((MaxDataVal - MinDataVal) /
// 2), of a complex stream times sqrt(2) / ((MaxDataVal - MinDataVal) / 2): a real tone of full
// scale has the magnitude 1.
//
// How a frame is taken apart. The fundamental is the strongest bin below H; DCBinWidth bins, and as
// many as the window's own lobe has, are passed over. The spur is the strongest one of the others,
// beside the fundamental and what its window spreads: 20 bins for xwtBlackman and xwtHanning, 40
// for xwtBartlett, 10 for xwtCosSum, xwtFlatTop and xwtWelch, at least HarmonicBinWidth, all not
// beyond bin 0, and at least the lobe. A region is a bin, HarmonicBinWidth (of bin 0 DCBinWidth) to
// each side of it, and from each of these bins on those where the frequency-domain window is above
// WindowThreshold; the mask is exact, made by intervals and not by transforms. xwtNone has no such
// bins, its regions are empty, and SNR and SINAD take in everything; after a change to it in
// mid-stream the regions of the window before stay. Of a complex stream each region counts
// together with its mirror image, and a tone is looked for at positive frequencies only.
//
// Properties are read when the frame is complete, and a change counts from the next one on; BinMask
// is read behind OnBinMaskOpportunity. FundBinFractional is that of the strongest match of
// the bins with the window's lobe, moved by each step; beyond NumHarmonics 256 the step stays
// 1/1024 of a bin.
//
// A frame costs one transform of its size and some passes over it, and the memory of one record;
// nothing is measured while no event has a handler. Samples that are no numbers make figures that
// are none. A range that has no width, or none that is finite, makes figures that are infinite or
// NaN, and Remarks says so; one that runs backwards counts by its width.
class TQSNoiseStats : public TQSFourierBase, public ITiedDefaults {
 public:
  explicit TQSNoiseStats(TConstruct AConstruct);
  ~TQSNoiseStats() override;
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Default fnNormalize; counts for complex streams only.
  using TQSFourierBase::Normalization;
  using TQSFourierBase::SetNormalization;

  // A change sets WindowThreshold: to 1e-5 for xwtBartlett, xwtHamming, xwtHanning, xwtBlackman and
  // xwtKaiser, to 1e-4 for xwtFlatTop, else to 0; and Alpha to 1 for xwtBlackman, 0.1 for
  // xwtKaiser. So set those behind it.
  void SetWindowType(TQSExtendedWindowType AValue) override;

  TQSBinMask& BinMask() { return FBinMask; }
  // The least and the largest value of the data; default -32767 and 32767.
  double MinDataVal() const { return FMinDataVal; }
  void SetMinDataVal(double AValue);
  double MaxDataVal() const { return FMaxDataVal; }
  void SetMaxDataVal(double AValue);
  // Above which the frequency-domain window counts; default 0.
  double WindowThreshold() const { return FWindowThresh; }
  void SetWindowThreshold(double AValue);
  // Harmonics to track, the 2nd upward; at least 1, default 5.
  std::uint32_t NumHarmonics() const { return FNumHarmonics; }
  void SetNumHarmonics(std::uint32_t AValue);
  // Half widths of the regions of bin 0, and of the fundamental and the harmonics, in bins; default
  // 3 each.
  std::uint32_t DCBinWidth() const { return FDCBinWidth; }
  void SetDCBinWidth(std::uint32_t AValue);
  std::uint32_t HarmonicBinWidth() const { return FHarmonicBinWidth; }
  void SetHarmonicBinWidth(std::uint32_t AValue);
  // How OnStatsAvailable is told; default stNone: on the thread that computes. stSingleBuffer: on
  // the main thread, every record in order. stQueue: on the main thread, the newest first, up to
  // ten in one go. MostRecords wait for the main thread at most, fewer if they have many harmonics;
  // beyond that the oldest is dropped, and Remarks tells. What waits outlives a stop.
  TQSSynchronizeType SynchronizeType() const { return FSynchronizeType; }
  void SetSynchronizeType(TQSSynchronizeType AValue);
  static constexpr std::size_t MostRecords = 32768;

  // On the thread that computes, under the component's write lock: the bins of fundamental and
  // harmonics, Harmonic, SFDR, DataMean and DCDataOffset are known, all else is 0. The handler may
  // fill BinMask and switch it on; a stop or a start from inside ends the frame.
  void SetOnBinMaskOpportunity(TQSBinMaskOpportunityEvent AHandler);
  // A frame has been measured; before its bins go out.
  void SetOnStatsAvailable(TQSNoiseStatsNotifyEvent AHandler);

  // Whether bin ABin is on the list of BinMask; setting puts it there or takes it off. EQSException
  // for a bin from H on.
  bool Masked(std::uint32_t ABin) const;
  void SetMasked(std::uint32_t ABin, bool AValue);

  // The bins of the frame at hand, for handlers that are called while it is computed: scaled to
  // full scale in OnBinMaskOpportunity, as they go out in OnStatsAvailable with stNone. Null and 0
  // at all other times.
  const TComplex* CompexData() const { return FCompexData; }
  std::int32_t DataSize() const { return FDataSize; }

  std::vector<std::string> Remarks() const override;
  bool StoresDefault(std::string_view AName) const override;

 protected:
  void IntInit() override;
  void StopFFT() override;
  std::int64_t OtherBytes() const override;
  void SingleFFT(const void* AInBuffer, TComplex* AOutBuffer, std::int32_t ASize) override;
  void ProcessSpectrum(const TRef<IQSComplexBuffer>& ABins) override;

 private:
  class TAnalysis;
  // The properties as they stood when the frame was complete.
  struct TSettings {
    double MinDataVal = 0.0;
    double MaxDataVal = 0.0;
    TQSExtendedWindowType WindowType{};
    double WindowThreshold = 0.0;
    std::uint32_t NumHarmonics = 0;
    std::uint32_t DCBinWidth = 0;
    std::uint32_t HarmonicBinWidth = 0;
    double FullScale() const { return (MaxDataVal - MinDataVal) * 0.5; }
  };
  using TRecords = std::deque<TRef<TQSNoiseStatResults>>;

  TSettings ReadSettings() const;
  void CalcStatistics(const TComplex* ABins, TQSNoiseStatResults& AStats);
  void Deliver(TRef<TQSNoiseStatResults> AStats);
  void QueueRecord(TRecords& AQueue, TRef<TQSNoiseStatResults> AStats,
                   void (TQSNoiseStats::*AShow)());
  void ShowNext();
  void ShowNewest();
  void CheckBin(std::uint32_t ABin) const;

  TQSBinMask FBinMask;
  TField<double> FMinDataVal;
  TField<double> FMaxDataVal;
  TField<double> FWindowThresh;
  TField<std::uint32_t> FNumHarmonics;
  TField<std::uint32_t> FDCBinWidth;
  TField<std::uint32_t> FHarmonicBinWidth;
  TField<TQSSynchronizeType> FSynchronizeType;
  TEvent<TQSBinMaskOpportunityEvent> FOnBinMaskOpportunity;
  TEvent<TQSNoiseStatsNotifyEvent> FOnStatsAvailable;
  TField<const TComplex*> FCompexData;
  TField<std::int32_t> FDataSize;

  // Of the thread that delivers the stream.
  const std::unique_ptr<TAnalysis> FAnalysis;
  TSettings FSettings;
  double Flc_mean = 0.0;    // of the conditioned frame, before the window
  std::uint64_t FEnds = 0;  // counts the ends of streams

  mutable std::mutex FRecordsMutex;
  TRecords FSingleRecords;  // for the main thread, by SynchronizeType
  TRecords FResultQueue;
  std::int64_t FDroppedRecords = 0;  // of both, since the component began
};

namespace QSNoiseStats {
void RegisterPkg();
}

}  // namespace tessalune
