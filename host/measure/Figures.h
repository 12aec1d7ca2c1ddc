// The figures of TQSNoiseStats, frame by frame and over all.
#pragma once

#include <tessalune/analysis/QSNoiseStats.h>

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tessalune::host {

struct TFigure {
  std::string_view Name;   // in the record
  std::string_view Label;  // for people
  std::string_view Unit;
  double (*Of)(const TQSNoiseStatResults&);
  bool IsMain;     // one of the few that each frame shows
  bool WantsRate;  // means nothing where no rate is known
};
std::span<const TFigure> Figures();

// Whether a figure is one: finite, and not the mark of what has no power.
bool IsFigure(double AValue);

class TSpread {
 public:
  void Add(double AValue);  // what is no figure is passed over
  std::int64_t Count() const { return FCount; }
  double Mean() const { return FSum / static_cast<double>(FCount); }
  double Least() const { return FLeast; }
  double Most() const { return FMost; }
  nlohmann::ordered_json Json() const;

 private:
  std::int64_t FCount = 0;
  double FSum = 0.0;
  double FLeast = 0.0;
  double FMost = 0.0;
};

// Over all frames.
class TOverall {
 public:
  void Add(const TQSNoiseStatResults& AFrame);
  std::int64_t Frames() const { return FFrames; }
  const std::vector<TSpread>& Spreads() const { return FSpreads; }      // as Figures
  const std::vector<TSpread>& Harmonics() const { return FHarmonics; }  // the 2nd first
  nlohmann::ordered_json Json() const;

 private:
  std::int64_t FFrames = 0;
  std::vector<TSpread> FSpreads;
  std::vector<TSpread> FHarmonics;
};

}  // namespace tessalune::host
