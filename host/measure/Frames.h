// What the samples of a frame are like, beside its figures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <span>

namespace tessalune::host {

// The least and the greatest number that the data can have.
struct TDataRange {
  double Min;
  double Max;
  double FullScale() const { return (Max - Min) / 2; }
};

struct TSampleFigures {
  double Min = std::numeric_limits<double>::infinity();
  double Max = -std::numeric_limits<double>::infinity();
  std::int64_t Numbers = 0;
  std::int64_t AtEnds = 0;      // of the range
  std::int64_t Beyond = 0;      // it
  std::int64_t NotNumbers = 0;  // NaN or infinite; they count in nothing else

  void Add(std::span<const double> ANumbers, std::size_t APerSample, const TDataRange& ARange);
  void Join(const TSampleFigures& AOther);
  // Mean square of the samples without their mean.
  double Power() const;

 private:
  double FSquares = 0.0;
  double FSums[2] = {0.0, 0.0};  // of real and imaginary parts
  std::int64_t FSamples = 0;
};

// Cuts a stream of numbers where frames begin and end, and keeps the figures of the samples for
// each.
class TFrameCutter {
 public:
  // ASize samples a frame, from one to the next AStep.
  TFrameCutter(std::int64_t ASize, std::int64_t AStep, std::size_t APerSample, TDataRange ARange)
      : FSize(ASize), FStep(AStep), FPerSample(APerSample), FRange(ARange) {}

  // ASubmit gets the samples piece by piece; a frame ends where one does.
  void Take(std::span<const double> ANumbers,
            const std::function<void(std::span<const double>)>& ASubmit);

  // Of the frame that ends with the piece at hand.
  std::int64_t FrameBegin() const { return FPosition - FSize; }
  TSampleFigures FrameFigures() const;
  std::int64_t Size() const { return FSize; }

  const TSampleFigures& All() const { return FAll; }
  std::int64_t Position() const { return FPosition; }  // in samples
  std::int64_t LeftOver() const;                       // that no frame has got

 private:
  struct TPiece {
    std::int64_t Begin;
    TSampleFigures Figures;
  };
  std::int64_t NextBorder() const;

  const std::int64_t FSize;
  const std::int64_t FStep;
  const std::size_t FPerSample;
  const TDataRange FRange;
  std::deque<TPiece> FPieces;
  TSampleFigures FAll;
  std::int64_t FPosition = 0;
};

}  // namespace tessalune::host
