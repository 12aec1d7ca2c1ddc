#include "Reporter.h"

#include <host/PropertyJson.h>
#include <host/Words.h>

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tessalune::host {
namespace {

using nlohmann::ordered_json;

std::string BarText(double ASeconds, std::optional<double> ATotal) {
  if (!ATotal || !(*ATotal > 0)) return Rounded(ASeconds) + " s";
  constexpr std::size_t Width = 40;
  // A file that is played may have grown since its length was taken.
  const double Total = std::max(*ATotal, ASeconds);
  const double Part = ASeconds / Total;
  const auto Done = static_cast<std::size_t>(Part * Width);
  return '[' + std::string(Done, '#') + std::string(Width - Done, '.') + "] " +
         std::to_string(static_cast<int>(Part * 100)) + " %  " + Rounded(ASeconds) + " of " +
         Rounded(Total) + " s";
}

ordered_json ValueJson(const TValue& AValue) {
  if (const auto* Complex = std::get_if<TComplex>(&AValue)) {
    return {{"real", PropertyJson(Complex->Re)}, {"imaginary", PropertyJson(Complex->Im)}};
  }
  if (const auto* Real = std::get_if<double>(&AValue)) return PropertyJson(*Real);
  return std::get<std::int64_t>(AValue);
}

ordered_json Named(const TComponent& AComponent) {
  return {{"component", AComponent.Name()}, {"class", AComponent.ClassName()}};
}

ordered_json Joined(ordered_json AFirst, const ordered_json& ASecond) {
  AFirst.update(ASecond);
  return AFirst;
}

ordered_json ValueLine(const TWatched& AWatched, double ATime, const TValue& AValue) {
  return Joined(Named(AWatched.Component()),
                {{"pin", AWatched.Pin->Name()}, {"time", ATime}, {"value", ValueJson(AValue)}});
}

ordered_json SummaryJson(const std::string& AGraphName, const TRunResult& AResult) {
  auto Components = ordered_json::array();
  for (const auto& Source : AResult.Sources) {
    ordered_json Figures{{"samples", Source.Samples}, {"rate", Source.Rate}};
    if (Source.Lag) {
      Figures["lag"] = Source.Lag->Greatest;
      Figures["skipped"] = Source.Lag->Skipped;
    }
    Components.push_back(Joined(Named(*Source.Component), Figures));
  }
  for (const auto& File : AResult.Files) {
    ordered_json Entry = Named(*File.Component);
    const auto Known = std::find_if(Components.begin(), Components.end(), [&](const auto& AEach) {
      return AEach["component"] == Entry["component"] && !AEach.contains("file");
    });
    ordered_json& Into = Known != Components.end() ? *Known : Components.emplace_back(Entry);
    Into["file"] = File.FileName;
    Into["bytes"] = File.Bytes;
    Into["lost"] = AResult.LostBy(*File.Component);
  }
  auto Values = ordered_json::array();
  for (const auto& Last : AResult.Values) {
    Values.push_back(
        Joined(ValueLine(*Last.Watched, Last.Time, Last.Value), {{"count", Last.Count}}));
  }
  return {{"summary",
           {{"graph", AGraphName},
            {"end", RunEndName(AResult.End)},
            {"samples", AResult.Samples},
            {"seconds", AResult.Seconds},
            {"elapsed", AResult.Elapsed},
            {"components", std::move(Components)},
            {"values", std::move(Values)},
            {"remarks", AResult.Remarks},
            {"errors", AResult.Errors}}}};
}

std::string SummaryText(const std::string& AGraphName, const TRunResult& AResult) {
  std::string Text = AGraphName + ": " + Counted(AResult.Samples, "sample") + ", " +
                     Rounded(AResult.Seconds) + " s of stream in " + Rounded(AResult.Elapsed) +
                     " s (" + std::string(RunEndName(AResult.End)) + ")\n";
  for (const auto& Source : AResult.Sources) {
    Text += "  " + Source.Component->Describe() + ": " + Counted(Source.Samples, "sample") +
            " at " + NumberText(Source.Rate) + " Hz\n";
  }
  for (const auto& File : AResult.Files) {
    const std::int64_t Lost = AResult.LostBy(*File.Component);
    Text += "  " + File.Component->Describe() + ": " + Counted(File.Bytes, "byte") +
            (File.Way == TFileWay::Writes ? " for \"" : " of \"") + File.FileName + '"' +
            (Lost > 0 ? ", " + NumberText(Lost) + " of them lost" : "") + '\n';
  }
  for (const auto& Last : AResult.Values) {
    Text += "  " + Last.Watched->Pin->Describe() + ": " + ValueText(Last.Value) + " (the last of " +
            Counted(Last.Count, "value") + ", at " + Rounded(Last.Time) + " s)\n";
  }
  for (const std::string& Remark : AResult.Remarks) Text += "  Note: " + Remark + '\n';
  return Text;
}

}  // namespace

TReporter::TReporter(TOutputStyle AStyle, std::string AGraphName)
    : FStyle(AStyle),
      FGraphName(std::move(AGraphName)),
      FHasBar(!AStyle.Quiet && ::isatty(STDERR_FILENO) == 1) {}

void TReporter::Event(const TComponent& AComponent, const std::string& AEvent,
                      const std::vector<TEventArgument>& AArguments) {
  ordered_json Arguments = ordered_json::object();
  for (const TEventArgument& Argument : AArguments) {
    Arguments[std::string(Argument.Name)] = PropertyJson(Argument.Value);
  }
  const std::string Line =
      JsonLine(Joined(Named(AComponent), {{"event", AEvent}, {"arguments", std::move(Arguments)}}));
  const std::lock_guard Lock(FMutex);
  std::fwrite(Line.data(), 1, Line.size(), stdout);
}

void TReporter::StartTable(std::string AFileName, const std::vector<TWatched>& AWatched) {
  FTable.emplace(std::move(AFileName), AWatched);
}

void TReporter::Value(const TWatched& AWatched, double ATime, const TValue& AValue) {
  const std::lock_guard Lock(FMutex);
  if (FTable) return FTable->Add(AWatched, ATime, AValue);
  if (FStyle.Quiet && !FStyle.Json) return;
  const std::string Line =
      FStyle.Json ? JsonLine(ValueLine(AWatched, ATime, AValue))
                  : NumberText(ATime) + '\t' + AWatched.Name() + '\t' + ValueText(AValue) + '\n';
  ClearBar();
  std::fwrite(Line.data(), 1, Line.size(), stdout);
}

bool TReporter::Progress(double ASeconds, std::optional<double> ATotal) {
  const std::lock_guard Lock(FMutex);
  // A program at the other end of a pipe follows a long run as it goes.
  std::fflush(stdout);
  if (!FHasBar) return std::ferror(stdout) == 0;
  std::fprintf(stderr, "\r%s\x1B[K", BarText(ASeconds, ATotal).c_str());
  FBarIsShown = true;
  return std::ferror(stdout) == 0;
}

void TReporter::ClearBar() {
  if (std::exchange(FBarIsShown, false)) std::fputs("\r\x1B[K", stderr);
}

void TReporter::Summary(TRunResult& AResult) {
  const std::lock_guard Lock(FMutex);
  if (FTable) {
    try {
      FTable->Finish();
    } catch (const EQSException& Error) {
      AResult.Errors.emplace_back(Error.what());
      AResult.End = TRunEnd::Failed;
    }
  }
  ClearBar();
  for (const std::string& Error : AResult.Errors) {
    std::fprintf(stderr, "tessalune: %s\n", Error.c_str());
  }
  const std::string Text = FStyle.Json    ? JsonLine(SummaryJson(FGraphName, AResult))
                           : FStyle.Quiet ? std::string()
                                          : SummaryText(FGraphName, AResult);
  std::fwrite(Text.data(), 1, Text.size(), stdout);
}

}  // namespace tessalune::host
