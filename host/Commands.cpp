#include "Commands.h"

#include "Graph.h"
#include "GraphCheck.h"
#include "GraphFiles.h"
#include "Packages.h"
#include "Palette.h"
#include "PropertyJson.h"
#include "Words.h"
#include "convert/InputFile.h"
#include "convert/OutputFile.h"
#include "run/BigStack.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSPropertyInfo.h>

#include <cstdio>
#include <optional>

namespace tessalune::host {
namespace {

using nlohmann::ordered_json;

std::string ReadText(const std::string& AFileName, TMistakes& AMistakes) {
  std::string Text;
  try {
    TInputFile File(AFileName);
    constexpr std::size_t ChunkBytes = 1 << 20;
    std::size_t Got = 0;
    do {
      const std::size_t Before = Text.size();
      Text.resize(Before + ChunkBytes);
      Got = File.Read(Text.data() + Before, ChunkBytes);
      Text.resize(Before + Got);
    } while (Got == ChunkBytes);
  } catch (const EQSException& Error) {
    AMistakes.Add({}, "", Error.what());
  }
  return Text;
}

// A graph that was loaded, with what the command line sets in it, and what is wrong with it.
struct TLoadedGraph {
  // ARuns: the graph may load the packages that it names.
  explicit TLoadedGraph(const TOptions& AOptions, bool ARuns = false) : Mistakes(AOptions.Graph) {
    const std::string Text = ReadText(AOptions.Graph, Mistakes);
    if (!Mistakes.IsEmpty()) return;
    Graph.emplace(Text, Mistakes, GraphPackages(AOptions.Graph, ARuns));
    for (const std::string& Assignment : AOptions.Assignments) Graph->Set(Assignment, Mistakes);
  }

  // What a run needs beyond a sound graph: its files, its pins to watch.
  void CheckRun(const TOptions& AOptions) {
    if (!Graph) return;
    Script.emplace(*Graph, Mistakes);
    CheckFiles(*Graph, Script->Files(), AOptions.WatchFile, Mistakes);
    for (const std::string& Name : AOptions.Watch) {
      Graph->Run().Watch.emplace_back().Text = Name;
      Graph->Run().Watch.back().Path = "--watch " + Name;
    }
    Watched = FindWatched(*Graph, Graph->Run(), Mistakes);
    if (!AOptions.WatchFile.empty() && Graph->Run().Watch.empty()) {
      Mistakes.Add({}, "--watch-file " + AOptions.WatchFile,
                   "nothing is watched; name a pin with --watch Component.Pin");
    }
  }

  TMistakes Mistakes;
  std::optional<TGraph> Graph;
  std::vector<TWatched> Watched;
  std::optional<TScript> Script;
};

int TellMistakes(const TMistakes& AMistakes, bool AJson) {
  if (AJson) {
    Print(
        JsonLine({{"graph", AMistakes.File()}, {"valid", false}, {"mistakes", AMistakes.Json()}}));
  } else {
    PrintError(AMistakes.Text());
  }
  return ecMistake;
}

int RunLoaded(TLoadedGraph& ALoaded, const TOptions& AOptions, TReporter& AReporter) {
  TRunSettings Settings = ALoaded.Graph->Run();
  // A limit on the command line takes the place of both in the file.
  if (AOptions.Run.Samples || AOptions.Run.Seconds) {
    Settings.Samples = AOptions.Run.Samples;
    Settings.Seconds = AOptions.Run.Seconds;
  }
  Settings.Realtime = Settings.Realtime || AOptions.Run.Realtime;
  TInterrupt Interrupt;
  TRun Run(*ALoaded.Graph, Settings, ALoaded.Watched, *ALoaded.Script, Interrupt, AReporter);
  TRunResult Result = Run.Run();
  AReporter.Summary(Result);
  switch (Result.End) {
    case TRunEnd::Limit:
    case TRunEnd::SourcesEnded:
      return ecDone;
    case TRunEnd::Interrupted:
      return ecSignal + Result.Signal;
    case TRunEnd::NothingRan:
    case TRunEnd::Failed:
      break;
  }
  return ecFailed;
}

}  // namespace

void Print(const std::string& AText) { std::fwrite(AText.data(), 1, AText.size(), stdout); }
void PrintError(const std::string& AText) { std::fputs(AText.c_str(), stderr); }

int ValidateGraph(const TOptions& AOptions) {
  TLoadedGraph Loaded(AOptions);
  Loaded.CheckRun(AOptions);
  TMistakes Warnings(AOptions.Graph);
  if (Loaded.Graph && Loaded.Mistakes.IsEmpty()) {
    TellWarnings(*Loaded.Graph, AOptions.Strict ? Loaded.Mistakes : Warnings);
  }
  if (!Loaded.Mistakes.IsEmpty()) return TellMistakes(Loaded.Mistakes, AOptions.Style.Json);
  if (AOptions.Style.Json) {
    Print(JsonLine({{"graph", AOptions.Graph},
                    {"valid", true},
                    {"mistakes", ordered_json::array()},
                    {"warnings", Warnings.Json()}}));
    return ecDone;
  }
  PrintError(Warnings.Text("warning: "));
  if (!AOptions.Style.Quiet) {
    const auto Count = static_cast<std::int64_t>(Warnings.InOrder().size());
    Print(AOptions.Graph + ": no mistakes" + (Count > 0 ? ", " + Counted(Count, "warning") : "") +
          '\n');
  }
  return ecDone;
}

int FormatGraph(const TOptions& AOptions) {
  TLoadedGraph Loaded(AOptions);
  if (!Loaded.Mistakes.IsEmpty()) return TellMistakes(Loaded.Mistakes, false);
  const std::string Text = Loaded.Graph->Save();
  if (AOptions.FormatOutput.empty()) {
    Print(Text);
    return ecDone;
  }
  TOutputFile File(AOptions.FormatOutput);
  File.Write(Text.data(), Text.size());
  File.Commit();
  return ecDone;
}

int RunGraph(const TOptions& AOptions) {
  TReporter Reporter(AOptions.Style, AOptions.Graph);  // outlives the components that tell it
  TLoadedGraph Loaded(AOptions, true);
  Loaded.CheckRun(AOptions);
  if (!Loaded.Mistakes.IsEmpty()) return TellMistakes(Loaded.Mistakes, AOptions.Style.Json);
  if (!AOptions.WatchFile.empty()) Reporter.StartTable(AOptions.WatchFile, Loaded.Watched);
  int Code = ecFailed;
  OnBigStack(Loaded.Graph->Components().size(),
             [&] { Code = RunLoaded(Loaded, AOptions, Reporter); });
  return Code;
}

int ListClasses(const TOptions& AOptions) {
  Print(AOptions.Style.Json ? JsonLine(ListJson()) : ListText());
  return ecDone;
}

int DescribeClass(const TOptions& AOptions) {
  const TComponentClass* Class = nullptr;
  try {
    Class = &ClassOfName(AOptions.Class);
  } catch (const EQSException& Error) {
    PrintError(std::string("tessalune: ") + Error.what() + '\n');
    return ecMistake;
  }
  Print(AOptions.Style.Json ? JsonLine(DescribeJson(*Class)) : DescribeText(*Class));
  return ecDone;
}

int WriteClassPages(const TOptions& AOptions) {
  const int Count = WriteReference(AOptions.Reference);
  if (!AOptions.Style.Quiet) {
    Print(AOptions.Reference.Folder.string() + ": pages of " + std::to_string(Count) +
          " classes\n");
  }
  return ecDone;
}

int ConvertFile(const TOptions& AOptions) {
  TInterrupt Interrupt;
  const TConvertResult Result =
      Convert(AOptions.Convert, [&Interrupt] { return Interrupt.Signal() != 0; });
  if (Result.WasInterrupted) {
    PrintError("tessalune: interrupted; nothing was written\n");
    return ecSignal + Interrupt.Signal();
  }
  for (const std::string& Remark : Result.Remarks) {
    PrintError("tessalune: note: " + Remark + '\n');
  }
  const TConvertOptions& Options = AOptions.Convert;
  const bool IsPiped = Options.Out == "-";  // the samples have the standard output for themselves
  if (!AOptions.Style.Quiet) {
    (IsPiped ? PrintError : Print)(
        (IsPiped ? "the standard output" : Options.Out) + ": " + Counted(Result.Samples, "sample") +
        " of type " + std::string(InfoOf(Options.ToType.value_or(Options.Type)).Name) +
        (Result.Rate > 0 ? " at " + NumberText(Result.Rate) + " Hz" : "") + '\n');
  }
  return ecDone;
}

}  // namespace tessalune::host
