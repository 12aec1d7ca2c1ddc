#include "MeasureReport.h"

#include <host/Commands.h>
#include <host/PropertyJson.h>
#include <host/Words.h>

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace tessalune::host {
namespace {

using nlohmann::ordered_json;

constexpr std::size_t LabelWidth = 20;
constexpr std::size_t ColumnWidth = 13;

std::string Right(const std::string& AText, std::size_t AWidth) {
  return std::string(AWidth - std::min(AWidth, AText.size()), ' ') + AText;
}

std::string Left(std::string_view AText, std::size_t AWidth) {
  return std::string(AText) + std::string(AWidth - std::min(AWidth, AText.size()), ' ');
}

std::string FigureText(double AValue, std::string_view AUnit) {
  if (!IsFigure(AValue)) return "-";
  std::array<char, 32> Text;
  std::snprintf(Text.data(), Text.size(), AUnit == "Hz" ? "%.9g" : "%.2f", AValue);
  return Text.data();
}

std::string SpreadLine(std::string_view ALabel, std::string_view AUnit, const TSpread& ASpread) {
  std::string Line = Left(ALabel, LabelWidth);
  if (ASpread.Count() == 0) return Line + Right("-", ColumnWidth) + '\n';
  for (const double Value : {ASpread.Mean(), ASpread.Least(), ASpread.Most()}) {
    Line += Right(FigureText(Value, AUnit), ColumnWidth);
  }
  return Line + "  " + std::string(AUnit) + '\n';
}

}  // namespace

TMeasureReport::TMeasureReport(TOutputStyle AStyle, TMeasureSubject ASubject)
    : FStyle(AStyle), FSubject(std::move(ASubject)) {
  if (!FStyle.Json) Head();
}

void TMeasureReport::Head() {
  const TQSNoiseStats& Stats = *FSubject.Stats;
  const std::string Window(
      TEnumNames<TQSExtendedWindowType>::Names[static_cast<std::size_t>(Stats.WindowType())]);
  const bool HasTerms = Stats.WindowType() == TQSExtendedWindowType::xwtCosSum;
  const std::string Name = FSubject.In == "-" ? "the standard input" : FSubject.In;
  std::string Text = Name + ": samples of type " + FSubject.Type +
                     (FSubject.Rate > 0 ? " at " + NumberText(FSubject.Rate) + " Hz" : "") +
                     ", full scale from " + NumberText(FSubject.Range.Min) + " to " +
                     NumberText(FSubject.Range.Max) + '\n' + "frames of " +
                     NumberText(std::int64_t{1} << Stats.Order()) + " samples (Order " +
                     NumberText(Stats.Order()) + "), " + Window +
                     (HasTerms ? " of " + NumberText(Stats.NumberTerms()) + " terms" : "") + '\n';
  Print(Text);
}

void TMeasureReport::TableHead() {
  std::string Units = std::string(ColumnWidth / 2, ' ');
  std::string Text = '\n' + Left("frame", ColumnWidth / 2);
  for (const TFigure& Figure : Figures()) {
    if (!Figure.IsMain || !IsShown(Figure)) continue;
    Text += Right(std::string(Figure.Label), ColumnWidth);
    Units += Right(std::string(Figure.Unit), ColumnWidth);
  }
  Print(Text + '\n' + Units + '\n');
}

void TMeasureReport::Frame(std::int64_t ABegin, const TRef<TQSNoiseStatResults>& AResults,
                           const std::vector<std::string>& AWords, bool ACounts) {
  if (ACounts) FOverall.Add(*AResults);
  if (!FStyle.Quiet) {
    if (FStyle.Json) {
      FrameJson(ABegin, AResults, AWords);
    } else {
      FrameText(ACounts ? AResults.Get() : nullptr, AWords);
    }
  }
  ++FFrames;
}

void TMeasureReport::FrameText(const TQSNoiseStatResults* AResults,
                               const std::vector<std::string>& AWords) {
  if (FFrames == 0) TableHead();
  std::string Line = Left(NumberText(FFrames), ColumnWidth / 2);
  for (const TFigure& Figure : Figures()) {
    if (!Figure.IsMain || !IsShown(Figure)) continue;
    Line += Right(AResults == nullptr ? "-" : FigureText(Figure.Of(*AResults), Figure.Unit),
                  ColumnWidth);
  }
  for (const std::string& Word : AWords) Line += (&Word == AWords.data() ? "  " : ", ") + Word;
  Print(Line + '\n');
}

void TMeasureReport::FrameJson(std::int64_t ABegin, const TRef<TQSNoiseStatResults>& AResults,
                               const std::vector<std::string>& AWords) {
  const TQSNoiseStats& Stats = *FSubject.Stats;
  Print(JsonLine({{"component", Stats.Name()},
                  {"class", Stats.ClassName()},
                  {"event", "OnStatsAvailable"},
                  {"arguments", {{"Results", PropertyJson(ToValue(AResults))}}},
                  {"frame", FFrames},
                  {"sample", ABegin},
                  {"remarks", AWords}}));
}

void TMeasureReport::OverallText() {
  std::string Text = '\n' + Left(Counted(FOverall.Frames(), "frame"), LabelWidth);
  for (const char* Column : {"mean", "least", "most"}) Text += Right(Column, ColumnWidth);
  Text += '\n';
  for (std::size_t I = 0; I < FOverall.Spreads().size(); ++I) {
    const TFigure& Figure = Figures()[I];
    if (IsShown(Figure)) Text += SpreadLine(Figure.Label, Figure.Unit, FOverall.Spreads()[I]);
  }
  for (std::size_t I = 0; I < FOverall.Harmonics().size(); ++I) {
    Text += SpreadLine("harmonic " + NumberText(I + 2), "dBc", FOverall.Harmonics()[I]);
  }
  Print(Text);
}

void TMeasureReport::Summary(const TSampleFigures& ASamples, std::int64_t ASampleCount,
                             const std::vector<std::string>& ARemarks) {
  if (FStyle.Json) {
    ordered_json Json{{"in", FSubject.In},
                      {"samples", ASampleCount},
                      {"rate", FSubject.Rate > 0 ? ordered_json(FSubject.Rate) : ordered_json()},
                      {"least", PropertyJson(ASamples.Min)},
                      {"most", PropertyJson(ASamples.Max)},
                      {"at_ends", ASamples.AtEnds},
                      {"frames", FFrames},
                      {"figures", FOverall.Json()},
                      {"remarks", ARemarks}};
    return Print(JsonLine({{"measure", std::move(Json)}}));
  }
  if (HasFigures()) OverallText();
  if (ASamples.Min <= ASamples.Max) {
    Print('\n' + Counted(ASampleCount, "sample") + " from " + NumberText(ASamples.Min) + " to " +
          NumberText(ASamples.Max) + '\n');
  }
  for (const std::string& Remark : ARemarks) {
    if (HasFigures()) {
      Print("Note: " + Remark + '\n');
    } else {
      PrintError("tessalune: " + Remark + '\n');
    }
  }
}

}  // namespace tessalune::host
