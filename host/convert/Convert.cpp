#include "Convert.h"

#include "AudioFile.h"
#include "CsvFile.h"
#include "LogFile.h"

#include <tessalune/frame/runtime/QSException.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <span>

namespace tessalune::host {
namespace {

constexpr std::size_t NumbersAtOnce = 8192;

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
    throw EQSException(AOptions.InName() + " tells no sample rate; give it with --rate HZ");
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

TConvertResult Convert(const TConvertOptions& AOptions, const std::function<bool()>& AIsStopped) {
  const TFileForm From = AOptions.InForm();
  const TFileForm To = FormOf(AOptions.To, AOptions.Out, "--to");
  CheckOptions(AOptions, From, To);
  TSampleInput Input(AOptions);
  TOutputFile File(AOptions.Out);
  const auto Output = OpenOutput(AOptions, To, File, Input.Reader());

  TConvertResult Result;
  Result.Rate = AOptions.Rate.value_or(Input.Reader().Rate());
  const std::size_t PerSample = InfoOf(AOptions.Type).Numbers;
  std::vector<double> Numbers(NumbersAtOnce);
  while (const std::size_t Count = Input.Read(Numbers)) {
    Output->Write(std::span(Numbers).first(Count));
    Result.Samples += static_cast<std::int64_t>(Count / PerSample);
    if (AIsStopped()) {
      Result.WasInterrupted = true;
      return Result;
    }
  }
  Output->Finish();
  File.Commit();
  for (std::string& Remark : Input.Remarks()) Result.Remarks.push_back(std::move(Remark));
  for (std::string& Remark : Output->Remarks()) Result.Remarks.push_back(std::move(Remark));
  return Result;
}

}  // namespace tessalune::host
