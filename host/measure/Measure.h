// The command `measure`: what TQSNoiseStats finds in a recording of one tone.
#pragma once

#include <host/convert/SampleInput.h>

#include <tessalune/frame/runtime/QSPublished.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessalune::host {

struct TOptions;

struct TMeasureOptions : TInputOptions {
  std::optional<double> Rate;   // Hz; else the file's
  std::optional<double> Scale;  // the number that full scale of an audio file stands for
  std::optional<int> Bits;      // of the data; its range, unless Settings has one
  bool Unsigned = false;        // it begins at 0
  std::map<std::string, std::string> Settings;  // properties of TQSNoiseStats in words
  std::string Graph;                            // a file to write; empty: none
};

// A property that an option sets: --Name, and --Short.
struct TMeasureProperty {
  const TPublishedProperty* Row;  // the content's, where it is an object with one
  std::string_view Name;
  std::string_view Short;
};
const std::vector<TMeasureProperty>& MeasureProperties();

// Returns the exit code. What fails in a way that it has no words for is an exception.
int MeasureRecording(const TOptions& AOptions);

}  // namespace tessalune::host
