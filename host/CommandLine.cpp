#include "CommandLine.h"

#include "CommandLineOptions.h"
#include "Commands.h"
#include "Completion.h"
#include "Packages.h"
#include "Palette.h"
#include "convert/AudioFile.h"
#include "measure/MeasureCommand.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/package/QSPackages.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {
namespace {

constexpr const char* Footer =
    "Exit codes: 0 done; 1 the run or the conversion failed; 2 the command line or the graph has\n"
    "mistakes and nothing was run; 130 (143) interrupted by Ctrl-C (by SIGTERM), with files "
    "closed\n"
    "and results told. Results go to the standard output, everything else to the standard error\n"
    "stream.";

std::string EncodingNames() {
  std::string Names;
  for (const TAudioEncoding& Encoding : AudioEncodings()) {
    Names += (Names.empty() ? "" : ", ") + std::string(Encoding.Name);
  }
  return Names;
}

void AddGraphOptions(CLI::App& ACommand, TOptions& AOptions) {
  ACommand.add_option("GRAPH", AOptions.Graph, "The graph file (docs/graph-file.md)")->required();
  // Each --set takes one assignment, so that GRAPH may follow.
  ACommand
      .add_option("--set", AOptions.Assignments,
                  "Component.Property=value: override a property; any number of times")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void AddRun(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&)) {
  CLI::App* Command = AApp.add_subcommand("run", "Run a graph");
  AddGraphOptions(*Command, AOptions);
  Command->add_option("--samples", AOptions.Run.Samples, "End after so many samples of each source")
      ->transform(WholeNumber(1, std::int64_t{1} << 62));
  Command->add_option("--seconds", AOptions.Run.Seconds, "End after so many seconds of stream time")
      ->check(AboveZero());
  Command->add_flag("--realtime", AOptions.Run.Realtime,
                    "Let sources run on their own clocks; else the graph runs as fast as it goes");
  // Each takes one name, so that GRAPH may follow.
  Command
      ->add_option("--watch", AOptions.Watch,
                   "Component.Pin: tell each value that the pin sends, with its stream time; any "
                   "number of times")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  Command->add_option("--watch-file", AOptions.WatchFile,
                      "A table (.csv) for the values that are watched; else the standard output");
  Command->add_flag("--json", AOptions.Style.Json,
                    "Events, values that are watched and summary as JSON lines");
  Command->add_flag("-q,--quiet", AOptions.Style.Quiet, "Say nothing but errors");
  Command->callback([&ACommand] { ACommand = &RunGraph; });
}

void AddGraphCommands(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&)) {
  CLI::App* Validate = AApp.add_subcommand("validate", "Tell all mistakes of a graph");
  AddGraphOptions(*Validate, AOptions);
  Validate->add_flag("--strict", AOptions.Strict, "Warnings are mistakes");
  Validate->add_flag("--json", AOptions.Style.Json, "The result as JSON");
  Validate->add_flag("-q,--quiet", AOptions.Style.Quiet, "Say nothing but mistakes");
  Validate->callback([&ACommand] { ACommand = &ValidateGraph; });

  CLI::App* Format = AApp.add_subcommand(
      "format", "Write a graph in the canonical layout, with the properties set by --set");
  AddGraphOptions(*Format, AOptions);
  Format->add_option("-o,--output", AOptions.FormatOutput,
                     "The file to write; else the standard output");
  Format->callback([&ACommand] { ACommand = &FormatGraph; });
}

void AddPaletteCommands(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&)) {
  CLI::App* ListCommand = AApp.add_subcommand("list", "List the component classes");
  ListCommand->add_flag("--json", AOptions.Style.Json, "As JSON");
  ListCommand->callback([&ACommand] { ACommand = &ListClasses; });

  CLI::App* DescribeCommand =
      AApp.add_subcommand("describe", "Show a class's pins, properties and events");
  DescribeCommand->add_option("CLASS", AOptions.Class, "Its name, such as TQSSignalGen")
      ->required();
  DescribeCommand->add_flag("--json", AOptions.Style.Json, "As JSON");
  DescribeCommand->callback([&ACommand] { ACommand = &DescribeClass; });
}

void AddReference(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&)) {
  TReferenceOptions& Options = AOptions.Reference;
  CLI::App* Command = AApp.add_subcommand("reference", "Write a page for each class, and an index");
  Command->add_option("DIR", Options.Folder, "The folder to write to")->required();
  Command->add_flag_callback(
      "--markdown", [&Options] { Options.Form = TPageForm::Markdown; },
      "Markdown, with icons and pictures beside the pages; else HTML that holds them");
  Command->add_option("--examples", Options.Examples,
                      "The folder with examples, CLASS.json; else the installed one");
  Command->add_option("--pictures", Options.Pictures,
                      "The folder with their pictures, CLASS.svg; else the installed one");
  Command->add_option("--icons", Options.Icons,
                      "The folder with the classes' icons, CLASS.svg; else the installed one");
  Command->add_flag("-q,--quiet", AOptions.Style.Quiet, "Say nothing but errors");
  Command->callback([&ACommand] { ACommand = &WriteClassPages; });
}

void AddConvert(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&)) {
  TConvertOptions& Options = AOptions.Convert;
  CLI::App* Command = AApp.add_subcommand(
      "convert", "Convert between logs (.bin), audio files (.wav, .flac) and tables (.csv)");
  AddInputOptions(*Command, Options);
  Command
      ->add_option("OUT", Options.Out,
                   "The file to write; it is replaced; - for the standard output")
      ->required();
  AddChoice(*Command, "--to", Options.To, FileFormNames(), "What OUT becomes, whatever its name");
  AddChoice(*Command, "--to-type", Options.ToType, SampleTypeNames(),
            "The type in a log that is written; else that of --type");
  Command->add_flag("--to-counts", Options.ToCounts, "OUT, a log, gets a count before each block");
  Command->add_flag_callback(
      "--counts", [&Options] { Options.FromCounts = Options.ToCounts = true; },
      "Both of them, where they are logs");
  Command
      ->add_option("--block", Options.BlockSize,
                   "Samples a block in a log that is written with counts")
      ->transform(WholeNumber(1, std::int64_t{1} << 24))
      ->capture_default_str();
  Command->add_option("--rate", Options.Rate, "Hz, for an audio file that is written; else IN's")
      ->check(AboveZero());
  Command->add_option("--encoding", Options.Encoding,
                      "Of an audio file that is written: " + EncodingNames() +
                          "; else double in WAV, pcm24 in FLAC");
  Command
      ->add_option("--full-scale", Options.FullScale,
                   "The number that full scale of an audio file stands for")
      ->check(AboveZero())
      ->capture_default_str();
  Command->add_flag("-q,--quiet", AOptions.Style.Quiet, "Say nothing but errors and notes");
  Command->callback([&ACommand] { ACommand = &ConvertFile; });
}

// --package, before the command and behind it.
void AddPackages(CLI::App& AApp, TOptions& AOptions) {
  const auto Add = [&AOptions](CLI::App& ATo) {
    // Each takes one file, so that GRAPH may follow.
    ATo.add_option_function<std::vector<std::string>>(
           "--package",
           [&AOptions](const std::vector<std::string>& AFiles) {
             AOptions.Packages.insert(AOptions.Packages.end(), AFiles.begin(), AFiles.end());
           },
           "A shared library with further component classes, which is code that is run "
           "(docs/packages.md); any number of times")
        ->type_name("FILE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  Add(AApp);
  for (CLI::App* Command : AApp.get_subcommands({})) {
    if (Command->get_name() != "convert") Add(*Command);
  }
}

// The packages in use, ours and those of others, until the program has no component any more.
struct TPackagesInUse {
  explicit TPackagesInUse(const std::vector<std::string>& AOthers) {
    RegisterPalette();
    for (const std::string& FileName : AOthers) UsePackage(FileName);
  }
  TPackagesInUse(const TPackagesInUse&) = delete;
  ~TPackagesInUse() {
    FinalizePackages();
    Finalize();
  }
};

// What was to be told has to have arrived.
int Flushed(int ACode) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return ACode;
  PrintError("tessalune: the standard output could not be written\n");
  return ACode == ecDone ? static_cast<int>(ecFailed) : ACode;
}

}  // namespace

int RunCommandLine(int ACount, char** AArguments) {
  CLI::App App("Runs graphs of signal-processing components", "tessalune");
  App.set_version_flag("--version", "tessalune " TESSALUNE_VERSION);
  App.footer(Footer);
  App.require_subcommand(1);
  TOptions Options;
  int (*Command)(const TOptions&) = nullptr;
  AddRun(App, Options, Command);
  AddGraphCommands(App, Options, Command);
  AddPaletteCommands(App, Options, Command);
  AddReference(App, Options, Command);
  AddConvert(App, Options, Command);
  AddMeasure(App, Options, Command);
  App.failure_message(&FailureText);
  AddPackages(App, Options);
  // For the shells' completion, in no help: their words follow, the one to complete last.
  if (ACount > 1 && std::string_view(AArguments[1]) == "complete") {
    RegisterPalette();
    Print(CompletionText(App, {AArguments + 2, AArguments + ACount}));
    return ecDone;
  }
  try {
    App.parse(ACount, AArguments);
  } catch (const CLI::ParseError& Error) {
    return App.exit(Error) == 0 ? ecDone : ecMistake;
  }
  std::optional<TPackagesInUse> PackagesInUse;
  try {
    PackagesInUse.emplace(Options.Packages);
  } catch (const EQSException& Error) {
    PrintError(std::string("tessalune: ") + Error.what() + '\n');
    return ecMistake;
  }
  try {
    return Flushed(Command(Options));
  } catch (const std::bad_alloc&) {
    PrintError("tessalune: there is not enough memory for \"" +
               (Options.Graph.empty() ? Options.Convert.In : Options.Graph) +
               "\"; free some, or take smaller blocks or a smaller graph\n");
    return ecFailed;
  } catch (const std::exception& Error) {
    PrintError(std::string("tessalune: ") + Error.what() + '\n');
    return ecFailed;
  }
}

}  // namespace tessalune::host
