#include "SampleInput.h"

#include "AudioFile.h"
#include "CsvFile.h"
#include "LogFile.h"

#include <host/Words.h>

#include <tessalune/frame/runtime/QSException.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <limits>
#include <system_error>
#include <utility>

namespace tessalune::host {
namespace {

std::unique_ptr<ISampleReader> OpenInput(const TInputOptions& AOptions, TFileForm AForm) {
  const std::size_t Numbers = InfoOf(AOptions.Type).Numbers;
  switch (AForm) {
    case TFileForm::Log:
      return std::make_unique<TLogReader>(AOptions.In, AOptions.Type, AOptions.FromCounts);
    case TFileForm::Csv:
      return std::make_unique<TCsvReader>(AOptions.In, Numbers, AOptions.Channel);
    case TFileForm::Wav:
    case TFileForm::Flac:
      break;
  }
  return std::make_unique<TAudioReader>(AOptions.In, Numbers, AOptions.Channel, AOptions.FullScale);
}

}  // namespace

std::optional<TFileForm> FormOfName(std::string_view AFileName) {
  const std::size_t Dot = AFileName.rfind('.');
  std::string Ending(Dot == std::string_view::npos ? "" : AFileName.substr(Dot + 1));
  std::transform(Ending.begin(), Ending.end(), Ending.begin(),
                 [](unsigned char C) { return static_cast<char>(std::tolower(C)); });
  if (Ending == "bin") return TFileForm::Log;
  if (Ending == "wav" || Ending == "rf64") return TFileForm::Wav;
  if (Ending == "flac") return TFileForm::Flac;
  if (Ending == "csv") return TFileForm::Csv;
  return std::nullopt;
}

TFileForm FormOf(const std::optional<TFileForm>& AGiven, const std::string& AFileName,
                 std::string_view AOption) {
  if (AGiven) return *AGiven;
  if (const auto Form = FormOfName(AFileName)) return *Form;
  if (AFileName == "-") {
    throw EQSException("a standard stream has no name that tells what it is; give the option " +
                       std::string(AOption) + " log, wav, flac or csv");
  }
  throw EQSException("the name \"" + AFileName +
                     "\" does not tell what the file is; expected is an ending .bin (a log), .wav, "
                     ".flac or .csv, or the option " +
                     std::string(AOption));
}

std::string TInputOptions::InName() const {
  return In == "-" ? "the standard input" : '"' + In + '"';
}

TFileForm TInputOptions::InForm() const {
  std::error_code Error;
  if (In != "-" && !std::filesystem::exists(In, Error)) {
    if (!Error) Error = std::make_error_code(std::errc::no_such_file_or_directory);
    throw EQSException("cannot read " + InName() + ": " + Error.message());
  }
  return FormOf(From, In, "--from");
}

TSampleInput::TSampleInput(const TInputOptions& AOptions)
    : FPerSample(InfoOf(AOptions.Type).Numbers),
      FAsked(AOptions.Samples),
      FReader(OpenInput(AOptions, AOptions.InForm())) {
  const auto PerSample = static_cast<std::int64_t>(FPerSample);
  const std::int64_t Passed = FReader->Skip(AOptions.FromSample * PerSample) / PerSample;
  if (Passed < AOptions.FromSample) {
    throw EQSException("there is no sample " + std::to_string(AOptions.FromSample) + " in " +
                       AOptions.InName() + ", which has " + Counted(Passed, "sample") +
                       "; --from-sample counts from 0");
  }
}

std::size_t TSampleInput::Read(std::span<double> ANumbers) {
  const std::int64_t Left = FAsked.value_or(std::numeric_limits<std::int64_t>::max()) - FSamples;
  const std::size_t Samples = static_cast<std::size_t>(
      std::min(static_cast<std::int64_t>(ANumbers.size() / FPerSample), Left));
  if (Samples == 0) return 0;
  const std::size_t Count = FReader->Read(ANumbers.first(Samples * FPerSample));
  FSamples += static_cast<std::int64_t>(Count / FPerSample);
  return Count;
}

std::vector<std::string> TSampleInput::Remarks() const {
  std::vector<std::string> Remarks;
  if (FAsked && FSamples < *FAsked) {
    Remarks.push_back("there were no more than " + Counted(FSamples, "sample") + " of the " +
                      std::to_string(*FAsked) + " asked for");
  }
  for (std::string& Remark : FReader->Remarks()) Remarks.push_back(std::move(Remark));
  return Remarks;
}

}  // namespace tessalune::host
