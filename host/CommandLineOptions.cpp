#include "CommandLineOptions.h"

#include "Words.h"

#include <charconv>
#include <cmath>

namespace tessalune::host {

CLI::Validator AboveZero() {
  return CLI::Validator(
      [](std::string& AText) {
        double Value = 0.0;
        const char* End = AText.data() + AText.size();
        const auto Result = std::from_chars(AText.data(), End, Value);
        if (Result.ec == std::errc::result_out_of_range) {
          return AText + " is out of range; expected is a number from 1e-307 to 1e308";
        }
        const bool IsFit =
            Result.ec == std::errc() && Result.ptr == End && Value > 0.0 && std::isfinite(Value);
        return IsFit ? std::string() : AText + " is no number above 0";
      },
      "above 0");
}

CLI::Validator WholeNumber(std::int64_t AMin, std::int64_t AMax) {
  return CLI::Validator(
      [AMin, AMax](std::string& AText) {
        const char* End = AText.data() + AText.size();
        std::int64_t Whole = 0;
        auto Result = std::from_chars(AText.data(), End, Whole);
        if (Result.ec != std::errc() || Result.ptr != End) {
          double Value = 0.0;
          Result = std::from_chars(AText.data(), End, Value);
          const bool IsWhole = Result.ec == std::errc() && Result.ptr == End &&
                               std::trunc(Value) == Value && std::abs(Value) < 0x1p62;
          Whole = IsWhole ? static_cast<std::int64_t>(Value) : AMin - 1;
        }
        if (Whole < AMin || Whole > AMax) {
          return AText + " is no whole number from " + std::to_string(AMin) + " to " +
                 std::to_string(AMax);
        }
        AText = std::to_string(Whole);
        return std::string();
      },
      "whole number");
}

const std::map<std::string, TFileForm>& FileFormNames() {
  static const std::map<std::string, TFileForm> Names{{"log", TFileForm::Log},
                                                      {"wav", TFileForm::Wav},
                                                      {"flac", TFileForm::Flac},
                                                      {"csv", TFileForm::Csv}};
  return Names;
}

std::map<std::string, TSampleType> SampleTypeNames() {
  std::map<std::string, TSampleType> Names;
  for (const TSampleTypeInfo& Info : SampleTypeInfos()) Names[std::string(Info.Name)] = Info.Type;
  return Names;
}

void AddInputOptions(CLI::App& ACommand, TInputOptions& AOptions) {
  constexpr std::int64_t Most = std::int64_t{1} << 58;
  ACommand.add_option("IN", AOptions.In, "The file to read; - for the standard input")->required();
  AddChoice(ACommand, "--from", AOptions.From, FileFormNames(), "What IN is, whatever its name");
  AddChoice(ACommand, "--type", AOptions.Type, SampleTypeNames(),
            "The samples' type; real unless given");
  ACommand.add_flag("--from-counts", AOptions.FromCounts,
                    "IN, a log, has a count before each block");
  ACommand.add_option("--from-sample", AOptions.FromSample, "The first sample to take, from 0")
      ->transform(WholeNumber(0, Most));
  ACommand.add_option("--samples", AOptions.Samples, "Take so many samples; else all")
      ->transform(WholeNumber(1, Most));
  ACommand.add_option("--channel", AOptions.Channel,
                      "What to read: an audio file's channel from 1, or mix for the mean of all; a "
                      "table's column by name or number");
}

// CLI11 calls a value that is missing by its C++ type, and a positional by nothing but its name.
std::string FailureText(const CLI::App* AApp, const CLI::Error& AError) {
  std::string Text = AError.what();
  const CLI::App* Command = AApp;
  while (!Command->get_subcommands().empty()) Command = Command->get_subcommands().front();
  const std::string Name = Text.substr(0, Text.find_first_of(": "));
  const CLI::Option* const Option = Command->get_option_no_throw(Name);
  if (Option != nullptr && AError.get_name() == "ArgumentMismatch") {
    Text = Name + " wants a value. " + Option->get_description();
  } else if (Option != nullptr && AError.get_name() == "RequiredError") {
    Text = Name + " is missing. " + Option->get_description();
  }
  return "tessalune: " + Text + "\nRun with --help for more information.\n";
}

}  // namespace tessalune::host
