// Conversion between logs, audio files and tables.
#pragma once

#include "SampleStream.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

enum class TFileForm : std::uint8_t { Log, Wav, Flac, Csv };

struct TConvertOptions {
  std::string In;                 // "-": the standard input
  std::string Out;                // "-": the standard output
  std::optional<TFileForm> From;  // else by the name's ending
  std::optional<TFileForm> To;
  TSampleType Type = TSampleType::Real;
  std::optional<TSampleType> ToType;    // in a log that is written; else Type
  bool FromCounts = false;              // In is a log with counts
  bool ToCounts = false;                // Out becomes one
  std::int64_t FromSample = 0;          // the first to convert, from 0
  std::optional<std::int64_t> Samples;  // to convert; else all that follow
  std::size_t BlockSize = 1024;         // samples in a record of a log that is written with counts
  std::optional<double> Rate;           // Hz, for audio that is written; else the input's
  std::string Encoding;                 // of audio that is written; see TAudioOutput
  std::string Channel;         // of what is read: a channel, "mix", a column; empty: by itself
  double FullScale = 32768.0;  // the number that full scale of an audio file stands for
};

struct TConvertResult {
  std::int64_t Samples = 0;
  double Rate = 0.0;  // Hz; 0 if neither file tells
  std::vector<std::string> Remarks;
  bool WasInterrupted = false;  // then there is no output
};

// The form that a file name's ending means; empty if it means none.
std::optional<TFileForm> FormOfName(std::string_view AFileName);

// Reads, converts and writes piece by piece. Raises EQSException if that fails; no output is left
// then, and what stood under its name stays. AIsStopped is asked now and then.
TConvertResult Convert(const TConvertOptions& AOptions, const std::function<bool()>& AIsStopped);

}  // namespace tessalune::host
