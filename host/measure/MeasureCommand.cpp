#include "MeasureCommand.h"

#include <string>

namespace tessalune::host {

void AddMeasure(CLI::App& AApp, TOptions& AOptions, int (*&ACommand)(const TOptions&)) {
  TMeasureOptions& Options = AOptions.Measure;
  CLI::App* Command = AApp.add_subcommand(
      "measure", "Measure a recording of one tone: SNR, SINAD, THD, SFDR, ENOB and more");
  AddInputOptions(*Command, Options);
  Command->add_flag("--counts", Options.FromCounts, "As --from-counts");
  Command->add_option("--rate", Options.Rate, "Samples a second; else IN's")->check(AboveZero());
  Command
      ->add_option("--bits", Options.Bits,
                   "Of the converter: the range of the data, in place of --min and --max")
      ->transform(WholeNumber(1, 53));
  Command->add_flag("--unsigned", Options.Unsigned, "That range begins at 0");
  Command
      ->add_option("--full-scale", Options.Scale,
                   "The number that full scale of an audio file stands for; else samples are its "
                   "codes")
      ->check(AboveZero());
  for (const TMeasureProperty& Property : MeasureProperties()) {
    const std::string Name(Property.Name);
    Command
        ->add_option_function<std::string>(
            "--" + std::string(Property.Short) + ",--" + Name,
            [&Options, Name](const std::string& AWord) { Options.Settings[Name] = AWord; },
            std::string(Property.Row->Doc))
        ->group("Properties of TQSNoiseStats");
  }
  Command->add_option("--graph", Options.Graph,
                      "Write a graph that measures the same, to go on from there");
  Command->add_flag("--json", AOptions.Style.Json, "A record a frame and the result as JSON lines");
  Command->add_flag("-q,--quiet", AOptions.Style.Quiet, "No frames, only the figures over all");
  Command->callback([&ACommand] { ACommand = &MeasureRecording; });
}

}  // namespace tessalune::host
