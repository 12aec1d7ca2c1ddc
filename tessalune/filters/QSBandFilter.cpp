#include <tessalune/filters/QSBandFilter.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

#include <limits>

namespace tessalune {
namespace {

constexpr double MaxEdge = std::numeric_limits<double>::max() / 2.0;
constexpr TPropertyInfo<double> FreqLowInfo{
    .Name = "FreqLow",
    .Default = 5000.0,
    .Bounds = AtLeast(0.0),
    .Design = Between(0.0, MaxEdge),
    .Unit = "Hz",
    .Doc =
        "The lower edge: -3 dB (iirChebyshev: minus Alpha dB; ftFIR: -6 dB). Where it is not "
        "below FreqHigh, 0.99999 of that is taken."};
constexpr TPropertyInfo<double> FreqHighInfo{
    .Name = "FreqHigh",
    .Default = 45000.0,
    .Bounds = AtLeast(0.0),
    .Design = Between(0.0, MaxEdge),
    .Unit = "Hz",
    .Doc = "The upper edge. At half the sample rate or beyond, 0.49999 of the rate is taken."};

}  // namespace

const TPublishedTable& TQSBandFilter::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSBandFilter"}, &TQSSimpleFilter::Published())
          .Property(FreqLowInfo, &TQSBandFilter::FreqLow, &TQSBandFilter::SetFreqLow)
          .Property(FreqHighInfo, &TQSBandFilter::FreqHigh, &TQSBandFilter::SetFreqHigh);
  return Table;
}

void TQSBandFilter::SetFreqLow(double AValue) {
  NotifySetter(FreqLowInfo, FFreqLow, AValue, [this] { Init(); });
}

void TQSBandFilter::SetFreqHigh(double AValue) {
  NotifySetter(FreqHighInfo, FFreqHigh, AValue, [this] { Init(); });
}

TQSSimpleFilter::TEdges TQSBandFilter::Edges(double ASampleRate) const {
  TEdges Result{FFreqLow, FFreqHigh};
  LimitEdge(Result.Second, "FreqHigh", ASampleRate, Result.Notes);
  if (Result.First < Result.Second) return Result;
  const double Limit = 0.99999 * Result.Second;
  Result.Notes.push_back("FreqLow, " + NumberText(Result.First) +
                         " Hz, is not below the upper edge: the filter is designed with " +
                         NumberText(Limit) + " Hz");
  Result.First = Limit;
  return Result;
}

namespace {

constexpr TClassText BandPassText{
    .Use =
        R"(Lets pass what is between `FreqLow` and `FreqHigh`: one channel among several, a voice, the line
that a spectrum shows. Of the recursive kinds a band has twice as many poles as `Order` says.)",
    .SeeAlso = "TQSBandStop, TQSLowPass, TQSHighPass, TQSGoertzOne",
    .Example =
        R"(Noise, and what a Butterworth filter of order 3 between 180 and 220 Hz lets through: nearly a
tone.)",
};

}  // namespace

const TPublishedTable& TQSBandPass::Published() {
  static const TPublishedTable Table({.Name = "TQSBandPass",
                                      .DisplayName = "Perform Band Pass Filter",
                                      .Category = categories::Filters,
                                      .Doc = "Lets pass what is between FreqLow and FreqHigh.",
                                      .Text = BandPassText},
                                     &TQSBandFilter::Published());
  return Table;
}

void QSBandPass::RegisterPkg() { RegisterComponents({ClassOf<TQSBandPass>()}); }

TQSSimpleFilter::TEdges TQSBandStop::Edges(double ASampleRate) const {
  if (HasState(csDesigning)) return {FreqLow(), FreqHigh()};
  return TQSBandFilter::Edges(ASampleRate);
}

namespace {

constexpr TClassText BandStopText{
    .Use =
        R"(Keeps back what is between `FreqLow` and `FreqHigh`: a hum, a whistle, a carrier. Of the recursive
kinds a band has twice as many poles as `Order` says; as `ftFIR` it has an odd number of taps, and
an even `Order` gets one more.)",
    .SeeAlso = "TQSBandPass, TQSLowPass, TQSHighPass, TQSCombFilter",
    .Example =
        R"(A tone of 100 Hz under a whistle of 600 Hz, and what is left when 500 to 700 Hz are taken out.)",
};

}  // namespace

const TPublishedTable& TQSBandStop::Published() {
  static const TPublishedTable Table(
      {.Name = "TQSBandStop",
       .DisplayName = "Perform Band Stop Filter",
       .Category = categories::Filters,
       .Doc = "Keeps back what is between FreqLow and FreqHigh. As ftFIR it has an odd number of "
              "taps: Order, or one more.",
       .Text = BandStopText},
      &TQSBandFilter::Published());
  return Table;
}

void QSBandStop::RegisterPkg() { RegisterComponents({ClassOf<TQSBandStop>()}); }

}  // namespace tessalune
