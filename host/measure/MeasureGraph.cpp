#include "MeasureGraph.h"

#include <host/Graph.h>
#include <host/JsonStreams.h>
#include <host/Mistakes.h>

#include <tessalune/frame/runtime/QSException.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace tessalune::host {
namespace {

using nlohmann::ordered_json;

constexpr std::int64_t UsualBlock = 1024;

bool CanBePlayed(const TMeasureOptions& AOptions) {
  const bool IsType = AOptions.Type == TSampleType::Real || AOptions.Type == TSampleType::Complex ||
                      AOptions.Type == TSampleType::Integer;
  return AOptions.InForm() == TFileForm::Log && IsType && AOptions.In != "-" &&
         AOptions.FromSample == 0 && !AOptions.Samples;
}

std::string LogBeside(const std::string& AGraph) {
  const std::filesystem::path Graph(AGraph);
  return (Graph.parent_path() / (Graph.stem().string() + "-samples.bin")).string();
}

bool IsSame(const std::string& AOne, const std::string& AOther) {
  std::error_code Ignored;
  return AOne != "-" && std::filesystem::equivalent(AOne, AOther, Ignored);
}

}  // namespace

TMeasureGraph::TMeasureGraph(const TMeasureOptions& AOptions, double ARate, bool AIsScaled)
    : FOptions(AOptions),
      FRate(ARate),
      FType(AOptions.Type),
      FHasCounts(AOptions.FromCounts),
      FLogName(AOptions.In) {
  if (IsSame(AOptions.In, AOptions.Graph)) {
    throw EQSException("--graph \"" + AOptions.Graph + "\" is the input; name another file");
  }
  if (CanBePlayed(AOptions) && !AIsScaled) return;
  FLogName = LogBeside(AOptions.Graph);
  if (IsSame(AOptions.In, FLogName)) {
    throw EQSException("--graph \"" + AOptions.Graph +
                       "\" would put a log in the input's place, \"" + FLogName +
                       "\"; give the graph another name");
  }
  FLogFile = std::make_unique<TOutputFile>(FLogName);
  FHasCounts = false;
  if (FType != TSampleType::Complex) FType = TSampleType::Real;
  FLog = std::make_unique<TLogWriter>(*FLogFile, FType, false, UsualBlock);
}

void TMeasureGraph::Take(std::span<const double> ANumbers) {
  if (FLog != nullptr) FLog->Write(ANumbers);
}

void TMeasureGraph::Write(const TQSNoiseStats& AStats) {
  if (FLog != nullptr) {
    FLog->Finish();
    FLogFile->Commit();
  }
  TJsonNode Stored;
  Stored.Kind = TJsonKind::Object;
  TJsonWriter Writer(Stored);
  AStats.SerializationWrite(Writer);
  // A block ends where the first frame does, so that overlapping frames are the same.
  const std::int64_t Block = std::min(UsualBlock, std::int64_t{1} << AStats.Order());
  ordered_json Player{{"SampleRate", FRate}, {"BufferSize", Block}, {"FileName", FLogName}};
  if (FHasCounts) Player["SavedBufferSizes"] = true;
  const bool IsWhole = FType == TSampleType::Integer;
  const std::string Play = "Recording.OutputPin";
  const std::string Into = AStats.Name() + ".InputPin";
  auto Components = ordered_json::array();
  auto Links = ordered_json::array();
  Components.push_back(
      {{"class", "TQSPlayer"}, {"name", "Recording"}, {"properties", std::move(Player)}});
  if (IsWhole) {
    Components.push_back({{"class", "TQSIntToReal"}, {"name", "Numbers"}});
    Links.push_back({Play, "Numbers.InputPin", InfoOf(FType).Name});
    Links.push_back({"Numbers.OutputPin", Into, "real"});
  } else {
    Links.push_back({Play, Into, InfoOf(FType).Name});
  }
  Components.push_back({{"class", AStats.ClassName()},
                        {"name", AStats.Name()},
                        {"properties", ordered_json::parse(WriteJson(Stored))}});
  const ordered_json Document{{"tessalune", GraphFormVersion},
                              {"components", std::move(Components)},
                              {"links", std::move(Links)}};
  TMistakes Mistakes(FOptions.Graph);
  TGraph Graph(Document.dump(), Mistakes);
  if (!Mistakes.IsEmpty()) throw EQSException(Mistakes.Text());
  const std::string Text = Graph.Save();
  TOutputFile File(FOptions.Graph);
  File.Write(Text.data(), Text.size());
  File.Commit();
}

std::string TMeasureGraph::Words() const {
  return '"' + FOptions.Graph + "\" plays \"" + FLogName + '"' +
         (FLogFile != nullptr ? ", which holds the samples that were measured" : "") +
         "; `tessalune run --json` tells its figures\n";
}

}  // namespace tessalune::host
