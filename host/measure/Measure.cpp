#include "Measure.h"

#include "Frames.h"
#include "MeasureGraph.h"
#include "MeasureReport.h"

#include <host/Commands.h>
#include <host/Graph.h>
#include <host/Words.h>
#include <host/run/Interrupt.h>

#include <tessalune/analysis/QSNoiseStats.h>
#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/streams/QSStreamPins.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

namespace tessalune::host {
namespace {

// Of a recording that does not say more: frames so long that the regions of harmonics are a small
// part of the bins, and a window that resolves 24 bits wherever the tone lies.
constexpr std::int32_t UsualOrder = 14;
constexpr std::int32_t LeastOrder = 8;
constexpr auto UsualWindow = TQSExtendedWindowType::xwtCosSum;
constexpr std::uint32_t UsualTerms = 7;
constexpr int UsualBits = 16;

// A tone holds more of a frame's power than all else, or it is none.
constexpr double LeastPart = 0.5;

// What a mistake in the options is told with; nothing has been measured.
class EOptions : public EQSException {
 public:
  using EQSException::EQSException;
};

std::string Lower(std::string_view AText) {
  std::string Text(AText);
  std::transform(Text.begin(), Text.end(), Text.begin(),
                 [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
  return Text;
}

// The enumerator that a word means with its prefix left out or its end cut: "hann", "CosSum".
std::string Enumerator(const std::string& AWord, const std::vector<std::string_view>& ANames) {
  constexpr std::size_t Prefix = 3;
  std::string Found;
  for (const std::string_view Name : ANames) {
    const std::string Low = Lower(Name);
    if (Low == Lower(AWord) || Low.substr(Prefix) == Lower(AWord)) return std::string(Name);
    if (!AWord.empty() && Low.substr(Prefix).starts_with(Lower(AWord))) {
      if (!Found.empty()) return AWord;  // one of several
      Found = Name;
    }
  }
  return Found.empty() ? AWord : Found;
}

double PowerOf(double ADecibels) { return std::pow(10.0, ADecibels / 10.0); }

bool IsAudio(const ISampleReader& AReader) { return AReader.Channels() > 0; }

class TMeasurement {
 public:
  TMeasurement(const TMeasureOptions& AOptions, TOutputStyle AStyle);
  int Run();

 private:
  static TInputOptions InputOptions(const TMeasureOptions& AOptions);
  void SetScaleAndRange();
  void ReadAhead();
  void SetProperties();
  bool Fill();
  void Measure();
  void TakeFrame(const TRef<TQSNoiseStatResults>& AResults);
  std::vector<std::string> WordsOn(const TSampleFigures& ASamples,
                                   const TQSNoiseStatResults& AResults);
  bool HasNoTone(const TSampleFigures& ASamples, const TQSNoiseStatResults& AResults,
                 bool& AIsLow) const;
  bool IsFlank(std::uint32_t ABin) const;
  double PowerIn(TQSBinClass AClass, const TQSNoiseStatResults& AResults) const;
  std::vector<std::string> Remarks() const;
  std::string ScaleAdvice() const;
  void RemarkRange(std::vector<std::string>& ARemarks) const;
  bool Is(TQSExtendedWindowType AType) const { return FStats->WindowType() == AType; }

  const TMeasureOptions& FOptions;
  const TOutputStyle FStyle;
  const std::size_t FPerSample;
  TSampleInput FInput;
  double FRate = 0.0;   // 0: nobody knows
  double FScale = 1.0;  // from what is read to numbers
  TDataRange FRange{};
  bool FRangeIsAssumed = false;
  TOwned<TQSNoiseStats> FStats = Create<TQSNoiseStats>();
  std::vector<double> FNumbers;  // the last that were read
  std::unique_ptr<TFrameCutter> FCutter;
  std::unique_ptr<TMeasureReport> FReport;
  TInterrupt FInterrupt;
  std::int64_t FSilent = 0;  // frames
  std::int64_t FBroken = 0;
  std::int64_t FLow = 0;
  std::int64_t FToneless = 0;
  std::int64_t FAtEnds = 0;
  double FDCEdge = 0.0;           // Hz, or of the rate
  double FFarthestFromBin = 0.0;  // of a tone, in bins
};

// Channels that are mixed are no recording of one converter.
TInputOptions TMeasurement::InputOptions(const TMeasureOptions& AOptions) {
  TInputOptions Options = AOptions;
  Options.FullScale = 1.0;
  const TFileForm Form = Options.InForm();
  const bool IsSound = Form == TFileForm::Wav || Form == TFileForm::Flac;
  if (IsSound && Options.Channel.empty() && Options.Type != TSampleType::Complex) {
    Options.Channel = "1";
  }
  return Options;
}

TMeasurement::TMeasurement(const TMeasureOptions& AOptions, TOutputStyle AStyle)
    : FOptions(AOptions),
      FStyle(AStyle),
      FPerSample(InfoOf(AOptions.Type).Numbers),
      FInput(InputOptions(AOptions)) {
  FRate = AOptions.Rate.value_or(FInput.Reader().Rate());
  SetScaleAndRange();
  ReadAhead();
  SetProperties();
}

void TMeasurement::SetScaleAndRange() {
  const ISampleReader& Reader = FInput.Reader();
  const int FileBits = Reader.Bits();
  const auto Ends = FOptions.Settings.count("MinDataVal") + FOptions.Settings.count("MaxDataVal");
  const bool HasRange = Ends > 0;
  if (Ends == 1 || (HasRange && FOptions.Bits)) {
    throw EOptions("the data's range is said by --bits, or by --min and --max together");
  }
  const bool IsUnsigned = FOptions.Unsigned || FOptions.Type == TSampleType::Unsigned ||
                          FOptions.Type == TSampleType::Block;
  int Bits = FOptions.Bits.value_or(FOptions.Type == TSampleType::Block ? 8 : UsualBits);
  if (IsAudio(Reader)) {
    // The codes, as they are in the file; of floating-point numbers those that --bits says.
    const double Codes = FileBits > 0    ? std::ldexp(1.0, FileBits - 1)
                         : FOptions.Bits ? std::ldexp(1.0, *FOptions.Bits - 1)
                                         : 1.0;
    FScale = FOptions.Scale.value_or(Codes);
    if (!FOptions.Bits && !IsUnsigned) {
      const double Step = FileBits > 0 ? FScale * std::ldexp(1.0, 1 - FileBits) : 0.0;
      FRange = {-FScale, FScale - Step};
      return;
    }
    if (!FOptions.Bits && FileBits > 0) Bits = FileBits;
  } else {
    FRangeIsAssumed = !FOptions.Bits && !HasRange && FOptions.Type != TSampleType::Block;
  }
  FRange = IsUnsigned ? TDataRange{0.0, std::ldexp(1.0, Bits) - 1}
                      : TDataRange{-std::ldexp(1.0, Bits - 1), std::ldexp(1.0, Bits - 1) - 1};
}

// As much as the usual frame takes, so that a shorter recording gets shorter ones.
void TMeasurement::ReadAhead() {
  FNumbers.resize((std::size_t{1} << UsualOrder) * FPerSample);
  std::size_t Count = 0;
  while (Count < FNumbers.size()) {
    const std::size_t Got = FInput.Read(std::span(FNumbers).subspan(Count));
    if (Got == 0) break;
    Count += Got;
  }
  FNumbers.resize(Count);
}

void TMeasurement::SetProperties() {
  FStats->SetName("Stats");
  FStats->SetMinDataVal(FRange.Min);
  FStats->SetMaxDataVal(FRange.Max);
  const auto Samples = static_cast<std::int64_t>(FNumbers.size() / FPerSample);
  std::int32_t Order = UsualOrder;
  while (Order > LeastOrder && std::int64_t{1} << Order > Samples) --Order;
  FStats->SetOrder(Order);
  if (FOptions.Settings.count("WindowType") == 0) FStats->SetWindowType(UsualWindow);
  for (const TMeasureProperty& Property : MeasureProperties()) {
    const auto Word = FOptions.Settings.find(std::string(Property.Name));
    if (Word == FOptions.Settings.end()) continue;
    try {
      SetByPath(*FStats, Property.Name, [&](const TPublishedProperty& ARow) {
        return ARow.Parse(ARow.Enumerators.empty() ? Word->second
                                                   : Enumerator(Word->second, ARow.Enumerators));
      });
    } catch (const EQSException& Error) {
      throw EOptions("--" + std::string(Property.Short) + ' ' + Word->second + ": " + Error.what());
    }
  }
  if (Is(TQSExtendedWindowType::xwtCosSum) && FOptions.Settings.count("NumberTerms") == 0) {
    FStats->SetNumberTerms(UsualTerms);
  }
  FStats->BinMask().SetEnabled(FStats->BinMask().Count() > 0);
  FRange = {FStats->MinDataVal(), FStats->MaxDataVal()};
  if (!(FRange.Min < FRange.Max)) {
    throw EOptions("the data's range, from " + NumberText(FRange.Min) + " to " +
                   NumberText(FRange.Max) + ", is none; --max has to be above --min");
  }
}

bool TMeasurement::Fill() {
  FNumbers.resize(FPerSample * 8192);
  FNumbers.resize(FInput.Read(FNumbers));
  return !FNumbers.empty();
}

int TMeasurement::Run() {
  std::unique_ptr<TMeasureGraph> Graph;
  if (!FOptions.Graph.empty()) {
    Graph = std::make_unique<TMeasureGraph>(FOptions, FRate > 0 ? FRate : 1.0, FScale != 1.0);
  }
  const std::int64_t Size = std::int64_t{1} << FStats->Order();
  const std::int64_t Step = FStats->SamplingWindowStep() > 0 ? FStats->SamplingWindowStep() : Size;
  FCutter = std::make_unique<TFrameCutter>(Size, Step, FPerSample, FRange);
  FReport = std::make_unique<TMeasureReport>(
      FStyle, TMeasureSubject{FOptions.In, std::string(InfoOf(FOptions.Type).Name), FRate, FRange,
                              FStats.get()});
  FStats->SetOnStatsAvailable(
      [this](TObject&, TRef<IQSNoiseStatResults> AResults) { TakeFrame(AResults); });

  TQSKLSourcePin Source(TKLPinOwner(), {FPerSample == 2 ? &ComplexStream : &RealStream});
  Source.Connect(FStats->InputPin());
  Source.Notify(MakeRef<TKLStartSampleRateOperation>(FRate > 0 ? FRate : 1.0));
  do {
    for (double& Number : FNumbers) Number *= FScale;
    if (Graph != nullptr) Graph->Take(FNumbers);
    FCutter->Take(FNumbers, [&](std::span<const double> APiece) {
      const auto Samples = static_cast<std::int32_t>(APiece.size() / FPerSample);
      if (FPerSample == 2) {
        const auto* Data = reinterpret_cast<const TComplex*>(APiece.data());
        Source.SubmitBuffer(IQSComplexBuffer::CreateData(Data, Samples));
      } else {
        Source.SubmitBuffer(IQSRealBuffer::CreateData(APiece.data(), Samples));
      }
    });
    if (FInterrupt.Signal() != 0 || std::ferror(stdout) != 0) break;
  } while (Fill());
  Source.EndStop();
  FInterrupt.WorkHasEnded();

  FReport->Summary(FCutter->All(), FCutter->Position(), Remarks());
  if (FInterrupt.Signal() != 0) return ecSignal + FInterrupt.Signal();
  if (Graph != nullptr) {
    Graph->Write(*FStats);
    if (!FStyle.Quiet && !FStyle.Json) Print(Graph->Words());
  }
  return FReport->HasFigures() ? ecDone : ecFailed;
}

// --- a frame ---

void TMeasurement::TakeFrame(const TRef<TQSNoiseStatResults>& AResults) {
  const TSampleFigures Samples = FCutter->FrameFigures();
  const std::int64_t LeftOut = FSilent + FBroken;
  const std::vector<std::string> Words = WordsOn(Samples, *AResults);
  const auto& Starts = AResults->ClassStarts();
  if (Starts.size() > 1) FDCEdge = static_cast<double>(Starts[1]) / AResults->FrameSize();
  FReport->Frame(FCutter->FrameBegin(), AResults, Words, FSilent + FBroken == LeftOut);
}

std::vector<std::string> TMeasurement::WordsOn(const TSampleFigures& ASamples,
                                               const TQSNoiseStatResults& AResults) {
  if (ASamples.NotNumbers > 0) {
    ++FBroken;
    return {Counted(ASamples.NotNumbers, "number") + " NaN or infinite"};
  }
  if (ASamples.Min == ASamples.Max) {
    ++FSilent;
    return {"silence"};
  }
  std::vector<std::string> Words;
  if (ASamples.AtEnds > 0) {
    ++FAtEnds;
    Words.push_back(Counted(ASamples.AtEnds, "number") + " at the ends of the range");
  }
  if (ASamples.Beyond > 0)
    Words.push_back(Counted(ASamples.Beyond, "number") + " beyond the range");
  bool IsLow = false;
  if (HasNoTone(ASamples, AResults, IsLow)) {
    ++(IsLow ? FLow : FToneless);
    Words.push_back(IsLow ? "tone in the DC region" : "no tone");
  } else {
    const double Bin = AResults.FundFrequency() * AResults.FrameSize() / (FRate > 0 ? FRate : 1.0);
    FFarthestFromBin = std::fmax(FFarthestFromBin, std::abs(Bin - std::nearbyint(Bin)));
  }
  return Words;
}

// Compares what was found with the power of the samples: what is in neither the tone nor the noise
// and distortion is in the DC region, or where the window takes little in.
bool TMeasurement::HasNoTone(const TSampleFigures& ASamples, const TQSNoiseStatResults& AResults,
                             bool& AIsLow) const {
  if (!IsFigure(AResults.Fundamental())) return false;
  const double FullScale = FRange.FullScale() * FRange.FullScale();
  const double Power = ASamples.Power() / (FPerSample == 2 ? FullScale : FullScale / 2);
  using enum TQSExtendedWindowType;
  const bool ReadsMore = FPerSample == 2 && (Is(xwtBartlett) || Is(xwtBlackman) || Is(xwtHamming) ||
                                             Is(xwtHanning) || Is(xwtKaiser));
  const double Factor = ReadsMore ? 0.5 : 1.0;
  const double Tone = Factor * PowerOf(AResults.Fundamental());
  const double Rest = IsFigure(AResults.SINAD()) ? Factor * PowerOf(-AResults.SINAD()) : 0.0;
  AIsLow = IsFlank(AResults.FundBin());
  if (AIsLow) return true;
  if (Tone >= LeastPart * Power) return false;
  AIsLow = Power - Tone - Rest > std::max(LeastPart * Power, Tone) &&
           PowerIn(TQSBinClass::bcDC, AResults) > PowerIn(TQSBinClass::bcFundamental, AResults);
  return true;
}

// What was taken for a tone is the flank of something below it, which has been passed over.
bool TMeasurement::IsFlank(std::uint32_t ABin) const {
  const auto Square = [this](std::uint32_t AIndex) {
    const TComplex& Bin = FStats->CompexData()[AIndex];
    return Bin.Re * Bin.Re + Bin.Im * Bin.Im;
  };
  if (ABin < 2 || static_cast<std::int32_t>(ABin) + 1 >= FStats->DataSize()) return false;
  const double Below = Square(ABin - 1);  // the strongest bin itself, where ABin was rounded up
  return Below > std::max(Square(ABin), Square(ABin + 1)) && Square(ABin - 2) > Below;
}

// Of the bins of a class, with the window's and the scale's factor; only while the frame is told.
double TMeasurement::PowerIn(TQSBinClass AClass, const TQSNoiseStatResults& AResults) const {
  double Power = 0.0;
  for (std::int32_t I = 0; I < FStats->DataSize(); ++I) {
    if (AResults.ClassOf(static_cast<std::uint32_t>(I)) != AClass) continue;
    const TComplex& Bin = FStats->CompexData()[I];
    Power += Bin.Re * Bin.Re + Bin.Im * Bin.Im;
  }
  return Power;
}

// --- the end ---

std::string TMeasurement::ScaleAdvice() const {
  if (!IsAudio(FInput.Reader()) || !FOptions.Bits || FOptions.Scale) return {};
  return "; --full-scale 32768 gives back the numbers of a file that convert wrote";
}

void TMeasurement::RemarkRange(std::vector<std::string>& ARemarks) const {
  const TSampleFigures& All = FCutter->All();
  const std::string Ends = NumberText(FRange.Min) + " and " + NumberText(FRange.Max);
  if (All.AtEnds > 0) {
    ARemarks.push_back(Counted(All.AtEnds, "number") + " in " + Counted(FAtEnds, "frame") +
                       " at the ends of the range, " + Ends +
                       ": the tone is clipped, or just fills the range");
  }
  if (All.Beyond > 0) {
    ARemarks.push_back(
        Counted(All.Beyond, "number") + " beyond the range, " + Ends + "; " +
        (FRange.Min < 0 && All.Min >= 0 ? "none is below 0: is it --unsigned? " : "") +
        "--bits, or --min and --max, say the range" + ScaleAdvice());
  }
  const double Middle = (FRange.Min + FRange.Max) / 2;
  const double Peak = std::max(All.Max - Middle, Middle - All.Min);
  const bool IsSmall = Peak > 0 && Peak < FRange.FullScale() / 4;
  if (IsSmall && !FRangeIsAssumed && !ScaleAdvice().empty()) {
    ARemarks.push_back("the samples fill " + Rounded(100 * Peak / FRange.FullScale()) +
                       " % of the range" + ScaleAdvice());
  }
  if (IsSmall && FRangeIsAssumed) {
    ARemarks.push_back("the samples fill " + Rounded(100 * Peak / FRange.FullScale()) +
                       " % of the range, which was taken for that of " + NumberText(UsualBits) +
                       " bits; --bits, or --min and --max, say it");
  }
}

std::vector<std::string> TMeasurement::Remarks() const {
  std::vector<std::string> Remarks = FInput.Remarks();
  const auto Frames = [](std::int64_t ACount) { return Counted(ACount, "frame"); };
  if (FReport->Frames() == 0) {
    Remarks.push_back("too short: there are " + Counted(FCutter->Position(), "sample") +
                      ", and a frame has " + NumberText(FCutter->Size()) +
                      (FStats->Order() > LeastOrder ? "; a smaller --order takes fewer" : ""));
  } else if (FCutter->LeftOver() > 0) {
    Remarks.push_back("the last " + Counted(FCutter->LeftOver(), "sample") + " fill no frame");
  }
  if (FSilent > 0) {
    Remarks.push_back("silence: in " + Frames(FSilent) +
                      " all samples are the same, so there is nothing to measure; left out");
  }
  if (FBroken > 0) {
    Remarks.push_back("in " + Frames(FBroken) + " samples are NaN or infinite; left out");
  }
  if (FLow > 0) {
    Remarks.push_back(
        "in " + Frames(FLow) + " what is strongest lies in the DC region, below " +
        (FRate > 0 ? Rounded(FDCEdge * FRate) + " Hz" : Rounded(FDCEdge) + " of the rate") +
        ": a tone that is that low wants a larger --order, a window with a narrower lobe or a "
        "smaller --dc-width");
  }
  if (FToneless > 0) {
    Remarks.push_back("in " + Frames(FToneless) +
                      " the strongest line holds less than half of the power: noise, or several "
                      "tones, for which the figures are not made");
  }
  const bool IsRect = Is(TQSExtendedWindowType::xwtRect) || Is(TQSExtendedWindowType::xwtNone);
  if (IsRect && FFarthestFromBin > 0.01) {
    Remarks.push_back("the tone lies " + Rounded(FFarthestFromBin) +
                      " of a bin beside one, where this window spreads it; --window cossum does "
                      "not");
  }
  if (FInput.Reader().Channels() > 1 && FOptions.Channel.empty() && FPerSample == 1) {
    Remarks.push_back("channel 1 of " + NumberText(FInput.Reader().Channels()) +
                      "; --channel chooses");
  }
  if (FRate == 0) Remarks.push_back("no rate is known (--rate HZ), so there are no figures in Hz");
  RemarkRange(Remarks);
  return Remarks;
}

}  // namespace

const std::vector<TMeasureProperty>& MeasureProperties() {
  static const std::vector<TMeasureProperty> Properties = [] {
    static const std::map<std::string_view, std::string_view> Shorts{
        {"Order", "order"},
        {"WindowType", "window"},
        {"NumberTerms", "terms"},
        {"Alpha", "alpha"},
        {"MinDataVal", "min"},
        {"MaxDataVal", "max"},
        {"BinMask", "mask"},
        {"NumHarmonics", "harmonics"},
        {"DCBinWidth", "dc-width"},
        {"HarmonicBinWidth", "harmonic-width"},
        {"SamplingWindowStep", "step"},
        {"WindowThreshold", "threshold"}};
    std::vector<TMeasureProperty> Found;
    for (const TPublishedProperty* Row : TQSNoiseStats::Published().Properties()) {
      const auto Short = Shorts.find(Row->Name);
      if (Short != Shorts.end()) Found.push_back({Row, Row->Name, Short->second});
    }
    return Found;
  }();
  return Properties;
}

int MeasureRecording(const TOptions& AOptions) {
  try {
    return TMeasurement(AOptions.Measure, AOptions.Style).Run();
  } catch (const EOptions& Error) {
    PrintError(std::string("tessalune: ") + Error.what() + '\n');
    return ecMistake;
  }
}

}  // namespace tessalune::host
