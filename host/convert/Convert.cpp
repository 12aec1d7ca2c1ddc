#include "Convert.h"

#include "AudioFile.h"
#include "CsvFile.h"
#include "LogFile.h"

#include <tessalune/frame/runtime/QSException.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <memory>

namespace tessalune::host {
namespace {

constexpr std::size_t NumbersAtOnce = 8192;

TFileForm FormOf(const std::optional<TFileForm>& AGiven, const std::string& AFileName,
                 std::string_view AOption) {
  if (AGiven) return *AGiven;
  if (const auto Form = FormOfName(AFileName)) return *Form;
  throw EQSException("the name \"" + AFileName +
                     "\" does not tell what the file is; expected is an ending .bin (a log), .wav, "
                     ".flac or .csv, or the option " +
                     std::string(AOption));
}

std::unique_ptr<ISampleReader> OpenInput(const TConvertOptions& AOptions, TFileForm AForm) {
  const std::size_t Numbers = InfoOf(AOptions.Type).Numbers;
  switch (AForm) {
    case TFileForm::Log:
      return std::make_unique<TLogReader>(AOptions.In, AOptions.Type, AOptions.HasCounts);
    case TFileForm::Csv:
      return std::make_unique<TCsvReader>(AOptions.In, Numbers, AOptions.Channel);
    case TFileForm::Wav:
    case TFileForm::Flac:
      break;
  }
  return std::make_unique<TAudioReader>(AOptions.In, Numbers, AOptions.Channel, AOptions.FullScale);
}

double AudioRate(const TConvertOptions& AOptions, const ISampleReader& AInput) {
  const double Rate = AOptions.Rate.value_or(AInput.Rate());
  if (Rate == 0.0) {
    throw EQSException('"' + AOptions.In + "\" tells no sample rate; give it with --rate HZ");
  }
  if (!(Rate >= 1 && Rate <= 655350 && std::trunc(Rate) == Rate)) {
    throw EQSException("an audio file's rate is a whole number of Hz from 1 to 655350");
  }
  return Rate;
}

// A log gives at most 8 bytes a number in 1 byte, a table in 2.
bool MayBeLarge(const std::string& AFileName) {
  std::error_code Ignored;
  return std::filesystem::file_size(AFileName, Ignored) > (std::uintmax_t{1} << 28);
}

std::unique_ptr<ISampleWriter> OpenOutput(const TConvertOptions& AOptions, TFileForm AForm,
                                          TOutputFile& AFile, const ISampleReader& AInput) {
  const std::size_t Numbers = InfoOf(AOptions.Type).Numbers;
  switch (AForm) {
    case TFileForm::Log:
      return std::make_unique<TLogWriter>(AFile, AOptions.Type, AOptions.HasCounts,
                                          AOptions.BlockSize);
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
  if (From == TFileForm::Log && To == TFileForm::Log) {
    throw EQSException("both files are logs; there is nothing to convert");
  }
  std::error_code Ignored;
  if (std::filesystem::equivalent(AOptions.In, AOptions.Out, Ignored)) {
    throw EQSException("input and output are the same file, \"" + AOptions.In +
                       "\"; name another output");
  }
  const auto Input = OpenInput(AOptions, From);
  TOutputFile File(AOptions.Out);
  const auto Output = OpenOutput(AOptions, To, File, *Input);

  TConvertResult Result;
  Result.Rate = AOptions.Rate.value_or(Input->Rate());
  std::vector<double> Numbers(NumbersAtOnce);
  while (const std::size_t Count = Input->Read(Numbers)) {
    Output->Write(std::span(Numbers).first(Count));
    Result.Samples += static_cast<std::int64_t>(Count / InfoOf(AOptions.Type).Numbers);
    if (AIsStopped()) {
      Result.WasInterrupted = true;
      return Result;
    }
  }
  Output->Finish();
  File.Commit();
  Result.Remarks = Input->Remarks();
  for (std::string& Remark : Output->Remarks()) Result.Remarks.push_back(std::move(Remark));
  return Result;
}

}  // namespace tessalune::host
