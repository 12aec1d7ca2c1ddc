// Conversion between logs, audio files and tables.
#pragma once

#include "SampleInput.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tessalune::host {

struct TConvertOptions : TInputOptions {
  std::string Out;                    // "-": the standard output
  std::optional<TFileForm> To;        // else by the name's ending
  std::optional<TSampleType> ToType;  // in a log that is written; else Type
  bool ToCounts = false;              // Out becomes a log with counts
  std::size_t BlockSize = 1024;       // samples in a record of such a log
  std::optional<double> Rate;         // Hz, for audio that is written; else the input's
  std::string Encoding;               // of audio that is written; see TAudioOutput
};

struct TConvertResult {
  std::int64_t Samples = 0;
  double Rate = 0.0;  // Hz; 0 if neither file tells
  std::vector<std::string> Remarks;
  bool WasInterrupted = false;  // then there is no output
};

// Reads, converts and writes piece by piece. Raises EQSException if that fails; no output is left
// then, and what stood under its name stays. AIsStopped is asked now and then.
TConvertResult Convert(const TConvertOptions& AOptions, const std::function<bool()>& AIsStopped);

}  // namespace tessalune::host
