#include "Frames.h"

#include <algorithm>
#include <cmath>

namespace tessalune::host {

void TSampleFigures::Add(std::span<const double> ANumbers, std::size_t APerSample,
                         const TDataRange& ARange) {
  for (std::size_t I = 0; I < ANumbers.size(); ++I) {
    const double Number = ANumbers[I];
    if (!std::isfinite(Number)) {
      ++NotNumbers;
      continue;
    }
    Min = std::min(Min, Number);
    Max = std::max(Max, Number);
    if (Number < ARange.Min || Number > ARange.Max) {
      ++Beyond;
    } else if (Number == ARange.Min || Number == ARange.Max) {
      ++AtEnds;
    }
    FSquares += Number * Number;
    FSums[I % APerSample] += Number;
  }
  Numbers += static_cast<std::int64_t>(ANumbers.size());
  FSamples += static_cast<std::int64_t>(ANumbers.size() / APerSample);
}

void TSampleFigures::Join(const TSampleFigures& AOther) {
  Min = std::min(Min, AOther.Min);
  Max = std::max(Max, AOther.Max);
  Numbers += AOther.Numbers;
  AtEnds += AOther.AtEnds;
  Beyond += AOther.Beyond;
  NotNumbers += AOther.NotNumbers;
  FSquares += AOther.FSquares;
  FSums[0] += AOther.FSums[0];
  FSums[1] += AOther.FSums[1];
  FSamples += AOther.FSamples;
}

double TSampleFigures::Power() const {
  const auto Count = static_cast<double>(std::max<std::int64_t>(FSamples, 1));
  const double Means = (FSums[0] * FSums[0] + FSums[1] * FSums[1]) / (Count * Count);
  return std::max(0.0, FSquares / Count - Means);
}

std::int64_t TFrameCutter::NextBorder() const {
  const std::int64_t Begin = (FPosition / FStep + 1) * FStep;
  const std::int64_t Behind = FPosition - FSize;
  const std::int64_t End = Behind < 0 ? FSize : FSize + (Behind / FStep + 1) * FStep;
  return std::min(Begin, End);
}

void TFrameCutter::Take(std::span<const double> ANumbers,
                        const std::function<void(std::span<const double>)>& ASubmit) {
  while (!ANumbers.empty()) {
    const std::int64_t Border = NextBorder();
    const auto Room = static_cast<std::size_t>(Border - FPosition) * FPerSample;
    const auto Piece = ANumbers.first(std::min(ANumbers.size(), Room));
    ANumbers = ANumbers.subspan(Piece.size());
    const bool IsNew =
        FPieces.empty() || FPosition % FStep == 0 || (FPosition - FSize) % FStep == 0;
    if (IsNew) FPieces.push_back({FPosition, {}});
    TSampleFigures Figures;
    Figures.Add(Piece, FPerSample, FRange);
    FPieces.back().Figures.Join(Figures);
    FAll.Join(Figures);
    FPosition += static_cast<std::int64_t>(Piece.size() / FPerSample);
    ASubmit(Piece);
    while (!FPieces.empty() && FPieces.front().Begin < FrameBegin() + 1) FPieces.pop_front();
  }
}

TSampleFigures TFrameCutter::FrameFigures() const {
  TSampleFigures Joined;
  for (const TPiece& Piece : FPieces) {
    if (Piece.Begin >= FrameBegin()) Joined.Join(Piece.Figures);
  }
  return Joined;
}

std::int64_t TFrameCutter::LeftOver() const {
  if (FPosition < FSize) return FPosition;
  const std::int64_t LastEnd = FSize + (FPosition - FSize) / FStep * FStep;
  return FPosition - LastEnd;
}

}  // namespace tessalune::host
