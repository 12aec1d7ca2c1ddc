#include <tessalune/filters/QSFrequencyFilter.h>
#include <tessalune/frame/runtime/QSCategories.h>
#include <tessalune/frame/runtime/QSComponentRegistry.h>

namespace tessalune {

void TQSFrequencyFilter::SetFrequency(double AValue) {
  NotifySetter(FrequencyInfo({}), FFrequency, AValue, [this] { Init(); });
}

TQSSimpleFilter::TEdges TQSFrequencyFilter::Edges(double ASampleRate) const {
  TEdges Result{FFrequency};
  LimitEdge(Result.First, "Frequency", ASampleRate, Result.Notes);
  return Result;
}

namespace {

constexpr TClassText LowPassText{
    .Use =
        R"(Lets pass what is below `Frequency`: hiss and hum of high frequency go, a signal gets ready for
fewer samples a second, a rectified signal becomes its level.)",
    .SeeAlso = "TQSHighPass, TQSBandPass, TQSBandStop, TQSFir, TQSMedian",
    .Example =
        R"(A square wave of 100 Hz through a Butterworth filter of order 4 at 300 Hz: the fundamental and
what is left of the third harmonic.)",
};

}  // namespace

const TPublishedTable& TQSLowPass::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSLowPass",
                       .DisplayName = "Perform Low Pass Filter",
                       .Category = categories::Filters,
                       .Doc = "Lets pass what is below Frequency.",
                       .Text = LowPassText},
                      &TQSSimpleFilter::Published())
          .Property(FrequencyInfo(5000.0), &TQSLowPass::Frequency, &TQSLowPass::SetFrequency);
  return Table;
}

void QSLowPass::RegisterPkg() { RegisterComponents({ClassOf<TQSLowPass>()}); }

namespace {

constexpr TClassText HighPassText{
    .Use =
        R"(Lets pass what is above `Frequency`: rumble, drift and offsets go. As `ftFIR` it has an odd number
of taps; an even `Order` gets one more.)",
    .SeeAlso = "TQSLowPass, TQSBandPass, TQSBandStop, TQSRemoveDC",
    .Example =
        R"(A tone of 500 Hz on a drift of 20 Hz and twice its amplitude, and what a Butterworth filter of
order 4 at 150 Hz lets through.)",
};

}  // namespace

const TPublishedTable& TQSHighPass::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSHighPass",
                       .DisplayName = "Perform High Pass Filter",
                       .Category = categories::Filters,
                       .Doc = "Lets pass what is above Frequency. As ftFIR it has an odd number of "
                              "taps: Order, or one more.",
                       .Text = HighPassText},
                      &TQSSimpleFilter::Published())
          .Property(FrequencyInfo(45000.0), &TQSHighPass::Frequency, &TQSHighPass::SetFrequency);
  return Table;
}

void QSHighPass::RegisterPkg() { RegisterComponents({ClassOf<TQSHighPass>()}); }

}  // namespace tessalune
