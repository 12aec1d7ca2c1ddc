// What `measure` says, frame by frame and at the end: to people, or to programs as JSON lines.
#pragma once

#include "Figures.h"
#include "Frames.h"

#include <host/run/Reporter.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessalune::host {

// What is measured.
struct TMeasureSubject {
  std::string In;    // as the command line has it
  std::string Type;  // of its samples
  double Rate;       // Hz; 0: nobody knows
  TDataRange Range;
  const TQSNoiseStats* Stats;
};

class TMeasureReport {
 public:
  TMeasureReport(TOutputStyle AStyle, TMeasureSubject ASubject);

  // AWords stand beside the figures. A frame that has none is left out of those over all.
  void Frame(std::int64_t ABegin, const TRef<TQSNoiseStatResults>& AResults,
             const std::vector<std::string>& AWords, bool ACounts);
  // The last word. Frames that were left out have been remarked.
  void Summary(const TSampleFigures& ASamples, std::int64_t ASampleCount,
               const std::vector<std::string>& ARemarks);

  std::int64_t Frames() const { return FFrames; }
  // Some frame could be measured.
  bool HasFigures() const { return FOverall.Frames() > 0; }

 private:
  void Head();
  void TableHead();
  void FrameText(const TQSNoiseStatResults* AResults, const std::vector<std::string>& AWords);
  void FrameJson(std::int64_t ABegin, const TRef<TQSNoiseStatResults>& AResults,
                 const std::vector<std::string>& AWords);
  void OverallText();
  bool IsShown(const TFigure& AFigure) const { return FSubject.Rate > 0 || !AFigure.WantsRate; }

  const TOutputStyle FStyle;
  const TMeasureSubject FSubject;
  TOverall FOverall;
  std::int64_t FFrames = 0;
};

}  // namespace tessalune::host
