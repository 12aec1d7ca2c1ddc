#include "Reporter.h"

#include <host/PropertyJson.h>

#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

namespace tessalune::host {
namespace {

using nlohmann::ordered_json;

// With at most four digits: for people.
std::string Rounded(double AValue) {
  std::array<char, 32> Text;
  std::snprintf(Text.data(), Text.size(), "%.4g", AValue);
  return Text.data();
}

std::string BarText(double ASeconds, std::optional<double> ATotal) {
  if (!ATotal || !(*ATotal > 0)) return Rounded(ASeconds) + " s";
  constexpr std::size_t Width = 40;
  const double Part = std::clamp(ASeconds / *ATotal, 0.0, 1.0);
  const auto Done = static_cast<std::size_t>(Part * Width);
  return '[' + std::string(Done, '#') + std::string(Width - Done, '.') + "] " +
         std::to_string(static_cast<int>(Part * 100)) + " %  " + Rounded(ASeconds) + " of " +
         Rounded(*ATotal) + " s";
}

ordered_json SummaryJson(const std::string& AGraphName, const TRunResult& AResult) {
  auto Components = ordered_json::array();
  for (const auto& Source : AResult.Sources) {
    Components.push_back({{"component", Source.Component->Name()},
                          {"class", Source.Component->ClassName()},
                          {"samples", Source.Samples},
                          {"rate", Source.Rate}});
  }
  for (const auto& Logger : AResult.Loggers) {
    Components.push_back({{"component", Logger.Component->Name()},
                          {"class", Logger.Component->ClassName()},
                          {"file", Logger.FileName},
                          {"bytes", Logger.Bytes},
                          {"lost", Logger.Lost}});
  }
  return {{"summary",
           {{"graph", AGraphName},
            {"end", RunEndName(AResult.End)},
            {"samples", AResult.Samples},
            {"seconds", AResult.Seconds},
            {"elapsed", AResult.Elapsed},
            {"components", std::move(Components)},
            {"remarks", AResult.Remarks},
            {"errors", AResult.Errors}}}};
}

std::string SummaryText(const std::string& AGraphName, const TRunResult& AResult) {
  std::string Text = AGraphName + ": " + NumberText(AResult.Samples) + " samples, " +
                     Rounded(AResult.Seconds) + " s of stream in " + Rounded(AResult.Elapsed) +
                     " s (" + std::string(RunEndName(AResult.End)) + ")\n";
  for (const auto& Source : AResult.Sources) {
    Text += "  " + Source.Component->Describe() + ": " + NumberText(Source.Samples) +
            " samples at " + NumberText(Source.Rate) + " Hz\n";
  }
  for (const auto& Logger : AResult.Loggers) {
    Text += "  " + Logger.Component->Describe() + ": " + NumberText(Logger.Bytes) +
            " bytes for \"" + Logger.FileName + '"' +
            (Logger.Lost > 0 ? ", " + NumberText(Logger.Lost) + " of them lost" : "") + '\n';
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
  const std::string Line = JsonLine({{"component", AComponent.Name()},
                                     {"class", AComponent.ClassName()},
                                     {"event", AEvent},
                                     {"arguments", std::move(Arguments)}});
  const std::lock_guard Lock(FMutex);
  std::fwrite(Line.data(), 1, Line.size(), stdout);
}

bool TReporter::Progress(double ASeconds, std::optional<double> ATotal) {
  const std::lock_guard Lock(FMutex);
  // A program at the other end of a pipe follows a long run as it goes.
  if (FStyle.Json) std::fflush(stdout);
  if (!FHasBar) return std::ferror(stdout) == 0;
  std::fprintf(stderr, "\r%s\x1B[K", BarText(ASeconds, ATotal).c_str());
  FBarIsShown = true;
  return std::ferror(stdout) == 0;
}

void TReporter::ClearBar() {
  if (std::exchange(FBarIsShown, false)) std::fputs("\r\x1B[K", stderr);
}

void TReporter::Summary(const TRunResult& AResult) {
  const std::lock_guard Lock(FMutex);
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
