// The samples of a file of any form, or a part of them.
#pragma once

#include "SampleStream.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

enum class TFileForm : std::uint8_t { Log, Wav, Flac, Csv };

// The form that a file name's ending means; empty if it means none.
std::optional<TFileForm> FormOfName(std::string_view AFileName);
// What is given, else what the name's ending means. Raises EQSException, with the name of the
// option that tells it, if neither does.
TFileForm FormOf(const std::optional<TFileForm>& AGiven, const std::string& AFileName,
                 std::string_view AOption);

struct TInputOptions {
  std::string In;                 // "-": the standard input
  std::optional<TFileForm> From;  // else by the name's ending
  TSampleType Type = TSampleType::Real;
  bool FromCounts = false;              // In is a log with counts
  std::int64_t FromSample = 0;          // the first one, from 0
  std::optional<std::int64_t> Samples;  // so many; else all that follow
  std::string Channel;                  // a channel, "mix", a column; empty: by itself
  double FullScale = 32768.0;           // the number that full scale of an audio file stands for

  // For messages: in quotes, or "the standard input".
  std::string InName() const;
  // What In is. Raises EQSException if it is not there, or if nothing tells its form.
  TFileForm InForm() const;
};

class TSampleInput {
 public:
  // Opens the file and passes over what lies before FromSample. Raises EQSException.
  explicit TSampleInput(const TInputOptions& AOptions);

  // Fills whole samples; the count of numbers, 0 at the end.
  std::size_t Read(std::span<double> ANumbers);
  const ISampleReader& Reader() const { return *FReader; }
  // Complete at the end.
  std::vector<std::string> Remarks() const;

 private:
  const std::size_t FPerSample;  // numbers
  const std::optional<std::int64_t> FAsked;
  std::int64_t FSamples = 0;  // read
  std::unique_ptr<ISampleReader> FReader;
};

}  // namespace tessalune::host
