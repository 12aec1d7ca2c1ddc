// Audio files, read and written by libsndfile. Full scale (1.0) stands for a number of the user's
// choice, so that a recording of 16 bits comes in as the numbers -32768 to 32767.
#pragma once

#include "InputFile.h"
#include "OutputFile.h"
#include "SampleStream.h"

#include <sndfile.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

struct TAudioFileEnd {
  void operator()(SNDFILE* AFile) const { sf_close(AFile); }
};
using TAudioFile = std::unique_ptr<SNDFILE, TAudioFileEnd>;

class TAudioReader final : public ISampleReader {
 public:
  // ANumbers is 1 or 2 (complex: two channels). AChannel is a channel's number from 1, or "mix" for
  // the mean of all channels; empty means "mix".
  TAudioReader(const std::string& AFileName, std::size_t ANumbers, const std::string& AChannel,
               double AFullScale);
  std::size_t Read(std::span<double> ANumbers) override;
  std::int64_t Skip(std::int64_t ANumbers) override;
  double Rate() const override { return FInfo.samplerate; }
  int Channels() const override { return FInfo.channels; }
  int Bits() const override;
  std::vector<std::string> Remarks() const override { return FRemarks; }

 private:
  TInputFile FInput;
  SF_INFO FInfo{};
  TAudioFile FFile;
  const std::size_t FNumbers;
  const double FFullScale;
  std::size_t FChannel = 0;  // from 1; 0 for the mean
  std::vector<double> FFrames;
  std::vector<std::string> FRemarks;
};

// How samples are stored in an audio file.
struct TAudioEncoding {
  std::string_view Name;
  int WavFormat;   // 0 where WAV has it not
  int FlacFormat;  // likewise
  int Bits;        // of a whole number; 0 for floating point
};
const std::vector<TAudioEncoding>& AudioEncodings();

struct TAudioOutput {
  bool IsFlac = false;
  std::string Encoding;  // empty: double in WAV, pcm24 in FLAC
  double Rate = 0.0;     // a whole number of Hz
  double FullScale = 0.0;
  bool IsLarge = false;  // may pass the 4 GiB that a WAV file holds
};

class TAudioWriter final : public ISampleWriter {
 public:
  TAudioWriter(TOutputFile& AFile, std::size_t ANumbers, const TAudioOutput& AOutput);
  void Write(std::span<const double> ANumbers) override;
  void Finish() override;
  std::vector<std::string> Remarks() const override;

 private:
  TOutputFile& FOutput;
  const sf_count_t FChannels;
  const TAudioEncoding& FEncoding;
  const double FScale;  // from a number to what is stored
  TRounding FRounding;
  TAudioFile FFile;
  std::vector<double> FFloats;
  std::vector<int> FWholes;
};

}  // namespace tessalune::host
