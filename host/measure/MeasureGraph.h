// A graph that measures what `measure` did.
#pragma once

#include "Measure.h"

#include <host/convert/LogFile.h>
#include <host/convert/OutputFile.h>

#include <tessalune/analysis/QSNoiseStats.h>

#include <memory>
#include <span>
#include <string>

namespace tessalune::host {

// Its player takes the input, where that is a log of real, complex or integer samples, else one
// with what was measured, which is written beside the graph. Raises EQSException where that cannot
// be.
class TMeasureGraph {
 public:
  // AIsScaled: the numbers are others than the file's.
  TMeasureGraph(const TMeasureOptions& AOptions, double ARate, bool AIsScaled);

  void Take(std::span<const double> ANumbers);
  // Both files. AStats is what measured.
  void Write(const TQSNoiseStats& AStats);
  std::string Words() const;

 private:
  const TMeasureOptions& FOptions;
  const double FRate;
  TSampleType FType;  // that is played
  bool FHasCounts = false;
  std::string FLogName;                   // what is played
  std::unique_ptr<TOutputFile> FLogFile;  // null: the input is played
  std::unique_ptr<TLogWriter> FLog;
};

}  // namespace tessalune::host
