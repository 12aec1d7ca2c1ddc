// The designed filters with one edge: low pass and high pass.
#pragma once

#include <tessalune/filters/QSSimpleFilter.h>

namespace tessalune {

class TQSFrequencyFilter : public TQSSimpleFilter {
 public:
  // Hz, at least 0. At half the sample rate or beyond, the design takes 0.49999 of the rate. At 0
  // there is no filter, and DesignError says so.
  double Frequency() const { return FFrequency; }
  void SetFrequency(double AValue);

  // To 4 times Frequency, at least 1 Hz.
  void AutoCalcRate() override { SetRateFor(FFrequency); }

 protected:
  using TQSSimpleFilter::TQSSimpleFilter;
  TEdges Edges(double ASampleRate) const override;
  static constexpr TPropertyInfo<double> FrequencyInfo(double ADefault) {
    return {.Name = "Frequency",
            .Default = ADefault,
            .Bounds = AtLeast(0.0),
            .Design = Between(0.0, 5e8),
            .Unit = "Hz",
            .Doc =
                "The edge: -3 dB (iirChebyshev: minus Alpha dB; ftFIR: -6 dB). At half the "
                "sample rate or beyond, 0.49999 of the rate is taken."};
  }

 private:
  TField<double> FFrequency;
};

// Lets pass what is below Frequency, by default 5 kHz.
class TQSLowPass : public TQSFrequencyFilter {
 public:
  explicit TQSLowPass(TConstruct AConstruct)
      : TQSFrequencyFilter(AConstruct, TQSDesignFilterType::dfLowPass) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

// Lets pass what is above Frequency, by default 45 kHz.
class TQSHighPass : public TQSFrequencyFilter {
 public:
  explicit TQSHighPass(TConstruct AConstruct)
      : TQSFrequencyFilter(AConstruct, TQSDesignFilterType::dfHighPass) {}
  static const TPublishedTable& Published();
  const TPublishedTable& PublishedTable() const override { return Published(); }
};

namespace QSLowPass {
void RegisterPkg();
}
namespace QSHighPass {
void RegisterPkg();
}

}  // namespace tessalune
