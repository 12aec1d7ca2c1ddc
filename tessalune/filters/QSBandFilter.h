// The designed filters with two edges: band pass and band stop.
#pragma once

#include <tessalune/filters/QSSimpleFilter.h>

namespace tessalune {

// What a rate and each other allow: where FreqHigh is half the sample rate or more, the design
// takes 0.49999 of the rate; then, where FreqLow is not below that, 0.99999 of it. At 0 there is no
// filter, and DesignError says so.
class TQSBandFilter : public TQSSimpleFilter {
 public:
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

  // Hz, at least 0. Defaults 5 kHz and 45 kHz.
  double FreqLow() const { return FFreqLow; }
  void SetFreqLow(double AValue);
  double FreqHigh() const { return FFreqHigh; }
  void SetFreqHigh(double AValue);

  // To 4 times FreqHigh, at least 1 Hz.
  void AutoCalcRate() override { SetRateFor(FFreqHigh); }

 protected:
  using TQSSimpleFilter::TQSSimpleFilter;
  TEdges Edges(double ASampleRate) const override;

 private:
  TField<double> FFreqLow;
  TField<double> FFreqHigh;
};

// Lets pass what is between FreqLow and FreqHigh.
class TQSBandPass : public TQSBandFilter {
 public:
  explicit TQSBandPass(TConstruct AConstruct)
      : TQSBandFilter(AConstruct, TQSDesignFilterType::dfBandPass) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

// Keeps back what is between FreqLow and FreqHigh. In a design tool (csDesigning) the frequencies
// are taken as they are.
class TQSBandStop : public TQSBandFilter {
 public:
  explicit TQSBandStop(TConstruct AConstruct)
      : TQSBandFilter(AConstruct, TQSDesignFilterType::dfBandStop) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }

 protected:
  TEdges Edges(double ASampleRate) const override;
};

namespace QSBandPass {
void RegisterPkg();
}
namespace QSBandStop {
void RegisterPkg();
}

}  // namespace tessalune
