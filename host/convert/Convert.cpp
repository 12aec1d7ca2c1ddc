#include "Convert.h"

#include "AudioFile.h"
#include "CsvFile.h"
#include "LogFile.h"

#include <host/Words.h>

#include <tessalune/frame/runtime/QSException.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>

namespace tessalune::host {
namespace {

constexpr std::size_t NumbersAtOnce = 8192;

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

std::unique_ptr<ISampleReader> OpenInput(const TConvertOptions& AOptions, TFileForm AForm) {
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

std::string InputName(const TConvertOptions& AOptions) {
  return AOptions.In == "-" ? "the standard input" : '"' + AOptions.In + '"';
}

// What the two files and the options do not agree on.
void CheckOptions(const TConvertOptions& AOptions, TFileForm AFrom, TFileForm ATo) {
  const TSampleTypeInfo& Type = InfoOf(AOptions.Type);
  const TSampleTypeInfo& ToType = InfoOf(AOptions.ToType.value_or(AOptions.Type));
  if (AOptions.ToType && ATo != TFileForm::Log) {
    throw EQSException("--to-type is the type in a log that is written; \"" + AOptions.Out +
                       "\" becomes none. --type alone tells what the samples are");
  }
  if (Type.Numbers != ToType.Numbers) {
    throw EQSException("samples of type " + std::string(Type.Name) + " do not become " +
                       std::string(ToType.Name) +
                       ", since a complex one has two numbers; go by a table (.csv), of which "
                       "--channel chooses a column");
  }
  if (AFrom == TFileForm::Log && ATo == TFileForm::Log && Type.Type == ToType.Type &&
      !AOptions.FromCounts && !AOptions.ToCounts && AOptions.FromSample == 0 && !AOptions.Samples) {
    throw EQSException(
        "both files are logs, and nothing is to change; --from-counts and --to-counts tell which "
        "has counts, --to-type the type to write, --from-sample and --samples a part");
  }
  std::error_code Ignored;
  if (AOptions.In != "-" && AOptions.Out != "-" &&
      std::filesystem::equivalent(AOptions.In, AOptions.Out, Ignored)) {
    throw EQSException("input and output are the same file, \"" + AOptions.In +
                       "\"; name another output");
  }
}

double AudioRate(const TConvertOptions& AOptions, const ISampleReader& AInput) {
  const double Rate = AOptions.Rate.value_or(AInput.Rate());
  if (Rate == 0.0) {
    throw EQSException(InputName(AOptions) + " tells no sample rate; give it with --rate HZ");
  }
  if (!(Rate >= 1 && Rate <= 655350 && std::trunc(Rate) == Rate)) {
    throw EQSException("an audio file's rate is a whole number of Hz from 1 to 655350");
  }
  return Rate;
}

// A log gives at most 8 bytes a number in 1 byte, a table in 2. Of a stream nobody knows.
bool MayBeLarge(const std::string& AFileName) {
  std::error_code Error;
  return std::filesystem::file_size(AFileName, Error) > (std::uintmax_t{1} << 28) || Error;
}

std::unique_ptr<ISampleWriter> OpenOutput(const TConvertOptions& AOptions, TFileForm AForm,
                                          TOutputFile& AFile, const ISampleReader& AInput) {
  const std::size_t Numbers = InfoOf(AOptions.Type).Numbers;
  switch (AForm) {
    case TFileForm::Log:
      return std::make_unique<TLogWriter>(AFile, AOptions.ToType.value_or(AOptions.Type),
                                          AOptions.ToCounts, AOptions.BlockSize);
    case TFileForm::Csv:
      return std::make_unique<TCsvWriter>(AFile, Numbers);
    case TFileForm::Wav:
    case TFileForm::Flac:
      break;
  }
  const TAudioOutput Output{.IsFlac = AForm == TFileForm::Flac,
                            .Encoding = AOptions.Encoding,
                            .Rate = AudioRate(AOptions, AInput),
                            .FullScale = AOptions.FullScale,
                            .IsLarge = MayBeLarge(AOptions.In)};
  return std::make_unique<TAudioWriter>(AFile, Numbers, Output);
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

TConvertResult Convert(const TConvertOptions& AOptions, const std::function<bool()>& AIsStopped) {
  const TFileForm From = FormOf(AOptions.From, AOptions.In, "--from");
  const TFileForm To = FormOf(AOptions.To, AOptions.Out, "--to");
  CheckOptions(AOptions, From, To);
  const auto Input = OpenInput(AOptions, From);
  TOutputFile File(AOptions.Out);
  const auto Output = OpenOutput(AOptions, To, File, *Input);

  TConvertResult Result;
  Result.Rate = AOptions.Rate.value_or(Input->Rate());
  const auto PerSample = static_cast<std::int64_t>(InfoOf(AOptions.Type).Numbers);
  const std::int64_t Passed = Input->Skip(AOptions.FromSample * PerSample) / PerSample;
  if (Passed < AOptions.FromSample) {
    throw EQSException("there is no sample " + std::to_string(AOptions.FromSample) + " in " +
                       InputName(AOptions) + ", which has " + Counted(Passed, "sample") +
                       "; --from-sample counts from 0");
  }
  std::vector<double> Numbers(NumbersAtOnce);
  std::int64_t Left = AOptions.Samples.value_or(std::numeric_limits<std::int64_t>::max());
  while (Left > 0) {
    const auto Ask = std::min(std::ssize(Numbers) / PerSample, Left) * PerSample;
    const std::size_t Count = Input->Read(std::span(Numbers).first(static_cast<std::size_t>(Ask)));
    if (Count == 0) break;
    Output->Write(std::span(Numbers).first(Count));
    const std::int64_t Samples = static_cast<std::int64_t>(Count) / PerSample;
    Result.Samples += Samples;
    Left -= Samples;
    if (AIsStopped()) {
      Result.WasInterrupted = true;
      return Result;
    }
  }
  if (AOptions.Samples && Left > 0) {
    Result.Remarks.push_back("there were no more than " + Counted(Result.Samples, "sample") +
                             " of the " + std::to_string(*AOptions.Samples) + " asked for");
  }
  Output->Finish();
  File.Commit();
  for (std::string& Remark : Input->Remarks()) Result.Remarks.push_back(std::move(Remark));
  for (std::string& Remark : Output->Remarks()) Result.Remarks.push_back(std::move(Remark));
  return Result;
}

}  // namespace tessalune::host
