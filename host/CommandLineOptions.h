// What the options of several commands have in common.
#pragma once

#include "convert/SampleInput.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tessalune::host {

// A number above 0. CLI11 has a check like this one, which lets NaN and infinity through.
CLI::Validator AboveZero();
// A whole number within the limits, however it is written (1e3); for transform, not for check.
CLI::Validator WholeNumber(std::int64_t AMin, std::int64_t AMax);

const std::map<std::string, TFileForm>& FileFormNames();
std::map<std::string, TSampleType> SampleTypeNames();

// An option whose words stand for values. The parser's own transformer would show the values'
// bytes in its help.
template <class TTarget, class T>
void AddChoice(CLI::App& ACommand, const std::string& AName, TTarget& ATarget,
               const std::map<std::string, T>& AChoices, const std::string& AHelp) {
  std::vector<std::string> Words;
  for (const auto& [Word, Value] : AChoices) Words.push_back(Word);
  ACommand
      .add_option_function<std::string>(
          AName, [&ATarget, AChoices](const std::string& AWord) { ATarget = AChoices.at(AWord); },
          AHelp)
      ->check(CLI::IsMember(Words));
}

// IN and what says which samples of it are read.
void AddInputOptions(CLI::App& ACommand, TInputOptions& AOptions);

// What a mistake in the command line is told with.
std::string FailureText(const CLI::App* AApp, const CLI::Error& AError);

}  // namespace tessalune::host
