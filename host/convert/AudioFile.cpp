#include "AudioFile.h"

#include <tessalune/frame/runtime/QSException.h>
#include <tessalune/frame/runtime/QSPublished.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace tessalune::host {
namespace {

constexpr sf_count_t FramesAtOnce = 4096;

std::size_t ChannelNumber(const std::string& AText, int AChannels, const TInputFile& AFile) {
  if (AText.empty() || AText == "mix") return 0;
  std::size_t Number = 0;
  const char* End = AText.data() + AText.size();
  const auto Result = std::from_chars(AText.data(), End, Number);
  if (Result.ec == std::errc() && Result.ptr == End && Number >= 1 &&
      Number <= static_cast<std::size_t>(AChannels)) {
    return Number;
  }
  AFile.Fail("there is no channel \"" + AText + "\"; expected is \"mix\" or a number from 1 to " +
             std::to_string(AChannels));
}

const TAudioEncoding& FindEncoding(const TAudioOutput& AOutput) {
  std::string Wanted = AOutput.Encoding;
  if (Wanted.empty()) Wanted = AOutput.IsFlac ? "pcm24" : "double";
  std::string Fitting;
  for (const TAudioEncoding& Encoding : AudioEncodings()) {
    if ((AOutput.IsFlac ? Encoding.FlacFormat : Encoding.WavFormat) == 0) continue;
    if (Encoding.Name == Wanted) return Encoding;
    Fitting += (Fitting.empty() ? "" : ", ") + std::string(Encoding.Name);
  }
  throw EQSException(std::string(AOutput.IsFlac ? "FLAC" : "WAV") + " has no encoding \"" + Wanted +
                     "\"; expected is one of " + Fitting);
}

TRounding RoundingFor(const TAudioEncoding& AEncoding) {
  const double Steps = std::ldexp(1.0, AEncoding.Bits - 1);
  return {-Steps, Steps - 1};
}

}  // namespace

const std::vector<TAudioEncoding>& AudioEncodings() {
  static const std::vector<TAudioEncoding> Encodings{
      {"pcm8", SF_FORMAT_PCM_U8, SF_FORMAT_PCM_S8, 8},
      {"pcm16", SF_FORMAT_PCM_16, SF_FORMAT_PCM_16, 16},
      {"pcm24", SF_FORMAT_PCM_24, SF_FORMAT_PCM_24, 24},
      {"pcm32", SF_FORMAT_PCM_32, 0, 32},
      {"float", SF_FORMAT_FLOAT, 0, 0},
      {"double", SF_FORMAT_DOUBLE, 0, 0}};
  return Encodings;
}

// --- reader ---

TAudioReader::TAudioReader(const std::string& AFileName, std::size_t ANumbers,
                           const std::string& AChannel, double AFullScale)
    : FInput(AFileName),
      FFile(sf_open_fd(FInput.SeekableHandle(), SFM_READ, &FInfo, SF_FALSE)),
      FNumbers(ANumbers),
      FFullScale(AFullScale) {
  if (FInput.Size() == 0) FInput.Fail("the file is empty; expected is an audio file");
  if (FFile == nullptr) FInput.Fail(std::string("no audio file: ") + sf_strerror(nullptr));
  if (FNumbers == 2) {
    if (FInfo.channels != 2) {
      FInput.Fail("complex samples come from two channels; it has " +
                  std::to_string(FInfo.channels));
    }
    return;
  }
  FChannel = ChannelNumber(AChannel, FInfo.channels, FInput);
  if (FInfo.channels == 1) {
    FChannel = 1;
  } else if (FChannel == 0) {
    FRemarks.push_back(std::to_string(FInfo.channels) +
                       " channels mixed to one (--channel chooses)");
  }
}

int TAudioReader::Bits() const {
  switch (FInfo.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return 8;
    case SF_FORMAT_PCM_16:
      return 16;
    case SF_FORMAT_PCM_24:
      return 24;
    case SF_FORMAT_PCM_32:
      return 32;
    default:
      return 0;
  }
}

std::size_t TAudioReader::Read(std::span<double> ANumbers) {
  const auto Channels = static_cast<std::size_t>(FInfo.channels);
  const sf_count_t Wanted =
      std::min(FramesAtOnce, static_cast<sf_count_t>(ANumbers.size() / FNumbers));
  FFrames.resize(static_cast<std::size_t>(Wanted) * Channels);
  const sf_count_t Got = sf_readf_double(FFile.get(), FFrames.data(), Wanted);
  if (sf_error(FFile.get()) != SF_ERR_NO_ERROR) FInput.Fail(sf_strerror(FFile.get()));
  std::size_t Count = 0;
  for (std::size_t I = 0; I < static_cast<std::size_t>(std::max<sf_count_t>(Got, 0)); ++I) {
    const std::span Frame(&FFrames[I * Channels], Channels);
    if (FNumbers == 2) {
      ANumbers[Count++] = Frame[0] * FFullScale;
      ANumbers[Count++] = Frame[1] * FFullScale;
    } else if (FChannel > 0) {
      ANumbers[Count++] = Frame[FChannel - 1] * FFullScale;
    } else {
      double Sum = 0.0;
      for (const double Sample : Frame) Sum += Sample;
      ANumbers[Count++] = Sum / FInfo.channels * FFullScale;
    }
  }
  return Count;
}

std::int64_t TAudioReader::Skip(std::int64_t ANumbers) {
  const auto Numbers = static_cast<std::int64_t>(FNumbers);
  const sf_count_t Frames = std::min<sf_count_t>(ANumbers / Numbers, FInfo.frames);
  if (sf_seek(FFile.get(), Frames, SEEK_SET) != Frames) FInput.Fail(sf_strerror(FFile.get()));
  return Frames * Numbers;
}

// --- writer ---

TAudioWriter::TAudioWriter(TOutputFile& AFile, std::size_t ANumbers, const TAudioOutput& AOutput)
    : FOutput(AFile),
      FChannels(static_cast<sf_count_t>(ANumbers)),
      FEncoding(FindEncoding(AOutput)),
      FScale((FEncoding.Bits > 0 ? std::ldexp(1.0, FEncoding.Bits - 1) : 1.0) / AOutput.FullScale),
      FRounding(RoundingFor(FEncoding)) {
  SF_INFO Info{};
  Info.samplerate = static_cast<int>(AOutput.Rate);
  Info.channels = static_cast<int>(ANumbers);
  Info.format = AOutput.IsFlac
                    ? SF_FORMAT_FLAC | FEncoding.FlacFormat
                    : (AOutput.IsLarge ? SF_FORMAT_RF64 : SF_FORMAT_WAV) | FEncoding.WavFormat;
  FFile.reset(sf_open_fd(AFile.SeekableDescriptor(), SFM_WRITE, &Info, SF_FALSE));
  if (FFile == nullptr) AFile.Fail(sf_strerror(nullptr));
  // RF64 is WAV with longer sizes; what turns out short enough becomes plain WAV at the end.
  sf_command(FFile.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
}

// libsndfile scales doubles to whole numbers by another factor on writing than on reading; done
// here, a file that is read and written again stays the same.
void TAudioWriter::Write(std::span<const double> ANumbers) {
  const sf_count_t Frames = static_cast<sf_count_t>(ANumbers.size()) / FChannels;
  sf_count_t Written = 0;
  if (FEncoding.Bits > 0) {
    FWholes.clear();
    const int Step = 1 << (32 - FEncoding.Bits) % 32;  // a whole number fills the high bits
    for (const double Number : ANumbers) {
      FWholes.push_back(static_cast<int>(FRounding(Number * FScale)) * Step);
    }
    Written = sf_writef_int(FFile.get(), FWholes.data(), Frames);
  } else {
    FFloats.clear();
    for (const double Number : ANumbers) FFloats.push_back(Number * FScale);
    Written = sf_writef_double(FFile.get(), FFloats.data(), Frames);
  }
  if (Written != Frames) FOutput.Fail(sf_strerror(FFile.get()));
}

void TAudioWriter::Finish() {
  if (sf_close(FFile.release()) != 0) FOutput.Fail("the file cannot be completed");
}

std::vector<std::string> TAudioWriter::Remarks() const {
  return FRounding.Remarks(FEncoding.Name,
                           "; --full-scale sets the number that full scale stands for");
}

}  // namespace tessalune::host
