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

const TPublishedTable& TQSLowPass::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSLowPass",
                       .DisplayName = "Perform Low Pass Filter",
                       .Category = categories::Filters,
                       .Doc = "Lets pass what is below Frequency."},
                      &TQSSimpleFilter::Published())
          .Property(FrequencyInfo(5000.0), &TQSLowPass::Frequency, &TQSLowPass::SetFrequency);
  return Table;
}

void QSLowPass::RegisterPkg() { RegisterComponents({ClassOf<TQSLowPass>()}); }

const TPublishedTable& TQSHighPass::Published() {
  static const TPublishedTable Table =
      TPublishedTable({.Name = "TQSHighPass",
                       .DisplayName = "Perform High Pass Filter",
                       .Category = categories::Filters,
                       .Doc = "Lets pass what is above Frequency. As ftFIR it has an odd number of "
                              "taps: Order, or one more."},
                      &TQSSimpleFilter::Published())
          .Property(FrequencyInfo(45000.0), &TQSHighPass::Frequency, &TQSHighPass::SetFrequency);
  return Table;
}

void QSHighPass::RegisterPkg() { RegisterComponents({ClassOf<TQSHighPass>()}); }

}  // namespace tessalune
